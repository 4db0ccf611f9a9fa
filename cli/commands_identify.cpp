#include "cli/commands_identify.h"

#include <algorithm>
#include <istream>
#include <memory>

#include "cli/command.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/prompts.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
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
  std::vector<std::uint8_t> bytes;
  Recognition found;
};

Result Identify(const std::string& operand, std::istream& in, TerminalText err, IdentifiedFile* file) {
  if (Result read = ReadInput(operand, in, &file->bytes); !read.ok()) return read;
  NoteShortFile(operand, file->bytes, err);
  if (file->studio.LoadStudio() == 0)
    return Result::Failure("No instrument module is installed in " + file->studio.paths().instruments.string() + ".");
  file->recognizer = std::make_unique<Recognizer>(file->studio);
  Result result = file->recognizer->Recognize(file->bytes, &file->found);
  if (!result.ok()) result.text = operand + ": " + result.text;
  return result;
}

void NoteLeftOvers(const Recognition& found, TerminalText err) {
  if (found.unknownMessages)
    err << "tonalith-cli: " << found.unknownMessages << " SysEx messages were not recognised.\n";
  for (const std::string& other : found.others) err << "tonalith-cli: Of them are " << other << ".\n";
  if (found.unterminated) err << "tonalith-cli: " << found.unterminated << " SysEx messages have no end.\n";
  if (found.headless) err << "tonalith-cli: " << found.headless << " SysEx messages have no beginning.\n";
  if (found.outsideBytes) err << "tonalith-cli: " << found.outsideBytes << " bytes stand outside of SysEx messages.\n";
  if (found.realTimeBytes)
    err << "tonalith-cli: " << found.realTimeBytes << " real-time bytes were left out of SysEx messages.\n";
}

bool SameType(const RecognizedPiece& piece, const std::string& type) {
  return AsciiEqualNoCase(piece.dataType, type) || std::to_string(piece.driverId) == type;
}

}  // namespace

const char* IdentifyUsage() {
  return "identify FILE                 what data a file holds: offset, length, instrument, data type, checksum\n"
         "                              (raw SysEx, a data file or a Standard MIDI File; - = standard input)\n";
}

const char* NamesUsage() {
  return "names FILE [--type NAME]      patches of a file: slot from 0, number as displayed, name\n";
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
  for (const RecognizedPiece& piece : file.found.pieces)
    out << piece.offset << "\t" << piece.length << "\t" << piece.instrument << "\t" << piece.dataType << "\t"
        << std::string_view(ChecksumVerdictText(piece.checksum)) << "\n";
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
  const auto hasNames = [](const RecognizedPiece& piece) {
    return piece.data->synth->nameLength != 0 || piece.data->synth->namesSeparate != 0;
  };
  const bool anyNames = std::any_of(file.found.pieces.begin(), file.found.pieces.end(), hasNames);
  bool printed = false;
  for (const RecognizedPiece& piece : file.found.pieces) {
    if (type.empty() ? anyNames && !hasNames(piece) : !SameType(piece, type)) continue;
    for (const PatchLine& line : file.recognizer->Patches(*piece.data)) {
      PrintPatch(out, line);
      printed = true;
    }
  }
  if (!printed) {
    return CliFailure(
        err, "names",
        path + (type.empty() ? ": the file holds no patches." : ": the file holds no data of type \"" + type + "\"."));
  }
  return 0;
}

}  // namespace tonalith
