#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace tonalith {

std::string MonitorForms();
std::string MonitorDetails();
// The monitor's line for each message of a row of bytes.
int RunMonitor(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
               const std::filesystem::path& instruments);

}  // namespace tonalith
