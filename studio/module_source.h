#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "studio/module.h"
#include "studio/module_lets.h"

namespace tonalith {

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

// Takes mistakes ("FILE:LINE: text") after which the reading can go on: it then gives success, else the mistake.
using SourceMistakes = std::function<Result(const Result& mistake)>;

// The entries of an INI source: sections, keys and values in order.  Lines that are wrong go to `mistakes`.
Result ReadIniSource(const ModuleSource& source, const std::string& file, std::vector<SourceLine>* lines,
                     const SourceMistakes& mistakes);

// Lines that go before a descriptor: those it may override, and those of a row, which override it.
struct SourceLead {
  std::vector<SourceLine> defaults, row;
};

// The lines of a descriptor with its includes put in, behind those of `lead`; `let` lines go into `lets`, and so does
// the value of each line whose key is a name (IsNamedKey); both are applied to what follows.  A message line with a
// range of bytes comes out as one line for each.  A line "or" alone comes out with the key "or".  Lines that are wrong
// go to `mistakes`.
Result ReadDescriptorSource(const ModuleSource& source, const std::string& name, const SourceLead& lead,
                            SourceLets* lets, std::vector<SourceLine>* lines, const SourceMistakes& mistakes);

// True for the keys of a form: how the data looks in a file.
bool IsFormKey(const std::string& key);

// True for keys whose value is known by their name in what follows: those that stand once.
bool IsNamedKey(const std::string& key);

// True for the keys of steps: get, put.
bool IsExchangeKey(std::string_view key);

// True for the keys that name a script: receive, transmit, audition.
bool IsScriptKey(std::string_view key);

// Compiles the script source that a line names, with what stands for `$name$` in it; doubtful places that the compiler
// would accept are mistakes as well.
Result CompileScriptSource(const ModuleSource& source, const SourceLine& at, const SourceLets& lets,
                           std::vector<std::uint8_t>* code, const SourceMistakes& mistakes);

}  // namespace tonalith
