#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// What a recorded dump tells about the instrument it is of.

// A row of byte pairs of which some digits are open: "F0 7D 0? 10 nn F7".  "nn" is the place of the patch number.
struct DraftBytes {
  std::vector<std::string> pairs;  // two upper-case hex digits, '?' for an open one, or "nn"

  std::size_t size() const { return pairs.size(); }
  int NumberPlace() const;  // of "nn"; -1: there is none
};

// A checksum in the terms of CSum; places are counted from the F0 of the message (or of the first patch's message).
struct DraftChecksum {
  int type = 0;
  std::uint32_t start = 0, count = 0, offset = 0;
  // Of a bank in one message: how often, each a patch further.
  std::uint32_t times = 1;
};

enum class DraftLayout : std::uint8_t {
  Single,    // one message, one patch
  Bank,      // one message, several patches
  Messages,  // a message for each patch
};

// One data type.
struct DraftType {
  std::string file;  // of the descriptor, without ending
  std::string typeName, typeKey;
  DraftLayout layout = DraftLayout::Single;
  DraftBytes header;              // how its message begins, with the F0
  std::uint32_t messageSize = 0;  // F0 to F7
  std::uint32_t headerSize = 0;   // bytes in front of the (first) patch
  std::uint32_t count = 1;        // patches
  std::uint32_t patchSize = 0;    // raw bytes a patch takes in a Bank (unpacked ones with 7 in 8)
  int storageFormat = 0;
  std::uint32_t nameOffset = 0, nameLength = 0;  // from the first byte of the patch, unpacked; length 0: no names
  std::optional<DraftChecksum> checksum;
  int firstNumber = 0;          // what "nn" is in the first message of Messages
  DraftBytes store;             // of Messages: the message behind each that says the number; empty: none
  std::uint32_t storeSize = 0;  // F0 to F7
};

struct ModuleDraft {
  std::string name;
  int channelByte = -1;  // of requests and messages; -1: there is no device number
  int manufacturer = 0;
  std::vector<DraftType> types;  // a bank stands before its single patches
};

// What is known before.  Empty and -1: nothing.
struct DraftOptions {
  std::string name;
  int channelByte = -1;  // place of the device number
};

// How sure a finding is: what the file says itself, or what it looks like.
enum class DraftTrust : std::uint8_t { Read, Likely, Guess };
const char* DraftTrustText(DraftTrust trust);  // "read", "likely", "guess"

struct DraftFinding {
  std::string text;
  DraftTrust trust = DraftTrust::Read;
};

// What a recorded dump (raw SysEx or a Standard MIDI File) tells.
Result DraftOfDump(std::span<const std::uint8_t> file, const DraftOptions& options, ModuleDraft* draft,
                   std::vector<DraftFinding>* findings);

// What does not go together in a data type, a sentence; empty: nothing.
std::string DraftProblem(const DraftType& type);

}  // namespace tonalith
