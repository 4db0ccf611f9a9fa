#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "data/data_records.h"
#include "script/answer_rules.h"

namespace tonalith {

struct RecognizeRule;
class ZKStudioDoc;

// The messages that bring the data of a type, from how it looks in files.  A form that a file has and no answer (pieces
// that are cut out of their messages, addresses without frames) is left out.
AnswerRules AnswerRulesOf(const std::vector<RecognizeRule>& forms, const Synth& synth);

// The same for a data type of the studio, from its module as it is now; null: there is no such type, or nothing is
// known of it.
std::shared_ptr<const AnswerRules> FindAnswerRules(const ZKStudioDoc& studio, std::uint16_t driverId);

}  // namespace tonalith
