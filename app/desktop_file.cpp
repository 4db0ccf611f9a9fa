#include "app/desktop_file.h"

#include <algorithm>
#include <cstring>

#include "platform/byte_window.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kDesktopMagic[] = {'P', 'V', 'D', 'T'};
constexpr std::size_t kDesktopHeader = 12;
constexpr std::size_t kDesktopRecord = 524;
constexpr std::size_t kDirectoryAt = 8;
constexpr std::size_t kNameAt = 264;
constexpr std::size_t kTextSize = 256;
constexpr std::size_t kTypeAt = 520;

std::uint16_t Clamped16(int value) {
  return static_cast<std::uint16_t>(std::clamp(value, 0, 0xFFFF));
}

void PutText(std::uint8_t* to, const std::string& text) {
  const std::string_view cut = CutUtf8(text, kTextSize - 1);
  std::memcpy(to, cut.data(), cut.size());
}

std::string GetText(const std::uint8_t* from) {
  const char* text = reinterpret_cast<const char*>(from);
  return std::string(text, strnlen(text, kTextSize));
}

}  // namespace

std::vector<std::uint8_t> WriteDesktop(std::span<const DesktopWindow> windows) {
  const std::size_t count = std::min<std::size_t>(windows.size(), 32767);
  std::vector<std::uint8_t> bytes(kDesktopHeader + count * kDesktopRecord);
  std::memcpy(bytes.data(), kDesktopMagic, sizeof kDesktopMagic);
  StoreBe32(bytes.data() + 4, static_cast<std::uint32_t>(count));
  StoreBe32(bytes.data() + 8, kDesktopRecord);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint8_t* record = bytes.data() + kDesktopHeader + i * kDesktopRecord;
    const DesktopWindow& window = windows[i];
    StoreBe16(record, Clamped16(window.x));
    StoreBe16(record + 2, Clamped16(window.y));
    StoreBe16(record + 4, Clamped16(window.width));
    StoreBe16(record + 6, Clamped16(window.height));
    PutText(record + kDirectoryAt, window.directory);
    PutText(record + kNameAt, window.name);
    StoreLe16(record + kTypeAt, Clamped16(window.type));
  }
  return bytes;
}

std::optional<std::vector<DesktopWindow>> ReadDesktop(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kDesktopHeader || std::memcmp(bytes.data(), kDesktopMagic, sizeof kDesktopMagic) != 0)
    return std::nullopt;
  const int count = static_cast<std::int16_t>(LoadBe32(bytes.data() + 4) & 0xFFFF);
  const std::size_t size = LoadBe32(bytes.data() + 8);
  if (size < kDesktopRecord) return std::nullopt;
  std::vector<DesktopWindow> windows;
  std::size_t at = kDesktopHeader;
  for (int i = 0; i < count && bytes.size() - at >= size; ++i, at += size) {
    const std::uint8_t* record = bytes.data() + at;
    DesktopWindow window;
    window.x = LoadBe16(record);
    window.y = LoadBe16(record + 2);
    window.width = LoadBe16(record + 4);
    window.height = LoadBe16(record + 6);
    window.directory = GetText(record + kDirectoryAt);
    window.name = GetText(record + kNameAt);
    window.type = LoadLe16(record + kTypeAt);
    windows.push_back(std::move(window));
  }
  return windows;
}

}  // namespace tonalith
