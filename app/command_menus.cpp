#include "app/command_menus.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

#include "platform/short_memory.h"
#include "ui/command_choices.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

std::string SubmenuKey(MenuId menu, const std::string& title) {
  return MenuTitles()[static_cast<std::size_t>(menu)] + ("/" + title);
}

}  // namespace

CommandMenus::CommandMenus(QMenuBar* bar, QWidget* window, ActiveWindow active)
    : QObject(window), window_(window), active_(std::move(active)) {
  for (const char* title : MenuTitles()) menus_.push_back(bar->addMenu(QString::fromLatin1(title)));
  for (const CommandRow& row : CommandTable()) {
    if (row.id == CommandId::None) {
      MenuOf(row)->addSeparator();
    } else {
      AddEntry(row);
    }
  }
  for (QMenu* menu : menus_) connect(menu, &QMenu::aboutToShow, this, &CommandMenus::Update);
}

QMenu* CommandMenus::MenuOf(const CommandRow& row) {
  QMenu* menu = Menu(row.menu);
  if (!*row.submenu) return menu;
  QMenu*& inner = submenus_[SubmenuKey(row.menu, row.submenu)];
  if (!inner) inner = menu->addMenu(QString::fromLatin1(row.submenu));
  // The reason why a command is off shows beside the pointer.
  inner->setToolTipsVisible(true);
  menu->setToolTipsVisible(true);
  return inner;
}

void CommandMenus::AddEntry(const CommandRow& row) {
  Entry& entry = entries_[row.id];
  entry.row = &row;
  QMenu* menu = MenuOf(row);
  menu->setToolTipsVisible(true);
  if (row.owner == CommandOwner::Menu) {
    entry.opens = menu->addMenu(QString::fromLatin1(row.text));
    entry.action = entry.opens->menuAction();
    entry.action->setVisible(false);
  } else {
    entry.action = new QAction(QString::fromLatin1(row.text), window_);
    QList<QKeySequence> keys;
    for (const char* key : {row.shortcut, row.secondShortcut})
      if (*key) keys << QKeySequence(QString::fromLatin1(key), QKeySequence::PortableText);
    entry.action->setShortcuts(keys);
    entry.action->setCheckable(row.checkable);
    const CommandId id = row.id;
    connect(entry.action, &QAction::triggered, this, [this, id] { Run(id); });
    menu->addAction(entry.action);
    JoinChoice(entry.action, row, menu);
    ShowAsWanted(entry);
  }
  SetStatusTip(entry.action, QString::fromLatin1(row.help));
}

void CommandMenus::Register(CommandId command, CommandHandler handler) {
  const auto found = entries_.find(command);
  if (found == entries_.end()) return;
  found->second.handler = std::move(handler);
  ShowAsWanted(found->second);
  UpdateEntry(found->second);
}

void CommandMenus::ShowAsWanted(const Entry& entry) {
  const bool there = entry.row->owner == CommandOwner::Child || entry.handler.run;
  entry.action->setVisible(there && entry.wanted);
  if (!there) entry.action->setEnabled(false);
}

void CommandMenus::Show(CommandId command, bool shown) {
  const auto found = entries_.find(command);
  if (found == entries_.end()) return;
  found->second.wanted = shown;
  ShowAsWanted(found->second);
}

void CommandMenus::Run(CommandId command) {
  const Entry* entry = Find(command);
  if (!entry || !Refusal(*entry).isEmpty()) return;
  const bool enough = WithMemory([&] {
    if (entry->row->owner == CommandOwner::Child) {
      if (ZKWindow* child = active_()) child->RunCommand(command);
    } else if (entry->handler.run) {
      entry->handler.run();
    }
  });
  if (!enough && shortMemory_) shortMemory_();
  Update();
}

QString CommandMenus::Refusal(const Entry& entry) const {
  switch (entry.row->owner) {
    case CommandOwner::Menu:
      return {};
    case CommandOwner::Frame:
      if (!entry.handler.run) return tr("Nothing carries this command out.");
      return entry.handler.refusal ? entry.handler.refusal() : QString();
    case CommandOwner::Child:
      break;
  }
  const ZKWindow* child = active_();
  return child ? child->RefusalOf(entry.row->id) : tr("No window is open.");
}

QString CommandMenus::Refusal(CommandId command) const {
  const Entry* entry = Find(command);
  return entry ? Refusal(*entry) : QString();
}

void CommandMenus::UpdateEntry(const Entry& entry) {
  if (entry.row->owner == CommandOwner::Menu) return;
  const QString refusal = Refusal(entry);
  const QString help = QString::fromLatin1(entry.row->help);
  entry.action->setEnabled(refusal.isEmpty());
  SetToolTip(entry.action, refusal);
  SetStatusTip(entry.action, refusal.isEmpty() ? help : help + QStringLiteral(" - ") + refusal);
  if (entry.row->checkable && entry.row->owner == CommandOwner::Child) {
    const ZKWindow* child = active_();
    entry.action->setChecked(child && child->CommandChecked(entry.row->id));
  }
  if (entry.handler.checked) entry.action->setChecked(entry.handler.checked());
}

void CommandMenus::Update() {
  for (const auto& [id, entry] : entries_) UpdateEntry(entry);
  emit Updated();
}

const CommandMenus::Entry* CommandMenus::Find(CommandId command) const {
  const auto found = entries_.find(command);
  return found == entries_.end() ? nullptr : &found->second;
}

QAction* CommandMenus::ActionOf(CommandId command) const {
  const Entry* entry = Find(command);
  return entry ? entry->action : nullptr;
}

bool CommandMenus::IsChecked(CommandId command) const {
  const Entry* entry = Find(command);
  return entry && entry->action->isChecked();
}

void CommandMenus::SetChecked(CommandId command, bool checked) {
  if (const Entry* entry = Find(command)) entry->action->setChecked(checked);
}

void CommandMenus::RemoveMenuActions(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    for (auto& [id, entry] : entries_) {
      QString text = entry.action->text();
      if (text.remove('&').remove(QStringLiteral("...")) != FromUtf8(name)) continue;
      entry.wanted = false;
      entry.action->setVisible(false);
    }
  }
}

QMenu* CommandMenus::Submenu(MenuId menu, const std::string& title) const {
  const auto found = submenus_.find(SubmenuKey(menu, title));
  return found == submenus_.end() ? nullptr : found->second;
}

QMenu* CommandMenus::OpenedMenu(CommandId command) {
  const Entry* entry = Find(command);
  if (!entry || !entry->opens) return nullptr;
  if (entry->wanted) entry->action->setVisible(true);
  return entry->opens;
}

QString WithLetter(std::size_t place, const QString& text) {
  if (place >= 35) return text;
  const char letter = static_cast<char>(place < 9 ? '1' + place : 'A' + (place - 9));
  return QStringLiteral("&%1 %2").arg(QLatin1Char(letter)).arg(text);
}

}  // namespace tonalith
