#include "studio/module.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "data/container.h"
#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "data/synth_fields.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/lint.h"
#include "studio/coded_words.h"
#include "studio/module_exchange.h"
#include "studio/module_header.h"
#include "studio/module_lets.h"
#include "studio/module_maps.h"
#include "studio/module_version.h"
#include "studio/recognize_rules.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kMaxInitialImage = 16u << 20;  // images of shipped data types are far smaller
constexpr std::size_t kMaxProblems = 1000;
constexpr std::uint8_t kKindWithoutVoices = 30;

// One data type while it is put together.
struct TypeBuild {
  const ModuleType* type = nullptr;
  Synth synth{};
  std::string instrumentName, initName, simulated;
  SourceLine typeLine;
  std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> init;
  std::vector<SourceLine> initLines;
  std::vector<std::vector<SourceLine>> forms{1};
  SourceLine scriptLines[3];         // receive, transmit, audition
  std::vector<SourceLine> steps[2];  // get, put
  std::vector<std::uint8_t> scripts[3];
  std::vector<SourceLine> lines;  // of the descriptor
  SourceLets lets;                // what is known behind the last line
  std::vector<RecognizeRule> rules;
  std::vector<SourceLine> mapLines;
  BufferDescriptor map;
  int defaultPatch = 0;
  bool sizesUnknown = false;           // lines were wrong
  std::vector<std::string> fieldsSet;  // lower case

  bool HasSteps(int i) const { return !steps[i].empty() && !ExchangeIsNone(steps[i]); }
  bool IsScripted() const {
    return !scriptLines[0].value.empty() || !scriptLines[1].value.empty() || HasSteps(0) || HasSteps(1);
  }
  bool IsSet(std::string_view field) const {
    return std::find(fieldsSet.begin(), fieldsSet.end(), AsciiLower(field)) != fieldsSet.end();
  }
};

class ModuleBuilder {
 public:
  ModuleBuilder(const ModuleSource& source, ModuleDiagnostics* diagnostics)
      : source_(source), diagnostics_(diagnostics) {}

  Result Build(ModuleImage* out);
  Result Note(const Result& mistake);

 private:
  // So many were noted; they count even when they were known already.
  std::size_t Mistakes() const { return mistakeCount_; }
  Result BuildType(const ModuleType& type, TypeBuild* build);
  Result ApplyLine(const SourceLine& line, TypeBuild* build);
  Result ApplyRoland(const SourceLine& line, TypeBuild* build, bool* known);
  Result ApplyInit(const SourceLine& line, TypeBuild* build);
  Result FinishType(TypeBuild* build);
  void FillDefaults(TypeBuild* build);
  Result ParseForms(TypeBuild* build);
  using FormEntries = std::vector<std::pair<std::string, std::string>>;
  Result ParseForm(std::vector<SourceLine> lines, FormEntries entries, TypeBuild* build);
  Result MakeMap(TypeBuild* build);
  Result CompileScripts(TypeBuild* build);
  void ReadCoding();
  Result CompileSteps(int i, const SourceLets& made, TypeBuild* build);
  std::vector<std::uint8_t> InitialImage(const TypeBuild& build) const;
  Result DriverFile(const TypeBuild& build, std::vector<std::uint8_t>* bytes) const;
  std::string ModuleIni(const std::vector<TypeBuild>& builds) const;

  const ModuleSource& source_;
  ModuleDiagnostics* diagnostics_;
  const SourceMistakes mistakes_ = [this](const Result& mistake) { return Note(mistake); };
  Result first_ = Result::Success();
  std::size_t mistakeCount_ = 0;
  ModuleHeader header_;
  std::optional<CodedMessages> coding_;
};

// The size bytes of an address-based type, as the data-type editor sets them.
void RolandSizeOf(Synth* s) {
  s->rolandSize[0] = static_cast<std::uint8_t>(s->fileSize >> 14);
  s->rolandSize[1] = static_cast<std::uint8_t>(s->fileSize >> 7 & 0x7F);
  s->rolandSize[2] = static_cast<std::uint8_t>(s->fileSize & 0x7F);
}

std::string FormSection(int driverId, std::size_t form) {
  std::string text = "Recognize " + std::to_string(driverId);
  if (form) text += "." + std::to_string(form);
  return text;
}

// What is wrong with a number that a field took: no code of its table, or outside of its limits.
std::string NumberProblem(const Synth& synth, const std::string& name) {
  const SynthField* field = FindSynthField(name);
  if (!field || field->type == FieldType::kText || field->type == FieldType::kBytes ||
      field->type == FieldType::kU16Array)
    return {};
  const bool isLast = AsciiEqualNoCase(name, "patchMax"), isFirst = AsciiEqualNoCase(name, "patchMin");
  const std::int64_t number = isLast ? PatchMax(synth) : isFirst ? PatchMin(synth) : SynthNumber(synth, *field);
  if (FindCodedTable(field->name)) return CodedProblem(field->name, number);
  if (number >= field->low && number <= field->high) return {};
  return std::string(field->name) + " " + std::to_string(number) + " is out of range: " + std::to_string(field->low) +
         " to " + std::to_string(field->high);
}

// Keeps a mistake; success as long as the build goes on behind it.
Result ModuleBuilder::Note(const Result& mistake) {
  if (mistake.ok() || !diagnostics_) return mistake;
  if (first_.ok()) first_ = mistake;
  ++mistakeCount_;
  const std::size_t name = mistake.text.find(':');
  const std::size_t number = name == std::string::npos ? name : mistake.text.find(':', name + 1);
  ModuleDiagnostics::Problem problem{"module.ini", 1, mistake.text};
  if (number != std::string::npos) {
    problem.file = mistake.text.substr(0, name);
    problem.line = static_cast<int>(ParseInteger(mistake.text.substr(name + 1, number - name - 1)).value_or(1));
    problem.text = std::string(TrimmedView(std::string_view(mistake.text).substr(number + 1)));
  }
  // What stands in an included file or among the defaults would be said for every data type.
  for (const auto& known : diagnostics_->problems)
    if (known.file == problem.file && known.line == problem.line && known.text == problem.text)
      return Result::Success();
  if (diagnostics_->problems.size() >= kMaxProblems) return mistake;
  diagnostics_->problems.push_back(std::move(problem));
  return Result::Success();
}

// The parameters of address-based transfers live in the dump-request area.
Result ModuleBuilder::ApplyRoland(const SourceLine& line, TypeBuild* build, bool* known) {
  struct Place {
    const char* key;
    int index;
    int bytes;
  };
  static constexpr Place kPlaces[] = {{"rolandModel", 0, 1},         {"rolandAddressLength", 5, 1},
                                      {"rolandChunk", 6, 1},         {"rolandRequestAddress", 7, 4},
                                      {"rolandReceivePause", 16, 1}, {"rolandTransmitPause", 17, 1}};
  for (const Place& place : kPlaces) {
    if (!AsciiEqualNoCase(place.key, line.key)) continue;
    *known = true;
    std::uint8_t* p = build->synth.dumpRequest + place.index;
    if (place.bytes > 1) {
      const auto bytes = ParseHex(line.value);
      if (!bytes || bytes->empty() || bytes->size() > static_cast<std::size_t>(place.bytes))
        return SourceFailure(line, "up to four address bytes are expected");
      std::copy(bytes->begin(), bytes->end(), p);
      return Result::Success();
    }
    const auto value = SourceNumber(line, 0, 256);
    if (!value) return SourceFailure(line, "a number from 0 to 256 is expected");
    *p = static_cast<std::uint8_t>(place.index == 6 ? *value - 1 : *value);
    return Result::Success();
  }
  return Result::Success();
}

// `init = OFFSET: BYTES`, perhaps with `| times N | step S`
Result ModuleBuilder::ApplyInit(const SourceLine& line, TypeBuild* build) {
  const std::string_view value = line.value;
  const std::string_view first = value.substr(0, value.find('|'));
  const std::size_t colon = first.find(':');
  const std::int64_t offset =
      colon == std::string::npos ? -1 : ParseInteger(TrimmedView(first.substr(0, colon))).value_or(-1);
  std::string error;
  const auto bytes = ParseHex(colon == std::string::npos ? first : first.substr(colon + 1), &error);
  if (offset < 0 || offset > kMaxInitialImage) return SourceFailure(line, "`init` reads OFFSET: BYTES");
  if (!bytes) return SourceFailure(line, error);
  std::int64_t times = 1, step = 0;
  for (const std::string& part : SplitText(value.substr(std::min(value.size(), first.size() + 1)), '|')) {
    const std::string_view option = TrimmedView(part);
    if (option.empty() && first.size() == value.size()) continue;
    const std::size_t blank = std::min(option.find(' '), option.size());
    std::int64_t* target = option.substr(0, blank) == "times" ? &times : &step;
    *target = ParseInteger(TrimmedView(option.substr(blank))).value_or(0);
    if ((target == &step && option.substr(0, blank) != "step") || *target < 1 || *target > kMaxInitialImage)
      return SourceFailure(line, "`init` reads OFFSET: BYTES | times N | step S");
  }
  if (times > static_cast<std::int64_t>(kMaxVoices) || offset + (times - 1) * step > kMaxInitialImage)
    return SourceFailure(line, "the bytes lie outside the image");
  for (std::int64_t i = 0; i < times; ++i) {
    build->init.emplace_back(static_cast<std::uint32_t>(offset + i * step), *bytes);
    build->initLines.push_back(line);
  }
  return Result::Success();
}

Result ModuleBuilder::ApplyLine(const SourceLine& line, TypeBuild* build) {
  if (line.key == "or") {
    if (build->forms.size() >= 32) return SourceFailure(line, "too many forms of one data type");
    build->forms.emplace_back();
    return Result::Success();
  }
  if (IsFormKey(line.key)) {
    build->forms.back().push_back(line);
    return Result::Success();
  }
  if (IsExchangeKey(line.key)) {
    build->steps[AsciiEqualNoCase(line.key, "get") ? 0 : 1].push_back(line);
    return Result::Success();
  }
  static const char* const kScripts[] = {"receive", "transmit", "audition"};
  for (int i = 0; i < 3; ++i)
    if (AsciiEqualNoCase(line.key, kScripts[i])) {
      build->scriptLines[i] = line;
      return Result::Success();
    }
  if (AsciiEqualNoCase(line.key, "init")) return ApplyInit(line, build);
  if (AsciiEqualNoCase(line.key, "map")) {
    build->mapLines.push_back(line);
    return Result::Success();
  }
  if (AsciiEqualNoCase(line.key, "initName")) {
    build->initName = line.value;
    return Result::Success();
  }
  if (AsciiEqualNoCase(line.key, "instrumentName")) {
    if (line.value.size() > 31) return SourceFailure(line, "an instrument name has at most 31 characters");
    build->instrumentName = line.value;
    return Result::Success();
  }
  if (AsciiEqualNoCase(line.key, "simulated")) {
    build->simulated = line.value;
    return Result::Success();
  }
  if (AsciiEqualNoCase(line.key, "defaultPatch")) {
    const auto value = SourceNumber(line, 0, 65535);
    if (!value) return SourceFailure(line, "a number from 0 to 65535 is expected");
    build->defaultPatch = *value;
    return Result::Success();
  }
  if (AsciiEqualNoCase(line.key, "patchType")) {
    const auto id = header_.TypeId(line.value);
    if (!id) return SourceFailure(line, "the module has no data type \"" + line.value + "\"");
    build->synth.childId = static_cast<std::uint16_t>(*id);
    return Result::Success();
  }
  bool roland = false;
  const Result result = ApplyRoland(line, build, &roland);
  if (roland || !result.ok()) return result;
  std::string field = line.key;
  if (AsciiEqualNoCase(field, "dataFolder")) field = "@206";
  if (AsciiEqualNoCase(field, "fileExtension")) field = "@238";
  if (AsciiEqualNoCase(field, "typeName")) build->typeLine = line;
  std::string value = line.value, error;
  if (AsciiEqualNoCase(field, "dumpRequest")) {
    const auto bytes = ParseHex(value, &error);
    if (!bytes || bytes->size() > sizeof build->synth.dumpRequest)
      return SourceFailure(line, bytes ? "a dump request has at most 20 bytes" : error);
    build->synth.dumpRequestSize = static_cast<std::uint8_t>(bytes->size());
    std::copy(bytes->begin(), bytes->end(), build->synth.dumpRequest);
    return Result::Success();
  }
  Synth changed = build->synth;
  if (!SetSynthField(&changed, field, value, &error)) return SourceFailure(line, error);
  if (error = NumberProblem(changed, field); !error.empty()) return SourceFailure(line, error);
  build->synth = changed;
  build->fieldsSet.push_back(AsciiLower(field));
  return Result::Success();
}

void ModuleBuilder::FillDefaults(TypeBuild* build) {
  Synth& s = build->synth;
  if (!s.shortName[0]) CopyText(s.shortName, header_.shortName);
  s.driverId = static_cast<std::uint16_t>(build->type->driverId);
  if (!build->IsSet("numVoices")) s.numVoices = 1;
  if (s.voiceSize == 0 && s.numVoices <= 1 && s.fileSize > s.headerSize) s.voiceSize = s.fileSize - s.headerSize;
  if (s.voiceBytes == 0) s.voiceBytes = s.voiceSize;
  if (!build->IsSet("isBank")) s.isBank = s.numVoices > 1;
  if (!build->IsSet("optionBits")) s.optionBits = 3;
  if (!build->IsSet("startsEmpty")) s.startsEmpty = 1;
  if (!build->IsSet("sysExChannelMax")) s.sysExChannelMax = 15;
  if (!build->IsSet("dataKind")) s.dataKind = s.numVoices == 0 ? kKindWithoutVoices : s.numVoices > 1 ? 2 : 1;
  if (!build->IsSet("numberFormat")) s.numberFormat = kNumberFormatPlain;
  if (!build->IsSet("patchMax"))
    SetPatchMax(&s, static_cast<int>(std::min<std::uint32_t>(std::max(1U, +s.numVoices) - 1, 65535)));
  s.sysExChannel = s.sysExChannelDefault;
  s.midiChannel = s.midiChannelDefault;
  s.dumpRequestHasChannel = s.dumpRequestChannelOffset != 0;
  SetStorageFormat(&s, s.storageFormat);
  if (build->IsScripted()) s.noChecksumOnFormat = 1;
  if (s.manufacturerId == kRolandId && !build->IsSet("rolandSize")) RolandSizeOf(&s);
  if (GetDefn(s).empty()) SetDefn(&s, (header_.name + "/").c_str());
  if (build->instrumentName.empty()) build->instrumentName = header_.name.substr(0, 31);
}

// One form; behind an entry that is wrong the others are tried.
Result ModuleBuilder::ParseForm(std::vector<SourceLine> lines, FormEntries entries, TypeBuild* build) {
  // Without sizes nothing can be said about what depends on them.
  Synth synth = build->synth;
  if (build->sizesUnknown) synth.fileSize = synth.voiceSize = kMaxFileSize;
  bool left = false;
  for (;;) {
    RecognizeRule rule;
    const Result result = ParseRecognizeRule(entries, synth, &rule);
    if (result.ok()) {
      if (!left) build->rules.push_back(std::move(rule));
      return Result::Success();
    }
    const auto wrong = static_cast<std::size_t>(std::max(result.code - 1, 0));
    const bool whole = wrong >= entries.size();
    if (whole && (left || build->sizesUnknown)) return Result::Success();
    const Result noted = Note(SourceFailure(lines[std::min(wrong, lines.size() - 1)], result.text));
    if (!noted.ok() || whole) return noted;
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(wrong));
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(wrong));
    if (entries.empty()) return Result::Success();
    left = true;
  }
}

Result ModuleBuilder::ParseForms(TypeBuild* build) {
  for (std::size_t form = 0; form < build->forms.size(); ++form) {
    std::vector<SourceLine>& lines = build->forms[form];
    if (lines.empty()) {
      if (form == 0 && build->forms.size() == 1) return Result::Success();
      return SourceFailure(build->typeLine, "a form of the data type (\"or\") has no lines");
    }
    FormEntries entries;
    for (SourceLine& line : lines) {
      if (AsciiEqualNoCase(line.key, "numberAs")) {
        const auto id = header_.TypeId(line.value);
        if (!id) return SourceFailure(line, "the module has no data type \"" + line.value + "\"");
        line.value = std::to_string(*id);
      }
      entries.emplace_back(line.key, line.value);
    }
    const Result result = ParseForm(lines, std::move(entries), build);
    if (!result.ok()) return result;
  }
  return Result::Success();
}

Result ModuleBuilder::FinishType(TypeBuild* build) {
  const SourceLine& at = build->typeLine;
  if (at.line == 0)
    return SourceFailure(build->type->descriptor + ".descriptor", 1, "the data type needs a \"typeName\"");
  if (build->synth.fileSize < kMinFileSize || build->synth.fileSize > kMaxInitialImage)
    return SourceFailure(at, "\"fileSize\" is missing or out of range");
  FillDefaults(build);
  const VoiceLayout layout = ValidateSynth(build->synth, build->synth.fileSize);
  if (!layout.editable) return SourceFailure(at, layout.problem);
  Result result = Result::Success();
  for (std::size_t i = 0; i < build->init.size(); ++i)
    if (result.ok() && std::uint64_t{build->init[i].first} + build->init[i].second.size() > build->synth.fileSize)
      result = Note(SourceFailure(build->initLines[i], "the bytes lie outside the image"));
  if (result.ok()) result = ParseForms(build);
  if (result.ok()) result = MakeMap(build);
  return result.ok() ? CompileScripts(build) : result;
}

// A script knows the texts of its line, else those of the end, and what the lines of the descriptor say at last.
Result ModuleBuilder::CompileScripts(TypeBuild* build) {
  const SourceLets made = ScriptLets(build->synth, build->rules.empty() ? nullptr : &build->rules.front());
  for (int i = 0; i < 3; ++i) {
    const SourceLine& line = build->scriptLines[i];
    if (i < 2 && build->HasSteps(i)) {
      const Result result = Note(CompileSteps(i, made, build));
      if (!result.ok()) return result;
    }
    if (line.value.empty()) continue;
    SourceLets lets = line.lets;
    for (const SourceLine& other : build->lines)
      if (IsNamedKey(other.key)) lets[other.key] = other.value;
    lets.insert(build->lets.begin(), build->lets.end());
    lets.insert(made.begin(), made.end());
    const Result result = Note(CompileScriptSource(source_, line, lets, &build->scripts[i], mistakes_));
    if (!result.ok()) return result;
  }
  return Result::Success();
}

// The script of an exchange that is written as steps; i: 0 for get, 1 for put.
Result ModuleBuilder::CompileSteps(int i, const SourceLets& made, TypeBuild* build) {
  const std::vector<SourceLine>& steps = build->steps[i];
  if (!build->scriptLines[i].value.empty())
    return SourceFailure(build->scriptLines[i], "there are steps as well, `" + steps.front().key + "`");
  const auto listen = build->lets.find("listen");
  const ExchangeFacts facts{build->synth, made, listen == build->lets.end() ? std::string() : listen->second,
                            coding_ ? &*coding_ : nullptr};
  std::string script;
  const std::size_t before = Mistakes();
  const Result result = WriteExchange(steps, facts, &script, mistakes_);
  if (!result.ok() || Mistakes() != before) return result;
  const CompileResult compiled = CompileScript(script);
  if (!compiled.ok()) return SourceFailure(steps.front(), compiled.report);
  for (const LintWarning& warning : Lint(script)) return SourceFailure(steps.front(), warning.text);
  build->scripts[i] = compiled.code;
  return Result::Success();
}

// The SysEx map; data that no map can describe says that it needs none.
Result ModuleBuilder::MakeMap(TypeBuild* build) {
  std::vector<SysXDescriptor> written;
  bool none = build->synth.reserved296 != 0;
  for (const SourceLine& line : build->mapLines) {
    SysXDescriptor descriptor;
    std::string error;
    if (AsciiEqualNoCase(line.value, "none")) {
      none = true;
    } else if (!ParseMapLine(line.value, build->synth, &descriptor, &error)) {
      const Result noted = Note(SourceFailure(line, error));
      if (!noted.ok()) return noted;
    } else {
      written.push_back(std::move(descriptor));
    }
  }
  if (!none) build->map.descriptors = MapOfRules(build->synth, build->rules, std::move(written));
  build->synth.reserved296 = build->map.descriptors.empty();
  return Result::Success();
}

Result ModuleBuilder::BuildType(const ModuleType& type, TypeBuild* build) {
  build->type = &type;
  SourceLets lets{{"arg", type.argument}};
  int count = 0;
  for (const std::string& part : SplitText(type.argument, ',')) lets["arg" + std::to_string(++count)] = part;
  std::vector<SourceLine>& lines = build->lines;
  const std::size_t mistakes = Mistakes();
  Result result =
      ReadDescriptorSource(source_, type.descriptor, {header_.defaults, type.row}, &lets, &lines, mistakes_);
  build->lets = lets;
  if (!result.ok() && AsciiStartsWithNoCase(result.text, "module.ini:1:"))
    return SourceFailure(header_.typesLine, result.text.substr(14));
  for (const SourceLine& line : lines) {
    if (result.ok()) result = Note(ApplyLine(line, build));
    if (!diagnostics_ || line.key == "or") continue;
    std::string& place = diagnostics_->places[type.driverId][AsciiLower(line.key)];
    place = line.file + ":" + std::to_string(line.line);
    if (AsciiEqualNoCase(line.key, "typeName")) diagnostics_->places[type.driverId][""] = place;
  }
  // Sizes that were not understood would make sentences about everything that depends on them.
  build->sizesUnknown = Mistakes() != mistakes;
  if (!result.ok() || !build->sizesUnknown) return result.ok() ? FinishType(build) : result;
  if (build->typeLine.line) result = ParseForms(build);
  return result.ok() ? CompileScripts(build) : result;
}

std::vector<std::uint8_t> ModuleBuilder::InitialImage(const TypeBuild& build) const {
  const Synth& s = build.synth;
  std::vector<std::uint8_t> image(s.fileSize + kBufferSlack);
  const std::span<std::uint8_t> bytes(image.data(), s.fileSize);
  if (!build.rules.empty()) FillFrame(build.rules.front(), s, bytes);
  for (const auto& [offset, init] : build.init) std::copy(init.begin(), init.end(), bytes.begin() + offset);
  if (s.nameLength && !s.namesSeparate)
    for (std::uint32_t i = 0; i < s.numVoices; ++i)
      BankWriteString(&s, bytes.subspan(s.headerSize), build.initName, s.nameLength,
                      BankRealOfs(&s, s.voiceOffset + std::int64_t{s.voiceSize} * i), s.nameOffset, s.nameFormat);
  if (!build.rules.empty()) StoreChecksums(build.rules.front(), s, bytes);
  image.resize(s.fileSize);
  return image;
}

Result ModuleBuilder::DriverFile(const TypeBuild& build, std::vector<std::uint8_t>* bytes) const {
  const DataFilePtr data(AllocDataFile());
  const std::vector<std::uint8_t> image = InitialImage(build);
  DFXtra xtra{};
  CopyText(xtra.instrumentName, build.instrumentName);
  xtra.driverNumber = build.synth.driverId;
  SetModuleVersion(&xtra, header_.version);
  xtra.hasNoSysEx = build.synth.startsEmpty && !(build.synth.isBank && build.synth.patchByPatch);
  const auto put = [](std::uint8_t** pointer, std::uint32_t* size, const std::vector<std::uint8_t>& from) {
    return from.empty() || AllocChunk(pointer, size, static_cast<std::uint32_t>(from.size()), from.data());
  };
  if (!data || !AllocChunk(&data->synth, &data->synthSize, kSynthSize, &build.synth) ||
      !AllocChunk(&data->xtra, &data->xtraSize, kXtraSize, &xtra) || !put(&data->body, &data->bodySize, image) ||
      !put(&data->receiveScript, &data->receiveScriptSize, build.scripts[0]) ||
      !put(&data->transmitScript, &data->transmitScriptSize, build.scripts[1]) ||
      !put(&data->auditionScript, &data->auditionScriptSize, build.scripts[2]) ||
      !DiskWriteForm(bytes, *data, WriteBuffers::kSkipEmpty, ChunkId("FORM"), ChunkId("SYTH")))
    return SourceFailure(build.typeLine, "the driver file cannot be made, memory is short");
  return Result::Success();
}

std::string ModuleBuilder::ModuleIni(const std::vector<TypeBuild>& builds) const {
  std::string text = "; Instrument module, made from its source.\n";
  const auto put = [&text](const std::string& key, const std::string& value) { text += key + "=" + value + "\n"; };
  text += "[Instrument]\n";
  put("Name", header_.name);
  put("Dir", header_.name);
  put("Version", std::to_string(header_.version));
  put("NumDrivers", std::to_string(builds.size()));
  for (std::size_t i = 0; i < builds.size(); ++i) {
    put("ID" + std::to_string(i), builds[i].type->FileName());
    if (builds[i].defaultPatch) put("Pch" + std::to_string(i), std::to_string(builds[i].defaultPatch));
  }
  for (const SourceLine& line : header_.lines)
    if (AsciiEqualNoCase(line.section, "Instrument")) put(line.key, line.value);
  std::string section;
  for (const SourceLine& line : header_.lines) {
    if (AsciiEqualNoCase(line.section, "Instrument")) continue;
    if (!AsciiEqualNoCase(line.section, section)) text += "\n[" + (section = line.section) + "]\n";
    put(line.key, line.value);
  }
  for (const TypeBuild& build : builds) {
    for (std::size_t form = 0; form < build.rules.size(); ++form) {
      text += "\n[" + FormSection(build.type->driverId, form) + "]\n";
      std::map<std::string, int> counts;
      for (const SourceLine& line : build.forms[form]) {
        const std::string key = AsciiLower(line.key);
        const bool numbered = key == "message" || key == "area" || key == "block" || key == "verify";
        put(numbered ? line.key + std::to_string(counts[key]++) : line.key, line.value);
      }
    }
  }
  return text;
}

// A section that is wrong is told where the module is used.
void ModuleBuilder::ReadCoding() {
  std::string text, problem, section;
  for (const SourceLine& line : header_.lines) {
    if (line.section != section) text += "[" + (section = line.section) + "]\n";
    text += line.key + "=" + line.value + "\n";
  }
  coding_ = ReadCodedMessages(IniFile::FromBytes(text), &problem);
}

Result ModuleBuilder::Build(ModuleImage* out) {
  Result result = ReadModuleHeader(source_, &header_, mistakes_);
  if (!result.ok()) return result;
  ReadCoding();
  std::vector<TypeBuild> builds(header_.types.size());
  ModuleImage image{header_.name, {}, {}};
  for (std::size_t i = 0; i < builds.size(); ++i) {
    const std::size_t before = Mistakes();
    result = Note(BuildType(header_.types[i], &builds[i]));
    if (Mistakes() != before) continue;
    PackageFile file{header_.name + "\\" + header_.types[i].FileName(), {}};
    if (result.ok()) result = DriverFile(builds[i], &file.bytes);
    if (!result.ok()) return result;
    image.files.push_back(std::move(file));
    if (!builds[i].simulated.empty()) image.simulated[header_.types[i].driverId] = builds[i].simulated;
  }
  if (!first_.ok()) return first_;
  for (const TypeBuild& build : builds)
    if (!build.map.descriptors.empty())
      image.files.push_back({header_.name + "\\" + SysExMapName(build.type->driverId), build.map.ToBytes()});
  const std::string ini = ModuleIni(builds);
  image.files.insert(image.files.begin(), {header_.name + ".ini", {ini.begin(), ini.end()}});
  *out = std::move(image);
  return Result::Success();
}

}  // namespace

Result BuildModule(const ModuleSource& source, ModuleImage* out, ModuleDiagnostics* diagnostics) {
  ModuleBuilder builder(source, diagnostics);
  Result result = builder.Build(out);
  if (diagnostics && diagnostics->problems.empty()) builder.Note(result);
  return result;
}

Result BuildModulePackage(const std::filesystem::path& folder, const std::filesystem::path& package) {
  ModuleSource source;
  Result result = ReadModuleSource(folder, &source);
  ModuleImage image;
  if (result.ok()) result = BuildModule(source, &image);
  return result.ok() ? WritePackage(image.files, package) : result;
}

}  // namespace tonalith
