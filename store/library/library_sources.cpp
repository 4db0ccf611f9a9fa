#include "store/library/library_sources.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/file_bytes.h"
#include "store/entry_state.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

void TakeMembers(ListFile* list, std::vector<DataFilePtr>* data) {
  for (ListMember& member : list->members) {
    if (member.list) TakeMembers(member.list.get(), data);
    if (!member.data || !member.data->synth) continue;
    if (StateOfEntry(*member.data).content == EntryContent::kDefined) data->push_back(std::move(member.data));
  }
}

}  // namespace

Result FilesOfSource(const std::string& path, const CancelToken& cancel, std::vector<std::string>* files) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    if (!FileExists(path)) return Result::Failure("There is no file or folder " + path + ".");
    files->push_back(path);
    return Result::Success();
  }
  const std::size_t first = files->size();
  const auto skip = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator at(path, skip, error), end; !error && at != end; at.increment(error)) {
    if (cancel.Cancelled()) return Result::Failure("Cancelled.");
    std::error_code none;
    if (at->is_regular_file(none)) files->push_back(at->path().string());
    if (files->size() - first >= kMostSourceFiles)
      return Result::Failure("There are more than " + std::to_string(kMostSourceFiles) + " files in " + path + ".");
  }
  std::sort(files->begin() + static_cast<std::ptrdiff_t>(first), files->end());
  if (error) return Result::Failure("The folder " + path + " cannot be read: " + error.message() + ".");
  return Result::Success();
}

Result ReadLibrarySource(const std::string& path, const Recognizer& recognizer, std::vector<DataFilePtr>* data,
                         std::string* note) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  *note = MissingSentence(path, bytes);
  if (LooksLikeDataFile(bytes) || IsListFile(bytes)) {
    FormReadOptions options;
    options.mode = 1;
    ListFile list;
    if (ReadListOrForm(bytes, options, &list) != kDiskOk)
      return Result::Failure("The file " + path + " does not read.");
    TakeMembers(&list, data);
    if (list.skippedMembers > 0)
      *note += (note->empty() ? "" : "  ") + std::string("Parts of ") + path +
               " that could not be read: " + std::to_string(list.skippedMembers) + ".";
    return Result::Success();
  }
  Recognition found;
  if (Result result = recognizer.Recognize(bytes, &found); !result.ok())
    return Result::Failure(path + ": " + result.text);
  for (RecognizedPiece& piece : found.pieces)
    if (piece.data && piece.data->synth) data->push_back(std::move(piece.data));
  return Result::Success();
}

}  // namespace tonalith
