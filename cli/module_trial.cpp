#include "cli/module_trial.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "cli/dump_ranges.h"
#include "data/data_text.h"
#include "data/sysex_split.h"
#include "parameters/parameter_table.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "studio/device_ids.h"
#include "studio/package_install.h"
#include "studio/type_check.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostTable = 8u << 20;
constexpr std::size_t kMostOutside = 10;  // parameters that are named for a piece of data
constexpr std::size_t kShownBytes = 16;   // around a difference, of an unknown message

std::string Bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Some bytes around a place, with dots where more follow or stand before.
std::string Excerpt(std::span<const std::uint8_t> bytes, std::size_t at = 0) {
  const std::size_t from = at < kShownBytes ? 0 : at - kShownBytes / 2;
  const std::size_t count = std::min(bytes.size() - std::min(bytes.size(), from), kShownBytes);
  std::string text = HexText(bytes.subspan(std::min(bytes.size(), from), count));
  return (from ? "... " : "") + text + (from + count < bytes.size() ? " ..." : "");
}

// What was sent and what was expected, exchange by exchange.
class TalkReport {
 public:
  TalkReport(const Conversation& talk, const std::string& exchange) : talk_(talk) {
    std::string problem;
    const auto happened = Conversation::Parse(exchange, &problem);
    if (!happened) return;
    for (const ConversationStep& step : happened->steps)
      if (step.kind == ConversationStep::Kind::kOut) sent_.insert(sent_.end(), step.bytes.begin(), step.bytes.end());
  }

  // Lines for every step up to the first that went another way.
  std::string Text() {
    for (const ConversationStep& step : talk_.steps) {
      const std::string line = "  line " + std::to_string(step.line) + ": ";
      if (step.kind == ConversationStep::Kind::kIn) {
        text_ += line + "the instrument answered with " + Bytes(step.bytes.size()) + "\n";
      } else if (step.kind == ConversationStep::Kind::kOut && !Out(step, line)) {
        return text_;
      }
    }
    if (at_ < sent_.size()) {
      differs_ = true;
      text_ += "  after the last line: " + Bytes(sent_.size() - at_) +
               " more sent than expected: " + Excerpt(std::span(sent_).subspan(at_)) + "\n";
    }
    return text_;
  }

  bool Differs() const { return differs_; }
  // Everything that was sent is right, and more is expected.
  bool GoesOn() const { return !differs_ && waiting_; }
  std::size_t Matched() const { return at_; }

 private:
  bool Out(const ConversationStep& step, const std::string& line) {
    const auto sent = std::span(sent_).subspan(at_, std::min(step.bytes.size(), sent_.size() - at_));
    for (std::size_t i = 0; i < sent.size(); ++i, ++at_) {
      if (step.any[i] || sent[i] == step.bytes[i]) continue;
      differs_ = true;
      text_ += line + "sent something else, at byte " + std::to_string(i) + " of " + Bytes(step.bytes.size()) +
               "\n    expected " + Excerpt(step.bytes, i) + "\n    sent     " + Excerpt(sent, i) + "\n";
      return false;
    }
    if (sent.size() == step.bytes.size()) {
      text_ += line + "sent as expected, " + Bytes(sent.size()) + "\n";
      return true;
    }
    waiting_ = sent.empty();
    differs_ = !sent.empty();
    text_ += line +
             (sent.empty() ? "never sent"
                           : "only " + std::to_string(sent.size()) + " of " + Bytes(step.bytes.size()) + " sent") +
             "\n    expected " + Excerpt(step.bytes) + "\n";
    return false;
  }

  const Conversation& talk_;
  std::vector<std::uint8_t> sent_;
  std::string text_;
  std::size_t at_ = 0;
  bool differs_ = false, waiting_ = false;
};

}  // namespace

ModuleTrial::ModuleTrial(CliEnvironment& environment) : inside_(environment), guard_(inside_) {
  std::string name = (std::filesystem::temp_directory_path() / "tonalith-trial-XXXXXX").string();
  if (!::mkdtemp(name.data())) return;
  folder_ = name;
  const std::string resources = environment.folders.resources;
  inside_.folders = Folders::Below(name);
  inside_.folders.resources = resources;
}

ModuleTrial::~ModuleTrial() {
  session_.reset();
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

Result ModuleTrial::Install(const ModuleImage& image) {
  if (folder_.empty()) return Result::Failure("No folder can be made for the trial in the folder of temporary files.");
  session_ = std::make_unique<Session>(inside_);
  return InstallInto(image);
}

Result ModuleTrial::InstallBeside(const ModuleImage& image) {
  if (folder_.empty()) return Result::Failure("No folder can be made for the trial in the folder of temporary files.");
  session_ = std::make_unique<Session>(inside_);
  session_->InstallModules();
  return InstallInto(image);
}

Result ModuleTrial::InstallInto(const ModuleImage& image) {
  InstallReport report;
  InstallOptions options;
  options.sync = false;
  Result result = InstallPackageFiles(image.files, session_->instruments(), &report, options, image.name + ".pvz");
  if (!result.ok()) return result;
  session_->LoadInstalledStudio();
  return session_->studio().instruments().empty() ? Result::Failure("The module was built but cannot be loaded.")
                                                  : Result::Success();
}

ParameterTable InstalledParameters(Session& session, const ZKDrvList& instrument, int driverId) {
  std::string text;
  ParameterTable table;
  const std::filesystem::path folder = session.studio().facts().ModuleFolder(&instrument);
  if (!ReadWholeFile((folder / ParameterTableName(driverId)).string(), text, kMostTable).ok() ||
      !ReadParameterTable(text, &table).ok())
    return {};
  return table;
}

std::vector<std::string> ModuleTrial::OutsideOf(const DataFile& data) {
  const ParameterTable table =
      InstalledParameters(*session_, *session_->studio().instruments().front(), +data.synth->driverId);
  if (table.parameters.empty()) return {};
  return ValuesOutside(data, table, kMostOutside);
}

bool ModuleTrial::TryDump(const std::string& name, std::span<const std::uint8_t> bytes, std::size_t mostNames,
                          TerminalText out) {
  const Recognizer& recognizer = session_->recognizer();
  Recognition found;
  const Result result = recognizer.Recognize(bytes, &found);
  bool right = result.ok();
  if (!result.ok()) out << name << ": " << PlainSentence(result.text) << "\n";
  for (const RecognizedPiece& piece : found.pieces) {
    const auto patches = recognizer.Patches(*piece.data);
    out << name << ": " << piece.dataType << ", " << piece.length << " bytes, checksum "
        << std::string_view(ChecksumVerdictText(piece.checksum)) << ", " << patches.size()
        << (patches.size() == 1 ? OwnText(" patch\n") : OwnText(" patches\n"));
    right = right && piece.checksum != ChecksumVerdict::kBad && piece.badMessages == 0;
    for (std::size_t i = 0; i < std::min(patches.size(), mostNames); ++i) {
      out << "  ";
      PrintPatch(out, patches[i]);
    }
    if (patches.size() > mostNames) out << "  ... " << patches.size() - mostNames << " more\n";
    for (const std::string& value : OutsideOf(*piece.data)) out << "  " << value << "\n";
  }
  for (const std::string& other : found.others) out << name << ": " << other << "\n";
  const std::size_t unknown = found.unknownMessages;
  if (unknown && result.ok())
    out << name << ": " << unknown << (unknown == 1 ? OwnText(" message was") : OwnText(" messages were"))
        << " not recognised\n";
  if (!result.ok() && !bytes.empty()) {
    std::size_t shown = 0;
    SysExSplitter splitter(bytes);
    for (SysExPiece piece; shown < 3 && splitter.Next(&piece); ++shown)
      out << "  " << piece.bytes.size() << " bytes: " << Excerpt(piece.bytes) << "\n";
    if (shown) out << "  Compare length and beginning with the `message` lines of the descriptors.\n";
  }
  return right && unknown == 0;
}

ModuleTrial::Attempt ModuleTrial::TryType(const Talk& talk, ZKDrvList* driver) {
  Attempt attempt;
  ZKDrvList* instrument = driver->instrument;
  TransferRig rig(*session_, TransferRig::Kind::Virtual);
  const std::size_t place = rig.PlugConversation(talk.conversation);
  const std::string port = rig.cables().PortName(place);
  if (talk.device >= 0) instrument->SetSysExChannel(KeptDeviceId(DeviceIdSynth(*instrument), talk.device));
  Result result = rig.OpenPorts(port, port);
  if (result.ok()) rig.RoutePorts(instrument);
  DataFilePtr data = session_->studio().GetNewDataFile(driver);
  if (!data) return {false, 0, "There is not enough memory.\n"};
  rig.RoutePorts(data.get());
  Synth& synth = *data->synth;
  std::vector<std::uint8_t> mask;
  if (!talk.patches.empty() && PatchAddressable(synth)) {
    mask.assign(synth.numVoices, 0);
    for (const int patch : talk.patches)
      if (patch < static_cast<int>(mask.size())) mask[static_cast<std::size_t>(patch)] = 1;
    data->transferMask = mask.data();
    data->transferMaskSize = mask.size();
  } else if (!talk.patches.empty()) {
    synth.patchNumber = static_cast<std::uint16_t>(talk.patches.front());
  }
  rig.SetPatience({0, 0});  // the talk holds no second attempt
  rig.services().SetReceivedChecks(
      [this](const DataFile& received) { return CheckOfType(session_->studio(), received); });
  bool begun = false;
  const auto watcher = [&](Transfer&) {
    if (!std::exchange(begun, true)) rig.cables().BeginTalk(place);
  };
  if (result.ok()) result = rig.Run(TransferOperation::kReceive, data.get(), watcher);
  std::string verb = "received";
  TalkReport first(talk.conversation, rig.Exchange());
  const std::string received = first.Text();
  if (result.ok() && first.GoesOn()) {
    verb = "received and sent again";
    result = rig.Run(TransferOperation::kTransmit, data.get());
  }
  data->transferMask = nullptr;
  data->transferMaskSize = 0;
  rig.clock().SleepMs(100);
  TalkReport report(talk.conversation, rig.Exchange());
  attempt.text = report.Text();
  attempt.matched = report.Matched();
  const bool damaged = !result.ok() && rig.LastResult().cause == TransferCause::kDamaged;
  attempt.right = result.ok() && !report.Differs() && !report.GoesOn() && rig.cables().TalkVerdict(place).empty();
  if (!result.ok() && !damaged)
    attempt.text += "  " + PlainSentence(result.text) + "\n";
  else if (damaged)
    attempt.text +=
        "  What was received has a wrong checksum: compare checksumStart, checksumLength and checksumType.\n";
  else if (attempt.right)
    attempt.text += "  " + verb + ": " + std::to_string(data->bodySize) + " bytes\n";
  return attempt;
}

bool ModuleTrial::TryTalk(const Talk& talk, TerminalText out) {
  ZKDrvList* instrument = session_->studio().instruments().front().get();
  std::vector<ZKDrvList*> drivers;
  if (!talk.type.empty()) {
    ZKDrvList* driver = nullptr;
    const Result result = session_->FindType(instrument, talk.type, &driver);
    if (!result.ok()) {
      out << PlainSentence(result.text) << "\n";
      return false;
    }
    drivers.push_back(driver);
  } else {
    for (const bool banks : {false, true})
      for (const auto& driver : instrument->drivers)
        if ((driver->synth()->numVoices > 1) == banks) drivers.push_back(driver.get());
  }
  Attempt best;
  ZKDrvList* chosen = nullptr;
  for (ZKDrvList* driver : drivers) {
    Attempt attempt = TryType(talk, driver);
    if (chosen && !attempt.right && attempt.matched <= best.matched) continue;
    best = std::move(attempt);
    chosen = driver;
    if (best.right || guard_.Interrupted()) break;
  }
  if (!chosen) return false;
  out << talk.file << ": " << Latin1ToUtf8(chosen->TypeName()) << "\n";
  out.Lines(best.text);
  return best.right;
}

}  // namespace tonalith
