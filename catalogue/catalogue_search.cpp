// What is looked for in the catalogue.

#include <algorithm>
#include <set>
#include <utility>

#include "catalogue/catalogue.h"
#include "catalogue/grams.h"
#include "catalogue/instrument_choice.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
// A query begins with this part of the texts.  Where at least one block in so many of them has hits, or a word is too
// short for the index, it goes on through them, else it asks the index.
constexpr std::size_t kGlance = 16;
constexpr std::size_t kRare = 12;
constexpr std::size_t kFewBlocks = 64;
constexpr std::size_t kLooks = 64;  // at the token, once in so many blocks with hits

bool Contains(std::string_view text, const std::string& word) {
  return text.find(word) != std::string_view::npos;
}

std::vector<std::string> FoldedWords(const std::string& utf8) {
  std::vector<std::string> words;
  std::string folded = Utf8ToLatin1(utf8, '\x01');
  FoldCase(&folded);
  for (std::string& word : SplitText(folded, ' '))
    if (!word.empty()) words.push_back(std::move(word));
  return words;
}

}  // namespace

// One query at work.
class Catalogue::Search {
 public:
  Search(Catalogue& catalogue, const CatalogueQuery& query, const CancelToken& cancel, const CatalogueTaker& take)
      : catalogue_(catalogue), cancel_(cancel), take_(take), limit_(query.limit) {
    for (const std::string& text : FoldedWords(query.text)) {
      Word& word = words_.emplace_back();
      word.text = text;
      for (const auto& [id, kind] : catalogue_.kinds_)
        if (Contains(kind.folded, text)) word.kinds.insert(id);
    }
    tags_ = FoldedWords(query.tag);
  }

  Result Run(const std::string& instrument) {
    if (!instrument.empty()) {
      if (Result chosen = ChooseInstruments(catalogue_, instrument, &kinds_); !chosen.ok()) return chosen;
    }
    if (Result loaded = catalogue_.LoadTexts(); !loaded.ok()) return loaded;
    const TextMemory& texts = catalogue_.texts_;
    std::size_t place = 0;
    const std::size_t glance = KnownToIndex() ? std::max(kFewBlocks, texts.size() / kGlance) : texts.size();
    for (; !done_ && place < std::min(glance, texts.size()); ++place) Block(place);
    const bool isRare = tried_ * kRare < place;
    if (!done_ && place < texts.size() && isRare)
      AskIndex(texts.At(place).id);
    else
      for (; !done_ && place < texts.size(); ++place) Block(place);
    Result state = catalogue_.TakeState();
    return state.ok() && cancel_.Cancelled() ? Result::Failure("Cancelled.") : state;
  }

 private:
  struct Word {
    std::string text;
    std::set<std::int64_t> kinds;  // in whose names it occurs
  };

  static std::string AnyOf(const std::set<std::int64_t>& kinds) {
    std::string match;
    for (const std::int64_t kind : kinds) match += (match.empty() ? "" : " OR ") + MatchOfMark(MarkOfKind(kind));
    return match;
  }

  // A text is asked for, and none of its words is too short.
  bool KnownToIndex() const {
    const auto isShort = [](const std::string& word) { return word.size() < kGram; };
    return !(words_.empty() && tags_.empty() && kinds_.empty()) && std::none_of(tags_.begin(), tags_.end(), isShort) &&
           std::none_of(words_.begin(), words_.end(), [&](const Word& word) { return isShort(word.text); });
  }

  std::string Match() const {
    std::string match;
    const auto add = [&match](const std::string& part) { match += (match.empty() ? "(" : " AND (") + part + ")"; };
    for (const Word& word : words_)
      add(MatchOfWord(word.text) + (word.kinds.empty() ? std::string() : " OR " + AnyOf(word.kinds)));
    for (const std::string& tag : tags_) add(MatchOfWord(tag));
    if (!kinds_.empty()) add(AnyOf(kinds_));
    return match;
  }

  // The blocks from one on.
  void AskIndex(std::int64_t from) {
    DatabaseStatement found =
        catalogue_.database_.Prepare("SELECT rowid FROM grams WHERE grams MATCH ?2 AND rowid>=?1 ORDER BY rowid");
    const std::string match = Match();
    found.Bind(1, from).Bind(2, match);
    while (!done_ && found.Row()) {
      const std::size_t place = catalogue_.texts_.PlaceOf(found.Integer(0));
      if (place < catalogue_.texts_.size()) Block(place);
    }
  }

  void Block(std::size_t place) {
    const TextMemory::Block& block = catalogue_.texts_.At(place);
    if (!kinds_.empty() && !kinds_.contains(block.kind)) return;
    if (block.kind != kind_) {
      kind_ = block.kind;
      wanted_.clear();
      for (const Word& word : words_)
        if (!word.kinds.contains(kind_)) wanted_.push_back(&word.text);
      for (const std::string& tag : tags_) wanted_.push_back(&tag);
      done_ = cancel_.Cancelled();
    }
    LinesWith(catalogue_.texts_.TextsAt(place), wanted_, &lines_);
    if (lines_.empty()) return;
    ++tried_;
    if (tried_ % kLooks == 0) done_ = done_ || cancel_.Cancelled();
    DatabaseStatement& row = catalogue_.use_.block;
    if (row.Bind(1, block.id).Row()) Lines(row);
    row.Reset();
  }

  void Lines(const DatabaseStatement& block) {
    PatchBlockReader reader(static_cast<std::uint32_t>(block.Integer(2)), block.Bytes(3), block.Bytes(4),
                            block.Bytes(5), block.Bytes(6));
    PatchRow row;
    std::uint32_t line = 0;
    for (const std::uint32_t wanted : lines_) {
      bool isThere = true;
      for (; isThere && line <= wanted; ++line) isThere = reader.Next(&row);
      if (done_ || !isThere) return;
      if (!HasTags(row)) continue;
      if (!catalogue_.ShowRow(block.Integer(0), block.Integer(1), row, take_) || ++hits_ == limit_) done_ = true;
    }
  }

  bool HasTags(const PatchRow& row) const {
    if (tags_.empty()) return true;
    std::string tags = std::string(row.texts.keywords) + "," + std::string(row.texts.tags);
    FoldCase(&tags);
    return std::all_of(tags_.begin(), tags_.end(), [&tags](const std::string& tag) { return Contains(tags, tag); });
  }

  Catalogue& catalogue_;
  const CancelToken& cancel_;
  const CatalogueTaker& take_;
  std::vector<Word> words_;
  std::vector<std::string> tags_;
  std::set<std::int64_t> kinds_;            // of the instruments that are wanted; empty: all
  std::int64_t kind_ = 0;                   // of the block before
  std::vector<const std::string*> wanted_;  // in the texts of the patches of that kind
  std::vector<std::uint32_t> lines_;        // of a block, with all of them
  std::size_t tried_ = 0;                   // blocks with such lines
  std::size_t limit_ = 0, hits_ = 0;
  bool done_ = false;
};

bool Catalogue::ShowRow(std::int64_t file, std::int64_t kind, const PatchRow& row, const CatalogueTaker& take) {
  const auto known = kinds_.find(kind);
  use_.pathOfFile.Bind(1, file);
  bool goesOn = true;
  if (known != kinds_.end() && use_.pathOfFile.Row()) {
    CatalogueHit hit;
    hit.instrument = known->second.instrument;
    hit.type = known->second.type;
    hit.path = use_.pathOfFile.Bytes(0);
    hit.name = Latin1ToUtf8(TrimmedView(row.texts.name));
    hit.number = Latin1ToUtf8(row.label);
    hit.keywords = Latin1ToUtf8(row.texts.keywords);
    hit.comment = Latin1ToUtf8(row.texts.comment);
    hit.tags = Latin1ToUtf8(row.texts.tags);
    hit.slot = row.slot;
    hit.date = row.date != 0 ? std::int64_t{row.date} : use_.pathOfFile.Integer(1) / kNanoseconds;
    goesOn = take(hit);
  }
  use_.pathOfFile.Reset();
  return goesOn;
}

Result Catalogue::LoadTexts() {
  // Another number after every change that somebody else has made; own ones clear them.
  const std::int64_t version = database_.Number("PRAGMA data_version");
  if (version == textsVersion_ && database_.ok()) return Result::Success();
  texts_.Clear();
  DatabaseStatement all = database_.Prepare("SELECT id, kind, texts FROM blocks ORDER BY id");
  while (all.Row()) texts_.Add(all.Integer(0), all.Integer(1), all.Bytes(2));
  textsVersion_ = version;
  Result state = TakeState();
  if (!state.ok()) textsVersion_ = 0;
  return state;
}

Result Catalogue::Find(const CatalogueQuery& query, const CancelToken& cancel, const CatalogueTaker& take) {
  LoadKinds();
  return Search(*this, query, cancel, take).Run(query.instrument);
}

Result Catalogue::FindPatch(const std::string& file, std::uint32_t slot, PatchPlace* place) {
  std::int64_t id = 0;
  if (Result known = CheckFile(file, &id); !known.ok()) return known;
  *place = {};
  use_.blocksOfFile.Bind(1, id);
  while (place->block == 0 && use_.blocksOfFile.Row()) {
    const DatabaseStatement& block = use_.blocksOfFile;
    PatchBlockReader reader(static_cast<std::uint32_t>(block.Integer(2)), block.Bytes(3), block.Bytes(4),
                            block.Bytes(5), block.Bytes(6));
    PatchRow row;
    for (std::size_t i = 0; place->block == 0 && reader.Next(&row); ++i)
      if (row.slot == slot) *place = {block.Integer(0), i, block.Integer(1)};
  }
  use_.blocksOfFile.Reset();
  if (Result state = TakeState(); !state.ok()) return state;
  if (place->block == 0) return Result::Failure(file + " has no patch in slot " + std::to_string(slot) + ".");
  return Result::Success();
}

Result Catalogue::Same(const std::string& file, std::uint32_t slot, const CatalogueTaker& take) {
  LoadKinds();
  PatchPlace own;
  if (Result found = FindPatch(file, slot, &own); !found.ok()) return found;
  DatabaseStatement all = database_.Prepare("SELECT block, prints FROM prints ORDER BY block");
  DatabaseStatement one = database_.Prepare("SELECT prints FROM prints WHERE block=?1");
  const std::uint64_t wanted = one.Bind(1, own.block).Row() ? PrintAt(one.Bytes(0), own.place) : 0;
  if (Result state = TakeState(); !state.ok()) return state;
  if (wanted == 0)
    return Result::Failure("The bytes of the patch in slot " + std::to_string(slot) + " of " + file +
                           " cannot be told from those of others.");
  const auto isOfInstrument = [&](std::int64_t kind) {
    const auto found = kinds_.find(kind), mine = kinds_.find(own.kind);
    return found != kinds_.end() && mine != kinds_.end() && found->second.instrument == mine->second.instrument;
  };
  bool goesOn = true;
  std::vector<std::size_t> places;
  while (goesOn && all.Row()) {
    const std::string_view prints = all.Bytes(1);
    places.clear();
    for (std::size_t i = 0; i < prints.size() / sizeof wanted; ++i)
      if (PrintAt(prints, i) == wanted && (all.Integer(0) != own.block || i != own.place)) places.push_back(i);
    if (places.empty()) continue;
    const DatabaseStatement& block = use_.block;
    if (use_.block.Bind(1, all.Integer(0)).Row() && isOfInstrument(block.Integer(1))) {
      PatchBlockReader reader(static_cast<std::uint32_t>(block.Integer(2)), block.Bytes(3), block.Bytes(4),
                              block.Bytes(5), block.Bytes(6));
      PatchRow row;
      for (std::size_t i = 0; goesOn && reader.Next(&row); ++i)
        if (std::binary_search(places.begin(), places.end(), i))
          goesOn = ShowRow(block.Integer(0), block.Integer(1), row, take);
    }
    use_.block.Reset();
  }
  return TakeState();
}

}  // namespace tonalith
