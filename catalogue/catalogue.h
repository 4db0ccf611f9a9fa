#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/database.h"
#include "catalogue/file_patches.h"
#include "catalogue/patch_block.h"
#include "catalogue/text_memory.h"
#include "platform/cancel_token.h"
#include "platform/result.h"

namespace tonalith {

// One search over every patch that the user owns: a database of what CatalogueScan found below the folders that the
// user named.  It can be deleted at any time; the names of the folders are kept apart from it.
//
// Used by one thread; several may have one each.  Reading goes on while another process or thread scans.

// What is looked for.  Texts are UTF-8.
struct CatalogueQuery {
  std::string text;        // every word has to occur in the texts of the patch, its instrument or its type
  std::string instrument;  // its name, or a part of it; empty: all
  std::string tag;         // has to occur in keywords or tags; empty: any
  std::size_t limit = 0;   // 0: none
};

// A patch that was found.  Texts are UTF-8 and last until the taker returns.
struct CatalogueHit {
  std::string_view instrument, type, path;
  std::string name, number, keywords, comment, tags;
  std::uint32_t slot = 0;  // number among the patches of its file, from 0
  std::int64_t date = 0;   // seconds since 1970; of the file where the patch has none
};
// False: that was enough.
using CatalogueTaker = std::function<bool(const CatalogueHit& hit)>;

struct CatalogueStatus {
  struct Damaged {
    std::string path, reason;
  };
  std::int64_t files = 0, patches = 0;
  std::int64_t withoutData = 0;  // of the files
  std::vector<Damaged> damaged;  // by path
};

class Catalogue {
 public:
  Catalogue() = default;

  // The database, in a folder that exists; a new one where there is none.  One that is damaged or of another version
  // gives way to a new, empty one, unless another process of the user, which has its lock in the folder `locks`, writes
  // it.
  Result Open(const std::string& path, const std::string& locks);
  // Open had to make an empty one in the place of one with contents.
  bool WasMadeAnew() const { return madeAnew_; }
  // Does what Open does with a damaged one.
  Result MakeAnew(const std::string& locks);
  const std::string& path() const { return path_; }

  Result Find(const CatalogueQuery& query, const CancelToken& cancel, const CatalogueTaker& take);
  // The patches with the sound of another one, of any data type of its instrument, but not itself.
  Result Same(const std::string& file, std::uint32_t slot, const CatalogueTaker& take);
  Result Status(CatalogueStatus* status);

  // A data type; the names are UTF-8.
  struct Kind {
    std::string instrument, type;
    std::string folded;  // both, as FoldCase gives them
  };
  const std::map<std::int64_t, Kind>& kinds() const { return kinds_; }
  // Where a patch lies in the database.
  struct PatchPlace {
    std::int64_t block = 0;
    std::size_t place = 0;  // in the block
    std::int64_t kind = 0;
  };
  // Fails with a sentence where there is none, or the file is not as it was when it was scanned.
  Result FindPatch(const std::string& file, std::uint32_t slot, PatchPlace* place);
  // Fails with a sentence where the file is not there or not as it was when it was scanned.  `id` may be null.
  Result CheckFile(const std::string& file, std::int64_t* id = nullptr);
  // The files with patches of an instrument, by path.
  Result FilesWith(const std::string& instrument, std::vector<std::string>* paths);

  // --- For the scan: inside of Begin and Commit.

  struct FileRecord {
    std::int64_t id = 0;  // 0: not there
    std::int64_t size = 0, modified = 0, reader = 0;
  };
  Result Begin();
  Result Commit();
  FileRecord RecordOf(const std::string& path);
  // A file, new or in the place of what was known of it.
  std::int64_t PutFile(const std::string& path, const FileRecord& record);
  void PutBlock(std::int64_t file, const std::string& instrument, const std::string& type, const PatchBlock& block);
  void PutReading(std::int64_t file, const FileReading& reading, std::uint64_t patches);
  void RemoveFile(std::int64_t file);
  // Every file below the folder.
  Result VisitFiles(const std::string& folder,
                    const std::function<void(std::int64_t id, std::string_view path)>& visit);
  Result TakeState() { return database_.TakeState(); }
  bool ok() const { return database_.ok(); }

 private:
  class Search;

  static std::string MarkOfKind(std::int64_t kind);
  Result OpenDatabase();
  Result Prepare();
  void LoadKinds();
  std::int64_t KindOf(const std::string& instrument, const std::string& type);
  Result LoadTexts();
  bool ShowRow(std::int64_t file, std::int64_t kind, const PatchRow& row, const CatalogueTaker& take);

  // Statements are gone before the database is.
  Database database_;
  struct Statements {
    DatabaseStatement record, putFile, putBlock, putPrints, putGrams, putReading, putKind;
    DatabaseStatement blocksOfFile, dropGrams, dropBlock, dropPrints, dropFile, pathOfFile, block;
  } use_;
  std::map<std::int64_t, Kind> kinds_;
  TextMemory texts_;
  std::int64_t textsVersion_ = 0;  // 0: they are not there
  std::string path_;
  std::string document_;
  bool madeAnew_ = false;
};

class LockFile;
// Held by who writes the catalogue `path`.  Fails at once when another one does.
Result LockCatalogue(LockFile* lock, const std::string& locks, const std::string& path);

// The folders that the user named, kept in `file`.
std::vector<std::string> CatalogueFolders(const std::string& file);
// Adds what is not there, or in a folder that is there, already.
Result FollowFolder(const std::string& file, const std::string& folder);

}  // namespace tonalith
