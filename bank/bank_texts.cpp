// Texts and keywords of patches.

#include <algorithm>

#include "bank/bank_document.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr DataBuffer kTextBuffers[] = {DataBuffer::Comment,  DataBuffer::Authors,   DataBuffer::RightsNotices,
                                       DataBuffer::Songs,    DataBuffer::Musicians, DataBuffer::Bands,
                                       DataBuffer::LongNames};
static_assert(std::size(kTextBuffers) == kPatchTextKinds);

constexpr char kNoRoom[] = "There is not enough memory; the data stays as it is.";
constexpr std::size_t kLongestKeyword = kKeywordSize - 1;

// What a text of at most `longest` bytes keeps of `text`.
Result Kept(const std::string& text, std::size_t longest, std::string* latin1) {
  *latin1 = Utf8ToLatin1(text);
  Result result;
  if (Latin1ToUtf8(*latin1) != text)
    result.text = "Data files hold no other letters than those of Western Europe; the others became question marks.";
  if (latin1->size() > longest) {
    latin1->resize(longest);
    result.text = "The text was cut: it has at most " + std::to_string(longest) + " characters.";
  }
  return result;
}

}  // namespace

std::string ZKBankDoc::TextRefusal(int patch) const {
  if (IsBusy()) return BusyReason();
  return patch < 0 || patch >= PatchCount() ? "There is no such patch." : "";
}

std::string ZKBankDoc::Text(int patch, PatchText which) const {
  return Latin1ToUtf8(GetPatchText(*dataFile_, which, patch));
}

Result ZKBankDoc::SetText(int patch, PatchText which, const std::string& text) {
  if (std::string reason = TextRefusal(patch); !reason.empty()) return Result::Failure(std::move(reason));
  std::string latin1;
  Result result = Kept(text, kLongestPatchText, &latin1);
  if (latin1 == GetPatchText(*dataFile_, which, patch)) return result;
  HistoryGroup change(history(), PatchTextLabel(which));
  history().RememberWhole(IdOf(kTextBuffers[static_cast<std::size_t>(which)]));
  if (!SetPatchText(dataFile_.get(), which, patch, latin1)) return Result::Failure(kNoRoom);
  change.Commit();
  SetStatus(PatchTextLabel(which));
  Tell(DocumentChange::Kind::Item, patch);
  return result;
}

std::vector<std::string> ZKBankDoc::Keywords(int patch) const {
  std::vector<std::string> words = GetPatchKeywords(*dataFile_, patch);
  for (std::string& word : words) word = Latin1ToUtf8(word);
  return words;
}

Result ZKBankDoc::SetKeywords(int patch, const std::vector<std::string>& words) {
  if (std::string reason = TextRefusal(patch); !reason.empty()) return Result::Failure(std::move(reason));
  Result result;
  std::vector<std::string> kept;
  for (const std::string& word : words) {
    std::string latin1;
    Result one = Kept(word, kLongestKeyword, &latin1);
    const auto same = [&latin1](const std::string& other) { return AsciiEqualNoCase(other, latin1); };
    if (latin1.empty() || std::ranges::any_of(kept, same)) continue;
    if (!one.text.empty()) result.text = one.text;
    kept.push_back(std::move(latin1));
  }
  if (kept.size() > kMostKeywords) {
    kept.resize(kMostKeywords);
    result.text = "A patch has at most " + std::to_string(kMostKeywords) + " keywords; the others were left out.";
  }
  HistoryGroup change(history(), "Keywords");
  history().RememberWhole(IdOf(DataBuffer::FindText));
  if (!SetPatchKeywords(dataFile_.get(), patch, kept)) return Result::Failure(kNoRoom);
  if (!change.Commit()) return result;
  SetStatus("Keywords");
  Tell(DocumentChange::Kind::Item, patch);
  return result;
}

}  // namespace tonalith
