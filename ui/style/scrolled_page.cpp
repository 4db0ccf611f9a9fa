#include "ui/style/scrolled_page.h"

#include <QEvent>
#include <QLayout>

namespace tonalith {

// The area asks for the least size alone, which knows nothing of lines that wrap.
bool ScrolledPage::event(QEvent* event) {
  const bool done = QWidget::event(event);
  const bool shaped = event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest;
  if (!shaped || !layout() || !layout()->hasHeightForWidth()) return done;
  const int height = layout()->totalHeightForWidth(width());
  if (height != minimumHeight()) setMinimumHeight(height);
  return done;
}

}  // namespace tonalith
