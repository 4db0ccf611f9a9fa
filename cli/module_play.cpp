#include "cli/module_play.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <set>
#include <utility>

#include "chart/change_check.h"
#include "chart/parameters.h"
#include "chart/type_parameters.h"
#include "cli/change_play.h"
#include "cli/module_trial.h"
#include "cli/search_play.h"
#include "cli/transfer_rig.h"
#include "data/data_text.h"
#include "midi/backends/virtual_backend.h"
#include "platform/text.h"
#include "studio/studio_document.h"
#include "studio/type_check.h"

namespace tonalith {

namespace {

constexpr const char* kPort = "Instrument of the chart";
constexpr std::uint32_t kBytesASecond = 3125;  // bytes a second of a MIDI cable
constexpr std::int64_t kAnswerDelayUs = 5000;
constexpr std::int64_t kSettleMs = 200;
constexpr std::uint32_t kOtherContents = 20000;  // seeds behind those of what the instrument has
constexpr std::size_t kBytesShown = 12;
constexpr std::int64_t kMostRetries = 10;

std::string Shown(std::span<const std::uint8_t> bytes) {
  return HexText(bytes.first(std::min(bytes.size(), kBytesShown))) + (bytes.size() > kBytesShown ? " ..." : "");
}

// "patches 0 and 63"
std::string Listed(const std::set<std::size_t>& patches) {
  std::string text;
  for (const std::size_t patch : patches) text += (text.empty() ? "" : ", ") + std::to_string(patch);
  return (patches.size() == 1 ? "patch " : "patches ") + text;
}

}  // namespace

// One data type on its cable.
class ModulePlay::Trial {
 public:
  Trial(Session& session, const ChartInstrument& chart, const ChartType& chartType, ZKDrvList* driver, int device)
      : type(chartType),
        peer_(ChartPeer::Make(chart, chartType, device, &obstacle_)),
        player(*peer_),
        rig_(session, TransferRig::Kind::Virtual) {
    VirtualCableOptions options;
    options.bytesPerSecond = kBytesASecond;
    end_ = rig_.backend().CreateEndpoint(kPort, options);
    end_->SetReceiver([this](std::span<const std::uint8_t> bytes, std::int64_t) {
      const std::lock_guard lock(mutex_);
      for (const auto& answer : player.OnBytes(bytes)) end_->Send(answer, kAnswerDelayUs);
    });
    if (chart.device.letter) driver->instrument->SetSysExChannel(device);
    ready_ = rig_.OpenPorts(end_->name(), end_->name());
    rig_.RoutePorts(driver->instrument);
    data = session.studio().GetNewDataFile(driver);
    if (!data) ready_ = Result::Failure("There is not enough memory.");
    if (data) rig_.RoutePorts(data.get());
    rig_.services().SetReceivedChecks(
        [&session](const DataFile& received) { return CheckOfType(session.studio(), received); });
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  ~Trial() {
    end_->SetReceiver({});
    rig_.backend().RemoveEndpoint(end_);
  }

  // Transfers some patches of a bank that goes patch by patch, else everything.
  Result Run(TransferOperation operation) {
    if (!ready_.ok()) return ready_;
    std::vector<std::uint8_t> mask;
    if (PatchAddressable(*data->synth) && player.Count() > 1) {
      mask.assign(data->synth->numVoices, 0);
      for (const std::size_t patch : Patches())
        if (patch < mask.size()) mask[patch] = 1;
      data->transferMask = mask.data();
      data->transferMaskSize = mask.size();
    }
    bool begun = false;
    const auto watcher = [&](Transfer&) {
      if (std::exchange(begun, true) || !player.StartsAtPanel() || operation != TransferOperation::kReceive) return;
      const std::lock_guard lock(mutex_);
      for (const auto& message : player.Panel(Patches())) end_->Send(message, kAnswerDelayUs);
    };
    Result result = rig_.Run(operation, data.get(), watcher);
    rig_.clock().SleepMs(kSettleMs);
    data->transferMask = nullptr;
    data->transferMaskSize = 0;
    if (!result.ok()) result.text = PlainSentence(result.text);
    return result;
  }

  // The first two and the last patch.
  std::set<std::size_t> Patches() const {
    const std::size_t last = player.Count() - 1;
    return {0, std::min<std::size_t>(1, last), last};
  }

  // The messages of a patch in the image.
  std::span<std::uint8_t> ImageOf(std::size_t patch) {
    const auto body = BodySpan(*data);
    if (player.Count() == 1) return body;
    const std::size_t size = body.size() / player.Count();
    return body.subspan(std::min(body.size(), patch * size), size);
  }

  void Put(std::size_t patch, const ChartData& contents) {
    const auto image = player.Image(patch, contents);
    const auto place = ImageOf(patch);
    std::copy_n(image.begin(), std::min(image.size(), place.size()), place.begin());
    if (data->xtra) data->xtra->hasNoSysEx = 0;
    if (data->emptyMap) SetMapBit(data->emptyMap, data->emptyMapSize, static_cast<std::uint32_t>(patch), false);
  }

  const ChartType& type;

 private:
  std::string obstacle_;
  std::unique_ptr<ChartPeer> peer_;

 public:
  ChartPeer& player;
  DataFilePtr data;
  std::mutex& mutex() { return mutex_; }

 private:
  std::mutex mutex_;  // of the player, while a transfer runs
  TransferRig rig_;
  std::shared_ptr<VirtualEndpoint> end_;
  Result ready_ = Result::Success();
};

ZKDrvList* ModulePlay::DriverOf(const ChartType& type) const {
  for (const auto& instrument : session_.studio().instruments())
    for (const auto& driver : instrument->drivers)
      if (instrument->name == name_ && Latin1ToUtf8(driver->TypeName()) == type.name) return driver.get();
  return nullptr;
}

ChartPlace ModulePlay::PlaceOf(const ChartType& type, bool sends) const {
  if (const ChartEntry* entry = type.Find(sends ? "put" : "get")) return entry->valueAt;
  if (!sends && !type.request.empty()) return type.request.at;
  return type.dump.empty() ? type.section->at : type.dump.front().at;
}

bool ModulePlay::Right(const Trial& trial, const char* what, const std::string& wrong) {
  if (wrong.empty()) return true;
  const bool sends = std::string_view(what).find("sen") != std::string_view::npos;
  mistakes_.push_back({PlaceOf(trial.type, sends), trial.type.name + ", " + what + ": " + wrong});
  return false;
}

bool ModulePlay::Get(Trial* trial) {
  if (!trial->player.ChoosesPatch())
    return Right(*trial, "getting",
                 "nothing in the request depends on the patch. Write pp where its number stands, or choose it before: "
                 "get = Cn pp, request -> each");
  const Result result = trial->Run(TransferOperation::kReceive);
  const std::lock_guard lock(trial->mutex());
  if (!result.ok()) {
    const auto& unknown = trial->player.Unknown();
    return Right(*trial, "getting",
                 result.text + (unknown.empty() ? ""
                                                : " It was asked with " + Shown(unknown.front()) +
                                                      ", which the chart does not have."));
  }
  std::set<std::size_t> wrong;
  for (const std::size_t patch : trial->Patches())
    if (trial->player.DataOf(trial->ImageOf(patch)) != trial->player.Patch(patch)) wrong.insert(patch);
  return Right(*trial, "getting", wrong.empty() ? "" : Listed(wrong) + " did not come as in the instrument.");
}

bool ModulePlay::Send(Trial* trial) {
  std::vector<ChartData> before;
  for (std::size_t i = 0; i < trial->player.Count(); ++i) {
    before.push_back(trial->player.Patch(i));
    const bool chosen = trial->Patches().count(i) != 0;
    trial->Put(i, chosen ? trial->player.Sample(kOtherContents + static_cast<std::uint32_t>(i)) : before.back());
  }
  const Result result = trial->Run(TransferOperation::kTransmit);
  const std::lock_guard lock(trial->mutex());
  const ChartPeer& player = trial->player;
  if (!player.Unknown().empty())
    return Right(*trial, "sending", Shown(player.Unknown().front()) + " was sent, which the chart does not have.");
  if (!result.ok()) return Right(*trial, "sending", result.text);
  const auto& written = player.Written();
  if (std::find(written.begin(), written.end(), -1) != written.end())
    return Right(*trial, "sending", "nothing that is sent says which patch it is.");
  std::set<std::size_t> wrong;
  for (std::size_t i = 0; i < player.Count(); ++i) {
    const bool chosen = trial->Patches().count(i) != 0;
    if (player.Patch(i) != (chosen ? player.Sample(kOtherContents + static_cast<std::uint32_t>(i)) : before[i]))
      wrong.insert(i);
  }
  return Right(*trial, "sending",
               wrong.empty() ? "" : Listed(wrong) + " of the instrument did not become what was sent.");
}

bool ModulePlay::Refused(Trial* trial) {
  for (const std::size_t patch : trial->Patches()) trial->Put(patch, trial->player.Patch(patch));
  trial->player.SetFaults({false, 0, true});
  const Result result = trial->Run(TransferOperation::kTransmit);
  if (result.ok()) return Right(*trial, "sending", "the instrument said no, and the transfer counts as done.");
  const auto sentences = trial->player.Sentences();
  const bool told = std::any_of(sentences.begin(), sentences.end(), [&](const std::string& sentence) {
    return result.text.find(sentence) != std::string::npos;
  });
  return Right(*trial, "sending",
               !sentences.empty() && !told ? "the instrument said no, and its sentence is not told." : "");
}

bool ModulePlay::SilentGet(Trial* trial) {
  const std::vector<std::uint8_t> before(BodySpan(*trial->data).begin(), BodySpan(*trial->data).end());
  trial->player.SetFaults({true, 0, false});
  const Result result = trial->Run(TransferOperation::kReceive);
  if (result.ok()) return Right(*trial, "getting", "the instrument was silent, and the transfer counts as done.");
  const auto after = BodySpan(*trial->data);
  return Right(*trial, "getting",
               std::equal(after.begin(), after.end(), before.begin(), before.end())
                   ? ""
                   : "the instrument was silent, and the data is another than before.");
}

bool ModulePlay::SilentSend(Trial* trial) {
  for (const std::size_t patch : trial->Patches()) trial->Put(patch, trial->player.Patch(patch));
  trial->player.SetFaults({true, 0, false});
  const Result result = trial->Run(TransferOperation::kTransmit);
  return Right(*trial, "sending",
               result.ok() ? "no answer came that the chart waits for, and the transfer counts as done." : "");
}

// So many answers in a row may get lost.
int ModulePlay::Retries(const ChartType& type) const {
  const ChartEntry* retries = chart_.Find(type, "retries");
  const auto times = retries ? ParseInteger(retries->value) : std::nullopt;
  return static_cast<int>(std::clamp<std::int64_t>(times.value_or(1), 1, kMostRetries));
}

bool ModulePlay::LostSend(Trial* trial) {
  for (const std::size_t patch : trial->Patches()) trial->Put(patch, trial->player.Patch(patch));
  trial->player.SetFaults({false, Retries(trial->type), false});
  const Result result = trial->Run(TransferOperation::kTransmit);
  return Right(*trial, "sending", result.ok() ? "" : "so many answers got lost as it has retries: " + result.text);
}

bool ModulePlay::Lost(Trial* trial) {
  const std::vector<std::uint8_t> before(BodySpan(*trial->data).begin(), BodySpan(*trial->data).end());
  trial->player.SetFaults({false, Retries(trial->type), false});
  const Result result = trial->Run(TransferOperation::kReceive);
  if (!result.ok() && !trial->player.IsAskedAgain()) {
    const auto after = BodySpan(*trial->data);
    return Right(*trial, "getting",
                 std::equal(after.begin(), after.end(), before.begin(), before.end())
                     ? ""
                     : "one answer got lost, the transfer failed, and the data is another than before.");
  }
  if (!result.ok()) return Right(*trial, "getting", "one answer got lost: " + result.text);
  std::set<std::size_t> wrong;
  for (const std::size_t patch : trial->Patches())
    if (trial->player.DataOf(trial->ImageOf(patch)) != trial->player.Patch(patch)) wrong.insert(patch);
  return Right(*trial, "getting",
               wrong.empty() ? "" : "one answer got lost, and " + Listed(wrong) + " did not come whole.");
}

bool ModulePlay::File(Trial* trial) {
  std::vector<std::uint8_t> form, bytes;
  const bool known = trial->player.File(&form);
  for (std::size_t i = 0; i < trial->player.Count(); ++i) trial->Put(i, trial->player.Patch(i));
  const Result rendered = RenderBytes(session_, trial->data.get(), &bytes);
  if (!rendered.ok()) return Right(*trial, "file", rendered.text);
  // What is exported is read again as what it was.
  Recognition found;
  const Result read = session_.recognizer().Recognize(bytes, &found);
  const bool one = read.ok() && found.pieces.size() == 1;
  if (one && (found.pieces[0].instrument != name_ || found.pieces[0].dataType != trial->type.name)) {
    const std::string other =
        found.pieces[0].dataType + (found.pieces[0].instrument == name_ ? "" : " of the " + found.pieces[0].instrument);
    mistakes_.push_back({PlaceOf(trial->type, false),
                         trial->type.name + ": its file is taken for the " + other + ", which looks the same.", false});
    return true;
  }
  if (!one)
    return Right(*trial, "file",
                 "what is exported is not recognised as " + trial->type.name +
                     (found.pieces.empty() ? "." : ", but as " + found.pieces[0].dataType + "."));
  for (std::size_t i = 0; i < trial->player.Count(); ++i) {
    const auto body = BodySpan(*found.pieces[0].data);
    const std::size_t size = body.size() / trial->player.Count();
    if (trial->player.DataOf(body.subspan(i * size, size)) != trial->player.Patch(i))
      return Right(*trial, "file", "what is exported and read again has another " + Listed({i}) + ".");
  }
  if (!known || bytes == form) return true;
  const auto differs = std::mismatch(bytes.begin(), bytes.end(), form.begin(), form.end());
  return Right(*trial, "file",
               "what is exported is not as the chart's file: byte " + std::to_string(differs.first - bytes.begin()) +
                   " of " + std::to_string(bytes.size()) + " (" + std::to_string(form.size()) + " in the chart).");
}

void ModulePlay::PlayType(const ChartType& type, ZKDrvList* driver) {
  using Step = bool (ModulePlay::*)(Trial*);
  const int standard = std::max(chart_.device.standard, chart_.device.first);
  const int other = standard == chart_.device.last ? chart_.device.first : chart_.device.last;
  std::string none;
  const auto probe = ChartPeer::Make(chart_, type, standard, &none);
  const bool chooses = probe->ChoosesPatch();  // else the first trial says so
  const bool gets = probe->Gets(), asks = gets && !probe->StartsAtPanel() && chooses;
  ChartProblems ignored((std::string()));
  const bool sends = !IsChartReadonly(type, &ignored);
  std::string done;
  const auto go = [&](bool wanted, const std::string& word, Step step, int device) {
    if (!wanted) return;
    Trial trial(session_, chart_, type, driver, device);
    const bool right = (this->*step)(&trial);
    done += (done.empty() ? "" : ", ") + word + (right ? "" : " (FAILED)");
  };
  go(gets, "got", &ModulePlay::Get, standard);
  go(sends, "sent", &ModulePlay::Send, standard);
  go(sends && probe->CanRefuse(), "refused", &ModulePlay::Refused, standard);
  go(asks, "silent", &ModulePlay::SilentGet, standard);
  go(sends && probe->Confirms(), "sent without an answer", &ModulePlay::SilentSend, standard);
  go(asks, "an answer lost", &ModulePlay::Lost, standard);
  go(sends && probe->Confirms() && chart_.Find(type, "retries"), "sent again", &ModulePlay::LostSend, standard);
  // Data that goes with acknowledgements is in files what it is without them.
  go(sends && !type.Has("handshake"), "exported", &ModulePlay::File, standard);
  if (chart_.device.letter && other != standard) {
    const std::string device = " as device " + std::to_string(other);
    go(gets && chooses, "got" + device, &ModulePlay::Get, other);
    go(sends, "sent" + device, &ModulePlay::Send, other);
    driver->instrument->SetSysExChannel(standard);
  }
  if (const std::string changed = PlayChangesOf(type, driver); !changed.empty())
    done += (done.empty() ? "" : ", ") + changed;
  lines_.push_back(type.name + ": " + (done.empty() ? "nothing to play" : done));
}

std::string ModulePlay::PlayChangesOf(const ChartType& type, ZKDrvList* driver) {
  constexpr std::size_t kMostMistakes = 10;
  const auto& sections = chart_.text->sections;
  const auto section = std::find_if(sections.begin(), sections.end(), [&](const ChartSection& one) {
    return one.kind == "parameters" && (one.name == type.section->name || one.name == type.name);
  });
  const DataFilePtr data = section == sections.end() ? nullptr : session_.studio().GetNewDataFile(driver);
  if (!data) return {};
  PanelData messages = ChangeDataOf(chart_, type);
  messages.headerSize = data->synth->headerSize;
  const ParameterTable table = InstalledParameters(session_, *driver->instrument, +data->synth->driverId);
  const PlayedChanges played = PlayChanges(table, messages, *data, chart_.device.first);
  for (std::size_t i = 0; i < std::min(played.mistakes.size(), kMostMistakes); ++i) {
    const auto& [parameter, text] = played.mistakes[i];
    const ChartCell* row = RowOfParameter(*section, parameter);
    const std::string what = parameter.empty() ? "changing parameters" : "changing \"" + parameter + "\"";
    mistakes_.push_back({row ? row->at : section->at, type.name + ", " + what + ": " + text});
  }
  std::string told;
  const auto tell = [&told](std::size_t count, const std::string& one, const std::string& many) {
    if (count) told += (told.empty() ? "" : ", ") + std::to_string(count) + " " + (count == 1 ? one : many);
  };
  tell(played.parameters - played.mistakes.size(), "parameter changed", "parameters changed");
  tell(played.mistakes.size(), "change FAILED", "changes FAILED");
  tell(played.notSaid.size(), "change not played, whose message says the value in more ways than one",
       "changes not played, whose messages say the value in more ways than one");
  tell(played.notIn.size(), "change not played, as no patch has the parameter",
       "changes not played, as no patch has the parameters");
  return told;
}

void ModulePlay::PlayInquiry(const ChartInquiry& inquiry, ZKDrvList* instrument) {
  const int standard = std::max(chart_.device.standard, chart_.device.first);
  const ChartMessage& told = inquiry.own ? inquiry.request : inquiry.reply;
  std::string done;
  for (const int device : {standard, standard == chart_.device.last ? chart_.device.first : chart_.device.last}) {
    if (device != standard && (!chart_.device.letter || told.PlaceOf(chart_.device.letter) < 0)) break;
    const std::string wrong = PlaySearch(session_, chart_, inquiry, instrument, device);
    if (!wrong.empty())
      mistakes_.push_back({chart_.Find(inquiry.own ? "find" : "identity")->valueAt, "AutoSense: " + wrong});
    done +=
        (done.empty() ? "found" : ", found as device " + std::to_string(device)) + (wrong.empty() ? "" : " (FAILED)");
  }
  lines_.push_back("AutoSense: " + done);
}

void ModulePlay::Play() {
  for (const ChartType& type : chart_.types) {
    ZKDrvList* driver = DriverOf(type);
    std::string obstacle = "the module does not have it";
    if (driver) ChartPeer::Make(chart_, type, std::max(chart_.device.standard, chart_.device.first), &obstacle);
    if (obstacle.empty())
      PlayType(type, driver);
    else
      lines_.push_back(type.name + ": not played: " + obstacle);
  }
  for (const ChartSection& section : chart_.text->sections)
    if (section.kind == "parameters" && IsOfNoData(section))
      lines_.push_back(section.name + ": changed by messages alone, in no data: nothing to play");
  ChartProblems ignored((std::string()));
  const auto inquiry = ReadChartInquiry(chart_, &ignored);
  ZKDrvList* driver = inquiry && !chart_.types.empty() ? DriverOf(chart_.types.front()) : nullptr;
  if (driver) PlayInquiry(*inquiry, driver->instrument);
}

}  // namespace tonalith
