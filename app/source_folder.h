#pragma once

#include <string>

namespace tonalith {

// Asks for a folder whose files are added, beginning at one; empty: the user has cancelled.  UTF-8.
std::string AskSourceFolder(const char* title, const std::string& at);

}  // namespace tonalith
