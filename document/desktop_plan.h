#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "document/file_kinds.h"
#include "platform/result.h"
#include "services/desktop_file.h"

namespace tonalith {

// What loading a desktop does, decided before the first window opens.  A desktop may come from anybody: it opens
// windows and the files of data that they show, it installs, sends and loads nothing else.

// More windows than that are left out.
inline constexpr std::size_t kMaxDesktopWindows = 100;

// Whether a desktop opens files of this kind: those that have a window of their own.
bool DesktopOpens(FileKind kind);

enum class DesktopAction {
  ShowStudio,  // with the studio file `path`
  OpenFile,    // `path`
  ShowWindow,  // of its type, without a file
  Nothing,     // `reason` says why; empty: there is nothing to miss
};

struct DesktopStep {
  DesktopAction action = DesktopAction::Nothing;
  std::size_t window = 0;  // its place in the file
  std::string path;        // as it is on the disk
  std::string reason;
};

struct DesktopPlan {
  std::vector<DesktopStep> steps;  // the studio first: the data refers to its instruments
  std::size_t leftOut = 0;         // windows beyond kMaxDesktopWindows
};
// "The desktop names 250 windows; the first 100 are opened, 150 are left out."; "" when none is.
std::string LeftOutSentence(const DesktopPlan& plan);

// Finds a file that a desktop names: `found` is its path as it is on the disk.  Fails with a sentence when there is
// none, or when it is no regular file.
using DesktopLook = std::function<Result(const std::string& file, std::string* found)>;
Result LookForDesktopFile(const std::string& file, std::string* found);

DesktopPlan PlanDesktop(std::span<const DesktopWindow> windows, const DesktopLook& look = LookForDesktopFile);

}  // namespace tonalith
