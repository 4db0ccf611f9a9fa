#include "studio/ui/install_dialogs.h"

#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QListWidget>
#include <QLocale>
#include <QProgressDialog>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

#include "platform/atomic_file.h"
#include "platform/clock.h"
#include "platform/ini_file.h"
#include "platform/jobs.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "ui/beside.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/empty_state.h"
#include "ui/style/list_delegate.h"
#include "ui/style/list_search.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

constexpr char kSection[] = "Studio";
constexpr char kFolderKey[] = "Install Folder";
constexpr int kNameRole = Qt::UserRole;
constexpr std::size_t kShownFiles = 12;
constexpr int kProgressAfterMs = 400;

std::string SizeText(std::uint64_t bytes) {
  return ToUtf8(QLocale().formattedDataSize(static_cast<qint64>(bytes)));
}

}  // namespace

std::string LastInstallFolder(const ZKStudioDoc& studio) {
  const std::string folder = IniFile(studio.paths().applicationIni.string()).GetString(kSection, kFolderKey);
  return folder.empty() ? studio.paths().data.string() : folder;
}

void RememberInstallFolder(const ZKStudioDoc& studio, const std::string& folder) {
  if (studio.paths().applicationIni.empty()) return;
  IniFile ini(studio.paths().applicationIni.string());
  ini.Set(kSection, kFolderKey, folder);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
}

std::string InstallPreviewText(const std::string& source, const PackageData& package, const PackagePreview& preview) {
  const auto versioned = [](const std::string& version) { return version.empty() ? "" : ", version " + version; };
  const PackagePreview::Module& module = preview.module;
  std::string text = "Install " + module.name + versioned(module.version) + "?\n";
  const auto isConflict = [&](const PackagePreview::Module& one) {
    return std::any_of(preview.conflicts.begin(), preview.conflicts.end(), [&](const ModuleConflict& conflict) {
      return AsciiEqualNoCase(conflict.victim.moduleFile, one.moduleFile);
    });
  };
  if (module.installed && !isConflict(module)) {
    text += "It takes the place of the installed module" + versioned(module.installedVersion) +
            ". Instruments of it keep their ports and channels, and what you changed is kept.\n";
  }
  for (const PackagePreview::Module& further : preview.further) {
    text += "It also brings " + further.name + versioned(further.version);
    if (further.installed && !isConflict(further))
      text += ", which takes the place of the installed module" + versioned(further.installedVersion);
    text += ".\n";
  }
  for (const ModuleConflict& conflict : preview.conflicts)
    text += "It would take the place of " + ConflictText(conflict) + ", which is another module.\n";
  text += "\nFrom: " + source + "\nSize: " + SizeText(preview.packageSize) + ", " + SizeText(preview.totalSize) +
          " unpacked\nSHA-256: " + package.sha256.substr(0, 32) + "\n                 " + package.sha256.substr(32) +
          "\nModule: " + module.moduleFile + "\n\n" + std::to_string(preview.files.size()) +
          (preview.files.size() == 1 ? " file:\n" : " files:\n");
  for (std::size_t i = 0; i < std::min(kShownFiles, preview.files.size()); ++i)
    text += "    " + preview.files[i].path + "\n";
  if (preview.files.size() > kShownFiles)
    text += "    and " + std::to_string(preview.files.size() - kShownFiles) + " more\n";
  text.pop_back();
  return text;
}

// Each module that would make room is named once more, with what happens to it.
static bool AskReplace(const PackagePreview& preview, Prompts& prompts) {
  MessagePrompt prompt;
  prompt.title = "Replace Another Module";
  prompt.icon = PromptIcon::Warning;
  prompt.buttons = PromptButtons::OkCancel;
  prompt.labels = {"&Replace", "Cancel"};
  for (const ModuleConflict& conflict : preview.conflicts) {
    prompt.text += "\"" + conflict.byName + "\" takes the place of " + ConflictText(conflict) +
                   ".\nThat module leaves the studio, and its files are moved to the folder \".trash\" in the "
                   "instrument folder.\n\n";
  }
  prompt.text += preview.conflicts.size() == 1 ? "Replace this module?" : "Replace these modules?";
  return prompts.Message(prompt) == PromptAnswer::Ok;
}

InstallChoice AskInstall(const PackageData& package, const std::string& source, bool more, const ZKStudioDoc& studio,
                         Prompts& prompts) {
  InstallChoice choice;
  if (!HasInstrumentDefinition(studio.paths().instruments)) {
    prompts.Say("Install Instrument Module", DefinitionMissing(studio.paths().instruments));
    choice.answer = InstallAnswer::Cancel;
    return choice;
  }
  PackagePreview preview;
  Result looked;
  RunBeside([&] { looked = PreviewPackage(package, studio.paths().instruments, &preview); });
  if (!looked.ok()) {
    prompts.Message(PackageMessage(looked));
    return choice;
  }
  if (preview.files.empty()) {
    choice.empty = true;
    return choice;
  }
  MessagePrompt prompt;
  prompt.title = "Install Instrument Module";
  prompt.text = InstallPreviewText(source, package, preview);
  prompt.icon = PromptIcon::Question;
  prompt.buttons = more ? PromptButtons::YesNoCancel : PromptButtons::OkCancel;
  prompt.labels =
      more ? std::vector<std::string>{"&Install", "&Skip", "Cancel"} : std::vector<std::string>{"&Install", "Cancel"};
  switch (prompts.Message(prompt)) {
    case PromptAnswer::Ok:
    case PromptAnswer::Yes:
      break;
    case PromptAnswer::No:
      return choice;
    default:
      choice.answer = InstallAnswer::Cancel;
      return choice;
  }
  if (!preview.conflicts.empty() && !AskReplace(preview, prompts)) return choice;
  choice.replace = ReplacedModules(preview);
  choice.answer = InstallAnswer::Install;
  return choice;
}

Result LoadPackageAside(const std::filesystem::path& package, PackageData* data) {
  Result result;
  RunBeside([&] { result = LoadPackage(package, data); });
  return result;
}

Result InstallWithProgress(const PackageData& package, const std::filesystem::path& instruments,
                           const InstallOptions& wanted, InstallReport* report, QWidget* parent) {
  QProgressDialog progress(QString(), QObject::tr("Cancel"), 0, 0, parent);
  SetLabel(progress, QObject::tr("Installing %1").arg(ShownUtf8(package.fileName)));
  SetTitle(&progress, QObject::tr("Install Instrument Module"));
  progress.setWindowModality(Qt::ApplicationModal);
  progress.setMinimumDuration(kProgressAfterMs);
  progress.setAutoReset(false);
  progress.setValue(0);
  QEventLoop loop;
  Result result;
  InstallOptions options = wanted;
  QObject::connect(&progress, &QProgressDialog::canceled, [&] { options.cancel.Cancel(); });
  options.progress = [&](std::size_t done, std::size_t all) {
    QMetaObject::invokeMethod(
        &progress,
        [&progress, done, all] {
          progress.setMaximum(static_cast<int>(std::min<std::size_t>(all, INT32_MAX)));
          progress.setValue(static_cast<int>(std::min<std::size_t>(done, INT32_MAX)));
        },
        Qt::QueuedConnection);
  };
  Jobs jobs(SystemClock(), 1);
  jobs.Start([&](const CancelToken&) {
    result = InstallPackage(package, instruments, report, options);
    QMetaObject::invokeMethod(
        &loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
  });
  loop.exec();
  jobs.StopAll();
  return result;
}

InstallFromDlg::InstallFromDlg(const std::string& folder, QWidget* parent)
    : QDialog(parent),
      place_(new PlainLabel(this)),
      list_(new QListWidget(this)),
      search_(new SearchField(tr("Search packages"), this)),
      found_(new ListSearch(search_, list_)) {
  SetTitle(this, tr("Install Instrument Modules"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  DressList(list_);
  auto* row = new QHBoxLayout;
  place_->setWordWrap(true);
  place_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  row->addWidget(place_, 1);
  auto* choose = new QPushButton(tr("&Folder..."), this);
  row->addWidget(choose);
  column->addLayout(row);
  column->addWidget(search_);
  search_->ServeDialog(this);
  list_->setAccessibleName(tr("Packages"));
  places_ = new QStackedWidget(this);
  places_->addWidget(
      new EmptyState(Glyph::Import, tr("No packages here"), tr("Choose the folder they are in."), places_));
  places_->addWidget(list_);
  column->addWidget(places_, 1);
  found_->SetSummary([this] { return SearchSummary(); });
  column->addWidget(found_->Summary());
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  all_ = buttons->addButton(tr("Select &All"), QDialogButtonBox::ActionRole);
  install_ = buttons->addButton(tr("&Install"), QDialogButtonBox::AcceptRole);
  column->addWidget(buttons);
  connect(choose, &QPushButton::clicked, this, &InstallFromDlg::ChooseFolder);
  connect(all_, &QPushButton::clicked, this, [this] {
    for (int i = 0; i < list_->count(); ++i)
      if (!list_->item(i)->isHidden()) list_->item(i)->setCheckState(Qt::Checked);
  });
  connect(list_, &QListWidget::itemChanged, this, &InstallFromDlg::UpdateState);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  resize(fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 20);
  SetFolder(folder);
}

void InstallFromDlg::SetFolder(const std::string& folder) {
  folder_ = folder;
  list_->clear();
  for (const std::string& name : OfferedPackages(folder)) {
    auto* item = new QListWidgetItem(ShownUtf8(name), list_);
    item->setData(kNameRole, FromUtf8(name));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(Qt::Unchecked);
  }
  place_->setText(list_->count() ? tr("Packages in %1:").arg(ShownUtf8(folder))
                                 : tr("There are no packages (.pvz) in %1.").arg(ShownUtf8(folder)));
  places_->setCurrentIndex(list_->count() > 0 ? 1 : 0);
  search_->setEnabled(list_->count() > 0);
  found_->Refresh();
  UpdateState();
}

// Packages that are checked are installed whether the search shows them or not.
QString InstallFromDlg::SearchSummary() const {
  const QString shown =
      tr("%1 of %2 packages are shown; Select All takes these.").arg(found_->Shown()).arg(list_->count());
  const int hidden = CheckedOutOfSight(*list_);
  if (hidden == 0) return shown;
  return shown + QLatin1Char(' ') + tr("Hidden, and installed as well because they are checked: %1.").arg(hidden);
}

void InstallFromDlg::ChooseFolder() {
  const QString folder = QFileDialog::getExistingDirectory(
      this, QStringLiteral("Select the Folder to install Instruments from"), FromUtf8(folder_));
  if (!folder.isEmpty()) SetFolder(ToUtf8(folder));
}

void InstallFromDlg::UpdateState() {
  EnableUnless(install_, Chosen().empty() ? tr("No package is checked.") : QString());
  EnableUnless(all_, list_->count() == 0 ? tr("There are no packages.") : QString());
  found_->ShowSummary();
}

std::vector<std::string> InstallFromDlg::Chosen() const {
  std::vector<std::string> paths;
  for (int i = 0; i < list_->count(); ++i) {
    if (list_->item(i)->checkState() == Qt::Checked)
      paths.push_back(JoinPath(folder_, ToUtf8(list_->item(i)->data(kNameRole).toString())));
  }
  return paths;
}

}  // namespace tonalith
