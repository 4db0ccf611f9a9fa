#include "studio/unrecognized.h"

#include <algorithm>
#include <map>

#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

// Shorter messages are requests, acknowledgements, parameters.
constexpr std::size_t kShortestData = 16;

void NoteOthers(const TypeTable& table, const FileMessages& file, std::vector<std::string>* others) {
  std::vector<std::size_t> counts(table.others().size());
  for (const FileMessage& message : file.list) {
    if (message.used) continue;
    const auto known = std::find_if(table.others().begin(), table.others().end(),
                                    [&](const OtherMessage& other) { return other.Is(message.bytes); });
    if (known != table.others().end()) ++counts[static_cast<std::size_t>(known - table.others().begin())];
  }
  for (std::size_t i = 0; i < counts.size(); ++i)
    if (counts[i]) others->push_back(std::to_string(counts[i]) + " " + table.others()[i].what);
}

// The type and form of data that begins as this message does but has another length.  Short beginnings say too little.
bool HasWrongLength(const TypeTable& table, const FileMessage& message, FormIndex* form) {
  constexpr std::size_t kTelling = 5;
  if (message.bytes.size() < kShortestData) return false;
  std::size_t longest = kTelling - 1;
  for (const FormIndex& index : table.OfMaker(message)) {
    const RecognizeRule& rule = table.Form(index);
    if (rule.byAddress() || rule.byAnswer) continue;
    const MessageRule& first = rule.messages.front();
    if (!first.pattern.Matches(message.bytes)) continue;
    // Data of this length begins so as well: it lacks something else.
    if (first.length == 0 || first.length == message.bytes.size()) return false;
    if (first.pattern.size() <= longest) continue;
    longest = first.pattern.size();
    *form = index;
  }
  return longest >= kTelling;
}

void NoteWrongLengths(const TypeTable& table, const FileMessages& file, std::vector<std::string>* others) {
  constexpr std::size_t kMostNotes = 8;
  std::map<std::string, int> notes;
  for (const FileMessage& message : file.list) {
    FormIndex index;
    if (message.used || !HasWrongLength(table, message, &index)) continue;
    const ZKDrvList& driver = *table.types()[index.type].driver;
    const std::string& name = driver.instrument ? driver.instrument->name : driver.name;
    ++notes[Latin1ToUtf8(driver.TypeName()) + " of the " + name + " with " + std::to_string(message.bytes.size()) +
            " in place of " + std::to_string(table.Form(index).messages.front().length) + " bytes"];
    if (notes.size() >= kMostNotes) break;
  }
  for (const auto& [note, count] : notes) others->push_back(std::to_string(count) + " " + note);
}

}  // namespace

void JoinCodedMessages(const TypeTable& table, FileMessages* file, std::vector<std::string>* others) {
  for (const auto& [instrument, coding] : table.codings()) {
    const BytePattern& head = coding.head;
    if (std::none_of(file->list.begin(), file->list.end(),
                     [&head](const FileMessage& message) { return head.Matches(message.bytes); }))
      continue;
    CodedAssembler assembler(coding);
    std::vector<FileMessage> kept;
    std::size_t last = 0;  // of the messages put together, from 1
    std::uint32_t begin = 0;
    bool began = false;
    for (const FileMessage& message : file->list) {
      std::vector<std::uint8_t> whole;
      bool bad = false;
      if (!assembler.Add(message.bytes, &whole, &bad)) {
        kept.push_back(message);
        continue;
      }
      const std::uint32_t end = message.offset + message.length;
      if (whole.empty() && !assembler.collecting() && last && last == kept.size()) {
        kept.back().length = end - kept.back().offset;
        continue;
      }
      if (!began) begin = message.offset;
      began = whole.empty();
      if (began) continue;
      file->copies.push_back(std::move(whole));
      FileMessage joined;
      joined.bytes = file->copies.back();
      joined.offset = begin;
      joined.length = end - begin;
      joined.coded = true;
      joined.bad = bad;
      kept.push_back(joined);
      last = kept.size();
    }
    file->list = std::move(kept);
    if (assembler.lost())
      others->push_back(std::to_string(assembler.lost()) + " pieces of unfinished data of the " + instrument);
  }
}

void NoteUnrecognized(const TypeTable& table, const FileMessages& file, std::vector<std::string>* others) {
  NoteOthers(table, file, others);
  NoteWrongLengths(table, file, others);
}

bool LacksMessage(const TypeTable& table, const FileMessages& file, std::uint32_t first, std::uint32_t last,
                  ChecksumVerdict verdict) {
  const std::size_t smallest = verdict == ChecksumVerdict::kOk ? 0 : kShortestData;
  auto torn = std::lower_bound(file.damage.begin(), file.damage.end(), file.list[first].offset,
                               [](const TornMessage& one, std::size_t offset) { return one.offset < offset; });
  for (; torn != file.damage.end() && torn->offset < file.list[last].offset; ++torn)
    if (torn->size >= smallest) return true;
  FormIndex ignored;
  for (std::uint32_t i = first; i < last; ++i)
    if (!file.list[i].used && HasWrongLength(table, file.list[i], &ignored)) return true;
  return false;
}

}  // namespace tonalith
