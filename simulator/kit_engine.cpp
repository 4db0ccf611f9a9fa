#include "simulator/kit_engine.h"

#include <algorithm>

#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::uint8_t kMaker = 0x40;
constexpr std::uint8_t kMachine = 0x0A;
// Functions, and the kinds of data.
constexpr int kRequestOne = 0x00;
constexpr int kRequestBlock = 0x01;
constexpr int kParameter = 0x10;
constexpr int kOne = 0x20;
constexpr int kBlock = 0x21;
constexpr int kBackup = 0x32;
constexpr int kSingles = 0x00;
constexpr int kMultis = 0x20;
// Replies to what was written.
constexpr int kComplete = 0x40;
constexpr int kError = 0x41;
constexpr int kProtected = 0x42;
constexpr int kMemoryFull = 0x44;

// Groups of parameters, two bytes.
constexpr int kCommonGroup = 0x0100;
constexpr int kSourceGroup = 0x0101;
constexpr int kKitGroup = 0x0240;
constexpr int kSoftGroup = 0x0241;
constexpr int kLoudGroup = 0x0242;
constexpr int kFormantGroup = 0x0243;
constexpr int kEnvelopeGroup = 0x0244;
constexpr int kEffectGroup = 0x0300;
constexpr int kEqualizerGroup = 0x0301;

constexpr std::size_t kFrame = 6;  // F0 40 0n function 00 0A
constexpr std::size_t kCommonBytes = 81;
constexpr std::size_t kSourceBytes = 86;
constexpr std::size_t kKitBytes = 805;
constexpr std::size_t kMultiBytes = 102;
constexpr std::size_t kSourceCount = 50;  // its place in the common part
constexpr std::size_t kWave = 28;         // in a source, two bytes
constexpr std::size_t kFewestSources = 2;
constexpr std::size_t kMostSources = 6;
constexpr std::uint8_t kAdditiveWave = 4;  // high byte of 512
constexpr std::uint8_t kSampledWave = 2;   // 341 and the following are sampled
constexpr std::size_t kSampledWaves = 85;
constexpr std::size_t kMapBytes = 19;
constexpr int kBankItems = 128;

bool IsAdditive(std::span<const std::uint8_t> source) {
  return source[kWave] == kAdditiveWave && source[kWave + 1] == 0;
}

// Kits of the sources that stand behind the common part.
std::size_t KitCount(std::span<const std::uint8_t> sources, std::size_t count) {
  std::size_t kits = 0;
  for (std::size_t i = 0; i < count; ++i) kits += IsAdditive(sources.subspan(i * kSourceBytes, kSourceBytes)) ? 1 : 0;
  return kits;
}

std::size_t WithoutKits(std::span<const std::uint8_t> single) {
  return kCommonBytes + kSourceBytes * single[kSourceCount];
}

}  // namespace

KitEngine::KitEngine(EngineCore& core) : core_(core) {
  ArrangeFactory();
}

// The description fills room for everything; here the singles get different numbers of sources and kits, and some
// places stay empty.
void KitEngine::ArrangeFactory() {
  for (std::size_t b = 0; b < info().banks.size(); ++b) {
    const int area = info().banks[b].area;
    for (int item = 0; item < kBankItems; ++item) {
      if (core_.memory.Contents(core_.description, area, item).empty()) continue;
      const auto full = core_.memory.Item(area, item);
      const std::size_t n = static_cast<std::size_t>(item) + b;
      const std::size_t sources = item == 0 ? kMostSources : kFewestSources + n % (kMostSources - kFewestSources + 1);
      const std::size_t kits = item == 0 ? sources : n * 3 % (sources + 1);
      if (item % 11 == 10) {
        core_.memory.SetContents(core_.description, area, item, {});
        continue;
      }
      full[kSourceCount] = static_cast<std::uint8_t>(sources);
      for (std::size_t s = 0; s < sources; ++s) {
        const auto wave = full.subspan(kCommonBytes + s * kSourceBytes + kWave, 2);
        wave[0] = s < kits ? kAdditiveWave : kSampledWave;
        wave[1] = s < kits ? std::uint8_t{0} : static_cast<std::uint8_t>(kSampledWaves + n % 40);
      }
      const auto part = [&](std::size_t from, std::size_t bytes) { return full.subspan(from, bytes); };
      const auto front = part(0, kCommonBytes + kSourceBytes * sources);
      const auto behind = part(kCommonBytes + kSourceBytes * kMostSources, kKitBytes * kits);
      Bytes single(front.begin(), front.end());
      single.insert(single.end(), behind.begin(), behind.end());
      core_.memory.SetContents(core_.description, area, item, single);
    }
  }
  const auto all = core_.memory.All();
  flash_.assign(all.begin(), all.end());
}

const KitInfo::Bank* KitEngine::FindBank(int code) const {
  for (const KitInfo::Bank& bank : info().banks)
    if (bank.code == code) return &bank;
  return nullptr;
}

KitEngine::Bytes KitEngine::Head(int function) const {
  return {0xF0, kMaker,  static_cast<std::uint8_t>(core_.device & 0x0F), static_cast<std::uint8_t>(function),
          0x00, kMachine};
}

void KitEngine::Say(int reply) {
  core_.Answer({0xF0, kMaker, static_cast<std::uint8_t>(core_.device & 0x0F), static_cast<std::uint8_t>(reply), 0xF7});
}

KitEngine::Bytes KitEngine::WithSums(std::span<const std::uint8_t> single) {
  const std::size_t front = WithoutKits(single);
  Bytes wire = {KawaiSum(single.first(front))};
  wire.insert(wire.end(), single.begin(), single.begin() + static_cast<std::ptrdiff_t>(front));
  for (auto kits = single.subspan(front); kits.size() >= kKitBytes; kits = kits.subspan(kKitBytes)) {
    const auto kit = kits.first(kKitBytes);
    wire.push_back(KawaiSum(kit));
    wire.insert(wire.end(), kit.begin(), kit.end());
  }
  return wire;
}

std::size_t KitEngine::WireSize(std::span<const std::uint8_t> single) {
  if (single.empty()) return 0;
  return single.size() + 1 + (single.size() - WithoutKits(single)) / kKitBytes;
}

std::optional<KitEngine::Bytes> KitEngine::TakeSingle(std::span<const std::uint8_t>& wire) {
  if (wire.size() < 1 + kCommonBytes) return std::nullopt;
  const std::size_t sources = wire[1 + kSourceCount];
  const std::size_t front = kCommonBytes + kSourceBytes * sources;
  if (sources < kFewestSources || sources > kMostSources || wire.size() < 1 + front) return std::nullopt;
  const auto common = wire.subspan(1, front);
  if (KawaiSum(common) != wire[0]) return std::nullopt;
  const std::size_t kits = KitCount(common.subspan(kCommonBytes), sources);
  Bytes single(common.begin(), common.end());
  wire = wire.subspan(1 + front);
  for (std::size_t k = 0; k < kits; ++k) {
    if (wire.size() < 1 + kKitBytes) return std::nullopt;
    const auto kit = wire.subspan(1, kKitBytes);
    if (KawaiSum(kit) != wire[0]) return std::nullopt;
    single.insert(single.end(), kit.begin(), kit.end());
    wire = wire.subspan(1 + kKitBytes);
  }
  return single;
}

std::size_t KitEngine::UsedBytes(int area, int without) const {
  std::size_t used = 0;
  for (int item = 0; item < kBankItems; ++item)
    if (item != without) used += WireSize(core_.memory.Contents(core_.description, area, item));
  return used;
}

std::vector<std::uint8_t> KitEngine::ItemMessage(int area, int item) const {
  Bytes message = Head(kOne);
  if (area == info().multiArea) {
    const auto data = core_.memory.Item(area, item);
    if (data.empty()) return {};
    message.insert(message.end(), {kMultis, static_cast<std::uint8_t>(item), KawaiSum(data)});
    message.insert(message.end(), data.begin(), data.end());
  } else {
    const auto single = core_.memory.Contents(core_.description, area, item);
    if (single.empty()) return {};
    for (const KitInfo::Bank& bank : info().banks)
      if (bank.area == area)
        message.insert(message.end(),
                       {kSingles, static_cast<std::uint8_t>(bank.code), static_cast<std::uint8_t>(item)});
    const Bytes wire = WithSums(single);
    message.insert(message.end(), wire.begin(), wire.end());
  }
  message.push_back(0xF7);
  return message;
}

KitEngine::Bytes KitEngine::BankMessage(const KitInfo::Bank& bank) const {
  Bytes message = Head(kBlock);
  message.insert(message.end(), {kSingles, static_cast<std::uint8_t>(bank.code)});
  const std::size_t map = message.size();
  message.resize(map + kMapBytes, 0);
  for (int item = 0; item < kBankItems; ++item) {
    const auto single = core_.memory.Contents(core_.description, bank.area, item);
    if (single.empty()) continue;
    std::uint8_t& seven = message[map + static_cast<std::size_t>(item / 7)];
    seven = static_cast<std::uint8_t>(seven | 1 << item % 7);
    const Bytes wire = WithSums(single);
    message.insert(message.end(), wire.begin(), wire.end());
  }
  message.push_back(0xF7);
  return message;
}

bool KitEngine::Handle(std::span<const std::uint8_t> message) {
  if (message.size() < kFrame + 2 || message[0] != 0xF0 || message[1] != kMaker || message[2] > 0x0F ||
      message[2] != (core_.device & 0x0F) || message[4] != 0 || message[5] != kMachine)
    return false;
  if (core_.nowUs < deafUntilUs_) return true;
  switch (message[3]) {
    case kRequestOne:
    case kRequestBlock:
      OnRequest(message, message[3] == kRequestBlock);
      return true;
    case kParameter:
      OnParameter(message);
      return true;
    case kOne:
    case kBlock: {
      const bool refused = core_.faults.TakeBusy() || core_.faults.TakeRefusal();
      const Verdict verdict = refused ? Verdict::kWrong : TakeData(message, false);
      if (verdict == Verdict::kTaken) core_.display = "RECEIVED";
      if (verdict == Verdict::kWrong) core_.display = "RECEIVE ERROR";
      if (verdict == Verdict::kFull) core_.display = "MEMORY FULL";
      Say(verdict == Verdict::kTaken       ? kComplete
          : verdict == Verdict::kProtected ? kProtected
          : verdict == Verdict::kFull      ? kMemoryFull
                                           : kError);
      return true;
    }
    case kBackup: {
      const auto all = core_.memory.All();
      if (message[6] == 1) flash_.assign(all.begin(), all.end());
      if (message[6] == 2) core_.memory.Restore(flash_);
      deafUntilUs_ = core_.nowUs + std::int64_t{info().backupMs} * 1000;
      return true;
    }
    default:
      return false;
  }
}

// An empty place does not answer.
void KitEngine::OnRequest(std::span<const std::uint8_t> message, bool block) {
  if (message.size() != 10 || !core_.HearsRequest() || core_.faults.TakeBusy()) return;
  Bytes answer;
  if (message[6] == kMultis && message[7] == 0 && block) {
    answer = Head(kBlock);
    answer.push_back(kMultis);
    for (int item = 0; item < core_.Area(info().multiArea).items; ++item) {
      const auto data = core_.memory.Item(info().multiArea, item);
      answer.push_back(KawaiSum(data));
      answer.insert(answer.end(), data.begin(), data.end());
    }
    answer.push_back(0xF7);
  } else if (message[6] == kMultis && message[7] == 0) {
    answer = ItemMessage(info().multiArea, message[8]);
  } else if (const KitInfo::Bank* bank = FindBank(message[7]); message[6] == kSingles && bank != nullptr) {
    answer = block ? BankMessage(*bank) : ItemMessage(bank->area, message[8]);
  }
  if (!answer.empty()) core_.Answer(std::move(answer));
}

KitEngine::Verdict KitEngine::TakeData(std::span<const std::uint8_t> message, bool force) {
  const bool block = message[3] == kBlock;
  const auto body = message.subspan(kFrame, message.size() - kFrame - 1);
  if (body[0] == kMultis)
    return block             ? TakeMultis(0, core_.Area(info().multiArea).items, body.subspan(1), force)
           : body.size() > 1 ? TakeMultis(body[1], 1, body.subspan(2), force)
                             : Verdict::kWrong;
  const KitInfo::Bank* bank = body.size() > 2 && body[0] == kSingles ? FindBank(body[1]) : nullptr;
  if (bank == nullptr) return Verdict::kWrong;
  return block ? TakeBank(*bank, body.subspan(2), force) : TakeOne(*bank, body[2], body.subspan(3), force);
}

KitEngine::Verdict KitEngine::TakeOne(const KitInfo::Bank& bank, int item, std::span<const std::uint8_t> wire,
                                      bool force) {
  std::string status;
  if (!force && !core_.MayWrite(bank.area, item, &status)) return Verdict::kProtected;
  const auto single = TakeSingle(wire);
  if (!single || !wire.empty()) return Verdict::kWrong;
  if (UsedBytes(bank.area, item) + WireSize(*single) > static_cast<std::size_t>(info().memoryBytes))
    return Verdict::kFull;
  return core_.memory.SetContents(core_.description, bank.area, item, *single) ? Verdict::kTaken : Verdict::kWrong;
}

KitEngine::Verdict KitEngine::TakeBank(const KitInfo::Bank& bank, std::span<const std::uint8_t> wire, bool force) {
  std::string status;
  if (!force && !core_.MayWrite(bank.area, 0, &status)) return Verdict::kProtected;
  if (wire.size() <= kMapBytes) return Verdict::kWrong;
  const auto map = wire.first(kMapBytes);
  wire = wire.subspan(kMapBytes);
  std::vector<Bytes> singles(kBankItems);
  std::size_t used = 0;
  for (int item = 0; item < kBankItems; ++item) {
    if ((map[static_cast<std::size_t>(item / 7)] >> item % 7 & 1) == 0) continue;
    auto single = TakeSingle(wire);
    if (!single) return Verdict::kWrong;
    used += WireSize(*single);
    singles[static_cast<std::size_t>(item)] = std::move(*single);
  }
  if (!wire.empty()) return Verdict::kWrong;
  if (used > static_cast<std::size_t>(info().memoryBytes)) return Verdict::kFull;
  for (int item = 0; item < kBankItems; ++item)
    core_.memory.SetContents(core_.description, bank.area, item, singles[static_cast<std::size_t>(item)]);
  return Verdict::kTaken;
}

KitEngine::Verdict KitEngine::TakeMultis(int first, int count, std::span<const std::uint8_t> wire, bool force) {
  std::string status;
  if (first + count > core_.Area(info().multiArea).items) return Verdict::kWrong;
  if (!force && !core_.MayWrite(info().multiArea, first, &status)) return Verdict::kProtected;
  if (wire.size() != static_cast<std::size_t>(count) * (1 + kMultiBytes)) return Verdict::kWrong;
  for (const bool write : {false, true}) {
    for (int i = 0; i < count; ++i) {
      const auto multi = wire.subspan(static_cast<std::size_t>(i) * (1 + kMultiBytes), 1 + kMultiBytes);
      if (KawaiSum(multi.subspan(1)) != multi[0]) return Verdict::kWrong;
      const auto target = core_.memory.Item(info().multiArea, first + i);
      if (write) std::copy(multi.begin() + 1, multi.end(), target.begin());
    }
  }
  return Verdict::kTaken;
}

bool KitEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  *why = "is no data of this instrument";
  if (message.size() < kFrame + 4 || message[1] != kMaker || message[2] > 0x0F || message[4] != 0 ||
      message[5] != kMachine || (message[3] != kOne && message[3] != kBlock))
    return false;
  const Verdict verdict = TakeData(message, true);
  *why =
      verdict == Verdict::kFull ? "does not fit into the memory of its bank" : "is not whole or has a wrong checksum";
  return verdict == Verdict::kTaken;
}

void KitEngine::Select(int bank, int program) {
  for (const KitInfo::Bank& candidate : info().banks)
    if (candidate.controller == bank) currentBank_ = &candidate, current_ = program;
}

// Where in the common part a parameter stands; nothing when it is none of it.
std::optional<std::size_t> KitEngine::CommonPlace(int group, std::size_t block, std::size_t number) {
  constexpr std::size_t kName = 39;  // here the parameters begin to be counted
  constexpr std::size_t kEqualizer = 31;
  constexpr std::size_t kEffects = 7;
  constexpr std::size_t kEffectBytes = 6;
  constexpr std::size_t kEffectBlocks = 4;
  if (group == kCommonGroup && kName + number < kCommonBytes) return kName + number;
  if (group == kEqualizerGroup && kEqualizer + number < kEqualizer + 7) return kEqualizer + number;
  if (group != kEffectGroup) return std::nullopt;
  if (block == 0) return 0;
  if (block == 1 && number < kEffectBytes) return 1 + number;
  if (block <= 1 + kEffectBlocks && number < kEffectBytes) return kEffects + (block - 2) * kEffectBytes + number;
  return std::nullopt;
}

// The same within a kit.
std::optional<std::size_t> KitEngine::KitPlace(int group, std::size_t index, std::size_t number) {
  constexpr std::size_t kSoft = 36;
  constexpr std::size_t kLoud = 100;
  constexpr std::size_t kFormant = 164;
  constexpr std::size_t kEnvelopes = 292;
  constexpr std::size_t kHarmonics = 64;
  if (group == kKitGroup && number < kSoft) return number;
  if (group == kSoftGroup && index < kHarmonics) return kSoft + index;
  if (group == kLoudGroup && index < kHarmonics) return kLoud + index;
  if (group == kFormantGroup) return kFormant + index;
  if (group == kEnvelopeGroup && index < kHarmonics && number < 8) return kEnvelopes + index * 8 + number;
  return std::nullopt;
}

// 10 00 0A s1 s2 s3 s4 s5 high low, of the single that is chosen; what would change its size is passed over.
void KitEngine::OnParameter(std::span<const std::uint8_t> message) {
  const KitInfo::Bank& bank = currentBank_ != nullptr ? *currentBank_ : info().banks.front();
  const auto single = core_.memory.Item(bank.area, current_);
  if (message.size() != 14 || core_.memory.Contents(core_.description, bank.area, current_).empty()) return;
  const int group = message[6] * 256 + message[7];
  const std::size_t source = message[8];
  const std::size_t number = message[10];
  auto at = CommonPlace(group, source, number);
  if (source < single[kSourceCount] && !at) {
    const auto sources = std::span<const std::uint8_t>(single).subspan(kCommonBytes);
    const bool wave = number == kWave || number == kWave + 1;
    if (group == kSourceGroup && number < kSourceBytes && !wave) at = kCommonBytes + source * kSourceBytes + number;
    if (group != kSourceGroup && IsAdditive(sources.subspan(source * kSourceBytes, kSourceBytes)))
      if (const auto place = KitPlace(group, message[9], number))
        at = WithoutKits(single) + KitCount(sources, source) * kKitBytes + *place;
  }
  if (at && *at != kSourceCount) single[*at] = message[12] & 0x7F;
}

}  // namespace tonalith
