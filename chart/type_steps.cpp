#include <algorithm>

#include "chart/type_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

std::string Num(std::int64_t number) {
  return std::to_string(number);
}

constexpr char kFromDevice = 'd', kFromAnyDevice = '?';

bool HasData(const ChartMessage& message) {
  return message.First(ChartItemKind::kData) != nullptr;
}

// Writes how a data type is got and sent as steps of the module source.
class StepWriter {
 public:
  StepWriter(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout, ChartLines* lines,
             ChartProblems* problems)
      : chart_(chart), type_(type), layout_(layout), lines_(*lines), problems_(*problems) {
    pause_ = Milliseconds("pause");
    within_ = Milliseconds("answer within");
  }

  void Write() {
    if (type_.Find("script get") || type_.Find("script put")) return;
    const bool readonly = IsReadonly();
    const bool panel = !type_.get.empty() && type_.get.front().kind == ChartStep::Kind::kPanel;
    const bool needed = type_.patchwise || HasManySums() || type_.putSaid || (type_.getSaid && !panel) || type_.dump.size() > 1 ||
                        !layout_.fileSize || readonly;
    if (!needed || type_.dump.empty()) return;
    if (!panel) Get();
    if (readonly)
      lines_.Put("put", "no", type_.section->at);
    else
      Put();
  }

 private:
  // Checksums that the one of the record does not say.
  bool HasManySums() const {
    std::size_t sums = 0;
    for (const ChartMessage& message : type_.dump)
      for (const ChartItem& item : message.items)
        if (item.kind == ChartItemKind::kSum) sums += item.times;
    return sums > 1;
  }

  bool IsReadonly() {
    if (type_.Has("readonly") || (!type_.put.empty() && type_.put.front().kind == ChartStep::Kind::kNone)) return true;
    const ChartEntry* entry = type_.Find("readonly");
    if (!entry) return false;
    std::string first, last;
    const bool range = SplitChartRange(entry->value, &first, &last);
    if (!range) first = last = entry->value;
    bool inside = false, seen = false, here = false;
    for (const ChartVariable& one : ChartVariables(*type_.section, &problems_)) {
      if (one.shown == first) inside = seen = true;
      if (inside && one.value == type_.variable.value) here = true;
      if (one.shown == last) inside = false;
    }
    if (!seen)
      problems_.Add(entry->valueAt, entry->value, "none of the values of the section's letter", "readonly = E..H");
    return here;
  }

  // `75 ms`, `3 s`; 0 without the entry.
  int Milliseconds(const char* key) {
    const ChartEntry* entry = chart_.Find(type_, key);
    if (!entry) return 0;
    std::string_view text = entry->value;
    const bool seconds = text.ends_with(" s");
    if (seconds || text.ends_with(" ms")) text.remove_suffix(seconds ? 2 : 3);
    const auto number = ParseInteger(text);
    if (!number || *number < 1 || *number > 60000 || text.size() == entry->value.size()) {
      problems_.Add(entry->valueAt, entry->value, "no time", "75 ms, 3 s");
      return 0;
    }
    return static_cast<int>(*number * (seconds ? 1000 : 1));
  }

  void Line(const std::string& step, ChartPlace at) { lines_.Put(direction_, step, at); }

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
    } else if (byte.variable != kPatchLetter) {
      return "??";
    } else if (pattern && !type_.patchwise && type_.slots > 1) {
      return "??";
    }
    const std::string name = device ? "device" : "patch";
    // "All devices" is no digit.
    if (device && byte.use == ChartUse::kLowDigit) return "device&15+" + Num(byte.base);
    if (byte.use == ChartUse::kHighDigit) return name + "*16" + (byte.base ? "+" + Num(byte.base) : "");
    if (byte.base == 0) return name;
    return byte.base > 0 ? HexPair(byte.base) + "+" + name : name + "-" + Num(-byte.base);
  }

  // The device number in front of data that is waited for.
  std::string Filtered(const ChartByte& byte) const {
    if (filter_ == kFromAnyDevice || byte.use == ChartUse::kHighDigit) return "??";
    return byte.base == 0 ? std::string("device") : HexPair(byte.base) + "+device";
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

  std::string Answer(const ChartStep& step) { return " | answer " + Bytes(step.answer, true) + Within(); }

  static std::size_t CountMessages(const std::vector<ChartStep>& steps) {
    return static_cast<std::size_t>(std::count_if(
        steps.begin(), steps.end(), [](const ChartStep& step) { return step.kind == ChartStep::Kind::kMessage; }));
  }

  void Get() {
    direction_ = "get";
    std::vector<ChartStep> steps = type_.get;
    if (!type_.getSaid) {
      if (type_.request.empty()) return;
      ChartStep ask;
      ask.at = type_.request.at;
      ask.message = type_.request;
      steps.push_back(ask);
    }
    const std::size_t asks = static_cast<std::size_t>(std::count_if(
        steps.begin(), steps.end(), [](const ChartStep& step) { return step.answered && HasData(step.answer); }));
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
          if (step.answered ? HasData(step.answer) : asks == 0 && IsLastMessage(steps, i))
            Ask(step, asks > 1);
          else
            Line("send " + Bytes(step.message, false) + (step.answered ? Answer(step) : "") + Sum(step.message),
                 step.at);
          break;
        default:
          Line("no", step.at);
      }
      Between(step.at, last);
    }
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
    const bool other = step.answered && HasData(step.answer) &&
                       PatternOf(step.answer, chart_, type_) != PatternOf(type_.dump.front(), chart_, type_);
    if (sized)
      text += " | size " + Num(step.answer.size);
    else if (other)
      text += " | answer " + Front(step.answer, kFromDevice);
    Line(text + Within() + (sized ? "" : Several()), step.at);
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
    if (std::none_of(steps.begin(), steps.end(), [](const ChartStep& step) { return HasData(step.message); })) {
      problems_.Add(steps.front().at, {}, "no step sends the data", "put = dump");
      return;
    }
    // What goes into the data stands before everything that sends some of it.
    for (const ChartStep& step : steps)
      if (step.kind == ChartStep::Kind::kMessage && HasData(step.message)) Stamp(step);
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const ChartStep& step = steps[i];
      if (step.kind == ChartStep::Kind::kPause) {
        Line("pause " + Num(step.ms), step.at);
        continue;
      }
      if (HasData(step.message))
        Data(step);
      else
        Line("send " + Bytes(step.message, false) + (step.answered ? Answer(step) : "") + Sum(step.message), step.at);
      Between(step.at, i + 1 == steps.size());
    }
  }

  bool IsWhole(const ChartStep& step) const { return step.name == (type_.patchwise ? "each" : "dump"); }

  // Numbers and other bytes of the message that the image may have otherwise.
  void Stamp(const ChartStep& step) {
    std::uint32_t place = 0;
    for (const ChartMessage& image : type_.dump) {
      const ChartMessage& sent = IsWhole(step) ? image : step.message;
      std::string run;
      std::uint32_t begin = 0;
      const auto flush = [&]() {
        if (!run.empty()) Line("set " + Num(place + begin) + ":" + run, step.at);
        run.clear();
      };
      for (const ChartItem& item : sent.Head()) {
        if (item.kind != ChartItemKind::kByte || !NeedsStamp(item, sent, image)) {
          flush();
          continue;
        }
        if (run.empty()) begin = item.offset;
        const bool device = item.byte.variable && item.byte.variable == chart_.device.letter;
        run += " " + (device && item.byte.use == ChartUse::kWhole && item.byte.base == 0 ? std::string("device")
                                                                                         : Byte(item, false));
      }
      flush();
      place += image.size;
      if (!IsWhole(step)) break;
    }
  }

  bool NeedsStamp(const ChartItem& item, const ChartMessage& sent, const ChartMessage& image) const {
    const ChartByte& byte = item.byte;
    if (byte.variable && byte.variable == chart_.device.letter)
      return std::any_of(sent.items.begin(), sent.items.end(), [&](const ChartItem& one) {
        return one.kind == ChartItemKind::kSum && one.sumFrom <= item.offset && item.offset < one.sumFrom + one.sumSize;
      });
    if (byte.variable == kPatchLetter) return true;
    if (byte.variable) return type_.patchwise;
    if (byte.mask != 0xFF) return false;
    for (const ChartItem& one : image.items)
      if (one.offset == item.offset && one.kind == ChartItemKind::kByte)
        return one.byte.mask != 0xFF || one.byte.base != byte.base;
    return false;
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
    const bool one = parts.size() == 1;
    for (std::size_t i = 0; i < parts.size(); ++i)
      Line((one ? "data" : parts[i]) + (i + 1 == parts.size() ? answer : ""), step.at);
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
  ChartLines& lines_;
  ChartProblems& problems_;
  std::string direction_ = "get";
  int pause_ = 0, within_ = 0;
  char filter_ = 0;  // what the device number is in the pattern that is written
};

}  // namespace

void PutSteps(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout, ChartLines* lines,
              ChartProblems* problems) {
  StepWriter(chart, type, layout, lines, problems).Write();
}

}  // namespace tonalith
