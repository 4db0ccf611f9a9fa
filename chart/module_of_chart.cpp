#include "chart/module_of_chart.h"
#include "chart/inquiry.h"

#include <algorithm>
#include <map>
#include <utility>

#include "chart/chart_of_module.h"
#include "chart/chart_spelling.h"
#include "chart/chart_variant.h"
#include "chart/instrument.h"
#include "chart/patch_pieces.h"
#include "chart/type_lines.h"
#include "chart/type_parameters.h"
#include "data/hex_text.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxChartFile = 1u << 20;
constexpr const char* kEnding = ".chart";
constexpr std::int64_t kFastestPort = 1000000;  // bytes a second

// Writes module.ini: what the instrument is.
class HeaderWriter {
 public:
  HeaderWriter(const ChartInstrument& chart, ChartProblems* problems) : chart_(chart), problems_(*problems) {}

  ChartLines Write() {
    const ChartPlace at = chart_.head->at;
    lines_.Put("[Module]", at);
    lines_.Put("Name", chart_.head->name, chart_.head->nameAt);
    Copy("short", "ShortName");
    Copy("drivers", "DriverBase");
    Copy("version", "Version");
    if (!chart_.Find("maker")) Missing("maker", "maker = 42");
    if (!chart_.Find("drivers")) Missing("drivers", "drivers = 60000");
    std::string types;
    for (const ChartType& type : chart_.types) types += (types.empty() ? "" : " ") + type.fileName;
    lines_.Put("Types", types, at);
    Identity();
    lines_.Put("[Instrument]", at);
    if (const ChartEntry* icon = chart_.Find("icon")) Word(*icon, "InstrumentIcon");
    if (const ChartEntry* speed = chart_.Find("port speed")) {
      const auto bytes = ParseInteger(speed->value);
      if (!bytes || *bytes < 1 || *bytes > kFastestPort)
        problems_.Add(speed->valueAt, speed->value, "no number of bytes a second", "port speed = 1000");
      lines_.Put("MaxSysExSpeed", speed->value, speed->valueAt);
    }
    if (chart_.Find("multitimbral")) lines_.Put("MultiTimbralDevice", "1", at);
    if (const ChartEntry* channels = chart_.Find("channels")) {
      lines_.Put("[MIDI Device]", at);
      lines_.Put("MaxChannelsIn", channels->value, channels->valueAt);
    }
    Coded();
    Others();
    Refusals();
    OwnInquiry();
    const ChartEntry* find = chart_.Find("find");
    if (find && !IsOwnInquiry(*find) && !chart_.TypeNamed(find->value)) {
      std::vector<std::string> names;
      for (const ChartType& type : chart_.types) names.push_back(type.name);
      problems_.AddUnknown(find->valueAt, find->value, "the chart has no data type of this name",
                           NearestWords(find->value, names));
    }
    return std::move(lines_);
  }

 private:
  void Copy(const char* key, const char* name) {
    if (const ChartEntry* entry = chart_.Find(key)) lines_.Put(name, entry->value, entry->valueAt);
  }

  void Missing(const char* key, const char* example) {
    problems_.Add(chart_.head->at, chart_.head->name, std::string("the first section needs `") + key + "`", example);
  }

  void Word(const ChartEntry& entry, const char* field) {
    const CodedTable& table = *FindCodedTable(field);
    if (const CodedWord* word = FindCodedWord(table, entry.value)) {
      lines_.Put(field, std::to_string(word->code), entry.valueAt);
      return;
    }
    std::vector<std::string> words;
    for (const CodedWord& word : table.words) words.emplace_back(word.word);
    problems_.Add(entry.valueAt, entry.value, std::string("no ") + table.what, NearestWords(entry.value, words));
  }

  ChartMessage Message(const ChartEntry& entry) {
    ChartNames names;
    names.variables = "abcdefghijklmnopqrstuvwxyz";
    // A text may stand behind two blanks.
    const auto parts = SplitAtGaps(entry.cell);
    return ReadChartMessage(parts.empty() ? entry.cell : parts.front(), names, &problems_);
  }

  // `F0 7E 0n 06 02 MAKER FAMILY MEMBER VERSION F7`
  void Identity() {
    const ChartEntry* entry = chart_.Find("identity");
    if (!entry) return;
    const ChartMessage message = Message(*entry);
    std::vector<int> bytes;  // -1: open
    for (const ChartItem& item : message.items)
      bytes.push_back(item.kind == ChartItemKind::kByte && item.byte.mask == 0xFF ? item.byte.base : -1);
    const std::size_t maker = bytes.size() > 5 && bytes[5] == 0 ? 3 : 1;
    const std::size_t family = 5 + maker;
    const bool right = bytes.size() > family + 2 && bytes[0] == 0xF0 && bytes[1] == 0x7E && bytes[3] == 6 &&
                       bytes[4] == 2 &&
                       std::none_of(bytes.begin() + 5, bytes.begin() + static_cast<std::ptrdiff_t>(family) + 2,
                                    [](int byte) { return byte < 0; });
    if (!right) {
      problems_.Add(entry->valueAt, entry->value, "no answer to a device inquiry",
                    "F0 7E 0n 06 02 MAKER FAMILY FAMILY MEMBER MEMBER ?? ?? ?? ?? F7");
      return;
    }
    const auto text = [&](std::size_t from, std::size_t count) {
      std::string hex;
      for (std::size_t i = from; i < from + count; ++i) hex += (hex.empty() ? "" : " ") + HexPair(bytes[i]);
      return hex;
    };
    std::string value = text(5, maker) + " | " + text(family, 2);
    if (bytes.size() > family + 4 && bytes[family + 2] >= 0 && bytes[family + 3] >= 0)
      value += " | " + text(family + 2, 2);
    if (const ChartEntry* length = chart_.Find("identity length"))
      value += " | Length = " + (length->value == "any" ? std::string("-1") : length->value);
    if (chart_.device.first) value += " | ChMin = " + std::to_string(chart_.device.first);
    if (chart_.device.last > 15) value += " | ChMax = " + std::to_string(chart_.device.last);
    lines_.Put("Identity", value, entry->valueAt);
  }

  // A question of the maker's own, in the place of the identity request.
  void OwnInquiry() {
    const auto inquiry = ReadChartInquiry(chart_, &problems_);
    if (!inquiry || !inquiry->own) return;
    const ChartPlace at = chart_.Find("find")->valueAt;
    const ChartDevice& device = chart_.device;
    const bool asks = device.letter && inquiry->request.PlaceOf(device.letter) >= 0;
    const int only = std::max(device.standard, device.first);
    lines_.Put("[Device Inquiry]", at);
    lines_.Put("Enable", "1", at);
    lines_.Put("ChMin", std::to_string(asks ? device.first : only), at);
    lines_.Put("ChMax", std::to_string(asks ? device.last : only), at);
    lines_.Put("[Own Inquiry]", at);
    lines_.Put("Request", InquiryText(inquiry->request), at);
    lines_.Put("Reply", InquiryText(inquiry->reply), at);
  }

  // Data in pieces of coded text.
  void Coded() {
    const ChartEntry* coding = chart_.Find("coded");
    if (!coding) return;
    lines_.Put("[Coded Messages]", coding->keyAt);
    lines_.Put("Coding", coding->value, coding->valueAt);
    if (const ChartEntry* head = chart_.Find("coded head")) lines_.Put("Head", head->value, head->valueAt);
    if (const ChartEntry* piece = chart_.Find("coded piece"))
      lines_.Put("Piece", ReplaceAll(piece->value, ",", " |"), piece->valueAt);
  }

  // Messages that are no data.
  void Others() {
    bool first = true;
    for (const ChartEntry& entry : chart_.head->entries) {
      const bool plain = entry.key == "other";
      if (!plain && !entry.key.starts_with("other ")) continue;
      if (std::exchange(first, false)) lines_.Put("[Other Messages]", entry.keyAt);
      const auto parts = SplitAtGaps(entry.cell);
      const std::string what = plain && parts.size() > 1 ? parts[1].text
                               : plain                   ? "other messages"
                                                         : entry.key.substr(6);
      std::string pattern;
      for (const ChartItem& item : Message(entry).items) {
        const bool any = item.kind != ChartItemKind::kByte && !item.size;
        std::string byte = item.kind == ChartItemKind::kByte ? HexPair(item.byte.base) : any ? "*" : "??";
        if (!any && !(item.byte.mask & 0xF0)) byte[0] = '?';
        if (!any && !(item.byte.mask & 0x0F)) byte[1] = '?';
        const std::uint32_t times = item.kind == ChartItemKind::kByte || any ? 1 : item.size;
        for (std::uint32_t i = 0; i < times; ++i) pattern += (pattern.empty() ? "" : " ") + byte;
        if (any) break;  // whatever follows
      }
      lines_.Put(what, pattern, entry.valueAt);
    }
  }

  // What the instrument means by the messages with which it refuses data.
  void Refusals() {
    std::map<std::string, std::string> known;  // sentences by pattern
    const auto say = [&](const std::string& pattern, const std::string& sentence, ChartPlace at) {
      if (sentence.empty()) return;
      if (known.empty()) lines_.Put("[Refusals]", at);
      const auto [former, isNew] = known.try_emplace(pattern, sentence);
      if (isNew) lines_.Put(pattern, sentence, at);
      if (former->second != sentence)
        problems_.Add(at, sentence, "the message has another sentence already", former->second);
    };
    for (const ChartType& type : chart_.types) {
      for (const std::vector<ChartStep>* steps : {&type.get, &type.put})
        for (const ChartStep& step : *steps)
          for (const ChartStep::Refusal& refusal : step.refused)
            say(PatternOf(refusal.message, chart_, type), refusal.sentence, refusal.message.at);
      if (!type.exchange) continue;
      for (const ChartEntry& entry : type.exchange->entries)
        for (const auto& [pattern, sentence] : ExchangeRefusals(entry.value)) say(pattern, sentence, entry.valueAt);
    }
  }

  const ChartInstrument& chart_;
  ChartProblems& problems_;
  ChartLines lines_;
};

void AddFile(const std::string& name, ChartLines lines, ChartModule* module) {
  module->source[name] = std::move(lines.text);
  module->places[name] = std::move(lines.places);
}

Result ReadChartFile(const std::filesystem::path& path, std::string* text) {
  return ReadWholeFile(path.string(), *text, kMaxChartFile);
}

// The chart says itself that the data is sent at the panel.
constexpr const char* kNotAsked = "it cannot be asked for";
bool AtPanel(const ChartModule& module, const ModuleRemark& remark) {
  const int line = module.PlaceOf(remark.file, remark.line).line;
  const ChartSection* section = nullptr;
  for (const ChartSection& one : module.text.sections)
    if (one.at.line <= line) section = &one;
  return section && std::any_of(section->entries.begin(), section->entries.end(), [](const ChartEntry& entry) {
           return entry.key == "get" && (entry.value.starts_with("panel") || entry.value.starts_with("listen"));
         });
}

// The size that steps do not reach is that of the dump: the mistake may be there.
void NameDump(const ChartText& chart, const ChartPlace& steps, ChartProblems* problems) {
  const ChartSection* section = nullptr;
  for (const ChartSection& one : chart.sections)
    if (one.kind == "data" && one.at.line <= steps.line) section = &one;
  for (const ChartSection& one : chart.sections)
    for (const ChartEntry& entry : one.entries)
      if (section && entry.key == "dump" && (&one == section || one.kind == "instrument"))
        problems->Add(entry.keyAt, entry.key,
                      "the steps of line " + std::to_string(steps.line) + " do not have its size");
}

// What to do, in the words of charts.
std::string ChartHint(const std::string& hint) {
  if (hint.find("DriverBase") != std::string::npos)
    return "Choose another number behind drivers = in the first section.";
  if (hint.starts_with("dumpRequest =")) return "request = F0 ... F7, or get = panel when it is sent there.";
  if (hint.starts_with("Maps are made of")) return "map = none says that it is meant so.";
  return hint;
}

}  // namespace

ChartPlace ChartModule::PlaceOf(const std::string& file, int line) const {
  const auto found = places.find(file);
  if (found == places.end() || line < 1 || static_cast<std::size_t>(line) > found->second.size()) return {1, 1};
  return found->second[static_cast<std::size_t>(line) - 1];
}

ChartModule ModuleOfChart(std::string_view text, ChartProblems* problems, const std::string& variant) {
  ChartModule module;
  module.text = VariantOfChart(ReadChartText(text, problems), variant, problems);
  const ChartText& chart = module.text;
  const ChartInstrument instrument = ReadChartInstrument(chart, problems);
  AddFile("module.ini", HeaderWriter(instrument, problems).Write(), &module);
  for (const ChartType& type : instrument.types) {
    module.types.push_back({type.section->name, type.name, type.holds, PatchPiecesOf(type), PatchNumberOf(type)});
    AddFile(type.fileName + ".descriptor", DescriptorOf(instrument, type, problems), &module);
  }
  for (const ChartSection& section : chart.sections) {
    if (section.kind != "script") continue;
    ChartLines lines;
    int line = section.at.line;
    for (const std::string& one : SplitText(section.script, '\n')) lines.Put(one, {++line, 1});
    AddFile(section.name + ".script", std::move(lines), &module);
  }
  return module;
}

namespace {

Result BuildFromChart(std::string_view text, ChartProblems* problems, ModuleImage* out, const std::string& variant,
                      bool draws) {
  const ChartModule module = ModuleOfChart(text, problems, variant);
  if (problems->any()) return problems->First();
  ModuleDiagnostics diagnostics;
  const Result result = BuildModule(module.source, out, &diagnostics);
  for (const ModuleDiagnostics::Problem& problem : diagnostics.problems) {
    const ChartPlace at = module.PlaceOf(problem.file, problem.line);
    problems->Add(at, {}, problem.text, ModuleHint(problem.text));
    if (problem.text.starts_with("the steps have ")) NameDump(module.text, at, problems);
  }
  if (!problems->any() && result.ok()) AddFieldFiles(module.text, module.types, out, problems, draws);
  if (!problems->any() && result.ok())
    out->files.push_back({out->name + "\\" + ChartFileName(out->name), {text.begin(), text.end()}});
  return problems->any() ? problems->First() : result;
}

}  // namespace

Result BuildChart(std::string_view text, ChartProblems* problems, ModuleImage* out, const std::string& variant) {
  return BuildFromChart(text, problems, out, variant, true);
}

Result FindChartMistakes(std::string_view text, ChartProblems* problems, const std::string& variant) {
  ModuleImage image;
  return BuildFromChart(text, problems, &image, variant, false);
}

Result CheckModuleAt(const std::filesystem::path& path, const std::map<int, std::string>& others,
                     std::vector<ModuleRemark>* remarks, ModuleImage* image) {
  remarks->clear();
  const std::filesystem::path chart = ChartOfPath(path);
  if (chart.empty()) {
    ModuleSource source;
    Result result = ReadModuleSource(path, &source);
    if (!result.ok()) return result;
    *remarks = CheckModule(source, others, image);
    for (ModuleRemark& remark : *remarks) remark.file = JoinPath(path.string(), remark.file);
    return result;
  }
  std::string text;
  Result result = ReadChartFile(chart, &text);
  if (!result.ok()) return result;
  ChartProblems problems(chart.string());
  const ChartModule module = ModuleOfChart(text, &problems);
  const auto name = [&] {
    for (const ChartProblem& problem : problems.all())
      remarks->push_back({true, problem.file, problem.line, problem.Sentence(), {}, problem.column});
  };
  if (problems.any()) {
    name();
    return result;
  }
  ModuleImage built;
  *remarks = CheckModule(module.source, others, &built);
  std::erase_if(*remarks, [&](const ModuleRemark& remark) {
    return !remark.isError && remark.text.find(kNotAsked) != std::string::npos && AtPanel(module, remark);
  });
  for (ModuleRemark& remark : *remarks) {
    const ChartPlace at = module.PlaceOf(remark.file, remark.line);
    remark.hint = ChartHint(remark.hint);
    remark.file = chart.string();
    remark.line = at.line;
    remark.column = at.column;
  }
  if (built.name.empty()) return result;
  AddFieldFiles(module.text, module.types, &built, &problems);
  ChartProblems known(problems.file());
  for (const std::string& variant : ChartVariants(ReadChartText(text, &known)))
    FindChartMistakes(text, &problems, variant);
  name();
  if (!problems.any()) *image = std::move(built);
  return result;
}

std::filesystem::path ChartOfPath(const std::filesystem::path& path) {
  if (path.extension() == kEnding) return path;
  std::filesystem::path only;
  for (const std::string& name : ListFolder(path.string(), "*.chart")) {
    if (!only.empty()) return {};
    only = path / name;
  }
  return only;
}

Result BuildModuleAt(const std::filesystem::path& path, ModuleImage* out, std::vector<std::string>* mistakes,
                     const std::string& variant) {
  const std::filesystem::path chart = ChartOfPath(path);
  if (chart.empty()) {
    if (!variant.empty()) return Result::Failure("A folder of module sources has no relatives.");
    ModuleSource source;
    Result result = ReadModuleSource(path, &source);
    if (!result.ok()) return result;
    result = BuildModule(source, out);
    // Places in the source are named from where the command was started.
    if (!result.ok()) result.text = JoinPath(path.string(), result.text);
    return result;
  }
  std::string text;
  Result result = ReadChartFile(chart, &text);
  if (!result.ok()) return result;
  ChartProblems problems(chart.string());
  result = BuildChart(text, &problems, out, variant);
  if (mistakes)
    for (const ChartProblem& problem : problems.all()) mistakes->push_back(problem.Text());
  return result;
}

}  // namespace tonalith
