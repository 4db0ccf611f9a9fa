#pragma once

#include "store/library/library_add.h"

namespace tonalith {

class Prompts;

// Asks the user what becomes of a patch whose name is in the Library already.
LibraryDecision AskLibraryQuestion(Prompts& prompts, const LibraryQuestion& question);

}  // namespace tonalith
