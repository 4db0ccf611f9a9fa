#include "app/studio_commands.h"

#include <QFileInfo>
#include <QMainWindow>
#include <QScopedValueRollback>
#include <algorithm>

#include "app/autosense_search.h"
#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/document_windows.h"
#include "app/open_documents.h"
#include "app/simulation.h"
#include "bank/bank_document.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "studio/new_data.h"
#include "studio/ui/connected_dialog.h"
#include "studio/ui/instrument_settings.h"
#include "studio/ui/studio_window.h"
#include "ui/instrument_window.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kRowsSection[] = "Studio Rows";
constexpr char kViewSection[] = "Windows";
constexpr char kSearchKey[] = "Studio Search";
constexpr char kOpenStudioFirst[] =
    "Please open the Studio Window using the menu option 'File | New | Studio'\nbefore installing an instrument "
    "module.";

}  // namespace

StudioCommands::StudioCommands(const FrameContext& frame, DocumentWindows& windows)
    : frame_(frame),
      windows_(windows),
      autoSense_(std::make_unique<AutoSenseSearch>(frame, *this)),
      openDocuments_(std::make_unique<OpenStudioDocuments>(frame)) {
  frame_.menus.Register(CommandId::FileNewStudio, {[this] { Show(); }});
  frame_.menus.Register(CommandId::MidiWhatIsConnected, {[this] { ShowConnected(); }});
  frame_.menus.Register(CommandId::FileNewEditor, {[this] { OnNewEditor(); }});
  frame_.menus.Register(CommandId::FileInstallModule, {[this] { Show()->OnInstallFromDisk(); }});
  connect(autoSense_.get(), &AutoSenseSearch::Changed, this, &StudioCommands::Refresh);
  connect(openDocuments_.get(), &OpenStudioDocuments::Changed, this, [this] {
    if (window_) window_->ShowDocuments();
  });
  frame_.studio.SetSettings(&frame_.program.settings());
  frame_.studio.SetCloseHook([this](std::span<ZKDrvList* const> instruments) { return CloseWindowsOf(instruments); });
  frame_.studio.SetAutoSenseHook([this](ZKDrvList* instrument) { autoSense_->Search({instrument}); });
  frame_.studio.SetChangeSink([this] {
    if (!portsChanging_) Refresh();
    frame_.children.ForEach([](ZKWindow& child) { child.StudioChanged(); });
  });
}

StudioCommands::~StudioCommands() {
  delete connected_.data();
  frame_.studio.SetChangeSink({});
  frame_.studio.SetCloseHook({});
  frame_.studio.SetAutoSenseHook({});
}

// ---- the window -----------------------------------------------------------------------------------------------------

TZKDrvLst* StudioCommands::Show() {
  if (!window_) {
    window_ = ZKDriverList(nullptr, frame_.studio, *this);
    connect(window_, &ZKWindow::Closing, this, [this] { window_.clear(); });
    frame_.children.Add(window_);
  }
  frame_.children.Activate(window_);
  return window_;
}

void StudioCommands::ShowConnected() {
  if (!connected_) {
    connected_ = new ConnectedDialog(frame_.studio, *autoSense_->services(), &frame_.window);
    connected_->setAttribute(Qt::WA_DeleteOnClose);
    connected_->show();
    return connected_->Begin();
  }
  connected_->raise();
  connected_->activateWindow();
}

void StudioCommands::Refresh() {
  if (window_) window_->Refresh();
  emit Edited();
}

Settings& StudioCommands::settings() {
  return frame_.program.settings();
}

std::string StudioCommands::ResourceFolder() {
  return frame_.program.paths().MainGetResourcePath();
}

std::string StudioCommands::PreferencesIni() {
  return frame_.program.paths().MainGetPreferencesIni();
}

const WindowCounters* StudioCommands::windowCounters() {
  return &frame_.program.windowCounters();
}

const AutoConfigServices* StudioCommands::autoConfig() {
  return autoSense_->services();
}

std::vector<OpenDocument> StudioCommands::OpenDocuments() {
  return openDocuments_->List();
}

// ---- data of its instruments ----------------------------------------------------------------------------------------

void StudioCommands::ShowSettings(const DataFile& data) {
  ZKDrvList* instrument = frame_.studio.GetInstrumentDrvList(frame_.studio.DriverOf(&data));
  if (!instrument) {
    const std::string name = Latin1ToUtf8(TransferInstrumentName(data));
    frame_.prompts().Say("Instrument Settings", "The " + name + " is not in the studio.");
    return;
  }
  InstrumentSettingsDlg dialog(frame_.studio, instrument, *this, &frame_.window);
  if (dialog.exec() == QDialog::Accepted) Refresh();
}

InstrumentWindow* StudioCommands::OpenData(DataFilePtr dataFile, bool unsaved, const std::string& originName) {
  auto document = std::make_unique<ZKBankDoc>(std::move(dataFile));
  document->SetOriginName(originName);
  if (unsaved) document->MarkChanged();
  return qobject_cast<InstrumentWindow*>(windows_.Open(std::move(document)));
}

InstrumentWindow* StudioCommands::OpenNewData(ZKDrvList* driver, bool get) {
  DataFilePtr fresh = frame_.studio.GetNewDataFile(driver);
  if (!fresh) {
    frame_.prompts().Say("Studio", "Insufficient memory.\n");
    return nullptr;
  }
  InstrumentWindow* window = OpenData(std::move(fresh));
  if (get && window) window->StartGet();
  return window;
}

void StudioCommands::OpenDriverFromFile(ZKDrvList* driver, NewDataKind kind) {
  NewData made = DrvAddNewDataFile(frame_.studio, frame_.prompts(), &frame_.program.settings(), kind, driver);
  if (made.state != NewData::State::Made) return;
  InstrumentWindow* window = OpenData(std::move(made.dataFile), false, FileNameOf(made.path));
  if (made.sendNow && window) window->StartTransmit();
}

void StudioCommands::OnNewEditor() {
  std::vector<ZKDrvList*> drivers;
  ChoicePrompt prompt{"New Editor", "Kind of data:", {}};
  for (const auto& instrument : frame_.studio.instruments()) {
    for (const auto& driver : instrument->drivers) {
      if (driver.get() == frame_.studio.list().selection()) prompt.chosen = static_cast<int>(drivers.size());
      drivers.push_back(driver.get());
      prompt.items.push_back(Latin1ToUtf8(instrument->DisplayKey() + ", " + driver->TypeName()));
    }
  }
  if (drivers.empty()) {
    frame_.prompts().Say("New Editor", "There are no instruments in the studio yet.");
    return;
  }
  const int chosen = frame_.prompts().Choose(prompt);
  if (chosen >= 0) OpenNewData(drivers[static_cast<std::size_t>(chosen)], false);
}

bool StudioCommands::CloseWindowsOf(std::span<ZKDrvList* const> instruments) {
  for (ZKWindow* child : frame_.children.All()) {
    auto* window = qobject_cast<InstrumentWindow*>(child);
    const ZKDrvList* driver = window ? frame_.studio.DriverOf(window->dataFile()) : nullptr;
    if (!driver || std::find(instruments.begin(), instruments.end(), driver->instrument) == instruments.end()) continue;
    if (!child->CloseAsked()) return false;
  }
  return true;
}

// ---- the studio file, modules, changes ------------------------------------------------------------------------------

void StudioCommands::RouteSimulated(bool loaded) {
  if (frame_.simulation) frame_.simulation->RouteInstruments(frame_.studio, frame_.ports, loaded);
}

bool StudioCommands::DrvLoadSetup() {
  const bool loaded = frame_.studio.DrvLoadSetup(0) == 0;
  RouteSimulated(true);
  frame_.studio.UpdatePortReferences();
  if (window_)
    Refresh();
  else
    Show();
  autoSense_->SearchAtStart();
  return loaded;
}

bool StudioCommands::OpenStudioFile(const std::string& path) {
  const QFileInfo info(FromUtf8(path));
  const bool loaded =
      !frame_.studio.instruments().empty() && QFileInfo(FromUtf8(frame_.studio.studioFile().string())) == info;
  Show();
  if (loaded) return true;
  const bool opened = frame_.studio.DrvLoadSetup(0, ToUtf8(info.path()), ToUtf8(info.fileName())) == 0;
  if (opened) RouteSimulated(true);
  Refresh();
  return opened;
}

bool StudioCommands::InstallPackageFile(const std::string& path) {
  if (!window_) {
    frame_.prompts().Say("Tonalith", kOpenStudioFirst);
    return false;
  }
  return window_->InstallInstrumentModule(path, false);
}

void StudioCommands::StudioEdited() {
  RouteSimulated();
  frame_.studio.DrvSaveSetup(0);
  emit Edited();
  frame_.children.ForEach([](ZKWindow& child) { child.StudioChanged(); });
}

void StudioCommands::ReadView(const IniFile& ini) {
  for (const std::string& row : ini.Keys(kRowsSection)) view().rows[row] = ini.GetInt(kRowsSection, row) != 0;
  view().search = ini.GetString(kViewSection, kSearchKey);
}

void StudioCommands::StoreView(IniFile* ini) {
  ini->RemoveSection(kRowsSection);
  for (const auto& [row, open] : view().rows) ini->SetInt(kRowsSection, row, open ? 1 : 0);
  ini->Set(kViewSection, kSearchKey, view().search);
}

void StudioCommands::PortsChanged(int changes) {
  {
    const QScopedValueRollback<bool> changing(portsChanging_, true);
    frame_.studio.UpdateMidiPortsStatusChanged();
    RouteSimulated();
  }
  frame_.children.ForEach([changes](ZKWindow& child) { child.PortsChanged(changes); });
  Refresh();
}

}  // namespace tonalith
