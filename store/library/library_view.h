#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/library/library_document.h"

namespace tonalith {

// Which entries of a Library are listed, and which of those are selected: what a list shows, and what automation
// works on without one.  The document must outlive it; what it lists is made anew by Refresh.
class LibraryView {
 public:
  explicit LibraryView(const ZKLibDoc& library) : library_(library) { Refresh(); }

  // In display order.
  const std::vector<EntryId>& Listed() const { return listed_; }
  std::vector<EntryId> Selected() const;
  bool IsSelected(EntryId entry) const { return entry < selected_.size() && selected_[entry] != 0; }
  std::size_t SelectedCount() const { return count_; }

  // Follows the document: entries that are gone, or not listed any more, are not selected either.
  void Refresh();
  void SetFilter(const std::string& text);
  bool Filters() const { return !filter_.IsEmpty(); }
  // Only these are listed, until ShowAll.
  void ShowOnly(const std::vector<EntryId>& entries);
  void ShowAll();
  bool ShowsSome() const { return only_.has_value(); }

  void ClearSelection();
  void SelectAll();
  void Select(EntryId entry, bool on = true);
  void SetSelected(const std::vector<EntryId>& entries);
  // Every entry of that name, blanks at the end and case aside.  How many.
  std::size_t SelectNamed(std::string_view latin1);

 private:
  const ZKLibDoc& library_;
  LibraryFilter filter_;
  std::optional<std::vector<std::uint8_t>> only_;  // by id
  std::vector<EntryId> listed_;
  std::vector<std::uint8_t> isListed_, selected_;  // by id
  std::size_t count_ = 0;
};

}  // namespace tonalith
