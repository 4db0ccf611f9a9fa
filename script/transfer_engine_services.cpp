#include "script/transfer_engine_services.h"

#include <algorithm>
#include <utility>

#include "script/services_line.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_events.h"

namespace tonalith {

namespace {

constexpr std::int64_t kAckLookMs = 200;  // a port that died while it waits is noticed so late at the latest

}  // namespace

void MidiScriptServices::SetFirstEvent(bool record, Event** list) {
  std::lock_guard guard(recordingMutex_);
  const auto here = recordings_.find(std::this_thread::get_id());
  if (here != recordings_.end()) {
    // Whoever recorded before gets what there is, behind what the list held.
    Event** end = here->second.list;
    while (*end) end = &(*end)->next;
    *end = here->second.events.Release();
    recordings_.erase(here);
  }
  if (record && list) recordings_[std::this_thread::get_id()].list = list;
  anyRecords_.store(!recordings_.empty());
}

MidiScriptServices::ThreadRecording* MidiScriptServices::RecordingHere() {
  if (!anyRecords_.load()) return nullptr;
  std::lock_guard guard(recordingMutex_);
  const auto here = recordings_.find(std::this_thread::get_id());
  return here == recordings_.end() ? nullptr : &here->second;
}

Event** MidiScriptServices::GetFirstEvent() {
  const ThreadRecording* recording = RecordingHere();
  return recording ? recording->list : nullptr;
}

EventList* MidiScriptServices::RecordingOf(const TransferContext& context) {
  if (context.recording) return context.recording;
  ThreadRecording* recording = RecordingHere();
  return recording ? &recording->events : nullptr;
}

SendOptions MidiScriptServices::OptionsOf(TransferContext& context) {
  SendOptions options;
  options.delayBetweenMs = context.transmitDelayMs;
  options.cancel = &context.cancel;
  options.lease = context.lease;
  if (EventList* events = RecordingOf(context)) {
    options.recordMessage = [events](int port, std::span<const std::uint8_t> message) {
      events->AppendMessage(port, message);
    };
    options.recordDelay = [events](int port, std::uint32_t ms) { events->AppendDelay(port, ms); };
  }
  return options;
}

// Scripts may run without holding the numbers of their ports; then they must not go on with a neighbour.
bool MidiScriptServices::OutputGone(int port, TransferContext& context) {
  if (RecordingOf(context)) return false;
  const auto slot = out_.GetMidiOutPort(port);
  if (!slot || !slot->Alive() ||
      (!context.outPortName.empty() && context.outPort == port && slot->name() != context.outPortName)) {
    context.portGone = true;
    context.sendFailed = true;
    return true;
  }
  return false;
}

bool MidiScriptServices::OutputTaken(int port, TransferContext& context) {
  const auto slot = out_.GetMidiOutPort(port);
  if (!slot || slot->lease() == 0 || slot->lease() == context.lease || RecordingOf(context)) return false;
  context.sendFailed = true;
  if (!context.quiet) DisplayMessage(PortTakenText(slot->name()), context);
  return true;
}

// An answer may come before the script gets to its receive.
void MidiScriptServices::BeforeSending(int port, TransferContext& context) {
  context.lastOutPort = port;
  if (context.inPort >= 0 && !RecordingOf(context)) in_.KeepReplies(context.inPort);
}

int MidiScriptServices::SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) {
  if (out_.BlockMidi() || out_.Suppressed()) return 0;
  if (OutputGone(port, context) || OutputTaken(port, context)) return -1;
  BeforeSending(port, context);
  const std::int64_t sent = out_.SendDataPort(bytes, port, OptionsOf(context));
  if (sent > 0) context.sentBytes.fetch_add(sent);
  if (sent < 0) context.sendFailed = true;
  return static_cast<int>(std::min<std::int64_t>(sent, INT32_MAX));
}

int MidiScriptServices::SendBare(std::span<const std::uint8_t> bytes, int port, TransferContext& context) {
  if (bytes.empty() || bytes[0] != 0) return SendDataPort(bytes, port, context);
  if (EventList* events = RecordingOf(context)) {
    events->AppendMessage(port, bytes);
    return static_cast<int>(bytes.size());
  }
  if (out_.BlockMidi() || out_.Suppressed()) return 0;
  if (OutputGone(port, context) || OutputTaken(port, context)) return -1;
  BeforeSending(port, context);
  if (out_.SendPacked(port, bytes, OptionsOf(context)) < 0) {
    context.sendFailed = true;
    return -1;
  }
  context.sentBytes.fetch_add(static_cast<std::int64_t>(bytes.size()));
  return static_cast<int>(bytes.size());
}

int MidiScriptServices::GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                                        TransferContext& context) {
  if (!context.inPortName.empty() && context.inPort == port && in_.INGETPORTNAME(port) != context.inPortName) {
    context.portGone = true;
    context.staged.reset();
    return kReceiveCancelled;
  }
  ReceiveOptions options;
  options.skip = skip;
  options.acceptAny = context.acceptAny;
  options.hasAccept = context.hasAcceptPattern;
  options.accept = context.acceptPattern;
  options.decline = context.declinePatterns;
  options.end = context.endPattern;
  options.sizes = context.acceptedSizes;
  options.timeoutMs = context.receiveTimeoutMs > 0 ? context.receiveTimeoutMs : context.hasIoWindow ? 0 : -1;
  if (context.patienceMs > 0) options.timeoutMs = context.patienceMs;
  // What is started at the panel is waited for until it is, as long as the window that asks for it is there.
  if (context.hasIoWindow && context.endSilence) options.timeoutMs = 0;
  options.betterMs = MidiIn::DefaultTimeoutMs(static_cast<std::int64_t>(destination.size()));
  if (context.endSilence && options.acceptAny != AcceptAny::Everything) options.silenceMs = options.betterMs;
  const AwaitedAnswer awaited = std::exchange(context.awaited, {});
  const auto staged = std::exchange(context.staged, std::nullopt);
  if (skip == 0) {
    options.answer = awaited.steps;
    options.answerRepeats = awaited.every;
  }
  if (staged && context.acceptAny != AcceptAny::Everything) options.echo = staged->bytes;
  // Whoever spoke before does not need all the time there is.
  if (staged && options.timeoutMs == 0 && context.history.heard) options.timeoutMs = -1;
  std::int64_t stored = 0;
  if (staged && context.acceptAny != AcceptAny::Everything) {
    stored = AskSurely(destination, port, options, *staged, awaited, context);
  } else {
    stored = Ask(destination, port, options, staged ? &*staged : nullptr, context);
  }
  if (stored > 0 && context.transferRunning)
    context.pieceBytes.insert(context.pieceBytes.end(), destination.begin(), destination.begin() + stored);
  return static_cast<int>(std::min<std::int64_t>(stored, INT32_MAX));
}

// Lets what comes late pass by.
void MidiScriptServices::Drain(int port, TransferContext& context) {
  constexpr std::int64_t kQuietUs = 200'000;
  constexpr std::int64_t kLongestUs = 3'000'000;
  constexpr std::int64_t kStepMs = 10;
  const auto open = in_.GetMidiInPort(port);
  if (!std::exchange(context.history.restless, false) || !open) return;
  const std::int64_t begin = clock().NowUs();
  for (std::int64_t now = begin; now - begin < kLongestUs; now = clock().NowUs()) {
    if (now - std::max(begin, open->LastSysExUs()) >= kQuietUs || context.cancel.Cancelled() || !open->Alive()) break;
    clock().SleepMs(kStepMs, &context.wake);
    if (context.wake.Cancelled()) break;
  }
  if (open->LastSysExUs() <= begin) return;
  int& owed = context.history.owedBefore > 0 ? context.history.owedBefore : context.history.owed;
  owed = std::max(owed - 1, 0);
}

// Answers that do not say which patch they are may belong to a request before.  Instruments answer in order: behind as
// many answers as are owed the right one comes, and an answer that is the one before again is asked for once more.
std::int64_t MidiScriptServices::AskSurely(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options,
                                           const TransferContext::Staged& staged, const AwaitedAnswer& awaited,
                                           TransferContext& context) {
  AnswerHistory& history = context.history;
  const int patch = context.currentPatch;
  Drain(port, context);
  if (history.askedPatch != patch) {
    history.askedPatch = patch;
    history.owedBefore += std::exchange(history.owed, 0);
  }
  int more = -1;  // times to ask again; -1: not known yet
  for (;;) {
    const std::int64_t stored = Ask(destination, port, options, &staged, context);
    if (stored == kReceivedNothing && !context.passedOver.damaged) ++history.owed;
    if (stored <= 0 || !awaited.wholePatch || awaited.numbered) return stored;
    const auto answer = destination.first(static_cast<std::size_t>(stored));
    if (more < 0) {
      const bool same = std::equal(answer.begin(), answer.end(), history.answer.begin(), history.answer.end());
      more = history.owedBefore > 0 ? history.owedBefore : same && history.patch != patch ? 1 : 0;
      if (more > 0) history.restless = true;
    }
    if (more-- == 0) {
      history.owedBefore = 0;
      history.answer.assign(answer.begin(), answer.end());
      history.patch = patch;
      return stored;
    }
    context.receivedBytes.fetch_sub(stored);
    if (context.cancel.Cancelled()) return kReceiveAborted;
  }
}

// One receive, and the request that goes with it.
std::int64_t MidiScriptServices::Ask(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options,
                                     const TransferContext::Staged* staged, TransferContext& context) {
  // Messages that were posted until the request was.
  const auto until = std::make_shared<std::atomic<std::uint64_t>>(UINT64_MAX);
  const int outPort = staged ? staged->port : context.lastOutPort;
  const auto slot = outPort >= 0 ? out_.GetMidiOutPort(outPort) : nullptr;
  ReceiveHooks hooks;
  hooks.received = &context.receivedBytes;
  hooks.wake = &context.wake;
  hooks.cancel = &context.cancel;
  hooks.transferMode = [&context] { return static_cast<int>(context.state.load()); };
  if (staged) {
    hooks.sendRequest = [this, staged, &context, slot, until] {
      if (staged->bare) {
        SendBare(staged->bytes, staged->port, context);
      } else {
        SendDataPort(staged->bytes, staged->port, context);
      }
      until->store(slot ? slot->PostedMessages() : 0);
    };
  }
  if (slot) {
    hooks.requestUnderWay = [slot, posted = std::optional<std::uint64_t>()]() mutable {
      if (!posted) posted = slot->PostedMessages();
      return slot->HandledMessages() < *posted && slot->Alive();
    };
    if (staged) hooks.requestWaits = [slot, until] { return slot->BegunMessages() < until->load(); };
  }
  ReceiveReport report;
  std::int64_t stored = in_.GetDataVector(destination, port, options, hooks, &report);
  if (report.timedOut) context.history.restless = true;
  if (staged && (stored > 0 || report.refused.any)) context.history.heard = true;
  context.cancelledByPattern = report.cancelledByPattern;
  context.passedOver = report.refused;
  constexpr std::int64_t kShort = 64;
  if (report.refused.any) context.said = report.refused.head;
  if (stored > 0 && stored <= kShort)
    context.said.assign(destination.begin(), destination.begin() + static_cast<std::ptrdiff_t>(stored));
  if (report.damaged) {
    context.passedOver.any = context.passedOver.damaged = true;
    if (stored > 0) stored = kReceivedNothing;
  }
  context.loops.fetch_add(report.echoes);
  if (report.portGone) context.portGone = true;
  return stored;
}

void MidiScriptServices::CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) {
  if (EventList* events = RecordingOf(context)) {
    events->AppendDelay(port, ms);
    return;
  }
  constexpr int kPluginEnvironment = 3;
  if (Setting(ScriptSetting::Environment) != kPluginEnvironment) {
    if (!OutputTaken(port, context)) out_.MidiOutDelay(port, ms);
  } else if (context.quiet) {
    clock().SleepMs(ms, &context.cancel);
  }
}

void MidiScriptServices::MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs,
                                           int device) {
  out_.MidiOutWaitForAck(port, inPort, pattern, timeoutMs, device);
}

void MidiScriptServices::MidiOutClrWaitForAck(int port) {
  out_.MidiOutClrWaitForAck(port);
}

bool MidiScriptServices::BeginAcks(int port, int inPort, TransferContext& context) {
  if (!CanBeAnswered(context) || OutputTaken(port, context) || PortName(MidiDirection::Input, inPort).empty())
    return false;
  const AckCounts now = out_.Acks(port);
  context.acksBefore = {now.asked, now.answered, now.refused};
  return true;
}

int MidiScriptServices::EndAcks(int port, TransferContext& context) {
  const auto slot = out_.GetMidiOutPort(port);
  if (!context.acksBefore || !slot) return 0;
  const auto before = *std::exchange(context.acksBefore, std::nullopt);
  while (slot->Alive() && !context.cancel.Cancelled() && !Quitting() && !slot->WaitIdle(kAckLookMs, &context.cancel)) {
  }
  const AckCounts now = slot->Acks();
  const std::uint64_t asked = now.asked - before.asked;
  if (now.refused != before.refused) {
    context.refused = true;
    context.said = now.last;
    return transfer_code::kRejected;
  }
  if (now.answered - before.answered == asked) return 0;
  context.unanswered = true;
  return transfer_code::kNoResponse;
}

void MidiScriptServices::SetSysXCancel(int inPort, std::span<const std::uint8_t> pattern, int outPort) {
  const auto port = in_.GetMidiInPort(inPort);
  if (port) port->SetSysXCancel(pattern, pattern.empty() ? nullptr : out_.GetMidiOutPort(outPort));
}

void MidiScriptServices::MidiOutSetMaxSysExSpeed(int port, int bytesPerSecond) {
  out_.MidiOutSetMaxSysExSpeed(port, static_cast<std::uint32_t>(std::max(0, bytesPerSecond)));
}

void MidiScriptServices::MidiOutSetUSBPortSpeed(int port, int bytesPerSecond) {
  out_.MidiOutSetUSBPortSpeed(port, static_cast<std::uint32_t>(std::max(0, bytesPerSecond)));
}

bool MidiScriptServices::GetWriteToQueue(int port) {
  const auto slot = out_.GetMidiOutPort(port);
  return slot && slot->GetWriteToQueue();
}

void MidiScriptServices::SetWriteToQueue(int port, bool collect) {
  if (const auto slot = out_.GetMidiOutPort(port)) slot->SetWriteToQueue(collect);
}

void MidiScriptServices::OutputQueue(int port) {
  if (const auto slot = out_.GetMidiOutPort(port)) slot->OutputQueue();
}

int MidiScriptServices::PortCount(MidiDirection direction) {
  return direction == MidiDirection::Input ? in_.InPorts() : out_.MaxOutPorts();
}

std::string MidiScriptServices::PortName(MidiDirection direction, int port) {
  if (direction == MidiDirection::Input) {
    const auto open = in_.GetMidiInPort(port);
    return open && open->Alive() ? open->name() : std::string();
  }
  const auto open = out_.GetMidiOutPort(port);
  return open && open->Alive() ? open->name() : std::string();
}

int MidiScriptServices::MacroRoland(Synth& synth, std::span<std::uint8_t> buffer, int parameter3, int parameter0,
                                    int parameter1, int parameter2, TransferContext& context) {
  ServicesLine line(*this, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MacroRoland(synth, ByteWindow(buffer), static_cast<std::uint32_t>(parameter3),
                                            static_cast<std::uint32_t>(std::max(0, parameter0)), parameter1,
                                            parameter2 != 0);
}

bool MidiScriptServices::TransmitWindowOpen() const {
  return engine_ && engine_->TransmitWindowOpen();
}

void MidiScriptServices::OpenTransmitWindow(int port, std::uint32_t total) {
  if (engine_) engine_->OpenZKMidiOutStatus(port, total);
}

void MidiScriptServices::SetTransmitStayOpen(bool stay) {
  if (engine_) engine_->SetTransmitStayOpen(stay);
}

}  // namespace tonalith
