#include "studio/coded_words.h"

#include <algorithm>
#include <iterator>

#include "data/checksums.h"
#include "data/number_format.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr CodedWord kChecksumWords[] = {
    {0, "negative sum", "low seven bits of minus the sum: what most address-based messages carry"},
    {1, "nibble sum low first in nibbles",
     "sum of bytes sent as two nibbles, low first; stored as two nibbles, low first"},
    {2, "nibble sum low first", "low seven bits of the sum of bytes sent as two nibbles, low first"},
    {3, "sum plus a5", "low seven bits of A5 and the sum"},
    {4, "sum", "low seven bits of the sum"},
    {5, "inverted sum", "low seven bits of the sum, every bit turned round"},
    {6, "negative nibble sum high first", "low seven bits of minus the sum of bytes sent as two nibbles, high first"},
    {7, "word sum from 5a3c in nibbles", "5A3C less the 16-bit words sent as four nibbles; OFFSET counts from START"},
    {8, "vector element sum", "of the fixed layout of 92 bytes at START, as two bytes"},
    {9, "four vector voices", "of four voices of 574 bytes each, inside each of them"},
    {10, "sum of part", "as \"sum\""},
    {11, "vector voice", "of one voice of 574 bytes, inside it"},
    {12, "nibble sum high first in nibbles", "sum of bytes sent as two nibbles, high first; stored as two, high first"},
    {13, "sum in 14 bits", "fourteen bits of the sum as two bytes, the lower seven first"},
    {14, "packed header", "of a block that is packed as \"five in four words\"; its header is rebuilt"},
    {15, "sections plus a5", "low seven bits of A5 and the sum, for each section of a request table"},
    {16, "exclusive or", "of all bytes, low seven bits"},
    {17, "negative sum of triples", "of 16-bit words sent as three bytes, stored like one of them"},
    {18, "negative sum of each message", "of every message of the image, from its byte 7 on"},
    {19, "crc-32", "computed for scripts; nothing is stored"},
    {kAdditiveSoundsSum, "additive sounds",
     "A5 and the sum in front of each sound from START on and of each kit in it; COUNT and OFFSET are 0"},
};

constexpr CodedWord kPackingWords[] = {
    {0, "plain", "a byte is a byte"},
    {1, "nibbles low first", "a byte as two nibbles, the low one first"},
    {2, "7 of 8 through", "seven bytes in eight, their top bits in front; the groups run on through a whole bank"},
    {3, "hex digits", "a byte as two characters 0 to 9, A to F, the high one first"},
    {4, "nibbles low first on 30", "a byte as two characters 30 to 3F, the low half first"},
    {5, "signed 14 bits low first", "a signed number in two bytes of seven bits, the lower first"},
    {6, "nibbles high first", "a byte as two nibbles, the high one first"},
    {7, "bits high first", "a stream of bits in bytes of seven, the highest first"},
    {8, "nibbles high first mirrored", "a byte, its bits in reverse order, as two nibbles, the high one first"},
    {9, "14 bits high first", "a number in two bytes of seven bits, the higher first"},
    {10, "14 bits low first", "a number in two bytes of seven bits, the lower first"},
    {11, "bits low first", "a stream of bits in bytes of seven, the lowest first"},
    {12, "bits low first by bit", "the same; offsets count bits"},
    {13, "nibbles low first by bit", "two nibbles, the low one first; offsets count bits"},
    {14, "7 and 1", "the upper seven bits in a byte, the lowest in bit 6 of the next"},
    {15, "five in four words", "four bytes as five of seven bits, the lowest bits first"},
    {16, "bits high first behind 18",
     "nine plain bytes, nine of nobody, then a stream of bits, the highest first; not in messages of charts"},
    {17, "7 of 8", "seven bytes in eight, their top bits in front, the first byte's lowest; each patch by itself"},
    {18, "7 of 8 mirrored", "the same; the first byte's top bit is the highest"},
    {19, "7 of 8 behind", "seven bytes in eight, their top bits behind them"},
    {20, "16 bits in four", "bit 15, bits 8 to 14, bit 7 and bits 0 to 6, a byte each"},
    {21, "16 bits in three", "bits 12 to 15, 6 to 11 and 0 to 5, a byte each"},
    {22, "4 of 5 behind", "four bytes in five, their top bits behind them"},
    {23, "nibbles low first counted", "two nibbles, the low one first, each with its place above it"},
    {24, "8 bits low first", "the lower seven bits, then the highest"},
    {25, "8 bits high first", "the highest bit, then the lower seven"},
};

constexpr CodedWord kNameWords[] = {
    {0, "ascii", "a character a byte"},
    {1, "ascii from 0", "the same, of patches that count from 0"},
    {2, "ascii by eight", "the same, of patches that count A-11 to A-88"},
    {3, "six bits blank first", "blank, A to Z, a to z, 1 to 9, 0, -; in raw bytes"},
    {4, "every second", "a character in every second byte"},
    {5, "capitals from 0", "ASCII; what is below 32 counts from @"},
    {6, "six bits letters first", "A to Z, a to z, 0 to 9, blank, -"},
    {7, "nibbles low first", "a character in two bytes, the low half first"},
    {8, "capitals behind digits", "blank, ! # & - `, 0 to 9, A to Z"},
    {9, "bits in nibbles", "a stream of seven bits each in pairs of nibbles, the high one first"},
    {10, "letters digits signs", "A to Z, a to z, 0 to 9, then signs"},
    {11, "capitals digits signs", "blank, A to Z, 0 to 9, then signs"},
    {12, "seven bits", "ASCII without the top bit"},
    {13, "digits blank capitals", "0 to 9, blank, A to Z, # + - ."},
    {14, "every seventh from blank", "a character in every seventh byte, blank is 0"},
    {15, "from blank", "ASCII less 32: blank is 0"},
    {16, "raw ascii", "the bytes as they are sent, whatever the packing"},
    {17, "digits capitals small", "blank, -, 0 to 9, A to Z, a to z, !"},
    {18, "signs digits capitals", "blank, signs, 0 to 9, signs, A to Z"},
    {19, "every eighth", "a character in every eighth byte"},
    {20, "five bits", "eight capitals, digits 1 to 5 and blanks in 40 bits"},
    {21, "ascii with bare digits", "ASCII; what is below 10 is a digit"},
    {22, "ascii to 0", "a 0 ends the name"},
    {23, "seven of eight", "seven characters in eight bytes, the last of them left out"},
    {24, "behind a mark", "behind the four letters DLM1 at byte 4, else at byte 40"},
    {25, "two in a word", "two characters in a 16-bit number, the low one first"},
    {26, "nibbles high first", "a character in two bytes, the high half first"},
    {27, "bits low first", "seven bits each in a stream of bytes, the lowest first"},
    {28, "last of three", "a character in the second and third of three bytes"},
    {29, "two in three", "two characters in three bytes"},
    {30, "two in three by table", "the same, of blank, A to Z, 0 to 9, a to z and signs"},
    {31, "ascii of effects", "as \"ascii\""},
    {32, "nibbles high first masked", "two nibbles, the high one first; other bits do not count"},
    {33, "ascii of six", "as \"ascii\""},
    {34, "eight backwards", "eight of 0 to 9, A to Z and signs, the last first"},
};

// By their first and last number, where there is a last.
constexpr CodedWord kNumberWords[] = {
    {0, "by name", "as the name code of the type says: from 0, from 1, or A-11 to B-88"},
    {1, "111..444", "by four, four and four; above 64 with the letter of the 64 before it"},
    {2, "11..88", "by eight and eight"},
    {3, "A01..A64", "a letter for 64"},
    {4, "1A..1D", "a letter for each of four"},
    {5, "01-1..01-4", "by four"},
    {6, "A01..A16", "a letter for 16"},
    {7, "01-01..01-16", "by sixteen"},
    {8, "A01..A12", "a letter for twelve"},
    {9, "A-11..A-88", "a letter for 64, then by eight and eight"},
    {10, "01-1..01-5", "by five"},
    {11, "1A-01..1D-16", "by 64, a letter for 16"},
    {12, "01..99", "with leading zeros, as many digits as the last one has"},
    {13, "1-11..1-88", "by 64, then by eight and eight"},
    {14, "[01] 1-1..[01] 4-4", "by 16, then by four and four"},
    {15, "[01] A-1..[01] D-8", "by 32, a letter for eight"},
    {16, "A01..J16", "a letter for 16"},
    {17, "A01-D1..A16-D4", "a letter for 64, then by four with a D"},
    {18, "A01-A1..A16-A4", "a letter for 64, then by four with an A"},
    {19, "01.01..01.16", "by sixteen with a dot"},
    {20, "1:1:1..1:8:8", "by 64, eight and eight"},
    {21, "0:0:0:0..9:9:9:9", "four digits from 0"},
    {22, "1:1:1:1..3:8:8:8", "by 512, 64, eight and eight"},
    {23, "1:1:1..1:5:8", "by 40 and eight"},
    {24, "0-00..0-99", "by hundred from 0"},
    {25, "A:1:1..A:8:8", "a letter for 64, then by eight and eight"},
    {26, "A001..A128", "a letter for 128"},
    {27, "1:1..1:8", "by eight"},
    {kNumberFormatPlain, "plain", "plain numbers from 1"},
    {kNumberFormatMemories, "IA-1..eD-8", "memories I, i, E, e of 32, a letter for eight"},
    {kNumberFormatGroups, "A11..A88", "a letter for 64, then by eight and eight"},
    {kNumberFormatLetters, "A0..A127", "a letter for 128, from 0"},
    {kNumberFormatUserFactory, "U1 P1..F4 P128", "four user banks of 128, then factory banks"},
    {kNumberFormatBanks, "1-1..1-128", "by 128"},
    {kNumberFormatSixteens, "A-1..A-16", "a letter for 16"},
    {kNumberFormatInternal, "I00..I99", "an I and two digits from 0"},
    {kNumberFormatPerformance, "PF1..PF64", "PF and the number from 1"},
    {kNumberFormatThreeDigits, "000..999", "three digits from 0"},
    {kNumberFormatEights, "A1..A8", "a letter for eight"},
    {kNumberFormatFromZero, "0..9", "plain numbers from 0"},
    {kNumberFormatBanksOfZero, "0-000..0-127", "by 128, both from 0"},
    {kNumberFormatHundreds, "A-00..A-99", "a letter for hundred, from 0"},
};

constexpr CodedWord kKindWords[] = {
    {0, "not assigned", "nothing is said"},
    {1, "patch", "a single sound"},
    {2, "patch bank", "sounds"},
    {3, "multi", "several parts: a performance, a combination"},
    {4, "multi bank", "performances, combinations"},
    {5, "global", "settings of the whole instrument"},
    {6, "global bank", "several of them"},
    {7, "midi", "MIDI settings"},
    {8, "midi bank", "several of them"},
    {9, "program table", "which program change selects which patch"},
    {10, "program table bank", "several of them"},
    {11, "effect", "settings of an effect"},
    {12, "effect bank", "several of them"},
    {13, "sequence", "a sequence, pattern or song"},
    {14, "sequences", "all of them"},
    {15, "drums", "a drum kit"},
    {16, "drum bank", "drum kits"},
    {17, "chord", "a chord memory"},
    {18, "chord bank", "chord memories"},
    {19, "sample", "a sample or wave"},
    {20, "sample bank", "samples or waves"},
    {21, "equalizer", "settings of an equalizer"},
    {22, "equalizer bank", "several of them"},
    {23, "tuning", "a tuning table"},
    {24, "tuning bank", "tuning tables"},
    {25, "scale", "a scale of fractions"},
    {26, "scale bank", "scales of fractions"},
    {27, "patch bay", "a routing of a patch bay"},
    {28, "patch bay bank", "several of them"},
    {29, "all", "everything the instrument holds"},
    {30, "other", "anything else"},
};

constexpr CodedWord kProtocolWords[] = {
    {0, "none", "nothing beside request and answer"},
    {'L', "mode change", "the instrument is put into the mode of the memory before it is asked (protocolMode)"},
    {'O', "program change", "a program change behind what is sent (protocolMode)"},
    {'H', "verified blocks", "blocks that are acknowledged within one open message, with the sounder's commands"},
    {'C', "parameter stream", "the first 220 bytes as a message, the rest parameter by parameter (protocolMode 0)"},
};

constexpr CodedWord kProtocolModeWords[] = {
    {0, "first memory", "mode 3, programs from 0"},
    {1, "no change", "neither mode nor program change"},
    {2, "second memory", "mode 1, programs from 64"},
};

constexpr CodedWord kBankSelectWords[] = {
    {0, "none", "program changes alone"},
    {1, "msb and lsb", "controllers 0 and 32, then a program change"},
    {2, "msb", "controller 0, then a program change"},
    {3, "lsb", "controller 32, then a program change"},
    {4, "program", "the bank by a program change of its own"},
    {5, "no program change", "patches cannot be selected"},
    {6, "no selection", "patches cannot be selected from a bank"},
    {7, "no program change or notes", "patches can neither be selected nor heard"},
};

constexpr CodedWord kResidentWords[] = {
    {0, "no", "received with every get of a Set"},
    {1, "yes", "kept in its Set, received only while it is missing"},
    {2, "always", "kept in its Set in the same way"},
};

constexpr CodedWord kOptionWords[] = {
    {1, "ends with f7", "an answer has to end with F7"},
    {2, "exact size", "an answer of another size is an error"},
    {4, "other sizes unchecked", "nothing is checked in an answer of another size"},
    {8, "may miss patches", "patches that the instrument does not send are no failure"},
};

// Those up to the last that plays notes, then the others.
constexpr CodedWord kIconWords[] = {
    {0, "instrument", "any"},
    {1, "keyboard", "with keys"},
    {2, "rack", "without keys, in a rack"},
    {3, "desktop", "without keys, on a table"},
    {4, "drums", "a drum machine"},
    {5, "sampler", "a sampler"},
    {6, "guitar", "played with strings"},
    {7, "wind", "played with breath"},
    {8, "effect", "plays no notes"},
    {9, "mixer", "plays no notes"},
    {10, "patch bay", "plays no notes"},
    {11, "sequencer", "plays no notes of its own"},
};

constexpr CodedWord kDeviceWords[] = {
    {0, "mixer", "neither plays nor receives notes"},
    {1, "synth", "an instrument"},
    {2, "effect", "an effect unit"},
    {3, "sampler", "a sampler"},
    {4, "drum machine", "a drum machine"},
};

constexpr CodedTable kTables[] = {
    {"checksumType", "checksum", false, kChecksumWords},
    {"storageFormat", "packing", false, kPackingWords},
    {"nameFormat", "name code", false, kNameWords},
    {"numberFormat", "way of numbering", false, kNumberWords},
    {"dataKind", "kind of data", false, kKindWords},
    {"protocolLetter", "built-in exchange", false, kProtocolWords},
    {"protocolMode", "memory of the exchange", false, kProtocolModeWords},
    {"bankSelectMode", "bank select", false, kBankSelectWords},
    {"setResident", "way of being kept in a Set", false, kResidentWords},
    {"optionBits", "set of options", true, kOptionWords},
    {"InstrumentIcon", "icon", false, kIconWords},
    {"DeviceType", "kind of device", false, kDeviceWords},
};

constexpr FlagWord kFlags[] = {
    {"isBank", "bank", "holds several patches, each of which may be missing"},
    {"patchByPatch", "patch by patch", "a bank whose patches are got and sent one at a time"},
    {"hasSysExChannel", "device number", "the image holds the device number (sysExChannelOffset)"},
    {"sysExChannelZeroBased", "devices from 0", "device numbers are shown from 0"},
    {"midiChannelFollowsSysEx", "device is the midi channel", "the MIDI channel is the device number"},
    {"patchNumberInImage", "patch number",
     "the image holds the patch number (at patchNumberOffset, or where a script puts it)"},
    {"namesSeparate", "own names", "the instrument has no names: they are kept beside the data"},
    {"noChecksumOnFormat", "script sums", "the scripts look after the checksums"},
    {"allowsNonSysEx", "other messages", "the data may hold MIDI messages other than SysEx"},
    {"rolandHandshake", "handshake", "address-based data that is asked for and sent block by block with answers"},
    {"startsEmpty", "starts empty", "new data counts as missing until it is got or edited"},
    {"hidden", "hidden", "is added to a Set without a window"},
    {"reserved252", "fixed names", "the names of the patches are those of the module"},
    {"reserved253", "asked by autosense", "the instrument is found by the request of this type"},
    {"reserved287", "sent when new", "new data is sent to the instrument at once"},
    {"reserved296", "no map", "no map is needed for what comes unasked"},
    {"reserved298", "names its banks", "patches and banks are defined from the module's labels"},
};

std::string Normal(std::string_view word) {
  std::string text;
  for (const std::string& part : SplitText(AsciiLower(word), ' '))
    if (!part.empty()) text += (text.empty() ? "" : " ") + part;
  return text;
}

std::string CodeText(const CodedTable& table, std::int64_t code) {
  const bool isLetter = table.words.data() == std::data(kProtocolWords) && code > ' ' && code < 0x7F;
  return isLetter ? std::string(1, static_cast<char>(code)) : std::to_string(code);
}

}  // namespace

std::span<const CodedTable> CodedTables() {
  return kTables;
}

const CodedTable* FindCodedTable(std::string_view key) {
  for (const CodedTable& table : kTables)
    if (AsciiEqualNoCase(table.key, key)) return &table;
  return nullptr;
}

const CodedWord* FindCodedWord(const CodedTable& table, std::string_view word) {
  const std::string wanted = Normal(word);
  for (const CodedWord& entry : table.words)
    if (AsciiEqualNoCase(entry.word, wanted)) return &entry;
  return nullptr;
}

const CodedWord* FindCodedWord(const CodedTable& table, int code) {
  for (const CodedWord& entry : table.words)
    if (entry.code == code) return &entry;
  return nullptr;
}

bool IsCoded(const CodedTable& table, std::int64_t code) {
  if (!table.isSet)
    return std::any_of(table.words.begin(), table.words.end(), [code](const CodedWord& w) { return w.code == code; });
  std::int64_t left = code;
  for (const CodedWord& entry : table.words) left &= ~std::int64_t{entry.code};
  return left == 0;
}

std::string CodedChoices(const CodedTable& table) {
  std::string text;
  for (const CodedWord& entry : table.words)
    text += (text.empty() ? "" : ", ") + CodeText(table, entry.code) + " " + entry.word;
  return text;
}

std::string CodedProblem(std::string_view key, std::int64_t code) {
  const CodedTable* table = FindCodedTable(key);
  if (!table || IsCoded(*table, code)) return {};
  return std::string(table->key) + " " + CodeText(*table, code) + " is no " + table->what + "; there " +
         (table->isSet ? "are, and may be added up: " : "are: ") + CodedChoices(*table);
}

std::span<const FlagWord> FlagWords() {
  return kFlags;
}

const FlagWord* FindFlagWord(std::string_view word) {
  const std::string wanted = Normal(word);
  for (const FlagWord& flag : kFlags)
    if (AsciiEqualNoCase(flag.word, wanted)) return &flag;
  return nullptr;
}

const FlagWord* FindFlagField(std::string_view field) {
  for (const FlagWord& flag : kFlags)
    if (AsciiEqualNoCase(flag.field, field)) return &flag;
  return nullptr;
}

}  // namespace tonalith
