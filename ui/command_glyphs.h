#pragma once

#include "ui/commands.h"
#include "ui/style/icons.h"

namespace tonalith {

// The one icon of a command, wherever it is shown; None for commands that have none.
Glyph GlyphOf(CommandId command);

}  // namespace tonalith
