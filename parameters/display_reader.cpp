// Reads the notation of displays.

#include <algorithm>
#include <array>
#include <numeric>

#include "parameters/parameter_display.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::array<std::string_view, 18> kUnits = {"%",  "semitones", "cents", "octaves", "ms",    "s",
                                                     "Hz", "kHz",       "dB",    "BPM",     "steps", "degrees",
                                                     "°",  "beats",     "ticks", "bars",    "oct",   "keys"};
constexpr char kRight[] =
    "a text for each value with commas between, from 1, value * 5 ms, 127 - value, notes, list NAME, as NAME, a unit";
constexpr std::int64_t kMaxFactor = 1'000'000;
constexpr std::size_t kMaxTexts = 65536;

bool IsUnit(std::string_view text) {
  return std::find(kUnits.begin(), kUnits.end(), text) != kUnits.end();
}

// value * multiply + add, over divide.
struct Linear {
  std::int64_t multiply = 0, add = 0, divide = 1;

  bool Fits() const {
    return std::abs(multiply) <= kMaxFactor && std::abs(add) <= kMaxFactor * kMaxFactor && divide > 0 &&
           divide <= kMaxFactor;
  }
};

// Sums and products of numbers and the word "value"; what does not read leaves the reader in error.
class LinearReader {
 public:
  explicit LinearReader(std::string_view text) : text_(text) {}

  Linear Sum() {
    Linear sum = Product();
    while (ok_) {
      Blanks();
      const bool plus = Take('+');
      if (!plus && !Take('-')) break;
      const Linear next = Product();
      const std::int64_t sign = plus ? 1 : -1;
      sum = {sum.multiply * next.divide + sign * next.multiply * sum.divide,
             sum.add * next.divide + sign * next.add * sum.divide, sum.divide * next.divide};
      Check(sum);
    }
    return sum;
  }
  bool ok() const { return ok_; }
  std::string_view rest() const { return TrimmedView(text_); }

 private:
  void Blanks() {
    while (!text_.empty() && text_.front() == ' ') text_.remove_prefix(1);
  }
  bool Take(char c) {
    if (text_.empty() || text_.front() != c) return false;
    text_.remove_prefix(1);
    return true;
  }
  void Check(const Linear& linear) { ok_ = ok_ && linear.Fits(); }

  Linear Product() {
    Linear product = Atom();
    while (ok_) {
      Blanks();
      const bool times = Take('*');
      if (!times && !Take('/')) break;
      Linear next = Atom();
      if (!times) {
        ok_ = ok_ && next.multiply == 0 && next.add > 0;
        std::swap(next.add, next.divide);
      }
      ok_ = ok_ && (product.multiply == 0 || next.multiply == 0);
      product = {product.multiply * next.add + next.multiply * product.add, product.add * next.add,
                 product.divide * next.divide};
      Check(product);
    }
    return product;
  }

  Linear Atom() {
    Blanks();
    if (Take('(')) {
      const Linear inside = Sum();
      Blanks();
      ok_ = ok_ && Take(')');
      return inside;
    }
    constexpr std::string_view kValue = "value";
    if (text_.starts_with(kValue)) {
      text_.remove_prefix(kValue.size());
      return {1, 0, 1};
    }
    Linear number{0, 0, 1};
    std::size_t digits = 0;
    bool point = false;
    while (!text_.empty() && ok_) {
      const char c = text_.front();
      if (c == '.' && !point) {
        point = true;
      } else if (c >= '0' && c <= '9') {
        number.add = number.add * 10 + (c - '0');
        if (point) number.divide *= 10;
        ++digits;
        Check(number);
      } else {
        break;
      }
      text_.remove_prefix(1);
    }
    ok_ = ok_ && digits > 0;
    return number;
  }

  std::string_view text_;
  bool ok_ = true;
};

// How many decimals show a number of the divisor exactly, 3 at most.
int Decimals(std::int64_t divide) {
  int decimals = 0;
  for (std::int64_t power = 1; decimals < 3 && power % divide != 0; power *= 10) ++decimals;
  return decimals;
}

// The texts that "A..H", "-7..+7", "1..16" or "I01..I32" stand for; empty when it is no such range.
std::vector<std::string> Counted(std::string_view item) {
  const std::size_t dots = item.find("..");
  if (dots == std::string_view::npos || dots == 0) return {};
  const std::string_view first = TrimmedView(item.substr(0, dots)), last = TrimmedView(item.substr(dots + 2));
  std::vector<std::string> texts;
  if (first.size() == 1 && last.size() == 1 && first[0] >= 'A' && last[0] <= 'Z' && first[0] < last[0]) {
    for (char c = first[0]; c <= last[0]; ++c) texts.emplace_back(1, c);
    return texts;
  }
  // A text with a number at its end, the same before it: I01..I32.
  const auto digits = [](std::string_view text) {
    const std::size_t before = text.find_last_not_of("0123456789");
    return before == std::string_view::npos ? 0 : before + 1;
  };
  const std::string_view prefix = first.substr(0, digits(first));
  const bool sign = last.starts_with('+') || prefix == "-" || prefix == "+";
  if (!sign && prefix != last.substr(0, digits(last))) return {};
  const std::size_t skip = sign ? 0 : prefix.size();
  const auto from = ParseInteger(first.substr(skip)), to = ParseInteger(last.substr(last.starts_with('+') ? 1 : skip));
  if (!from || !to || *from >= *to || *to - *from >= static_cast<std::int64_t>(kMaxTexts)) return {};
  const std::size_t width = !sign && first[skip] == '0' ? first.size() - skip : 0;
  for (std::int64_t number = *from; number <= *to; ++number) {
    std::string text = std::to_string(number);
    if (text.size() < width) text.insert(0, width - text.size(), '0');
    texts.push_back((last.starts_with('+') && number > 0 ? "+" : std::string(skip ? prefix : "")) + text);
  }
  return texts;
}

// `5 = text`, `5..9 = text`; nothing when it is no such item.
std::optional<DisplayList::Values> ValuesOf(std::string_view item) {
  const std::size_t equals = item.find('=');
  if (equals == std::string_view::npos || item.starts_with('"')) return std::nullopt;
  const std::string_view values = TrimmedView(item.substr(0, equals));
  const std::size_t dots = values.find("..");
  const auto first = ParseInteger(values.substr(0, dots));
  const auto last = dots == std::string_view::npos ? first : ParseInteger(values.substr(dots + 2));
  if (!first || !last) return std::nullopt;
  return DisplayList::Values{*first, *last, UnquotedItem(TrimmedView(item.substr(equals + 1)))};
}

void AddTexts(std::string_view item, std::vector<std::string>* texts) {
  const std::vector<std::string> counted = Counted(item);
  if (counted.empty())
    texts->push_back(UnquotedItem(item));
  else
    texts->insert(texts->end(), counted.begin(), counted.end());
}

}  // namespace

DisplayList ParseDisplayList(std::string_view name, std::string_view items) {
  DisplayList list;
  list.name = name;
  list.source = items;
  std::vector<std::string> texts;
  for (const auto& [at, item] : SplitDisplayItems(items)) {
    if (auto values = ValuesOf(item))
      list.values.push_back(std::move(*values));
    else if (texts.size() < kMaxTexts)
      AddTexts(item, &texts);
  }
  list.texts = std::make_shared<const std::vector<std::string>>(std::move(texts));
  return list;
}

std::string_view DisplayIsAs(std::string_view text) {
  text = TrimmedView(text);
  for (const std::string_view word : {"as ", "text of "})
    if (text.starts_with(word)) return TrimmedView(text.substr(word.size()));
  return {};
}

std::vector<std::pair<std::size_t, std::string_view>> SplitDisplayItems(std::string_view text) {
  std::vector<std::pair<std::size_t, std::string_view>> items;
  if (TrimmedView(text).empty()) return items;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    // Quotes count where a text begins; inches stand behind a number.
    if (i < text.size() && text[i] == '"' && (i == 0 || text[i - 1] == ' ' || text[i - 1] == ',')) {
      const std::size_t close = text.find('"', i + 1);
      if (close != std::string_view::npos) i = close;
      continue;
    }
    if (i < text.size() && text[i] != ',') continue;
    const std::string_view item = TrimmedView(text.substr(begin, i - begin));
    items.emplace_back(item.empty() ? begin : static_cast<std::size_t>(item.data() - text.data()), item);
    begin = i + 1;
  }
  return items;
}

std::string UnquotedItem(std::string_view item) {
  const bool quoted = item.size() >= 2 && item.front() == '"' && item.back() == '"';
  return std::string(quoted ? item.substr(1, item.size() - 2) : item);
}

std::string QuotedItem(std::string_view item) {
  const bool plain = !item.empty() && item == TrimmedView(item) &&
                     item.find_first_of(",=\"|#\t") == std::string_view::npos &&
                     item.find("..") == std::string_view::npos && item.find("  ") == std::string_view::npos;
  if (plain) return std::string(item);
  // A text cannot hold the quotes that stand around it.
  return "\"" + ReplaceAll(item, "\"", "''") + "\"";
}

class DisplayReader {
 public:
  DisplayReader(const FieldRange& range, bool isFloat, const DisplayNames& names, ParameterDisplay* out)
      : names_(names), out_(*out) {
    out_.range_ = range;
    if (isFloat) out_.form_ = ParameterDisplay::Form::kFloat;
  }

  std::optional<NotationFault> Read(std::string_view text) {
    const auto items = SplitDisplayItems(text);
    std::vector<std::pair<std::size_t, std::string_view>> rest;
    for (const auto& [at, item] : items) {
      if (auto fault = Special(at, item, &rest)) return fault;
    }
    Sort();
    for (std::size_t i = 1; i < out_.special_.size(); ++i)
      if (out_.special_[i].first <= out_.special_[i - 1].last)
        return NotationFault{0, "the value " + std::to_string(out_.special_[i].first) + " has two texts", {}};
    if (rest.empty()) return Signs();
    if (rest.size() == 1) {
      bool taken = true;
      auto fault = Form(rest[0].first, rest[0].second, &taken);
      if (fault) return fault;
      if (taken) return Signs();
    }
    return List(rest);
  }

 private:
  std::int64_t Ordinary() const { return out_.OrdinaryBefore(out_.range_.max + 1); }

  // `5 = text`, `5..9 = text`; everything else goes into `rest`.
  std::optional<NotationFault> Special(std::size_t at, std::string_view item,
                                       std::vector<std::pair<std::size_t, std::string_view>>* rest) {
    auto values = ValuesOf(item);
    if (!values) {
      rest->emplace_back(at, item);
      return std::nullopt;
    }
    if (values->first > values->last || values->first < out_.range_.min || values->last > out_.range_.max)
      return NotationFault{at, "a text for values outside the range", "values of the range"};
    out_.special_.push_back(std::move(*values));
    return std::nullopt;
  }

  // One item that is no list; `taken` false when it may be one.
  std::optional<NotationFault> Form(std::size_t at, std::string_view item, bool* taken) {
    constexpr std::string_view kFrom = "from ", kList = "list ", kNotesFrom = "notes from ";
    if (IsUnit(item)) {
      out_.unit_ = item;
    } else if (item == "notes" || item.starts_with(kNotesFrom)) {
      out_.form_ = ParameterDisplay::Form::kNotes;
      if (item.starts_with(kNotesFrom)) {
        const auto note = NoteOfText(TrimmedView(item.substr(kNotesFrom.size())));
        if (!note) return NotationFault{at + kNotesFrom.size(), "no note", "notes from C-2"};
        out_.noteOfZero_ = *note;
      }
    } else if (item.starts_with(kFrom)) {
      std::string_view number = TrimmedView(item.substr(kFrom.size()));
      number = WithoutUnit(number);
      const auto first = ParseInteger(number);
      if (!first || std::abs(*first) > kMaxFactor) return NotationFault{at + kFrom.size(), "no number", "from 1"};
      out_.add_ = *first - out_.NextOrdinary(out_.range_.min);
    } else if (item.starts_with(kList)) {
      const std::string_view name = TrimmedView(item.substr(kList.size()));
      const DisplayList* list = names_.list ? names_.list(name) : nullptr;
      if (list) return Shared(at, *list);
      return NotationFault{at + kList.size(), "there is no list of that name",
                           "list " + std::string(name) + " = A, B, C", std::string(name)};
    } else if (const std::string_view name = DisplayIsAs(item); !name.empty()) {
      const auto other = names_.display ? names_.display(name) : nullptr;
      if (!other)
        return NotationFault{at, "there is no parameter of that name", "the name of a row", std::string(name)};
      return As(at, *other);
    } else if (item.find("value") != std::string_view::npos) {
      LinearReader reader(item);
      const Linear linear = reader.Sum();
      if (!reader.ok() || linear.multiply == 0) return NotationFault{at, "the sum does not read", "(value - 64) * 2 %"};
      if (!reader.rest().empty() && !IsUnit(reader.rest())) return Unit(at, reader.rest(), item);
      out_.unit_ = reader.rest();
      const std::int64_t common = std::gcd(std::gcd(linear.multiply, linear.add), linear.divide);
      out_.multiply_ = linear.multiply / common;
      out_.add_ = linear.add / common;
      out_.divide_ = linear.divide / common;
      out_.decimals_ = Decimals(out_.divide_);
    } else {
      *taken = false;
    }
    return std::nullopt;
  }

  static NotationFault Unit(std::size_t at, std::string_view unit, std::string_view item) {
    std::string units;
    for (const std::string_view known : kUnits) units += (units.empty() ? "" : ", ") + std::string(known);
    return {at + static_cast<std::size_t>(unit.data() - item.data()), "no unit", units};
  }

  std::string_view WithoutUnit(std::string_view text) {
    const std::size_t blank = text.rfind(' ');
    if (blank == std::string_view::npos || !IsUnit(text.substr(blank + 1))) return text;
    out_.unit_ = text.substr(blank + 1);
    return TrimmedView(text.substr(0, blank));
  }

  // The texts of a list; values of its own stand behind those of the row.
  std::optional<NotationFault> Shared(std::size_t at, const DisplayList& list) {
    for (const DisplayList::Values& values : list.values) {
      const bool inside = values.first >= out_.range_.min && values.last <= out_.range_.max;
      const bool taken = std::any_of(out_.special_.begin(), out_.special_.end(), [&](const auto& own) {
        return own.first <= values.last && own.last >= values.first;
      });
      if (inside && !taken) out_.special_.push_back(values);
    }
    Sort();
    if (list.texts->empty()) return std::nullopt;
    out_.list_ = list.texts;
    return Counts(at);
  }

  void Sort() {
    std::sort(out_.special_.begin(), out_.special_.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
  }

  // Everything of another parameter but its range.
  std::optional<NotationFault> As(std::size_t at, const ParameterDisplay& other) {
    const FieldRange range = out_.range_;
    const auto special = out_.special_;
    out_ = other;
    out_.range_ = range;
    for (const auto& own : special) {
      std::erase_if(out_.special_, [&](const auto& text) { return text.first <= own.last && text.last >= own.first; });
      out_.special_.push_back(own);
    }
    std::erase_if(out_.special_, [&](const auto& text) { return text.last < range.min || text.first > range.max; });
    Sort();
    return out_.form_ == ParameterDisplay::Form::kList ? Counts(at) : std::nullopt;
  }

  // The list has a text for each value that has none yet.
  std::optional<NotationFault> Counts(std::size_t at) {
    out_.form_ = ParameterDisplay::Form::kList;
    const auto texts = static_cast<std::int64_t>(out_.list_->size());
    if (texts == Ordinary()) return std::nullopt;
    return NotationFault{at,
                         "the list has " + std::to_string(texts) + (texts == 1 ? " text" : " texts") + ", the range " +
                             std::to_string(Ordinary()) +
                             (out_.special_.empty() ? " values" : " values without a text of their own"),
                         texts == 1 ? kRight : "a text for each value"};
  }

  std::optional<NotationFault> List(const std::vector<std::pair<std::size_t, std::string_view>>& items) {
    std::vector<std::string> texts;
    for (const auto& [at, item] : items) {
      AddTexts(item, &texts);
      if (texts.size() > kMaxTexts) return NotationFault{at, "the list is too long", {}};
    }
    out_.list_ = std::make_shared<const std::vector<std::string>>(std::move(texts));
    return Counts(items.front().first);
  }

  // Numbers of a range that reaches below 0 carry a sign.
  std::optional<NotationFault> Signs() {
    if (out_.form_ != ParameterDisplay::Form::kNumber) return std::nullopt;
    const std::int64_t first = std::min(out_.NextOrdinary(out_.range_.min), out_.range_.max);
    std::int64_t last = out_.range_.max;
    for (auto special = out_.special_.rbegin(); special != out_.special_.rend(); ++special)
      if (last == special->last) last = std::max(first, special->first - 1);
    const std::int64_t a = first * out_.multiply_ + out_.add_, b = last * out_.multiply_ + out_.add_;
    out_.sign_ = std::min(a, b) < 0 && std::max(a, b) > 0;
    return std::nullopt;
  }

  const DisplayNames& names_;
  ParameterDisplay& out_;
};

std::optional<NotationFault> ParseParameterDisplay(std::string_view text, const FieldRange& range, bool isFloat,
                                                   const DisplayNames& names, ParameterDisplay* out) {
  ParameterDisplay display;
  DisplayReader reader(range, isFloat, names, &display);
  auto fault = reader.Read(text);
  if (!fault) *out = std::move(display);
  return fault;
}

}  // namespace tonalith
