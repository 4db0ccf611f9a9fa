#include <algorithm>
#include <span>

#include "chart/chart_spelling.h"
#include "chart/type_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

const ChartItem* ItemWith(const ChartMessage& message, char variable) {
  for (const ChartItem& item : message.items)
    if (item.kind == ChartItemKind::kByte && item.byte.variable == variable && item.byte.part != ChartPart::kHigh)
      return &item;
  return nullptr;
}

// Writes how a data type looks in files as the forms of the module source.
class FormWriter {
 public:
  FormWriter(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
             const ChartAddress& address, ChartLines* lines, ChartProblems* problems)
      : chart_(chart), type_(type), layout_(layout), address_(address), lines_(*lines), problems_(*problems) {}

  void Write(const ChartLines& verify) {
    if (!address_.areas.empty()) {
      // Data that goes with acknowledgements is that of another type: files are taken as that.
      if (type_.Has("handshake")) return;
      PutAddressForm(type_, address_, &lines_);
      if (const std::string bank = Numbering({}); !bank.empty()) Put("numberAs", bank, type_.section->at);
      if (type_.Has("complete")) Put("complete", "1", type_.section->at);
      lines_.Append(verify);
      return;
    }
    std::vector<ChartForm> forms = type_.forms;
    if (forms.empty() || !type_.Find("file")) {
      ChartForm own;
      own.at = type_.dump.empty() ? type_.section->at : type_.dump.front().at;
      for (const ChartMessage& message : type_.dump)
        own.messages.emplace_back(type_.patchwise ? "each" : "dump", message);
      if (!own.messages.empty()) forms.insert(forms.begin(), std::move(own));
    }
    numbered_ = Numbering(forms);
    bool first = true;
    for (const ChartForm& form : forms) {
      if (form.onlyFor && (type_.variable.value != form.onlyValue || IsChosen(forms))) continue;
      if (form.messages.empty()) continue;
      if (!first) lines_.Put("or", form.at);
      Form(form);
      if (first) lines_.Append(verify);
      if (first) EmptyAnswer();
      first = false;
    }
    if (first) lines_.Append(verify);
  }

 private:
  // What is said in the first section holds for the banks that go patch by patch.
  void EmptyAnswer() {
    const ChartEntry* entry = chart_.Find(type_, "empty");
    if (!entry || (!type_.patchwise && !type_.Find("empty"))) return;
    ChartNames names;
    names.variables = "abcdefghijklmnopqrstuvwxyz";
    const ChartMessage message = ReadChartMessage(entry->cell, names, &problems_);
    if (message.First(ChartItemKind::kData)) return problems_.Add(entry->valueAt, entry->value, "it holds data");
    Put("emptyAnswer", PatternOf(message, chart_, type_) + " F7", entry->valueAt);
  }

  void Put(const std::string& key, const std::string& value, ChartPlace at) { lines_.Put(key, value, at); }

  // Another form says what chooses the bank, and knows what stands alone.
  bool IsChosen(const std::vector<ChartForm>& forms) const {
    return std::any_of(forms.begin(), forms.end(), [&](const ChartForm& form) {
      return !form.messages.empty() && !form.messages.front().second.First(ChartItemKind::kData) &&
             ItemWith(form.messages.front().second, type_.variable.letter);
    });
  }

  // The bank whose numbers patches get; empty when no form says a number.
  std::string Numbering(const std::vector<ChartForm>& forms) const {
    if (type_.slots > 1) return {};
    const ChartEntry* said = type_.Find("numbered as");
    const bool numbers = std::any_of(forms.begin(), forms.end(), [](const ChartForm& form) {
      return std::any_of(form.messages.begin(), form.messages.end(),
                         [](const auto& one) { return ItemWith(one.second, kPatchLetter) != nullptr; });
    });
    const bool memory =
        std::any_of(address_.areas.begin(), address_.areas.end(), [](const ChartArea& area) { return area.slots > 0; });
    if ((!said && !numbers && !memory) || (said && said->value == "none")) return {};
    const ChartType* bank = said ? chart_.TypeNamed(said->value) : chart_.HolderOf(type_);
    if (said && !bank) {
      std::vector<std::string> names;
      for (const ChartType& type : chart_.types) names.push_back(type.name);
      problems_.AddUnknown(said->valueAt, said->value, "the chart has no data type of this name",
                           NearestWords(said->value, names));
    }
    return bank ? bank->fileName : std::string();
  }

  void Form(const ChartForm& form) {
    // The messages of one patch, and what stands behind them.
    if (type_.slots > 1 && type_.patchwise && type_.dump.size() > 1 && form.messages.size() >= type_.dump.size())
      return Rows(form);
    std::vector<const ChartMessage*> data, others;
    const ChartMessage* before = nullptr;
    for (const auto& [name, message] : form.messages) {
      if (message.First(ChartItemKind::kData))
        data.push_back(&message);
      else if (data.empty() && type_.variable.letter && ItemWith(message, type_.variable.letter))
        before = &message;
      else
        others.push_back(&message);
    }
    if (data.empty()) {
      problems_.Add(form.at, {}, "a form in files needs a message with data");
      return;
    }
    if (before) Context(form, *before);
    const bool slots = type_.slots > 1 && (type_.patchwise || !IsImage(*data.front()));
    if (slots)
      Slots(form, *data.front(), others);
    else
      Messages(form);
  }

  // The message of the whole image.
  bool IsImage(const ChartMessage& message) const { return type_.dump.size() > 1 || message.size == layout_.oneSize; }

  // What chose the bank before.
  void Context(const ChartForm& form, const ChartMessage& before) {
    const ChartItem* letter = ItemWith(before, type_.variable.letter);
    std::string family;
    for (const ChartItem& item : before.items) {
      if (item.offset >= letter->offset) break;
      std::string byte = HexPair(KnownByte(item.byte, chart_, type_).value);
      if (!(item.byte.mask & 0xF0)) byte[0] = '?';
      if (!(item.byte.mask & 0x0F)) byte[1] = '?';
      family += (family.empty() ? "" : " ") + byte;
    }
    const bool alone = std::any_of(type_.forms.begin(), type_.forms.end(), [&](const ChartForm& other) {
      return other.onlyFor && other.onlyValue == type_.variable.value;
    });
    Put("context",
        family + " | " + HexPair(KnownByte(letter->byte, chart_, type_).value) + " | " + (alone ? "default" : "no"),
        form.at);
    chosen_ = true;
  }

  void Slots(const ChartForm& form, const ChartMessage& message, const std::vector<const ChartMessage*>& others) {
    std::string line = PatternOf(message, chart_, type_);
    const ChartItem* data = message.First(ChartItemKind::kData);
    const std::uint32_t voices = VoicesOf(message);
    const bool same =
        type_.patchwise && message.size == layout_.oneSize && layout_.data && data->offset == layout_.data->offset;
    if (!same) {
      if (!message.size) {
        problems_.Add(message.at, {}, "a message of one patch has a size");
        return;
      }
      const std::uint32_t front = std::min(layout_.voiceOffset, data->offset);
      const std::uint32_t skip = data->offset - front - LaidBefore(*data, layout_.data);
      std::uint32_t take = message.size - skip;
      if (type_.patchwise) take = std::min(take, layout_.oneSize);
      if (!type_.patchwise) take = std::min(layout_.voiceSize, message.size - 1 - skip);
      line += " | length " + Num(message.size) + " | skip " + Num(skip);
      if (take != message.size - skip) line += " | take " + Num(take);
    }
    if (voices) line = PatternOf(message, chart_, type_) + " | length " + Num(message.size);
    Put("message", line, message.at);
    Places(form, message, others, voices);
  }

  // A patch of several messages, the first of which says its place, or the one behind them.
  void Rows(const ChartForm& form) {
    const auto count = static_cast<std::ptrdiff_t>(type_.dump.size());
    std::uint32_t size = 0;
    for (const auto& [name, message] : std::span(form.messages).first(type_.dump.size())) {
      if (!message.size) problems_.Add(message.at, {}, "a message of one patch has a size");
      Put("message", PatternOf(message, chart_, type_) + " | length " + Num(message.size), message.at);
      size += message.size;
    }
    if (size != layout_.oneSize)
      problems_.Add(form.at, {}, "the messages of a patch in a file are those of its dump",
                    Num(layout_.oneSize) + " bytes");
    std::vector<const ChartMessage*> others;
    std::for_each(form.messages.begin() + count, form.messages.end(),
                  [&](const auto& one) { others.push_back(&one.second); });
    Places(form, form.messages.front().second, others, 0);
  }

  // How the slot of a message, or of those that begin with it, is known; `voices`: so many that it fills.
  void Places(const ChartForm& form, const ChartMessage& message, const std::vector<const ChartMessage*>& others,
              std::uint32_t voices) {
    const ChartItem* place = ItemWith(message, kPatchLetter);
    const ChartMessage* behind = nullptr;
    int high = message.HighPlaceOf(kPatchLetter);
    for (const ChartMessage* other : others)
      if (!place && ItemWith(*other, kPatchLetter)) {
        behind = other;
        place = ItemWith(*other, kPatchLetter);
        high = other->HighPlaceOf(kPatchLetter);
        break;
      }
    if (!place) {
      Put("slots", "order " + Num(type_.slots), form.at);
    } else {
      std::string slots = Num(place->offset) + " " + Num(First(*place)) + " " + Num(type_.slots);
      // To its end: bytes behind the number say what the instrument does with it.
      if (high >= 0) slots += " | high " + Num(high);
      if (behind && behind->Count(ChartItemKind::kByte) != behind->items.size())
        problems_.Add(behind->at, {}, "the message behind a patch consists of bytes", "F0 42 3n 03 11 pp F7");
      if (behind) slots += " | behind " + PatternOf(*behind, chart_, type_) + " F7";
      if (voices) slots += " | voices " + Num(voices);
      Put("slots", slots, form.at);
    }
    if (!place || (!type_.patchwise && !voices) || type_.Has("complete")) Put("complete", "1", form.at);
  }

  // Bytes in front of the data of a message that belong to the patch: bank and number inside it.
  static std::uint32_t LaidBefore(const ChartItem& data, const ChartItem* laid) {
    const bool inside = laid && laid->packing == 0 && data.packing == 0 && data.size < laid->size &&
                        laid->size - data.size <= data.offset;
    return inside ? laid->size - data.size : 0;
  }

  // How many patches a message brings that stands in the image as it is; 0: one, taken from the message.
  std::uint32_t VoicesOf(const ChartMessage& message) const {
    const ChartItem* data = message.First(ChartItemKind::kData);
    const bool whole =
        layout_.blockBytes && data && data->times > 1 && message.size == layout_.blockBytes + layout_.blockGap;
    return whole ? data->times : 0;
  }

  // The value of the byte for the first patch.
  int First(const ChartItem& item) const { return std::max(item.byte.base, 0) + ChartFirstPatch(type_); }

  void Messages(const ChartForm& form) {
    std::uint32_t at = 0;    // in the row of messages
    std::size_t number = 0;  // of the message with data
    std::string patch;
    for (const auto& [name, message] : form.messages) {
      if (type_.variable.letter && !message.First(ChartItemKind::kData) && chosen_ && at == 0) continue;
      Put("message", Message(form, message, &number), message.at);
      if (const ChartItem* place = ItemWith(message, kPatchLetter); place && patch.empty())
        patch =
            Num(at + place->offset) + Bank(message) + (place->byte.base > 0 ? " | first " + Num(place->byte.base) : "");
      at += message.size;
    }
    if (patch.empty() && numbered_.empty()) return;
    if (!patch.empty() && type_.slots == 1) Put("patchByte", patch, form.at);
    if (!numbered_.empty()) Put("numberAs", numbered_, form.at);
  }

  // Where the bank stands beside the number of the patch, and its first value.
  std::string Bank(const ChartMessage& message) const {
    if (const int high = message.HighPlaceOf(kPatchLetter); high >= 0) return " " + Num(high);
    for (const ChartItem& item : message.items) {
      if (item.kind != ChartItemKind::kByte || !item.byte.variable || item.byte.variable == kPatchLetter ||
          item.byte.variable == chart_.device.letter || item.byte.variable == type_.variable.letter)
        continue;
      const ChartType* bank = chart_.HolderOf(type_);
      const int first = bank ? bank->variable.value : 0;
      return " " + Num(item.offset) + (first ? " " + Num(first) : "");
    }
    return {};
  }

  // The byte that says how many patches there are, and the count of their bytes.
  static std::string Turns(const ChartMessage& message, const ChartItem& free) {
    std::string line;
    const std::uint32_t less = message.LessWith(free.leastTimes);
    for (const ChartItem& item : message.items) {
      if (item.turns) line += " | turns " + Num(item.offset) + " " + Num(free.leastTimes);
      if (item.kind == ChartItemKind::kCount && !item.leastTimes && item.offset < free.offset && item.sumSize >= less)
        line += " | sized " + Num(item.offset) + " " + Num(item.sumSize - less) + (item.lowFirst ? " low" : "");
    }
    return line;
  }

  std::string Message(const ChartForm& form, const ChartMessage& message, std::size_t* number) {
    std::string line = PatternOf(message, chart_, type_);
    const ChartItem* data = message.First(ChartItemKind::kData);
    if (!data) return line + " | length " + Num(message.size) + " | take 0";
    const std::size_t index = (*number)++;
    if (!message.size) {
      line += " | length any";
      if (!data->counted.empty())
        line += " | counted " + Num(data->counted[0]) + " " + Num(data->counted[1]) + " " + Num(data->counted[2]);
      else if (data->least)
        line += " | least " + Num(data->least) + (data->step > 1 ? " " + Num(data->step) : "");
      return line;
    }
    if (const ChartItem* free = message.Free())
      return line + " | length any | least " + Num(message.LeastSize()) + " " + Num(free->stride) +
             Turns(message, *free);
    const bool own = index < type_.dump.size() && message.size == type_.dump[index].size;
    if (form.messages.size() > 1) line += " | length " + Num(message.size);
    if (own || type_.dump.size() != 1) return line;
    if (form.messages.size() == 1) line += " | length " + Num(message.size);
    const ChartItem* place = type_.dump.front().First(ChartItemKind::kData);
    const std::uint32_t skip = data->offset - LaidBefore(*data, place);
    line += " | skip " + Num(skip) + " | at " + Num(place ? place->offset : 0);
    return line +
           (place && message.size - skip > layout_.fileSize - place->offset ? " | take " + Num(place->size) : "");
  }

  const ChartInstrument& chart_;
  const ChartType& type_;
  const ChartLayout& layout_;
  const ChartAddress& address_;
  ChartLines& lines_;
  ChartProblems& problems_;
  std::string numbered_;
  bool chosen_ = false;
};

}  // namespace

void PutForms(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
              const ChartAddress& address, const ChartLines& verify, ChartLines* lines, ChartProblems* problems) {
  FormWriter(chart, type, layout, address, lines, problems).Write(verify);
}

}  // namespace tonalith
