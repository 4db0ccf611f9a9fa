#include "app/repair_command.h"

#include <QCoreApplication>
#include <cstdint>
#include <string>
#include <vector>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "tools/data_listing.h"
#include "tools/ui/raw_sysex_window.h"
#include "tools/ui/repair_copy.h"
#include "ui/instrument_window.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

QString RepairText(const char* text) {
  return QCoreApplication::translate("RepairCommand", text);
}

}  // namespace

RepairCommand::RepairCommand(const FrameContext& frame, WindowContext& context) : frame_(frame), context_(context) {
  frame_.menus.Register(CommandId::FileRepairCopy, {[this] { Repair(); }, [this] { return Refusal(); }});
}

// What was changed here gets its checksums when it is sent or exported; they would all be found wrong.
QString RepairCommand::Refusal() const {
  ZKWindow* active = frame_.children.Active();
  if (!active) return NoWindowSentence(frame_);
  if (qobject_cast<RawSysExWindow*>(active)) return {};
  const auto* data = qobject_cast<InstrumentWindow*>(active);
  if (!data) return RepairText("The active window shows no SysEx.");
  const Document& document = data->document();
  if (document.IsBusy()) return ShownUtf8(document.BusyReason());
  if (document.IsEmpty()) return RepairText("There is no SysEx yet.");
  return document.history().Count() == 0 && !document.IsModified()
             ? QString()
             : RepairText("This data was changed since it was opened: it is no longer the dump that came.");
}

void RepairCommand::Repair() {
  ZKWindow* active = frame_.children.Active();
  if (auto* raw = qobject_cast<RawSysExWindow*>(active)) return raw->Repair();
  if (auto* data = qobject_cast<InstrumentWindow*>(active)) RepairData(*data);
}

void RepairCommand::RepairData(InstrumentWindow& window) {
  // The data may be got anew while it is looked at.
  const DataListing listing(*window.dataFile());
  const std::vector<std::uint8_t> image(listing.image().begin(), listing.image().end());
  const std::string path = window.document().path();
  const std::string said = RepairIntoCopy(frame_.studio, image, path, context_.DataFolder(), frame_.prompts());
  if (!said.empty()) frame_.Status(ShownUtf8(said));
}

}  // namespace tonalith
