#include "cli/commands_audition.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "bank/bank_document.h"
#include "cli/bank_files.h"
#include "cli/transfer_command.h"
#include "platform/text.h"
#include "services/audition.h"

namespace tonalith {

namespace {

constexpr std::int64_t kDrainMs = 10'000;

struct AuditionWishes {
  bool prints = false;
  int slot = 0;
};

// Until the last tone has been switched off and has left the port; an interrupt ends it sooner.
void PlayToEnd(Session& session, TransferRig& rig, Audition& audition) {
  const InterruptGuard guard(session.environment());
  for (std::int64_t due = audition.Tick(); due >= 0 && !guard.Interrupted(); due = audition.Tick()) {
    constexpr std::int64_t kSliceMs = 50;
    rig.clock().SleepMs(std::max<std::int64_t>(std::min(due, kSliceMs), 1));
  }
  audition.Stop();
  if (const auto port = rig.midi().out().GetMidiOutPort(0)) port->WaitIdle(kDrainMs, nullptr);
}

void PrintSent(Session& session, const std::string& exchange) {
  std::istringstream lines(exchange);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("OUT ")) session.environment().out << line << "\n";
}

Result PlayPatch(Session& session, const std::string& path, const TransferOptions& options,
                 const AuditionWishes& wishes) {
  std::unique_ptr<ZKBankDoc> bank;
  Result result = OpenBankFile(session, path, &bank);
  if (!result.ok()) return result;
  DataFile& data = *bank->dataFile();
  if (result = CanAudition(data, wishes.slot); !result.ok()) return result;
  ZKDrvList* driver = session.studio().GetDriverWithID(data.synth->driverId);
  TransferCommand command(session, options);
  result = command.Prepare(driver ? driver->instrument : nullptr, false, driver);
  if (!result.ok()) return result;
  session.studio().DrvUpdateDataFile(&data);
  command.rig().RoutePorts(&data);
  if (options.channel > 0) data.synth->midiChannel = static_cast<std::uint8_t>(options.channel - 1);
  Audition audition(command.rig().midi().out(), session.settings());
  result = audition.Play(data, wishes.slot);
  if (!result.ok()) return result;
  PlayToEnd(session, command.rig(), audition);
  if (wishes.prints) {
    PrintSent(session, command.rig().Exchange());
  } else {
    session.environment().out << Latin1ToUtf8(bank->NumberText(wishes.slot)) << "\t"
                              << Latin1ToUtf8(bank->GetPatchName(wishes.slot)) << "\n";
  }
  return command.Finish(TransferOperation::kTransmit);
}

}  // namespace

std::string AuditionForms() {
  return "audition FILE SLOT [OPTIONS]  lets the instrument choose a patch that it holds, and plays the audition "
         "notes\n";
}

std::string AuditionDetails() {
  return "FILE is a data file, raw SysEx or a Standard MIDI File with one bank; SLOT counts from 0.  The patch is "
         "chosen\n"
         "by bank select and program change as its data type says; nothing of FILE is sent.  Then the notes of the\n"
         "preferences are played (one, a chord or a sequence).  A slot that holds nothing is only chosen.  The number\n"
         "and the name of the patch are printed.\n\n"
         "  --device N              device ID, as the instrument shows it\n"
         "  --channel N             MIDI channel, 1 to 16\n"
         "  --out PORT              MIDI OUT port, by name or a part of it that only one has\n"
         "  --virtual               a simulated instrument in virtual time\n"
         "  --print                 the same, and prints what is sent instead: lines OUT hex\n"
         "\n  tonalith-cli audition bank.dat 5 --out UM-ONE\n"
         "  tonalith-cli audition bank.dat 5 --print\n";
}

int RunAudition(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"device", "channel", "out"}, {"virtual", "print"});
  TransferOptions options;
  AuditionWishes wishes;
  Result result = ReadOptions(arguments, &options);
  wishes.prints = arguments.Has("print");
  const int places = int{arguments.Has("virtual")} + int{wishes.prints} + int{arguments.Has("out")};
  if (result.ok() && places > 1) result = Result::Failure("--virtual, --out and --print exclude each other.");
  if (result.ok() && arguments.words().size() != 2)
    return CliFailure(environment.err, "audition", "a file and a slot are needed:", AuditionForms());
  if (!result.ok()) return CliFailure(environment.err, "audition", result.text);
  const auto slot = ParseInteger(arguments.words()[1]);
  if (!slot || *slot < 0 || *slot > 65535)
    return CliFailure(environment.err, "audition", "\"" + arguments.words()[1] + "\" is no slot; slots count from 0.");
  wishes.slot = static_cast<int>(*slot);
  options.isVirtual = arguments.Has("virtual") || wishes.prints;
  if (options.isVirtual) options.virtualDump = "factory";
  Session session(environment);
  session.LoadStudio();
  result = PlayPatch(session, arguments.words()[0], options, wishes);
  return result.ok() ? 0 : CliFailure(environment.err, "audition", result.text);
}

}  // namespace tonalith
