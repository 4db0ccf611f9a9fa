#include "cli/set_transfers.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cli/commands_transfer.h"
#include "cli/set_files.h"
#include "cli/set_links.h"
#include "cli/transfer_command.h"
#include "platform/text.h"
#include "script/started_at_panel.h"
#include "store/sets/set_document.h"
#include "store/sets/set_transfer.h"

namespace tonalith {

namespace {

// The instrument that all of the components are of; null: no module knows them.
Result OneInstrument(Session& session, const ZKGrpDoc& set, const std::vector<int>& components, ZKDrvList** instrument,
                     ZKDrvList** driver) {
  for (const int component : components) {
    ZKDrvList* own = session.studio().GetDriverWithID(set.GetDataFile(component)->synth->driverId);
    if (component == components.front()) {
      *driver = own;
      *instrument = own ? own->instrument : nullptr;
    } else if ((own ? own->instrument : nullptr) != *instrument) {
      return Result::Failure("The Set holds data of several instruments; choose those of one with --component.");
    }
  }
  return Result::Success();
}

// What the command line asks for, and the Set.
struct SetJob {
  ZKGrpDoc set;
  TransferOptions options;
  std::vector<int> chosen;
  ZKDrvList* instrument = nullptr;
  ZKDrvList* driver = nullptr;
};

Result ReadSetJob(Session& session, const CliArguments& arguments, SetJob* job) {
  if (Result result = ReadOptions(arguments, &job->options); !result.ok()) return result;
  if (Result result = OpenSet(session, arguments.words()[1], &job->set); !result.ok()) return result;
  for (const std::string& text : arguments.Options("component")) {
    int component = 0;
    if (Result result = ComponentOf(job->set, text, &component); !result.ok()) return result;
    if (std::find(job->chosen.begin(), job->chosen.end(), component) == job->chosen.end())
      job->chosen.push_back(component);
  }
  return Result::Success();
}

// Everything was meant: what stays out is a note.  Chosen components that stay out are a failure.
Result CheckPlan(Session& session, const SetJob& job, const SetPlan& plan, const char* nothing) {
  std::string reasons;
  for (const SetPlan::LeftOut& left : plan.leftOut) {
    if (!job.chosen.empty()) return Result::Failure(left.reason);
    session.environment().err << "Note: " << left.reason << "\n";
  }
  if (!job.chosen.empty() && plan.skipped > 0)
    return Result::Failure("A component that was chosen is inactive; \"set activate\" switches it on.");
  return plan.components.empty() ? Result::Failure(nothing) : Result::Success();
}

void PrintOutcomes(Session& session, const ZKGrpDoc& set, const SetReport& report, const char* done) {
  for (const SetReport::Outcome& outcome : report.outcomes) {
    TerminalText out = session.environment().out;
    out << outcome.component << "\t" << set.TypeName(outcome.component) << "\t";
    if (outcome.whole)
      out << std::string_view(done) << "\n";
    else
      out << outcome.result.sentence << "\n";
  }
}

std::string Counts(TransferCommand& command, const SetReport& report, const char* done) {
  const bool cancelled = command.rig().LastResult().cause == TransferCause::kCancelled;
  return (cancelled ? "Cancelled: " : "") + std::to_string(report.Whole()) + " of " + std::to_string(report.planned) +
         " components " + done + ".";
}

Result Filled(Session& session, SetJob& job, TransferCommand& command, const SetPlan& plan, const GetOptions& get) {
  for (const int component : plan.components) {
    DataFile* data = job.set.GetDataFile(component);
    session.studio().DrvUpdateDataFile(data);
    session.NoteScripts(*data);
    command.rig().RoutePorts(data);
    if (StartedAtPanel(*data)) session.environment().err << kStartTheDump << "\n";
  }
  const auto report = std::make_shared<SetReport>();
  DeskRequest request = MakeSetGet(job.set, plan, get, report);
  command.rig().SetProgressHead([report] { return SetProgressText(*report) + ", "; });
  job.set.BeginReceive(plan.components);
  Result result = command.Run(std::move(request));
  const bool changed = job.set.EndReceive();
  PrintOutcomes(session, job.set, *report, "got");
  if (!result.ok()) result.text = Counts(command, *report, "came whole");
  result = command.Outcome(result, command.Finish(TransferOperation::kReceive));
  if (!changed) return result;
  if (const Result saved = job.set.Save(); !saved.ok())
    return Result::Failure(saved.text + (result.ok() ? "" : "  " + result.text));
  return result;
}

}  // namespace

std::vector<std::string> WithVirtualDump(std::vector<std::string> args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--") break;
    if (args[i] == "--virtual" && (i + 1 == args.size() || args[i + 1].starts_with("--")))
      args.insert(args.begin() + static_cast<std::ptrdiff_t>(i) + 1, "factory");
  }
  return args;
}

Result GetSet(Session& session, const CliArguments& arguments) {
  session.LoadStudio();
  SetJob job;
  if (Result result = ReadSetJob(session, arguments, &job); !result.ok()) return result;
  const SetPlan plan = PlanSetGet(job.set, job.chosen);
  Result result = CheckPlan(session, job, plan, "The Set has no components that could be got.");
  if (result.ok()) result = OneInstrument(session, job.set, plan.components, &job.instrument, &job.driver);
  if (!result.ok()) return result;
  TransferCommand command(session, job.options);
  result = command.Prepare(job.instrument, true, job.driver);
  GetOptions get;
  get.keepDamaged = arguments.Has("any-checksum");
  get.twice = arguments.Has("twice");
  return result.ok() ? Filled(session, job, command, plan, get) : result;
}

Result SendSet(Session& session, const CliArguments& arguments) {
  session.LoadStudio();
  SetJob job;
  if (Result result = ReadSetJob(session, arguments, &job); !result.ok()) return result;
  SendWishes wishes;
  Result result = ReadSendWishes(arguments, job.options, &wishes);
  const PatchLinks links = LinksOfSet(session, job.set);
  const SetPlan plan = PlanSetSend(job.set, job.chosen, [&links](int component) { return links.Rank(component); });
  if (result.ok()) result = CheckPlan(session, job, plan, "The Set holds nothing that could be sent.");
  if (result.ok()) result = OneInstrument(session, job.set, plan.components, &job.instrument, &job.driver);
  if (!result.ok()) return result;
  TransferCommand command(session, job.options);
  result = command.Prepare(job.instrument, wishes.keep || wishes.verify, job.driver);
  std::vector<SetPiece> pieces;
  for (const int component : plan.components) {
    DataFilePtr data;
    if (result.ok()) result = job.set.TakeData(component, &data);
    SetPiece piece;
    if (result.ok()) result = PrepareToSend(session, command, wishes, data.get(), &piece.wishes);
    if (!result.ok()) return result;
    piece.component = component;
    piece.data = std::shared_ptr<DataFile>(data.release(), DataFileDeleter());
    pieces.push_back(std::move(piece));
  }
  const auto report = std::make_shared<SetReport>();
  InstrumentHistory history = HistoryOf(session);
  command.rig().SetProgressHead([report] { return SetProgressText(*report) + ", "; });
  result = command.Run(MakeSetSend(std::move(pieces), history, report));
  PrintOutcomes(session, job.set, *report, "sent");
  if (!result.ok()) result.text = Counts(command, *report, "were sent");
  return command.Outcome(result, command.Finish(TransferOperation::kTransmit));
}

}  // namespace tonalith
