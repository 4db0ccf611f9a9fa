#include "ui/command_choices.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <string_view>

#include "ui/commands.h"

namespace tonalith {

void JoinChoice(QAction* action, const CommandRow& row, QMenu* menu) {
  const std::string_view submenu = row.submenu;
  if (!row.checkable || (submenu != "&View" && submenu != "Loo&k")) return;
  auto* group = menu->findChild<QActionGroup*>(QString(), Qt::FindDirectChildrenOnly);
  if (!group) group = new QActionGroup(menu);
  group->addAction(action);
}

}  // namespace tonalith
