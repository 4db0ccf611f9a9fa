#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parameters/field_place.h"
#include "platform/result.h"

namespace tonalith {

// Which patches of other banks a multi, performance or configuration plays, and where it says so.

// A slot of a data type.
struct PatchAddress {
  int driverId = 0;
  std::uint32_t slot = 0;
  bool operator==(const PatchAddress&) const = default;
};

struct ReferenceMatrix {
  // The banks that a reference can mean, in the order in which their numbers count.
  struct Target {
    int driverId = 0;
    std::uint32_t slots = 0;
  };
  // A field that must hold one of these values for the row to mean a child; writing a child sets it to the first.
  struct Condition {
    FieldPlace place;
    FieldRange range;
  };
  struct Row {
    std::string name;  // "INST 1"
    std::vector<Condition> conditions;
    std::optional<FieldPlace> bank;  // which of the targets; without it the numbers run on from target to target
    FieldRange bankRange;            // of the values that mean the targets, from the first on
    FieldPlace child;                // the number of the patch
    FieldRange childRange;           // of the values that mean slots, from slot 0 on
    std::vector<Target> targets;

    // What the values mean; nothing when they mean no slot of a target.
    std::optional<PatchAddress> Read(const ConstPatchBytes& parent) const;
    // False, and nothing is written, when the place cannot say it.
    bool Write(const PatchBytes& parent, const PatchAddress& child) const;
  };
  bool sevenBit = false;
  std::vector<PatchPiece> pieces;
  std::vector<Row> rows;
};

struct ChildReference {
  std::size_t row = 0;
  PatchAddress child;
};

// The children of a parent, in the order of the rows; rows that mean no slot are left out.
std::vector<ChildReference> ReadReferences(const ReferenceMatrix& matrix, const ConstPatchBytes& parent);

// Where a child has moved to; nothing when it stays.
using ChildMoves = std::function<std::optional<PatchAddress>(const PatchAddress& child)>;
struct RenumberOutcome {
  std::size_t changed = 0;
  std::vector<std::size_t> failed;  // rows that cannot say where their child is now; they stay
};
RenumberOutcome RenumberReferences(const ReferenceMatrix& matrix, const PatchBytes& parent, const ChildMoves& moves);

// --- as a file of a package
// --------------------------------------------------------------------------------------------- Tab separated lines.
// The first is "Tonalith references" and the version 1, then
//   bits       7 or 8
//   condition  PLACE and RANGE, behind the reference it belongs to
//   reference  NAME, PLACE and RANGE of the bank (or nothing), PLACE and RANGE of the child, targets as DRIVER:SLOTS
//   with
//              blanks between

std::string ReferenceMatrixText(const ReferenceMatrix& matrix);
Result ReadReferenceMatrix(std::string_view text, ReferenceMatrix* out);
// Name of the file of a data type.
std::string ReferenceMatrixName(int driverId);

}  // namespace tonalith
