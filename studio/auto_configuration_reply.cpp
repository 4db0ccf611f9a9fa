#include <algorithm>

#include "data/hex_text.h"
#include "data/maker_names.h"
#include "platform/text.h"
#include "studio/auto_configuration.h"

namespace tonalith {

namespace {

// Only the bytes between the header and F7 count, however long the message is.
int ByteAt(std::span<const std::uint8_t> message, std::size_t at) {
  return at + 1 < message.size() ? message[at] : kAnyByte;
}

bool Fits(int wanted, int there) {
  return wanted == kAnyByte || wanted == there;
}

template <std::size_t N>
bool AnyMissing(const std::array<int, N>& bytes, std::size_t count) {
  return std::any_of(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count),
                     [](int byte) { return byte == kAnyByte; });
}

// The four version bytes as one number; a byte that does not matter counts as 0 on both sides' scale.
template <std::size_t N>
std::uint32_t VersionNumber(const std::array<int, N>& bytes, const std::array<int, 5>& wanted) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i)
    number = (number << 8) | static_cast<std::uint32_t>(wanted[i] == kAnyByte ? 0 : std::max(0, bytes[i]));
  return number;
}

bool VersionFits(const DeviceInquiryPattern& pattern, const IdentityReply& reply) {
  if (pattern.minimumVersion)
    return VersionNumber(reply.version, pattern.ascii) >= VersionNumber(pattern.ascii, pattern.ascii);
  for (std::size_t i = 0; i < pattern.ascii.size(); ++i)
    if (!Fits(pattern.ascii[i], reply.version[i])) return false;
  return true;
}

bool PatternFits(const DeviceInquiryPattern& pattern, const IdentityReply& reply) {
  for (std::size_t i = 0; i < 2; ++i)
    if (!Fits(pattern.family[i], reply.identity[i]) || !Fits(pattern.member[i], reply.identity[2 + i])) return false;
  return VersionFits(pattern, reply);
}

// The older rules look at a pair only when the module gives both of its bytes.
bool OldPatternFits(const DeviceInquiryPattern& pattern, const IdentityReply& reply) {
  const auto pairFits = [](const std::array<int, 2>& wanted, int first, int second) {
    return wanted[0] == kAnyByte || wanted[1] == kAnyByte || (wanted[0] == first && wanted[1] == second);
  };
  return pairFits(pattern.family, reply.identity[0], reply.identity[1]) &&
         pairFits(pattern.member, reply.identity[2], reply.identity[3]);
}

}  // namespace

std::optional<IdentityReply> ParseIdentityReply(std::span<const std::uint8_t> message) {
  if (message.size() < 7 || message[0] != 0xF0 || message[1] != 0x7E || message[3] != 0x06 || message[4] != 0x02 ||
      message.back() != 0xF7)
    return std::nullopt;
  IdentityReply reply;
  reply.deviceId = message[2];
  const std::size_t makerBytes = message[5] == 0 ? 3 : 1;
  for (std::size_t i = 0; i < makerBytes; ++i) {
    const int byte = ByteAt(message, 5 + i);
    if (byte != kAnyByte) reply.maker.push_back(byte);
  }
  const std::size_t data = 5 + makerBytes;
  for (std::size_t i = 0; i < reply.identity.size(); ++i) reply.identity[i] = ByteAt(message, data + i);
  for (std::size_t i = 0; i < reply.version.size(); ++i) reply.version[i] = ByteAt(message, data + 4 + i);
  // In a message of the usual length the byte behind the version is the end mark.
  if (reply.version[4] == kAnyByte && message.size() == data + 9) reply.version[4] = message.back();
  return reply;
}

std::vector<std::uint8_t> DeviceInquiry::Request(int device) const {
  if (!own.empty()) return own.RequestOf(device);
  return {0xF0, 0x7E, static_cast<std::uint8_t>(device & 127), 0x06, 0x01, 0xF7};
}

bool DeviceInquiry::IsAnswer(std::span<const std::uint8_t> message) const {
  return own.empty() ? ParseIdentityReply(message).has_value() : own.DeviceOf(message, chMin, chMax, chMin).has_value();
}

int DeviceInquiry::DeviceOf(std::span<const std::uint8_t> message, int asked) const {
  constexpr int kAllDevices = 127;
  if (!own.empty()) return own.DeviceOf(message, chMin, chMax, asked).value_or(chMin);
  return message[2] == kAllDevices ? std::max(asked, 0) : message[2];
}

int MatchIdentityReply(const DeviceInquiry& inquiry, std::span<const std::uint8_t> message) {
  if (!inquiry.own.empty()) return inquiry.IsAnswer(message) ? 0 : -1;
  if (inquiry.length != -1 && message.size() != static_cast<std::size_t>(inquiry.length)) return -1;
  auto reply = ParseIdentityReply(message);
  if (!reply) return -1;
  // Where the data begins is the module's word, whatever the first byte of the maker looks like.
  const std::size_t data = inquiry.idSize == 1 ? 6 : 8;
  if (ByteAt(message, 5) != inquiry.id[0]) return -1;
  if (inquiry.idSize == 3 && ByteAt(message, 7) != inquiry.id[2]) return -1;
  for (std::size_t i = 0; i < 4; ++i) {
    reply->identity[i] = ByteAt(message, data + i);
    reply->version[i] = ByteAt(message, data + 4 + i);
  }
  reply->version[4] = data + 8 < message.size() ? message[data + 8] : kAnyByte;
  if (AnyMissing(reply->identity, 4) || AnyMissing(reply->version, 4)) return -1;
  for (std::size_t i = 0; i < inquiry.patterns.size(); ++i) {
    const bool fits =
        inquiry.oldMode ? OldPatternFits(inquiry.patterns[i], *reply) : PatternFits(inquiry.patterns[i], *reply);
    if (fits) return static_cast<int>(i);
  }
  return -1;
}

std::string AutoConfigAnswer::Text(bool ports) const {
  const auto reply = ParseIdentityReply(message);
  if (!reply) return HexText(message);
  const auto hex = [](int byte) { return byte == kAnyByte ? std::string("--") : Printf("%02X", byte); };
  std::vector<std::uint8_t> maker;
  std::string id;
  for (const int byte : reply->maker) {
    maker.push_back(static_cast<std::uint8_t>(byte));
    id += (id.empty() ? "" : " ") + hex(byte);
  }
  const std::string name(MakerName(maker));
  std::string text = name.empty() ? "maker " + id : name + " (" + id + ")";
  const auto& code = reply->identity;
  text += ", family " + hex(code[0]) + " " + hex(code[1]) + ", member " + hex(code[2]) + " " + hex(code[3]);
  std::string version, letters;
  for (std::size_t i = 0; i < 4 && reply->version[i] != kAnyByte; ++i) {
    version += (i ? "." : "") + std::to_string(reply->version[i]);
    if (reply->version[i] >= 0x20 && reply->version[i] < 0x7F) letters.push_back(static_cast<char>(reply->version[i]));
  }
  // Some makers write it in letters.
  if (letters.size() == 4) version += " (\"" + std::string(TrimmedView(letters)) + "\")";
  if (!version.empty()) text += ", version " + version;
  if (reply->deviceId != 0x7F) text += ", device ID " + std::to_string(reply->deviceId + firstDevice);
  if (ports) text += "; heard on " + inPort;
  return text;
}

std::string AutoConfigVersionText(const std::vector<DeviceInquiryPattern>& patterns) {
  std::vector<std::string> versions;
  for (const DeviceInquiryPattern& pattern : patterns) {
    if (std::all_of(pattern.ascii.begin(), pattern.ascii.begin() + 4, [](int byte) { return byte == kAnyByte; }))
      continue;
    std::string version;
    for (std::size_t i = 0; i < 4; ++i) {
      version += i ? "." : "";
      version += pattern.ascii[i] == kAnyByte ? "x" : std::to_string(pattern.ascii[i]);
    }
    versions.push_back(std::move(version));
  }
  if (versions.empty()) return {};
  std::string text = " with OS v";
  for (std::size_t i = 0; i < versions.size(); ++i) {
    if (i > 0) text += i + 1 == versions.size() ? " or " : ", ";
    text += versions[i];
  }
  if (patterns.front().minimumVersion) text += " or higher";
  return text;
}

}  // namespace tonalith
