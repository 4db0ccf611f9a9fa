#include "services/desktop_file.h"

#include <algorithm>
#include <cstring>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kDesktopMagic[] = {'P', 'V', 'D', 'T'};
constexpr std::size_t kDesktopHeader = 12;
constexpr std::size_t kDirectoryAt = 8;
constexpr std::size_t kNameAt = 264;
constexpr std::size_t kTextSize = 256;
constexpr std::size_t kTypeAt = 520;
// How far a window that begins outside is moved in.
constexpr int kInsideX = 300;
constexpr int kInsideY = 200;

struct TypeRow {
  WindowType type;
  const char* name;
  bool opensFile;
};
constexpr TypeRow kTypes[] = {
    {WindowType::BankEditor, "bank editor", true},
    {WindowType::PatchEditor, "patch editor", true},
    {WindowType::Library, "Library", true},
    {WindowType::Set, "Set", true},
    {WindowType::Creator, "Instrument Creator", false},
    {WindowType::View, "view", false},
    {WindowType::Monitor, "MIDI monitor", false},
    {WindowType::FileConversion, "file conversion", false},
    {WindowType::Studio, "studio", true},
    {WindowType::Tips, "Fast Tips", false},
    {WindowType::Controller, "MIDI controller", false},
    {WindowType::Sequencer, "sequencer", false},
    {WindowType::Collection, "Collection", true},
    {WindowType::GraphicMonitor, "graphic MIDI monitor", false},
    {WindowType::Remote, "remote", false},
    {WindowType::FolderView, "folder view", false},
    {WindowType::OscEditor, "OSC editor", false},
    {WindowType::Zone, "zones", false},
};

std::uint16_t Clamped16(int value) {
  return static_cast<std::uint16_t>(std::clamp(value, 0, 0xFFFF));
}

void PutText(std::uint8_t* to, const std::string& text) {
  const std::string_view cut = CutUtf8(text, kTextSize - 1);
  std::memcpy(to, cut.data(), cut.size());
}

// False: the text has no end.
bool GetText(const std::uint8_t* from, std::string* text) {
  const char* begin = reinterpret_cast<const char*>(from);
  const std::size_t length = strnlen(begin, kTextSize);
  text->assign(begin, length);
  return length < kTextSize;
}

const TypeRow* FindType(int type) {
  for (const TypeRow& row : kTypes) {
    if (static_cast<int>(row.type) == type) return &row;
  }
  return nullptr;
}

}  // namespace

const char* WindowTypeName(int type) {
  const TypeRow* row = FindType(type);
  return row ? row->name : nullptr;
}

bool OpensItsFile(int type) {
  const TypeRow* row = FindType(type);
  return row && row->opensFile;
}

std::string DesktopWindow::FilePath() const {
  return name.empty() ? std::string() : JoinPath(directory, name);
}

bool FitsDesktop(const DesktopWindow& window) {
  return window.directory.size() < kTextSize && window.name.size() < kTextSize;
}

std::vector<std::uint8_t> WriteDesktop(std::span<const DesktopWindow> windows) {
  const std::size_t count = std::min<std::size_t>(windows.size(), 32767);
  std::vector<std::uint8_t> bytes(kDesktopHeader + count * kDesktopRecordSize);
  std::memcpy(bytes.data(), kDesktopMagic, sizeof kDesktopMagic);
  StoreBe32(bytes.data() + 4, static_cast<std::uint32_t>(count));
  StoreBe32(bytes.data() + 8, kDesktopRecordSize);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint8_t* record = bytes.data() + kDesktopHeader + i * kDesktopRecordSize;
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

Result ReadDesktop(std::span<const std::uint8_t> bytes, std::vector<DesktopWindow>* windows) {
  windows->clear();
  const auto notDesktop = [](const char* why) {
    return Result::Failure(std::string("This file is not a desktop of this program: ") + why + ".", kDiskNotDesktop);
  };
  if (bytes.size() < sizeof kDesktopMagic || std::memcmp(bytes.data(), kDesktopMagic, sizeof kDesktopMagic) != 0)
    return notDesktop("it does not begin with \"PVDT\"");
  if (bytes.size() < kDesktopHeader) return Result::Failure("The desktop file ends in its header.", kDiskReadError);
  const int count = std::max<int>(0, static_cast<std::int16_t>(LoadBe32(bytes.data() + 4) & 0xFFFF));
  if (LoadBe32(bytes.data() + 8) != kDesktopRecordSize) return notDesktop("its records are not 524 bytes long");
  const auto whole = (bytes.size() - kDesktopHeader) / kDesktopRecordSize;
  if (whole < static_cast<std::size_t>(count)) {
    return Result::Failure(Printf("The desktop file ends early: it announces %d windows and holds %zu.", count, whole),
                           kDiskReadError);
  }
  std::vector<DesktopWindow> read(static_cast<std::size_t>(count));
  const std::uint8_t* record = bytes.data() + kDesktopHeader;
  for (std::size_t i = 0; i < read.size(); ++i, record += kDesktopRecordSize) {
    DesktopWindow& window = read[i];
    window.x = LoadBe16(record);
    window.y = LoadBe16(record + 2);
    window.width = LoadBe16(record + 4);
    window.height = LoadBe16(record + 6);
    if (!GetText(record + kDirectoryAt, &window.directory) || !GetText(record + kNameAt, &window.name))
      return notDesktop(Printf("the file name of window %zu has no end", i + 1).c_str());
    window.type = LoadLe16(record + kTypeAt);
  }
  *windows = std::move(read);
  return Result::Success();
}

Result ReadDesktopFile(const std::string& path, std::vector<DesktopWindow>* windows) {
  windows->clear();
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadWholeFile(path, bytes); !read.ok()) return read;
  Result result = ReadDesktop(bytes, windows);
  if (!result.ok()) result.text = path + "\n\n" + result.text;
  return result;
}

int DesktopUnits(int pixels, int dpi) {
  return dpi > 0 ? pixels * 96 / dpi : pixels;
}

int DesktopPixels(int units, int dpi) {
  return dpi > 0 ? units * dpi / 96 : units;
}

DesktopRect ClampedToArea(DesktopRect place, int areaWidth, int areaHeight) {
  if (place.x >= areaWidth) place.x = std::max(0, areaWidth - kInsideX);
  if (place.y >= areaHeight) place.y = std::max(0, areaHeight - kInsideY);
  place.width = std::min(place.width, areaWidth);
  place.height = std::min(place.height, areaHeight);
  return place;
}

}  // namespace tonalith
