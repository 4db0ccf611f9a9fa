// What widgets say to somebody who does not see them, and to somebody who wonders why they are grey.
#pragma once

#include <QAccessible>
#include <QString>

class QWidget;

namespace tonalith {

// What a widget that paints itself is to a screen reader; to be said before its name.  One that is a button takes
// Return as its press.
void SetRole(QWidget* widget, QAccessible::Role role);

// Switches a control on when `refusal` is empty, else off: the reason then stands below its tool tip and is read with
// it.  `tip` is its tool tip without a reason; null: the one it had at the first call.
void EnableUnless(QWidget* control, const QString& refusal, const QString& tip = {});

// Names that nobody gave: of a progress bar, and, when `widget` is a label, of the control it stands for.
void NameAsShown(QWidget* widget);

}  // namespace tonalith
