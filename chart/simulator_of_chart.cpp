#include "chart/simulator_of_chart.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "chart/chart_variant.h"
#include "chart/inquiry.h"
#include "chart/simulator_changes.h"
#include "chart/simulator_pattern.h"
#include "chart/type_lines.h"
#include "chart/type_parameters.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// Keys of areas and messages: letters, digits and '_'.
std::string KeyOf(std::string_view name) {
  std::string key;
  for (const char c : AsciiLower(name)) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (plain || (!key.empty() && key.back() != '_')) key += plain ? c : '_';
  }
  while (key.ends_with('_')) key.pop_back();
  return key.empty() ? "data" : key;
}

// A pattern whatever numbers its patches have.
std::string Alike(const std::string& pattern) {
  std::string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    text += pattern[i];
    if (pattern[i] == '{') i = pattern.find('}', i);
  }
  return text;
}

// It says which item its data is, `{item}` or `{item_high:...}`; `{items:...}` says how many.
bool NamesItem(std::string_view pattern) {
  return pattern.find("{item}") != std::string_view::npos || pattern.find("{item:") != std::string_view::npos ||
         pattern.find("{item_") != std::string_view::npos;
}

class SimulatorWriter {
 public:
  explicit SimulatorWriter(const ChartInstrument& chart) : chart_(chart) {}

  ChartSimulator Write() {
    ChartSimulator out;
    for (const ChartType& type : chart_.types) {
      const Parts before = parts_;
      std::string why;
      if (One(type, &why)) {
        out.present.push_back(type.name);
        continue;
      }
      parts_ = before;
      out.missing.push_back({type.name, why});
    }
    if (!out.present.empty()) out.text = Text();
    return out;
  }

 private:
  // The memory of a bank that comes in one message.
  struct WholeBank {
    std::string area;
    int bytes = 0;  // of a patch
  };

  // What has been said so far.
  struct Parts {
    std::string areas, links, messages, rules, status;
    std::string dump;
    std::map<std::string, std::string> areaOf;   // by the pattern of a message and its size
    std::map<std::string, std::string> matches;  // patterns of rules, with what they do
    std::map<std::string, std::string> statuses;
    std::set<std::string> keys, buffers;        // of edit buffers
    std::map<std::string, std::string> places;  // areas by address
    std::map<std::string, WholeBank> banks;     // by their names
    bool roland = false, handshake = false;
  };

  void Put(std::string* block, const std::string& key, const std::string& value) const {
    *block += key + " = " + value + "\n";
  }

  std::string NewKey(const std::string& wanted) {
    std::string key = KeyOf(wanted);
    for (int i = 2; !parts_.keys.insert(key).second; ++i) key = KeyOf(wanted) + "_" + std::to_string(i);
    return key;
  }

  std::string Text() const {
    std::string text = "# Made from the chart of the " + chart_.head->name + ".\n[instrument]\n";
    Put(&text, "key", KeyOf(chart_.head->name));
    Put(&text, "name", chart_.head->name);
    if (chart_.device.first) Put(&text, "device_base", std::to_string(chart_.device.first));
    const int device = std::max(chart_.device.standard, chart_.device.first) - chart_.device.first;
    if (device) Put(&text, "device", std::to_string(device));
    if (!parts_.dump.empty()) Put(&text, "dump", parts_.dump.substr(1));
    text += parts_.areas + parts_.links;
    if (!parts_.status.empty()) text += "\n[status]\n" + parts_.status;
    if (parts_.roland) {
      ChartProblems ignored((std::string()));
      const ChartAddress address = AddressOf(chart_, chart_.types.front(), &ignored);
      text += "\n[roland]\n";
      Put(&text, "model", "0x" + address.model);
      Put(&text, "address_bytes", std::to_string(address.addressBytes));
      Put(&text, "packet", std::to_string(address.pieces));
      Put(&text, "crosses", "yes");
      if (parts_.handshake) Put(&text, "handshake", "yes");
    }
    return text + parts_.messages + parts_.rules + Inquiry();
  }

  // How it is found.
  std::string Inquiry() const {
    ChartProblems ignored((std::string()));
    const auto inquiry = ReadChartInquiry(chart_, &ignored);
    if (!inquiry) return {};
    std::string why;
    const ChartType& any = chart_.types.front();
    const auto reply = SimulatorPattern(chart_, any, inquiry->reply, inquiry->reply.items.size(), &why);
    std::optional<std::string> request = "F0 7E ? 06 01 F7";
    if (inquiry->own) request = SimulatorPattern(chart_, any, inquiry->request, inquiry->request.items.size(), &why);
    if (!reply || !request || parts_.matches.contains(*request)) return {};
    return "\n[rule found]\nmatch = " + *request + "\nreply = " + *reply + "\n";
  }

  bool One(const ChartType& type, std::string* why) {
    const auto cannot = [&](const char* reason) { return *why = reason, false; };
    if (type.Find("script get") || type.Find("script put")) return cannot("a script gets or sends it");
    if (type.exchange) return cannot("its exchange has steps that descriptions do not know");
    if (chart_.Find("coded")) return cannot("it goes in pieces of coded text");
    for (const ChartEntry& entry : type.section->entries)
      if (entry.key == "inner sum") return cannot("it has checksums inside its data");
    if (type.dump.empty()) return ByAddress(type, why);
    const Parts before = parts_;
    std::string ignored;
    if (const auto one = InBank(type)) {
      if (ByMessages(*one, &ignored, &parts_.banks.at(chart_.HolderOf(type)->name))) return true;
      parts_ = before;
    }
    return ByMessages(type, why);
  }

  // A single patch that says its place in a bank that comes in one message: as one of its patches.
  std::optional<ChartType> InBank(const ChartType& type) const {
    const ChartType* bank = chart_.HolderOf(type);
    if (!bank || !parts_.banks.contains(bank->name) || type.slots != 1 || type.dump.size() != 1 ||
        !SaysPatch(type.dump.front()))
      return std::nullopt;
    std::string first, last;
    if (!SplitChartRange(ChartPatchRange(type), &first, &last)) return std::nullopt;
    const auto low = ParseInteger(first), high = ParseInteger(last);
    if (!low || !high || *high - *low + 1 != bank->slots) return std::nullopt;
    ChartType one = type;
    one.slots = bank->slots;
    one.patchwise = true;
    return one;
  }

  // --- Data by address
  bool ByAddress(const ChartType& type, std::string* why) {
    ChartProblems problems((std::string()));
    const ChartAddress address = AddressOf(chart_, type, &problems);
    if (problems.any() || address.areas.empty()) return *why = "it has no place in the memory", false;
    if (address.addressBytes < 3) return *why = "descriptions know addresses of three and four bytes", false;
    parts_.roland = true;
    parts_.handshake = parts_.handshake || type.Has("handshake");
    const bool bank = address.areas.front().slots > 1;
    const std::uint32_t bytes =
        bank ? std::max(address.room, address.bytes) : std::max({address.bytes, address.room, address.allBytes});
    for (const ChartArea& area : address.areas) {
      // Another way to what lies there already.
      if (!parts_.places.try_emplace(area.base, type.name).second) continue;
      const std::string key = NewKey(type.fileName);
      std::string* text = &parts_.areas;
      *text += "\n[area " + key + "]\n";
      Put(text, "label", type.name);
      Put(text, "items", std::to_string(std::max(area.slots, 1)));
      Put(text, "bytes", std::to_string(bytes));
      Name(type, static_cast<int>(bytes), true, text);
      Put(text, "address", area.base);
      if (area.slots > 1) Put(text, "stride", area.step);
    }
    return true;
  }

  // --- Data in messages of its own
  // `bank`: where the patches of the data type lie already.
  bool ByMessages(const ChartType& type, std::string* why, const WholeBank* bank = nullptr) {
    std::vector<SimulatorBody> bodies;
    std::vector<std::string> heads;
    int bytes = 0;
    for (const ChartMessage& kept : type.dump) {
      const ChartMessage& message = Answered(type, kept);
      const auto body = SimulatorBodyOf(type, message, why);
      if (!body) return false;
      const auto head = SimulatorPattern(chart_, type, message, body->head, why);
      if (!head) return false;
      bodies.push_back(*body);
      heads.push_back(*head);
      bytes += body->bytes;
    }
    const bool several = type.dump.size() > 1;
    if (several && std::any_of(bodies.begin(), bodies.end(), [](const auto& body) { return body.items > 1; }))
      return *why = "several messages with several patches in each", false;
    if (bank && (bank->bytes != bytes || !bodies.front().unpacked)) return false;
    const bool numbered = SaysPatch(type.dump.front());
    if (type.patchwise && !numbered) return ByEditBuffer(type, bodies, heads, bytes, why);
    const int items = type.patchwise ? type.slots : bodies.front().items;
    const std::string known = Alike(heads.front()) + " " + std::to_string(bytes);
    // A single patch that says its place lies in the bank; a part of other data is the same memory.
    const bool inOther = !type.patchwise && type.slots == 1 && !several;
    std::string messages;
    if (const auto other = parts_.areaOf.find(known); inOther && other != parts_.areaOf.end()) {
      messages = other->second;
      if (parts_.buffers.contains(messages)) PutChanges(type, bodies, messages);
    } else {
      messages = PutData(type, bodies, heads, items, bytes, why, bank);
      if (messages.empty()) return false;
      if (!type.patchwise && !several && items > 1 && items == type.slots && bodies.front().unpacked)
        parts_.banks.try_emplace(type.name, WholeBank{messages, bytes});
      if (items == 1) PutChanges(type, bodies, SplitText(messages, ' ').front());
      const std::vector<std::string> keys = SplitText(messages, ' ');
      for (std::size_t i = 0; i < keys.size(); ++i)
        parts_.areaOf.try_emplace(Alike(heads[i]) + " " + std::to_string(bodies[i].bytes), keys[i]);
      for (const std::string& key : bank ? std::vector<std::string>() : keys)
        parts_.dump += " " + key + (type.patchwise ? "[0.." + std::to_string(items - 1) + "]" : "");
    }
    return Ask(type, messages, why) && PutOthers(type, {}, why);
  }

  static std::ptrdiff_t OpenBytes(const ChartMessage& message) {
    return std::count_if(message.items.begin(), message.items.end(), [](const ChartItem& item) {
      return item.kind == ChartItemKind::kByte && item.byte.mask != 0xFF;
    });
  }

  // What is kept in one form and comes in another that says more has the other one's bytes.
  static const ChartMessage& Answered(const ChartType& type, const ChartMessage& kept) {
    if (type.dump.size() == 1)
      for (const ChartStep& step : type.get)
        if (step.answered && step.answer.size == kept.size && step.answer.First(ChartItemKind::kData) &&
            OpenBytes(step.answer) < OpenBytes(kept))
          return step.answer;
    return kept;
  }

  // Patches that a program change or a message chooses, and another one stores.
  bool ByEditBuffer(const ChartType& type, const std::vector<SimulatorBody>& bodies,
                    const std::vector<std::string>& heads, int bytes, std::string* why) {
    if (!parts_.links.empty()) return *why = "descriptions have one bank that is chosen from", false;
    if (bodies.size() != 1) return *why = "several messages that do not say the patch", false;
    const ChartMessage* store = nullptr;
    std::string answer;
    for (const ChartStep& step : type.put)
      if (SaysPatch(step.message) && !step.message.First(ChartItemKind::kData)) {
        store = &step.message;
        answer = Answer(type, step, why);
      }
    const bool chooses = std::any_of(type.get.begin(), type.get.end(), [](const ChartStep& step) {
      return step.kind == ChartStep::Kind::kMessage && SaysPatch(step.message) && !step.message.items.empty() &&
             step.message.items.front().byte.base >> 4 == 0xC;
    });
    ChartProblems ignored((std::string()));
    if (!chooses || (!store && !IsChartReadonly(type, &ignored)))
      return *why = "its patches are neither chosen by a program change and stored by a message, nor in the data",
             false;
    if (!why->empty() || ChartFirstPatch(type) != 0) return *why = "its patches are numbered on from others", false;
    const std::string bank = NewKey(type.fileName + " memory");
    Area(type, bank, type.slots, bytes, bodies.front().unpacked);
    const std::string messages = PutData(type, bodies, heads, 1, bytes, why);
    if (messages.empty()) return false;
    parts_.areaOf.try_emplace(Alike(heads.front()) + " " + std::to_string(bytes), messages);
    parts_.buffers.insert(messages);
    parts_.links += "\n[link]\nbank = " + bank + "\nedit = " + messages + "\n";
    parts_.dump += " " + messages;
    if (store) {
      const auto match = SimulatorPattern(chart_, type, *store, store->items.size(), why);
      if (!match) return false;
      parts_.matches.emplace(*match, "store");
      parts_.rules +=
          "\n[rule " + NewKey("store") + "]\nmatch = " + *match + "\nstore = " + messages + " " + bank + "\n";
      if (!answer.empty()) Status("stored", answer);
    }
    return Ask(type, messages, why) && PutOthers(type, store, why);
  }

  void Area(const ChartType& type, const std::string& key, int items, int bytes, bool unpacked) {
    std::string* text = &parts_.areas;
    *text += "\n[area " + key + "]\n";
    Put(text, "label", type.name);
    if (items > 1) Put(text, "items", std::to_string(items));
    Put(text, "bytes", std::to_string(bytes));
    Name(type, bytes, unpacked, text);
  }

  // Only where characters are bytes of the patch.
  void Name(const ChartType& type, int bytes, bool unpacked, std::string* text) const {
    const ChartEntry* name = chart_.Find(type, "name");
    if (!name || !unpacked) return;
    const auto words = SplitText(name->value, ' ');
    const auto offset = ParseInteger(words.front());
    const auto length = words.size() > 1 ? ParseInteger(words[1]) : std::nullopt;
    if (words.size() != 2 || !offset || !length || *offset < 0 || *length < 1 || *offset + *length > bytes) return;
    Put(text, "name", words[0] + " " + words[1] + " ascii");
    Put(text, "factory_names", "words");
  }

  // What changes a parameter of the one patch in an area.
  void PutChanges(const ChartType& type, const std::vector<SimulatorBody>& bodies, const std::string& area) {
    if (bodies.size() != 1 || !bodies.front().unpacked) return;
    parts_.rules += SimulatorChanges(ParametersOf(chart_, type), ChangeDataOf(chart_, type), area, area);
  }

  // The area and its messages; their keys, with blanks between.
  std::string PutData(const ChartType& type, const std::vector<SimulatorBody>& bodies,
                      const std::vector<std::string>& heads, int items, int bytes, std::string* why,
                      const WholeBank* bank = nullptr) {
    const std::string first = NewKey(type.fileName), area = bank ? bank->area : first;
    if (!bank)
      Area(type, area, items, bytes,
           std::all_of(bodies.begin(), bodies.end(), [](const auto& body) { return body.unpacked; }));
    const std::string answer = DataAnswer(type, why);
    if (!why->empty()) return {};
    std::string keys;
    int offset = 0;
    for (std::size_t i = 0; i < bodies.size(); ++i) {
      const SimulatorBody& body = bodies[i];
      const std::string key = i ? NewKey(type.fileName) : first;
      std::string* text = &parts_.messages;
      *text += "\n[message " + key + "]\n";
      Put(text, "head", heads[i]);
      const std::string slice =
          bodies.size() > 1 ? "@" + std::to_string(offset) + "+" + std::to_string(body.bytes) : std::string();
      const bool numbered = items > 1 && NamesItem(heads[i]);
      const std::string which = area + (numbered ? "[item]" : body.items > 1 ? "[all]" : "");
      Put(text, "data", body.tail ? InTwo(which, offset, body) : which + slice + body.itemSum);
      if (body.leastItems) Put(text, "least_items", std::to_string(body.leastItems));
      if (body.packing != "plain") Put(text, "packing", body.packing);
      if (!body.checksum.empty()) Put(text, "checksum", body.checksum);
      if (!answer.empty()) Put(text, "answer", answer);
      offset += body.bytes;
      keys += (keys.empty() ? "" : " ") + key;
    }
    return keys;
  }

  // What is packed, and behind it what is not.
  static std::string InTwo(const std::string& which, int offset, const SimulatorBody& body) {
    const int packed = body.bytes - body.tail;
    const auto slice = [&](int from, int bytes) {
      return which + "@" + std::to_string(from) + "+" + std::to_string(bytes);
    };
    return slice(offset, packed) + " ; " + slice(offset + packed, body.tail) + " plain";
  }

  // --- What is asked and said
  bool Ask(const ChartType& type, const std::string& messages, std::string* why) {
    std::vector<ChartStep> steps = type.get;
    if (!type.getSaid && !type.request.empty()) {
      ChartStep ask;
      ask.message = type.request;
      steps = {ask};
    }
    const auto isMessage = [](const ChartStep& step) { return step.kind == ChartStep::Kind::kMessage; };
    const bool answered = std::any_of(steps.begin(), steps.end(), [&](const ChartStep& step) {
      return isMessage(step) && step.answered && step.answer.First(ChartItemKind::kData);
    });
    const auto last = std::find_if(steps.rbegin(), steps.rend(), isMessage);
    const std::vector<std::string> keys = SplitText(messages, ' ');
    const bool oneByOne = keys.size() > 1 && static_cast<std::size_t>(
                                                 std::count_if(steps.begin(), steps.end(), [&](const ChartStep& step) {
                                                   return isMessage(step) && step.answered;
                                                 })) == keys.size();
    std::size_t asked = 0;
    for (const ChartStep& step : steps) {
      if (!isMessage(step)) continue;
      if (step.times > 1) return *why = "one request is said several times", false;
      const bool asks = answered ? step.answered && step.answer.First(ChartItemKind::kData) : &step == &*last;
      const std::string sent = asks && oneByOne ? keys[asked++] : messages;
      if (!Said(type, step, asks ? "send = " + sent : std::string(), why)) return false;
    }
    return true;
  }

  // What goes with the data.
  bool PutOthers(const ChartType& type, const ChartMessage* store, std::string* why) {
    for (const ChartStep& step : type.put)
      if (step.kind == ChartStep::Kind::kMessage && !step.message.First(ChartItemKind::kData) &&
          &step.message != store && step.name != "dump" && step.name != "each" && !Said(type, step, {}, why))
        return false;
    return true;
  }

  // A rule for a message that holds no data.
  bool Said(const ChartType& type, const ChartStep& step, const std::string& does, std::string* why) {
    if (step.message.items.empty() || step.message.First(ChartItemKind::kData)) return true;
    if (step.message.items.front().byte.base != 0xF0) return true;  // chosen from the link
    const auto match = SimulatorPattern(chart_, type, step.message, step.message.items.size(), why);
    if (!match) return false;
    std::string action = does.empty() ? "do = nothing" : does;
    if (does.empty() && step.answered) {
      const auto reply = SimulatorPattern(chart_, type, step.answer, step.answer.items.size(), why);
      if (!reply) return false;
      action = "reply = " + *reply;
    }
    const auto [known, isNew] = parts_.matches.try_emplace(*match, action);
    if (!isNew && known->second != action) return *why = "another data type is asked for with the same message", false;
    if (!isNew) return true;
    parts_.rules += "\n[rule " + NewKey("said") + "]\nmatch = " + *match + "\n" + action + "\n";
    return true;
  }

  // The key of what is answered to the data.
  std::string DataAnswer(const ChartType& type, std::string* why) {
    for (const ChartStep& step : type.put) {
      const bool data = step.name == "dump" || step.name == "each" || step.message.First(ChartItemKind::kData);
      if (!data || !step.answered) continue;
      const std::string said = Answer(type, step, why);
      if (said.empty()) return {};
      for (const auto& [key, pattern] : parts_.statuses)
        if (pattern == said && key != "refused") return key;
      const std::string key = "taken" + std::to_string(parts_.statuses.size());
      Status(key, said);
      return key;
    }
    return {};
  }

  // The pattern of an answer; what refuses is noted as well.
  std::string Answer(const ChartType& type, const ChartStep& step, std::string* why) {
    if (!step.answered) return {};
    const auto said = SimulatorPattern(chart_, type, step.answer, step.answer.items.size(), why);
    if (!step.refused.empty()) {
      const ChartMessage& no = step.refused.front().message;
      std::string ignored;
      if (const auto refused = SimulatorPattern(chart_, type, no, no.items.size(), &ignored))
        Status("refused", *refused);
    }
    return said.value_or("");
  }

  void Status(const std::string& key, const std::string& pattern) {
    if (parts_.statuses.try_emplace(key, pattern).second) Put(&parts_.status, key, pattern);
  }

  const ChartInstrument& chart_;
  Parts parts_;
};

}  // namespace

ChartSimulator SimulatorOfChart(std::string_view text, ChartProblems* problems, const std::string& variant) {
  const ChartText chart = VariantOfChart(ReadChartText(text, problems), variant, problems);
  const ChartInstrument instrument = ReadChartInstrument(chart, problems);
  if (problems->any() || instrument.types.empty()) return {};
  return SimulatorWriter(instrument).Write();
}

}  // namespace tonalith
