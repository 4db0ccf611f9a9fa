#include "cli/commands_desktop.h"

#include "platform/text.h"
#include "services/desktop_file.h"

namespace tonalith {

namespace {

void PrintWindow(TerminalText out, std::size_t number, const DesktopWindow& window) {
  const char* kind = WindowTypeName(window.type);
  out << number << "\t" << window.type << "\t" << std::string_view(kind ? kind : "unknown") << "\t" << window.x << "\t"
      << window.y << "\t" << window.width << "\t" << window.height << "\t" << window.FilePath() << "\n";
}

}  // namespace

int RunDesktop(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() != 2 || args[0] != "dump")
    return CliFailure(environment.err, "desktop", "The form is \"desktop dump FILE\".");
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(args[1], &windows); !read.ok())
    return CliFailure(environment.err, "desktop", ReplaceAll(read.text, "\n\n", ": "));
  environment.out << "windows: " << windows.size() << "\n";
  for (std::size_t i = 0; i < windows.size(); ++i) PrintWindow(environment.out, i + 1, windows[i]);
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
