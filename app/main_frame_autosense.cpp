#include <QDesktopServices>
#include <QTimer>
#include <QUrl>
#include <algorithm>

#include "app/main_frame.h"
#include "midi/port_system.h"
#include "platform/jobs.h"
#include "script/transfer_engine.h"
#include "services/zkbasics.h"
#include "studio/ui/auto_config_dialog.h"
#include "studio/ui/instrument_settings.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Instruments that are added one after the other, without the main loop in between, are one row for "Cancel All".
bool rowOpen = false;
int searching = 0;

void EndRowLater(QObject* context) {
  constexpr int kLookMs = 200;
  QTimer::singleShot(kLookMs, context, [context] {
    if (searching > 0)
      EndRowLater(context);
    else
      rowOpen = false;
  });
}

}  // namespace

const AutoConfigServices* CMainFrame::autoConfig() {
  if (autoConfig_) return autoConfig_.get();
  autoConfig_ = std::make_shared<AutoConfigServices>();
  AutoConfigServices& services = *autoConfig_;
  services.out = &basics_.out();
  services.in = &basics_.in();
  services.transfers = &basics_.transfers();
  services.dispatcher = &basics_.dispatcher();
  services.jobs = &basics_.jobs();
  services.prompts = &prompts();
  services.ports = &ports_;
  services.edited = [this](ZKDrvList*) {
    StudioEdited();
    if (studioWindow_) studioWindow_->Refresh();
  };
  services.setPorts = [this](ZKDrvList* instrument) {
    InstrumentSettingsDlg dialog(studio_, instrument, *this, this);
    if (dialog.exec() == QDialog::Accepted && studioWindow_) studioWindow_->Refresh();
  };
  services.openFile = [](const std::string& file) { QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(file))); };
  services.choosePorts = [this] {
    if (basics_.in().InPorts() == 0) OpenPortDialog(true);
    if (basics_.out().MaxOutPorts() == 0) OpenPortDialog(false);
  };
  return autoConfig_.get();
}

void CMainFrame::SenseInstruments(std::vector<ZKDrvList*> instruments) {
  if (!rowOpen) {
    BeginAutoConfigRow();
    rowOpen = true;
    EndRowLater(this);
  }
  ++searching;
  for (ZKDrvList* instrument : instruments) {
    const auto& there = studio_.instruments();
    const bool stays =
        std::any_of(there.begin(), there.end(), [&](const auto& one) { return one.get() == instrument; });
    if (stays && !AutoConfigRowCancelled())
      AutoConfigInstrument(studio_, instrument, this, *autoConfig(), AutoConfigMode::Quiet);
  }
  --searching;
}

void CMainFrame::SenseInstrumentsAtStart() {
  if (basics_.MainAutoSenseOnProgramExecution(-1) == 0) return;
  // Searches are dialogs, so the window has to be there first.
  QTimer::singleShot(0, this, [this] {
    std::vector<ZKDrvList*> all;
    for (const auto& instrument : studio_.instruments()) all.push_back(instrument.get());
    SenseInstruments(std::move(all));
  });
}

}  // namespace tonalith
