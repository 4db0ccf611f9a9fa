#include <QAction>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QMenu>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "app/main_frame.h"
#include "platform/ini_file.h"
#include "services/paths.h"
#include "services/zkbasics.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kManualCommands = 10;
constexpr const char* kUrlSection = "URLs";

}  // namespace

void CMainFrame::OpenManual(std::size_t number) {
  if (number >= manuals_.size()) return;
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(manuals_[number]))))
    Status(tr("%1 could not be opened").arg(FromUtf8(manuals_[number])));
}

void CMainFrame::OnHelpKeys() {
  auto* dialog = new QDialog(this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setWindowTitle(tr("Keyboard Shortcuts"));
  auto* column = new QVBoxLayout(dialog);
  auto* list = new QTreeWidget(dialog);
  list->setColumnCount(2);
  list->setHeaderLabels({tr("Command"), tr("Keys")});
  list->setRootIsDecorated(false);
  list->setAccessibleName(tr("Commands and their keys"));
  for (const CommandRow& row : CommandTable()) {
    if (row.id == CommandId::None || !*row.shortcut) continue;
    const QString text = QString::fromLatin1(row.text).remove(QLatin1Char('&')).remove(QStringLiteral("..."));
    const QString keys =
        QKeySequence(QString::fromLatin1(row.shortcut), QKeySequence::PortableText).toString(QKeySequence::NativeText);
    list->addTopLevelItem(new QTreeWidgetItem({text, keys}));
  }
  list->resizeColumnToContents(0);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
  connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  column->addWidget(list);
  column->addWidget(buttons);
  dialog->resize(fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 26);
  dialog->show();
}

// The addresses behind the commands are settings: the preferences file of the program, then the user's.
void CMainFrame::SetupURLs() {
  const IniFile shipped(basics_.paths().MainGetPreferencesIni());
  const IniFile own(basics_.paths().GetZKIni());
  const auto address = [&](const char* key) {
    return own.GetString(kUrlSection, key, shipped.GetString(kUrlSection, key));
  };
  onlineUrl_ = address("Online");
  updatesUrl_ = address("Updates");
  line6_ = own.GetInt("Preferences", "Line6", shipped.GetInt("Preferences", "Line6")) != 0;
}

void CMainFrame::OnHelpOnline() {
  OpenUrl(onlineUrl_);
}

void CMainFrame::OnHelpUpdates() {
  OpenUrl(updatesUrl_);
}

void CMainFrame::OnAppAbout() {
  prompts().Say("About Tonalith",
                "Tonalith " TONALITH_VERSION "\nEditor and librarian for MIDI instruments\n\nInstruments: " +
                    basics_.paths().MainGetInstrPath() + "\nData: " + basics_.paths().MainGetDataPath());
}

void CMainFrame::OnHelpFirstSteps() {
  ShowFirstStart();
}

void CMainFrame::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  manuals_.clear();
  for (int i = 0; i < kManualCommands; ++i) {
    QAction* action = ActionOf(static_cast<CommandId>(static_cast<int>(CommandId::HelpManual1) + i));
    const auto number = static_cast<std::size_t>(i);
    action->setVisible(show && number < manuals.size());
    if (number >= manuals.size()) continue;
    manuals_.push_back(manuals[number].second);
    action->setText(QStringLiteral("&%1 %2").arg((i + 1) % 10).arg(FromUtf8(manuals[number].first)));
  }
  submenus_.at("&Help/&Manuals")->menuAction()->setVisible(show && !manuals_.empty());
}

}  // namespace tonalith
