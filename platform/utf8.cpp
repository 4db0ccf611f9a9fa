#include "platform/utf8.h"

namespace tonalith {

std::optional<char32_t> TakeUtf8(std::string_view& text) {
  const auto byte = [&text](std::size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  std::size_t length = 0;
  char32_t code = 0;
  if (first < 0x80) {
    text.remove_prefix(1);
    return first;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
    code = first & 0x1F;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    code = first & 0x0F;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    code = first & 0x07;
  }
  bool good = length > 0 && length <= text.size();
  for (std::size_t i = 1; good && i < length; ++i) {
    good = (byte(i) & 0xC0) == 0x80;
    code = code << 6 | (byte(i) & 0x3F);
  }
  if (good && ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
               (code >= 0xD800 && code <= 0xDFFF))) {
    good = false;
  }
  text.remove_prefix(good ? length : 1);
  if (!good) return std::nullopt;
  return code;
}

}  // namespace tonalith
