#include "chart/instrument.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "chart/chart_keys.h"
#include "chart/chart_spelling.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr int kMostSlots = 16384;
constexpr std::size_t kMostTypes = 200;
constexpr int kMostVariants = 64;
constexpr int kMostTurns = 128;
constexpr std::size_t kMostMessages = 4096;  // of data
constexpr int kMostMadeOf = 8;               // messages that are made of others that are made of others
constexpr int kLastDriver = 65000;
constexpr std::int64_t kLongestMs = 600000;

std::optional<int> HexByteOf(std::string_view text) {
  if (text.empty() || text.size() > 2 || text.find_first_not_of("0123456789ABCDEF") != std::string_view::npos)
    return std::nullopt;
  return static_cast<int>(std::stoi(std::string(text), nullptr, 16));
}

// Where a text stands outside quotes and brackets.
std::size_t FindOutside(std::string_view text, std::string_view what, std::size_t from = 0) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      const std::size_t end = text.find('"', i + 1);
      if (end == std::string_view::npos) return end;
      i = end;
      continue;
    }
    if (text[i] == '(' || text[i] == '{') ++depth;
    if ((text[i] == ')' || text[i] == '}') && depth > 0) --depth;
    if (depth == 0 && i >= from && text.substr(i).starts_with(what)) return i;
  }
  return std::string_view::npos;
}

std::vector<ChartCell> SplitOutside(const ChartCell& cell, std::string_view what) {
  std::vector<ChartCell> parts;
  std::size_t from = 0;
  for (;;) {
    const std::size_t at = FindOutside(cell.text, what, from);
    const std::size_t end = std::min(at, cell.text.size());
    parts.push_back(SplitChartCell(cell.Part(from, end - from), '\0').front());
    if (at == std::string_view::npos) return parts;
    from = at + what.size();
  }
}

// The message of a definition, without what is said about answers behind it.
ChartCell MessagePart(const ChartCell& cell) {
  const std::size_t end = std::min(FindOutside(cell.text, "->"), FindOutside(cell.text, "|"));
  return SplitChartCell(cell.Part(0, std::min(end, cell.text.size())), '\0').front();
}

std::string DefinitionName(const std::string& key) {
  for (const std::string_view front : {"block ", "message "})
    if (key.starts_with(front)) return key.substr(front.size());
  return key;
}

bool IsMessageKey(std::string_view key) {
  return key == "request" || key == "dump" || key == "each";
}

// The name of a file: letters, digits and, when it is said, - and capitals.
std::string EntryName(const std::string& name, bool said) {
  std::string entry;
  for (const char c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) || (said && c == '-')) entry += said ? c : AsciiLower(c);
  return entry.empty() ? "data" : entry;
}

// Reads what one data type says, with the definitions that it knows.
class TypeReader {
 public:
  TypeReader(const ChartInstrument& chart, ChartType* type, std::set<std::string>* used, ChartProblems* problems)
      : chart_(chart), type_(*type), used_(*used), problems_(*problems) {
    for (const ChartEntry& entry : chart.head->entries)
      if (IsChartDefinition(*chart.head, entry)) Define(entry);
    if (const ChartSection* patch = HeldSection(); patch && !full_.count("each")) {
      const auto dump = std::find_if(patch->entries.begin(), patch->entries.end(),
                                     [](const ChartEntry& entry) { return entry.key == "dump"; });
      if (dump != patch->entries.end()) Define(*dump, "each");
    }
    for (const ChartEntry& entry : type->section->entries)
      if (IsMessageKey(entry.key) || IsChartDefinition(*type->section, entry)) Define(entry);
    if (!names_.definitions.count("each") && names_.definitions.count("dump")) {
      names_.definitions["each"] = names_.definitions["dump"];
      full_["each"] = full_["dump"];
    }
    names_.variables = std::string{kPatchLetter, kTurnLetter} + Letters();
    names_.sum = ChartSumKind(chart.Find(*type, "sum"), &problems_);
  }

  void Read() {
    const ChartEntry* dump = type_.Find("dump");
    type_.patchwise = type_.slots > 1 && !dump;
    const char* main = type_.patchwise ? "each" : "dump";
    if (const auto found = full_.find(main); found != full_.end()) {
      used_.insert(main);
      for (const ChartCell& part : SplitOutside(MessagePart(found->second), " + ")) Whole(part, 0, &type_.dump);
    }
    if (full_.count("request")) type_.request = Named("request");
    const ChartEntry* get = type_.Find(type_.patchwise ? "get each" : "get");
    const ChartEntry* put = type_.Find(type_.patchwise ? "put each" : "put");
    if (type_.patchwise && !get) get = type_.Find("get");
    if (type_.patchwise && !put) put = type_.Find("put");
    type_.getSaid = get != nullptr;
    type_.putSaid = put != nullptr;
    if (get) type_.get = Steps(get->cell);
    if (put) type_.put = Steps(put->cell);
    for (const char* key : {"file", "old"})
      if (const ChartEntry* entry = type_.Find(key))
        for (const ChartCell& form : SplitOutside(entry->cell, "|")) Form(form);
    if (type_.dump.empty() && !type_.Find("address") && !type_.Find("memory"))
      problems_.Add(type_.section->at, type_.name, "the data type says nothing of how it looks",
                    "dump = F0 ... (SIZE) ... F7");
    for (const std::string& name : names_.used) used_.insert(name);
  }

 private:
  void Define(const ChartEntry& entry, const std::string& name = {}) {
    const std::string known = name.empty() ? DefinitionName(entry.key) : name;
    names_.definitions[known] = MessagePart(entry.cell);
    full_[known] = entry.cell;
  }

  const ChartSection* HeldSection() const {
    for (const ChartSection& section : chart_.text->sections)
      if (section.kind == "data" && !type_.holds.empty() && section.name == type_.holds) return &section;
    return nullptr;
  }

  // Its own letter, the device, and for patches those of the banks that hold them.
  std::string Letters() const {
    std::string letters;
    if (chart_.device.letter) letters += chart_.device.letter;
    if (type_.variable.letter) letters += type_.variable.letter;
    for (const ChartSection& section : chart_.text->sections) {
      if (section.kind != "data" || !section.variable || section.variable->key.size() != 1) continue;
      for (const ChartEntry& entry : section.entries)
        if (entry.key == "holds" && entry.value.ends_with(" x " + type_.section->name))
          letters += section.variable->key;
    }
    return letters;
  }

  // One message of the data, the messages of a name, or `part*16`.
  void Whole(const ChartCell& cell, int depth, std::vector<ChartMessage>* row) {
    std::string name = cell.text;
    int times = 1;
    const bool turns = Times(cell, &name, &times);
    if (!turns && !full_.count(name)) return row->push_back(Message(cell));
    const std::vector<ChartMessage> once = AllNamed(name, depth);
    if (row->size() + once.size() * static_cast<std::size_t>(times) > kMostMessages)
      return problems_.Add(cell.at, cell.text, "the data has too many messages", "at most 4096");
    for (int turn = 0; turn < times; ++turn)
      for (const ChartMessage& message : once) {
        row->push_back(message);
        if (turns) PutTurn(turn, &row->back());
      }
  }

  // The messages of a definition, one or several.
  std::vector<ChartMessage> AllNamed(const std::string& name, int depth) {
    names_.used.insert(name);
    const ChartCell full = MessagePart(full_.at(name));
    const std::vector<ChartCell> parts = SplitOutside(full, " + ");
    std::vector<ChartMessage> row;
    if (depth >= kMostMadeOf || ++expanded_ > kMostMessages) {
      problems_.Add(full.at, full.text, "the messages hold each other");
    } else if (parts.size() == 1 && !full_.count(full.text) && full.text.find('*') == std::string::npos) {
      row.push_back(Message(full));
    } else {
      for (const ChartCell& part : parts) Whole(part, depth + 1, &row);
    }
    return row;
  }

  static void PutTurn(int turn, ChartMessage* message) {
    for (ChartItem& item : message->items)
      if (item.byte.variable == kTurnLetter) {
        item.byte.base = item.byte.With(turn) & 0x7F;
        item.byte.mask = 0xFF;
        item.byte.use = ChartUse::kNone;
        item.byte.variable = 0;
      }
  }

  // `NAME*16`
  bool Times(const ChartCell& cell, std::string* name, int* times) {
    const std::size_t star = cell.text.rfind('*');
    if (star == std::string::npos || !full_.count(cell.text.substr(0, star))) return false;
    const auto number = ParseInteger(cell.text.substr(star + 1));
    if (!number || *number < 2 || *number > kMostTurns) {
      problems_.Add(cell.At(star), cell.text.substr(star), "how often it stands there is a number up to 128", "*16");
      return false;
    }
    *name = cell.text.substr(0, star);
    *times = static_cast<int>(*number);
    return true;
  }

  ChartMessage Message(const ChartCell& text) { return ReadChartMessage(text, names_, &problems_); }
  ChartMessage Named(const std::string& name) {
    names_.used.insert(name);
    // Of data in several messages the first.
    return Message(SplitOutside(MessagePart(full_.at(name)), " + ").front());
  }

  std::vector<ChartStep> Steps(const ChartCell& cell) {
    std::vector<ChartStep> steps;
    for (const ChartCell& part : SplitOutside(cell, ","))
      if (!part.text.empty())
        steps.push_back(Step(part));
      else
        problems_.Add(part.at, cell.text, "between two commas stands a step");
    return steps;
  }

  ChartStep Step(const ChartCell& cell) {
    ChartStep step;
    step.at = cell.at;
    const std::string_view text = cell.text;
    if (text == "none" || text == "listen" || text == "panel" || text.starts_with("panel ")) {
      step.kind = text == "none"     ? ChartStep::Kind::kNone
                  : text == "listen" ? ChartStep::Kind::kListen
                                     : ChartStep::Kind::kPanel;
      return step;
    }
    if (text.starts_with("ignore ")) {
      Ignored(SplitChartCell(cell.Part(7, text.size()), '\0').front(), &step);
      return step;
    }
    if (text.starts_with('(') && text.ends_with("ms)")) {
      const auto ms = ParseInteger(TrimmedView(text.substr(1, text.size() - 4)));
      if (!ms || *ms < 1 || *ms > kLongestMs) problems_.Add(cell.at, text, "a pause needs milliseconds", "(75 ms)");
      step.kind = ChartStep::Kind::kPause;
      step.ms = static_cast<int>(ms.value_or(1));
      return step;
    }
    Exchange(cell, &step);
    return step;
  }

  // The bytes in front of messages that are no answers.
  void Ignored(const ChartCell& cell, ChartStep* step) {
    step->kind = ChartStep::Kind::kIgnore;
    step->name = cell.text;
    const bool bytes = cell.text.find_first_not_of("0123456789ABCDEF? ") == std::string::npos;
    if (!bytes || !cell.text.starts_with("F0 "))
      problems_.Add(cell.at, cell.text, "what is ignored is said by the bytes in front", "ignore F0 42 30 58 24");
  }

  // `MESSAGE -> ANSWER | refused MESSAGE "sentence"`; a name brings what is said behind its message.
  void Exchange(const ChartCell& cell, ChartStep* step) {
    const std::size_t arrow = FindOutside(cell.text, "->");
    const ChartCell message = MessagePart(cell);
    step->message = OneMessage(message, &step->name);
    if (arrow != std::string::npos) {
      Answer(cell.Part(arrow + 2, cell.text.size()), step);
    } else if (!step->name.empty()) {
      const ChartCell& full = full_.at(step->name);
      const std::size_t own = FindOutside(full.text, "->");
      if (own != std::string::npos) Answer(full.Part(own + 2, full.text.size()), step);
    }
  }

  void Answer(const ChartCell& cell, ChartStep* step) {
    step->answered = true;
    const auto parts = SplitOutside(cell, "|");
    if (Times(parts.front(), &step->answerName, &step->times))
      step->answer = Named(step->answerName);
    else
      step->answer = OneMessage(parts.front(), &step->answerName);
    std::vector<ChartCell> refused(parts.begin() + 1, parts.end());
    if (!step->answerName.empty()) {
      const auto own = SplitOutside(full_.at(step->answerName), "|");
      refused.insert(refused.end(), own.begin() + 1, own.end());
    }
    for (const ChartCell& one : refused) {
      if (one.text == "or nothing") {
        step->anyway = true;
        continue;
      }
      if (one.text.starts_with("within ")) {
        step->ms = ChartMilliseconds(one.Part(7, one.text.size()), &problems_);
        continue;
      }
      const std::size_t quotes = one.text.find('"');
      if (!one.text.starts_with("refused ") || quotes == std::string::npos || !one.text.ends_with('"')) {
        problems_.Add(one.at, one.text, "nothing that stands behind an answer",
                      "| refused F0 ... F7 \"SENTENCE\", | within 1 s, | or nothing");
        continue;
      }
      std::string name;
      const ChartCell text = one.Part(8, quotes - 8);
      step->refused.push_back({OneMessage(SplitChartCell(text, '\0').front(), &name),
                               one.text.substr(quotes + 1, one.text.size() - quotes - 2)});
    }
  }

  // A message by its name or as it stands.
  ChartMessage OneMessage(const ChartCell& cell, std::string* name) {
    if (full_.count(cell.text)) {
      *name = cell.text;
      return Named(cell.text);
    }
    if (cell.text.empty()) problems_.Add(cell.at, {}, "a message is missing", "F0 ... F7, or the name of a message");
    return Message(cell);
  }

  // `each store`, `choose each`, `each (b = 0)`, or one message.
  void Form(const ChartCell& cell) {
    ChartForm form;
    form.at = cell.at;
    ChartCell rest = cell;
    const std::size_t open = cell.text.rfind('(');
    if (cell.text.ends_with(')') && open != std::string::npos && cell.text.find('=', open) != std::string::npos) {
      Condition(cell.Part(open, cell.text.size()), &form);
      rest = SplitChartCell(cell.Part(0, open), '\0').front();
    }
    if (LooksLikeMessage(rest.text) && !full_.count(rest.text.substr(0, rest.text.find(' ')))) {
      form.messages.emplace_back("", Message(rest));
      type_.forms.push_back(std::move(form));
      return;
    }
    std::size_t at = 0;
    while (at < rest.text.size()) {
      const std::string name = NameAt(rest.text, at);
      if (name.empty()) {
        std::vector<std::string> known;
        for (const auto& [one, definition] : full_) known.push_back(one);
        problems_.AddUnknown(rest.At(at), rest.text.substr(at), "no message is known by this name",
                             NearestWords(rest.text.substr(at), known));
        return;
      }
      for (ChartMessage& message : AllNamed(name, 0)) form.messages.emplace_back(name, std::move(message));
      at = rest.text.find_first_not_of(' ', at + name.size());
    }
    if (!form.messages.empty()) type_.forms.push_back(std::move(form));
  }

  // The longest known name that stands there.
  std::string NameAt(const std::string& text, std::size_t at) const {
    std::string best;
    for (const auto& [name, definition] : full_)
      if (text.compare(at, name.size(), name) == 0 && name.size() > best.size() &&
          (at + name.size() == text.size() || text[at + name.size()] == ' '))
        best = name;
    return best;
  }

  // `(b = 0)`
  void Condition(const ChartCell& cell, ChartForm* form) {
    const std::string inside = cell.text.substr(1, cell.text.size() - 2);
    const std::size_t equals = inside.find('=');
    const std::string letter(TrimmedView(std::string_view(inside).substr(0, equals)));
    const std::string value(TrimmedView(std::string_view(inside).substr(equals + 1)));
    if (letter.size() != 1 || letter[0] != type_.variable.letter) {
      problems_.Add(cell.at, cell.text, "the condition is about the letter of the section", "(b = 0)");
      return;
    }
    form->onlyFor = letter[0];
    for (const ChartVariable& one : ChartVariables(*type_.section, &problems_))
      if (one.shown == value) form->onlyValue = one.value;
  }

  const ChartInstrument& chart_;
  ChartType& type_;
  std::set<std::string>& used_;
  ChartProblems& problems_;
  ChartNames names_;
  std::map<std::string, ChartCell> full_;  // definitions with what is said behind them
  std::size_t expanded_ = 0;               // of them that were read
};

void ReadDevice(const ChartInstrument& chart, ChartDevice* device, ChartProblems* problems) {
  const ChartEntry* entry = chart.Find("device");
  if (!entry) return;
  device->at = entry->valueAt;
  const char* right = "device = n 10..1F, default 10, also MIDI channel";
  bool first = true;
  for (const ChartCell& part : SplitChartCell(entry->cell, ',')) {
    std::string low, high;
    if (std::exchange(first, false)) {
      const std::string range(
          TrimmedView(std::string_view(part.text).substr(std::min<std::size_t>(1, part.text.size()))));
      const bool letter =
          !part.text.empty() && part.text[0] >= 'a' && part.text[0] <= 'z' && part.text[0] != kPatchLetter;
      const bool ranged = !range.empty() && SplitChartRange(range, &low, &high);
      const auto begin = HexByteOf(low), end = HexByteOf(high);
      if (!letter || (!range.empty() && (!ranged || !begin || !end || *begin > *end))) {
        problems->Add(part.at, part.text, "no device number", right);
        continue;
      }
      device->letter = part.text[0];
      if (begin && end) {
        device->first = device->standard = *begin;
        device->last = *end;
      }
    } else if (part.text == "also MIDI channel") {
      device->channel = true;
    } else if (part.text.starts_with("default ") && HexByteOf(part.text.substr(8))) {
      device->standard = *HexByteOf(part.text.substr(8));
    } else {
      problems->Add(part.at, part.text, "nothing that belongs to a device number", right);
    }
  }
}

void ReadHolding(const ChartInstrument& chart, ChartType* type, ChartProblems* problems) {
  const ChartEntry* entry = type->Find("holds");
  if (!entry) return;
  const std::size_t cross = entry->value.find(" x ");
  const auto slots = ParseInteger(entry->value.substr(0, cross));
  if (!slots || *slots < 2 || *slots > kMostSlots) {
    problems->Add(entry->valueAt, entry->value, "a bank says how many it holds", "64 x Program");
    return;
  }
  type->slots = static_cast<int>(*slots);
  if (cross == std::string::npos) return;
  type->holds = std::string(TrimmedView(std::string_view(entry->value).substr(cross + 3)));
  type->holdsAt = entry->cell.At(cross + 3);
  std::vector<std::string> names;
  for (const ChartSection& section : chart.text->sections)
    if (section.kind == "data") names.push_back(section.name);
  if (std::find(names.begin(), names.end(), type->holds) == names.end())
    problems->AddUnknown(type->holdsAt, type->holds, "the chart has no data type of this name",
                         NearestWords(type->holds, names));
}

// `1140, 1141, 1144..1151`
std::vector<int> DriverNumbers(const ChartEntry& entry, ChartProblems* problems) {
  std::vector<int> numbers;
  for (const ChartCell& part : SplitChartCell(entry.cell, ',')) {
    std::string first = part.text, last = part.text;
    SplitChartRange(part.text, &first, &last);
    const auto low = ParseInteger(first), high = ParseInteger(last);
    if (!low || !high || *low < 1 || *low > *high || *high > kLastDriver || *high - *low > kMostVariants) {
      problems->Add(part.at, part.text, "no driver ids", "drivers = 1140, 1141, 1144..1151");
      continue;
    }
    for (std::int64_t number = *low; number <= *high; ++number) numbers.push_back(static_cast<int>(number));
  }
  return numbers;
}

// [exchange NAME]: steps that only this notation says (docs/modules.md).
void ReadExchanges(ChartInstrument* chart, ChartProblems* problems) {
  for (const ChartSection& section : chart->text->sections) {
    if (section.kind != "exchange") continue;
    bool known = false;
    std::vector<std::string> names;
    for (ChartType& type : chart->types) {
      names.push_back(type.section->name);
      if (type.section->name != section.name && type.name != section.name) continue;
      type.exchange = &section;
      known = true;
    }
    if (!known)
      problems->AddUnknown(section.nameAt, section.name, "the chart has no data type of this name",
                           NearestWords(section.name, names));
    for (const ChartEntry& entry : section.entries)
      if (entry.flag || (entry.key != "get" && entry.key != "put" && !entry.key.starts_with("list ")))
        problems->Add(entry.keyAt, entry.key, "no key of this section", "get = STEP, put = STEP, list NAME = TEXTS");
  }
}

// Puts the types into the order of their driver ids.
void SortTypes(ChartInstrument* chart, ChartProblems* problems) {
  const ChartEntry* base = chart->Find("drivers");
  const auto first = base ? ParseInteger(base->value) : std::nullopt;
  const bool said =
      std::any_of(chart->types.begin(), chart->types.end(), [](const ChartType& type) { return type.driver; });
  if (!said || !first) return;
  // The others take the ids that are left, in order.
  std::set<int> taken;
  for (const ChartType& type : chart->types) taken.insert(type.driver);
  const int begin = static_cast<int>(first.value_or(0));
  int next = begin;
  for (ChartType& type : chart->types) {
    if (type.driver) continue;
    while (taken.count(next)) ++next;
    type.driver = next++;
  }
  std::stable_sort(chart->types.begin(), chart->types.end(),
                   [](const ChartType& a, const ChartType& b) { return a.driver < b.driver; });
  for (std::size_t i = 0; i < chart->types.size(); ++i)
    if (chart->types[i].driver != begin + static_cast<int>(i)) {
      problems->Add(
          chart->types[i].section->at, chart->types[i].name,
          "the driver ids of the data types have a gap or stand twice",
          "from " + std::to_string(begin) + " to " + std::to_string(begin + static_cast<int>(chart->types.size()) - 1));
      return;
    }
}

// Definitions that no message, step or form refers to are most likely keys with a mistake in them.  When something else
// is wrong that may be why they are not used: then only those that are nearly a key are named.
void CheckUse(const ChartInstrument& chart, const std::set<std::string>& used, ChartProblems* problems) {
  const bool sure = !problems->any();
  for (const ChartSection& section : chart.text->sections) {
    if (section.kind != "instrument" && section.kind != "data") continue;
    for (const ChartEntry& entry : section.entries) {
      if (!IsChartDefinition(section, entry) || used.count(DefinitionName(entry.key))) continue;
      std::vector<std::string> keys;
      for (const ChartKey& key : ChartKeys()) keys.emplace_back(key.key);
      if (sure || IsNearlyOneOf(entry.key, keys))
        problems->Add(entry.keyAt, entry.key, "nothing uses this message, and no key is called so",
                      NearestWords(entry.key, keys));
    }
  }
}

}  // namespace

const ChartEntry* ChartType::Find(std::string_view key) const {
  for (const ChartEntry& entry : section->entries)
    if (!entry.flag && entry.key == key) return &entry;
  return nullptr;
}

bool ChartType::Has(std::string_view flag) const {
  return std::any_of(section->entries.begin(), section->entries.end(),
                     [&](const ChartEntry& entry) { return entry.flag && entry.key == flag; });
}

const ChartEntry* ChartInstrument::Find(std::string_view key) const {
  for (const ChartEntry& entry : head->entries)
    if (entry.key == key) return &entry;
  return nullptr;
}

const ChartEntry* ChartInstrument::Find(const ChartType& type, std::string_view key) const {
  const ChartEntry* own = type.Find(key);
  return own ? own : Find(key);
}

const ChartType* ChartInstrument::TypeNamed(std::string_view name) const {
  for (const ChartType& type : types)
    if (type.name == name) return &type;
  for (const ChartType& type : types)
    if (type.section->name == name) return &type;
  return nullptr;
}

const ChartType* ChartInstrument::HolderOf(const ChartType& type) const {
  for (const ChartType& holder : types)
    if (!holder.holds.empty() && holder.holds == type.section->name) return &holder;
  return nullptr;
}

std::string ChartPatchRange(const ChartType& type) {
  const ChartEntry* entry = type.Find("patches");
  if (!entry) return {};
  const auto ranges = SplitChartCell(entry->cell, ',');
  if (ranges.size() == 1) return ranges.front().text;
  ChartProblems known("");
  const auto values = ChartVariables(*type.section, &known);
  const auto own = std::find_if(values.begin(), values.end(),
                                [&](const ChartVariable& one) { return one.shown == type.variable.shown; });
  const auto place = static_cast<std::size_t>(own - values.begin());
  return values.size() == ranges.size() && place < ranges.size() ? ranges[place].text : std::string();
}

int ChartFirstPatch(const ChartType& type) {
  std::string first, last;
  if (!SplitChartRange(ChartPatchRange(type), &first, &last)) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(ParseInteger(first).value_or(0), 0, UINT16_MAX));
}

int ChartSumKind(const ChartEntry* entry, ChartProblems* problems) {
  if (!entry) return -1;
  const CodedTable& table = *FindCodedTable("checksumType");
  if (const CodedWord* word = FindCodedWord(table, entry->value)) return word->code;
  std::vector<std::string> words;
  for (const CodedWord& word : table.words) words.emplace_back(word.word);
  problems->Add(entry->valueAt, entry->value, "no kind of checksum", NearestWords(entry->value, words));
  return 0;
}

int ChartMilliseconds(const ChartCell& time, ChartProblems* problems) {
  std::string_view text = time.text;
  const bool seconds = text.ends_with(" s");
  if (seconds || text.ends_with(" ms")) text.remove_suffix(seconds ? 2 : 3);
  const auto number = ParseInteger(text);
  const std::int64_t scale = seconds ? 1000 : 1;
  if (number && *number >= 1 && *number <= kLongestMs / scale && text.size() < time.text.size())
    return static_cast<int>(*number * scale);
  problems->Add(time.at, time.text, "no time", "75 ms, 3 s");
  return 0;
}

std::string ChartShown(const std::string& text, const ChartVariable& variable) {
  return variable.letter ? ReplaceAll(text, "{" + std::string(1, variable.letter) + "}", variable.shown) : text;
}

bool SplitChartRange(std::string_view text, std::string* first, std::string* last) {
  const std::size_t dots = text.find("..");
  if (dots == std::string_view::npos || dots == 0 || dots + 2 >= text.size()) return false;
  *first = TrimmedView(text.substr(0, dots));
  *last = TrimmedView(text.substr(dots + 2));
  return !first->empty() && !last->empty();
}

std::vector<ChartVariable> ChartVariables(const ChartSection& section, ChartProblems* problems) {
  std::vector<ChartVariable> variables;
  if (!section.variable || section.variable->key.size() != 1) return variables;
  std::string_view text = section.variable->value;
  int from = 0;
  const std::size_t word = text.find(" from ");
  const auto number = word == std::string_view::npos ? std::nullopt : ParseInteger(text.substr(word + 6));
  if (number) from = static_cast<int>(std::clamp<std::int64_t>(*number, 0, UINT8_MAX));
  std::string first, last;
  const bool range = SplitChartRange(text.substr(0, word), &first, &last);
  const auto low = ParseInteger(first), high = ParseInteger(last);
  const bool letters =
      range && first.size() == 1 && last.size() == 1 && first[0] >= 'A' && last[0] <= 'Z' && first[0] <= last[0];
  const auto texts = SplitChartCell(section.variable->cell.Part(0, std::min(word, text.size())), ',');
  if (texts.size() > 1) {
    for (const ChartCell& one : texts)
      variables.push_back({section.variable->key[0], from + static_cast<int>(variables.size()), one.text});
  } else if (low && high && *low >= 0 && *low <= *high && *high - *low < kMostVariants) {
    for (std::int64_t value = *low; value <= *high; ++value)
      variables.push_back(
          {section.variable->key[0], static_cast<int>(number ? from + value - *low : value), std::to_string(value)});
  } else if (letters && (number || word == std::string_view::npos)) {
    for (char letter = first[0]; letter <= last[0]; ++letter)
      variables.push_back({section.variable->key[0], from + letter - first[0], std::string(1, letter)});
  } else {
    problems->Add(section.variable->valueAt, section.variable->value, "the values of the letter are not known",
                  "A..D, A..H from 1, 0..9");
  }
  return variables;
}

ChartInstrument ReadChartInstrument(const ChartText& text, ChartProblems* problems) {
  static const ChartSection kNothing;
  ChartInstrument chart;
  chart.text = &text;
  chart.head = text.sections.empty() ? &kNothing : &text.sections.front();
  CheckChartKeys(*chart.head, problems);
  ReadDevice(chart, &chart.device, problems);
  std::set<std::string> entries;
  for (const ChartSection& section : text.sections) {
    if (section.kind != "data") continue;
    CheckChartKeys(section, problems);
    std::vector<ChartVariable> variables = ChartVariables(section, problems);
    if (variables.empty()) variables.push_back({});
    const auto drivers = std::find_if(section.entries.begin(), section.entries.end(),
                                      [](const ChartEntry& entry) { return entry.key == "drivers"; });
    std::vector<int> numbers;
    if (drivers != section.entries.end()) numbers = DriverNumbers(*drivers, problems);
    std::size_t number = 0;
    for (const ChartVariable& variable : variables) {
      if (chart.types.size() >= kMostTypes) break;
      ChartType type;
      type.section = &section;
      type.variable = variable;
      if (number < numbers.size()) type.driver = numbers[number++];
      type.name = ChartShown(section.name, variable);
      if (variables.size() > 1 && type.name == section.name) type.name += " " + variable.shown;
      const ChartEntry* file = type.Find("driver file");
      type.fileName = EntryName(file ? ChartShown(file->value, variable) : type.name, file != nullptr);
      if (!entries.insert(type.fileName).second)
        problems->Add(section.nameAt, type.name, "there is a data type of this name already");
      ReadHolding(chart, &type, problems);
      chart.types.push_back(std::move(type));
    }
  }
  if (chart.types.empty() && chart.head != &kNothing)
    problems->Add(chart.head->at, {}, "the chart has no data types", "[data NAME]");
  ReadExchanges(&chart, problems);
  SortTypes(&chart, problems);
  std::set<std::string> used;
  for (ChartType& type : chart.types) TypeReader(chart, &type, &used, problems).Read();
  CheckUse(chart, used, problems);
  return chart;
}

bool IsChartReadonly(const ChartType& type, ChartProblems* problems) {
  if (type.Has("readonly") || (!type.put.empty() && type.put.front().kind == ChartStep::Kind::kNone)) return true;
  const ChartEntry* entry = type.Find("readonly");
  if (!entry) return false;
  std::string first, last;
  const bool range = SplitChartRange(entry->value, &first, &last);
  if (!range) first = last = entry->value;
  bool inside = false, seen = false, here = false;
  for (const ChartVariable& one : ChartVariables(*type.section, problems)) {
    if (one.shown == first) inside = seen = true;
    if (inside && one.value == type.variable.value) here = true;
    if (one.shown == last) inside = false;
  }
  if (!seen)
    problems->Add(entry->valueAt, entry->value, "none of the values of the section's letter", "readonly = E..H");
  return here;
}

}  // namespace tonalith
