// Parts of a bank to its instrument and from it, what goes with a send, the history of instruments, and auditions.

#include <QListWidget>
#include <QStatusBar>
#include <QTableView>
#include <QToolButton>
#include <algorithm>
#include <mutex>

#include "bank/bank_audition.h"
#include "bank/transmit_marks.h"
#include "bank/ui/bank_history.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "data/packed_bytes.h"
#include "midi/midi_output.h"
#include "script/compiler.h"
#include "services/audition.h"
#include "services/program_midi.h"
#include "services/send_care.h"
#include "simulator/fault_plan.h"
#include "tests/windows/window_test_tools.h"
#include "ui/instrument_history_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/list_delegate.h"
#include "ui/style/search_field.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

class BankTransmitting : public ProgramFixture {
 protected:
  void TearDown() override {
    if (program_ && monitor_) program_->program()->out().RemoveMonitor(monitor_);
    ProgramFixture::TearDown();
  }
  TZKBank* OpenBank() {
    TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
    frame().RunCommand(CommandId::MidiGet);
    EXPECT_TRUE(Idle(bank, 60000));
    EXPECT_TRUE(MakeActive(&frame()));
    return bank;
  }
  Bytes Memory() {
    Bytes memory;
    auto& studio = program_->simulation()->studio();
    studio.With(studio.Find("korg-dw8000"), [&](SimulatedInstrument& one) { memory = one.Memory(); });
    return memory;
  }
  static void Change(TZKBank* bank, const std::vector<int>& patches) {
    ZKBankDoc& document = bank->document();
    document.CreateBackup("Edit");
    for (const int patch : patches) {
      const RawRange place = VoiceRange(*document.dataFile(), static_cast<std::uint32_t>(patch));
      document.dataFile()->body[place.first + place.size - 1] ^= 1;
    }
    ASSERT_TRUE(document.EndBackup());
    document.PatchesArrived();
  }
  std::vector<int> Unsent(TZKBank* bank) {
    std::vector<int> patches;
    for (int patch = 0; patch < bank->document().PatchCount(); ++patch)
      if (bank->document().DiffersFromInstrument(patch)) patches.push_back(patch);
    return patches;
  }
  void Run(TZKBank* bank, CommandId command, const std::vector<int>& selected) {
    frame().windows().Activate(bank);
    bank->Select(selected);
    EXPECT_EQ(bank->RefusalOf(command), QString());
    frame().RunCommand(command);
    EXPECT_TRUE(Idle(bank, 20000));
  }
  void Listen() {
    monitor_ = program_->program()->out().AddMonitor([this](int, std::span<const std::uint8_t> bytes) {
      const std::lock_guard lock(mutex_);
      heard_.emplace_back(bytes.begin(), bytes.end());
    });
  }
  // How many messages of this status went out.
  int Heard(std::uint8_t status) {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(std::count_if(heard_.begin(), heard_.end(), [status](const Bytes& message) {
      return !message.empty() && (message[0] == status || (status < 0xF0 && (message[0] & 0xF0) == status));
    }));
  }
  std::mutex mutex_;
  std::vector<Bytes> heard_;
  int monitor_ = 0;
};

TEST_F(BankTransmitting, PatchesGoAndComeAlone) {
  Start({"no", "yes"});
  TZKBank* bank = OpenBank();
  const Bytes before = Memory();
  Change(bank, {3, 5, 9});
  Run(bank, CommandId::BankSendSelected, {3, 4});
  EXPECT_EQ(Unsent(bank), (std::vector<int>{5, 9})) << LogText();
  const Bytes after = Memory();
  EXPECT_NE(after, before);
  Run(bank, CommandId::BankSendUnselected, {9});
  EXPECT_EQ(Unsent(bank), std::vector<int>{9});

  // What was not sent is asked about before it is replaced; undo brings it back.
  const std::uint64_t entries = bank->document().history().Count();
  Run(bank, CommandId::BankGetSelected, {9});
  EXPECT_EQ(Unsent(bank), std::vector<int>{9}) << "No leaves it";
  Run(bank, CommandId::BankGetSelected, {9});
  EXPECT_TRUE(Unsent(bank).empty()) << LogText();
  EXPECT_EQ(bank->document().history().Count(), entries + 1);
  EXPECT_EQ(bank->document().UndoText(), "Get from Instrument");
  ASSERT_TRUE(bank->document().Undo().ok());
  EXPECT_EQ(Unsent(bank), std::vector<int>{9});
  Run(bank, CommandId::BankGetSelected, {1});
  EXPECT_EQ(Unsent(bank), std::vector<int>{9}) << "the others are as they were, and nobody was asked";
  EXPECT_EQ(program_->PromptLog().size(), 2U);
}

TEST_F(BankTransmitting, MarksSayWhatGoes) {
  Start();
  TZKBank* bank = OpenBank();
  const Bytes before = Memory();
  EXPECT_EQ(MarkedPatches(bank->document()).size(), 64U);
  Run(bank, CommandId::BankMarkSelected, {1, 2});
  EXPECT_EQ(MarkedPatches(bank->document()), (std::vector<int>{1, 2}));
  Run(bank, CommandId::BankMarkUnselected, {1, 2});
  EXPECT_EQ(MarkedPatches(bank->document()).size(), 62U);
  ASSERT_TRUE(bank->document().Undo().ok());
  Change(bank, {2, 7});
  Run(bank, CommandId::BankSelectMarked, {50});
  EXPECT_EQ(bank->SelectedPatches(), (std::vector<int>{1, 2}));
  Run(bank, CommandId::BankSendMarked, {50});
  EXPECT_EQ(Unsent(bank), std::vector<int>{7});
  EXPECT_NE(Memory(), before);
  // A bank that goes as a whole has none of it, and says so.
  TZKBank* whole = Open("Yamaha DX7", "Voice Bank", true);
  whole->Select({1});
  for (const CommandId command : {CommandId::BankGetSelected, CommandId::BankSendSelected, CommandId::BankSendMarked,
                                  CommandId::BankMarkSelected, CommandId::BankSelectMarked})
    EXPECT_TRUE(whole->RefusalOf(command).contains(QStringLiteral("as a whole"))) << static_cast<int>(command);
}

TEST_F(BankTransmitting, WhatWasThereIsKeptAndComesBack) {
  Start({"cancel", "yes", "yes", "no", "yes", "yes", "yes", "yes", "yes"});
  TZKBank* bank = OpenBank();
  Run(bank, CommandId::BankGetSelected, {8});  // what is got is in the edit buffer
  const Bytes before = Memory();
  SendCare& care = parts().windowContext.sendCare();
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankUndoSend));
  EXPECT_TRUE(bank->CommandChecked(CommandId::BankKeepNever));
  Change(bank, {7, 8});
  Run(bank, CommandId::BankKeepAsk, {7});
  Run(bank, CommandId::BankSendSelected, {7});  // cancel
  EXPECT_EQ(Memory(), before);
  Run(bank, CommandId::BankSendSelected, {7});  // yes
  EXPECT_EQ(care.history().List().size(), 1U) << LogText();
  Run(bank, CommandId::BankKeepAlways, {8});
  EXPECT_TRUE(bank->CommandChecked(CommandId::BankKeepAlways) && !bank->CommandChecked(CommandId::BankKeepAsk));
  Run(bank, CommandId::BankSendSelected, {8});
  ASSERT_EQ(care.history().List().size(), 2U);
  EXPECT_EQ(care.history().List().front().What(), "Program Bank, 1 patch");
  EXPECT_TRUE(Unsent(bank).empty());

  // One send after the other is undone, and the window knows that the instrument holds something else.
  const auto undo = [&] {
    bank->Select({0});
    frame().RunCommand(CommandId::BankUndoSend);
    EXPECT_TRUE(WaitFor([&] { return program_->program()->desk().Idle(); }, 10000));
    Settle();
  };
  undo();
  EXPECT_EQ(Unsent(bank), std::vector<int>{8}) << LogText();
  undo();  // no
  EXPECT_EQ(Unsent(bank), std::vector<int>{8});
  undo();
  EXPECT_EQ(Unsent(bank), (std::vector<int>{7, 8}));
  Run(bank, CommandId::BankGetSelected, {8});
  EXPECT_EQ(Memory(), before);
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankUndoSend));

  frame().RunCommand(CommandId::MidiHistory);
  auto* window = frame().findChild<InstrumentHistoryWindow*>();
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window->table()->model()->rowCount(), 2);
  window->search()->setText(QStringLiteral("korg nothing"));
  EXPECT_EQ(window->table()->model()->rowCount(), 0);
  window->search()->setText(QStringLiteral("bank korg"));
  ASSERT_EQ(window->table()->model()->rowCount(), 2);
  window->table()->selectRow(1);
  KeepScreenshot(window, QStringLiteral("instrument-history"));
  window->RestoreChosen();
  EXPECT_TRUE(WaitFor([&] { return program_->program()->desk().Idle(); }, 10000));
  Settle();
  EXPECT_EQ(care.history().List().size(), 3U) << "what was there was kept again";
  EXPECT_EQ(window->table()->model()->rowCount(), 3);
  window->table()->selectRow(0);
  window->ForgetChosen();
  EXPECT_EQ(care.history().List().size(), 2U);
  window->table()->selectRow(0);
  window->ShowChosen();
  auto* shown = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(shown && shown != bank);
  EXPECT_EQ(shown->document().DefinedPatches(), 1);

  // What goes back is known to every bank that is open.
  Run(bank, CommandId::BankSendSelected, {7});
  EXPECT_TRUE(Unsent(bank).empty());
  window->table()->selectRow(0);
  window->RestoreChosen();
  EXPECT_TRUE(WaitFor([&] { return program_->program()->desk().Idle(); }, 10000));
  Settle();
  EXPECT_EQ(Unsent(bank), std::vector<int>{7}) << LogText();
}

TEST_F(BankTransmitting, WhatDiffersAfterASendIsNamedOnce) {
  Start({"ok"});
  TZKBank* bank = OpenBank();
  Run(bank, CommandId::BankVerifySend, {0});
  EXPECT_TRUE(bank->CommandChecked(CommandId::BankVerifySend));
  Change(bank, {2, 6});
  Run(bank, CommandId::BankSendSelected, {2});
  EXPECT_TRUE(frame().statusBar()->currentMessage().contains(QStringLiteral("read back and found the same")));
  auto& studio = program_->simulation()->studio();
  Change(bank, {2});
  studio.With(studio.Find("korg-dw8000"), [](SimulatedInstrument& one) {
    one.SetFaults(FaultPlan::Parse("corrupt-byte:at=20,times=99", nullptr).value_or(FaultPlan()));
  });
  Run(bank, CommandId::BankSendSelected, {2, 6});
  ASSERT_TRUE(WaitFor([&] { return !program_->PromptLog().empty(); }));
  EXPECT_EQ(program_->PromptLog().size(), 1U);
  EXPECT_NE(program_->PromptLog().back().find("the instrument holds something else in"), std::string::npos)
      << program_->PromptLog().back();
  EXPECT_EQ(Unsent(bank), (std::vector<int>{2, 6}));
}

TEST_F(BankTransmitting, ChangesGoAtOnceWhenWanted) {
  Start();
  TZKBank* bank = OpenBank();
  auto& studio = program_->simulation()->studio();
  const auto state = [&] {
    QString all;
    for (const PlainLabel* label : bank->header()->findChildren<PlainLabel*>()) all += label->text() + QLatin1Char(' ');
    return all;
  };
  const auto told = [&] { return frame().statusBar()->currentMessage(); };
  Change(bank, {1});
  const Bytes before = Memory();
  Run(bank, CommandId::BankSendAtOnce, {1});
  EXPECT_TRUE(bank->CommandChecked(CommandId::BankSendAtOnce));
  EXPECT_TRUE(told().contains(QStringLiteral("(1)"))) << ToUtf8(told());
  EXPECT_TRUE(state().contains(QStringLiteral("sent at once")));
  // A run of changes is one transfer, and the bank is not locked meanwhile.
  const int jobs = program_->program()->desk().totals().jobs;
  Change(bank, {3});
  Change(bank, {5, 3});
  Change(bank, {3});
  ASSERT_TRUE(WaitFor([&] { return Unsent(bank) == std::vector<int>{1}; }, 10000)) << LogText();
  EXPECT_FALSE(bank->document().IsBusy());
  EXPECT_NE(Memory(), before);
  EXPECT_EQ(program_->program()->desk().totals().jobs, jobs + 1);
  ASSERT_TRUE(bank->document().Undo().ok());
  EXPECT_TRUE(WaitFor([&] { return Unsent(bank) == std::vector<int>{1}; }, 10000));

  // What cannot be sent stays, is told without a question, and goes with the next change.
  const std::size_t place = studio.Find("korg-dw8000");
  studio.Unplug(place);
  program_->program()->midiSide().UpdateMidiPorts();
  Change(bank, {9});
  ASSERT_TRUE(WaitFor([&] { return told().contains(QStringLiteral("Not sent")); }, 10000)) << ToUtf8(told());
  EXPECT_TRUE(state().contains(QStringLiteral("2 not sent"))) << ToUtf8(state());
  KeepScreenshot(bank, QStringLiteral("bank-changes-at-once"));
  studio.PlugIn(place);
  program_->program()->midiSide().UpdateMidiPorts();
  Change(bank, {10});
  EXPECT_TRUE(WaitFor([&] { return Unsent(bank) == std::vector<int>{1}; }, 10000)) << ToUtf8(told());
  EXPECT_TRUE(program_->PromptLog().empty());
  Run(bank, CommandId::BankSendAtOnce, {1});
  EXPECT_FALSE(state().contains(QStringLiteral("at once")));
  Change(bank, {11});
  EXPECT_FALSE(WaitFor([&] { return !program_->program()->desk().Idle(); }, 400));
}

TEST_F(BankTransmitting, APatchThatAUserGoesToIsHeard) {
  Start();
  TZKBank* bank = OpenBank();
  Listen();
  bank->view()->setFocus();
  bank->Select({0});
  ASSERT_TRUE(WaitFor([&] { return bank->view()->hasFocus(); }));
  Settle();
  EXPECT_EQ(Heard(0xC0), 0) << "nobody went there";
  PressKey(bank->view(), Qt::Key_Down);
  PressKey(bank->view(), Qt::Key_Down);
  PressKey(bank->view(), Qt::Key_Down);
  ASSERT_TRUE(WaitFor([&] { return Heard(0x90) > 0; })) << LogText();
  EXPECT_EQ(Heard(0xC0), 1) << "where the keys stopped";
  EXPECT_TRUE(WaitFor([&] { return !parts().windowContext.player().IsPlaying(); }));
  EXPECT_EQ(Heard(0x90) % 2, 0) << "every tone was ended";

  // Off by the button: nothing is played, and every place that says so knows.
  QToolButton* button = nullptr;
  for (auto* one : bank->findChildren<QToolButton*>())
    if (one->text() == QStringLiteral("Audition")) button = one;
  ASSERT_NE(button, nullptr);
  EXPECT_TRUE(button->isChecked());
  button->click();
  EXPECT_FALSE(PlaysWhatIsSelected(program_->program()->settings()));
  frame().RunCommand(CommandId::OptionsAudition);
  EXPECT_TRUE(button->isChecked());
  button->click();
  PressKey(bank->view(), Qt::Key_Down);
  bank->Select({2, 5, 6});
  frame().RunCommand(CommandId::BankPlaySweep);
  EXPECT_TRUE(bank->CommandChecked(CommandId::BankPlaySweep));
  ASSERT_TRUE(WaitFor([&] { return Heard(0xC0) == 4; }, 10000)) << Heard(0xC0);
  EXPECT_TRUE(WaitFor([&] { return !bank->CommandChecked(CommandId::BankPlaySweep); }, 5000));
  EXPECT_EQ(bank->SelectedPatches(), (std::vector<int>{2, 5, 6}));
  // A sweep ends with its window, and so does what sounds.
  frame().RunCommand(CommandId::BankPlaySweep);
  ASSERT_TRUE(WaitFor([&] { return Heard(0x90) % 2 == 1; }));
  bank->document().Save(Path("bank.dat"));
  frame().RunCommand(CommandId::FileClose);
  EXPECT_TRUE(WaitFor([&] { return Heard(0x90) % 2 == 0; }));
  EXPECT_FALSE(parts().windowContext.player().IsPlaying());
}

TEST_F(BankTransmitting, ABankWithAScriptSendsWhatIsHeard) {
  Start();
  TZKBank* bank = OpenBank();
  DataFile& data = *bank->dataFile();
  const auto code = CompileScript("C 0\nS 4 { F0 7D 00 F7 }\nF X 2\nT 4\n");
  ASSERT_FALSE(code.code.empty());
  const auto giveScript = [&] {
    return AllocChunk(&data.auditionScript, &data.auditionScriptSize, static_cast<std::uint32_t>(code.code.size()),
                      code.code.data()) != 0;
  };
  ASSERT_TRUE(giveScript());
  EXPECT_EQ(AuditionWayOf(bank->document(), 5, {}), AuditionWay::kChoose);
  EXPECT_EQ(AuditionWayOf(bank->document(), 5, {true, false}), AuditionWay::kSend);
  EXPECT_EQ(AuditionWayOf(bank->document(), 64, {}), AuditionWay::kNone);
  const Bytes before = Memory();
  Change(bank, {5});
  EXPECT_EQ(AuditionWayOf(bank->document(), 5, {}), AuditionWay::kSend) << "the instrument holds another one there";
  Listen();
  Run(bank, CommandId::BankPlayPatch, {5});
  ASSERT_TRUE(WaitFor([&] { return Heard(0x90) > 0; })) << LogText();
  EXPECT_EQ(Heard(0xF0), 1);
  EXPECT_EQ(Heard(0xC0), 0);
  {
    const std::lock_guard lock(mutex_);
    EXPECT_EQ(heard_.front(), (Bytes{0xF0, 0x7D, 5, 0xF7}));
  }
  EXPECT_EQ(Memory(), before) << "hearing a patch writes nothing";
  EXPECT_EQ(Unsent(bank), std::vector<int>{5});
  // As it was before the change: what the bank does not hold any more is sent, and the bank stays.
  frame().RunCommand(CommandId::BankUndoHistory);
  auto* history = bank->findChild<ZKBankUndo*>();
  ASSERT_NE(history, nullptr);
  const std::size_t position = bank->document().history().Position();
  const Bytes image(data.body, data.body + data.bodySize);
  ASSERT_TRUE(giveScript());
  bank->Select({5});
  history->list()->setCurrentRow(1);
  history->OnUndoAudition();
  EXPECT_TRUE(WaitFor([&] { return Heard(0xF0) == 2; })) << LogText();
  EXPECT_EQ(bank->document().history().Position(), position);
  EXPECT_EQ(Bytes(data.body, data.body + data.bodySize), image);
  EXPECT_EQ(Memory(), before);
}

}  // namespace
}  // namespace tonalith
