#include "chart/message.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <optional>

#include "chart/chart_spelling.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostItems = 4096;
constexpr int kDeepest = 8;
constexpr std::uint32_t kLargest = 16u << 20;
constexpr std::int64_t kLongestPause = 600000;
constexpr int kNextByte = 0x100;  // behind `or` stands the byte
constexpr std::uint8_t kSysEx = 0xF0, kEnd = 0xF7;
constexpr std::uint32_t kMostTurnsInByte = 0x7F;
constexpr const char* kItems =
    "F0, 3n, pp, ??, [01 1B], \"TEXT\", (26), (134 nibbles low first), sum, <, count, turns, NAME, NAME*48, {...}*48";

struct SizeOfPacking {
  int code, wire, plain;  // so many bytes on the wire for so many
};
constexpr SizeOfPacking kSizes[] = {{0, 1, 1},  {1, 2, 1},  {2, 8, 7},  {3, 2, 1},  {4, 2, 1},  {5, 2, 1},  {6, 2, 1},
                                    {7, 8, 7},  {8, 2, 1},  {9, 2, 1},  {10, 2, 1}, {11, 8, 7}, {12, 8, 7}, {13, 2, 1},
                                    {14, 2, 1}, {15, 5, 4}, {17, 8, 7}, {18, 8, 7}, {19, 8, 7}, {20, 2, 1}, {21, 3, 2},
                                    {22, 5, 4}, {23, 2, 1}, {24, 2, 1}, {25, 2, 1}};
constexpr int kWholeGroups[] = {15, 19, 22};  // of data that fills its last group only in part, too
// Packings whose groups run on through a whole bank.
constexpr int kThrough[] = {2, 7, 11, 12};

std::optional<int> HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return std::nullopt;
}

bool IsVariable(char c) {
  return c >= 'a' && c <= 'z';
}

std::optional<int> HexByte(std::string_view text) {
  if (text.size() != 2) return std::nullopt;
  const auto high = HexDigit(text[0]), low = HexDigit(text[1]);
  if (!high || !low) return std::nullopt;
  return *high * 16 + *low;
}

// `3n`, `nn`, `??`, `4?`, `28+p`, `b-1`; nothing when it is no byte.
std::optional<ChartByte> ParseByte(std::string_view text) {
  ChartByte byte;
  if (const auto fixed = HexByte(text)) {
    byte.base = *fixed;
    return byte;
  }
  const std::size_t sign = text.find_first_of("+-");
  if (sign != std::string_view::npos && sign > 0) {
    const bool front = sign == 1 && IsVariable(text[0]);
    const std::string_view number = front ? text.substr(2) : text.substr(0, sign);
    const std::string_view variable = front ? text.substr(0, 1) : text.substr(sign + 1);
    const auto value = number.size() == 1 ? HexByte("0" + std::string(number)) : HexByte(number);
    if (!value || variable.size() != 1 || !IsVariable(variable[0]) || (!front && text[sign] == '-'))
      return std::nullopt;
    byte.base = text[sign] == '-' ? -*value : *value;
    byte.mask = 0;
    byte.variable = variable[0];
    byte.use = ChartUse::kWhole;
    return byte;
  }
  if (text.size() == 1 && IsVariable(text[0])) {
    byte.mask = 0;
    byte.variable = text[0];
    byte.use = ChartUse::kWhole;
    return byte;
  }
  if (text.size() != 2) return std::nullopt;
  byte.mask = 0;
  for (int i = 0; i < 2; ++i) {
    const char c = text[static_cast<std::size_t>(i)];
    const int weight = i == 0 ? 16 : 1;
    if (const auto digit = HexDigit(c)) {
      byte.base += weight * *digit;
      byte.mask = static_cast<std::uint8_t>(byte.mask | 0x0F * weight);
    } else if (IsVariable(c)) {
      if (byte.variable && byte.variable != c) return std::nullopt;
      byte.use = byte.variable ? ChartUse::kWhole : i == 0 ? ChartUse::kHighDigit : ChartUse::kLowDigit;
      byte.variable = c;
    } else if (c != '?') {
      return std::nullopt;
    }
  }
  return byte;
}

// An item, or a group that stands there `times` times.
struct Node {
  ChartItem item;
  std::vector<Node> group;
  std::uint32_t times = 0;  // 0: an item
  std::uint32_t least = 0;  // so often at least; 0: `times`
};

class MessageReader {
 public:
  MessageReader(const ChartNames& names, ChartProblems* problems) : names_(names), problems_(*problems) {}

  ChartMessage Read(const ChartCell& text) {
    ChartMessage message;
    message.at = text.at;
    std::vector<Node> nodes;
    Items(text, 0, &nodes);
    std::uint64_t size = 0;
    Place(nodes, {}, &size, &message.items);
    if (size > kLargest) {
      Wrong(text.at, text.text, "the message becomes too long", "at most 16 MiB");
      message.items.clear();
      message.wrong = true;
      return message;
    }
    SumRanges(&message.items);
    if (!wrong_) FreeGroup(&message.items);
    std::erase_if(message.items, [](const ChartItem& item) { return item.kind == ChartItemKind::kSumFrom; });
    Check(text, message);
    const bool any = std::any_of(message.items.begin(), message.items.end(), [](const ChartItem& item) {
      return item.kind == ChartItemKind::kData && item.bytes == 0;
    });
    message.size = any ? 0 : static_cast<std::uint32_t>(size);
    message.wrong = wrong_;
    return message;
  }

 private:
  struct Token {
    std::size_t from = 0, size = 0;
  };

  void Wrong(ChartPlace at, std::string_view read, const char* text, std::string right = {}) {
    wrong_ = true;
    problems_.Add(at, read, text, std::move(right));
  }

  // The end of what begins with a bracket or quotes at `at`, behind its closing one.
  static std::size_t Closing(std::string_view text, std::size_t at, char open, char close) {
    int depth = 0;
    for (std::size_t i = at; i < text.size(); ++i) {
      if (text[i] == '"' && open != '"') {
        const std::size_t end = text.find('"', i + 1);
        if (end == std::string_view::npos) return std::string_view::npos;
        i = end;
      } else if (text[i] == close && (open == close ? i > at : --depth == 0)) {
        return i + 1;
      } else if (text[i] == open) {
        ++depth;
      }
    }
    return std::string_view::npos;
  }

  // The parts between blanks; brackets and quotes hold theirs together, `*48` belongs to what is before it.
  std::vector<Token> Tokens(const ChartCell& cell) {
    std::vector<Token> tokens;
    const std::string_view text = cell.text;
    std::size_t i = 0;
    while (i < text.size()) {
      if (text[i] == ' ' || text[i] == '\t') {
        ++i;
        continue;
      }
      const std::size_t from = i;
      constexpr std::string_view kOpen = "([{\"", kClose = ")]}\"";
      const std::size_t bracket = kOpen.find(text[i]);
      if (bracket != std::string_view::npos) {
        i = Closing(text, i, kOpen[bracket], kClose[bracket]);
        if (i == std::string_view::npos) {
          Wrong(cell.At(from), text.substr(from), "the bracket is not closed",
                std::string(1, kClose[bracket]) + " behind it");
          return tokens;
        }
      }
      while (i < text.size() && text[i] != ' ' && text[i] != '\t' &&
             (bracket == std::string_view::npos || text[i] == '*' || text[i] == '.' ||
              std::isdigit(static_cast<unsigned char>(text[i]))))
        ++i;
      tokens.push_back({from, i - from});
    }
    return tokens;
  }

  void Items(const ChartCell& cell, int depth, std::vector<Node>* nodes) {
    for (const Token& token : Tokens(cell)) {
      if (++count_ > kMostItems || depth > kDeepest) {
        Wrong(cell.at, cell.text, depth > kDeepest ? "the blocks hold each other" : "the message has too many items");
        return;
      }
      Item(cell.Part(token.from, token.size), depth, nodes);
    }
  }

  void Item(const ChartCell& token, int depth, std::vector<Node>* nodes) {
    const std::string_view text = token.text;
    const std::size_t star = text.rfind('*');
    const bool brackets = text.front() == '{' || text.front() == '(' || text.front() == '[';
    if (text.front() != '"' && star != std::string_view::npos && (!brackets || star > text.find_last_of(")}]")))
      return Repeated(token, star, depth, nodes);
    ChartItem item;
    item.at = token.at;
    if (text == "<" || text == "count") {
      item.kind = text == "<" ? ChartItemKind::kSumFrom : ChartItemKind::kCount;
      Add(item, nodes);
    } else if (text == "turns") {
      item.turns = true;
      item.byte.mask = 0;
      Add(item, nodes);
    } else if (text == "low" && !nodes->empty() && nodes->back().item.kind == ChartItemKind::kCount) {
      nodes->back().item.lowFirst = true;
    } else if ((text == "low" || text == "high") && !nodes->empty() && IsNumber(nodes->back())) {
      nodes->back().item.byte.part = text == "low" ? ChartPart::kLow : ChartPart::kHigh;
    } else if (text == "or" && !nodes->empty() && nodes->back().item.kind == ChartItemKind::kSum) {
      nodes->back().item.orByte = kNextByte;
    } else if (const auto other = HexByte(text); other && !nodes->empty() && nodes->back().item.orByte == kNextByte) {
      nodes->back().item.orByte = *other;
    } else if (text == "ahead" && !nodes->empty() && nodes->back().item.kind == ChartItemKind::kSum) {
      nodes->back().item.ahead = true;
    } else if (text == "sum" || text.starts_with("sum:")) {
      Sum(token, nodes);
    } else if (text.front() == '(') {
      Data(token, nodes);
    } else if (text.front() == '[') {
      Sent(token, nodes);
    } else if (text.front() == '{') {
      Wrong(token.at, text, "a group says how often it stands there", "{...}*48");
    } else if (text.front() == '"') {
      for (const char c : text.substr(1, text.size() - 2)) {
        item.byte.base = static_cast<unsigned char>(c);
        Add(item, nodes);
      }
    } else if (const auto byte = ParseByte(text)) {
      if (byte->variable && names_.variables.find(byte->variable) == std::string::npos)
        return Wrong(token.at, text, "nothing is known by this letter",
                     "hex digits are capitals; known are " + KnownLetters());
      item.byte = *byte;
      Add(item, nodes);
    } else {
      Named(token, depth, nodes);
    }
  }

  // A byte that is a number, of which `low` or `high` may say a part.
  static bool IsNumber(const Node& node) {
    return !node.times && node.item.kind == ChartItemKind::kByte && node.item.byte.use == ChartUse::kWhole &&
           node.item.byte.part == ChartPart::kAll;
  }

  static void Add(const ChartItem& item, std::vector<Node>* nodes) { nodes->push_back({item, {}, 0, 0}); }

  std::string KnownLetters() const {
    std::string text;
    for (const char c : names_.variables) text += (text.empty() ? "" : ", ") + std::string(1, c);
    return text.empty() ? "none" : text;
  }

  void Named(const ChartCell& token, int depth, std::vector<Node>* nodes) {
    const auto found = names_.definitions.find(token.text);
    if (found == names_.definitions.end()) {
      std::vector<std::string> words{"sum", "count", "turns"};
      for (const auto& [name, cell] : names_.definitions) words.push_back(name);
      wrong_ = true;
      problems_.AddUnknown(token.at, token.text, "no item of a message",
                           kItems + ("; known are " + NearestWords(token.text, words)));
      return;
    }
    names_.used.insert(token.text);
    Items(found->second, depth + 1, nodes);
  }

  // `name*48`, `(128)*32`, `{...}*48`, `{...}*1..48`
  void Repeated(const ChartCell& token, std::size_t star, int depth, std::vector<Node>* nodes) {
    const std::string said = token.text.substr(star + 1);
    const std::size_t dots = said.find("..");
    const auto least = dots == std::string::npos ? std::optional<std::int64_t>(0) : ParseInteger(said.substr(0, dots));
    const auto times = ParseInteger(dots == std::string::npos ? said : said.substr(dots + 2));
    const bool counted = times && *times >= 1 && *times <= UINT16_MAX;
    if (dots != std::string::npos && (!counted || !least || *least < 1 || *least >= *times))
      return Wrong(token.At(star), token.text.substr(star), "how often it stands there at least and at most", "*1..64");
    if (!counted) return Wrong(token.At(star), token.text.substr(star), "how often it stands there is a number", "*48");
    ChartCell inside = token.Part(0, star);
    if (inside.text.empty())
      return Wrong(token.at, token.text, "what stands there several times is missing", "NAME*48");
    if (inside.text.front() == '{' && inside.text.back() == '}') inside = inside.Part(1, inside.text.size() - 2);
    Node group;
    group.times = static_cast<std::uint32_t>(*times);
    group.least = static_cast<std::uint32_t>(*least);
    Items(inside, depth + 1, &group.group);
    if (Depth(group) > 2) return Wrong(token.at, token.text, "groups stand in each other more than twice");
    nodes->push_back(std::move(group));
  }

  static int Depth(const Node& node) {
    int inside = 0;
    for (const Node& one : node.group) inside = std::max(inside, Depth(one));
    return inside + (node.times ? 1 : 0);
  }

  void Sum(const ChartCell& token, std::vector<Node>* nodes) {
    ChartItem item;
    item.kind = ChartItemKind::kSum;
    item.at = token.at;
    item.sum = names_.sum;
    const CodedTable& table = *FindCodedTable("checksumType");
    if (token.text.size() > 4) {
      const std::string word = ReplaceAll(token.text.substr(4), "-", " ");
      const CodedWord* known = FindCodedWord(table, word);
      if (!known) return Wrong(token.at, token.text, "no kind of checksum", Near(table, word, "sum:", '-'));
      item.sum = known->code;
    } else if (names_.sum < 0) {
      return Wrong(token.at, token.text, "the chart does not say what kind of sum that is",
                   "sum = negative sum in the first section");
    }
    Add(item, nodes);
  }

  static std::string Near(const CodedTable& table, std::string_view word, const char* front, char blank) {
    std::vector<std::string> words;
    for (const CodedWord& known : table.words)
      words.push_back(front +
                      (blank == ' ' ? std::string(known.word) : ReplaceAll(known.word, " ", std::string(1, blank))));
    return NearestWords(front + std::string(word), words);
  }

  // `[01 1B]`
  void Sent(const ChartCell& token, std::vector<Node>* nodes) {
    const ChartCell inside = token.Part(1, token.text.size() - 2);
    for (const Token& part : Tokens(inside)) {
      const ChartCell word = inside.Part(part.from, part.size);
      const auto byte = HexByte(word.text);
      if (!byte) {
        Wrong(word.at, word.text, "only bytes stand between [ and ]", "two hex digits, capitals");
        continue;
      }
      ChartItem item;
      item.at = word.at;
      item.byte.base = *byte;
      item.byte.mask = 0;
      Add(item, nodes);
    }
  }

  // `(26)`, `(134 nibbles low first)`, `(any from 8 step 2)`, `(counted 6 29083 + 4)`, `(120 ms)`
  void Data(const ChartCell& token, std::vector<Node>* nodes) {
    const ChartCell inside = token.Part(1, token.text.size() - 2);
    std::vector<std::string> words;
    for (const std::string& word : SplitText(ReplaceAll(inside.text, "\t", " "), ' '))
      if (!word.empty()) words.push_back(word);
    ChartItem item;
    item.kind = ChartItemKind::kData;
    item.at = token.at;
    std::size_t next = 1;
    const auto number = words.empty() ? std::nullopt : ParseInteger(words[0]);
    if (number && words.size() == 2 && words[1] == "ms") {
      item.kind = ChartItemKind::kPause;
      item.pauseMs = static_cast<int>(std::clamp<std::int64_t>(*number, 0, kLongestPause));
      Add(item, nodes);
      return;
    }
    const char* right = "(26), (134 nibbles low first), (any), (any from 8 step 2), (counted 6 29083 + 4), (120 ms)";
    if (number && *number >= 1 && *number <= kLargest) {
      item.bytes = static_cast<std::uint32_t>(*number);
    } else if (!words.empty() && words[0] == "any") {
      for (; next + 1 < words.size() && (words[next] == "from" || words[next] == "step"); next += 2) {
        const auto value = ParseInteger(words[next + 1]);
        if (!value || *value < 1 || *value > kLargest)
          return Wrong(token.at, token.text, "a number is expected", right);
        (words[next] == "from" ? item.least : item.step) = static_cast<std::uint32_t>(*value);
      }
    } else if (words.size() == 5 && words[0] == "counted" && words[3] == "+") {
      for (const std::size_t i : {1, 2, 4}) {
        const auto value = ParseInteger(words[i]);
        if (!value || *value < 0 || *value > kLargest)
          return Wrong(token.at, token.text, "a number is expected", right);
        item.counted.push_back(static_cast<std::uint32_t>(*value));
      }
      next = words.size();
    } else {
      return Wrong(token.at, token.text, "in brackets stands how many bytes of data there are", right);
    }
    std::string packing;
    for (; next < words.size(); ++next) packing += (packing.empty() ? "" : " ") + words[next];
    const CodedTable& table = *FindCodedTable("storageFormat");
    const CodedWord* known = packing.empty() ? nullptr : FindCodedWord(table, packing);
    if (!packing.empty() && !known) return Wrong(token.at, packing, "no packing", Near(table, packing, "", ' '));
    if (known) item.packing = known->code;
    if (item.bytes && PackedSize(item.packing, item.bytes) == 0)
      return Wrong(token.at, token.text, "the size of data packed so cannot be computed");
    Add(item, nodes);
  }

  void Check(const ChartCell& text, const ChartMessage& message) {
    std::vector<const ChartItem*> bytes;
    std::size_t any = 0;  // of any size
    for (const ChartItem& item : message.items) {
      if (item.kind != ChartItemKind::kPause) bytes.push_back(&item);
      any += item.kind == ChartItemKind::kData && item.bytes == 0;
    }
    if (bytes.empty()) return;
    if (any > 1) Wrong(text.at, text.text, "only one data item can have any size");
    const auto is = [](const ChartItem& item, int value) {
      return item.kind == ChartItemKind::kByte && item.byte.base == value;
    };
    if (is(*bytes.front(), kSysEx) && !is(*bytes.back(), kEnd))
      Wrong(text.at, text.text, "the message does not end with F7", "F0 ... F7");
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const bool edge = i == 0 || i + 1 == bytes.size();
      if (is(*bytes.front(), kSysEx) && !edge && bytes[i]->kind == ChartItemKind::kByte && bytes[i]->byte.base > 0x7F)
        Wrong(bytes[i]->at, "", "a byte inside a message is at most 7F");
    }
  }

  struct Loop {
    std::uint32_t times = 1, least = 0, stride = 0;
    std::uint64_t end = 0;  // of its first turn
  };

  static std::uint64_t SizeOf(const std::vector<Node>& nodes) {
    std::uint64_t size = 0;
    for (const Node& node : nodes)
      size += node.times ? std::min<std::uint64_t>(SizeOf(node.group), kLargest) * node.times : SizeOf(node.item);
    return size;
  }

  // Gives every item its place; `loops` are the groups around it, the outer one first.
  static void Place(const std::vector<Node>& nodes, const std::vector<Loop>& loops, std::uint64_t* at,
                    std::vector<ChartItem>* items) {
    for (const Node& node : nodes) {
      if (node.times) {
        std::vector<Loop> inside = loops;
        const std::uint64_t stride = std::min<std::uint64_t>(SizeOf(node.group), kLargest);
        inside.push_back({node.times, node.least, static_cast<std::uint32_t>(stride), *at + stride});
        std::uint64_t begin = *at;
        Place(node.group, inside, &begin, items);
        *at += stride * node.times;
        continue;
      }
      ChartItem item = node.item;
      item.offset = static_cast<std::uint32_t>(std::min<std::uint64_t>(*at, kLargest));
      item.size = SizeOf(item);
      if (!loops.empty()) {
        item.times = loops.back().times;
        item.leastTimes = loops.back().least;
        item.stride = loops.back().stride;
        item.groupEnd = static_cast<std::uint32_t>(std::min<std::uint64_t>(loops.back().end, kLargest));
      }
      if (loops.size() > 1) {
        item.outerTimes = loops.front().times;
        if (loops.front().least) item.leastTimes = loops.front().least;
        item.outerStride = loops.front().stride;
      }
      *at += item.size;
      items->push_back(item);
    }
  }

  static std::uint32_t SizeOf(const ChartItem& item) {
    switch (item.kind) {
      case ChartItemKind::kData:
        return PackedSize(item.packing, item.bytes);
      case ChartItemKind::kSum:
        return SumSize(item.sum);
      case ChartItemKind::kCount:
        return 2;
      case ChartItemKind::kPause:
      case ChartItemKind::kSumFrom:
        return 0;
      case ChartItemKind::kByte:
        break;
    }
    return 1;
  }

  static std::uint32_t SumSize(int kind) {
    // "in nibbles" and 14 bits
    return kind == 1 || kind == 12 || kind == 13 ? 2 : 1;
  }

  // What each checksum and each count is about.
  void SumRanges(std::vector<ChartItem>* items) {
    constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();
    std::size_t from = kNowhere;  // the item with which it begins
    bool marked = false;
    for (std::size_t i = 0; i < items->size(); ++i) {
      ChartItem& item = (*items)[i];
      if (item.kind == ChartItemKind::kSumFrom) marked = true;
      if (item.kind == ChartItemKind::kSumFrom || (item.kind == ChartItemKind::kData && from == kNowhere)) from = i;
      if (item.kind == ChartItemKind::kCount || item.ahead) {
        std::size_t end = i + 1;
        while (end < items->size() && !EndsCount((*items)[end], item)) ++end;
        std::uint32_t to = end < items->size() ? (*items)[end].offset : item.offset + item.size;
        if (item.groupEnd) to = std::min(to, item.groupEnd);
        item.sumFrom = item.offset + item.size;
        item.sumSize = to - item.sumFrom;
        item.sumsAny = HasAny(*items, i + 1, end);
        item.sumBehindAny = HasAny(*items, 0, i);
        if (item.ahead && end == i + 1 && !wrong_)
          Wrong(item.at, "sum ahead", "there is no data behind the sum", "sum ahead (26)");
        if (item.ahead) from = kNowhere;
      } else if (item.kind == ChartItemKind::kSum) {
        if (from == kNowhere) {
          if (!wrong_) Wrong(item.at, "sum", "there is no data before the sum", "< where the sum begins");
          continue;
        }
        item.sumFrom = (*items)[from].offset;
        item.sumSize = item.offset - item.sumFrom;
        item.sumsAny = HasAny(*items, from, i);
        item.sumBehindAny = HasAny(*items, 0, from);
        if (!marked) from = kNowhere;
      }
    }
  }

  // What goes along with a group that stands there as often as comes.
  void FreeGroup(std::vector<ChartItem>* items) {
    const ChartItem* first = nullptr;
    for (const ChartItem& item : *items) {
      if (!item.leastTimes) continue;
      if (!first) first = &item;
      if (item.groupEnd != first->groupEnd || item.outerTimes > 1)
        return Wrong(item.at, "", "only one group stands there as often as comes, and in no other one");
      if (item.kind == ChartItemKind::kData && IsThroughPacking(item.packing))
        return Wrong(item.at, "", "a packing that runs through all patches needs to know how many there are");
    }
    for (ChartItem& item : *items) {
      const bool data = item.kind == ChartItemKind::kData && (!item.leastTimes || !item.bytes);
      if (first && (data || item.kind == ChartItemKind::kPause))
        return Wrong(item.at, "",
                     "beside a group that stands there as often as comes there is no pause and no other data");
      if (!item.turns) continue;
      if (!first || item.times > 1 || first->times > kMostTurnsInByte)
        return Wrong(item.at, "turns", "a byte says how often a group stands there, 127 times at most",
                     "F0 43 turns {(40) sum}*1..64 F7");
      item.byte.base = static_cast<int>(first->times);
    }
  }

  // What is counted ends in front of this item.
  static bool EndsCount(const ChartItem& item, const ChartItem& count) {
    return item.kind == ChartItemKind::kSum || (item.kind == ChartItemKind::kByte && item.byte.base == kEnd) ||
           (count.groupEnd && item.offset >= count.groupEnd);
  }

  static bool HasAny(const std::vector<ChartItem>& items, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      if (items[i].kind == ChartItemKind::kData && items[i].bytes == 0) return true;
    return false;
  }

  const ChartNames& names_;
  ChartProblems& problems_;
  std::size_t count_ = 0;
  bool wrong_ = false;
};

}  // namespace

std::uint32_t PackedSize(int packing, std::uint32_t bytes) {
  const auto* size =
      std::find_if(std::begin(kSizes), std::end(kSizes), [&](const auto& s) { return s.code == packing; });
  if (size == std::end(kSizes)) return 0;
  const auto plain = static_cast<std::uint64_t>(size->plain);
  // The last group has all its bytes where what stands in the last one belongs to all of them.
  if (std::find(std::begin(kWholeGroups), std::end(kWholeGroups), packing) != std::end(kWholeGroups))
    bytes = static_cast<std::uint32_t>((bytes + plain - 1) / plain * plain);
  return static_cast<std::uint32_t>((std::uint64_t{bytes} * static_cast<std::uint64_t>(size->wire) + plain - 1) /
                                    plain);
}

bool IsThroughPacking(int packing) {
  return std::find(std::begin(kThrough), std::end(kThrough), packing) != std::end(kThrough);
}

ChartMessage ReadChartMessage(const ChartCell& text, const ChartNames& names, ChartProblems* problems) {
  return MessageReader(names, problems).Read(text);
}

bool LooksLikeMessage(std::string_view text) {
  text = TrimmedView(text);
  const std::string_view first = text.substr(0, std::min(text.find_first_of(" \t"), text.size()));
  // A byte alone is a number.
  return (first.size() >= 2 && first.size() < text.size() && ParseByte(first)) || text.starts_with("count") ||
         text.starts_with('(') || text.starts_with('{') || text.starts_with('"');
}

}  // namespace tonalith
