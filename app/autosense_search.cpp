#include "app/autosense_search.h"

#include <QDesktopServices>
#include <QDialog>
#include <QMainWindow>
#include <QTimer>
#include <QUrl>
#include <algorithm>

#include "services/program.h"
#include "services/settings.h"
#include "studio/studio_document.h"
#include "studio/ui/auto_config_dialog.h"
#include "studio/ui/instrument_settings.h"
#include "studio/ui/studio_host.h"
#include "ui/qt_text.h"

namespace tonalith {

AutoSenseSearch::AutoSenseSearch(const FrameContext& frame, StudioWindowHost& studio)
    : frame_(frame), studio_(studio) {}

AutoSenseSearch::~AutoSenseSearch() = default;

const AutoConfigServices* AutoSenseSearch::services() {
  if (services_) return services_.get();
  services_ = std::make_shared<AutoConfigServices>();
  AutoConfigServices& services = *services_;
  services.out = &frame_.program.out();
  services.in = &frame_.program.in();
  services.transfers = &frame_.program.transfers();
  services.dispatcher = &frame_.program.dispatcher();
  services.jobs = &frame_.program.jobs();
  services.prompts = &frame_.prompts();
  services.ports = &frame_.ports;
  services.edited = [this](ZKDrvList*) {
    studio_.StudioEdited();
    emit Changed();
  };
  services.setPorts = [this](ZKDrvList* instrument) {
    InstrumentSettingsDlg dialog(frame_.studio, instrument, studio_, &frame_.window);
    if (dialog.exec() == QDialog::Accepted) emit Changed();
  };
  services.openFile = [](const std::string& file) { QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(file))); };
  services.choosePorts = [this] {
    if (frame_.program.in().InPorts() == 0) emit ChoosePorts(true);
    if (frame_.program.out().MaxOutPorts() == 0) emit ChoosePorts(false);
  };
  return services_.get();
}

void AutoSenseSearch::EndRowLater() {
  constexpr int kLookMs = 200;
  QTimer::singleShot(kLookMs, this, [this] {
    if (searching_ > 0)
      EndRowLater();
    else
      rowOpen_ = false;
  });
}

void AutoSenseSearch::Search(std::vector<ZKDrvList*> instruments) {
  if (!rowOpen_) {
    BeginAutoConfigRow(*services());
    rowOpen_ = true;
    EndRowLater();
  }
  ++searching_;
  for (ZKDrvList* instrument : instruments) {
    const auto& there = frame_.studio.instruments();
    const bool stays =
        std::any_of(there.begin(), there.end(), [&](const auto& one) { return one.get() == instrument; });
    if (stays && !AutoConfigRowCancelled(*services()))
      AutoConfigInstrument(frame_.studio, instrument, &frame_.window, *services(), AutoConfigMode::Quiet);
  }
  --searching_;
}

void AutoSenseSearch::SearchAtStart() {
  if (frame_.program.settings().MainAutoSenseOnProgramExecution(-1) == 0) return;
  // Searches are dialogs, so the window has to be there first.
  QTimer::singleShot(0, this, [this] {
    std::vector<ZKDrvList*> all;
    for (const auto& instrument : frame_.studio.instruments()) all.push_back(instrument.get());
    Search(std::move(all));
  });
}

}  // namespace tonalith
