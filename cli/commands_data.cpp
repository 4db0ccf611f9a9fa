#include "cli/commands_data.h"

#include <algorithm>
#include <map>
#include <optional>

#include "cli/input_files.h"
#include "data/checksums.h"
#include "data/container.h"
#include "data/data_text.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "data/synth_fields.h"
#include "platform/terminal_text.h"
#include "platform/text.h"

namespace tonalith {

const char* const kPackHelp =
    "pack get FORMAT INDEX HEX [--bank BASE] [--voice-size N]        one logical byte of an image, in decimal\n"
    "pack set FORMAT INDEX VALUE HEX [--bank BASE] [--voice-size N]  the image after storing one\n";
const char* const kCsumHelp = "csum TYPE START COUNT OFFSET HEX  the image with its checksum (type 19: the CRC)\n";
const char* const kNumberHelp =
    "number FORMAT N [--voices V] [--first F] [--name-format K]  the patch number as a panel shows it\n"
    "number formats                                              the number and name of every FORMAT\n";
const char* const kNameHelp =
    "name get FORMAT LENGTH HEX [--storage N]       the name in an image\n"
    "name set FORMAT LENGTH TEXT HEX [--storage N]  the image after storing a name\n";
const char* const kDfHelp =
    "df dump FILE                                                      what a data file holds\n"
    "df make --descriptor FIELD=VALUE... [--body HEX|@FILE] OUT        make a data file\n"
    "df roundtrip IN OUT                                               read a data file and write it again\n";

namespace {

// Words that stand by themselves, and options with their values.
struct CommandWords {
  std::vector<std::string> words;
  std::multimap<std::string, std::string> options;
  std::string error;

  std::optional<std::string> Option(const std::string& name) const {
    const auto it = options.find(name);
    return it == options.end() ? std::nullopt : std::optional(it->second);
  }
};

constexpr std::size_t kNoText = static_cast<std::size_t>(-1);

// The word number `textAt` is any text, also one that looks like an option nobody knows.
CommandWords SplitWords(const std::vector<std::string>& args, const std::vector<std::string>& known,
                        std::size_t textAt = kNoText) {
  CommandWords out;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const bool looksLikeOption = args[i].size() >= 3 && args[i].compare(0, 2, "--") == 0;
    const bool isKnown = looksLikeOption && std::any_of(known.begin(), known.end(), [&](const std::string& name) {
                           return args[i] == "--" + name || args[i].rfind("--" + name + "=", 0) == 0;
                         });
    if (!looksLikeOption || (out.words.size() == textAt && !isKnown)) {
      out.words.push_back(args[i]);
      continue;
    }
    const std::size_t equals = args[i].find('=');
    const std::string name = args[i].substr(2, equals == std::string::npos ? equals : equals - 2);
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      out.error = "There is no option --" + name + " here.";
    } else if (equals != std::string::npos) {
      out.options.emplace(name, args[i].substr(equals + 1));
    } else if (i + 1 < args.size()) {
      out.options.emplace(name, args[++i]);
    } else {
      out.error = "The option --" + name + " needs a value.";
    }
  }
  return out;
}

int FailWith(TerminalText err, const std::string& sentence) {
  err << PlainSentence(sentence) << "\n";
  return 1;
}

int FailUsage(TerminalText err, const char* help) {
  err << "Use it like this:\n";
  err.Lines(help);
  return 1;
}

// A whole number of the command line inside its limits; the sentence goes to `error`.
bool TakeNumber(const std::string& text, const char* what, std::int64_t low, std::int64_t high, std::int64_t* value,
                std::string* error) {
  const auto number = ParseNumber(text);
  if (number && *number >= low && *number <= high) {
    *value = *number;
    return true;
  }
  *error = std::string(what) + " must be a number from " + std::to_string(low) + " to " + std::to_string(high) +
           ", not \"" + text + "\".";
  return false;
}

bool TakeOption(const CommandWords& words, const char* name, std::int64_t low, std::int64_t high, std::int64_t* value,
                std::string* error) {
  const auto text = words.Option(name);
  return !text || TakeNumber(*text, (std::string("--") + name).c_str(), low, high, value, error);
}

// An image may also be given as several words of hex pairs.
bool TakeImage(const std::vector<std::string>& words, std::size_t first, std::istream& in,
               std::vector<std::uint8_t>* bytes, std::string* error) {
  std::string operand;
  for (std::size_t i = first; i < words.size(); ++i) operand += (i > first ? " " : "") + words[i];
  return ReadBytesOperand(operand, in, bytes, error);
}

constexpr std::int64_t kMaxPosition = 0x7FFFFFFF;

// Printable characters and white space: hex digits or a mistake, but no bytes as they stand.
bool IsPlainText(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return (c >= ' ' && c < 0x7F) || c == '\n' || c == '\r' || c == '\t'; });
}

}  // namespace

bool ReadBytesOperand(const std::string& operand, std::istream& in, std::vector<std::uint8_t>* bytes,
                      std::string* error) {
  if (!operand.empty() && operand[0] == '@') {
    const std::string path = operand.substr(1);
    const Result read = ReadWholeFile(path, *bytes);
    *error = read.text;
    return read.ok();
  }
  std::string text = operand;
  if (operand == "-") {
    if (const Result read = ReadInput(operand, in, &text); !read.ok()) {
      *error = read.text;
      return false;
    }
    if (!IsPlainText(text)) {
      bytes->assign(text.begin(), text.end());
      return true;
    }
  }
  auto pairs = ParseHex(text, error);
  if (!pairs) return false;
  *bytes = std::move(*pairs);
  return true;
}

int RunPack(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  const CommandWords words = SplitWords(args, {"bank", "voice-size"});
  if (!words.error.empty()) return FailWith(err, words.error);
  const auto& w = words.words;
  const bool isSet = !w.empty() && w[0] == "set";
  const std::size_t imageAt = isSet ? 4 : 3;
  if (w.size() <= imageAt || (!isSet && w[0] != "get")) return FailUsage(err, kPackHelp);
  std::string error;
  std::int64_t format = 0, index = 0, value = 0, base = 0, voiceSize = 0;
  std::vector<std::uint8_t> image;
  if (!TakeNumber(w[1], "FORMAT", 0, 255, &format, &error) ||
      !TakeNumber(w[2], "INDEX", 0, kMaxPosition, &index, &error) ||
      (isSet && !TakeNumber(w[3], "VALUE", -kMaxPosition - 1, 0xFFFFFFFF, &value, &error)) ||
      !TakeImage(w, imageAt, in, &image, &error)) {
    return FailWith(err, error);
  }
  voiceSize = static_cast<std::int64_t>(image.size());
  if (!TakeOption(words, "bank", 0, kMaxPosition, &base, &error) ||
      !TakeOption(words, "voice-size", 0, kMaxPosition, &voiceSize, &error)) {
    return FailWith(err, error);
  }
  Synth synth{};
  SetStorageFormat(&synth, static_cast<int>(format));
  synth.voiceSize = static_cast<std::uint32_t>(voiceSize);
  const ImageView view(image, synth);
  const bool isBank = words.Option("bank").has_value();
  if (!isSet) {
    out << (isBank ? view.BankGet(0, base, index) : view.Get(0, index)) << "\n";
    return 0;
  }
  isBank ? view.BankSet(0, base, index, value) : view.Set(0, index, value);
  out << HexText(image) << "\n";
  return 0;
}

int RunCsum(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  const CommandWords words = SplitWords(args, {});
  if (!words.error.empty()) return FailWith(err, words.error);
  const auto& w = words.words;
  if (w.size() < 5) return FailUsage(err, kCsumHelp);
  std::string error;
  std::int64_t type = 0, start = 0, count = 0, offset = 0;
  std::vector<std::uint8_t> image;
  if (!TakeNumber(w[0], "TYPE", 0, 255, &type, &error) || !TakeNumber(w[1], "START", 0, kMaxPosition, &start, &error) ||
      !TakeNumber(w[2], "COUNT", 0, kMaxPosition, &count, &error) ||
      !TakeNumber(w[3], "OFFSET", 0, kMaxPosition, &offset, &error) || !TakeImage(w, 4, in, &image, &error)) {
    return FailWith(err, error);
  }
  const std::uint32_t crc = CSum(image, 0, static_cast<int>(type), start, count, offset);
  if (type == 19) {
    out << Printf("%08X", crc) << "\n";
  } else {
    out << HexText(image) << "\n";
  }
  return 0;
}

int RunNumber(const std::vector<std::string>& args, std::istream& /*in*/, TerminalText out, TerminalText err) {
  const CommandWords words = SplitWords(args, {"voices", "first", "name-format"});
  if (!words.error.empty()) return FailWith(err, words.error);
  const auto& w = words.words;
  if (w.size() == 1 && w[0] == "formats") {
    for (const int format : NumberFormats())
      out << format << "\t" << std::string_view(NumberFormatName(format)) << "\n";
    return 0;
  }
  if (w.size() != 2) return FailUsage(err, kNumberHelp);
  std::string error;
  std::int64_t format = 0, n = 0, voices = 1, first = 0, nameFormat = 0;
  if (!TakeNumber(w[0], "FORMAT", 0, 255, &format, &error) || !TakeNumber(w[1], "N", -65536, 65535, &n, &error) ||
      !TakeOption(words, "voices", 0, kMaxVoices, &voices, &error) ||
      !TakeOption(words, "first", -32768, 32767, &first, &error) ||
      !TakeOption(words, "name-format", 0, 255, &nameFormat, &error)) {
    return FailWith(err, error);
  }
  Synth synth{};
  synth.numberFormat = static_cast<std::uint8_t>(format);
  synth.numVoices = static_cast<std::uint32_t>(voices);
  synth.bankNumberOffset = static_cast<std::int16_t>(first);
  synth.nameFormat = static_cast<std::uint8_t>(nameFormat);
  out << "\"" << MakeNumberStr(synth, static_cast<int>(n)) << "\"\n";
  return 0;
}

int RunName(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  constexpr std::size_t kTextWord = 3;  // of "name set FORMAT LENGTH TEXT HEX"
  const bool hasText = std::find(args.begin(), args.end(), "set") != args.end();
  const CommandWords words = SplitWords(args, {"storage", "voice-size", "start"}, hasText ? kTextWord : kNoText);
  if (!words.error.empty()) return FailWith(err, words.error);
  const auto& w = words.words;
  const bool isSet = !w.empty() && w[0] == "set";
  const std::size_t imageAt = isSet ? 4 : 3;
  if (w.size() <= imageAt || (!isSet && w[0] != "get")) return FailUsage(err, kNameHelp);
  std::string error;
  std::int64_t format = 0, length = 0, storage = 0, voiceSize = 0, start = 0;
  std::vector<std::uint8_t> image;
  if (!TakeNumber(w[1], "FORMAT", 0, 255, &format, &error) ||
      !TakeNumber(w[2], "LENGTH", 0, kMaxNameText, &length, &error) || !TakeImage(w, imageAt, in, &image, &error) ||
      !TakeOption(words, "storage", 0, 255, &storage, &error)) {
    return FailWith(err, error);
  }
  voiceSize = static_cast<std::int64_t>(image.size());
  if (!TakeOption(words, "voice-size", 0, kMaxPosition, &voiceSize, &error) ||
      !TakeOption(words, "start", -kMaxPosition, kMaxPosition, &start, &error)) {
    return FailWith(err, error);
  }
  Synth synth{};
  SetStorageFormat(&synth, static_cast<int>(storage));
  synth.voiceSize = static_cast<std::uint32_t>(voiceSize);
  const auto count = static_cast<std::uint32_t>(length);
  if (!isSet) {
    out << "\"" << Latin1ToUtf8(BankDispString(synth, image, count, 0, start, static_cast<int>(format))) << "\"\n";
    return 0;
  }
  BankWriteString(&synth, image, w[3], count, 0, start, static_cast<int>(format));
  out << HexText(image) << "\n";
  return 0;
}

namespace {

std::string ReadingFailed(const std::string& path, int code) {
  return "The file \"" + path + "\" was not read: " + std::string(TrimmedView(DiskErrorText(code)));
}

bool ReadForm(const std::string& path, std::span<const std::uint8_t> bytes, DataFile* df, std::string* error) {
  ContainerReader reader(bytes);
  int code = reader.DiskReadForm(df, {});
  if (code == kDiskOk && !df->synth) code = kDiskReadError;
  if (code != kDiskOk) *error = ReadingFailed(path, code);
  return code == kDiskOk;
}

int DumpList(const ListFile& list, int depth, TerminalText out) {
  const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
  out << indent << "LIST " << ChunkIdText(list.type) << " " << list.members.size() << " members\n";
  if (list.header) (out << indent << "header\n").Lines(DataFileText(*list.header, false));
  for (const ListMember& member : list.members) {
    if (member.list) {
      DumpList(*member.list, depth + 1, out);
    } else {
      (out << indent << "member\n").Lines(DataFileText(*member.data, false));
    }
  }
  return 0;
}

int DfDump(const std::string& path, std::istream& in, TerminalText out, TerminalText err) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadInput(path, in, &bytes); !read.ok()) return FailWith(err, read.text);
  NoteShortFile(path, bytes, err);
  if (IsListFile(bytes)) {
    ListFile list;
    const int code = ReadList(bytes, {}, &list);
    if (code == kDiskNoMemory) return FailWith(err, ReadingFailed(path, code));
    if (code != kDiskOk || list.skippedMembers > 0) {
      DumpList(list, 0, out);
      return FailWith(err, "Parts of the file \"" + path + "\" could not be read.");
    }
    return DumpList(list, 0, out);
  }
  std::string error;
  const DataFilePtr df(AllocDataFile());
  if (!df || !ReadForm(path, bytes, df.get(), &error)) return FailWith(err, error);
  out.Lines(DataFileText(*df));
  return 0;
}

int SaveBytes(const std::string& path, std::span<const std::uint8_t> bytes, TerminalText err) {
  std::string kept;
  if (const Result saved = SaveDiskFile(path, bytes, nullptr, &kept); !saved.ok()) return FailWith(err, saved.text);
  if (!kept.empty()) err << "tonalith-cli: The former file is kept as " << kept << ".\n";
  return 0;
}

int DfRoundtrip(const std::string& from, const std::string& to, std::istream& in, TerminalText err) {
  std::vector<std::uint8_t> bytes, written;
  if (const Result read = ReadInput(from, in, &bytes); !read.ok()) return FailWith(err, read.text);
  NoteShortFile(from, bytes, err);
  if (IsListFile(bytes)) {
    ListFile list;
    const int code = ReadList(bytes, {}, &list);
    if (code == kDiskNoMemory) return FailWith(err, ReadingFailed(from, code));
    if (code != kDiskOk || list.skippedMembers > 0)
      return FailWith(err, "Parts of the file \"" + from + "\" could not be read.");
    if (!WriteList(&written, list)) return FailWith(err, kTooLargeToWrite);
    return SaveBytes(to, written, err);
  }
  std::string error;
  const DataFilePtr df(AllocDataFile());
  if (!df || !ReadForm(from, bytes, df.get(), &error)) return FailWith(err, error);
  if (!DiskWriteForm(&written, *df, WriteBuffers::kAll)) return FailWith(err, kTooLargeToWrite);
  return SaveBytes(to, written, err);
}

int DfMake(const CommandWords& words, std::istream& in, TerminalText err) {
  // Words between "make" and the file are further assignments of one --descriptor.
  const auto& w = words.words;
  const auto isAssignment = [](const std::string& word) { return word.find('=') != std::string::npos; };
  if (w.size() < 2 || !std::all_of(w.begin() + 1, w.end() - 1, isAssignment)) return FailUsage(err, kDfHelp);
  const DataFilePtr df(AllocDataFile());
  const Synth blank = BlankSynth();
  if (!df || !AllocChunk(&df->synth, &df->synthSize, kSynthSize, &blank))
    return FailWith(err, "There is not enough memory.");
  std::string error;
  const auto [first, last] = words.options.equal_range("descriptor");
  for (auto it = first; it != last; ++it) {
    if (!SetSynthField(df->synth, it->second, &error)) return FailWith(err, error);
  }
  for (std::size_t i = 1; i + 1 < w.size(); ++i) {
    if (!SetSynthField(df->synth, w[i], &error)) return FailWith(err, error);
  }
  std::vector<std::uint8_t> body;
  if (const auto operand = words.Option("body")) {
    if (!ReadBytesOperand(*operand, in, &body, &error)) return FailWith(err, error);
  }
  if (df->synth->fileSize == 0) df->synth->fileSize = static_cast<std::uint32_t>(body.size());
  const std::uint32_t size = df->synth->fileSize;
  if (size < kMinFileSize || size > kMaxContainerSize) {
    return FailWith(err, "The image must have from 2 bytes to 256 MiB; give --body or a fileSize.");
  }
  if (body.size() > size) {
    return FailWith(err, "The body has " + std::to_string(body.size()) + " bytes, more than the fileSize " +
                             std::to_string(size) + ".");
  }
  if (!ResizeBody(df.get(), size)) return FailWith(err, "There is not enough memory.");
  std::copy(body.begin(), body.end(), df->body);
  CompleteSynth(df->synth, size);
  const VoiceLayout layout = LayoutOf(*df);
  if (!layout.editable) err << "Note: the data is kept but cannot be edited: " << layout.problem << ".\n";
  std::vector<std::uint8_t> bytes;
  if (!DiskWriteForm(&bytes, *df)) return FailWith(err, kTooLargeToWrite);
  return SaveBytes(w.back(), bytes, err);
}

}  // namespace

int RunDf(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  const CommandWords words = SplitWords(args, {"descriptor", "body"});
  if (!words.error.empty()) return FailWith(err, words.error);
  const auto& w = words.words;
  if (w.size() == 2 && w[0] == "dump") return DfDump(w[1], in, out, err);
  if (w.size() == 3 && w[0] == "roundtrip") return DfRoundtrip(w[1], w[2], in, err);
  if (!w.empty() && w[0] == "make") return DfMake(words, in, err);
  return FailUsage(err, kDfHelp);
}

}  // namespace tonalith
