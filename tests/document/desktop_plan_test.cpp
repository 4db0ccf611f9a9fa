#include "document/desktop_plan.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

constexpr int kStudioType = static_cast<int>(WindowType::Studio);
constexpr int kMonitorType = static_cast<int>(WindowType::Monitor);

DesktopWindow Window(int type, const std::string& directory = {}, const std::string& name = {}) {
  return {0, 0, 10, 10, directory, name, type};
}

// Files of every sort that a desktop may name.
TEST(DesktopPlan, OpensDataThatIsThereAndNothingElse) {
  const TestFolder own;
  const std::string folder = own.path().string();
  std::filesystem::create_directory(folder + "/folder.dat");
  for (const char* name : {"Data.dat", "raw.syx", "own.PV9", "evil.pvz", "more.PVW", "set.PVS", "song.mid"})
    std::ofstream(folder + "/" + name) << "x";
  ASSERT_EQ(::mkfifo((folder + "/pipe.dat").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/zero", folder + "/zero.dat");
  const struct {
    const char* name;
    int type;
    DesktopAction action;
    const char* reason;
  } rows[] = {
      {"Data.dat", 17000, DesktopAction::OpenFile, ""},
      {"data.DAT", 17001, DesktopAction::OpenFile, ""},
      {"raw.syx", 17003, DesktopAction::OpenFile, ""},
      {"own.PV9", kStudioType, DesktopAction::ShowStudio, ""},
      {"own.PV9", 17000, DesktopAction::Nothing, "not opened by a desktop"},
      {"raw.syx", kStudioType, DesktopAction::Nothing, "no studio file"},
      {"evil.pvz", 17000, DesktopAction::Nothing, "not opened by a desktop"},
      {"more.PVW", 17001, DesktopAction::Nothing, "not opened by a desktop"},
      {"set.PVS", 17003, DesktopAction::OpenFile, ""},
      {"song.mid", 17000, DesktopAction::Nothing, "not opened by a desktop"},
      {"gone.dat", 17000, DesktopAction::Nothing, "There is no file"},
      {"folder.dat", 17000, DesktopAction::Nothing, "no regular file"},
      {"pipe.dat", 17000, DesktopAction::Nothing, "no regular file"},
      {"zero.dat", 17000, DesktopAction::Nothing, "no regular file"},
      {"", 17000, DesktopAction::Nothing, ""},
      {"", kStudioType, DesktopAction::Nothing, ""},
      {"", kMonitorType, DesktopAction::ShowWindow, ""},
      {"", 9, DesktopAction::Nothing, "no windows of type 9"},
  };
  for (const auto& row : rows) {
    const DesktopPlan plan = PlanDesktop(std::vector{Window(row.type, folder, row.name)});
    ASSERT_EQ(plan.steps.size(), 1U) << row.name;
    EXPECT_EQ(plan.steps[0].action, row.action) << row.name << ": " << plan.steps[0].reason;
    EXPECT_NE(plan.steps[0].reason.find(row.reason), std::string::npos) << plan.steps[0].reason;
    EXPECT_EQ(plan.steps[0].reason.empty(), row.reason[0] == '\0') << row.name;
  }
}

TEST(DesktopPlan, TheStudioIsFirstAndOnceAndAHundredWindowsAreEnough) {
  const auto there = [](const std::string& file, std::string* found) {
    *found = file;
    return Result::Success();
  };
  std::vector<DesktopWindow> windows(250, Window(kMonitorType));
  windows[0] = Window(9);
  windows[200] = Window(kStudioType, "/a", "one.PV9");
  windows[201] = Window(kStudioType, "/a", "two.PV9");
  const DesktopPlan plan = PlanDesktop(windows, there);
  EXPECT_EQ(plan.steps[0].action, DesktopAction::ShowStudio);
  EXPECT_EQ(plan.steps[0].path, "/a/one.PV9");
  EXPECT_EQ(plan.steps[1].reason, "There is one studio only.");
  EXPECT_EQ(plan.leftOut, 148U);
  EXPECT_EQ(LeftOutSentence(plan), "The desktop names 250 windows; the first 100 are opened, 148 are left out.");
  EXPECT_EQ(LeftOutSentence(PlanDesktop(std::vector(100, Window(kMonitorType)), there)), "");
}

}  // namespace
}  // namespace tonalith
