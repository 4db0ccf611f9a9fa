#include "cli/commands_repair.h"

#include "cli/arguments.h"
#include "cli/bank_files.h"
#include "cli/session.h"
#include "tools/dump_knowledge.h"
#include "tools/dump_repair.h"

namespace tonalith {

namespace {

Result Repair(Session& session, const std::string& file, const std::string& out) {
  if (Result result = CheckBankOut(file, out); !result.ok()) return result;
  FileBytes bytes;
  if (Result read = ReadCliFile(session.environment(), file, &bytes); !read.ok()) return read;
  const DumpKnowledge knowledge(session.studio());
  RepairReport report;
  Result result = RepairDump(knowledge, bytes, &report);
  if (!result.ok()) return Result::Failure(file + ": " + result.text);
  {
    TerminalBlocks lines(session.environment().out);
    for (const RepairFinding& finding : report.findings)
      lines << finding.offset << OwnText("\t") << finding.length << OwnText("\t") << finding.what
            << (finding.repaired ? OwnText("\trepaired\n") : OwnText("\tquarantined\n"));
  }
  if (report.messages == 0)
    return Result::Failure("Nothing of " + file + " could be kept; " + out + " was not written.");
  std::string quarantine;
  if (result = WriteRepair(report, out, &quarantine); !result.ok()) return result;
  TerminalText err = session.environment().err;
  if (!quarantine.empty()) err << "What is not in " << out << " as it was is in " << quarantine << ".\n";
  if (const std::string unknown = UnknownSentence(report); !unknown.empty()) err << "Note: " << unknown << "\n";
  return result;
}

}  // namespace

std::string RepairForms() {
  return "repair FILE OUT  writes a copy of a damaged dump with what can be repaired\n";
}

std::string RepairDetails() {
  return "FILE is raw SysEx or a Standard MIDI File and stays as it is.  A line for each thing found: offset, length, "
         "what was\nwrong, repaired or quarantined; tab separated.  Of a dump without damage OUT is the same, byte for "
         "byte, and\nthere are no lines; else OUT is raw SysEx.\n\n"
         "Repaired: a message whose F7 or F0 is missing, that has real-time bytes or other messages inside, is there "
         "twice, or\nhas a wrong checksum (it is computed anew: the data itself may be damaged); text and padding "
         "between messages is\nleft out.  Quarantined: what is cut, has a wrong length, or is no SysEx.  Lengths and "
         "checksums are those that\nthe installed modules know.  Every byte that is not in OUT as it was is in "
         "OUT.quarantine, with the reason.\n\n"
         "  tonalith-cli repair old.syx repaired.syx\n";
}

int RunRepair(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {});
  Result result = arguments.state();
  if (result.ok() && arguments.words().size() != 2)
    return CliFailure(environment.err, "repair", "use it like this:", RepairForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = Repair(session, arguments.words()[0], arguments.words()[1]);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "repair", result.text);
}

}  // namespace tonalith
