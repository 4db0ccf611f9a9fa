#include "studio/own_inquiry.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kOwnSection[] = "Own Inquiry";
constexpr std::size_t kMostInquiryBytes = 64;

// A digit: its value, 0 with no bits that must agree for `?`, nothing for what is none.
std::optional<OwnInquiry::Byte> Digit(char c) {
  if (c == '?') return OwnInquiry::Byte{0, 0, OwnInquiry::Device::kNone};
  if (c == 'n') return OwnInquiry::Byte{0, 0x0F, OwnInquiry::Device::kDigit};
  const std::size_t at = std::string_view("0123456789ABCDEF").find(c);
  if (at == std::string_view::npos) return std::nullopt;
  return OwnInquiry::Byte{static_cast<std::uint8_t>(at), 0x0F, OwnInquiry::Device::kNone};
}

std::optional<OwnInquiry::Byte> ByteOfWord(std::string word) {
  if (word == "nn") return OwnInquiry::Byte{0, 0xFF, OwnInquiry::Device::kByte};
  const bool more = word.size() == 4 && word.ends_with("+n");
  if (more) word.resize(2);
  if (word.size() != 2) return std::nullopt;
  const auto high = Digit(word[0]), low = Digit(word[1]);
  if (!high || !low || high->device != OwnInquiry::Device::kNone) return std::nullopt;
  OwnInquiry::Byte byte;
  byte.value = static_cast<std::uint8_t>(high->value * 16 + low->value);
  byte.mask = static_cast<std::uint8_t>(high->mask * 16 + low->mask);
  byte.device = more ? OwnInquiry::Device::kByte : low->device;
  return byte;
}

std::vector<OwnInquiry::Byte> ReadMessage(const IniFile& module, const char* key, std::string* problem) {
  std::vector<OwnInquiry::Byte> bytes;
  const std::string text = module.GetString(kOwnSection, key);
  for (const std::string& word : SplitText(text, ' ')) {
    if (word.empty()) continue;
    const auto byte = ByteOfWord(word);
    if (byte) bytes.push_back(*byte);
    if (!byte && problem) *problem = std::string(kOwnSection) + ": \"" + word + "\" in " + key + " is no byte.";
    if (!byte) return {};
  }
  const bool whole = bytes.size() >= 3 && bytes.size() <= kMostInquiryBytes && bytes.front().value == 0xF0 &&
                     bytes.front().mask == 0xFF && bytes.back().value == 0xF7 && bytes.back().mask == 0xFF;
  if (!whole && problem && problem->empty())
    *problem = std::string(kOwnSection) + ": " + key + " is no message from F0 to F7.";
  if (!whole) bytes.clear();
  return bytes;
}

}  // namespace

std::vector<std::uint8_t> OwnInquiry::RequestOf(int device) const {
  std::vector<std::uint8_t> message;
  for (const Byte& byte : request) message.push_back(byte.With(device));
  return message;
}

std::optional<int> OwnInquiry::DeviceOf(std::span<const std::uint8_t> message, int low, int high, int asked) const {
  if (empty() || message.size() != reply.size()) return std::nullopt;
  const auto fits = [&](int device) {
    for (std::size_t i = 0; i < reply.size(); ++i)
      if (((reply[i].With(device) ^ message[i]) & reply[i].mask) != 0) return false;
    return true;
  };
  if (asked >= low && asked <= high && fits(asked)) return asked;
  for (int device = low; device <= high; ++device)
    if (fits(device)) return device;
  return std::nullopt;
}

OwnInquiry ReadOwnInquiry(const IniFile& module, std::string* problem) {
  OwnInquiry inquiry;
  if (!module.HasSection(kOwnSection)) return inquiry;
  inquiry.request = ReadMessage(module, "Request", problem);
  inquiry.reply = ReadMessage(module, "Reply", problem);
  if (inquiry.reply.empty()) inquiry.request.clear();
  return inquiry;
}

}  // namespace tonalith
