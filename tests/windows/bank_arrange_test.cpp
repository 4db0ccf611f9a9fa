// The commands of the bank's window, its two views, and dragging.

#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QElapsedTimer>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QTabBar>
#include <QWheelEvent>

#include "app/child_windows.h"
#include "app/recognised_files.h"
#include "bank/bank_naming.h"
#include "bank/clip_mark.h"
#include "bank/ui/bank_grid.h"
#include "bank/ui/bank_history.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "bank/ui/bank_window.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "studio/studio_document.h"
#include "tests/windows/stall_probe.h"
#include "tests/windows/window_test_tools.h"

namespace tonalith {
namespace {

class BankArranging : public ProgramFixture {
 protected:
  TZKBank* OpenBank() {
    TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
    EXPECT_TRUE(MakeActive(&frame()));
    bank->view()->setFocus();
    return bank;
  }
  static std::vector<std::string> Names(TZKBank* bank) {
    std::vector<std::string> names;
    for (int patch = 0; patch < bank->document().PatchCount(); ++patch)
      names.push_back(bank->document().GetPatchName(patch));
    return names;
  }
  void Run(TZKBank* bank, CommandId command, const std::vector<int>& selected) {
    frame().windows().Activate(bank);
    bank->Select(selected);
    EXPECT_EQ(bank->RefusalOf(command), QString());
    frame().RunCommand(command);
  }
};

TEST_F(BankArranging, EveryCommandIsOneEntryAndUndoBringsAllBack) {
  ASSERT_TRUE(WriteFileAtomically(Path("names.txt"), std::string_view("ONE\r\n\r\nTWO\tTHREE\n")).ok());
  Start({"text BASE", "text ALL", "text 7", "yes", "yes"});
  TZKBank* bank = OpenBank();
  ZKBankDoc& document = bank->document();
  const std::vector<std::string> names = Names(bank);
  const struct {
    CommandId command;
    std::vector<int> selected;
    const char* status;
  } rows[] = {
      {CommandId::BankRotateUp, {2, 3, 4}, "Shifted 2 Patches Up"},
      {CommandId::BankRotateDown, {2, 3, 4}, "Shifted 2 Patches Down"},
      {CommandId::BankInvert, {0, 1, 2, 3, 4}, "Inverted 2 pairs of Patches"},
      {CommandId::BankSort, {}, "Sorted All Patches"},
      {CommandId::BankDelete, {1, 5}, "Deleted 2 Patches"},
      {CommandId::BankRestore, {1, 5}, "Restored 2 Patches"},
      {CommandId::BankInit, {7}, "Initialized 1 Patches"},
      {CommandId::BankAutoName, {3, 9}, "Autonamed 2 Patches"},
      {CommandId::BankNumber, {}, "Renamed 32 Patches"},
  };
  const std::size_t before = document.history().Position();
  std::size_t entries = before;
  for (const auto& row : rows) {
    Run(bank, row.command, row.selected);
    EXPECT_EQ(document.history().Position(), ++entries) << row.status;
    EXPECT_EQ(document.StatusText(), row.status);
  }
  EXPECT_EQ(document.GetPatchName(9), "ALL     10");
  ASSERT_TRUE(document.GoTo(before).ok());
  EXPECT_EQ(Names(bank), names);
  Run(bank, CommandId::BankFind, {5});
  EXPECT_TRUE(document.GetPatchName(bank->list()->CurrentPatch()).find('7') != std::string::npos ||
              bank->list()->CurrentPatch() == 5);

  // Rotating needs neighbours; scattered patches are no range.
  bank->Select({1, 3, 5});
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankRotateUp));
  EXPECT_TRUE(bank->CommandEnabled(CommandId::BankDelete));
  // Names in the SysEx are not imported over.
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankImportNames));
  std::vector<std::string> read;
  ASSERT_TRUE(ReadNameList(Path("names.txt"), &read).ok());
  EXPECT_EQ(read, (std::vector<std::string>{"ONE", "TWO", "THREE"}));

  // What is written as the initial patch is what the next initialising gives.
  bank->Select({4});
  frame().RunCommand(CommandId::BankWriteInit);
  Run(bank, CommandId::BankInit, {20});
  DataFile& data = *document.dataFile();
  const RawRange first = VoiceRange(data, 0), other = VoiceRange(data, 20);
  const std::size_t withoutName = first.size - 10;
  EXPECT_EQ(std::memcmp(data.body + first.first, data.body + other.first, withoutName), 0);
  EXPECT_EQ(document.GetPatchName(20), "Init Patch");
}

TEST_F(BankArranging, TheMarkCopiesCutsAndExchangesBetweenBanks) {
  Start();
  TZKBank* one = OpenBank();
  const std::vector<std::string> names = Names(one);
  EXPECT_FALSE(one->CommandEnabled(CommandId::EditPaste));
  Run(one, CommandId::EditCopy, {0, 1, 2});
  Run(one, CommandId::EditPaste, {1});
  EXPECT_EQ(Names(one)[1] + Names(one)[2] + Names(one)[3], names[0] + names[1] + names[2]) << "all are read first";
  ASSERT_TRUE(one->document().Undo().ok());
  Run(one, CommandId::EditCut, {4});
  Run(one, CommandId::EditPaste, {9});
  EXPECT_EQ(Names(one)[9], names[4]);
  EXPECT_NE(Names(one)[4], names[4]);
  EXPECT_FALSE(one->CommandEnabled(CommandId::EditPaste)) << "what was cut is pasted once";
  ASSERT_TRUE(one->document().Undo().ok());
  EXPECT_EQ(Names(one), names);

  TZKBank* two = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_NE(one, two);
  Run(one, CommandId::BankInvert, {0, 1, 2, 3});
  Run(one, CommandId::EditCopy, {0});
  frame().windows().Activate(two);
  Run(two, CommandId::BankSwap, {30});
  EXPECT_EQ(Names(two)[30], names[3]);
  EXPECT_EQ(Names(one)[0], names[30]);
  TZKBank* other = Open("Kawai K4", "Single Bank", true);
  other->Select({0});
  EXPECT_NE(other->RefusalOf(CommandId::EditPaste), QString()) << "of another instrument";
  frame().windows().Activate(one);
  one->document().Save(Path("gone.DAT"));
  one->close();
  Settle();
  EXPECT_TRUE(GetClipMark().IsEmpty()) << "the mark goes with its bank";
}

TEST_F(BankArranging, KeysMoveSelectAndOpenInBothViews) {
  Start();
  TZKBank* bank = OpenBank();
  const std::vector<std::string> names = Names(bank);
  for (const CommandId view : {CommandId::BankViewList, CommandId::BankViewGrid}) {
    frame().RunCommand(view);
    EXPECT_TRUE(bank->CommandChecked(view));
    EXPECT_EQ(bank->ShowsGrid(), view == CommandId::BankViewGrid);
    bank->Select({4});
    PressKey(bank->view(), Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(Names(bank)[5], names[4]);
    EXPECT_EQ(Names(bank)[4], names[5]);
    EXPECT_EQ(bank->SelectedPatches(), std::vector<int>{5});
    ASSERT_TRUE(bank->document().Undo().ok());
    bank->Select({4});
    PressKey(bank->view(), Qt::Key_Down, Qt::ShiftModifier);
    PressKey(bank->view(), Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(bank->SelectedPatches(), (std::vector<int>{4, 5, 6}));
    PressKey(bank->view(), Qt::Key_Home);
    EXPECT_EQ(bank->SelectedPatches(), std::vector<int>{0});
    PressKey(bank->view(), Qt::Key_Up);
    EXPECT_EQ(bank->list()->CurrentPatch(), 0);
    for (int patch : {0, 17, 31}) {
      bank->Select({patch});
      EXPECT_EQ(bank->view()->indexAt(bank->view()->visualRect(bank->view()->currentIndex()).center()).row(), patch);
    }
    KeepScreenshot(bank, view == CommandId::BankViewGrid ? QStringLiteral("bank-grid") : QStringLiteral("bank-list"));
  }
  const std::size_t windows = frame().Children().size();
  bank->Select({3});
  PressKey(bank->view(), Qt::Key_Return);
  ASSERT_EQ(frame().Children().size(), windows + 1) << LogText();
  auto* single = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(single, nullptr);
  EXPECT_EQ(single->document().GetPatchName(0), names[3]);
  EXPECT_EQ(single->document().synth().isBank, 0);
}

TEST_F(BankArranging, PagesAndLooksOfTheGridAreThoseOfTheDataType) {
  Start();
  TZKBank* bank = OpenBank();
  frame().RunCommand(CommandId::BankViewGrid);
  ZKBankGrid& grid = *bank->grid();
  IniFile ini;
  for (const char* tab : {"1", "0"}) {
    ini.Set("Bank", "UseTab", tab);
    ini.Set("Bank", "UseHorizontal", "0");
    ini.Set("Bank", "LoBack", "255");
    grid.SetLook(ReadGridSettings(ini), {});
    grid.setParent(nullptr);
    grid.show();
    grid.resize(300, 230);
    Settle();
    const int chunks = grid.layout().Chunks(), ofPage = grid.layout().ChunksOfPage();
    ASSERT_EQ(chunks, 32 / grid.layout().perChunk);
    ASSERT_EQ(grid.layout().Pages(), (chunks - 1 + ofPage) / ofPage);
    ASSERT_GT(grid.layout().Pages(), 1);
    EXPECT_EQ(grid.findChild<QTabBar*>()->isVisible(), *tab == '1');
    EXPECT_EQ(grid.findChild<QComboBox*>()->isVisible(), *tab == '0');
    const QStringList pages = grid.PageTexts();
    EXPECT_TRUE(pages.front().startsWith(QString::fromStdString(bank->document().NumberText(0)) + " - "));
    EXPECT_TRUE(pages.back().endsWith(" - " + QString::fromStdString(bank->document().NumberText(31))));
    grid.SelectPatch(31);
    grid.scrollTo(grid.currentIndex());
    EXPECT_EQ(grid.Page(), grid.layout().Pages() - 1);
  }
  const QRect name = grid.visualRect(grid.model()->index(30, 1));
  EXPECT_EQ(grid.grab().toImage().pixelColor(name.left() - 3, name.center().y()), QColor(255, 0, 0));
  ini.Set("Bank", "UseHorizontal", "1");
  grid.SetLook(ReadGridSettings(ini), {});
  Settle();
  grid.SelectPatch(0);
  PressKey(&grid, Qt::Key_Left);
  EXPECT_EQ(grid.CurrentPatch(), 31) << "along a row it goes round";
  delete bank;
}

TEST_F(BankArranging, HistoryGoesToAnyState) {
  Start();
  TZKBank* bank = OpenBank();
  const std::vector<std::string> names = Names(bank);
  Run(bank, CommandId::BankInvert, {0, 1});
  Run(bank, CommandId::BankDelete, {5});
  const std::vector<std::string> after = Names(bank);
  frame().RunCommand(CommandId::BankUndoHistory);
  auto* dialog = bank->findChild<ZKBankUndo*>();
  ASSERT_NE(dialog, nullptr);
  KeepScreenshot(dialog, QStringLiteral("undo-history"));
  dialog->list()->setCurrentRow(2);
  dialog->GoToChosen();
  EXPECT_EQ(Names(bank), names);
  dialog->list()->setCurrentRow(0);
  dialog->GoToChosen();
  EXPECT_EQ(Names(bank), after);
}

// What the toolkit would send while patches are dragged over the view.
TEST_F(BankArranging, DroppingExchangesCopiesOrInsertsAsWanted) {
  Start();
  TZKBank* bank = OpenBank();
  const std::vector<std::string> names = Names(bank);
  const auto drop = [&](const std::vector<int>& dragged, int on, Qt::KeyboardModifiers modifiers) {
    const QPoint at = bank->view()->visualRect(bank->view()->model()->index(on, 1)).center() - QPoint(0, 2);
    bank->drag().Begin(dragged);
    const std::unique_ptr<QMimeData> mime = bank->drag().Mime();
    QDragEnterEvent enter(at, Qt::CopyAction | Qt::MoveAction, mime.get(), Qt::LeftButton, modifiers);
    QApplication::sendEvent(bank->view()->viewport(), &enter);
    const bool taken = enter.isAccepted();
    QDropEvent event(at, Qt::CopyAction | Qt::MoveAction, mime.get(), Qt::LeftButton, modifiers);
    if (taken) QApplication::sendEvent(bank->view()->viewport(), &event);
    bank->drag().Finish();
    return taken;
  };
  ASSERT_TRUE(drop({0, 2}, 10, Qt::NoModifier));
  EXPECT_EQ(Names(bank)[10] + Names(bank)[11] + Names(bank)[0] + Names(bank)[2],
            names[0] + names[2] + names[10] + names[11]);
  EXPECT_EQ(bank->SelectedPatches(), (std::vector<int>{10, 11}));
  ASSERT_TRUE(bank->document().Undo().ok());
  ASSERT_TRUE(drop({0}, 10, Qt::ControlModifier));
  EXPECT_EQ(Names(bank)[10] + Names(bank)[0], names[0] + names[0]);
  ASSERT_TRUE(bank->document().Undo().ok());
  ASSERT_TRUE(drop({0, 1}, 10, Qt::ShiftModifier));
  EXPECT_EQ(Names(bank)[8] + Names(bank)[9] + Names(bank)[10], names[0] + names[1] + names[10]);
  ASSERT_TRUE(bank->document().Undo().ok());
  program_->program()->settings().Access(SettingId::MainBankDnDMode, 1);
  ASSERT_TRUE(drop({31}, 0, Qt::NoModifier));
  EXPECT_EQ(Names(bank)[0] + Names(bank)[31], names[31] + names[31]) << "MainBankDnDMode";
  ASSERT_TRUE(bank->document().Undo().ok());
  EXPECT_EQ(Names(bank), names);
  EXPECT_FALSE(drop({3}, 3, Qt::NoModifier)) << "on itself";
}

TEST_F(BankArranging, PreferencesSwitchUndoAndTurnTheWheel) {
  Start();
  TZKBank* bank = OpenBank();
  ZKBankDoc& document = bank->document();
  const auto set = [&](SettingId id, int value) {
    program_->program()->settings().Access(id, value);
    bank->SettingsChanged();
  };
  Run(bank, CommandId::BankInvert, {0, 1});
  ASSERT_TRUE(bank->CommandEnabled(CommandId::EditUndo));
  set(SettingId::MainBackup, 0);
  EXPECT_FALSE(bank->CommandEnabled(CommandId::EditUndo));
  Run(bank, CommandId::BankInvert, {2, 3});
  EXPECT_FALSE(bank->CommandEnabled(CommandId::EditUndo));
  EXPECT_TRUE(document.IsModified());
  ASSERT_TRUE(document.Save(Path("kept.DAT")).ok());
  EXPECT_FALSE(document.IsModified());
  Run(bank, CommandId::BankInvert, {4, 5});
  EXPECT_TRUE(document.IsModified());
  set(SettingId::MainBackup, 1);
  Run(bank, CommandId::BankInvert, {6, 7});
  EXPECT_TRUE(document.Undo().ok());
  EXPECT_FALSE(document.Undo().ok()) << "what was done without is not known";

  frame().RunCommand(CommandId::BankViewGrid);
  for (const int inverted : {0, 1}) {
    set(SettingId::MainInvertScrollWheelInput, inverted);
    bank->Select({4});
    QWheelEvent down({5, 5}, bank->grid()->viewport()->mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton,
                     Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(bank->grid()->viewport(), &down);
    EXPECT_EQ(bank->list()->CurrentPatch(), inverted ? 3 : 5);
  }
}

// Sizes that lie: the window shows what there is, says why nothing can be changed, and saves it as it was.
TEST_F(BankArranging, DamagedBanksAreShownAndKept) {
  Start();
  OpenBank();
  const struct {
    const char* what;
    void (*tell)(Synth& synth);
  } cases[] = {
      // of an installed module; it mends what else is wrong when the window is shown
      {"voices", [](Synth& synth) { synth.numVoices = 65535; }},
      {"no sizes", [](Synth& synth) { synth.voiceSize = 0; }},
      {"header", [](Synth& synth) { synth.headerSize = 0xFFFFFFFF; }},
  };
  for (const auto& c : cases) {
    DataFilePtr data = parts().frame.studio.GetNewDataFile(1000);
    ASSERT_TRUE(data);
    data->xtra->hasNoSysEx = 0;
    c.tell(*data->synth);
    const std::string path = Path(std::string(c.what) + ".DAT"), copy = Path(std::string(c.what) + "2.DAT");
    ASSERT_TRUE(ZKBankDoc(std::move(data)).Save(path).ok()) << c.what;
    ASSERT_TRUE(parts().files.OpenFile(path, 0)) << c.what << LogText();
    auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
    ASSERT_NE(bank, nullptr);
    EXPECT_NE(bank->document().ReadOnlyReason(), "") << c.what;
    for (const bool grid : {true, false}) {
      bank->ShowGrid(grid);
      Settle();
      bank->view()->selectAll();
      for (int command = static_cast<int>(CommandId::BankSwap); command <= static_cast<int>(CommandId::BankInit);
           ++command)
        EXPECT_FALSE(bank->CommandEnabled(static_cast<CommandId>(command))) << c.what << ' ' << command;
      KeepScreenshot(bank, QStringLiteral("bank-damaged"));
    }
    EXPECT_FALSE(bank->document().IsModified());
    ASSERT_TRUE(bank->document().Save(copy).ok());
    DataFilePtr one, other;
    ASSERT_TRUE(ZKBankDoc::Load(path, &one).ok() && ZKBankDoc::Load(copy, &other).ok());
    EXPECT_EQ(std::vector(one->body, one->body + one->bodySize),
              std::vector(other->body, other->body + other->bodySize));
    EXPECT_EQ(std::memcmp(one->synth, other->synth, kSynthSize), 0) << c.what;
    bank->close();
    Settle();
  }
}

// Every event is measured by the probe of all window tests; what a drag redraws has half of that.
TEST_F(BankArranging, AThousandPatchesStaySmooth) {
  Start();
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& synth = *driver->synth;
  CopyText(synth.shortName, "Large");
  CopyText(synth.typeName, "Bank");
  synth.numVoices = 1000;
  synth.voiceSize = synth.voiceBytes = 256;
  synth.fileSize = 1000 * 256;
  synth.nameLength = 12;
  synth.isBank = 1;
  DataFilePtr data(AllocDataNew(driver.get()));
  for (int patch = 0; patch < 1000; ++patch)
    SetPatchName(data.get(), patch, "SOUND " + std::to_string(patch * 7 % 1000));
  auto* bank = qobject_cast<TZKBank*>(parts().studio.OpenData(std::move(data)));
  ASSERT_NE(bank, nullptr);
  for (const CommandId view : {CommandId::BankViewList, CommandId::BankViewGrid}) {
    frame().RunCommand(view);
    Settle();
    bank->view()->setFocus();
    bank->Select({500});
    PressKey(bank->view(), Qt::Key_Down, Qt::ControlModifier);
    PressKey(bank->view(), Qt::Key_End, Qt::ShiftModifier);
    EXPECT_EQ(bank->SelectedPatches().size(), 499u);
    PressKey(bank->view(), Qt::Key_Home);
    bank->drag().Begin({0});
    const std::unique_ptr<QMimeData> mime = bank->drag().Mime();
    Settle();
    const Stall before = ProbedApplication::TakeLongest();
    EXPECT_LE(before.us, kLongestEventUs * kBuildFactor) << before.what;
    const QPoint first = bank->view()->visualRect(bank->view()->model()->index(1, 1)).center();
    QDragEnterEvent enter(first, Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::ShiftModifier);
    QApplication::sendEvent(bank->view()->viewport(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    for (int patch = 1; patch < 20; ++patch) {
      const QPoint at = bank->view()->visualRect(bank->view()->model()->index(patch, 1)).center();
      QDragMoveEvent move(at, Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::ShiftModifier);
      QApplication::sendEvent(bank->view()->viewport(), &move);
      Settle();
    }
    bank->drag().Finish();
    const Stall drag = ProbedApplication::TakeLongest();
    EXPECT_LE(drag.us, kLongestEventUs / 2 * kBuildFactor) << drag.what;
    ASSERT_TRUE(bank->document().Undo().ok());
  }
}

// Another bank of the same kind takes patches too; the desktop's setting says whether it gives its own for them.
TEST_F(BankArranging, PatchesGoFromWindowToWindow) {
  Start();
  TZKBank* one = OpenBank();
  Run(one, CommandId::BankInvert, {0, 1, 2, 3});
  TZKBank* two = Open("Yamaha DX7", "Voice Bank", true);
  const std::vector<std::string> names = Names(one), others = Names(two);
  for (const int exchange : {0, 1}) {
    program_->program()->settings().Access(SettingId::MainBankDnDExtMode, exchange);
    one->drag().Begin({0, 1});
    const std::unique_ptr<QMimeData> mime = one->drag().Mime();
    const QPoint at = two->view()->visualRect(two->view()->model()->index(8, 1)).center();
    QDragEnterEvent enter(at, Qt::CopyAction | Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(two->view()->viewport(), &enter);
    QDropEvent drop(at, Qt::CopyAction | Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(two->view()->viewport(), &drop);
    one->drag().Finish();
    EXPECT_EQ(Names(two)[8] + Names(two)[9], names[0] + names[1]);
    EXPECT_EQ(Names(one)[0], exchange ? others[8] : names[0]);
    ASSERT_TRUE(two->document().Undo().ok());
    if (exchange != 0) one->document().Undo();
  }
  // A patch on its own goes into the first place that is selected.
  one->Select({1});
  frame().windows().Activate(one);
  frame().RunCommand(CommandId::EditOpen);
  auto* single = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(single && single != one);
  two->Select({20});
  Move move;
  move.payload = DataFilePtr(DupForUser(single->dataFile()));
  EXPECT_TRUE(Deliver(*two, std::move(move)).taken());
  EXPECT_EQ(Names(two)[20], names[1]);
  TZKBank* other = Open("Kawai K4", "Single Bank", true);
  Move wrong;
  wrong.payload = DataFilePtr(DupForUser(single->dataFile()));
  const MoveResult refused = Deliver(*other, std::move(wrong));
  EXPECT_FALSE(refused.taken());
  EXPECT_NE(refused.text, "");
}

}  // namespace
}  // namespace tonalith
