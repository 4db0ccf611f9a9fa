#include "cli/session.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "data/sysex_split.h"
#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/text.h"
#include "script/render_transmission.h"
#include "script/transfer_engine.h"
#include "services/registry.h"
#include "studio/file_form.h"
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

Result RenderData(Session& session, DataFile* dataFile, std::vector<RenderedMessage>* messages) {
  if (!dataFile || !dataFile->synth || !dataFile->body) return Result::Failure("There is no data.");
  const RenderedTransmission rendered = RenderTransmission(*dataFile, session.prompts());
  messages->clear();
  if (!rendered.scriptStop.empty())
    return Result::Failure("The script that sends the " + DataTitle(*dataFile) + " was " + rendered.scriptStop + ".");
  SysExSplitter splitter(rendered.stream);
  auto pause = rendered.pauses.begin();
  for (SysExPiece piece; splitter.Next(&piece);) {
    if (!piece.isTerminated) continue;
    RenderedMessage message{CleanSysEx(piece), 0};
    for (; pause != rendered.pauses.end() && pause->first <= piece.offset; ++pause)
      message.milliseconds += pause->second;
    messages->push_back(std::move(message));
  }
  if (!messages->empty()) {
    session.TakeNotices();
    return Result::Success();
  }
  const auto notices = session.TakeNotices();
  return Result::Failure("There is nothing to send in the " + DataTitle(*dataFile) +
                         (notices.empty() ? "." : ": " + notices.front()));
}

Result RenderFile(Session& session, DataFile* dataFile, bool withPauses, std::vector<RenderedMessage>* messages,
                  bool* isDeclared) {
  const FormMessages form = dataFile ? MessagesOfFile(session.recognizer(), *dataFile) : FormMessages();
  *isDeclared = !form.empty();
  if (form.empty()) return RenderData(session, dataFile, messages);
  // The pauses are those of what is sent when that is the same, else the longest of them.  A script that does not come
  // to its end has none: the file needs it no further.
  std::vector<RenderedMessage> sent;
  if (withPauses) RenderData(session, dataFile, &sent);
  std::uint32_t longest = 0;
  bool isSame = sent.size() == form.size();
  for (std::size_t i = 0; i < sent.size(); ++i) {
    longest = std::max(longest, sent[i].milliseconds);
    isSame = isSame && sent[i].bytes == form[i];
  }
  messages->clear();
  for (std::size_t i = 0; i < form.size(); ++i)
    messages->push_back({form[i], isSame ? sent[i].milliseconds : i == 0 ? 0 : longest});
  return Result::Success();
}

Result RenderBytes(Session& session, DataFile* dataFile, std::vector<std::uint8_t>* bytes) {
  std::vector<RenderedMessage> messages;
  Result result = RenderData(session, dataFile, &messages);
  bytes->clear();
  for (const RenderedMessage& message : messages)
    bytes->insert(bytes->end(), message.bytes.begin(), message.bytes.end());
  return result;
}

std::string DataTitle(const DataFile& dataFile) {
  return Latin1ToUtf8(TransferInstrumentName(dataFile) + " " + FieldText(dataFile.synth->typeName));
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
