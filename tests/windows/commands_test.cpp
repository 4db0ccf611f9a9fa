#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QPalette>
#include <QStatusBar>
#include <QTimer>
#include <QToolButton>
#include <atomic>
#include <set>
#include <thread>

#include "app/command_menus.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "midi/midi_output.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/interpreter.h"
#include "services/script_bridge.h"
#include "ui/style/colours.h"
#include "ui/style/list_delegate.h"
#include "ui/style/look.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class CommandsTest : public ProgramFixture {
 protected:
  std::set<CommandId> Enabled() {
    std::set<CommandId> enabled;
    for (const CommandRow& row : CommandTable()) {
      if (row.id != CommandId::None && row.owner == CommandOwner::Child && frame().ActionOf(row.id)->isEnabled())
        enabled.insert(row.id);
    }
    return enabled;
  }
};

QChar Mnemonic(const QString& text) {
  const auto at = text.indexOf('&');
  return at >= 0 && at + 1 < text.size() ? text[at + 1].toLower() : QChar();
}

TEST_F(CommandsTest, EveryRowOfTheTableIsAnEntryWithItsOwnShortcut) {
  Start();
  const auto menus = frame().menuBar()->actions();
  ASSERT_EQ(menus.size(), 11);
  EXPECT_EQ(menus[10]->text(), "&Help");
  std::set<QString> shortcuts;
  std::set<QAction*> shown;
  const std::function<void(QMenu*)> walk = [&](QMenu* menu) {
    std::set<QChar> letters;
    for (QAction* action : menu->actions()) {
      if (action->isSeparator()) continue;
      shown.insert(action);
      const QChar letter = Mnemonic(action->text());
      EXPECT_FALSE(letter.isNull()) << action->text().toStdString() << " cannot be reached by a letter";
      EXPECT_TRUE(letters.insert(letter).second) << action->text().toStdString() << " shares its letter";
      if (action->menu()) walk(action->menu());
    }
  };
  for (QAction* menu : menus) walk(menu->menu());
  for (const CommandRow& row : CommandTable()) {
    if (row.id == CommandId::None) continue;
    QAction* action = frame().ActionOf(row.id);
    ASSERT_NE(action, nullptr) << row.text;
    EXPECT_TRUE(shown.count(action)) << row.text;
    EXPECT_EQ(action->text().toStdString(), row.text);
    EXPECT_FALSE(action->statusTip().isEmpty()) << row.text;
    if (*row.shortcut) {
      EXPECT_FALSE(action->shortcut().isEmpty()) << row.text;
      EXPECT_TRUE(shortcuts.insert(action->shortcut().toString()).second) << row.shortcut;
    }
  }
}

TEST_F(CommandsTest, EnabledAsTheActiveWindowAllows) {
  Start();
  auto* tree = parts().studio.Show()->tree();
  tree->setCurrentItem(tree->topLevelItem(0));
  std::set<CommandId> ofStudio = {CommandId::FilePrint, CommandId::FileSave, CommandId::FileSaveAs};
  EXPECT_EQ(Enabled(), ofStudio);
  tree->setCurrentItem(tree->topLevelItem(0)->child(0));
  ofStudio.insert(CommandId::MidiGet);
  EXPECT_EQ(Enabled(), ofStudio);
  TZKBank* window = Open("Yamaha DX7", "Voice", false);
  EXPECT_EQ(Enabled(),
            (std::set<CommandId>{CommandId::MidiGet, CommandId::EditSelectAll, CommandId::BankViewList,
                                 CommandId::BankViewGrid, CommandId::EditQuickMenu, CommandId::BankVerifySend,
                                 CommandId::BankKeepAlways, CommandId::BankKeepAsk, CommandId::BankKeepNever}));
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(window));
  std::set<CommandId> full = {
      CommandId::MidiGet,         CommandId::EditSelectAll,    CommandId::MidiTransmit,   CommandId::FileSave,
      CommandId::FileSaveAs,      CommandId::EditUndo,         CommandId::EditRename,     CommandId::FilePrint,
      CommandId::EditCopyNames,   CommandId::FileExportSysEx,  CommandId::FileExportMidi, CommandId::BankRotateUp,
      CommandId::BankRotateDown,  CommandId::BankInvert,       CommandId::BankDelete,     CommandId::BankRestore,
      CommandId::BankInit,        CommandId::BankViewList,     CommandId::BankViewGrid,   CommandId::EditQuickMenu,
      CommandId::EditCut,         CommandId::EditCopy,         CommandId::BankAutoName,   CommandId::BankNumber,
      CommandId::BankWriteInit,   CommandId::BankWriteInitIni, CommandId::BankInitToClip, CommandId::BankOriginalOrder,
      CommandId::BankUndoHistory, CommandId::BankVerifySend,   CommandId::BankKeepAlways, CommandId::BankKeepAsk,
      CommandId::BankKeepNever,   CommandId::ExportPreview};
  for (int id = static_cast<int>(CommandId::ExportReaper); id <= static_cast<int>(CommandId::ExportCopyNames); ++id)
    full.insert(static_cast<CommandId>(id));
  EXPECT_EQ(Enabled(), full);
  window->document().SetBusy(true);
  EXPECT_EQ(Enabled(), (std::set<CommandId>{CommandId::EditSelectAll, CommandId::EditCopyNames, CommandId::FilePrint,
                                            CommandId::EditCopy, CommandId::EditQuickMenu, CommandId::BankViewList,
                                            CommandId::BankViewGrid, CommandId::BankUndoHistory}));
  window->document().SetBusy(false);
  frame().RunCommand(CommandId::EditUndo);
  EXPECT_TRUE(window->document().IsEmpty());
  EXPECT_FALSE(frame().ActionOf(CommandId::FileSave)->isEnabled());
  // The letters of a window's buttons must not be those of the menu bar; tools have none.
  std::set<QChar> taken;
  for (QAction* menu : frame().menuBar()->actions()) taken.insert(Mnemonic(menu->text()));
  for (ZKWindow* child : frame().Children()) {
    std::set<QChar> own = taken;
    for (auto* button : child->findChildren<QToolButton*>()) {
      if (button->text().isEmpty()) continue;
      const QChar letter = Mnemonic(button->text());
      EXPECT_TRUE(letter.isNull() || own.insert(letter).second) << button->text().toStdString();
      EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus) << button->text().toStdString();
    }
  }
}

// What a user can see or hear of the program.
class CommandWalk : public CommandsTest {
 protected:
  void TearDown() override {
    timer_.stop();
    if (program_ && monitor_) program_->program()->out().RemoveMonitor(monitor_);
    CommandsTest::TearDown();
  }
  void Watch() {
    // The end of a note belongs to the entry before.
    monitor_ = program_->program()->out().AddMonitor([this](int, std::span<const std::uint8_t> bytes) {
      const int status = bytes.empty() ? 0 : bytes.front() & 0xF0;
      if (status != 0x80 && (status != 0x90 || (bytes.size() > 2 && bytes[2] != 0))) ++sent_;
    });
    // Dialogs that wait for an answer are closed.
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
      if (QWidget* dialog = QApplication::activeModalWidget()) {
        ++dialogs_;
        dialog->close();
      }
    });
    timer_.start(20);
  }
  QString Seen(bool midi = false) {
    QStringList seen = {QString::number(midi ? sent_.load() : 0), QString::number(dialogs_),
                        QString::number(program_->PromptLog().size()), frame().statusBar()->currentMessage()};
    for (const CommandRow& row : CommandTable()) {
      if (row.checkable) seen << QString::number(frame().ActionOf(row.id)->isChecked());
    }
    for (const ZKWindow* child : frame().Children()) {
      const QRect place = frame().windows().PlaceOf(child).value_or(QRect());
      seen << QStringLiteral("%1 %2 %3 %4 %5 %6")
                  .arg(child->windowTitle())
                  .arg(place.x())
                  .arg(place.y())
                  .arg(place.width())
                  .arg(place.height())
                  .arg(child == frame().ActiveChild());
    }
    for (const QAbstractItemView* view : frame().findChildren<QAbstractItemView*>())
      if (view->selectionModel()) seen << QString::number(view->selectionModel()->selectedIndexes().size());
    QStringList shown;
    for (const QWidget* widget : QApplication::topLevelWidgets())
      if (widget->isVisible()) shown << widget->metaObject()->className();
    shown.sort();
    const QWidget* focus = QApplication::focusWidget();
    seen << shown << (focus ? focus->metaObject()->className() : "");
    return seen.join(QLatin1Char('|'));
  }
  // A bank in front that everything can be done with.
  void Prepare() {
    auto* bank =
        qobject_cast<TZKBank*>(frame().windows().FirstThat([](ZKWindow& w) { return qobject_cast<TZKBank*>(&w); }));
    if (!bank) {
      bank = Open("Yamaha DX7", "Voice Bank", true);
    }
    ASSERT_TRUE(Idle(bank));
    // What a click into the bank does: it closes a menu, and the program is in front again.
    while (QWidget* menu = QApplication::activePopupWidget()) menu->close();
    frame().activateWindow();
    ASSERT_TRUE(WaitFor([this] { return frame().isActiveWindow(); }, 1000));
    frame().windows().Activate(bank);
    bank->list()->clearSelection();
    bank->list()->setFocus();
    frame().statusBar()->clearMessage();
    sent_ = 0;
    frame().menus().Update();
  }

  std::atomic<int> sent_{0};
  int dialogs_ = 0;
  int monitor_ = 0;
  QTimer timer_;
};

TEST_F(CommandWalk, EveryEntryDoesSomethingOrSaysWhyNot) {
  Start();
  Watch();
  const std::set<CommandId> absent = {
      CommandId::OptionsEditorSkins,
      CommandId::ViewSetList,
      CommandId::ViewFileList,
      CommandId::UtilitiesCreator,
      CommandId::UtilitiesFileConversion,
      CommandId::UtilitiesController,
      CommandId::UtilitiesSequencer,
      CommandId::UtilitiesRemote,
      CommandId::UtilitiesOscEditor,
  };
  for (const CommandRow& row : CommandTable()) {
    if (row.id == CommandId::None || row.id == CommandId::FileExit || row.owner == CommandOwner::Menu) continue;
    Prepare();
    const QAction* action = frame().ActionOf(row.id);
    const bool manual = row.id >= CommandId::HelpManual1 && row.id <= CommandId::HelpManual10;
    EXPECT_EQ(action->isVisible(), !absent.count(row.id) && !manual) << row.text;
    if (!action->isVisible() || !action->isEnabled()) {
      EXPECT_FALSE(manual ? false : frame().menus().Refusal(row.id).isEmpty()) << row.text;
      EXPECT_TRUE(manual || action->statusTip().contains(frame().menus().Refusal(row.id))) << row.text;
      const QString before = Seen();
      frame().RunCommand(row.id);
      EXPECT_EQ(Seen(), before) << row.text << " is off";
      continue;
    }
    const bool midi = row.menu == MenuId::Midi && *row.submenu;
    const QString before = Seen(midi);
    frame().ActionOf(row.id)->trigger();
    EXPECT_TRUE(WaitFor([&] { return Seen(midi) != before; }, 1000))
        << row.text << " did nothing: " << before.toStdString();
    for (const auto& line : program_->PromptLog()) EXPECT_EQ(line.find("this version"), std::string::npos) << line;
  }
  EXPECT_FALSE(frame().ActionOf(CommandId::EditCut)->isEnabled());
  frame().ActionOf(CommandId::FileExit)->trigger();
}

TEST_F(CommandsTest, WindowsAreListedAndClosedByKeyboard) {
  Start();
  Open("k4", "Single", false);
  Open("Yamaha DX7", "Voice", false);
  ASSERT_EQ(frame().Children().size(), 3U);
  QMenu* menu = frame().menuBar()->actions()[9]->menu();
  emit menu->aboutToShow();
  QAction* entry = menu->actions()[menu->actions().size() - 2];
  EXPECT_TRUE(entry->text().contains("Kawai K4")) << entry->text().toStdString();
  entry->trigger();
  EXPECT_EQ(static_cast<TZKBank*>(frame().ActiveChild())->document().synth().shortName, std::string("Kawai K4"));
  PressShortcut(&frame(), Qt::Key_W, Qt::ControlModifier);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 2; }, 1000));
}

TEST_F(CommandsTest, TextIsReadableOnADarkPalette) {
  Start();
  frame().RunCommand(CommandId::ViewLookDark);
  Settle();
  EXPECT_TRUE(frame().menus().IsChecked(CommandId::ViewLookDark));
  EXPECT_EQ(program_->basics()->MainLook(-1), static_cast<int>(Look::Dark));
  TZKBank* empty = Open("Yamaha DX7", "Voice Bank", false);
  const auto* model = empty->list()->bankModel();
  empty->list()->ensurePolished();
  const QColor base = empty->list()->palette().color(QPalette::Base);
  const QColor text = empty->list()->palette().color(QPalette::Text);
  EXPECT_LT(base.lightness(), 100);
  EXPECT_GT(text.lightness() - base.lightness(), 100);
  EXPECT_TRUE(model->index(0, 1).data(kQuietRole).toBool()) << "slots that hold nothing";
  EXPECT_GT(Contrast(ColourOf(Shade::Secondary), ColourOf(Shade::Surface)), 4.5) << "can still be read";
  if (const QString picture = qEnvironmentVariable("TONALITH_PICTURE"); !picture.isEmpty())
    frame().grab().save(picture);
  Stop();
  SetLook(Look::Light);
}

// A preference that a script changes is told where it is seen, and one command puts it back.
TEST_F(CommandsTest, SettingsThatAScriptChangedArePutBack) {
  Start();
  ZKBasics& basics = *program_->basics();
  QAction* undo = frame().ActionOf(CommandId::MidiUndoSettingsChange);
  EXPECT_FALSE(undo->isEnabled());
  const int channel = basics.MainMidiChannel(-1);
  std::thread script([&] {
    Synth synth{};
    CopyText(synth.shortName, "Acme");
    CopyText(synth.typeName, "Patch");
    TransferContext context;
    MidiMacro(basics.scripts(), context, synth, CompileScript("setDefaultMidiChannel 7 ]").code, {}, 0, 0, 0);
  });
  script.join();
  ASSERT_TRUE(WaitFor([&] { return undo->isEnabled(); }));
  EXPECT_EQ(basics.MainMidiChannel(-1), 7);
  EXPECT_EQ(
      frame().statusBar()->currentMessage().toStdString(),
      "A script of the Acme Patch changed \"Default MIDI channel\" from " + std::to_string(channel + 1) + " to 8.");
  undo->trigger();
  EXPECT_EQ(basics.MainMidiChannel(-1), channel);
  EXPECT_TRUE(frame().statusBar()->currentMessage().startsWith(QStringLiteral("Put back: ")));
  EXPECT_FALSE(undo->isEnabled());
}

}  // namespace
}  // namespace tonalith
