#include "store/convert_map.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kSection[] = "Map";
constexpr std::size_t kPieceNumbers = 5;
constexpr int kMostPieces = 65536;
constexpr std::int64_t kMostBytes = 1 << 20;
constexpr std::uint64_t kMostMoved = 1 << 20;  // bytes of all pieces together
constexpr int kMostShift = 7;
constexpr int kByte = 0xFF;

int Shifted(int value, int shift) {
  return (shift < 0 ? value >> -shift : value << shift) & kByte;
}

bool ReadPiece(const std::string& text, ConvertMap::Piece* piece) {
  std::vector<std::int64_t> numbers;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t comma = std::min(text.find(',', at), text.size());
    const auto number = ParseInteger(text.substr(at, comma - at));
    if (!number) return false;
    numbers.push_back(*number);
    at = comma + 1;
  }
  if (numbers.size() != kPieceNumbers) return false;
  for (std::size_t i = 0; i < 3; ++i)
    if (numbers[i] < 0 || numbers[i] >= kMostBytes) return false;
  if (numbers[2] < 1 || numbers[3] < 1 || numbers[3] > kByte || numbers[4] < -kMostShift || numbers[4] > kMostShift)
    return false;
  *piece = {static_cast<std::uint32_t>(numbers[0]), static_cast<std::uint32_t>(numbers[1]),
            static_cast<std::uint32_t>(numbers[2]), static_cast<std::uint8_t>(numbers[3]),
            static_cast<int>(numbers[4])};
  return true;
}

}  // namespace

ConvertMap ConvertMap::Reversed() const {
  ConvertMap reversed;
  for (const Piece& piece : pieces)
    reversed.pieces.push_back({piece.target, piece.source, piece.count,
                               static_cast<std::uint8_t>(Shifted(piece.mask, piece.shift)), -piece.shift});
  return reversed;
}

std::uint64_t ConvertMap::SourceSize() const {
  std::uint64_t size = 0;
  for (const Piece& piece : pieces) size = std::max<std::uint64_t>(size, std::uint64_t{piece.source} + piece.count);
  return size;
}

std::uint64_t ConvertMap::TargetSize() const {
  std::uint64_t size = 0;
  for (const Piece& piece : pieces) size = std::max<std::uint64_t>(size, std::uint64_t{piece.target} + piece.count);
  return size;
}

void ConvertMap::Apply(const ConstPatchBytes& source, const PatchBytes& target) const {
  for (const Piece& piece : pieces) {
    const int reached = Shifted(piece.mask, piece.shift);
    for (std::uint32_t i = 0; i < piece.count; ++i) {
      const int value = Shifted(static_cast<int>(source.Get(piece.source + i)) & piece.mask, piece.shift);
      const auto kept = static_cast<int>(target.Get(piece.target + i)) & ~reached & kByte;
      target.Set(piece.target + i, kept | value);
    }
  }
}

Result ReadConvertMap(const IniFile& ini, ConvertMap* map) {
  const int count = ini.GetInt(kSection, "Count");
  if (count < 1 || count > kMostPieces) return Result::Failure("Its section [Map] has no pieces.");
  ConvertMap read;
  std::uint64_t moved = 0;
  for (int i = 0; i < count; ++i) {
    const auto text = ini.Find(kSection, std::to_string(i));
    ConvertMap::Piece piece;
    if (!text || !ReadPiece(*text, &piece))
      return Result::Failure(Printf("%d of its section [Map] is no piece: src, dst, count, mask, shift.", i));
    moved += piece.count;
    if (moved > kMostMoved) return Result::Failure("The pieces of its section [Map] are too long.");
    read.pieces.push_back(piece);
  }
  *map = std::move(read);
  return Result::Success();
}

std::string ConvertMapName(int from, int to) {
  return Printf("ConvMap.%d.%d.ini", from, to);
}

Result FindConvertMap(const std::filesystem::path& folder, int from, int to, ConvertMap* map) {
  if (folder.empty()) return Result::Failure({}, kNoConvertMap);
  std::error_code none;
  const auto file = [&](int first, int second) { return folder / ConvertMapName(first, second); };
  const bool own = std::filesystem::is_regular_file(file(from, to), none);
  const std::filesystem::path path = own ? file(from, to) : file(to, from);
  if (!own && !std::filesystem::is_regular_file(path, none)) return Result::Failure({}, kNoConvertMap);
  const Result read = ReadConvertMap(IniFile(path.string()), map);
  if (!read.ok()) return Result::Failure(path.filename().string() + ": " + read.text);
  if (!own) *map = map->Reversed();
  return Result::Success();
}

void MoveToEdit(std::span<const BitMove> moves, const ConstPatchBytes& slot, const PatchBytes& edit) {
  for (const BitMove& move : moves) edit.Set(move.edit, slot.Get(move.slot) >> move.bit & ((1 << move.bits) - 1));
}

void MoveToSlot(std::span<const BitMove> moves, const ConstPatchBytes& edit, const PatchBytes& slot) {
  for (const BitMove& move : moves) {
    const std::int64_t mask = (std::int64_t{1} << move.bits) - 1;
    const std::int64_t kept = slot.Get(move.slot) & ~(mask << move.bit);
    slot.Set(move.slot, kept | (edit.Get(move.edit) & mask) << move.bit);
  }
}

}  // namespace tonalith
