#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// --- Coding ----------------------------------------------------------------------------------------------------------
// Instrument text is single bytes (Latin-1); templates, INI and driver text are Windows-1252; paths, prompts and
// exports are UTF-8.  The five bytes that Windows-1252 leaves open stand for the control characters of the same number.

std::string Latin1ToUtf8(std::string_view bytes);
std::string Cp1252ToUtf8(std::string_view bytes);
// Characters without a byte, and bytes that are no UTF-8, become `replacement`.
std::string Utf8ToLatin1(std::string_view text, char replacement = '?');
std::string Utf8ToCp1252(std::string_view text, char replacement = '?');
bool IsValidUtf8(std::string_view text);
// The longest beginning of `text` of at most maxBytes bytes that ends at a character border.
std::string_view CutUtf8(std::string_view text, std::size_t maxBytes);
// The code points of a text; a byte that is no UTF-8 becomes U+FFFD.
std::u32string Utf8CodePoints(std::string_view text);
// Appends one code point (invalid ones as U+FFFD).
void AppendUtf8(std::string& out, char32_t codePoint);

// --- Comparing, without case for ASCII letters only, whatever the locale
// -----------------------------------------------

char AsciiLower(char c);
char AsciiUpper(char c);
std::string AsciiLower(std::string_view text);
std::string AsciiUpper(std::string_view text);
// Negative, 0 or positive; other characters compare by their byte value.
int AsciiCompareNoCase(std::string_view a, std::string_view b);
bool AsciiEqualNoCase(std::string_view a, std::string_view b);
bool AsciiStartsWithNoCase(std::string_view text, std::string_view beginning);
// Whether the text holds the (not empty) word: no letter or digit stands right before or behind it.
bool AsciiHasWordNoCase(std::string_view text, std::string_view word);
bool AsciiEndsWithNoCase(std::string_view text, std::string_view end);

// --- Pieces ----------------------------------------------------------------------------------------------------------

std::string_view TrimmedView(std::string_view text);  // without blanks, tabs and line ends at both ends
std::vector<std::string> SplitText(std::string_view text, char separator);
std::string ReplaceAll(std::string_view text, std::string_view what, std::string_view by);
// For text and attribute values of XML: & < > " ' as entities; control characters, which XML cannot hold, left out.
std::string EscapeXml(std::string_view text);
// Copies as much as fits and always ends with a terminator; false when it was cut.  Nothing happens when size is 0.
bool CopyText(char* out, std::size_t size, std::string_view text);
template <std::size_t N>
bool CopyText(char (&out)[N], std::string_view text) {
  return CopyText(out, N, text);
}

// --- Numbers, always in the C locale
// -----------------------------------------------------------------------------------

// A whole decimal number with optional sign, or hexadecimal after 0x; nothing else may stand around it but blanks.
std::optional<std::int64_t> ParseInteger(std::string_view text);
// The number a text begins with (0 when it begins with none): blanks, sign, digits or 0x and hexadecimal digits.  Like
// strtol: trailing characters are passed over; values beyond 32 bits are cut to the nearest that fits.
int LeadingInteger(std::string_view text);
std::optional<double> ParseReal(std::string_view text);
std::string FormatReal(double value);  // the shortest text that reads back as the same value
std::string FormatFixed(double value, int decimals);

// printf into a string; the decimal point is the C locale's as the program never sets another one for numbers.
std::string Printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string PrintfV(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace tonalith
