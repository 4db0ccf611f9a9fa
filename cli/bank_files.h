// Banks and patches as commands read and write them.
#pragma once

#include <memory>
#include <string>

#include "platform/result.h"

namespace tonalith {

class Session;
class ZKBankDoc;

// A data file, or the one piece of data in another file that is recognised.  What the user has to know of it is noted
// on standard error.
Result OpenBankFile(Session& session, const std::string& path, std::unique_ptr<ZKBankDoc>* document);
// Refuses to write over the file that was read.
Result CheckBankOut(const std::string& from, const std::string& to);
// Writes a data file, or (.syx, .mid) what `export` writes; the checksums of changed data are renewed.
Result WriteBankFile(Session& session, ZKBankDoc* document, const std::string& path, bool changed);

}  // namespace tonalith
