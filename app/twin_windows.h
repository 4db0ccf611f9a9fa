#pragma once

#include <vector>

#include <QString>

namespace tonalith {

class ZKWindow;

// What the tab of a window says, without the number of a twin.
QString TabName(const ZKWindow& window);
// Gives windows whose tabs would say the same numbers, so that they can be told apart: the first has 1, and a number
// stays with its window while it has a twin.  Returns the windows that are called otherwise now.
std::vector<ZKWindow*> NumberTwins(const std::vector<ZKWindow*>& windows);

}  // namespace tonalith
