#include "cli/commands_run.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "cli/run_request.h"
#include "cli/session.h"
#include "midi/backends/virtual_backend.h"
#include "midi/midi_input.h"
#include "midi/midi_output.h"
#include "platform/clock.h"
#include "platform/jobs.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "script/interpreter.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"
#include "services/hosts.h"
#include "services/main_window_messages.h"
#include "services/program.h"
#include "services/script_router.h"
#include "services/script_settings.h"
#include "simulator/conversation.h"

namespace tonalith {

namespace {

constexpr std::int64_t kReplyDelayUs = 1000;

std::string HexLine(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 3);
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// The lines of the traffic; sending threads and the cable's thread write.
class TrafficLog {
 public:
  explicit TrafficLog(TerminalText out) : out_(out) {}
  void Line(const char* direction, std::span<const std::uint8_t> bytes) {
    std::lock_guard guard(mutex_);
    out_ << std::string_view(direction) << " " << HexLine(bytes) << "\n";
  }

 private:
  std::mutex mutex_;
  TerminalText out_;
};

// What a script may ask of the program that runs it: the main window's variables.  Nobody else is there.
struct RunProgram {
  explicit RunProgram(Clock& clock) : dispatcher(clock), router(dispatcher, clock), mainWindow(router, appVars) {}
  Dispatcher dispatcher;
  ScriptRouter router;
  ZKAppVars appVars;
  MainWindowMessages mainWindow;
};

// The services of a script on one cable whose far end plays the replies.
class RunServices final : public MidiScriptServices {
 public:
  RunServices(MidiOut& midiOut, MidiIn& midiIn, std::shared_ptr<VirtualEndpoint> endpoint, TrafficLog& log,
              RunRequest& request, ScriptHost& host, Settings& settings, TerminalText err)
      : MidiScriptServices(midiOut, midiIn),
        endpoint_(std::move(endpoint)),
        log_(log),
        request_(request),
        host_(host),
        settings_(settings),
        err_(err) {}

  int SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override {
    const int sent = MidiScriptServices::SendDataPort(bytes, port, context);
    AfterSending(context);
    return sent;
  }
  int SendBare(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override {
    if (!bytes.empty() && bytes[0] == 0) log_.Line("OUT", bytes);
    const int sent = MidiScriptServices::SendBare(bytes, port, context);
    if (!bytes.empty() && bytes[0] == 0) AfterSending(context);
    return sent;
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int, std::int64_t skip, TransferContext& context) override {
    // A reply belongs to one receive: what did not fit is not for the next.
    const auto inPort = in().GetMidiInPort(0);
    if (!request_.conversation && inPort) inPort->ExpectReply();
    if (!request_.replies.empty()) {
      reply_ = std::move(request_.replies.front());
      request_.replies.pop_front();
    }
    // A staged request leaves once the receive is armed; the reply comes behind it.
    if (!context.staged) GiveReply();
    const int r = MidiScriptServices::GetDataSkipPort(destination, 0, skip, context);
    GiveReply();
    return r;
  }
  void MidiOutWaitForAck(int, int, std::span<const std::uint8_t> pattern, int timeoutMs, int device) override {
    MidiScriptServices::MidiOutWaitForAck(0, 0, pattern, timeoutMs, device);
  }
  void MidiOutClrWaitForAck(int) override { MidiScriptServices::MidiOutClrWaitForAck(0); }
  void SetSysXCancel(int, std::span<const std::uint8_t> pattern, int outPort) override {
    MidiScriptServices::SetSysXCancel(0, pattern, outPort);
  }
  bool HasMacroTable() const override { return !request_.macros.empty(); }
  std::span<const std::uint8_t> Macro(int index) const override {
    if (index < 0 || static_cast<std::size_t>(index) >= request_.macros.size()) return {};
    return request_.macros[static_cast<std::size_t>(index)];
  }
  int Setting(ScriptSetting setting) override {
    const auto id = SettingOf(setting);
    return id ? settings_.Value(*id) : others_[setting];
  }
  void SetSetting(ScriptSetting setting, int value) override {
    if (value < 0) return;
    if (const auto id = SettingOf(setting)) {
      settings_.Access(*id, value);
    } else if (setting == ScriptSetting::MidiDelay || setting == ScriptSetting::DeleteStudioOnExit) {
      others_[setting] = value;
    }
  }
  void SettingChanged(ScriptSetting setting, int before, int after, const Synth& by) override {
    if (const auto id = SettingOf(setting)) err_ << SettingChangeSentence(NameOf(by), *id, before, after) << "\n";
  }
  std::int64_t ScriptLimitMs() override { return request_.limitMs; }
  ScriptHost* Host() override { return &host_; }
  void DisplayMessage(const std::string& text, TransferContext&) override { err_ << PlainSentence(text) << "\n"; }
  void MonitorLine(const std::string& text) override { err_ << PlainSentence(text) << "\n"; }

 private:
  static std::string NameOf(const Synth& synth) {
    const std::string name = Latin1ToUtf8(FieldText(synth.shortName) + " " + FieldText(synth.typeName));
    return name == " " ? "run" : std::string(TrimmedView(name));
  }
  // Lets the message reach the far end, so that the order of the lines does not depend on threads.
  void AfterSending(TransferContext& context) {
    constexpr std::int64_t kLongestSendMs = 600'000;
    out().MidiOutWaitIdle(0, kLongestSendMs, &context.cancel);
    clock().SleepUs(kReplyDelayUs, &context.cancel);
    GiveReply();
  }
  void GiveReply() {
    if (!reply_) return;
    log_.Line("IN", *reply_);
    endpoint_->Send(*reply_, kReplyDelayUs);
    reply_.reset();
  }

  std::shared_ptr<VirtualEndpoint> endpoint_;
  TrafficLog& log_;
  RunRequest& request_;
  ScriptHost& host_;
  Settings& settings_;
  std::map<ScriptSetting, int> others_;  // those that are kept nowhere
  TerminalText err_;
  std::optional<RunBytes> reply_;
};

// One cable and the two port tables with that cable in them.
struct RunWire {
  explicit RunWire(Clock& clock) : backend(std::make_shared<VirtualBackend>(clock)), out(clock), in(clock, out) {}
  ~RunWire() {
    out.CloseAllPorts();
    in.CloseAllPorts();
    backend->Stop();
    in.InAMidiCleanup();
  }
  bool Open() {
    if (!backend->Start()) return false;
    endpoint = backend->CreateEndpoint("Wire");
    const auto outputs = backend->Devices(MidiDirection::Output);
    const auto inputs = backend->Devices(MidiDirection::Input);
    if (outputs.empty() || inputs.empty()) return false;
    in.InAMidiInitialize();
    if (out.MidiOutOpenOnePort({backend, outputs[0]}, 0, false, nullptr) != 0) return false;
    out.SetMaxOutPorts(1);
    if (in.MidiInOpenOnePort({backend, inputs[0]}, 0, false, nullptr) != 0) return false;
    in.SetInPorts(1);
    return in.MidiInInitOnePort(0, false) == 0;
  }

  std::shared_ptr<VirtualBackend> backend;
  MidiOut out;
  MidiIn in;
  std::shared_ptr<VirtualEndpoint> endpoint;
};

void PlayConversation(RunWire& wire, ConversationPlayer& player, std::mutex& mutex, TrafficLog& log) {
  // What arrives between two receives belongs to the next one.
  if (const auto port = wire.in.GetMidiInPort(0)) port->ExpectData(true);
  auto* endpoint = wire.endpoint.get();
  const auto give = [endpoint, &log](const std::vector<Reply>& replies) {
    for (const Reply& reply : replies) {
      log.Line("IN", reply.bytes);
      endpoint->Send(reply.bytes, reply.delayUs);
    }
  };
  wire.endpoint->SetReceiver([&player, &mutex, give](std::span<const std::uint8_t> bytes, std::int64_t) {
    std::lock_guard guard(mutex);
    give(player.OnBytes(bytes));
  });
  std::lock_guard guard(mutex);
  give(player.Start());
}

void PrintOutcome(const RunRequest& request, const MacroOutcome& outcome, TerminalText out) {
  constexpr std::size_t kReceiveResult = 10;
  constexpr const char* kNames[] = {"W ", " X ", " Y ", " Z "};
  out << "RESULT " << outcome.result << "\n";
  for (std::size_t i = 0; i < 4; ++i) out << std::string_view(kNames[i]) << outcome.registers[i];
  out << "\n";
  if (request.start.floatMode) {
    out << "FLOAT ";
    for (std::size_t i = 0; i < 4; ++i)
      out << std::string_view(kNames[i]) << Printf("%g", static_cast<double>(outcome.registerFloats[i]));
    out << "\n";
  }
  out << "V10 " << outcome.variables[kReceiveResult] << "\n";
}

// Why a script has failed; empty: it has not.
std::string FailureOf(const MacroOutcome& outcome) {
  if (!outcome.stop.empty()) return "The script was " + outcome.stop + ".";
  if (outcome.result >= 0) return {};
  const std::string_view text = MidiErrorMsg(outcome.result);
  return "The script ended with " + std::to_string(outcome.result) + (text.empty() ? "." : ": " + std::string(text));
}

// Runs the script as often as it is asked for, on the same image and variables; why the last run failed.
std::string RunOnWire(RunRequest& request, const MacroBuffer& image, ConversationPlayer* player,
                      std::mutex& playerMutex, Settings& settings, TerminalText out, TerminalText err) {
  VirtualClock clock;
  ClockThread here(clock);
  TrafficLog log(out);
  RunWire wire(clock);
  if (!wire.Open()) return "The wire of the run could not be set up.";
  const int monitor =
      wire.out.AddMonitor([&log](int, std::span<const std::uint8_t> message) { log.Line("OUT", message); });
  if (player) PlayConversation(wire, *player, playerMutex, log);
  RunProgram program(clock);
  RunServices services(wire.out, wire.in, wire.endpoint, log, request, program.router, settings, err);
  MacroOutcome outcome;
  std::string failure;
  for (int i = 0; i < request.times && failure.empty(); ++i) {
    TransferContext context;
    outcome =
        RunMacro(services, context, request.synth, request.code, image, request.start, std::move(outcome.variables));
    program.dispatcher.RunQueued();
    wire.out.MidiOutWaitIdle(0, 600'000);
    clock.SleepUs(kReplyDelayUs);
    PrintOutcome(request, outcome, out);
    failure = FailureOf(outcome);
  }
  wire.endpoint->SetReceiver({});
  wire.out.RemoveMonitor(monitor);
  return failure;
}

}  // namespace

std::string RunDetails() {
  return "Prints OUT and IN for the messages, then RESULT, the registers W X Y Z and the variable V10.\n"
         "Time is virtual: waiting costs nothing.  Channels are counted from 0.  The exit status is 1 for every\n"
         "negative result, with a sentence that says why.\n\n"
         "  --edit W,X,Y,Z   the registers, as the control of an editor gives them to its script; without it X is "
         "what\n"
         "                   --x says, Y the SysEx channel and Z the patch number\n"
         "  --ret            RESULT is the value of RET, where the script has one\n"
         "  --float          float mode; FLOAT shows the float registers\n"
         "  --times N        runs it N times on the same image and variables, up to the first failure\n"
         "  --limit SECONDS  what it may compute between two waits, 5 without it\n"
         "  --user-settings  settings that the script reads and changes are those of the program, and are saved;\n"
         "                   without it they begin as the defaults and are forgotten\n\n"
         "  tonalith-cli run request.script --image 'F0 43 00 F7' --channel 2 --reply 'F0 43 01 F7'\n"
         "  tonalith-cli run knob.script --edit 0,64,0,12 --ret --image @voice.syx --show-image\n";
}

int RunRun(CliEnvironment& environment, const std::vector<std::string>& args) {
  RunRequest request;
  std::string error;
  TerminalText err = environment.err;
  if (!ParseRunArguments(args, environment.in, &request, &error)) {
    err.Lines(error);
    if (!error.ends_with('\n')) err << "\n";
    return 1;
  }
  RunBytes memory;
  const MacroBuffer image = PrepareImage(request, memory);
  std::optional<ConversationPlayer> player;
  if (request.conversation) player.emplace(std::move(*request.conversation));
  std::mutex playerMutex;
  Settings own;
  std::optional<Session> session;
  if (request.userSettings) session.emplace(environment);
  std::string failure = RunOnWire(request, image, player ? &*player : nullptr, playerMutex,
                                  session ? session->settings() : own, environment.out, err);
  if (request.showImage) environment.out << "IMAGE " << HexLine(memory) << "\n";
  if (session) {
    if (const Result saved = session->program().SaveConfig(); !saved.ok()) failure = saved.text;
  }
  const std::string verdict = player ? player->Verdict() : std::string();
  for (const std::string& text : {failure, verdict})
    if (!text.empty()) err << text << "\n";
  return failure.empty() && verdict.empty() ? 0 : 1;
}

}  // namespace tonalith
