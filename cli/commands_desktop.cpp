#include "cli/commands_desktop.h"

#include "document/desktop_plan.h"
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

static int DumpDesktop(CliEnvironment& environment, const std::vector<DesktopWindow>& windows) {
  environment.out << "windows: " << windows.size() << "\n";
  for (std::size_t i = 0; i < windows.size(); ++i) PrintWindow(environment.out, i + 1, windows[i]);
  return 0;
}

// What the program would do with it; nothing is opened.
static int CheckDesktop(CliEnvironment& environment, const std::vector<DesktopWindow>& windows) {
  const DesktopPlan plan = PlanDesktop(windows);
  bool all = plan.leftOut == 0;
  for (const DesktopStep& step : plan.steps) {
    const DesktopWindow& window = windows[step.window];
    environment.out << step.window + 1 << "\t";
    switch (step.action) {
      case DesktopAction::ShowStudio:
        environment.out << "studio\t" << step.path << "\n";
        break;
      case DesktopAction::OpenFile:
        environment.out << "file\t" << step.path << "\n";
        break;
      case DesktopAction::ShowWindow:
        environment.out << "window\t" << std::string_view(WindowTypeName(window.type)) << "\n";
        break;
      default:
        environment.out << "nothing\t" << (step.reason.empty() ? std::string("it has no file") : step.reason) << "\n";
    }
    all = all && step.reason.empty();
  }
  if (plan.leftOut > 0) return CliFailure(environment.err, "desktop", LeftOutSentence(plan));
  return all ? 0 : CliFailure(environment.err, "desktop", "Not every window of the desktop would be opened.");
}

int RunDesktop(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() != 2 || (args[0] != "dump" && args[0] != "check"))
    return CliFailure(environment.err, "desktop", "The forms are \"desktop dump FILE\" and \"desktop check FILE\".");
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(args[1], &windows); !read.ok())
    return CliFailure(environment.err, "desktop", ReplaceAll(read.text, "\n\n", ": "));
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
