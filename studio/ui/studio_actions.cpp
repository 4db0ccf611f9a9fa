// What the studio window does with instruments and packages.

#include <QAction>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QPointer>
#include <QUrl>
#include <algorithm>
#include <sstream>

#include "platform/path_resolver.h"
#include "services/settings.h"
#include "studio/module_install.h"
#include "studio/ui/auto_config_dialog.h"
#include "studio/ui/install_dialogs.h"
#include "studio/ui/install_web.h"
#include "studio/ui/instrument_settings.h"
#include "studio/ui/studio_report.h"
#include "studio/ui/studio_window.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kStudioTitle[] = "Studio";

}  // namespace

// ---- adding and removing --------------------------------------------------------------------------------------------

void TZKDrvLst::RemoveSelected() {
  const auto instruments = SelectedInstruments();
  if (instruments.empty()) return;
  MessagePrompt prompt;
  prompt.title = kStudioTitle;
  prompt.text = instruments.size() == 1
                    ? "Remove " + instruments.front()->DisplayKey() + " from the studio?\nIts module stays installed."
                    : "Remove " + std::to_string(instruments.size()) +
                          " instruments from the studio?\nTheir modules stay installed.";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  if (host_.prompts().Message(prompt) != PromptAnswer::Yes) return;
  for (ZKDrvList* instrument : instruments) {
    if (!studio_.GetInstrumentDrvList(instrument)) continue;
    Removed gone;
    gone.instrument = studio_.TakeInstrument(instrument, &gone.index);
    if (!gone.instrument) break;
    removed_.push_back(std::move(gone));
  }
  host_.StudioEdited();
  Refresh();
}

void TZKDrvLst::BuildStudio() {
  MessagePrompt prompt;
  prompt.title = "Build Studio";
  prompt.text =
      "Remove the instruments of the studio and add one of every installed module?\n"
      "Ports and channels are taken from what was last used for each instrument.";
  prompt.buttons = PromptButtons::OkCancel;
  prompt.labels = {"&Build", "Cancel"};
  prompt.icon = PromptIcon::Question;
  if (host_.prompts().Message(prompt) != PromptAnswer::Ok || studio_.LoadStudio() < 0) return;
  studio_.UpdatePortReferences();
  host_.StudioEdited();
  Refresh();
}

void TZKDrvLst::UndoRemove() {
  if (removed_.empty()) return;
  Removed back = std::move(removed_.back());
  removed_.pop_back();
  const ZKDrvList* instrument = studio_.PutBack(std::move(back.instrument), back.index);
  studio_.UpdatePortReferences();
  host_.StudioEdited();
  Refresh();
  tree_->SetCurrentNode(instrument);
  list_->SetCurrentInstrument(instrument);
}

void TZKDrvLst::Moved(int from, int to) {
  if (!studio_.list().MoveInstrument(from, to)) return;
  const ZKDrvList* moved = studio_.GetInstrument(to);
  host_.StudioEdited();
  Refresh();
  tree_->SetCurrentNode(moved);
  list_->SetCurrentInstrument(moved);
}

void TZKDrvLst::MoveCurrent(int by) {
  const ZKDrvList* instrument = CurrentInstrument();
  const auto& all = studio_.instruments();
  for (int i = 0; i < static_cast<int>(all.size()); ++i) {
    if (all[static_cast<std::size_t>(i)].get() == instrument) return Moved(i, i + by);
  }
}

void TZKDrvLst::DeleteModuleOfCurrent() {
  const ZKDrvList* instrument = CurrentInstrument();
  if (!instrument) return;
  const std::string module = instrument->moduleFile;
  MessagePrompt prompt;
  prompt.title = "Delete Module Files";
  prompt.text = "Remove every " + instrument->name + " from the studio and delete the files of its module " + module +
                "?\n\nThe files are moved to the folder \".trash\" in\n" + studio_.paths().instruments.string() +
                "\nA module that comes with the program is installed again at the next start.";
  prompt.buttons = PromptButtons::OkCancel;
  prompt.labels = {"&Delete", "Cancel"};
  prompt.icon = PromptIcon::Warning;
  if (host_.prompts().Message(prompt) != PromptAnswer::Ok) return;
  const Result deleted = DeleteModuleFiles(studio_, module);
  // What was removed before has lost its files.
  std::erase_if(removed_, [&](const Removed& gone) { return gone.instrument->moduleFile == module; });
  host_.StudioEdited();
  Refresh();
  if (!deleted.ok()) host_.prompts().Say("Delete Module Files", deleted.text);
}

void TZKDrvLst::OpenModuleFolder() {
  const ZKDrvList* instrument = CurrentInstrument();
  if (!instrument) return;
  const QString folder = FromUtf8(studio_.facts().ModuleFolder(instrument).string());
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
    emit StatusMessage(tr("%1 could not be opened").arg(ShownLine(folder)));
}

// ---- installing -----------------------------------------------------------------------------------------------------

bool TZKDrvLst::InstallInstrumentModule(const std::string& package, bool queue, const std::string& source, bool more,
                                        bool* goOn) {
  if (goOn) *goOn = true;
  if (installing_) return false;
  installing_ = true;
  const QPointer<TZKDrvLst> alive(this);
  PackageData contents;
  const Result read = LoadPackageAside(package, &contents);
  if (!alive) return false;
  installing_ = false;
  if (!read.ok()) {
    host_.prompts().Message(PackageMessage(read));
    return false;
  }
  const InstallChoice choice = AskInstall(contents, source.empty() ? package : source, more, studio_, host_.prompts());
  if (!alive) return false;
  if (choice.empty) emit StatusMessage(tr("%1 holds nothing to install.").arg(ShownUtf8(contents.fileName)));
  if (choice.answer == InstallAnswer::Cancel && goOn) *goOn = false;
  if (choice.answer != InstallAnswer::Install) return choice.empty;
  installing_ = true;
  InstallReport report;
  ModuleInStudio outcome;
  InstallOptions options;
  options.replace = choice.replace;
  const auto install = [&](const PackageData& bytes, const InstallOptions& wanted, InstallReport* done) {
    const Result installed = InstallWithProgress(bytes, studio_.paths().instruments, wanted, done, this);
    if (alive) installing_ = false;
    return installed;
  };
  const Result result = InstallIntoStudio(studio_, contents, queue, &report, &outcome, options, install);
  if (alive) installing_ = false;
  if (!alive) return result.ok();
  if (!result.ok()) {
    if (result.code == kPackageCancelled && goOn) *goOn = false;
    host_.prompts().Message(PackageMessage(result));
    Refresh();
    return false;
  }
  host_.StudioEdited();
  Refresh();
  Select(report.moduleFile);
  QString words = outcome.reloaded ? tr("%1 was installed again.") : tr("%1 was installed.");
  if (outcome.kept) words += tr(" An instrument whose window stays open uses the new files from the next start on.");
  if (!report.kept.empty()) words += tr(" Your own files were kept.");
  emit StatusMessage(words.arg(ShownUtf8(report.name)));
  return true;
}

void TZKDrvLst::OnInstallFrom(bool folder) {
  if (!folder) return OnInstallFromDisk();
  InstallFromDlg dialog(LastInstallFolder(studio_), this);
  if (dialog.exec() != QDialog::Accepted) return;
  RememberInstallFolder(studio_, dialog.folder());
  bool goOn = true;
  const auto chosen = dialog.Chosen();
  for (std::size_t i = 0; i < chosen.size() && goOn; ++i)
    InstallInstrumentModule(chosen[i], true, {}, i + 1 < chosen.size(), &goOn);
  SenseQueued();
}

void TZKDrvLst::OnInstallFromDisk() {
  FilePrompt prompt;
  prompt.title = "Select Instrument Modules to Install...";
  prompt.folder = LastInstallFolder(studio_);
  prompt.patterns = {"ZK Compressed Module (*.pvz *.PVZ)", "All Files (*)"};
  const auto packages = host_.prompts().Files(prompt);
  if (packages.empty()) return;
  RememberInstallFolder(studio_, FolderOf(packages.front()));
  bool goOn = true;
  for (std::size_t i = 0; i < packages.size() && goOn; ++i)
    InstallInstrumentModule(packages[i], true, {}, i + 1 < packages.size(), &goOn);
  SenseQueued();
}

void TZKDrvLst::OnInstallFromWeb() {
  InstallFromWebDlg dialog(
      studio_, host_,
      [this](const std::filesystem::path& package, const std::string& source, bool more) {
        bool goOn = true;
        InstallInstrumentModule(package.string(), true, source, more, &goOn);
        return goOn;
      },
      this);
  dialog.exec();
  SenseQueued();
}

// ---- looking for instruments ----------------------------------------------------------------------------------------

void TZKDrvLst::SenseQueued() {
  const auto added = studio_.TakeQueued();
  if (added.empty() || !host_.autoConfig() || host_.settings().Value(SettingId::MainAutoConfigInstruments) == 0) return;
  BeginAutoConfigRow(*host_.autoConfig());
  for (ZKDrvList* instrument : added) {
    if (AutoConfigRowCancelled(*host_.autoConfig())) break;
    if (studio_.GetInstrumentDrvList(instrument))
      AutoConfigInstrument(studio_, instrument, this, *host_.autoConfig(), AutoConfigMode::Quiet);
  }
  Refresh();
}

void TZKDrvLst::OnAutoSense() {
  const auto instruments = SelectedInstruments();
  if (!host_.autoConfig()) return;
  if (instruments.empty()) return host_.ShowConnected();
  BeginAutoConfigRow(*host_.autoConfig());
  for (ZKDrvList* instrument : instruments) {
    if (AutoConfigRowCancelled(*host_.autoConfig())) break;
    if (studio_.GetInstrumentDrvList(instrument))
      AutoConfigInstrument(studio_, instrument, this, *host_.autoConfig(),
                           instruments.size() > 1 ? AutoConfigMode::Quiet : AutoConfigMode::Ask);
  }
  Refresh();
}

void TZKDrvLst::OnSettings() {
  ZKDrvList* instrument = CurrentInstrument();
  if (!instrument) return;
  InstrumentSettingsDlg dialog(studio_, instrument, host_, this);
  if (dialog.exec() == QDialog::Accepted) Refresh();
}

// ---- reports --------------------------------------------------------------------------------------------------------

void TZKDrvLst::OnSetupInformation() {
  std::ostringstream text;
  auto facts = StudioReportFacts::OfThisMachine(ToUtf8(QCoreApplication::applicationDirPath()));
  facts.windows = host_.windowCounters();
  studio_.SetupInformation(text, facts);
  auto* window =
      new StudioReportWindow(tr("Configuration Report"), ShownText(FromUtf8(text.str())), studio_.paths().data.string(),
                             "Studio Configuration.txt", host_.prompts(), this);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->show();
}

void TZKDrvLst::OnMidiDeviceFile() {
  const auto selected = SelectedInstruments();
  if (selected.empty()) return;
  TextPrompt prompt;
  prompt.title = "MIDI Device File";
  prompt.label = selected.size() == 1 ? "Name of the file for the selected instrument:"
                                      : "Name of the file for the selected instruments:";
  prompt.text = selected.size() == 1 ? selected.front()->name : "Studio";
  std::string name = prompt.text;
  if (!host_.prompts().Text(prompt, name)) return;
  std::filesystem::path written;
  const std::vector<const ZKDrvList*> instruments(selected.begin(), selected.end());
  if (studio_.BuildMIDIDeviceFiles(name, instruments, &written).ok() && !written.empty())
    emit StatusMessage(tr("%1 was written.").arg(ShownUtf8(written.string())));
}

void TZKDrvLst::OnDriversMissingDescriptor() {
  const std::string lines = studio_.OnDriversMissingDescriptor();
  if (lines.empty()) {
    host_.prompts().Say("Check SysEx Maps", "Every kind of data that needs a SysEx map has one.");
  } else if (CopyText(host_.prompts(), FromUtf8(lines), "Check SysEx Maps")) {
    host_.prompts().Say("Check SysEx Maps", "Finished copying to clipboard");
  }
}

void TZKDrvLst::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  if (command == CommandId::MidiGet) host_.OpenDriver(CurrentNode(), true);
  if (command == CommandId::FilePrint) PrintStudio(studio_, host_.prompts(), this);
  if (command == CommandId::EditUndo) UndoRemove();
  if (command == CommandId::FileSave) studio_.DrvSaveSetup(0);
  if (command == CommandId::FileSaveAs) studio_.DrvSaveSetup(1);
}

// ---- opened from outside --------------------------------------------------------------------------------------------

TZKDrvLst* ZKDriverList(QWidget* parent, ZKStudioDoc& studio, StudioWindowHost& host) {
  return new TZKDrvLst(studio, host, parent);
}

bool DrvOpenNewEditor(TZKDrvLst* parent) {
  ZKDrvList* node = parent->CurrentNode();
  if (!node || node->IsInstrument()) {
    parent->host().prompts().Say(kStudioTitle, "Choose a kind of data of an instrument in the studio first.");
    return false;
  }
  parent->host().OpenDriver(node, false);
  return true;
}

bool DrvRemoveAllDrivers(TZKDrvLst* parent) {
  const bool removed = parent->studio().DeleteAllDrivers(true);
  parent->host().StudioEdited();
  parent->Refresh();
  return removed;
}

}  // namespace tonalith
