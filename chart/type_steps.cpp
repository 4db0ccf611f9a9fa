#include <algorithm>

#include "chart/type_lines.h"
#include "data/data_records.h"
#include "data/hex_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kFromDevice = 'd', kFromAnyDevice = '?';

constexpr std::uint8_t kCasio = 0x44;

bool HasData(const ChartMessage& message) {
  return message.First(ChartItemKind::kData) != nullptr;
}

// Writes how a data type is got and sent as steps of the module source.
class StepWriter {
 public:
  StepWriter(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
             const ChartAddress& address, ChartLines* lines, ChartProblems* problems)
      : chart_(chart), type_(type), layout_(layout), address_(address), lines_(*lines), problems_(*problems) {
    pause_ = Milliseconds("pause");
    within_ = Milliseconds("answer within");
    retries_ = chart_.Find(type_, "retries");
  }

  void Write() {
    if (type_.Find("script get") || type_.Find("script put")) return NoRetries("a script gets or sends it");
    if (type_.exchange) {
      for (const char* direction : {"get", "put"}) {
        direction_ = direction;
        if (std::any_of(type_.exchange->entries.begin(), type_.exchange->entries.end(),
                        [&](const ChartEntry& entry) { return entry.key == direction; }))
          Retries();
      }
      for (const ChartEntry& entry : type_.exchange->entries) {
        if (entry.key != "get" && entry.key != "put") continue;
        lines_.Put(entry.key, ExchangeStep(WithoutSentences(entry.value), type_.variable), entry.valueAt);
      }
      return;
    }
    const bool readonly = IsChartReadonly(type_, &problems_);
    if (type_.dump.empty()) return Area(readonly);
    const bool panel = !type_.get.empty() && type_.get.front().kind == ChartStep::Kind::kPanel;
    const bool needed = type_.patchwise || retries_ || HasManySums() || type_.putSaid || (type_.getSaid && !panel) ||
                        type_.dump.size() > 1 || !layout_.fileSize || layout_.leastSize || readonly ||
                        IsOfMakerWithProtocol() || HasOtherForms() || !type_.request.IsPlain(kPatchLetter) ||
                        !type_.dump.front().IsPlain(kPatchLetter);
    if (!needed || type_.dump.empty()) return;
    if (panel)
      PanelDump();
    else
      Get();
    if (readonly)
      lines_.Put("put", "no", type_.section->at);
    else
      Put();
  }

 private:
  // A place of the memory by the maker's own protocol.
  void Area(bool readonly) {
    if (address_.areas.empty()) return;
    const bool patchwise = type_.patchwise && type_.Has("patch by patch");
    if (!patchwise && !(type_.slots == 1 && type_.Find("patches")))
      return NoRetries("all that lies at an address goes in one piece");
    const ChartArea& area = address_.areas.front();
    for (const char* direction : {"get", "put"}) {
      direction_ = direction;
      if (direction_ == "put" && readonly) return Line("no", type_.section->at);
      Retries();
      Line("area " + area.Text(), area.at);
    }
    if (pause_) Line("pause " + Num(pause_), area.at);
  }

  // The program has exchanges of its own for data of these makers, which are not what the chart says.
  bool IsOfMakerWithProtocol() const {
    const ChartEntry* maker = chart_.Find("maker");
    const auto bytes = maker ? ParseHex(maker->value) : std::nullopt;
    return bytes && bytes->size() == 1 && (bytes->front() == kRolandId || bytes->front() == kCasio);
  }

  // Checksums that the one of the record does not say.
  bool HasManySums() const {
    std::size_t sums = 0;
    for (const ChartMessage& message : type_.dump)
      for (const ChartItem& item : message.items)
        if (item.kind == ChartItemKind::kSum) sums += item.times;
    return sums > 1 || type_.Find("inner sum");
  }

  // 0 without the entry.
  int Milliseconds(const char* key) {
    const ChartEntry* entry = chart_.Find(type_, key);
    return entry ? ChartMilliseconds(entry->cell, &problems_) : 0;
  }

  void Line(const std::string& step, ChartPlace at) { lines_.Put(direction_, step, at); }

  // Where nothing comes, the transfer tries again.
  void Retries() {
    if (retries_) Line("retries " + retries_->value, retries_->valueAt);
  }
  void NoRetries(const char* why) {
    if (const ChartEntry* said = type_.Find("retries"))
      problems_.Add(said->keyAt, said->key, std::string("it is asked for again as the preferences say: ") + why);
  }

  // Between two steps; behind the last one as well when the next patch follows.
  void Between(ChartPlace at, bool last) {
    if (pause_ && (!last || type_.patchwise)) Line("pause " + Num(pause_), at);
  }

  // The bytes of a message as the steps write them.
  std::string Bytes(const ChartMessage& message, bool pattern, bool head = false) {
    std::string text;
    const auto put = [&](const std::string& byte) { text += (text.empty() ? "" : " ") + byte; };
    for (const ChartItem& item : head ? message.Head() : message.items) {
      if (item.kind == ChartItemKind::kSum) {
        put(pattern ? "??" : "00");
      } else if (item.kind == ChartItemKind::kData) {
        problems_.Add(item.at, {}, "a message of a step holds no data, except that of the data type");
      } else if (item.kind == ChartItemKind::kCount) {
        for (const int byte : FixedBytes(item, chart_, type_)) put(HexPair(byte));
      } else if (item.kind == ChartItemKind::kByte) {
        put(Byte(item, pattern));
      }
    }
    return text;
  }

  std::string Byte(const ChartItem& item, bool pattern) {
    const ChartByte& byte = item.byte;
    const ChartKnownByte known = KnownByte(byte, chart_, type_);
    if (!known.open) return HexPair(known.value);
    if (byte.use == ChartUse::kNone) return pattern ? "??" : HexPair(known.value);
    const bool device = byte.variable == chart_.device.letter;
    if (device) {
      const int place = type_.dump.front().PlaceOf(chart_.device.letter);
      if (filter_) return Filtered(byte);
      // The number goes to this place by itself.
      if (static_cast<int>(item.offset) == place && byte.use != ChartUse::kHighDigit) return HexPair(known.value);
    } else if (byte.variable != kPatchLetter && byte.variable != kTurnLetter) {
      return "??";
    } else if (pattern && (!type_.patchwise || byte.variable == kTurnLetter)) {
      return "??";
    }
    const std::string name = device ? "device" : byte.variable == kTurnLetter ? "turn" : Patch();
    if (byte.part != ChartPart::kAll)
      return name + (byte.part == ChartPart::kLow ? "&127" : "/128") + (byte.base ? "+" + Num(byte.base) : "");
    // "All devices" is no digit.
    if (device && byte.use == ChartUse::kLowDigit) return "device&15+" + Num(byte.base);
    if (byte.use == ChartUse::kHighDigit) return name + "*16" + (byte.base ? "+" + Num(byte.base) : "");
    if (byte.base == 0) return name;
    return byte.base > 0 ? HexPair(byte.base) + "+" + name : name + "-" + Num(-byte.base);
  }

  // The number of the patch in messages.
  std::string Patch() const {
    const int first = type_.patchwise ? ChartFirstPatch(type_) : 0;
    return first ? "patch+" + Num(first) : "patch";
  }

  // The device number in front of data that is waited for.
  std::string Filtered(const ChartByte& byte) const {
    if (filter_ == kFromAnyDevice || byte.use == ChartUse::kHighDigit) return "??";
    return byte.base == 0 ? std::string("device") : "device&15+" + Num(byte.base);
  }

  // The bytes in front of data that is waited for.
  std::string Front(const ChartMessage& message, char devices) {
    filter_ = devices;
    std::string text = Trimmed(Bytes(message, true, true));
    filter_ = 0;
    return text;
  }

  std::string Sum(const ChartMessage& message) const {
    const ChartItem* sum = message.First(ChartItemKind::kSum);
    return sum ? " | sum " + Num(sum->sum) + " " + Num(sum->sumFrom) + " " + Num(sum->sumSize) + " " + Num(sum->offset)
               : "";
  }

  std::string Within() const { return within_ ? " | within " + Num(within_) : ""; }

  std::string Answer(const ChartStep& step) {
    const int within = step.ms ? step.ms : within_;
    return " | answer " + Bytes(step.answer, true) + Refusal(step) + (within ? " | within " + Num(within) : "") +
           (step.anyway ? " | anyway" : "");
  }

  // What the port waits for has the device number where the data has it.  An answer that has it in another place is
  // looked into by the exchange itself: that needs the word that says no, or which byte it may have another value in.
  std::string Refusal(const ChartStep& step) {
    const int place = chart_.device.letter ? type_.dump.front().PlaceOf(chart_.device.letter) : -1;
    if (place < 0 || step.answer.PlaceOf(chart_.device.letter) == place || HasData(step.answer)) return {};
    if (static_cast<std::uint32_t>(place) >= step.answer.size) return {};
    for (const ChartStep::Refusal& refusal : step.refused)
      if (refusal.message.size == step.answer.size) return " | refused " + Bytes(refusal.message, true);
    ChartMessage other = step.answer;
    for (auto item = other.items.rbegin(); item != other.items.rend(); ++item) {
      if (item->kind != ChartItemKind::kByte || item->byte.base == 0xF7 || item->byte.mask != 0xFF) continue;
      if (item->byte.use != ChartUse::kNone) continue;
      item->byte.mask = 0;
      break;
    }
    return " | refused " + Bytes(other, true);
  }

  void Get() {
    direction_ = "get";
    std::vector<ChartStep> steps = type_.get;
    if (!type_.getSaid && type_.request.empty()) return;
    Retries();
    if (!type_.getSaid) {
      ChartStep ask;
      ask.at = type_.request.at;
      ask.message = type_.request;
      steps.push_back(ask);
    }
    const std::size_t asks = static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [&](const ChartStep& step) { return IsGot(step); }));
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const ChartStep& step = steps[i];
      const bool last = i + 1 == steps.size();
      switch (step.kind) {
        case ChartStep::Kind::kPause:
          Line("pause " + Num(step.ms), step.at);
          continue;
        case ChartStep::Kind::kIgnore:
          Line("ignore " + step.name, step.at);
          continue;
        case ChartStep::Kind::kListen:
          Line("listen | answer " + Front(type_.dump.front(), kFromAnyDevice) + Several(), step.at);
          break;
        case ChartStep::Kind::kMessage:
          if (step.answered ? IsGot(step) : asks == 0 && IsLastMessage(steps, i))
            Ask(step, asks > 1);
          else
            Line("send " + Bytes(step.message, false) + (step.answered ? Answer(step) : "") + Sum(step.message) +
                     Live(step),
                 step.at);
          break;
        default:
          Line("no", step.at);
      }
      Between(step.at, last);
    }
  }

  // What is sent at the panel is waited for.
  void PanelDump() {
    direction_ = "get";
    Line("listen | answer " + Front(type_.dump.front(), kFromAnyDevice) + Several(), type_.get.front().at);
    Between(type_.get.front().at, true);
  }

  static bool IsLastMessage(const std::vector<ChartStep>& steps, std::size_t i) {
    return std::none_of(steps.begin() + static_cast<std::ptrdiff_t>(i) + 1, steps.end(),
                        [](const ChartStep& step) { return step.kind == ChartStep::Kind::kMessage; });
  }

  std::string Several() const { return type_.dump.size() > 1 ? " | several" : ""; }

  // Without the open bytes at the end.
  static std::string Trimmed(std::string pattern) {
    while (pattern.ends_with(" ??")) pattern.resize(pattern.size() - 3);
    return pattern;
  }

  void Ask(const ChartStep& step, bool sized) {
    std::string text = "ask " + Bytes(step.message, false) + Sum(step.message);
    const bool other = IsGot(step) && PatternOf(step.answer, chart_, type_) != PatternOf(FirstInFiles(), chart_, type_);
    if (sized)
      text += " | size " + Num(step.answer.size);
    else if (other)
      text += " | answer " + Front(step.answer, kFromDevice);
    if (step.times > 1) Line("repeat " + Num(step.times), step.at);
    Line(text + Within() + (sized ? std::string() : Several()), step.at);
    if (step.times > 1) Line("end", step.at);
  }

  // What answers are taken as when nothing is said.
  const ChartMessage& FirstInFiles() const {
    if (!type_.forms.empty() && type_.Find("file"))
      for (const auto& [name, message] : type_.forms.front().messages)
        if (HasData(message)) return message;
    return type_.dump.front();
  }

  void Put() {
    direction_ = "put";
    std::vector<ChartStep> steps = type_.put;
    if (!type_.putSaid) {
      ChartStep dump;
      dump.at = type_.dump.front().at;
      dump.name = type_.patchwise ? "each" : "dump";
      dump.message = type_.dump.front();
      steps.push_back(dump);
    }
    if (std::none_of(steps.begin(), steps.end(), [&](const ChartStep& step) { return IsSent(step); })) {
      problems_.Add(steps.empty() ? type_.section->at : steps.front().at, {}, "no step sends the data", "put = dump");
      return;
    }
    Retries();
    // What goes into the data stands before everything that sends some of it.
    for (const ChartStep& step : steps)
      if (step.kind == ChartStep::Kind::kMessage && IsSent(step)) Stamp(step);
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const ChartStep& step = steps[i];
      if (step.kind == ChartStep::Kind::kPause) {
        Line("pause " + Num(step.ms), step.at);
        continue;
      }
      if (IsSent(step))
        Data(step);
      else
        Line("send " + Bytes(step.message, false) + (step.answered ? Answer(step) : "") + Sum(step.message) +
                 (SaidAgain(steps, i) ? " | live" : Live(step)),
             step.at);
      Between(step.at, i + 1 == steps.size());
    }
  }

  // What is said twice, in case it is lost on the way, stands in a file once.
  static bool SaidAgain(const std::vector<ChartStep>& steps, std::size_t i) {
    return !steps[i].name.empty() && std::any_of(steps.begin() + static_cast<std::ptrdiff_t>(i) + 1, steps.end(),
                                                 [&](const ChartStep& later) { return later.name == steps[i].name; });
  }

  // What no form in files has is sent to the instrument only.
  std::string Live(const ChartStep& step) const {
    for (const ChartForm& form : type_.forms)
      for (const auto& [name, message] : form.messages)
        if (!step.name.empty() && name == step.name) return {};
    return step.answered || !step.name.empty() ? " | live" : "";
  }

  // All messages of the data, of a patch in a bank that goes patch by patch; the first one may hold none of it.
  bool IsWholeName(const std::string& name) const { return name == (type_.patchwise ? "each" : "dump"); }
  bool IsWhole(const ChartStep& step) const { return IsWholeName(step.name); }
  bool IsSent(const ChartStep& step) const { return IsWhole(step) || HasData(step.message); }
  bool IsGot(const ChartStep& step) const {
    return step.answered && (IsWholeName(step.answerName) || HasData(step.answer));
  }

  // Numbers and other bytes of the message that the image may have otherwise.
  void Stamp(const ChartStep& step) {
    std::vector<std::pair<std::uint32_t, std::string>> stamps;  // place and bytes
    std::uint32_t place = 0;
    for (const ChartMessage& image : type_.dump) {
      const ChartMessage& sent = IsWhole(step) ? image : step.message;
      bool open = false;
      for (const ChartItem& item : sent.Head()) {
        const bool needed = item.kind == ChartItemKind::kByte && NeedsStamp(item, sent, image);
        if (needed && !open) stamps.emplace_back(place + item.offset, std::string());
        if (needed) stamps.back().second += " " + StampByte(item);
        open = needed;
      }
      place += image.size;
      if (!IsWhole(step)) break;
    }
    for (std::size_t i = 0; i < stamps.size();) {
      // What stands in several places at the same distance is one step.
      std::size_t end = i + 1;
      const std::uint32_t distance = end < stamps.size() ? stamps[end].first - stamps[i].first : 0;
      while (end < stamps.size() && stamps[end].second == stamps[i].second &&
             stamps[end].first - stamps[end - 1].first == distance)
        ++end;
      const std::string repeat =
          end > i + 1 ? " | times " + Num(static_cast<std::int64_t>(end - i)) + " | step " + Num(distance) : "";
      Line("set " + Num(stamps[i].first) + ":" + stamps[i].second + repeat, step.at);
      i = end;
    }
  }

  std::string StampByte(const ChartItem& item) {
    const bool device = item.byte.variable && item.byte.variable == chart_.device.letter;
    return device && item.byte.use == ChartUse::kWhole && item.byte.base == 0 ? "device" : Byte(item, false);
  }

  bool NeedsStamp(const ChartItem& item, const ChartMessage& sent, const ChartMessage& image) const {
    const ChartByte& byte = item.byte;
    if (byte.variable && byte.variable == chart_.device.letter)
      return std::any_of(sent.items.begin(), sent.items.end(), [&](const ChartItem& one) {
        return one.kind == ChartItemKind::kSum && one.sumFrom <= item.offset && item.offset < one.sumFrom + one.sumSize;
      });
    if (!address_.areas.empty() && IsWholeAddress(item, sent)) return true;
    // A patch that stays where it is goes out with the number that it has.
    if (byte.variable == kPatchLetter) return type_.patchwise || type_.Find("patches") != nullptr;
    if (byte.variable) return type_.patchwise;
    if (byte.mask != 0xFF) return false;
    if (Differs(item, image)) return true;
    for (const ChartStep& step : type_.get)
      if (type_.dump.size() == 1 && step.answered && KeptAs(image, step.answer) && Differs(item, step.answer))
        return true;
    return DiffersInForms(item, image);
  }

  // Data that was read in another form keeps that one's bytes: a place in a memory, where the dump has none.
  bool DiffersInForms(const ChartItem& item, const ChartMessage& image) const {
    const auto place = static_cast<std::size_t>(&image - type_.dump.data());
    const auto differs = [&](const ChartMessage& message) { return KeptAs(image, message) && Differs(item, message); };
    for (const ChartForm& form : type_.forms) {
      if (type_.dump.size() > 1) {
        if (place < form.messages.size() && differs(form.messages[place].second)) return true;
      } else if (std::any_of(form.messages.begin(), form.messages.end(),
                             [&](const auto& one) { return differs(one.second); })) {
        return true;
      }
    }
    return false;
  }

  // A message that stands in the image byte by byte where `image` does.  Forms of any size are different data.
  static bool KeptAs(const ChartMessage& image, const ChartMessage& message) {
    return image.size && message.size == image.size;
  }

  // The dump is not what was read: its own bytes have to be put into it.
  bool HasOtherForms() const {
    return std::any_of(type_.dump.begin(), type_.dump.end(), [&](const ChartMessage& image) {
      const std::vector<ChartItem> head = image.Head();
      return std::any_of(head.begin(), head.end(), [&](const ChartItem& item) {
        return item.kind == ChartItemKind::kByte && !item.byte.variable && item.byte.mask == 0xFF &&
               DiffersInForms(item, image);
      });
    });
  }

  // A byte of the address in which the places of the data differ.
  bool IsWholeAddress(const ChartItem& item, const ChartMessage& sent) const {
    const ChartItem* data = sent.First(ChartItemKind::kData);
    if (!data || item.offset + address_.addressBytes < data->offset) return false;
    return address_.Varies(item.offset + address_.addressBytes - data->offset);
  }

  // The other message may have another byte in this place.
  static bool Differs(const ChartItem& item, const ChartMessage& other) {
    return std::any_of(other.items.begin(), other.items.end(), [&](const ChartItem& one) {
      return one.offset == item.offset && one.kind == ChartItemKind::kByte &&
             (one.byte.mask != 0xFF || one.byte.base != item.byte.base);
    });
  }

  // The data, with the pauses inside it.
  void Data(const ChartStep& step) {
    const std::string answer = step.answered ? Answer(step) : "";
    if (!IsWhole(step) && layout_.oneSize && step.message.size != layout_.oneSize)
      problems_.Add(step.at, {}, "what is sent has another size than the data", Num(layout_.oneSize) + " bytes");
    std::vector<std::string> parts;
    if (!IsWhole(step)) {
      Parts(step.message, &parts);
    } else {
      for (const ChartMessage& message : type_.dump) {
        if (!parts.empty() && pause_) parts.push_back("pause " + Num(pause_));
        Parts(message, &parts);
      }
    }
    Fold(&parts);
    const bool one = parts.size() == 1;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const bool last = i + 1 == parts.size() && !answer.empty();
      if (last && !parts[i].starts_with("data")) problems_.Add(step.at, {}, "what is answered ends with data");
      Line((one ? "data" : parts[i]) + (last ? answer : ""), step.at);
    }
  }

  // `data 267, pause 50` several times becomes a loop.
  static void Fold(std::vector<std::string>* parts) {
    std::size_t begin = parts->size();
    while (begin >= 4 && (*parts)[begin - 1] == parts->back() && (*parts)[begin - 2] == (*parts)[parts->size() - 2] &&
           (*parts)[begin - 2].starts_with("pause"))
      begin -= 2;
    const std::size_t turns = (parts->size() - begin) / 2;
    if (turns < 2) return;
    const std::string pause = (*parts)[parts->size() - 2], data = parts->back();
    parts->resize(begin);
    parts->insert(parts->end(), {"repeat " + Num(static_cast<std::int64_t>(turns)), pause, data, "end"});
  }

  static void Parts(const ChartMessage& message, std::vector<std::string>* parts) {
    std::uint32_t sent = 0;
    for (const ChartItem& item : message.items) {
      if (item.kind != ChartItemKind::kPause) continue;
      const std::string pause = "pause " + Num(item.pauseMs);
      if (item.offset > sent) parts->push_back("data " + Num(item.offset - sent));
      if (item.times > 1) {
        parts->insert(parts->end(), {"repeat " + Num(item.times - 1), pause, "data " + Num(item.stride), "end"});
      }
      sent = item.offset + item.stride * (item.times - 1);
      parts->push_back(pause);
    }
    if (message.size > sent || parts->empty()) parts->push_back("data " + Num(message.size - sent));
  }

  const ChartInstrument& chart_;
  const ChartType& type_;
  const ChartLayout& layout_;
  const ChartAddress& address_;
  ChartLines& lines_;
  ChartProblems& problems_;
  std::string direction_ = "get";
  int pause_ = 0, within_ = 0;
  const ChartEntry* retries_ = nullptr;
  char filter_ = 0;  // what the device number is in the pattern that is written
};

// An option of a step that refuses: where it and its message begin, and the quotes of its sentence.
struct RefusalAt {
  std::size_t begin = 0, pattern = 0, open = 0, close = 0;
};
std::vector<RefusalAt> RefusalsIn(const std::string& step) {
  constexpr std::string_view kOption = "| refused ";
  std::vector<RefusalAt> found;
  for (std::size_t at = step.find(kOption); at != std::string::npos; at = step.find(kOption, at + 1)) {
    const std::size_t end = step.find('|', at + 1), open = step.find('"', at);
    const std::size_t close = open == std::string::npos ? open : step.find('"', open + 1);
    if (open < end && close != std::string::npos) found.push_back({at, at + kOption.size(), open, close});
  }
  return found;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> ExchangeRefusals(const std::string& step) {
  std::vector<std::pair<std::string, std::string>> refusals;
  for (const RefusalAt& one : RefusalsIn(step)) {
    std::string pattern;
    for (const std::string& word : SplitText(step.substr(one.pattern, one.open - one.pattern), ' ')) {
      if (word.empty()) continue;
      const bool known = word.size() == 2 && word.find_first_not_of("0123456789ABCDEF?") == std::string::npos;
      pattern += (pattern.empty() ? "" : " ") + (known ? word : std::string("??"));
    }
    refusals.emplace_back(pattern, step.substr(one.open + 1, one.close - one.open - 1));
  }
  return refusals;
}

std::string ExchangeStep(const std::string& step, const ChartVariable& variable) {
  const std::string byte = std::string("{") + variable.letter + " byte}";
  return ChartShown(ReplaceAll(step, byte, HexPair(variable.value)), variable);
}

std::string WithoutSentences(const std::string& step) {
  std::string text = step;
  const std::vector<RefusalAt> refusals = RefusalsIn(step);
  // Every other word than the answer refuses: the step needs one of them.
  for (auto one = refusals.rbegin(); one != refusals.rend(); ++one) {
    const std::size_t from = one + 1 == refusals.rend() ? one->open : one->begin;
    text.erase(from, one->close + 1 - from);
  }
  return text;
}

void PutSteps(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
              const ChartAddress& address, ChartLines* lines, ChartProblems* problems) {
  StepWriter(chart, type, layout, address, lines, problems).Write();
}

}  // namespace tonalith
