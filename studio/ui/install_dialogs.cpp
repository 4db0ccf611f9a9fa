#include "studio/ui/install_dialogs.h"

#include <QCryptographicHash>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QListWidget>
#include <QLocale>
#include <QProgressDialog>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "platform/clock.h"
#include "platform/ini_file.h"
#include "platform/jobs.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

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

std::string FileSha256(const std::filesystem::path& file) {
  QFile in(FromUtf8(file.string()));
  QCryptographicHash hash(QCryptographicHash::Sha256);
  if (!in.open(QIODevice::ReadOnly) || !hash.addData(&in)) return {};
  return hash.result().toHex().toStdString();
}

std::string InstallPreviewText(const std::string& source, const std::string& sha256, const PackagePreview& preview) {
  std::string text =
      "Install " + preview.name + (preview.version.empty() ? "" : ", version " + preview.version) + "?\n";
  if (preview.installed) {
    text += "It takes the place of the installed module";
    text += preview.installedVersion.empty() ? std::string() : ", version " + preview.installedVersion;
    text += ". Instruments of it keep their ports and channels, and what you changed is kept.\n";
  }
  text += "\nFrom: " + source + "\nSize: " + SizeText(preview.packageSize) + ", " + SizeText(preview.totalSize) +
          " unpacked\nSHA-256: " + sha256.substr(0, 32) + "\n                 " +
          (sha256.size() > 32 ? sha256.substr(32) : std::string()) + "\nModule: " + preview.moduleFile + "\n\n" +
          std::to_string(preview.files.size()) + (preview.files.size() == 1 ? " file:\n" : " files:\n");
  for (std::size_t i = 0; i < std::min(kShownFiles, preview.files.size()); ++i)
    text += "    " + preview.files[i].path + "\n";
  if (preview.files.size() > kShownFiles)
    text += "    and " + std::to_string(preview.files.size() - kShownFiles) + " more\n";
  text.pop_back();
  return text;
}

InstallAnswer AskInstall(const std::filesystem::path& package, const std::string& source, bool more, bool* empty,
                         const ZKStudioDoc& studio, Prompts& prompts) {
  *empty = false;
  if (!HasInstrumentDefinition(studio.paths().instruments)) {
    prompts.Say("Install Instrument Module", DefinitionMissing(studio.paths().instruments));
    return InstallAnswer::Cancel;
  }
  PackagePreview preview;
  if (const Result looked = PreviewPackage(package, studio.paths().instruments, &preview); !looked.ok()) {
    prompts.Message(PackageMessage(looked));
    return InstallAnswer::Skip;
  }
  if (preview.files.empty()) {
    *empty = true;
    return InstallAnswer::Skip;
  }
  MessagePrompt prompt;
  prompt.title = "Install Instrument Module";
  prompt.text = InstallPreviewText(source, FileSha256(package), preview);
  prompt.icon = PromptIcon::Question;
  prompt.buttons = more ? PromptButtons::YesNoCancel : PromptButtons::OkCancel;
  prompt.labels =
      more ? std::vector<std::string>{"&Install", "&Skip", "Cancel"} : std::vector<std::string>{"&Install", "Cancel"};
  switch (prompts.Message(prompt)) {
    case PromptAnswer::Ok:
    case PromptAnswer::Yes:
      return InstallAnswer::Install;
    case PromptAnswer::No:
      return InstallAnswer::Skip;
    default:
      return InstallAnswer::Cancel;
  }
}

Result InstallWithProgress(const std::filesystem::path& package, const std::filesystem::path& instruments,
                           InstallReport* report, QWidget* parent) {
  QProgressDialog progress(QString(), QObject::tr("Cancel"), 0, 0, parent);
  SetLabel(progress, QObject::tr("Installing %1").arg(ShownUtf8(package.filename().string())));
  SetTitle(&progress, QObject::tr("Install Instrument Module"));
  progress.setWindowModality(Qt::ApplicationModal);
  progress.setMinimumDuration(kProgressAfterMs);
  progress.setAutoReset(false);
  progress.setValue(0);
  QEventLoop loop;
  Result result;
  InstallOptions options;
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
    : QDialog(parent), place_(new PlainLabel(this)), list_(new QListWidget(this)) {
  SetTitle(this, tr("Install Instrument Modules"));
  auto* column = new QVBoxLayout(this);
  auto* row = new QHBoxLayout;
  place_->setWordWrap(true);
  place_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  row->addWidget(place_, 1);
  auto* choose = new QPushButton(tr("&Folder..."), this);
  row->addWidget(choose);
  column->addLayout(row);
  list_->setAccessibleName(tr("Packages"));
  column->addWidget(list_, 1);
  auto* all = new QPushButton(tr("Select &All"), this);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  buttons->addButton(all, QDialogButtonBox::ActionRole);
  install_ = buttons->addButton(tr("&Install"), QDialogButtonBox::AcceptRole);
  column->addWidget(buttons);
  connect(choose, &QPushButton::clicked, this, &InstallFromDlg::ChooseFolder);
  connect(all, &QPushButton::clicked, this, [this] {
    for (int i = 0; i < list_->count(); ++i) list_->item(i)->setCheckState(Qt::Checked);
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
  UpdateState();
}

void InstallFromDlg::ChooseFolder() {
  const QString folder = QFileDialog::getExistingDirectory(
      this, QStringLiteral("Select the Folder to install Instruments from"), FromUtf8(folder_));
  if (!folder.isEmpty()) SetFolder(ToUtf8(folder));
}

void InstallFromDlg::UpdateState() {
  install_->setEnabled(!Chosen().empty());
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
