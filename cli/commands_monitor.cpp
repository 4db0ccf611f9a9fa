#include "cli/commands_monitor.h"

#include <atomic>
#include <deque>
#include <istream>
#include <mutex>
#include <optional>
#include <utility>

#include "cli/arguments.h"
#include "cli/commands_data.h"
#include "cli/commands_ports.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "midi/port_report.h"
#include "midi/sysex_assembler.h"
#include "platform/prompts.h"
#include "studio/studio_document.h"
#include "tools/monitor_lines.h"
#include "tools/sysex_words.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLiveLookMs = 50;

// Prints each message of a stream as the monitor shows it.
class LinePrinter final : public SysExAssembler::Listener {
 public:
  LinePrinter(SysExWords& words, TerminalText out) : words_(words), out_(out) {}

  void Short(std::span<const std::uint8_t> message) override { out_ << MonitorText(message) << "\n"; }
  void SysExBegin() override { sysex_.clear(); }
  void SysExBytes(std::span<const std::uint8_t> bytes) override {
    sysex_.insert(sysex_.end(), bytes.begin(), bytes.end());
  }
  void SysExEnd(bool complete) override {
    out_ << MonitorText(sysex_);
    if (const std::string words = words_.Words(sysex_); !words.empty()) out_ << "\t" << words;
    out_ << "\n";
    if (!complete) unfinished_ = true;
    sysex_.clear();
  }
  void Stray(std::span<const std::uint8_t> bytes) override { CountStray(bytes.size()); }
  void CountStray(std::size_t count) { stray_ += count; }

  // What was wrong with the stream; empty when nothing was.
  std::string Problem() const {
    if (unfinished_) return "a SysEx message has no end (F7).";
    if (stray_) return std::to_string(stray_) + " bytes belong to no message.";
    return {};
  }

 private:
  SysExWords& words_;
  TerminalText out_;
  std::vector<std::uint8_t> sysex_;
  std::size_t stray_ = 0;
  bool unfinished_ = false;
};

// The words of every installed instrument, whatever the user's studio holds.
struct InstalledWords {
  explicit InstalledWords(Session& session) {
    session.InstallModules();
    studio.emplace(StudioPaths{session.instruments(), {}, {}, {}}, prompts);
    studio->LoadStudio();
    words.emplace(&*studio);
  }
  ScriptedPrompts prompts{{}};
  std::optional<ZKStudioDoc> studio;
  std::optional<SysExWords> words;
};

int ShowBytes(CliEnvironment& environment, const std::string& operand) {
  std::vector<std::uint8_t> bytes;
  std::string problem;
  if (ReadBytesOperand(operand, environment.in, &bytes, &problem) && bytes.empty()) problem = "no bytes.";
  if (!problem.empty()) return CliFailure(environment.err, "monitor", problem);
  Session session(environment);
  InstalledWords installed(session);
  LinePrinter printer(*installed.words, environment.out);
  SysExAssembler assembler;
  assembler.Feed(bytes, printer);
  if (assembler.open()) printer.SysExEnd(false);
  printer.CountStray(assembler.pending());
  problem = printer.Problem();
  if (problem.empty()) return 0;
  return CliFailure(environment.err, "monitor", problem);
}

// What came in, on its way from the MIDI threads to the terminal.
class Arrivals {
 public:
  struct Arrival {
    int port = 0;
    std::vector<std::uint8_t> message;
  };

  explicit Arrivals(MidiIn& in) : in_(in) {
    monitor_ = in.AddMidiInMonitor([this](int port, std::span<const std::uint8_t> message) {
      const std::lock_guard lock(mutex_);
      waitingBytes_ += message.size();
      if (waitingBytes_ > kMostWaiting) {
        waitingBytes_ -= message.size();
        ++unshown_;
      } else {
        waiting_.push_back({port, {message.begin(), message.end()}});
      }
    });
  }
  ~Arrivals() { in_.RemoveMidiInMonitor(monitor_); }
  Arrivals(const Arrivals&) = delete;
  Arrivals& operator=(const Arrivals&) = delete;
  std::deque<Arrival> Take() {
    const std::lock_guard lock(mutex_);
    waitingBytes_ = 0;
    return std::exchange(waiting_, {});
  }
  std::uint64_t unshown() const {
    const std::lock_guard lock(mutex_);
    return unshown_;
  }

 private:
  static constexpr std::size_t kMostWaiting = 64u << 20;

  MidiIn& in_;
  int monitor_ = 0;
  mutable std::mutex mutex_;
  std::deque<Arrival> waiting_;
  std::size_t waitingBytes_ = 0;
  std::uint64_t unshown_ = 0;
};

Result OpenInputs(TransferRig& rig, const std::string& wanted) {
  PortMap map;
  map.SetOpenAll(wanted.empty());
  if (!wanted.empty()) {
    const std::vector<std::string> names = rig.PortNames(MidiDirection::Input);
    std::size_t chosen = 0;
    if (Result found = ChooseByName(names, wanted, "MIDI IN port", &chosen); !found.ok()) return found;
    map.AddPortName(names[chosen]);
  }
  rig.midi().SetMidiInPortMap(map);
  if (rig.midi().MidiPortInOpenPortsFromMap() > 0) return Result::Success();
  return Result::Failure(wanted.empty() ? "There is no MIDI IN port."
                                        : "The MIDI IN port could not be opened; another program may be using it.");
}

// Until the time is over or an interrupt comes.
int ShowLive(CliEnvironment& environment, const std::string& port, std::int64_t seconds) {
  Session session(environment);
  InstalledWords installed(session);
  TransferRig rig(session, TransferRig::Kind::Real);
  Arrivals arrivals(rig.midi().in());
  if (const Result opened = OpenInputs(rig, port); !opened.ok())
    return CliFailure(environment.err, "monitor", opened.text);
  // Ports that go and come back, with their MIDI system perhaps.
  std::atomic<bool> changed{false};
  const int listener = rig.midi().AddPortChangeListener([&changed] { changed.store(true); });
  rig.midi().CreatePortMonitorThread();
  const InterruptGuard guard(environment);
  const std::int64_t end = seconds > 0 ? rig.clock().NowUs() + seconds * 1'000'000 : kNever;
  for (bool over = false; !over;) {
    over = guard.Interrupted() || rig.clock().NowUs() >= end;
    if (!over) rig.clock().SleepMs(kLiveLookMs, &environment.interrupt);
    if (changed.exchange(false)) rig.midi().MidiInPortsChanged();
    for (const Arrivals::Arrival& arrival : arrivals.Take()) {
      environment.out << rig.midi().in().INGETPORTNAME(arrival.port) << "\t" << MonitorText(arrival.message);
      if (const std::string said = installed.words->Words(arrival.message); !said.empty())
        environment.out << "\t" << said;
      environment.out << "\n";
    }
    environment.out.Flush();
    if (!environment.out.Takes()) break;
  }
  rig.midi().StopPortMonitorThread();
  rig.midi().RemovePortChangeListener(listener);
  PrintPortReport(environment.err, rig.midi());
  std::uint64_t lost = 0;
  for (const PortReport& report : ReportPorts(rig.midi())) lost += report.lost;
  if (arrivals.unshown() > 0)
    return CliFailure(environment.err, "monitor",
                      std::to_string(arrivals.unshown()) + " messages came faster than they could be shown.");
  if (lost == 0) return 0;
  return CliFailure(environment.err, "monitor", "messages were lost on their way in.");
}

}  // namespace

std::string MonitorForms() {
  return "monitor HEX|@FILE|-                       how the MIDI monitor shows messages, a line each\n"
         "monitor --live [--in NAME] [--seconds N]  the messages that come in, until an interrupt\n";
}

std::string MonitorDetails() {
  return "The bytes, what the message is, and behind a tab what a SysEx message is in the words of the installed\n"
         "instruments: instrument, data type, number and name of the patch, checksum.\n\n"
         "--live listens to one MIDI IN port (NAME or a part of it) or to all, and puts the name of the port in front "
         "of\n"
         "each line.  At the end it writes what happened on each port to standard error: bytes, when it was last "
         "heard\n"
         "(active sensing counts), what was lost, how often the port was connected again and its MIDI system late.\n\n"
         "  tonalith-cli monitor \"90 3C 40\"\n"
         "  tonalith-cli monitor @rom1a.syx\n"
         "  tonalith-cli monitor --live --seconds 10\n";
}

int RunMonitor(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"in", "seconds"}, {"live"});
  Result result = arguments.state();
  std::int64_t seconds = 0;
  if (result.ok()) result = arguments.Number("seconds", 1, 86'400, 0, &seconds);
  const bool live = arguments.Has("live");
  std::string operand;
  for (const std::string& word : arguments.words()) operand += (operand.empty() ? "" : " ") + word;
  if (result.ok() && live && !operand.empty()) result = Result::Failure("--live shows no bytes of its own.");
  if (result.ok() && !live && (arguments.Has("in") || arguments.Has("seconds")))
    result = Result::Failure("--in and --seconds belong to --live.");
  if (result.ok() && !live && operand.empty()) result = Result::Failure("bytes are needed.");
  if (!result.ok()) return CliFailure(environment.err, "monitor", result.text);
  return live ? ShowLive(environment, arguments.Option("in").value_or(""), seconds) : ShowBytes(environment, operand);
}

}  // namespace tonalith
