#include "cli/commands_desktop.h"

#include <ostream>

#include "document/desktop_plan.h"
#include "platform/text.h"
#include "services/desktop_file.h"

namespace tonalith {

namespace {

// Names come from the file; tabs stand between the columns.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 32 && c != '\t') c = '?';
  }
  return text;
}

std::string DesktopLine(std::size_t number, const DesktopWindow& window) {
  const char* kind = WindowTypeName(window.type);
  std::string line = Printf("%zu\t%d\t%s\t%d\t%d\t%d\t%d\t", number, window.type, kind ? kind : "unknown", window.x,
                            window.y, window.width, window.height);
  return line + OneLine(window.FilePath());
}

}  // namespace

static int DumpDesktop(CliEnvironment& environment, const std::vector<DesktopWindow>& windows) {
  environment.out << "windows: " << windows.size() << "\n";
  for (std::size_t i = 0; i < windows.size(); ++i) environment.out << DesktopLine(i + 1, windows[i]) << "\n";
  return 0;
}

// What the program would do with it; nothing is opened.
static int CheckDesktop(CliEnvironment& environment, const std::vector<DesktopWindow>& windows) {
  const DesktopPlan plan = PlanDesktop(windows);
  bool all = plan.leftOut == 0;
  for (const DesktopStep& step : plan.steps) {
    const DesktopWindow& window = windows[step.window];
    std::string what = "nothing\t" + (step.reason.empty() ? "it has no file" : step.reason);
    if (step.action == DesktopAction::ShowStudio) what = "studio\t" + step.path;
    if (step.action == DesktopAction::OpenFile) what = "file\t" + step.path;
    if (step.action == DesktopAction::ShowWindow) what = std::string("window\t") + WindowTypeName(window.type);
    all = all && step.reason.empty();
    environment.out << step.window + 1 << "\t" << OneLine(what) << "\n";
  }
  if (plan.leftOut > 0) return CliFailure(environment, "desktop", LeftOutSentence(plan));
  return all ? 0 : CliFailure(environment, "desktop", "Not every window of the desktop would be opened.");
}

int RunDesktop(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() != 2 || (args[0] != "dump" && args[0] != "check"))
    return CliFailure(environment, "desktop", "The forms are \"desktop dump FILE\" and \"desktop check FILE\".");
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(args[1], &windows); !read.ok())
    return CliFailure(environment, "desktop", ReplaceAll(read.text, "\n\n", ": "));
  return args[0] == "dump" ? DumpDesktop(environment, windows) : CheckDesktop(environment, windows);
}

std::string DesktopForms() {
  return "desktop dump FILE                   the windows of a desktop, a line each\n"
         "desktop check FILE                  what opening it would do\n";
}

std::string DesktopDetails() {
  return "\"dump\" prints the number of windows, then a line for each, tab separated: number, type code, kind, left, "
         "top,\n"
         "width and height in units of 1/96 inch, and the file it shows (empty: none).  A damaged file is refused as "
         "a\n"
         "whole.\n"
         "\n"
         "\"check\" prints, in the order of opening, the number of the window and what would be done with it: "
         "\"studio\" or\n"
         "\"file\" and the path, \"window\" and its kind, \"nothing\" and why.  It opens nothing; the status is 1 "
         "when\n"
         "something would not be opened.\n"
         "\n"
         "  tonalith-cli desktop dump Default.PVW\n";
}

}  // namespace tonalith
