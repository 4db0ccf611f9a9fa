#include "parameters/reference_matrix.h"

#include <utility>

#include "parameters/tabbed_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kKind[] = "references";
constexpr std::size_t kCells = 7;
constexpr std::size_t kMostRows = 65536;
constexpr std::int64_t kMostNumber = 1 << 24;

// "DRIVER:SLOTS ..."; false when it does not read.
bool ReadTargets(const std::string& text, std::vector<ReferenceMatrix::Target>* targets) {
  for (const std::string& word : SplitText(text, ' ')) {
    const std::size_t colon = word.find(':');
    if (colon == std::string::npos) return false;
    const auto driver = ParseInteger(word.substr(0, colon)), slots = ParseInteger(word.substr(colon + 1));
    if (!driver || !slots || *driver < 0 || *driver > kMostNumber || *slots < 1 || *slots > kMostNumber) return false;
    targets->push_back({static_cast<int>(*driver), static_cast<std::uint32_t>(*slots)});
  }
  return !targets->empty();
}

std::string ReadPlace(const std::string& place, const std::string& range, const ReferenceMatrix& matrix,
                      FieldPlace* out, FieldRange* outRange) {
  auto fault = ParseFieldPlace(place, matrix.sevenBit, {0, 0, &matrix.pieces}, out);
  if (!fault) fault = ParseFieldRange(range, out, outRange);
  return fault ? fault->text + "." : std::string();
}

bool Holds(const ReferenceMatrix::Condition& condition, const ConstPatchBytes& parent) {
  const std::int64_t value = condition.place.Read(parent);
  return value >= condition.range.min && value <= condition.range.max;
}

// All of the writes or none.
bool WriteAll(const PatchBytes& parent, const std::vector<std::pair<const FieldPlace*, std::int64_t>>& writes) {
  std::vector<std::int64_t> old;
  for (const auto& [place, value] : writes) {
    old.push_back(place->Read(parent.view()));
    if (place->Write(parent, value)) continue;
    for (std::size_t i = old.size() - 1; i-- > 0;) writes[i].first->Write(parent, old[i]);
    return false;
  }
  return true;
}

}  // namespace

std::optional<PatchAddress> ReferenceMatrix::Row::Read(const ConstPatchBytes& parent) const {
  for (const Condition& condition : conditions)
    if (!Holds(condition, parent)) return std::nullopt;
  const std::int64_t value = child.Read(parent);
  if (value < childRange.min || value > childRange.max) return std::nullopt;
  auto number = static_cast<std::uint64_t>(value - childRange.min);
  if (bank) {
    const std::int64_t index = bank->Read(parent) - bankRange.min;
    if (index < 0 || index >= static_cast<std::int64_t>(targets.size()) || index > bankRange.max - bankRange.min)
      return std::nullopt;
    const Target& target = targets[static_cast<std::size_t>(index)];
    if (number >= target.slots) return std::nullopt;
    return PatchAddress{target.driverId, static_cast<std::uint32_t>(number)};
  }
  for (const Target& target : targets) {
    if (number < target.slots) return PatchAddress{target.driverId, static_cast<std::uint32_t>(number)};
    number -= target.slots;
  }
  return std::nullopt;
}

bool ReferenceMatrix::Row::Write(const PatchBytes& parent, const PatchAddress& address) const {
  std::int64_t before = 0;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const Target& target = targets[i];
    const std::int64_t value = childRange.min + address.slot + (bank ? 0 : before);
    before += target.slots;
    if (target.driverId != address.driverId || address.slot >= target.slots || value > childRange.max) continue;
    const std::int64_t number = bankRange.min + static_cast<std::int64_t>(i);
    if (bank && number > bankRange.max) continue;
    std::vector<std::pair<const FieldPlace*, std::int64_t>> writes;
    for (const Condition& condition : conditions)
      if (!Holds(condition, parent.view())) writes.emplace_back(&condition.place, condition.range.min);
    if (bank) writes.emplace_back(&*bank, number);
    writes.emplace_back(&child, value);
    return WriteAll(parent, writes);
  }
  return false;
}

std::vector<ChildReference> ReadReferences(const ReferenceMatrix& matrix, const ConstPatchBytes& parent) {
  std::vector<ChildReference> references;
  for (std::size_t i = 0; i < matrix.rows.size(); ++i)
    if (const auto child = matrix.rows[i].Read(parent)) references.push_back({i, *child});
  return references;
}

RenumberOutcome RenumberReferences(const ReferenceMatrix& matrix, const PatchBytes& parent, const ChildMoves& moves) {
  RenumberOutcome outcome;
  for (const ChildReference& reference : ReadReferences(matrix, parent.view())) {
    const auto moved = moves(reference.child);
    if (!moved || *moved == reference.child) continue;
    if (matrix.rows[reference.row].Write(parent, *moved))
      ++outcome.changed;
    else
      outcome.failed.push_back(reference.row);
  }
  return outcome;
}

std::string ReferenceMatrixName(int driverId) {
  return "References.ID" + std::to_string(driverId) + ".tsv";
}

std::string ReferenceMatrixText(const ReferenceMatrix& matrix) {
  std::string text =
      TabbedHead(kKind) + TabbedLine({"bits", matrix.sevenBit ? "7" : "8"}) + PatchPiecesText(matrix.pieces);
  for (const ReferenceMatrix::Row& row : matrix.rows) {
    std::string targets;
    for (const ReferenceMatrix::Target& target : row.targets)
      targets += (targets.empty() ? "" : " ") + std::to_string(target.driverId) + ":" + std::to_string(target.slots);
    text += TabbedLine({"reference", row.name, row.bank ? row.bank->text : "",
                        row.bank ? FieldRangeText(*row.bank, row.bankRange) : "", row.child.text,
                        FieldRangeText(row.child, row.childRange), targets});
    for (const ReferenceMatrix::Condition& condition : row.conditions)
      text += TabbedLine({"condition", condition.place.text, FieldRangeText(condition.place, condition.range)});
  }
  return text;
}

Result ReadReferenceMatrix(std::string_view text, ReferenceMatrix* out) {
  ReferenceMatrix matrix;
  std::size_t conditions = 0;
  const auto take = [&](const std::vector<std::string>& cells) -> std::string {
    if (cells[0] == "bits" && cells.size() == 2) {
      matrix.sevenBit = cells[1] == "7";
      return {};
    }
    if (cells[0] == "piece") return ReadPatchPiece(cells, &matrix.pieces) ? "" : "the piece does not read.";
    if (cells[0] == "condition" && cells.size() == 3 && !matrix.rows.empty()) {
      ReferenceMatrix::Condition& condition = matrix.rows.back().conditions.emplace_back();
      if (++conditions > kMostRows) return "there are too many conditions.";
      return ReadPlace(cells[1], cells[2], matrix, &condition.place, &condition.range);
    }
    if (cells[0] != "reference" || cells.size() != kCells) return "no reference.";
    if (matrix.rows.size() >= kMostRows) return "there are too many references.";
    ReferenceMatrix::Row row;
    row.name = cells[1];
    std::string wrong;
    if (!cells[2].empty()) wrong = ReadPlace(cells[2], cells[3], matrix, &row.bank.emplace(), &row.bankRange);
    if (wrong.empty()) wrong = ReadPlace(cells[4], cells[5], matrix, &row.child, &row.childRange);
    if (wrong.empty() && !ReadTargets(cells[6], &row.targets)) wrong = "the targets do not read.";
    matrix.rows.push_back(std::move(row));
    return wrong;
  };
  Result read = ReadTabbedLines(text, kKind, take);
  if (read.ok()) *out = std::move(matrix);
  return read;
}

}  // namespace tonalith
