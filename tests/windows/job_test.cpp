#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QStatusBar>

#include "app/transfer_strip.h"
#include "app/workspace.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "platform/atomic_file.h"
#include "ui/style/strip_row.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class JobTest : public ProgramFixture {
 protected:
  // The row of a window's transfer in the strip.
  StripRow* RowOf(TZKBank* window) { return frame().workspace().strip().RowOf(window->dataFile()); }
};

QPushButton* ButtonOf(QWidget* window, const QString& text) {
  for (auto* button : window->findChildren<QPushButton*>()) {
    if (button->text() == text) return button;
  }
  return nullptr;
}

// The frame's status line.
bool SaysIn(const TZKBank* window, const QString& part) {
  const auto* frame = qobject_cast<QMainWindow*>(window->window());
  return frame && frame->findChild<QStatusBar*>()->currentMessage().contains(part);
}

TEST_F(JobTest, GetRenameSendSaveOpenAndGetAgain) {
  Start({"file " + Path("mine.dat")});
  TZKDrvLst* studio = parts().studio.Show();
  studio->tree()->SetCurrentNode(program_->studio()->FindDriver("Yamaha DX7", "Voice Bank"));
  PressKey(studio->tree(), Qt::Key_Return);
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  ASSERT_TRUE(Idle(bank));
  ASSERT_EQ(bank->document().PatchCount(), 32);
  EXPECT_FALSE(bank->document().GetPatchName(31).empty());
  EXPECT_EQ(bank->list()->bankModel()->index(31, 0).data().toString(), "32");

  EXPECT_FALSE(parts().transfers.receiveWindow()->isVisible()) << "nothing covers what is filled";
  bank->list()->setFocus();
  PressKey(bank->list(), Qt::Key_Down);
  PressShortcut(&frame(), Qt::Key_F2, Qt::NoModifier);
  auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
  ASSERT_NE(editor, nullptr) << "F2 edits in place; the focus is on "
                             << (QApplication::focusWidget() ? QApplication::focusWidget()->metaObject()->className()
                                                             : "nothing")
                             << ", current patch " << bank->list()->CurrentPatch() << ", active "
                             << (QApplication::activeWindow() ? QApplication::activeWindow()->metaObject()->className()
                                                              : "nothing");
  editor->selectAll();
  TypeText(editor, "LONGER THAN TEN");
  PressKey(editor, Qt::Key_Return);
  Settle();
  EXPECT_EQ(bank->document().GetPatchName(1), "LONGER THA");
  EXPECT_TRUE(bank->isWindowModified());

  PressShortcut(&frame(), Qt::Key_T, Qt::ControlModifier);
  ASSERT_TRUE(bank->document().IsBusy());
  ASSERT_TRUE(Idle(bank));
  EXPECT_TRUE(SaysIn(bank, "was sent"));
  bank->list()->setFocus();
  PressShortcut(&frame(), Qt::Key_S, Qt::ControlModifier);
  EXPECT_FALSE(bank->document().IsModified());
  EXPECT_TRUE(FileExists(Path("mine.dat"))) << LogText();
  Stop();

  Start({}, {"--fast-cables", Path("mine.dat")});
  bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  EXPECT_EQ(bank->document().path(), Path("mine.dat"));
  EXPECT_EQ(frame().Children().size(), 2U) << "the desktop and the command line open it once";
  EXPECT_EQ(bank->document().GetPatchName(1), "LONGER THA");
  TZKBank* again = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_NE(again, bank);
  EXPECT_EQ(again->document().GetPatchName(1), "LONGER THA") << "the instrument took it";
}

TEST_F(JobTest, CancelLeavesTheFormerDataAndThePulledCableASentence) {
  Start({}, {});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ZKMidiInStatus* window = parts().transfers.receiveWindow();
  const auto receiving = [&] {
    const auto transfer = program_->basics()->transfers().TransferOf(bank->document().dataFile());
    return transfer && transfer->WindowState().received > 200;
  };
  ASSERT_TRUE(WaitFor(receiving));
  EXPECT_FALSE(window->isVisible());
  ASSERT_TRUE(WaitFor([&] { return RowOf(bank) && RowOf(bank)->isVisible(); }));
  EXPECT_TRUE(RowOf(bank)->state().progress.endsWith("of 4104 bytes")) << RowOf(bank)->state().progress.toStdString();
  ClickMouse(RowOf(bank));
  ASSERT_TRUE(MakeActive(window)) << "a click on the row opens its messages";
  PressKey(window, Qt::Key_Escape);
  EXPECT_TRUE(bank->document().IsBusy()) << "putting them away ends nothing";
  ClickMouse(RowOf(bank));
  ClickMouse(ButtonOf(window, kCancelButton));
  ASSERT_TRUE(Idle(bank, 1000));
  EXPECT_TRUE(bank->document().IsEmpty());
  EXPECT_FALSE(bank->document().CanUndo());
  EXPECT_TRUE(SaysIn(bank, "cancelled"));
  EXPECT_TRUE(WaitFor([&] { return !window->isVisible(); }, 1000));

  const int ports = program_->basics()->midi().in().InPorts();
  const std::size_t cable = program_->simulation()->studio().Find("Simulated Yamaha DX7");
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(WaitFor(receiving));
  // The line says at once what else happens to the ports.
  QStringList said;
  QObject ears;
  QObject::connect(frame().statusBar(), &QStatusBar::messageChanged, &ears, [&](const QString& text) { said << text; });
  program_->simulation()->SetPlugged(cable, false);
  ASSERT_TRUE(Idle(bank, 2500)) << "a lost cable ends the receive";
  EXPECT_TRUE(WaitFor([&] { return said.join('|').contains("no longer available"); })) << said.join('|').toStdString();
  EXPECT_TRUE(bank->document().IsEmpty());
  EXPECT_TRUE(WaitFor([&] { return program_->basics()->midi().in().InPorts() == ports - 1; }));
  frame().RunCommand(CommandId::MidiGet);
  EXPECT_FALSE(bank->document().IsBusy());
  EXPECT_NE(LogText().find("is not connected"), std::string::npos) << LogText();
  program_->simulation()->SetPlugged(cable, true);
  EXPECT_TRUE(WaitFor([&] { return program_->basics()->midi().in().InPorts() == ports; }));
  Settle();
  frame().RunCommand(CommandId::MidiGet);
  EXPECT_TRUE(bank->document().IsBusy()) << "plugged in, it is there again";
  bank->CancelTransfer();
}

TEST_F(JobTest, DamagedDataIsSaidToBeDamaged) {
  Start({"ok"});
  VirtualStudio& cables = program_->simulation()->studio();
  cables.With(cables.Find("yamaha-dx7"), [](SimulatedInstrument& one) {
    one.SetFaults(FaultPlan::Parse("corrupt-byte:reply=1,at=500,times=3", nullptr).value());
  });
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 6000));
  ASSERT_TRUE(WaitFor([&] { return !program_->PromptLog().empty(); }));
  EXPECT_NE(program_->PromptLog().back().find("damaged on the way"), std::string::npos);
  EXPECT_TRUE(bank->document().IsEmpty()) << "nothing of it was kept";
}

TEST_F(JobTest, BusyDataIsNeitherEditedNorSavedNorClosedWithoutAQuestion) {
  Start({"no", "yes"}, {});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(bank->document().IsBusy());
  EXPECT_FALSE(bank->document().Rename(0, "X").ok());
  EXPECT_FALSE(bank->document().Save(Path("x.dat")).ok());
  EXPECT_FALSE(bank->list()->bankModel()->flags(bank->list()->bankModel()->index(0, 1)) & Qt::ItemIsEditable);
  frame().RunCommand(CommandId::FileClose);
  EXPECT_EQ(frame().Children().size(), 2U) << "No keeps the window";
  EXPECT_TRUE(bank->document().IsBusy());
  frame().RunCommand(CommandId::FileClose);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 1; }, 1000));
  EXPECT_EQ(frame().workspace().strip().Rows(), 0);
  EXPECT_TRUE(WaitFor([this] { return !program_->basics()->transfers().ReceiveRunning(); }, 1000));
}

TEST_F(JobTest, SendingEndsWhenThePortHasSentAndCanBeStopped) {
  Start({}, {});
  MidiOut& out = program_->basics()->midi().out();
  TZKBank* bank = Open("Yamaha DX7", "Voice", true);
  out.GetMidiOutPort(bank->document().synth().midiOutPort)->SetSpeed(200);  // slow enough to be seen at work
  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(WaitFor([&] { return out.GetMidiOutPort(bank->document().synth().midiOutPort)->isBusy(); }));
  ASSERT_TRUE(Idle(bank));
  EXPECT_FALSE(out.GetMidiOutPort(bank->document().synth().midiOutPort)->isBusy());
  EXPECT_TRUE(SaysIn(bank, "was sent"));
  bank->Save(false);
  out.GetMidiOutPort(bank->document().synth().midiOutPort)->SetSpeed(60);
  ASSERT_TRUE(WaitFor([this] { return !parts().transfers.TransmitWindowOpen(); }));
  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(WaitFor([this] { return parts().transfers.TransmitWindowOpen(); }));
  auto* window = frame().findChild<ZKMidiOutStatus*>();
  ASSERT_NE(window, nullptr);
  EXPECT_FALSE(window->isVisible());
  ASSERT_TRUE(WaitFor([&] { return RowOf(bank) && RowOf(bank)->isVisible(); }));
  ClickMouse(RowOf(bank));
  EXPECT_TRUE(window->isVisible());
  ClickMouse(ButtonOf(window, kCancelButton));
  ASSERT_TRUE(Idle(bank, 2000));
  EXPECT_TRUE(SaysIn(bank, "cancelled"));
}

TEST_F(JobTest, TwoReceivesHaveAPageEach) {
  Start({}, {});
  parts().studio.OpenDriver(program_->studio()->FindDriver("Yamaha DX7", "Voice Bank"), true);
  auto* first = qobject_cast<TZKBank*>(frame().ActiveChild());
  parts().studio.OpenDriver(program_->studio()->FindDriver("k4", "Single Bank"), true);
  auto* second = qobject_cast<TZKBank*>(frame().ActiveChild());
  ZKMidiInStatus* window = parts().transfers.receiveWindow();
  EXPECT_TRUE(WaitFor([&] { return window->Pages() == 2; }));
  EXPECT_FALSE(ButtonOf(window, kCancelAllButton)->isHidden());
  // A port serves one transfer at a time: the next one waits.
  parts().studio.OpenDriver(program_->studio()->FindDriver("Yamaha DX7", "Voice"), true);
  auto* third = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(third->document().IsBusy());
  const auto job = parts().transfers.desk().JobOf(third->dataFile());
  ASSERT_NE(job, nullptr);
  EXPECT_EQ(job->state(), DeskState::kQueued);
  EXPECT_EQ(window->Pages(), 2);
  ASSERT_TRUE(WaitFor([&] { return RowOf(third) != nullptr; }));
  EXPECT_EQ(frame().workspace().strip().Rows(), 3);
  EXPECT_EQ(RowOf(third)->state().phase, StripState::Phase::Waiting);
  emit RowOf(first)->DetailsPressed();
  third->CancelTransfer();
  EXPECT_FALSE(third->document().IsBusy());
  ClickMouse(ButtonOf(window, kCancelAllButton));
  EXPECT_TRUE(Idle(first, 1500));
  EXPECT_TRUE(Idle(second, 1500));
  EXPECT_TRUE(WaitFor([&] { return window->Pages() == 0 && !window->isVisible(); }, 1000));
}

}  // namespace
}  // namespace tonalith
