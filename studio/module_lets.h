#pragma once

#include <map>
#include <string>
#include <string_view>

#include "data/data_records.h"
#include "studio/recognize_rules.h"

namespace tonalith {

// Values that stand for `$name$`.
using SourceLets = std::map<std::string, std::string>;

// Replaces every `$name$`, also:
//   $name?$             nothing when the name is not known
//   $#name$             how many bytes the text of hexadecimal pairs has
//   $name - 8$          whole numbers with + - * /, products first
//   $septets name - 8$  the result as two hexadecimal bytes of seven bits, the higher one first
// False with a sentence when a name is not known, a `$` is alone or there is nothing to calculate with.
bool ReplaceLets(std::string_view text, const SourceLets& lets, std::string* out, std::string* error);

// What the scripts of a finished data type may name besides the lines of its descriptor:
//   fileSize, headerSize, numVoices, voiceSize, voiceBytes, voiceOffset, sysExChannelOffset
//   size     bytes of one transfer: those of a voice when a bank goes patch by patch, else fileSize; 0 (all
//            there is) when the size varies
//   sums     statements that store the checksums of one transfer (V8 is used, the cursor is at 0 afterwards)
//   checks   statements that compare them (V9 := 1 when one is wrong, else 0; V2, V3, V8 are used, the cursor is at 0
//            afterwards); sums of kinds that do not stand in one byte are left out
//   keep     statements behind a receive that keep `size` bytes when so many came and all checksums are right; nothing
//   when
//            the size varies or there are no checksums
// `rule` is the first form of the type, null without one: then the descriptor's own checksum counts.
SourceLets ScriptLets(const Synth& synth, const RecognizeRule* rule);

}  // namespace tonalith
