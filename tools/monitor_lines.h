#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Lines of the MIDI monitor.  A line knows its text and its bytes; windows show it, files keep it.

enum class MonitorDirection : std::uint8_t { In, Out };

// What a line is drawn in; windows choose the colours from their palette.
enum class MonitorColor : std::uint8_t { Input, Output, SysEx, Port, Message };

// Where a line is drawn: a window's row or a text.
class LinePainter {
 public:
  virtual ~LinePainter() = default;
  virtual void SetTextColor(MonitorColor color) { (void)color; }
  virtual void Hex(std::string_view text) = 0;
  virtual void Description(std::string_view text) = 0;
};

inline constexpr std::size_t kSysXShown = 16;      // bytes of a SysEx message that a line keeps
inline constexpr std::size_t kSysXLarge = 0xFFFF;  // beyond it the length is said to be LARGE

// Base of the lines.  Times are milliseconds: since the start of the monitor, and since the line before.
class TextLine {
 public:
  TextLine(std::uint32_t time, std::uint32_t delta) : time_(time), delta_(delta) {}
  virtual ~TextLine() = default;
  TextLine(const TextLine&) = delete;
  TextLine& operator=(const TextLine&) = delete;

  std::uint32_t time() const { return time_; }
  std::uint32_t delta() const { return delta_; }

  virtual void SetTextColor(LinePainter& painter) const = 0;
  virtual void Draw(LinePainter& painter) const = 0;
  // Appends the bytes a file gets; nothing for lines that are no messages.
  virtual void Write(std::vector<std::uint8_t>& out) const { (void)out; }
  // Appends the MIDI bytes this line holds (what is copied as MIDI data); F8, FA ... included.
  virtual void AppendBytes(std::vector<std::uint8_t>& out) const { (void)out; }
  // The message as text: hex bytes and what they mean.  Empty for other lines.
  virtual std::string MIDIString() const { return {}; }
  // The text of a line about ports.  Empty for other lines.
  virtual std::string MIDIPortState() const { return {}; }
  // True for a message of this direction.
  virtual bool IsMessage(MonitorDirection direction) const { return (void)direction, false; }
  // Bytes of memory beyond the object.
  virtual std::size_t Extra() const { return 0; }

  // Appends time, delta and text, without a line end.
  void AppendString(std::string& out) const;

 private:
  std::uint32_t time_;
  std::uint32_t delta_;
};

// A channel or system message of up to 3 bytes.
class MidiLine final : public TextLine {
 public:
  MidiLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction, std::span<const std::uint8_t> message);

  void SetTextColor(LinePainter& painter) const override;
  void Draw(LinePainter& painter) const override;
  void Write(std::vector<std::uint8_t>& out) const override;
  void AppendBytes(std::vector<std::uint8_t>& out) const override;
  std::string MIDIString() const override;
  bool IsMessage(MonitorDirection direction) const override { return direction == direction_; }

 private:
  std::string HexText() const;

  MonitorDirection direction_;
  std::uint8_t length_;
  std::uint8_t bytes_[3] = {};
};

// A SysEx message: its first bytes and its length; all of it when it is kept complete.
class SysXLine final : public TextLine {
 public:
  // `words` says what the message is in the terms of its instrument; may be empty.
  SysXLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction, int port,
           std::span<const std::uint8_t> message, bool complete, std::string words);

  void SetTextColor(LinePainter& painter) const override;
  void Draw(LinePainter& painter) const override;
  void Write(std::vector<std::uint8_t>& out) const override;
  void AppendBytes(std::vector<std::uint8_t>& out) const override { Write(out); }
  std::string MIDIString() const override;
  bool IsMessage(MonitorDirection direction) const override { return direction == direction_; }
  std::size_t Extra() const override { return bytes_.capacity() + words_.capacity(); }

  std::size_t length() const { return length_; }
  int port() const { return port_; }
  bool Shortened() const { return bytes_.size() < length_; }

 private:
  std::string HexText() const;

  MonitorDirection direction_;
  std::uint8_t port_;
  std::size_t length_;
  std::vector<std::uint8_t> bytes_;
  std::string words_;
};

// The port that the next messages belong to, or a change of the ports.
class PortLine final : public TextLine {
 public:
  // "MIDI IN: name" or "MIDI OUT: name"; an empty name is "unassigned".
  PortLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction, std::string_view name);
  // "what: text", what being "STATUS", "MIDI IN" or "MIDI OUT".
  PortLine(std::uint32_t time, std::uint32_t delta, std::string_view what, std::string_view text);

  void SetTextColor(LinePainter& painter) const override { painter.SetTextColor(MonitorColor::Port); }
  void Draw(LinePainter& painter) const override;
  std::string MIDIPortState() const override { return text_; }
  std::size_t Extra() const override { return text_.capacity(); }

 private:
  std::string text_;
};

// A line of text from somewhere in the program.
class MsgLine final : public TextLine {
 public:
  MsgLine(std::uint32_t time, std::uint32_t delta, std::string_view text) : TextLine(time, delta), text_(text) {}

  void SetTextColor(LinePainter& painter) const override { painter.SetTextColor(MonitorColor::Message); }
  void Draw(LinePainter& painter) const override;
  std::size_t Extra() const override { return text_.capacity(); }

 private:
  std::string text_;
};

inline constexpr char kNoPortName[] = "unassigned";
inline constexpr char kHostPortName[] = "Plug-in Host";

// "C 4", "F#3": the note's name, two characters, and its octave, note 60 being in octave 4.
std::string MonitorNoteText(int note);
// The line of one message, without times: what a monitor shows.  `words` as in SysXLine.
std::string MonitorText(std::span<const std::uint8_t> message, std::string words = {});

}  // namespace tonalith
