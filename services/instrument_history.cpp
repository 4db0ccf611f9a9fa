#include "services/instrument_history.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "data/container.h"
#include "data/patch_names.h"
#include "data/patch_texts.h"
#include "platform/atomic_file.h"
#include "platform/lock_file.h"
#include "platform/own_folder.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/transfer_engine.h"

namespace tonalith {

namespace {

constexpr const char* kEnding = ".dat";
constexpr const char* kLockName = "history.lock";
constexpr std::int64_t kLockWaitMs = 5000;
constexpr std::size_t kNumberDigits = 6;
constexpr std::size_t kDateEnd = kNumberDigits + 1 + 10;  // "000012 2026-11-23 015907 Voice Bank.dat"
constexpr std::size_t kTimeEnd = kDateEnd + 1 + 6;
constexpr int kMostNumber = 999'999;
constexpr std::size_t kLongestName = 120;  // bytes, of a part of a file's name

std::string NamePart(const std::string& latin1) {
  std::string name = Latin1ToUtf8(FixInvalidFilenameCharacters(std::string(TrimmedView(latin1))));
  while (name.size() > kLongestName || (!name.empty() && name.back() == '.')) {
    do name.pop_back();
    while (!name.empty() && (static_cast<unsigned char>(name.back()) & 0xC0) == 0x80);
  }
  if (name.empty()) return "Unnamed";
  if (name.front() == '.') name.front() = '_';  // hidden files are not listed
  return name;
}

std::string CountText(int patches) {
  return patches == 1 ? "1 patch" : std::to_string(patches) + " patches";
}

bool AllDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// The file names are the index.  False: a file that is none of ours.
bool ReadName(const std::string& name, HistoryEntry* entry) {
  if (name.size() < kTimeEnd + 2 + 4 || !name.ends_with(kEnding)) return false;
  if (name[kNumberDigits] != ' ' || name[kDateEnd] != ' ' || name[kTimeEnd] != ' ') return false;
  const std::string number = name.substr(0, kNumberDigits);
  const std::string date = name.substr(kNumberDigits + 1, kDateEnd - kNumberDigits - 1);
  const std::string time = name.substr(kDateEnd + 1, kTimeEnd - kDateEnd - 1);
  if (!AllDigits(number) || !AllDigits(time)) return false;
  entry->number = std::stoi(number);
  entry->when = date + " " + time.substr(0, 2) + ":" + time.substr(2, 2) + ":" + time.substr(4, 2);
  entry->type = name.substr(kTimeEnd + 1, name.size() - kTimeEnd - 1 - 4);
  entry->patches = 0;
  // "Voice Bank (3 patches)"
  const std::size_t open = entry->type.rfind(" (");
  if (open != std::string::npos && (entry->type.ends_with(" patches)") || entry->type.ends_with(" patch)"))) {
    entry->patches = static_cast<int>(LeadingInteger(entry->type.substr(open + 2)));
    entry->type.erase(open);
  }
  return true;
}

std::vector<HistoryEntry> EntriesIn(const std::string& folder, const std::string& instrument) {
  std::vector<HistoryEntry> entries;
  for (const std::string& name : ListFolder(folder, "*.dat")) {
    HistoryEntry entry;
    if (!ReadName(name, &entry)) continue;
    entry.instrument = instrument;
    entry.path = JoinPath(folder, name);
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = "0000-00-00 000000";
  if (gmtime_r(&now, &parts)) std::strftime(text, sizeof text, "%Y-%m-%d %H%M%S", &parts);
  return text;
}

// Everything but these patches counts as undefined.
bool UndefineOthers(DataFile* data, const std::vector<std::uint8_t>& patches) {
  const std::uint32_t voices = data->synth->numVoices;
  const std::uint32_t size = (voices + 15) / 16 * 2;
  if (data->emptyMapSize < size && !AllocChunk(&data->emptyMap, &data->emptyMapSize, size)) return false;
  for (std::uint32_t i = 0; i < voices; ++i)
    if (i >= patches.size() || !patches[i]) SetMapBit(data->emptyMap, data->emptyMapSize, i, true);
  return true;
}

}  // namespace

std::string HistoryEntry::What() const {
  return patches > 0 ? type + ", " + CountText(patches) : type;
}

std::string HistoryFolder(const std::string& supportPath) {
  return supportPath.empty() ? std::string() : JoinPath(supportPath, "History");
}

DataFilePtr BlankForGet(const DataFile& data) {
  DataFilePtr blank(DupForUser(&data));
  if (!blank || !blank->synth) return nullptr;
  const auto clear = [](auto* bytes, std::uint32_t size) {
    if (bytes) std::fill_n(reinterpret_cast<std::uint8_t*>(bytes), size, std::uint8_t{0});
  };
  clear(blank->comment, blank->commentSize);
  clear(blank->findText, blank->findTextSize);
  clear(blank->voiceNames, blank->voiceNamesSize);
  clear(blank->tagMap, blank->tagMapSize);
  clear(blank->authors, blank->authorsSize);
  clear(blank->rightsNotices, blank->rightsNoticesSize);
  clear(blank->songs, blank->songsSize);
  clear(blank->musicians, blank->musiciansSize);
  clear(blank->bands, blank->bandsSize);
  clear(blank->longNames, blank->longNamesSize);
  clear(blank->fileName, blank->fileNameSize);
  return blank;
}

Result InstrumentHistory::Keep(const DataFile& data, const std::vector<std::uint8_t>& patches, HistoryEntry* entry) {
  const std::string root = folder_();
  if (root.empty()) return Result::Failure("There is no folder for what instruments held.");
  if (Result made = MakeOwnFolder(root); !made.ok()) return made;
  const DataFilePtr copy(DupForUser(&data));
  if (!copy || (!patches.empty() && !UndefineOthers(copy.get(), patches)))
    return Result::Failure("There is not enough memory.");
  entry->instrument = NamePart(TransferInstrumentName(data));
  entry->type = NamePart(FieldText(data.synth->typeName));
  entry->patches = static_cast<int>(std::count(patches.begin(), patches.end(), 1));
  const std::string folder = JoinPath(root, entry->instrument);
  if (Result made = MakeFolders(folder); !made.ok()) return made;
  // Two programs must not give the same number.
  LockFile lock;
  if (Result taken = lock.Take(root, kLockName, kLockWaitMs); !taken.ok()) return taken;
  int last = 0;
  for (const HistoryEntry& kept : List()) last = std::max(last, kept.number);
  if (last >= kMostNumber) return Result::Failure("The history of instruments is full (" + root + ").");
  entry->number = last + 1;
  const std::string now = Now();
  char number[16];
  std::snprintf(number, sizeof number, "%06d", entry->number);
  const std::string what = entry->type + (entry->patches > 0 ? " (" + CountText(entry->patches) + ")" : "");
  const std::string name = std::string(number) + " " + now + " " + what + kEnding;
  entry->path = JoinPath(folder, name);
  HistoryEntry read;
  ReadName(name, &read);
  entry->when = read.when;
  std::vector<std::uint8_t> bytes;
  if (!DiskWriteForm(&bytes, *copy)) return Result::Failure("The data is too large to be kept.");
  return WriteFileAtomically(entry->path, std::span<const std::uint8_t>(bytes));
}

std::vector<std::string> InstrumentHistory::Instruments() const {
  const std::string root = folder_();
  if (root.empty()) return {};
  std::vector<std::string> names = ListFolder(root, "*", ListWhat::Folders);
  std::erase_if(names, [&](const std::string& name) { return EntriesIn(JoinPath(root, name), name).empty(); });
  return names;
}

std::vector<HistoryEntry> InstrumentHistory::List(const std::string& instrument) const {
  std::vector<HistoryEntry> entries;
  const std::string root = folder_();
  if (root.empty()) return entries;
  const std::string wanted = instrument.empty() ? std::string() : NamePart(Utf8ToLatin1(instrument));
  for (const std::string& name : ListFolder(root, "*", ListWhat::Folders)) {
    if (!wanted.empty() && !AsciiEqualNoCase(name, wanted)) continue;
    for (HistoryEntry& entry : EntriesIn(JoinPath(root, name), name)) entries.push_back(std::move(entry));
  }
  std::sort(entries.begin(), entries.end(),
            [](const HistoryEntry& a, const HistoryEntry& b) { return a.number > b.number; });
  return entries;
}

std::vector<HistoryEntry> InstrumentHistory::ListOf(const DataFile& data) const {
  std::vector<HistoryEntry> entries = List(Latin1ToUtf8(TransferInstrumentName(data)));
  const std::string type = NamePart(FieldText(data.synth->typeName));
  std::erase_if(entries, [&](const HistoryEntry& entry) { return entry.type != type; });
  return entries;
}

Result InstrumentHistory::Find(int number, HistoryEntry* entry) const {
  for (HistoryEntry& kept : List()) {
    if (kept.number != number) continue;
    *entry = std::move(kept);
    return Result::Success();
  }
  return Result::Failure("There is no number " + std::to_string(number) + " in the history of instruments.");
}

Result InstrumentHistory::Load(int number, DataFilePtr* data) const {
  HistoryEntry entry;
  if (Result found = Find(number, &entry); !found.ok()) return found;
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadWholeFile(entry.path, bytes); !read.ok()) return read;
  DataFilePtr loaded(AllocDataFile());
  FormReadOptions options;
  options.mode = 1;
  if (!loaded || MissingBytes(bytes) != 0 || ContainerReader(bytes).DiskReadForm(loaded.get(), options) != kDiskOk ||
      !loaded->synth || !loaded->body)
    return Result::Failure("The file " + entry.path + " is damaged; it is left as it is.");
  *data = std::move(loaded);
  return Result::Success();
}

Result InstrumentHistory::Forget(int number) {
  HistoryEntry entry;
  if (Result found = Find(number, &entry); !found.ok()) return found;
  if (::unlink(entry.path.c_str()) != 0) return FileFailure("remove", entry.path, errno);
  return Result::Success();
}

}  // namespace tonalith
