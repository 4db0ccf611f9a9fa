#include "cli/commands_identify.h"

#include <algorithm>
#include <istream>
#include <iterator>
#include <memory>
#include <ostream>

#include "cli/session.h"
#include "platform/file_bytes.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "studio/file_messages.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

// The pieces of a file, found with the installed modules.
struct IdentifiedFile {
  explicit IdentifiedFile(const std::filesystem::path& instruments) : studio({instruments, {}, {}, {}}, prompts) {}

  ScriptedPrompts prompts{{}};
  ZKStudioDoc studio;
  std::unique_ptr<Recognizer> recognizer;
  FileBytes bytes;
  FoundFile found;
};

Result ReadOperand(const std::string& operand, std::istream& in, FileBytes* bytes) {
  if (operand != "-") return ReadWholeFile(operand, *bytes);
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return Result::Success();
}

Result Identify(const std::string& operand, std::istream& in, IdentifiedFile* file) {
  const Result read = ReadOperand(operand, in, &file->bytes);
  if (!read.ok()) return read;
  if (file->studio.LoadStudio() == 0)
    return Result::Failure("No instrument module is installed in " + file->studio.paths().instruments.string() + ".");
  file->recognizer = std::make_unique<Recognizer>(file->studio);
  Result result = file->recognizer->Find(file->bytes, &file->found);
  if (!result.ok()) result.text = operand + ": " + result.text;
  return result;
}

void NoteLeftOvers(const FileFindings& found, std::ostream& err) {
  if (found.unknownMessages)
    err << "tonalith-cli: " << found.unknownMessages << " SysEx messages were not recognised.\n";
  for (const std::string& other : found.others) err << "tonalith-cli: Of them are " << other << ".\n";
  if (found.unterminated) err << "tonalith-cli: " << found.unterminated << " SysEx messages have no end.\n";
  if (found.headless) err << "tonalith-cli: " << found.headless << " SysEx messages have no beginning.\n";
  if (found.outsideBytes) err << "tonalith-cli: " << found.outsideBytes << " bytes stand outside of SysEx messages.\n";
  if (found.realTimeBytes)
    err << "tonalith-cli: " << found.realTimeBytes << " real-time bytes were left out of SysEx messages.\n";
  if (found.skippedBytes)
    err << "tonalith-cli: The file has more than " << kMostFileMessages << " SysEx messages; the " << found.skippedBytes
        << " bytes behind them were not looked at.\n";
}

bool SameType(const FoundType& found, const std::string& type) {
  return AsciiEqualNoCase(found.dataType, type) || std::to_string(found.driverId) == type;
}

}  // namespace

const char* IdentifyUsage() {
  return "identify FILE                 what data a file holds: offset, length, instrument, data type, checksum\n"
         "                              (raw SysEx, a data file or a Standard MIDI File; - = standard input)\n";
}

const char* NamesUsage() {
  return "names FILE [--type NAME]      patches of a file: slot from 0, number as displayed, name\n";
}

int RunIdentify(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
                const std::filesystem::path& instruments) {
  if (args.size() != 1) {
    err << "tonalith-cli identify: one file is needed.\n" << IdentifyUsage();
    return 1;
  }
  IdentifiedFile file(instruments);
  const Result result = Identify(args[0], in, &file);
  if (!result.ok()) {
    err << "tonalith-cli identify: " << result.text << "\n";
    return 1;
  }
  for (const FoundPiece& piece : file.found.pieces)
    out << piece.offset << "\t" << piece.length << "\t" << piece.type->instrument << "\t" << piece.type->dataType
        << "\t" << ChecksumVerdictText(piece.checksum) << "\n";
  NoteLeftOvers(file.found, err);
  return 0;
}

int RunNames(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
             const std::filesystem::path& instruments) {
  std::string path, type;
  bool good = true;
  for (std::size_t i = 0; i < args.size() && good; ++i) {
    if (args[i] == "--type" && i + 1 < args.size())
      type = args[++i];
    else if (path.empty() && args[i] != "--type")
      path = args[i];
    else
      good = false;
  }
  if (!good || path.empty()) {
    err << "tonalith-cli names: one file is needed.\n" << NamesUsage();
    return 1;
  }
  IdentifiedFile file(instruments);
  const Result result = Identify(path, in, &file);
  if (!result.ok()) {
    err << "tonalith-cli names: " << result.text << "\n";
    return 1;
  }
  const bool anyNames = std::any_of(file.found.pieces.begin(), file.found.pieces.end(),
                                    [](const FoundPiece& piece) { return piece.type->hasNames; });
  bool printed = false;
  DataFilePtr data;
  for (const FoundPiece& piece : file.found.pieces) {
    if (type.empty() ? anyNames && !piece.type->hasNames : !SameType(*piece.type, type)) continue;
    if (!file.recognizer->Remake(file.found, piece, &data)) {
      err << "tonalith-cli names: There is not enough memory.\n";
      return 1;
    }
    for (const PatchLine& line : file.recognizer->Patches(*data)) {
      out << PatchText(line) << "\n";
      printed = true;
    }
  }
  if (!printed) {
    err << "tonalith-cli names: " << path << ": "
        << (type.empty() ? "the file holds no patches." : "the file holds no data of type \"" + type + "\".") << "\n";
    return 1;
  }
  return 0;
}

}  // namespace tonalith
