#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"
#include "studio/module.h"

namespace tonalith {

// The first source of a new module, from what a MIDI chart says or from a recorded dump.

// A row of byte pairs of which some digits are open: "F0 7D 0? 10 nn F7".  "nn" is the place of the patch number.
struct DraftBytes {
  std::vector<std::string> pairs;  // two upper-case hex digits, '?' for an open one, or "nn"

  // False with a sentence when the text is no row of pairs or longer than 256 bytes.
  static bool Parse(const std::string& text, DraftBytes* out, std::string* error);
  std::size_t size() const { return pairs.size(); }
  bool empty() const { return pairs.empty(); }
  int NumberPlace() const;  // of "nn"; -1: there is none
  // The pairs with blanks between, "nn" and open digits replaced.
  std::string Text(const std::string& number, char open) const;
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
  DraftBytes request;             // empty: it is sent from the panel
  DraftBytes header;              // how its message begins, with the F0
  std::uint32_t messageSize = 0;  // F0 to F7
  std::uint32_t headerSize = 0;   // bytes in front of the (first) patch
  std::uint32_t count = 1;        // patches
  std::uint32_t patchSize = 0;    // raw bytes a patch takes in a Bank (unpacked ones with 7 in 8)
  int storageFormat = 0;
  std::uint32_t nameOffset = 0, nameLength = 0;  // from the first byte of the patch, unpacked; length 0: no names
  std::optional<DraftChecksum> checksum;
  std::string slots;  // of Messages: what the `slots` line says; empty: the "nn" of the header
};

struct ModuleDraft {
  std::string name;
  int driverBase = 0;
  int channelByte = -1;  // of requests and messages; -1: there is no device number
  int manufacturer = 0;
  std::vector<DraftType> types;  // a bank stands before its single patches
};

// What a person says about the instrument.  Empty and 0: nothing.
struct DraftOptions {
  std::string name;
  DraftBytes request, header;
  std::uint32_t reply = 0;  // bytes of the answer, F0 to F7
  int channelByte = -1;
  std::uint32_t bank = 0;                   // patches
  std::uint32_t patchSize = 0;              // bytes a patch takes in a bank dump
  DraftBytes bankRequest;                   // asks for all patches in one message
  DraftBytes bankHeader;                    // how that message begins
  std::uint32_t bankReply = 0;              // bytes of its answer
  std::optional<std::uint32_t> nameOffset;  // from the F0
  std::uint32_t nameLength = 0;
  std::optional<DraftChecksum> checksum;
  int driverBase = 0;
};

// How sure a finding is.
enum class DraftTrust : std::uint8_t { Sure, Likely, Guess };
const char* DraftTrustText(DraftTrust trust);  // "sure", "likely", "guess"

struct DraftFinding {
  std::string text;
  DraftTrust trust = DraftTrust::Sure;
};

// A driver base for an instrument of the user, from its name: 20000 to 59990.
int DefaultDriverBase(const std::string& name);

// The draft of what was said.  A failure names what is missing or does not go together.
Result DraftOfOptions(const DraftOptions& options, ModuleDraft* draft);

// The draft of a recorded dump (raw SysEx or a Standard MIDI File), with what was said in the place of what was found.
Result DraftOfDump(std::span<const std::uint8_t> file, const DraftOptions& options, ModuleDraft* draft,
                   std::vector<DraftFinding>* findings);

// What does not go together in a data type, a sentence; empty: nothing.
std::string DraftProblem(const DraftType& type);

// The source files.  What it gives can be built.
Result WriteDraft(const ModuleDraft& draft, ModuleSource* source);

}  // namespace tonalith
