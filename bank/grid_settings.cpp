#include "bank/grid_settings.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr char kGridSection[] = "Bank";
constexpr int kMostRounding = 64;
constexpr int kMostChunkBorder = 200;

std::optional<std::uint32_t> Colour(const IniFile& ini, const char* key) {
  if (ini.GetString(kGridSection, key).empty()) return std::nullopt;
  return static_cast<std::uint32_t>(ini.GetInt(kGridSection, key)) & 0xFFFFFFu;
}

bool Flag(const IniFile& ini, const char* key, bool fallback) {
  return ini.GetInt(kGridSection, key, fallback ? 1 : 0) != 0;
}

}  // namespace

GridSettings ReadGridSettings(const IniFile& ini) {
  GridSettings settings;
  settings.loText = Colour(ini, "LoText");
  settings.loBack = Colour(ini, "LoBack");
  settings.hiText = Colour(ini, "HiText");
  settings.hiBack = Colour(ini, "HiBack");
  settings.border = Colour(ini, "Border");
  settings.shadow = Colour(ini, "Shadow");
  settings.altBack = Colour(ini, "AltBack");
  settings.noButtonBar = Flag(ini, "NoButtonBar", false);
  settings.showBorder = Flag(ini, "ShowBorder", true);
  settings.showShadow = Flag(ini, "ShowShadow", true);
  settings.rounding = std::clamp(ini.GetInt(kGridSection, "Rounding", settings.rounding), 0, kMostRounding);
  settings.useAltBack = Flag(ini, "UseAltBack", false);
  settings.useHorizontal = Flag(ini, "UseHorizontal", false);
  settings.useBitmapForChunkBackground = Flag(ini, "UseBitmapForChunkBackground", false);
  settings.useTab = Flag(ini, "UseTab", true);
  settings.noParentChildInfoWin = Flag(ini, "NoParentChildInfoWin", false);
  settings.chunkBorderX =
      std::clamp(ini.GetInt(kGridSection, "ChunkBorderX", settings.chunkBorderX), 0, kMostChunkBorder);
  settings.chunkBorderY =
      std::clamp(ini.GetInt(kGridSection, "ChunkBorderY", settings.chunkBorderY), 0, kMostChunkBorder);
  settings.bitmapFont = ini.GetString(kGridSection, "BitmapFont");
  settings.selBitmapFont = ini.GetString(kGridSection, "SelBitmapFont");
  settings.bitmapBk = ini.GetString(kGridSection, "BitmapBk");
  settings.selectBmp = ini.GetString(kGridSection, "SelectBmp");
  return settings;
}

int GridLayout::Pages() const {
  return std::max(1, (Chunks() + ChunksOfPage() - 1) / ChunksOfPage());
}

int GridLayout::LastOf(int page) const {
  return std::min(patches, (page + 1) * PatchesOfPage()) - 1;
}

int GridLayout::Neighbour(int patch, Way way) const {
  if (patches <= 0) return patch;
  const bool back = way == Way::Left || way == Way::Up;
  const bool along = rows ? way == Way::Left || way == Way::Right : way == Way::Up || way == Way::Down;
  if (along && rows) return (patch + (back ? patches - 1 : 1)) % patches;
  const int step = along ? 1 : perChunk * (rows ? across : down);
  const int to = back ? patch - step : patch + step;
  return to < 0 || to >= patches ? patch : to;
}

GridLayout LayOutGrid(int patches, int perChunk, bool rows, int width, int height, int chunkWidth, int chunkHeight) {
  GridLayout layout;
  layout.patches = std::max(0, patches);
  layout.perChunk = std::max(1, perChunk);
  layout.rows = rows;
  const int chunks = std::max(1, layout.Chunks());
  layout.across = std::clamp(width / std::max(1, chunkWidth), 1, chunks);
  layout.down = std::clamp(height / std::max(1, chunkHeight), 1, chunks);
  // No more columns, or rows, than are filled.
  if (rows)
    layout.down = std::min(layout.down, (chunks + layout.across - 1) / layout.across);
  else
    layout.across = std::min(layout.across, (chunks + layout.down - 1) / layout.down);
  return layout;
}

}  // namespace tonalith
