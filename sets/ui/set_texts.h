#pragma once

#include <QString>
#include <vector>

class QWidget;

namespace tonalith {

class WindowContext;
class ZKGrpDoc;

// Prints the listing of a Set.  `parent`: of the system's dialog.
void PrintSet(const ZKGrpDoc& set, WindowContext& context, QWidget* parent);

// Puts the patches of components on the clipboard as text.  What was done, a sentence; empty: the user has been told
// why it was not.
QString CopyComponents(const ZKGrpDoc& set, const std::vector<int>& components, WindowContext& context);

}  // namespace tonalith
