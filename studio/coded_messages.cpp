#include "studio/coded_messages.h"

#include "data/checksums.h"
#include "platform/byte_window.h"
#include "platform/text.h"
#include "script/hydrasynth.h"

namespace tonalith {

namespace {

constexpr const char* kCodedSection = "Coded Messages";
constexpr std::size_t kCheckBytes = 4;
constexpr std::size_t kMaxCodedData = 1u << 20;

}  // namespace

std::optional<CodedMessages> ReadCodedMessages(const IniFile& module, std::string* problem) {
  const std::string head = module.GetString(kCodedSection, "Head", ""),
                    piece = module.GetString(kCodedSection, "Piece", "");
  if (head.empty() && piece.empty()) return std::nullopt;
  CodedMessages coding;
  std::string error;
  if (module.GetString(kCodedSection, "Coding", "") != "base64-crc32") {
    *problem = "there is no such coding";
    return std::nullopt;
  }
  if (!ParseBytePattern(head, &coding.head, &error) || !ParseBytePattern(FirstPart(piece), &coding.piece, &error) ||
      coding.head.size() < 2) {
    *problem = error.empty() ? "the head is too short" : error;
    return std::nullopt;
  }
  const auto options = SplitOptions(piece);
  for (std::size_t i = 1; i < options.size(); ++i) {
    std::uint32_t* place = options[i].word == "index"   ? &coding.index
                           : options[i].word == "count" ? &coding.count
                           : options[i].word == "data"  ? &coding.data
                                                        : nullptr;
    if (!place || !RuleNumber(options[i].rest, place)) {
      *problem = "\"" + options[i].word + "\" says no place";
      return std::nullopt;
    }
  }
  if (coding.data <= coding.index || coding.data <= coding.count) {
    *problem = "the data stands behind the number of the piece";
    return std::nullopt;
  }
  return coding;
}

bool CodedPayload::IsPiece(const CodedMessages& coding) const {
  return bytes.size() > coding.data && coding.piece.Matches(bytes);
}

std::optional<CodedPayload> DecodeMessage(const CodedMessages& coding, std::span<const std::uint8_t> message) {
  if (message.size() < coding.head.size() + 1 || !coding.head.Matches(message)) return std::nullopt;
  auto record = Base64::Decode(message.subspan(coding.head.size(), message.size() - coding.head.size() - 1));
  if (!record || record->size() <= kCheckBytes) return std::nullopt;
  CodedPayload payload;
  payload.bytes.assign(record->begin() + kCheckBytes, record->end());
  payload.checked =
      LoadLe32(record->data()) ==
      static_cast<std::uint32_t>(~rc_crc32(0, payload.bytes.data(), static_cast<std::int64_t>(payload.bytes.size())));
  return payload;
}

bool CodedAssembler::Add(std::span<const std::uint8_t> message, std::vector<std::uint8_t>* whole, bool* bad) {
  whole->clear();
  if (message.size() < coding_.head.size() || !coding_.head.Matches(message)) return false;
  const auto payload = DecodeMessage(coding_, message);
  if (!payload) {
    ++lost_;
    return true;
  }
  if (!payload->IsPiece(coding_)) return true;
  const std::uint32_t index = payload->bytes[coding_.index], count = payload->bytes[coding_.count];
  if (index == 0 || index != next_) {
    lost_ += pending_;
    pending_ = 0;
    data_.clear();
    bad_ = false;
    next_ = 0;
  }
  ++pending_;
  if (index != next_ || data_.size() > kMaxCodedData) return true;
  bad_ = bad_ || !payload->checked;
  data_.insert(data_.end(), payload->bytes.begin() + coding_.data, payload->bytes.end());
  if (++next_ < count) return true;
  *whole = coding_.head.value;
  whole->insert(whole->end(), data_.begin(), data_.end());
  whole->push_back(0xF7);
  *bad = bad_;
  pending_ = 0;
  next_ = 0;
  return true;
}

}  // namespace tonalith
