#include "cli/commands_desktop.h"

#include <ostream>

#include "platform/text.h"
#include "services/desktop_file.h"

namespace tonalith {

namespace {

std::string DesktopLine(std::size_t number, const DesktopWindow& window) {
  const char* kind = WindowTypeName(window.type);
  std::string line = Printf("%zu\t%d\t%s\t%d\t%d\t%d\t%d\t", number, window.type, kind ? kind : "unknown", window.x,
                            window.y, window.width, window.height);
  for (const char c : window.FilePath()) line += static_cast<unsigned char>(c) < 32 ? '?' : c;
  return line;
}

}  // namespace

int RunDesktop(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() != 2 || args[0] != "dump")
    return CliFailure(environment, "desktop", "The form is \"desktop dump FILE\".");
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(args[1], &windows); !read.ok())
    return CliFailure(environment, "desktop", ReplaceAll(read.text, "\n\n", ": "));
  environment.out << "windows: " << windows.size() << "\n";
  for (std::size_t i = 0; i < windows.size(); ++i) environment.out << DesktopLine(i + 1, windows[i]) << "\n";
  return 0;
}

std::string DesktopForms() {
  return "desktop dump FILE                   the windows of a desktop, a line each\n";
}

std::string DesktopDetails() {
  return "First the number of windows, then a line for each, tab separated: number, type code, kind, left, top, width\n"
         "and height in units of 1/96 inch, and the file it shows (empty: none).  A damaged file is refused as a "
         "whole.\n"
         "\n"
         "  tonalith-cli desktop dump Default.PVW\n";
}

}  // namespace tonalith
