#include <algorithm>
#include <utility>

#include "data/hex_text.h"
#include "platform/text.h"
#include "studio/auto_configuration.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLingerMs = 2000;        // for answers that come after the last request
constexpr std::int64_t kHistoryUs = 3'000'000;  // an answer belongs to a request of this time at most
constexpr std::int64_t kConfirmMarginMs = 150;
constexpr std::int64_t kQuietMs = 150;
constexpr std::int64_t kLongestQuietMs = 2000;
constexpr std::size_t kKeptRequests = 512;

bool SameName(const std::vector<AutoConfigSearch::Port>& ports, const std::string& name, std::string* found) {
  for (const auto& port : ports) {
    if (!AsciiEqualNoCase(port.name, name)) continue;
    *found = port.name;
    return true;
  }
  return false;
}

// One run of identity requests.
class InquiryRun {
 public:
  explicit InquiryRun(AutoConfigSearch& search)
      : search_(search), inquiry_(search.task.inquiry), matches_(inquiry_.patterns.size(), 0) {}

  bool Run() {
    const int devices = inquiry_.chMax - inquiry_.chMin + 1;
    search_.shown.range = std::max(0, devices * static_cast<int>(search_.outputs.size()) - 1);
    search_.shown.inPort = "Any MIDI IN port";
    search_.Show(true);
    if (UseDefaultPorts()) return true;
    for (int repeat = 0; repeat < inquiry_.repeats; ++repeat) {
      search_.shown.position = 0;
      for (int device = inquiry_.chMin; device <= inquiry_.chMax; ++device) {
        if (SweepPorts(device, repeat)) return true;
        if (search_.Cancelled()) return false;
      }
    }
    return WaitForLate();
  }

 private:
  struct Request {
    int device = 0;
    std::string outPort;
    std::int64_t timeUs = 0;
  };
  struct Match {
    AutoConfigSearch::Heard heard;
    int pattern = -1;
    int deviceId = -1;
    Request request;
  };

  bool UseDefaultPorts() {
    std::string in, out;
    if (inquiry_.defaultInPort.empty() || inquiry_.defaultOutPort.empty() ||
        !SameName(search_.inputs, inquiry_.defaultInPort, &in) ||
        !SameName(search_.outputs, inquiry_.defaultOutPort, &out))
      return false;
    search_.Trace("the ports " + in + " and " + out + " of the module are there: nothing is sent");
    Finish(in, out, inquiry_.chMin, -1);
    return true;
  }

  bool SweepPorts(int device, int repeat) {
    bool marked = false;
    Match last;
    for (const auto& output : search_.outputs) {
      if (search_.Cancelled()) return false;
      ShowTry(device, output.name, repeat);
      const auto match = Ask(device, output.name, inquiry_.separationMs);
      if (!match) continue;
      last = *match;
      marked = true;
      if (CountMatch(*match)) return Found(*match);
    }
    return marked && !search_.Cancelled() && Found(last);
  }

  void ShowTry(int device, const std::string& outPort, int repeat) {
    auto& shown = search_.shown;
    const auto done = static_cast<std::int64_t>(repeat) * (shown.range + 1) + shown.position;
    const auto all = static_cast<std::int64_t>(inquiry_.repeats) * (shown.range + 1);
    shown.remainingMs = (all - done) * inquiry_.separationMs;
    search_.ShowDevice(device);
    shown.outPort = outPort;
    search_.Show();
    shown.position = std::min(shown.position + 1, shown.range);
  }

  bool CountMatch(const Match& match) {
    const auto pattern = static_cast<std::size_t>(match.pattern);
    return ++matches_[pattern] >= inquiry_.patterns[pattern].nthResponse;
  }

  // Sends one request and takes the first fitting reply that comes in time.
  std::optional<Match> Ask(int device, const std::string& outPort, std::int64_t waitMs) {
    search_.ForgetHeard();
    const std::vector<std::uint8_t> request = inquiry_.Request(device);
    requests_.push_back({device, outPort, search_.clock().NowUs()});
    if (requests_.size() > kKeptRequests) requests_.erase(requests_.begin(), requests_.begin() + kKeptRequests / 2);
    const bool sent = search_.Send(outPort, request);
    search_.Trace("to " + outPort + ": " + HexText(request) +
                  (sent ? "" : " (not sent: the port is gone, or a transfer has it)"));
    if (!sent || !search_.Wait(waitMs)) return std::nullopt;
    return FirstMatch(requests_.back());
  }

  std::optional<Match> FirstMatch(const Request& request) {
    std::optional<Match> first;
    for (auto& heard : search_.TakeHeard()) {
      const int pattern = MatchIdentityReply(inquiry_, heard.message);
      search_.Trace("from " + heard.inPort + ": " + HexText(heard.message) +
                    (pattern < 0 ? "" : " (fits pattern " + std::to_string(pattern + 1) + ")"));
      if (inquiry_.IsAnswer(heard.message)) search_.NoteAnswer(heard, request.outPort, pattern >= 0);
      if (pattern < 0 || first) continue;
      const int deviceId = inquiry_.DeviceOf(heard.message, request.device);
      first = Match{std::move(heard), pattern, deviceId, request};
    }
    return first;
  }

  // A slow instrument answers when the search has gone on already: listen on after the last request.
  bool WaitForLate() {
    search_.shown.remainingMs = kLingerMs;
    search_.Show(true);
    const std::int64_t end = search_.clock().NowUs() + kLingerMs * 1000;
    while (!requests_.empty() && search_.clock().NowUs() < end) {
      if (!search_.Wait(std::max(20, inquiry_.separationMs))) return false;
      if (const auto match = FirstMatch(requests_.back())) return Found(*match);
    }
    return false;
  }

  bool Found(const Match& match) {
    const std::string outPort = search_.outputs.size() > 1 ? ConfirmedPort(match) : match.request.outPort;
    if (search_.Cancelled()) return false;
    for (AutoConfigAnswer& answer : search_.shown.answers)
      if (answer.matched && answer.inPort == match.heard.inPort) answer.outPort = outPort;
    Finish(match.heard.inPort, outPort, match.deviceId,
           inquiry_.patterns[static_cast<std::size_t>(match.pattern)].select);
    return true;
  }

  // The reply may be the late answer to an earlier request on another port.  The latest requests are asked again, one
  // at a time, each as long as the reply would have taken from it; without any answer the reply counts for the request
  // that was under way.
  std::string ConfirmedPort(const Match& match) {
    WaitUntilQuiet();
    bool first = true;
    for (const Request& candidate : Candidates(match)) {
      if (search_.Cancelled()) break;
      const std::int64_t late = (match.heard.timeUs - candidate.timeUs) / 1000;
      const auto answers = [&] {
        const auto again = Ask(candidate.device, candidate.outPort, std::max<std::int64_t>(0, late) + kConfirmMarginMs);
        return again && again->heard.inPort == match.heard.inPort;
      };
      // Behind one that was silent it may be that one's late answer: then it does not come a second time.
      if (answers() && (std::exchange(first, false) || answers())) return candidate.outPort;
      first = false;
    }
    return match.request.outPort;
  }

  void WaitUntilQuiet() {
    const std::int64_t quietMs = std::clamp<std::int64_t>(
        std::int64_t{inquiry_.separationMs} * static_cast<std::int64_t>(search_.outputs.size()) + 100, kQuietMs,
        kLongestQuietMs);
    const std::int64_t end = search_.clock().NowUs() + 2 * kLongestQuietMs * 1000;
    std::int64_t quietUs = search_.clock().NowUs();
    while (search_.clock().NowUs() < end && search_.clock().NowUs() < quietUs + quietMs * 1000) {
      if (!search_.Wait(20)) return;
      const auto heard = search_.TakeHeard();
      if (std::any_of(heard.begin(), heard.end(), [&](const auto& h) { return inquiry_.IsAnswer(h.message); }))
        quietUs = search_.clock().NowUs();
    }
  }

  // The ID that the reply itself says.
  int SaidDevice(const Match& match) const { return inquiry_.own.empty() ? match.heard.message[2] : match.deviceId; }

  // Newest first, every port once: with the ID of the reply when that was asked for, else with the latest one.
  std::vector<Request> Candidates(const Match& match) const {
    std::vector<Request> found;
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it) {
      if (it->timeUs > match.heard.timeUs) continue;
      if (it->timeUs + kHistoryUs < match.heard.timeUs) break;
      const auto known = std::find_if(found.begin(), found.end(),
                                      [&](const Request& request) { return request.outPort == it->outPort; });
      if (known == found.end())
        found.push_back(*it);
      else if (it->device == SaidDevice(match) && known->device != it->device)
        *known = *it;
    }
    return found;
  }

  void Finish(const std::string& inPort, const std::string& outPort, int deviceId, int setNumber) {
    auto& result = search_.result;
    result.inPortName = inPort;
    result.outPortName = outPort;
    result.inPort = search_.LocateInput(inPort);
    result.outPort = search_.LocateOutput(outPort);
    result.deviceId = deviceId;
    result.setNumber = setNumber;
  }

  AutoConfigSearch& search_;
  const DeviceInquiry& inquiry_;
  std::vector<int> matches_;  // so far, of each pattern
  std::vector<Request> requests_;
};

}  // namespace

bool AutoConfigDeviceInquiry(AutoConfigSearch& search) {
  return InquiryRun(search).Run();
}

bool AutoConfigDeviceInquiryOld(AutoConfigSearch& search) {
  search.task.inquiry.oldMode = true;
  return InquiryRun(search).Run();
}

}  // namespace tonalith
