#include "services/midi_self_test.h"

#include <algorithm>
#include <mutex>

#include "midi/port_report.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// Song positions: instruments at the end of a cable that is none do nothing of note, and no echo sends them on.
constexpr std::uint8_t kSongPosition = 0xF2;
constexpr int kShortMessages = 64;
constexpr std::uint8_t kNobodysId = 0x7D;     // for tests; no instrument listens to it
constexpr std::int64_t kSilenceUs = 700'000;  // nothing more is coming
constexpr std::int64_t kLookUs = 50'000;

// Differs from every other message of the test, and from itself shifted.
std::vector<std::uint8_t> LongPattern(std::size_t size, std::uint8_t number) {
  std::vector<std::uint8_t> bytes(std::max<std::size_t>(size, 4));
  std::uint32_t state = 2'463'534'242U + number;
  for (std::uint8_t& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    byte = static_cast<std::uint8_t>(state >> 9 & 0x7F);
  }
  bytes[0] = 0xF0;
  bytes[1] = kNobodysId;
  bytes[2] = number;
  bytes.back() = 0xF7;
  return bytes;
}

// What comes in while the test runs.
class Returns {
 public:
  Returns(MidiIn& in, Clock& clock, int slot) : in_(in), changed_(clock) {
    monitor_ = in.AddMidiInMonitor([this, slot](int port, std::span<const std::uint8_t> message) {
      // Clock and active sensing are nobody's answer.
      if (port != slot || (message.size() == 1 && message[0] >= 0xF8)) return;
      const std::lock_guard lock(mutex_);
      bytes_.insert(bytes_.end(), message.begin(), message.end());
      lastUs_ = changed_.clock().NowUs();
      changed_.NotifyAll();
    });
  }
  ~Returns() { in_.RemoveMidiInMonitor(monitor_); }
  Returns(const Returns&) = delete;
  Returns& operator=(const Returns&) = delete;

  void Clear() {
    const std::lock_guard lock(mutex_);
    bytes_.clear();
    lastUs_ = 0;
  }
  // Until as many bytes are there, or nothing came for a while and `over` holds.
  std::vector<std::uint8_t> Await(std::size_t count, const std::function<bool()>& over, const CancelToken& cancel,
                                  std::int64_t* lastUs) {
    std::unique_lock lock(mutex_);
    Clock& clock = changed_.clock();
    for (std::int64_t quietFrom = clock.NowUs(); bytes_.size() < count && !cancel.Cancelled();) {
      const std::int64_t now = clock.NowUs();
      lock.unlock();
      const bool mayEnd = over();
      lock.lock();
      if (!mayEnd) quietFrom = now;
      if (now - std::max(quietFrom, lastUs_) >= kSilenceUs) break;
      changed_.WaitUntil(lock, now + kLookUs, [&] { return bytes_.size() >= count; });
    }
    *lastUs = lastUs_;
    return bytes_;
  }

 private:
  MidiIn& in_;
  std::mutex mutex_;
  WaitPoint changed_;
  int monitor_ = 0;
  std::vector<std::uint8_t> bytes_;
  std::int64_t lastUs_ = 0;
};

// Bytes in front and behind that agree; what lies between was lost, changed or added.
void Compare(const std::vector<std::uint8_t>& sent, const std::vector<std::uint8_t>& back, SelfTestRow* row) {
  const std::size_t common = std::min(sent.size(), back.size());
  std::size_t front = 0;
  while (front < common && sent[front] == back[front]) ++front;
  std::size_t behind = 0;
  while (behind < common - front && sent[sent.size() - 1 - behind] == back[back.size() - 1 - behind]) ++behind;
  row->lost = sent.size() > back.size() ? sent.size() - back.size() : 0;
  row->extra = back.size() > sent.size() ? back.size() - sent.size() : 0;
  for (std::size_t i = front; i < common - behind; ++i) row->changed += sent[i] != back[i];
  row->back = back.size();
}

struct Pattern {
  std::string what;
  std::vector<std::vector<std::uint8_t>> messages;
};

std::vector<Pattern> PatternsOf(const SelfTestRequest& request) {
  std::vector<Pattern> patterns(1);
  patterns[0].what = Printf("%d short messages", kShortMessages);
  for (int i = 0; i < kShortMessages; ++i)
    patterns[0].messages.push_back(
        {kSongPosition, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i * 2 % 128)});
  std::uint8_t number = 1;
  for (const std::size_t size : request.sizes) {
    patterns.push_back({"SysEx of " + GroupedNumber(size) + " bytes", {LongPattern(size, number++)}});
  }
  return patterns;
}

SelfTestRow RunPattern(MidiPortSystem& midi, const SelfTestRequest& request, const Pattern& pattern, Returns& returns,
                       const CancelToken& cancel) {
  SelfTestRow row;
  row.what = pattern.what;
  std::vector<std::uint8_t> sent;
  SendOptions options;
  options.cancel = &cancel;
  options.lease = request.out->lease();  // the desk's, for this work
  const std::uint64_t failed = request.out->failedMessages();
  const std::int64_t begin = midi.clock().NowUs();
  for (const auto& message : pattern.messages) {
    sent.insert(sent.end(), message.begin(), message.end());
    row.refused = row.refused || midi.out().SendPacked(request.out->slot(), message, options) != 0;
  }
  row.sent = sent.size();
  const auto over = [&] { return row.refused || !request.out->isBusy() || !request.out->Alive(); };
  std::int64_t lastUs = 0;
  const std::vector<std::uint8_t> back = returns.Await(sent.size(), over, cancel, &lastUs);
  // The port is quiet before the next pattern, however early this one was back.
  while (request.out->Alive() && !cancel.Cancelled() && !request.out->WaitIdle(kLookUs / 1000, &cancel)) {
  }
  Compare(sent, back, &row);
  row.refused = row.refused || request.out->failedMessages() != failed;
  const std::uint32_t rate = request.out->EffectiveRate();
  const std::int64_t wireUs = rate ? static_cast<std::int64_t>(sent.size()) * 1'000'000 / rate : 0;
  if (lastUs > 0) row.slowestMs = std::max<std::int64_t>(lastUs - begin - wireUs, 0) / 1000;
  return row;
}

std::string Quoted(const std::string& name) {
  return "\"" + name + "\"";
}

}  // namespace

bool SelfTestReport::Right() const {
  return !cancelled && !nothingBack && !portLost && lostEvents == 0 && !rows.empty() &&
         std::all_of(rows.begin(), rows.end(), [](const SelfTestRow& row) { return row.Right(); });
}

std::string SelfTestReport::Sentence() const {
  const std::string way = " from " + Quoted(out) + " to " + Quoted(in);
  if (!notBegun.empty()) return notBegun;
  if (cancelled) return "The MIDI test was cancelled.";
  if (portLost) return "A MIDI port went away during the test.";
  SelfTestRow all;
  for (const SelfTestRow& row : rows) {
    all.sent += row.sent;
    all.lost += row.lost;
    all.changed += row.changed;
    all.extra += row.extra;
    all.refused = all.refused || row.refused;
    all.slowestMs = std::max(all.slowestMs, row.slowestMs);
  }
  if (all.refused) return "The MIDI OUT port " + Quoted(out) + " did not send all of the test.";
  if (nothingBack) return "Nothing came back: no cable leads" + way + ".";
  if (!Right()) {
    std::string text = GroupedNumber(all.sent) + " bytes" + way + ": " + GroupedNumber(all.lost) + " lost, " +
                       GroupedNumber(all.changed) + " changed";
    if (all.extra) text += ", " + GroupedNumber(all.extra) + " came that were not sent";
    if (lostEvents) text += "; the MIDI system lost input " + GroupedNumber(lostEvents) + " times";
    return text + ".";
  }
  return "All " + GroupedNumber(all.sent) + " bytes came" + way + " unchanged" +
         (all.slowestMs > kSelfTestLateMs
              ? ", but up to " + GroupedNumber(static_cast<std::uint64_t>(all.slowestMs)) + " ms late."
              : ".");
}

std::string SelfTestRowText(const SelfTestRow& row) {
  std::string text = GroupedNumber(row.sent) + " bytes sent, " + GroupedNumber(row.back) + " back, " +
                     GroupedNumber(row.lost) + " lost, " + GroupedNumber(row.changed) + " changed";
  if (row.extra) text += ", " + GroupedNumber(row.extra) + " too many";
  if (row.refused) text += ", not sent whole";
  if (row.back) text += ", " + GroupedNumber(static_cast<std::uint64_t>(row.slowestMs)) + " ms late";
  return text;
}

SelfTestReport RunSelfTest(MidiPortSystem& midi, const SelfTestRequest& request, const CancelToken& cancel,
                           const DeskStep::TaskProgress& progress) {
  SelfTestReport report;
  report.out = request.out->name();
  report.in = request.in->name();
  const std::uint64_t lostBefore = request.in->LostEvents();
  Returns returns(midi.in(), midi.clock(), request.in->slot());
  const std::vector<Pattern> patterns = PatternsOf(request);
  for (const Pattern& pattern : patterns) {
    returns.Clear();
    report.rows.push_back(RunPattern(midi, request, pattern, returns, cancel));
    report.cancelled = cancel.Cancelled();
    report.portLost = !request.out->Alive() || !request.in->Alive();
    // Some interfaces drop song positions: only a SysEx that stays away too says that there is no loop.
    report.nothingBack =
        std::all_of(report.rows.begin(), report.rows.end(), [](const SelfTestRow& row) { return row.back == 0; });
    if (report.cancelled || report.portLost || (report.nothingBack && report.rows.size() > 1)) break;
    if (progress) progress(static_cast<int>(report.rows.size()), static_cast<int>(patterns.size()));
  }
  report.lostEvents = request.in->LostEvents() - lostBefore;
  return report;
}

DeskRequest SelfTestJob(MidiPortSystem& midi, const SelfTestRequest& request, std::shared_ptr<SelfTestReport> report) {
  DeskRequest job = DeskRequest::Of(DeskStep::Kind::kTask, nullptr);
  DeskStep& step = job.steps.front();
  step.title = "MIDI test";
  step.outPort = request.out->slot();
  step.inPort = request.in->slot();
  step.task = [&midi, request, report = std::move(report)](const CancelToken& stop,
                                                           const DeskStep::TaskProgress& progress) {
    *report = RunSelfTest(midi, request, stop, progress);
  };
  job.showWindow = 0;
  return job;
}

}  // namespace tonalith
