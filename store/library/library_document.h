#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/container.h"
#include "data/data_records.h"
#include "document/document.h"
#include "document/history_target.h"
#include "platform/result.h"
#include "store/entry_state.h"
#include "store/library/library_columns.h"

namespace tonalith {

class KeywordFile;

// A Library: any number of single patches of one data type, each with name, keywords, comment, texts and date.
//
// The library driver is a record of that type; new entries begin as copies of it.  Hidden entries are kept in the file.
// Parts of a file that could not be read are written again as they were.
//
// Works without a window; used on the user-interface thread only.  Texts of the interface are UTF-8.
class ZKLibDoc : public Document, private HistoryTarget {
 public:
  ZKLibDoc();

  std::string Title() const override;  // "Yamaha DX7 Voice Library", "Empty Library" without a driver
  FileKind Kind() const override { return FileKind::Library; }
  WindowType Window() const override { return WindowType::Library; }
  bool IsEmpty() const override { return driver_ == nullptr; }

  // A new Library of the data type; `driver` is new data of it.  Forgets the history.
  Result SetDataFile(DataFilePtr driver);
  // Null: the Library has no type yet.
  const DataFile* driver() const { return driver_.get(); }
  // "Yamaha Voice", in 25 characters.  Latin-1.
  static std::string LibType(const DataFile& data);
  // Most characters of a name.
  std::uint32_t NameLength() const;

  // --- Entries

  std::size_t GetDataFileCount() const { return order_.size(); }
  // In display order.
  const std::vector<EntryId>& Order() const { return order_; }
  std::vector<EntryId> LibBuildDataList(bool visibleOnly) const;
  bool Has(EntryId entry) const { return Data(entry) != nullptr; }
  // Null: there never was such an entry.  Entries that were deleted are still there.
  const DataFile* Data(EntryId entry) const;
  bool IsHidden(EntryId entry) const;
  std::size_t HiddenCount() const;
  // Latin-1; without blanks at the end.
  const std::string& NameOf(EntryId entry) const;
  std::string Text(EntryId entry, LibraryColumn column) const;
  std::vector<std::string> Keywords(EntryId entry) const;
  // All texts of the entry, as FoldForFilter gives them.
  const std::string& FilterText(EntryId entry) const;
  // Parts of the file that are kept but could not be read.
  int UnreadParts() const { return frame_.skippedMembers; }

  // --- Changes.  Each is one entry of the history; none of them does anything while the document is busy.

  // Changes that are made inside are one entry of the history.
  void ChangeTogether(const std::string& name, const std::function<void()>& changes);
  // Appends an entry of the Library's type as it is; what decides whether it should be added is library_add.h.
  EntryId Add(DataFilePtr data);
  Result RemoveDataList(std::span<const EntryId> entries, const std::string& name = "Delete");
  Result ClearAll();
  // The text of one column; characters that the data cannot have are replaced, what is too long is cut.
  Result SetText(std::span<const EntryId> entries, LibraryColumn column, const std::string& text,
                 const std::string& name);
  // Texts of one column, one for each entry.
  Result SetTexts(std::span<const EntryId> entries, LibraryColumn column, std::span<const std::string> texts,
                  const std::string& name);
  // All entries in their order are called `base` and their position from 1, in three digits.
  Result RenameLibrary(const std::string& base);
  // Numbers in five digits from `first` on.
  Result Number(std::span<const EntryId> entries, std::int64_t first, LibraryColumn column);
  // Every entry gets the keywords of all of them, the first eight.
  Result MergeKeywords(std::span<const EntryId> entries);
  // Two slots, from 0, exchange what they hold.
  Result MoveKeywords(std::span<const EntryId> entries, int from, int to);
  // Keywords that the names stand for.
  Result AnalyseNames(std::span<const EntryId> entries, const KeywordFile& keywords);
  Result SetHidden(std::span<const EntryId> entries, bool hidden);
  Result DeleteHidden();
  // The same entries in another order.
  Result SetOrder(std::vector<EntryId> order, const std::string& name);
  // What an editor has made of an entry; it stays hidden or shown.
  Result EditData(EntryId entry, const DataFile& data, const std::string& name);
  // Ports (from 0) and channels (from 0) of the Library, a comment of its own.
  Result ChangeDriver(const std::string& name, const std::function<void(Synth& synth)>& change);

 protected:
  Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) override;
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override;

 private:
  struct Shown {
    bool named = false, folded = false;
    std::string name, filter;
  };

  std::vector<BufferId> HistoryBuffers() const override;
  std::span<std::uint8_t> HistoryBytes(BufferId id) override;
  bool ResizeHistoryBuffer(BufferId id, std::size_t size) override;
  void HistoryApplied() override { Forget(); }

  DataFile* Own(EntryId entry) const;
  void Forget() { shown_.clear(); }
  Shown& ShownOf(EntryId entry) const;
  // `change` returns false when memory is short: then nothing has changed.
  Result ChangeEntries(const std::string& name, std::span<const EntryId> entries, std::span<const DataBuffer> buffers,
                       const std::function<bool(EntryId entry, DataFile& data)>& change);

  DataFilePtr driver_;
  std::vector<DataFilePtr> entries_;  // by id - 1
  std::vector<EntryId> order_;
  ListFile frame_;                    // the file without driver and entries
  bool driverIsMember_ = false;       // in the file it is the first member, not a record of its own kind
  mutable std::vector<Shown> shown_;  // by id - 1
};

// Latin-1 without case and accents.
std::string FoldForFilter(std::string_view latin1);

// The words of a text that a user types; each has to occur somewhere.  Case and accents do not count.
class LibraryFilter {
 public:
  LibraryFilter() = default;
  explicit LibraryFilter(const std::string& utf8);
  bool IsEmpty() const { return words_.empty(); }
  // `folded` as FoldForFilter gives it.
  bool Match(std::string_view folded) const;

 private:
  std::vector<std::string> words_;
};

}  // namespace tonalith
