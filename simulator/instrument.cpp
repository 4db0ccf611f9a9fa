#include "simulator/instrument.h"

#include <algorithm>

#include "platform/parallel.h"
#include "platform/text.h"
#include "simulator/casio_engine.h"
#include "simulator/change_engine.h"
#include "simulator/engine_core.h"
#include "simulator/file_transfer_engine.h"
#include "simulator/hydra_engine.h"
#include "simulator/kit_engine.h"
#include "simulator/message_engine.h"
#include "simulator/packet_engine.h"
#include "simulator/parts.h"
#include "simulator/roland_engine.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::size_t kLongestSysEx = 1U << 18;

}  // namespace

struct SimulatedInstrument::State {
  explicit State(InstrumentDescription what) : core(std::move(what)), messages(core) {
    if (core.description.roland) roland.emplace(core);
    if (core.description.casio) casio.emplace(core);
    if (core.description.hydra) hydra.emplace(core);
    if (core.description.packets) packets.emplace(core);
    if (core.description.kits) kits.emplace(core);
    if (core.description.fileTransfer) fileTransfer.emplace(core, messages);
    if (!core.description.changes.empty()) changes.emplace(core);
  }

  EngineCore core;
  MessageEngine messages;
  std::optional<RolandEngine> roland;
  std::optional<CasioEngine> casio;
  std::optional<HydraEngine> hydra;
  std::optional<PacketEngine> packets;
  std::optional<KitEngine> kits;
  std::optional<FileTransferEngine> fileTransfer;
  std::optional<ChangeEngine> changes;

  std::vector<std::uint8_t> sysex;  // being assembled; empty: none
  std::int64_t blockUntilUs = 0;    // works on a block of that message
  bool overrun = false;             // bytes of it came too soon
  std::uint8_t running = 0;
  std::vector<std::uint8_t> shortData;
  std::uint32_t wireRate = 0;
  std::int64_t bufferedBytes = 0;  // waiting while the instrument is busy
  std::int64_t emptiedUs = 0;      // when a slow one took bytes out of its buffer
  std::int64_t lostBytes = 0;
  std::int64_t lastReplyUs = 0;  // when the last answer is out
  int received = 0;
  int sent = 0;

  bool Overflows();
  void OnByte(std::uint8_t byte);
  void OnSysEx();
  void OnShort();
  void Select(int program);
  std::size_t DevicePosition() const;
  std::vector<Reply> TakeAnswers();
};

// While the instrument works on the last message its buffer takes a limited number of bytes; a slow one empties it no
// faster than its speed.
bool SimulatedInstrument::State::Overflows() {
  if (core.description.inputBuffer == 0) return false;
  const bool busy = core.nowUs < core.busyUntilUs;
  if (!busy && core.description.inputSpeed == 0) {
    bufferedBytes = 0;
    return false;
  }
  if (!busy) {
    const std::int64_t emptied =
        (core.nowUs - std::max(emptiedUs, core.busyUntilUs)) * core.description.inputSpeed / 1'000'000;
    bufferedBytes = std::max<std::int64_t>(bufferedBytes - std::max<std::int64_t>(emptied, 0), 0);
    if (emptied > 0) emptiedUs = core.nowUs;
  }
  if (++bufferedBytes <= core.description.inputBuffer) return false;
  ++lostBytes;
  core.display = "BUFFER FULL";
  return true;
}

void SimulatedInstrument::State::OnByte(std::uint8_t byte) {
  if (byte >= 0xF8 || Overflows()) return;
  if (casio && casio->OnByte(byte)) return;
  if (byte == 0xF7) {
    if (sysex.empty()) return;
    sysex.push_back(byte);
    OnSysEx();
    sysex.clear();
  } else if (byte >= 0x80) {
    sysex.clear();
    shortData.clear();
    running = byte < 0xF0 ? byte : std::uint8_t{0};
    if (byte == 0xF0) sysex.push_back(byte);
    overrun = false;
    blockUntilUs = 0;
  } else if (!sysex.empty()) {
    if (sysex.size() < kLongestSysEx) sysex.push_back(byte);
    overrun |= core.nowUs < blockUntilUs;
    blockUntilUs = core.nowUs + std::int64_t{messages.BlockPause(sysex)} * 1000;
  } else if (running != 0) {
    shortData.push_back(byte);
    OnShort();
  }
}

void SimulatedInstrument::State::OnSysEx() {
  ++received;
  if (overrun) {
    core.display = "BUFFER FULL";
    return core.AnswerStatus("refused");
  }
  if (changes && changes->Handle(sysex)) return;
  if (roland && roland->Handle(sysex)) return;
  if (fileTransfer && fileTransfer->Handle(sysex)) return;
  if (hydra && hydra->Handle(sysex)) return;
  if (packets && packets->Handle(sysex)) return;
  if (kits && kits->Handle(sysex)) return;
  messages.Handle(sysex);
}

void SimulatedInstrument::State::OnShort() {
  const std::size_t needed = (running & 0xE0) == 0xC0 ? 1 : 2;
  if (shortData.size() < needed) return;
  if (changes) {
    std::vector<std::uint8_t> message = {running};
    message.insert(message.end(), shortData.begin(), shortData.end());
    changes->Handle(message);
  }
  const bool own = core.description.parts || (running & 0x0F) == (core.device & 0x0F);
  if ((running & 0xF0) == 0xC0 && own) Select(shortData[0]);
  if ((running & 0xF0) == 0xB0 && own && shortData[0] == core.description.bankController) core.bank = shortData[1];
  shortData.clear();
}

void SimulatedInstrument::State::Select(int program) {
  if (kits) return kits->Select(core.bank, program);
  if (core.description.parts) return SelectOnParts(core.description, core.memory, running & 0x0F, program);
  if (core.description.links.empty()) return;
  if (core.description.programs > 0 && program >= core.description.programs) return;
  const int area = core.description.links.front().bankArea;
  int bankSize = core.description.bankPrograms;
  for (const MessageInfo& message : core.description.messages) bankSize = std::max(bankSize, message.bankSize);
  const int item = bankSize > 0 ? core.bank * bankSize + program % bankSize : program % core.Area(area).items;
  core.memory.LoadEdit(core.description, area, item);
}

std::size_t SimulatedInstrument::State::DevicePosition() const {
  for (const MessageInfo& message : core.description.messages)
    for (std::size_t i = 0; i < message.head.size(); ++i)
      if (message.head[i].kind == PatternToken::Kind::kDeviceNibble ||
          message.head[i].kind == PatternToken::Kind::kDeviceByte)
        return i;
  if (packets) return 3;
  return casio ? 4 : 2;
}

std::vector<Reply> SimulatedInstrument::State::TakeAnswers() {
  std::vector<Reply> answers = std::move(core.answers);
  core.answers.clear();
  if (answers.empty()) return answers;
  // Nothing is said before the work at hand is done and earlier answers are out.
  const std::int64_t wait = std::max(core.busyUntilUs, lastReplyUs) - core.nowUs;
  for (Reply& reply : answers) {
    reply.delayUs = std::max(reply.delayUs, wait);
    ++sent;
  }
  lastReplyUs = core.nowUs + answers.back().delayUs;
  return core.faults.Output(std::move(answers), DevicePosition());
}

SimulatedInstrument::SimulatedInstrument(InstrumentDescription description)
    : state_(std::make_unique<State>(std::move(description))) {}
SimulatedInstrument::SimulatedInstrument(SimulatedInstrument&&) noexcept = default;
SimulatedInstrument& SimulatedInstrument::operator=(SimulatedInstrument&&) noexcept = default;
SimulatedInstrument::~SimulatedInstrument() = default;

std::unique_ptr<SimulatedInstrument> SimulatedInstrument::Create(std::string_view key, std::string* problem) {
  DescriptionResult result = LoadDescriptionByKey(key);
  if (!result.description) {
    if (problem != nullptr) *problem = result.problem;
    return nullptr;
  }
  return std::make_unique<SimulatedInstrument>(std::move(*result.description));
}

std::unique_ptr<SimulatedInstrument> SimulatedInstrument::CreateFor(std::string_view instrument, std::string_view type,
                                                                    std::string* problem) {
  std::optional<InstrumentDescription> own;
  std::string wrong, others;  // with the description of that name; files that are wrong as well
  for (const std::string& key : SimulatedInstrumentKeys()) {
    DescriptionResult result = LoadDescriptionByKey(key);
    const bool named = AsciiEqualNoCase(result.name, instrument) || AsciiEqualNoCase(key, instrument);
    if (!result.description) {
      if (named && wrong.empty()) wrong = result.problem;
      others += (others.empty() ? "" : ", ") + key + ".sim";
      continue;
    }
    const InstrumentDescription& what = *result.description;
    const bool sister = AsciiEqualNoCase(what.standsFor, instrument) && !what.standsForTypes.empty() &&
                        AsciiStartsWithNoCase(type, what.standsForTypes);
    if (sister) return std::make_unique<SimulatedInstrument>(std::move(*result.description));
    if (named) own = std::move(result.description);
  }
  if (own) return std::make_unique<SimulatedInstrument>(std::move(*own));
  *problem = "There is no simulated " + std::string(instrument) + ".";
  if (!others.empty()) *problem += "  Descriptions that cannot be read: " + others + ".";
  if (!wrong.empty()) *problem = "The description of the simulated " + std::string(instrument) + " is wrong.  " + wrong;
  return nullptr;
}

std::unique_ptr<SimulatedInstrument> SimulatedInstrument::CreateForDump(std::span<const std::uint8_t> dump,
                                                                        std::string* problem) {
  std::unique_ptr<SimulatedInstrument> best;
  int most = 0;
  std::string why = "The dump belongs to no instrument that can be simulated.";
  for (const std::string& key : SimulatedInstrumentKeys()) {
    auto candidate = Create(key, &why);
    if (!candidate) continue;
    const int taken = candidate->LoadDump(dump).taken;
    if (taken <= most) continue;
    most = taken;
    best = std::move(candidate);
  }
  if (!best && problem != nullptr) *problem = why;
  return best;
}

MadeInstruments MadeInstruments::All() {
  const auto keys = SimulatedInstrumentKeys();
  MadeInstruments made;
  if (keys.empty()) made.problem = "The descriptions of the simulated instruments were not found.";
  std::vector<std::unique_ptr<SimulatedInstrument>> all(keys.size());
  std::vector<std::string> problems(keys.size());
  InParallel(keys.size(), [&](std::size_t i) { all[i] = SimulatedInstrument::Create(keys[i], &problems[i]); });
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (all[i])
      made.instruments.push_back(std::move(all[i]));
    else
      made.problem += (made.problem.empty() ? "" : "  ") + problems[i];
  }
  return made;
}

const InstrumentDescription& SimulatedInstrument::description() const {
  return state_->core.description;
}

std::vector<Reply> SimulatedInstrument::OnBytes(std::span<const std::uint8_t> bytes, std::int64_t nowUs) {
  State& s = *state_;
  if (s.core.faults.vanished()) return {};
  const std::int64_t lastUs = s.core.nowUs;
  auto left = static_cast<std::int64_t>(bytes.size());
  for (const std::uint8_t byte : s.core.faults.Input(bytes)) {
    const std::int64_t before = s.wireRate > 0 ? --left * 1'000'000 / s.wireRate : 0;
    s.core.nowUs = std::max(lastUs, nowUs - before);
    s.OnByte(byte);
  }
  s.core.nowUs = nowUs;
  return s.TakeAnswers();
}

LoadResult SimulatedInstrument::LoadDump(std::span<const std::uint8_t> dump) {
  State& s = *state_;
  LoadResult result;
  const int bank = s.core.bank;
  const MemoryImage before = s.core.memory;
  for (const auto& message : ScanSysEx(dump)) {
    ++result.messages;
    std::string why;
    bool taken = false;
    if (s.roland)
      taken = s.roland->LoadData(message, &why);
    else if (s.casio)
      taken = s.casio->LoadData(message, &why);
    else if (s.hydra)
      taken = s.hydra->LoadData(message, &why);
    else if (s.packets)
      taken = s.packets->LoadData(message, &why);
    else if (s.kits)
      taken = s.kits->LoadData(message, &why);
    else
      taken = s.messages.LoadData(s.fileTransfer ? s.fileTransfer->OneWay(message) : message, &why);
    if (taken)
      ++result.taken;
    else
      result.notes.push_back("Message " + std::to_string(result.messages) + " of the dump " + why + ".");
  }
  s.core.bank = bank;
  const auto changed = [&](int area) {
    for (int item = 0; item < s.core.Area(area).items; ++item) {
      const auto now = s.core.memory.Item(area, item);
      if (!std::equal(now.begin(), now.end(), before.Item(area, item).begin())) return true;
    }
    return false;
  };
  std::vector<int> banks;
  for (const LinkInfo& link : description().links)
    if (changed(link.bankArea) && !changed(link.editArea)) banks.push_back(link.bankArea);
  for (const int area : banks) s.core.memory.LoadEdit(description(), area, 0);
  if (description().parts && !changed(description().parts->bufferArea)) FillPartBuffers(description(), s.core.memory);
  return result;
}

std::vector<std::uint8_t> SimulatedInstrument::Dump() const {
  std::vector<std::uint8_t> dump;
  const auto append = [&](const std::vector<std::uint8_t>& bytes) {
    dump.insert(dump.end(), bytes.begin(), bytes.end());
  };
  if (state_->roland) {
    for (const auto& range : description().roland->dump)
      for (const auto& message : DumpRange(range.address, range.bytes)) append(message);
    return dump;
  }
  if (state_->casio || state_->hydra || state_->packets || state_->kits) {
    for (const RuleInfo::Send& send : description().dump)
      for (int item = std::max(send.first, 0); item <= std::max(send.last, 0); ++item)
        append(DumpOf(send.message, item));
    return dump;
  }
  for (const auto& message : state_->messages.Everything()) append(message);
  return dump;
}

std::vector<std::uint8_t> SimulatedInstrument::DumpOf(std::string_view message, int item) const {
  if (item < 0) return {};
  if (const MessageInfo* info = description().FindMessage(message)) return state_->messages.Encode(*info, item);
  const int area = description().FindArea(message);
  if (area < 0) return {};
  if (state_->casio) return state_->casio->FileMessage(area, item);
  if (state_->kits) return state_->kits->ItemMessage(area, item);
  std::vector<std::uint8_t> bytes;
  if (state_->hydra)
    for (const auto& piece : state_->hydra->FileMessages(item)) bytes.insert(bytes.end(), piece.begin(), piece.end());
  if (state_->packets)
    for (const auto& piece : state_->packets->FileMessages(area, item))
      bytes.insert(bytes.end(), piece.begin(), piece.end());
  if (state_->roland)
    for (const auto& piece : state_->roland->ItemMessages(area, item))
      bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

std::vector<std::uint8_t> SimulatedInstrument::FileOf(std::string_view message, int item) const {
  std::vector<std::uint8_t> bytes;
  if (const MessageInfo* info = description().FindMessage(message)) bytes = state_->messages.BankChoice(*info, item);
  const std::vector<std::uint8_t> dump = DumpOf(message, item);
  bytes.insert(bytes.end(), dump.begin(), dump.end());
  return bytes;
}

std::vector<std::vector<std::uint8_t>> SimulatedInstrument::DumpRange(std::uint32_t address,
                                                                      std::uint32_t bytes) const {
  constexpr std::uint8_t kOneWayData = 0x12;
  return state_->roland ? state_->roland->Messages(address, bytes, kOneWayData)
                        : std::vector<std::vector<std::uint8_t>>{};
}

std::vector<std::uint8_t> SimulatedInstrument::Item(std::string_view area, int item) const {
  const MemoryImage& memory = state_->core.memory;
  const auto bytes = memory.Item(description().FindArea(area), item);
  return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> SimulatedInstrument::Memory() const {
  const auto all = static_cast<const MemoryImage&>(state_->core.memory).All();
  return {all.begin(), all.end()};
}

bool SimulatedInstrument::RestoreMemory(std::span<const std::uint8_t> image) {
  return state_->core.memory.Restore(image);
}

void SimulatedInstrument::RestoreFactory() {
  state_->core.memory.FillFactory(description());
  state_->core.held.clear();
  if (state_->kits) state_->kits->ArrangeFactory();
}

void SimulatedInstrument::SetWireRate(std::uint32_t bytesPerSecond) {
  state_->wireRate = bytesPerSecond;
}

void SimulatedInstrument::SetDevice(int device) {
  state_->core.device = std::clamp(device, 0, 127);
}
int SimulatedInstrument::device() const {
  return state_->core.device;
}

void SimulatedInstrument::SetMemoryProtect(bool on) {
  state_->core.memoryProtect = on;
}
bool SimulatedInstrument::memoryProtect() const {
  return state_->core.memoryProtect;
}

bool SimulatedInstrument::Rename(std::string_view area, int item, std::string_view name) {
  return state_->core.memory.SetName(description(), description().FindArea(area), item, name);
}

bool SimulatedInstrument::SelectPatch(std::string_view area, int item) {
  return state_->core.memory.LoadEdit(description(), description().FindArea(area), item);
}

bool SimulatedInstrument::StorePatch(std::string_view area, int item) {
  const int index = description().FindArea(area);
  std::string status;
  return index >= 0 && state_->core.MayWrite(index, item, &status) &&
         state_->core.memory.StoreEdit(description(), index, item);
}

bool SimulatedInstrument::PressOne(std::string_view message, int item) {
  State& s = *state_;
  const int area = description().FindArea(message);
  const MessageInfo* info = description().FindMessage(message);
  if (message == "everything" && (s.roland || s.casio || s.hydra || s.packets || s.kits)) {
    for (auto& piece : ScanSysEx(Dump())) s.core.Answer(std::move(piece));
  } else if (message == "everything") {
    s.messages.SendAll(description().dump, 0);
  } else if (info != nullptr) {
    if (auto bytes = s.messages.Encode(*info, item); !bytes.empty()) s.core.Answer(std::move(bytes));
  } else if (s.kits && area >= 0) {
    if (auto bytes = s.kits->ItemMessage(area, item); !bytes.empty()) s.core.Answer(std::move(bytes));
  } else if (s.packets && area >= 0) {
    for (auto& piece : s.packets->FileMessages(area, item)) s.core.Answer(std::move(piece));
  } else if (s.roland && area >= 0) {
    for (auto& piece : s.roland->ItemMessages(area, item)) s.core.Answer(std::move(piece));
  } else {
    return false;
  }
  return true;
}

std::vector<Reply> SimulatedInstrument::PanelSend(std::string_view message, int item) {
  if (vanished()) return {};
  PressOne(message, item);
  return state_->TakeAnswers();
}

bool SimulatedInstrument::Press(std::string_view list, std::vector<Reply>* replies, std::string* problem) {
  State& s = *state_;
  std::vector<RuleInfo::Send> sends;
  if (!ParseSends(list, &sends) || sends.empty()) {
    *problem = "\"" + std::string(list) + "\" is no list like MESSAGE or MESSAGE[0..31].";
    return false;
  }
  if (vanished()) return true;
  for (const RuleInfo::Send& send : sends) {
    const MessageInfo* info = description().FindMessage(send.message);
    const int bankStart = info && !send.absolute ? info->bankSize * s.core.bank : 0;
    for (int item = std::max(send.first, 0); item <= std::max(send.last, 0); item += send.step) {
      if (PressOne(send.message, item + bankStart)) continue;
      *problem = "The panel of the simulated " + description().name + " sends no \"" + send.message + "\"; it sends:";
      for (const std::string& key : PanelKeys()) *problem += " " + key;
      *problem += ".";
      s.core.answers.clear();
      return false;
    }
  }
  *replies = s.TakeAnswers();
  return true;
}

std::vector<std::string> SimulatedInstrument::PanelKeys() const {
  std::vector<std::string> keys;
  for (const MessageInfo& message : description().messages) keys.push_back(message.key);
  if (description().roland || description().packets || description().kits)
    for (const AreaInfo& area : description().areas) keys.push_back(area.key);
  keys.emplace_back("everything");
  return keys;
}

std::vector<PanelEntry> SimulatedInstrument::PanelList(std::string_view area) const {
  std::vector<PanelEntry> list;
  for (std::size_t a = 0; a < description().areas.size(); ++a) {
    const AreaInfo& info = description().areas[a];
    if (info.number.empty() || (!area.empty() && info.key != area)) continue;
    for (int item = 0; item < info.listed; ++item)
      list.push_back({info.key, item, FormatPanelNumber(info.number, item, info.numberPer),
                      state_->core.memory.Name(description(), static_cast<int>(a), item)});
  }
  return list;
}

const std::string& SimulatedInstrument::display() const {
  return state_->core.display;
}

void SimulatedInstrument::SetFaults(FaultPlan plan) {
  state_->core.faults.Set(std::move(plan));
}
bool SimulatedInstrument::vanished() const {
  return state_->core.faults.vanished();
}
void SimulatedInstrument::PlugInAgain() {
  state_->core.faults.PlugInAgain();
}

std::int64_t SimulatedInstrument::lostBytes() const {
  return state_->lostBytes;
}
int SimulatedInstrument::messagesReceived() const {
  return state_->received;
}
int SimulatedInstrument::messagesSent() const {
  return state_->sent;
}

}  // namespace tonalith
