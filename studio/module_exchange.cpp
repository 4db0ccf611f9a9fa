#include "studio/module_exchange.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "platform/text.h"
#include "script/protocols/protocol_line.h"
#include "studio/exchange_coded.h"
#include "studio/exchange_handshake.h"
#include "studio/exchange_message.h"

namespace tonalith {

namespace {

constexpr std::int64_t kAnswerWithinMs = 5000;
constexpr std::int64_t kPanelWithinMs = 30000;  // until somebody has pressed the button
constexpr std::int64_t kLongestMs = 600000;
constexpr std::int64_t kMostTurns = 1024;
constexpr std::int64_t kMostRetries = 10;  // as in the preferences
constexpr std::int64_t kMostPlaces = 256;
constexpr std::int64_t kDelayUnits = 100;  // of "D" in a millisecond
constexpr std::size_t kMostIgnored = 2;
constexpr std::uint8_t kExactSize = 2;  // of the option bits

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
    handshake_ = std::any_of(steps_.begin(), steps_.end(), [](const Step& step) {
      return step.word == "block" || step.word == "file" || step.word == "coded" || step.Option("refused") ||
             step.Option("again") || step.Option("then") || (step.word == "set" && step.Option("live"));
    });
    several_ = several_ || handshake_ ||
               std::any_of(steps_.begin(), steps_.end(), [](const Step& step) { return step.Option("last"); });
    files_ = std::any_of(steps_.begin(), steps_.end(), [](const Step& step) { return step.word == "file"; });
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
    if (handshake_)
      *script += BudgetText() + "GetNumOpenMidiInPorts\nM" + kLiveVariable + " = X\nM" + kPlaceVariable + " = 0\n";
    *script += text_ + "]\n";
    return result;
  }

 private:
  struct Kind {
    const char* word;
    bool get, put;
    Result (ExchangeWriter::*write)(const Step& step);
    std::array<const char*, 8> options;
  };
  static const Kind kKinds[];

  static bool Receives(std::string_view word) { return word == "ask" || word == "listen" || word == "block"; }
  std::int64_t Known(const char* name) const {
    const auto text = facts_.made.find(name);
    return text == facts_.made.end() ? 0 : ParseInteger(text->second).value_or(0);
  }
  // Bytes of the steps so far.
  std::int64_t Total() const { return counted_.value_or(size_); }
  const std::string& Made(const char* name) const { return facts_.made.at(name); }

  Result One(const Step& step);
  Result End();
  std::string FailedSend() const;

  // --- Parts of steps; a failure names the line.
  static Result MessageOf(const Step& step, const std::string& text, ExchangeMessage* message);
  static Result PlaceOf(const Step& step, const std::string& text, std::int64_t* offset, ExchangeMessage* bytes);
  static Result NumberOf(const Step& step, const std::string& text, std::int64_t most, std::int64_t* number);
  Result Within(const Step& step, std::int64_t usual, std::int64_t* ms) const;
  Result SendText(const Step& step, std::string* text) const;
  Result AnswerWait(const Step& step, std::string* text) const;
  Result SumOf(const Step& step, std::int64_t bytes, ExchangeBlock::Sum* sum) const;
  Result Await(const Step& step, const std::string& staged, std::string* text);
  Result Receive(const Step& step, const std::string& request);
  Result DataAnswered(const Step& step, std::int64_t count);
  void StoreSums();
  std::string Mode(int mode);
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
  Result Retries(const Step& step);
  Result Set(const Step& step);
  Result Data(const Step& step);
  Result Area(const Step& step);
  Result Block(const Step& step);
  Result Expect(const Step& step);
  Result Coded(const Step& step);
  Result File(const Step& step);
  Result Stop(const Step& step);
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
  int mode_ = 0;                     // of receives: 0 messages of the maker, 1 anything, 2 past the end of a message
  bool handshake_ = false;           // answers are looked into
  bool files_ = false;               // a step says how a file is written
  bool staged_ = false;              // something waits for the next receive to send it
  std::string stop_;                 // statements that end an exchange which failed
  std::string then_;                 // statements that give the image back what it has when nothing is sent
  bool sums_ = false;                // checksums are stored
  std::int64_t timeout_ = 0;         // of receives; 0: as their sizes need
  std::size_t ignored_ = 0;
  std::optional<std::int64_t> counted_;  // bytes of the steps; none: as many as there are
  bool whole_ = false;                   // a step took all there are
};

const ExchangeWriter::Kind ExchangeWriter::kKinds[] = {
    {"send",
     true,
     true,
     &ExchangeWriter::Send,
     {"answer", "within", "sum", "anyway", "live", "refused", "again", "open"}},
    {"ask", true, false, &ExchangeWriter::Ask, {"answer", "within", "sum", "size", "several", "open", "last"}},
    {"listen", true, false, &ExchangeWriter::Listen, {"answer", "within", "several"}},
    {"ignore", true, false, &ExchangeWriter::Ignore, {}},
    {"block", true, false, &ExchangeWriter::Block, {"request", "taken", "again", "sum", "within"}},
    {"expect", true, false, &ExchangeWriter::Expect, {"anyway", "within"}},
    {"pause", true, true, &ExchangeWriter::Pause, {}},
    {"retries", true, true, &ExchangeWriter::Retries, {}},
    {"set", false, true, &ExchangeWriter::Set, {"times", "step", "then", "live"}},
    {"data", false, true, &ExchangeWriter::Data, {"answer", "within", "refused", "again", "behind"}},
    {"area", true, true, &ExchangeWriter::Area, {"step", "slots"}},
    {"coded", true, true, &ExchangeWriter::Coded, {"set", "answer", "within"}},
    {"file", false, true, &ExchangeWriter::File, {}},
    {"stop", true, true, &ExchangeWriter::Stop, {}},
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
                     [&, &said = option](const char* name) { return name && said == name; }))
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
  if (!step.Option("sum")) return result;
  ExchangeBlock::Sum sum;
  const Result read = SumOf(step, static_cast<std::int64_t>(message.bytes.size()), &sum);
  *text +=
      "K 00 " + HexText({&sum.type, 1}) + " " + Num(sum.start) + " " + Num(sum.count) + " " + Num(sum.offset) + "\n";
  return read;
}

// `sum TYPE START COUNT OFFSET` of something that has so many bytes.
Result ExchangeWriter::SumOf(const Step& step, std::int64_t bytes, ExchangeBlock::Sum* sum) const {
  std::vector<std::int64_t> numbers;
  for (const std::string& part : SplitText(*step.Option("sum"), ' '))
    if (!part.empty()) numbers.push_back(ParseInteger(part).value_or(-1));
  if (numbers.size() != 4 || std::any_of(numbers.begin(), numbers.end(), [](std::int64_t n) { return n < 0; }) ||
      numbers[1] + numbers[2] > bytes || numbers[3] >= bytes || numbers[0] > UINT8_MAX)
    return SourceFailure(step.at, "`sum` reads TYPE START COUNT OFFSET, inside the message");
  *sum = {static_cast<std::uint8_t>(numbers[0]), numbers[1], numbers[2], numbers[3]};
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

// Statements that switch receives to a mode.
std::string ExchangeWriter::Mode(int mode) {
  const int former = std::exchange(mode_, mode);
  if (former == mode) return {};
  return mode == 2 ? "NS\n" : mode == 1 && former == 2 ? "N\nN\n" : "N\n";
}

// Statements that stage something and look into its answer; nothing of that happens without an instrument.
Result ExchangeWriter::Await(const Step& step, const std::string& staged, std::string* text) {
  const std::string* taken = step.Option("answer");
  if (!taken) return SourceFailure(step.at, "`refused`, `again` and `open` belong to an `answer`");
  ExchangeAnswers answers;
  std::int64_t ms = 0;
  Result result = MessageOf(step, *taken, &answers.taken);
  if (const std::string* other = step.Option("refused"); result.ok() && other)
    result = MessageOf(step, *other, &answers.refused.emplace());
  if (const std::string* other = step.Option("again"); result.ok() && other)
    result = MessageOf(step, *other, &answers.again.emplace());
  if (result.ok()) result = Within(step, 0, &ms);
  std::string error;
  if (result.ok() && !AnswersFit(answers, &error)) return SourceFailure(step.at, error);
  if (!result.ok()) return result;
  std::string work = staged + AwaitText(answers);
  if (answers.again) work = SendAgainText(work);
  if (ms != std::exchange(timeout_, ms)) work = "TIMEOUT " + Num(ms) + "\n" + work;
  *text = Mode(step.Option("open") ? 1 : 0) + std::string("IF ") + kLiveVariable + "\n" + work + "M" + kFailedVariable +
          " = " + kVerdictVariable + "\nIFX\n";
  return result;
}

Result ExchangeWriter::Send(const Step& step) {
  if (step.Option("refused") || step.Option("again") || step.Option("open")) {
    std::string message, text;
    Result result = SendText(step, &message);
    if (result.ok()) result = Await(step, message + "TR 0\n", &text);
    if (!result.ok()) return result;
    text_ += WhileRight(text);
    received_ = true;
    return result;
  }
  std::string message, wait;
  Result result = SendText(step, &message);
  if (result.ok()) result = AnswerWait(step, &wait);
  if (!result.ok()) return result;
  std::string text = wait + message + "T 0\n";
  const bool anyway = step.Option("anyway") != nullptr;
  if (!wait.empty()) text += anyway ? "ManageMidiErrors 1 ClrWaitForAck ManageMidiErrors 0\n" : "ClrWaitForAck\n";
  // What is no part of the data does not stand in a file of it.
  if (step.Option("live")) text = "GetNumOpenMidiOutPorts IF X\n" + text + "IFX\n";
  if (handshake_) text = std::string("IF ") + kLiveVariable + "\n" + text + "IFX\n";
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
  text += Mode(step.Option("several") ? 2 : step.Option("open") ? 1 : 0);
  if (ms != std::exchange(timeout_, ms)) text += "TIMEOUT " + Num(ms) + "\n";
  text += request + "R " + Num(count) + "\n";
  if (const std::string* last = step.Option("last")) {
    const auto byte = ParseHex(*last);
    if (!byte || byte->size() != 1) return SourceFailure(step.at, "`last` is one byte");
    text += std::string("IFG V10\nGPDEC\nFG ") + kFoundVariable + " 0\nGPINC\nIFNQ " + kFoundVariable + " " +
            Num(byte->front()) + "\nM" + kFailedVariable + " = 1\nIFX\nIFX\n";
  }
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

Result ExchangeWriter::Retries(const Step& step) {
  std::int64_t times = 0;
  const Result result = NumberOf(step, step.rest, kMostRetries, &times);
  if (result.ok()) text_ += "SetRetryOnTimeout " + Num(times) + "\n";
  return result;
}

// OFFSET: BYTES
Result ExchangeWriter::PlaceOf(const Step& step, const std::string& text, std::int64_t* offset,
                               ExchangeMessage* bytes) {
  const std::size_t colon = text.find(':');
  *offset = ParseInteger(TrimmedView(std::string_view(text).substr(0, colon))).value_or(-1);
  if (colon == std::string::npos || *offset < 0)
    return SourceFailure(step.at, "`set` reads OFFSET: BYTES | times N | step S | then BYTES");
  return MessageOf(step, text.substr(colon + 1), bytes);
}

Result ExchangeWriter::Set(const Step& step) {
  if (whole_ || counted_ || turns_) return SourceFailure(step.at, "`set` stands before the data is sent");
  std::int64_t offset = 0;
  ExchangeMessage bytes;
  Result result = PlaceOf(step, step.rest, &offset, &bytes);
  std::int64_t times = 1, distance = 0;
  if (const std::string* text = step.Option("times"); result.ok() && text)
    result = NumberOf(step, *text, kMostPlaces, &times);
  if (const std::string* text = step.Option("step"); result.ok() && text)
    result = NumberOf(step, *text, kMaxFileSize, &distance);
  const std::int64_t last = offset + (times - 1) * distance + static_cast<std::int64_t>(bytes.bytes.size());
  if (result.ok() && size_ && last > size_) return SourceFailure(step.at, "the bytes lie outside the image");
  ExchangeMessage former;
  const std::string* then = step.Option("then");
  if (result.ok() && then) result = MessageOf(step, *then, &former);
  if (result.ok() && then && former.bytes.size() != bytes.bytes.size())
    return SourceFailure(step.at, "`then` has as many bytes as `set`");
  if (!result.ok()) return result;
  std::string text = "A\n";
  for (std::int64_t i = 0; i < times; ++i) {
    text += ImageBytesText(bytes, offset + i * distance);
    if (then) then_ += ImageBytesText(former, offset + i * distance);
  }
  text_ += then || step.Option("live") ? std::string("IF ") + kLiveVariable + "\n" + text + "IFX\n" : text;
  return Result::Success();
}

// Before a loop, the sums are those of its first data as well.
void ExchangeWriter::StoreSums() {
  if (!std::exchange(sums_, true)) text_.insert(loop_.value_or(text_.size()), "A\n" + Made("sums"));
}

// Data of an exchange whose answers are looked into; without an instrument it is sent as it is, or as `file` says.
Result ExchangeWriter::DataAnswered(const Step& step, std::int64_t count) {
  StoreSums();
  const std::string size = Num(count);
  std::string text = std::string("IF ") + kLiveVariable + "\nA\nT " + size + "\nIFX\n";
  ExchangeMessage behind;
  Result result = Result::Success();
  if (step.Option("answer")) {
    result = Await(step, std::string("A\nGP ") + kPlaceVariable + "\nTR " + size + "\n", &text);
  } else if (const std::string* bytes = step.Option("behind")) {
    result = MessageOf(step, *bytes, &behind);
    const std::string head = Num(static_cast<std::int64_t>(behind.bytes.size()));
    const std::string whole = Num(count + static_cast<std::int64_t>(behind.bytes.size()));
    text = std::string("IF ") + kLiveVariable + "\nGA " + whole + "\nGN\nA\n" + ImageBytesText(behind, 0) + "GC 0 " +
           head + " " + size + "\nT " + whole + "\nGO\nGF 0\nIFX\n";
  }
  if (!result.ok()) return result;
  if (!files_) text += std::string("IFN ") + kLiveVariable + "\nA\nT " + size + "\nIFX\n";
  text_ += WhileRight(text) + "M" + kPlaceVariable + " + " + size + "\n";
  received_ = received_ || step.Option("answer");
  return result;
}

// All data in pieces of coded text; what the instrument sends so is taken by the program's own exchange.
Result ExchangeWriter::Coded(const Step& step) {
  if (!facts_.coding) return SourceFailure(step.at, "the module has no section [Coded Messages]");
  if (whole_ || counted_ || turns_ || !size_) return SourceFailure(step.at, "`coded` takes the whole data");
  whole_ = true;
  if (!sends_) {
    text_ += std::string("MW @ ") + kPatchVariable + "\nASMHydrasynthRecv 0 0\n";
    return Result::Success();
  }
  CodedExchange exchange{*facts_.coding, size_, {}, {}};
  std::int64_t ms = 0;
  const std::string* answer = step.Option("answer");
  if (!answer) return SourceFailure(step.at, "`coded` needs an `answer PATTERN`");
  Result result = MessageOf(step, *answer, &exchange.answer);
  if (result.ok()) result = Within(step, timeout_, &ms);
  for (const auto& [option, value] : step.options) {
    if (option != "set" || !result.ok()) continue;
    auto& [offset, bytes] = exchange.places.emplace_back();
    result = PlaceOf(step, value, &offset, &bytes);
  }
  std::string error;
  std::string text = result.ok() ? CodedPiecesText(exchange, &error) : std::string();
  if (!error.empty()) result = SourceFailure(step.at, error);
  if (ms != std::exchange(timeout_, ms)) text = "TIMEOUT " + Num(ms) + "\n" + text;
  text_ += WhileRight(Mode(0) + text);
  received_ = true;
  return result;
}

// How a file of the data begins: one message of these bytes and the data.
Result ExchangeWriter::File(const Step& step) {
  ExchangeMessage head;
  const Result result = MessageOf(step, step.rest, &head);
  if (!result.ok()) return result;
  StoreSums();
  const auto bytes = static_cast<std::int64_t>(head.bytes.size());
  const std::int64_t size = Total();
  text_ += std::string("IFN ") + kLiveVariable + "\nGA " + Num(bytes + size) + "\nGN\nA\n" + ImageBytesText(head, 0) +
           "GC 0 " + Num(bytes) + " " + Num(size) + "\nT " + Num(bytes + size) + "\nGO\nGF 0\nIFX\n";
  return result;
}

Result ExchangeWriter::Stop(const Step& step) {
  std::string message;
  const Result result = SendText(step, &message);
  stop_ = message + "T 0\n";
  return result;
}

// One block of data that is acknowledged by what asks for the next.
Result ExchangeWriter::Block(const Step& step) {
  ExchangeBlock block;
  const std::string *taken = step.Option("taken"), *again = step.Option("again"), *request = step.Option("request");
  if (!taken || !again) return SourceFailure(step.at, "`block` needs `taken MESSAGE` and `again MESSAGE`");
  std::int64_t ms = 0;
  Result result = Count(step, step.rest, &block.size);
  if (result.ok()) result = MessageOf(step, *taken, &block.taken);
  if (result.ok()) result = MessageOf(step, *again, &block.again);
  if (result.ok() && request) result = MessageOf(step, *request, &block.request.emplace());
  if (result.ok() && step.Option("sum")) {
    block.sum = ExchangeBlock::Sum{};
    result = SumOf(step, block.size, &*block.sum);
  }
  if (result.ok()) result = Within(step, 0, &ms);
  if (!result.ok()) return result;
  std::string text = Mode(0) + BlockText(block);
  if (ms != std::exchange(timeout_, ms)) text = "TIMEOUT " + Num(ms) + "\n" + text;
  text_ += WhileRight(text);
  received_ = staged_ = true;
  return result;
}

// A message that is no data.
Result ExchangeWriter::Expect(const Step& step) {
  ExchangeAnswers answers;
  std::int64_t ms = 0;
  Result result = MessageOf(step, step.rest, &answers.taken);
  if (result.ok()) result = Within(step, timeout_, &ms);
  if (!result.ok()) return result;
  std::string text = Mode(0) + AwaitText(answers);
  if (!step.Option("anyway")) text += std::string("M") + kFailedVariable + " = " + kVerdictVariable + "\n";
  if (ms != std::exchange(timeout_, ms)) text = "TIMEOUT " + Num(ms) + "\n" + text;
  text_ += WhileRight(text);
  received_ = true;
  staged_ = false;
  return result;
}

Result ExchangeWriter::Data(const Step& step) {
  std::int64_t count = 0;
  std::string wait;
  Result result = Count(step, step.rest, &count);
  if (result.ok()) result = AnswerWait(step, &wait);
  if (!result.ok()) return result;
  if (wait.empty() && !facts_.acknowledgement.empty()) wait = facts_.acknowledgement + "\n";
  if (handshake_) return DataAnswered(step, count);
  StoreSums();
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
  if (sends_) return result;
  // Fewer bytes are no patch; the room behind them belongs to it.
  const std::string whole = " V10 " + Num(bytes) + "\n";
  if (s.optionBits & kExactSize) text_ += "IFNQ" + whole + "GP 0\nIFX\n";
  if (size_ > bytes) text_ += "IFQ" + whole + "L " + Num(size_ - bytes) + " [\nGPINC\n]\nIFX\n";
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
  // A voice of odd size has an even place.
  if (counted_ && size_ && *counted_ != size_ && (*counted_ | 1) + 1 != size_)
    return SourceFailure(last.at, "the steps have " + Num(*counted_) + " bytes of " + Num(size_));
  if (staged_) return SourceFailure(last.at, "behind `block` the step `expect` takes what comes after the last one");
  if (sends_) {
    if (!then_.empty()) text_ += std::string("IF ") + kLiveVariable + "\nA\nGP 0\n" + then_ + Made("sums") + "IFX\n";
    if (handshake_) text_ += FailedSend();
    return Result::Success();
  }
  if (!received_) return Result::Success();
  const std::string& keep = Made("keep");
  if (!several_) {
    text_ += keep;
    return Result::Success();
  }
  if (!keep.empty()) text_ += WhileRight(Made("checks") + "GP " + Num(Total()) + "\nIF V9\nGP 0\nIFX\n");
  text_ += std::string("IF ") + kFailedVariable + "\n" + stop_ + "GP 0\nIFX\n";
  return Result::Success();
}

// The script's own word on what it sent: nobody answered, or it was refused.
std::string ExchangeWriter::FailedSend() const {
  const std::string silent = Num(static_cast<int>(ExchangeVerdict::kSilent));
  return std::string("IFN ") + kFailedVariable + "\nGP " + Num(Total()) + "\nIFX\nIF " + kFailedVariable + "\nGP 0\n" +
         stop_ + "MV0 = 0\nIFQ " + kFailedVariable + " " + silent + "\nMV0 - " + Num(-transfer_code::kQuiet) +
         "\nIFX\nIFNQ " + kFailedVariable + " " + silent + "\nMV0 - " + Num(-transfer_code::kRejected) +
         "\nIFX\nRET V0\nIFX\n";
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
