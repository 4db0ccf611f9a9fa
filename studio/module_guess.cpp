#include <algorithm>
#include <array>
#include <bitset>
#include <map>

#include "data/checksums.h"
#include "data/maker_names.h"
#include "data/packed_bytes.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/text.h"
#include "studio/coded_words.h"
#include "studio/module_draft.h"

namespace tonalith {

namespace {

using Message = std::vector<std::uint8_t>;

constexpr std::size_t kMaxMessages = 65535;
constexpr std::size_t kMaxTypes = 8;
constexpr std::size_t kMaxSearched = 64u << 10;  // bytes of a message that are searched for patches
constexpr std::size_t kMaxStride = 2048;
constexpr std::size_t kMaxName = 24;
constexpr std::size_t kLongestAlone = 1200;
constexpr std::size_t kMaxShown = 64;  // messages a finding is tried on

// The messages of one length, and what is known of them.
struct Group {
  std::vector<Message> messages;
  std::size_t first = 0;  // place of the first one among all
  std::size_t length() const { return messages.front().size(); }
};

// A row of characters at the same place of every patch.
struct NameRun {
  std::size_t offset = 0, length = 0;
  std::size_t score = 0;  // characters of a patch, in hundredths
  bool operator!() const { return length == 0; }
};

// Patches in one message.
struct Stride {
  int storage = 0;
  std::size_t header = 0, size = 0, count = 0;
  NameRun name;
};

bool IsTexty(std::uint8_t c) {
  return c == ' ' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsPrintable(std::uint8_t c) {
  return c >= 0x20 && c < 0x7F;
}
bool IsLetter(std::uint8_t c) {
  return IsTexty(c) && c > '9';
}

// Where makers have the device number; 0: behind a number of the product, perhaps.
std::size_t DeviceByte(const Message& message) {
  switch (message[1]) {
    case 0x40:  // Kawai
    case 0x42:  // Korg
    case 0x43:  // Yamaha
    case 0x47:  // Akai
      return 2;
    case 0x41:  // Roland; before there were addresses an operation code stood first
      return message[2] >= 0x30 && message[2] < 0x40 ? 3 : 2;
    default:
      return 0;
  }
}

Message Unpacked(const Message& message, int storage, std::size_t origin) {
  if (storage == 0 || origin >= message.size()) return message;
  Synth synth{};
  SetStorageFormat(&synth, static_cast<std::uint8_t>(storage));
  const std::size_t raw = std::min(message.size() - origin - 1, kMaxSearched);
  const std::size_t count = storage == 2 ? raw - (raw + 7) / 8 : raw / 2;
  const ConstImageView view(message, synth);
  Message bytes(count);
  for (std::size_t i = 0; i < count; ++i)
    bytes[i] = static_cast<std::uint8_t>(view.Get(static_cast<std::int64_t>(origin), static_cast<std::int64_t>(i)));
  return bytes;
}

// Whether all patches have the same byte at a place.
bool IsConstant(const Message& bytes, std::size_t at, std::size_t size, std::size_t count) {
  for (std::size_t k = 1; k < count; ++k)
    if (at + k * size >= bytes.size() || bytes[at + k * size] != bytes[at]) return false;
  return true;
}

// The best row of characters in `count` patches of `size` bytes that follow each other from `from` on; it may end so
// many bytes beyond its patch.
NameRun FindNames(const Message& bytes, std::size_t from, std::size_t size, std::size_t count, std::size_t beyond = 0) {
  const std::size_t least = count >= 4 ? 5 : 6;
  NameRun best, run;
  if (count == 0) return best;
  std::size_t score = 0, letters = 0, varied = 0;
  const auto end = [&] {
    // A column that is the same everywhere belongs to no name.
    while (count >= 4 && run.length > least && IsConstant(bytes, from + run.offset, size, count))
      ++run.offset, --run.length;
    run.score = score * 100 / count;
    const bool names = letters * 3 >= run.length * count && (count < 8 || varied * 2 >= run.length);
    if (run.length >= least && run.score > best.score && names) best = run;
    run = {}, score = letters = varied = 0;
  };
  for (std::size_t r = 0; r < size + beyond; ++r) {
    std::size_t printable = 0, texty = 0, letter = 0;
    std::bitset<256> values;
    for (std::size_t k = 0; k < count; ++k) {
      const std::size_t at = from + k * size + r;
      const std::uint8_t c = at < bytes.size() ? bytes[at] : 0;
      printable += IsPrintable(c), texty += IsTexty(c), letter += IsLetter(c);
      values.set(c);
    }
    if (printable * 100 < count * 95 || texty * 100 < count * 75 || run.length >= kMaxName) end();
    if (printable * 100 < count * 95 || texty * 100 < count * 75) continue;
    if (run.length++ == 0) run.offset = r;
    score += texty, letters += letter, varied += values.count() >= 6;
  }
  end();
  return best;
}

// Names in messages of one length.
NameRun NamesOf(const Group& group, int storage, std::size_t origin) {
  Message all;
  std::size_t size = 0, count = std::min(group.messages.size(), kMaxShown);
  for (std::size_t k = 0; k < count; ++k) {
    const Message bytes = Unpacked(group.messages[k], storage, origin);
    size = bytes.size();
    all.insert(all.end(), bytes.begin(), bytes.end());
  }
  return FindNames(all, 0, size, count);
}

// Patches with names in one message of this packing: the smallest distance at which there is a row of characters.
// False when there are none or `out` has more characters already.
bool FindStride(const Message& message, int storage, std::size_t header, Stride* out) {
  const Message bytes = Unpacked(message, storage, header);
  const std::size_t length = std::min(bytes.size(), kMaxSearched);
  for (std::size_t size = 16; size <= std::min(kMaxStride, length / 4); ++size) {
    const std::size_t count = length / size;
    // A quick look at some of the patches before all of them.
    if (!FindNames(bytes, 0, size, std::min<std::size_t>(count - 1, 6), kMaxName)) continue;
    const NameRun name = FindNames(bytes, 0, size, count - 1, kMaxName);
    if (!name) continue;
    if (name.score <= out->name.score) return false;
    *out = {storage, header, size, count, name};
    return true;
  }
  return false;
}

// A checksum that all messages have; the start nearest to `start` when several are possible.
std::optional<DraftChecksum> FindChecksum(const std::vector<Message>& messages, std::size_t low, std::size_t high) {
  struct Kind {
    int type;
    std::size_t bytes;    // of the checksum
    std::uint32_t width;  // bytes of one that is counted
  };
  static constexpr std::array<Kind, 10> kKinds{{{0, 1, 1},
                                                {4, 1, 1},
                                                {3, 1, 1},
                                                {16, 1, 1},
                                                {5, 1, 1},
                                                {2, 1, 2},
                                                {6, 1, 2},
                                                {12, 2, 2},
                                                {1, 2, 1},
                                                {13, 2, 1}}};
  const std::size_t length = messages.front().size();
  // One message proves little: only the plain kinds over the places that are usual.
  const std::size_t kinds = messages.size() < 2 ? 3 : kKinds.size();
  for (std::size_t k = 0; k < kinds; ++k) {
    const Kind& kind = kKinds[k];
    if (length < high + kind.bytes + 2) continue;
    const std::size_t offset = length - 1 - kind.bytes;
    for (std::size_t start = low; start <= high; ++start) {
      if (start + kind.width > offset || (offset - start) % kind.width) continue;
      const DraftChecksum sum{kind.type, static_cast<std::uint32_t>(start),
                              static_cast<std::uint32_t>((offset - start) / kind.width),
                              static_cast<std::uint32_t>(offset), 1};
      const bool right = std::all_of(messages.begin(), messages.end(), [&](const Message& message) {
        return VerifyChecksum(message, sum.type, sum.start, sum.count, sum.offset) == ChecksumVerdict::kOk;
      });
      if (right) return sum;
    }
  }
  return std::nullopt;
}

// A checksum in the last byte of each patch of a bank.
std::optional<DraftChecksum> PatchChecksum(const Message& message, const Stride& stride) {
  for (const int type : {0, 4, 3, 16, 5})
    for (std::size_t start = stride.header; start < stride.header + 3 && stride.size > 8; ++start) {
      const std::size_t offset = stride.header + stride.size - 1;
      std::size_t right = 0;
      for (std::size_t k = 0; k < stride.count; ++k)
        right += VerifyChecksum(message, type, static_cast<std::int64_t>(start + k * stride.size),
                                static_cast<std::int64_t>(offset - start),
                                static_cast<std::int64_t>(offset + k * stride.size)) == ChecksumVerdict::kOk;
      if (right == stride.count)
        return DraftChecksum{type, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(offset - start),
                             static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(stride.count)};
    }
  return std::nullopt;
}

std::string NameSample(const Message& bytes, std::size_t at, std::size_t length) {
  std::string text;
  for (std::size_t i = at; i < std::min(at + length, bytes.size()); ++i)
    text += IsPrintable(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
  return "\"" + std::string(TrimmedView(text)) + "\"";
}

// The word of charts.
std::string SumWord(int type) {
  for (const CodedWord& word : FindCodedTable("checksumType")->words)
    if (word.code == type) return std::string(word.word);
  return {};
}

class DumpReader {
 public:
  DumpReader(const DraftOptions& options, std::vector<DraftFinding>* findings)
      : options_(options), findings_(*findings) {}

  Result Read(std::span<const std::uint8_t> file, ModuleDraft* draft);

 private:
  void Find(DraftTrust trust, const std::string& text) { findings_.push_back({text, trust}); }
  Result Split(std::span<const std::uint8_t> file, std::vector<Message>* messages);
  void MakeGroups(const std::vector<Message>& messages);
  void FindDevice(ModuleDraft* draft);
  DraftType TypeOf(const Group& group, std::size_t index);
  void FindNumber(const Group& group, DraftType* type);
  bool FindBank(const Group& group, DraftType* type);
  void FindSum(const Group& group, DraftType* type);
  void FindName(const Group& group, DraftType* type);
  bool StoredBehind(const Group& data, const Group& behind, DraftType* type);

  const DraftOptions& options_;
  std::vector<DraftFinding>& findings_;
  std::vector<Group> groups_;
  std::size_t device_ = 2;
};

Result DumpReader::Split(std::span<const std::uint8_t> file, std::vector<Message>* messages) {
  std::size_t torn = 0;
  const auto take = [&](Message message, bool whole) {
    if (!whole || message.size() < 5)
      ++torn;
    else
      messages->push_back(std::move(message));
  };
  if (file.empty()) return Result::Failure("The file is empty.");
  if (IsStandardMidiFile(file)) {
    SmfContents contents;
    std::string error;
    if (!ReadSmfSysEx(file, &contents, &error)) return Result::Failure(error);
    for (SmfSysEx& message : contents.messages) take(std::move(message.bytes), message.isTerminated);
  } else {
    SysExSplitter splitter(file);
    for (SysExPiece piece; splitter.Next(&piece);) {
      take(CleanSysEx(piece), piece.isTerminated);
      if (messages->size() > kMaxMessages) break;
    }
  }
  if (messages->empty())
    return Result::Failure("The file holds no whole SysEx message (F0 ... F7); a module is made from a recorded dump.");
  if (messages->size() > kMaxMessages)
    return Result::Failure("The file holds more than 65535 messages; take a part of it.");
  Find(DraftTrust::Read, Printf("%zu SysEx message%s", messages->size(), messages->size() == 1 ? "" : "s") +
                             (torn ? Printf(", and %zu that are cut off or too short", torn) : ""));
  return Result::Success();
}

void DumpReader::MakeGroups(const std::vector<Message>& messages) {
  std::map<std::size_t, std::size_t> known;
  for (std::size_t i = 0; i < messages.size(); ++i) {
    const auto [place, added] = known.emplace(messages[i].size(), groups_.size());
    if (added) groups_.push_back({{}, i});
    groups_[place->second].messages.push_back(messages[i]);
  }
}

void DumpReader::FindDevice(ModuleDraft* draft) {
  const Message& message = groups_.front().messages.front();
  const std::size_t id = message[1] == 0 ? 3 : 1;
  const std::size_t known = DeviceByte(message);
  // The data begins behind it, so messages have to be long enough for one.
  device_ = std::min(known ? known : id + 2, message.size() - 3);
  draft->manufacturer = message[1];
  const auto bytes = std::span(message).subspan(1, id);
  std::string hex;
  for (const std::uint8_t byte : bytes) hex += Printf(hex.empty() ? "%02X" : " %02X", byte);
  const std::string maker(MakerName(bytes));
  Find(DraftTrust::Read, "manufacturer " + hex + (maker.empty() ? "" : ", " + maker));
  draft->channelByte = options_.channelByte;
  if (options_.channelByte >= 0) return;
  const std::uint8_t value = message[device_];
  if (value >= 0x40 || (!known && value >= 0x10))
    return Find(DraftTrust::Guess, "no device number found; say --channel-byte N when there is one");
  draft->channelByte = static_cast<int>(device_);
  Find(known ? DraftTrust::Likely : DraftTrust::Guess,
       Printf("byte %zu is the device number (%02X here)", device_, value));
}

// Byte that counts from message to message.
void DumpReader::FindNumber(const Group& group, DraftType* type) {
  const auto& all = group.messages;
  type->count = static_cast<std::uint32_t>(all.size());
  type->layout = all.size() > 1 ? DraftLayout::Messages : DraftLayout::Single;
  std::size_t same = 0;
  const std::size_t last = std::min(device_ + 8, group.length() - 1);
  for (std::size_t at = device_ + 1; at < last && all.size() > 1; ++at) {
    bool counts = true, equal = true;
    for (std::size_t k = 0; k < all.size(); ++k) {
      counts = counts && all[k][at] == static_cast<std::uint8_t>(all[0][at] + k);
      equal = equal && all[k][at] == all[0][at];
    }
    if (counts) {
      Find(all.size() > 2 ? DraftTrust::Likely : DraftTrust::Guess,
           Printf("byte %zu is the patch number, %d to %d", at, all[0][at], all.back()[at]));
      type->firstNumber = all[0][at];
      for (std::size_t i = 0; i <= at; ++i) type->header.pairs.push_back(Printf("%02X", all[0][i]));
      type->header.pairs[at] = "nn";
      type->headerSize = static_cast<std::uint32_t>(at + 1);
      return;
    }
    if (equal && same == at - device_ - 1) ++same;
  }
  // Without a number: what all have in common, or the two bytes that usually say what a message is.
  const std::size_t header = device_ + 1 + (all.size() > 1 ? std::clamp<std::size_t>(same, 0, 3) : 2);
  type->headerSize = static_cast<std::uint32_t>(std::min(header, group.length() - 2));
  for (std::size_t i = 0; i < type->headerSize; ++i) type->header.pairs.push_back(Printf("%02X", all[0][i]));
}

bool DumpReader::FindBank(const Group& group, DraftType* type) {
  const Message& message = group.messages.front();
  if (group.messages.size() > 1 || group.length() < 100) return false;
  const auto data = std::span(message).subspan(device_ + 1, group.length() - device_ - 2);
  const auto small = static_cast<std::size_t>(std::count_if(data.begin(), data.end(), [](auto b) { return b < 16; }));
  const bool nibbles = small * 100 >= data.size() * 98;
  Stride found;
  bool is = !nibbles && FindStride(message, 0, 0, &found);
  // Every seventh patch of packed ones lies alike: plain characters may be what is left of longer names.
  for (std::size_t header = device_ + 1; found.name.length < kMaxName && header <= device_ + (nibbles ? 6 : 8);
       ++header)
    for (const int storage : nibbles ? std::vector<int>{1, 6} : std::vector<int>{2})
      is = FindStride(message, storage, header, &found) || is;
  if (!is) return false;
  // Whole patches between a short header and the end; what is left over is the header.
  const std::size_t unit = nibbles ? found.size * 2 : found.size;
  std::size_t tail = 1;
  if (found.storage == 2) {
    const std::size_t raw = group.length() - found.header - 1;
    found.count = (raw - (raw + 7) / 8) / found.size;
  } else {
    const std::size_t spare = (group.length() - device_ - 1) % unit;
    const auto sum = FindChecksum({message}, device_ + 1, device_ + 6);
    if (sum && spare > 1) tail = group.length() - sum->offset;
    if (spare + device_ + 1 < tail || spare > 16) return false;
    found.count = (group.length() - device_ - 1 - tail) / unit;
    const std::size_t header = group.length() - tail - found.count * unit;
    const std::size_t origin = found.header, shift = header >= origin ? header - origin : 0;
    const std::size_t logical = nibbles ? shift / 2 : shift;
    found.name.offset = (found.name.offset + found.size - logical % found.size) % found.size;
    found.header = header;
  }
  if (found.count < 4 || found.name.offset + found.name.length > found.size) return false;
  type->layout = DraftLayout::Bank;
  type->storageFormat = found.storage;
  type->headerSize = static_cast<std::uint32_t>(found.header);
  type->count = static_cast<std::uint32_t>(found.count);
  type->patchSize = static_cast<std::uint32_t>(unit);
  type->nameOffset = static_cast<std::uint32_t>(found.name.offset);
  type->nameLength = static_cast<std::uint32_t>(found.name.length);
  const DraftTrust trust = found.count >= 8 ? DraftTrust::Likely : DraftTrust::Guess;
  if (found.storage)
    Find(trust, nibbles ? "each byte is sent as two of four bits" : "eight bytes carry seven of eight bits");
  Find(trust, Printf("%u patches, %u bytes from one to the next, behind a header of %u bytes", type->count,
                     type->patchSize, type->headerSize));
  const Message bytes = Unpacked(message, found.storage, found.header);
  const std::size_t at = (found.storage ? 0 : found.header) + found.name.offset;
  Find(trust, Printf("names of %u characters at byte %u of each patch: ", type->nameLength, type->nameOffset) +
                  NameSample(bytes, at, found.name.length) + ", " +
                  NameSample(bytes, at + found.size, found.name.length) + " ...");
  if (found.storage == 0) type->checksum = PatchChecksum(message, found);
  if (type->checksum)
    Find(DraftTrust::Likely, "the last byte of each patch is its checksum, " + SumWord(type->checksum->type));
  return true;
}

void DumpReader::FindSum(const Group& group, DraftType* type) {
  if (type->checksum || group.length() < 12) return;
  std::vector<Message> some;
  std::vector<std::uint8_t> sums;
  for (const Message& message : group.messages) {
    if (some.size() >= kMaxShown) break;
    some.push_back(message);
    sums.push_back(message[message.size() - 2]);
  }
  std::sort(sums.begin(), sums.end());
  const auto different = static_cast<std::size_t>(std::unique(sums.begin(), sums.end()) - sums.begin());
  if (some.size() > 1 && different < 2) return;
  if (type->layout == DraftLayout::Bank) type->checksum = FindChecksum(some, type->headerSize, type->headerSize);
  if (!type->checksum) type->checksum = FindChecksum(some, some.size() > 1 ? device_ : device_ + 1, device_ + 6);
  if (!type->checksum) return;
  const DraftChecksum& sum = *type->checksum;
  if (type->layout == DraftLayout::Bank && sum.offset < type->headerSize + type->patchSize * type->count)
    return type->checksum.reset();
  Find(different > 1 ? DraftTrust::Likely : DraftTrust::Guess,
       "checksum (" + SumWord(sum.type) +
           Printf(") of %u bytes from byte %u on, at byte %u", sum.count, sum.start, sum.offset));
}

void DumpReader::FindName(const Group& group, DraftType* type) {
  // In a single long message there is always something that reads like a name.
  if (type->nameLength || (group.messages.size() == 1 && group.length() > kLongestAlone)) return;
  NameRun name = NamesOf(group, 0, 0);
  if (name.offset <= device_) name = {};
  int storage = 0;
  std::size_t header = 0;
  for (std::size_t at = device_ + 1; at <= device_ + 8 && at + 8 < group.length(); ++at)
    for (const int kind : {1, 6, 2})
      if (const NameRun other = NamesOf(group, kind, at); other.score > name.score)
        name = other, storage = kind, header = at;
  if (!name) return;
  if (storage == 0) {
    type->headerSize = std::min(type->headerSize, static_cast<std::uint32_t>(name.offset));
    name.offset -= type->headerSize;
  } else {
    // Where the packing begins is known only as far as the name tells.
    type->storageFormat = storage == 2 ? 17 : storage;  // each patch on its own
    type->headerSize = static_cast<std::uint32_t>(header);
    if (type->header.size() > header && type->header.NumberPlace() < 0) type->header.pairs.resize(header);
    Find(DraftTrust::Likely,
         storage == 2 ? "eight bytes carry seven of eight bits" : "each byte is sent as two of four bits");
  }
  type->nameOffset = static_cast<std::uint32_t>(name.offset);
  type->nameLength = static_cast<std::uint32_t>(name.length);
  const Message bytes = Unpacked(group.messages.front(), storage, header);
  Find(group.messages.size() > 1 ? DraftTrust::Likely : DraftTrust::Guess,
       Printf("a name of %u characters at byte %u of the data (behind %u bytes of header): ", type->nameLength,
              type->nameOffset, type->headerSize) +
           NameSample(bytes, name.offset + (storage ? 0 : type->headerSize), name.length));
}

// Messages in turns: the data, then one that says where it is stored.
bool DumpReader::StoredBehind(const Group& data, const Group& behind, DraftType* type) {
  if (data.messages.size() < 2 || data.messages.size() != behind.messages.size() || behind.first != data.first + 1 ||
      behind.length() > 32 || type->header.NumberPlace() >= 0)
    return false;
  DraftType number;
  FindNumber(behind, &number);
  if (number.header.NumberPlace() < 0) return false;
  findings_.pop_back();
  const auto at = static_cast<std::size_t>(number.header.NumberPlace());
  type->firstNumber = number.firstNumber;
  type->store = std::move(number.header);
  type->storeSize = static_cast<std::uint32_t>(behind.length());
  Find(DraftTrust::Likely,
       Printf("the message of %zu bytes behind each says the patch number, in byte %zu", behind.length(), at));
  return true;
}

DraftType DumpReader::TypeOf(const Group& group, std::size_t index) {
  DraftType type;
  type.messageSize = static_cast<std::uint32_t>(group.length());
  Find(DraftTrust::Read, Printf("%zu message%s of %zu bytes:", group.messages.size(),
                                group.messages.size() == 1 ? "" : "s", group.length()));
  FindNumber(group, &type);
  if (!FindBank(group, &type)) FindName(group, &type);
  FindSum(group, &type);
  const std::string number = index ? " " + std::to_string(index + 1) : "";
  const bool bank = type.layout != DraftLayout::Single;
  type.typeName = (bank ? "Patch Bank" : index ? "Data" : "Patch") + number;
  type.typeKey = (bank ? "BANK" : index ? "DATA" : "PATCH") + (index ? std::to_string(index + 1) : "");
  type.file = (bank ? "bank" : index ? "data" : "patch") + (index ? std::to_string(index + 1) : "");
  return type;
}

Result DumpReader::Read(std::span<const std::uint8_t> file, ModuleDraft* draft) {
  std::vector<Message> messages;
  Result result = Split(file, &messages);
  if (!result.ok()) return result;
  MakeGroups(messages);
  FindDevice(draft);
  if (groups_.size() > kMaxTypes)
    Find(DraftTrust::Guess,
         Printf("messages of %zu different lengths; only the first %zu become data types", groups_.size(), kMaxTypes));
  for (std::size_t i = 0; i < std::min(groups_.size(), kMaxTypes); ++i) {
    DraftType type = TypeOf(groups_[i], i);
    const bool pair = i + 1 < groups_.size() && StoredBehind(groups_[i], groups_[i + 1], &type);
    // What was found apart may exclude each other.
    if (!DraftProblem(type).empty()) type.nameLength = 0;
    if (!DraftProblem(type).empty()) type.checksum.reset();
    if (!DraftProblem(type).empty()) {
      Find(DraftTrust::Likely, "they hold no data");
      continue;
    }
    // A message for each patch: also the single one is a data type.
    const bool single = type.layout == DraftLayout::Messages && draft->types.empty();
    draft->types.push_back(type);
    if (single) {
      type.layout = DraftLayout::Single, type.count = 1, type.store = {}, type.storeSize = 0;
      type.file = "patch", type.typeName = "Patch", type.typeKey = "PATCH";
      draft->types.push_back(std::move(type));
    }
    if (pair) ++i;
  }
  if (draft->types.empty()) return Result::Failure("None of the messages is long enough to hold data.");
  return Result::Success();
}

}  // namespace

Result DraftOfDump(std::span<const std::uint8_t> file, const DraftOptions& options, ModuleDraft* draft,
                   std::vector<DraftFinding>* findings) {
  ModuleDraft made;
  made.name = options.name;
  findings->clear();
  const Result result = DumpReader(options, findings).Read(file, &made);
  if (result.ok()) *draft = std::move(made);
  return result;
}

}  // namespace tonalith
