#include "cli/commands_run.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <deque>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>

#include "cli/commands_data.h"
#include "cli/input_files.h"
#include "data/synth_fields.h"
#include "midi/backends/virtual_backend.h"
#include "midi/midi_input.h"
#include "midi/midi_output.h"
#include "platform/clock.h"
#include "platform/jobs.h"
#include "platform/terminal_text.h"
#include "script/compiler.h"
#include "script/interpreter.h"
#include "script/transfer_engine_services.h"
#include "services/hosts.h"
#include "services/main_window_messages.h"
#include "services/script_router.h"
#include "simulator/conversation.h"

namespace tonalith {

const char* const kRunHelp =
    "run FILE|- [--image HEX|@FILE] [--descriptor FIELD=VALUE]... [--channel C] [--midi-channel C] [--patch P] [--x "
    "N]\n"
    "    [--reply HEX]... [--conversation FILE] [--macro FILE]... [--show-image]\n"
    "                                  run a script in virtual time and show the traffic and the registers\n";

namespace {

using RunBytes = std::vector<std::uint8_t>;
constexpr std::size_t kDefaultImageBytes = 65536;
constexpr std::size_t kMaxRunFile = 64u << 20;
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

// What the command line asks for.
struct RunRequest {
  std::string script;
  RunBytes code;
  std::vector<RunBytes> macros;
  std::optional<RunBytes> image;
  Synth synth{};
  bool fileSizeGiven = false;
  std::int32_t x = 0;
  std::deque<RunBytes> replies;
  std::optional<Conversation> conversation;
  bool showImage = false;
};

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
              RunRequest& request, ScriptHost& host, TerminalText err)
      : MidiScriptServices(midiOut, midiIn),
        endpoint_(std::move(endpoint)),
        log_(log),
        request_(request),
        host_(host),
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
  void MidiOutWaitForAck(int, int, std::span<const std::uint8_t> pattern, int timeoutMs) override {
    MidiScriptServices::MidiOutWaitForAck(0, 0, pattern, timeoutMs);
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
  ScriptHost* Host() override { return &host_; }
  void DisplayMessage(const std::string& text, TransferContext&) override { err_ << PlainSentence(text) << "\n"; }
  void MonitorLine(const std::string& text) override { err_ << PlainSentence(text) << "\n"; }

 private:
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
  TerminalText err_;
  std::optional<RunBytes> reply_;
};

bool ReadWholeInput(const std::string& file, std::istream& in, std::string* text, std::string* error) {
  const Result read = ReadInput(file, in, text, kMaxRunFile);
  if (!read.ok())
    *error = read.code == kFileTooLarge ? "The file " + PlainLine(file) + " is too large for a script." : read.text;
  return read.ok();
}

// Bytecode given as hex pairs: nothing but hex digits and blanks, FF at the end.
std::optional<RunBytes> AsHexCode(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
    digits += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  if (digits.size() < 2 || digits.size() % 2 != 0 || digits.compare(digits.size() - 2, 2, "FF") != 0)
    return std::nullopt;
  RunBytes code;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(digits.data() + i, digits.data() + i + 2, value, 16);
    code.push_back(static_cast<std::uint8_t>(value));
  }
  return code;
}

bool LooksBinary(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0xFF || (byte < 32 && !std::isspace(byte) && byte != 26);
  });
}

bool ReadScript(const std::string& file, std::istream& in, RunBytes* code, std::string* error) {
  std::string text;
  if (!ReadWholeInput(file, in, &text, error)) return false;
  if (LooksBinary(text)) {
    code->assign(text.begin(), text.end());
    return true;
  }
  if (auto hex = AsHexCode(text)) {
    *code = std::move(*hex);
    return true;
  }
  CompileResult compiled = CompileScript(text);
  *code = std::move(compiled.code);
  *error = compiled.report.empty() ? "The script does not compile." : compiled.report;
  return compiled.ok();
}

bool TakeRunNumber(const std::string& option, const std::string& text, std::int64_t low, std::int64_t high,
                   std::int64_t* value, std::string* error) {
  const bool negative = !text.empty() && text[0] == '-';
  const bool hex = text.compare(negative ? 1 : 0, 2, "0x") == 0 || text.compare(negative ? 1 : 0, 2, "0X") == 0;
  const char* first = text.data() + (negative ? 1 : 0) + (hex ? 2 : 0);
  const auto parsed = std::from_chars(first, text.data() + text.size(), *value, hex ? 16 : 10);
  if (negative) *value = -*value;
  if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() && *value >= low && *value <= high)
    return true;
  *error = option + " takes a number from " + std::to_string(low) + " to " + std::to_string(high) + ", not \"" + text +
           "\".";
  return false;
}

bool TakeRunOption(const std::string& option, const std::string& value, std::istream& in, RunRequest* request,
                   std::string* error) {
  std::int64_t number = 0;
  if (option == "--image") {
    RunBytes bytes;
    if (!value.empty() && !ReadBytesOperand(value, in, &bytes, error)) return false;
    request->image = std::move(bytes);
  } else if (option == "--descriptor") {
    if (value.compare(0, 9, "fileSize=") == 0) request->fileSizeGiven = true;
    return SetSynthField(&request->synth, value, error);
  } else if (option == "--channel") {
    if (!TakeRunNumber(option, value, 0, 255, &number, error)) return false;
    request->synth.sysExChannel = static_cast<std::uint8_t>(number);
  } else if (option == "--midi-channel") {
    if (!TakeRunNumber(option, value, 0, 15, &number, error)) return false;
    request->synth.midiChannel = static_cast<std::uint8_t>(number);
  } else if (option == "--patch") {
    if (!TakeRunNumber(option, value, 0, 65535, &number, error)) return false;
    request->synth.patchNumber = static_cast<std::uint16_t>(number);
  } else if (option == "--x") {
    if (!TakeRunNumber(option, value, INT32_MIN, INT32_MAX, &number, error)) return false;
    request->x = static_cast<std::int32_t>(number);
  } else if (option == "--reply") {
    RunBytes bytes;
    if (!ReadBytesOperand(value, in, &bytes, error)) return false;
    request->replies.push_back(std::move(bytes));
  } else if (option == "--macro") {
    return ReadScript(value, in, &request->macros.emplace_back(), error);
  } else if (option == "--conversation") {
    std::string text;
    if (!ReadWholeInput(value, in, &text, error)) return false;
    request->conversation = Conversation::Parse(text, error);
    return request->conversation.has_value();
  } else {
    *error = "There is no option " + option + " here.";
    return false;
  }
  return true;
}

bool ParseRunArguments(const std::vector<std::string>& args, std::istream& in, RunRequest* request,
                       std::string* error) {
  std::string script;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i].compare(0, 2, "--") != 0) {
      if (!script.empty()) {
        *error = "Only one script can be run at a time.";
        return false;
      }
      script = args[i];
      continue;
    }
    if (args[i] == "--show-image") {
      request->showImage = true;
      continue;
    }
    const std::size_t equals = args[i].find('=');
    const std::string option = args[i].substr(0, equals);
    std::string value;
    if (equals != std::string::npos) {
      value = args[i].substr(equals + 1);
    } else if (i + 1 < args.size()) {
      value = args[++i];
    } else {
      *error = option + " needs a value.";
      return false;
    }
    if (!TakeRunOption(option, value, in, request, error)) return false;
  }
  if (script.empty()) {
    *error = std::string("Use it like this:\n") + kRunHelp;
    return false;
  }
  if (request->conversation && !request->replies.empty()) {
    *error = "Replies come either from --reply or from --conversation.";
    return false;
  }
  return ReadScript(script, in, &request->code, error);
}

// The memory of the image and the size the script is told; completes what the descriptor leaves out.
MacroBuffer PrepareImage(RunRequest& request, RunBytes& memory) {
  std::size_t told = request.fileSizeGiven ? request.synth.fileSize : kDefaultImageBytes;
  if (request.image) {
    memory = *request.image;
    if (!request.fileSizeGiven) told = memory.size();
  }
  told = std::min<std::size_t>(told, kMaxRunFile);
  memory.resize(std::max(memory.size(), told));
  CompleteSynth(&request.synth, static_cast<std::uint32_t>(told));
  return MacroBuffer(memory, told);
}

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

}  // namespace

int RunRun(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  RunRequest request;
  std::string error;
  if (!ParseRunArguments(args, in, &request, &error)) {
    err.Lines(error);
    if (!error.ends_with('\n')) err << "\n";
    return 1;
  }
  RunBytes memory;
  const MacroBuffer image = PrepareImage(request, memory);
  std::optional<ConversationPlayer> player;
  if (request.conversation) player.emplace(std::move(*request.conversation));
  std::mutex playerMutex;
  MacroOutcome outcome;
  {
    VirtualClock clock;
    ClockThread here(clock);
    TrafficLog log(out);
    RunWire wire(clock);
    if (!wire.Open()) {
      err << "The wire of the run could not be set up.\n";
      return 1;
    }
    const int monitor =
        wire.out.AddMonitor([&log](int, std::span<const std::uint8_t> message) { log.Line("OUT", message); });
    if (player) PlayConversation(wire, *player, playerMutex, log);
    RunProgram program(clock);
    RunServices services(wire.out, wire.in, wire.endpoint, log, request, program.router, err);
    TransferContext context;
    outcome = RunTransferMacro(services, context, request.synth, request.code, image, request.x, 0);
    program.dispatcher.RunQueued();
    wire.out.MidiOutWaitIdle(0, 600'000);
    clock.SleepUs(kReplyDelayUs);
    wire.endpoint->SetReceiver({});
    wire.out.RemoveMonitor(monitor);
  }
  constexpr std::size_t kReceiveResult = 10;
  out << "RESULT " << outcome.result << "\n";
  out << "W " << outcome.registers[0] << " X " << outcome.registers[1] << " Y " << outcome.registers[2] << " Z "
      << outcome.registers[3] << "\n";
  out << "V10 " << outcome.variables[kReceiveResult] << "\n";
  if (request.showImage) out << "IMAGE " << HexLine(memory) << "\n";
  if (player) {
    const std::string verdict = player->Verdict();
    if (!verdict.empty()) {
      err << verdict << "\n";
      return 1;
    }
  }
  return 0;
}

}  // namespace tonalith
