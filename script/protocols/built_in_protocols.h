#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "data/data_records.h"
#include "platform/byte_window.h"
#include "script/protocols/protocol_line.h"

namespace tonalith {

// What a transfer does.
enum class TransferOperation : int { kTransmit = 0, kReceive = 1, kRender = 2 };

// Built-in transfers of data types without a command sequence: one dump request and its reply, Roland's address based
// messages (one-way and handshake), Casio's verified block exchange, Ensoniq, Korg and Yamaha specialities.
//
// Every operation works on a descriptor of the transfer's own (never on one that other threads read) and on a window of
// the image: bytes outside the window are read as 0 and never written.  Requests are built in local copies; the
// descriptor's fields are left alone unless stated.  Results are byte counts (or 1 where stated), or a negative
// transfer_code.  Nothing runs for ever: answers that do not advance a transfer end it after a few rounds.
class BuiltInProtocols {
 public:
  explicit BuiltInProtocols(ProtocolLine& line) : line_(line) {}

  // --- Dispatch ---
  // The built-in transfer of one image.  Transmit gives what MidiSend gives; receive gives the bytes received.
  int MidiIO(TransferOperation operation, ByteWindow buffer, Synth& synth);
  // A receive of the type sends a request first.
  static bool Asks(const Synth& synth);
  // Puts channel, patch number and checksum into the image, then MidiSendNoMsg.
  int MidiSend(const Synth& synth, ByteWindow buffer);
  // Sends the image as it is, in the way of its manufacturer.  0: failed, and the user was told.
  int MidiSendNoMsg(const Synth& synth, ByteWindow buffer);

  // --- Generic ---
  int YamahaMidiReceive(const Synth& synth, ByteWindow buffer);
  // Program change after a transmission, for types with the protocol letter "O".
  void MidiIOSel(const Synth& synth);

  // --- Roland ---
  int RolandMidiReceive(const Synth& synth, ByteWindow buffer) { return MidiReceiveRoland(synth, buffer); }
  int MidiReceiveRoland(const Synth& synth, ByteWindow buffer);
  int MidiSendRoland(const Synth& synth, ByteWindow buffer);
  // One exchange with an address and size of the caller's.  `fileSize` and the address bytes of the descriptor are
  // restored; its handshake mode stays as given.  Types with 3-byte addresses keep their own address.
  int MacroRoland(Synth& synth, ByteWindow buffer, std::uint32_t address, std::uint32_t size, int handshake,
                  bool receive);
  // Pacing mode of the receives; kept for the record, without effect on timing.
  void SetRolandReceiveMode(int mode) { rolandReceiveMode_ = mode; }
  int rolandReceiveMode() const { return rolandReceiveMode_; }

  // --- Casio ---
  int MidiReceiveCasio(const Synth& synth, ByteWindow buffer);
  int MidiReceiveCasioPatch(const Synth& synth, ByteWindow slot, std::uint16_t patch);
  int MidiReceiveCasioSequence(const Synth& synth, ByteWindow buffer);
  int MidiSendCasio(const Synth& synth, ByteWindow buffer);
  int MidiSendCasioPatch(const Synth& synth, ByteWindow slot, int patch);
  int MidiSendCasioSequence(const Synth& synth, ByteWindow buffer);

  // --- Ensoniq ---
  int MidiSendEnsoniq(const Synth& synth, ByteWindow buffer);
  int MidiEnsoniqPatch(const Synth& synth);
  int MidiEnsoniqPatch1(const Synth& synth);

 private:
  int SendYamahaParameters(const Synth& synth, ByteWindow buffer);
  void KorgModeChange(const Synth& synth);
  int AwaitRolandData(const AnswerStep& answer, std::vector<std::uint8_t>& reply, std::int64_t expected,
                      std::int64_t& start);
  int GaveUp(int code);
  int ReceiveRolandOneWay(const Synth& synth, ByteWindow buffer);
  int ReceiveRolandHandshake(const Synth& synth, ByteWindow buffer);
  int SendRolandOneWay(const Synth& synth, ByteWindow buffer);
  int SendRolandHandshake(const Synth& synth, ByteWindow buffer);
  int CasioRequest(const Synth& synth, std::uint8_t command, std::uint8_t patch, std::span<std::uint8_t, 6> reply);
  int ReceiveInto(ByteWindow buffer, std::int64_t position, std::int64_t count);

  ProtocolLine& line_;
  int rolandReceiveMode_ = 0;
};

}  // namespace tonalith
