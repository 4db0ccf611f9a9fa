#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>

#include "catalogue/catalogue.h"
#include "catalogue/file_patches.h"
#include "platform/cancel_token.h"
#include "platform/file_bytes.h"
#include "platform/result.h"

namespace tonalith {

class Recognizer;
class ZKStudioDoc;

// A number that tells what the instruments of a studio make of files from what others do.
std::int64_t ReaderOf(const ZKStudioDoc& studio);

struct ScanCounts {
  std::size_t files = 0;      // that were looked for
  std::size_t read = 0;       // of them, new or changed
  std::size_t gone = 0;       // that are no longer there
  std::size_t damaged = 0;    // of those read
  std::uint64_t patches = 0;  // of those read
  std::uint64_t bytes = 0;    // of those read
};

// Brings the catalogue up to date with the files below folders.  Only files that are new or have another size or date
// are read; what was written before an interruption stays.  Nobody else may write meanwhile (LockCatalogue).
class CatalogueScan {
 public:
  // Told of every file that is read, before it is.
  using Progress = std::function<void(const std::string& path)>;

  CatalogueScan(Catalogue& catalogue, const Recognizer& recognizer, std::int64_t reader, CancelToken cancel)
      : catalogue_(catalogue), patches_(recognizer), reader_(reader), cancel_(std::move(cancel)) {}

  void SetProgress(Progress progress) { progress_ = std::move(progress); }
  // `folder` as an absolute path, or a file.  A folder that is not there fails, and what is known of it stays; of one
  // that cannot be read, too.
  Result Scan(const std::string& folder);
  const ScanCounts& counts() const { return counts_; }
  // Folders that could not be read, in sentences.
  const std::vector<std::string>& problems() const { return problems_; }

 private:
  Result Walk(const std::string& folder);
  void File(const std::string& path);
  FileReading Read(const std::string& path, std::int64_t file, std::uint64_t* found);
  Result Batch();
  Result DropGone(const std::string& folder);

  Catalogue& catalogue_;
  FilePatches patches_;
  std::int64_t reader_;
  CancelToken cancel_;
  Progress progress_;
  ScanCounts counts_;
  std::unordered_set<std::int64_t> seen_;
  std::vector<std::string> unread_, problems_;  // folders
  std::size_t batchFiles_ = 0, batchBytes_ = 0;
  FileBytes bytes_;
};

}  // namespace tonalith
