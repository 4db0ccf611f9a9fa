#include "cli/session.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/registry.h"
#include "studio/shipped_modules.h"

namespace tonalith {

Session::Session(CliEnvironment& environment)
    : environment_(environment),
      console_(environment.in, environment.err, environment.canAsk),
      scripted_(ScriptedPrompts::FromEnvironment()),
      activePrompts_(scripted_ ? static_cast<Prompts*>(scripted_.get()) : &console_),
      program_(environment.folders, SystemClock(), *activePrompts_, dispatcher_) {
  program_.ConfigBasics();
  // Said once, with the reason, instead of key by key.
  TakeNotices();
  if (const std::string& problem = program_.registry().problem(); !problem.empty())
    environment_.err << "tonalith-cli: The folders in use could not be recorded. " << problem << "\n";
  if (const Result loaded = program_.LoadConfig(); !loaded.ok())
    environment_.err << "tonalith-cli: " << loaded.text << "\n";
}

Session::~Session() = default;

void Session::InstallModules() {
  ShippedOutcome outcome;
  TellShipped(InstallShippedModules(paths(), &outcome), outcome);
}

void Session::TellShipped(const Result& result, const ShippedOutcome& outcome) {
  if (!result.ok()) environment_.err << "tonalith-cli: " << PlainSentence(result.text) << "\n";
  if (const std::string restored = RestoredSentence(outcome); !restored.empty())
    environment_.err << "tonalith-cli: " << restored << "\n";
}

void Session::LoadInstalledStudio() {
  studio_ = MakeStudio(paths(), *activePrompts_);
  studio_->SetSettings(&settings());
  studio_->LoadStudio();
}

void Session::LoadStudio() {
  studio_ = MakeStudio(paths(), *activePrompts_);
  studio_->SetSettings(&settings());
  ShippedOutcome outcome;
  TellShipped(LoadStudioWithShippedModules(*studio_, paths().MainGetResourcePath(), &outcome), outcome);
  // A studio file that could not be used, modules that could not be loaded.
  for (const std::string& notice : TakeNotices()) environment_.err << "tonalith-cli: " << notice << "\n";
}

void Session::NoteScripts(const DataFile& data) {
  if (const std::string sentence = studio_->ScriptsSentence(data); !sentence.empty())
    environment_.err << "Note: " << DataTitle(data) << ": " << sentence << "\n";
}

const Recognizer& Session::recognizer() {
  if (!recognizer_) recognizer_ = std::make_unique<Recognizer>(*studio_);
  return *recognizer_;
}

Result Session::FindInstrument(const std::string& name, ZKDrvList** instrument) {
  const auto& instruments = studio_->instruments();
  if (instruments.empty())
    return Result::Failure("No instrument module is installed in " + paths().MainGetInstrPath() + ".");
  std::vector<std::string> names;
  for (const auto& entry : instruments) names.push_back(entry->DisplayKey());
  std::size_t chosen = 0;
  Result result = ChooseByName(names, name, "instrument", &chosen);
  if (result.ok()) *instrument = instruments[chosen].get();
  return result;
}

Result Session::FindType(ZKDrvList* instrument, const std::string& name, ZKDrvList** driver) {
  std::vector<std::string> names;
  for (const auto& entry : instrument->drivers) {
    names.push_back(Latin1ToUtf8(entry->TypeName()));
    const Synth* synth = entry->synth();
    if (synth && (AsciiEqualNoCase(FieldText(synth->typeKey), name) || std::to_string(synth->driverId) == name)) {
      *driver = entry.get();
      return Result::Success();
    }
  }
  std::size_t chosen = 0;
  Result result = ChooseByName(names, name, "data type of the " + instrument->DisplayKey(), &chosen);
  if (result.ok()) *driver = instrument->drivers[chosen].get();
  return result;
}

Result ChooseByName(const std::vector<std::string>& names, const std::string& wanted, const std::string& kind,
                    std::size_t* chosen) {
  std::vector<std::size_t> parts, words;
  const std::string part = AsciiLower(wanted);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (AsciiEqualNoCase(names[i], wanted)) {
      *chosen = i;
      return Result::Success();
    }
    if (!part.empty() && AsciiLower(names[i]).find(part) != std::string::npos) parts.push_back(i);
    if (AsciiHasWordNoCase(names[i], wanted)) words.push_back(i);
  }
  // "DX7" is the DX7, though the DX7II has it in its name as well.
  if (words.size() == 1) parts = words;
  if (parts.size() == 1) {
    *chosen = parts.front();
    return Result::Success();
  }
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (parts.empty() || std::find(parts.begin(), parts.end(), i) != parts.end())
      list += (list.empty() ? "" : ", ") + names[i];
  if (!parts.empty())
    return Result::Failure("More than one " + kind + " is meant by \"" + wanted + "\": " + list + ".");
  if (names.empty()) return Result::Failure("There is no " + kind + ".");
  return Result::Failure("There is no " + kind + " \"" + wanted + "\"; there is: " + list + ".");
}

Result ReadCliFile(CliEnvironment& environment, const std::string& path, std::vector<std::uint8_t>* bytes) {
  return ReadInput(path, environment.in, bytes);
}

Result ReadCliFile(CliEnvironment& environment, const std::string& path, FileBytes* bytes) {
  return ReadInput(path, environment.in, bytes);
}

Result RecognizeFile(Session& session, const std::string& path, Recognition* found, bool* isShort) {
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadCliFile(session.environment(), path, &bytes); !read.ok()) return read;
  const bool endsEarly = NoteShortFile(path, bytes, session.environment().err);
  if (isShort) *isShort = endsEarly;
  Result result = session.recognizer().Recognize(bytes, found);
  if (!result.ok()) result.text = path + ": " + result.text;
  return result;
}

Result FindInFile(Session& session, const std::string& path, FileBytes* bytes, FoundFile* found) {
  if (Result read = ReadCliFile(session.environment(), path, bytes); !read.ok()) return read;
  NoteShortFile(path, *bytes, session.environment().err);
  Result result = session.recognizer().Find(*bytes, found);
  if (!result.ok()) result.text = path + ": " + result.text;
  return result;
}

namespace {

// What the program told about it is the reason.
Result WithReason(Session& session, Result result) {
  const auto notices = session.TakeNotices();
  if (result.code == kNothingRendered && !notices.empty()) {
    result.text.back() = ':';
    result.text += " " + notices.front();
  }
  return result;
}

}  // namespace

Result RenderData(Session& session, DataFile* dataFile, std::vector<RenderedMessage>* messages) {
  return WithReason(session, MessagesAsSent(dataFile, session.prompts(), messages));
}

Result RenderFile(Session& session, DataFile* dataFile, bool withPauses, std::vector<RenderedMessage>* messages,
                  bool* isDeclared) {
  return WithReason(
      session, MessagesForFile(session.recognizer(), dataFile, session.prompts(), withPauses, messages, isDeclared));
}

Result RenderBytes(Session& session, DataFile* dataFile, std::vector<std::uint8_t>* bytes) {
  std::vector<RenderedMessage> messages;
  Result result = RenderData(session, dataFile, &messages);
  bytes->clear();
  for (const RenderedMessage& message : messages)
    bytes->insert(bytes->end(), message.bytes.begin(), message.bytes.end());
  return result;
}

void PrintPatch(TerminalBlocks& out, const PatchView& patch) {
  out << patch.slot << "\t" << patch.number << "\t";
  if (IsPlainAscii(patch.name))
    out << patch.name;
  else
    out << Latin1ToUtf8(patch.name);
  if (patch.damaged) out << "\tdamaged";
  out << "\n";
}

void PrintPatch(TerminalText out, const PatchLine& line) {
  TerminalBlocks block(out);
  PrintPatch(block, PatchView{line.slot, line.number, line.name});
}

}  // namespace tonalith
