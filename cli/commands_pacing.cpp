#include "cli/commands_pacing.h"

#include "cli/transfer_command.h"
#include "services/pacing_calibration.h"

namespace tonalith {

namespace {

constexpr std::int64_t kPacingLookMs = 50;

Result Calibrate(Session& session, const std::vector<std::string>& words, const TransferOptions& options) {
  ZKDrvList* instrument = nullptr;
  ZKDrvList* driver = nullptr;
  Result result = session.FindInstrument(words[1], &instrument);
  if (result.ok()) result = session.FindType(instrument, words[2], &driver);
  if (!result.ok()) return result;
  TransferCommand command(session, options);
  if (result = command.Prepare(instrument, true, driver); !result.ok()) return result;
  const DataFilePtr type = session.studio().GetNewDataFile(driver);
  if (!type) return Result::Failure("There is not enough memory.");
  command.rig().RoutePorts(type.get());
  PacingCalibration::Options how;
  how.keepIn = session.paths().MainGetDataPath();
  how.tell = [err = session.environment().err](const std::string& line) {
    err << line << "\n";
    err.Flush();
  };
  PacingCalibration calibration(command.rig().desk(), command.rig().midi(), command.rig().pacing(), std::move(how));
  bool over = false;
  const InterruptGuard guard(session.environment());
  const TransferDesk::Job job = calibration.Begin(*type, [&over](const PacingCalibration::Report&) { over = true; });
  bool cancelled = false;
  while (!over) {
    if (job->Ended()) command.rig().RunQueued();
    if (!cancelled && guard.Interrupted()) {
      cancelled = true;
      command.rig().desk().Cancel(job);
    }
    command.rig().desk().Wait(job, kPacingLookMs);
  }
  const Result end = command.Finish(TransferOperation::kTransmit);
  const PacingCalibration::Report& report = calibration.report();
  if (!report.ok) return Result::Failure(report.sentence);
  session.environment().out << report.sentence << "\n";
  return end;
}

int List(CliEnvironment& environment, const PacingProfile& profile) {
  for (const PacingProfile::Entry& entry : profile.All())
    environment.out << entry.instrument << "\t" << entry.port << "\t" << PacingText(entry.pacing) << "\n";
  return 0;
}

Result Remove(const PacingProfile& profile, const std::string& wanted) {
  const std::vector<PacingProfile::Entry> entries = profile.All();
  std::vector<std::string> names;
  for (const PacingProfile::Entry& entry : entries) names.push_back(entry.instrument + " on " + entry.port);
  std::size_t chosen = 0;
  if (Result found = ChooseByName(names, wanted, "instrument with a pace of its own", &chosen); !found.ok())
    return found;
  return profile.Remove(entries[chosen].instrument, entries[chosen].port);
}

}  // namespace

std::string PacingForms() {
  return "pacing calibrate INSTRUMENT TYPE [OPTIONS]  finds out how fast the instrument takes data\n"
         "pacing list                                 what was found\n"
         "pacing remove INSTRUMENT                    forgets it\n";
}

std::string PacingDetails() {
  return std::string(
             "\"calibrate\" gets the data of that type, keeps it as a file meanwhile, sends it with other "
             "names at\n"
             "different speeds, gets it back and compares; at the end, also of one that is interrupted, the instrument "
             "is\n"
             "given back what it held.  What is found holds for everything that is sent to the instrument on that "
             "port\n"
             "from then on.  Choose a type with names, the smaller the quicker.\n\n") +
         kTransferOptions + "\n  tonalith-cli pacing calibrate matrix \"patch bank 0\"\n";
}

int RunPacing(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, TransferOptionNames());
  const std::vector<std::string>& words = arguments.words();
  TransferOptions options;
  Result result = ReadOptions(arguments, &options);
  const std::string what = words.empty() ? std::string() : words[0];
  const bool calibrates = what == "calibrate" && words.size() == 3;
  if (result.ok() && !calibrates && !(what == "list" && words.size() == 1) && !(what == "remove" && words.size() == 2))
    return CliFailure(environment.err, "pacing", "it is called in one of these ways:", PacingForms());
  if (!result.ok()) return CliFailure(environment.err, "pacing", result.text);
  Session session(environment);
  const PacingProfile profile([&session] { return session.paths().MidiPortsProfile(); });
  if (what == "list") return List(environment, profile);
  if (calibrates) {
    session.LoadStudio();
    result = Calibrate(session, words, options);
  } else {
    result = Remove(profile, words[1]);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "pacing", result.text);
}

}  // namespace tonalith
