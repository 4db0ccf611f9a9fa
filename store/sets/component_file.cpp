#include "store/sets/component_file.h"

#include <utility>

#include "data/container.h"
#include "platform/file_bytes.h"
#include "platform/file_stamp.h"
#include "store/sets/set_document.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

Result Recognised(const ZKStudioDoc& studio, const FileBytes& bytes, const std::string& path,
                  std::vector<DataFilePtr>* data) {
  const Recognizer recognizer(studio);
  Recognition found;
  if (const Result result = recognizer.Recognize(bytes, &found); !result.ok())
    return Result::Failure(path + ": " + result.text);
  for (RecognizedPiece& piece : found.pieces) data->push_back(std::move(piece.data));
  return Result::Success();
}

Result OfThisProgram(const FileBytes& bytes, const std::string& path, std::vector<DataFilePtr>* data) {
  FormReadOptions options;
  options.mode = 1;
  ListFile list;
  if (ReadListOrForm(bytes, options, &list) != kDiskOk) return Result::Failure("The file " + path + " does not read.");
  for (ListMember& member : list.members)
    if (member.data && member.data->synth) data->push_back(std::move(member.data));
  return Result::Success();
}

}  // namespace

Result ReadRecognised(const ZKStudioDoc& studio, const std::string& path, std::vector<DataFilePtr>* data) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  return Recognised(studio, bytes, path, data);
}

Result ReadComponentFile(const ZKStudioDoc& studio, const std::string& path, const DataFile& wanted, DataFilePtr* data,
                         std::string* note) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  const bool own = LooksLikeDataFile(bytes) || IsListFile(bytes);
  *note = MissingSentence(path, bytes);
  std::vector<DataFilePtr> all;
  if (Result read = own ? OfThisProgram(bytes, path, &all) : Recognised(studio, bytes, path, &all); !read.ok())
    return read;
  int fitting = 0;
  for (DataFilePtr& one : all) {
    if (!OtherTypeSentence(wanted, *one).empty() || StateOfEntry(*one).content != EntryContent::kDefined) continue;
    if (++fitting == 1) *data = std::move(one);
  }
  if (fitting == 1) return Result::Success();
  if (fitting > 1)
    return Result::Failure("The file " + path + " holds the data several times; open it, and save the one you want.");
  const DataFile* other = nullptr;
  for (const DataFilePtr& one : all)
    if (one && !other) other = one.get();
  const std::string reason = other ? OtherTypeSentence(wanted, *other) : std::string();
  return Result::Failure(path + ": " + (reason.empty() ? "There is no data of this type in it." : reason));
}

}  // namespace tonalith
