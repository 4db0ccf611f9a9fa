#include "editor/model/template_bytes.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::size_t kLongestText = 255;

}  // namespace

std::string TagText(TemplateTag tag) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(tag >> shift & 0xFF);
  return text;
}

std::uint32_t TemplateReader::Number(std::size_t size) {
  if (left() < size) {
    at_ = bytes_.size();
    return 0;
  }
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes_[at_++];
  return value;
}

std::span<const std::uint8_t> TemplateReader::Bytes(std::size_t size) {
  const auto part = bytes_.subspan(at_, std::min(size, left()));
  at_ += part.size();
  return part;
}

bool TemplateReader::Text(std::string* text) {
  if (left() == 0 || left() - 1 < bytes_[at_]) return false;
  const auto part = Bytes(Number(1));
  text->assign(part.begin(), part.end());
  return true;
}

void TemplateWriter::Number(std::uint32_t value, std::size_t size) {
  for (std::size_t i = size; i-- > 0;) bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void TemplateWriter::Text(const std::string& text) {
  const std::size_t size = std::min(text.size(), kLongestText);
  Number(static_cast<std::uint32_t>(size), 1);
  bytes_.insert(bytes_.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size));
}

void TemplateWriter::Chunk(TemplateTag tag, std::span<const std::uint8_t> inside) {
  U32(tag);
  U32(static_cast<std::uint32_t>(inside.size()));
  Bytes(inside);
}

}  // namespace tonalith
