#include "catalogue/catalogue_scan.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/file_stamp.h"
#include "studio/module_version.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

// Of this program: another number when it makes something else of the same files.
constexpr std::uint64_t kReaderVersion = 1;
// What an interruption may lose.
constexpr std::size_t kBatchFiles = 2000;
constexpr std::size_t kBatchBytes = std::size_t{64} << 20;

bool IsBelow(const std::string& path, const std::vector<std::string>& folders) {
  return std::any_of(folders.begin(), folders.end(),
                     [&path](const std::string& folder) { return path.starts_with(folder + "/"); });
}

}  // namespace

std::int64_t ReaderOf(const ZKStudioDoc& studio) {
  std::uint64_t print = kReaderVersion;
  const auto add = [&print](const void* bytes, std::size_t size) { print = XXH3_64bits_withSeed(bytes, size, print); };
  for (const auto& instrument : studio.instruments()) {
    add(instrument->name.data(), instrument->name.size());
    for (const auto& driver : instrument->drivers) {
      if (!driver->synth() || !driver->dataFile) continue;
      add(driver->synth(), sizeof(Synth));
      const int version = ModuleVersionOf(*driver->dataFile).value_or(0);
      add(&version, sizeof version);
    }
  }
  return static_cast<std::int64_t>(print);
}

Result CatalogueScan::Scan(const std::string& folder) {
  std::error_code error;
  const fs::file_status status = fs::status(folder, error);
  if (!fs::exists(status)) return Result::Failure("There is no file or folder " + folder + ".");
  if (Result begun = catalogue_.Begin(); !begun.ok()) return begun;
  unread_.clear();
  Result walked;
  if (fs::is_directory(status))
    walked = Walk(folder);
  else
    File(folder);
  if (walked.ok() && fs::is_directory(status)) walked = DropGone(folder);
  Result written = catalogue_.Commit();
  return walked.ok() ? written : walked;
}

// Folder by folder, so that one that cannot be read is in nobody's way.
Result CatalogueScan::Walk(const std::string& folder) {
  std::vector<std::string> folders = {folder};
  while (!folders.empty()) {
    const std::string here = std::move(folders.back());
    folders.pop_back();
    std::vector<std::string> files, deeper;
    std::error_code error;
    for (fs::directory_iterator at(here, error), end; !error && at != end; at.increment(error)) {
      std::error_code none;
      if (at->is_directory(none) && !at->is_symlink(none))
        deeper.push_back(at->path().string());
      else if (at->is_regular_file(none))
        files.push_back(at->path().string());
    }
    if (error) {
      unread_.push_back(here);
      problems_.push_back("The folder " + here + " cannot be read: " + error.message() + ".");
    }
    std::sort(files.begin(), files.end());
    std::sort(deeper.rbegin(), deeper.rend());
    folders.insert(folders.end(), deeper.begin(), deeper.end());
    for (const std::string& file : files) {
      if (cancel_.Cancelled()) return Result::Failure("Cancelled; what was read is kept.");
      File(file);
      if (Result state = Batch(); !state.ok()) return state;
    }
  }
  return Result::Success();
}

void CatalogueScan::File(const std::string& path) {
  const FileStamp stamp = StampOf(path);
  if (!stamp.exists) return;
  Catalogue::FileRecord record{0, static_cast<std::int64_t>(stamp.size), stamp.modified, reader_};
  const Catalogue::FileRecord known = catalogue_.RecordOf(path);
  ++counts_.files;
  if (known.id != 0 && known.size == record.size && known.modified == record.modified && known.reader == reader_) {
    seen_.insert(known.id);
    return;
  }
  if (progress_) progress_(path);
  const std::int64_t file = catalogue_.PutFile(path, record);
  seen_.insert(file);
  std::uint64_t found = 0;
  const FileReading reading = Read(path, file, &found);
  catalogue_.PutReading(file, reading, found);
  ++counts_.read;
  ++batchFiles_;
  batchBytes_ += bytes_.size();
  counts_.bytes += bytes_.size();
  counts_.patches += found;
  if (reading.state == FileState::kDamaged || reading.state == FileState::kUnreadable) ++counts_.damaged;
}

FileReading CatalogueScan::Read(const std::string& path, std::int64_t file, std::uint64_t* found) {
  bytes_.clear();
  if (Result read = LoadDiskFile(path, &bytes_); !read.ok()) return {FileState::kUnreadable, read.text};
  return patches_.Read(bytes_, [&](const std::string& instrument, const std::string& type, const PatchBlock& block) {
    catalogue_.PutBlock(file, instrument, type, block);
    *found += block.count;
  });
}

Result CatalogueScan::Batch() {
  if (!catalogue_.ok()) return catalogue_.Commit();
  if (batchFiles_ < kBatchFiles && batchBytes_ < kBatchBytes) return Result::Success();
  batchFiles_ = batchBytes_ = 0;
  if (Result written = catalogue_.Commit(); !written.ok()) return written;
  return catalogue_.Begin();
}

Result CatalogueScan::DropGone(const std::string& folder) {
  std::vector<std::int64_t> gone;
  Result result = catalogue_.VisitFiles(folder, [&](std::int64_t id, std::string_view path) {
    if (!seen_.contains(id) && !IsBelow(std::string(path), unread_)) gone.push_back(id);
  });
  for (const std::int64_t file : gone) catalogue_.RemoveFile(file);
  counts_.gone += gone.size();
  return result;
}

}  // namespace tonalith
