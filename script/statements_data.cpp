#include <algorithm>
#include <cstring>
#include <utility>

#include "data/checksums.h"
#include "data/packed_bytes.h"
#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kSysExEnd = 0xF7;
constexpr std::size_t kMidiChannelEntry = 44;
constexpr std::int32_t kMaxTrinEffEntries = 4096;

constexpr bool IsChannelVoice(std::uint8_t status) {
  return status >= 0x80 && status < 0xF0;
}

// A status byte other than real-time between the F0 and the F7 of a message.
bool HasStrayStatus(std::span<const std::uint8_t> reply) {
  bool inside = false;
  for (const std::uint8_t byte : reply) {
    if (byte >= 0xF8) continue;
    if (byte == kSysExStart) {
      if (inside) return true;
      inside = true;
    } else if (byte == kSysExEnd) {
      inside = false;
    } else if (byte >= 0x80 && inside) {
      return true;
    }
  }
  return false;
}

// What is checked of a reply.
struct ReplyFacts {
  std::int64_t size = 0;
  int maker = -1;  // its second byte
  bool ended = false;
  bool strayStatus = false;
};

ReplyFacts FactsOfReply(std::span<const std::uint8_t> reply, bool lookInside) {
  return {static_cast<std::int64_t>(reply.size()), reply.size() > 1 ? reply[1] : -1,
          !reply.empty() && reply.back() == kSysExEnd, lookInside && HasStrayStatus(reply)};
}

// Checks a reply where n bytes were asked for; 0 or the code of the first failure that `failed` does not pass over.
template <typename Failed>
int CheckReply(const Synth& synth, const TransferContext& context, bool idCheck, const ReplyFacts& reply,
               std::int32_t n, Failed failed) {
  constexpr int kMustEnd = 1;
  constexpr int kSizeMatters = 2;
  constexpr int kNoChecksOnOtherSize = 4;
  if ((synth.optionBits & kNoChecksOnOtherSize) && reply.size != n) return 0;
  if ((synth.optionBits & kSizeMatters) && reply.size != n) {
    const auto& sizes = context.acceptedSizes;
    if (std::find(sizes.begin(), sizes.end(), static_cast<std::uint32_t>(reply.size)) == sizes.end() &&
        failed(kMacroMissingBytes)) {
      return kMacroMissingBytes;
    }
  }
  if (idCheck && synth.manufacturerId != 0 && reply.maker != synth.manufacturerId && failed(kMacroWrongId)) {
    return kMacroWrongId;
  }
  if ((synth.optionBits & kMustEnd) && !reply.ended && failed(kMacroNoSysExEnd)) return kMacroNoSysExEnd;
  if (reply.strayStatus && failed(kMacroNoSysExEnd)) return kMacroNoSysExEnd;
  return 0;
}

}  // namespace

std::span<std::uint8_t> MacroStatements::Remaining(const Cursor& c, std::int64_t limit) {
  return c.memory.Clamped(c.pos, std::min<std::int64_t>(limit, c.space));
}

void MacroStatements::Advance(Cursor& c, std::int64_t count) {
  c.pos += count;
  c.space = WrapToInt(c.space - count);
}

void MacroStatements::DropTransmit(State& s) {
  s.transmit = {};
  s.hasTransmit = false;
  s.aFlag = true;
}

std::int32_t MacroStatements::GetPacked(const State& s, const Cursor& c, std::int64_t index) {
  return WrapToInt(ConstImageView(Whole(c.memory), *s.synth).Get(c.pos, index));
}

int MacroStatements::SetTransmitData(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::uint8_t* const bytes = op.at + 1 + 4;
  const std::size_t count = InlineByteCount(op.NumberWord(0));
  // A private copy: "T", "F" and "FS" change transmit data, the code stays as it is.
  if (const int stop = s.session->Work(static_cast<std::int64_t>(count))) return stop;
  m.ownTransmit_.assign(bytes, bytes + count);
  if (!m.ownTransmit_.empty() && IsChannelVoice(m.ownTransmit_[0])) {
    m.ownTransmit_[0] = static_cast<std::uint8_t>((m.ownTransmit_[0] & 0xF0) | (s.synth->midiChannel & 0x0F));
  }
  s.transmit = {ByteWindow(m.ownTransmit_), 0, static_cast<std::int32_t>(count)};
  s.hasTransmit = true;
  s.aFlag = false;
  return 0;
}

int MacroStatements::UseBuffer(ZKMacro& m, const Op&) {
  m.s_.aFlag = true;
  return 0;
}

int MacroStatements::CopyInline(ZKMacro& m, const Op& op) {
  const Cursor& c = m.s_.receive;
  const std::size_t count = InlineByteCount(op.NumberWord(0));
  if (const int stop = m.s_.session->Work(static_cast<std::int64_t>(count))) return stop;
  c.memory.Write(c.pos + op.Number(1), {op.at + 1 + 8, count});
  return 0;
}

int MacroStatements::SetChannelPosition(ZKMacro& m, const Op& op) {
  m.s_.channelPosition = op.Number(0);
  return 0;
}

int MacroStatements::ToggleIdCheck(ZKMacro& m, const Op&) {
  State& s = m.s_;
  s.idCheck = s.idCheck ? 0 : 1;
  s.session->context.acceptAny = static_cast<AcceptAny>(s.idCheck);
  return 0;
}

int MacroStatements::AcceptPastEnd(ZKMacro& m, const Op&) {
  m.s_.idCheck = 2;
  m.s_.session->context.acceptAny = AcceptAny::PastEnd;
  return 0;
}

int MacroStatements::QueueDelay(ZKMacro& m, const Op& op) {
  MacroSession& session = *m.s_.session;
  session.services.CreateDelayEvent(m.s_.synth->midiOutPort,
                                    static_cast<std::uint32_t>(std::max(op.Number(0) / 100, 0)), session.context);
  return 0;
}

int MacroStatements::SetMessageDelay(ZKMacro& m, const Op& op) {
  m.s_.session->context.transmitDelayMs = static_cast<std::uint32_t>(std::max(op.Number(0), 0));
  return 0;
}

int MacroStatements::SetTimeout(ZKMacro& m, const Op& op) {
  m.s_.session->context.receiveTimeoutMs = std::max(op.Number(0), 0);
  m.s_.timeoutByReceive = false;
  return 0;
}

void MacroStatements::PatchChannel(State& s, std::span<std::uint8_t> bytes, bool keepOpenChannel) {
  if (bytes.empty()) return;
  if (IsChannelVoice(bytes[0])) {
    const std::int32_t channel = s.variables.empty() ? s.synth->midiChannel : Entry(s, kMidiChannelEntry);
    bytes[0] = static_cast<std::uint8_t>((bytes[0] & 0xF0) | (channel & 0x0F));
    return;
  }
  if (bytes[0] != kSysExStart || s.channelPosition <= 0) return;
  const auto p = static_cast<std::size_t>(s.channelPosition);
  if (p >= bytes.size() || (keepOpenChannel && bytes[p] == 0xFF)) return;
  bytes[p] = s.synth->sysExChannelMax < 16 ? static_cast<std::uint8_t>((bytes[p] & 0xF0) + s.channel) : s.channel;
}

int MacroStatements::TransmitData(ZKMacro& m, TransmitKind kind, std::int32_t n) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  if (session.Ended()) return session.Poll();
  const ScriptWait wait(session);
  Cursor& source = kind == TransmitKind::B ? s.receive : Current(s);
  const std::span<std::uint8_t> bytes = Remaining(source, n == 0 ? INT32_MAX : n);
  if (!bytes.empty()) {
    if (const int stop = session.Work(static_cast<std::int64_t>(bytes.size()))) return stop;
    PatchChannel(s, bytes, false);
    const int port = s.synth->midiOutPort;
    if (kind == TransmitKind::TR) {
      session.context.stagedLost = session.context.stagedLost || session.context.staged.has_value();
      session.context.staged = TransferContext::Staged{{bytes.begin(), bytes.end()}, port};
    } else if (session.services.SendDataPort(bytes, port, session.context) < 0) {
      return kMacroNoResponse;
    }
  }
  Advance(source, static_cast<std::int64_t>(bytes.size()));
  if (!s.aFlag && s.transmit.space <= 0) DropTransmit(s);
  return 0;
}

int MacroStatements::Receive(ZKMacro& m, const Op& op) {
  return ReceiveReply(m, 0, op.Number(0));
}

int MacroStatements::ReceiveSkipping(ZKMacro& m, const Op& op) {
  return ReceiveReply(m, op.Number(0), op.Number(1));
}

int MacroStatements::ReceiveReply(ZKMacro& m, std::int64_t skip, std::int32_t n) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  TransferContext& context = session.context;
  if (session.Ended()) return session.Poll();
  const ScriptWait wait(session);
  if (n == 0) n = s.receive.space;
  const std::span<std::uint8_t> destination = Remaining(s.receive, n);
  context.timedOut = false;
  context.cancelledByPattern = false;
  if (destination.empty()) {
    SetEntry(s, kReceiveResultEntry, 0);
    return 0;
  }
  const bool automatic = (!context.quiet && !context.hasIoWindow) || (s.synth->optionBits & 8);
  if (automatic && (context.receiveTimeoutMs == 0 || s.timeoutByReceive)) {
    const auto bytes = static_cast<std::int64_t>(destination.size());  // no more than these can be awaited
    const std::int64_t patience = bytes / 2 + (context.autoConfiguring ? 1300 : 300) + (context.quiet ? 100 : 0);
    context.receiveTimeoutMs = std::max(context.receiveTimeoutMs, patience);
    s.timeoutByReceive = true;
  }
  const bool idCheck = s.idCheck == 0;
  const std::int64_t at = s.receive.memory.base() == s.buffer.base() ? s.receive.pos : -1;
  context.awaited = AnswerTo(*s.synth, context, at, static_cast<std::int64_t>(destination.size()), idCheck);
  const int r = skip == 0 ? session.services.GetDataPort(destination, s.synth->midiInPort, context)
                          : session.services.GetDataSkipPort(destination, s.synth->midiInPort,
                                                             std::max<std::int64_t>(skip, 0), context);
  SetEntry(s, kReceiveResultEntry, r);
  const auto failed = [&s](int code) {
    SetEntry(s, kReceiveResultEntry, code);
    return s.continueOnError == 0;
  };
  if (r == kReceiveNothing) {
    // Something came that was no answer, and nothing better in time.
    const RefusedMessage& refused = context.passedOver;
    if (refused.damaged && failed(kMacroNoSysExEnd)) return kMacroNoSysExEnd;
    if (refused.any) {
      const ReplyFacts facts{refused.length, refused.maker, refused.ended};
      if (const int code = CheckReply(*s.synth, context, idCheck, facts, n, failed)) return code;
    }
    s.registers[3] = 1;
    context.timedOut = context.unanswered = true;
    return 0;
  }
  if (r < 0) return s.continueOnError && !session.Ended() ? 0 : r;
  const auto received = destination.first(std::min(static_cast<std::size_t>(r), destination.size()));
  constexpr auto kSizeBytes = static_cast<std::int64_t>(sizeof(context.acceptedSizes[0]));
  const auto sizes = static_cast<std::int64_t>(context.acceptedSizes.size()) * kSizeBytes;
  if (const int stop = session.Work(static_cast<std::int64_t>(received.size()) + sizes)) return stop;
  const ReplyFacts facts = FactsOfReply(received, context.verifyReceivedSysEx);
  if (const int code = CheckReply(*s.synth, context, idCheck, facts, n, failed)) return code;
  Advance(s.receive, static_cast<std::int64_t>(received.size()));
  return 0;
}

int MacroStatements::ReceiveAndDrop(ZKMacro& m, const Op& op) {
  std::int32_t n = op.Number(0);
  State& s = m.s_;
  MacroSession& session = *s.session;
  if (session.Ended()) return session.Poll();
  const ScriptWait wait(session);
  if (n == 0 || n > static_cast<std::int32_t>(kScratchBytes)) n = static_cast<std::int32_t>(kScratchBytes);
  if (n < 0) return 0;
  const std::span<std::uint8_t> scratch(session.scratch.data(), static_cast<std::size_t>(n));
  session.context.awaited = AnswerTo(*s.synth, session.context, -1, n, s.idCheck == 0);
  const int r = session.services.GetDataPort(scratch, s.synth->midiInPort, session.context);
  if (r == kReceiveNothing) session.context.unanswered = true;
  return r < 0 ? r : 0;
}

int MacroStatements::Checksum(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  if (s.session->context.suppressChecksums) return 0;
  const std::int32_t count = op.Number(1);
  if (const int stop = s.session->Work(std::min<std::int64_t>(count, Current(s).memory.size()))) return stop;
  CSum(FromCursor(Current(s)), op.at[1], op.at[2], op.Number(0), count, op.Number(2));
  return 0;
}

int MacroStatements::DiskRead(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::int32_t n = op.Number(0);
  ScriptServices& services = s.session->services;
  if (n <= 0 || !services.HasDiskFile()) return 0;
  const std::int64_t position = s.receive.pos + op.Number(1);
  if (position < 0) return 0;
  const std::span<std::uint8_t> destination = s.receive.memory.Clamped(position, n);
  if (const int stop = s.session->Work(static_cast<std::int64_t>(destination.size()))) return stop;
  services.DiskRead(destination);
  return 0;
}

int MacroStatements::DiskSeek(ZKMacro& m, const Op& op) {
  m.s_.session->services.DiskSeek(std::max(op.Number(0), 0));
  return 0;
}

int MacroStatements::RolandStep(ZKMacro& m, const Op&) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  if (session.Ended()) return session.Poll();
  const ScriptWait wait(session);
  const int r = session.services.MacroRoland(*s.synth, FromCursor(s.receive), Entry(s, 3), Entry(s, 0), Entry(s, 1),
                                             Entry(s, 2), session.context);
  SetEntry(s, kReceiveResultEntry, r);
  if (r < 0) return r;
  Advance(s.receive, std::min<std::int64_t>(r, std::max<std::int64_t>(s.receive.memory.size() - s.receive.pos, 0)));
  return 0;
}

int MacroStatements::CheckEffects(ZKMacro& m, const Op&) {
  State& s = m.s_;
  const Cursor& data = Current(s);
  const std::int64_t base = std::int64_t{s.registers[3]} + s.registers[0];
  const std::int64_t stride = s.registers[2];
  const auto value = [&](std::int64_t i) { return GetPacked(s, data, base + stride * i); };
  const bool sixteen = s.registers[1] == 16;
  const std::int32_t count = std::clamp(s.registers[1], 0, kMaxTrinEffEntries);
  const std::int32_t firstReference = sixteen ? 4 : 5;
  constexpr std::int64_t kEntryBytes = 16;  // two values of the packing, which is more work than a byte
  int total = 0;
  bool circular = false;
  if (const int stop = s.session->Work(std::int64_t{count} * kEntryBytes)) return stop;
  for (std::int32_t i = 0; i < count && total <= 8 && !circular; ++i) {
    const std::int32_t v = value(i);
    if (v >= 1 && v < firstReference) total += 1 << (v - 1);
    if (v >= firstReference && value(v - firstReference) >= firstReference) circular = true;
  }
  SetX(s, total > 8 || circular ? 0 : 1);
  return 0;
}

int MacroStatements::InsertBytes(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const ByteWindow& memory = s.receive.memory;
  const std::int64_t origin = s.receive.pos;
  const std::int64_t left = std::max<std::int64_t>(memory.size() - std::max<std::int64_t>(origin, 0), 0);
  const std::int64_t last = std::min<std::int64_t>(op.Number(1), left - 1);
  const auto p = static_cast<std::uint8_t>(op.Number(2));
  const auto q = static_cast<std::uint8_t>(op.Number(3));
  const std::int64_t n = op.Number(4);
  if (n < 0 || origin < 0) return 0;
  constexpr std::int64_t kPart = 4096;
  std::int64_t looked = 0;
  for (std::int64_t i = std::max<std::int64_t>(op.Number(0), 0); i < last - n; ++i) {
    if (++looked == kPart) {
      if (const int stop = s.session->Work(std::exchange(looked, 0))) return stop;
    }
    if (memory.At(origin + i) != p || memory.At(origin + i + 1) != q) continue;
    const std::int64_t count = last - n - i;
    if (const int stop = s.session->Work(count)) return stop;
    std::memmove(memory.base() + origin + i + 1 + n, memory.base() + origin + i + 1, static_cast<std::size_t>(count));
    i += n;
  }
  return s.session->Work(looked);
}

}  // namespace tonalith
