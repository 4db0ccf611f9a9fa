#include "document/desktop_plan.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/path_resolver.h"

namespace tonalith {

namespace {

bool IsStudio(const DesktopWindow& window) {
  return window.type == static_cast<int>(WindowType::Studio);
}

DesktopStep PlanFile(const DesktopWindow& window, bool studioIsThere, const DesktopLook& look) {
  DesktopStep step;
  const std::string file = window.FilePath();
  if (file.empty()) return step;
  if (Result looked = look(file, &step.path); !looked.ok()) {
    step.reason = looked.text;
    return step;
  }
  const FileKind kind = KindOfFile(FileNameOf(step.path), kOpenInDesktop);
  const std::string_view name = FileKindRowOf(kind).name;
  if (IsStudio(window) && kind != FileKind::Studio) {
    step.reason = file + " is no studio file.";
  } else if (IsStudio(window) && studioIsThere) {
    step.reason = "There is one studio only.";
  } else if (IsStudio(window)) {
    step.action = DesktopAction::ShowStudio;
  } else if (DesktopOpens(kind)) {
    step.action = DesktopAction::OpenFile;
  } else {
    step.reason = file + " is not opened by a desktop (" + std::string(name) + ").";
  }
  return step;
}

}  // namespace

bool DesktopOpens(FileKind kind) {
  return kind == FileKind::Data || kind == FileKind::SysEx || kind == FileKind::Set || kind == FileKind::Library ||
         kind == FileKind::Collection;
}

std::string LeftOutSentence(const DesktopPlan& plan) {
  if (plan.leftOut == 0) return {};
  const auto opened = static_cast<std::size_t>(std::count_if(
      plan.steps.begin(), plan.steps.end(), [](const auto& step) { return step.action != DesktopAction::Nothing; }));
  return "The desktop names " + std::to_string(plan.steps.size() + plan.leftOut) + " windows; the first " +
         std::to_string(opened) + " are opened, " + std::to_string(plan.leftOut) + " are left out.";
}

Result LookForDesktopFile(const std::string& file, std::string* found) {
  const auto path = FindPath("/", file, PathTrust::Trusted);
  if (!path) return Result::Failure("There is no file " + file + ".");
  std::error_code error;
  if (!std::filesystem::is_regular_file(*path, error)) return Result::Failure(file + " is no regular file.");
  *found = *path;
  return Result::Success();
}

DesktopPlan PlanDesktop(std::span<const DesktopWindow> windows, const DesktopLook& look) {
  DesktopPlan plan;
  std::size_t opened = 0;
  bool studioIsThere = false;
  for (const bool studio : {true, false}) {
    for (std::size_t i = 0; i < windows.size(); ++i) {
      const DesktopWindow& window = windows[i];
      if (IsStudio(window) != studio) continue;
      if (opened >= kMaxDesktopWindows) {
        ++plan.leftOut;
        continue;
      }
      DesktopStep step;
      if (OpensItsFile(window.type)) {
        step = PlanFile(window, studioIsThere, look);
      } else if (WindowTypeName(window.type)) {
        step.action = DesktopAction::ShowWindow;
      } else {
        step.reason = "There are no windows of type " + std::to_string(window.type) + ".";
      }
      step.window = i;
      studioIsThere = studioIsThere || step.action == DesktopAction::ShowStudio;
      opened += step.action != DesktopAction::Nothing ? 1 : 0;
      plan.steps.push_back(std::move(step));
    }
  }
  return plan;
}

}  // namespace tonalith
