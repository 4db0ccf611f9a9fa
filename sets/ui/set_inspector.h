#pragma once

#include "ui/inspector.h"

namespace tonalith {

class ZKGrpDoc;

// What there is to know of a component as a whole; nothing when there is no such component.
InspectorContent InspectComponent(const ZKGrpDoc& set, int component);

}  // namespace tonalith
