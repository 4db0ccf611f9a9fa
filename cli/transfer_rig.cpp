#include "cli/transfer_rig.h"

#include <algorithm>
#include <atomic>
#include <csignal>

#include "data/data_text.h"
#include "midi/backends/alsa_backend.h"
#include "midi/backends/jack_backend.h"
#include "platform/ini_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kCableRate = 3125;       // bytes a second of a MIDI cable
constexpr std::int64_t kLookMs = 50;             // how often a running transfer is looked at
constexpr std::int64_t kSettleVirtualMs = 3000;  // an instrument works on what it was sent
constexpr std::int64_t kSettleRealMs = 30;       // the last bytes leave the MIDI system's own buffers

// What a signal sets; a handler may do no more than that.
std::atomic<const CancelToken*> interruptToken{nullptr};
static_assert(std::atomic<const CancelToken*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void NoteInterrupt(int) {
  if (const CancelToken* token = interruptToken.load()) token->Cancel();
}

}  // namespace

// ---------------------------------------------------------------------------------------------------- interrupts

InterruptGuard::InterruptGuard(CliEnvironment& environment)
    : environment_(environment), installed_(environment.catchesSignals) {
  if (!installed_) return;
  formerToken_ = interruptToken.exchange(&environment_.interrupt);
  struct sigaction action {};
  action.sa_handler = NoteInterrupt;
  sigaction(SIGINT, &action, &formerInterrupt_);
  sigaction(SIGTERM, &action, &formerTerminate_);
}

InterruptGuard::~InterruptGuard() {
  if (!installed_) return;
  sigaction(SIGINT, &formerInterrupt_, nullptr);
  sigaction(SIGTERM, &formerTerminate_, nullptr);
  interruptToken.store(formerToken_);
}

bool InterruptGuard::Interrupted() const {
  return environment_.interrupt.Cancelled();
}

// ---------------------------------------------------------------------------------------------------- the rig

TransferRig::TransferRig(Session& session, Kind kind) : session_(session) {
  if (kind == Kind::Virtual) {
    virtualClock_ = std::make_unique<VirtualClock>();
    clock_ = virtualClock_.get();
    here_.emplace(*clock_);
  } else {
    clock_ = &SystemClock();
  }
  if (kind != Kind::Real) {
    backend_ = std::make_shared<VirtualBackend>(*clock_);
    studio_ = std::make_unique<VirtualStudio>(*backend_, VirtualStudio::Options{kCableRate});
  }
  dispatcher_ = std::make_unique<Dispatcher>(*clock_);
  midiSide_ = session.program().MakeMidi(*clock_, *dispatcher_);
  if (backend_) {
    midi().AddBackend(backend_);
  } else {
    midi().AddBackend(MakeJackBackend());
    midi().AddBackend(MakeAlsaBackend());
    midi().SetOtAMidiIniPath(session.paths().MidiPortsProfile());  // the speeds of ports
  }
  midi().Start();
  // In virtual time nothing else could end a script that computes: time stands still until it waits.
  services().EndScriptsWith(session.environment().interrupt);
  desk().SetOptions({virtualClock_ ? kSettleVirtualMs : kSettleRealMs});
  desk().SetRefusalText([&session](int driverId, std::span<const std::uint8_t> message) {
    return session.HasStudio() ? session.studio().RefusalSentence(driverId, message) : std::string();
  });
  desk().SetLineQuestion([&session](const std::string& warning) {
    session.environment().err << "tonalith-cli: " << warning << "\n";
    return true;
  });
  exchangeUs_ = clock_->NowUs();
  inMonitor_ = midi().in().AddMidiInMonitor([this](int, std::span<const std::uint8_t> message) {
    Note("IN", message);
    if (message.size() < 2 || message.front() != 0xF0 || message.back() != 0xF7) return;
    const std::lock_guard guard(receivedMutex_);
    received_.insert(received_.end(), message.begin(), message.end());
  });
  outMonitor_ = midi().out().AddMonitor([this](int, std::span<const std::uint8_t> message) { Note("OUT", message); });
}

// Waits between an OUT and the IN that follows it are written; before an OUT they say nothing about the other side.
void TransferRig::Note(const char* direction, std::span<const std::uint8_t> message) {
  const std::int64_t now = clock_->NowUs();
  const std::lock_guard guard(receivedMutex_);
  const std::int64_t waited = (now - exchangeUs_) / 1000;
  if (direction[0] == 'I' && waited > 0) exchange_ += "WAIT " + std::to_string(waited) + "\n";
  exchangeUs_ = now;
  exchange_ += std::string(direction) + " " + HexText(message) + "\n";
}

TransferRig::~TransferRig() {
  midi().in().RemoveMidiInMonitor(inMonitor_);
  midi().out().RemoveMonitor(outMonitor_);
  midiSide_.reset();
  studio_.reset();
}

std::size_t TransferRig::PlugInstrument(std::unique_ptr<SimulatedInstrument> instrument) {
  return studio_->Attach(std::move(instrument));
}

std::size_t TransferRig::PlugConversation(Conversation conversation) {
  return studio_->AttachConversation(std::move(conversation), "Conversation");
}

Result TransferRig::OpenPorts(const std::string& inName, const std::string& outName) {
  for (const MidiDirection direction : {MidiDirection::Input, MidiDirection::Output}) {
    const bool input = direction == MidiDirection::Input;
    const std::string& name = input ? inName : outName;
    if (name.empty()) continue;
    PortMap map;
    map.AddPortName(name);
    if (input) {
      midi().SetMidiInPortMap(map);
    } else {
      midi().SetMidiOutPortMap(map);
    }
    const int opened = input ? midi().MidiPortInOpenPortsFromMap() : midi().MidiPortOutOpenPortsFromMap();
    if (opened < 1)
      return Result::Failure(std::string("The MIDI ") + (input ? "IN" : "OUT") + " port \"" + name +
                             "\" could not be opened; another program may be using it.");
  }
  return Result::Success();
}

bool TransferRig::OpenAllPorts() {
  PortMap all;
  all.SetOpenAll(true);
  midi().SetMidiInPortMap(all);
  midi().SetMidiOutPortMap(all);
  const int inputs = midi().MidiPortInOpenPortsFromMap();
  const int outputs = midi().MidiPortOutOpenPortsFromMap();
  return inputs > 0 && outputs > 0;
}

void TransferRig::RoutePorts(ZKDrvList* instrument) {
  const std::string in = midi().in().INGETPORTNAME(0);
  const std::string out = midi().out().OUTGETPORTNAME(0);
  instrument->SetInPort(0, in);
  instrument->SetOutPort(0, out);
  const int speed = IniFile(instrument->GetIniPath().string()).GetInt("Instrument", "MaxSysExSpeed");
  if (speed > 0) midi().out().MidiOutSetMaxSysExSpeed(0, static_cast<std::uint32_t>(speed));
}

void TransferRig::RoutePorts(DataFile* dataFile) {
  dataFile->synth->midiInPort = 0;
  dataFile->synth->midiOutPort = 0;
  // Names from a file are of another place; these ports were chosen by the user.
  if (dataFile->midiInPortName)
    CopyText(dataFile->midiInPortName, dataFile->midiInPortNameSize, midi().in().INGETPORTNAME(0));
  if (dataFile->midiOutPortName)
    CopyText(dataFile->midiOutPortName, dataFile->midiOutPortNameSize, midi().out().OUTGETPORTNAME(0));
}

// ---------------------------------------------------------------------------------------------------- transfers

void TransferRig::ShowProgress(const DeskJob& job) {
  if (!session_.environment().showsProgress || !job.transfer()) return;
  const ReceiveWindowState state = job.transfer()->WindowState();
  std::string text =
      (progressHead_ ? progressHead_() : std::string()) + Latin1ToUtf8(state.shortName + " " + state.typeName) + ": ";
  if (state.patchesToDo > 0)
    text += Printf("patch %d of %d", state.patchesDone, state.patchesToDo);
  else if (job.Sends())
    text += Printf("%lld bytes sent", static_cast<long long>(state.sent));
  else
    text +=
        Printf("%lld of %lld bytes", static_cast<long long>(state.received), static_cast<long long>(state.expected));
  const std::size_t width = text.size();
  if (width < progressWidth_) text.append(progressWidth_ - width, ' ');
  progressWidth_ = width;
  session_.environment().err << "\r" << text;
  session_.environment().err.Flush();
}

void TransferRig::ClearProgress() {
  if (progressWidth_ == 0) return;
  session_.environment().err << "\r" << std::string(progressWidth_, ' ') << "\r";
  session_.environment().err.Flush();
  progressWidth_ = 0;
}

Result TransferRig::Run(TransferOperation operation, DataFile* dataFile, const Watcher& watcher,
                        const GetOptions& get) {
  const bool receive = operation == TransferOperation::kReceive;
  DeskRequest request = DeskRequest::Of(receive ? DeskStep::Kind::kGet : DeskStep::Kind::kSend, dataFile);
  request.steps.front().get = get;
  return Run(std::move(request), watcher);
}

Result TransferRig::Run(DeskRequest request, const Watcher& watcher) {
  {
    const std::lock_guard lock(receivedMutex_);
    received_.clear();
  }
  interrupted_.reset();
  const InterruptGuard guard(session_.environment());
  request.showWindow = 0;
  for (DeskStep& step : request.steps) step.patience = patience_;
  if (request.next) {
    request.next = [this, &guard, next = std::move(request.next)](const DeskResult& result) {
      std::optional<DeskStep> step = guard.Interrupted() ? std::nullopt : next(result);
      if (step) step->patience = patience_;
      return step;
    };
  }
  const TransferDesk::Job job = desk().Submit(std::move(request));
  for (bool cancelled = false; !desk().Wait(job, kLookMs);) {
    ShowProgress(*job);
    if (watcher && job->transfer()) watcher(*job->transfer());
    if (cancelled || !guard.Interrupted()) continue;
    cancelled = true;
    if (job->transfer()) interrupted_ = job->transfer()->SoFar();
    desk().Cancel(job);
  }
  ClearProgress();
  for (const std::string& change : session_.program().scriptChanges().TakeNews())
    session_.environment().err << "tonalith-cli: " << change << " It is not saved.\n";
  const DeskResult& result = lastResult_ = job->result();
  return result.ok ? Result::Success() : Result::Failure(result.sentence, result.code == 0 ? 1 : result.code);
}

std::vector<std::uint8_t> TransferRig::Received() {
  const std::lock_guard guard(receivedMutex_);
  return received_;
}

std::string TransferRig::Exchange() {
  const std::lock_guard guard(receivedMutex_);
  return exchange_;
}

}  // namespace tonalith
