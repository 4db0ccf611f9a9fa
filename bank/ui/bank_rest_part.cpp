#include "bank/ui/bank_rest_part.h"

#include <QCoreApplication>

#include "bank/bank_document.h"
#include "bank/ui/bank_window.h"
#include "services/transfer_rest.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

QString RestText(const char* text) {
  return QCoreApplication::translate("BankRestPart", text);
}

// Of a Get, or of a send, those that are left.
int PatchesLeft(const ZKBankDoc& bank, bool get) {
  return CountPatches(get ? bank.ToGet() : PatchesToSend(*bank.dataFile(), bank.rest().notSent));
}

}  // namespace

bool BankRestPart::Has(CommandId command) const {
  return command == CommandId::BankGetRest || command == CommandId::BankSendRest;
}

QString BankRestPart::Refusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  if (bank.IsBusy()) return ShownUtf8(bank.BusyReason());
  if (command == CommandId::BankGetRest)
    return PatchesLeft(bank, true) > 0 ? QString() : RestText("Nothing that was asked for is missing.");
  return !bank.rest().notSent.empty() && PatchesLeft(bank, false) > 0 ? QString() : RestText("No send was broken off.");
}

void BankRestPart::Run(CommandId command) {
  window_.GoOn(command == CommandId::BankGetRest);
}

QString BankRestPart::Text(CommandId command) const {
  if (!Refusal(command).isEmpty()) return {};
  const int left = PatchesLeft(window_.document(), command == CommandId::BankGetRest);
  return (command == CommandId::BankGetRest ? RestText("Get the &Rest (%1)") : RestText("Send the Res&t (%1)"))
      .arg(left);
}

std::vector<CommandId> BankRestPart::EntriesOf(BankMenu menu) const {
  if (menu == BankMenu::Export) return {};
  return {CommandId::BankGetRest, CommandId::BankSendRest};
}

}  // namespace tonalith
