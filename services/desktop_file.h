#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Codes of the window kinds, as desktop files keep them and windows answer them.
enum class WindowType : int {
  BankEditor = 17000,
  PatchEditor = 17001,
  Library = 17002,
  Set = 17003,
  Creator = 17004,
  View = 17005,
  Monitor = 17006,
  FileConversion = 17007,
  Studio = 17008,
  Tips = 17009,
  Controller = 17010,
  Sequencer = 17011,
  Collection = 17012,
  GraphicMonitor = 17013,
  Remote = 17014,
  FolderView = 17015,
  OscEditor = 17016,
  Zone = 17017,
};

// What a window of this code is called in sentences ("bank editor"); null for other codes.
const char* WindowTypeName(int type);
// Kinds whose window is made by opening the file of the record.
bool OpensItsFile(int type);

// One window of a saved desktop.  Position and size are in units of 1/96 inch inside the main frame's client area.
struct DesktopWindow {
  int x = 0;
  int y = 0;
  int width = 0;  // below 1: the window keeps its own size
  int height = 0;
  std::string directory;  // UTF-8, at most 255 bytes; both empty: the window has no file
  std::string name;
  int type = 0;  // WindowType, or a code nobody knows

  std::string FilePath() const;  // empty: no file
};

inline constexpr std::size_t kDesktopRecordSize = 524;

// The bytes of a desktop file (".PVW"): the open windows, so that they can be opened together again.  At most 32767
// windows.
std::vector<std::uint8_t> WriteDesktop(std::span<const DesktopWindow> windows);
// Whether a window can be kept: its folder and name must fit into a record whole.
bool FitsDesktop(const DesktopWindow& window);

// All windows of the file, or none.  Fails with kDiskNotDesktop for bytes that are no desktop and with kDiskReadError
// for a file that ends early; the sentence says which.  A negative count means none.
Result ReadDesktop(std::span<const std::uint8_t> bytes, std::vector<DesktopWindow>* windows);
// The same from a file.
Result ReadDesktopFile(const std::string& path, std::vector<DesktopWindow>* windows);

// A place inside an area, in pixels.
struct DesktopRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};
// Pixels of a screen as units of a record and back (dpi below 1 counts as 96).
int DesktopUnits(int pixels, int dpi);
int DesktopPixels(int units, int dpi);
// A window that begins outside the area is moved to 300 before its right or 200 before its lower edge, one that is
// larger than the area is made as large as it.
DesktopRect ClampedToArea(DesktopRect place, int areaWidth, int areaHeight);

}  // namespace tonalith
