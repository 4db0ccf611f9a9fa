#include <QStatusBar>

#include "app/simulation.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class ManualDumpWindowTest : public ProgramFixture {
 protected:
  void Press(const char* key, const char* message) {
    VirtualStudio& studio = program_->simulation()->studio();
    ASSERT_TRUE(studio.PanelSend(studio.Find(key), message));
  }
  std::size_t Windows() { return frame().Children().size(); }
};

TEST_F(ManualDumpWindowTest, WhatThePanelSendsOpensAsNewData) {
  Start({"yes", "no", "no"});
  program_->basics()->MainReceiveManualBulkDumps(1);
  const std::size_t before = Windows();
  Press("yamaha-dx7", "bank");
  ASSERT_TRUE(WaitFor([&] { return Windows() == before + 1; }, 5000));
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(bank);
  EXPECT_EQ(bank->document().Description(), "Yamaha DX7 Voice Bank");
  EXPECT_FALSE(bank->document().IsEmpty());
  EXPECT_TRUE(bank->document().IsModified()) << "nobody saved it yet";
  KeepScreenshot(&frame(), QStringLiteral("manual-dump"));
  frame().RunCommand(CommandId::WindowCloseAll);
  Press("roland-d50", "everything");
  EXPECT_TRUE(WaitFor([&] { return program_->PromptLog().size() >= 3; }, 10000));
  const auto log = program_->PromptLog();
  EXPECT_NE(log.back().find("Roland D-50"), std::string::npos) << log.back();
}

TEST_F(ManualDumpWindowTest, OpenDataTakesItAndUndoBringsTheFormerBack) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  const std::string former = bank->document().GetPatchName(0);
  Press("yamaha-dx7", "bank");
  EXPECT_FALSE(WaitFor([&] { return bank->document().GetPatchName(0) != former; }, 500)) << "the setting is off";
  program_->basics()->MainReceiveManualBulkDumps(2);
  Press("yamaha-dx7", "bank");
  ASSERT_TRUE(WaitFor([&] { return bank->document().GetPatchName(0) != former; }, 5000));
  EXPECT_TRUE(bank->document().IsModified());
  EXPECT_TRUE(frame().statusBar()->currentMessage().contains(QStringLiteral("Voice Bank of the Yamaha DX7")));
  EXPECT_TRUE(bank->document().CmEditUndo());
  EXPECT_EQ(bank->document().GetPatchName(0), former);
}

// A Get is no manual dump.
TEST_F(ManualDumpWindowTest, TransfersBringNoWindowsOfTheirOwn) {
  Start();
  program_->basics()->MainReceiveManualBulkDumps(2);
  TZKBank* bank = Open("Yamaha DX7", "Voice", true);
  ASSERT_TRUE(Idle(bank));
  const std::size_t windows = Windows();
  EXPECT_FALSE(WaitFor([&] { return Windows() != windows; }, 1500));
}

}  // namespace
}  // namespace tonalith
