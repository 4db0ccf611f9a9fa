#include "chart/exchange_player.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "chart/type_lines.h"
#include "data/hex_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kMostRepeats = 4096;
constexpr int kMostPatchNumbers = 128;
constexpr std::uint8_t kOtherAnswer = 0x4F, kAnotherAnswer = 0x4D;
constexpr char kAnyByte[] = "??";

std::vector<std::string> WordsOf(std::string_view text) {
  std::vector<std::string> words;
  for (const std::string& word : SplitText(std::string(text), ' '))
    if (!word.empty()) words.push_back(word);
  return words;
}

// A step and its options, without the sentences of refusals.
std::vector<std::string> PartsOf(const std::string& step) {
  std::vector<std::string> parts(1);
  bool quoted = false;
  for (const char c : step) {
    if (c == '"') quoted = !quoted;
    if (c == '"' || quoted) continue;
    if (c == '|')
      parts.emplace_back();
    else
      parts.back() += c;
  }
  for (std::string& part : parts) part = std::string(TrimmedView(part));
  return parts;
}

bool IsHexByte(std::string_view word) {
  return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

int Computed(int left, char sign, int right) {
  switch (sign) {
    case '-':
      return left - right;
    case '*':
      return left * right;
    case '/':
      return right ? left / right : 0;
    case '%':
      return right ? left % right : 0;
    case '&':
      return left & right;
    default:
      return left + right;
  }
}

}  // namespace

std::unique_ptr<ChartPeer> ExchangePlayer::Make(const ChartInstrument& chart, const ChartType& type, int device,
                                                std::string* obstacle) {
  std::unique_ptr<ExchangePlayer> player(new ExchangePlayer(chart, type, device));
  *obstacle = player->obstacle_;
  if (!obstacle->empty()) return nullptr;
  return player;
}

ExchangePlayer::ExchangePlayer(const ChartInstrument& chart, const ChartType& type, int device)
    : ChartPeer(chart, type, device) {
  for (const char* direction : {"get", "put"}) {
    const bool put = std::string_view(direction) == "put";
    std::vector<std::string> steps;
    for (const ChartEntry& entry : type.exchange->entries) {
      if (entry.key != direction) continue;
      steps.push_back(ExchangeStep(entry.value, type.variable));
      if (put)
        for (auto& refusal : ExchangeRefusals(entry.value)) sentences_.push_back(std::move(refusal.second));
    }
    Talk& talk = put ? put_ : get_;
    Read(steps, 0, 0, &talk);
    HearOwed(&talk);
  }
  Fill();
}

std::size_t ExchangePlayer::Read(const std::vector<std::string>& steps, std::size_t from, int turn, Talk* talk) {
  while (from < steps.size()) {
    const std::vector<std::string> words = WordsOf(steps[from]);
    if (words.empty() || words[0] == "end") return from + 1;
    if (words[0] != "repeat") {
      ReadStep(steps[from++], turn, talk);
      continue;
    }
    const auto turns = words.size() > 1 ? ParseInteger(words[1]) : std::nullopt;
    std::size_t behind = from + 1;
    for (int i = 0; i < std::clamp<std::int64_t>(turns.value_or(1), 1, kMostRepeats); ++i)
      behind = Read(steps, from + 1, i, talk);
    from = behind;
  }
  return from;
}

void ExchangePlayer::HearOwed(Talk* talk) {
  if (talk->owed.empty()) return;
  talk->moves.push_back({Move::Kind::kHear, std::exchange(talk->owed, {}), {}, false, 0, 0});
}

void ExchangePlayer::ReadStep(const std::string& step, int turn, Talk* talk) {
  const std::vector<std::string> parts = PartsOf(step);
  Words message = WordsOf(parts.front());
  const std::string verb = message.front();
  message.erase(message.begin());
  const auto option = [&](std::string_view name) {
    for (std::size_t i = 1; i < parts.size(); ++i)
      if (parts[i].starts_with(name) && (parts[i].size() == name.size() || parts[i][name.size()] == ' '))
        return WordsOf(std::string_view(parts[i]).substr(name.size()));
    return Words();
  };
  const auto number = [](const Words& words, std::size_t at) {
    const auto value = at < words.size() ? ParseInteger(words[at]) : std::nullopt;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(value.value_or(0), 0, INT32_MAX));
  };
  const bool anyway = std::find(parts.begin(), parts.end(), "anyway") != parts.end();
  const auto move = [&](Move::Kind kind, Words words, std::size_t size = 0) {
    talk->moves.push_back({kind, std::move(words), {}, anyway, size, turn});
  };
  if (verb == "area" || verb == "no") obstacle_ = "a step of its exchange is no talk with the instrument: " + verb;
  // What is the same in every patch is in the samples, too.
  const bool same = !message.empty() && std::all_of(message.begin() + 1, message.end(), IsHexByte);
  if (verb == "set" && !same && IsData(number({std::string(message.front(), 0, message.front().find(':'))}, 0)))
    obstacle_ = "a step of its exchange puts bytes in the place of data";
  if (verb == "listen") talk->listens = true;
  if (verb == "file") file_ = message;
  if (verb == "set" && turn == 0) sets_.push_back(parts.front().substr(verb.size()));
  if (verb == "stop") talk->stops.push_back(message);
  if (const Words again = option("again"); !again.empty() && verb == "block") talk->agains.push_back(again);
  if (verb == "block") {
    if (!talk->owed.empty())
      HearOwed(talk);
    else if (const Words request = option("request"); !request.empty())
      move(Move::Kind::kHear, request);
    move(Move::Kind::kSayData, {}, number(message, 0));
    talk->owed = option("taken");
    return;
  }
  if (verb != "send" && verb != "ask" && verb != "expect" && verb != "data") return;
  HearOwed(talk);
  if (const Words sum = option("sum"); sum.size() == 4 && number(sum, 3) < message.size())
    message[number(sum, 3)] = kAnyByte;
  if (verb == "send" || verb == "ask") move(Move::Kind::kHear, message);
  if (verb == "data") move(Move::Kind::kHearData, {}, number(message, 0));
  if (verb == "expect") move(Move::Kind::kSay, message);
  if (verb == "ask") move(Move::Kind::kSayData, {}, number(option("size"), 0));
  if (const Words answer = option("answer"); !answer.empty() && (verb == "send" || verb == "data")) {
    move(Move::Kind::kSay, answer);
    talk->moves.back().refused = option("refused");
  }
}

bool ExchangePlayer::IsData(std::size_t place) const {
  for (const ChartMessage& message : type_.dump) {
    for (const ChartItem& item : message.items)
      if (item.kind == ChartItemKind::kData && place >= item.offset && place - item.offset < item.size) return true;
    if (!message.size || place < message.size) return false;
    place -= message.size;
  }
  return false;
}

int ExchangePlayer::ByteOf(const Words& message, std::size_t at, int patch, int turn) const {
  const std::string& word = message[at];
  if (word == kAnyByte) return -1;
  const ChartMessage& dump = type_.dump.front();
  if (IsHexByte(word)) {
    // The device number goes to this place by itself.
    if (chart_.device.letter && static_cast<int>(at) == dump.PlaceOf(chart_.device.letter))
      for (const ChartItem& item : dump.items)
        if (item.kind == ChartItemKind::kByte && item.offset == at) return item.byte.With(device_) & 0x7F;
    return std::stoi(word, nullptr, 16);
  }
  int value = 0;
  char sign = '+';
  for (std::size_t from = 0; from < word.size();) {
    const std::size_t end = std::min(word.find_first_of("+-*/%&", from), word.size());
    const std::string_view one = std::string_view(word).substr(from, end - from);
    const int operand = one == "patch"    ? patch
                        : one == "device" ? device_
                        : one == "turn"   ? turn
                        : from == 0 && IsHexByte(one)
                            ? std::stoi(std::string(one), nullptr, 16)
                            : static_cast<int>(std::clamp<std::int64_t>(ParseInteger(one).value_or(0), 0, UINT16_MAX));
    value = Computed(value, sign, operand);
    if (end < word.size()) sign = word[end];
    from = end + 1;
  }
  return value & 0xFF;
}

ExchangePlayer::Fit ExchangePlayer::Fits(const Words& message, int turn, std::span<const std::uint8_t> bytes,
                                         int* patch) const {
  if (bytes.size() > message.size() || message.empty()) return Fit::kNo;
  const bool says = std::any_of(message.begin(), message.end(),
                                [](const std::string& word) { return word.find("patch") != std::string::npos; });
  const int patches = !says ? 1 : memory_.size() > 1 ? static_cast<int>(memory_.size()) : kMostPatchNumbers;
  for (int one = 0; one < patches; ++one) {
    std::size_t at = 0;
    for (; at < bytes.size(); ++at)
      if (const int byte = ByteOf(message, at, one, turn); byte >= 0 && byte != bytes[at]) break;
    if (at < bytes.size()) continue;
    if (bytes.size() < message.size()) return Fit::kPart;
    if (says) *patch = memory_.size() > 1 ? one : 0;
    return Fit::kWhole;
  }
  return Fit::kNo;
}

std::vector<std::uint8_t> ExchangePlayer::Said(const Words& message, const Words& unlike, int turn) const {
  std::vector<std::uint8_t> bytes;
  for (std::size_t at = 0; at < message.size(); ++at) {
    int byte = ByteOf(message, at, static_cast<int>(Current()), turn);
    if (byte < 0) {
      const int other = at < unlike.size() ? ByteOf(unlike, at, 0, turn) : -1;
      byte = other < 0 ? 0 : other == kOtherAnswer ? kAnotherAnswer : kOtherAnswer;
    }
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  return bytes;
}

// Data that is the same whatever is put into it on its way.
ChartData ExchangePlayer::Sample(std::uint32_t seed) const {
  ChartData data = ChartPeer::Sample(seed);
  for (const std::string& set : sets_) {
    const std::size_t colon = set.find(':');
    const auto place = ParseInteger(TrimmedView(std::string_view(set).substr(0, colon)));
    const auto bytes = colon == std::string::npos ? std::nullopt : ParseHex(TrimmedView(set.substr(colon + 1)));
    std::vector<std::uint8_t> image = ChartPeer::Image(0, data);
    if (!place || !bytes || *place < 0 || static_cast<std::size_t>(*place) + bytes->size() > image.size()) continue;
    std::copy(bytes->begin(), bytes->end(), image.begin() + static_cast<std::ptrdiff_t>(*place));
    if (ChartData with = DataOf(image); !with.empty()) data = std::move(with);
  }
  return data;
}

// A form of a file says the numbers that the dump leaves open: those of the messages that it has in a row.
std::vector<std::uint8_t> ExchangePlayer::Image(std::size_t index, const ChartData& data) const {
  std::vector<std::uint8_t> image = ChartPeer::Image(index, data);
  if (type_.forms.empty() || type_.dump.size() != 1) return image;
  const ChartMessage& part = type_.forms.front().messages.front().second;
  const int place = part.PlaceOf(kPatchLetter);
  const std::size_t parts = part.size ? image.size() / part.size : 0;
  const ChartItem* first = type_.dump.front().items.empty() ? nullptr : &type_.dump.front().items.front();
  if (place < 0 || parts < 2 || !first || first->times != parts || first->stride != part.size) return image;
  const std::size_t each = static_cast<std::size_t>(type_.slots) / parts;
  for (std::size_t i = 0; i < parts; ++i)
    image[i * part.size + static_cast<std::size_t>(place)] =
        static_cast<std::uint8_t>(static_cast<std::size_t>(First()) + i * each);
  return image;
}

// In a file stands what is sent, or what `file` says and the data behind it.
bool ExchangePlayer::File(std::vector<std::uint8_t>* bytes) const {
  bytes->clear();
  if (Confirms() && file_.empty()) return false;
  for (std::size_t i = 0; i < memory_.size(); ++i) {
    const std::vector<std::uint8_t> image = Image(i, memory_[i]);
    const auto put = [&](const Words& message, int turn) {
      for (std::size_t at = 0; at < message.size(); ++at)
        bytes->push_back(static_cast<std::uint8_t>(ByteOf(message, at, static_cast<int>(i), turn)));
    };
    put(file_, 0);
    std::size_t used = 0;
    for (const Move& move : put_.moves) {
      if (move.kind == Move::Kind::kHear && file_.empty()) put(move.message, move.turn);
      if (move.kind != Move::Kind::kHearData) continue;
      const std::size_t left = image.size() - used, size = move.size ? std::min(move.size, left) : left;
      bytes->insert(bytes->end(), image.begin() + static_cast<std::ptrdiff_t>(used),
                    image.begin() + static_cast<std::ptrdiff_t>(used + size));
      used += size;
    }
  }
  return true;
}

bool ExchangePlayer::ChoosesPatch() const {
  return memory_.size() == 1 || get_.listens || std::any_of(get_.moves.begin(), get_.moves.end(), [](const Move& move) {
           return move.kind == Move::Kind::kHear &&
                  std::any_of(move.message.begin(), move.message.end(),
                              [](const std::string& word) { return word.find("patch") != std::string::npos; });
         });
}

bool ExchangePlayer::Confirms() const {
  return std::any_of(put_.moves.begin(), put_.moves.end(),
                     [](const Move& move) { return move.kind == Move::Kind::kSay && !move.anyway; });
}

bool ExchangePlayer::CanRefuse() const {
  return std::any_of(put_.moves.begin(), put_.moves.end(), [](const Move& move) { return !move.refused.empty(); });
}

ChartPeer::Messages ExchangePlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  constexpr std::uint8_t kClock = 0xF8, kMessageEnd = 0xF7;
  Messages arrived;
  for (const std::uint8_t byte : bytes) {
    if (byte >= kClock) continue;
    pending_.push_back(byte);
    Messages answers;
    // Frames stay open: what has begun may be whole at any byte.
    if (!TakePending(&answers) && byte == kMessageEnd) unknown_.push_back(std::exchange(pending_, {}));
    for (auto& answer : answers)
      if (Arrives()) arrived.push_back(std::move(answer));
  }
  return arrived;
}

bool ExchangePlayer::TakePending(Messages* answers) {
  bool part = false;
  for (Talk* talk : {&get_, &put_}) {
    for (const Words& stop : talk->stops) {
      int nobody = 0;
      const Fit fit = Fits(stop, 0, pending_, &nobody);
      part = part || fit == Fit::kPart;
      if (fit != Fit::kWhole) continue;
      pending_.clear();
      Leave();
      return true;
    }
    for (const Words& again : talk->agains) {
      int nobody = 0;
      const Fit fit = Fits(again, 0, pending_, &nobody);
      part = part || fit == Fit::kPart;
      if (fit != Fit::kWhole) continue;
      pending_.clear();
      if (talk_ == talk && !last_.empty()) answers->push_back(last_);
      return true;
    }
  }
  // What a talk begins with begins it anew at any time; data that is waited for may be anything.
  std::vector<std::pair<Talk*, std::size_t>> next = {{&get_, 0}, {&put_, 0}};
  const bool waits = talk_ && talk_->moves[next_].kind == Move::Kind::kHearData;
  if (talk_) next.insert(waits ? next.end() : next.begin(), {talk_, next_});
  for (const auto& [talk, at] : next) {
    const Fit fit = TakeMove(talk, at, answers);
    if (fit == Fit::kWhole) return true;
    part = part || fit == Fit::kPart;
  }
  return part;
}

ExchangePlayer::Fit ExchangePlayer::TakeMove(Talk* talk, std::size_t at, Messages* answers) {
  const bool begins = at == 0;
  if (at >= talk->moves.size() || (begins && talk_ && talk->moves[0].kind == Move::Kind::kHearData)) return Fit::kNo;
  const Move& move = talk->moves[at];
  int patch = -1;
  if (move.kind == Move::Kind::kHear) {
    const Fit fit = Fits(move.message, move.turn, pending_, &patch);
    if (fit != Fit::kWhole) return fit;
    if (begins) Leave();
  } else if (move.kind == Move::Kind::kHearData) {
    const std::size_t all = Image(0, memory_[0]).size(), had = begins ? 0 : heard_.size();
    const std::size_t wanted = move.size ? move.size : all - std::min(all, had);
    if (pending_.size() < wanted) return Fit::kPart;
    if (begins) Leave();
    heard_.insert(heard_.end(), pending_.begin(), pending_.end());
  } else {
    return Fit::kNo;
  }
  pending_.clear();
  if (patch >= 0) patch_ = patch;
  talk_ = talk;
  next_ = at + 1;
  GoOn(answers);
  return Fit::kWhole;
}

void ExchangePlayer::GoOn(Messages* answers) {
  for (; next_ < talk_->moves.size(); ++next_) {
    const Move& move = talk_->moves[next_];
    if (move.kind == Move::Kind::kHear || move.kind == Move::Kind::kHearData) return;
    if (move.kind == Move::Kind::kSay && faults_.refuses && !move.refused.empty()) {
      answers->push_back(Said(move.refused, move.message, move.turn));
      return Leave();
    }
    if (move.kind == Move::Kind::kSay) {
      last_ = Said(move.message, {}, move.turn);
    } else {
      const std::vector<std::uint8_t> image = Image(Current(), memory_[Current()]);
      const auto begin = image.begin() + static_cast<std::ptrdiff_t>(std::min(said_, image.size()));
      const std::size_t left = static_cast<std::size_t>(image.end() - begin);
      const std::size_t size = move.size ? std::min(move.size, left) : left;
      last_.assign(begin, begin + static_cast<std::ptrdiff_t>(size));
      said_ += size;
    }
    answers->push_back(last_);
  }
  if (talk_ == &put_) Store();
  Leave();
}

void ExchangePlayer::Store() {
  // What is sent may say its number itself.
  ChartValues values;
  const ChartMessage& head = type_.dump.front();
  if (patch_ < 0 && heard_.size() >= head.size && head.PlaceOf(kPatchLetter) >= 0 &&
      MatchMessage(head, std::span(heard_).first(head.size), &values, nullptr))
    patch_ = std::clamp(values[kPatchLetter] - First(), -1, static_cast<int>(memory_.size()) - 1);
  const std::size_t place = Current();
  std::vector<std::uint8_t> image = Image(place, memory_[place]);
  std::copy_n(heard_.begin(), std::min(heard_.size(), image.size()), image.begin());
  if (const ChartData data = DataOf(image); !data.empty()) memory_[place] = data;
  written_.push_back(memory_.size() > 1 ? patch_ : 0);
}

void ExchangePlayer::Leave() {
  talk_ = nullptr;
  next_ = said_ = 0;
  patch_ = -1;
  heard_.clear();
}

}  // namespace tonalith
