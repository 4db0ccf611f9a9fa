// The window of a bank: what it says, its names in place, its filter, and what goes out of it.

#include "bank/ui/bank_window.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <QToolButton>

#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "data/packed_bytes.h"
#include "platform/atomic_file.h"
#include "tests/windows/window_test_tools.h"
#include "ui/plain_text.h"
#include "ui/style/document_header.h"
#include "ui/style/list_delegate.h"
#include "ui/style/search_field.h"

namespace tonalith {
namespace {

class BankWindow : public ProgramFixture {
 protected:
  static std::string Secondary(TZKBank* bank) {
    QStringList all;
    for (auto* label : bank->header()->findChildren<PlainLabel*>()) all << label->text();
    return all.join('|').toStdString();
  }
  static bool Says(TZKBank* bank, const char* words) { return Secondary(bank).find(words) != std::string::npos; }
  static std::vector<Mark> MarksOfRow(TZKBank* bank, int patch) {
    return MarksIn(bank->list()->bankModel()->index(patch, BankListModel::kName).data(kMarksRole));
  }
  static QLineEdit* Editor(TZKBank* bank) { return bank->list()->viewport()->findChild<QLineEdit*>(); }
  std::vector<std::uint8_t> File(const char* name) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(ReadWholeFile(Path(name), bytes).ok()) << name << LogText();
    return bytes;
  }
};

TEST_F(BankWindow, SaysWhatDiffersAndSendsOnlyThat) {
  Start({"file " + Path("kept.DAT")}, {"--fast-cables"});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(bank, 60000));
  ASSERT_TRUE(bank->document().PatchesGoAlone());
  EXPECT_TRUE(Says(bank, "64 patches")) << Secondary(bank);
  EXPECT_TRUE(MarksOfRow(bank, 3).empty());
  EXPECT_FALSE(bank->CommandEnabled(CommandId::MidiSendChanged));
  frame().RunCommand(CommandId::FileSave);
  EXPECT_EQ(bank->header()->Title(), QStringLiteral("kept"));

  ZKBankDoc& document = bank->document();
  document.CreateBackup("Edit");
  const RawRange place = VoiceRange(*document.dataFile(), 3);
  document.dataFile()->body[place.first + place.size - 1] ^= 1;
  ASSERT_TRUE(document.EndBackup());
  ASSERT_TRUE(document.SetText(5, PatchText::Comment, "only in the file").ok());
  EXPECT_EQ(MarksOfRow(bank, 3), (std::vector<Mark>{Mark::Changed, Mark::Unsent}));
  EXPECT_EQ(MarksOfRow(bank, 5), std::vector<Mark>{Mark::Changed});
  EXPECT_TRUE(Says(bank, "2 changed since saved") && Says(bank, "1 not sent to the instrument")) << Secondary(bank);
  KeepScreenshot(bank, QStringLiteral("bank"));
  frame().RunCommand(CommandId::MidiSendChanged);
  ASSERT_TRUE(Idle(bank));
  EXPECT_EQ(MarksOfRow(bank, 3), std::vector<Mark>{Mark::Changed}) << LogText();
  ASSERT_TRUE(document.Undo().ok() && document.Undo().ok());
  EXPECT_EQ(MarksOfRow(bank, 3), std::vector<Mark>{Mark::Unsent}) << "the instrument has the change";
  EXPECT_TRUE(MarksOfRow(bank, 5).empty());
}

TEST_F(BankWindow, NamesAreChangedInPlaceOneAfterTheOther) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(MakeActive(&frame()));
  bank->list()->setFocus();
  bank->list()->setCurrentIndex(bank->list()->bankModel()->index(6, 1));
  const std::string third = bank->document().GetPatchName(8);
  PressKey(bank->list(), Qt::Key_F2);
  for (const char* name : {"ONE", "TWO"}) {
    ASSERT_NE(Editor(bank), nullptr);
    Editor(bank)->selectAll();
    TypeText(Editor(bank), QString::fromLatin1(name));
    PressKey(Editor(bank), Qt::Key_Return);
    Settle();
  }
  ASSERT_NE(Editor(bank), nullptr) << "the next name is next";
  PressKey(Editor(bank), Qt::Key_Escape);
  Settle();
  EXPECT_EQ(bank->document().GetPatchName(6), "ONE");
  EXPECT_EQ(bank->document().GetPatchName(7), "TWO");
  EXPECT_EQ(bank->document().GetPatchName(8), third);
  EXPECT_EQ(bank->list()->CurrentPatch(), 8);

  // Columns: Down goes on to the next patch, Right to the next column, and nothing leaves the bank.
  const struct {
    Qt::Key key;
    bool moves;
  } keys[] = {{Qt::Key_Down, true},  {Qt::Key_Home, true}, {Qt::Key_Up, false},  {Qt::Key_Left, false},
              {Qt::Key_Right, true}, {Qt::Key_End, true},  {Qt::Key_Down, false}};
  for (const auto& row : keys) {
    const int before = bank->list()->CurrentPatch();
    PressKey(bank->list(), row.key);
    EXPECT_EQ(bank->list()->CurrentPatch() != before, row.moves) << row.key;
    const int now = bank->list()->CurrentPatch();
    const auto index = bank->list()->bankModel()->index(now, 1);
    EXPECT_EQ(bank->list()->indexAt(bank->list()->visualRect(index).center()), index);
  }
  EXPECT_EQ(bank->list()->CurrentPatch(), 31);

  ASSERT_TRUE(bank->document().Rename(2, "K\xC3\xB6ln PAD").ok());
  bank->filter()->setText(QStringLiteral("pad kol"));
  EXPECT_EQ(bank->filter()->Hits(), 1);
  EXPECT_EQ(bank->list()->CurrentPatch(), 2) << "commands mean what is seen";
  bank->list()->selectAll();
  EXPECT_EQ(bank->list()->SelectedPatches(), std::vector<int>{2});
  bank->filter()->setText(QStringLiteral("no such patch"));
  EXPECT_EQ(bank->filter()->Hits(), 0);
  bank->filter()->clear();
  bank->list()->selectAll();
  EXPECT_EQ(bank->list()->SelectedPatches().size(), 32u);
}

TEST_F(BankWindow, GoesOutAsFilesTextAndPaper) {
  Start({"file " + Path("out.syx"), "file " + Path("out.mid"), "file " + Path("out.pdf")});
  TZKBank* bank = Open("Kawai K4", "Single Bank", true);
  const std::string names = bank->document().GetPatchName(0) + bank->document().GetPatchName(63);
  frame().RunCommand(CommandId::FileExportSysEx);
  frame().RunCommand(CommandId::FileExportMidi);
  frame().RunCommand(CommandId::FilePrint);
  frame().RunCommand(CommandId::EditCopyNames);
  const auto raw = File("out.syx");
  ASSERT_FALSE(raw.empty());
  EXPECT_EQ(raw.front(), 0xF0);
  EXPECT_EQ(raw.back(), 0xF7);
  EXPECT_EQ(File("out.mid")[0], 'M');
  EXPECT_EQ(File("out.pdf")[0], '%');
  const QStringList lines = QGuiApplication::clipboard()->text().split('\n', Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 64);
  EXPECT_EQ(lines[0].section('\t', 1).toStdString(), bank->document().GetPatchName(0));
  ASSERT_TRUE(parts().files.OpenFile(Path("out.syx"), 0));
  auto* again = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(again && again != bank);
  EXPECT_EQ(again->document().GetPatchName(0) + again->document().GetPatchName(63), names);
  EXPECT_EQ(parts().recent.LastFolder() + "/out.syx", Path("out.syx")) << "Open begins where this file was";
}

TEST_F(BankWindow, AGetIsSeenRowByRowAndACancelledOneLeavesNothing) {
  Start({}, {});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  const auto name = [&](int patch) {
    return bank->list()->bankModel()->index(patch, BankListModel::kName).data().toString();
  };
  const QString none = name(0);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(WaitFor([&] { return name(2) != none; }, 20000)) << "row by row";
  EXPECT_TRUE(Says(bank, " of 64 patches received")) << Secondary(bank);
  EXPECT_EQ(name(63), none);
  bank->CancelTransfer();
  ASSERT_TRUE(Idle(bank));
  EXPECT_TRUE(Says(bank, "0 of 64 patches")) << Secondary(bank);
  EXPECT_EQ(name(2), none) << "what is cancelled leaves the data as it was";
}

}  // namespace
}  // namespace tonalith
