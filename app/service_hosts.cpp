#include "app/service_hosts.h"

#include <QMainWindow>
#include <QTimer>
#include <memory>

#include "app/autosave.h"
#include "app/command_menus.h"
#include "app/desktop_files.h"
#include "app/file_opening.h"
#include "app/first_steps.h"
#include "app/help_commands.h"
#include "app/midi_commands.h"
#include "app/studio_commands.h"
#include "app/window_transfers.h"
#include "script/transfer_engine.h"
#include "services/main_window_messages.h"
#include "services/program.h"
#include "studio/studio_document.h"

namespace tonalith {

ServiceHosts::ServiceHosts(const FrameContext& frame, const Parts& parts) : frame_(frame), parts_(parts) {
  frame_.program.SetDocuments(this);
  frame_.program.SetStudio(this);
  frame_.program.SetTransferWindows(this);
  frame_.program.transfers().SetTransmitWindowOpener([this] { parts_.transfers.OpenTransmitWindow(); });
  MainWindowMessages::Window window;
  window.openUpdateDialog = [this] { frame_.menus.Run(CommandId::HelpUpdates); };
  frame_.program.mainWindow().SetWindow(std::move(window));
}

ServiceHosts::~ServiceHosts() {
  frame_.program.mainWindow().SetWindow({});
  frame_.program.transfers().SetTransmitWindowOpener({});
  frame_.program.SetDocuments(nullptr);
  frame_.program.SetStudio(nullptr);
  frame_.program.SetTransferWindows(nullptr);
}

// ---- documents ------------------------------------------------------------------------------------------------------

bool ServiceHosts::OpenFile(const std::string& path, int hint) {
  return parts_.files.OpenFile(path, hint);
}

void ServiceHosts::OfferRecovery() {
  parts_.autosave.Offer();
}

bool ServiceHosts::LoadWorkspace(const std::string& path) {
  return parts_.desktops.LoadWorkspace(path);
}

bool ServiceHosts::SaveWorkspace(const std::string& path) {
  return parts_.desktops.SaveWorkspace(path);
}

void ServiceHosts::ReleaseLater(DataFilePtr dataFile) {
  QTimer::singleShot(0, &frame_.window, [kept = std::shared_ptr<DataFile>(std::move(dataFile))] {});
}

void ServiceHosts::RequestQuit() {
  QMetaObject::invokeMethod(&frame_.window, &QWidget::close, Qt::QueuedConnection);
}

void ServiceHosts::OpenUrl(const std::string& url) {
  OpenWebAddress(&frame_.window, url);
}

// ---- studio ---------------------------------------------------------------------------------------------------------

bool ServiceHosts::DrvLoadSetup(int) {
  parts_.firstSteps.BeginWithoutInstruments();
  const bool loaded = parts_.studio.DrvLoadSetup();
  parts_.firstSteps.ShowOnce();
  return loaded;
}

bool ServiceHosts::DrvSaveSetup() {
  return frame_.studio.DrvSaveSetup(0) == 0;
}

void ServiceHosts::DrvUpdateDataFile(DataFile* dataFile) {
  frame_.studio.DrvUpdateDataFile(dataFile);
}

DataFile* ServiceHosts::GetDriver(std::uint16_t driverId) {
  return frame_.studio.GetDFDriverWithID(driverId);
}

// ---- transfers ------------------------------------------------------------------------------------------------------

bool ServiceHosts::TransmitWindowOpen() const {
  return parts_.transfers.TransmitWindowOpen();
}

void ServiceHosts::OpenTransmitWindow(int, std::uint32_t) {
  parts_.transfers.OpenTransmitWindow();
}

void ServiceHosts::SetTransmitStayOpen(bool stay) {
  frame_.program.transfers().SetTransmitStayOpen(stay);
}

void ServiceHosts::OpenPortDialog(bool input) {
  parts_.midi.OpenPortDialog(input);
}

}  // namespace tonalith
