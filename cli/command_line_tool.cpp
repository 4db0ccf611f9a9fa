#include "cli/command_line_tool.h"

#include "cli/command_help.h"
#include "cli/commands_audition.h"
#include "cli/commands_authoring.h"
#include "cli/commands_bank.h"
#include "cli/commands_catalogue.h"
#include "cli/commands_check.h"
#include "cli/commands_collection.h"
#include "cli/commands_data.h"
#include "cli/commands_demo.h"
#include "cli/commands_desktop.h"
#include "cli/commands_export.h"
#include "cli/commands_files.h"
#include "cli/commands_history.h"
#include "cli/commands_identify.h"
#include "cli/commands_library.h"
#include "cli/commands_midi_test.h"
#include "cli/commands_module.h"
#include "cli/commands_module_simulator.h"
#include "cli/commands_module_text.h"
#include "cli/commands_monitor.h"
#include "cli/commands_pacing.h"
#include "cli/commands_packages.h"
#include "cli/commands_patch.h"
#include "cli/commands_ports.h"
#include "cli/commands_receive.h"
#include "cli/commands_repair.h"
#include "cli/commands_run.h"
#include "cli/commands_script_text.h"
#include "cli/commands_set.h"
#include "cli/commands_studio.h"
#include "cli/commands_sysxmap.h"
#include "cli/commands_table.h"
#include "cli/commands_transfer.h"
#include "cli/commands_view.h"
#include "cli/run_request.h"
#include "cli/session.h"
#include "platform/short_memory.h"
#include "platform/terminal_text.h"

namespace tonalith {

namespace {

using PlainCommand = int (*)(const std::vector<std::string>&, std::istream&, TerminalText, TerminalText);
using ModuleCommand = int (*)(const std::vector<std::string>&, std::istream&, TerminalText, TerminalText,
                              const std::filesystem::path&);

// A command that works on what it is given and nothing else.
template <PlainCommand command>
int Plain(CliEnvironment& environment, const std::vector<std::string>& args) {
  return command(args, environment.in, environment.out, environment.err);
}

// A command that needs the installed modules.
template <ModuleCommand command>
int WithModules(CliEnvironment& environment, const std::vector<std::string>& args) {
  Session session(environment);
  session.InstallModules();
  return command(args, environment.in, environment.out, environment.err, session.instruments());
}

// Building a module must not touch the folders of a user.
int Module(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (!args.empty() && args[0] == "install") return RunModuleInstall(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "server") return RunModuleServer(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "new") return RunModuleNew(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "check") return RunModuleCheck(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "text") return RunModuleText(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "simulator") return RunModuleSimulator(environment, {args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "table") return RunModuleTable(environment, {args.begin() + 1, args.end()});
  if (args.empty() || args[0] != "list") return RunModule(args, environment.in, environment.out, environment.err, {});
  return WithModules<RunModule>(environment, args);
}

std::string CompileDetails() {
  return "Prints the bytecode.  The language is described in docs/script-language.md.\n\n"
         "  tonalith-cli compile request.script\n"
         "  echo 'S 5 { F0 43 20 09 F7 } T 5 ]' | tonalith-cli compile -\n";
}

std::string ListDetails() {
  return "Prints the script that bytecode stands for; the file is hex pairs or raw bytes.\n\n"
         "  tonalith-cli list request.bin\n"
         "  echo '00 00 00 00 05 07 FF' | tonalith-cli list -\n";
}

}  // namespace

const std::vector<CliCommand>& CliCommands() {
  static const std::vector<CliCommand> commands = {
      {"demo", CliGroup::Instruments, "get, rename, send, save and get again, with a simulated instrument", DemoForms,
       DemoDetails, RunDemo},
      {"ports", CliGroup::Instruments, "the MIDI ports of this machine", PortsForms, PortsDetails, RunPorts},
      {"midi-test", CliGroup::Instruments, "whether every byte passes a cable from an output to an input",
       MidiTestForms, MidiTestDetails, RunMidiTest},
      {"pacing", CliGroup::Instruments, "how slowly an instrument has to be sent to; finds it out", PacingForms,
       PacingDetails, RunPacing},
      {"receive", CliGroup::Instruments, "gets data from an instrument into a file", ReceiveForms, ReceiveDetails,
       RunReceive},
      {"send", CliGroup::Instruments, "sends the data of a file to its instrument", SendForms, SendDetails, RunSend},
      {"history", CliGroup::Instruments, "what instruments held before something was sent to them; brings it back",
       HistoryForms, HistoryDetails, RunHistory},
      {"audition", CliGroup::Instruments, "lets the instrument play a patch of a bank", AuditionForms, AuditionDetails,
       RunAudition},
      {"set", CliGroup::Instruments, "all data of an instrument in one file: gets it, sends it, looks into it",
       SetForms, SetDetails, RunSet},
      {"library", CliGroup::Files, "many patches of one kind in one file: adds, sorts, searches, finds duplicates",
       LibraryForms, LibraryDetails, RunLibrary},
      {"catalogue", CliGroup::Files, "one search over all patches below the user's folders", CatalogueForms,
       CatalogueDetails, RunCatalogue},
      {"collection", CliGroup::Files, "Sets and data of all instruments in one file: adds, lists, takes out",
       CollectionForms, CollectionDetails, RunCollection},
      {"studio", CliGroup::Instruments, "the instruments the user has, their ports and channels; finds them",
       StudioForms, StudioDetails, RunStudio},
      {"identify", CliGroup::Files, "what a file holds, and whether its checksums are right",
       [] { return std::string(IdentifyUsage()); },
       [] {
         return std::string(
             "A line for each piece of data: offset, length, instrument, data type and checksum (ok, bad or none), "
             "tab\n"
             "separated.\n\n  tonalith-cli identify rom1a.syx\n");
       },
       WithModules<RunIdentify>},
      {"names", CliGroup::Files, "numbers and names of the patches in a file", [] { return std::string(NamesUsage()); },
       [] {
         return std::string(
             "A line for each patch: slot from 0, number as the instrument shows it, name, tab separated.\n"
             "--type NAME chooses one data type of a file that holds several.\n\n"
             "  tonalith-cli names rom1a.syx\n");
       },
       WithModules<RunNames>},
      {"view", CliGroup::Files, "the bytes of a file as a listing, searched or compared", ViewForms, ViewDetails,
       RunView},
      {"monitor", CliGroup::Files, "how the MIDI monitor shows messages", MonitorForms, MonitorDetails, RunMonitor},
      {"rename", CliGroup::Files, "gives a patch of a data file another name", RenameForms, RenameDetails, RunRename},
      {"bank", CliGroup::Files, "rearranges the patches of a bank, tells what its slots hold", BankForms, BankDetails,
       RunBank},
      {"patch", CliGroup::Files, "a patch of a bank as a patch of its own, and back", PatchForms, PatchDetails,
       RunPatch},
      {"import", CliGroup::Files, "makes a data file of raw SysEx or a MIDI file", ImportForms, ImportDetails,
       RunImport},
      {"export", CliGroup::Files, "writes data, or the names of its patches, for other programs", ExportForms,
       ExportDetails, RunExport},
      {"repair", CliGroup::Files, "what can be saved of a damaged dump", RepairForms, RepairDetails, RunRepair},
      {"desktop", CliGroup::Files, "the windows a desktop file keeps", DesktopForms, DesktopDetails, RunDesktop},
      {"df", CliGroup::Files, "looks into data files, makes and rewrites them", [] { return std::string(kDfHelp); },
       [] {
         return std::string(
             "FIELD is the name of a descriptor field, as \"df dump\" prints it.\n\n"
             "  tonalith-cli df make --descriptor shortName=Test --descriptor manufacturerId=0x7D \\\n"
             "    --body 'F0 7D 00 01 F7 00' test.dat\n"
             "  tonalith-cli df dump test.dat\n");
       },
       Plain<RunDf>},
      {"module", CliGroup::Modules, "makes, checks, builds, installs and lists instrument modules",
       [] {
         return ModuleUsage() + PackageForms() + AuthoringForms() + ModuleCheckForms() + TableForms() +
                ModuleTextForms() + ModuleSimulatorForms();
       },
       [] {
         return std::string(
             "A source folder holds module.ini, descriptors and scripts as text (docs/modules.md); docs/authoring.md\n"
             "leads from a MIDI chart to a module.\n\n"
             "  tonalith-cli module new acme.chart --name \"Acme One\" --request 'F0 7D 00 10 F7' --answer 'F0 7D 00 "
             "20 (120) F7'\n"
             "  tonalith-cli module check acme.chart --dump recorded.syx\n"
             "  tonalith-cli module build acme.chart acme.pvz\n"
             "  tonalith-cli module install acme.pvz\n"
             "  tonalith-cli module list\n");
       },
       Module},
      {"sysxmap", CliGroup::Modules, "looks into SysEx maps and makes them", SysxmapForms, SysxmapDetails, RunSysxmap},
      {"compile", CliGroup::Scripts, "script text to bytecode", [] { return std::string(kCompileHelp); },
       CompileDetails, Plain<RunCompile>},
      {"list", CliGroup::Scripts, "bytecode to script text", [] { return std::string(kListHelp); }, ListDetails,
       Plain<RunList>},
      {"run", CliGroup::Scripts, "runs a script with replies you give", [] { return std::string(kRunHelp); },
       RunDetails, RunRun},
      {"pack", CliGroup::Bytes, "reads and writes packed bytes of an image", [] { return std::string(kPackHelp); },
       [] {
         return std::string(
             "FORMAT is a storage format, INDEX a logical byte; --bank BASE counts it inside a bank from that byte "
             "on.\n\n"
             "  tonalith-cli pack get 1 0 '02 01'\n"
             "  tonalith-cli pack set 1 0 18 '00 00'\n");
       },
       Plain<RunPack>},
      {"csum", CliGroup::Bytes, "computes a checksum and stores it in an image", [] { return std::string(kCsumHelp); },
       [] {
         return std::string(
             "TYPE is a checksum type (0 to 19), START and COUNT say what is summed, OFFSET where the sum is "
             "stored.\n\n"
             "  tonalith-cli csum 0 5 3 8 'F0 41 10 16 12 10 00 04 00 F7'\n");
       },
       Plain<RunCsum>},
      {"number", CliGroup::Bytes, "a patch number as the panel of an instrument shows it",
       [] { return std::string(kNumberHelp); }, [] { return std::string("  tonalith-cli number 9 12 --voices 64\n"); },
       Plain<RunNumber>},
      {"name", CliGroup::Bytes, "reads and writes a patch name in an image", [] { return std::string(kNameHelp); },
       [] { return std::string("  tonalith-cli name get 0 5 '42 52 41 53 53'\n"); }, Plain<RunName>},
  };
  return commands;
}

const CliCommand* FindCliCommand(const std::string& name) {
  for (const CliCommand& command : CliCommands())
    if (name == command.name) return &command;
  return nullptr;
}

int RunCommandLine(const std::vector<std::string>& arguments, CliEnvironment& environment) {
  constexpr char kRoot[] = "--config-root";
  std::size_t at = 0;
  while (at < arguments.size() && arguments[at].compare(0, sizeof kRoot - 1, kRoot) == 0) {
    std::string root;
    if (arguments[at].size() > sizeof kRoot - 1 && arguments[at][sizeof kRoot - 1] == '=') {
      root = arguments[at].substr(sizeof kRoot);
    } else if (arguments[at] == kRoot && at + 1 < arguments.size()) {
      root = arguments[++at];
    }
    ++at;
    if (root.empty()) {
      environment.err << "tonalith-cli: --config-root needs a folder.\n";
      return 1;
    }
    environment.folders = Folders::Below(AbsolutePath(root));
  }
  if (at == arguments.size()) {
    environment.err << "tonalith-cli: a command is needed; \"tonalith-cli --help\" names them.\n";
    return 1;
  }
  std::string name = arguments[at];
  std::vector<std::string> args(arguments.begin() + static_cast<std::ptrdiff_t>(at) + 1, arguments.end());
  if (name == "--version") {
    environment.out << "tonalith-cli " TONALITH_VERSION "\n";
    return 0;
  }
  bool help = name == "help";
  if (IsHelpWord(name) || (help && args.empty())) {
    PrintCliOverview(CliCommands(), environment.out);
    return 0;
  }
  if (help) {
    name = args.front();
    args.erase(args.begin());
  }
  help = TakeHelpWord(&args) || help;
  const CliCommand* command = FindCliCommand(name);
  if (!command) {
    environment.err << "tonalith-cli: there is no command \"" << name << "\"; \"tonalith-cli --help\" names them.\n";
    return 1;
  }
  if (help) return PrintCliHelp(*command, args, environment);
  int status = 1;
  if (!WithMemory([&] { status = command->run(environment, args); })) {
    environment.err << "tonalith-cli " << name << ": " << kShortMemory << "\n";
    return 1;
  }
  environment.out.Flush();
  if (status == 0 && !environment.out.Takes()) {
    environment.err << "tonalith-cli " << name << ": Standard output takes no data.\n";
    return 1;
  }
  return status;
}

}  // namespace tonalith
