#include "studio/ui/install_web.h"

#include <unistd.h>

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <system_error>

#include "platform/clock.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/settings.h"
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

constexpr char kWebTitle[] = "Install from Web";
constexpr int kNameRole = Qt::UserRole;

}  // namespace

InstallFromWebDlg::InstallFromWebDlg(ZKStudioDoc& studio, StudioWindowHost& host, Install install, QWidget* parent)
    : QDialog(parent),
      studio_(studio),
      host_(host),
      install_(std::move(install)),
      downloads_(studio.paths().instruments / (".download-" + std::to_string(::getpid()))),
      status_(new PlainLabel(this)),
      list_(new QListWidget(this)),
      search_(new SearchField(tr("Search packages"), this)),
      installed_(new QCheckBox(tr("Select the installed &modules"), this)),
      bar_(new QProgressBar(this)),
      jobs_(std::make_unique<Jobs>(SystemClock(), 1)) {
  SetTitle(this, tr("Install from Web"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  DressList(list_);
  column->addWidget(BuildServer());
  status_->setWordWrap(true);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  column->addWidget(status_);
  places_ = new QStackedWidget(this);
  places_->addWidget(new EmptyState(Glyph::Import, tr("No modules are listed"),
                                    tr("Connect to a server to see what it offers."), places_));
  places_->addWidget(BuildList());
  column->addWidget(places_, 1);
  column->addWidget(installed_);
  column->addWidget(bar_);
  auto* buttons = new QDialogButtonBox(this);
  connect_ = buttons->addButton(tr("C&onnect"), QDialogButtonBox::ActionRole);
  start_ = buttons->addButton(tr("&Install"), QDialogButtonBox::ActionRole);
  close_ = buttons->addButton(tr("Close"), QDialogButtonBox::RejectRole);
  column->addWidget(buttons);
  connect(connect_, &QPushButton::clicked, this, &InstallFromWebDlg::Connect);
  connect(start_, &QPushButton::clicked, this, &InstallFromWebDlg::InstallChosen);
  connect(buttons, &QDialogButtonBox::rejected, this, &InstallFromWebDlg::reject);
  connect(list_, &QListWidget::itemChanged, this, &InstallFromWebDlg::UpdateState);
  connect(installed_, &QCheckBox::toggled, this, &InstallFromWebDlg::MarkInstalled);
  bar_->setVisible(false);
  status_->setText(Server().Configured()
                       ? tr("Connect to see the modules that the server offers.")
                       : tr("No module server is set up. Type the address of one to see the modules it offers."));
  resize(fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 30);
  UpdateState();
  if (site_->text().isEmpty()) site_->setFocus();
}

InstallFromWebDlg::~InstallFromWebDlg() {
  cancel_.Cancel();
  jobs_.reset();
  std::error_code error;
  std::filesystem::remove_all(downloads_, error);
}

QWidget* InstallFromWebDlg::BuildList() {
  auto* page = new QWidget(places_);
  auto* column = new QVBoxLayout(page);
  SetSpace(column, 0, kGap);
  column->addWidget(search_);
  list_->setAccessibleName(tr("Packages of the server"));
  column->addWidget(list_, 1);
  found_ = new ListSearch(search_, list_);
  found_->SetSummary([this] { return SearchSummary(); });
  column->addWidget(found_->Summary());
  search_->ServeDialog(this);
  return page;
}

// Packages that are checked are installed whether the search shows them or not.
QString InstallFromWebDlg::SearchSummary() const {
  const QString shown = tr("%1 of %2 packages are shown.").arg(found_->Shown()).arg(list_->count());
  const int hidden = CheckedOutOfSight(*list_);
  if (hidden == 0) return shown;
  return shown + QLatin1Char(' ') + tr("Hidden, and installed as well because they are checked: %1.").arg(hidden);
}

QWidget* InstallFromWebDlg::BuildServer() {
  const ModuleServer server = ChosenModuleServer(host_.settings(), host_.PreferencesIni());
  auto* group = new QGroupBox(tr("Server"), this);
  // Where there is little height, the list gives way.
  group->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  auto* form = new QFormLayout(group);
  const auto field = [&](const QString& label, const std::string& text, const QString& hint) {
    auto* edit = new QLineEdit(group);
    SetEdited(edit, text);
    edit->setPlaceholderText(hint);
    edit->setMaxLength(255);
    form->addRow(label, edit);
    connect(edit, &QLineEdit::textChanged, this, &InstallFromWebDlg::UpdateState);
    return edit;
  };
  site_ = field(tr("&Site:"), server.site, tr("ftp.example.org"));
  directory_ = field(tr("&Directory:"), server.directory, tr("folder of the packages"));
  user_ = field(tr("&User:"), server.user, tr("empty: anonymous"));
  password_ = field(tr("&Password:"), server.password, {});
  password_->setEchoMode(QLineEdit::Password);
  return group;
}

ModuleServer InstallFromWebDlg::Server() const {
  ModuleServer server{ToUtf8(site_->text().trimmed()), ToUtf8(directory_->text().trimmed()), ToUtf8(user_->text()),
                      ToUtf8(password_->text()), false};
  server.plainPassword = plainAllowed_ == server.site + "\n" + server.user;
  return server;
}

QString InstallFromWebDlg::status() const {
  return status_->text();
}

void InstallFromWebDlg::SetBusy(bool busy) {
  busy_ = busy;
  close_->setText(busy ? tr("Cancel") : tr("Close"));
  bar_->setVisible(busy);
  bar_->setRange(0, 0);
  UpdateState();
}

void InstallFromWebDlg::UpdateState() {
  bool any = false;
  for (int i = 0; i < list_->count(); ++i) any = any || list_->item(i)->checkState() == Qt::Checked;
  const QString busy = busy_ ? tr("The server is being asked.") : QString();
  const auto unless = [&busy](bool ready, const QString& reason) { return busy.isEmpty() && !ready ? reason : busy; };
  EnableUnless(connect_, unless(!site_->text().trimmed().isEmpty(), tr("Type the address of a server first.")));
  EnableUnless(start_, unless(any, tr("No package is checked.")));
  places_->setCurrentIndex(list_->count() > 0 ? 1 : 0);
  EnableUnless(installed_, unless(list_->count() > 0, tr("There are no packages yet.")));
  list_->setEnabled(!busy_);
  search_->setEnabled(!busy_ && list_->count() > 0);
  found_->ShowSummary();
  connect_->setDefault(list_->count() == 0);
}

void InstallFromWebDlg::Run(std::function<void(ModuleServerSession&)> work, std::function<void()> done) {
  cancel_ = CancelToken();
  SetBusy(true);
  jobs_->Start([this, server = Server(), cancel = cancel_, work = std::move(work),
                done = std::move(done)](const CancelToken&) mutable {
    ModuleServerSession session(server, cancel);
    work(session);
    // Jobs end before the dialog does; what is posted to a dialog that is gone is dropped.
    QMetaObject::invokeMethod(this, std::move(done), Qt::QueuedConnection);
  });
}

void InstallFromWebDlg::Connect() {
  const ModuleServer server = Server();
  const ModuleServer own = ModuleServer::FromIni(IniFile(host_.PreferencesIni()));
  const bool same = server.site == own.site && server.directory == own.directory && server.user == own.user &&
                    server.password == own.password;
  Settings& settings = host_.settings();
  settings.MainGetAltFtpSite(same ? std::string() : server.site);
  settings.MainGetAltFtpDirectory(same ? std::string() : server.directory);
  settings.MainGetAltFtpUsername(same ? std::string() : server.user);
  settings.MainGetAltFtpPassword(same ? std::string() : server.password);
  status_->setText(kServerOpening);
  struct Listing {
    Result result;
    std::vector<std::string> names;
    std::size_t leftOut = 0;
  };
  auto listing = std::make_shared<Listing>();
  Run([listing](ModuleServerSession& session) { listing->result = session.List(&listing->names, &listing->leftOut); },
      [this, listing] { ShowList(listing->result, listing->names, listing->leftOut); });
}

void InstallFromWebDlg::ShowList(const Result& result, const std::vector<std::string>& names, std::size_t leftOut) {
  SetBusy(false);
  list_->clear();
  if (result.code == kServerNoTlsCode) {
    status_->setText(ShownUtf8(result.text));
    UpdateState();
    const ModuleServer server = Server();
    const QPointer<InstallFromWebDlg> alive(this);
    if (host_.prompts().Message(PlainPasswordQuestion(server)) != PromptAnswer::Ok || !alive) return;
    plainAllowed_ = server.site + "\n" + server.user;
    return Connect();
  }
  if (!result.ok()) {
    status_->setText(ShownUtf8(result.text));
    if (result.code != kServerCancelledCode) host_.prompts().Say(kWebTitle, result.text);
    UpdateState();
    return;
  }
  for (const std::string& name : names) {
    auto* item = new QListWidgetItem(ShownUtf8(name), list_);
    item->setData(kNameRole, FromUtf8(name));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(Qt::Unchecked);
  }
  status_->setText(names.empty() ? tr("The server offers no modules in this directory.")
                                 : tr("Choose the modules to install:"));
  if (leftOut > 0) {
    status_->setText(tr("The server offers %1 modules; only the first %2 are shown. Choose the modules to install:")
                         .arg(names.size() + leftOut)
                         .arg(names.size()));
  }
  if (installed_->isChecked()) MarkInstalled();
  found_->Refresh();
  UpdateState();
}

void InstallFromWebDlg::MarkInstalled() {
  const auto modules = studio_.InstalledModules();
  for (int i = 0; i < list_->count(); ++i) {
    const std::string base = WithoutExtension(ToUtf8(list_->item(i)->data(kNameRole).toString()));
    for (const std::string& module : modules) {
      if (AsciiEqualNoCase(WithoutExtension(module), base))
        list_->item(i)->setCheckState(installed_->isChecked() ? Qt::Checked : Qt::Unchecked);
    }
  }
}

void InstallFromWebDlg::InstallChosen() {
  waiting_.clear();
  done_ = 0;
  for (int i = 0; i < list_->count(); ++i) {
    if (list_->item(i)->checkState() == Qt::Checked)
      waiting_.push_back(ToUtf8(list_->item(i)->data(kNameRole).toString()));
  }
  FetchNext();
}

void InstallFromWebDlg::FetchNext() {
  if (done_ >= waiting_.size()) {
    SetBusy(false);
    return status_->setText(tr("Done."));
  }
  const std::string name = waiting_[done_];
  status_->setText(tr("Downloading %1").arg(ShownUtf8(name)) + '\n' +
                   tr("to %1...").arg(ShownUtf8(downloads_.string())));
  auto file = std::make_shared<std::filesystem::path>();
  auto result = std::make_shared<Result>();
  const auto progress = [this](std::uint64_t done, std::uint64_t all) {
    if (all == 0) return;
    QMetaObject::invokeMethod(
        this,
        [this, percent = static_cast<int>(std::min<std::uint64_t>(done, all) * 100 / all)] {
          bar_->setRange(0, 100);
          bar_->setValue(percent);
        },
        Qt::QueuedConnection);
  };
  Run([=, this](ModuleServerSession& session) { *result = session.Download(name, downloads_, progress, file.get()); },
      [this, result, file] { Fetched(*result, *file); });
}

void InstallFromWebDlg::Fetched(const Result& result, const std::filesystem::path& file) {
  if (!result.ok()) {
    SetBusy(false);
    status_->setText(ShownUtf8(result.text));
    host_.prompts().Say(kWebTitle, result.code == kServerCancelledCode ? kServerCancelled : result.text);
    return;
  }
  const std::string name = waiting_[done_++];
  status_->setText(tr("Installing %1").arg(ShownUtf8(name)) + '\n' +
                   tr("to %1 folder").arg(ShownUtf8(studio_.paths().instruments.string())));
  const std::string source = Server().site + "/" + JoinPath(Server().directory, name);
  const QPointer<InstallFromWebDlg> alive(this);
  const bool goOn = install_(file, source, done_ < waiting_.size());
  if (!alive) return;
  status_->setText(tr("Deleting %1").arg(ShownUtf8(name)));
  std::error_code error;
  std::filesystem::remove(file, error);
  if (goOn && !cancel_.Cancelled()) return FetchNext();
  SetBusy(false);
  status_->setText(kServerCancelled);
}

void InstallFromWebDlg::reject() {
  if (!busy_) return QDialog::reject();
  cancel_.Cancel();
}

}  // namespace tonalith
