#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "parameters/parameter_table.h"

namespace tonalith {

// The messages that change a parameter, as their notation says.

// Where the image of a patch says which number it has; messages that change it may say so, too.
struct PatchNumberPlace {
  std::int64_t byte = -1;  // of the image; -1: nowhere
  int mask = 0, less = 0;  // the number is what the mask leaves, less this
};

// What the messages and the bindings of a panel share.
struct PanelData {
  std::uint32_t headerSize = 0;
  char device = 0;   // the variable of messages that stands for the device number; 0: none
  int sumKind = -1;  // of `sum` in messages; -1: not known
  PatchNumberPlace patch = {};
};

// One byte of a message: fixed, or a part of the value or of a byte of the patch.
struct ChangeByte {
  enum class Source { kFixed, kValue, kShown, kScaled, kByte, kPatch, kSum };
  Source source = Source::kFixed;
  std::int64_t fixed = 0;
  std::uint32_t byte = 0;  // of the patch
  int shift = 0;
  std::int64_t mask = 0x7F;
  int left = 0;  // shifted back so far
  bool device = false;
  bool counts = false;  // fixed, but another number for another parameter
};

struct ChangeMessage {
  std::vector<ChangeByte> bytes;
  std::size_t sumFrom = 0;
};

// The messages in the order they go out, one that carries a byte and says its place for each byte of the parameter;
// none when one of them cannot be said, and `wrong` is the word.
std::vector<ChangeMessage> ReadChange(const Parameter& parameter, const std::string& change, const PanelData& data,
                                      std::string* wrong);

// The messages of a change, what they carry left open.
struct ChangeShape {
  std::string message;               // empty: they cannot be said
  std::vector<std::uint32_t> bytes;  // of the patch that they carry
  std::string obstacle = {};         // the word that cannot be said

  // One message cannot change both parameters, unless it carries the bytes of
  // both.
  bool Confuses(const ChangeShape& other) const {
    return !message.empty() && message == other.message && (bytes.empty() || bytes != other.bytes);
  }
};
ChangeShape ShapeOfChange(const Parameter& parameter, const std::string& change, const PanelData& data);

}  // namespace tonalith
