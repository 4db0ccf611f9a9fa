#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tonalith {

class Prompts;
class ZKStudioDoc;

// Looks for damage in a dump, shows what was found and offers to write a repaired copy.  The windows are painted while
// it looks; the bytes must not change meanwhile.  `path`: of the dump, where the
// copy is suggested to go; empty: `folder`.  What there is to say in the status line: nothing was found, or what was
// written; empty: the user did not want it or was told already.  UTF-8.
std::string RepairIntoCopy(const ZKStudioDoc& studio, std::span<const std::uint8_t> dump, const std::string& path,
                           const std::string& folder, Prompts& prompts);

}  // namespace tonalith
