#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "chart/chart_text.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What is known about the data that a section [parameters NAME] describes.
struct ParameterData {
  std::uint32_t patchBytes = 0;         // logical bytes of a patch; 0: not known
  bool sevenBit = false;                // they have bits 0 to 6 only
  std::vector<PatchPiece> pieces = {};  // what is packed otherwise
};

// Reads a section [parameters NAME] (or the rows of one).  Lists of the whole chart go before its own.  Mistakes go to
// `problems`; rows that are wrong are left out.
//
// Between the rows stand, each alone in its line:
//   offset from 5          goes onto the numbers of the bytes that follow
//   change = MESSAGE       changes the parameters that follow, `none`: nothing does.  A row may have one of its own
//                          behind its cells
//   when = voice mode in 0..2
//                          those that follow are there only in patches of which this is true (see ParameterCondition);
//                          `always`: in all.  A row may have one of its own, too
//   numbers = hex          number cells are hexadecimal bytes
//   list NAME = A, B, C
//   repeat OP in 4 3 2 1 from 16 step 8
//                          the rows up to its `end` (or the next repeat, or the end of the section) stand for one set
//                          each: `+N` counts from 16, 24 .. and the names get "OP4 " in front ("Tone 4 " when the word
//                          has small letters; or {OP} in a name, a text or a message becomes 4).  `numbers step 21`
//                          counts the number cells on.  A repeat whose base reads `from +N` stands inside the one
//                          before
ParameterTable ReadParameters(const ChartSection& section, const ParameterData& data,
                              const std::vector<ChartEntry>& lists, ChartProblems* problems);

}  // namespace tonalith
