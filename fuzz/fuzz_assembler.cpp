// The SysEx assembler against a model that looks at one byte after the other.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "midi/sysex_assembler.h"

namespace {

using tonalith::ShortMessageLength;
using tonalith::SysExAssembler;

struct Found {
  char kind;
  std::vector<std::uint8_t> bytes;
  bool operator==(const Found&) const = default;
};

class Collector final : public SysExAssembler::Listener {
 public:
  std::vector<Found> found;
  void Short(std::span<const std::uint8_t> m) override { found.push_back({'S', {m.begin(), m.end()}}); }
  void SysExBegin() override {
    if (open_) std::abort();
    open_ = true;
    message_.clear();
  }
  void SysExBytes(std::span<const std::uint8_t> b) override {
    if (!open_ || b.empty()) std::abort();
    message_.insert(message_.end(), b.begin(), b.end());
  }
  void SysExEnd(bool complete) override {
    if (!open_ || message_.empty() || message_[0] != 0xF0 || complete != (message_.back() == 0xF7)) std::abort();
    open_ = false;
    found.push_back({complete ? 'X' : 'B', message_});
  }
  // Strays are compared byte by byte: how they are grouped is free.
  void Stray(std::span<const std::uint8_t> b) override {
    if (b.empty()) std::abort();
    for (const std::uint8_t byte : b) found.push_back({'D', {byte}});
  }

 private:
  bool open_ = false;
  std::vector<std::uint8_t> message_;
};

class Model {
 public:
  std::vector<Found> found;

  void Piece(const std::vector<std::uint8_t>& piece) {
    if (piece.empty()) return;
    if (sysex_ && piece[0] >= 0x80 && piece[0] < 0xF8 && OnlyShorts(piece)) End('B');
    void_ = false;
    for (const std::uint8_t byte : piece)
      if (!void_) Byte(byte);
  }

 private:
  static bool OnlyShorts(std::vector<std::uint8_t> piece) {
    std::erase_if(piece, [](std::uint8_t b) { return b >= 0xF8; });
    std::size_t at = 0;
    while (at < piece.size()) {
      const int length = ShortMessageLength(piece[at]);
      if (length == 0 || at + static_cast<std::size_t>(length) > piece.size()) return false;
      for (int i = 1; i < length; ++i)
        if (piece[at + static_cast<std::size_t>(i)] >= 0x80) return false;
      at += static_cast<std::size_t>(length);
    }
    return true;
  }
  void End(char kind) {
    found.push_back({kind, message_});
    message_.clear();
    sysex_ = false;
  }
  void Byte(std::uint8_t byte) {
    if (byte >= 0xF8) {
      found.push_back({'S', {byte}});
      return;
    }
    if (sysex_) {
      InSysEx(byte);
    } else if (byte == 0xF0) {
      dropping_ = false;
      short_.clear();
      sysex_ = true;
      message_ = {byte};
    } else if (byte >= 0x80 && byte != 0xF7) {
      dropping_ = false;
      short_ = {byte};
      FinishShort();
    } else if (!short_.empty() && byte < 0x80) {
      short_.push_back(byte);
      FinishShort();
    } else if (dropping_) {
      if (byte == 0xF7) dropping_ = false;
    } else {
      short_.clear();
      found.push_back({'D', {byte}});
    }
  }
  void InSysEx(std::uint8_t byte) {
    if (byte == 0xF0 && message_.size() >= 2 && message_[1] == 0x07) {
      message_.push_back(0xF7);
      End('X');
      dropping_ = true;
      void_ = true;
    } else if (byte == 0xF0) {
      End('B');
      sysex_ = true;
      message_ = {byte};
    } else {
      message_.push_back(byte);
      if (byte == 0xF7) End('X');
    }
  }
  void FinishShort() {
    if (static_cast<int>(short_.size()) < ShortMessageLength(short_[0])) return;
    found.push_back({'S', short_});
    short_.clear();
  }

  bool sysex_ = false;
  bool dropping_ = false;
  bool void_ = false;
  std::vector<std::uint8_t> message_;
  std::vector<std::uint8_t> short_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SysExAssembler assembler;
  Collector collector;
  Model model;
  std::size_t at = 0;
  while (at < size) {
    const std::size_t count = std::min<std::size_t>(data[at] % 24, size - at - 1);
    ++at;
    std::vector<std::uint8_t> piece(data + at, data + at + count);
    at += count;
    assembler.Feed(piece, collector);
    model.Piece(piece);
    if (collector.found != model.found) std::abort();
  }
  return 0;
}
