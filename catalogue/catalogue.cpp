#include "catalogue/catalogue.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "catalogue/grams.h"
#include "platform/atomic_file.h"
#include "platform/file_stamp.h"
#include "platform/folders.h"
#include "platform/ini_file.h"
#include "platform/lock_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kVersion = 1;

// Less than one block in a thousand is looked at for a word, so the index names blocks and not places in them.
constexpr char kSchema[] =
    "CREATE TABLE files(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, size INTEGER, modified INTEGER,"
    "  reader INTEGER, state INTEGER, reason TEXT, patches INTEGER);"
    "CREATE TABLE kinds(id INTEGER PRIMARY KEY, instrument TEXT NOT NULL, type TEXT NOT NULL);"
    "CREATE TABLE blocks(id INTEGER PRIMARY KEY, file INTEGER, kind INTEGER, first INTEGER, texts BLOB, labels BLOB,"
    "  slots BLOB, dates BLOB);"
    "CREATE INDEX blocks_of_file ON blocks(file);"
    "CREATE TABLE prints(block INTEGER PRIMARY KEY, prints BLOB);"
    "CREATE VIRTUAL TABLE grams USING fts5(texts, content='', columnsize=0, detail=none, tokenize=tonalith_grams);"
    "INSERT INTO grams(grams, rank) VALUES('hashsize', 67108864);"
    "PRAGMA user_version=1;";
constexpr char kSettings[] =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-49152;"
    "PRAGMA wal_autocheckpoint=8192; PRAGMA temp_store=MEMORY;";

}  // namespace

Result LockCatalogue(LockFile* lock, const std::string& locks, const std::string& path) {
  Result taken = lock->Take(locks, LockFile::NameFor("catalogue", path), 0);
  if (taken.code == kLockHeld)
    return Result::Failure("Another program of yours writes the catalogue " + path + "; try again when it is done.",
                           kLockHeld);
  return taken;
}

std::string Catalogue::MarkOfKind(std::int64_t kind) {
  return kMarkSign + std::string("kind") + std::to_string(kind);
}

Result Catalogue::Open(const std::string& path, const std::string& locks) {
  path_ = path;
  madeAnew_ = false;
  std::error_code none;
  const bool wasThere = std::filesystem::file_size(path, none) > 0 && !none;
  Result result = OpenDatabase();
  if (result.code != kDatabaseDamaged) return result;
  result = MakeAnew(locks);
  madeAnew_ = result.ok() && wasThere;
  return result;
}

Result Catalogue::MakeAnew(const std::string& locks) {
  LockFile lock;
  if (Result taken = LockCatalogue(&lock, locks, path_); !taken.ok()) return taken;
  use_ = {};
  kinds_.clear();
  textsVersion_ = 0;
  database_.Close();
  std::error_code error;
  for (const char* part : {"", "-wal", "-shm"}) {
    std::filesystem::remove(path_ + part, error);
    if (error) return Result::Failure("Cannot delete " + path_ + part + ": " + error.message() + ".");
  }
  return OpenDatabase();
}

Result Catalogue::OpenDatabase() {
  use_ = {};
  Result result = database_.Open(path_);
  if (result.ok()) result = AddGramTokenizer(database_.handle());
  if (!result.ok()) return result;
  database_.Run(kSettings);
  const std::int64_t version = database_.Number("PRAGMA user_version");
  const std::int64_t tables = database_.Number("SELECT count(*) FROM sqlite_master");
  if (database_.ok() && version != kVersion && (version != 0 || tables != 0)) {
    database_.Close();
    return Result::Failure("The catalogue " + path_ + " is of another version.", kDatabaseDamaged);
  }
  if (database_.ok() && version == 0) {
    // Two may find that there is nothing yet.
    database_.Run("BEGIN IMMEDIATE");
    if (database_.Number("PRAGMA user_version") == 0) database_.Run(kSchema);
    database_.Run("COMMIT");
  }
  result = database_.TakeState();
  if (result.ok()) result = Prepare();
  if (!result.ok()) database_.Close();
  return result;
}

Result Catalogue::Prepare() {
  const auto prepare = [this](DatabaseStatement& statement, const char* text) { statement = database_.Prepare(text); };
  prepare(use_.record, "SELECT id, size, modified, reader FROM files WHERE path=?1");
  prepare(use_.putFile, "INSERT INTO files(path, size, modified, reader) VALUES(?1, ?2, ?3, ?4)");
  prepare(use_.putBlock,
          "INSERT INTO blocks(file, kind, first, texts, labels, slots, dates) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  prepare(use_.putPrints, "INSERT INTO prints(block, prints) VALUES(?1, ?2)");
  prepare(use_.putGrams, "INSERT INTO grams(rowid, texts) VALUES(?1, ?2)");
  prepare(use_.putReading, "UPDATE files SET state=?2, reason=?3, patches=?4 WHERE id=?1");
  prepare(use_.putKind, "INSERT INTO kinds(instrument, type) VALUES(?1, ?2)");
  prepare(use_.blocksOfFile,
          "SELECT id, kind, first, texts, labels, slots, dates FROM blocks WHERE file=?1 ORDER BY id");
  prepare(use_.dropGrams, "INSERT INTO grams(grams, rowid, texts) VALUES('delete', ?1, ?2)");
  prepare(use_.dropBlock, "DELETE FROM blocks WHERE id=?1");
  prepare(use_.dropPrints, "DELETE FROM prints WHERE block=?1");
  prepare(use_.dropFile, "DELETE FROM files WHERE id=?1");
  prepare(use_.pathOfFile, "SELECT path, modified FROM files WHERE id=?1");
  prepare(use_.block, "SELECT file, kind, first, texts, labels, slots, dates FROM blocks WHERE id=?1");
  LoadKinds();
  return database_.TakeState();
}

void Catalogue::LoadKinds() {
  DatabaseStatement all = database_.Prepare("SELECT id, instrument, type FROM kinds");
  while (all.Row()) {
    Kind kind{std::string(all.Bytes(1)), std::string(all.Bytes(2)), {}};
    kind.folded = Utf8ToLatin1(kind.instrument + " " + kind.type);
    FoldCase(&kind.folded);
    kinds_[all.Integer(0)] = std::move(kind);
  }
}

std::int64_t Catalogue::KindOf(const std::string& instrument, const std::string& type) {
  const auto found = std::find_if(kinds_.begin(), kinds_.end(), [&](const auto& entry) {
    return entry.second.instrument == instrument && entry.second.type == type;
  });
  if (found != kinds_.end()) return found->first;
  use_.putKind.Bind(1, instrument).Bind(2, type).Run();
  const std::int64_t id = database_.LastRow();
  LoadKinds();
  return id;
}

// --- For the scan

Result Catalogue::Begin() {
  textsVersion_ = 0;
  database_.Run("BEGIN IMMEDIATE");
  // What another process has added.
  LoadKinds();
  return database_.ok() ? Result::Success() : database_.TakeState();
}

Result Catalogue::Commit() {
  Result result = database_.TakeState();
  database_.Run(result.ok() ? "COMMIT" : "ROLLBACK");
  Result end = database_.TakeState();
  return result.ok() ? end : result;
}

Catalogue::FileRecord Catalogue::RecordOf(const std::string& path) {
  FileRecord record;
  if (use_.record.Bind(1, path).Row())
    record = {use_.record.Integer(0), use_.record.Integer(1), use_.record.Integer(2), use_.record.Integer(3)};
  use_.record.Reset();
  return record;
}

std::int64_t Catalogue::PutFile(const std::string& path, const FileRecord& record) {
  if (const FileRecord former = RecordOf(path); former.id != 0) RemoveFile(former.id);
  use_.putFile.Bind(1, path).Bind(2, record.size).Bind(3, record.modified).Bind(4, record.reader).Run();
  return database_.LastRow();
}

void Catalogue::PutBlock(std::int64_t file, const std::string& instrument, const std::string& type,
                         const PatchBlock& block) {
  const std::int64_t kind = KindOf(instrument, type);
  use_.putBlock.Bind(1, file).Bind(2, kind).Bind(3, std::int64_t{block.first}).BindBytes(4, block.texts);
  use_.putBlock.BindBytes(5, block.labels).BindBytes(6, block.slots).BindBytes(7, block.dates).Run();
  const std::int64_t id = database_.LastRow();
  use_.putPrints.Bind(1, id).BindBytes(2, block.prints).Run();
  document_ = MarkOfKind(kind) + "\n" + block.texts;
  use_.putGrams.Bind(1, id).Bind(2, document_).Run();
}

void Catalogue::PutReading(std::int64_t file, const FileReading& reading, std::uint64_t patches) {
  use_.putReading.Bind(1, file).Bind(2, static_cast<std::int64_t>(reading.state)).Bind(3, reading.reason);
  use_.putReading.Bind(4, static_cast<std::int64_t>(patches)).Run();
}

void Catalogue::RemoveFile(std::int64_t file) {
  std::vector<std::int64_t> blocks;
  use_.blocksOfFile.Bind(1, file);
  while (use_.blocksOfFile.Row()) {
    blocks.push_back(use_.blocksOfFile.Integer(0));
    // The index has no texts of its own: what goes is what was put in.
    document_ = MarkOfKind(use_.blocksOfFile.Integer(1)) + "\n" + std::string(use_.blocksOfFile.Bytes(3));
    use_.dropGrams.Bind(1, blocks.back()).Bind(2, document_).Run();
  }
  use_.blocksOfFile.Reset();
  for (const std::int64_t block : blocks) {
    use_.dropBlock.Bind(1, block).Run();
    use_.dropPrints.Bind(1, block).Run();
  }
  use_.dropFile.Bind(1, file).Run();
}

Result Catalogue::VisitFiles(const std::string& folder,
                             const std::function<void(std::int64_t id, std::string_view path)>& visit) {
  const std::string begin = folder.ends_with('/') ? folder : folder + "/";
  // All paths that begin so lie before this one.
  const std::string end = begin.substr(0, begin.size() - 1) + static_cast<char>('/' + 1);
  DatabaseStatement files = database_.Prepare("SELECT id, path FROM files WHERE path>=?1 AND path<?2");
  files.Bind(1, begin).Bind(2, end);
  while (files.Row()) visit(files.Integer(0), files.Bytes(1));
  return database_.TakeState();
}

// --- What is known

Result Catalogue::Status(CatalogueStatus* status) {
  *status = {};
  DatabaseStatement all = database_.Prepare("SELECT count(*), sum(patches), sum(state=2) FROM files");
  if (all.Row()) {
    status->files = all.Integer(0);
    status->patches = all.Integer(1);
    status->withoutData = all.Integer(2);
  }
  DatabaseStatement damaged = database_.Prepare("SELECT path, reason FROM files WHERE state IN (1, 3) ORDER BY path");
  while (damaged.Row()) status->damaged.push_back({std::string(damaged.Bytes(0)), std::string(damaged.Bytes(1))});
  return database_.TakeState();
}

Result Catalogue::FilesWith(const std::string& instrument, std::vector<std::string>* paths) {
  DatabaseStatement files = database_.Prepare(
      "SELECT path FROM files WHERE id IN (SELECT file FROM blocks WHERE kind IN"
      " (SELECT id FROM kinds WHERE instrument=?1)) ORDER BY path");
  files.Bind(1, instrument);
  while (files.Row()) paths->emplace_back(files.Bytes(0));
  return database_.TakeState();
}

Result Catalogue::CheckFile(const std::string& file, std::int64_t* id) {
  const FileRecord record = RecordOf(file);
  if (Result state = TakeState(); !state.ok()) return state;
  if (id) *id = record.id;
  if (record.id == 0) return Result::Failure(file + " is not in the catalogue; scan its folder first.");
  const FileStamp stamp = StampOf(file);
  if (!stamp.exists || static_cast<std::int64_t>(stamp.size) != record.size || stamp.modified != record.modified)
    return Result::Failure(file + " is not as it was when it was scanned; scan its folder again.");
  return Result::Success();
}

// --- Folders

namespace {

constexpr char kFolderSection[] = "Catalogue", kFolderKey[] = "Folder";

bool IsInside(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder.ends_with('/') ? folder : folder + "/");
}

}  // namespace

std::vector<std::string> CatalogueFolders(const std::string& file) {
  const IniFile ini(file);
  std::vector<std::string> folders;
  for (const auto& [key, value] : ini.Entries(kFolderSection))
    if (AsciiStartsWithNoCase(key, kFolderKey) && !value.empty()) folders.push_back(value);
  return folders;
}

Result FollowFolder(const std::string& file, const std::string& folder) {
  std::vector<std::string> folders = CatalogueFolders(file);
  if (std::any_of(folders.begin(), folders.end(), [&](const auto& known) { return IsInside(folder, known); }))
    return Result::Success();
  if (!IsValidUtf8(folder)) return Result::Failure("The name of the folder " + folder + " is no UTF-8.");
  std::erase_if(folders, [&](const auto& known) { return IsInside(known, folder); });
  folders.push_back(folder);
  IniFile ini(file);
  ini.RemoveSection(kFolderSection);
  for (std::size_t i = 0; i < folders.size(); ++i)
    if (!ini.Set(kFolderSection, kFolderKey + std::to_string(i + 1), folders[i]))
      return Result::Failure("The name of the folder " + folder + " cannot be kept.");
  return ini.Save();
}

}  // namespace tonalith
