// A Get and a send that are broken off go on where they stopped.
#include <QLabel>

#include "bank/ui/bank_window.h"
#include "services/transfer_rest.h"
#include "tests/windows/window_test_tools.h"
#include "ui/plain_text.h"
#include "ui/style/document_header.h"

namespace tonalith {
namespace {

class BankRestWindow : public ProgramFixture {
 protected:
  // Until so many patches are done of the transfer that runs.
  bool Under(TZKBank* bank, int patches) {
    return WaitFor(
        [&] {
          const auto transfer = program_->basics()->transfers().TransferOf(bank->dataFile());
          return transfer && transfer->WindowState().patchesDone >= patches;
        },
        20000);
  }
  void Cancel(TZKBank* bank) {
    parts().transfers.desk().Cancel(parts().transfers.desk().JobOf(bank->dataFile()));
    EXPECT_TRUE(Idle(bank, 5000));
  }
  void Pull(TZKBank* bank) {
    const std::size_t cable = program_->simulation()->studio().Find("korg-dw8000");
    program_->simulation()->SetPlugged(cable, false);
    EXPECT_TRUE(Idle(bank, 10000));
    program_->simulation()->SetPlugged(cable, true);
    EXPECT_TRUE(WaitFor(
        [&] {
          return program_->basics()->midi().out().FindPort(program_->simulation()->studio().PortName(cable)) >= 0;
        },
        10000));
    Settle();
  }
};

TEST_F(BankRestWindow, GoesOnWhereItStopped) {
  Start({"ok", "ok", "ok", "ok", "ok", "ok"}, {});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  ZKBankDoc& document = bank->document();
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankGetRest));
  EXPECT_FALSE(bank->RefusalOf(CommandId::BankSendRest).isEmpty());

  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Under(bank, 5));
  Cancel(bank);
  EXPECT_EQ(document.DefinedPatches(), 0) << "what is cancelled leaves the data as it was";
  const int left = CountPatches(document.ToGet());
  EXPECT_TRUE(left > 0 && left < 60) << left;
  EXPECT_EQ(bank->CommandText(CommandId::BankGetRest), QString("Get the &Rest (%1)").arg(left));

  frame().RunCommand(CommandId::BankGetRest);
  ASSERT_TRUE(Under(bank, 5));
  Pull(bank);
  const int missing = CountPatches(document.rest().notReceived);
  EXPECT_TRUE(missing > 0 && missing <= left - 5) << missing;
  EXPECT_EQ(document.DefinedPatches(), 64 - missing);
  QStringList said;
  for (auto* label : bank->header()->findChildren<PlainLabel*>()) said << label->text();
  EXPECT_TRUE(said.join('|').contains(QString("%1 not received").arg(missing))) << said.join('|').toStdString();
  KeepScreenshot(bank, "bank-rest");
  ASSERT_TRUE(document.Save(Path("half.dat")).ok());

  frame().RunCommand(CommandId::BankGetRest);
  ASSERT_TRUE(Idle(bank, 60000));
  EXPECT_EQ(document.DefinedPatches(), 64);
  EXPECT_TRUE(document.rest().none());
  EXPECT_FALSE(bank->CommandEnabled(CommandId::BankGetRest));

  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(Under(bank, 10));
  Cancel(bank);
  const int unsent = CountPatches(document.rest().notSent);
  EXPECT_TRUE(unsent > 0 && unsent < 64) << unsent;
  EXPECT_EQ(document.CountDifferent(true), unsent);
  frame().RunCommand(CommandId::BankSendRest);
  ASSERT_TRUE(Idle(bank, 60000));
  EXPECT_TRUE(document.rest().none());
  EXPECT_EQ(document.CountDifferent(true), 0);

  // The half bank says so when it is opened again, and goes on.
  std::unique_ptr<ZKBankDoc> half;
  ASSERT_TRUE(ZKBankDoc::Open(Path("half.dat"), &half).ok());
  EXPECT_EQ(CountPatches(half->rest().notReceived), missing);
  EXPECT_EQ(half->DefinedPatches(), 64 - missing);
}

}  // namespace
}  // namespace tonalith
