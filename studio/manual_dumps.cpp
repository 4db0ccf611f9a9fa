#include "studio/manual_dumps.h"

#include <algorithm>

#include "data/checksums.h"
#include "data/hex_text.h"
#include "platform/log.h"
#include "platform/text.h"
#include "studio/gather_patches.h"

namespace tonalith {

namespace {

constexpr std::size_t kLogBytes = 16;

// The front-most open data of a driver.
DataFile* OpenDataOf(const ZKStudioDoc& studio, const ZKDrvList* driver, const std::vector<DataFile*>& open) {
  const auto found =
      std::find_if(open.begin(), open.end(), [&](const DataFile* data) { return studio.DriverOf(data) == driver; });
  return found == open.end() ? nullptr : *found;
}

std::string TypeTitle(const ZKDrvList& driver) {
  return Latin1ToUtf8(driver.TypeName()) + " of the " + (driver.instrument ? driver.instrument->DisplayKey() : "");
}

// Nothing but what a map changes is looked at.
bool SameData(const DataFile& a, const DataFile& b) {
  const auto sameMap = [](const DataFile& x, const DataFile& y) {
    return x.emptyMapSize == y.emptyMapSize &&
           (x.emptyMapSize == 0 || std::equal(x.emptyMap, x.emptyMap + x.emptyMapSize, y.emptyMap));
  };
  const auto without = [](const DataFile& x) { return x.xtra && x.xtra->hasNoSysEx; };
  const auto left = BodySpan(a), right = BodySpan(b);
  return std::equal(left.begin(), left.end(), right.begin(), right.end()) && sameMap(a, b) && without(a) == without(b);
}

// False: the message itself says that it is damaged.
bool AddressChecksumHolds(std::span<const std::uint8_t> message) {
  constexpr std::size_t kHead = 5;
  if (message.size() < kHead + 3 || message[1] != kRolandId || message[4] != 0x12) return true;
  const auto summed = message.subspan(kHead, message.size() - kHead - 2);
  return RolandCheckSum(summed.data(), static_cast<std::int64_t>(summed.size())) == message[message.size() - 2];
}

}  // namespace

void ManualDumps::Message(int port, std::span<const std::uint8_t> message, std::int64_t nowUs, bool inTransfer) {
  if (inTransfer) transferUs_[port] = nowUs;
  const auto transfer = transferUs_.find(port);
  if (inTransfer || (transfer != transferUs_.end() && nowUs - transfer->second < kPauseUs)) return;
  if (host_.Mode() == ManualDumpMode::kOff || message.size() < 3 || message.front() != 0xF0) return;
  if (message.back() != 0xF7) {
    MonitorMsg("MIDI IN port %d: a SysEx of %zu bytes without an end was left out", port + 1, message.size());
    return;
  }
  Dump& dump = dumps_[port];
  dump.lastUs = nowUs;
  if (TakeOpen(port, message, &dump)) return;
  if (dump.bytes.size() + message.size() > kMostCollected)
    ++dump.dropped;
  else
    dump.bytes.insert(dump.bytes.end(), message.begin(), message.end());
}

// True: the message belongs to open data.
bool ManualDumps::TakeOpen(int port, std::span<const std::uint8_t> message, Dump* dump) {
  const std::vector<DataFile*> open = host_.OpenData();
  bool taken = false;
  for (const auto& instrument : studio_.instruments()) {
    if (instrument->midiInPort != port) continue;
    for (const auto& driver : instrument->drivers) {
      if (!driver->dataFile || !driver->SysExMap()) continue;
      DataFile* data = OpenDataOf(studio_, driver.get(), open);
      // Also drivers without open data look at the message: it may say that the next ones are theirs.
      const std::size_t index =
          driver->SysExMap()->Validate(data ? *data : *driver->dataFile, message, studio_.list().sysExBase());
      if (!data || index == BufferDescriptor::kNoMatch) continue;
      taken = TakeInto(*driver, index, message, data, dump) || taken;
    }
  }
  return taken;
}

bool ManualDumps::TakeInto(const ZKDrvList& driver, std::size_t index, std::span<const std::uint8_t> message,
                           DataFile* dataFile, Dump* dump) {
  const BufferDescriptor& map = *driver.SysExMap();
  const auto range = map.Range(index, message, studio_.list().sysExBase());
  if (!range || range->count == 0) return false;
  // The bytes go into a copy first: a damaged message must not reach the data.
  const DataFilePtr tried(DupForUser(dataFile));
  if (!tried || map.Copy(index, tried.get(), message, studio_.list().sysExBase()) == 0) return false;
  const bool damaged = !AddressChecksumHolds(message) || (recognizer().Verify(*tried) == ChecksumVerdict::kBad &&
                                                          recognizer().Verify(*dataFile) != ChecksumVerdict::kBad);
  if (damaged) {
    if (dump->damaged.insert(dataFile).second)
      host_.Tell("The checksum of what was sent for the " + TypeTitle(driver) +
                 " is wrong; the open data stays as it was.");
    MonitorMsg("A damaged SysEx of %zu bytes for the %s was refused", message.size(), TypeTitle(driver).c_str());
    return true;
  }
  if (!SameData(*tried, *dataFile)) {
    const bool more = !dump->changed.insert(dataFile).second;
    if (!more) host_.BeginChange(dataFile);
    map.Copy(index, dataFile, message, studio_.list().sysExBase());
    host_.EndChange(dataFile, more);
  }
  dump->copied += range->count;
  host_.Tell("The instrument sent " + std::to_string(dump->copied) + " bytes into the " + TypeTitle(driver) + ".");
  return true;
}

// Reading the rules of all modules takes its time; they hold as long as the studio stays as it is.
const Recognizer& ManualDumps::recognizer() {
  if (!recognizer_ || recognizerOf_ != studio_.list().generation()) {
    recognizer_ = std::make_unique<Recognizer>(studio_);
    recognizerOf_ = studio_.list().generation();
  }
  return *recognizer_;
}

void ManualDumps::Tick(std::int64_t nowUs) {
  // A question may be open; its answer comes back through here.
  if (finishing_) return;
  finishing_ = true;
  for (bool again = true; again;) {
    again = false;
    for (auto at = dumps_.begin(); at != dumps_.end(); ++at) {
      if (nowUs - at->second.lastUs < kPauseUs) continue;
      const int port = at->first;
      const Dump dump = std::move(at->second);
      dumps_.erase(at);
      Finish(port, dump);
      again = true;
      break;
    }
  }
  finishing_ = false;
}

void ManualDumps::Finish(int port, const Dump& dump) {
  if (dump.dropped)
    MonitorMsg("MIDI IN port %d: %zu SysEx messages were too much for one dump", port + 1, dump.dropped);
  if (dump.bytes.empty()) return;
  FoundFile found;
  recognizer().Find(dump.bytes, &found);
  if (found.pieces.empty() || found.unknownMessages) {
    const std::span<const std::uint8_t> bytes(dump.bytes);
    MonitorMsg("MIDI IN port %d: %zu of %zu SysEx messages belong to no data of the studio's instruments: %s ...",
               port + 1, found.pieces.empty() ? found.messages : found.unknownMessages, found.messages,
               HexText(bytes.first(std::min(bytes.size(), kLogBytes))).c_str());
  }
  std::vector<RecognizedPiece> good, damaged;
  // Of many patches banks are made: what is sent by hand is nowhere else.
  for (const PieceGroup& group : GroupForWindows(found, kMostNew)) {
    const FoundPiece& first = found.pieces[group.pieces.front()];
    RecognizedPiece piece{first.offset,
                          first.length,
                          first.type->instrument,
                          first.type->dataType,
                          first.type->driverId,
                          first.checksum,
                          MakeGroup(recognizer(), found, group),
                          first.badMessages};
    if (!piece.data) continue;
    if (group.bank) {
      piece.dataType = Latin1ToUtf8(group.bank->TypeName());
      piece.driverId = group.bank->synth()->driverId;
    }
    (piece.checksum == ChecksumVerdict::kBad ? damaged : good).push_back(std::move(piece));
  }
  if (!good.empty()) Offer(port, std::move(good), false);
  if (!damaged.empty()) Offer(port, std::move(damaged), true);
}

std::string ManualDumps::Describe(const RecognizedPiece& piece) {
  std::string text = piece.instrument + " " + piece.dataType;
  const auto patches = recognizer().Patches(*piece.data);
  const std::uint32_t voices = piece.data->synth->numVoices;
  if (voices > 1 && patches.size() < voices)
    text += Printf(", %zu of %u patches", patches.size(), voices);
  else if (voices == 1 && patches.size() == 1 && !patches.front().name.empty())
    text += " \"" + std::string(TrimmedView(Latin1ToUtf8(patches.front().name))) + "\"";
  return text + Printf(" (checksum %s)", ChecksumVerdictText(piece.checksum));
}

// Of several instruments of one kind, the one on the port sent the data.
void ManualDumps::UseInstrumentOf(int port, DataFile* dataFile) const {
  for (const auto& instrument : studio_.instruments()) {
    if (instrument->midiInPort != port) continue;
    for (const auto& driver : instrument->drivers) {
      if (!driver->synth() || driver->synth()->driverId != dataFile->synth->driverId) continue;
      ApplyInstrumentName(driver.get(), dataFile);
      studio_.DrvUpdateDataFile(dataFile);
      return;
    }
  }
  studio_.DrvUpdateDataFile(dataFile);
}

void ManualDumps::Offer(int port, std::vector<RecognizedPiece> pieces, bool damaged) {
  std::string list;
  const std::size_t shown = std::min(pieces.size(), kMostNew);
  for (std::size_t i = 0; i < shown; ++i) list += "\n" + Describe(pieces[i]);
  if (shown < pieces.size())
    list += Printf("\nand %zu more, of which only the first %zu pieces are opened", pieces.size() - shown, shown);
  bool open = host_.Mode() == ManualDumpMode::kTake && !damaged;
  if (damaged)
    open = host_.Ask("An instrument sent data that is damaged:\n" + list +
                     "\n\nIts checksum is wrong, so it is not what the instrument holds. Open it all the same?");
  else if (!open)
    open = host_.Ask("An instrument sent data without being asked:\n" + list + "\n\nOpen it as new data?");
  if (!open) {
    host_.Tell(damaged ? "Damaged data of an instrument was left out." : "The data an instrument sent was left out.");
    return;
  }
  const std::string first = Describe(pieces.front());
  for (std::size_t i = 0; i < shown; ++i) {
    UseInstrumentOf(port, pieces[i].data.get());
    host_.OpenNew(std::move(pieces[i].data));
  }
  host_.Tell("Sent by the instrument: " + first +
             (pieces.size() > 1 ? Printf(" and %zu more", pieces.size() - 1) : std::string()));
}

}  // namespace tonalith
