#include "app/sysex_message.h"

#include <QMainWindow>
#include <memory>

#include "app/command_menus.h"
#include "app/document_windows.h"
#include "services/paths.h"
#include "services/program.h"
#include "tools/raw_sysex_document.h"
#include "tools/ui/sysex_dialog.h"
#include "ui/document_window.h"

namespace tonalith {

SysExMessage::SysExMessage(const FrameContext& frame, DocumentWindows& windows) : frame_(frame), windows_(windows) {
  frame_.menus.Register(CommandId::FileNewSysExMessage, {[this] { OnNew(); }});
}

void SysExMessage::OnNew() {
  ZKSysXMessageDlg dialog(frame_.prompts(), frame_.program.paths().MainGetDataPath(), &frame_.window);
  if (dialog.exec() != QDialog::Accepted) return;
  const DataFilePtr data = dialog.TakeData();
  if (!data) return;
  auto document = std::make_unique<RawSysExDocument>();
  document->TakeBytes({data->body, data->body + data->bodySize});
  document->SetOriginName("Typed message");
  // No file holds it yet.
  document->MarkChanged();
  windows_.Open(std::move(document));
}

}  // namespace tonalith
