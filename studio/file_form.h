#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "data/data_records.h"
#include "studio/recognize_rules.h"

namespace tonalith {

class Recognizer;

// Data in the form in which files hold it, as its module declares it (studio/recognize_rules.h).  Nothing is sent for
// that and no script runs.

// One SysEx message after the other.
using FormMessages = std::vector<std::vector<std::uint8_t>>;

// The messages of the data by the first form of its type that holds all of it: read again they give the same type (or
// one of the same instrument that looks alike), the same image and the same patches.  Device number and checksums are
// brought up to date, as in what is sent.  Empty when no form does, or its descriptor is not the one of the studio.
FormMessages MessagesOfFile(const Recognizer& recognizer, const DataFile& data);

// By one form, whose terms are those of the descriptor; empty when it cannot hold the image.  `patches` tells which
// voices of a bank are written where the form has messages of their own for them; null: all.
FormMessages WriteForm(const RecognizeRule& rule, const Synth& synth, std::span<const std::uint8_t> image,
                       const std::vector<bool>* patches);

}  // namespace tonalith
