#include "cli/commands_files.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "data/patch_names.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// ---------------------------------------------------------------------------------------------------- rename

Result Rename(Session& session, const std::vector<std::string>& words) {
  const auto slot = ParseInteger(words[1]);
  if (!slot || *slot < 0 || *slot > 65535) return Result::Failure("SLOT is a number from 0, not \"" + words[1] + "\".");
  ZKBankDoc document(nullptr);
  if (Result read = document.Load(words[0]); !read.ok()) {
    read.text += "  Raw SysEx becomes a data file with \"import\".";
    return read;
  }
  TerminalText err = session.environment().err;
  if (!document.LoadNotice().empty()) err << "tonalith-cli rename: " << document.LoadNotice() << "\n";
  const int patch = static_cast<int>(*slot);
  if (patch >= document.PatchCount())
    return Result::Failure(words[0] + " has the slots 0 to " + std::to_string(document.PatchCount() - 1) + ".");
  if (!document.IsPatchDefined(patch)) return Result::Failure("Slot " + words[1] + " holds no patch yet.");
  const std::string name = Utf8ToLatin1(words[2]);
  const std::uint32_t longest = document.NameLength();
  if (longest > 0 && name.size() > longest)
    return Result::Failure("A name of this data has at most " + std::to_string(longest) + " characters.");
  const RenameResult renamed = document.Rename(patch, words[2]);
  if (!renamed.ok()) return renamed;
  // The name is part of what checksums protect; they are renewed as for sending.
  std::vector<RenderedMessage> unused;
  RenderData(session, document.dataFile(), &unused);
  if (Result result = document.Save(); !result.ok()) return result;
  if (!document.LoadNotice().empty()) err << "tonalith-cli rename: " << document.StatusText() << ".\n";
  const std::string stored = document.GetPatchName(patch);
  if (const std::string changed = renamed.fit.Sentence(); !changed.empty())
    err << "tonalith-cli rename: " << changed << "\n";
  else if (TrimmedView(stored) != TrimmedView(name))
    err << "tonalith-cli rename: The instrument writes this name \"" << Latin1ToUtf8(stored) << "\".\n";
  PrintPatch(session.environment().out, {patch, MakeNumberStr(document.synth(), patch), stored});
  return Result::Success();
}

// ---------------------------------------------------------------------------------------------------- import

// "Kawai K4 Multi, 64 times Kawai K4 Single", in the order of the file.
std::string KindsOf(const FoundFile& found) {
  constexpr std::size_t kMostKinds = 20;
  std::vector<std::pair<std::string, std::size_t>> kinds;
  for (const FoundPiece& piece : found.pieces) {
    const std::string name = piece.type->instrument + " " + piece.type->dataType;
    const auto known = std::find_if(kinds.begin(), kinds.end(), [&](const auto& kind) { return kind.first == name; });
    if (known != kinds.end())
      ++known->second;
    else if (kinds.size() <= kMostKinds)
      kinds.emplace_back(name, 1);
  }
  std::string list;
  for (const auto& [name, count] : kinds) {
    list += list.empty() ? "" : ", ";
    if (&name == &kinds.back().first && kinds.size() > kMostKinds) return list + "...";
    list += (count > 1 ? std::to_string(count) + " times " : "") + name;
  }
  return list;
}

// The one piece that is meant: by its place among the lines of "identify" from 1, or by its type.
Result ChoosePiece(const FoundFile& found, const std::string& path, const std::string& type, const std::string& place,
                   const FoundPiece** piece) {
  if (!place.empty()) {
    const auto number = ParseInteger(place);
    const std::size_t count = found.pieces.size();
    if (!number || *number < 1 || static_cast<std::size_t>(*number) > count)
      return Result::Failure(path + " has the pieces 1 to " + std::to_string(count) + ", not \"" + place + "\".");
    *piece = &found.pieces[static_cast<std::size_t>(*number) - 1];
    return Result::Success();
  }
  std::size_t wanted = 0;
  for (const FoundPiece& one : found.pieces) {
    if (!type.empty() && !AsciiEqualNoCase(one.type->dataType, type)) continue;
    if (++wanted == 1) *piece = &one;
  }
  if (wanted == 0)
    return Result::Failure(path + " holds no data of type \"" + type + "\"; it holds: " + KindsOf(found) + ".");
  if (wanted > 1)
    return Result::Failure(path + " holds several pieces of data: " + KindsOf(found) +
                           ".  Choose one with --type, or with --piece and its line of \"identify\".");
  return Result::Success();
}

Result Import(Session& session, const std::vector<std::string>& words, const std::string& type,
              const std::string& place) {
  FileBytes bytes;
  FoundFile found;
  if (Result result = FindInFile(session, words[0], &bytes, &found); !result.ok()) return result;
  const FoundPiece* piece = nullptr;
  if (Result result = ChoosePiece(found, words[0], type, place, &piece); !result.ok()) return result;
  DataFilePtr data = session.recognizer().Make(found, *piece);
  if (!data) return Result::Failure("There is not enough memory.");
  ZKBankDoc document(std::move(data));
  Result result = document.Save(words[1]);
  if (result.ok())
    session.environment().out << DataTitle(*document.dataFile()) << ": " << document.PatchCount()
                              << (document.PatchCount() == 1 ? OwnText(" patch") : OwnText(" patches")) << " in "
                              << words[1] << "\n";
  return result;
}

int FilesCommand(CliEnvironment& environment, const std::string& name, const CliArguments& arguments, std::size_t words,
                 const std::string& forms, const std::function<Result()>& work) {
  Result result = arguments.state();
  if (result.ok() && arguments.words().size() != words)
    return CliFailure(environment.err, name, "use it like this:", forms);
  if (result.ok()) result = work();
  return result.ok() ? 0 : CliFailure(environment.err, name, result.text);
}

}  // namespace

std::string RenameForms() {
  return "rename FILE SLOT NAME  gives a patch of a data file another name\n";
}

std::string RenameDetails() {
  return "SLOT counts from 0, as \"names\" prints it.  Checksums inside the data are renewed.  Prints the new line of\n"
         "the list: slot, number, name.  A character that the instrument does not have is written as the nearest ASCII "
         "letter,\n"
         "else as a blank, and that is said.\n\n"
         "  tonalith-cli rename bank.dat 4 \"WARM PAD\"\n";
}

std::string ImportForms() {
  return "import FILE OUT [--type NAME | --piece N]  makes a data file of recognised data\n";
}

std::string ImportDetails() {
  return "FILE is raw SysEx, a Standard MIDI File or a data file; --type chooses when it holds several pieces,\n"
         "or --piece, the line that \"identify\" has for it, counted from 1.\n\n"
         "  tonalith-cli import rom1a.syx rom1a.dat\n";
}

int RunRename(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {});
  return FilesCommand(environment, "rename", arguments, 3, RenameForms(), [&] {
    Session session(environment);
    session.LoadStudio();
    return Rename(session, arguments.words());
  });
}

int RunImport(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"type", "piece"});
  return FilesCommand(environment, "import", arguments, 2, ImportForms(), [&] {
    Session session(environment);
    session.LoadStudio();
    return Import(session, arguments.words(), arguments.Option("type").value_or(""),
                  arguments.Option("piece").value_or(""));
  });
}

}  // namespace tonalith
