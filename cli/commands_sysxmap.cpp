#include "cli/commands_sysxmap.h"

#include <optional>

#include "cli/arguments.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "data/data_text.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/sysex_map.h"

namespace tonalith {

namespace {

constexpr char kName[] = "sysxmap";

std::string DescriptorText(const StdSysXDescriptor& d) {
  std::string text =
      Printf("standard size=%u variable=%d copy=%d from=%u to=%u usebase=%d setbase=%d newbase=%u pairs=", d.size,
             d.variable, d.copyBytes, d.sourceOffset, d.destinationOffset, d.useBase, d.setBase, d.newBaseValue);
  for (std::size_t i = 0; i < d.pairs.size(); ++i) {
    text += Printf("%s%d:", i ? "," : "", d.pairs[i].offset);
    text += d.pairs[i].value == kAnySysExByte ? "any" : Printf("%02X", d.pairs[i].value);
  }
  return text;
}

std::string DescriptorText(const RolandSysXDescriptor& d) {
  return Printf("roland address=0x%X to=%u size=%u addressbytes=%u model=0x%02X", d.baseAddress, d.destinationOffset,
                d.size, d.addressBytes, d.instrumentId);
}

Result ReadMap(CliEnvironment& environment, const std::string& path, BufferDescriptor* map) {
  std::vector<std::uint8_t> bytes;
  Result result = ReadInput(path, environment.in, &bytes, kMaxSysExMapFile);
  if (result.ok()) {
    result = BufferDescriptor::FromBytes(bytes, map);
    if (!result.ok()) result.text = path + ": " + result.text;
  }
  return result;
}

int Dump(CliEnvironment& environment, const std::string& path) {
  BufferDescriptor map;
  if (const Result result = ReadMap(environment, path, &map); !result.ok())
    return CliFailure(environment.err, kName, result.text);
  environment.out << "descriptors=" << map.descriptors.size() << "\n";
  for (std::size_t i = 0; i < map.descriptors.size(); ++i)
    environment.out << i << " "
                    << std::visit([](const auto& descriptor) { return DescriptorText(descriptor); }, map.descriptors[i])
                    << "\n";
  return 0;
}

// The number in "SysXMap.ID1000.bin" and "ID1000.ini".
std::optional<int> IdOfName(const std::string& path) {
  const std::string name = AsciiUpper(WithoutExtension(FileNameOf(path)));
  const std::size_t at = name.rfind("ID");
  const auto number = at == std::string::npos ? std::nullopt : ParseInteger(name.substr(at + 2));
  if (!number || *number < 0 || *number > 65535) return std::nullopt;
  return static_cast<int>(*number);
}

// The driver id of the only list in a text form.
std::optional<int> OnlyIdOf(const std::string& path) {
  constexpr std::string_view kSection = "ID Descriptor ";
  std::optional<int> only;
  for (const std::string& section : IniFile(path).Sections()) {
    if (!AsciiStartsWithNoCase(section, kSection)) continue;
    const auto number = ParseInteger(section.substr(kSection.size()));
    if (!number || *number < 0 || *number > 65535) continue;
    if (only) return std::nullopt;
    only = static_cast<int>(*number);
  }
  return only;
}

int Make(CliEnvironment& environment, const std::string& ini, const std::string& out, std::optional<int> id) {
  if (!id) id = IdOfName(ini);
  if (!id) id = OnlyIdOf(ini);
  if (!id) return CliFailure(environment.err, kName, ini + ": which driver is meant? Say it with --id.");
  BufferDescriptor map;
  Result result = map.LoadIni(ini, *id);
  if (result.ok() && map.descriptors.empty())
    result = Result::Failure(ini + ": the file says nothing about driver " + std::to_string(*id) + ".");
  if (result.ok()) result = WriteFileAtomically(out, map.ToBytes());
  if (!result.ok()) return CliFailure(environment.err, kName, result.text);
  environment.out << "driver " << *id << ": " << map.descriptors.size() << " descriptors in " << out << "\n";
  return 0;
}

int Match(CliEnvironment& environment, const std::vector<std::string>& words, int id) {
  BufferDescriptor map;
  if (const Result result = ReadMap(environment, words[1], &map); !result.ok())
    return CliFailure(environment.err, kName, result.text);
  Synth synth{};
  synth.driverId = static_cast<std::uint16_t>(id);
  DataFile data{};
  data.synth = &synth;
  SysXBase base;
  bool all = true;
  for (std::size_t i = 2; i < words.size(); ++i) {
    std::string error;
    const auto message = ParseHex(words[i], &error);
    if (!message) return CliFailure(environment.err, kName, error);
    const std::size_t index = map.Validate(data, *message, base);
    all = all && index != BufferDescriptor::kNoMatch;
    if (index == BufferDescriptor::kNoMatch) {
      environment.out << "none\n";
      continue;
    }
    const auto range = map.Range(index, *message, base);
    if (!range)
      environment.out << index << "\tdropped\n";
    else if (range->count == 0)
      environment.out << index << "\tnothing copied\n";
    else
      environment.out << index << "\tbytes " << range->source << ".." << range->source + range->count - 1 << "\timage "
                      << range->destination << ".." << range->destination + range->count - 1 << "\n";
  }
  return all ? 0 : CliFailure(environment.err, kName, "No descriptor matches.");
}

int Check(CliEnvironment& environment) {
  Session session(environment);
  session.LoadStudio();
  const std::string lines = session.studio().OnDriversMissingDescriptor();
  environment.out.Lines(lines);
  return lines.empty() ? 0 : CliFailure(environment.err, kName, "Data types without a SysEx map were found.");
}

}  // namespace

std::string SysxmapForms() {
  return "sysxmap dump FILE                 every field of every descriptor of a map file\n"
         "sysxmap make INI OUT [--id N]     the map file of a text form\n"
         "sysxmap match FILE HEX ...        which descriptor takes a message, and where its bytes go\n"
         "sysxmap check                     installed data types that should have a map and have none\n";
}

std::string SysxmapDetails() {
  return "A map says which messages that an instrument sends on its own belong to a data type (docs/studio.md).\n"
         "--id N is the driver id; without it it is taken from the name of the file or its only list.\n"
         "match prints a line for each message: number of the descriptor, bytes of the message, places in the image.\n"
         "Messages that set a base count for those behind them.\n\n"
         "  tonalith-cli sysxmap dump SysXMap.ID1000.bin\n"
         "  tonalith-cli sysxmap make ID1000.ini SysXMap.ID1000.bin\n"
         "  tonalith-cli sysxmap match SysXMap.ID1000.bin 'F0 43 00 00 01 1B F7'\n";
}

int RunSysxmap(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"id"});
  std::int64_t number = -1;
  Result state = arguments.state();
  if (state.ok()) state = arguments.Number("id", 0, 65535, -1, &number);
  if (!state.ok()) return CliFailure(environment.err, kName, state.text);
  const std::vector<std::string>& words = arguments.words();
  const std::string verb = words.empty() ? "" : words[0];
  const auto id = number < 0 ? std::nullopt : std::optional<int>(static_cast<int>(number));
  if (verb == "dump" && words.size() == 2) return Dump(environment, words[1]);
  if (verb == "make" && words.size() == 3) return Make(environment, words[1], words[2], id);
  if (verb == "match" && words.size() >= 3)
    return Match(environment, words, id.value_or(IdOfName(words[1]).value_or(0)));
  if (verb == "check" && words.size() == 1) return Check(environment);
  return CliFailure(environment.err, kName, "what to do is missing.", SysxmapForms());
}

}  // namespace tonalith
