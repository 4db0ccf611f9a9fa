#include "platform/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/utf8.h"

namespace tonalith {

namespace {

// What the bytes 0x80 to 0x9F mean in Windows-1252.
constexpr std::array<char16_t, 32> kCp1252High = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                  0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                  0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                  0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

int Digit(char c, int base) {
  int value = -1;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < base ? value : -1;
}

constexpr char32_t kNoCharacter = 0xFFFFFFFF;

// Sign, optional 0x, digits; saturates at 64 bits.  Returns the number of characters used, 0 when there is no digit.
std::size_t ScanInteger(std::string_view text, std::int64_t& value) {
  std::size_t i = 0;
  const bool negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) ++i;
  int base = 10;
  if (i + 2 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X') &&
      Digit(text[i + 2], 16) >= 0) {
    base = 16;
    i += 2;
  }
  const std::size_t firstDigit = i;
  value = 0;
  for (; i < text.size(); ++i) {
    const int digit = Digit(text[i], base);
    if (digit < 0) break;
    value = value > (INT64_MAX - digit) / base ? INT64_MAX : value * base + digit;
  }
  if (i == firstDigit) return 0;
  if (negative) value = -value;
  return i;
}

}  // namespace

std::u32string Utf8CodePoints(std::string_view text) {
  std::u32string codes;
  while (!text.empty()) {
    codes.push_back(TakeUtf8(text).value_or(0xFFFD));
  }
  return codes;
}

void AppendUtf8(std::string& out, char32_t code) {
  if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | code >> 6);
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | code >> 12);
    out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | code >> 18);
    out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

std::string Latin1ToUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) AppendUtf8(out, static_cast<unsigned char>(c));
  return out;
}

std::string Cp1252ToUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    AppendUtf8(out, byte >= 0x80 && byte < 0xA0 ? char32_t{kCp1252High[byte - 0x80U]} : char32_t{byte});
  }
  return out;
}

std::string Utf8ToLatin1(std::string_view text, char replacement) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const char32_t code = TakeUtf8(text).value_or(kNoCharacter);
    out += code < 0x100 ? static_cast<char>(code) : replacement;
  }
  return out;
}

std::string Utf8ToCp1252(std::string_view text, char replacement) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const char32_t code = TakeUtf8(text).value_or(kNoCharacter);
    if (code < 0x80 || (code >= 0xA0 && code < 0x100)) {
      out += static_cast<char>(code);
      continue;
    }
    const auto found = std::find(kCp1252High.begin(), kCp1252High.end(), code);
    out += found == kCp1252High.end() ? replacement : static_cast<char>(0x80 + (found - kCp1252High.begin()));
  }
  return out;
}

bool IsValidUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto beyond = std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
    text.remove_prefix(static_cast<std::size_t>(beyond - text.begin()));
    if (!text.empty() && !TakeUtf8(text)) return false;
  }
  return true;
}

std::string_view CutUtf8(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  while (end > 0 && maxBytes - end < 4 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  if ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) end = maxBytes;  // no UTF-8 anyway
  return text.substr(0, end);
}

char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

char AsciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

std::string AsciiLower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = AsciiLower(c);
  return out;
}

std::string AsciiUpper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = AsciiUpper(c);
  return out;
}

int AsciiCompareNoCase(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const auto left = static_cast<unsigned char>(AsciiLower(a[i]));
    const auto right = static_cast<unsigned char>(AsciiLower(b[i]));
    if (left != right) return left < right ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

bool AsciiEqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && AsciiCompareNoCase(a, b) == 0;
}

bool AsciiHasWordNoCase(std::string_view text, std::string_view word) {
  const auto inWord = [&](std::size_t at) {
    const char c = AsciiLower(text[at]);
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
  };
  for (std::size_t at = 0; !word.empty() && at + word.size() <= text.size(); ++at)
    if (AsciiEqualNoCase(text.substr(at, word.size()), word) && (at == 0 || !inWord(at - 1)) &&
        (at + word.size() == text.size() || !inWord(at + word.size())))
      return true;
  return false;
}

bool AsciiStartsWithNoCase(std::string_view text, std::string_view beginning) {
  return text.size() >= beginning.size() && AsciiEqualNoCase(text.substr(0, beginning.size()), beginning);
}

bool AsciiEndsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && AsciiEqualNoCase(text.substr(text.size() - end.size()), end);
}

std::string_view TrimmedView(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::vector<std::string> SplitText(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t at = text.find(separator);
    parts.emplace_back(text.substr(0, at));
    if (at == std::string_view::npos) return parts;
    text.remove_prefix(at + 1);
  }
}

std::string ReplaceAll(std::string_view text, std::string_view what, std::string_view by) {
  std::string out;
  while (!what.empty()) {
    const std::size_t at = text.find(what);
    if (at == std::string_view::npos) break;
    out.append(text.substr(0, at)).append(by);
    text.remove_prefix(at + what.size());
  }
  return out.append(text);
}

std::string EscapeXml(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        if (static_cast<unsigned char>(c) >= 32 || c == '\t' || c == '\n') out += c;
    }
  }
  return out;
}

bool CopyText(char* out, std::size_t size, std::string_view text) {
  if (!out || size == 0) return false;
  const std::size_t count = std::min(text.size(), size - 1);
  if (count) std::memmove(out, text.data(), count);
  out[count] = 0;
  return count == text.size();
}

std::optional<std::int64_t> ParseInteger(std::string_view text) {
  text = TrimmedView(text);
  std::int64_t value = 0;
  const std::size_t used = ScanInteger(text, value);
  if (used == 0 || used != text.size()) return std::nullopt;
  return value;
}

int LeadingInteger(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return 0;
  std::int64_t value = 0;
  if (ScanInteger(text.substr(begin), value) == 0) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

std::optional<double> ParseReal(std::string_view text) {
  text = TrimmedView(text);
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string FormatReal(double value) {
  char buffer[64];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return error == std::errc() ? std::string(buffer, end) : std::string("0");
}

std::string FormatFixed(double value, int decimals) {
  char buffer[512];
  const auto [end, error] =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, std::clamp(decimals, 0, 100));
  return error == std::errc() ? std::string(buffer, end) : std::string("0");
}

std::string PrintfV(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  char small[256];
  const int length = std::vsnprintf(small, sizeof small, format, arguments);
  std::string out;
  if (length > 0 && static_cast<std::size_t>(length) < sizeof small) {
    out.assign(small, static_cast<std::size_t>(length));
  } else if (length > 0) {
    out.resize(static_cast<std::size_t>(length));
    std::vsnprintf(out.data(), out.size() + 1, format, again);
  }
  va_end(again);
  return out;
}

std::string Printf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string out = PrintfV(format, arguments);
  va_end(arguments);
  return out;
}

}  // namespace tonalith
