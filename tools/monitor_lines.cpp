#include "tools/monitor_lines.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tonalith {

namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
  char text[160];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

// One text after the other, a blank between the parts.
class TextPainter final : public LinePainter {
 public:
  explicit TextPainter(std::string& out) : out_(out) {}
  void Hex(std::string_view text) override { Add(text); }
  void Description(std::string_view text) override { Add(text); }

 private:
  void Add(std::string_view text) {
    if (text.empty()) return;
    if (any_ && out_.back() != ' ' && text.front() != ' ') out_ += ' ';
    out_ += text;
    any_ = true;
  }

  std::string& out_;
  bool any_ = false;
};

std::string ChannelText(const std::uint8_t* b) {
  switch (b[0] & 0xF0) {
    case 0x80:
      return Format("Note Off=%s Vel=%d", MonitorNoteText(b[1]).c_str(), b[2]);
    case 0x90:
      return Format("Note On=%s Vel=%d", MonitorNoteText(b[1]).c_str(), b[2]);
    case 0xA0:
      return Format("P. Atch Note=%s Amt=%d", MonitorNoteText(b[1]).c_str(), b[2]);
    case 0xB0:
      return Format("Controller #%d Amt=%d", b[1], b[2]);
    case 0xC0:
      return Format("Patch Change #%d", b[1]);
    case 0xD0:
      return Format("Aftertouch Amt=%d", b[1]);
    default:
      return Format("PWheel Amt=%d", (b[1] | b[2] << 7) - 8192);
  }
}

std::string SystemText(const std::uint8_t* b) {
  switch (b[0]) {
    case 0xF0:
      return "SysX Message Start";
    case 0xF1:
      return Format("Midi Time Code (Val = %d)", b[1]);
    case 0xF2:
      return Format("Song Position Pointer (Val:%d)", b[1] + b[2] * 128);
    case 0xF3:
      return Format("Song Select (Song: %d)", b[1]);
    case 0xF6:
      return "Tune Request";
    case 0xF7:
      return "SysX Message End";
    case 0xFA:
      return "Sequence Start";
    case 0xFB:
      return "Sequence Continue";
    case 0xFC:
      return "Sequence Stop";
    case 0xFE:
      return "Active Sensing";
    case 0xFF:
      return "System Reset";
    default:
      return {};
  }
}

}  // namespace

std::string MonitorNoteText(int note) {
  static constexpr const char* kNames[] = {"C ", "C#", "D ", "D#", "E ", "F ", "F#", "G ", "G#", "A ", "A#", "B "};
  return Format("%s%d", kNames[note % 12], note / 12 - 1);
}

void TextLine::AppendString(std::string& out) const {
  out += Format("%u.%03u\t%u\t", time_ / 1000, time_ % 1000, delta_);
  TextPainter painter(out);
  Draw(painter);
}

MidiLine::MidiLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction,
                   std::span<const std::uint8_t> message)
    : TextLine(time, delta),
      direction_(direction),
      length_(static_cast<std::uint8_t>(std::min<std::size_t>(message.size(), sizeof bytes_))) {
  std::copy_n(message.begin(), length_, bytes_);
}

void MidiLine::SetTextColor(LinePainter& painter) const {
  painter.SetTextColor(direction_ == MonitorDirection::In ? MonitorColor::Input : MonitorColor::Output);
}

std::string MidiLine::HexText() const {
  switch (length_) {
    case 1:
      return Format("%2.2X", bytes_[0]);
    case 2:
      return Format("%2.2X %2.2X", bytes_[0], bytes_[1]);
    default:
      return Format("%2.2X %2.2X %2.2X", bytes_[0], bytes_[1], bytes_[2]);
  }
}

std::string MidiLine::MIDIString() const {
  std::string text = HexText();
  if (bytes_[0] >= 0x80 && bytes_[0] < 0xF0) {
    text += " " + ChannelText(bytes_) + Format(" Ch=%d", (bytes_[0] & 15) + 1);
  } else if (const std::string system = SystemText(bytes_); !system.empty()) {
    text += " " + system;
  }
  return text;
}

void MidiLine::Draw(LinePainter& painter) const {
  SetTextColor(painter);
  const std::string hex = HexText();
  painter.Hex(hex);
  const std::string text = MIDIString();
  if (text.size() > hex.size()) painter.Description(std::string_view(text).substr(hex.size() + 1));
}

void MidiLine::Write(std::vector<std::uint8_t>& out) const {
  if (bytes_[0] < 0x80 || bytes_[0] >= 0xF0) return;
  const std::size_t count = (bytes_[0] & 0xE0) == 0xC0 ? 2 : 3;
  out.insert(out.end(), bytes_, bytes_ + count);
}

void MidiLine::AppendBytes(std::vector<std::uint8_t>& out) const {
  out.insert(out.end(), bytes_, bytes_ + length_);
}

SysXLine::SysXLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction, int port,
                   std::span<const std::uint8_t> message, bool complete, std::string words)
    : TextLine(time, delta),
      direction_(direction),
      port_(static_cast<std::uint8_t>(port)),
      length_(message.size()),
      words_(std::move(words)) {
  const std::size_t kept = complete ? message.size() : std::min(message.size(), kSysXShown);
  bytes_.assign(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(kept));
}

void SysXLine::SetTextColor(LinePainter& painter) const {
  painter.SetTextColor(MonitorColor::SysEx);
}

std::string SysXLine::HexText() const {
  const std::size_t shown = std::min(bytes_.size(), kSysXShown);
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) text += Format("%2.2X ", bytes_[i]);
  const auto length = static_cast<unsigned>(std::min<std::size_t>(length_, UINT32_MAX));
  if (length_ <= shown) return text + Format("  %.4XH (%u)", length, length);
  if (length_ <= kSysXLarge) return text + Format("  %.4XH (>> %u)", length, length);
  return text + Format("  %.4XH (>> LARGE)", length);
}

std::string SysXLine::MIDIString() const {
  return words_.empty() ? HexText() : HexText() + " " + words_;
}

void SysXLine::Draw(LinePainter& painter) const {
  SetTextColor(painter);
  painter.Hex(HexText());
  painter.Description(words_);
}

void SysXLine::Write(std::vector<std::uint8_t>& out) const {
  out.insert(out.end(), bytes_.begin(), bytes_.end());
}

PortLine::PortLine(std::uint32_t time, std::uint32_t delta, MonitorDirection direction, std::string_view name)
    : PortLine(time, delta, direction == MonitorDirection::In ? "MIDI IN" : "MIDI OUT",
               name.empty() ? kNoPortName : name) {}

PortLine::PortLine(std::uint32_t time, std::uint32_t delta, std::string_view what, std::string_view text)
    : TextLine(time, delta), text_(std::string(what) + ": " + std::string(text)) {}

void PortLine::Draw(LinePainter& painter) const {
  SetTextColor(painter);
  painter.Description(text_);
}

void MsgLine::Draw(LinePainter& painter) const {
  SetTextColor(painter);
  painter.Description(text_);
}

std::string MonitorText(std::span<const std::uint8_t> message, std::string words) {
  if (message.empty()) return {};
  if (message[0] != 0xF0) return MidiLine(0, 0, MonitorDirection::In, message).MIDIString();
  return SysXLine(0, 0, MonitorDirection::In, 0, message, false, std::move(words)).MIDIString();
}

}  // namespace tonalith
