#include "cli/commands_autosense.h"

#include <algorithm>
#include <filesystem>

#include "cli/arguments.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "studio/auto_configuration.h"
#include "studio/device_ids.h"
#include "studio/open_studio_ports.h"

namespace tonalith {

namespace {

constexpr char kCommand[] = "studio autosense";
constexpr std::int64_t kMostPairs = 64;
constexpr std::int64_t kLookMs = 50;

struct Options {
  bool isVirtual = false, live = false, absent = false, verbose = false;
  std::int64_t pairs = 1, at = 1, answerOn = 0, device = -1;
  std::string fault;
  std::vector<std::string> also;
};

Result ReadOptions(const CliArguments& args, Options* options) {
  Result result = args.state();
  options->isVirtual = args.Has("virtual");
  options->live = args.Has("live");
  options->absent = args.Has("absent");
  options->verbose = args.Has("verbose");
  options->fault = args.Option("fault").value_or("");
  options->also = args.Options("also");
  if (result.ok()) result = args.Number("pairs", 1, kMostPairs, 1, &options->pairs);
  if (result.ok()) result = args.Number("at", 1, kMostPairs, 1, &options->at);
  if (result.ok()) result = args.Number("answer-on", 1, kMostPairs, 0, &options->answerOn);
  if (result.ok()) result = args.Number("device", 0, 128, -1, &options->device);
  if (!result.ok()) return result;
  options->pairs = std::max({options->pairs, options->at, options->answerOn});
  const bool cables = args.Has("pairs") || args.Has("at") || args.Has("answer-on") || args.Has("device") ||
                      args.Has("fault") || args.Has("also") || options->live || options->absent;
  if (cables && !options->isVirtual) return Result::Failure("options of simulated cables belong to --virtual.");
  return Result::Success();
}

// "KEY@PAIR" puts another simulated instrument on a pair; without a pair on the next one that is free.
Result ReadAlso(const std::string& text, std::string* key, std::int64_t* pair) {
  const std::size_t at = text.rfind('@');
  *key = text.substr(0, at);
  *pair = 0;
  if (at == std::string::npos) return Result::Success();
  const auto number = ParseInteger(text.substr(at + 1));
  if (!number || *number < 1 || *number > kMostPairs)
    return Result::Failure("--also takes an instrument and a pair, KEY@2, not \"" + text + "\".");
  *pair = *number;
  return Result::Success();
}

// One search, from plugging in to what is printed.
class AutosenseCommand {
 public:
  AutosenseCommand(Session& session, const Options& options)
      : session_(session),
        options_(options),
        rig_(session, !options.isVirtual ? TransferRig::Kind::Real
                      : options.live     ? TransferRig::Kind::VirtualLive
                                         : TransferRig::Kind::Virtual),
        ports_(rig_.midi()) {
    session_.studio().SetPorts(&ports_);
  }
  ~AutosenseCommand() { session_.studio().SetPorts(nullptr); }

  Result Run(ZKDrvList* instrument) {
    Result result = options_.isVirtual ? PlugIn(*instrument) : Result::Success();
    if (!result.ok()) return result;
    rig_.OpenAllPorts();
    const std::string missing = AutoConfigMissingPorts(rig_.midi().in().InPorts(), rig_.midi().out().MaxOutPorts());
    if (!missing.empty()) return Result::Failure(missing.substr(0, missing.find('\n')));
    AutoConfigTask task;
    std::string title;
    result = PrepareAutoConfig(session_.studio(), instrument, &task, &title);
    if (!result.ok()) return Result::Failure(ReplaceAll(result.text, "\n", " "));
    const AutoConfigResult found = Search(std::move(task));
    result = ApplyAutoConfig(session_.studio(), instrument, found);
    if (result.ok() && found.outcome == AutoConfigOutcome::Found && session_.studio().DrvSaveSetup(0) != 0)
      result = Result::Failure("The studio could not be saved.");
    Print(found, *instrument);
    if (!result.ok()) return result;
    return found.outcome == AutoConfigOutcome::Found ? Result::Success() : Result::Failure("");
  }

 private:
  Result PlugIn(const ZKDrvList& instrument) {
    std::vector<std::unique_ptr<SimulatedInstrument>> stands(static_cast<std::size_t>(options_.pairs));
    if (!options_.absent) {
      std::unique_ptr<SimulatedInstrument> own;
      if (Result made = Make(instrument.name, &own); !made.ok()) return made;
      if (!options_.fault.empty()) {
        std::string problem;
        const auto plan = FaultPlan::Parse(options_.fault, &problem);
        if (!plan) return Result::Failure(problem);
        own->SetFaults(*plan);
      }
      if (options_.device >= 0) {
        const int kept = KeptDeviceId(DeviceIdSynth(instrument), static_cast<int>(options_.device));
        const int device = kept - own->description().deviceBase;
        if (device < 0)
          return Result::Failure(
              Printf("the %s has no device ID %d.", instrument.name.c_str(), static_cast<int>(options_.device)));
        own->SetDevice(device);
      }
      stands[static_cast<std::size_t>(options_.at - 1)] = std::move(own);
    }
    for (const std::string& text : options_.also)
      if (Result placed = PlaceAlso(text, &stands); !placed.ok()) return placed;
    for (std::size_t i = 0; i < stands.size(); ++i) {
      const std::string port = Printf("Virtual %zu", i + 1);
      if (stands[i])
        rig_.cables().Attach(std::move(stands[i]), port);
      else
        rig_.cables().AttachSilent(port);
    }
    if (options_.answerOn > 0)
      rig_.cables().AnswerOn(static_cast<std::size_t>(options_.at - 1),
                             static_cast<std::size_t>(options_.answerOn - 1));
    return Result::Success();
  }

  Result PlaceAlso(const std::string& text, std::vector<std::unique_ptr<SimulatedInstrument>>* stands) {
    std::string key;
    std::int64_t pair = 0;
    if (Result read = ReadAlso(text, &key, &pair); !read.ok()) return read;
    std::unique_ptr<SimulatedInstrument> other;
    if (Result made = Make(key, &other); !made.ok()) return made;
    std::size_t place = static_cast<std::size_t>(std::max<std::int64_t>(pair, 1)) - 1;
    const auto taken = [&] { return place < stands->size() && (*stands)[place]; };
    while (pair == 0 && taken()) ++place;
    if (taken()) return Result::Failure(Printf("pair %zu is taken already.", place + 1));
    if (place >= stands->size()) stands->resize(place + 1);
    (*stands)[place] = std::move(other);
    return Result::Success();
  }

  // By key or by name.
  static Result Make(const std::string& name, std::unique_ptr<SimulatedInstrument>* made) {
    std::string problem;
    *made = SimulatedInstrument::CreateFor(name, "", &problem);
    return *made ? Result::Success() : Result::Failure(problem);
  }

  AutoConfigResult Search(AutoConfigTask task) {
    const InterruptGuard guard(session_.environment());
    auto control = std::make_shared<AutoConfigControl>();
    std::vector<std::string> lines;
    const std::int64_t began = rig_.clock().NowUs();
    const auto trace = [&](const std::string& line) {
      lines.push_back(Printf("%8.3f  ", static_cast<double>(rig_.clock().NowUs() - began) / 1e6) + line);
    };
    AutoConfigResult result;
    std::atomic<bool> over{false};
    WorkerThread worker(rig_.clock(), [&] {
      AutoConfigSearch search({rig_.midi().out(), rig_.midi().in(), &rig_.transfers()}, std::move(task), control, {},
                              options_.verbose ? AutoConfigTrace(trace) : AutoConfigTrace());
      result = PerformAutoConfig(search);
      over = true;
    });
    while (!over) {
      rig_.clock().SleepMs(kLookMs);
      if (guard.Interrupted()) control->Cancel(AutoConfigCancel::This);
    }
    worker.Join();
    for (const std::string& line : lines) session_.environment().out << line << "\n";
    seconds_ = static_cast<double>(rig_.clock().NowUs() - began) / 1e6;
    return result;
  }

  void Print(const AutoConfigResult& result, const ZKDrvList& instrument) {
    TerminalText out = session_.environment().out;
    out.Lines(AutoConfigResultText(result)) << "\n";
    if (result.outcome == AutoConfigOutcome::Found)
      out << "Device ID: " << ShownDeviceId(DeviceIdSynth(instrument), instrument.sysExChannel)
          << "\nMIDI channel: " << static_cast<int>(instrument.midiChannel) + 1 << "\n";
    if (!result.answers.empty()) out << "\nWhat answered:\n";
    for (const AutoConfigAnswer& answer : result.answers)
      out << "  " << answer.Text() << (answer.matched ? OwnText(" (this instrument)") : OwnText("")) << "\n";
    if (options_.verbose) out << "\n" << Printf("%d requests in %.1f seconds.", result.requests, seconds_) << "\n";
  }

  Session& session_;
  const Options& options_;
  TransferRig rig_;
  OpenStudioPorts ports_;
  double seconds_ = 0;
};

}  // namespace

std::string StudioAutosenseForms() {
  return "studio autosense INSTRUMENT [OPTIONS]  finds the ports and the device ID of an instrument\n";
}

std::string StudioAutosenseDetails() {
  return "Asks on every MIDI port and prints what was found, or who else answered; what was found is kept in the\n"
         "studio.  The exit status is 1 when the instrument was not found.\n\n"
         "  --verbose               every message that was sent and heard, with its time in seconds\n"
         "instead of real ports, in virtual time:\n"
         "  --virtual               the simulated instrument of that name on virtual cables\n"
         "  --pairs N               so many pairs of ports, \"Virtual 1\", \"Virtual 2\" ...; nobody is on the others\n"
         "  --at N                  the pair it is on, from 1\n"
         "  --answer-on N           its answers come in on this pair\n"
         "  --device N              device ID set on its panel, as it shows it\n"
         "  --also KEY[@N]          another simulated instrument, by key or name, and its pair; may be repeated\n"
         "  --absent                the instrument itself is not there\n"
         "  --fault PLAN            what goes wrong, for example late-reply:delay=800 (docs/simulator.md)\n"
         "  --live                  in real time\n"
         "\n  tonalith-cli studio autosense jv-1080 --virtual --pairs 8 --at 5\n"
         "  tonalith-cli studio autosense m1 --virtual --pairs 3 --fault other-model:reply=0 --verbose\n";
}

int RunStudioAutosense(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"pairs", "at", "answer-on", "device", "fault", "also"},
                               {"virtual", "live", "absent", "verbose"});
  Options options;
  Result result = ReadOptions(arguments, &options);
  if (result.ok() && arguments.words().size() != 1)
    return CliFailure(environment.err, kCommand, "one instrument is needed:", StudioAutosenseForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    ZKDrvList* instrument = nullptr;
    result = session.FindInstrument(arguments.words()[0], &instrument);
    if (result.ok()) result = AutosenseCommand(session, options).Run(instrument);
  }
  if (result.ok()) return 0;
  return result.text.empty() ? 1 : CliFailure(environment.err, kCommand, result.text);
}

}  // namespace tonalith
