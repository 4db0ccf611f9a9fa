#include "studio/module_exchange.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "platform/text.h"
#include "studio/exchange_message.h"

namespace tonalith {

namespace {

constexpr std::int64_t kAnswerWithinMs = 5000;
constexpr std::int64_t kPanelWithinMs = 30000;  // until somebody has pressed the button
constexpr std::int64_t kLongestMs = 600000;
constexpr std::int64_t kMostTurns = 1024;
constexpr std::int64_t kMostPlaces = 256;
constexpr std::int64_t kDelayUnits = 100;  // of "D" in a millisecond
constexpr std::size_t kMostIgnored = 2;

std::string Num(std::int64_t number) {
  return std::to_string(number);
}

// A step: a word, what follows it, and options behind '|', each a word and perhaps something behind it.
struct Step {
  SourceLine at;
  std::string word, rest;
  std::vector<std::pair<std::string, std::string>> options;

  const std::string* Option(std::string_view name) const {
    for (const auto& [option, value] : options)
      if (option == name) return &value;
    return nullptr;
  }
};

Step ReadStep(const SourceLine& at) {
  Step step{at, {}, {}, {}};
  bool first = true;
  for (const std::string& part : SplitText(at.value, '|')) {
    const std::string_view text = TrimmedView(part);
    const std::size_t blank = std::min(text.find(' '), text.size());
    std::string word = AsciiLower(text.substr(0, blank));
    std::string rest(TrimmedView(text.substr(blank)));
    if (std::exchange(first, false)) {
      step.word = std::move(word);
      step.rest = std::move(rest);
    } else {
      step.options.emplace_back(std::move(word), std::move(rest));
    }
  }
  return step;
}

class ExchangeWriter {
 public:
  ExchangeWriter(const std::vector<SourceLine>& lines, const ExchangeFacts& facts)
      : facts_(facts), sends_(AsciiEqualNoCase(lines.front().key, "put")), size_(Known("size")) {
    for (const SourceLine& line : lines) steps_.push_back(ReadStep(line));
    const auto first = std::find_if(steps_.begin(), steps_.end(), [](const Step& step) { return Receives(step.word); });
    several_ = std::any_of(first, steps_.end(), [&](const Step& step) {
      return &step != &*first && (Receives(step.word) || step.word == "send" || step.word == "end");
    });
  }

  Result Write(std::string* script, const SourceMistakes& mistakes) {
    for (const Step& step : steps_) {
      Result result = One(step);
      if (!result.ok()) result = mistakes(result);
      if (!result.ok()) return result;
    }
    Result result = End();
    if (!result.ok()) result = mistakes(result);
    const bool patchwise = facts_.synth.isBank && facts_.synth.patchByPatch;
    *script = std::string("M") + kPatchVariable + " = " + (patchwise ? "X" : "Z") + "\n";
    if (several_) *script += std::string("M") + kFailedVariable + " = 0\n";
    *script += text_ + "]\n";
    return result;
  }

 private:
  struct Kind {
    const char* word;
    bool get, put;
    Result (ExchangeWriter::*write)(const Step& step);
    std::array<const char*, 5> options;
  };
  static const Kind kKinds[];

  static bool Receives(std::string_view word) { return word == "ask" || word == "listen"; }
  std::int64_t Known(const char* name) const {
    const auto text = facts_.made.find(name);
    return text == facts_.made.end() ? 0 : ParseInteger(text->second).value_or(0);
  }
  const std::string& Made(const char* name) const { return facts_.made.at(name); }

  Result One(const Step& step);
  Result End();

  // --- Parts of steps; a failure names the line.
  static Result MessageOf(const Step& step, const std::string& text, ExchangeMessage* message);
  static Result NumberOf(const Step& step, const std::string& text, std::int64_t most, std::int64_t* number);
  Result Within(const Step& step, std::int64_t usual, std::int64_t* ms) const;
  Result SendText(const Step& step, std::string* text) const;
  Result AnswerWait(const Step& step, std::string* text) const;
  Result Receive(const Step& step, const std::string& request);
  Result Count(const Step& step, const std::string& text, std::int64_t* count);
  // What is only done while everything that was awaited came.
  std::string WhileRight(const std::string& text) const {
    if (!several_ || (!received_ && !turns_)) return text;
    return std::string("IFN ") + kFailedVariable + "\n" + text + "IFX\n";
  }

  // --- Steps
  Result Send(const Step& step);
  Result Ask(const Step& step);
  Result Listen(const Step& step);
  Result Ignore(const Step& step);
  Result Pause(const Step& step);
  Result Set(const Step& step);
  Result Data(const Step& step);
  Result Area(const Step& step);
  Result Repeat(const Step& step);
  Result EndRepeat(const Step& step);

  const ExchangeFacts& facts_;
  const bool sends_;
  const std::int64_t size_;  // bytes of one transfer; 0: they vary
  std::vector<Step> steps_;
  bool several_ = false;  // steps come after the first that receives
  std::string text_;
  std::int64_t turns_ = 0;           // inside `repeat`
  std::optional<std::size_t> loop_;  // where its text begins
  bool received_ = false;            // behind the first step that receives
  bool accepts_ = false;             // a pattern of answers is set
  bool pastEnd_ = false;             // receives do not end with a message
  bool sums_ = false;                // checksums are stored
  bool area_ = false;                // an area was got or sent
  std::int64_t timeout_ = 0;         // of receives; 0: as their sizes need
  std::size_t ignored_ = 0;
  std::optional<std::int64_t> counted_;  // bytes of the steps; none: as many as there are
  bool whole_ = false;                   // a step took all there are
};

const ExchangeWriter::Kind ExchangeWriter::kKinds[] = {
    {"send", true, true, &ExchangeWriter::Send, {"answer", "within", "sum", "anyway", "live"}},
    {"ask", true, false, &ExchangeWriter::Ask, {"answer", "within", "sum", "size", "several"}},
    {"listen", true, false, &ExchangeWriter::Listen, {"answer", "within", "several"}},
    {"ignore", true, false, &ExchangeWriter::Ignore, {}},
    {"pause", true, true, &ExchangeWriter::Pause, {}},
    {"set", false, true, &ExchangeWriter::Set, {"times", "step"}},
    {"data", false, true, &ExchangeWriter::Data, {"answer", "within"}},
    {"area", true, true, &ExchangeWriter::Area, {"step", "slots"}},
    {"repeat", true, true, &ExchangeWriter::Repeat, {}},
    {"end", true, true, &ExchangeWriter::EndRepeat, {}},
};

Result ExchangeWriter::One(const Step& step) {
  const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& one) {
    return step.word == one.word && (sends_ ? one.put : one.get);
  });
  if (kind == std::end(kKinds))
    return SourceFailure(step.at, "`" + AsciiLower(step.at.key) + "` has no step \"" + step.word + "\"");
  for (const auto& [option, value] : step.options)
    if (std::none_of(kind->options.begin(), kind->options.end(),
                     [&](const char* name) { return name && option == name; }))
      return SourceFailure(step.at, "the step \"" + step.word + "\" has no option \"" + option + "\"");
  return (this->*kind->write)(step);
}

Result ExchangeWriter::MessageOf(const Step& step, const std::string& text, ExchangeMessage* message) {
  std::string error;
  auto parsed = ParseExchangeMessage(text, &error);
  if (!parsed) return SourceFailure(step.at, error);
  *message = std::move(*parsed);
  return Result::Success();
}

Result ExchangeWriter::NumberOf(const Step& step, const std::string& text, std::int64_t most, std::int64_t* number) {
  const auto value = ParseInteger(text);
  if (!value || *value < 1 || *value > most)
    return SourceFailure(step.at, "\"" + step.word + "\" needs a number from 1 to " + Num(most));
  *number = *value;
  return Result::Success();
}

Result ExchangeWriter::Within(const Step& step, std::int64_t usual, std::int64_t* ms) const {
  *ms = usual;
  const std::string* text = step.Option("within");
  return text ? NumberOf(step, *text, kLongestMs, ms) : Result::Success();
}

// The message of the step as transmit data.
Result ExchangeWriter::SendText(const Step& step, std::string* text) const {
  ExchangeMessage message;
  const Result result = MessageOf(step, step.rest, &message);
  if (!result.ok()) return result;
  *text = TransmitDataText(message, false);
  const std::string* sum = step.Option("sum");
  if (!sum) return Result::Success();
  std::vector<std::int64_t> numbers;
  for (const std::string& part : SplitText(*sum, ' '))
    if (!part.empty()) numbers.push_back(ParseInteger(part).value_or(-1));
  const auto bytes = static_cast<std::int64_t>(message.bytes.size());
  if (numbers.size() != 4 || std::any_of(numbers.begin(), numbers.end(), [](std::int64_t n) { return n < 0; }) ||
      numbers[1] + numbers[2] > bytes || numbers[3] >= bytes || numbers[0] > UINT8_MAX)
    return SourceFailure(step.at, "`sum` reads TYPE START COUNT OFFSET, inside the message");
  const auto type = static_cast<std::uint8_t>(numbers[0]);
  *text += "K 00 " + HexText({&type, 1}) + " " + Num(numbers[1]) + " " + Num(numbers[2]) + " " + Num(numbers[3]) + "\n";
  return Result::Success();
}

// Statements that wait for the answer to what is sent next.
Result ExchangeWriter::AnswerWait(const Step& step, std::string* text) const {
  const std::string* answer = step.Option("answer");
  std::int64_t ms = 0;
  ExchangeMessage message;
  Result result = Within(step, kAnswerWithinMs, &ms);
  if (result.ok() && answer) result = MessageOf(step, *answer, &message);
  if (!result.ok() || !answer) return result;
  *text = TransmitDataText(message, true) + "SetWaitForACK " + Num(ms) + "\n";
  return Result::Success();
}

Result ExchangeWriter::Send(const Step& step) {
  std::string message, wait;
  Result result = SendText(step, &message);
  if (result.ok()) result = AnswerWait(step, &wait);
  if (!result.ok()) return result;
  std::string text = wait + message + "T 0\n";
  const bool anyway = step.Option("anyway") != nullptr;
  if (!wait.empty()) text += anyway ? "ManageMidiErrors 1 ClrWaitForAck ManageMidiErrors 0\n" : "ClrWaitForAck\n";
  // What is no part of the data does not stand in a file of it.
  if (step.Option("live")) text = "GetNumOpenMidiOutPorts IF X\n" + text + "IFX\n";
  text_ += WhileRight(text);
  return Result::Success();
}

// So many bytes of what one transfer has; without a number all of them.
Result ExchangeWriter::Count(const Step& step, const std::string& text, std::int64_t* count) {
  *count = size_;
  if (text.empty()) {
    if (whole_ || counted_) return SourceFailure(step.at, "each step needs the number of its bytes");
    whole_ = true;
    return Result::Success();
  }
  if (whole_) return SourceFailure(step.at, "a step before takes all bytes there are");
  const Result result = NumberOf(step, text, kMaxFileSize, count);
  if (result.ok()) counted_ = counted_.value_or(0) + *count * std::max<std::int64_t>(turns_, 1);
  return result;
}

Result ExchangeWriter::Receive(const Step& step, const std::string& request) {
  std::string text;
  std::int64_t ms = 0, count = 0;
  const std::string* size = step.Option("size");
  Result result = Within(step, step.word == "listen" ? kPanelWithinMs : 0, &ms);
  if (result.ok()) result = Count(step, size ? *size : std::string(), &count);
  if (!result.ok()) return result;
  if (const std::string* answer = step.Option("answer")) {
    ExchangeMessage pattern;
    result = MessageOf(step, *answer, &pattern);
    if (!result.ok()) return result;
    text += TransmitDataText(pattern, true) + "SetSysXAccept\n";
    accepts_ = true;
  } else if (std::exchange(accepts_, false)) {
    text += "ClrSysXAccept\n";
  }
  const bool several = step.Option("several") != nullptr;
  if (several != std::exchange(pastEnd_, several)) text += several ? "NS\n" : "N\n";
  if (ms != std::exchange(timeout_, ms)) text += "TIMEOUT " + Num(ms) + "\n";
  text += request + "R " + Num(count) + "\n";
  if (several_) text += std::string("IFLQ V10\nM") + kFailedVariable + " = 1\nIFX\n";
  text_ += WhileRight(text);
  received_ = true;
  return Result::Success();
}

Result ExchangeWriter::Ask(const Step& step) {
  std::string message;
  const Result result = SendText(step, &message);
  return result.ok() ? Receive(step, message + "TR 0\n") : result;
}

Result ExchangeWriter::Listen(const Step& step) {
  if (!step.rest.empty()) return SourceFailure(step.at, "`listen` sends nothing: what it waits for is its `answer`");
  return Receive(step, {});
}

Result ExchangeWriter::Ignore(const Step& step) {
  ExchangeMessage pattern;
  const Result result = MessageOf(step, step.rest, &pattern);
  if (!result.ok()) return result;
  if (++ignored_ > kMostIgnored) return SourceFailure(step.at, "at most two patterns can be ignored");
  text_ += TransmitDataText(pattern, true) + "SetSysXDecline\n";
  return Result::Success();
}

Result ExchangeWriter::Pause(const Step& step) {
  std::int64_t ms = 0;
  const Result result = NumberOf(step, step.rest, kLongestMs, &ms);
  if (result.ok()) text_ += "D " + Num(ms * kDelayUnits) + "\n";
  return result;
}

// `set OFFSET: BYTES`, perhaps with `| times N | step S`
Result ExchangeWriter::Set(const Step& step) {
  if (whole_ || counted_ || turns_) return SourceFailure(step.at, "`set` stands before the data is sent");
  const std::size_t colon = step.rest.find(':');
  const auto offset = ParseInteger(TrimmedView(std::string_view(step.rest).substr(0, colon)));
  if (colon == std::string::npos || !offset || *offset < 0)
    return SourceFailure(step.at, "`set` reads OFFSET: BYTES | times N | step S");
  ExchangeMessage bytes;
  Result result = MessageOf(step, step.rest.substr(colon + 1), &bytes);
  std::int64_t times = 1, distance = 0;
  if (const std::string* text = step.Option("times"); result.ok() && text)
    result = NumberOf(step, *text, kMostPlaces, &times);
  if (const std::string* text = step.Option("step"); result.ok() && text)
    result = NumberOf(step, *text, kMaxFileSize, &distance);
  const std::int64_t last = *offset + (times - 1) * distance + static_cast<std::int64_t>(bytes.bytes.size());
  if (result.ok() && size_ && last > size_) return SourceFailure(step.at, "the bytes lie outside the image");
  if (!result.ok()) return result;
  text_ += "A\n";
  for (std::int64_t i = 0; i < times; ++i) text_ += ImageBytesText(bytes, *offset + i * distance);
  return Result::Success();
}

Result ExchangeWriter::Data(const Step& step) {
  std::int64_t count = 0;
  std::string wait;
  Result result = Count(step, step.rest, &count);
  if (result.ok()) result = AnswerWait(step, &wait);
  if (!result.ok()) return result;
  if (wait.empty() && !facts_.acknowledgement.empty()) wait = facts_.acknowledgement + "\n";
  // Before a loop, the sums are those of its first data as well.
  if (!std::exchange(sums_, true)) text_.insert(loop_.value_or(text_.size()), "A\n" + Made("sums"));
  text_ += wait + "A\nT " + Num(count) + "\n";
  if (!wait.empty()) text_ += "ClrWaitForAck\n";
  return Result::Success();
}

// A part of the memory of an address-based instrument, by the maker's own protocol.
Result ExchangeWriter::Area(const Step& step) {
  const Synth& s = facts_.synth;
  const auto address = [&](const std::string& text) -> std::optional<std::int64_t> {
    const auto bytes = ParseHex(text);
    const std::size_t length = s.dumpRequest[5] ? s.dumpRequest[5] : 3;
    if (!bytes || bytes->size() != length) return std::nullopt;
    std::int64_t value = 0;
    for (const std::uint8_t byte : *bytes) value = value << 7 | (byte & 0x7F);
    return value;
  };
  const auto begin = address(step.rest);
  std::optional<std::int64_t> distance = 0;
  std::int64_t slots = 1;
  if (const std::string* text = step.Option("step")) distance = address(*text);
  if (s.manufacturerId != kRolandId || !begin || !distance || whole_ || turns_)
    return SourceFailure(step.at, "`area` reads ADDRESS | step ADDRESS | slots N and takes the whole data");
  Result result = Result::Success();
  if (const std::string* text = step.Option("slots")) result = NumberOf(step, *text, kMaxFileSize, &slots);
  if (!result.ok()) return result;
  whole_ = true;
  const bool patchwise = s.isBank && s.patchByPatch;
  const std::int64_t bytes = patchwise ? s.voiceBytes : s.fileSize;
  text_ += std::string("MV3 = ") + kPatchVariable + "  MV3 % " + Num(slots) + "  MV3 * " + Num(*distance) + "  MV3 + " +
           Num(*begin) + "\nMV0 = " + Num(bytes) + "\nMV1 = " + Num(s.rolandHandshake) +
           "\nMV2 = " + (sends_ ? "0" : "1") + "\nRCOMM\n";
  // The room behind the bytes that are there belongs to the patch.
  if (!sends_ && size_ > bytes) text_ += "L " + Num(size_ - bytes) + " [\nGPINC\n]\n";
  return Result::Success();
}

Result ExchangeWriter::Repeat(const Step& step) {
  if (turns_) return SourceFailure(step.at, "`repeat` stands inside another one");
  const Result result = NumberOf(step, step.rest, kMostTurns, &turns_);
  if (!result.ok()) return result;
  loop_ = text_.size();
  text_ += std::string("M") + kTurnVariable + " = 0\nL " + Num(turns_) + " [\n";
  return result;
}

Result ExchangeWriter::EndRepeat(const Step& step) {
  if (!turns_) return SourceFailure(step.at, "there is no `repeat` that ends here");
  turns_ = 0;
  loop_.reset();
  text_ += std::string("M") + kTurnVariable + " + 1\n]\n";
  return Result::Success();
}

// What was got is kept when all of it came and its checksums are right.
Result ExchangeWriter::End() {
  const Step& last = steps_.back();
  if (turns_) return SourceFailure(last.at, "a `repeat` has no `end`");
  if (!whole_ && !counted_) return SourceFailure(last.at, "no step takes or sends the data");
  if (counted_ && size_ && *counted_ != size_)
    return SourceFailure(last.at, "the steps have " + Num(*counted_) + " bytes of " + Num(size_));
  if (sends_ || !received_) return Result::Success();
  const std::string& keep = Made("keep");
  if (!several_) {
    text_ += keep;
    return Result::Success();
  }
  if (!keep.empty()) text_ += WhileRight(Made("checks") + "GP " + Num(size_) + "\nIF V9\nGP 0\nIFX\n");
  text_ += std::string("IF ") + kFailedVariable + "\nGP 0\nIFX\n";
  return Result::Success();
}

}  // namespace

bool ExchangeIsNone(const std::vector<SourceLine>& steps) {
  return std::any_of(steps.begin(), steps.end(),
                     [](const SourceLine& line) { return AsciiEqualNoCase(line.value, "no"); });
}

Result WriteExchange(const std::vector<SourceLine>& steps, const ExchangeFacts& facts, std::string* script,
                     const SourceMistakes& mistakes) {
  return ExchangeWriter(steps, facts).Write(script, mistakes);
}

}  // namespace tonalith
