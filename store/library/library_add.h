#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "document/history.h"
#include "store/library/library_document.h"

namespace tonalith {

class KeywordFile;

// What decides whether a patch comes into a Library.  The numbers are those of the setting.
enum class LibraryAddMode {
  Everything = 0,
  UniqueSound = 1,   // no bytes that are there already
  UniqueName = 2,    // no name that is there already
  AskIdentical = 3,  // the user is asked about a name that is there already; the last two ask in other words
  AskName = 4,
};

// A name that is there already.  Texts are UTF-8.
struct LibraryQuestion {
  std::string text;
  std::string name;
  std::string unique;      // a name that nothing has
  bool sameSound = false;  // an entry of that name has the same bytes, too
};
enum class LibraryAnswer { CancelAll, Skip, AddUnique, AddEdited, AddUnchanged };
struct LibraryDecision {
  LibraryAnswer answer = LibraryAnswer::Skip;
  std::string name{};  // for AddEdited, UTF-8
};

// The answers where nobody can be asked: what is the same in name and sound is left out, what has only its name in
// common is added under the unique name.
LibraryDecision DecideWithoutAsking(const LibraryQuestion& question);

struct LibraryAddOptions {
  LibraryAddMode mode = LibraryAddMode::Everything;
  std::function<LibraryDecision(const LibraryQuestion& question)> ask = DecideWithoutAsking;
  // The folder with the conversions of a data type; empty: there are none.
  std::function<std::filesystem::path(int driverId)> moduleFolder{};
  const KeywordFile* keywords = nullptr;  // which names give keywords; null: none do
};

// What became of one patch.
struct LibraryAddOutcome {
  std::string name;  // UTF-8
  bool added = false;
  std::string note{};  // why it was not; or that it has another name now
};

// Adds patches to a Library, all of them as one entry of its history; nothing else may change it meanwhile.
class LibraryAdder {
 public:
  LibraryAdder(ZKLibDoc& library, LibraryAddOptions options, const std::string& name = "Add");
  // Without Finish nothing was added.
  ~LibraryAdder();

  // A single patch.  False: the user has cancelled everything that follows.
  bool LibAddDataFileTest(const DataFile& data);
  // The patches of a bank, each with its place and `fileName` (UTF-8) as keywords where those slots are free.  Patches
  // that hold nothing and patches without a name are left out.
  bool LibAddBank(const DataFile& bank, const std::string& fileName);
  // Either of them, by what the data is.
  bool AddData(const DataFile& data, const std::string& fileName);
  bool Finish();

  const std::vector<LibraryAddOutcome>& outcomes() const { return outcomes_; }
  const std::vector<EntryId>& added() const { return added_; }
  // Patches that were left out because they have no name.
  std::size_t unnamed() const { return unnamed_; }
  std::size_t AddedCount() const { return added_.size(); }

  // The name with a number at its end that no entry has.  Latin-1.
  std::string CreateUniqueName(const std::string& name) const;

 private:
  void Note(const std::string& latin1Name, bool added, std::string note = {});
  std::filesystem::path FolderOf(const DataFile& data) const;
  bool AddPatch(DataFilePtr patch);
  bool Decide(DataFile* patch, std::string* name, std::string* note, bool* wanted);
  bool RenameTo(DataFile* patch, const std::string& latin1, std::string* name, std::string* note) const;

  ZKLibDoc& library_;
  LibraryAddOptions options_;
  HistoryGroup change_;
  std::unordered_multimap<std::string, EntryId> names_;
  std::unordered_multimap<std::size_t, EntryId> sounds_;  // by a number that the same bytes have, too
  std::vector<LibraryAddOutcome> outcomes_;
  std::vector<EntryId> added_;
  std::size_t unnamed_ = 0;
};

}  // namespace tonalith
