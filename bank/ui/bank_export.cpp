#include "bank/ui/bank_export.h"

#include <QCoreApplication>
#include <algorithm>
#include <utility>

#include "bank/ui/bank_window.h"
#include "bank/ui/export_preview.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/settings.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// In the order of menus.
constexpr CommandId kExportCommands[] = {
    CommandId::ExportReaper, CommandId::ExportCakewalk,       CommandId::ExportCubase, CommandId::ExportNameDocument,
    CommandId::ExportHtml,   CommandId::ExportHtmlProperties, CommandId::ExportText,   CommandId::ExportTextProperties,
    CommandId::ExportIni,    CommandId::ExportAcid,           CommandId::ExportJammer, CommandId::ExportLogic,
};
constexpr CommandId kOtherExports[] = {CommandId::ExportPreview,  CommandId::ExportAgain, CommandId::ExportFollow,
                                       CommandId::ExportMaster,   CommandId::ExportAll,   CommandId::ExportCopyText,
                                       CommandId::ExportCopyNames};
constexpr int kFollowMs = 1500;  // after the last of a run of changes
constexpr char kMasterTitle[] = "Select Sonar/Cakewalk Master.ins file...";
constexpr char kMasterFilter[] = "Sonar/Cakewalk INS (*.ins)|*.ins|All files (*.*)|*.*|";

QString ExportSays(const char* text) {
  return QCoreApplication::translate("BankExport", text);
}

}  // namespace

BankExport::BankExport(TZKBank& window)
    : window_(window),
      names_(
          window, window.context(), [this] { return Source(); }, [&window](const QString& text) { window.Say(text); }) {
  wait_.setSingleShot(true);
  QObject::connect(&wait_, &QTimer::timeout, &wait_, [this] { WriteAgain(); });
  format_ = names_.Choices().Format();
  DocumentChanged();
}

bool BankExport::Has(CommandId command) const {
  return ExportFormatOf(command) ||
         std::find(std::begin(kOtherExports), std::end(kOtherExports), command) != std::end(kOtherExports);
}

QString BankExport::Refusal(CommandId command) const {
  if (command == CommandId::ExportFollow && !follows_) {
    if (!last_) return ExportSays("Export the names first: that file can then follow the bank.");
    if (window_.document().path().empty())
      return ExportSays("Save the bank first: what follows it is kept by its file.");
  }
  if (command == CommandId::ExportFollow && follows_) return {};
  if (command == CommandId::ExportAgain && !format_) return ExportSays("No names were exported yet.");
  if (window_.document().IsBusy()) return ShownUtf8(window_.document().BusyReason());
  return window_.document().IsEmpty() ? ExportSays("There is nothing to export yet.") : QString();
}

std::vector<CommandId> BankExport::EntriesOf(BankMenu menu) const {
  std::vector<CommandId> entries;
  if (menu != BankMenu::Export) return entries;
  entries.insert(entries.end(), std::begin(kExportCommands), std::end(kExportCommands));
  entries.push_back(CommandId::None);
  entries.insert(entries.end(), std::begin(kOtherExports), std::end(kOtherExports));
  return entries;
}

void BankExport::Run(CommandId command) {
  if (const auto format = ExportFormatOf(command)) return ExportNames(*format);
  switch (command) {
    case CommandId::ExportPreview:
      return Preview();
    case CommandId::ExportAgain:
      return format_ ? ExportNames(*format_) : void();
    case CommandId::ExportFollow:
      return KeepFollowing();
    case CommandId::ExportMaster:
      return MergeIntoMaster();
    case CommandId::ExportAll:
      return ExportAll();
    case CommandId::ExportCopyText:
      return names_.Copy(ExportFormat::Text);
    case CommandId::ExportCopyNames:
      return names_.Copy(ExportFormat::Names);
    default:
      break;
  }
}

ExportSource BankExport::Source() const {
  ExportSource source;
  source.data = {window_.dataFile()};
  source.sysEx = [this](bool midiFile, std::vector<std::uint8_t>* bytes) {
    std::string note;
    return window_.context().Export(*window_.dataFile(), midiFile, names_.SuggestedName(), bytes, &note);
  };
  return source;
}

void BankExport::ExportNames(ExportFormat format) {
  const std::string path = names_.Write(format);
  if (path.empty()) return;
  last_ = AutomaticExport{format, path};
  format_ = format;
  emit window_.StateChanged();
}

// Closes with the bank's window; what was changed meanwhile is shown when it is asked for again.
void BankExport::Preview() {
  auto* dialog = window_.findChild<tonalith::ExportPreview*>();
  if (!dialog) {
    const auto render = [this](ExportFormat format, std::string* text) {
      ExportSource source = Source();
      return RenderExport(format, &source, text);
    };
    dialog = new tonalith::ExportPreview(
        format_, render, [this](ExportFormat format) { ExportNames(format); }, &window_);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
  }
  dialog->Show();
  dialog->show();
  dialog->raise();
  dialog->activateWindow();
}

// Files that are there already are asked for once.
void BankExport::ExportAll() {
  const std::string path =
      names_.AskFile("Export All Formats: folder and name of the files", "All Formats", names_.SuggestedName(), "*");
  if (path.empty()) return;
  const std::string folder = FolderOf(path), name = FileNameOf(path);
  int there = 0;
  for (const ExportKind& kind : ExportKinds())
    if (FileExists(folder + "/" + ExportFileName(kind.format, name))) ++there;
  if (there > 0) {
    MessagePrompt prompt;
    prompt.title = "Export All Formats";
    prompt.text =
        std::to_string(there) + (there == 1 ? " file" : " files") + " of this name in " + folder + " will be replaced.";
    prompt.buttons = PromptButtons::OkCancel;
    prompt.labels = {"Replace", "Cancel"};
    prompt.icon = PromptIcon::Question;
    if (window_.context().prompts().Message(prompt) != PromptAnswer::Ok) return;
  }
  ExportSource source = Source();
  std::vector<std::string> paths;
  const Result result = DiskMidiAll(&source, folder, name, &paths);
  if (result.ok()) names_.Choices().SetLast(folder, std::nullopt);
  names_.Tell(result, ExportSays("%1 files were written to %2").arg(paths.size()).arg(ShownUtf8(folder)));
}

// ---- a file that follows the bank -----------------------------------------------------------------------------------

bool BankExport::IsChecked(CommandId command) const {
  return command == CommandId::ExportFollow && follows_;
}

QString BankExport::Text(CommandId command) const {
  if (command == CommandId::ExportAgain)
    return format_ ? ExportSays("Again as %1...").arg(QString::fromLatin1(KindOf(*format_).title)) : QString();
  const std::optional<AutomaticExport>& file = follows_ ? follows_ : last_;
  return command == CommandId::ExportFollow && file
             ? MenuText(ExportSays("Keep %1 Up to Date").arg(ShownUtf8(FileNameOf(file->path))))
             : QString();
}

void BankExport::KeepFollowing() {
  const std::string& path = window_.document().path();
  const std::optional<AutomaticExport> wanted = follows_ ? std::nullopt : last_;
  if (const Result kept = names_.Choices().SetAutomatic(path, wanted); !kept.ok())
    return window_.Say(ShownUtf8(kept.text));
  window_.Say(wanted ? ExportSays("%1 is written again whenever the bank has changed.").arg(ShownUtf8(wanted->path))
                     : ExportSays("%1 stays as it is.").arg(ShownUtf8(follows_->path)));
  if (!wanted) last_ = follows_;
  follows_ = wanted;
  wait_.stop();
  state_ = window_.document().history().State();
  emit window_.StateChanged();
}

// What follows a bank is found again with its file.
void BankExport::DocumentChanged() {
  const ZKBankDoc& bank = window_.document();
  if (bank.path() != ofPath_) {
    ofPath_ = bank.path();
    follows_ = names_.Choices().AutomaticOf(ofPath_);
    state_ = bank.history().State();
  }
  if (!follows_ || bank.history().State() == state_) return;
  // What is saved is not waited for.
  wait_.start(bank.IsModified() ? kFollowMs : 0);
}

void BankExport::SettingsChanged() {
  format_ = names_.Choices().Format();
}

void BankExport::WriteAgain() {
  const ZKBankDoc& bank = window_.document();
  if (!follows_ || bank.IsBusy() || bank.IsEmpty()) return;
  if (writing_) return wait_.start(kFollowMs);  // what is newer must not be overtaken
  state_ = bank.history().State();
  ExportSource source = Source();
  std::string bytes;
  const std::string path = follows_->path;
  if (const Result made = RenderExport(follows_->format, &source, &bytes); !made.ok())
    return window_.Say(ExportSays("%1 was not written: %2").arg(ShownUtf8(path), ShownUtf8(made.text)));
  writing_ = true;
  window_.context().InBackground(
      receiver_, [path, bytes = std::move(bytes)] { return DiskMidiAuto(path, bytes); },
      [this, path](const Result& written) {
        writing_ = false;
        if (!written.ok())
          window_.Say(ExportSays("%1 was not written: %2").arg(ShownUtf8(path), ShownUtf8(written.text)));
      });
}

void BankExport::MergeIntoMaster() {
  Settings& settings = window_.context().settings();
  const std::string last = settings.MainSonarFiles(0);
  FilePrompt prompt;
  prompt.title = kMasterTitle;
  prompt.folder = last.empty() ? window_.context().DataFolder() : FolderOf(last);
  prompt.name = last.empty() ? std::string() : FileNameOf(last);
  prompt.patterns = FilePatterns(kMasterFilter);
  const std::string path = window_.context().prompts().File(prompt);
  if (path.empty()) return;
  ExportSource source = Source();
  std::string backup;
  const Result result = DiskMidiCakewalkV3(&source, path, &backup);
  if (result.ok()) settings.MainSonarFiles(0, path);
  const QString done = ExportSays("The names are in %1").arg(ShownUtf8(path));
  names_.Tell(result, backup.empty() ? done : ExportSays("%1; what it was before is %2").arg(done, ShownUtf8(backup)));
}

}  // namespace tonalith
