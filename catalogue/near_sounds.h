#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "catalogue/catalogue.h"
#include "platform/cancel_token.h"
#include "platform/result.h"

namespace tonalith {

class Recognizer;

// `different`: how many unpacked bytes, those of the names left out.  False: that was enough.
using NearTaker = std::function<bool(const CatalogueHit& hit, std::uint32_t different)>;

// The patches that differ from one patch in at most `most` bytes, of any data type of its instrument with as many
// bytes; not itself.  Their files are read again; those that have changed since they were scanned, or cannot be read,
// are left out.
Result FindNear(Catalogue& catalogue, const Recognizer& recognizer, const std::string& file, std::uint32_t slot,
                std::uint32_t most, const CancelToken& cancel, const NearTaker& take);

}  // namespace tonalith
