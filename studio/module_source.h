#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "studio/module.h"

namespace tonalith {

// Values that stand for `$name$`.
using SourceLets = std::map<std::string, std::string>;

// A line of a module source: `key = value` with the place it came from.
struct SourceLine {
  std::string file;
  int line = 0;         // from 1
  std::string section;  // of an INI file
  std::string key;
  std::string value;
  SourceLets lets;  // of a line that names a script: what stands for `$name$` there
};

// "FILE:LINE: text" as a failure.
Result SourceFailure(const SourceLine& at, const std::string& text);
Result SourceFailure(const std::string& file, int line, const std::string& text);

// Replaces every `$name$`; false with a sentence when a name is not known or a `$` is alone.
bool ReplaceLets(std::string_view text, const SourceLets& lets, std::string* out, std::string* error);

// Takes mistakes ("FILE:LINE: text") after which the reading can go on: it then gives success, else the mistake.
using SourceMistakes = std::function<Result(const Result& mistake)>;

// The entries of an INI source: sections, keys and values in order.  Lines that are wrong go to `mistakes`.
Result ReadIniSource(const ModuleSource& source, const std::string& file, std::vector<SourceLine>* lines,
                     const SourceMistakes& mistakes);

// The lines of a descriptor with its includes put in; `let` lines go into `lets` and are applied to what follows.
// A line "or" alone comes out with the key "or".  Lines that are wrong go to `mistakes`.
Result ReadDescriptorSource(const ModuleSource& source, const std::string& name, SourceLets* lets,
                            std::vector<SourceLine>* lines, const SourceMistakes& mistakes);

// True for the keys that name a script: receive, transmit, audition.
bool IsScriptKey(std::string_view key);

// Compiles the script source that a line names; doubtful places that the compiler would accept are mistakes as well.
Result CompileScriptSource(const ModuleSource& source, const SourceLine& at, std::vector<std::uint8_t>* code,
                           const SourceMistakes& mistakes);

}  // namespace tonalith
