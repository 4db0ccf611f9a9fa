#include "bank/bank_naming.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/bank_slots.h"

namespace tonalith {

namespace {

constexpr std::size_t kLongestAutoName = 10;  // of separate names, though they could be longer
constexpr std::size_t kLongestSlotName = 32;  // of separate names
constexpr std::size_t kSearchedOfSeparate = 10;
constexpr int kMostTwoDigitPatches = 99;
constexpr std::uint8_t kNumbersFromZero = 1;  // name format whose numbers are not one more than the slot's
constexpr std::size_t kMostNameList = std::size_t{4} << 20;
constexpr std::size_t kShortestTextName = 5;

std::string WithZeros(std::int64_t number, int digits) {
  std::string text = std::to_string(number);
  if (text.size() < static_cast<std::size_t>(digits))
    text.insert(0, static_cast<std::size_t>(digits) - text.size(), '0');
  return text;
}

std::vector<std::string> NamesOfText(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const bool utf8 = text.substr(0, kByteOrderMark.size()) == kByteOrderMark || IsValidUtf8(text);
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
  std::vector<std::string> names;
  while (!text.empty()) {
    const std::size_t end = std::min(text.size(), text.find_first_of(std::string_view("\t\n\r\0", 4)));
    if (end > 0) names.push_back(utf8 ? Utf8ToLatin1(text.substr(0, end)) : std::string(text.substr(0, end)));
    text.remove_prefix(std::min(text.size(), end + 1));
  }
  return names;
}

}  // namespace

bool IsNameList(const std::string& path) {
  const std::string name = path.substr(path.find_last_of('/') + 1);
  return name.size() >= kShortestTextName && AsciiLower(name.substr(name.size() - 4)) == ".txt";
}

int BankNaming::Digits() const {
  return document_.PatchCount() <= kMostTwoDigitPatches ? 2 : 3;
}

int BankNaming::LongestBase() const {
  const int longest =
      document_.synth().namesSeparate ? static_cast<int>(kLongestSlotName) : static_cast<int>(document_.NameLength());
  return std::max(0, longest - Digits());
}

BankOutcome BankNaming::SetNames(const std::string& name, const std::string& status, const std::vector<int>& which,
                                 const std::vector<std::string>& names) {
  const auto change = [&](BankSlots& slots) {
    for (std::size_t i = 0; i < which.size(); ++i)
      if (!slots.SetName(which[i], names[i])) return Result::Failure("The names could not be written into this data.");
    return Result::Success();
  };
  BankOutcome outcome(document_.ChangeSlots(name, status, change));
  if (outcome.ok()) outcome.status = status;
  return outcome;
}

BankOutcome BankNaming::AutoName(std::vector<int> which, const std::string& base) {
  const std::uint32_t longest = document_.NameLength();
  if (longest == 0) return Result::Failure("The patches of this data type have no names.");
  if (which.empty()) which = SlotRun{0, document_.PatchCount() - 1}.Slots();
  const Synth& synth = document_.synth();
  const std::int64_t first = PatchMin(synth) + (synth.nameFormat == kNumbersFromZero ? 0 : 1);
  const std::int64_t last = first + *std::max_element(which.begin(), which.end());
  const std::size_t room = synth.namesSeparate ? kLongestAutoName : longest;
  // A number that would be cut would name two patches alike.
  const int digits = std::max(Digits(), static_cast<int>(std::to_string(last).size()));
  if (static_cast<std::size_t>(digits) > room) return Result::Failure("The numbers do not fit a name of this data.");
  const NameFit fit = FitPatchName(*document_.dataFile(), base);
  const std::string begin = fit.name.substr(0, room - static_cast<std::size_t>(digits));
  std::vector<std::string> names;
  for (const int slot : which) names.push_back(begin + WithZeros(first + slot, digits));
  return SetNames("Auto Name", Printf("Autonamed %d Patches", static_cast<int>(which.size())), which, names);
}

BankOutcome BankNaming::RenameAndNumberAll(const std::string& base) {
  const std::size_t longest = document_.NameLength();
  if (longest == 0) return Result::Failure("The patches of this data type have no names.");
  const std::vector<int> all = SlotRun{0, document_.PatchCount() - 1}.Slots();
  const int digits = std::max(Digits(), static_cast<int>(std::to_string(document_.PatchCount()).size()));
  if (static_cast<std::size_t>(digits) > longest) return Result::Failure("The numbers do not fit a name of this data.");
  std::string begin = FitPatchName(*document_.dataFile(), base).name;
  begin.resize(longest - static_cast<std::size_t>(digits), ' ');
  std::vector<std::string> names;
  for (const int slot : all) names.push_back(begin + WithZeros(slot + 1, digits));
  return SetNames("Number", Printf("Renamed %d Patches", document_.PatchCount()), all, names);
}

std::string BankNaming::ImportRefusal() const {
  return document_.synth().namesSeparate
             ? std::string()
             : "Names are imported only where they are kept beside the bytes of the patches.";
}

BankOutcome BankNaming::ImportNames(const std::vector<std::string>& latin1Names, const std::vector<int>& which) {
  if (std::string reason = ImportRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  std::vector<int> slots;
  std::vector<std::string> names;
  for (const int slot : which) {
    if (slot < 0 || static_cast<std::size_t>(slot) >= latin1Names.size()) continue;
    slots.push_back(slot);
    names.push_back(latin1Names[static_cast<std::size_t>(slot)].substr(0, kLongestSlotName));
  }
  if (slots.empty()) return Result::Failure("There are no names for the selected patches.");
  return SetNames("Import Names", Printf("Imported %d names", static_cast<int>(slots.size())), slots, names);
}

int BankNaming::Find(const std::string& text, int from) const {
  const std::string wanted = AsciiLower(Utf8ToLatin1(text));
  const int count = document_.PatchCount();
  if (wanted.empty()) return -1;
  for (int i = 1; i <= count; ++i) {
    const int patch = (std::max(from, -1) + i) % count;
    std::string name = document_.GetPatchName(patch);
    if (document_.synth().namesSeparate) name.resize(kSearchedOfSeparate, ' ');
    if (AsciiLower(name).find(wanted) != std::string::npos) return patch;
  }
  return -1;
}

Result ReadNameList(const std::string& path, std::vector<std::string>* names) {
  if (IsNameList(path)) {
    std::string text;
    if (!ReadWholeFile(path, text, kMostNameList).ok())
      return Result::Failure("Internal Error! Failed to open text document");
    if (text.empty()) return Result::Failure("Internal Error! text document size == 0!");
    *names = NamesOfText(text);
    return Result::Success();
  }
  DataFilePtr data;
  if (Result read = ZKBankDoc::Load(path, &data); !read.ok()) return read;
  if (!data->synth->namesSeparate || !data->voiceNames) return Result::Failure("No Names found in the selected SysEx");
  *names = LoadPatchNames(*data);
  return Result::Success();
}

}  // namespace tonalith
