#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "midi/receive_options.h"

namespace tonalith {

// Results of transfers and of the steps they are made of.  Values above 0 are byte counts.
namespace transfer_code {
inline constexpr int kNothing = 0;
inline constexpr int kNoResponse = -1;
inline constexpr int kTimeOut = -2;
inline constexpr int kMissingBytes = -3;
inline constexpr int kEndOfMacro = -4;
inline constexpr int kBadCommand = -5;
inline constexpr int kNoEnd = -6;
inline constexpr int kWrongCompany = -7;
inline constexpr int kUnexpectedAck = -8;
inline constexpr int kCommunication = -9;
inline constexpr int kRejected = -10;
inline constexpr int kUnknownError = -11;
inline constexpr int kWrongCount = -12;
inline constexpr int kTooLarge = -13;
inline constexpr int kNoMemory = -14;
inline constexpr int kStillNoResponse = -15;
inline constexpr int kQuiet = -19;  // a receive during which nothing arrived
inline constexpr int kEmpty = -20;  // the instrument says that the place holds nothing
}  // namespace transfer_code

// One instrument's pair of ports as a protocol sees it.  The transfer engine implements it on the transport; tests
// implement it with scripted peers.  Calls come from the thread that runs the transfer.
class ProtocolLine {
 public:
  virtual ~ProtocolLine() = default;

  // Sends one message or a run of SysEx messages; nothing when the first byte is 0.  0 or more: accepted; -1: failed.
  virtual int Send(std::span<const std::uint8_t> bytes) = 0;
  // Sends one piece of data that continues an exchange and need not begin with a status byte; it may begin with 0.
  virtual int SendBare(std::span<const std::uint8_t> bytes) = 0;
  // The next Receive sends these bytes (as Send, or as SendBare) as soon as it is able to take the answer, so that no
  // answer comes too early.  They are copied.
  virtual void Stage(std::span<const std::uint8_t> bytes) = 0;
  virtual void StageBare(std::span<const std::uint8_t> bytes) = 0;
  // Receives at most `into.size()` bytes.  Number of bytes stored; kNoResponse on cancel, user abort or a port that is
  // gone; kQuiet when nothing arrived in time.
  virtual int Receive(std::span<std::uint8_t> into) = 0;
  // The next Receive takes these messages in their order for the answer, or any when there are none; others are passed
  // over while the time runs.
  virtual void Await(std::vector<AnswerStep> steps) { (void)steps; }
  // The next Receive passes messages over that do not begin so; what goes on inside a message is taken.
  virtual void AwaitOnly(AnswerStep messages) { (void)messages; }
  // The same for the answer that fills the image of a data type, after its request was staged.
  virtual void AwaitImage(const Synth& synth) { (void)synth; }
  // What the last Receive passed over.
  virtual RefusedMessage Refused() const { return {}; }
  // How often a damaged piece may still be asked for again.
  virtual int ExtraAttempts() const { return 2; }
  // It was, so that the exchange is not begun again either.
  virtual void SpendAttempts() {}
  // Milliseconds of silence before the next message on the output port; while events are recorded it is recorded.
  virtual void Delay(std::uint32_t ms) = 0;
  virtual void AllPortReceiving(AcceptAny mode) = 0;
  // A button, a closed window, a vanished device or the end of the program: no further round is begun.
  virtual bool Cancelled() const = 0;
  // MIDI output is blocked: nothing is sent, which is no failure.
  virtual bool Blocked() const { return false; }
  // A sentence for the user ("** TRANSMISSION ERROR **").
  virtual void Report(const std::string& text) = 0;
};

}  // namespace tonalith
