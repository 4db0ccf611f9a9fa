#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/cancel_token.h"
#include "platform/result.h"

namespace tonalith {

class Recognizer;

// Files below this many are looked at in one folder and those inside it.
inline constexpr std::size_t kMostSourceFiles = 100000;

// The files that a path stands for: itself, or all files below the folder, by name; links to folders are not followed.
// Fails when there is nothing of that name.
Result FilesOfSource(const std::string& path, const CancelToken& cancel, std::vector<std::string>* files);

// All data of a file: of this program (data, Set, Library, Collection), SysEx or MIDI.  Records of a Set that hold
// nothing are left out.  `note`: what the user has to know of the file, a sentence, or empty.  May run on any thread.
Result ReadLibrarySource(const std::string& path, const Recognizer& recognizer, std::vector<DataFilePtr>* data,
                         std::string* note);

}  // namespace tonalith
