#pragma once

#include "ui/inspector.h"

namespace tonalith {

class Document;
class ZKBankDoc;

// What there is to know of one patch of a bank, or of a single patch; patch -1: of the data as a whole.  `holder` has
// file and history of the data: the bank itself, or a document that the bank is a part of.  Links and edits use both,
// which must live as long as they do.
InspectorContent InspectBank(ZKBankDoc& bank, int patch, Document& holder);

}  // namespace tonalith
