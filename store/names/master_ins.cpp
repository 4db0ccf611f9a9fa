#include "store/names/master_ins.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/atomic_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kSeparator[] = "; ----------------------------------------------------------------------";
constexpr std::string_view kSeparatorStart = "; -----";
constexpr char kPatchNames[] = ".Patch Names";
constexpr char kDefinitions[] = ".Instrument Definitions";
constexpr const char* kChunks[] = {kPatchNames,  ".Note Names", ".Controller Names",
                                   ".RPN Names", ".NRPN Names", kDefinitions};
constexpr std::size_t kMostIns = std::size_t{64} << 20;

// BankSelMethod of a definition.
enum class BankMethod { Both = 0, MsbOnly = 1, LsbOnly = 2, None = 3 };

BankMethod MethodOf(const std::vector<NameBank>& banks) {
  const bool msb = std::any_of(banks.begin(), banks.end(), [](const NameBank& bank) { return bank.msb >= 0; });
  const bool lsb = std::any_of(banks.begin(), banks.end(), [](const NameBank& bank) { return bank.lsb >= 0; });
  if (msb && lsb) return BankMethod::Both;
  if (msb) return BankMethod::MsbOnly;
  return lsb ? BankMethod::LsbOnly : BankMethod::None;
}

int BankNumber(BankMethod method, const NameBank& bank) {
  const int msb = std::max(bank.msb, 0), lsb = std::max(bank.lsb, 0);
  switch (method) {
    case BankMethod::Both:
      return msb * 128 + lsb;
    case BankMethod::MsbOnly:
      return msb;
    case BankMethod::LsbOnly:
      return lsb;
    case BankMethod::None:
      break;
  }
  return 0;
}

// "12=Brass"
bool IsNumberedName(std::string_view line) {
  const std::size_t digits = line.find_first_not_of("0123456789");
  return digits != 0 && digits != std::string_view::npos && line[digits] == '=';
}

std::string_view KeyOf(std::string_view line) {
  const std::size_t equals = line.find('=');
  return equals == std::string_view::npos ? std::string_view() : TrimmedView(line.substr(0, equals));
}

// A name as it may stand between brackets.
std::string BlockText(const std::string& name) {
  return ReplaceAll(ReplaceAll(name, "[", "("), "]", ")");
}

std::vector<std::string> NameLinesOf(const NameBank& bank) {
  std::vector<std::string> lines;
  for (const NamedPatch& patch : bank.patches) lines.push_back(std::to_string(patch.program) + "=" + patch.name);
  return lines;
}

}  // namespace

MasterIns::MasterIns() {
  for (const char* chunk : kChunks) {
    if (!lines_.empty()) lines_.push_back(NewLine(""));
    lines_.push_back(NewLine(kSeparator));
    lines_.push_back(NewLine(""));
    lines_.push_back(NewLine(chunk));
  }
}

// ---- files ----------------------------------------------------------------------------------------------------------

Result MasterIns::LoadIns(const std::string& path) {
  std::string bytes;
  Result result = ReadWholeFile(path, bytes, kMostIns);
  if (result.ok()) LoadBytes(bytes);
  return result;
}

void MasterIns::LoadBytes(std::string_view bytes) {
  lines_.clear();
  isCp1252_ = !IsValidUtf8(bytes);
  std::size_t windowsEnds = 0;
  while (!bytes.empty()) {
    const std::size_t feed = bytes.find('\n');
    std::string_view text = bytes.substr(0, feed);
    std::string end = feed == std::string_view::npos ? "" : "\n";
    bytes.remove_prefix(feed == std::string_view::npos ? bytes.size() : feed + 1);
    if (!text.empty() && text.back() == '\r') {
      text.remove_suffix(1);
      end.insert(0, "\r");
      ++windowsEnds;
    }
    lines_.push_back({isCp1252_ ? Cp1252ToUtf8(text) : std::string(text), std::move(end)});
  }
  lineEnd_ = windowsEnds * 2 > lines_.size() ? "\r\n" : "\n";
}

std::string MasterIns::ToBytes() const {
  std::string bytes;
  for (const Line& line : lines_) bytes += (isCp1252_ ? Utf8ToCp1252(line.text) : line.text) + line.end;
  return bytes;
}

Result MasterIns::SaveIns(const std::string& path, std::string* backup) const {
  const std::string bytes = ToBytes();
  if (FileExists(path)) {
    std::string before;
    if (Result read = ReadWholeFile(path, before, kMostIns); !read.ok()) return read;
    if (before == bytes) return Result::Success();
    std::string kept = path + ".bak";
    for (int number = 2; FileExists(kept) || FolderExists(kept); ++number)
      kept = path + ".bak" + std::to_string(number);
    if (Result copied = CopyFileAtomically(path, kept); !copied.ok()) return copied;
    if (backup) *backup = kept;
  }
  return WriteFileAtomically(path, std::string_view(bytes));
}

// ---- finding --------------------------------------------------------------------------------------------------------

int MasterIns::FindChunkStart(const std::string& name) const {
  return FindBlockStart(0, LineCount(), name);
}

int MasterIns::FindChunkEnd(int start) const {
  for (int i = start + 1; i < LineCount(); ++i)
    if (AsciiStartsWithNoCase(lines_[static_cast<std::size_t>(i)].text, kSeparatorStart)) return i;
  return LineCount();
}

int MasterIns::FindBlockStart(int from, int to, const std::string& name) const {
  for (int i = std::max(from, 0); i < std::min(to, LineCount()); ++i)
    if (AsciiEqualNoCase(lines_[static_cast<std::size_t>(i)].text, name)) return i;
  return -1;
}

int MasterIns::FindBlockEnd(int from, int to) const {
  for (int i = std::max(from, 0); i < std::min(to, LineCount()); ++i)
    if (lines_[static_cast<std::size_t>(i)].text.starts_with("[")) return i;
  return to;
}

// ---- changing -------------------------------------------------------------------------------------------------------

std::string MasterIns::CreateBlockName(const std::string& name) {
  return "[" + BlockText(name) + "]";
}

void MasterIns::Insert(int at, const std::vector<std::string>& lines) {
  if (at == LineCount() && at > 0 && lines_.back().end.empty()) lines_.back().end = lineEnd_;
  std::vector<Line> added;
  for (const std::string& line : lines) added.push_back(NewLine(line));
  lines_.insert(lines_.begin() + at, added.begin(), added.end());
}

// The line of the chunk's name.
int MasterIns::EnsureChunk(const std::string& chunk) {
  if (const int start = FindChunkStart(chunk); start >= 0) return start;
  std::vector<std::string> lines = {kSeparator, "", chunk};
  if (!lines_.empty()) lines.insert(lines.begin(), "");
  Insert(LineCount(), lines);
  return LineCount() - 1;
}

bool MasterIns::DeleteBlock(const std::string& chunk, const std::string& block) {
  const int start = FindChunkStart(chunk);
  if (start < 0) return false;
  const int at = FindBlockStart(start + 1, FindChunkEnd(start), CreateBlockName(block));
  if (at < 0) return false;
  const int end = FindBlockEnd(at + 1, FindChunkEnd(start));
  const auto from = lines_.begin() + at + 1;
  lines_.erase(std::remove_if(from, lines_.begin() + end, [](const Line& line) { return IsNumberedName(line.text); }),
               lines_.begin() + end);
  return true;
}

void MasterIns::AddBlock(const std::string& chunk, const std::string& block, const std::vector<std::string>& lines) {
  const int start = EnsureChunk(chunk);
  const int end = FindChunkEnd(start);
  const std::string name = CreateBlockName(block);
  if (const int at = FindBlockStart(start + 1, end, name); at >= 0) return Insert(at + 1, lines);
  int behind = end;
  while (behind > start + 1 && TrimmedView(lines_[static_cast<std::size_t>(behind - 1)].text).empty()) --behind;
  std::vector<std::string> added = {"", name};
  added.insert(added.end(), lines.begin(), lines.end());
  Insert(behind, added);
}

int MasterIns::SetEntry(int from, int to, const std::string& key, const std::string& value) {
  int behind = from;
  for (int i = from; i < to; ++i) {
    Line& line = lines_[static_cast<std::size_t>(i)];
    if (AsciiEqualNoCase(KeyOf(line.text), key)) {
      if (line.text != key + "=" + value) line.text = key + "=" + value;
      return 0;
    }
    if (!TrimmedView(line.text).empty()) behind = i + 1;
  }
  Insert(behind, {key + "=" + value});
  return 1;
}

void MasterIns::UpdateInstrumentDefn(const std::string& instrument, const std::vector<NameBank>& banks) {
  if (banks.empty()) return;
  const int start = EnsureChunk(kDefinitions);
  const std::string name = CreateBlockName(instrument);
  if (FindBlockStart(start + 1, FindChunkEnd(start), name) < 0) AddBlock(kDefinitions, instrument, {});
  const int at = FindBlockStart(start + 1, FindChunkEnd(start), name);
  int end = FindBlockEnd(at + 1, FindChunkEnd(start));
  const BankMethod method = MethodOf(banks);
  end += SetEntry(at + 1, end, "BankSelMethod", std::to_string(static_cast<int>(method)));
  // Of banks that cannot be told apart the first one counts.
  std::set<int> numbers;
  for (const NameBank& bank : banks) {
    const int number = BankNumber(method, bank);
    if (numbers.insert(number).second)
      end += SetEntry(at + 1, end, "Patch[" + std::to_string(number) + "]", BlockText(bank.name));
  }
}

void MasterIns::Merge(const BankSelectNames& names) {
  for (const NameBank& bank : names.banks()) {
    DeleteBlock(kPatchNames, bank.name);
    AddBlock(kPatchNames, bank.name, NameLinesOf(bank));
  }
  for (const std::string& instrument : names.Instruments()) {
    std::vector<NameBank> banks;
    for (const NameBank& bank : names.banks())
      if (bank.instrument == instrument) banks.push_back(bank);
    UpdateInstrumentDefn(instrument, banks);
  }
}

std::string DiskMidiCakewalk(const BankSelectNames& names) {
  MasterIns file;
  file.Merge(names);
  return file.ToBytes();
}

}  // namespace tonalith
