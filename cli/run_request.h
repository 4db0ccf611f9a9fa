#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "data/synth_fields.h"
#include "script/interpreter.h"
#include "simulator/conversation.h"

namespace tonalith {

using RunBytes = std::vector<std::uint8_t>;

// What the command line of `run` asks for.
struct RunRequest {
  std::string script;
  RunBytes code;
  std::vector<RunBytes> macros;
  std::optional<RunBytes> image;
  Synth synth = BlankSynth();
  bool fileSizeGiven = false;
  MacroStart start;
  int times = 1;
  std::int64_t limitMs = kDefaultScriptLimitMs;
  bool userSettings = false;  // settings that scripts read and change are the user's
  std::deque<RunBytes> replies;
  std::optional<Conversation> conversation;
  bool showImage = false;
};

// False with a sentence when the words do not make a request or a file cannot be read.
bool ParseRunArguments(const std::vector<std::string>& args, std::istream& in, RunRequest* request, std::string* error);

// The memory of the image and the size the script is told; completes what the descriptor leaves out.
MacroBuffer PrepareImage(RunRequest& request, RunBytes& memory);

extern const char* const kRunHelp;

}  // namespace tonalith
