#include "services/command_line.h"

#include <algorithm>

namespace tonalith {

CommandLine CommandLine::Parse(const std::vector<std::string>& arguments) {
  CommandLine line;
  bool filesOnly = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    constexpr std::string_view kRoot = "--config-root";
    if (filesOnly || argument.empty() || argument.front() != '-' || argument == "-") {
      if (!argument.empty()) line.files.push_back(AbsolutePath(argument));
    } else if (argument == "--") {
      filesOnly = true;
    } else if (argument == "--debug") {
      line.debug = true;
    } else if (argument == "--extended") {
      line.extended = true;
    } else if (argument == "--no-printer") {
      line.noPrinter = true;
    } else if (argument == "--new-instance") {
      line.newInstance = true;
    } else if (argument == kRoot && i + 1 < arguments.size()) {
      line.configRoot = arguments[++i];
    } else if (argument.compare(0, kRoot.size() + 1, "--config-root=") == 0) {
      line.configRoot = argument.substr(kRoot.size() + 1);
    } else if (argument != kRoot) {
      line.others.push_back(argument);
      continue;
    }
    if (argument.compare(0, kRoot.size(), kRoot) == 0 && !filesOnly && line.configRoot.empty()) {
      line.problem = "--config-root needs the name of a folder.";
    }
  }
  return line;
}

CommandLine CommandLine::Parse(int count, const char* const* arguments) {
  return Parse(std::vector<std::string>(arguments + std::min(1, count), arguments + count));
}

Folders CommandLine::MakeFolders() const {
  return configRoot.empty() ? Folders::Standard() : Folders::Below(configRoot);
}

bool CommandLine::Takes(std::string_view option) {
  return std::erase(others, option) > 0;
}

void CommandLine::RefuseOthersThan(std::span<const std::string_view> options) {
  const auto unknown = std::find_if(others.begin(), others.end(), [options](const std::string& other) {
    return std::find(options.begin(), options.end(), other) == options.end();
  });
  if (unknown != others.end() && problem.empty())
    problem = "there is no option " + *unknown + ". The option --help lists those there are.";
}

}  // namespace tonalith
