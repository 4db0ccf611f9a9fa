#include "tools/monitor_document.h"

#include <algorithm>

#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::int64_t kDescribeBudgetUs = 30'000;  // a pass; behind it messages stay without words

}  // namespace

// Texts come from any thread and wait here for the next pass.
struct MonitorDocument::Texts {
  std::mutex mutex;
  std::deque<std::pair<std::uint32_t, std::string>> waiting;

  void Put(std::uint32_t tick, std::string_view text) {
    const std::lock_guard lock(mutex);
    if (waiting.size() >= kMonitorDrop) waiting.pop_front();
    waiting.emplace_back(tick, text);
  }
};

MonitorKind MonitorKindOf(std::uint8_t status) {
  if (status == 0xF0 || status == 0xF7) return MonitorKind::SysX;
  if (status >= 0xF0) return MonitorKind::System;
  return static_cast<MonitorKind>(((status >> 4) - 8) & 7);
}

MonitorDocument::MonitorDocument(MonitorRegistry& registry)
    : registry_(registry),
      tap_(registry.OpenTap()),
      earlier_(Log::Instance().Lines(LogChannel::Monitor)),
      start_(registry.clock().TickMs()),
      texts_(std::make_shared<Texts>()) {
  shown_.fill(true);
  // A sink may still run on another thread when it has been removed: it holds the texts, not this object.
  sink_ =
      Log::Instance().AddSink([texts = texts_, &clock = registry.clock()](LogChannel channel, std::string_view line) {
        if (channel == LogChannel::Monitor) texts->Put(clock.TickMs(), line);
      });
}

MonitorDocument::~MonitorDocument() {
  Log::Instance().RemoveSink(sink_);
  registry_.CloseTap(tap_);
}

bool MonitorDocument::Process() {
  const std::size_t before = lines_.size();
  const std::uint64_t gone = dropped_;
  describeUs_ = 0;
  const std::size_t taken = ProcessEventQueue(MonitorDirection::In, kMonitorPass);
  ProcessEventQueue(MonitorDirection::Out, kMonitorPass - std::min(taken, kMonitorPass / 2));
  AddTexts();
  if (const std::size_t lost = tap_->TakeLost())
    Add(std::make_unique<MsgLine>(last_, 0, std::to_string(lost) + " messages came too fast to be shown"));
  Trim();
  return lines_.size() != before || dropped_ != gone;
}

std::size_t MonitorDocument::ProcessEventQueue(MonitorDirection direction, std::size_t most) {
  const MonitorQueue records = registry_.Take(tap_, direction == MonitorDirection::In, std::min(most, kMonitorPass));
  for (const MonitorRecord& record : records) AddRecord(direction, record);
  return records.size();
}

void MonitorDocument::ClearQueue() {
  registry_.ClearQueue(tap_, true);
  registry_.ClearQueue(tap_, false);
}

void MonitorDocument::AddRecord(MonitorDirection direction, const MonitorRecord& record) {
  const bool in = direction == MonitorDirection::In;
  if (!in) litUntil_[record.port] = record.time + kPortLightMs;
  if (in ? !input_ : !output_) return;
  if (!shows(MonitorKindOf(record.bytes[0]))) return;
  const std::uint32_t time = SinceStart(record.time);
  TestPortChange(direction, record.port, time);
  if (record.bytes[0] != 0xF0) {
    Add(std::make_unique<MidiLine>(time, Delta(time), direction, record.bytes));
    return;
  }
  std::string words;
  if (describer_ && describeUs_ < kDescribeBudgetUs) {
    const std::int64_t begin = registry_.clock().NowUs();
    words = describer_(record.bytes);
    describeUs_ += registry_.clock().NowUs() - begin;
  }
  Add(std::make_unique<SysXLine>(time, Delta(time), direction, record.port, record.bytes, complete_, std::move(words)));
}

void MonitorDocument::TestPortChange(MonitorDirection direction, int port, std::uint32_t time) {
  const bool in = direction == MonitorDirection::In;
  int& last = in ? lastInPort_ : lastOutPort_;
  if (last == port && lastDirection_ == direction) return;
  last = port;
  lastDirection_ = direction;
  const std::string name = in ? registry_.in().INGETPORTNAME(port) : registry_.out().OUTGETPORTNAME(port);
  Add(std::make_unique<PortLine>(time, Delta(time), direction, name));
}

void MonitorDocument::MonitorMsg(std::string_view text) {
  texts_->Put(registry_.clock().TickMs(), text);
}

void MonitorDocument::ShowEarlier() {
  for (const std::string& line : earlier_) MonitorMsg(line);
  earlier_.clear();
}

void MonitorDocument::AddTexts() {
  std::deque<std::pair<std::uint32_t, std::string>> texts;
  {
    const std::lock_guard lock(texts_->mutex);
    texts.swap(texts_->waiting);
  }
  for (const auto& [tick, text] : texts) {
    const std::uint32_t time = SinceStart(tick);
    Add(std::make_unique<MsgLine>(time, Delta(time), text));
  }
}

void MonitorDocument::AddStatus(std::string_view what, std::string_view text) {
  const std::uint32_t time = SinceStart(registry_.clock().TickMs());
  Add(std::make_unique<PortLine>(time, Delta(time), what, text));
  lastInPort_ = lastOutPort_ = -1;
}

void MonitorDocument::OnEditClear() {
  dropped_ += lines_.size();
  lines_.clear();
  extra_ = 0;
  lastInPort_ = lastOutPort_ = -1;
}

void MonitorDocument::Add(std::unique_ptr<TextLine> line) {
  extra_ += line->Extra();
  lines_.push_back(std::move(line));
}

void MonitorDocument::Trim() {
  while (!lines_.empty() && (lines_.size() > kMonitorMaxLines || extra_ > kMonitorMaxBytes)) {
    const std::size_t count = std::min(kMonitorDrop, lines_.size());
    for (std::size_t i = 0; i < count; ++i) {
      extra_ -= lines_.front()->Extra();
      lines_.pop_front();
    }
    dropped_ += count;
  }
}

std::uint32_t MonitorDocument::SinceStart(std::uint32_t tick) {
  // What waited in the queues since before this monitor opened counts from its start.
  const auto since = static_cast<std::int32_t>(tick - start_);
  return since < 0 ? 0 : static_cast<std::uint32_t>(since);
}

std::uint32_t MonitorDocument::Delta(std::uint32_t time) {
  const std::uint32_t delta = time > last_ ? time - last_ : 0;
  last_ = std::max(last_, time);
  return delta;
}

MonitorDocument::Lines MonitorDocument::LinesAt(std::span<const int> places) const {
  Lines chosen;
  chosen.reserve(places.size());
  for (const int place : places)
    if (place >= 0 && static_cast<std::size_t>(place) < lines_.size())
      chosen.push_back(lines_[static_cast<std::size_t>(place)].get());
  return chosen;
}

MonitorDocument::Lines MonitorDocument::AllLines() const {
  Lines all;
  all.reserve(lines_.size());
  for (const auto& line : lines_) all.push_back(line.get());
  return all;
}

std::string MonitorDocument::TextOf(const Lines& lines) {
  std::string text;
  for (const TextLine* line : lines) {
    line->AppendString(text);
    text += "\r\n";
  }
  return text;
}

std::vector<std::uint8_t> MonitorDocument::FileBytesOf(const Lines& lines, std::size_t* shortened) {
  std::vector<std::uint8_t> bytes;
  *shortened = 0;
  for (const TextLine* line : lines) {
    line->Write(bytes);
    const auto* sysex = dynamic_cast<const SysXLine*>(line);
    if (sysex && sysex->Shortened()) ++*shortened;
  }
  return bytes;
}

std::vector<std::uint8_t> MonitorDocument::MidiDataOf(const Lines& lines, bool input, bool output) {
  std::vector<std::uint8_t> bytes;
  for (const TextLine* line : lines)
    if ((input && line->IsMessage(MonitorDirection::In)) || (output && line->IsMessage(MonitorDirection::Out)))
      line->AppendBytes(bytes);
  return bytes;
}

bool MonitorDocument::PortLit(int outPort) const {
  if (outPort < 0 || outPort > 255) return false;
  const std::uint32_t until = litUntil_[static_cast<std::size_t>(outPort)];
  return until != 0 && static_cast<std::int32_t>(until - registry_.clock().TickMs()) > 0;
}

}  // namespace tonalith
