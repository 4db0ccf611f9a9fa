#include "studio/exchange_coded.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::int64_t kPieceBytes = 128;  // of data
constexpr std::int64_t kCheckBytes = 4;
constexpr std::int64_t kCheckAt = 200;  // in the work buffer: the message, the check bytes, the payload
constexpr std::int64_t kPayloadAt = kCheckAt + kCheckBytes;
constexpr std::int64_t kWorkBytes = 400;
constexpr std::int64_t kGroupBytes = 3, kGroupDigits = 4;
constexpr char kPieceVariable[] = "V72";

std::string Num(std::int64_t number) {
  return std::to_string(number);
}

// V5 := V5 xor V6
constexpr char kXor[] = "MV7 @ V5 MV7 & V6 MV5 | V6 MV5 - V7\n";
// V7 := the base64 digit of V6
constexpr char kDigit[] =
    "MV7 @ V6 MV7 + 65 MV8 @ V6 MV8 - 25 IFG V8 MV7 + 6 IFX MV8 - 26 IFG V8 MV7 - 75 IFX MV8 - 10 IFG V8 MV7 - 15 "
    "MV8 - 1 IFG V8 MV7 + 3 IFX IFX\n";

// The CRC-32 of the payload, without its last inversion, as the check bytes.  V20 = 7FFFFFFF, V21 = EDB88320.
std::string CheckText(std::int64_t payload) {
  return "MV5 = 0  MV5 - 1\nMV2 = " + Num(kPayloadAt) + "\nL " + Num(payload) + " [\nGP V2\nFG V6 0\n" + kXor +
         "L 8 [\nMV6 @ V5  MV6 & 1\nMV5 > 1  MV5 & V20\nIF V6\nMV6 @ V21\n" + kXor +
         "IFX\n]\nMV2 + 1\n]\nMV2 = " + Num(kCheckAt) + "\nL " + Num(kCheckBytes) +
         " [\nGP V2  F V5 0\nMV5 > 8\nMV2 + 1\n]\n";
}

// Three bytes become four digits, behind the head.
std::string DigitsText(std::int64_t head, std::int64_t groups) {
  std::string text =
      "MV2 = " + Num(kCheckAt) + "  MV15 = " + Num(head) + "\nL " + Num(groups) +
      " [\nGP V2\nFG V11 0  MV11 * 65536\nFG V12 1  MV12 * 256\nFG V13 2\nMV11 + V12  MV11 + V13\nGP V15\n";
  for (int digit = 0; digit < kGroupDigits; ++digit)
    text += "MV6 @ V11  MV6 / " + Num(std::int64_t{1} << (18 - 6 * digit)) + "  MV6 & 63\n" + kDigit + "F V7 " +
            Num(digit) + "\n";
  return text + "MV2 + 3\nMV15 + 4\n]\n";
}

std::string PieceText(const CodedExchange& exchange, std::int64_t count, std::int64_t size) {
  const CodedMessages& coding = exchange.coding;
  const auto head = static_cast<std::int64_t>(coding.head.size());
  const std::int64_t payload = coding.data + size, bytes = kCheckBytes + payload;
  const std::int64_t groups = (bytes + kGroupBytes - 1) / kGroupBytes, padding = groups * kGroupBytes - bytes;
  const std::int64_t dataAt = kPayloadAt + coding.data;
  const auto fixed = [](std::vector<std::uint8_t> some) { return ExchangeMessage{std::move(some), {}}; };
  std::vector<std::uint8_t> begin(coding.data);
  std::copy_n(coding.piece.value.begin(), std::min(begin.size(), coding.piece.size()), begin.begin());
  begin[coding.count] = static_cast<std::uint8_t>(count);
  std::string text = std::string("IFN ") + kFailedVariable + "\nGP 0\n" + ImageBytesText(fixed(coding.head.value), 0) +
                     ImageBytesText(fixed(begin), kPayloadAt) + "F " + kPieceVariable + " " +
                     Num(kPayloadAt + coding.index) + "\nGC " + kPlaceVariable + " " + Num(dataAt) + " " + Num(size) +
                     "\nIFN " + kPieceVariable + "\n";
  for (const auto& [offset, place] : exchange.places) text += ImageBytesText(place, dataAt + offset);
  text += "IFX\n";
  if (padding)
    text += ImageBytesText(fixed(std::vector<std::uint8_t>(static_cast<std::size_t>(padding))), dataAt + size);
  text += CheckText(payload) + DigitsText(head, groups) + "GP 0\n";
  const std::int64_t end = head + groups * kGroupDigits;
  if (padding)
    text += ImageBytesText(fixed(std::vector<std::uint8_t>(static_cast<std::size_t>(padding), '=')), end - padding);
  text += ImageBytesText(fixed({0xF7}), end) + "T " + Num(end + 1) + "\nIF " + kLiveVariable + "\nGP 0\nR " +
          Num(static_cast<std::int64_t>(exchange.answer.bytes.size())) + "\nIFLQ V10\nM" + kFailedVariable +
          " = 3\nIFX\nIFX\nM" + kPieceVariable + " + 1\nM" + kPlaceVariable + " + " + Num(size) + "\nIFX\n";
  return text;
}

}  // namespace

std::string CodedPiecesText(const CodedExchange& exchange, std::string* error) {
  const CodedMessages& coding = exchange.coding;
  const std::int64_t whole = exchange.size / kPieceBytes, rest = exchange.size % kPieceBytes;
  const std::int64_t longest = kCheckBytes + coding.data + kPieceBytes;
  const auto head = static_cast<std::int64_t>(coding.head.size());
  if (head + (longest + 2) / kGroupBytes * kGroupDigits + 1 > kCheckAt || kCheckAt + longest + 2 > kWorkBytes) {
    *error = "a piece becomes longer than a message may be";
    return {};
  }
  const std::int64_t count = whole + (rest ? 1 : 0);
  // MV20 = 7FFFFFFF, MV21 = EDB88320: numbers have thirty bits and no sign.
  std::string text = "MV20 = 1073741823  MV20 * 2  MV20 + 1\nMV21 = 0  MV21 - 306674912\n" +
                     TransmitDataText(exchange.answer, true) + "SetSysXAccept\nGA " + Num(kWorkBytes) + "\nGN\nA\nM" +
                     kPieceVariable + " = 0\n";
  if (whole) text += "L " + Num(whole) + " [\n" + PieceText(exchange, count, kPieceBytes) + "]\n";
  if (rest) text += PieceText(exchange, count, rest);
  return text + "GO\nGF 0\nClrSysXAccept\n";
}

}  // namespace tonalith
