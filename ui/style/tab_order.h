// Where the Tab key goes next: as the eye does, whatever the order in which a window was put together.
#pragma once

class QObject;
class QWidget;

namespace tonalith {

// Puts what Tab reaches in a window that is shown in order: lines from top to bottom, each from its beginning to its
// end; what stands in a pane, group or other part with a place of its own stays together.
void OrderTabs(QWidget* window);

// Does it for every window of the application as it is shown, and again when Tab is pressed there: pages, rows and
// panes come and go.
void KeepTabsInOrder(QObject* application);

}  // namespace tonalith
