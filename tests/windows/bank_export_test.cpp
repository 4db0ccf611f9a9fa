// Names of patches out of a bank's window: files, a user's definitions, the clipboard.

#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QStatusBar>
#include <filesystem>

#include "bank/ui/bank_window.h"
#include "bank/ui/export_preview.h"
#include "platform/atomic_file.h"
#include "services/settings.h"
#include "store/names/disk_midi.h"
#include "store/names/export_choices.h"
#include "tests/windows/window_test_tools.h"

namespace tonalith {
namespace {

class BankExports : public ProgramFixture {
 protected:
  std::string Text(const std::string& name) {
    std::string text;
    EXPECT_TRUE(ReadWholeFile(Path(name), text).ok()) << name << LogText();
    return text;
  }
};

TEST_F(BankExports, AreWrittenWhereTheUserSays) {
  const std::string master = Path("Master.ins");
  ASSERT_TRUE(WriteFileAtomically(master, std::string_view("; mine\r\n")).ok());
  Start({"file " + Path("a.reabank"), "file " + master, "file " + Path("all"), "file " + Path("all"), "cancel",
         "file " + Path("nowhere/x.html"), "ok", "cancel"},
        {"--fast-cables"});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  EXPECT_FALSE(bank->CommandEnabled(CommandId::ExportReaper));
  EXPECT_FALSE(bank->RefusalOf(CommandId::ExportReaper).isEmpty());
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(bank, 60000));
  const std::string first = bank->document().GetPatchName(0);

  frame().RunCommand(CommandId::ExportReaper);
  EXPECT_TRUE(Text("a.reabank").starts_with("Bank 0 0 Yamaha DX7 Voice Bank\n0 " + first + "\n"));
  frame().RunCommand(CommandId::ExportMaster);
  EXPECT_TRUE(Text("Master.ins").starts_with("; mine\r\n"));
  EXPECT_NE(Text("Master.ins").find("[Yamaha DX7 Voice Bank]\r\n0=" + first), std::string::npos);
  EXPECT_EQ(Text("Master.ins.bak"), "; mine\r\n");
  EXPECT_EQ(bank->context().settings().MainSonarFiles(0), master);
  frame().RunCommand(CommandId::ExportAll);
  for (const ExportKind& kind : ExportKinds()) EXPECT_FALSE(Text(ExportFileName(kind.format, "all")).empty());
  // The second time it asks, and takes no for an answer.
  bank->document().Rename(0, "OTHER");
  const std::string before = Text("all.reabank");
  frame().RunCommand(CommandId::ExportAll);
  EXPECT_EQ(Text("all.reabank"), before);
  // A folder that is not there: a sentence; cancelled: nothing.
  frame().RunCommand(CommandId::ExportHtml);
  EXPECT_NE(LogText().find("Export | "), std::string::npos) << LogText();
  frame().RunCommand(CommandId::ExportText);

  frame().RunCommand(CommandId::ExportCopyNames);
  EXPECT_TRUE(QGuiApplication::clipboard()->text().startsWith(QStringLiteral("OTHER\n")));
  frame().RunCommand(CommandId::ExportCopyText);
  EXPECT_TRUE(QGuiApplication::clipboard()->text().startsWith(QStringLiteral("1\tOTHER\n")));

  // Every format that is text can be looked at before; what is shown is what would be written.
  frame().RunCommand(CommandId::ExportPreview);
  auto* preview = bank->findChild<ExportPreview*>();
  ASSERT_NE(preview, nullptr);
  ASSERT_GT(preview->formats()->count(), 10);
  for (int i = 0; i < preview->formats()->count(); ++i) {
    preview->formats()->setCurrentIndex(i);
    EXPECT_TRUE(preview->text()->toPlainText().contains(QStringLiteral("OTHER"))) << i;
  }
  KeepScreenshot(preview, QStringLiteral("export-preview"));
}

// A file that was exported is written again behind the user's back only when that was wanted, and then without a word.
TEST_F(BankExports, AFileFollowsItsBank) {
  Start({"file " + Path("names.txt"), "file " + Path("again.txt")}, {"--fast-cables"});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(bank, 60000));
  EXPECT_FALSE(bank->CommandEnabled(CommandId::ExportAgain));
  EXPECT_FALSE(bank->CommandEnabled(CommandId::ExportFollow));
  frame().RunCommand(CommandId::ExportText);
  EXPECT_TRUE(bank->RefusalOf(CommandId::ExportFollow).contains(QStringLiteral("Save the bank")));
  ASSERT_TRUE(bank->document().Save(Path("voices.dat")).ok());
  const std::string first = Text("names.txt");
  bank->document().Rename(0, "QUIET");
  ASSERT_TRUE(bank->document().Save().ok());
  EXPECT_FALSE(WaitFor([&] { return Text("names.txt") != first; }, 100)) << "off at first";

  frame().RunCommand(CommandId::ExportFollow);
  EXPECT_TRUE(bank->CommandChecked(CommandId::ExportFollow));
  EXPECT_TRUE(bank->CommandText(CommandId::ExportFollow).contains(QStringLiteral("names.txt")));
  bank->document().Rename(0, "FOLLOWED");
  ASSERT_TRUE(bank->document().Save().ok());
  EXPECT_TRUE(WaitFor([&] { return Text("names.txt").find("FOLLOWED") != std::string::npos; })) << Text("names.txt");

  // The choice goes with the bank's file; what cannot be written is told in the status line.
  const ExportChoices choices(bank->context().SettingsFile());
  ASSERT_TRUE(choices.AutomaticOf(Path("voices.dat")));
  EXPECT_EQ(choices.AutomaticOf(Path("voices.dat"))->path, Path("names.txt"));
  EXPECT_FALSE(choices.AutomaticOf(Path("other.dat")));
  ASSERT_TRUE(std::filesystem::remove(Path("names.txt")) && std::filesystem::create_directory(Path("names.txt")));
  bank->document().Rename(0, "LOST");
  ASSERT_TRUE(bank->document().Save().ok());
  EXPECT_TRUE(WaitFor([&] { return frame().statusBar()->currentMessage().contains(QStringLiteral("not written")); }));
  frame().RunCommand(CommandId::ExportFollow);
  EXPECT_FALSE(bank->CommandChecked(CommandId::ExportFollow) || choices.AutomaticOf(Path("voices.dat")));

  EXPECT_EQ(bank->CommandText(CommandId::ExportAgain), QStringLiteral("Again as Text..."));
  frame().RunCommand(CommandId::ExportAgain);
  EXPECT_NE(Text("again.txt").find("LOST"), std::string::npos);
  EXPECT_EQ(program_->PromptLog().size(), 2U) << LogText();
}

}  // namespace
}  // namespace tonalith
