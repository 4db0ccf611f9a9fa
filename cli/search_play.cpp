#include "cli/search_play.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "cli/transfer_rig.h"
#include "midi/backends/virtual_backend.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "studio/auto_configuration.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr const char* kSearchedPort = "Instrument that is looked for";
constexpr std::int64_t kAnswersAfterUs = 5000;
constexpr std::int64_t kWatchMs = 50;

// Whoever is asked by the chart's question.
class Answerer {
 public:
  Answerer(const ChartInstrument& chart, const ChartInquiry& inquiry, int device) : inquiry_(inquiry) {
    if (chart.device.letter) values_[chart.device.letter] = device;
    std::size_t none = 0;
    reply_ = MessageBytes(inquiry.reply, values_, {}, &none);
  }

  const std::vector<std::uint8_t>& reply() const { return reply_; }
  bool IsAsked(std::span<const std::uint8_t> message) const {
    constexpr std::uint8_t kEverybody = 0x7F;
    if (inquiry_.own) {
      ChartValues values = values_;
      return MatchMessage(inquiry_.request, message, &values, nullptr);
    }
    return message.size() == 6 && message[1] == 0x7E && (message[2] == kEverybody || message[2] == reply_[2]) &&
           message[3] == 0x06 && message[4] == 0x01;
  }

 private:
  const ChartInquiry& inquiry_;
  ChartValues values_;
  std::vector<std::uint8_t> reply_;
};

}  // namespace

std::string PlaySearch(Session& session, const ChartInstrument& chart, const ChartInquiry& inquiry,
                       const ZKDrvList* instrument, int device) {
  TransferRig rig(session, TransferRig::Kind::Virtual);
  const Answerer answerer(chart, inquiry, device);
  const auto end = rig.backend().CreateEndpoint(kSearchedPort, {});
  std::mutex mutex;
  std::vector<std::uint8_t> pending;
  end->SetReceiver([&](std::span<const std::uint8_t> bytes, std::int64_t) {
    const std::lock_guard lock(mutex);
    for (const std::uint8_t byte : bytes) {
      if (byte == 0xF0) pending.clear();
      pending.push_back(byte);
      if (byte == 0xF7 && answerer.IsAsked(pending)) end->Send(answerer.reply(), kAnswersAfterUs);
    }
  });
  AutoConfigTask task;
  std::string title;
  AutoConfigResult found;
  Result ready = rig.OpenPorts(end->name(), end->name());
  if (ready.ok()) ready = PrepareAutoConfig(session.studio(), instrument, &task, &title);
  if (ready.ok()) {
    std::atomic<bool> over{false};
    WorkerThread worker(rig.clock(), [&] {
      AutoConfigSearch search({rig.midi().out(), rig.midi().in(), &rig.transfers()}, std::move(task),
                              std::make_shared<AutoConfigControl>(), {});
      found = PerformAutoConfig(search);
      over = true;
    });
    while (!over) rig.clock().SleepMs(kWatchMs);
    worker.Join();
  }
  end->SetReceiver({});
  rig.backend().RemoveEndpoint(end);
  if (!ready.ok()) return PlainSentence(ready.text);
  if (found.outcome != AutoConfigOutcome::Found) return "an instrument that answers so is not found.";
  const bool says = chart.device.letter && inquiry.reply.PlaceOf(chart.device.letter) >= 0;
  if (says && found.deviceId != device)
    return "it is found as device " + std::to_string(found.deviceId) + ", and answered as " + std::to_string(device) +
           ".";
  return {};
}

}  // namespace tonalith
