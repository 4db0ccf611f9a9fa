#pragma once

#include <string>

class QWidget;

namespace tonalith {

// What is wrong with the controls of a window for somebody who does not see it, has no mouse or no steady hand: a line
// for each control without a name, outside the Tab order, that keeps the Tab key, or that is smaller than 28 x 28.
// Controls that are hidden, or inside another control, are left out.
std::string FaultsOfControls(const QWidget& window);

}  // namespace tonalith
