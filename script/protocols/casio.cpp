#include <algorithm>
#include <array>

#include "script/protocols/built_in_protocols.h"

namespace tonalith {

namespace {

constexpr std::int64_t kCasioSlot = 258;       // room of one tone or one block of a sequence
constexpr std::int64_t kCasioToneBytes = 257;  // 256 nibbles and the F7
constexpr int kCasioFirstInternal = 0x20;
constexpr int kCasioTones = 32;
constexpr int kCasioEditBuffer = 0x60;
constexpr int kCasioBlocks = 200;
constexpr std::uint8_t kCasioReady = 0x30;
constexpr std::uint8_t kCasioMore = 0x32;
constexpr std::array<std::uint8_t, 1> kCasioAccept{0xF7};

// How its messages begin: F0, maker, two zeros, channel.
AnswerStep CasioMessages(const Synth& synth) {
  std::array<std::uint8_t, 5> head{};
  std::copy_n(synth.dumpRequest, 4, head.begin());
  head[4] = static_cast<std::uint8_t>(0x70 + synth.sysExChannel);
  return BeginsWith(head);
}

// A tone is nibbles and the F7.
bool IsTone(std::span<const std::uint8_t> tone) {
  const auto nibble = [](std::uint8_t byte) { return byte < 0x10; };
  return tone.back() == 0xF7 && std::all_of(tone.begin(), tone.end() - 1, nibble);
}

std::array<std::uint8_t, 2> CasioVerify(const Synth& synth) {
  return {static_cast<std::uint8_t>(0x70 + synth.sysExChannel), 0x31};
}

std::array<std::uint8_t, 2> CasioProgramChange(const Synth& synth, int program) {
  return {static_cast<std::uint8_t>(0xC0 + (synth.sysExChannel & 15)), static_cast<std::uint8_t>(program)};
}

}  // namespace

// Sends the 7-byte request and collects the 6 bytes with which the instrument says that it is ready.
int BuiltInProtocols::CasioRequest(const Synth& synth, std::uint8_t command, std::uint8_t patch,
                                   std::span<std::uint8_t, 6> reply) {
  std::array<std::uint8_t, 7> request{};
  std::copy_n(synth.dumpRequest, 4, request.begin());
  request[4] = static_cast<std::uint8_t>(0x70 + synth.sysExChannel);
  request[5] = command;
  request[6] = patch;
  line_.Stage(request);
  line_.AwaitOnly(CasioMessages(synth));
  return line_.Receive(reply);
}

int BuiltInProtocols::MidiReceiveCasio(const Synth& synth, ByteWindow buffer) {
  if (synth.numVoices == 1) return MidiReceiveCasioPatch(synth, buffer, kCasioEditBuffer);
  if (synth.numVoices == 0) return MidiReceiveCasioSequence(synth, buffer);
  for (int i = 0; i < kCasioTones; ++i) {
    if (line_.Cancelled()) return transfer_code::kNoResponse;
    line_.Send(CasioProgramChange(synth, kCasioFirstInternal + i));
    const int r = MidiReceiveCasioPatch(synth, buffer.Sub(i * kCasioSlot, kCasioSlot),
                                        static_cast<std::uint16_t>(kCasioFirstInternal + i));
    if (r < 0) return r;
  }
  return static_cast<int>(std::min<std::int64_t>(synth.fileSize, kCasioTones * kCasioSlot));
}

int BuiltInProtocols::MidiReceiveCasioPatch(const Synth& synth, ByteWindow slot, std::uint16_t patch) {
  for (int attempt = 0; attempt <= line_.ExtraAttempts() && !line_.Cancelled(); ++attempt) {
    std::array<std::uint8_t, 6> reply{};
    const int ready = CasioRequest(synth, 0x10, static_cast<std::uint8_t>(patch), reply);
    if (ready == 6 ? reply[5] != kCasioReady : ready <= 0 && !line_.Refused().any) return transfer_code::kNoEnd;
    if (ready == 6) {
      line_.Stage(CasioVerify(synth));
      line_.AwaitOnly(CasioMessages(synth));
      std::array<std::uint8_t, kCasioToneBytes> tone{};
      if (line_.Receive(tone) == static_cast<int>(tone.size()) && IsTone(tone)) {
        slot.Write(0, tone);
        line_.Send(kCasioAccept);
        return static_cast<int>(kCasioToneBytes);
      }
    }
    // The exchange ends before it is begun again.
    if (attempt < line_.ExtraAttempts()) line_.Send(kCasioAccept);
  }
  line_.SpendAttempts();
  return line_.Cancelled() ? transfer_code::kNoResponse : transfer_code::kNoEnd;
}

int BuiltInProtocols::MidiReceiveCasioSequence(const Synth& synth, ByteWindow buffer) {
  std::array<std::uint8_t, 6> reply{};
  if (CasioRequest(synth, 0x14, 'a', reply) != 6 || reply[5] != kCasioReady) return transfer_code::kMissingBytes;
  std::int64_t total = 0;
  for (int block = 0; block < kCasioBlocks; ++block) {
    std::array<std::uint8_t, kCasioSlot> bytes{};
    line_.Stage(CasioVerify(synth));
    line_.AwaitOnly(CasioMessages(synth));
    const int r = line_.Receive(bytes);
    if (r <= 0) return transfer_code::kNoEnd;
    const std::uint8_t last = bytes[static_cast<std::size_t>(r) - 1];
    if (last != 0xF7 && (r < kCasioSlot || last != kCasioMore)) return transfer_code::kNoEnd;
    if (!buffer.Inside(block * kCasioSlot, r)) return transfer_code::kTooLarge;
    buffer.Write(block * kCasioSlot, {bytes.data(), static_cast<std::size_t>(r)});
    total += r;
    if (last == 0xF7) {
      line_.Send(kCasioAccept);
      return static_cast<int>(total);
    }
  }
  return transfer_code::kNoMemory;
}

int BuiltInProtocols::MidiSendCasio(const Synth& synth, ByteWindow buffer) {
  line_.AllPortReceiving(AcceptAny::Everything);
  int result = static_cast<int>(synth.fileSize);
  if (synth.numVoices == 1) {
    MidiSendCasioPatch(synth, buffer, kCasioEditBuffer);
  } else if (synth.numVoices == 0) {
    if (MidiSendCasioSequence(synth, buffer) == 0) result = 0;
  } else {
    for (int i = 0; i < kCasioTones && !line_.Cancelled(); ++i) {
      line_.Send(CasioProgramChange(synth, kCasioFirstInternal + i));
      MidiSendCasioPatch(synth, buffer.Sub(i * kCasioSlot, kCasioSlot), kCasioFirstInternal + i);
    }
  }
  line_.AllPortReceiving(AcceptAny::SysExOnly);
  return line_.Cancelled() ? transfer_code::kNoResponse : result;
}

int BuiltInProtocols::MidiSendCasioPatch(const Synth& synth, ByteWindow slot, int patch) {
  std::array<std::uint8_t, 6> reply{};
  const int r = CasioRequest(synth, 0x20, static_cast<std::uint8_t>(patch), reply);
  if (line_.Cancelled()) return 1;
  if (r != 6 || reply[5] != kCasioReady) line_.Delay(100);
  line_.SendBare(slot.Clamped(0, kCasioToneBytes));
  return 1;
}

int BuiltInProtocols::MidiSendCasioSequence(const Synth& synth, ByteWindow buffer) {
  bool ready = false;
  for (int attempt = 0; attempt < 2 && !ready && !line_.Cancelled(); ++attempt) {
    std::array<std::uint8_t, 6> reply{};
    ready = CasioRequest(synth, 0x24, 0x61, reply) == 6 && reply[5] == kCasioReady;
  }
  if (!ready) return 0;
  for (int block = 0; block < kCasioBlocks && !line_.Cancelled(); ++block) {
    const auto bytes = buffer.Clamped(block * kCasioSlot, kCasioSlot);
    if (bytes.empty()) return 0;
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0xF7});
    if (end != bytes.end()) {
      line_.SendBare({bytes.begin(), end + 1});
      return 1;
    }
    line_.StageBare(bytes);
    std::array<std::uint8_t, 2> reply{};
    if (line_.Receive(reply) != 2 || reply[1] != kCasioReady) line_.Delay(100);
  }
  return 0;
}

}  // namespace tonalith
