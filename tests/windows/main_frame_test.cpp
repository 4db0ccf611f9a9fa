#include <QAction>
#include <QProgressDialog>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QTest>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "app/child_windows.h"
#include "app/control_bar.h"
#include "app/desktop_menu.h"
#include "app/midi_panic.h"
#include "data/container.h"
#include "data/standard_midi_file.h"
#include "document/desktop_plan.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "script/transfer_engine.h"
#include "services/desktop_file.h"
#include "services/main_window_messages.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "services/zkbasics.h"
#include "tests/platform/files_fixture.h"
#include "tools/ui/raw_sysex_window.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const Bytes kMessage = {0xF0, 0x7D, 1, 2, 3, 0xF7};

class MainFrameTest : public ProgramFixture {
 protected:
  void TearDown() override {
    if (program_ && monitor_) basics().out().RemoveMonitor(monitor_);
    ProgramFixture::TearDown();
  }
  ZKBasics& basics() { return *program_->basics(); }
  void Write(const std::string& name, const Bytes& bytes) {
    ASSERT_TRUE(WriteFileAtomically(Path(name), std::span<const std::uint8_t>(bytes)).ok());
  }
  // Notes what is sent from now on, as "port:hex".
  void Listen() {
    monitor_ = basics().out().AddMonitor([this](int port, std::span<const std::uint8_t> message) {
      std::string line = std::to_string(port) + ":";
      for (const std::uint8_t b : message) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02X", b);
        line += hex;
      }
      const std::lock_guard lock(mutex_);
      sent_.push_back(line);
    });
  }
  std::vector<std::string> Sent() {
    const std::lock_guard lock(mutex_);
    return sent_;
  }
  void CloseStudio() {
    parts().studio.Show()->CloseVerified();
    ASSERT_TRUE(WaitFor([this] { return frame().Children().empty(); }));
  }
  bool Logged(const std::string& part) const { return LogText().find(part) != std::string::npos; }

  std::mutex mutex_;
  std::vector<std::string> sent_;
  int monitor_ = 0;
};

// ---- commands -------------------------------------------------------------------------------------------------------

TEST_F(MainFrameTest, CommandsThatChangeTheWindowDoSo) {
  Start({"text Yamaha DX7, Voice"});
  frame().ActionOf(CommandId::FileNewEditor)->trigger();
  EXPECT_TRUE(qobject_cast<TZKBank*>(frame().ActiveChild())) << LogText();
  for (const CommandId id : {CommandId::ViewControlBar, CommandId::ViewStatusBar}) {
    QWidget* bar = id == CommandId::ViewControlBar ? static_cast<QWidget*>(frame().controlBar()) : frame().statusBar();
    const bool shown = id == CommandId::ViewStatusBar;
    EXPECT_EQ(bar->isVisible(), shown) << "at first";
    frame().ActionOf(id)->trigger();
    EXPECT_EQ(bar->isVisible(), !shown);
    frame().ActionOf(id)->trigger();
    EXPECT_EQ(bar->isVisible(), shown);
  }
  frame().ActionOf(CommandId::OptionsAudition)->trigger();
  EXPECT_EQ(basics().MainAudition(-1), 0);
  frame().ActionOf(CommandId::OptionsReopenDesktop)->trigger();
  EXPECT_EQ(basics().MainAutoSaveLoadDesktop(-1), 0);
  frame().ActionOf(CommandId::OptionsUpdateKeyList)->trigger();
  EXPECT_TRUE(frame().statusBar()->currentMessage().contains(QStringLiteral("5 categories")))
      << frame().statusBar()->currentMessage().toStdString();
  EXPECT_TRUE(FileExists(basics().paths().MainGetDataPath() + "/ZKKeys.ini"));
  frame().ActionOf(CommandId::ViewFreeWindows)->trigger();
  EXPECT_TRUE(frame().ActionOf(CommandId::WindowTile)->isEnabled());
  KeepScreenshot(&frame(), QStringLiteral("main_window_free"));
  frame().ActionOf(CommandId::ViewFreeWindows)->trigger();
  EXPECT_FALSE(frame().ActionOf(CommandId::WindowTile)->isEnabled());
  EXPECT_FALSE(frame().ActionOf(CommandId::HelpOnline)->isEnabled()) << "no address is configured";
  EXPECT_FALSE(frame().ActionOf(CommandId::HelpManual1)->isVisible());
  frame().ActionOf(CommandId::HelpShortcuts)->trigger();
  KeepScreenshot(&frame(), QStringLiteral("main_window"));
  frame().ActionOf(CommandId::ViewControlBar)->trigger();
  Stop();
  Start();
  EXPECT_EQ(basics().MainAudition(-1), 0) << "kept without a word about it";
  EXPECT_EQ(basics().MainAutoSaveLoadDesktop(-1), 0);
  EXPECT_TRUE(frame().controlBar()->isVisible());
}

TEST_F(MainFrameTest, AuditionNotesGoToTheInstrumentAndEnd) {
  Start();
  TZKBank* bank = Open("k4", "Single", false);
  const Synth& synth = bank->document().synth();
  basics().MainTonesData(1, 61);
  basics().MainTonesData(9, 90);
  basics().MainNotesToPlay(2);
  basics().MainPlaybackSpeed(0);
  Listen();
  frame().ActionOf(CommandId::PlayNote2)->trigger();
  char on[32], off[32];
  std::snprintf(on, sizeof on, "%d:%02X3D5A", synth.midiOutPort, 0x90 | synth.midiChannel);
  std::snprintf(off, sizeof off, "%d:%02X3D00", synth.midiOutPort, 0x90 | synth.midiChannel);
  EXPECT_TRUE(WaitFor([&] {
    return Sent() == std::vector<std::string>{on, off};
  })) << (Sent().empty() ? "" : Sent()[0]);
  frame().ActionOf(CommandId::PlayLastNote)->trigger();
  EXPECT_TRUE(WaitFor([&] { return Sent().size() == 4 && Sent()[2] == on; }));
  frame().ActionOf(CommandId::PlayChord)->trigger();
  EXPECT_TRUE(WaitFor([&] { return Sent().size() == 10; }));
  frame().ActionOf(CommandId::PlaySequence)->trigger();
  EXPECT_TRUE(WaitFor([&] { return Sent().size() == 16; }));
}

// ---- files ----------------------------------------------------------------------------------------------------------

TEST_F(MainFrameTest, FilesThatNeedTheStudioOrAnotherWindowSaySo) {
  Start();
  CloseStudio();
  const struct {
    const char* name;
    const char* sentence;  // empty: nothing is said
  } rows[] = {
      {"a.pvs", "is not a Set"},
      {"a.pvl", "a Library of this program"},
      {"a.pvc", "a Collection of this program"},
      {"a.zkr", "This is a file of remote triggers. There is no window for them."},
      {"a.zkosc", "This kind of file is not supported."},
      {"a.fxb", "This kind of file is not supported."},
      {"a.pvz", "using the menu option 'File | New | Studio'\\nbefore installing an instrument module."},
      {"a.lib", "using the menu option 'File | New | Studio'\\nbefore opening this file."},
      {"a.mid", ""},
      {"a.l6t", ""},
      {"a.pvw", "is not a desktop"},
      {"a.dat", "is not a bank or patch"},
  };
  for (const auto& row : rows) {
    Write(row.name, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const std::size_t before = program_->PromptLog().size();
    EXPECT_FALSE(parts().files.OpenFile(Path(row.name), 0)) << row.name;
    const auto log = program_->PromptLog();
    ASSERT_EQ(log.size(), before + (*row.sentence ? 1 : 0)) << row.name;
    if (*row.sentence) {
      EXPECT_NE(log.back().find(row.sentence), std::string::npos) << log.back();
    }
  }
  EXPECT_TRUE(frame().Children().empty());
}

TEST_F(MainFrameTest, RawSysExIsListedSentAndSaved) {
  Start({"file " + Path("part.syx")});
  CloseStudio();
  Bytes bytes = kMessage;
  bytes.insert(bytes.end(), {0x11, 0x22});
  bytes.insert(bytes.end(), kMessage.begin(), kMessage.end());
  bytes.insert(bytes.end(), {0xF0, 0x43, 9});
  Write("raw.syx", bytes);
  ASSERT_TRUE(parts().files.OpenFile(Path("raw.syx"), 0));
  ASSERT_TRUE(parts().files.OpenFile(Path("raw.syx"), 0)) << "a second time brings it to the front";
  ASSERT_EQ(frame().Children().size(), 1U);
  auto* window = qobject_cast<RawSysExWindow*>(frame().ActiveChild());
  ASSERT_NE(window, nullptr);
  ASSERT_EQ(window->model()->rowCount(), 3);
  EXPECT_EQ(window->model()->RowAt(1).offset, 8U);
  EXPECT_FALSE(window->model()->RowAt(2).complete);
  EXPECT_EQ(static_cast<RawSysExDocument&>(window->document()).otherBytes(), 2U);
  EXPECT_FALSE(window->document().IsModified());
  KeepScreenshot(window, QStringLiteral("raw_sysex"));
  Listen();
  window->list()->selectRow(1);
  frame().RunCommand(CommandId::MidiTransmit);
  EXPECT_TRUE(WaitFor([this] { return Sent() == std::vector<std::string>{"0:F07D010203F7"}; }));
  frame().RunCommand(CommandId::FileSaveAs);
  Bytes saved;
  ASSERT_TRUE(ReadWholeFile(Path("part.syx"), saved).ok());
  EXPECT_EQ(saved, kMessage);
}

// ---- sending --------------------------------------------------------------------------------------------------------

TEST_F(MainFrameTest, RawAndMidiFilesAreSent) {
  Start();
  const std::string port = basics().out().OUTGETPORTNAME(0);
  Stop();
  Start({"file " + Path("no.syx"), "text " + port, "ok", "file " + Path("two.mid"), "cancel", "file " + Path("two.mid"),
         "text " + port});
  Write("no.syx", {0, 0xF0, 0x7D, 0xF7});
  const SmfMessage messages[] = {{kMessage, 0}, {kMessage, 30}};
  Write("two.mid", WriteSmfSysEx(messages));
  Listen();
  frame().ActionOf(CommandId::SendSysEx)->trigger();
  EXPECT_TRUE(Logged("Choose MIDIX File to Send?"));
  EXPECT_TRUE(Logged("File doesn't appear to contain valid MIDI data!"));
  frame().ActionOf(CommandId::SendMidiFile)->trigger();
  EXPECT_TRUE(Logged("Send two.mid to this MIDI OUT port:")) << "cancelled";
  frame().ActionOf(CommandId::SendMidiFile)->trigger();
  EXPECT_TRUE(WaitFor([this] { return Sent() == std::vector<std::string>(2, "0:F07D010203F7"); })) << LogText();
}

TEST_F(MainFrameTest, QuittingWaitsForAFileOrStopsIt) {
  Start({"cancel", "yes"}, {});
  Bytes bytes(400, 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  Write("long.syx", bytes);
  basics().out().GetMidiOutPort(0)->SetSpeed(300);
  ASSERT_TRUE(parts().transfers.files().MidiXTransmit(Path("long.syx"), 1));
  ASSERT_TRUE(WaitFor([this] { return basics().out().GetMidiOutPort(0)->isBusy(); }));
  EXPECT_FALSE(frame().close());
  EXPECT_TRUE(Logged("Exit | The application is currently sending MIDI data."));
  EXPECT_TRUE(basics().out().GetMidiOutPort(0)->isBusy());
  EXPECT_TRUE(frame().close()) << "Continue waits until the port has sent everything";
  EXPECT_FALSE(basics().out().GetMidiOutPort(0)->isBusy());
  EXPECT_EQ(program_->PromptLog().size(), 2U) << LogText();
}

TEST_F(MainFrameTest, PanicGoesOnBesidesAndCanBeCancelled) {
  Start();
  const int ports = basics().out().MaxOutPorts();
  Listen();
  frame().ActionOf(CommandId::MidiPanic)->trigger();
  EXPECT_TRUE(parts().midi.panic().Running()) << "the command returns at once";
  const auto each = static_cast<std::size_t>(ports);
  ASSERT_TRUE(WaitFor([&] { return Sent().size() > (16 + 130) * each; }, 10000));
  auto* note = frame().findChild<QProgressDialog*>();
  ASSERT_NE(note, nullptr);
  ClickMouse(note->findChild<QPushButton*>());
  EXPECT_FALSE(parts().midi.panic().Running());
  const auto sent = Sent();
  const auto expect = [&](std::size_t step, const char* message) {
    for (std::size_t port = 0; port < each; ++port)
      EXPECT_EQ(sent[step * each + port], std::to_string(port) + ":" + message) << step;
  };
  expect(0, "B07B00");
  expect(15, "BF7B00");
  expect(16, "900000");
  expect(16 + 128, "910000");
}

// ---- desktops -------------------------------------------------------------------------------------------------------

TEST_F(MainFrameTest, ADesktopBringsItsWindowsBack) {
  Start({"file " + Path("mine.PVW"), "file " + Path("mine.PVW")});
  TZKBank* bank = Open("k4", "Single", true);
  ASSERT_TRUE(bank->document().Save(Path("one.dat")).ok());
  frame().ActionOf(CommandId::UtilitiesMidiMonitor)->trigger();
  Open("k4", "Single", false);  // without a file
  ASSERT_EQ(frame().Children().size(), 4U);
  frame().ActionOf(CommandId::FileSaveDesktop)->trigger();
  EXPECT_TRUE(Logged("Save Desktop As ?"));
  std::vector<DesktopWindow> windows;
  ASSERT_TRUE(ReadDesktopFile(Path("mine.PVW"), &windows).ok());
  ASSERT_EQ(windows.size(), 4U);
  EXPECT_EQ(windows[0].type, 17008);
  EXPECT_EQ(windows[1].FilePath(), Path("one.dat"));
  EXPECT_EQ(windows[2].type, 17006);
  EXPECT_GT(windows[2].width, 0);
  frame().ActionOf(CommandId::WindowCloseAll)->trigger();
  ASSERT_TRUE(WaitFor([this] { return frame().Children().size() == 1; })) << "the studio stays in its dock";
  frame().ActionOf(CommandId::FileLoadDesktop)->trigger();
  const auto children = frame().Children();
  ASSERT_EQ(children.size(), 3U) << LogText();
  EXPECT_EQ(children[0]->TypeCode(), WindowType::Studio);
  EXPECT_EQ(children[1]->FilePath(), Path("one.dat"));
  EXPECT_EQ(children[2]->TypeCode(), WindowType::Monitor);
}

TEST_F(MainFrameTest, ADesktopNeverClosesUnsavedWorkUnasked) {
  Start({"ok", "cancel", "no"});
  TZKBank* bank = Open("k4", "Single", true);
  ASSERT_TRUE(bank->document().IsModified());
  Write("damaged.PVW", {'P', 'V', 'D', 'T', 0, 0, 0, 1, 0, 0, 2, 12, 1, 2, 3});
  EXPECT_FALSE(parts().files.OpenFile(Path("damaged.PVW"), 0));
  EXPECT_EQ(frame().Children().size(), 2U);
  Write("empty.PVW", WriteDesktop({}));
  EXPECT_FALSE(parts().files.OpenFile(Path("empty.PVW"), 0)) << "the question was cancelled";
  EXPECT_EQ(frame().Children().size(), 2U);
  EXPECT_TRUE(parts().files.OpenFile(Path("empty.PVW"), 0));
  EXPECT_TRUE(WaitFor([this] { return frame().Children().empty(); }));
  const auto log = program_->PromptLog();
  EXPECT_EQ(std::count_if(log.begin(), log.end(),
                          [](const auto& line) { return line.find("Save the changes") != std::string::npos; }),
            2);
}

TEST_F(MainFrameTest, CloseAllClosesAllOrNothing) {
  Start({"no", "cancel", "no", "yes", "file " + Path("kept.dat")});
  TZKBank* first = Open("k4", "Single", true);
  TZKBank* second = Open("Yamaha DX7", "Voice", true);
  frame().RunCommand(CommandId::WindowCloseAll);
  Settle();
  EXPECT_EQ(frame().Children().size(), 3U) << "Cancel for the second keeps the first too";
  EXPECT_TRUE(first->document().IsModified());
  EXPECT_TRUE(second->document().CanUndo());
  frame().RunCommand(CommandId::WindowCloseAll);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 1; }));
  EXPECT_TRUE(FileExists(Path("kept.dat")));
  EXPECT_EQ(program_->PromptLog().size(), 5U) << LogText();
}

// Yes to the end of a transfer is no word about the other windows.
TEST_F(MainFrameTest, CloseAllGivesATransferUpOnlyWhenEverythingCloses) {
  Start({"yes", "cancel", "yes", "no"}, {});
  TZKBank* busy = Open("Yamaha DX7", "Voice Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(busy->document().IsBusy());
  parts().transfers.desk().SetOptions({});
  TZKBank* changed = Open("k4", "Single", true);
  ASSERT_TRUE(Idle(changed, 10000));
  frame().RunCommand(CommandId::WindowCloseAll);
  EXPECT_TRUE(busy->document().IsBusy());
  frame().RunCommand(CommandId::WindowCloseAll);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 1; }));
  EXPECT_TRUE(WaitFor([this] { return !basics().transfers().ReceiveRunning(); }));
}

TEST_F(MainFrameTest, ADesktopOpensDataAndNothingElse) {
  Start();
  Listen();
  const std::string modules = TONALITH_BINARY_DIR "/share/tonalith/modules";
  std::vector<DesktopWindow> windows = {{0, 0, 10, 10, modules, "kawai-k4.pvz", 17000},
                                        {0, 0, 10, 10, root_, "evil.PVW", 17001},
                                        {0, 0, 10, 10, root_, "raw.syx", 17000},
                                        {0, 0, 10, 10, root_, "missing.dat", 17000},
                                        {0, 0, 10, 10, root_, "raw.syx", 17008},
                                        {0, 0, 10, 10, "", "", 17014},
                                        {0, 0, 10, 10, "", "", 17015},
                                        {0, 0, 10, 10, "", "", 4711}};
  Write("raw.syx", kMessage);
  Write("evil.PVW", WriteDesktop(windows));
  EXPECT_TRUE(parts().files.OpenFile(Path("evil.PVW"), 0));
  EXPECT_TRUE(Sent().empty());
  std::string kinds;
  for (ZKWindow* child : frame().Children()) kinds += std::to_string(static_cast<int>(child->TypeCode())) + " ";
  EXPECT_EQ(kinds, "17008 17000 ");
  EXPECT_EQ(LogText(), "");
}

// A desktop from somewhere else brings its own studio; the user's stays unless the user says otherwise.
TEST_F(MainFrameTest, ADesktopAsksBeforeItChangesTheStudio) {
  Start({"cancel", "no", "yes"});
  std::vector<std::uint8_t> own;
  ASSERT_EQ(program_->studio()->DrvSaveSetup(0), 0);
  ASSERT_TRUE(ReadWholeFile(basics().paths().MainGetDataPath() + "/Default.PV9", own).ok());
  Write("other.PV9", {'9', 'V', 'R', 'D', 0, 0});
  Write("evil.PVW", WriteDesktop(std::vector<DesktopWindow>{{0, 0, 10, 10, root_, "other.PV9", 17008}}));
  const std::size_t count = program_->studio()->instruments().size();
  ASSERT_GT(count, 0U);
  EXPECT_FALSE(parts().files.OpenFile(Path("evil.PVW"), 0));
  EXPECT_TRUE(Logged("brings another studio:\\n" + Path("other.PV9"))) << LogText();
  EXPECT_EQ(program_->studio()->instruments().size(), count);
  EXPECT_TRUE(parts().files.OpenFile(Path("evil.PVW"), 0));
  EXPECT_EQ(program_->studio()->instruments().size(), count) << "mine was kept";
  EXPECT_EQ(frame().Children().size(), 1U) << "and is shown";
  std::vector<std::uint8_t> after;
  ASSERT_TRUE(ReadWholeFile(basics().paths().MainGetDataPath() + "/Default.PV9", after).ok());
  EXPECT_EQ(after, own);
  EXPECT_TRUE(parts().files.OpenFile(Path("evil.PVW"), 0));
  EXPECT_EQ(program_->studio()->instruments().size(), 0U) << "as it was asked for";
}

TEST_F(MainFrameTest, ADesktopOpensAHundredWindowsAndSaysHowManyAreLeftOut) {
  Start();
  Write("many.PVW", WriteDesktop(std::vector<DesktopWindow>(230, {0, 0, 10, 10, "", "", 17006})));
  EXPECT_TRUE(parts().files.OpenFile(Path("many.PVW"), 0));
  EXPECT_LE(frame().Children().size(), kMaxDesktopWindows);
  EXPECT_NE(frame().statusBar()->currentMessage().indexOf("130 are left out"), -1)
      << frame().statusBar()->currentMessage().toStdString();
}

TEST_F(MainFrameTest, WhatADesktopOpensIsWhatHasAWindow) {
  Start();
  for (const FileKindRow& row : FileKinds()) {
    const std::string name = "/x" + std::string(row.extensions.empty() ? ".dat" : row.extensions.front().text);
    EXPECT_EQ(DesktopOpens(row.kind), parts().files.IsDocument(name)) << name;
  }
}

TEST(DesktopMenu, HoldsDesktopFilesByNumber) {
  const TestFolder own;
  const fs::path root = own.path();
  fs::create_directories(root / "sub.pvw");
  for (const char* file : {"b.PVW", "a.pvw", "c.txt", "locked.pvw", "sub.pvw/inner.pvw"})
    std::ofstream(root / file) << "x";
  fs::permissions(root / "locked.pvw", fs::perms::owner_read);
  DiskStructure tree(root.string() + "\\", kFirstDesktopCommand);
  ASSERT_EQ(tree.root().children.size(), 3U);
  EXPECT_EQ(tree.FindId(15001)->name, "a.pvw");
  EXPECT_EQ(tree.FindId(15002)->name, "b.PVW");
  EXPECT_TRUE(tree.FindId(15003)->isFolder);
  EXPECT_EQ(tree.FindId(15004)->name, "inner.pvw");
  EXPECT_EQ(tree.FindId(15005), nullptr);
  EXPECT_EQ(tree.FindFile("INNER.pvw")->number, 15004);
  EXPECT_EQ(tree.FindFile("sub.pvw"), nullptr) << "a folder is no file";
  fs::remove_all(root);
  tree.Build();
  EXPECT_TRUE(tree.root().children.empty());
}

// ---- control bar ----------------------------------------------------------------------------------------------------

TEST_F(MainFrameTest, TheControlBarLaysOutShowsAndSendsItsCommands) {
  Start();
  frame().RunCommand(CommandId::ViewControlBar);
  Settle();
  TZKIconBar2* icons = frame().controlBar()->icons();
  ASSERT_EQ(icons->Slots(), 24);
  int x = 1;
  for (int slot = 0; slot < 24; ++slot) {
    if (icons->CommandAt(slot) == kSeparatorCommand) {
      x += 8;
      continue;
    }
    EXPECT_TRUE(icons->HasPicture(slot)) << slot;
    EXPECT_EQ(icons->RectOf(slot).x(), x) << slot;
    EXPECT_LE(std::abs(icons->RectOf(slot).center().y() - icons->rect().center().y()), 1) << slot;
    EXPECT_NE(frame().ActionOf(static_cast<CommandId>(icons->CommandAt(slot))), nullptr) << slot;
    x += icons->RectOf(slot).width() + 1;
  }
  EXPECT_EQ(icons->CommandAt(1), 57603);
  EXPECT_FALSE(icons->IsEnabled(57635)) << "the studio has nothing to cut";
  const auto press = [&](int slot, const QPoint& release) {
    QTest::mousePress(icons, Qt::LeftButton, {}, icons->RectOf(slot).center());
    EXPECT_TRUE(icons->IsPressed(slot) || !icons->IsEnabled(icons->CommandAt(slot)));
    QTest::mouseRelease(icons, Qt::LeftButton, {}, release);
  };
  const std::size_t before = frame().Children().size();
  EXPECT_FALSE(icons->IsEnabled(514)) << "nobody carries this command out";
  press(7, icons->RectOf(7).center());
  press(9, icons->RectOf(8).center());
  EXPECT_EQ(frame().Children().size(), before) << "released over another button";
  press(3, icons->RectOf(3).center());
  EXPECT_EQ(frame().Children().size(), before) << "disabled";
  press(9, icons->RectOf(9).center());
  EXPECT_EQ(frame().Children().size(), before + 1) << "the graphic monitor";
  icons->SetFixedButtonSize(40, 20);
  EXPECT_EQ(icons->RectOf(1), QRect(42, icons->RectOf(0).y(), 40, 20));
  icons->ShowButton(57601, false);
  EXPECT_EQ(icons->RectOf(1).x(), 1);
  icons->ShowButton(57601, true);
  icons->SetFixedButtonSize(0, 0);
  EXPECT_EQ(TooltipOf(QStringLiteral("long\nshort")), QStringLiteral("short"));
  EXPECT_EQ(TooltipOf(QStringLiteral("all")), QStringLiteral("all"));
  KeepScreenshot(frame().controlBar(), QStringLiteral("control_bar"));
}

}  // namespace
}  // namespace tonalith
