#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/monitor_lines.h"
#include "tools/monitor_registry.h"

namespace tonalith {

// The kinds of messages a monitor can leave out, in the order of the menu.
enum class MonitorKind : std::uint8_t {
  NoteOff,
  NoteOn,
  PolyTouch,
  Controllers,
  PatchChange,
  Aftertouch,
  PitchWheel,
  System,
  SysX,
};
inline constexpr std::size_t kMonitorKinds = 9;
MonitorKind MonitorKindOf(std::uint8_t status);

inline constexpr std::size_t kMonitorPass = 2000;         // records made into lines at a time
inline constexpr std::size_t kMonitorMaxLines = 1000000;  // older lines go in blocks of kMonitorDrop
inline constexpr std::size_t kMonitorDrop = 10000;
inline constexpr std::size_t kMonitorMaxBytes = 256u << 20;  // what lines may hold beyond themselves
inline constexpr std::uint32_t kPortLightMs = 100;

// What a text monitor shows: lines made from what the MIDI threads queued.  Filters apply when a line is made: what was
// left out does not come back.  Used on one thread.
class MonitorDocument {
 public:
  // Says a SysEx message in the words of its instrument; may be empty.  It gets the whole message.
  using Describer = std::function<std::string(std::span<const std::uint8_t> message)>;

  // The registry must outlive the document.
  explicit MonitorDocument(MonitorRegistry& registry);
  ~MonitorDocument();
  MonitorDocument(const MonitorDocument&) = delete;
  MonitorDocument& operator=(const MonitorDocument&) = delete;

  void SetDescriber(Describer describer) { describer_ = std::move(describer); }

  bool shows(MonitorKind kind) const { return shown_[static_cast<std::size_t>(kind)]; }
  void Show(MonitorKind kind, bool show) { shown_[static_cast<std::size_t>(kind)] = show; }
  bool showsInput() const { return input_; }
  bool showsOutput() const { return output_; }
  void ShowInput(bool show) { input_ = show; }
  void ShowOutput(bool show) { output_ = show; }
  // SysEx messages are kept whole from now on (else their first kSysXShown bytes).
  bool keepsComplete() const { return complete_; }
  void KeepComplete(bool keep) { complete_ = keep; }

  // One pass: makes queued messages and texts into lines.  True when lines came or went.
  bool Process();
  // At most kMonitorPass records of one direction; returns how many were taken.
  std::size_t ProcessEventQueue(MonitorDirection direction, std::size_t most);
  void ClearQueue();
  // Deletes all lines.
  void OnEditClear();
  // A text line; any thread.
  void MonitorMsg(std::string_view text);
  // How many lines the log had when the document was made, and their showing; they are shown once.
  std::size_t Earlier() const { return earlier_.size(); }
  void ShowEarlier();
  // "what: text", for changes of the ports.
  void AddStatus(std::string_view what, std::string_view text);

  const std::deque<std::unique_ptr<TextLine>>& lines() const { return lines_; }
  // Lines that were dropped from the front since the start; with it rows keep their identity.
  std::uint64_t dropped() const { return dropped_; }

  // Lines that somebody chose; they live until the next pass.
  using Lines = std::vector<const TextLine*>;
  // Those at these places of lines(); places that do not exist are left out.
  Lines LinesAt(std::span<const int> places) const;
  Lines AllLines() const;
  // Their text, a line each, ended by CR LF.
  static std::string TextOf(const Lines& lines);
  std::string Text() const { return TextOf(AllLines()); }
  // What a file gets; `shortened` counts the SysEx messages of which only the first bytes are there.
  static std::vector<std::uint8_t> FileBytesOf(const Lines& lines, std::size_t* shortened);
  std::vector<std::uint8_t> FileBytes(std::size_t* shortened) const { return FileBytesOf(AllLines(), shortened); }
  // MIDI bytes of their messages.
  static std::vector<std::uint8_t> MidiDataOf(const Lines& lines, bool input, bool output);
  std::vector<std::uint8_t> MidiData(bool input, bool output) const { return MidiDataOf(AllLines(), input, output); }

  // Whether the light of an output port is on.
  bool PortLit(int outPort) const;

 private:
  void AddRecord(MonitorDirection direction, const MonitorRecord& record);
  void AddTexts();
  void TestPortChange(MonitorDirection direction, int port, std::uint32_t time);
  void Add(std::unique_ptr<TextLine> line);
  std::uint32_t SinceStart(std::uint32_t tick);
  std::uint32_t Delta(std::uint32_t time);
  void Trim();

  MonitorRegistry& registry_;
  MonitorTap* tap_;
  std::vector<std::string> earlier_;
  Describer describer_;
  std::deque<std::unique_ptr<TextLine>> lines_;
  std::array<bool, kMonitorKinds> shown_;
  bool input_ = true;
  bool output_ = true;
  bool complete_ = false;
  std::uint32_t start_;
  std::uint32_t last_ = 0;
  int lastInPort_ = -1;
  int lastOutPort_ = -1;
  MonitorDirection lastDirection_ = MonitorDirection::In;
  std::uint64_t dropped_ = 0;
  std::size_t extra_ = 0;
  std::array<std::uint32_t, 256> litUntil_{};
  std::int64_t describeUs_ = 0;  // spent in this pass

  struct Texts;
  std::shared_ptr<Texts> texts_;
  int sink_ = 0;
};

}  // namespace tonalith
