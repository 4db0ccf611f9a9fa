#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "collection/collection_facts.h"
#include "collection/collection_item.h"
#include "document/document.h"
#include "document/history_target.h"
#include "platform/result.h"

namespace tonalith {

// What becomes of an entry that comes in under the name of one of its type.  The numbers are those of files.
enum class StoreMode : std::uint8_t { AddNew = 0, Overwrite = 1, Ask = 2 };

// By what DBaseSort sorts; the numbers are the keys.
enum class CollectionSort { Instrument = 0, Type = 1, Size = 2, Time = 3, FileName = 4 };

// A Collection: Sets and data files of any instruments in one file.
//
// An entry is kept as it stands in the file until somebody changes it.  Parts of a file that could not be read are
// written again as they were.  Works without a window; used on the user-interface thread only.  Texts are UTF-8.
class ZKDBaseDoc : public Document, private HistoryTarget {
 public:
  using Widths = std::array<std::uint8_t, kCollectionColumns>;  // of columns, in units of 8 pixels; 0: none is kept

  ZKDBaseDoc();

  std::string Title() const override { return "Collection"; }
  FileKind Kind() const override { return FileKind::Collection; }
  WindowType Window() const override { return WindowType::Collection; }
  std::string FolderName() const override { return "Collections"; }

  // --- Entries

  std::size_t GetDataFileCount() const { return order_.size(); }
  // In display order.
  const std::vector<EntryId>& Order() const { return order_; }
  // Also true for entries that were deleted: undo brings them back.
  bool Has(EntryId entry) const { return entry > 0 && entry <= items_.size(); }
  const CollectionItem& Item(EntryId entry) const { return items_[entry - 1]; }
  const CollectionFacts& Facts(EntryId entry) const;
  // The entry as a Set to look at and to work on; a data file is its only component.
  Result Open(EntryId entry, ZKGrpDoc* set) const;
  // What a data file holds as data of its own, on its way out of the Collection.
  Result TakeData(EntryId entry, DataFilePtr* data) const;
  // Parts of the file that are kept but could not be read.
  int UnreadParts() const { return frame_.skippedMembers; }
  // Where links of entries are looked for that are not where they were; empty: nowhere.
  const std::string& folder() const { return folder_; }

  // --- Changes.  Each is one entry of the history; none of them does anything while the document is busy.

  // Changes that are made inside are one entry of the history.
  void ChangeTogether(const std::string& name, const std::function<void()>& changes);
  // Appends an entry as it is; what decides whether it should be added is collection_add.h.  0: it is refused.
  EntryId Add(CollectionItem item);
  // The entry holds something else of its kind.  Nothing changes when it is the same as before.
  Result Change(EntryId entry, CollectionItem item, const std::string& name);
  // What was made of an entry that Open has opened.
  Result TakeBack(EntryId entry, ZKGrpDoc& set, const std::string& name);
  Result RemoveDataList(std::span<const EntryId> entries, const std::string& name = "Delete");
  Result RemoveNonSetDataLists();
  Result ClearAll();
  // A text of a data file: the name of a patch, or that of a bank's file; a keyword, the comment, or one of the six
  // texts.
  Result SetText(EntryId entry, CollectionColumn column, const std::string& text);
  // Why the text of an entry is not to be changed; empty: it is.
  std::string TextRefusal(EntryId entry, CollectionColumn column) const;
  // What links stand for becomes data of the entries; those whose file gives nothing stay links: `left`.
  Result ResolveLinks(std::span<const EntryId> entries, std::vector<EntryId>* left);
  bool IsResolvable(EntryId entry) const { return Has(entry) && Facts(entry).state.linked; }

  // The same entries in another order.
  Result SetOrder(std::vector<EntryId> order, const std::string& name);
  Result DBaseSort(CollectionSort key);
  // The entry changes places with the one before it, or behind it.
  Result ShiftInList(EntryId entry, bool up);

  // --- What the Collection does with what comes in

  StoreMode DBaseStore() const { return static_cast<StoreMode>(settings_[0]); }
  Result SetDBaseStore(int mode);
  bool PatchesOnly() const { return settings_[1] != 0; }
  Result SetPatchesOnly(bool on);

  // --- Columns of its window.  They go into the file with the next save.

  const Widths& ColumnWidths() const { return widths_; }
  void SetColumnWidth(CollectionColumn column, int pixels);

 protected:
  Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) override;
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override;
  void FileWritten(const std::string& path) override;

 private:
  std::vector<BufferId> HistoryBuffers() const override;
  std::span<std::uint8_t> HistoryBytes(BufferId id) override;
  bool ResizeHistoryBuffer(BufferId id, std::size_t size) override;
  void HistoryApplied() override { facts_.clear(); }

  void ReadInfo();
  void WriteInfo();
  Result SetSetting(std::size_t place, std::uint8_t value, const std::string& name);

  std::vector<CollectionItem> items_;  // by id - 1
  std::vector<EntryId> order_;
  std::array<std::uint8_t, 2> settings_{};  // mode of storing, patches only
  Widths widths_{};
  ListFile frame_;  // the file without its entries
  std::string folder_;
  mutable std::vector<std::optional<CollectionFacts>> facts_;  // by id - 1
};

}  // namespace tonalith
