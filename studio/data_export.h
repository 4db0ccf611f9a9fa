#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/prompts.h"
#include "platform/result.h"

namespace tonalith {

class Recognizer;

// Data as other programs read it: SysEx messages, raw or in a Standard MIDI File.

struct RenderedMessage {
  std::vector<std::uint8_t> bytes;  // F0 to F7
  std::uint32_t milliseconds = 0;   // pause before it that the data asks for
};

// "Yamaha DX7 Voice Bank", UTF-8.
std::string DataTitle(const DataFile& dataFile);

// What MIDI carries when the data is sent (its checksums are brought up to date in `dataFile` by this).  The questions
// and problems of its scripts go to `prompts`.  Fails with kNothingRendered when that is nothing.
inline constexpr int kNothingRendered = 1010;
Result MessagesAsSent(DataFile* dataFile, Prompts& prompts, std::vector<RenderedMessage>* messages);
// What a file holds of the data: its declared form (studio/file_form.h), with the pauses that the instrument needs when
// they are wanted; not declared: what is sent.
Result MessagesForFile(const Recognizer& recognizer, DataFile* dataFile, Prompts& prompts, bool withPauses,
                       std::vector<RenderedMessage>* messages, bool* isDeclared);
// What the user is told where it is not declared.
std::string NotDeclaredSentence(const DataFile& dataFile);

// The messages one after the other.
std::vector<std::uint8_t> RawSysExFile(std::span<const RenderedMessage> messages);
// Every message waits until the one before it has passed a MIDI cable.  `title` is the name of the track, UTF-8.
std::vector<std::uint8_t> MidiFileOf(std::span<const RenderedMessage> messages, const std::string& title);

}  // namespace tonalith
