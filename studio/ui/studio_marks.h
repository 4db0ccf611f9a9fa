#pragma once

#include <QIcon>

#include "ui/style/state_mark.h"

class QWidget;

namespace tonalith {

// A mark of state as an icon beside text, in the size and at the scale of the widget.
QIcon MarkIcon(Mark mark, const QWidget* widget);

}  // namespace tonalith
