#pragma once

#include <vector>

#include "data/data_records.h"
#include "script/answer_rules.h"

namespace tonalith {

struct RecognizeRule;

// The messages that bring the data of a type, from how it looks in files.  A form that a file has and no answer (pieces
// that are cut out of their messages, addresses without frames) is left out.
AnswerRules AnswerRulesOf(const std::vector<RecognizeRule>& forms, const Synth& synth);

}  // namespace tonalith
