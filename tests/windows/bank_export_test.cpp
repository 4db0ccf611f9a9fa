// Names of patches out of a bank's window: files, a user's definitions, the clipboard.

#include <QClipboard>
#include <QGuiApplication>

#include "bank/ui/bank_window.h"
#include "platform/atomic_file.h"
#include "services/settings.h"
#include "store/names/disk_midi.h"
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
}

}  // namespace
}  // namespace tonalith
