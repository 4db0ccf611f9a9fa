#include "cli/commands_export.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "cli/arguments.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "data/container.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "store/names/disk_midi.h"

namespace tonalith {

namespace {

constexpr char kAllFormats[] = "all";

// The messages of a file that need no module: raw SysEx and MIDI files.
Result MessagesOfRaw(const std::vector<std::uint8_t>& bytes, const std::string& path,
                     std::vector<RenderedMessage>* messages) {
  if (IsStandardMidiFile(bytes)) {
    SmfContents contents;
    std::string error;
    if (!ReadSmfSysEx(bytes, &contents, &error)) return Result::Failure(path + ": " + error);
    for (SmfSysEx& message : contents.messages)
      if (message.isTerminated) messages->push_back({std::move(message.bytes), 0});
  } else {
    for (const SysExPiece& piece : SplitSysEx(bytes)) messages->push_back({CleanSysEx(piece), 0});
  }
  return messages->empty() ? Result::Failure(path + " holds no SysEx.") : Result::Success();
}

// Everything the members of a file are as messages, in order.
Result MessagesOfData(Session& session, const std::vector<std::uint8_t>& bytes, const std::string& path,
                      bool withPauses, std::vector<RenderedMessage>* messages) {
  Recognition found;
  Result result = session.recognizer().Recognize(bytes, &found);
  if (!result.ok()) return Result::Failure(path + ": " + result.text);
  for (const RecognizedPiece& piece : found.pieces) {
    std::vector<RenderedMessage> part;
    bool isDeclared = false;
    result = RenderFile(session, piece.data.get(), withPauses, &part, &isDeclared);
    if (!result.ok()) return result;
    if (!isDeclared) session.environment().err << "Note: " << NotDeclaredSentence(*piece.data) << "\n";
    std::move(part.begin(), part.end(), std::back_inserter(*messages));
  }
  return Result::Success();
}

// It says that it is a Library.
bool IsLibraryFile(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kTypeAt = 8;
  return IsListFile(bytes) && bytes.size() >= kTypeAt + 4 && LoadBe32(bytes.data() + kTypeAt) == kListLibrary;
}

// What is in a file: its messages, once they were asked for, and its data.
class ExportInput {
 public:
  ExportInput(CliEnvironment& environment, std::string path) : environment_(environment), path_(std::move(path)) {}

  Result Read() {
    if (Result read = ReadCliFile(environment_, path_, &bytes_); !read.ok()) return read;
    return NoteShortFile(path_, bytes_, environment_.err) ? Result::Failure(kShortIsNotSent) : Result::Success();
  }
  Result Messages(bool midi, std::vector<RenderedMessage>* messages) {
    if (!LooksLikeDataFile(bytes_) && !IsListFile(bytes_)) return MessagesOfRaw(bytes_, path_, messages);
    return MessagesOfData(WithStudio(), bytes_, path_, midi, messages);
  }
  std::vector<std::uint8_t> FileOf(bool midi, const std::vector<RenderedMessage>& messages) const {
    return midi ? MidiFileOf(messages, WithoutExtension(FileNameOf(path_))) : RawSysExFile(messages);
  }
  // The data of every piece, for names.
  Result Data(ExportSource* source) {
    if (Result result = WithStudio().recognizer().Recognize(bytes_, &found_); !result.ok())
      return Result::Failure(path_ + ": " + result.text);
    for (const RecognizedPiece& piece : found_.pieces) source->data.push_back(piece.data.get());
    source->sysEx = Writer();
    source->oneList = IsLibraryFile(bytes_);
    return Result::Success();
  }
  ExportSysEx Writer() {
    return [this](bool midi, std::vector<std::uint8_t>* bytes) {
      std::vector<RenderedMessage> messages;
      Result result = Messages(midi, &messages);
      if (result.ok()) *bytes = FileOf(midi, messages);
      return result;
    };
  }

 private:
  Session& WithStudio() {
    if (!session_) {
      session_ = std::make_unique<Session>(environment_);
      session_->LoadStudio();
    }
    return *session_;
  }

  CliEnvironment& environment_;
  std::string path_;
  std::vector<std::uint8_t> bytes_;
  std::unique_ptr<Session> session_;
  Recognition found_;
};

// The ending of OUT says what is written.
Result ExportByEnding(CliEnvironment& environment, const std::string& file, const std::string& out) {
  const bool midi = AsciiEndsWithNoCase(out, ".mid");
  if (!midi && !AsciiEndsWithNoCase(out, ".syx"))
    return Result::Failure("The file to write ends in .mid or .syx, not \"" + FileNameOf(out) +
                           "\"; for other formats say --format.");
  ExportInput input(environment, file);
  if (Result read = input.Read(); !read.ok()) return read;
  std::vector<RenderedMessage> messages;
  if (Result result = input.Messages(midi, &messages); !result.ok()) return result;
  const std::vector<std::uint8_t> written = input.FileOf(midi, messages);
  Result result = WriteFileAtomically(out, std::span<const std::uint8_t>(written));
  if (result.ok())
    environment.out << messages.size() << (messages.size() == 1 ? OwnText(" message") : OwnText(" messages")) << " in "
                    << out << "\n";
  return result;
}

Result ExportAll(CliEnvironment& environment, ExportSource* source, const std::string& file,
                 const std::string& folder) {
  if (Result made = MakeFolders(folder); !made.ok()) return made;
  std::vector<std::string> paths;
  const Result result = DiskMidiAll(source, folder, WithoutExtension(FileNameOf(file)), &paths);
  for (const std::string& path : paths) environment.out << path << "\n";
  return result;
}

Result ExportMerged(CliEnvironment& environment, ExportSource* source, const std::string& out) {
  std::string backup;
  Result result = DiskMidiCakewalkV3(source, out, &backup);
  if (!result.ok()) return result;
  environment.out << "The names are in " << out << ".\n";
  if (!backup.empty()) environment.err << "What it was before is " << backup << ".\n";
  return result;
}

Result ExportOne(CliEnvironment& environment, ExportFormat format, ExportSource* source, const std::string& out) {
  std::string bytes;
  Result result = RenderExport(format, source, &bytes);
  if (!result.ok()) return result;
  if (!source->note.empty()) environment.err << "Note: " << source->note << "\n";
  if (out == "-") {
    environment.out.Bytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    return result;
  }
  result = WriteFileAtomically(out, std::string_view(bytes));
  if (result.ok()) environment.out << std::string(KindOf(format).title) << " in " << out << "\n";
  return result;
}

Result Export(CliEnvironment& environment, const CliArguments& arguments) {
  const std::string& file = arguments.words()[0];
  const std::string& out = arguments.words()[1];
  const std::optional<std::string> name = arguments.Option("format");
  const bool merge = arguments.Has("merge");
  if (!name && !merge) return ExportByEnding(environment, file, out);
  const bool all = name && *name == kAllFormats;
  const auto format = name ? ExportFormatOf(*name) : ExportFormat::Cakewalk;
  if (!all && !format) {
    std::string known;
    for (const ExportKind& kind : ExportKinds()) known += std::string(kind.key) + ", ";
    return Result::Failure("There is no format \"" + *name + "\".  There are: " + known + kAllFormats + ".");
  }
  if (merge && format != ExportFormat::Cakewalk) return Result::Failure("--merge belongs to --format cakewalk.");
  if ((merge || all) && out == "-") return Result::Failure("This is not written to standard output.");
  ExportInput input(environment, file);
  if (Result read = input.Read(); !read.ok()) return read;
  ExportSource source;
  // Messages need no module, names do.
  if (all || KindOf(*format).isText) {
    if (Result result = input.Data(&source); !result.ok()) return result;
  } else {
    source.sysEx = input.Writer();
  }
  if (all) return ExportAll(environment, &source, file, out);
  return merge ? ExportMerged(environment, &source, out) : ExportOne(environment, *format, &source, out);
}

}  // namespace

std::string ExportForms() {
  return "export FILE OUT.mid|OUT.syx                     writes data as its instrument keeps it in a MIDI file or as "
         "raw SysEx\n"
         "export FILE OUT --format FORMAT                 writes the names of its patches for another program\n"
         "export FILE MASTER.ins --format cakewalk --merge  puts them into a file of instrument definitions\n"
         "export FILE FOLDER --format all                 writes every format\n";
}

std::string ExportDetails() {
  std::string text =
      "FILE is a data file; or raw SysEx or a Standard MIDI File, whose messages are written as they are.  Data is\n"
      "written in the form that its module declares for files; where there is none, as it is sent, and that is "
      "said.\n"
      "In a MIDI file every message waits until the one before it has passed a MIDI cable.\n\nFORMAT is one of\n\n";
  for (const ExportKind& kind : ExportKinds()) {
    std::string key = kind.key;
    key.resize(16, ' ');
    text += "  " + key + kind.what + "\n";
  }
  return text +
         "\nOUT may be \"-\", standard output.  Banks are named after instrument and data type; patches have the bank\n"
         "selection and the program number that the data type declares.  --merge keeps everything else of the file, "
         "and the\nfile as it was beside it as NAME.bak.\n\n"
         "  tonalith-cli export bank.dat bank.mid\n"
         "  tonalith-cli export bank.dat k4.reabank --format reaper\n";
}

int RunExport(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"format"}, {"merge"});
  Result result = arguments.state();
  if (result.ok() && arguments.words().size() != 2)
    return CliFailure(environment.err, "export", "use it like this:", ExportForms());
  if (result.ok()) result = Export(environment, arguments);
  return result.ok() ? 0 : CliFailure(environment.err, "export", result.text);
}

}  // namespace tonalith
