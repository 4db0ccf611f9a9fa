// What is typed as SysEx, and what goes from window to window by Move To.
#include <QApplication>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTimer>
#include <filesystem>

#include "app/move_dialog.h"
#include "bank/ui/bank_view.h"
#include "platform/atomic_file.h"
#include "platform/file_bytes.h"
#include "services/paths.h"
#include "tools/ui/raw_sysex_window.h"
#include "tools/ui/sysex_dialog.h"
#include "ui/qt_text.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class GivenAway : public ProgramFixture {
 protected:
  // Runs a command and does something with the dialog it opens.
  template <typename Dialog>
  bool With(CommandId command, const std::function<void(Dialog&)>& act) {
    bool met = false;
    QTimer waiting;
    QObject::connect(&waiting, &QTimer::timeout, &waiting, [&] {
      auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
      if (!dialog || !dialog->isVisible()) return;
      waiting.stop();
      met = true;
      act(*dialog);
      if (dialog->isVisible()) dialog->reject();
    });
    waiting.start(20);
    frame().RunCommand(command);
    Settle();
    return met;
  }
  std::string Log() { return testing::PrintToString(program_->PromptLog()); }
};

TEST_F(GivenAway, ATypedMessageIsOpenedAndSaved) {
  Start({"no", "ok", "file " + Path("typed.syx")});
  const auto files = [this] {
    const std::filesystem::path folder(program_->program()->paths().MainGetDataPath());
    return std::filesystem::exists(folder)
               ? std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator())
               : 0;
  };
  const auto before = files();
  ASSERT_TRUE(With<ZKSysXMessageDlg>(CommandId::FileNewSysExMessage, [&](ZKSysXMessageDlg& dialog) {
    dialog.accept();
    EXPECT_TRUE(dialog.isVisible()) << "an empty message is asked about, and the answer is no";
    TypeText(dialog.text(), QStringLiteral(", ;"));
    dialog.accept();
    EXPECT_TRUE(dialog.isVisible()) << "no byte at all";
    dialog.text()->setPlainText(QStringLiteral("F0,43;10 4C 00 00 7E 00"));
    EXPECT_TRUE(WaitFor([&] { return dialog.Verdict().contains(QLatin1String("no whole SysEx message")); }));
    KeepScreenshot(&dialog, QStringLiteral("typed-sysex"));
    dialog.text()->setPlainText(QStringLiteral("240 0x43 020 247"));
    dialog.cNotation()->setChecked(true);
    EXPECT_EQ(dialog.Verdict().toStdString(), "4 bytes.");
    dialog.accept();
  })) << Log();
  EXPECT_NE(Log().find("No SysX message!"), std::string::npos);
  EXPECT_NE(Log().find("No MIDIX file created!"), std::string::npos);
  auto* raw = qobject_cast<RawSysExWindow*>(frame().ActiveChild());
  ASSERT_NE(raw, nullptr);
  EXPECT_EQ(raw->model()->rowCount(), 1);
  EXPECT_TRUE(raw->document().IsModified()) << "no file holds it";
  EXPECT_EQ(files(), before) << "nothing stays in the data folder";
  frame().RunCommand(CommandId::FileSave);
  std::vector<std::uint8_t> saved;
  ASSERT_TRUE(ReadWholeFile(Path("typed.syx"), saved).ok()) << Log();
  EXPECT_EQ(saved, (std::vector<std::uint8_t>{0xF0, 0x43, 0x10, 0xF7}));
  EXPECT_FALSE(raw->document().IsModified());
  EXPECT_EQ(raw->FilePath(), Path("typed.syx"));
}

TEST_F(GivenAway, PatchesGoToAnotherWindow) {
  Start({"ok", "ok"});
  TZKBank* from = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(from));
  from->Select({4});
  EXPECT_FALSE(With<ZKTrans>(CommandId::EditMoveTo, [](ZKTrans&) {}));
  EXPECT_NE(Log().find("There are no available windows to copy to."), std::string::npos) << Log();
  TZKBank* voice = Open("Yamaha DX7", "Voice", true);
  ASSERT_TRUE(Idle(voice));
  TZKBank* to = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(to));
  TZKBank* other = Open("Kawai K4", "Multi Bank", false);
  const std::string name = from->document().GetPatchName(4);
  const auto move = [&](TZKBank* source, TZKBank* target) {
    frame().windows().Activate(source);
    bool chosen = false;
    EXPECT_TRUE(With<ZKTrans>(CommandId::EditMoveTo, [&](ZKTrans& dialog) {
      for (int row = 0; row < dialog.list()->count() && !chosen; ++row) {
        if (!(dialog.list()->item(row)->flags() & Qt::ItemIsEnabled)) continue;
        dialog.list()->setCurrentRow(row);
        chosen = dialog.Chosen() == target;
      }
      KeepScreenshot(&dialog, QStringLiteral("move-to"));
      if (chosen) dialog.accept();
    }));
    return chosen;
  };
  to->Select({9});
  ASSERT_TRUE(move(from, to)) << Log();
  EXPECT_EQ(to->document().GetPatchName(9), name);
  EXPECT_EQ(to->document().UndoText(), "Write Patch");
  EXPECT_EQ(frame().ActiveChild(), to);
  ASSERT_TRUE(move(from, voice));
  EXPECT_EQ(voice->document().GetPatchName(0), name) << "a patch takes the place of the patch" << Log();
  voice->document().Undo();
  to->Select({20});
  const std::string own = voice->document().GetPatchName(0);
  ASSERT_TRUE(move(voice, to));
  EXPECT_EQ(to->document().GetPatchName(20), own);
  EXPECT_FALSE(move(from, other)) << "another maker's is not offered";
  from->Select({4, 5});
  EXPECT_FALSE(move(from, voice)) << "two patches are too many for one";
  // A window that closes while the list is shown is not used.
  EXPECT_TRUE(With<ZKTrans>(CommandId::EditMoveTo, [&](ZKTrans& dialog) {
    ASSERT_NE(dialog.Chosen(), nullptr);
    dialog.list()->clearSelection();
    dialog.accept();
    EXPECT_EQ(dialog.Said().toStdString(), "Please select a window from the list.");
    dialog.list()->setCurrentRow(0);
    delete dialog.Chosen();
    dialog.accept();
    EXPECT_EQ(dialog.Said().toStdString(), "This window has been closed.");
  }));
}

}  // namespace
}  // namespace tonalith
