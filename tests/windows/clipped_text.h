#pragma once

#include <string>

class QWidget;

namespace tonalith {

// A line for each text in a window that has less room than it needs: words of buttons, tabs, groups, labels and
// columns, the entry shown in a choice, the value in a number field, and pages that would have to be scrolled sideways
// unless they are made for that and never scrolled upwards.  Hidden
// ones are left out.
std::string FaultsOfTexts(const QWidget& window);

}  // namespace tonalith
