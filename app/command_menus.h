#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ui/commands.h"
#include "ui/plain_text.h"

class QAction;
class QMenu;
class QMenuBar;
class QWidget;

namespace tonalith {

class ZKWindow;

// What a command of the frame does.
struct CommandHandler {
  std::function<void()> run;
  std::function<QString()> refusal =
      {};                              // why the command is off now, a sentence; empty answer or no function: it is on
  std::function<bool()> checked = {};  // state of a command with a check mark that others change too
};

// The menus of a main window, from the command table, and what their entries do.  A command of the frame appears when
// somebody registers its handler; one that nobody carries out is not shown and does nothing.  Commands of child windows
// go to the active one.
class CommandMenus final : public QObject {
  Q_OBJECT

 public:
  using ActiveWindow = std::function<ZKWindow*()>;

  // The actions belong to `window`, so that their shortcuts work everywhere in it.
  CommandMenus(QMenuBar* bar, QWidget* window, ActiveWindow active);

  void Register(CommandId command, CommandHandler handler);
  // Called when a command was given up for want of memory.
  void SetShortMemory(std::function<void()> tell) { shortMemory_ = std::move(tell); }
  // Carries a command out unless it is off.
  void Run(CommandId command);
  // Looks at every command again: on or off, and its check mark.
  void Update();
  // Null for numbers that are not in the table.
  QAction* ActionOf(CommandId command) const;
  // Why a command is off; empty when it is on.
  QString Refusal(CommandId command) const;
  bool IsChecked(CommandId command) const;
  void SetChecked(CommandId command, bool checked);
  // Whether an entry that has a handler is shown.
  void Show(CommandId command, bool shown);
  // Hides entries by their texts, without letter marks and "...".
  void RemoveMenuActions(const std::vector<std::string>& names);

  QMenu* Menu(MenuId menu) const { return menus_[static_cast<std::size_t>(menu)]; }
  // A menu inside a menu, by its title; null when the table has none.
  QMenu* Submenu(MenuId menu, const std::string& title) const;
  // The menu that an entry of the owner "Menu" opens.  It is hidden until this is asked for.
  QMenu* OpenedMenu(CommandId command);

 signals:
  // The commands were looked at.
  void Updated();

 private:
  struct Entry {
    const CommandRow* row = nullptr;
    QAction* action = nullptr;
    QMenu* opens = nullptr;
    CommandHandler handler;
    bool wanted = true;  // shown when it has a handler
  };
  QMenu* MenuOf(const CommandRow& row);
  void AddEntry(const CommandRow& row);
  void ShowAsWanted(const Entry& entry);
  void UpdateEntry(const Entry& entry);
  QString Refusal(const Entry& entry) const;
  const Entry* Find(CommandId command) const;

  QWidget* window_;
  std::function<void()> shortMemory_;
  ActiveWindow active_;
  std::map<CommandId, Entry> entries_;
  std::vector<QMenu*> menus_;
  std::map<std::string, QMenu*> submenus_;  // by the titles of both menus
};

// An entry of a long list, reached by 1 to 9 and A to Z.
QString WithLetter(std::size_t place, const QString& text);

}  // namespace tonalith
