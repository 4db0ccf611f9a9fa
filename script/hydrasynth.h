#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "data/data_records.h"
#include "platform/clock.h"
#include "script/script_services.h"
#include "script/transfer_context.h"

namespace tonalith {

// Text form of binary data: the standard alphabet with padding.
class Base64 {
 public:
  // Characters that `length` bytes become.
  static constexpr std::size_t GetCodeLength(std::size_t length) { return (length + 2) / 3 * 4; }
  static std::vector<std::uint8_t> Encode(std::span<const std::uint8_t> bytes);
  // Nothing when the text has a length that is no multiple of 4, a foreign character, or padding in the middle.
  static std::optional<std::vector<std::uint8_t>> Decode(std::span<const std::uint8_t> text);
};

// Characters written to `out`, which takes Base64::GetCodeLength(length).
int ConvertBinToBase64(const unsigned char* bytes, int length, unsigned char* out);
// Bytes written to `out`, which takes length / 4 * 3; 0 when the text is not base64.
int ConvertBase64ToBin(const unsigned char* text, int length, unsigned char* out);

// The exchange of patches with a Hydrasynth.  A message is F0 00 20 2B 00 6F, base64 text, F7; the text holds a record:
// four check bytes (the inverted CRC-32 of the payload, lowest byte first) and the payload.
//
// Receiving: command 24 (answered by 25), request 4 bank patch, then per chunk a data reply (22 0 index count
// bytes...), acknowledged by 23 index count as long as more follow, and command 26 (answered by 27).
class ASMHydrasynthMidiIO {
 public:
  // `buffer`: where received bytes go; its end is the limit.  `mode` 1 addresses the edit buffer of older data types.
  ASMHydrasynthMidiIO(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra);

  // Received bytes, or a negative code.
  int Recv();
  // Sending and storing patches moves nothing: 0.
  int Send() { return 0; }
  int Burn() { return 0; }

  // 0, -1, or the negative result of the receive.  `reply` 0: no answer is awaited.
  int SendCmd(int command, int reply);
  int SendCmd_2DataBytes(int command, int first, int second);
  // One data reply: bytes of the decoded record in `record`, or a negative code.
  int GetData(std::span<std::uint8_t> record);

  int bank() const { return bank_; }
  int patch() const { return patch_; }
  long mode() const { return mode_; }
  long extra() const { return extra_; }

 private:
  int SendPayload(std::span<const std::uint8_t> payload);
  int ReceiveMessage(std::span<std::uint8_t> message, std::int64_t timeoutMs);
  int CheckReply(std::span<const std::uint8_t> message, int reply);
  int TellWrongLength(std::span<const std::uint8_t> received, int command, int reply);
  int AskForChunk(int index, int chunks);
  int GetChunk(int index, int chunks, std::span<std::uint8_t> record);
  void Monitor(const char* format, ...) __attribute__((format(printf, 2, 3)));

  ScriptServices& services_;
  TransferContext& context_;
  Synth& synth_;
  std::span<std::uint8_t> buffer_;
  int bank_ = 0;
  int patch_ = 0;
  long mode_ = 0;
  long extra_ = 0;
};

// Patches handed over for sending.  A thread of its own takes them off the list one after another and lets them go: no
// MIDI is sent.  Any thread may add.
class HydrasynthSendQueue {
 public:
  explicit HydrasynthSendQueue(Clock& clock) : clock_(clock) {}
  ~HydrasynthSendQueue();

  void Add(std::unique_ptr<ASMHydrasynthMidiIO> transfer);
  std::size_t Waiting() const;
  // Blocks until the list is empty.
  void Drain();

 private:
  void ASMHydrasynthThreadEntry();

  Clock& clock_;
  mutable std::mutex mutex_;
  std::deque<std::unique_ptr<ASMHydrasynthMidiIO>> list_;
  bool running_ = false;
  WorkerThread thread_;
};

// The operations behind the statements: see ASMHydrasynthMidiIO.  Send opens the transmit window when none is open and
// tells it to stay.
int ASMHydrasynthRecv(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra);
int ASMHydrasynthSend(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra);
int ASMHydrasynthBurn(ScriptServices& services, TransferContext& context, Synth& synth, std::span<std::uint8_t> buffer,
                      int patch, long mode, long extra);

}  // namespace tonalith
