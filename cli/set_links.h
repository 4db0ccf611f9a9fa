#pragma once

#include "cli/arguments.h"
#include "platform/result.h"
#include "store/sets/patch_links.h"

namespace tonalith {

class Session;
class ZKGrpDoc;

// Which patches of a Set play which others, as the installed modules say; what does not read goes to standard error.
PatchLinks LinksOfSet(Session& session, const ZKGrpDoc& set);
// set links FILE: a line a link, or all of them as a page.
Result ListSetLinks(Session& session, const CliArguments& arguments);

}  // namespace tonalith
