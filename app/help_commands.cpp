#include "app/help_commands.h"

#include <QAction>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QMainWindow>
#include <QMenu>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "app/command_menus.h"
#include "platform/ini_file.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

constexpr int kManualCommands = 10;
constexpr const char* kUrlSection = "URLs";
constexpr const char* kManualsMenu = "&Manuals";

CommandId ManualCommand(int number) {
  return static_cast<CommandId>(static_cast<int>(CommandId::HelpManual1) + number);
}

QString KeysOf(const QAction& action) {
  QStringList keys;
  for (const QKeySequence& key : action.shortcuts()) keys << key.toString(QKeySequence::NativeText);
  return keys.join(QStringLiteral(", "));
}

}  // namespace

void OpenWebAddress(QObject* context, const std::string& url) {
  const QUrl address(FromUtf8(url), QUrl::StrictMode);
  if (address.scheme() != QStringLiteral("http") && address.scheme() != QStringLiteral("https")) return;
  QMetaObject::invokeMethod(
      context, [address] { QDesktopServices::openUrl(address); }, Qt::QueuedConnection);
}

HelpCommands::HelpCommands(const FrameContext& frame) : frame_(frame) {
  SetupURLs();
  const auto address = [](const std::string& url) {
    return url.empty() ? tr("No address for this is set in the preferences file.") : QString();
  };
  for (int i = 0; i < kManualCommands; ++i)
    frame_.menus.Register(ManualCommand(i), {[this, i] { OpenManual(static_cast<std::size_t>(i)); }});
  SetManuals({}, false);
  frame_.menus.Register(CommandId::HelpShortcuts, {[this] { OnHelpKeys(); }});
  frame_.menus.Register(CommandId::HelpOnline, {[this] { OpenWebAddress(this, onlineUrl_); },
                                                [this, address] { return address(onlineUrl_); }});
  frame_.menus.Register(CommandId::HelpUpdates, {[this] { OpenWebAddress(this, updatesUrl_); },
                                                 [this, address] { return address(updatesUrl_); }});
  frame_.menus.Register(CommandId::HelpAbout, {[this] { OnAppAbout(); }});
}

// The addresses behind the commands are settings: the preferences file of the program, then the user's.
void HelpCommands::SetupURLs() {
  const IniFile shipped(frame_.program.paths().MainGetPreferencesIni());
  const IniFile own(frame_.program.paths().GetZKIni());
  const auto address = [&](const char* key) {
    return own.GetString(kUrlSection, key, shipped.GetString(kUrlSection, key));
  };
  onlineUrl_ = address("Online");
  updatesUrl_ = address("Updates");
}

void HelpCommands::OpenManual(std::size_t number) {
  if (number >= manuals_.size()) return;
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(manuals_[number]))))
    frame_.Status(tr("%1 could not be opened").arg(ShownUtf8(manuals_[number])));
}

void HelpCommands::OnHelpKeys() {
  auto* dialog = new QDialog(&frame_.window);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  SetTitle(dialog, tr("Keyboard Shortcuts"));
  auto* column = new QVBoxLayout(dialog);
  auto* list = new QTreeWidget(dialog);
  list->setColumnCount(2);
  list->setHeaderLabels({tr("Command"), tr("Keys")});
  list->setRootIsDecorated(false);
  DressList(list);
  list->setAccessibleName(tr("Commands and their keys"));
  for (const CommandRow& row : CommandTable()) {
    const QAction* action = frame_.menus.ActionOf(row.id);
    if (!action || !*row.shortcut || !action->isVisible()) continue;
    const QString text = QString::fromLatin1(row.text).remove(QLatin1Char('&')).remove(QStringLiteral("..."));
    list->addTopLevelItem(new QTreeWidgetItem({text, KeysOf(*action)}));
  }
  list->resizeColumnToContents(0);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
  connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  column->addWidget(list);
  column->addWidget(buttons);
  dialog->resize(dialog->fontMetrics().averageCharWidth() * 60, dialog->fontMetrics().height() * 26);
  dialog->show();
}

void HelpCommands::OnAppAbout() {
  frame_.prompts().Say("About Tonalith", "Tonalith " TONALITH_VERSION
                                         "\nEditor and librarian for MIDI instruments\n\nInstruments: " +
                                             frame_.program.paths().MainGetInstrPath() +
                                             "\nData: " + frame_.program.paths().MainGetDataPath());
}

void HelpCommands::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  manuals_.clear();
  for (int i = 0; i < kManualCommands; ++i) {
    const auto number = static_cast<std::size_t>(i);
    frame_.menus.Show(ManualCommand(i), show && number < manuals.size());
    if (number >= manuals.size()) continue;
    manuals_.push_back(manuals[number].second);
    frame_.menus.ActionOf(ManualCommand(i))
        ->setText(QStringLiteral("&%1 %2").arg((i + 1) % 10).arg(MenuText(ShownUtf8(manuals[number].first))));
  }
  frame_.menus.Submenu(MenuId::Help, kManualsMenu)->menuAction()->setVisible(show && !manuals_.empty());
}

}  // namespace tonalith
