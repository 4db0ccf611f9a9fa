#include "simulator/change_engine.h"

#include <algorithm>
#include <string>

#include "simulator/text_tools.h"
#include "simulator/wire_codecs.h"

namespace tonalith {

namespace {

constexpr int kSeptetBits = 7;
constexpr std::int64_t kControllerValues = 128;

std::int64_t Signed(std::int64_t value, int width) {
  return value & std::int64_t{1} << (width - 1) ? value - (std::int64_t{1} << width) : value;
}

std::int64_t Read(const ChangeInfo::Place& place, std::span<const std::uint8_t> bytes) {
  std::int64_t value = 0;
  int at = 0;
  for (const ChangeInfo::Bits& bits : place.bits) {
    const std::int64_t part = bytes[static_cast<std::size_t>(bits.byte)] >> bits.bit & ((1 << bits.width) - 1);
    value |= part << at;
    at += bits.width;
  }
  return place.isSigned ? Signed(value, at) : value;
}

void Write(const ChangeInfo::Place& place, std::int64_t value, std::span<std::uint8_t> bytes) {
  for (const ChangeInfo::Bits& bits : place.bits) {
    const int mask = ((1 << bits.width) - 1) << bits.bit;
    std::uint8_t& byte = bytes[static_cast<std::size_t>(bits.byte)];
    byte = static_cast<std::uint8_t>((byte & ~mask) | (static_cast<int>(value << bits.bit) & mask));
    value >>= bits.width;
  }
}

// What the messages say: {vSHIFT} and {vSHIFT@LEFT} are bits of it from SHIFT on, that stand LEFT bits higher.
struct Said {
  std::int64_t value = 0;
  int width = 1;  // bits that are said
};
Said ValueOf(const Captures& captures) {
  Said said;
  for (const auto& [name, byte] : captures) {
    if (!name.starts_with('v')) continue;
    const std::size_t at = name.find('@');
    const int shift = ReadSimNumber(name.substr(1, at == std::string::npos ? at : at - 1)).value_or(0);
    const int left = at == std::string::npos ? 0 : ReadSimNumber(name.substr(at + 1)).value_or(0);
    said.value |= std::int64_t{byte >> left} << shift;
    said.width = std::max(said.width, shift + kSeptetBits);
  }
  return said;
}

}  // namespace

ChangeEngine::ChangeEngine(EngineCore& core) : core_(core) {
  for (const ChangeInfo& change : core_.description.changes) most_ = std::max(most_, change.match.size());
}

bool ChangeEngine::Handle(std::span<const std::uint8_t> message) {
  heard_.emplace_back(message.begin(), message.end());
  if (heard_.size() > most_) heard_.pop_front();
  for (const ChangeInfo& change : core_.description.changes) {
    Captures captures;
    if (Matches(change, &captures) && Apply(change, captures)) return true;
  }
  return false;
}

bool ChangeEngine::Matches(const ChangeInfo& change, Captures* captures) const {
  const std::size_t count = change.match.size();
  if (heard_.size() < count) return false;
  for (std::size_t i = 0; i < count; ++i) {
    const std::vector<std::uint8_t>& message = heard_[heard_.size() - count + i];
    const WirePattern& pattern = change.match[i];
    if (message.size() != pattern.size() ||
        !MatchPattern(pattern, message, core_.device, core_.description.deviceBase, captures))
      return false;
  }
  if (change.sum == SumKind::kNone) return true;
  const std::vector<std::uint8_t>& last = heard_.back();
  const auto sum = std::find_if(change.match.back().begin(), change.match.back().end(),
                                [](const PatternToken& token) { return token.name == "sum"; });
  const auto at = static_cast<std::size_t>(sum - change.match.back().begin()),
             from = static_cast<std::size_t>(change.sumStart);
  return at >= last.size() || from > at ||
         WholeSumByte(change.sum, std::span(last).subspan(from, at - from)) == last[at];
}

bool ChangeEngine::Apply(const ChangeInfo& change, const Captures& captures) {
  std::vector<std::uint8_t> key;
  for (auto byte = captures.find("key0"); byte != captures.end();
       byte = captures.find("key" + std::to_string(key.size())))
    key.push_back(static_cast<std::uint8_t>(byte->second));
  const auto fields = change.fields.find(key);
  const auto item = core_.memory.Item(change.area, 0);
  if (fields == change.fields.end() || item.empty()) return false;
  for (const ChangeInfo::Field& field : fields->second) {
    const bool there = std::all_of(field.when.begin(), field.when.end(), [&](const ChangeInfo::Test& test) {
      const std::int64_t value = Read(test.place, item);
      return value >= test.low && value <= test.high;
    });
    if (!there) continue;
    const Said said = ValueOf(captures);
    std::int64_t value = (said.value - field.less) & ((std::int64_t{1} << said.width) - 1);
    if (field.count > 0)
      value = said.value * field.count / kControllerValues + field.first;
    else if (field.place.isSigned)
      value = Signed(value, said.width);
    Write(field.place, value, item);
    return true;
  }
  return false;
}

}  // namespace tonalith
