// Windows while something goes on in them, with their details open: walked and kept as pictures.
#include <QLabel>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <filesystem>

#include "app/transfer_strip.h"
#include "bank/bank_document.h"
#include "control_walk.h"
#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/file_bytes.h"
#include "services/zkbasics.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/style/search_field.h"
#include "ui/style/strip_row.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class BusyWindows : public ProgramFixture {
 protected:
  void Keep(QWidget* window, const char* name) {
    Settle();
    TheControlWatch()->Walk(*window);
    KeepScreenshot(window, QStringLiteral("windows/busy-") + QLatin1String(name));
  }
  ZKBankDoc& Document(TZKBank* window) { return static_cast<ZKBankDoc&>(window->document()); }
};

TEST_F(BusyWindows, ABankDuringGetAndSendWithItsDetails) {
  Start({"ok", "ok"}, {});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  ASSERT_NE(bank, nullptr);
  EXPECT_FALSE(bank->CommandEnabled(CommandId::MidiTransmit)) << "nothing was received yet";
  EXPECT_EQ(bank->RefusalOf(CommandId::MidiTransmit).toStdString(), "There is nothing to send yet.");
  const bool empty = bank->document().IsEmpty();
  Keep(bank, "bank-empty");
  frame().RunCommand(CommandId::MidiGet);
  const auto transfer = [&] { return program_->basics()->transfers().TransferOf(bank->dataFile()); };
  ASSERT_TRUE(WaitFor([&] { return transfer() && transfer()->WindowState().patchesDone >= 3; }, 10000));
  Keep(bank, "bank-get");
  Keep(&frame(), "frame-get");
  ASSERT_TRUE(parts().transfers.receiveWindow()->ShowPage(transfer()));
  Keep(parts().transfers.receiveWindow(), "receive-window");
  ASSERT_TRUE(Idle(bank, 60000));
  parts().transfers.receiveWindow()->hide();
  EXPECT_TRUE(bank->CommandEnabled(CommandId::MidiTransmit));
  // Back to what it was before the first Get.
  frame().RunCommand(CommandId::EditUndo);
  EXPECT_EQ(bank->document().IsEmpty(), empty);
  EXPECT_EQ(Document(bank).DefinedPatches(), 0);
  EXPECT_FALSE(bank->CommandEnabled(CommandId::MidiTransmit));
  frame().RunCommand(CommandId::EditRedo);
  ASSERT_TRUE(bank->CommandEnabled(CommandId::MidiTransmit));
  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(WaitFor([&] { return bank->document().IsBusy() && parts().frame.strip.Rows() > 0; }));
  Keep(bank, "bank-send");
  auto* row = parts().frame.strip.RowOf(bank->dataFile());
  ASSERT_NE(row, nullptr);
  ClickMouse(row);
  auto* send = frame().findChild<ZKMidiOutStatus*>();
  ASSERT_NE(send, nullptr);
  if (send->isVisible()) Keep(send, "transmit-window");
}

// Single voices of an instrument of the studio, and messages that nobody knows.
std::vector<std::uint8_t> LargeDump(std::size_t size, bool known) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(size + 4200);
  const std::uint8_t head[] = {0xF0, static_cast<std::uint8_t>(known ? 0x43 : 0x7D), 0x00, 0x00, 0x01, 0x1B};
  while (bytes.size() < size) {
    bytes.insert(bytes.end(), std::begin(head), std::end(head));
    bytes.insert(bytes.end(), 155, 0x20);
    bytes.push_back(known ? 0x20 : 0x01);
    bytes.push_back(0xF7);
  }
  return bytes;
}

// No event of a file of 32 MiB takes longer than that of a small one (the fixture measures it), whichever way it comes.
TEST_F(BusyWindows, LargeFilesStopNobody) {
  constexpr std::size_t kLarge = std::size_t{32} << 20;
  ASSERT_TRUE(WriteFileAtomically(Path("known.syx"), std::span<const std::uint8_t>(LargeDump(kLarge, true))).ok());
  ASSERT_TRUE(WriteFileAtomically(Path("foreign.syx"), std::span<const std::uint8_t>(LargeDump(kLarge, false))).ok());
  ASSERT_TRUE(WriteFileAtomically(Path("small.syx"), std::span<const std::uint8_t>(LargeDump(1, false))).ok());
  Start({"file " + Path("foreign.syx"), "file " + Path("copy.syx")}, {"--fast-cables", Path("known.syx")});
  const auto raw = [&] { return qobject_cast<RawSysExWindow*>(frame().ActiveChild()); };
  ASSERT_TRUE(WaitFor([&] { return raw() != nullptr; }, 20000)) << "from the command line";
  const std::size_t size = LargeDump(kLarge, true).size();
  EXPECT_EQ(raw()->model()->rowCount(), static_cast<int>(size / 163));
  Keep(&frame(), "large-file");
  raw()->CloseVerified();
  Settle();
  // Drop; another file that comes meanwhile waits its turn.
  QTimer::singleShot(0, &frame(), [this] { parts().files.OpenFile(Path("small.syx"), 0); });
  ASSERT_TRUE(DropFiles(&frame(), {Path("known.syx")}));
  ASSERT_TRUE(WaitFor([&] { return raw() && raw()->document().FileName() == "small.syx"; }));
  EXPECT_EQ(raw()->model()->rowCount(), 1);
  raw()->CloseVerified();
  Settle();
  // File > Open, and saving under another name.
  frame().RunCommand(CommandId::FileOpen);
  ASSERT_TRUE(WaitFor([&] { return raw() && raw()->document().FileName() == "foreign.syx"; }, 20000)) << LogText();
  frame().RunCommand(CommandId::FileSaveAs);
  FileBytes saved;
  ASSERT_TRUE(LoadDiskFile(Path("copy.syx"), &saved).ok());
  EXPECT_TRUE(std::equal(saved.begin(), saved.end(), LargeDump(kLarge, false).begin()));
  EXPECT_EQ(saved.size(), size);
}

TEST_F(BusyWindows, TwoBanksOfOneDayAreToldApart) {
  Start();
  TZKBank* one = Open("Yamaha DX7", "Voice Bank", true);
  TZKBank* two = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(one && two && one != two);
  EXPECT_EQ(one->TabText(), two->TabText());
  EXPECT_EQ(one->WithTwin(QStringLiteral("DX7")), QStringLiteral("DX7"));
  EXPECT_EQ(two->WithTwin(QStringLiteral("DX7")), QStringLiteral("DX7 (2)"));
  Keep(&frame(), "frame-twins");
  TZKBank* three = Open("Yamaha DX7", "Voice Bank", true);
  EXPECT_EQ(three->Twin(), 3);
  one->CloseVerified();
  Settle();
  EXPECT_EQ(two->Twin(), 2) << "a name does not change while it is needed";
  two->CloseVerified();
  Settle();
  EXPECT_EQ(three->Twin(), 0);
}

}  // namespace
}  // namespace tonalith
