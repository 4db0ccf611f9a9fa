#include "tools/dump_repair.h"

#include <algorithm>
#include <utility>

#include "data/container.h"
#include "data/hex_text.h"
#include "data/standard_midi_file.h"
#include "platform/atomic_file.h"
#include "tools/dump_stream.h"

namespace tonalith {

namespace {

constexpr char kNoSysEx[] = "The file holds no SysEx.";
constexpr std::uint8_t kSysEx = 0xF0, kEnd = 0xF7;

std::string Bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Bytes between the messages of two events of a MIDI file that follow each other.
constexpr std::size_t kBetweenEvents = 9;

// A message of the copy and where it came from.
struct KeptMessage {
  std::size_t offset = 0, length = 0;
  std::vector<std::uint8_t> bytes;
  std::string what;
  bool isData = false;
};

// Goes through the pieces of a stream and decides what becomes of each.
class Repair {
 public:
  Repair(const DumpKnowledge& knowledge, RepairReport* report) : knowledge_(knowledge), report_(*report) {}

  void Stream(std::span<const std::uint8_t> file);
  void MidiFile(const SmfContents& contents);
  void Finish(std::span<const std::uint8_t> file);

 private:
  void Find(std::size_t offset, std::size_t length, std::string what, bool repaired) {
    report_.findings.push_back({offset, length, std::move(what), repaired});
  }
  void SetAside(std::size_t offset, std::string reason, std::span<const std::uint8_t> bytes) {
    report_.quarantine.push_back({offset, std::move(reason), {bytes.begin(), bytes.end()}});
  }
  void Quarantine(std::size_t offset, std::string what, std::span<const std::uint8_t> bytes) {
    SetAside(offset, what, bytes);
    Find(offset, bytes.size(), std::move(what), false);
  }
  void Outside(std::span<const std::uint8_t> file, std::size_t from, std::size_t to);
  bool Headless(std::span<const std::uint8_t> file, std::size_t from, std::size_t end, std::size_t* start);
  std::size_t Whole(std::span<const std::uint8_t> file, const StreamPiece& piece);
  std::size_t Torn(std::span<const std::uint8_t> file, const StreamPiece& piece);
  bool WithoutEnd(std::span<const std::uint8_t> file, const StreamPiece& piece, std::size_t* next);
  bool Interleaved(std::span<const std::uint8_t> file, const StreamPiece& piece, std::size_t* next);
  bool IsWhole(std::span<const std::uint8_t> message) const;
  void Keep(std::size_t offset, std::size_t length, std::vector<std::uint8_t> message, bool checked = false);
  void TakeOutDoubled();

  const DumpKnowledge& knowledge_;
  RepairReport& report_;
  std::vector<KeptMessage> kept_;
};

// ---- messages that are there ----------------------------------------------------------------------------------------

// Takes a message with its two ends into the copy, unless it is data of a wrong length.
void Repair::Keep(std::size_t offset, std::size_t length, std::vector<std::uint8_t> message, bool checked) {
  const DumpKnowledge::Judgement judgement = knowledge_.Judge(message);
  std::vector<std::uint8_t> sealed = message;
  if (!checked && judgement.verdict == DumpKnowledge::Verdict::WrongLength) {
    return Quarantine(
        offset, judgement.what + ": " + std::to_string(message.size()) + " in place of " + Bytes(judgement.length),
        message);
  }
  if (judgement.verdict == DumpKnowledge::Verdict::BadChecksum && knowledge_.Seal(&sealed)) {
    SetAside(offset, judgement.what + ": the message with its wrong checksum", message);
    Find(offset, length, judgement.what + ": wrong checksum, computed anew; the data itself may be damaged", true);
  }
  kept_.push_back({offset, length, std::move(sealed), judgement.what, judgement.IsData()});
}

std::size_t Repair::Whole(std::span<const std::uint8_t> file, const StreamPiece& piece) {
  const auto bytes = file.subspan(piece.begin, piece.end - piece.begin);
  if (!piece.realTime) {
    // Two messages in one: the first one lost its F7, the next one its F0.
    const DumpKnowledge::Judgement judgement = knowledge_.Judge(bytes);
    if (judgement.verdict == DumpKnowledge::Verdict::WrongLength && bytes.size() > judgement.length) {
      std::vector<std::uint8_t> first(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(judgement.length - 1));
      first.push_back(kEnd);
      if (knowledge_.Judge(first).verdict == DumpKnowledge::Verdict::Good) {
        Find(piece.begin, first.size() - 1, judgement.what + ": without its F7, which was put behind it", true);
        const std::size_t next = piece.begin + first.size() - 1;
        Keep(piece.begin, first.size() - 1, std::move(first), true);
        return next;
      }
    }
    Keep(piece.begin, bytes.size(), {bytes.begin(), bytes.end()});
    return piece.end;
  }
  std::vector<std::uint8_t> clean, out;
  for (const std::uint8_t byte : bytes) (byte < 0xF8 ? clean : out).push_back(byte);
  const auto first = std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte >= 0xF8; });
  const std::string what = knowledge_.Judge(clean).what;
  SetAside(piece.begin, "real-time bytes of a message", out);
  Find(piece.begin + static_cast<std::size_t>(first - bytes.begin()), out.size(),
       (what.empty() ? std::string("SysEx message") : what) + ": " + Bytes(out.size()) +
           " of real time inside, taken out",
       true);
  Keep(piece.begin, bytes.size(), std::move(clean));
  return piece.end;
}

// Where such data has no one length nothing shows that it is all there.
bool Repair::IsWhole(std::span<const std::uint8_t> message) const {
  const DumpKnowledge::Judgement judgement = knowledge_.Judge(message);
  return judgement.IsWhole() && judgement.length == message.size();
}

// ---- messages without an end ----------------------------------------------------------------------------------------

// The F7 alone is missing; what follows the message may be text.
bool Repair::WithoutEnd(std::span<const std::uint8_t> file, const StreamPiece& piece, std::size_t* next) {
  const auto bytes = file.subspan(piece.begin, piece.end - piece.begin);
  std::vector<std::size_t> lengths{bytes.size() + 1};
  for (const std::size_t length : knowledge_.LengthsOf(bytes))
    if (length > 2 && length <= bytes.size() && LooksLikeText(bytes.subspan(length - 1))) lengths.push_back(length);
  for (const std::size_t length : lengths) {
    std::vector<std::uint8_t> message(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length - 1));
    std::erase_if(message, [](std::uint8_t byte) { return byte >= 0xF8; });
    message.push_back(kEnd);
    if (!IsWhole(message)) continue;
    Find(piece.begin, length - 1, knowledge_.Judge(message).what + ": without its F7, which was put behind it", true);
    Keep(piece.begin, length - 1, std::move(message), true);
    *next = piece.begin + length - 1;
    return true;
  }
  return false;
}

// Other messages stand inside of it: with them taken out it is whole.
bool Repair::Interleaved(std::span<const std::uint8_t> file, const StreamPiece& piece, std::size_t* next) {
  constexpr int kMostInside = 16;
  std::vector<std::uint8_t> joined(file.begin() + static_cast<std::ptrdiff_t>(piece.begin),
                                   file.begin() + static_cast<std::ptrdiff_t>(piece.end));
  std::vector<std::pair<std::size_t, std::size_t>> inside;  // from, to
  std::size_t at = piece.end;
  while (static_cast<int>(inside.size()) < kMostInside && at < file.size()) {
    const std::size_t from = at;
    if (file[from] == kSysEx) {
      const StreamPiece inner = NextMessage(file, from);
      if (!inner.hasEnd) return false;
      at = inner.end;
    } else {
      at = EndOfShortMessage(file, from);
    }
    if (at == from) return false;
    inside.emplace_back(from, at);
    const std::size_t rest = at;
    while (at < file.size() && (file[at] < 0x80 || file[at] >= 0xF8)) ++at;
    for (std::size_t i = rest; i < at; ++i)
      if (file[i] < 0x80) joined.push_back(file[i]);
    if (at == file.size()) return false;
    if (file[at] != kEnd) continue;
    ++at;
    joined.push_back(kEnd);
    std::erase_if(joined, [](std::uint8_t byte) { return byte >= 0xF8; });
    if (!IsWhole(joined)) return false;
    Find(piece.begin, at - piece.begin,
         knowledge_.Judge(joined).what + ": " + std::to_string(inside.size()) +
             (inside.size() == 1 ? " other message inside" : " other messages inside") + ", taken out",
         true);
    Keep(piece.begin, at - piece.begin, std::move(joined), true);
    for (const auto& [begin, end] : inside) {
      const auto other = file.subspan(begin, end - begin);
      if (file[begin] == kSysEx)
        Whole(file, NextMessage(file, begin));
      else
        SetAside(begin, "a MIDI message inside of a SysEx message", other);
    }
    *next = at;
    return true;
  }
  return false;
}

std::size_t Repair::Torn(std::span<const std::uint8_t> file, const StreamPiece& piece) {
  std::size_t next = piece.end;
  if (WithoutEnd(file, piece, &next) || Interleaved(file, piece, &next)) return next;
  const auto bytes = file.subspan(piece.begin, piece.end - piece.begin);
  std::string what = "SysEx message";
  std::string missing;
  for (const std::size_t length : knowledge_.LengthsOf(bytes)) {
    std::vector<std::uint8_t> filled(bytes.begin(), bytes.end());
    filled.resize(length, 0);
    filled.back() = kEnd;
    if (const DumpKnowledge::Judgement judgement = knowledge_.Judge(filled); !judgement.what.empty()) {
      what = judgement.what;
      missing = ", " + std::to_string(bytes.size()) + " of " + Bytes(length);
      break;
    }
  }
  Quarantine(piece.begin, what + ": cut off" + missing, bytes);
  return piece.end;
}

// ---- what is outside of messages ------------------------------------------------------------------------------------

// The message that ends with the F7 at `end` and has lost its F0.
bool Repair::Headless(std::span<const std::uint8_t> file, std::size_t from, std::size_t end, std::size_t* start) {
  std::vector<std::uint8_t> message;
  const auto isWhole = [&](std::size_t begin) {
    message.assign(1, kSysEx);
    message.insert(message.end(), file.begin() + static_cast<std::ptrdiff_t>(begin),
                   file.begin() + static_cast<std::ptrdiff_t>(end + 1));
    return IsWhole(message);
  };
  std::vector<std::size_t> starts{from};
  for (const std::size_t length : knowledge_.Lengths())
    if (length >= 2 && end + 2 >= from + length) starts.push_back(end + 2 - length);
  for (const std::size_t begin : starts) {
    if (!isWhole(begin)) continue;
    *start = begin;
    Find(begin, end + 1 - begin, knowledge_.Judge(message).what + ": without its F0, which was put before it", true);
    Keep(begin, end + 1 - begin, std::move(message), true);
    return true;
  }
  return false;
}

void Repair::Outside(std::span<const std::uint8_t> file, std::size_t from, std::size_t to) {
  while (from < to) {
    const auto run = file.subspan(from, to - from);
    // Up to the first F7 that data stands before.
    std::size_t length = 0;
    while (length < run.size() && run[length] < 0x80) ++length;
    std::size_t start = 0;
    if (length > 0 && length < run.size() && run[length] == kEnd) {
      if (Headless(file, from, from + length, &start)) {
        if (start > from) Outside(file, from, start);
        from += length + 1;
        continue;
      }
      Quarantine(from, "the end of a SysEx message without its beginning", run.first(length + 1));
      from += length + 1;
      continue;
    }
    if (length > 0) {
      const auto bytes = run.first(length);
      const char* what = LooksLikeText(bytes) ? "text" : IsPadding(bytes) ? "padding" : nullptr;
      if (what) {
        SetAside(from, std::string(what) + " outside of messages", bytes);
        Find(from, length, std::string(what) + " outside of messages, left out", true);
      } else {
        Quarantine(from, "bytes outside of messages", bytes);
      }
      from += length;
      continue;
    }
    // Real-time bytes, padding of FFs, other messages, an F7 alone.
    const std::uint8_t first = run.front();
    std::size_t end = 1;
    while (end < run.size() && run[end] >= 0xF8 && first >= 0xF8) ++end;
    if (first < 0xF7) end = std::max<std::size_t>(1, std::min(EndOfShortMessage(file, from), to) - from);
    const auto bytes = run.first(end);
    if (first >= 0xF8) {
      SetAside(from, "real-time bytes outside of messages", bytes);
      Find(from, end, "real-time bytes outside of messages, left out", true);
    } else if (first == kEnd) {
      SetAside(from, "an F7 without a message", bytes);
      Find(from, end, "an F7 without a message, left out", true);
    } else {
      Quarantine(from, "a MIDI message that is no SysEx", bytes);
    }
    from += end;
  }
}

// ---- the whole ------------------------------------------------------------------------------------------------------

void Repair::Stream(std::span<const std::uint8_t> file) {
  std::size_t at = 0;
  while (at < file.size()) {
    const auto begin = static_cast<std::size_t>(
        std::find(file.begin() + static_cast<std::ptrdiff_t>(at), file.end(), kSysEx) - file.begin());
    if (begin > at) Outside(file, at, begin);
    if (begin == file.size()) return;
    const StreamPiece piece = NextMessage(file, begin);
    at = piece.hasEnd ? Whole(file, piece) : Torn(file, piece);
  }
}

void Repair::MidiFile(const SmfContents& contents) {
  for (const SmfSysEx& event : contents.messages) {
    std::vector<std::uint8_t> message = event.bytes;
    std::erase_if(message, [](std::uint8_t byte) { return byte >= 0xF8; });
    const std::size_t length = event.bytes.size();
    if (message.size() != length) {
      SetAside(event.fileOffset, "a message with real-time bytes inside", event.bytes);
      Find(event.fileOffset, length, "SysEx message: real-time bytes inside, taken out", true);
    }
    if (event.isTerminated) {
      Keep(event.fileOffset, length, std::move(message));
      continue;
    }
    message.push_back(kEnd);
    if (IsWhole(message)) {
      Find(event.fileOffset, length, knowledge_.Judge(message).what + ": without its F7, which was put behind it",
           true);
      Keep(event.fileOffset, length, std::move(message), true);
    } else {
      Quarantine(event.fileOffset, "SysEx message: cut off", event.bytes);
    }
  }
}

// A message twice in a row that says its place, or a file that says everything twice.
void Repair::TakeOutDoubled() {
  const auto takeOut = [this](KeptMessage& message) {
    SetAside(message.offset, message.what + ": doubled", message.bytes);
    Find(message.offset, message.length, message.what + ": the same message twice, once left out", true);
    message.bytes.clear();
  };
  const std::size_t half = kept_.size() / 2;
  const auto same = [](const KeptMessage& a, const KeptMessage& b) { return a.isData && a.bytes == b.bytes; };
  // Not of a file that lost something: it may have stood between them.
  if (half > 0 && kept_.size() % 2 == 0 && report_.Quarantined() == 0 &&
      std::equal(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(half),
                 kept_.begin() + static_cast<std::ptrdiff_t>(half), kept_.end(), same)) {
    std::for_each(kept_.begin() + static_cast<std::ptrdiff_t>(half), kept_.end(), takeOut);
    return;
  }
  for (std::size_t i = kept_.size(); i-- > 1;)
    if (kept_[i].offset - kept_[i - 1].offset - kept_[i - 1].length <= kBetweenEvents && same(kept_[i - 1], kept_[i]) &&
        knowledge_.SaysItsPlace(kept_[i].bytes))
      takeOut(kept_[i]);
}

void Repair::Finish(std::span<const std::uint8_t> file) {
  TakeOutDoubled();
  const auto byOffset = [](const auto& a, const auto& b) { return a.offset < b.offset; };
  std::stable_sort(report_.findings.begin(), report_.findings.end(), byOffset);
  std::stable_sort(report_.quarantine.begin(), report_.quarantine.end(), byOffset);
  for (const KeptMessage& message : kept_) {
    if (message.bytes.empty()) continue;
    ++report_.messages;
    if (!message.isData) ++report_.unknown;
    if (!report_.findings.empty()) report_.copy.insert(report_.copy.end(), message.bytes.begin(), message.bytes.end());
  }
  if (report_.findings.empty()) report_.copy.assign(file.begin(), file.end());
}

}  // namespace

std::size_t RepairReport::Repaired() const {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(), [](const RepairFinding& finding) { return finding.repaired; }));
}

Result RepairDump(const DumpKnowledge& knowledge, std::span<const std::uint8_t> file, RepairReport* report) {
  *report = {};
  if (LooksLikeDataFile(file) || IsListFile(file))
    return Result::Failure(
        "A data file of this program is no dump.  \"import\" makes a whole one of what is left of it.");
  Repair repair(knowledge, report);
  if (IsStandardMidiFile(file)) {
    SmfContents contents;
    std::string error;
    if (!ReadSmfSysEx(file, &contents, &error)) return Result::Failure(error);
    repair.MidiFile(contents);
  } else {
    const auto isFrame = [](std::uint8_t byte) { return byte == kSysEx || byte == kEnd; };
    if (std::none_of(file.begin(), file.end(), isFrame)) return Result::Failure(kNoSysEx);
    repair.Stream(file);
  }
  repair.Finish(file);
  if (report->messages == 0 && report->quarantine.empty()) return Result::Failure(kNoSysEx);
  return Result::Success();
}

std::string UnknownSentence(const RepairReport& report) {
  if (report.unknown == 0) return {};
  return "No instrument here knows " +
         (report.unknown == report.messages
              ? std::string("the messages")
              : std::to_string(report.unknown) + " of " + std::to_string(report.messages) + " messages") +
         ": only beginning and end of them were looked at.";
}

std::string RepairLine(const RepairFinding& finding) {
  return std::to_string(finding.offset) + "\t" + std::to_string(finding.length) + "\t" + finding.what + "\t" +
         (finding.repaired ? "repaired" : "quarantined");
}

std::string QuarantineText(const RepairReport& report) {
  std::string text = "# offset, length, reason, bytes\n";
  for (const QuarantinedBytes& entry : report.quarantine)
    text += std::to_string(entry.offset) + "\t" + std::to_string(entry.bytes.size()) + "\t" + entry.reason + "\t" +
            HexText(entry.bytes) + "\n";
  return text;
}

Result WriteRepair(const RepairReport& report, const std::string& path, std::string* quarantine) {
  if (!report.quarantine.empty()) {
    std::string beside = path + ".quarantine";
    for (int number = 2; FileExists(beside) || FolderExists(beside); ++number)
      beside = path + ".quarantine" + std::to_string(number);
    if (Result result = WriteFileAtomically(beside, std::string_view(QuarantineText(report))); !result.ok())
      return result;
    if (quarantine) *quarantine = beside;
  }
  return WriteFileAtomically(path, std::span<const std::uint8_t>(report.copy));
}

}  // namespace tonalith
