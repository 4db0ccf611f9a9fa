#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <thread>

#include "midi/midi_input.h"
#include "midi/midi_output.h"
#include "script/script_services.h"
#include "script/transfer_engine_events.h"

namespace tonalith {

class TransferEngine;

// The MIDI half of ScriptServices on the real ports.  The program's services derive from it and add settings, windows
// and documents; tests and the command line tool use it as it is.
class MidiScriptServices : public ScriptServices {
 public:
  MidiScriptServices(MidiOut& out, MidiIn& in) : out_(out), in_(in) {}

  // The engine that shows transmissions; null (no window) at first.
  void SetTransferEngine(TransferEngine* engine) { engine_ = engine; }
  // Recording for the calling thread only: from now on what it sends without a transfer of its own, and its delays, are
  // appended to *list instead of being performed; `record` false ends that.  The chain belongs to the caller.
  void SetFirstEvent(bool record, Event** list);
  // The list being recorded by this thread; null when it does not record.
  Event** GetFirstEvent();
  MidiOut& out() const { return out_; }
  MidiIn& in() const { return in_; }

  int SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override;
  int SendBare(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override;
  bool OutputTaken(int port, TransferContext& context) override;
  int GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                      TransferContext& context) override;
  void CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) override;
  bool MidiBlocked() const override { return out_.BlockMidi(); }
  void SetBlockMidi(bool blocked) override { out_.SetBlockMidi(blocked); }

  void MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs,
                         int device) override;
  void MidiOutClrWaitForAck(int port) override;
  bool CanBeAnswered(const TransferContext& context) override { return RecordingOf(context) == nullptr; }
  bool BeginAcks(int port, int inPort, TransferContext& context) override;
  int EndAcks(int port, TransferContext& context) override;
  void SetSysXCancel(int inPort, std::span<const std::uint8_t> pattern, int outPort) override;
  void ForgetReplies(int inPort) override { in_.ForgetReplies(inPort); }
  void MidiOutSetMaxSysExSpeed(int port, int bytesPerSecond) override;
  void MidiOutSetUSBPortSpeed(int port, int bytesPerSecond) override;
  void SetMidiOutForceExit(bool force) override { out_.SetMidiOutForceExit(force); }
  bool GetWriteToQueue(int port) override;
  void SetWriteToQueue(int port, bool collect) override;
  void OutputQueue(int port) override;
  std::shared_ptr<void> HoldPortNumbers() override { return out_.numbers().Take(); }
  bool HasPortTables() const override { return true; }
  int PortCount(MidiDirection direction) override;
  std::string PortName(MidiDirection direction, int port) override;

  int MacroRoland(Synth& synth, std::span<std::uint8_t> buffer, int parameter3, int parameter0, int parameter1,
                  int parameter2, TransferContext& context) override;
  bool TransmitWindowOpen() const override;
  void OpenTransmitWindow(int port, std::uint32_t total) override;
  void SetTransmitStayOpen(bool stay) override;
  Clock& clock() override { return out_.clock(); }

 private:
  struct ThreadRecording {
    EventList events;
    Event** list = nullptr;
  };
  // Of the calling thread; null when it does not record.
  ThreadRecording* RecordingHere();
  // Where a transfer's (or else the calling thread's) messages are recorded; null: they are performed.
  EventList* RecordingOf(const TransferContext& context);
  bool OutputGone(int port, TransferContext& context);
  void BeforeSending(int port, TransferContext& context);
  SendOptions OptionsOf(TransferContext& context);
  void Drain(int port, TransferContext& context);
  std::int64_t AskSurely(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options,
                         const TransferContext::Staged& staged, const AwaitedAnswer& awaited, TransferContext& context);
  std::int64_t Ask(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options,
                   const TransferContext::Staged* staged, TransferContext& context);

  MidiOut& out_;
  MidiIn& in_;
  TransferEngine* engine_ = nullptr;
  std::mutex recordingMutex_;
  std::atomic<bool> anyRecords_{false};
  std::map<std::thread::id, ThreadRecording> recordings_;  // each is used by its thread only
};

}  // namespace tonalith
