#include "cli/commands_studio.h"

#include <functional>
#include <sstream>

#include "cli/arguments.h"
#include "cli/commands_autosense.h"
#include "cli/commands_studio_set.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "studio/device_ids.h"

namespace tonalith {

namespace {

// The ports of the machine, as they are listed; none of them is opened.
class ListedPorts final : public StudioPorts {
 public:
  explicit ListedPorts(TransferRig& rig)
      : in_(rig.PortNames(MidiDirection::Input)), out_(rig.PortNames(MidiDirection::Output)) {}
  std::vector<std::string> InputPortNames() const override { return in_; }
  std::vector<std::string> OutputPortNames() const override { return out_; }

 private:
  std::vector<std::string> in_, out_;
};

// What the studio told, or `fallback` when it said nothing.
Result Told(Session& session, const std::string& fallback) {
  std::string text;
  for (const std::string& notice : session.TakeNotices()) text += (text.empty() ? "" : " ") + notice;
  return Result::Failure(text.empty() ? fallback : text);
}

Result Save(Session& session) {
  return session.studio().DrvSaveSetup(0) == 0 ? Result::Success() : Told(session, "The studio could not be saved.");
}

// The studio of the program, or of the file that is named; the file is not changed.
Result Open(Session& session, const std::vector<std::string>& words, std::size_t at) {
  session.LoadStudio();
  if (words.size() <= at) return Result::Success();
  const std::string path = AbsolutePath(words[at]);
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadWholeFile(path, bytes); !read.ok()) return read;
  std::string error;
  const int code = session.studio().ReadStudio(bytes, &error);
  session.studio().SetStudioFile(path);
  if (code == 0) return Result::Success();
  if (error.empty()) error = "the file is damaged; what could be read of it is listed.";
  return Result::Failure(words[at] + ": " + ReplaceAll(error, "\n", " "), code);
}

void PrintCommunication(TerminalText out, const ZKDrvList& node, const Synth* s) {
  out << "\t";
  if (s && s->hasSysExChannel)
    out << ShownDeviceId(s, node.sysExChannel);
  else
    out << "-";
  out << "\t" << node.midiChannel + 1 << "\t" << int{node.midiInPort} << "\t" << node.inPortName << "\t"
      << int{node.midiOutPort} << "\t" << node.outPortName << "\n";
}

Result List(Session& session, const std::vector<std::string>& words) {
  const Result opened = Open(session, words, 1);
  TerminalText out = session.environment().out;
  constexpr int kDamaged = 2;
  if (!opened.ok() && opened.code != kDamaged) return opened;
  for (const auto& instrument : session.studio().instruments()) {
    const Synth* first = instrument->drivers.empty() ? nullptr : instrument->drivers.front()->synth();
    out << "instrument\t" << instrument->DisplayKey() << "\t" << instrument->moduleFile;
    PrintCommunication(out, *instrument, first);
    for (const auto& driver : instrument->drivers) {
      out << "driver\t" << Latin1ToUtf8(driver->TypeName()) << "\t" << driver->synth()->driverId;
      PrintCommunication(out, *driver, driver->synth());
    }
  }
  return opened;
}

Result SaveAs(Session& session, const std::vector<std::string>& words) {
  session.LoadStudio();
  const std::string path = AbsolutePath(words[1]);
  Result result = session.studio().WriteStudioFile(path);
  if (result.ok())
    session.environment().out << session.studio().instruments().size() << " instruments in " << path << "\n";
  return result;
}

Result Report(Session& session, const std::vector<std::string>& words) {
  if (Result opened = Open(session, words, 1); !opened.ok()) return opened;
  TransferRig rig(session, TransferRig::Kind::Real);
  ListedPorts ports(rig);
  session.studio().SetPorts(&ports);
  std::ostringstream report;
  session.studio().SetupInformation(report, StudioReportFacts::OfThisMachine(session.paths().MainGetProgramPath()));
  session.environment().out.Lines(report.str());
  session.studio().SetPorts(nullptr);
  return Result::Success();
}

Result Summary(Session& session, const std::vector<std::string>& words) {
  if (Result opened = Open(session, words, 1); !opened.ok()) return opened;
  session.environment().out.Lines(session.studio().TextSummary());
  return Result::Success();
}

Result Listing(Session& session, const std::vector<std::string>& words) {
  if (Result opened = Open(session, words, 1); !opened.ok()) return opened;
  TerminalText out = session.environment().out;
  bool first = true;
  for (const StudioListingPage& page : session.studio().DrvPrint()) {
    if (!first) out << "\f";
    first = false;
    for (const std::string& line : page) out << line << "\n";
  }
  return Result::Success();
}

// By the name of its file, with or without ".ini", or by a part of it that only one has.
Result FindModule(Session& session, const std::string& wanted, std::string* module) {
  const std::vector<std::string> modules = session.studio().InstalledModules();
  for (const std::string& name : modules)
    if (AsciiEqualNoCase(name, wanted) || AsciiEqualNoCase(WithoutExtension(name), wanted)) {
      *module = name;
      return Result::Success();
    }
  std::size_t chosen = 0;
  const Result result = ChooseByName(modules, wanted, "installed module", &chosen);
  if (result.ok()) *module = modules[chosen];
  return result;
}

Result Add(Session& session, const std::vector<std::string>& words) {
  session.LoadStudio();
  std::string module;
  if (Result found = FindModule(session, words[1], &module); !found.ok()) return found;
  if (!session.studio().AddDrivers(module)) return Told(session, module + " could not be added.");
  const std::string key = session.studio().instruments().back()->DisplayKey();
  session.studio().UpdatePortReferences();
  Result result = Save(session);
  if (result.ok()) session.environment().out << key << ": added\n";
  return result;
}

Result Remove(Session& session, const std::vector<std::string>& words) {
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  if (Result found = session.FindInstrument(words[1], &instrument); !found.ok()) return found;
  const std::string key = instrument->DisplayKey();
  if (!session.studio().DeleteInstrument(instrument)) return Told(session, key + " could not be removed.");
  Result result = Save(session);
  if (result.ok()) session.environment().out << key << ": removed\n";
  return result;
}

Result Devices(Session& session, const std::vector<std::string>& words) {
  if (Result opened = Open(session, words, 2); !opened.ok()) return opened;
  std::vector<const ZKDrvList*> all;
  for (const auto& instrument : session.studio().instruments()) all.push_back(instrument.get());
  const std::string xml = session.studio().MidiDeviceXml(all);
  if (words[1] == "-") {
    session.environment().out.Lines(xml);
    return Result::Success();
  }
  return WriteFileAtomically(AbsolutePath(words[1]), std::string_view(xml));
}

struct StudioVerb {
  const char* name;
  std::size_t fewest, most;  // words, the verb included
  const char* form;
  Result (*run)(Session& session, const std::vector<std::string>& words);
};

constexpr StudioVerb kStudioVerbs[] = {
    {"list", 1, 2, "studio list [FILE]          instruments and their data types", List},
    {"save", 2, 2, "studio save FILE            writes the studio into a file, with the summary beside it", SaveAs},
    {"add", 2, 2, "studio add MODULE           adds an instrument of an installed module", Add},
    {"remove", 2, 2, "studio remove INSTRUMENT    takes an instrument out of the studio", Remove},
    {"summary", 1, 2, "studio summary [FILE]       the text summary", Summary},
    {"report", 1, 2, "studio report [FILE]        the report of the whole configuration", Report},
    {"listing", 1, 2, "studio listing [FILE]       the printed listing, pages separated by form feeds", Listing},
    {"devices", 2, 3, "studio devices OUT [FILE]   the MIDI device types as XML (- is standard output)", Devices},
};

}  // namespace

std::string StudioForms() {
  std::string forms;
  for (const StudioVerb& verb : kStudioVerbs) forms += std::string(verb.form) + "\n";
  return forms + StudioSetForms() + StudioAutosenseForms();
}

std::string StudioDetails() {
  return "The studio is the one of the program (Default.PV9 in the data folder), or FILE, which is only read.  "
         "\"list\"\n"
         "prints tab separated lines, an instrument and below it its data types:\n"
         "  instrument  NAME  MODULE  DEVICE-ID  CHANNEL  IN-PORT  IN-NAME  OUT-PORT  OUT-NAME\n"
         "  driver      TYPE  ID      DEVICE-ID  CHANNEL  IN-PORT  IN-NAME  OUT-PORT  OUT-NAME\n"
         "Device ID and channel are printed as the instrument shows them (\"-\": it has no device ID), ports count "
         "from\n"
         "0.\n\n"
         "  tonalith-cli studio add \"Yamaha DX7\"\n"
         "  tonalith-cli studio list\n" +
         StudioSetDetails() + StudioAutosenseDetails();
}

int RunStudio(CliEnvironment& environment, const std::vector<std::string>& args) {
  const std::string name = args.empty() ? "" : args[0];
  if (name == "set") return RunStudioSet(environment, {args.begin() + 1, args.end()});
  if (name == "autosense") return RunStudioAutosense(environment, {args.begin() + 1, args.end()});
  for (const StudioVerb& verb : kStudioVerbs) {
    if (name != verb.name) continue;
    const CliArguments arguments(args, {});
    Result result = arguments.state();
    const std::size_t count = arguments.words().size();
    if (result.ok() && (count < verb.fewest || count > verb.most))
      result = Result::Failure(std::string("use it like this: ") + verb.form);
    if (result.ok()) {
      Session session(environment);
      result = verb.run(session, arguments.words());
    }
    return result.ok() ? 0 : CliFailure(environment.err, "studio", result.text);
  }
  return CliFailure(environment.err, "studio", "what to do is missing.", StudioForms());
}

}  // namespace tonalith
