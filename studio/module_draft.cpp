#include "studio/module_draft.h"

#include <algorithm>
#include <array>
#include <limits>

#include "data/data_records.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kMaxDraftSize = 16u << 20;  // of an image, as the module builder takes it
constexpr std::size_t kMaxRequest = 20;             // as the descriptor holds it
constexpr int kStream78 = 2;                        // seven bytes in eight, over all patches
constexpr int kPatch78 = 17;                        // the same, every patch on its own

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

bool IsNibbles(int storageFormat) {
  return storageFormat == 1 || storageFormat == 6;
}

// Unpacked bytes in so many raw ones.
std::uint32_t LogicalBytes(int storageFormat, std::uint32_t raw) {
  if (IsNibbles(storageFormat)) return raw / 2;
  if (storageFormat == kStream78 || storageFormat == kPatch78) return raw - (raw + 7) / 8;
  return raw;
}

// Image bytes behind the patches: the checksum and F7.
std::uint32_t TailOf(const DraftType& type) {
  if (!type.checksum || type.checksum->times > 1 || type.checksum->offset < type.headerSize) return 1;
  return type.messageSize - type.checksum->offset;
}

std::string Line(const std::string& key, std::uint64_t value) {
  return key + " = " + std::to_string(value) + "\n";
}

// One checksum byte, which a script can compare.
bool IsOneByteSum(int type) {
  constexpr std::array<int, 8> kTypes{0, 2, 3, 4, 5, 6, 10, 16};
  return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

// Makers whose built-in transfers are another than one request and its reply; their types get scripts.
bool NeedsScripts(int manufacturer) {
  return manufacturer == 0x41 || manufacturer == 0x44 || manufacturer == 0x0F || manufacturer == 0x43;
}

class DraftWriter {
 public:
  DraftWriter(const ModuleDraft& draft, ModuleSource* source) : draft_(draft), source_(*source) {}

  void Write() {
    WriteModule();
    for (const DraftType& type : draft_.types) WriteType(type);
  }

 private:
  const DraftType* TypeWith(DraftLayout layout, bool equal) const {
    for (const DraftType& type : draft_.types)
      if ((type.layout == layout) == equal) return &type;
    return nullptr;
  }

  void WriteModule() {
    std::string text =
        "; What the instrument is.  Everything that can stand here: docs/modules.md\n"
        "[Module]\n"
        "Name = " +
        draft_.name +
        "\n"
        "; numbers of the data types; another instrument of yours needs another one\n"
        "DriverBase = " +
        std::to_string(draft_.driverBase) +
        "\n"
        "; higher for each version you give away\n"
        "Version = 1\n"
        "; the descriptors\n"
        "Types =";
    for (const DraftType& type : draft_.types) text += " " + type.file;
    text += "\n; what follows goes for all of them\n";
    text += "manufacturerId = " + Printf("0x%02X", static_cast<unsigned>(draft_.manufacturer)) + "\n";
    if (draft_.channelByte > 0) {
      text += "; the byte that holds the device number (SysEx channel), in data and in requests\nhasSysExChannel = 1\n";
      text += Line("sysExChannelOffset", static_cast<std::uint64_t>(draft_.channelByte));
      if (draft_.channelByte < static_cast<int>(kMaxRequest))
        text += Line("dumpRequestChannelOffset", static_cast<std::uint64_t>(draft_.channelByte));
    }
    text +=
        "\n[Instrument]\nInstrumentIcon = 1\n\n"
        "; The reply to the universal identity request, by which the program finds the instrument.  Copy the bytes\n"
        "; behind F0 7E .. 06 02 from the MIDI chart and take the semicolons away:\n"
        ";[Device Inquiry]\n;Enable = 1\n;IDSize = 1\n;ID1 = " +
        Printf("0x%02X", static_cast<unsigned>(draft_.manufacturer)) +
        "\n\n;[Device Inquiry 1]\n;Family1 = 0x00\n;Family2 = 0x00\n;Member1 = 0x00\n;Member2 = 0x00\n";
    source_["module.ini"] = text;
  }

  void WriteType(const DraftType& type) {
    std::string text = "; Offsets count from 0; byte 0 of a message is its F0.\n";
    text += "typeName = " + type.typeName + "\ntypeKey = " + type.typeKey + "\n";
    const bool single = type.layout == DraftLayout::Single;
    text += single ? "; a single patch (kinds: docs/modules.md)\ndataKind = 1\n" : "; a bank\ndataKind = 2\n";
    const DraftType* patch = single ? nullptr : TypeWith(DraftLayout::Single, true);
    if (patch) text += "patchType = " + patch->file + "\n";
    text += Layout(type) + Names(type) + Request(type) + Sum(type);
    text += "; how it looks in a file: the beginning of the message, ? is any digit\n";
    text += "message = " + Pattern(type);
    if (type.layout != DraftLayout::Messages && type.count > 1) text += " | length " + std::to_string(type.messageSize);
    text += "\n";
    const int number = type.header.NumberPlace();
    if (type.layout == DraftLayout::Messages) {
      text += "; which byte says the slot, its first value, the number of slots\n";
      text += "slots = " +
              (!type.slots.empty() ? type.slots
               : number >= 0       ? std::to_string(number) + " 0 " + std::to_string(type.count)
                                   : "order " + std::to_string(type.count)) +
              "\n";
    } else if (single && number >= 0) {
      text += "; the byte that is the patch number\n" + Line("patchByte", static_cast<std::uint64_t>(number));
      if (const DraftType* bank = TypeWith(DraftLayout::Single, false)) text += "numberAs = " + bank->file + "\n";
    }
    source_[type.file + ".descriptor"] = text;
  }

  std::string Pattern(const DraftType& type) const {
    std::string text = type.header.Text("??", '?');
    const std::size_t digit = static_cast<std::size_t>(draft_.channelByte) * 3 + 1;
    if (draft_.channelByte > 0 && digit < text.size()) text[digit] = '?';
    return text;
  }

  std::string Layout(const DraftType& type) const {
    std::string text;
    std::uint32_t raw = type.messageSize - type.headerSize - TailOf(type);
    if (type.layout == DraftLayout::Messages) {
      text = "; the messages of all patches, one behind the other; voiceOffset is where the data of a patch begins\n";
      text += Line("fileSize", std::uint64_t{type.messageSize} * type.count);
      text += Line("numVoices", type.count) + Line("voiceSize", type.messageSize) +
              Line("voiceOffset", type.headerSize) + Line("voiceBytes", LogicalBytes(type.storageFormat, raw));
    } else {
      text = "; the whole message, F0 to F7, and the bytes in front of the data\n";
      text += Line("fileSize", type.messageSize) + Line("headerSize", type.headerSize);
      if (type.count > 1) {
        raw = type.patchSize;
        text += "; patches, and the bytes from one to the next\n" + Line("numVoices", type.count);
      }
      text += Line("voiceSize", raw);
      if (IsNibbles(type.storageFormat) || type.storageFormat == kPatch78)
        text += Line("voiceBytes", LogicalBytes(type.storageFormat, raw));
    }
    if (type.storageFormat != 0) {
      text += IsNibbles(type.storageFormat) ? "; each byte is sent as two of four bits\n"
                                            : "; eight bytes carry seven of eight bits\n";
      text += Line("storageFormat", static_cast<std::uint64_t>(type.storageFormat));
    }
    return text;
  }

  std::string Names(const DraftType& type) const {
    if (type.nameLength == 0)
      return "; where the name stands in the data of the patch, when there is one:\n;nameOffset = 0\n;nameLength = "
             "10\n";
    return "; where the name stands in the data of the patch\n" + Line("nameOffset", type.nameOffset) +
           Line("nameLength", type.nameLength) + "initName = INIT\n";
  }

  std::string Request(const DraftType& type) {
    if (type.request.empty())
      return "; the message that asks for it; without one it is sent from the instrument's panel:\n"
             ";dumpRequest = F0 .. F7\n";
    if (type.layout == DraftLayout::Messages) return BankScripts(type);
    std::string text;
    const int number = type.request.NumberPlace();
    if (NeedsScripts(draft_.manufacturer) || (type.checksum && type.checksum->times > 1)) {
      text = Scripts(type);
    } else {
      text = "; the message that asks for it\ndumpRequest = " + type.request.Text("00", '0') + "\n";
    }
    const int stored = type.header.NumberPlace();
    if (number > 0) {
      text += "; the byte of the request that is the patch number, and its limits\n";
      text += Line("dumpRequestPatchOffset", static_cast<std::uint64_t>(number)) + "patchNumberInImage = 1\n";
      if (stored > 0) text += Line("patchNumberOffset", static_cast<std::uint64_t>(stored));
      const DraftType* bank = TypeWith(DraftLayout::Single, false);
      text += "patchMin = 0\n" + Line("patchMax", bank ? bank->count - 1 : 127);
    }
    return text;
  }

  std::string Channel() const { return "C " + std::to_string(std::max(0, draft_.channelByte)) + "\n"; }

  std::string RequestLines(const DraftType& type, char patch) const {
    const std::string size = std::to_string(type.request.size());
    std::string text = "S " + size + " { " + type.request.Text("00", '0') + " }\n";
    if (const int number = type.request.NumberPlace(); number > 0)
      text += std::string("F ") + patch + " " + std::to_string(number) + "\n";
    return text + Channel() + "TR " + size + "\nR " + std::to_string(type.messageSize) + "\n";
  }

  std::string StoreSum(const DraftChecksum& sum) const {
    return Printf("K 00 %02X %u %u %u\n", static_cast<unsigned>(sum.type), sum.start, sum.count, sum.offset);
  }

  // Compares the checksum of what was received; a wrong one leaves nothing received.
  std::string CompareSum(const DraftType& type) const {
    if (!type.checksum || type.checksum->times > 1 || !IsOneByteSum(type.checksum->type)) return {};
    const std::string at = std::to_string(type.checksum->offset);
    return "; a wrong checksum: as if nothing had come\nIFGQ V10\nGP 0\nFG V0 " + at + "\n" + StoreSum(*type.checksum) +
           "FG V1 " + at + "\nMV0 - V1\nGP " + std::to_string(type.messageSize) + "\nIF V0\nGP 0\nIFX\nIFX\n";
  }

  // Scripts of a type that is one message.
  std::string Scripts(const DraftType& type) {
    source_[type.file + "get.script"] =
        "; asks for it (Z is the patch number)\n" + RequestLines(type, 'Z') + CompareSum(type) + "]\n";
    std::string put = "; the device number goes to this byte\n" + Channel();
    if (const int stored = type.header.NumberPlace(); stored > 0) put += "F Z " + std::to_string(stored) + "\n";
    if (type.checksum && type.checksum->times > 1) {
      const DraftChecksum& sum = *type.checksum;
      put += "; the checksum of each patch\nMV1 = " + std::to_string(sum.start) + "\nL " + std::to_string(sum.times) +
             " [\nGP V1\n" + StoreSum({sum.type, 0, sum.count, sum.offset - sum.start, 1}) + "MV1 + " +
             std::to_string(type.patchSize) + "\n]\nGP 0\n";
    } else if (type.checksum) {
      put += StoreSum(*type.checksum);
    }
    source_[type.file + "put.script"] = put + "T " + std::to_string(type.messageSize) + "\n]\n";
    return "; how it is asked for and sent (docs/script-language.md)\nreceive = " + type.file +
           "get\ntransmit = " + type.file + "put\n";
  }

  std::string BankScripts(const DraftType& type) {
    const int stored = type.header.NumberPlace();
    std::string get;
    if (stored > 0) {
      // Open bytes of the pattern: FF is any byte.
      std::string accept = type.header.Text("00", '?');
      for (std::size_t i = 0; i < type.header.size(); ++i)
        if (accept.find('?', i * 3) < i * 3 + 2 || static_cast<int>(i) == draft_.channelByte)
          accept.replace(i * 3, 2, "FF");
      get = "; only the answer for patch X counts: one that comes late or twice belongs to another\nS " +
            std::to_string(type.header.size()) + " { " + accept + " }\nF X " + std::to_string(stored) +
            "\nSetSysXAccept\n";
    }
    source_[type.file + "get.script"] =
        get + "; asks for patch X\n" + RequestLines(type, 'X') + CompareSum(type) + "]\n";
    std::string text = "; got and sent patch by patch\npatchByPatch = 1\nreceive = " + type.file + "get\n";
    if (stored <= 0)
      return text +
             "; the message has no patch number, so the instrument cannot be told where to keep a patch:\n"
             ";transmit = " +
             type.file + "put\n";
    std::string put = "; patch X\n" + Channel() + "F X " + std::to_string(stored) + "\n";
    if (type.checksum) put += StoreSum(*type.checksum);
    source_[type.file + "put.script"] = put + "T " + std::to_string(type.messageSize) +
                                        "\n; 100 ms, until the instrument has written it into its memory\nD 10000\n]\n";
    return text + "transmit = " + type.file + "put\n";
  }

  std::string Sum(const DraftType& type) const {
    if (!type.checksum)
      return "; the checksum, when there is one (types: docs/authoring.md): what is summed, and where the sum stands\n"
             ";checksumType = 0\n;checksumStart = 5\n;checksumLength = 100\n;checksumOffset = 105\n";
    const DraftChecksum& sum = *type.checksum;
    const std::string values = Printf("verify = %d %u %u %u | times ", sum.type, sum.start, sum.count, sum.offset);
    if (type.layout == DraftLayout::Messages)
      return "; a checksum in each message: type, first byte, count, place\n" + values + std::to_string(type.count) +
             " | step " + std::to_string(type.messageSize) + "\n";
    if (sum.times > 1)
      return "; a checksum behind each patch: type, first byte, count, place\n" + values + std::to_string(sum.times) +
             " | step " + std::to_string(type.patchSize) + "\n";
    return "; the checksum: what is summed, and where the sum stands\n" +
           Line("checksumType", static_cast<std::uint64_t>(sum.type)) + Line("checksumStart", sum.start) +
           Line("checksumLength", sum.count) + Line("checksumOffset", sum.offset);
  }

  const ModuleDraft& draft_;
  ModuleSource& source_;
};

}  // namespace

bool DraftBytes::Parse(const std::string& text, DraftBytes* out, std::string* error) {
  DraftBytes bytes;
  std::string digits;
  for (const char c : text)
    if (c != ' ' && c != '\t' && c != ',') digits.push_back(c);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const std::string pair = digits.substr(i, 2);
    const std::string upper = AsciiUpper(pair);
    const bool hex =
        upper.size() == 2 && std::all_of(upper.begin(), upper.end(), [](char c) { return c == '?' || IsHexDigit(c); });
    if (!hex && upper != "NN") {
      *error = "\"" + pair + "\" is no pair of hex digits (? is an open digit, nn the patch number).";
      return false;
    }
    bytes.pairs.push_back(hex ? upper : "nn");
  }
  if (bytes.empty() || bytes.size() > 256) {
    *error = bytes.empty() ? "There are no bytes." : "More than 256 bytes are given.";
    return false;
  }
  if (std::count(bytes.pairs.begin(), bytes.pairs.end(), "nn") > 1) {
    *error = "\"nn\", the patch number, may stand once.";
    return false;
  }
  *out = std::move(bytes);
  return true;
}

int DraftBytes::NumberPlace() const {
  const auto at = std::find(pairs.begin(), pairs.end(), "nn");
  return at == pairs.end() ? -1 : static_cast<int>(at - pairs.begin());
}

std::string DraftBytes::Text(const std::string& number, char open) const {
  std::string text;
  for (const std::string& pair : pairs) {
    std::string shown = pair == "nn" ? number : pair;
    if (pair != "nn") std::replace(shown.begin(), shown.end(), '?', open);
    text += (text.empty() ? "" : " ") + shown;
  }
  return text;
}

const char* DraftTrustText(DraftTrust trust) {
  return trust == DraftTrust::Sure ? "sure" : trust == DraftTrust::Likely ? "likely" : "guess";
}

int DefaultDriverBase(const std::string& name) {
  std::uint32_t hash = 2166136261u;
  for (const char c : AsciiLower(name)) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
  return 20000 + static_cast<int>(hash % 4000u) * 10;
}

std::string DraftProblem(const DraftType& type) {
  const std::string of = "The " + type.typeName + ": ";
  const std::uint64_t image = std::uint64_t{type.messageSize} * (type.layout == DraftLayout::Messages ? type.count : 1);
  if (type.messageSize < 5) return of + "a message of " + std::to_string(type.messageSize) + " bytes holds no data.";
  if (image > kMaxDraftSize) return of + "data of more than 16 MiB is not supported.";
  if (type.count < 1 || type.count > kMaxVoices) return of + "a bank has 2 to 65535 patches.";
  if (type.request.size() > kMaxRequest) return of + "a request has at most 20 bytes.";
  if (type.header.size() + 1 > type.messageSize) return of + "the header is longer than the message.";
  if (type.header.size() < 2) return of + "the header needs at least F0 and the manufacturer.";
  if (type.checksum) {
    const DraftChecksum& sum = *type.checksum;
    if (std::uint64_t{sum.start} + sum.count > type.messageSize || sum.offset >= type.messageSize || sum.count == 0)
      return of + "the checksum lies outside of the " + std::to_string(type.messageSize) + " bytes of the message.";
    if (sum.offset >= sum.start && sum.offset < sum.start + sum.count && !IsNibbles(type.storageFormat))
      return of + "the checksum would sum itself up: its place is inside of what is summed.";
  }
  if (std::uint64_t{type.headerSize} + TailOf(type) >= type.messageSize)
    return of + "nothing is left between the header and the end of the message.";
  const std::uint64_t data = type.messageSize - type.headerSize - TailOf(type);
  if (type.layout == DraftLayout::Bank &&
      (type.patchSize == 0 ||
       std::uint64_t{type.patchSize} * type.count >
           (type.storageFormat == kStream78 ? LogicalBytes(kStream78, static_cast<std::uint32_t>(data)) : data)))
    return of + std::to_string(type.count) + " patches of " + std::to_string(type.patchSize) +
           " bytes do not fit into the " + std::to_string(data) + " bytes between header and end.";
  const std::uint64_t patch =
      LogicalBytes(type.storageFormat == kStream78 ? 0 : type.storageFormat,
                   static_cast<std::uint32_t>(type.layout == DraftLayout::Bank ? type.patchSize : data));
  if (patch == 0) return of + "a patch holds nothing.";
  if (std::uint64_t{type.nameOffset} + type.nameLength > patch || type.nameLength > kMaxNameLength)
    return of + "the name lies outside of the " + std::to_string(patch) + " bytes of a patch.";
  return {};
}

Result WriteDraft(const ModuleDraft& draft, ModuleSource* source) {
  if (draft.name.size() > 64 || !IsSafePackagePath(draft.name) ||
      draft.name.find_first_of("\\/.\n\r") != std::string::npos)
    return Result::Failure(
        "--name: 1 to 64 characters are needed that can stand in a file name, no \"/\" and no \".\".");
  for (const DraftType& type : draft.types) {
    const std::string problem = DraftProblem(type);
    if (!problem.empty()) return Result::Failure(problem);
  }
  ModuleSource written;
  DraftWriter(draft, &written).Write();
  ModuleImage image;
  const Result built = BuildModule(written, &image);
  if (!built.ok()) return Result::Failure("What was said does not go together: " + built.text + ".");
  *source = std::move(written);
  return Result::Success();
}

namespace {

// As much of a request as an answer has in common with it: manufacturer and device number.
DraftBytes CommonWith(const DraftBytes& request, int channelByte) {
  const std::size_t id = request.size() > 1 && request.pairs[1] == "00" ? 4 : 2;
  const std::size_t length = std::min(request.size() - 1, std::max(id, static_cast<std::size_t>(channelByte + 1)));
  return {{request.pairs.begin(), request.pairs.begin() + static_cast<std::ptrdiff_t>(length)}};
}

// Why what was said is not enough for a draft; empty: it is.
std::string MissingOptions(const DraftOptions& options) {
  if (options.name.empty()) return "--name is missing: the instrument needs a name.";
  if (options.request.empty() && options.header.empty())
    return "--request is missing: the message that asks for the data (or --header and --reply, or "
           "--dump FILE).";
  if (options.reply == 0) return "--reply is missing: the bytes of the answer, from F0 to F7.";
  const DraftBytes& known = options.header.empty() ? options.request : options.header;
  if (known.size() < 2 || known.pairs[0] != "F0")
    return "A request and a header begin with F0 and the number of the manufacturer.";
  if (!options.request.empty() && (options.request.size() < 3 || options.request.pairs.back() != "F7"))
    return "--request: a message ends with F7.";
  if (options.channelByte >= 0 &&
      (options.channelByte < 2 || static_cast<std::uint32_t>(options.channelByte) >= options.reply))
    return "--channel-byte: the device number stands behind the manufacturer, from byte 2 on.";
  const auto maker = ParseInteger("0x" + known.pairs[1]);
  if (!maker || *maker > 0x7F) return "\"" + known.pairs[1] + "\" is no number of a manufacturer.";
  return {};
}

// The single patch, which has what was said about request, header and answer.
DraftType SingleOfOptions(const DraftOptions& options) {
  DraftType single;
  single.file = "patch", single.typeName = "Patch", single.typeKey = "PATCH";
  single.request = options.request, single.header = options.header;
  single.messageSize = options.reply;
  if (single.header.empty()) single.header = CommonWith(options.request, options.channelByte);
  single.headerSize = static_cast<std::uint32_t>(single.header.size());
  single.checksum = options.checksum;
  return single;
}

// The bank without the sizes of its patches: as one block of data where it can be asked for or cannot be addressed
// patch by patch, else as messages of single patches.
DraftType BankOfOptions(const DraftOptions& options, const DraftType& single) {
  DraftType bank = single;
  bank.file = "bank", bank.typeName = "Patch Bank", bank.typeKey = "BANK";
  bank.count = std::max(options.bank, 1u);
  if (!options.bank || (options.request.NumberPlace() >= 0 && options.bankRequest.empty())) {
    bank.layout = DraftLayout::Messages;
    return bank;
  }
  bank.layout = DraftLayout::Bank;
  if (!options.bankRequest.empty()) {
    bank.request = options.bankRequest;
    bank.header = CommonWith(options.bankRequest, options.channelByte);
  }
  if (!options.bankHeader.empty()) bank.header = options.bankHeader;
  bank.headerSize = static_cast<std::uint32_t>(bank.header.size());
  if (options.bankReply) bank.messageSize = options.bankReply;
  return bank;
}

// Sizes and checksum of a bank that is one block.  `apart`: the answer that was given is that of a single patch.
void CompleteBlock(const DraftOptions& options, const DraftType& single, bool apart, DraftType* bank) {
  if (apart) bank->checksum.reset();
  const std::uint32_t size =
      options.patchSize ? options.patchSize
      : apart           ? single.messageSize - single.headerSize - TailOf(single)
              : (bank->messageSize - std::min(bank->messageSize, bank->headerSize + TailOf(*bank))) / bank->count;
  bank->patchSize = size;
  const std::uint64_t patches = std::uint64_t{size} * bank->count;
  if (apart && !options.bankReply)
    bank->messageSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(bank->headerSize + patches + 1, 0xFFFFFFFF));
  // A byte more than header, patches and F7: the bank has the checksum of the single patch over all of them.
  if (apart && options.checksum && bank->headerSize + patches + 2 == bank->messageSize &&
      options.checksum->start <= single.headerSize &&
      options.checksum->start + options.checksum->count == options.checksum->offset) {
    const std::uint32_t before = std::min(single.headerSize - options.checksum->start, bank->headerSize);
    const auto count = static_cast<std::uint32_t>(patches);
    bank->checksum =
        DraftChecksum{options.checksum->type, bank->headerSize - before, count + before, bank->headerSize + count, 1};
  }
  if (patches + 1 + TailOf(*bank) < bank->messageSize && options.patchSize)
    bank->headerSize = static_cast<std::uint32_t>(bank->messageSize - TailOf(*bank) - patches);
}

}  // namespace

Result DraftOfOptions(const DraftOptions& options, ModuleDraft* draft) {
  if (const std::string missing = MissingOptions(options); !missing.empty()) return Result::Failure(missing);
  const DraftBytes& known = options.header.empty() ? options.request : options.header;
  draft->name = options.name;
  draft->driverBase = options.driverBase ? options.driverBase : DefaultDriverBase(options.name);
  draft->channelByte = options.channelByte;
  draft->manufacturer = static_cast<int>(ParseInteger("0x" + known.pairs[1]).value_or(0));
  DraftType single = SingleOfOptions(options);
  DraftType bank = BankOfOptions(options, single);
  const bool whole = bank.layout == DraftLayout::Bank;
  const bool apart = whole && !options.bankRequest.empty();
  if (whole) CompleteBlock(options, single, apart, &bank);
  for (DraftType* type : {&bank, &single}) {
    if (!options.nameOffset) continue;
    const std::uint32_t header = apart ? single.headerSize : type->headerSize;
    if (*options.nameOffset < header)
      return Result::Failure("--name-at: the name cannot stand in the header (byte " +
                             std::to_string(*options.nameOffset) + " of the message; the data begins at " +
                             std::to_string(header) + ").");
    type->nameOffset = *options.nameOffset - header;
    type->nameLength = options.nameLength;
  }
  draft->types.clear();
  if (options.bank) draft->types.push_back(std::move(bank));
  if (!whole || apart || !options.bank) draft->types.push_back(std::move(single));
  return Result::Success();
}

}  // namespace tonalith
