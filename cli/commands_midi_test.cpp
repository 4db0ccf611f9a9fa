#include "cli/commands_midi_test.h"

#include "cli/arguments.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "services/midi_self_test.h"

namespace tonalith {

namespace {

constexpr char kCableName[] = "Test cable";
constexpr std::int64_t kTestLookMs = 50;
constexpr std::int64_t kLargestPattern = 1 << 20;

struct CableFault {
  const char* name;
  bool leadsBack;
  VirtualFaults faults;
};

// What the virtual cable does to the bytes on their way back.
const std::vector<CableFault>& CableFaults() {
  static const std::vector<CableFault> faults = [] {
    std::vector<CableFault> all{{"whole", true, {}},        {"open", false, {}}, {"lost-byte", true, {}},
                                {"corrupt-byte", true, {}}, {"late", true, {}},  {"port-vanishes", true, {}},
                                {"lost-event", true, {}}};
    all[2].faults.loseByte = 1000;
    all[3].faults.corruptByte = 1000;
    all[4].faults.delayUs = 250'000;
    all[5].faults.vanishAfter = 1000;
    all[6].faults.loseEvent = 1000;
    return all;
  }();
  return faults;
}

// A cable that leads what is sent back into the program.
Result PlugLoop(TransferRig& rig, const std::string& wanted, std::shared_ptr<VirtualEndpoint>* end) {
  std::string names;
  for (const CableFault& fault : CableFaults()) {
    names += (names.empty() ? "" : ", ") + std::string(fault.name);
    if (wanted != fault.name) continue;
    VirtualCableOptions options;
    options.bytesPerSecond = kMidiWireRate;
    *end = rig.backend().CreateEndpoint(kCableName, options);
    (*end)->SetFaults(CableDirection::ToProgram, fault.faults);
    if (fault.leadsBack)
      (*end)->SetReceiver([raw = end->get()](std::span<const std::uint8_t> bytes, std::int64_t) { raw->Send(bytes); });
    return Result::Success();
  }
  return Result::Failure("--virtual takes one of " + names + ", not \"" + wanted + "\".");
}

Result ChoosePort(TransferRig& rig, MidiDirection direction, std::string* name) {
  const std::vector<std::string> names = rig.PortNames(direction);
  std::size_t chosen = 0;
  const char* kind = direction == MidiDirection::Input ? "MIDI IN port" : "MIDI OUT port";
  if (Result found = ChooseByName(names, *name, kind, &chosen); !found.ok()) return found;
  *name = names[chosen];
  return Result::Success();
}

// Through the desk, as the window does it.
SelfTestReport Test(CliEnvironment& environment, TransferRig& rig, std::int64_t largest) {
  SelfTestRequest request{rig.midi().out().Slot(0), rig.midi().in().GetMidiInPort(0)};
  std::erase_if(request.sizes, [largest](std::size_t size) { return static_cast<std::int64_t>(size) > largest; });
  if (largest > static_cast<std::int64_t>(request.sizes.empty() ? 0 : request.sizes.back()))
    request.sizes.push_back(static_cast<std::size_t>(largest));
  const auto report = std::make_shared<SelfTestReport>();
  DeskRequest job = SelfTestJob(rig.midi(), request, report);
  const InterruptGuard guard(environment);
  const TransferDesk::Job running = rig.desk().Submit(std::move(job));
  for (bool cancelled = false; !rig.desk().Wait(running, kTestLookMs);) {
    if (cancelled || !guard.Interrupted()) continue;
    cancelled = true;
    rig.desk().Cancel(running);
  }
  if (report->rows.empty()) report->notBegun = running->result().sentence;
  return *report;
}

Result Run(Session& session, const CliArguments& arguments, std::int64_t largest, SelfTestReport* report) {
  const std::optional<std::string> isVirtual = arguments.Option("virtual");
  TransferRig rig(session, isVirtual ? TransferRig::Kind::Virtual : TransferRig::Kind::Real);
  std::shared_ptr<VirtualEndpoint> end;
  std::string out = isVirtual ? kCableName : arguments.Option("out").value_or("");
  std::string in = isVirtual ? kCableName : arguments.Option("in").value_or("");
  Result result;
  if (isVirtual) {
    result = PlugLoop(rig, *isVirtual, &end);
  } else {
    result = ChoosePort(rig, MidiDirection::Output, &out);
    if (result.ok()) result = ChoosePort(rig, MidiDirection::Input, &in);
  }
  if (result.ok()) result = rig.OpenPorts(in, out);
  if (!result.ok()) return result;
  *report = Test(session.environment(), rig, largest);
  if (end) end->SetReceiver({});
  return report->Right() ? Result::Success() : Result::Failure(report->Sentence());
}

}  // namespace

std::string MidiTestForms() {
  return "midi-test --out NAME --in NAME [--largest BYTES]  sends patterns through a cable and compares what comes "
         "back\n"
         "midi-test --virtual CABLE                         the same on a virtual cable\n";
}

std::string MidiTestDetails() {
  return "Connect the output to the input with a cable first: what is sent has to come back.  64 short messages and "
         "SysEx\n"
         "of 6 to 32,768 bytes are sent; --largest makes the longest longer or shorter.  Every byte is counted: a line "
         "for\n"
         "each pattern says how many were sent, came back, were lost and changed, and how late the last one was.\n"
         "CABLE is whole, open (leads nowhere), lost-byte, corrupt-byte, late, port-vanishes or lost-event.\n\n"
         "  tonalith-cli midi-test --out UM-ONE --in UM-ONE\n"
         "  tonalith-cli midi-test --virtual whole\n";
}

int RunMidiTest(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"in", "out", "largest", "virtual"});
  Result result = arguments.state();
  std::int64_t largest = 0;
  if (result.ok()) result = arguments.Number("largest", 4, kLargestPattern, 32'768, &largest);
  const bool named = arguments.Has("in") && arguments.Has("out");
  if (result.ok() && (!arguments.words().empty() || named == arguments.Has("virtual")))
    return CliFailure(environment.err, "midi-test", "an output and an input are needed:", MidiTestForms());
  SelfTestReport report;
  if (result.ok()) {
    Session session(environment);
    result = Run(session, arguments, largest, &report);
  }
  for (const SelfTestRow& row : report.rows) environment.out << row.what << "\t" << SelfTestRowText(row) << "\n";
  if (!result.ok()) return CliFailure(environment.err, "midi-test", result.text);
  environment.out << report.Sentence() << "\n";
  return 0;
}

}  // namespace tonalith
