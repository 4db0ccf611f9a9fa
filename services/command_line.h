#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folders.h"

namespace tonalith {

// What a command line asks for.
//   --debug            show each step of start and end in a message box
//   --extended         extended mode
//   --no-printer       do not look for printers
//   --config-root DIR  keep all folders of the program below DIR (also --config-root=DIR)
//   --new-instance     do not hand the files over to a program that runs already
//   --                 everything behind it is a file
struct CommandLine {
  bool debug = false;
  bool extended = false;
  bool noPrinter = false;
  bool newInstance = false;
  std::string configRoot;           // as given
  std::vector<std::string> files;   // made absolute, in order
  std::vector<std::string> others;  // options this parser does not know, as they stand, for the program's own parser
  std::string problem;              // why the line cannot be used; empty when it can

  // `arguments` without the program name.
  static CommandLine Parse(const std::vector<std::string>& arguments);
  static CommandLine Parse(int count, const char* const* arguments);
  Folders MakeFolders() const;
  bool Takes(std::string_view option);  // removes an option from `others`; true when it was there
  // Sets `problem` when the line has an option that is neither known here nor one of these.
  void RefuseOthersThan(std::span<const std::string_view> options);
};

}  // namespace tonalith
