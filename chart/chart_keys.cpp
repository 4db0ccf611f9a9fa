#include "chart/chart_keys.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "chart/chart_spelling.h"
#include "chart/message.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr ChartKey kKeys[] = {
    {"instrument", "short", "TEXT", "a name of at most 15 characters; default: the name", "short = DW-8000"},
    {"instrument", "drivers", "NUMBER", "driver id of the first data type; users' modules begin at 60000",
     "drivers = 60000"},
    {"instrument", "version", "NUMBER", "of the module, default 1", "version = 2"},
    {"instrument", "maker", "BYTES", "the maker's number: one byte, or three that begin with 00", "maker = 00 20 33"},
    {"instrument", "device", "LETTER RANGE, default BYTE, also MIDI channel, shown from 0",
     "the letter that stands for the device number; the bytes it runs over (default 00..0F); its default; whether the "
     "MIDI channel follows it, and whether the instrument shows the first as 0 (else as 1)",
     "device = n 10..1F, default 10"},
    {"instrument", "icon", "WORD", "how the instrument is shown", "icon = keyboard"},
    {"instrument", "identity", "MESSAGE", "what it answers to a device inquiry",
     "identity = F0 7E 0n 06 02 42 19 00 ?? ?? ?? ?? ?? ?? F7"},
    {"instrument", "identity length", "NUMBER or any", "length of that answer, when it varies",
     "identity length = any"},
    {"instrument", "find", "MESSAGE -> MESSAGE, or DATA TYPE",
     "the maker's own question who it is, and the answer, when it knows no device inquiry; or it is found by asking "
     "for "
     "this data type",
     "find = F0 42 4n F7 -> F0 42 3n 04 F7"},
    {"instrument", "port speed", "NUMBER", "most bytes a second that are sent to it, when a cable's 3125 are too many",
     "port speed = 1000"},
    {"instrument", "other *", "MESSAGE",
     "messages that are no data; behind `other` stands what they are; `(any)`: whatever follows",
     "other parameter changes = F0 42 3n 03 41 ?? ?? F7", true},
    {"instrument", "channels", "NUMBER", "MIDI channels it receives on", "channels = 1"},
    {"instrument", "coded", "base64-crc32", "data goes in pieces of coded text, each with a check number",
     "coded = base64-crc32"},
    {"instrument", "coded head", "BYTES", "how a message with such a piece begins", "coded head = F0 00 20 2B 00 6F"},
    {"instrument", "coded piece", "BYTES, index N, count N, data N",
     "how a decoded piece begins, and where its number, how many there are and its data stand",
     "coded piece = 16 00, index 2, count 3, data 4"},
    {"instrument", "roland model", "BYTE, address N, pieces N",
     "address-based: model number, bytes of an address, most bytes of a message",
     "roland model = 16, address 3, pieces 256"},
    {"both", "numbers", "FIRST..LAST", "the numbers of patches as the panel prints them", "numbers = 11..88"},
    {"both", "list *", "TEXTS", "texts of values, for the parameters of all sections behind it",
     "list WAVES = saw, square, sine", true},
    {"both", "pause", "MS", "between any two messages", "pause = 75 ms"},
    {"both", "empty", "MESSAGE", "what it answers for a place of a bank that holds nothing", "empty = F0 F7"},
    {"both", "answer within", "TIME", "how long an answer may take (5 s)", "answer within = 3 s"},
    {"both", "retries", "NUMBER",
     "how often it is at least asked for again when nothing comes, and sent again when it is not answered (1 to 10; "
     "else as the preferences say)",
     "retries = 5"},
    {"both", "sum", "WORD", "the kind of checksum", "sum = negative sum"},
    {"both", "new", "\"NAME\"", "the name of new data", "new = \"INIT VOICE\""},
    {"both", "name", "PLACE LENGTH CODE", "where a patch has its name, counted in the unpacked patch; `none`",
     "name = 145 10"},
    {"data", "is", "WORD", "what kind of data it is; default: a patch bank with several patches, else a patch",
     "is = multi bank"},
    {"data", "holds", "N x DATA TYPE",
     "stands as it is: a bank of so many patches; `holds = 32` when they are no data type", "64 x Program"},
    {"data", "key", "TEXT", "data types with the same key hold the same data; at most 7 characters", "key = DW8PROG"},
    {"data", "drivers", "NUMBERS", "driver ids, where they do not follow the order of the sections",
     "drivers = 1140, 1141, 1144..1151"},
    {"data", "driver file", "NAME", "name of the file of the data type in the package", "driver file = bank"},
    {"data", "request", "MESSAGE", "makes the instrument send `dump`", "request = F0 42 3n 03 10 F7"},
    {"data", "dump", "MESSAGE + MESSAGE",
     "the data as the instrument sends it; size, places and checksums follow from it", "dump = F0 42 3n 03 40 (51) F7"},
    {"data", "each", "MESSAGE", "the same for one patch of a bank that goes patch by patch",
     "each = F0 10 06 01 pp (134 nibbles low first) sum F7"},
    {"data", "get", "STEPS", "how it is got; default: `request -> dump`. `panel \"what to do\"`: started there",
     "get = Cn pp, request -> dump"},
    {"data", "put", "STEPS", "how it is sent; default: `dump`. `none`: not at all",
     "put = dump -> loaded, store -> stored"},
    {"data", "get each", "STEPS", "how one patch of a bank is got", "get each = Cn pp, request -> each"},
    {"data", "put each", "STEPS", "how one patch of a bank is sent", "put each = each, (10 ms)"},
    {"data", "readonly", "VALUES", "of the section's letter for which nothing can be sent", "readonly = E..H"},
    {"data", "inner sum", "WORD START COUNT OFFSET times N step S more AT EACH behind AT EACH",
     "a checksum inside the data, computed before those around it; places in the message. `times any`: as often as it "
     "fits; the byte AT says how often EACH bytes more are counted, or how often EACH bytes further on it stands",
     "inner sum = vector voice 16 574 588", true},
    {"data", "volatile", "PLACES",
     "bytes of the unpacked patch that the instrument changes by itself: what was sent is compared without them",
     "volatile = 5, 12..14"},
    {"data", "new *", "BYTES * N", "bytes of a new patch at a place of the unpacked patch, N times", "new 7 = 00 00 01",
     true},
    {"data", "file", "MESSAGES | MESSAGES", "how it looks in files; default: `dump` or `each`",
     "file = each store | each"},
    {"data", "old", "MESSAGES | MESSAGES", "forms that are read as well", "old = each"},
    {"data", "patches", "FIRST..LAST, ...", "the numbers of patches in messages; with a letter, a range for each value",
     "patches = 64..95"},
    {"data", "numbered as", "DATA TYPE",
     "the bank whose numbers a patch from a file gets; default: the first that holds it", "numbered as = Multi Bank I"},
    {"data", "size", "NUMBER", "the largest size of data of any size", "size = 131072"},
    {"data", "bank select", "WORD, NUMBER, N a bank",
     "how a patch of a bank is selected, the number that goes first, and how many patches such a bank has",
     "bank select = msb and lsb, 80"},
    {"data", "simulated", "TEXT", "for the tests: what the panel of the simulated instrument sends; `no`; `as KEY`",
     "simulated = no"},
    {"data", "map", "none", "nothing that the instrument sends on its own belongs to it", "map = none"},
    {"data", "address", "ADDRESS", "where the data lies", "address = 02 00 00", true},
    {"data", "memory", "ADDRESS step ADDRESS x N", "where several of it lie, so far from each other",
     "memory = 11 00 00 00 step 00 01 00 00 x 128", true},
    {"data", "script get", "SCRIPT", "the script that gets the data, where steps cannot say it", "script get = listen"},
    {"data", "script put", "SCRIPT", "the script that sends the data", "script put = blocks"},
    {"flag", "multitimbral", "", "of the instrument: it plays several parts", "multitimbral"},
    {"flag", "readonly", "", "it cannot be sent", "readonly"},
    {"flag", "patch by patch", "", "a bank goes one patch at a time", "patch by patch"},
    {"flag", "complete", "", "a file of single messages is a bank only when no patch is missing", "complete"},
    {"flag", "handshake", "", "address-based data goes with acknowledgements", "handshake"},
};

bool Fits(const ChartKey& known, std::string_view section, std::string_view key) {
  const std::string_view in = known.section;
  if (in == "flag" || (in != section && in != "both")) return false;
  const std::string_view pattern = known.key;
  if (!pattern.ends_with('*')) return pattern == key;
  return key.size() > pattern.size() - 1 && key.starts_with(pattern.substr(0, pattern.size() - 1));
}

std::string_view KeysOf(const ChartSection& section) {
  return section.kind == "data" ? "data" : "instrument";
}

}  // namespace

std::span<const ChartKey> ChartKeys() {
  return kKeys;
}

const ChartKey* FindChartKey(std::string_view section, std::string_view key) {
  const auto* found = std::find_if(std::begin(kKeys), std::end(kKeys),
                                   [&](const ChartKey& known) { return Fits(known, section, key); });
  return found == std::end(kKeys) ? nullptr : found;
}

bool IsChartDefinition(const ChartSection& section, const ChartEntry& entry) {
  if (entry.key.starts_with("block ") || entry.key.starts_with("message ")) return true;
  return !entry.flag && !FindChartKey(KeysOf(section), entry.key) && LooksLikeMessage(entry.value);
}

void CheckChartKeys(const ChartSection& section, ChartProblems* problems) {
  std::set<std::string> seen;
  for (const ChartEntry& entry : section.entries) {
    if (entry.flag) continue;
    const ChartKey* known = FindChartKey(KeysOf(section), entry.key);
    const bool defines = IsChartDefinition(section, entry);
    if (entry.value.empty())
      problems->Add(entry.keyAt, entry.key, "nothing stands behind \"=\"", known ? known->example : "");
    if (!known && !defines && !entry.value.empty()) {
      std::vector<std::string> keys;
      for (const ChartKey& key : kKeys)
        if (std::string_view(key.section) == KeysOf(section) || std::string_view(key.section) == "both")
          keys.emplace_back(key.key);
      problems->Add(entry.keyAt, entry.key, "no key of this section", NearestWords(entry.key, keys));
    }
    if (!seen.insert(entry.key).second && !(known && known->many))
      problems->Add(entry.keyAt, entry.key, "the key is there twice");
  }
}

}  // namespace tonalith
