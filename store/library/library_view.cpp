#include "store/library/library_view.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

std::string_view WithoutBlanksBehind(std::string_view text) {
  const std::size_t last = text.find_last_not_of(' ');
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

void Set(std::vector<std::uint8_t>* bits, EntryId entry) {
  if (bits->size() <= entry) bits->resize(entry + 1);
  (*bits)[entry] = 1;
}

}  // namespace

void LibraryView::Refresh() {
  listed_.clear();
  isListed_.assign(isListed_.size(), 0);
  for (const EntryId entry : library_.Order()) {
    if (library_.IsHidden(entry)) continue;
    if (only_ && (entry >= only_->size() || (*only_)[entry] == 0)) continue;
    if (!filter_.IsEmpty() && !filter_.Match(library_.FilterText(entry))) continue;
    listed_.push_back(entry);
    Set(&isListed_, entry);
  }
  for (EntryId entry = 0; entry < selected_.size(); ++entry)
    if (entry >= isListed_.size() || isListed_[entry] == 0) selected_[entry] = 0;
  count_ = static_cast<std::size_t>(std::count(selected_.begin(), selected_.end(), 1));
}

std::vector<EntryId> LibraryView::Selected() const {
  std::vector<EntryId> selected;
  std::copy_if(listed_.begin(), listed_.end(), std::back_inserter(selected),
               [this](EntryId entry) { return IsSelected(entry); });
  return selected;
}

void LibraryView::SetFilter(const std::string& text) {
  filter_ = LibraryFilter(text);
  Refresh();
}

void LibraryView::ShowOnly(const std::vector<EntryId>& entries) {
  only_.emplace();
  for (const EntryId entry : entries) Set(&*only_, entry);
  Refresh();
}

void LibraryView::ShowAll() {
  only_.reset();
  Refresh();
}

void LibraryView::ClearSelection() {
  selected_.clear();
  count_ = 0;
}

void LibraryView::SelectAll() {
  SetSelected(std::vector<EntryId>(listed_));
}

void LibraryView::Select(EntryId entry, bool on) {
  if (entry >= isListed_.size() || isListed_[entry] == 0 || IsSelected(entry) == on) return;
  Set(&selected_, entry);
  selected_[entry] = on ? 1 : 0;
  count_ = on ? count_ + 1 : count_ - 1;
}

void LibraryView::SetSelected(const std::vector<EntryId>& entries) {
  ClearSelection();
  for (const EntryId entry : entries) Select(entry);
}

std::size_t LibraryView::SelectNamed(std::string_view latin1) {
  std::size_t found = 0;
  for (const EntryId entry : listed_) {
    if (!AsciiEqualNoCase(WithoutBlanksBehind(library_.NameOf(entry)), WithoutBlanksBehind(latin1))) continue;
    Select(entry);
    ++found;
  }
  return found;
}

}  // namespace tonalith
