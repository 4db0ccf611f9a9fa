#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

std::string MonitorForms();
std::string MonitorDetails();
// The monitor's line for each message of a row of bytes.
int RunMonitor(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
               const std::filesystem::path& instruments);

}  // namespace tonalith
