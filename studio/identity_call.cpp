#include "studio/identity_call.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::int64_t kBetweenPortsMs = 40;
constexpr std::int64_t kCallLingerMs = 300;  // for the slower ones behind the last port
constexpr int kEverybody = 127;

}  // namespace

std::vector<AutoConfigAnswer> CallIdentities(AutoConfigSearch& search) {
  const std::uint8_t request[] = {0xF0, 0x7E, kEverybody, 0x06, 0x01, 0xF7};
  std::vector<AutoConfigAnswer> answers;
  const auto take = [&](const std::string& outPort) {
    for (auto& heard : search.TakeHeard())
      if (ParseIdentityReply(heard.message)) answers.push_back({heard.inPort, outPort, std::move(heard.message)});
  };
  search.ForgetHeard();
  for (std::size_t i = 0; i < search.outputs.size(); ++i) {
    const bool last = i + 1 == search.outputs.size();
    search.Send(search.outputs[i].name, request);
    if (!search.Wait(last ? kCallLingerMs : kBetweenPortsMs)) return answers;
    take(search.outputs[i].name);
  }
  return answers;
}

bool NarrowToAnswer(const std::vector<AutoConfigAnswer>& answers, AutoConfigSearch* search) {
  DeviceInquiry& inquiry = search->task.inquiry;
  if (!inquiry.enabled) return false;
  for (const AutoConfigAnswer& answer : answers) {
    if (MatchIdentityReply(inquiry, answer.message) < 0) continue;
    const int device = answer.message[2];
    if (device >= inquiry.chMin && device <= inquiry.chMax) inquiry.chMin = inquiry.chMax = device;
    const auto first = std::find_if(search->outputs.begin(), search->outputs.end(),
                                    [&](const auto& port) { return port.name == answer.outPort; });
    if (first != search->outputs.end()) std::rotate(search->outputs.begin(), first, first + 1);
    return true;
  }
  return false;
}

}  // namespace tonalith
