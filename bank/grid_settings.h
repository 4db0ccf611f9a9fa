#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ini_file.h"

namespace tonalith {

// How the grid of a data type looks: section "Bank" of its INI.  A colour is 0x00BBGGRR; none: the palette's own.
struct GridSettings {
  std::optional<std::uint32_t> loText, loBack, hiText, hiBack, border, shadow, altBack;
  bool noButtonBar = false;
  bool showBorder = true;
  bool showShadow = true;
  int rounding = 7;  // pixels, as the others below
  bool useAltBack = false;
  bool useHorizontal = false;  // chunks are rows
  bool useBitmapForChunkBackground = false;
  bool useTab = true;
  bool noParentChildInfoWin = false;
  int chunkBorderX = 8;
  int chunkBorderY = 4;
  std::string bitmapFont, selBitmapFont, bitmapBk, selectBmp;  // file names; empty: none
};

// Sizes out of range become the nearest that can be drawn.
GridSettings ReadGridSettings(const IniFile& ini);

// How the cells of a grid lie, without pixels: chunks of consecutive patches, and pages of chunks.
struct GridLayout {
  int patches = 0;
  int perChunk = 1;
  int across = 1;  // chunks side by side on a page
  int down = 1;    // and below each other
  bool rows = false;

  int Chunks() const { return (patches + perChunk - 1) / perChunk; }
  int ChunksOfPage() const { return across * down; }
  int PatchesOfPage() const { return perChunk * ChunksOfPage(); }
  int Pages() const;
  int PageOf(int patch) const { return patch / PatchesOfPage(); }
  // Of a page, both ends in it; the last page ends with the bank.
  int FirstOf(int page) const { return page * PatchesOfPage(); }
  int LastOf(int page) const;
  // Column and row of a chunk of a page.  Columns are filled first where chunks are columns, else rows.
  int ColumnOf(int chunkOfPage) const { return rows ? chunkOfPage % across : chunkOfPage / down; }
  int RowOf(int chunkOfPage) const { return rows ? chunkOfPage / across : chunkOfPage % down; }
  int ChunkAt(int column, int row) const { return rows ? row * across + column : column * down + row; }

  enum class Way { Left, Right, Up, Down };
  // The patch an arrow leads to; the same where it would leave the bank.  Along a row it goes round.
  int Neighbour(int patch, Way way) const;
};

// As many chunks on a page as fit, at least one.  Sizes in pixels; those of a chunk with its margins.
GridLayout LayOutGrid(int patches, int perChunk, bool rows, int width, int height, int chunkWidth, int chunkHeight);

}  // namespace tonalith
