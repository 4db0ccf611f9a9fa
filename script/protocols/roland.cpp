#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>
#include <vector>

#include "data/checksums.h"
#include "script/protocols/built_in_protocols.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kRq1 = 0x11;
constexpr std::uint8_t kDt1 = 0x12;
constexpr std::uint8_t kWsd = 0x40;
constexpr std::uint8_t kRqd = 0x41;
constexpr std::uint8_t kDat = 0x42;
constexpr std::uint8_t kAck = 0x43;
constexpr std::uint8_t kEod = 0x45;
constexpr std::uint8_t kErr = 0x4E;
constexpr std::uint8_t kRjc = 0x4F;

constexpr int kMaxAddressLength = 8;
constexpr std::uint32_t kRolandPiece = 256;
constexpr std::int64_t kRolandReply = 300;  // longest handshake message, and how far its start is searched
constexpr std::int64_t kAcknowledgeStart = 0x122;
constexpr int kMaxIdleRounds = 3;       // answers that bring nothing new
constexpr std::int64_t kFewBytes = 32;  // one in so many missing is more likely lost than never sent
constexpr int kMaxAgain = 10;           // messages in a row that are no answer (our own, coming back)
constexpr std::int64_t kHeader = 5;     // F0, maker, device, model, command

// The address settings of a descriptor: length in 7-bit groups and the start.
struct RolandPlace {
  int groups = 3;
  std::uint32_t base = 0;

  explicit RolandPlace(const Synth& synth) {
    const std::uint8_t* address = synth.rolandAddress;
    if (synth.dumpRequest[5]) {
      groups = std::min<int>(synth.dumpRequest[5], kMaxAddressLength);
      address = synth.dumpRequest + 7;
    }
    base = RolandCalc(groups, address);
  }
};

std::vector<std::uint8_t> RolandHeader(const Synth& synth, std::uint8_t command) {
  return {0xF0, kRolandId, synth.sysExChannel, synth.dumpRequest[0], command};
}

std::vector<std::uint8_t> RolandSign(const Synth& synth, std::uint8_t command) {
  auto message = RolandHeader(synth, command);
  message.push_back(0xF7);
  return message;
}

void AppendNumber(std::vector<std::uint8_t>& message, int groups, std::uint32_t value) {
  message.resize(message.size() + static_cast<std::size_t>(groups));
  RolandWrite(groups, message.data() + message.size() - groups, value);
}

void CloseMessage(std::vector<std::uint8_t>& message) {
  message.push_back(RolandCheckSum(message.data() + kHeader, static_cast<std::int64_t>(message.size()) - kHeader));
  message.push_back(0xF7);
}

// RQ1, WSD and RQD: address and size.
std::vector<std::uint8_t> RolandRange(const Synth& synth, std::uint8_t command, int groups, std::uint32_t address,
                                      std::uint32_t size) {
  auto message = RolandHeader(synth, command);
  AppendNumber(message, groups, address);
  AppendNumber(message, groups, size);
  CloseMessage(message);
  return message;
}

// DT1 and DAT: address and data.
std::vector<std::uint8_t> RolandData(const Synth& synth, std::uint8_t command, int groups, std::uint32_t address,
                                     std::span<const std::uint8_t> data) {
  auto message = RolandHeader(synth, command);
  AppendNumber(message, groups, address);
  message.insert(message.end(), data.begin(), data.end());
  CloseMessage(message);
  return message;
}

AnswerStep SignsOf(const Synth& synth, std::initializer_list<std::uint8_t> commands) {
  AnswerStep step;
  for (const std::uint8_t command : commands) {
    const AnswerStep sign = BeginsWith(RolandHeader(synth, command));
    step.insert(step.end(), sign.begin(), sign.end());
  }
  return step;
}

// What may follow a request for data: the data from that address on, or a sign.
AnswerStep DataFrom(const Synth& synth, const RolandPlace& place, std::int64_t offset) {
  AnswerStep step = SignsOf(synth, {kEod, kErr, kRjc, kAck});
  auto data = RolandHeader(synth, kDt1);
  AppendNumber(data, place.groups, static_cast<std::uint32_t>(place.base + offset));
  step.push_back(BeginsWith(data).front());
  return step;
}

// The sum over address and data of a message, the byte before its F7.
bool SumIsRight(std::span<const std::uint8_t> message) {
  const auto size = static_cast<std::int64_t>(message.size());
  return size >= kHeader + 2 &&
         RolandCheckSum(message.data() + kHeader, size - kHeader - 2) == message[message.size() - 2];
}

// The code of a receive that gave nothing: that of the message which was no answer, if there was one.
int WithoutAnswer(int result, const RefusedMessage& refused) {
  if (result != transfer_code::kQuiet || !refused.any) return transfer_code::kNoResponse;
  if (refused.damaged) return transfer_code::kWrongCount;
  if (refused.maker != kRolandId) return transfer_code::kWrongCompany;
  return refused.ended ? transfer_code::kNoResponse : transfer_code::kWrongCount;
}

// Position of the message's F0; -1 when it is not among the first `within` bytes.
std::int64_t FindStart(std::span<const std::uint8_t> bytes, std::int64_t within) {
  const auto end = bytes.begin() + std::min<std::int64_t>(within, static_cast<std::int64_t>(bytes.size()));
  const auto at = std::find(bytes.begin(), end, std::uint8_t{0xF0});
  return at == end ? -1 : at - bytes.begin();
}

// Puts the data of a DT1 or DAT that starts at bytes[0] to where its address says.
struct RolandStored {
  std::int64_t begin = 0;  // offsets of the first data byte and behind the last, relative to the base
  std::int64_t end = 0;
  bool full = false;        // the last byte of the image was reached
  bool overflowed = false;  // and there was more
};
RolandStored StoreData(std::span<const std::uint8_t> bytes, const RolandPlace& place, ByteWindow buffer,
                       std::int64_t fileSize) {
  RolandStored stored;
  const std::int64_t dataStart = kHeader + place.groups;
  const auto f7 = std::find(bytes.begin() + 1, bytes.end(), std::uint8_t{0xF7}) - bytes.begin();
  if (static_cast<std::int64_t>(bytes.size()) < dataStart) {
    stored.begin = stored.end = -1;
    return stored;
  }
  std::int64_t target = static_cast<std::int64_t>(RolandCalc(place.groups, bytes.data() + kHeader)) -
                        static_cast<std::int64_t>(place.base);
  stored.begin = target;
  if (target >= fileSize) stored.overflowed = true;
  for (std::int64_t i = dataStart; i < f7 - 1; ++i) {
    const std::uint8_t byte = bytes[static_cast<std::size_t>(i)];
    if (byte >= 0x80) continue;
    if (target >= fileSize) {
      stored.overflowed = true;
      break;
    }
    if (target >= 0) buffer.Put(target, byte);
    if (++target == fileSize) stored.full = true;
  }
  stored.end = target;
  return stored;
}

// Notes which bytes have come; how many of them are new.
std::int64_t MarkStored(std::vector<bool>& have, const RolandStored& stored) {
  const auto last = std::min(stored.end, static_cast<std::int64_t>(have.size()));
  std::int64_t fresh = 0;
  for (std::int64_t i = std::max<std::int64_t>(stored.begin, 0); i < last; ++i) {
    const auto at = static_cast<std::size_t>(i);
    if (!have[at]) ++fresh;
    have[at] = true;
  }
  return fresh;
}

}  // namespace

int BuiltInProtocols::MidiReceiveRoland(const Synth& synth, ByteWindow buffer) {
  return synth.rolandHandshake ? ReceiveRolandHandshake(synth, buffer) : ReceiveRolandOneWay(synth, buffer);
}

int BuiltInProtocols::MidiSendRoland(const Synth& synth, ByteWindow buffer) {
  return synth.rolandHandshake ? SendRolandHandshake(synth, buffer) : SendRolandOneWay(synth, buffer);
}

// The next answer to a request for data that is not the request itself coming back: kDt1 or kEod with its start, or a
// negative code.
int BuiltInProtocols::AwaitRolandData(const AnswerStep& answer, std::vector<std::uint8_t>& reply, std::int64_t expected,
                                      std::int64_t& start) {
  for (int again = 0; again <= kMaxAgain; ++again) {
    if (line_.Cancelled()) return transfer_code::kNoResponse;
    reply.assign(static_cast<std::size_t>(expected), 0);
    line_.Await({answer});
    const int r = line_.Receive(reply);
    if (r < 0) return WithoutAnswer(r, line_.Refused());
    reply.resize(static_cast<std::size_t>(r));
    if (reply.empty() || reply.back() != 0xF7) return transfer_code::kWrongCount;
    if (r != expected && r >= 11) {
      if (reply[4] == kRq1) continue;
      if (!SumIsRight(reply)) return transfer_code::kWrongCount;
    }
    start = FindStart(reply, kRolandReply);
    if (start < 0 || start + kHeader >= r) return transfer_code::kWrongCount;
    const std::uint8_t command = reply[static_cast<std::size_t>(start) + 4];
    if (command == kRq1) continue;
    if (command == kErr) return transfer_code::kCommunication;
    if (command == kRjc) return transfer_code::kRejected;
    if (command == kAck) return transfer_code::kUnexpectedAck;
    if (command == kDt1 && !SumIsRight(std::span(reply).subspan(static_cast<std::size_t>(start)))) {
      return transfer_code::kNoEnd;
    }
    return command == kDt1 || command == kEod ? command : transfer_code::kUnknownError;
  }
  return transfer_code::kWrongCount;
}

// A part of the data was asked for as often as a piece is.
int BuiltInProtocols::GaveUp(int code) {
  line_.SpendAttempts();
  return code;
}

int BuiltInProtocols::ReceiveRolandOneWay(const Synth& synth, ByteWindow buffer) {
  SetRolandReceiveMode(20);
  const RolandPlace place(synth);
  const std::int64_t total = synth.fileSize;
  const std::int64_t chunk = synth.dumpRequest[6] ? synth.dumpRequest[6] + 1 : 128;
  std::int64_t offset = 0;
  std::int64_t furthest = 0;
  std::int64_t doubted = -1;  // position that was asked for a second time
  std::int64_t believed = 0;  // how much is there of that, as it came up short twice
  int idleRounds = 0;
  int damaged = 0;  // answers of this position
  std::vector<std::uint8_t> reply;
  while (offset < total) {
    const std::int64_t size = doubted == offset && believed > 0 ? believed : std::min(chunk, total - offset);
    line_.Stage(RolandRange(synth, kRq1, place.groups, static_cast<std::uint32_t>(place.base + offset),
                            static_cast<std::uint32_t>(size)));
    const std::int64_t expected = place.groups + 7 + size;
    std::int64_t start = -1;
    const int command = AwaitRolandData(DataFrom(synth, place, offset), reply, expected, start);
    if (command < 0) {
      // A piece that is lost or damaged is asked for again; nobody there at all is not.
      const bool lost = command == transfer_code::kNoResponse && (offset > 0 || line_.Refused().any);
      const bool isDamaged = command == transfer_code::kNoEnd || command == transfer_code::kWrongCount;
      if (!(lost || isDamaged) || line_.Cancelled()) return command;
      if (++damaged > line_.ExtraAttempts()) return GaveUp(command);
      believed = 0;
      line_.Delay(synth.dumpRequest[16] * 10u + 60u);
      continue;
    }
    if (command == kEod) return static_cast<int>(offset);
    // A lost zero does not change the sum; what is short by nature is so again, and whole when no more is asked for.
    const std::int64_t missing = expected - static_cast<std::int64_t>(reply.size());
    if (missing > 0 && missing * kFewBytes <= std::max(size, kFewBytes) && size > missing) {
      if (std::exchange(doubted, offset) != offset)
        believed = 0;
      else if (believed != 0 && ++damaged > line_.ExtraAttempts())
        return GaveUp(transfer_code::kNoEnd);
      else if (believed == 0)
        believed = size - missing;
      line_.Delay(synth.dumpRequest[16] * 10u + 60u);
      continue;
    }
    const RolandStored stored =
        StoreData(std::span<const std::uint8_t>(reply).subspan(static_cast<std::size_t>(start)), place, buffer, total);
    if (stored.full) return static_cast<int>(total);
    // Data for somewhere else leaves the position where it was.
    if (!stored.overflowed) offset = std::max<std::int64_t>(stored.end, 0);
    if (offset > furthest) {
      furthest = offset;
      idleRounds = damaged = 0;
    } else if (++idleRounds > kMaxIdleRounds) {
      return transfer_code::kCommunication;
    }
    line_.Delay(synth.dumpRequest[16] * 10u + 60u);
  }
  return static_cast<int>(total);
}

int BuiltInProtocols::ReceiveRolandHandshake(const Synth& synth, ByteWindow buffer) {
  SetRolandReceiveMode(30);
  const RolandPlace place(synth);
  const std::int64_t total = synth.fileSize;
  const auto fail = [this, &synth](int code) {
    line_.Send(RolandSign(synth, kRjc));
    return code;
  };
  const AnswerStep answer = SignsOf(synth, {kWsd, kRqd, kDat, kAck, kEod, kErr, kRjc});
  line_.Stage(RolandRange(synth, kRqd, place.groups, place.base, synth.fileSize));
  std::vector<bool> have(static_cast<std::size_t>(std::min<std::int64_t>(total, buffer.size())), false);
  std::int64_t storedBytes = 0;
  int again = 0;
  int idleRounds = 0;
  int damaged = 0;         // in a row
  bool saidAgain = false;  // and not yet answered
  std::vector<std::uint8_t> reply;
  // Once data flows, the instrument says it again; false when it did so too often.
  const auto repeat = [&] {
    if ((storedBytes == 0 && !line_.Refused().any) || line_.Cancelled()) return false;
    if (++damaged > line_.ExtraAttempts()) return GaveUp(0) != 0;
    line_.Stage(RolandSign(synth, kErr));
    return saidAgain = true;
  };
  for (;;) {
    if (line_.Cancelled()) return fail(transfer_code::kNoResponse);
    reply.assign(static_cast<std::size_t>(kRolandReply), 0);
    line_.Await({answer});
    const int r = line_.Receive(reply);
    if (r < 0) {
      if (repeat()) continue;
      return fail(WithoutAnswer(r, line_.Refused()));
    }
    reply.resize(static_cast<std::size_t>(r));
    const std::int64_t start = FindStart(reply, kRolandReply);
    if (reply.empty() || reply.back() != 0xF7 || start < 0 || start + kHeader >= r) {
      if (repeat()) continue;
      return fail(transfer_code::kWrongCount);
    }
    const auto message = std::span<const std::uint8_t>(reply).subspan(static_cast<std::size_t>(start));
    const std::uint8_t command = message[4];
    if (command == kRqd || command == kWsd) {
      if (++again > kMaxAgain) return fail(transfer_code::kCommunication);
      if (command == kWsd) line_.Stage(RolandSign(synth, kAck));
      continue;
    }
    if (command == kAck) return fail(transfer_code::kUnexpectedAck);
    if (command == kErr) return fail(transfer_code::kCommunication);
    if (command == kRjc) return fail(transfer_code::kRejected);
    if (command == kEod) {
      line_.Send(RolandSign(synth, kAck));
      return static_cast<int>(storedBytes);
    }
    if (command != kDat) return fail(transfer_code::kWrongCount);

    again = 0;
    if (!SumIsRight(message)) {
      if (++damaged > line_.ExtraAttempts()) return fail(GaveUp(transfer_code::kNoEnd));
      line_.Stage(RolandSign(synth, kErr));
      saidAgain = true;
      continue;
    }
    const RolandStored stored = StoreData(message, place, buffer, total);
    if (stored.overflowed) {
      line_.Send(RolandSign(synth, kRjc));
      return static_cast<int>(total);
    }
    const std::int64_t fresh = MarkStored(have, stored);
    storedBytes += fresh;
    if (fresh > 0) {
      idleRounds = damaged = 0;
    } else if (++idleRounds > kMaxIdleRounds) {
      return fail(transfer_code::kCommunication);
    }
    // One that comes a second time without being asked for is acknowledged already.
    if (fresh > 0 || saidAgain) line_.Stage(RolandSign(synth, kAck));
    saidAgain = false;
  }
}

int BuiltInProtocols::SendRolandOneWay(const Synth& synth, ByteWindow buffer) {
  const RolandPlace place(synth);
  const auto total = static_cast<std::uint32_t>(std::min<std::int64_t>(synth.fileSize, buffer.size()));
  for (std::uint32_t at = 0; at < total; at += kRolandPiece) {
    if (line_.Cancelled()) return transfer_code::kNoResponse;
    const auto piece = buffer.Clamped(at, std::min(kRolandPiece, total - at));
    if (line_.Send(RolandData(synth, kDt1, place.groups, place.base + at, piece)) < 0) {
      return transfer_code::kNoResponse;
    }
    if (piece.size() == kRolandPiece) line_.Delay(synth.dumpRequest[17] * 10u + 125u);
  }
  return static_cast<int>(synth.fileSize);
}

int BuiltInProtocols::SendRolandHandshake(const Synth& synth, ByteWindow buffer) {
  const RolandPlace place(synth);
  const auto total = static_cast<std::uint32_t>(std::min<std::int64_t>(synth.fileSize, buffer.size()));
  line_.Stage(RolandRange(synth, kWsd, place.groups, place.base, synth.fileSize));
  std::vector<std::uint8_t> reply;
  // Each is sent by the receive of its acknowledgement, which may come at once; the end of data follows the last one.
  for (std::uint32_t at = 0;; at += kRolandPiece) {
    std::uint8_t command = kWsd;
    for (int again = 0; command == kWsd; ++again) {
      if (again > kMaxAgain) return transfer_code::kTooLarge;
      if (line_.Cancelled()) return transfer_code::kNoResponse;
      reply.assign(static_cast<std::size_t>(kRolandReply), 0);
      const int r = line_.Receive(reply);
      // The line notes that the last one was not acknowledged; the exchange is ended all the same.
      if (r == transfer_code::kQuiet && at >= total) break;
      if (r <= 0 || reply[static_cast<std::size_t>(r) - 1] != 0xF7) return transfer_code::kTooLarge;
      reply.resize(static_cast<std::size_t>(r));
      const std::int64_t start = FindStart(reply, kAcknowledgeStart);
      if (start < 0 || start + 4 >= r) return transfer_code::kTooLarge;
      command = reply[static_cast<std::size_t>(start) + 4];
    }
    if (command != kAck && command != kRqd && !(command == kWsd && at >= total)) return transfer_code::kTooLarge;
    if (at >= total) break;
    const auto piece = buffer.Clamped(at, std::min(kRolandPiece, total - at));
    line_.Stage(RolandData(synth, kDat, place.groups, place.base + at, piece));
  }
  line_.Send(RolandSign(synth, kEod));
  return static_cast<int>(synth.fileSize);
}

int BuiltInProtocols::MacroRoland(Synth& synth, ByteWindow buffer, std::uint32_t address, std::uint32_t size,
                                  int handshake, bool receive) {
  const std::uint32_t fileSize = synth.fileSize;
  std::array<std::uint8_t, kMaxAddressLength> former{};
  std::copy_n(synth.dumpRequest + 7, former.size(), former.begin());
  synth.fileSize = size;
  synth.rolandHandshake = static_cast<std::uint8_t>(handshake);
  if (synth.dumpRequest[5]) {
    RolandWrite(std::min<int>(synth.dumpRequest[5], kMaxAddressLength), synth.dumpRequest + 7, address);
  }
  const int result = receive ? MidiReceiveRoland(synth, buffer) : MidiSendRoland(synth, buffer);
  synth.fileSize = fileSize;
  std::copy(former.begin(), former.end(), synth.dumpRequest + 7);
  return result;
}

}  // namespace tonalith
