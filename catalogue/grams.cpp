#include "catalogue/grams.h"

#include <sqlite3.h>

#include <array>
#include <cstdint>

#include "platform/text.h"
#include "store/library/library_document.h"

namespace tonalith {

namespace {

const std::array<char, 256>& Folded() {
  static const auto kTable = [] {
    std::array<char, 256> table{};
    std::string all;
    for (std::size_t i = 0; i < table.size(); ++i) all += static_cast<char>(i);
    const std::string folded = FoldForFilter(all);
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = folded[i];
    return table;
  }();
  return kTable;
}

// What comes between words.
bool IsBetween(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

using TokenTaker = int (*)(void* context, int flags, const char* token, int size, int begin, int end);

// A gram as the index has it.  Its hash table tells short texts apart badly: grams are spread over longer ones, each
// over another one, without zeros.
class GramToken {
 public:
  explicit GramToken(std::uint32_t packed) {
    std::uint32_t spread = packed * kSpread;
    for (char& c : bytes_) {
      c = static_cast<char>(kHighBit | (spread & kLowBits));
      spread >>= kBits;
    }
  }
  std::string_view text() const { return {bytes_.data(), bytes_.size()}; }

 private:
  static constexpr std::uint32_t kSpread = 2654435761U;  // odd: no two grams have the same product
  static constexpr int kBits = 7;
  static constexpr std::uint32_t kHighBit = 1U << kBits, kLowBits = kHighBit - 1;
  std::array<char, 5> bytes_{};
};

std::uint32_t PackedGram(std::string_view gram) {
  std::uint32_t packed = 0;
  for (const char c : gram) packed = packed << 8 | static_cast<unsigned char>(c);
  return packed;
}

// A text is indexed once for each of its grams; those that came lately are remembered.
class GramWriter {
 public:
  GramWriter(void* context, TokenTaker take) : context_(context), take_(take) {}

  int Word(std::string_view word) {
    for (std::size_t i = 0; i + kGram <= word.size(); ++i)
      if (const int code = Gram(word.substr(i, kGram)); code != SQLITE_OK) return code;
    return SQLITE_OK;
  }
  int Mark(std::string_view line) { return Take(line); }

 private:
  int Gram(std::string_view gram) {
    const std::uint32_t packed = PackedGram(gram);
    std::uint32_t& seen = seen_[(packed * 2654435761U) >> (32 - kSeenBits)];
    if (seen == packed) return SQLITE_OK;
    seen = packed;
    return Take(GramToken(packed).text());
  }
  int Take(std::string_view token) {
    return take_(context_, 0, token.data(), static_cast<int>(token.size()), 0, static_cast<int>(token.size()));
  }

  static constexpr int kSeenBits = 11;
  void* context_;
  TokenTaker take_;
  std::array<std::uint32_t, std::size_t{1} << kSeenBits> seen_{};
};

int Tokenize(Fts5Tokenizer*, void* context, int flags, const char* bytes, int size, TokenTaker take) {
  const std::string_view text(bytes, bytes ? static_cast<std::size_t>(size) : 0);
  GramWriter writer(context, take);
  if (flags & FTS5_TOKENIZE_QUERY) return text.starts_with(kMarkSign) ? writer.Mark(text) : writer.Word(text);
  std::string word;
  int code = SQLITE_OK;
  for (std::size_t at = 0; at < text.size() && code == SQLITE_OK;) {
    if (text[at] == kMarkSign && (at == 0 || text[at - 1] == '\n')) {
      const std::size_t end = std::min(text.find('\n', at), text.size());
      code = writer.Mark(text.substr(at, end - at));
      at = end;
    } else if (IsBetween(text[at])) {
      ++at;
    } else {
      word.clear();
      while (at < text.size() && !IsBetween(text[at])) word += Folded()[static_cast<unsigned char>(text[at++])];
      code = writer.Word(word);
    }
  }
  return code;
}

int CreateTokenizer(void*, const char**, int, Fts5Tokenizer** tokenizer) {
  static char token;
  *tokenizer = reinterpret_cast<Fts5Tokenizer*>(&token);
  return SQLITE_OK;
}

void DeleteTokenizer(Fts5Tokenizer*) {}

std::string Quoted(std::string_view text) {
  return "\"" + ReplaceAll(text, "\"", "\"\"") + "\"";
}

}  // namespace

Result AddGramTokenizer(sqlite3* database) {
  fts5_api* api = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database, "SELECT fts5(?1)", -1, &statement, nullptr) == SQLITE_OK) {
    sqlite3_bind_pointer(statement, 1, static_cast<void*>(&api), "fts5_api_ptr", nullptr);
    sqlite3_step(statement);
  }
  sqlite3_finalize(statement);
  fts5_tokenizer tokenizer{CreateTokenizer, DeleteTokenizer, Tokenize};
  if (!api || api->xCreateTokenizer(api, "tonalith_grams", nullptr, &tokenizer, nullptr) != SQLITE_OK)
    return Result::Failure("The SQLite of this machine has no full text search (FTS5).");
  return Result::Success();
}

std::string MatchOfWord(std::string_view word) {
  std::string match;
  for (std::size_t i = 0; i + kGram <= word.size(); ++i) match += (i ? " AND " : "") + Quoted(word.substr(i, kGram));
  return "(" + match + ")";
}

std::string MatchOfMark(std::string_view mark) {
  return Quoted(mark);
}

void FoldCase(std::string* latin1) {
  for (char& c : *latin1) c = Folded()[static_cast<unsigned char>(c)];
}

}  // namespace tonalith
