#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

using TemplateTag = std::uint32_t;  // four characters, the first one highest

constexpr TemplateTag MakeTag(const char (&text)[5]) {
  TemplateTag tag = 0;
  for (int i = 0; i < 4; ++i) tag = tag << 8 | static_cast<unsigned char>(text[i]);
  return tag;
}
std::string TagText(TemplateTag tag);

// Big-endian numbers of a template, one after the other.  Reading past the end gives 0 and leaves the reader at the
// end.
class TemplateReader {
 public:
  explicit TemplateReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::size_t left() const { return bytes_.size() - at_; }
  std::size_t at() const { return at_; }
  // `size` bytes, 1 to 4.
  std::uint32_t Number(std::size_t size);
  std::uint32_t U32() { return Number(4); }
  // As many as there are.
  std::span<const std::uint8_t> Bytes(std::size_t size);
  // One length byte and its characters.
  bool Text(std::string* text);

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

class TemplateWriter {
 public:
  void Number(std::uint32_t value, std::size_t size);
  void U32(std::uint32_t value) { Number(value, 4); }
  void Bytes(std::span<const std::uint8_t> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  // One length byte and at most 255 characters.
  void Text(const std::string& text);
  // A tag, the length of what `inside` holds, and that.
  void Chunk(TemplateTag tag, std::span<const std::uint8_t> inside);

  std::vector<std::uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace tonalith
