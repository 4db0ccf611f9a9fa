// A damaged dump that is opened: what is wrong with it, and a repaired copy.

#include <QToolButton>

#include "bank/ui/bank_window.h"
#include "platform/atomic_file.h"
#include "tests/windows/window_test_tools.h"
#include "tools/ui/raw_sysex_window.h"

namespace tonalith {
namespace {

using DumpRepairWindow = ProgramFixture;

TEST_F(DumpRepairWindow, OffersACopyAndLeavesTheFile) {
  const std::string damaged = Path("b\u00e4d.syx"), copy = Path("good.syx");
  Start({"cancel", "ok", "file " + damaged, "ok", "ok", "file " + copy, "cancel", "cancel"}, {"--fast-cables"});
  // The voice bank of a DX7 without its F7.
  std::vector<std::uint8_t> dump(4103, 0x20);
  const std::uint8_t head[] = {0xF0, 0x43, 0x00, 0x09, 0x20, 0x00};
  std::copy(std::begin(head), std::end(head), dump.begin());
  dump.back() = 0;  // the checksum of 4,096 times 20
  ASSERT_TRUE(WriteFileAtomically(damaged, std::span<const std::uint8_t>(dump)).ok());
  parts().files.OpenFile(damaged, 0);
  auto* window = qobject_cast<RawSysExWindow*>(frame().ActiveChild());
  ASSERT_NE(window, nullptr) << LogText();
  QToolButton* repair = nullptr;
  for (auto* button : window->findChildren<QToolButton*>())
    if (button->text().startsWith(QStringLiteral("Repair"))) repair = button;
  ASSERT_NE(repair, nullptr);
  repair->click();  // cancelled
  repair->click();  // over the damaged file itself: refused
  EXPECT_NE(LogText().find("The damaged file stays as it is"), std::string::npos) << LogText();
  repair->click();
  EXPECT_NE(LogText().find("without its F7, which was put behind it (repaired)"), std::string::npos) << LogText();
  std::vector<std::uint8_t> written, kept;
  ASSERT_TRUE(ReadWholeFile(copy, written).ok()) << LogText();
  ASSERT_TRUE(ReadWholeFile(damaged, kept).ok());
  EXPECT_EQ(kept, dump);
  dump.push_back(0xF7);
  EXPECT_EQ(written, dump);

  // The same from the menu; of data as long as it is what came.
  frame().RunCommand(CommandId::FileRepairCopy);
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank));
  EXPECT_FALSE(frame().ActionOf(CommandId::FileRepairCopy)->isEnabled()) << "it was got, not opened";
  ASSERT_TRUE(bank->document().Save(Path("bank.dat")).ok());
  bank->CloseVerified();
  ASSERT_TRUE(parts().files.OpenFile(Path("bank.dat"), 0));
  bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  bank->dataFile()->body[4102] ^= 1;
  frame().RunCommand(CommandId::FileRepairCopy);
  EXPECT_NE(LogText().find("1 repaired, 0 quarantined"), std::string::npos) << LogText();
}

}  // namespace
}  // namespace tonalith
