#pragma once

#include <string>

namespace tonalith {

class LinkTracker;
class ZKGrpDoc;

// A page (HTML, UTF-8) of what each patch of the Set plays, and by what each is played.
std::string LinkReport(const ZKGrpDoc& set, const LinkTracker& links);

}  // namespace tonalith
