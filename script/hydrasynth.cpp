#include "script/hydrasynth.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "data/checksums.h"
#include "platform/log.h"
#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::array<std::uint8_t, 6> kHydraHeader = {0xF0, 0x00, 0x20, 0x2B, 0x00, 0x6F};
constexpr std::size_t kHydraFrameBytes = kHydraHeader.size() + 1;
constexpr std::size_t kHydraMaxMessage = 256;
constexpr std::size_t kHydraCheckBytes = 4;
constexpr std::size_t kHydraCommandMessage = 15;
constexpr std::size_t kHydraFirstDataByte = 8;
constexpr std::uint8_t kHydraDataReply = 22;
constexpr int kHydraLock = 24;
constexpr int kHydraRequest = 4;
constexpr int kHydraAcknowledge = 23;
constexpr int kHydraUnlock = 26;
constexpr std::uint32_t kHydraCommandDelayMs = 50;
constexpr std::uint32_t kHydraChunkDelayMs = 20;
constexpr std::int64_t kHydraReplyTimeoutMs = 10000;
constexpr int kHydraTooLong = -12;
constexpr int kHydraDamaged = -6;
constexpr int kHydraMostPassed = 30;  // messages that are not the one that is awaited
constexpr int kHydraEditBank = 4;
constexpr int kHydraEditPatch = 127;

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Base64Value(std::uint8_t character) {
  if (character == 0) return -1;
  const char* found = std::strchr(kBase64Alphabet, character);
  return found ? static_cast<int>(found - kBase64Alphabet) : -1;
}

bool HasHydraFrame(std::span<const std::uint8_t> message) {
  return message.size() >= kHydraFrameBytes && message.back() == 0xF7 &&
         std::equal(kHydraHeader.begin(), kHydraHeader.end(), message.begin());
}

std::span<const std::uint8_t> HydraText(std::span<const std::uint8_t> message) {
  return message.subspan(kHydraHeader.size(), message.size() - kHydraFrameBytes);
}

std::uint32_t HydraCheck(std::span<const std::uint8_t> payload) {
  return ~rc_crc32(0, payload.data(), static_cast<std::int64_t>(payload.size()));
}

}  // namespace

std::vector<std::uint8_t> Base64::Encode(std::span<const std::uint8_t> bytes) {
  std::vector<std::uint8_t> text;
  text.reserve(GetCodeLength(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < left ? bytes[i + k] : 0u);
    for (std::size_t k = 0; k < 4; ++k) {
      const char character = k <= left ? kBase64Alphabet[(group >> (18 - 6 * k)) & 63] : '=';
      text.push_back(static_cast<std::uint8_t>(character));
    }
  }
  return text;
}

std::optional<std::vector<std::uint8_t>> Base64::Decode(std::span<const std::uint8_t> text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const bool padded = i + k >= text.size() - padding;
      const int value = padded ? 0 : Base64Value(text[i + k]);
      if (value < 0) return std::nullopt;
      group = group << 6 | static_cast<std::uint32_t>(value);
    }
    for (std::size_t k = 0; k < 3; ++k) bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * k)));
  }
  bytes.resize(bytes.size() - padding);
  return bytes;
}

int ConvertBinToBase64(const unsigned char* bytes, int length, unsigned char* out) {
  if (length <= 0) return 0;
  const auto text = Base64::Encode({bytes, static_cast<std::size_t>(length)});
  std::copy(text.begin(), text.end(), out);
  return static_cast<int>(text.size());
}

int ConvertBase64ToBin(const unsigned char* text, int length, unsigned char* out) {
  if (length <= 0) return 0;
  const auto bytes = Base64::Decode({text, static_cast<std::size_t>(length)});
  if (!bytes) return 0;
  std::copy(bytes->begin(), bytes->end(), out);
  return static_cast<int>(bytes->size());
}

ASMHydrasynthMidiIO::ASMHydrasynthMidiIO(ScriptServices& services, TransferContext& context, Synth& synth,
                                         std::span<std::uint8_t> buffer, int patch, long mode, long extra)
    : services_(services), context_(context), synth_(synth), buffer_(buffer), mode_(mode), extra_(extra) {
  context_.state.store(TransferState::Running);
  const int id = synth.driverId;
  const auto within = [id](int first, int last) { return id >= first && id <= last; };
  if (mode != 1 && within(10631, 10635)) {
    bank_ = id - 10631;
    patch_ = patch;
  } else if (mode != 1 && within(10644, 10646)) {
    bank_ = id - 10639;
    patch_ = patch;
  } else if (mode != 1 && within(10876, 10883)) {
    bank_ = id - 10876;
    patch_ = patch;
  } else if (id == 10626 || id == 10875 || (mode == 1 && id <= 10875)) {
    bank_ = kHydraEditBank;
    patch_ = kHydraEditPatch;
  }
}

void ASMHydrasynthMidiIO::Monitor(const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  services_.MonitorLine(text);
}

int ASMHydrasynthMidiIO::SendPayload(std::span<const std::uint8_t> payload) {
  std::vector<std::uint8_t> record(kHydraCheckBytes);
  StoreLe32(record.data(), HydraCheck(payload));
  record.insert(record.end(), payload.begin(), payload.end());
  std::vector<std::uint8_t> message(kHydraHeader.begin(), kHydraHeader.end());
  const auto text = Base64::Encode(record);
  message.insert(message.end(), text.begin(), text.end());
  message.push_back(0xF7);
  return services_.SendDataPort(message, synth_.midiOutPort, context_) < 0 ? -1 : 0;
}

int ASMHydrasynthMidiIO::ReceiveMessage(std::span<std::uint8_t> message, std::int64_t timeoutMs) {
  std::fill(message.begin(), message.end(), std::uint8_t{0});
  if (timeoutMs > 0) context_.receiveTimeoutMs = timeoutMs;
  context_.awaited.steps = {BeginsWith(kHydraHeader)};
  const int r = services_.GetDataPort(message, synth_.midiInPort, context_);
  if (timeoutMs > 0) context_.receiveTimeoutMs = 0;
  return r;
}

int ASMHydrasynthMidiIO::CheckReply(std::span<const std::uint8_t> message, int reply) {
  if (!HasHydraFrame(message)) {
    Monitor("Hydrasynth: Invalid hdr received for replyCmd=%d", reply);
    return -1;
  }
  const auto record = Base64::Decode(HydraText(message));
  if (!record || record->size() != kHydraCheckBytes + 2) {
    Monitor("Hydrasynth: Wrong # bytes after Base64 cvt for replyCmd=%d bytes=%d", reply,
            record ? static_cast<int>(record->size()) : 0);
    return -1;
  }
  if ((*record)[4] != reply || (*record)[5] != 0) {
    Monitor("Hydrasynth: RcvCmd not match expected expected=%d vs actual=%d", reply, (*record)[4]);
    return -1;
  }
  return 0;
}

int ASMHydrasynthMidiIO::SendCmd(int command, int reply) {
  const std::uint8_t payload[] = {static_cast<std::uint8_t>(command), 0};
  services_.CreateDelayEvent(synth_.midiOutPort, kHydraCommandDelayMs, context_);
  if (SendPayload(payload) < 0) {
    Monitor("Hydrasynth: Error send Cmd message. Cancel...");
    return -1;
  }
  context_.timedOut = false;
  context_.cancelledByPattern = false;
  if (reply == 0) return 0;
  // Something else may come before the answer; when nothing does after it, that was a bad answer.
  int failed = 0;
  for (int passed = 0; passed < kHydraMostPassed; ++passed) {
    std::array<std::uint8_t, kHydraMaxMessage> message{};
    const int r = ReceiveMessage(message, kHydraReplyTimeoutMs);
    if (r == kReceiveNothing && failed) break;
    if (r == kReceiveNothing) {
      Monitor("Hydrasynth: Timeout when waiting for replyCmd=%d", reply);
      return r;
    }
    if (r < 0) {
      Monitor("Hydrasynth: Error when waiting replyCmd=%d Error=%d", reply, r);
      return r;
    }
    const auto received = std::span(message).first(std::min(static_cast<std::size_t>(r), message.size()));
    failed = received.size() == kHydraCommandMessage ? CheckReply(received, reply)
                                                     : TellWrongLength(received, command, reply);
    if (failed == 0) return 0;
  }
  return failed;
}

int ASMHydrasynthMidiIO::TellWrongLength(std::span<const std::uint8_t> received, int command, int reply) {
  Monitor("Hydrasynth: Sent cmd %d", command);
  Monitor("Hydrasynth: Incorrect # bytes recvd for replyCmd %d", reply);
  Monitor("Hydrasynth:    bytes received=%d", static_cast<int>(received.size()));
  std::string text = "Msg=";
  constexpr std::size_t kShownBytes = 20;
  for (const std::uint8_t byte : received.first(std::min(received.size(), kShownBytes))) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X ", byte);
    text += pair;
  }
  services_.MonitorLine(text);
  return -1;
}

int ASMHydrasynthMidiIO::SendCmd_2DataBytes(int command, int first, int second) {
  const std::uint8_t payload[] = {static_cast<std::uint8_t>(command), 0, static_cast<std::uint8_t>(first),
                                  static_cast<std::uint8_t>(second)};
  return SendPayload(payload);
}

int ASMHydrasynthMidiIO::GetData(std::span<std::uint8_t> record) {
  context_.timedOut = false;
  context_.cancelledByPattern = false;
  std::array<std::uint8_t, kHydraMaxMessage> message{};
  const int r = ReceiveMessage(message, 0);
  if (r < 0 && r != kReceiveNothing) return r;
  const auto received =
      std::span<const std::uint8_t>(message).first(r < 0 ? 0 : std::min(static_cast<std::size_t>(r), message.size()));
  if (!HasHydraFrame(received)) {
    Monitor("Hydrasynth: GetData error InBuffer header incorrect");
    return -1;
  }
  const auto decoded = Base64::Decode(HydraText(received));
  if (!decoded || decoded->size() < kHydraFirstDataByte || (*decoded)[4] != kHydraDataReply) {
    Monitor("Hydrasynth: GetData error buf[4] != 22");
    return -1;
  }
  const auto payload = std::span<const std::uint8_t>(*decoded).subspan(kHydraCheckBytes);
  if (LoadLe32(decoded->data()) != HydraCheck(payload)) {
    Monitor("Hydrasynth: the check value of a data reply is wrong");
    return kHydraDamaged;
  }
  const std::size_t count = std::min(decoded->size(), record.size());
  std::copy_n(decoded->begin(), count, record.begin());
  return static_cast<int>(count);
}

// Sends what chunk `index` answers: the request, or that the one before was taken.
int ASMHydrasynthMidiIO::AskForChunk(int index, int chunks) {
  if (index == 0) return SendCmd_2DataBytes(kHydraRequest, bank_, patch_);
  services_.CreateDelayEvent(synth_.midiOutPort, kHydraChunkDelayMs, context_);
  return SendCmd_2DataBytes(kHydraAcknowledge, index - 1, chunks);
}

// Decoded bytes of chunk `index` in `record`, or a negative code.  One that is lost or damaged is asked for again.
int ASMHydrasynthMidiIO::GetChunk(int index, int chunks, std::span<std::uint8_t> record) {
  int length = -1;
  for (int attempt = context_.spentAttempts; attempt <= context_.extraAttempts; ++attempt) {
    if (AskForChunk(index, chunks) < 0) return -1;
    for (int passed = 0; passed < kHydraMostPassed; ++passed) {
      length = GetData(record);
      if (length < 0 || record[6] >= index) break;  // else one before, once more
    }
    if (length >= 0 && record[6] == index && (index == 0 || record[7] == chunks)) return length;
    if (length >= 0) {
      Monitor("Hydrasynth: chunk %d of %d where %d of %d is due", record[6], record[7], index, chunks);
      length = kHydraDamaged;
    }
    if (context_.cancel.Cancelled() || context_.portGone || context_.state.load() != TransferState::Running) break;
  }
  // It was asked for as often as a piece is.
  context_.spentAttempts = std::max(context_.spentAttempts, context_.extraAttempts);
  return length;
}

int ASMHydrasynthMidiIO::Recv() {
  if (const int failed = SendCmd(kHydraLock, kHydraLock + 1)) return failed;
  std::size_t stored = 0;
  int chunks = 1;
  for (int i = 0; i < chunks; ++i) {
    std::array<std::uint8_t, kHydraMaxMessage> record{};
    const int length = GetChunk(i, chunks, record);
    if (length < 0) return length;
    if (i == 0) chunks = std::max<int>(record[7], 1);
    const auto data =
        std::span(record).subspan(kHydraFirstDataByte, static_cast<std::size_t>(length) - kHydraFirstDataByte);
    if (data.size() > buffer_.size() - stored) return kHydraTooLong;
    std::copy(data.begin(), data.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(stored));
    stored += data.size();
  }
  const int failed = SendCmd(kHydraUnlock, kHydraUnlock + 1);
  return failed ? failed : static_cast<int>(stored);
}

HydrasynthSendQueue::~HydrasynthSendQueue() {
  Drain();
}

void HydrasynthSendQueue::Add(std::unique_ptr<ASMHydrasynthMidiIO> transfer) {
  std::lock_guard guard(mutex_);
  list_.push_back(std::move(transfer));
  if (running_) return;
  running_ = true;
  // A former thread gave up the lock for the last time when it cleared the flag, so joining it here is short.
  thread_ = WorkerThread(clock_, [this] { ASMHydrasynthThreadEntry(); });
}

std::size_t HydrasynthSendQueue::Waiting() const {
  std::lock_guard guard(mutex_);
  return list_.size();
}

void HydrasynthSendQueue::Drain() {
  std::unique_lock lock(mutex_);
  WorkerThread thread = std::move(thread_);
  lock.unlock();
  thread.Join();
}

void HydrasynthSendQueue::ASMHydrasynthThreadEntry() {
  for (;;) {
    std::unique_ptr<ASMHydrasynthMidiIO> transfer;
    std::lock_guard guard(mutex_);
    if (list_.empty()) {
      running_ = false;
      return;
    }
    transfer = std::move(list_.front());
    list_.pop_front();
  }
}

int ASMHydrasynthRecv(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra) {
  return ASMHydrasynthMidiIO(services, context, synth, buffer, patch, mode, extra).Recv();
}

int ASMHydrasynthSend(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra) {
  // The transfer on the list outlives this call, so it gets no buffer to write to.
  (void)buffer;
  services.HydrasynthQueue().Add(
      std::make_unique<ASMHydrasynthMidiIO>(services, context, synth, std::span<std::uint8_t>{}, patch, mode, extra));
  services.MonitorLine("Hydrasynth: patches are not transmitted by this statement");
  if (!services.TransmitWindowOpen()) services.OpenTransmitWindow(synth.midiOutPort, synth.fileSize);
  services.SetTransmitStayOpen(true);
  return 0;
}

int ASMHydrasynthBurn(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra) {
  return ASMHydrasynthMidiIO(services, context, synth, buffer, patch, mode, extra).Burn();
}

namespace {

// One exchange of the current patch (W) at the receive cursor; the result goes to V10.
template <typename Exchange>
int RunExchange(MacroStatements::State& s, const TranslatedOp& op, Exchange exchange) {
  MacroSession& session = *s.session;
  if (session.Ended()) return session.Poll();
  const ScriptWait wait(session);
  const int r = exchange(session.services, session.context, *s.synth, MacroStatements::Remaining(s.receive),
                         s.registers[0], op.Number(0), op.Number(1));
  constexpr std::size_t kResultEntry = 10;
  MacroStatements::SetEntry(s, kResultEntry, r);
  if (r < 0) return r;
  MacroStatements::Advance(s.receive, r);
  return 0;
}

}  // namespace

int MacroStatements::HydrasynthReceive(ZKMacro& m, const Op& op) {
  return RunExchange(m.s_, op, ASMHydrasynthRecv);
}
int MacroStatements::HydrasynthSend(ZKMacro& m, const Op& op) {
  return RunExchange(m.s_, op, ASMHydrasynthSend);
}
int MacroStatements::HydrasynthBurn(ZKMacro& m, const Op& op) {
  return RunExchange(m.s_, op, ASMHydrasynthBurn);
}

}  // namespace tonalith
