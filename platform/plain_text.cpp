#include "platform/plain_text.h"

#include <algorithm>
#include <iterator>

#include "platform/text.h"
#include "platform/utf8.h"

namespace tonalith {

namespace {

constexpr char32_t kEllipsis = 0x2026;
constexpr char32_t kReplacement = 0xFFFD;

struct CodeRange {
  char32_t first, last;
};
constexpr CodeRange kHidden[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x061C, 0x061C}, {0x180E, 0x180E}, {0x200B, 0x200B},   {0x200E, 0x200F},
    {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F},
};

void AppendEscaped(std::string& out, std::string_view text, bool severalLines) {
  while (!text.empty()) {
    const std::string_view rest = text;
    const auto code = TakeUtf8(text);
    const std::string_view taken = rest.substr(0, rest.size() - text.size());
    if (!code) {
      out += Printf("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(taken.front())));
    } else if (!IsHiddenCharacter(*code) ||
               (severalLines && (*code == U'\n' || *code == U'\t' || (*code == U'\r' && text.starts_with('\n'))))) {
      out += taken;
    } else {
      out += Printf(*code < 0xA0 ? "\\x%02X" : "\\u{%X}", static_cast<unsigned>(*code));
    }
  }
}

}  // namespace

bool IsHiddenCharacter(char32_t code) {
  return std::any_of(std::begin(kHidden), std::end(kHidden),
                     [code](CodeRange range) { return code >= range.first && code <= range.last; });
}

bool IsPlainAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

void AppendPlainLine(std::string& out, std::string_view text) {
  if (IsPlainAscii(text))
    out += text;
  else
    AppendEscaped(out, text, false);
}

std::string PlainLine(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  AppendPlainLine(out, text);
  return out;
}

std::string PlainSentence(std::string_view text) {
  std::string joined;
  for (text = TrimmedView(text); !text.empty();) {
    const std::size_t end = text.find_first_of("\r\n");
    joined += text.substr(0, end);
    if (end == text.npos) break;
    joined += ' ';
    text = TrimmedView(text.substr(end));
  }
  return PlainLine(joined);
}

std::string PlainLines(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  AppendEscaped(out, text, true);
  return out;
}

std::u32string ShownLine(std::u32string_view text, std::size_t limit) {
  std::u32string out;
  for (const char32_t code : text) {
    if (out.size() >= limit) {
      if (!out.empty()) out.back() = kEllipsis;
      break;
    }
    out += IsHiddenCharacter(code) ? kReplacement : code;
  }
  return out;
}

std::u32string ShownLines(std::u32string_view text, std::size_t limit, std::size_t lines) {
  std::u32string out;
  for (std::size_t count = 0; count < lines; ++count) {
    const std::size_t end = text.find(U'\n');
    std::u32string line(text.substr(0, end));
    if (end != text.npos && line.ends_with(U'\r')) line.pop_back();
    std::replace(line.begin(), line.end(), U'\t', U' ');
    out += ShownLine(line, limit);
    if (end == text.npos) return out;
    out += U'\n';
    text.remove_prefix(end + 1);
  }
  return out += kEllipsis;
}

}  // namespace tonalith
