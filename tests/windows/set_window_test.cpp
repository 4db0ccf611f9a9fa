// The window of a Set: its components got, edited in the pane, saved, linked, and everything taken back.
#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <algorithm>
#include <filesystem>

#include "app/set_commands.h"
#include "app/transfer_strip.h"
#include "app/workspace.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "sets/ui/set_list.h"
#include "sets/ui/set_pane.h"
#include "sets/ui/set_views.h"
#include "sets/ui/set_window.h"
#include "store/bank_slots.h"
#include "store/sets/link_tracker.h"
#include "store/sets/set_document.h"
#include "tests/windows/window_test_tools.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/state_mark.h"
#include "ui/style/strip_row.h"

namespace tonalith {
namespace {

class SetWindow : public ProgramFixture {
 protected:
  TZKGrp* OpenSet(const char* instrument) {
    for (const auto& one : program_->studio()->instruments())
      if (Latin1ToUtf8(one->DisplayKey()).find(instrument) != std::string::npos) return parts().sets.OpenNew(*one);
    ADD_FAILURE() << instrument;
    return nullptr;
  }
  static bool Free(TZKGrp* set, int milliseconds = 30000) {
    return WaitFor([set] { return !set->document().IsBusy(); }, milliseconds);
  }
  static std::string States(const ZKGrpDoc& set) {
    std::string text;
    for (int i = 0; i < set.GetDataFileCount(); ++i) text += EntryStateText(set.StateOf(i)) + " ";
    return text;
  }
  // The first bank of the Set, shown in the pane.
  static TZKBank* ShowBank(TZKGrp* set) {
    for (int i = 0; i < set->document().GetDataFileCount(); ++i) {
      if (!set->document().GetDataFile(i)->synth->isBank) continue;
      set->view().SetCurSel(i);
      if (set->pane()->bank()) return set->pane()->bank();
    }
    return nullptr;
  }
};

TEST_F(SetWindow, IsGotEditedSavedAndOpenedAgain) {
  const std::string path = Path("Stra\u00dfe.pvs");
  Start({"file " + path, "no", "yes"});
  TZKGrp* window = OpenSet("K4");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  ASSERT_GT(set.GetDataFileCount(), 2);
  EXPECT_FALSE(set.IsOneOrMoreDefined());
  EXPECT_FALSE(window->RefusalOf(CommandId::SetSendAll).isEmpty());
  EXPECT_EQ(window->view().widget()->model()->index(0, SetListModel::kState).data().toString(), "Undefined");

  window->RunCommand(CommandId::SetGetAll);
  EXPECT_TRUE(window->transfers().Running());
  EXPECT_FALSE(window->RefusalOf(CommandId::FileSave).isEmpty()) << "while it is filled";
  ASSERT_TRUE(Free(window)) << LogText();
  ASSERT_TRUE(set.IsOneOrMoreDefined()) << States(set) << LogText();
  const std::string got = States(set);

  TZKBank* bank = ShowBank(window);
  ASSERT_TRUE(bank) << got;
  EXPECT_EQ(bank->CountUnsent({}), 0) << "the instrument holds what it gave";
  const int component = window->view().GetCurSel();
  const std::string name = bank->document().GetPatchName(0);
  EXPECT_TRUE(bank->document().Rename(0, "TWO").ok());
  EXPECT_EQ(set.UndoText(), "Rename") << "one entry of the Set's history";
  EXPECT_EQ(window->view().widget()->model()->index(component, 0).data(kMarksRole), MarksOf({Mark::Unsent}))
      << "no file yet to differ from";

  window->RunCommand(CommandId::FileSave);
  ASSERT_TRUE(FileExists(path)) << LogText();
  EXPECT_FALSE(set.IsModified());
  EXPECT_TRUE(window->windowTitle().startsWith(QString::fromUtf8("Stra\u00dfe - ")))
      << window->windowTitle().toStdString();
  bank->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(bank->document().GetPatchName(0), name) << "undo after save, from the editor's own tool";
  EXPECT_TRUE(set.IsModified());
  EXPECT_TRUE(set.IsChanged(component));
  window->RunCommand(CommandId::EditRedo);
  EXPECT_EQ(bank->document().GetPatchName(0), "TWO");
  EXPECT_FALSE(set.IsModified());
  EXPECT_FALSE(set.IsChanged(component));

  // A second Get brings back what the instrument has, when the user wants that.
  window->RunCommand(CommandId::SetGetAll);
  EXPECT_FALSE(set.IsBusy());
  EXPECT_NE(LogText().find("1 patch was changed since it came from the instrument"), std::string::npos) << LogText();
  window->RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Free(window));
  EXPECT_EQ(bank->document().GetPatchName(0), name) << LogText();
  window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(bank->document().GetPatchName(0), "TWO");
  EXPECT_FALSE(set.IsModified());

  // From the file again; opened twice it is the same window.
  window->CloseVerified();
  Settle();
  ASSERT_TRUE(parts().files.OpenFile(path, 0)) << LogText();
  auto* again = qobject_cast<TZKGrp*>(frame().ActiveChild());
  ASSERT_TRUE(again);
  EXPECT_EQ(States(again->document()), got);
  ASSERT_TRUE(ShowBank(again));
  EXPECT_EQ(ShowBank(again)->document().GetPatchName(0), "TWO");
  EXPECT_TRUE(parts().files.OpenFile(path, 0));
  EXPECT_EQ(frame().ActiveChild(), again);
}

// What came stands as it is while the rest still comes; what the instrument does not have holds nothing up.
TEST_F(SetWindow, ComponentsArriveOneByOneAndGoOutAsTextAndPaper) {
  const std::string pdf = Path("\u00dcber.pdf");
  Start({"file " + pdf, "ok"});
  TZKGrp* window = OpenSet("TX81Z");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  window->RunCommand(CommandId::SetGetAll);
  ASSERT_TRUE(WaitFor([&] { return !set.StateOf(0).busy; }, 10000));
  EXPECT_TRUE(set.IsBusy() && set.StateOf(set.GetDataFileCount() - 1).busy);
  ASSERT_TRUE(window->pane()->bank());
  EXPECT_TRUE(SameContent(*window->pane()->bank()->dataFile(), *set.GetDataFile(0)));
  for (int halfSeconds = 0; set.IsBusy() && halfSeconds < 120; ++halfSeconds) {
    int unsent = 0;
    for (int i = 0; i < set.GetDataFileCount(); ++i) unsent += set.unsent().Count(i);
    ASSERT_EQ(unsent, 0) << "what comes is what the instrument has";
    Free(window, 500);
  }
  ASSERT_FALSE(set.IsBusy()) << LogText();
  const auto rows = frame().workspace().strip().findChildren<StripRow*>();
  ASSERT_EQ(rows.size(), 1);
  EXPECT_EQ(rows.front()->state().what, "Yamaha TX81Z Set") << "not the component that came last";
  int defined = 0;
  for (int i = 0; i < set.GetDataFileCount(); ++i) defined += set.StateOf(i).content == EntryContent::kDefined;
  EXPECT_EQ(defined, set.GetDataFileCount() - 3) << States(set);
  EXPECT_EQ(set.StateOf(0).content, EntryContent::kDefined);

  window->view().Select({0, 1, set.GetDataFileCount() - 1}, 0);
  window->view().widget()->setFocus();
  window->RunCommand(CommandId::EditCopyNames);
  const QString text = QApplication::clipboard()->text();
  EXPECT_TRUE(text.contains(FromUtf8(window->pane()->bank()->document().GetPatchName(31)))) << ToUtf8(text);
  window->pane()->setFocus();
  window->pane()->bank()->Select({4, 6});
  window->RunCommand(CommandId::EditCopyNames);
  EXPECT_EQ(QApplication::clipboard()->text().count('\n'), 2) << "of the bank that is worked on";
  window->RunCommand(CommandId::FilePrint);
  EXPECT_TRUE(FileExists(pdf)) << LogText();
  window->view().widget()->setFocus();
  window->view().SetCurSel(set.GetDataFileCount() - 1);
  window->RunCommand(CommandId::EditCopyNames);
  EXPECT_NE(LogText().find("No active data files have been selected. Cancelling."), std::string::npos) << LogText();
}

TEST_F(SetWindow, ComponentsAreInitializedClearedSwitchedOffAndLinked) {
  const std::string link = Path("part.dat"), copy = Path("copy.dat");
  Start({"file " + link, "file " + copy, "file " + copy});
  TZKGrp* window = OpenSet("TX81Z");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  const std::string fresh = States(set);
  window->view().widget()->setFocus();
  PressShortcut(&frame(), Qt::Key_A, Qt::ControlModifier);  // held from here on, as far as the toolkit knows
  window->RunCommand(CommandId::SetInitialize);
  EXPECT_TRUE(set.IsOneOrMoreDefined());
  const std::string initialized = States(set);
  window->RunCommand(CommandId::SetActivate);
  EXPECT_FALSE(window->CommandChecked(CommandId::SetActivate));
  EXPECT_TRUE(set.StateOf(0).inactive && set.StateOf(1).inactive);
  window->RunCommand(CommandId::SetActivate);
  EXPECT_EQ(States(set), initialized);
  window->RunCommand(CommandId::SetClear);
  EXPECT_FALSE(set.IsOneOrMoreDefined());
  for (int i = 0; i < 3; ++i) window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(States(set), initialized) << "each was one entry";

  // A component as a file, as a link to it, and back.
  int defined = 0;
  while (set.StateOf(defined).content != EntryContent::kDefined) ++defined;
  window->view().SetCurSel(defined);
  window->RunCommand(CommandId::SetSaveLink);
  EXPECT_TRUE(FileExists(link)) << LogText();
  EXPECT_TRUE(set.StateOf(defined).linked);
  EXPECT_FALSE(window->pane()->bank()) << "a link is not edited";
  std::filesystem::remove(link);
  EXPECT_EQ(set.StateOf(defined).content, EntryContent::kDefined) << "what was read stays";
  window->RunCommand(CommandId::SetResolve);
  EXPECT_FALSE(set.StateOf(defined).linked);
  window->RunCommand(CommandId::SetTakeOut);
  EXPECT_TRUE(FileExists(copy)) << LogText();
  window->RunCommand(CommandId::SetClear);
  EXPECT_EQ(set.StateOf(defined).content, EntryContent::kUndefined);
  window->RunCommand(CommandId::SetLoad);
  EXPECT_EQ(set.StateOf(defined).content, EntryContent::kDefined) << LogText();
  while (window->CommandEnabled(CommandId::EditUndo)) window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(States(set), fresh);
}

// Data comes into the component of its type, whoever moves it; what fits none is refused with a sentence.
TEST_F(SetWindow, TakesWhatFitsAComponent) {
  Start({"ok", "ok"});
  TZKBank* other = Open("Kawai K4", "Multi Bank", true);
  TZKBank* foreign = Open("Yamaha DX7", "Voice Bank", true);
  TZKGrp* window = OpenSet("K4");
  ASSERT_TRUE(window && other && foreign);
  ZKGrpDoc& set = window->document();
  const auto moved = [](TZKBank* from) {
    Move move;
    move.payload = DataFilePtr(DupForUser(from->dataFile()));
    move.source = {WindowType::BankEditor, from->document().Number(), -1};
    return move;
  };
  Move fits = moved(other), fitsNot = moved(foreign);
  EXPECT_EQ(window->AcceptsMove(OfferOf(fits)), "");
  EXPECT_TRUE(window->ReceiveMove(std::move(fits)).taken());
  const int component = window->view().GetCurSel();
  EXPECT_EQ(set.TypeName(component), "Multi Bank");
  ASSERT_TRUE(window->pane()->bank());
  EXPECT_EQ(window->pane()->bank()->document().GetPatchName(3), other->document().GetPatchName(3));
  const MoveResult refused = window->ReceiveMove(std::move(fitsNot));
  EXPECT_EQ(refused.text, "Warning! Matching SysEx was not found in the Set!\nThe SysEx was not added to the Set.");
  EXPECT_TRUE(std::get<DataFilePtr>(fitsNot.payload)) << "still the sender's";
  const auto marks = [&] { return MarksIn(window->view().IndexOf(component).data(kMarksRole)); };
  EXPECT_EQ(marks(), std::vector<Mark>{Mark::Unsent}) << "data that no editor had shown yet";
  EXPECT_GT(window->pane()->bank()->CountUnsent({}), 0) << "nor its editor";
  set.WereSent({component});
  EXPECT_EQ(marks(), std::vector<Mark>{});
  EXPECT_EQ(window->pane()->bank()->CountUnsent({}), 0);
  EXPECT_TRUE(window->pane()->bank()->document().Rename(3, "NEW").ok());
  EXPECT_EQ(window->pane()->bank()->CountUnsent({}), 1);
  EXPECT_EQ(set.unsent().Count(component), 1);
  window->pane()->bank()->document().WasSent({});
  EXPECT_EQ(set.unsent().Count(component), 0) << "sent from the pane";
  window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(marks(), std::vector<Mark>{Mark::Unsent});
  window->RunCommand(CommandId::EditUndo);
  EXPECT_FALSE(set.IsOneOrMoreDefined());

  ASSERT_TRUE(other->document().Save(Path("\u00dcber.dat")).ok());
  window->LoadFile(component, Path("\u00dcber.dat"));
  EXPECT_EQ(set.StateOf(component).content, EntryContent::kDefined) << LogText();
  const std::size_t said = program_->PromptLog().size();
  ASSERT_TRUE(foreign->document().Save(Path("dx7.dat")).ok());
  window->LoadFile(component, Path("dx7.dat"));
  EXPECT_EQ(program_->PromptLog().size(), said + 1);
  EXPECT_NE(LogText().find("The component is Kawai K4 Multi Bank, the data is Yamaha DX7 Voice Bank."),
            std::string::npos)
      << LogText();
}

// The three views select the same components; what Return does and what a row says is the same in each.
TEST_F(SetWindow, ViewsShowTheSameComponents) {
  Start();
  TZKGrp* window = OpenSet("TX81Z");
  ASSERT_TRUE(window);
  const int count = window->document().GetDataFileCount();
  window->view().Select({1, 3}, 3);
  for (const CommandId command : {CommandId::SetViewTree, CommandId::SetViewPanel, CommandId::SetViewList}) {
    window->RunCommand(command);
    EXPECT_TRUE(window->CommandChecked(command));
    EXPECT_EQ(window->view().Selected(), (std::vector<int>{1, 3}));
    EXPECT_EQ(window->view().GetCurSel(), 3);
    for (int i = 0; i < count; ++i) {
      const QModelIndex index = window->view().IndexOf(i);
      EXPECT_EQ(index.data(kComponentRole).toInt(), i);
      EXPECT_TRUE(index.data(Qt::AccessibleTextRole).toString().endsWith(QStringLiteral(", Undefined")));
    }
    window->view().SetCurSel(0);
    window->RunCommand(CommandId::SetInitialize);
    EXPECT_FALSE(
        window->view().IndexOf(0).data(Qt::AccessibleTextRole).toString().contains(QStringLiteral("Undefined")));
    window->view().widget()->setFocus();
    PressKey(window->view().widget(), Qt::Key_Return);
    EXPECT_TRUE(window->pane()->isAncestorOf(QApplication::focusWidget()));
    window->RunCommand(CommandId::EditUndo);
    window->view().Select({1, 3}, 3);
  }
  // The next window begins with the view that was used last.
  window->RunCommand(CommandId::SetViewTree);
  KeepScreenshot(window, QStringLiteral("set-tree"));
  TZKGrp* next = OpenSet("K4");
  ASSERT_TRUE(next);
  EXPECT_TRUE(next->CommandChecked(CommandId::SetViewTree));
  next->RunCommand(CommandId::SetViewPanel);
  KeepScreenshot(next, QStringLiteral("set-panel"));
}

// Data of a Set that plays a patch goes on playing it where it is moved to; who plays what is shown, and asked about
// before it is lost.
TEST_F(SetWindow, PatchesThatArePlayedAreFollowed) {
  Start({"cancel", "no", "yes"});
  TZKGrp* window = OpenSet("TX81Z");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  window->view().widget()->setFocus();
  window->RunCommand(CommandId::EditSelectAll);
  window->RunCommand(CommandId::SetInitialize);
  LinkTracker links(set, [&](int driverId) {
    return parts().windowContext.ModuleFolder(*set.GetDataFile(set.GetIndexForID(driverId)));
  });
  int voices = 0;
  while (voices < set.GetDataFileCount() && (!set.GetDataFile(voices)->synth->isBank || !links.IsPlayed(voices)))
    ++voices;
  ASSERT_LT(voices, set.GetDataFileCount());
  window->view().SetCurSel(voices);
  DataFilePtr named(DupForUser(set.GetDataFile(voices)));
  for (int i = 0; i < BankSlots(*named).Count(); ++i) BankSlots(*named).SetName(i, "VOICE " + std::to_string(i));
  if (named->emptyMap) std::fill_n(named->emptyMap, named->emptyMapSize, std::uint8_t{0});
  ASSERT_TRUE(set.EditData(voices, *named, "Names").ok());
  TZKBank* bank = window->pane()->bank();
  ASSERT_TRUE(bank);
  std::uint32_t used = 0;
  while (used < 31 && links.Parents(voices, used).empty()) ++used;
  const std::size_t users = links.Parents(voices, used).size();
  ASSERT_GT(users, 0U);
  const int first = static_cast<int>(used), other = first + 7;
  const auto note = [&](int slot) {
    return bank->list()->bankModel()->index(slot, BankListModel::kName).data(kAsideRole).toString();
  };
  EXPECT_TRUE(note(first).startsWith(QStringLiteral("is used by: "))) << ToUtf8(note(first));
  EXPECT_EQ(note(other), QString());
  EXPECT_EQ(ToUtf8(window->Inspect().title), "VOICE 0") << "the current patch";
  window->document().SetActive(voices, false);
  EXPECT_EQ(ToUtf8(window->Inspect().title), set.TypeName(voices)) << "what has no editor is told of as a whole";
  window->RunCommand(CommandId::EditUndo);
  bank->Select({first});
  EXPECT_EQ(window->Inspect().sections.back().rows.size(), users);
  KeepScreenshot(window, QStringLiteral("set-links"));

  const std::uint64_t entries = set.history().Position();
  const auto swap = [&](BankSlots& bankSlots) {
    const SlotContent one = bankSlots.Take(first), two = bankSlots.Take(other);
    return bankSlots.Put(first, two, true) && bankSlots.Put(other, one, true) ? Result::Success()
                                                                              : Result::Failure("memory");
  };
  ASSERT_TRUE(bank->document().ChangeSlots("Swap", "Swapped", swap).ok());
  EXPECT_EQ(links.Parents(voices, static_cast<std::uint32_t>(other)).size(), users);
  EXPECT_EQ(note(first), QString());
  EXPECT_EQ(set.history().Count(), entries + 1);
  window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(links.Parents(voices, used).size(), users);
  EXPECT_EQ(bank->document().GetPatchName(first), "VOICE " + std::to_string(first));

  // Overwritten: cancelled, left out, done.
  const auto overwrite = [&](BankSlots& bankSlots) {
    bankSlots.Put(other + 1, bankSlots.Take(other), true);
    bankSlots.Put(first, bankSlots.Take(other), true);
    bankSlots.SetLogical(first, std::vector<std::uint8_t>{1, 2, 3});
    bankSlots.SetName(first, "NEW");
    return Result::Success();
  };
  const std::string before = bank->document().GetPatchName(first), after = bank->document().GetPatchName(other);
  for (const char* expected : {"cancel", "skip", "overwrite"}) {
    ASSERT_TRUE(bank->document().ChangeSlots("Paste", "Pasted", overwrite).ok());
    const bool all = expected == std::string("overwrite"), some = expected != std::string("cancel");
    EXPECT_EQ(bank->document().GetPatchName(first), all ? "NEW" : before) << expected;
    EXPECT_EQ(bank->document().GetPatchName(other + 1) == after, some) << expected;
    EXPECT_TRUE(SameContent(*bank->dataFile(), *set.GetDataFile(voices))) << expected;
    EXPECT_EQ(set.history().Position(), entries + (some ? 1 : 0));
    if (some) window->RunCommand(CommandId::EditUndo);
  }
  ASSERT_EQ(program_->PromptLog().size(), 3U);
  EXPECT_NE(LogText().find("Link Tracker Warning"), std::string::npos);
  EXPECT_NE(LogText().find("will be overwritten."), std::string::npos);
}

TEST_F(SetWindow, ChangesGoAtOnceWhenWanted) {
  Start();
  TZKGrp* window = OpenSet("DW-8000");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  window->RunCommand(CommandId::SetGetAll);
  ASSERT_TRUE(Free(window)) << LogText();
  TZKBank* bank = ShowBank(window);
  ASSERT_TRUE(bank);
  const int component = window->view().GetCurSel();
  const auto change = [&](int patch) {
    EXPECT_TRUE(bank->document()
                    .ChangeSlots("Edit", "Edited",
                                 [&](BankSlots& bankSlots) {
                                   auto raw = bankSlots.Raw(patch);
                                   raw.back() ^= 1;
                                   return bankSlots.SetRaw(patch, raw) ? Result::Success() : Result::Failure("raw");
                                 })
                    .ok());
  };
  const auto unsent = [&] { return set.unsent().Patches(component); };
  const auto only = [&](int patch) {
    std::vector<std::uint8_t> one(static_cast<std::size_t>(bank->document().PatchCount()));
    if (patch >= 0) one[static_cast<std::size_t>(patch)] = 1;
    return one;
  };
  EXPECT_EQ(unsent(), only(-1)) << "all of it came";
  change(1);
  EXPECT_EQ(unsent(), only(1));
  bank->RunCommand(CommandId::BankSendAtOnce);
  EXPECT_TRUE(window->CommandChecked(CommandId::BankSendAtOnce)) << "the Set's, from the pane too";
  EXPECT_TRUE(window->windowTitle().contains(QStringLiteral("[Synchronized]"))) << ToUtf8(window->windowTitle());
  const int jobs = program_->program()->desk().totals().jobs;
  change(3);
  change(5);
  ASSERT_TRUE(WaitFor([&] { return unsent() == only(1); }, 10000)) << LogText();
  EXPECT_EQ(program_->program()->desk().totals().jobs, jobs + 1) << "a run of changes is one transfer";
  EXPECT_EQ(bank->CountUnsent({}), 1);
  window->RunCommand(CommandId::EditUndo);
  ASSERT_TRUE(WaitFor([&] { return unsent() == only(1) && program_->program()->desk().Idle(); }, 10000));
  EXPECT_TRUE(WaitFor([&] { return program_->program()->desk().totals().jobs == jobs + 2; }, 5000));
  window->RunCommand(CommandId::BankSendAtOnce);
  EXPECT_FALSE(window->windowTitle().contains(QStringLiteral("Synchronized")));
  change(7);
  EXPECT_FALSE(WaitFor([&] { return !program_->program()->desk().Idle(); }, 400));
}

// A Get of a bank from the pane and one of the Set shut each other out; closing asks and ends both.
TEST_F(SetWindow, TransfersOfPaneAndSetExcludeEachOther) {
  Start({"yes", "yes", "no", "yes", "no"}, {});
  TZKGrp* window = OpenSet("K4");
  ASSERT_TRUE(window);
  ZKGrpDoc& set = window->document();
  window->view().widget()->setFocus();
  PressShortcut(&frame(), Qt::Key_A, Qt::ControlModifier);  // held from here on, as far as the toolkit knows
  window->RunCommand(CommandId::SetInitialize);
  TZKBank* bank = ShowBank(window);
  ASSERT_TRUE(bank);
  bank->RunCommand(CommandId::MidiGet);
  EXPECT_TRUE(set.IsBusy());
  EXPECT_FALSE(window->RefusalOf(CommandId::SetGetAll).isEmpty());
  bank->CancelTransfer();
  EXPECT_FALSE(set.IsBusy());
  EXPECT_TRUE(window->RefusalOf(CommandId::SetGetAll).isEmpty());

  window->RunCommand(CommandId::SetGetAll);
  EXPECT_TRUE(bank->document().IsBusy());
  EXPECT_FALSE(bank->document().Rename(0, "X").ok());
  EXPECT_FALSE(window->CloseAsked()) << "the user keeps it open";
  EXPECT_TRUE(window->transfers().Running());
  EXPECT_TRUE(window->CloseAsked()) << LogText();
  Settle();
  EXPECT_TRUE(WaitFor([this] { return parts().transfers.desk().Idle(); }, 10000));
}

TEST_F(SetWindow, FilesThatAreNoSetSaySo) {
  Start({"ok", "ok", "ok"});
  TZKGrp* window = OpenSet("K4");
  ASSERT_TRUE(window);
  ASSERT_TRUE(window->document().Save(Path("whole.pvs")).ok());
  std::string bytes;
  ASSERT_TRUE(ReadWholeFile(Path("whole.pvs"), bytes).ok());
  window->CloseVerified();
  Settle();
  for (const std::size_t cut : {std::size_t{0}, std::size_t{9}, bytes.size() / 2, bytes.size() - 1}) {
    ASSERT_TRUE(WriteFileAtomically(Path("cut.pvs"), std::string_view(bytes).substr(0, cut)).ok());
    const std::size_t said = program_->PromptLog().size();
    parts().files.OpenFile(Path("cut.pvs"), 0);
    EXPECT_GT(program_->PromptLog().size(), said) << cut << " bytes of it: the user is told";
    for (ZKWindow* child : frame().Children())
      if (child->TypeCode() == WindowType::Set) child->CloseVerified();
    Settle();
  }
}

}  // namespace
}  // namespace tonalith
