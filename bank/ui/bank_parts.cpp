#include <QAction>
#include <QMenu>
#include <map>

#include "bank/ui/bank_arrange.h"
#include "bank/ui/bank_audition_part.h"
#include "bank/ui/bank_clip.h"
#include "bank/ui/bank_export.h"
#include "bank/ui/bank_history.h"
#include "bank/ui/bank_initial.h"
#include "bank/ui/bank_names.h"
#include "bank/ui/bank_part.h"
#include "bank/ui/bank_rest_part.h"
#include "bank/ui/bank_transmit.h"
#include "bank/ui/bank_views.h"
#include "bank/ui/bank_window.h"
#include "ui/command_choices.h"
#include "ui/command_glyphs.h"
#include "ui/plain_text.h"

namespace tonalith {

std::vector<std::unique_ptr<BankWindowPart>> MakeBankParts(TZKBank& window) {
  std::vector<std::unique_ptr<BankWindowPart>> parts;
  parts.push_back(std::make_unique<BankViews>(window));
  parts.push_back(std::make_unique<BankClip>(window));
  parts.push_back(std::make_unique<BankArrange>(window));
  parts.push_back(std::make_unique<BankNames>(window));
  parts.push_back(std::make_unique<BankInitial>(window));
  parts.push_back(std::make_unique<BankHistory>(window));
  parts.push_back(std::make_unique<BankRestPart>(window));
  parts.push_back(std::make_unique<BankTransmit>(window));
  parts.push_back(std::make_unique<BankAudition>(window));
  parts.push_back(std::make_unique<BankExport>(window));
  return parts;
}

namespace {

void AddBankEntry(QMenu* menu, TZKBank& window, const CommandRow& row) {
  const QString own = window.CommandText(row.id);
  QAction* action = menu->addAction(own.isEmpty() ? QString::fromLatin1(row.text) : own);
  if (const Glyph glyph = GlyphOf(row.id); glyph != Glyph::None) action->setIcon(IconOf(glyph));
  if (*row.shortcut) {
    // Shown only; the keys are those of the program's menu.
    action->setShortcut(QKeySequence(QString::fromLatin1(row.shortcut), QKeySequence::PortableText));
    action->setShortcutContext(Qt::WidgetShortcut);
  }
  const QString refusal = window.RefusalOf(row.id);
  action->setEnabled(refusal.isEmpty());
  SetToolTip(action, refusal);
  SetStatusTip(action, refusal.isEmpty() ? QString::fromLatin1(row.help) : refusal);
  action->setCheckable(row.checkable);
  JoinChoice(action, row, menu);
  if (row.checkable) action->setChecked(window.CommandChecked(row.id));
  QObject::connect(action, &QAction::triggered, &window, [&window, id = row.id] { window.RunCommand(id); });
}

}  // namespace

void FillBankMenu(QMenu* menu, TZKBank& window, BankMenu which) {
  std::map<std::string, QMenu*> submenus;
  menu->setToolTipsVisible(true);
  for (const auto& part : window.parts()) {
    const std::vector<CommandId> entries = part->EntriesOf(which);
    if (!entries.empty() && !menu->isEmpty()) menu->addSeparator();
    for (const CommandId command : entries) {
      const CommandRow* row = RowOf(command);
      if (!row) {
        menu->addSeparator();
        continue;
      }
      // The tool's own menu is what their submenu in the program's menus is.
      const char* submenu = which == BankMenu::Export ? "" : row->submenu;
      QMenu*& place = submenus[submenu];
      if (!place) place = *submenu ? menu->addMenu(QString::fromLatin1(submenu)) : menu;
      place->setToolTipsVisible(true);
      AddBankEntry(place, window, *row);
    }
  }
}

}  // namespace tonalith
