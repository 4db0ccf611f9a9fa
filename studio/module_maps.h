#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "studio/recognize_rules.h"
#include "studio/sysex_map.h"

namespace tonalith {

// How the SysEx map of a data type is made when its module is built.

// `map` lines of a descriptor:
//   F0 43 0? 09 | length 4104 | from 6 | copy 4096 | at 0 | base | setbase 128
//       a message that begins so ('?' stands for anything).  length: bytes from F0 to F7, or `any` (default: the
//       image); from: first byte copied; copy: bytes (0 all, negative: that many less than the message has); at: place
//       in the image; base, setbase: see StdSysXDescriptor
//   roland 02 00 00 | model 0x14 | size 28672 | at 0
//       what lies at an address
// False with a sentence.
bool ParseMapLine(std::string_view value, const Synth& synth, SysXDescriptor* out, std::string* error);

// The map for what the recognition rules of a data type say, behind descriptors that were written by hand.  Rules that
// no map can express (messages of any length, places that follow from other messages or from the order) are left out.
std::vector<SysXDescriptor> MapOfRules(const Synth& synth, const std::vector<RecognizeRule>& rules,
                                       std::vector<SysXDescriptor> written);

}  // namespace tonalith
