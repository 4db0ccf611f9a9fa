#pragma once

class QAction;
class QMenu;

namespace tonalith {

struct CommandRow;

// Entries of one submenu of which just one is chosen show as that, not as marks of their own.  `menu` holds the entry.
void JoinChoice(QAction* action, const CommandRow& row, QMenu* menu);

}  // namespace tonalith
