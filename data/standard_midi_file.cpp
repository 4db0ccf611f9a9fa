#include "data/standard_midi_file.h"

#include <algorithm>
#include <optional>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kHeaderId = 0x4D546864;  // MThd
constexpr std::uint32_t kTrackId = 0x4D54726B;   // MTrk
constexpr std::uint32_t kRiffId = 0x52494646;
constexpr std::uint32_t kRmidId = 0x524D4944;
constexpr std::uint32_t kDataId = 0x64617461;
constexpr std::uint8_t kEndOfTrackType = 0x2F;
constexpr std::uint8_t kTempoType = 0x51;

// The file inside a RIFF "RMID" wrapper, or the bytes themselves.
std::span<const std::uint8_t> Unwrapped(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 12 || LoadBe32(bytes.data()) != kRiffId || LoadBe32(bytes.data() + 8) != kRmidId) return bytes;
  std::size_t at = 12;
  while (bytes.size() - at >= 8) {
    const std::size_t length = std::min<std::size_t>(LoadLe32(bytes.data() + at + 4), bytes.size() - at - 8);
    if (LoadBe32(bytes.data() + at) == kDataId) return bytes.subspan(at + 8, length);
    at = std::min(bytes.size(), at + 8 + length + (length & 1));
  }
  return bytes;
}

// Reads the events of one track.
class TrackReader {
 public:
  TrackReader(std::span<const std::uint8_t> bytes, std::size_t fileOffset, int track, SmfContents* contents)
      : bytes_(bytes), fileOffset_(fileOffset), track_(track), contents_(contents) {}

  void Read() {
    while (at_ < bytes_.size() && ReadEvent()) {
    }
    Close();
  }

 private:
  std::optional<std::uint32_t> Variable() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4 && at_ < bytes_.size(); ++i) {
      const std::uint8_t b = bytes_[at_++];
      value = value << 7 | (b & 0x7F);
      if (b < 0x80) return value;
    }
    return std::nullopt;
  }

  bool ReadEvent() {
    const auto delta = Variable();
    if (!delta || at_ >= bytes_.size()) return false;
    tick_ += *delta;
    const std::size_t eventAt = at_;
    std::uint8_t status = bytes_[at_];
    if (status < 0x80) {
      if (running_ == 0) return false;
      status = running_;
    } else {
      ++at_;
    }
    if (status < 0xF0) {
      running_ = status;
      const std::size_t n = status >= 0xC0 && status < 0xE0 ? 1 : 2;
      if (bytes_.size() - at_ < n) return false;
      at_ += n;
      return true;
    }
    if (status == 0xFF) {
      if (at_ >= bytes_.size()) return false;
      const std::uint8_t type = bytes_[at_++];
      const auto length = Variable();
      if (!length || bytes_.size() - at_ < *length) return false;
      if (type == kTempoType && *length == 3) {
        const std::uint8_t* b = bytes_.data() + at_;
        contents_->tempos.push_back({tick_, static_cast<std::uint32_t>(b[0] << 16 | b[1] << 8 | b[2]), track_});
      }
      at_ += *length;
      return type != kEndOfTrackType;
    }
    if (status != 0xF0 && status != 0xF7) return false;
    running_ = 0;
    const auto length = Variable();
    if (!length) return false;
    const std::size_t n = std::min<std::size_t>(*length, bytes_.size() - at_);
    AddPacket(status, bytes_.subspan(at_, n), eventAt);
    at_ += n;
    return n == *length;
  }

  // An F0 packet begins a message; an F7 packet continues an open one, or stands for escaped bytes of its own, which
  // may hold whole messages.
  void AddPacket(std::uint8_t status, std::span<const std::uint8_t> data, std::size_t eventAt) {
    if (status == 0xF0) {
      Close();
      Begin(eventAt);
    }
    for (const std::uint8_t b : data) {
      if (b == 0xF0) {
        Close();
        Begin(eventAt);
      } else if (isOpen_ && b < 0xF8) {
        if (b >= 0x80 && b != 0xF7) {
          Close();
          continue;
        }
        message_.bytes.push_back(b);
        if (b == 0xF7) {
          message_.isTerminated = true;
          Close();
        }
      }
    }
  }

  void Begin(std::size_t eventAt) {
    isOpen_ = true;
    message_ = {};
    message_.bytes.push_back(0xF0);
    message_.tick = tick_;
    message_.track = track_;
    message_.fileOffset = fileOffset_ + eventAt;
    message_.isTerminated = false;
  }

  void Close() {
    if (isOpen_) contents_->messages.push_back(std::move(message_));
    isOpen_ = false;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t fileOffset_;
  int track_;
  SmfContents* contents_;
  std::size_t at_ = 0;
  std::uint32_t tick_ = 0;
  std::uint8_t running_ = 0;
  bool isOpen_ = false;
  SmfSysEx message_;
};

void PutVariable(std::vector<std::uint8_t>* out, std::uint32_t value) {
  value = std::min<std::uint32_t>(value, 0x0FFFFFFF);
  for (int shift = 21; shift > 0; shift -= 7) {
    if (value >> shift) out->push_back(static_cast<std::uint8_t>(0x80 | ((value >> shift) & 0x7F)));
  }
  out->push_back(static_cast<std::uint8_t>(value & 0x7F));
}

void PutBytes(std::vector<std::uint8_t>* out, std::initializer_list<std::uint8_t> bytes) {
  out->insert(out->end(), bytes);
}

}  // namespace

bool IsStandardMidiFile(std::span<const std::uint8_t> bytes) {
  const auto file = Unwrapped(bytes);
  return file.size() >= 14 && LoadBe32(file.data()) == kHeaderId;
}

bool ReadSmfSysEx(std::span<const std::uint8_t> bytes, SmfContents* contents, std::string* error) {
  *contents = {};
  if (!IsStandardMidiFile(bytes)) {
    if (error) *error = "This is no Standard MIDI File.";
    return false;
  }
  const auto file = Unwrapped(bytes);
  const auto wrapper = static_cast<std::size_t>(file.data() - bytes.data());
  contents->format = LoadBe16(file.data() + 8);
  contents->division = LoadBe16(file.data() + 12);
  std::size_t at = 8 + std::max<std::size_t>(6, std::min<std::size_t>(LoadBe32(file.data() + 4), file.size() - 8));
  at = std::min(at, file.size());
  while (file.size() - at >= 8) {
    const std::size_t length = std::min<std::size_t>(LoadBe32(file.data() + at + 4), file.size() - at - 8);
    if (LoadBe32(file.data() + at) == kTrackId) {
      TrackReader(file.subspan(at + 8, length), wrapper + at + 8, contents->trackCount, contents).Read();
      ++contents->trackCount;
    }
    at += 8 + length;
  }
  return true;
}

SmfClock::SmfClock(const SmfContents& contents) : tracksApart_(contents.format == 2) {
  if (contents.division & 0x8000) {
    // Frames a second, negative, and ticks a frame.
    const int frames = 256 - (contents.division >> 8 & 0xFF);
    ticksPerSecond_ = std::max(1.0, (frames == 29 ? 29.97 : frames) * (contents.division & 0xFF));
    return;
  }
  if (contents.division > 0) ticksPerQuarter_ = contents.division;
  std::vector<SmfTempo> tempos = contents.tempos;
  std::stable_sort(tempos.begin(), tempos.end(), [](const SmfTempo& a, const SmfTempo& b) { return a.tick < b.tick; });
  for (const SmfTempo& tempo : tempos) {
    const int track = tracksApart_ ? tempo.track : 0;
    points_[track].push_back(
        {tempo.tick, Milliseconds(tempo.tick, track), tempo.microseconds / 1000.0 / ticksPerQuarter_});
  }
}

double SmfClock::Milliseconds(std::uint32_t tick, int track) const {
  if (ticksPerSecond_ > 0) return tick * 1000.0 / ticksPerSecond_;
  const double standard = 500.0 / ticksPerQuarter_;
  const auto found = points_.find(tracksApart_ ? track : 0);
  if (found == points_.end()) return tick * standard;
  const auto& points = found->second;
  const auto after = std::upper_bound(points.begin(), points.end(), tick,
                                      [](std::uint32_t at, const Point& point) { return at < point.tick; });
  if (after == points.begin()) return tick * standard;
  const Point& point = *std::prev(after);
  return point.milliseconds + (tick - point.tick) * point.perTick;
}

Result ZKSMFFile::LoadSMFFile(const std::string& path) {
  contents_ = {};
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadWholeFile(path, bytes); !read.ok()) return read;
  std::string error;
  return ReadSmfSysEx(bytes, &contents_, &error) ? Result::Success() : Result::Failure(error);
}

std::vector<SmfTimedMessage> ZKSMFFile::ProcessSysXData() const {
  const SmfClock clock(contents_);
  std::vector<SmfTimedMessage> messages;
  int track = -1;
  double last = 0;
  for (const SmfSysEx& message : contents_.messages) {
    if (!message.isTerminated) continue;
    if (message.track != track) last = 0;
    track = message.track;
    const double now = clock.Milliseconds(message.tick, track);
    messages.push_back({std::max(0.0, now - last), message.bytes});
    last = now;
  }
  return messages;
}

std::vector<std::uint8_t> WriteSmfSysEx(std::span<const SmfMessage> messages, const std::string& trackName) {
  constexpr std::size_t kTrackStart = 22;
  std::vector<std::uint8_t> out;
  PutBytes(&out, {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0x01, 0xF4, 'M', 'T', 'r', 'k', 0, 0, 0, 0});
  if (!trackName.empty()) {
    PutBytes(&out, {0, 0xFF, 0x03});
    PutVariable(&out, static_cast<std::uint32_t>(trackName.size()));
    out.insert(out.end(), trackName.begin(), trackName.end());
  }
  PutBytes(&out, {0, 0xFF, 0x51, 3, 0x07, 0xA1, 0x20});
  for (const SmfMessage& message : messages) {
    if (message.bytes.empty()) continue;
    PutVariable(&out, message.milliseconds);
    const bool isWhole = message.bytes[0] == 0xF0;
    out.push_back(isWhole ? 0xF0 : 0xF7);
    const auto data = message.bytes.subspan(isWhole ? 1 : 0);
    PutVariable(&out, static_cast<std::uint32_t>(data.size()));
    out.insert(out.end(), data.begin(), data.end());
  }
  PutBytes(&out, {0, 0xFF, 0x2F, 0});
  StoreBe32(out.data() + kTrackStart - 4, static_cast<std::uint32_t>(out.size() - kTrackStart));
  return out;
}

}  // namespace tonalith
