#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// What a simulated instrument is, as read from a text file (*.sim).  Nothing in here changes while it plays its part.
//
// A file is a row of blocks "[kind name]" with lines "key = value"; "#" begins a comment.  docs/simulator.md lists the
// blocks and keys.  Byte patterns are blank separated tokens:
//   F0             this byte
//   3n             high digit given, low digit is the device number
//   nn             the device number (with the instrument's base added); on input 7F (everybody) is taken as well
//   {item:20-2F}   a byte between the limits, captured as distance from the lower one; {item} alone is 00-7F
//   ?              any byte on input, 00 on output
//   "LM  8976AE"   these ASCII characters
struct PatternToken {
  enum class Kind : std::uint8_t { kByte, kDeviceNibble, kDeviceByte, kAny, kVariable };
  Kind kind = Kind::kByte;
  std::uint8_t value = 0;  // byte, or high digit << 4
  std::uint8_t low = 0;    // limits of a variable
  std::uint8_t high = 0x7F;
  std::string name;
};
using WirePattern = std::vector<PatternToken>;
using Captures = std::map<std::string, int>;

// Matches the beginning of `bytes`.  Captures are added to *captures (may be null).
// A device of -1 on input accepts every device number.
bool MatchPattern(const WirePattern& pattern, std::span<const std::uint8_t> bytes, int device, int deviceBase,
                  Captures* captures);
std::vector<std::uint8_t> EmitPattern(const WirePattern& pattern, int device, int deviceBase, const Captures& captures);
std::optional<WirePattern> ParsePattern(std::string_view text, std::string* problem);

enum class BodyPacking : std::uint8_t {
  kPlain,
  kNibblesLowFirst,
  kNibblesHighFirst,
  kSevenEight,
  kHexDigits,
  kBitStream
};
enum class NameCode : std::uint8_t { kNone, kAscii, kAsciiZeroEnds, kD50, kMatrix, kMks50 };
enum class SumKind : std::uint8_t {
  kNone,
  kNegative,
  kInverted,
  kExclusive,
  kPlusA5,
  kKawai,
  kUnpacked,
  kBlocks,
  kRunning,
  kCounted
};
// A sum that an item carries inside.
enum class OwnSum : std::uint8_t { kNone, kSy22 };

// Bytes or bit fields of an item that the factory contents fill within their limits.
struct ValueRule {
  int offset = 0;
  int bit = 0;
  int width = 8;
  int minimum = 0;
  int maximum = 127;
  bool centred = false;  // stays near the middle (detune, transpose ...)
  int run = 1;           // as many items of the same kind follow, one byte apart
};

// Where a piece of an item lies in an address based instrument (linear addresses of 7-bit groups).
struct AddressSegment {
  std::uint32_t address = 0;  // relative to the item
  int offset = 0;             // in the item
  int bytes = 0;
};

// A part of the memory: `items` of `itemBytes` unpacked bytes.
struct AreaInfo {
  std::string key;
  int line = 0;  // where its block begins, from 1
  std::string label;
  int items = 1;
  int itemBytes = 0;
  int nameOffset = -1;
  int nameLength = 0;
  NameCode nameCode = NameCode::kNone;
  std::string number;        // format of the panel number; empty: the area is not in the panel's list
  int numberPer = 0;         // items per bank in that format
  int listed = 0;            // as many items the panel shows
  int writableItems = -1;    // items from this one on are read only; -1: none is
  bool isProtected = false;  // memory protect holds for it
  std::optional<std::uint32_t> address;
  std::uint32_t addressStride = 0;
  std::vector<AddressSegment> segments;
  std::vector<int> holes;  // items that have no address
  bool readable = true;    // by its address
  int fill = 0;
  std::string factoryNames;  // "words", "bank" or empty
  OwnSum ownSum = OwnSum::kNone;
  // Items differ in length: two bytes behind `itemBytes - 2` say how many of those in front are there (low byte first).
  bool variable = false;
  int emptyFrom = -1;  // items from this one on are empty as they come out of the box; -1: none is
  std::vector<ValueRule> values;
};

// An edit buffer and the bank it is filled from.  Without `fields` the bytes are the same in both.
struct LinkField {
  int editOffset = 0;
  int bankOffset = 0;
  int bit = 0;
  int width = 8;
  int run = 1;
  int editBit = -1;  // where the bits stand in an edit byte that several fields share; -1: the field is the whole byte
};
struct LinkInfo {
  int line = 0;
  int bankArea = 0;
  int editArea = 0;
  std::vector<LinkField> fields;
};

struct MessagePart {
  int area = 0;
  enum class Items : std::uint8_t { kFirst, kAll, kCaptured, kBank, kBankNumber } items = Items::kFirst;
  int count = 1;                     // items from the captured one on
  SumKind itemSum = SumKind::kNone;  // a checksum with each item ...
  bool sumAhead = false;             // ... in front of it, else behind
  int offset = 0;                    // only these bytes of each item; bytes 0: to its end
  int bytes = 0;
  bool plain = false;  // not packed; such parts are the last
};

// A message that carries data, in either direction.
struct MessageInfo {
  std::string key;
  int line = 0;
  WirePattern head;
  std::vector<WirePattern> fileHeads;  // odd headers found in files, accepted by LoadDump only
  std::vector<MessagePart> parts;
  BodyPacking packing = BodyPacking::kPlain;
  SumKind sum = SumKind::kNone;
  int sumStart = 0;
  int blockItems = 0;  // kBlocks: items in a block with a count in front and a checksum behind
  int sumEvery = 0;    // kRunning: data bytes after which a sum of everything so far stands; 0: at the end only
  int sumAny = -1;     // kRunning: a value that is taken whatever the sum
  WirePattern
      itemHead;  // each item is framed by this and, behind its data, a checksum from itemSumStart of the frame on
  int itemSumStart = 0;
  int bankSize = 0;  // captured item numbers count within the bank of this size that the head names, or the current one
  int blockPauseMs = 0;  // kCounted: time the instrument needs after each block; bytes that come sooner are lost
  int leastItems = 0;    // of [all]: there may be fewer, but so many at least; 0: there are all of them
  bool receives = true;
  WirePattern whenEmpty;    // the answer to a request for an item that is empty
  int busyMs = 0;           // time the instrument needs after taking it
  std::string answer;       // status sent after taking it (empty: "received" when there is one)
  std::string initialises;  // area set to its initial contents ...
  std::string unlessAfter;  // ... unless the message before was this one
};

struct RuleInfo {
  enum class Action : std::uint8_t {
    kSend,
    kStatus,
    kReply,
    kStore,
    kMode,
    kBank,
    kParameter,
    kSelect,
    kProtect,
    kDevice,
    kReset,
    kNothing
  };
  std::string key;
  int line = 0;
  WirePattern match;
  std::vector<int> modes;  // empty: any
  Action action = Action::kNothing;
  struct Send {
    std::string message;
    int first = -1;  // -1: the captured item
    int last = -1;
    int step = 1;
    bool absolute = false;  // whatever bank is chosen
  };
  std::vector<Send> sends;
  std::string status;
  WirePattern reply;
  int fromArea = 0;
  int toArea = 0;
  int bankSize = 0;
  bool isRequest = true;                // counts for the minimum distance of requests
  std::map<int, int> parameterOffsets;  // parameter number -> offset; empty: they are the same
  int placeFirst = 0;                   // added to the offset, and placeStride for every captured part
  int placeStride = 0;
  std::size_t repeat = 0;           // as many bytes before the F7 may come several times
  std::string answer = "received";  // status sent when a parameter was taken
};

// Messages that change a field of an item, whatever bits it has and however the value is spread over them.
struct ChangeInfo {
  struct Bits {
    int byte = 0, bit = 0, width = 0;
  };
  struct Place {
    std::vector<Bits> bits;  // the lowest bits of the value first
    bool isSigned = false;
  };
  struct Test {
    Place place;
    int low = 0, high = 0;
  };
  struct Field {
    Place place;
    int less = 0;              // taken off what the message says
    int count = 0, first = 0;  // so many values from the first one on share 0 to 127; 0: the value is said
    std::vector<Test> when;    // all are true, else the field is something else
  };
  std::string key;
  int line = 0;
  int area = 0;
  std::vector<WirePattern> match;  // messages that come one behind the other
  SumKind sum = SumKind::kNone;    // {sum} in the last one
  int sumStart = 0;
  std::map<std::vector<std::uint8_t>, std::vector<Field>> fields;  // by the bytes {key0}, {key1} ...
};

struct RolandInfo {
  std::uint8_t model = 0;
  int addressBytes = 3;
  int packet = 256;      // data bytes in a message
  bool crosses = false;  // a message may run over the borders of segments
  bool handshake = false;
  bool oneArea = false;  // requests that reach out of an area are not answered
  struct Range {
    std::uint32_t address = 0;
    std::uint32_t bytes = 0;
  };
  std::vector<Range> dump;  // what "everything" is
};

struct CasioInfo {
  int readyMs = 10;  // time before the instrument announces that it is ready
  int timeoutMs = 1000;
  struct Block {
    int area = 0;
    int first = 0;  // tone number of its first item
  };
  std::vector<Block> blocks;
};

// Exchange of a file with handshake, without addresses: the one-way messages of `data`, each with another command byte
// and a checksum.
struct FileTransferInfo {
  WirePattern frame;  // how all messages of the exchange begin; {command} says what they are
  std::vector<RuleInfo::Send> data;
};

// A module that plays several voices at once: its set-up says for every part the channel and the voice, which is copied
// into the part's buffer when it is chosen.
struct PartsInfo {
  int setupArea = 0;
  int first = 0;  // place of the first part in the set-up, and the distance of the next
  int stride = 0;
  int channel = 0;  // places within the part
  int bank = 0;
  int number = 0;
  int voiceArea = 0;
  int bankSize = 0;
  int bufferArea = 0;  // an item for every part
};

// Presets in numbered packets behind a header that counts their words.
struct PacketInfo {
  WirePattern frame;  // how all messages begin
  int userArea = 0;
  int editArea = 0;
  int romArea = 0;  // read only
  int rom = 0;      // its number in messages
  int romInstruments = 0;
  std::vector<int> counts;  // of the header
  int gapMs = 0;            // without handshake: messages that come sooner after the last one are not heard
  int presetSelect = 0;     // parameters that choose what the others mean
  int layerSelect = 0;
  int layerStride = 0;
  struct Words {
    int first = 0;
    int last = 0;
    int offset = 0;
    int bytes = 2;
    bool layered = false;
  };
  std::vector<Words> words;  // parameter numbers and their places in a preset
};

// Singles of different size in banks that have a map of them.
struct KitInfo {
  struct Bank {
    int area = 0;
    int code = 0;        // in messages
    int controller = 0;  // the bank select that chooses it
  };
  std::vector<Bank> banks;
  int multiArea = 0;
  int memoryBytes = 0;  // that a bank has room for
  int backupMs = 0;     // nothing is heard for so long after a backup
};

struct HydraInfo {
  int area = 0;
  int version = 200;
};

struct InstrumentDescription {
  int line = 1;  // of its block
  std::string key;
  std::string name;
  std::string portName;
  // The data types of a sister model that this one answers: name of the instrument, beginning of the types' names.
  std::string standsFor, standsForTypes;
  int deviceBase = 0;
  int device = 0;
  bool memoryProtect = false;  // as it comes out of the box
  int replyDelayMs = 10;
  int replyGapMs = 0;    // between two messages of one answer
  int inputBuffer = 0;   // bytes taken while busy; 0: no limit
  int inputSpeed = 0;    // bytes a second taken out of that buffer; 0: all at once
  int requestGapMs = 0;  // requests that come sooner after the last one are not heard
  int mode = 0;
  int bankController = -1;  // the control change that chooses a bank of bankPrograms for program changes; -1: none
  int bankPrograms = 0;
  int programs = 0;  // program changes from this one on choose nothing; 0: they start over
  std::vector<AreaInfo> areas;
  std::vector<LinkInfo> links;
  std::vector<MessageInfo> messages;
  std::vector<RuleInfo> rules;
  std::vector<ChangeInfo> changes;
  std::map<std::string, WirePattern> statuses;
  std::vector<RuleInfo::Send> dump;  // what the panel sends as "everything"
  std::vector<RuleInfo::Send> file;  // what another one of its kind has to hear to hold the same; as the dump by itself
  std::optional<PartsInfo> parts;
  std::optional<RolandInfo> roland;
  std::optional<CasioInfo> casio;
  std::optional<HydraInfo> hydra;
  std::optional<FileTransferInfo> fileTransfer;
  std::optional<PacketInfo> packets;
  std::optional<KitInfo> kits;

  int FindArea(std::string_view areaKey) const;  // -1: none
  const MessageInfo* FindMessage(std::string_view messageKey) const;
};

// Something that is wrong in a description.
struct DescriptionMistake {
  int line = 0, column = 0;  // from 1
  std::string text;          // what was read, and what is wrong with it; no full stop
  std::string hint;          // what would be right, a sentence; may be empty
};

struct DescriptionResult {
  std::optional<InstrumentDescription> description;
  std::string problem;  // a sentence with file and line of the first mistake when there is no description
  std::vector<DescriptionMistake> mistakes;  // all of them, by line
  std::string name;                          // of the instrument, as far as it was read
};

// Fills in what a description leaves out and looks at what can only be seen when everything is there; false when
// something is wrong.  Part of ParseDescription.
bool CompleteDescription(InstrumentDescription* description, std::vector<DescriptionMistake>* mistakes);

// "MESSAGE", "MESSAGE[5]", "MESSAGE[0..99]" (of the bank that is chosen), "MESSAGE[0..60/4]" (every fourth),
// "MESSAGE[=32]" (whatever bank is chosen), "FIRST+SECOND[0..31]" (the two in turn), separated by blanks.  False: it is
// no such list.
bool ParseSends(std::string_view text, std::vector<RuleInfo::Send>* sends);

// Parses the text of a description; `source` is named in problems.  Survives any input.
DescriptionResult ParseDescription(std::string_view text, const std::string& source);
// How the names of description files end.
inline constexpr const char* kDescriptionEnding = ".sim";
DescriptionResult LoadDescription(const std::filesystem::path& file);

// The folder of the descriptions: $TONALITH_RESOURCES/simulator, else ../share/tonalith/simulator beside the program,
// else the folder of the source tree.  Empty when there is none.
std::filesystem::path SimulatorFolder();

// Keys ("yamaha-dx7") of all instruments that can be simulated, sorted.
std::vector<std::string> SimulatedInstrumentKeys();
DescriptionResult LoadDescriptionByKey(std::string_view key);

}  // namespace tonalith
