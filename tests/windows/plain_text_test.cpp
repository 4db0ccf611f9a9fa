// Names that look like markup, mnemonics or placeholders, or hold what cannot be seen, in every window.
#include "ui/plain_text.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProgressDialog>
#include <QStatusBar>
#include <QTabBar>
#include <QTextDocument>
#include <QTimer>
#include <QToolTip>
#include <QWindow>
#include <filesystem>

#include "app/autosense_search.h"
#include "app/first_start.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "services/paths.h"
#include "studio/ui/install_dialogs.h"
#include "studio/ui/instrument_settings.h"
#include "ui/patch_selector.h"
#include "ui/port_dialogs.h"
#include "ui/qt_prompts.h"
#include "ui/qt_text.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

const std::string kMarkup = "<img src=x>&N[*]";
const std::string kEvil = kMarkup + "\n\x1B\xE2\x80\xAE" + std::string(10000, 'W');

// What is wrong with a line that is shown; empty: nothing.
std::string WrongLine(const QString& text) {
  for (const char32_t code : text.toStdU32String())
    if (IsHiddenCharacter(code)) return "hidden character " + std::to_string(static_cast<unsigned>(code));
  return text.size() > 400 ? "not cut" : "";
}

std::string WrongToolTip(const QString& tip) {
  if (!Qt::mightBeRichText(tip)) return tip.size() > 3000 ? "not cut" : "";
  QString inner = tip;
  if (!inner.remove(QStringLiteral("<p style=\"white-space:pre-wrap\">")).endsWith(QStringLiteral("</p>")))
    return "markup";
  inner.chop(4);
  return inner.contains('<') ? "markup" : "";
}

void ExpectPlainItems(const QAbstractItemModel& model, const QModelIndex& parent = {}) {
  for (int row = 0; row < std::min(model.rowCount(parent), 40); ++row) {
    for (int column = 0; column < model.columnCount(parent); ++column) {
      const QModelIndex index = model.index(row, column, parent);
      EXPECT_EQ(WrongLine(index.data().toString()), "") << index.data().toString().left(80).toStdString();
      EXPECT_EQ(WrongToolTip(index.data(Qt::ToolTipRole).toString()), "");
    }
    ExpectPlainItems(model, model.index(row, 0, parent));
  }
}

// A part of the name stands there as a user reads it: every '&' of the data is shown.
void ExpectNoMnemonic(const QString& text) {
  if (!text.contains(QStringLiteral("<img"))) return;
  EXPECT_TRUE(text.contains(QStringLiteral("&&N"))) << text.toStdString();
}

void ExpectPlainWindows() {
  for (QWidget* widget : QApplication::allWidgets()) {
    const std::string what = widget->metaObject()->className();
    EXPECT_EQ(WrongToolTip(widget->toolTip()), "") << what;
    EXPECT_EQ(WrongLine(widget->windowTitle()), "") << what;
    EXPECT_EQ(WrongLine(widget->accessibleName()), "") << what;
    // The program's own words may stand in labels that forms make.
    if (const auto* label = qobject_cast<QLabel*>(widget); label && what != "QTipLabel") {
      EXPECT_TRUE(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()))
          << label->text().toStdString();
    }
    if (const auto* button = qobject_cast<QAbstractButton*>(widget)) ExpectNoMnemonic(button->text());
    if (const auto* group = qobject_cast<QGroupBox*>(widget)) ExpectNoMnemonic(group->title());
    if (const auto* tabs = qobject_cast<QTabBar*>(widget))
      for (int i = 0; i < tabs->count(); ++i) ExpectNoMnemonic(tabs->tabText(i));
    for (const QAction* action : widget->actions()) {
      EXPECT_EQ(WrongToolTip(action->toolTip()), "") << action->text().toStdString();
      EXPECT_EQ(WrongLine(QString(action->text()).remove('\t')), "") << action->text().left(80).toStdString();
      ExpectNoMnemonic(action->text());
    }
    if (const auto* view = qobject_cast<QAbstractItemView*>(widget); view && view->model())
      ExpectPlainItems(*view->model());
    if (const auto* box = qobject_cast<QComboBox*>(widget)) ExpectPlainItems(*box->model());
    if (widget->isWindow() && widget->isVisible()) {
      EXPECT_LE(widget->minimumSizeHint().width(), 1400) << what;
    }
  }
}

template <typename Dialog, typename... Arguments>
void ExpectPlainDialog(Arguments&&... arguments) {
  Dialog dialog(std::forward<Arguments>(arguments)...);
  dialog.show();
  Settle();
  ExpectPlainWindows();
}

class PlainTextWindows : public ProgramFixture {};

TEST_F(PlainTextWindows, DataModulesAndFiles) {
  Start({"yes", "no", "no", "no"});
  ZKStudioDoc& studio = *program_->studio();
  ZKDrvList* driver = studio.FindDriver("Yamaha DX7", "Voice Bank");
  ASSERT_NE(driver, nullptr);
  ZKDrvList* instrument = driver->instrument;
  instrument->name = kEvil;
  for (const auto& each : instrument->drivers) CopyText(each->synth()->typeName, kMarkup + "\n\x07");
  TZKDrvLst* window = parts().studio.Show();
  for (const bool panels : {false, true}) {
    window->ShowPanels(panels);
    window->Refresh();
    window->tree()->SetCurrentNode(driver);
    window->list()->SetCurrentInstrument(instrument);
    ExpectPlainWindows();
  }
  KeepScreenshot(&frame(), QStringLiteral("plain-text-panels"));
  window->ShowPanels(false);
  window->tree()->expandAll();
  KeepScreenshot(&frame(), QStringLiteral("plain-text-tree"));
  parts().studio.OpenDriver(driver, true);
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  ASSERT_TRUE(Idle(bank));
  bank->document().Save(Path(kMarkup + "\n.DAT"));
  ASSERT_TRUE(FileExists(Path(kMarkup + "\n.DAT"))) << LogText();
  parts().recent.Used(Path(kMarkup + "\n.DAT"));
  bank->RunCommand(CommandId::FileSave);
  parts().windowContext.FileUsed(Path(kMarkup + "\n.DAT"));
  Settle();
  EXPECT_TRUE(bank->windowTitle().contains(QStringLiteral("[*][*]"))) << bank->windowTitle().toStdString();
  ExpectPlainWindows();
  QMenu* list = frame().menuBar()->actions()[9]->menu();
  emit list->aboutToShow();
  ExpectPlainWindows();
  frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  MonitorMsg("%s", kEvil.c_str());
  Settle();
  ExpectPlainWindows();
  KeepScreenshot(&frame(), QStringLiteral("plain-text-tabs"));
}

TEST_F(PlainTextWindows, DialogsOfPortsPackagesAndQuestions) {
  Start();
  const std::vector<std::string> names = {kEvil, kMarkup};
  IniFile ports(program_->basics()->paths().MidiPortsProfile());
  ports.SetInt("Midi In Ports", "OpenAll", 0);
  ports.SetInt("Midi In Ports", "PortCount", 1);
  ports.Set("Midi In Ports", "PortName0", kMarkup + std::string(3000, 'W'));
  ASSERT_TRUE(ports.Save().ok());
  ExpectPlainDialog<PVMidiIn>(program_->basics()->midi());
  ExpectPlainDialog<ZKCancelTransmit>(names);
  ExpectPlainDialog<ZKPatchSelector>(kEvil, 1, 0, 9);
  ExpectPlainDialog<FirstStartPage>(FirstStartFacts{0, 0, kEvil, false}, *program_->studio(),
                                    *parts().studio.autoSense().services());
  std::filesystem::create_directories(Path("packages"));
  ASSERT_TRUE(WriteFileAtomically(Path("packages/" + kMarkup + "\n.pvz"), std::string_view("x")).ok());
  {
    InstallFromDlg dialog(Path("packages"));
    dialog.show();
    ExpectPlainWindows();
    auto* list = dialog.findChild<QListWidget*>();
    ASSERT_EQ(list->count(), 1);
    list->item(0)->setCheckState(Qt::Checked);
    EXPECT_EQ(dialog.Chosen(), std::vector<std::string>{Path("packages/" + kMarkup + "\n.pvz")});
  }
  ZKDrvList* instrument = program_->studio()->FindInstrument("Yamaha DX7");
  instrument->SetInPort(0, kEvil);
  instrument->SetOutPort(0, kMarkup);
  ExpectPlainDialog<InstrumentSettingsDlg>(*program_->studio(), instrument, parts().studio, nullptr);
}

TEST_F(PlainTextWindows, Questions) {
  Dispatcher dispatcher;
  QtPrompts prompts(dispatcher);
  int seen = 0;
  const auto look = [&seen](const QString& name) {
    QTimer::singleShot(200, qApp, [&seen, name] {
      ExpectPlainWindows();
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(dialog, nullptr);
      bool shown = false;
      for (const auto* label : dialog->findChildren<QLabel*>())
        shown = shown || (label->isVisible() && label->text().contains(QStringLiteral("<img src=x>&N[*]")));
      EXPECT_TRUE(shown);
      EXPECT_LE(dialog->width(), 1400);
      KeepScreenshot(dialog, name);
      ++seen;
      dialog->reject();
    });
  };
  look(QStringLiteral("plain-text-question"));
  prompts.Say(kEvil, kEvil);
  TextPrompt text{kEvil, kEvil, kMarkup, 100};
  std::string answer;
  look(QStringLiteral("plain-text-entry"));
  EXPECT_FALSE(prompts.Text(text, answer));
  look(QStringLiteral("plain-text-choice"));
  EXPECT_EQ(prompts.Choose({kEvil, kEvil, {kEvil, kMarkup}}), -1);
  EXPECT_EQ(seen, 3);
}

TEST(PlainText, TitlesTipsAndLabels) {
  const QString name = FromUtf8(kMarkup);
  QWidget window;
  SetTitle(&window, name + QStringLiteral("\nb"), true);
  EXPECT_EQ(ShownTitle(&window), name + QStringLiteral("\uFFFDb"));
  window.show();
  EXPECT_TRUE(window.windowHandle()->title().startsWith(name)) << window.windowHandle()->title().toStdString();
  for (const char* plain : {"a < b", "one\n<b>two</b>", "Tom & Jerry"})
    EXPECT_EQ(ToolTipText(QString::fromLatin1(plain)), QString::fromLatin1(plain));
  QTextDocument shown;
  shown.setHtml(ToolTipText(name + QStringLiteral("\n &lt;  two")));
  EXPECT_EQ(shown.toPlainText(), name + QStringLiteral("\n &lt;  two"));
  ShowToolTip({5, 5}, name, &window, {});
  EXPECT_FALSE(QToolTip::text().contains(QStringLiteral("<img")));
  QToolTip::hideText();
  PlainLabel label(QString(5000, 'W'));
  EXPECT_LT(label.sizeHint().width(), 1400);
  EXPECT_LT(label.minimumSizeHint().width(), 300);
  label.setText(QStringLiteral("short"));
  EXPECT_EQ(label.text(), QStringLiteral("short"));
  QMenu menu;
  QAction* entry = AddEntry(&menu, name + '\t' + 'x');
  EXPECT_EQ(entry->text(), QStringLiteral("<img src=x>&&N[*]\uFFFDx"));
  EXPECT_EQ(WrongToolTip(entry->toolTip()), "");
  QProgressDialog progress(QString(), QString(), 0, 0);
  SetLabel(progress, name);
  EXPECT_EQ(progress.findChild<QLabel*>()->textFormat(), Qt::PlainText);
}

}  // namespace
}  // namespace tonalith
