#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QPalette>
#include <QToolButton>
#include <set>

#include "bank/ui/bank_list.h"
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
  ASSERT_EQ(menus.size(), 7);
  EXPECT_EQ(menus[6]->text(), "&Help");
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
  EXPECT_EQ(Enabled(), (std::set<CommandId>{CommandId::MidiGet, CommandId::EditSelectAll}));
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(window));
  const std::set<CommandId> full = {CommandId::MidiGet,   CommandId::EditSelectAll, CommandId::MidiTransmit,
                                    CommandId::FileSave,  CommandId::FileSaveAs,    CommandId::EditUndo,
                                    CommandId::EditRename};
  EXPECT_EQ(Enabled(), full);
  window->document().SetBusy(true);
  EXPECT_EQ(Enabled(), std::set<CommandId>{CommandId::EditSelectAll});
  window->document().SetBusy(false);
  frame().RunCommand(CommandId::EditUndo);
  EXPECT_TRUE(window->document().IsEmpty());
  EXPECT_FALSE(frame().ActionOf(CommandId::FileSave)->isEnabled());
  // The letters of a window's buttons must not be those of the menu bar.
  std::set<QChar> taken;
  for (QAction* menu : frame().menuBar()->actions()) taken.insert(Mnemonic(menu->text()));
  for (ZKWindow* child : frame().Children()) {
    std::set<QChar> own = taken;
    for (auto* button : child->findChildren<QToolButton*>()) {
      if (button->text().isEmpty()) continue;
      EXPECT_TRUE(own.insert(Mnemonic(button->text())).second) << button->text().toStdString();
      EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus) << button->text().toStdString();
    }
  }
}

TEST_F(CommandsTest, WindowsAreListedAndClosedByKeyboard) {
  Start();
  Open("k4", "Single", false);
  Open("Yamaha DX7", "Voice", false);
  ASSERT_EQ(frame().Children().size(), 3U);
  QMenu* menu = frame().menuBar()->actions()[5]->menu();
  emit menu->aboutToShow();
  QAction* entry = menu->actions()[menu->actions().size() - 2];
  EXPECT_TRUE(entry->text().contains("Kawai K4")) << entry->text().toStdString();
  entry->trigger();
  EXPECT_EQ(static_cast<TZKBank*>(frame().ActiveChild())->document().synth().shortName, std::string("Kawai K4"));
  PressShortcut(&frame(), Qt::Key_W, Qt::ControlModifier);
  EXPECT_TRUE(WaitFor([this] { return frame().Children().size() == 2; }, 1000));
}

TEST_F(CommandsTest, TextIsReadableOnADarkPalette) {
  const QPalette former = QApplication::palette();
  QPalette dark(QColor(40, 42, 46));
  QApplication::setPalette(dark);
  Start();
  TZKBank* empty = Open("Yamaha DX7", "Voice Bank", false);
  const auto* model = empty->list()->bankModel();
  const QColor base = empty->list()->palette().color(QPalette::Base);
  const QColor text = empty->list()->palette().color(QPalette::Text);
  const QColor grey = model->index(0, 1).data(Qt::ForegroundRole).value<QBrush>().color();
  EXPECT_LT(base.lightness(), 100);
  EXPECT_GT(text.lightness() - base.lightness(), 100);
  EXPECT_GT(grey.lightness() - base.lightness(), 40) << "slots that hold nothing can still be read";
  if (const QString picture = qEnvironmentVariable("TONALITH_PICTURE"); !picture.isEmpty())
    frame().grab().save(picture);
  Stop();
  QApplication::setPalette(former);
}

}  // namespace
}  // namespace tonalith
