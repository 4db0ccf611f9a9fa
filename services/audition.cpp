#include "services/audition.h"

#include <algorithm>

#include "data/patch_select.h"
#include "midi/midi_output.h"
#include "script/transfer_engine.h"
#include "services/settings.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLoadMs = 250;  // an instrument loads the patch
constexpr int kNoSelectNoTones = 7;    // of the ways to select patches
constexpr std::uint8_t kController = 0xB0, kProgram = 0xC0;
constexpr std::uint8_t kBankMsb = 0, kBankLsb = 32;

// Of the preference for auditions of banks.
enum class BankTones { kOne = 0, kChord = 1, kSequence = 2 };

}  // namespace

std::vector<std::vector<std::uint8_t>> PatchChangeMessages(const Synth& synth, int patch) {
  std::vector<std::vector<std::uint8_t>> messages;
  if (!synth.startsEmpty || !SelectsPatches(synth)) return messages;
  const auto channel = static_cast<std::uint8_t>(synth.midiChannel & 15);
  const auto status = [channel](std::uint8_t kind) { return static_cast<std::uint8_t>(kind | channel); };
  const auto byte = [](int value) { return static_cast<std::uint8_t>(value & 0x7F); };
  const PatchSelect select = PatchSelectOf(synth, patch);
  if (select.msb) messages.push_back({status(kController), kBankMsb, byte(*select.msb)});
  if (select.lsb) messages.push_back({status(kController), kBankLsb, byte(*select.lsb)});
  if (select.bankProgram) messages.push_back({status(kProgram), byte(*select.bankProgram)});
  messages.push_back({status(kProgram), byte(select.program)});
  return messages;
}

Result CanAudition(const DataFile& bank, int patch) {
  const Synth& synth = *bank.synth;
  if (patch < 0 || patch >= static_cast<int>(synth.numVoices))
    return Result::Failure("Audition cancelled, number out of range");
  if (!synth.isBank || PatchChangeMessages(synth, patch).empty())
    return Result::Failure("No audition commands for this bank");
  return Result::Success();
}

Result Audition::PortOf(const DataFile& bank, int* port) const {
  const std::string named = bank.midiOutPortName ? bank.midiOutPortName : "";
  *port = named.empty() ? bank.synth->midiOutPort : out_.FindPort(named);
  const std::shared_ptr<MidiOutPort> open = *port >= 0 ? out_.GetMidiOutPort(*port) : nullptr;
  if (!open) return Result::Failure("The MIDI OUT port of this data is not open.");
  return open->lease() != 0 ? Result::Failure(PortTakenText(open->name())) : Result::Success();
}

Result Audition::Play(const DataFile& bank, int patch, bool withTones) {
  if (Result can = CanAudition(bank, patch); !can.ok()) return can;
  int port = 0;
  if (Result there = PortOf(bank, &port); !there.ok()) return there;
  Stop();
  SendOptions options;
  options.mayWait = false;
  for (const std::vector<std::uint8_t>& message : PatchChangeMessages(*bank.synth, patch))
    if (out_.SendDataPort(message, port, options) <= 0)
      return Result::Failure("The MIDI OUT port \"" + out_.GetMidiOutPort(port)->name() + "\" does not take anything.");
  // What is not there is only chosen.
  if (!withTones || MapBit(bank.emptyMap, bank.emptyMapSize, static_cast<std::uint32_t>(patch)))
    return Result::Success();
  PlayLater(bank, port);
  return Result::Success();
}

Result Audition::Sound(const DataFile& bank) {
  int port = 0;
  if (Result there = PortOf(bank, &port); !there.ok()) return there;
  Stop();
  if (bank.synth->bankSelectMode != kNoSelectNoTones) PlayLater(bank, port);
  return Result::Success();
}

void Audition::PlayLater(const DataFile& bank, int port) {
  const bool atOnce = settings_.MainBankAudition(-1) == static_cast<int>(BankTones::kSequence);
  waiting_ = Waiting{{port, bank.synth->midiChannel & 15}, out_.clock().NowUs() / 1000 + (atOnce ? 0 : kLoadMs)};
  Tick();
}

void Audition::Stop() {
  waiting_.reset();
  tones_.Stop();
}

void Audition::PlayTones(const ToneTarget& target) {
  switch (static_cast<BankTones>(settings_.MainBankAudition(-1))) {
    case BankTones::kChord:
      return tones_.PlayChord(target);
    case BankTones::kSequence:
      return tones_.PlaySequence(target);
    default:
      return tones_.PlayNote(0, target);
  }
}

std::int64_t Audition::Tick() {
  const std::int64_t now = out_.clock().NowUs() / 1000;
  if (waiting_ && waiting_->at <= now) {
    const ToneTarget target = waiting_->target;
    waiting_.reset();
    PlayTones(target);
  }
  const std::int64_t tones = tones_.Tick();
  if (!waiting_) return tones;
  const std::int64_t left = std::max<std::int64_t>(waiting_->at - now, 0);
  return tones < 0 ? left : std::min(left, tones);
}

}  // namespace tonalith
