#pragma once

#include <string>

namespace tonalith {

// Why a file was not opened, from the DiskCode of its reader.  `kind`: what it was opened as, "a Set of this program".
std::string NotOpenedSentence(const std::string& path, int code, const std::string& kind);

}  // namespace tonalith
