#pragma once

#include <string>
#include <vector>

#include "data/data_records.h"
#include "studio/coded_messages.h"
#include "studio/module_lets.h"
#include "studio/module_source.h"

namespace tonalith {

// How data is got and sent, written as steps (`get = STEP`, `put = STEP`), and the script that they become.
// docs/modules.md describes the steps.

// What the steps of a data type may refer to.
struct ExchangeFacts {
  const Synth& synth;           // finished
  const SourceLets& made;       // what ScriptLets knows of it
  std::string acknowledgement;  // statements that wait for what `acknowledged` says; empty without it
  const CodedMessages* coding;  // null without section [Coded Messages]
};

// True when the steps say that there is no exchange in this direction (`put = no`).
bool ExchangeIsNone(const std::vector<SourceLine>& steps);

// The source of the script for the steps, which are all `get` or all `put` lines.  Every step that is wrong goes to
// `mistakes`.
Result WriteExchange(const std::vector<SourceLine>& steps, const ExchangeFacts& facts, std::string* script,
                     const SourceMistakes& mistakes);

}  // namespace tonalith
