#pragma once

#include "ui/inspector.h"

namespace tonalith {

class ZKBankDoc;

// What there is to know of one patch of a bank, or of a single patch; patch -1: of the data as a whole.  Links and
// edits use the document, which must live as long as they do.
InspectorContent InspectBank(ZKBankDoc& bank, int patch);

}  // namespace tonalith
