#include "cli/commands_identify.h"

#include <algorithm>
#include <istream>
#include <memory>

#include "cli/command.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "platform/file_bytes.h"
#include "platform/prompts.h"
#include "platform/terminal_text.h"
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

Result Identify(const std::string& operand, std::istream& in, TerminalText err, IdentifiedFile* file) {
  if (Result read = ReadInput(operand, in, &file->bytes); !read.ok()) return read;
  NoteShortFile(operand, file->bytes, err);
  if (file->studio.LoadStudio() == 0)
    return Result::Failure("No instrument module is installed in " + file->studio.paths().instruments.string() + ".");
  file->recognizer = std::make_unique<Recognizer>(file->studio);
  Result result = file->recognizer->Find(file->bytes, &file->found);
  if (!result.ok()) result.text = operand + ": " + result.text;
  return result;
}

void NoteLeftOvers(const FileFindings& found, TerminalText err) {
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
  return "names FILE [--type NAME]      patches of a file: slot from 0, number as displayed, name; behind it\n"
         "                              \"damaged\" when it was kept although it came so\n";
}

int RunIdentify(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
                const std::filesystem::path& instruments) {
  if (args.size() != 1) {
    return CliFailure(err, "identify", "one file is needed.", IdentifyUsage());
  }
  IdentifiedFile file(instruments);
  const Result result = Identify(args[0], in, err, &file);
  if (!result.ok()) {
    return CliFailure(err, "identify", result.text);
  }
  {
    TerminalBlocks lines(out);
    for (const FoundPiece& piece : file.found.pieces)
      lines << piece.offset << "\t" << piece.length << "\t" << piece.type->instrument << "\t" << piece.type->dataType
            << "\t" << std::string_view(ChecksumVerdictText(piece.checksum)) << "\n";
  }
  NoteLeftOvers(file.found, err);
  return 0;
}

int RunNames(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
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
    return CliFailure(err, "names", "one file is needed.", NamesUsage());
  }
  IdentifiedFile file(instruments);
  const Result result = Identify(path, in, err, &file);
  if (!result.ok()) {
    return CliFailure(err, "names", result.text);
  }
  const bool anyNames = std::any_of(file.found.pieces.begin(), file.found.pieces.end(),
                                    [](const FoundPiece& piece) { return piece.type->hasNames; });
  bool printed = false, enough = true;
  {
    TerminalBlocks lines(out);
    const PatchVisitor print = [&](const PatchView& patch) {
      PrintPatch(lines, patch);
      printed = true;
    };
    for (const FoundPiece& piece : file.found.pieces) {
      if (type.empty() ? anyNames && !piece.type->hasNames : !SameType(*piece.type, type)) continue;
      enough = file.recognizer->VisitPatches(file.found, piece, print);
      if (!enough) break;
    }
  }
  if (!enough) return CliFailure(err, "names", "There is not enough memory.");
  if (!printed) {
    return CliFailure(
        err, "names",
        path + (type.empty() ? ": the file holds no patches." : ": the file holds no data of type \"" + type + "\"."));
  }
  return 0;
}

}  // namespace tonalith
