#include <algorithm>
#include <array>

#include "data/checksums.h"
#include "script/protocols/built_in_protocols.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kCasioId = 0x44;
constexpr std::uint8_t kYamahaId = 0x43;
constexpr std::uint8_t kEnsoniqId = 0x0F;
// The bytes of an answer, or the code of what is wrong with it; `maker` is its second byte.
int CheckedAnswer(const Synth& synth, std::int64_t size, bool ended, int maker) {
  if ((synth.optionBits & 2) && size != std::int64_t{synth.fileSize}) return transfer_code::kMissingBytes;
  if ((synth.optionBits & 1) && !ended) return transfer_code::kNoEnd;
  if (synth.manufacturerId && maker != synth.manufacturerId) return transfer_code::kWrongCompany;
  return static_cast<int>(size);
}

constexpr const char* kTransmissionError = "** TRANSMISSION ERROR **";

// Data that is asked for by its address.
bool IsRolandRequest(const Synth& synth) {
  return synth.manufacturerId == kRolandId && (synth.rolandSize[0] || synth.rolandSize[1] || synth.rolandSize[2]);
}

}  // namespace

int BuiltInProtocols::MidiIO(TransferOperation operation, ByteWindow buffer, Synth& synth) {
  if (synth.protocolLetter == 'L' && (synth.protocolMode == 0 || synth.protocolMode == 2)) KorgModeChange(synth);
  if (operation != TransferOperation::kReceive) {
    const int sent = MidiSend(synth, buffer);
    if (synth.protocolLetter == 'O') MidiIOSel(synth);
    return sent;
  }
  if (synth.protocolLetter == 'H') {
    line_.AllPortReceiving(AcceptAny::Everything);
    const int received = MidiReceiveCasio(synth, buffer);
    line_.AllPortReceiving(AcceptAny::SysExOnly);
    return received;
  }
  if (IsRolandRequest(synth)) return RolandMidiReceive(synth, buffer);
  return YamahaMidiReceive(synth, buffer);
}

bool BuiltInProtocols::Asks(const Synth& synth) {
  return synth.protocolLetter == 'H' || IsRolandRequest(synth) || synth.dumpRequestSize > 0;
}

int BuiltInProtocols::MidiSend(const Synth& synth, ByteWindow buffer) {
  FormatNewFile(&synth, buffer.Clamped(0, buffer.size()));
  return MidiSendNoMsg(synth, buffer);
}

int BuiltInProtocols::MidiSendNoMsg(const Synth& synth, ByteWindow buffer) {
  int sent = 0;
  switch (synth.manufacturerId) {
    case kRolandId:
      return MidiSendRoland(synth, buffer);
    case kYamahaId:
      if (synth.protocolLetter == 'C' && synth.protocolMode == 0) return SendYamahaParameters(synth, buffer);
      break;
    case kCasioId:
      sent = MidiSendCasio(synth, buffer);
      if (sent == 0) line_.Report(kTransmissionError);
      return sent;
    case kEnsoniqId:
      if (buffer.At(2) != 2) break;
      sent = MidiSendEnsoniq(synth, buffer);
      if (sent == 0) line_.Report(kTransmissionError);
      return sent;
    default:
      break;
  }
  // Nothing was sent: also data that begins with 0.
  if (line_.Send(buffer.Clamped(0, synth.fileSize)) <= 0 && !line_.Blocked()) {
    line_.Report(kTransmissionError);
    return 0;
  }
  return 1;
}

// The instrument must be in the mode whose memory is asked for; its answer carries nothing of interest.
void BuiltInProtocols::KorgModeChange(const Synth& synth) {
  const std::uint8_t mode = synth.protocolMode == 0 ? 0x03 : 0x01;
  const std::array<std::uint8_t, 8> change{
      0xF0, 0x42, static_cast<std::uint8_t>(0x30 + synth.sysExChannel), 0x19, 0x4E, mode, 0x10, 0xF7};
  std::array<std::uint8_t, 6> reply{};
  line_.Stage(change);
  line_.Await({BeginsWith(std::span(change).first(4))});
  line_.Receive(reply);
}

int BuiltInProtocols::YamahaMidiReceive(const Synth& synth, ByteWindow buffer) {
  std::array<std::uint8_t, 20> request{};
  std::copy(std::begin(synth.dumpRequest), std::end(synth.dumpRequest), request.begin());
  if (synth.dumpRequestHasChannel && synth.dumpRequestChannelOffset < request.size()) {
    const unsigned shift = synth.dumpRequestChannelShift & 7u;
    std::uint8_t& place = request[synth.dumpRequestChannelOffset];
    place =
        static_cast<std::uint8_t>((place & ~(0x0Fu << shift)) | (static_cast<unsigned>(synth.sysExChannel) << shift));
  }
  if (synth.patchNumberInImage && synth.dumpRequestPatchOffset && synth.dumpRequestPatchOffset < request.size()) {
    request[synth.dumpRequestPatchOffset] = static_cast<std::uint8_t>(synth.patchNumber);
  }
  const std::size_t length = std::min<std::size_t>(synth.dumpRequestSize, request.size());
  if (length) line_.Stage({request.data(), length});

  line_.AwaitImage(synth);
  const int r = ReceiveInto(buffer, 0, synth.fileSize);
  if (r == transfer_code::kNoResponse) return r;
  if (r >= 0) {
    return CheckedAnswer(synth, r, r > 0 && buffer.At(r - 1) == 0xF7, r > 1 ? buffer.At(1) : -1);
  }
  // Something came that was no answer, and nothing better in time.
  const RefusedMessage refused = line_.Refused();
  if (!refused.any) return transfer_code::kTimeOut;
  const int code = CheckedAnswer(synth, refused.length, refused.ended, refused.maker);
  return code < 0 ? code : transfer_code::kTimeOut;
}

void BuiltInProtocols::MidiIOSel(const Synth& synth) {
  if (synth.protocolMode != 0 && synth.protocolMode != 2) return;
  line_.Delay(100);
  const int program = synth.protocolMode == 2 ? 64 + synth.patchNumber : synth.patchNumber & 63;
  const std::array<std::uint8_t, 2> change{static_cast<std::uint8_t>(0xC0 + (synth.sysExChannel & 15)),
                                           static_cast<std::uint8_t>(program & 127)};
  line_.Send(change);
}

// The first part of the image is a dump, the rest goes out parameter by parameter for every part that is switched on.
int BuiltInProtocols::SendYamahaParameters(const Synth& synth, ByteWindow buffer) {
  constexpr std::int64_t kDumpBytes = 220;
  if (line_.Send(buffer.Clamped(0, kDumpBytes)) < 0) {
    line_.Report(kTransmissionError);
    return 0;
  }
  for (int part = 0; part < 6; ++part) {
    if (buffer.At(0xA9 + part) == 0) continue;
    for (int k = 0; k <= 40; ++k) {
      if (line_.Cancelled()) return 0;
      const int value = buffer.At(0x13D + 0x52 * part - 2 * k) + 16 * buffer.At(0x13C + 0x52 * part - 2 * k);
      const std::array<std::uint8_t, 10> message{0xF0,
                                                 kYamahaId,
                                                 static_cast<std::uint8_t>(0x10 + synth.sysExChannel),
                                                 0x18,
                                                 0x7F,
                                                 static_cast<std::uint8_t>(part),
                                                 static_cast<std::uint8_t>(40 - k),
                                                 static_cast<std::uint8_t>((value >> 7) & 1),
                                                 static_cast<std::uint8_t>(value & 0x7F),
                                                 0xF7};
      line_.Send(message);
      line_.Delay(9);
    }
  }
  return 1;
}

// --- Ensoniq ---

int BuiltInProtocols::MidiSendEnsoniq(const Synth& synth, ByteWindow buffer) {
  const std::uint8_t kind = buffer.At(4);
  if (kind == 6 || kind == 8 || kind == 32) {
    // The second request asks the instrument to take over what it was told before.
    line_.Stage({synth.dumpRequest + 10, 10});
    std::array<std::uint8_t, 6> reply{};
    const int r = line_.Receive(reply);
    if (r <= 0 || reply[static_cast<std::size_t>(r) - 1] != 0xF7) return transfer_code::kNoResponse;
    return reply[4] == 4 ? static_cast<int>(synth.fileSize) : transfer_code::kTooLarge;
  }
  MidiEnsoniqPatch(synth);
  if (line_.Send(buffer.Clamped(0, synth.fileSize)) < 0) return 0;
  if (kind == 1) MidiEnsoniqPatch1(synth);
  return static_cast<int>(synth.fileSize);
}

int BuiltInProtocols::MidiEnsoniqPatch(const Synth& synth) {
  const std::uint8_t ch = synth.sysExChannel;
  const std::array<std::uint8_t, 16> pair{0xF0, 0x0F, 0x02, ch, 0x0E, 0x26, 0x59, 0xF7,
                                          0xF0, 0x0F, 0x02, ch, 0x0F, 0x0D, 0x1D, 0xF7};
  return line_.Send(pair);
}

int BuiltInProtocols::MidiEnsoniqPatch1(const Synth& synth) {
  const std::array<std::uint8_t, 8> single{0xF0, 0x0F, 0x02, synth.sysExChannel, 0x0E, 0x2F, 0x62, 0xF7};
  return line_.Send(single);
}

// Receives at most `count` bytes to a position of the image; what lies outside the image is not asked for.
int BuiltInProtocols::ReceiveInto(ByteWindow buffer, std::int64_t position, std::int64_t count) {
  const auto place = buffer.Clamped(position, count);
  if (place.empty()) return 0;
  return line_.Receive(place);
}

}  // namespace tonalith
