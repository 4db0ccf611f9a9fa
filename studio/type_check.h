#pragma once

#include <functional>
#include <memory>
#include <span>

#include "script/received_check.h"

namespace tonalith {

class ZKStudioDoc;
struct VerifyRule;

// The checksums of an image by the `verify` lines of a form, else by the descriptor.  `isEmpty` tells which voices of a
// bank have none.
ChecksumVerdict VerifyImage(std::span<const VerifyRule> rules, const Synth& synth, std::span<const std::uint8_t> image,
                            const std::function<bool(std::uint32_t voice)>& isEmpty);

// What the module of the data says about its checksums.  Null: the studio has no such data type.
std::shared_ptr<const ReceivedCheck> CheckOfType(const ZKStudioDoc& studio, const DataFile& dataFile);

}  // namespace tonalith
