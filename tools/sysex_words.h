#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tonalith {

class Recognizer;
class ZKStudioDoc;

// Says what a SysEx message is in the terms of the instruments in the studio: "Yamaha DX7 Voice Bank, checksum ok",
// "Kawai K4 Single A-5 WARM PAD, checksum bad".  Universal messages are named as well.
class SysExWords {
 public:
  // The studio must outlive it; null: universal messages only.
  explicit SysExWords(const ZKStudioDoc* studio);
  ~SysExWords();
  SysExWords(const SysExWords&) = delete;
  SysExWords& operator=(const SysExWords&) = delete;

  // Instruments came, went or changed; what the studio knows is read again at the next message.
  void StudioChanged();
  // Empty: nothing is known about it.
  std::string Words(std::span<const std::uint8_t> message);

 private:
  std::string InstrumentWords(std::span<const std::uint8_t> message);

  const ZKStudioDoc* studio_;
  std::unique_ptr<Recognizer> recognizer_;
};

// Identity request and reply, sample dump, MIDI time code, machine control, general MIDI ...; empty for others.
std::string UniversalSysExWords(std::span<const std::uint8_t> message);

}  // namespace tonalith
