// Feeds any bytes to the reader of desktop files; what it accepts must come back from the writer as it was read, and
// what is decided about its windows keeps inside the rules, whatever their files are.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "document/desktop_plan.h"
#include "platform/path_resolver.h"

namespace {

// Every third file is missing; the others are found under a name that may say another kind.
tonalith::Result Look(const std::string& file, std::string* found) {
  if (file.size() % 3 == 0) return tonalith::Result::Failure("There is no such file.");
  *found = file.size() % 5 == 0 ? file + ".pvz" : file;
  return tonalith::Result::Success();
}

void CheckPlan(const std::vector<tonalith::DesktopWindow>& windows) {
  using namespace tonalith;
  const DesktopPlan plan = PlanDesktop(windows, Look);
  std::size_t opened = 0, studios = 0;
  std::vector<bool> seen(windows.size());
  for (const DesktopStep& step : plan.steps) {
    if (step.window >= windows.size() || seen[step.window]) __builtin_trap();
    seen[step.window] = true;
    opened += step.action != DesktopAction::Nothing ? 1U : 0U;
    studios += step.action == DesktopAction::ShowStudio ? 1U : 0U;
    const FileKind kind = KindOfFile(FileNameOf(step.path), kOpenInDesktop);
    if (step.action == DesktopAction::OpenFile && !DesktopOpens(kind)) __builtin_trap();
    if (step.action == DesktopAction::ShowStudio && (opened != 1 || kind != FileKind::Studio)) __builtin_trap();
    if (step.action != DesktopAction::Nothing && !step.reason.empty()) __builtin_trap();
  }
  if (opened > kMaxDesktopWindows || studios > 1 || plan.steps.size() + plan.leftOut != windows.size())
    __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  std::vector<DesktopWindow> windows;
  const Result read = ReadDesktop({data, size}, &windows);
  if (!read.ok()) {
    if (!windows.empty() || read.text.empty()) __builtin_trap();
    return 0;
  }
  CheckPlan(windows);
  std::vector<DesktopWindow> again;
  if (!ReadDesktop(WriteDesktop(windows), &again).ok() || again.size() != windows.size()) __builtin_trap();
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const DesktopRect place =
        ClampedToArea({DesktopPixels(windows[i].x, 192), windows[i].y, windows[i].width, windows[i].height}, 800, 600);
    if (place.x < 0 || place.x >= 800 || place.width > 800) __builtin_trap();
    if (again[i].type != windows[i].type || again[i].x != windows[i].x) __builtin_trap();
    if (FitsDesktop(windows[i]) && again[i].FilePath() != windows[i].FilePath()) __builtin_trap();
  }
  return 0;
}
