#include "studio/module_check.h"

#include <algorithm>
#include <numeric>

#include "data/container.h"
#include "data/hex_text.h"
#include "data/number_format.h"
#include "data/packed_bytes.h"
#include "data/synth_fields.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr const char* kOtherKeys[] = {"Name",
                                      "ShortName",
                                      "DriverBase",
                                      "Version",
                                      "Types",
                                      "Identity",
                                      "voices",
                                      "checksum",
                                      "include",
                                      "let",
                                      "or",
                                      "get",
                                      "put",
                                      "receive",
                                      "transmit",
                                      "audition",
                                      "init",
                                      "initName",
                                      "acknowledged",
                                      "instrumentName",
                                      "simulated",
                                      "map",
                                      "message",
                                      "slots",
                                      "context",
                                      "address",
                                      "area",
                                      "block",
                                      "complete",
                                      "verify",
                                      "volatile",
                                      "patchByte",
                                      "numberAs",
                                      "emptyAnswer",
                                      "patchType",
                                      "defaultPatch",
                                      "dataFolder",
                                      "fileExtension",
                                      "rolandModel",
                                      "rolandChunk",
                                      "rolandRequestAddress",
                                      "rolandReceivePause",
                                      "rolandTransmitPause",
                                      "rolandAddressLength"};

// Letters that have to be changed, put in or left out to make one of the other.
std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (AsciiLower(a[i]) != AsciiLower(b[j]));
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

struct Hint {
  const char* part;  // of the sentence
  const char* text;
};
constexpr Hint kHints[] = {
    {"needs a \"Name\"", "Write [Module] on a line of its own, then Name = ..., DriverBase = ... and Types = ..."},
    {"needs \"Types\"", "Types = patch bank names patch.descriptor and bank.descriptor."},
    {"needs a \"DriverBase\"", "DriverBase = 20000, or any number up to 65000 that no other instrument uses."},
    {"needs a \"typeName\"", "Write a line typeName = Patch: it is the name the user sees."},
    {"\"fileSize\" is missing",
     "fileSize is the number of bytes of the message, F0 and F7 counted; of a bank patch by patch, of all messages."},
    {"there is no file",
     "Names stand without their ending; the file lies in the source folder itself, or in a folder `common` beside it."},
    {"unknown word", "docs/script-language.md lists the words; there is one blank before every operand."},
    {"a line reads `key = value`", "A comment begins with ; and a long value stays on one line."},
    {"stands before the first section", "The first line that is no comment is [Module]."},
    {"nothing is known by the name", "A line let NAME = TEXT has to stand before $NAME$ is used."},
    {"a '$' stands alone", "$NAME$ stands for what a line let NAME = TEXT said."},
    {"neither a hex digit", "Bytes are pairs of hex digits; ? stands for any digit."},
    {"two digits a byte", "Write every byte with two digits: 07, not 7."},
    {"does not fit into the image",
     "fileSize, or voiceSize with slots, is smaller than the message; `| length N` says how long the message is."},
    {"do not fit into the image", "headerSize + numVoices x voiceSize may be at most fileSize."},
    {"the message is shorter than its pattern", "`length` counts all bytes of the message, F0 and F7 as well."},
    {"slots need two or three numbers",
     "slots = BYTE FIRST COUNT: the byte that says the slot, its first value, the slots."},
    {"slots need a message and a bank", "A bank has numVoices, and the form with `slots` says its messages."},
    {"a checksum lies outside", "Its place is counted from the first byte of the image, which is 0."},
    {"unknown option",
     "message: length, at, skip, take; slots: behind, voices; verify: times, step, or; patchByte: first, count."},
    {"the module has no data type", "It has to be one of the names in Types of module.ini, arguments included."},
    {"the bytes lie outside the image", "The first byte of the image has the offset 0, the last one fileSize - 1."},
    {"there is twice", "Every name in Types stands once; NAME(1) and NAME(2) are different ones."},
    {"needs a number", "Numbers are decimal, or hexadecimal with 0x in front."},
    {"a number from", "Numbers are decimal, or hexadecimal with 0x in front."},
    {"is not a number", "Numbers are decimal, or hexadecimal with 0x in front."},
    {"at most 20 bytes", "A longer request is sent by a script (docs/script-language.md): receive = NAME."},
    {"neither a message nor an address", "A form needs a `message` line: how the data begins in a file."},
};

// The data of the driver files of a module.
std::vector<DataFilePtr> DriversOf(const PackageFiles& files) {
  std::vector<DataFilePtr> drivers;
  for (const PackageFile& file : files) {
    if (!AsciiEndsWithNoCase(file.path, ".PV6")) continue;
    DataFilePtr data(AllocDataFile());
    if (data && ContainerReader(file.bytes).DiskReadForm(data.get(), {}) == 0 && data->synth)
      drivers.push_back(std::move(data));
  }
  return drivers;
}

std::string IniOf(const PackageFiles& files) {
  for (const PackageFile& file : files)
    if (AsciiEndsWithNoCase(file.path, ".ini") && file.path.find('\\') == std::string::npos)
      return {file.bytes.begin(), file.bytes.end()};
  return {};
}

// Looks at one data type.
class TypeChecker {
 public:
  TypeChecker(const DataFile& data, const std::map<std::string, std::string>& places, const std::string& ini,
              std::vector<ModuleRemark>* remarks)
      : data_(data), s_(*data.synth), places_(places), ini_(ini), remarks_(*remarks) {}

  void Check(const std::map<int, std::string>& others) {
    if (const auto other = others.find(s_.driverId); other != others.end())
      Remark(true, "", "driver id " + std::to_string(s_.driverId) + " belongs to the " + other->second,
             "Choose another DriverBase in module.ini.");
    Request();
    const bool rules = ini_.find("[Recognize " + std::to_string(s_.driverId) + "]") != std::string::npos;
    if (!rules)
      Remark(false, "", "it is recognised in no file", "A line message = F0 ... says how its message begins.");
    else if (s_.reserved296 && places_.find("map") == places_.end())
      Remark(false, "", "it has no SysEx map: what the instrument sends on its own is not put into open data",
             "Maps are made of `message` and `slots` lines (docs/modules.md); map = none says that it is meant so.");
    Names();
    Numbers();
    Sums();
  }

 private:
  void Remark(bool error, const std::string& key, const std::string& text, const std::string& hint) {
    auto place = places_.find(AsciiLower(key));
    if (place == places_.end()) place = places_.find("");
    ModuleRemark remark{error, "module.ini", 1, FieldText(s_.typeName) + ": " + text, hint};
    if (place != places_.end()) {
      const std::size_t colon = place->second.rfind(':');
      remark.file = place->second.substr(0, colon);
      remark.line = static_cast<int>(ParseInteger(place->second.substr(colon + 1)).value_or(1));
    }
    remarks_.push_back(std::move(remark));
  }

  void Request() {
    const bool script = data_.receiveScriptSize != 0;
    const bool roland = s_.manufacturerId == kRolandId && s_.dumpRequest[0] != 0;
    if (!script && !roland && s_.dumpRequestSize == 0)
      return Remark(false, "", "it cannot be asked for, only sent from the instrument's panel",
                    "dumpRequest = F0 ... F7, or a script: receive = NAME.");
    if (script || roland || s_.dumpRequestSize == 0) return;
    const std::uint8_t* request = s_.dumpRequest;
    if (request[0] != 0xF0 || request[s_.dumpRequestSize - 1] != 0xF7)
      Remark(true, "dumpRequest", "the request is no SysEx message", "It begins with F0 and ends with F7.");
    else if (s_.manufacturerId && request[1] != s_.manufacturerId && request[1] != 0x7E)
      Remark(false, "dumpRequest",
             Printf("the request is for manufacturer %02X, the data from %02X", request[1], s_.manufacturerId),
             "Compare manufacturerId with the second byte of the request.");
    if (s_.dumpRequestHasChannel && s_.dumpRequestChannelOffset >= s_.dumpRequestSize)
      Remark(true, "dumpRequestChannelOffset", "the device number lies outside of the request",
             "Byte 0 of the request is its F0.");
    if (s_.patchNumberInImage && s_.dumpRequestPatchOffset >= s_.dumpRequestSize)
      Remark(true, "dumpRequestPatchOffset", "the patch number lies outside of the request",
             "Byte 0 of the request is its F0.");
  }

  void Numbers() {
    if (NumberFormatName(s_.numberFormat) || s_.numberFormat == kNumberFormatPlain) return;
    Remark(false, "numberFormat", Printf("there is no number format %d: plain numbers are shown", +s_.numberFormat),
           "\"tonalith-cli number formats\" names them.");
  }

  void Names() {
    if (s_.nameLength == 0 || s_.nameOffset < 0) return;
    if (static_cast<std::int64_t>(s_.nameOffset) + s_.nameLength > s_.voiceBytes)
      Remark(true, "nameOffset",
             Printf("the name ends at byte %lld of a patch of %u bytes",
                    static_cast<long long>(s_.nameOffset) + s_.nameLength, static_cast<unsigned>(s_.voiceBytes)),
             "nameOffset counts from the first byte of the patch, behind the header, in unpacked bytes.");
  }

  void Sums() {
    if (s_.checksumLength == 0) return;
    const std::uint64_t start = s_.checksumStart, length = s_.checksumLength, at = s_.checksumOffset;
    const bool pairs = s_.checksumType == 2 || s_.checksumType == 6 || s_.checksumType == 12;
    const std::uint64_t end = start + length * (pairs ? 2 : 1);
    const std::string image = std::to_string(s_.fileSize);
    if (end > s_.fileSize || at >= s_.fileSize)
      Remark(true, "checksumLength", "the checksum lies outside of the " + image + " bytes of the data",
             "checksumStart, checksumLength and checksumOffset count from the F0, which is byte 0.");
    else if (s_.checksumType != 7 && s_.checksumType != 8 && at >= start && at < end)
      Remark(true, "checksumLength", "the checksum is summed up as well: its place is inside of what is summed",
             "checksumStart + checksumLength is at most checksumOffset when the sum stands behind the data.");
  }

  const DataFile& data_;
  const Synth& s_;
  const std::map<std::string, std::string>& places_;
  const std::string& ini_;
  std::vector<ModuleRemark>& remarks_;
};

}  // namespace

std::string NearestModuleKey(std::string_view key) {
  std::string best;
  std::size_t distance = key.size() < 5 ? 2 : 3 + key.size() / 8;  // what is this far away means something else
  const auto consider = [&](std::string_view known) {
    if (known.empty() || known.substr(0, 8) == "reserved") return;
    if (const std::size_t d = EditDistance(key, known); d < distance) distance = d, best = std::string(known);
  };
  for (const char* known : kOtherKeys) consider(known);
  for (const SynthField& field : SynthFields()) consider(field.name);
  return best;
}

std::string ModuleHint(std::string_view problem) {
  constexpr std::string_view kUnknown = "There is no descriptor field named \"";
  if (problem.substr(0, kUnknown.size()) == kUnknown) {
    const std::string_view rest = problem.substr(kUnknown.size());
    const std::string nearest = NearestModuleKey(rest.substr(0, rest.find('"')));
    return nearest.empty() ? "docs/modules.md lists the keys." : "Did you mean \"" + nearest + "\"?";
  }
  for (const Hint& hint : kHints)
    if (problem.find(hint.part) != std::string_view::npos) return hint.text;
  return {};
}

std::map<int, std::string> DriverIdsOf(const PackageFiles& files) {
  std::map<int, std::string> ids;
  for (const DataFilePtr& data : DriversOf(files))
    ids[data->synth->driverId] = data->xtra && data->xtra->instrumentName[0] ? FieldText(data->xtra->instrumentName)
                                                                             : FieldText(data->synth->shortName);
  return ids;
}

std::vector<ModuleRemark> CheckModule(const ModuleSource& source, const std::map<int, std::string>& others,
                                      ModuleImage* image) {
  ModuleDiagnostics diagnostics;
  ModuleImage built;
  std::vector<ModuleRemark> remarks;
  const Result result = BuildModule(source, &built, &diagnostics);
  for (const auto& problem : diagnostics.problems)
    remarks.push_back({true, problem.file, problem.line, problem.text, ModuleHint(problem.text)});
  if (!result.ok()) return remarks;
  const std::string ini = IniOf(built.files);
  for (const DataFilePtr& data : DriversOf(built.files))
    TypeChecker(*data, diagnostics.places[data->synth->driverId], ini, &remarks).Check(others);
  if (image) *image = std::move(built);
  return remarks;
}

}  // namespace tonalith
