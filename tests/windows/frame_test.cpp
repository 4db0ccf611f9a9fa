#include <sys/stat.h>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <thread>

#include "app/command_menus.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "ui/midi_activity.h"
#include "ui/patch_selector.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

class FrameTest : public ProgramFixture {
 protected:
  // Two saved patches of the DX7.
  void MakeFiles() {
    TZKBank* window = Open("Yamaha DX7", "Voice", true);
    for (const char* name : {"one.dat", "two.dat"}) {
      ASSERT_TRUE(window->document().Rename(0, name).ok());
      ASSERT_TRUE(window->document().Save(Path(name)).ok());
    }
    frame().RunCommand(CommandId::FileClose);
    Settle();
  }
};

TEST_F(FrameTest, UnsavedChangesAreAskedForOnClosing) {
  Start({"cancel", "yes", "file " + Path("kept.dat"), "no", "no"});
  TZKBank* bank = Open("Yamaha DX7", "Voice", true);
  ASSERT_TRUE(bank->document().IsModified());
  frame().RunCommand(CommandId::FileClose);
  EXPECT_EQ(frame().Children().size(), 2U);
  frame().RunCommand(CommandId::FileClose);
  EXPECT_TRUE(FileExists(Path("kept.dat")));
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 1; }, 1000));
  Open("Yamaha DX7", "Voice", true);
  frame().RunCommand(CommandId::FileClose);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 1; }, 1000));
  const auto log = program_->PromptLog();
  EXPECT_EQ(
      std::count_if(log.begin(), log.end(),
                    [](const std::string& line) { return line.find("Save the changes to") != std::string::npos; }),
      3);
  ASSERT_TRUE(parts().files.OpenFile(Path("kept.dat"), 0));
  bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  EXPECT_EQ(bank->focusProxy(), bank->list()) << "the keys reach the patches of a file at once";
  ASSERT_TRUE(bank->document().Rename(0, "OTHER").ok());
  frame().RunCommand(CommandId::FileClose);
  EXPECT_NE(LogText().find("Save the changes to kept.dat (" + bank->document().Title() + ")?"), std::string::npos)
      << LogText();
}

TEST_F(FrameTest, UndoAndRedoByKeysAndModifiedMeansOtherThanTheFile) {
  Start();
  MakeFiles();
  parts().files.OpenFile(Path("one.dat"), 0);
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  bank->list()->setFocus();
  EXPECT_FALSE(frame().ActionOf(CommandId::EditRedo)->isEnabled());
  const auto name = [bank] { return bank->document().GetPatchName(0); };
  const std::string former = name();
  ASSERT_TRUE(bank->document()
                  .Rename(0,
                          "\xC3\x9C"
                          "bung")
                  .ok());
  const std::string renamed = name();
  ASSERT_NE(renamed, former);
  const struct {
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
    const std::string& expected;
    bool modified;
  } rows[] = {
      {Qt::Key_Z, Qt::ControlModifier, former, false},
      {Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier, renamed, true},
      {Qt::Key_Z, Qt::ControlModifier, former, false},
      {Qt::Key_Y, Qt::ControlModifier, renamed, true},
      {Qt::Key_Y, Qt::ControlModifier, renamed, true},  // nothing is left to redo
      {Qt::Key_S, Qt::ControlModifier, renamed, false},
      {Qt::Key_Z, Qt::ControlModifier, former, true},  // the file holds the new name
      {Qt::Key_Y, Qt::ControlModifier, renamed, false},
  };
  int step = 0;
  for (const auto& row : rows) {
    PressShortcut(&frame(), row.key, row.modifiers);
    EXPECT_EQ(name(), row.expected) << step;
    EXPECT_EQ(bank->isWindowModified(), row.modified) << step;
    ++step;
  }
  ASSERT_TRUE(bank->document().Undo().ok());
  ASSERT_TRUE(bank->document().Rename(0, "OTHER").ok());
  EXPECT_FALSE(bank->CommandEnabled(CommandId::EditRedo)) << "a new change ends what could be redone";
}

TEST_F(FrameTest, AFileThatSomebodyElseChangedIsAskedFor) {
  Start({"cancel", "no", "file " + Path("mine.dat"), "yes"});
  MakeFiles();
  parts().files.OpenFile(Path("one.dat"), 0);
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  const auto others = [&](const std::string& path) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(ReadWholeFile(path, bytes).ok());
    return bytes.size() == 5;
  };
  const auto changeOutside = [&](const std::string& path) {
    ASSERT_TRUE(WriteFileAtomically(path, std::string_view("other")).ok());
  };
  ASSERT_TRUE(bank->document().Rename(0, "MINE").ok());
  changeOutside(Path("one.dat"));
  EXPECT_FALSE(bank->Save(false)) << "cancelled";
  EXPECT_TRUE(others(Path("one.dat")));
  EXPECT_TRUE(bank->document().IsModified());
  EXPECT_TRUE(bank->Save(false)) << "under another name";
  EXPECT_TRUE(others(Path("one.dat")));
  EXPECT_EQ(bank->FilePath(), Path("mine.dat"));
  EXPECT_FALSE(bank->document().IsModified());
  ASSERT_TRUE(bank->document().Rename(0, "AGAIN").ok());
  changeOutside(Path("mine.dat"));
  EXPECT_TRUE(bank->Save(false)) << "overwritten";
  EXPECT_FALSE(others(Path("mine.dat")));
  EXPECT_NE(LogText().find("Another program has changed this file"), std::string::npos) << LogText();
}

TEST_F(FrameTest, WhatIsNoFileIsSaidAndAFileThatEndsEarlyIsOpened) {
  Start();
  MakeFiles();
  parts().studio.Show();
  const std::size_t windows = frame().Children().size();
  for (const char* ending : {".dat", ".syx", ".mid", ".pvw", ".pvz", ".pv9"}) {
    const std::string pipe = Path(std::string("pipe") + ending);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(parts().files.OpenFile(pipe, 0)) << ending;
    EXPECT_NE(LogText().find(std::string("pipe") + ending + ": it is a pipe, not a file."), std::string::npos)
        << ending << "\n"
        << LogText();
  }
  EXPECT_EQ(frame().Children().size(), windows);
  fs::resize_file(Path("one.dat"), fs::file_size(Path("one.dat")) - 10);
  EXPECT_TRUE(parts().files.OpenFile(Path("one.dat"), 0));
  EXPECT_NE(LogText().find("one.dat is shorter than it says"), std::string::npos) << LogText();
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  EXPECT_TRUE(bank->Save(false));
  EXPECT_TRUE(fs::exists(Path("one.dat~")));
}

TEST_F(FrameTest, ACommandThatRunsOutOfMemoryEnds) {
  Start();
  frame().menus().Register(CommandId::HelpAbout, {[] { throw std::bad_alloc(); }});
  frame().RunCommand(CommandId::HelpAbout);
  EXPECT_NE(LogText().find("There is not enough memory"), std::string::npos) << LogText();
}

TEST_F(FrameTest, QuittingWhileSendingAsks) {
  Start({"cancel", "no", "no"}, {});
  TZKBank* bank = Open("Yamaha DX7", "Voice", true);
  program_->basics()->midi().out().GetMidiOutPort(bank->document().synth().midiOutPort)->SetSpeed(60);
  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(WaitFor([this] { return parts().transfers.TransmitWindowOpen(); }));
  EXPECT_FALSE(frame().close());
  EXPECT_TRUE(bank->document().IsBusy()) << "Cancel goes on sending";
  EXPECT_TRUE(frame().close()) << "Stop ends it: " << LogText();
  EXPECT_NE(LogText().find("currently sending MIDI data"), std::string::npos);
}

TEST_F(FrameTest, DroppedAndRecentFiles) {
  Start();
  MakeFiles();
  const std::string no = Path("none.dat");
  std::ofstream(no) << "no data file";
  EXPECT_TRUE(DropFiles(&frame(), {Path("one.dat"), no, Path("two.dat"), Path("one.dat")}));
  auto children = frame().Children();
  ASSERT_EQ(children.size(), 3U) << "a file that is open is not opened twice";
  EXPECT_EQ(static_cast<TZKBank*>(children[1])->document().GetPatchName(0), "one.dat");
  EXPECT_EQ(frame().ActiveChild(), children[1]) << "the second drop brings it to the front";
  EXPECT_NE(LogText().find("is not a bank or patch"), std::string::npos);
  Stop();
  Start();
  QMenu* recent = nullptr;
  for (auto* menu : frame().findChildren<QMenu*>()) {
    if (menu->title() == "&Recent Files") recent = menu;
  }
  ASSERT_NE(recent, nullptr);
  ASSERT_EQ(recent->actions().size(), 5) << "three files, a line and the entry that clears the list";
  EXPECT_EQ(recent->actions()[0]->text(), "&1 one.dat");
  EXPECT_EQ(recent->actions()[1]->text(), "&2 two.dat");
  frame().RunCommand(CommandId::FileClearRecent);
  EXPECT_FALSE(recent->isEnabled());
}

TEST_F(FrameTest, ASecondProcessHandsItsFilesOver) {
  Start();
  MakeFiles();
  program_->Listen();
  CZKApp second(Line({Path("one.dat"), Path("two.dat")}));
  bool handed = false;
  bool done = false;
  std::thread other([&] {
    handed = second.HandOver();
    done = true;
  });
  EXPECT_TRUE(WaitFor([&] { return done && frame().Children().size() == 3; }));
  other.join();
  EXPECT_TRUE(handed);
  CZKApp apart(Line({"--new-instance"}));
  EXPECT_FALSE(apart.HandOver());
}

TEST_F(FrameTest, PlacesDesktopAndSettingsOfTheStudioAreKept) {
  Start();
  MakeFiles();
  parts().files.OpenFile(Path("two.dat"), 0);
  frame().resize(640, 560);
  frame().RunCommand(CommandId::ViewMidiActivity);
  frame().ActionOf(CommandId::ViewMidiActivity)->setChecked(true);
  frame().RunCommand(CommandId::ViewMidiActivity);
  const auto* activity = frame().findChild<MidiActivityDock*>();
  const auto labels = activity->findChildren<QLabel*>();
  EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
    return label->text().contains(QStringLiteral("Kawai K4"));
  })) << "ports that were there at the start are shown";
  ZKDrvList* instrument = program_->studio()->FindInstrument("k4");
  instrument->SetMidiChannel(8);
  parts().studio.StudioEdited();
  EXPECT_TRUE(frame().close());
  Stop();
  Start();
  EXPECT_EQ(frame().size(), QSize(640, 560));
  EXPECT_EQ(program_->studio()->FindInstrument("k4")->midiChannel, 8);
  ASSERT_EQ(frame().Children().size(), 2U);
  auto* bank = qobject_cast<TZKBank*>(frame().Children()[1]);
  ASSERT_NE(bank, nullptr);
  EXPECT_EQ(bank->document().path(), Path("two.dat"));
}

TEST(CancelTransmitDialog, AnswersOnlyWithPortsSelected) {
  ZKCancelTransmit dialog({"One", "Two", "Three"});
  auto* list = dialog.findChild<QListWidget*>();
  const auto buttons = dialog.findChildren<QPushButton*>();
  const auto ok = std::find_if(buttons.begin(), buttons.end(), [](QPushButton* b) { return b->text().contains("OK"); });
  ASSERT_NE(ok, buttons.end());
  EXPECT_EQ(dialog.Selected(), (std::vector<bool>{true, true, true}));
  list->item(1)->setSelected(false);
  EXPECT_EQ(dialog.Selected(), (std::vector<bool>{true, false, true}));
  list->clearSelection();
  EXPECT_FALSE((*ok)->isEnabled());
  list->item(2)->setSelected(true);
  EXPECT_TRUE((*ok)->isEnabled());
  emit list->itemDoubleClicked(list->item(2));
  EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST(PatchSelector, StaysInsideTheLimits) {
  ZKPatchSelector dialog("Please select the Patch # (PCH #) to Receive a Kawai K4 Single", 70, 3, 64);
  EXPECT_EQ(dialog.Selected(), 64);
  auto* box = dialog.findChild<QSpinBox*>();
  box->setValue(1);
  EXPECT_EQ(dialog.Selected(), 3);
}

}  // namespace
}  // namespace tonalith
