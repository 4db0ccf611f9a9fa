#include "cli/command_help.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kHead[] =
    "tonalith-cli: the librarian for MIDI instruments on the command line\n"
    "\n"
    "  tonalith-cli [--config-root DIR] COMMAND ARGUMENTS...\n"
    "  tonalith-cli COMMAND --help      all about one command; of some also COMMAND WORD --help\n"
    "  tonalith-cli --version\n";

constexpr char kTail[] =
    "\n"
    "HEX is a row of bytes as pairs of hex digits, with or without blanks; @FILE the bytes of a file; - stands for\n"
    "standard input.  Results go to standard output.  The exit status is 0 only when everything was done; otherwise "
    "it\n"
    "is 1 and a sentence on standard error says why.\n"
    "--config-root DIR keeps all folders of the program below DIR: settings, instrument modules, data.\n"
    "\n"
    "To begin with:\n"
    "  tonalith-cli demo                                   the whole job with a simulated instrument\n"
    "  tonalith-cli module list                            which instruments and data types there are\n"
    "  tonalith-cli identify bank.syx                      what a file holds\n"
    "  tonalith-cli ports                                  the MIDI ports of this machine\n"
    "  tonalith-cli receive dx7 \"voice bank\" bank.dat      a bank from the instrument into a file\n"
    "  tonalith-cli names bank.dat                         the patches in it\n"
    "  tonalith-cli rename bank.dat 4 \"WARM PAD\"           another name for one of them\n"
    "  tonalith-cli send bank.dat                          back to the instrument\n";

struct GroupTitle {
  CliGroup group;
  const char* title;
};
constexpr GroupTitle kGroups[] = {
    {CliGroup::Instruments, "Instruments"},        {CliGroup::Files, "Files"},
    {CliGroup::Modules, "Instrument modules"},     {CliGroup::Scripts, "Scripts"},
    {CliGroup::Bytes, "Bytes, names and numbers"},
};

// The word behind the name of the command in a line of its forms; empty: none, or what the user puts there.
std::string VerbOf(const CliCommand& command, std::string_view line) {
  const std::string name = std::string(command.name) + " ";
  if (!line.starts_with(name)) return {};
  line.remove_prefix(name.size());
  const std::string verb(line.substr(0, line.find(' ')));
  const auto isSmall = [](char c) { return c >= 'a' && c <= 'z'; };
  return std::all_of(verb.begin(), verb.end(), isSmall) ? verb : std::string();
}

// The lines that belong to a word: those of the forms up to the next form, those of the examples up to their end.
std::string FormsOf(const CliCommand& command, const std::string& verb) {
  std::string text;
  bool inside = false;
  for (const std::string& line : SplitText(command.forms(), '\n')) {
    if (line.empty() || line.front() != ' ') inside = VerbOf(command, line) == verb;
    if (inside) text += line + "\n";
  }
  return text;
}

std::string ExamplesOf(const CliCommand& command, const std::string& verb) {
  const std::string begin = std::string("  tonalith-cli ") + command.name + " " + verb;
  std::string text;
  bool inside = false;
  for (const std::string& line : SplitText(command.details(), '\n')) {
    inside = inside || line == begin || line.starts_with(begin + " ");
    if (inside) text += line + "\n";
    inside = inside && line.ends_with("\\");
  }
  return text;
}

void PrintCommand(const CliCommand& command, TerminalText out) {
  out << "tonalith-cli " << std::string_view(command.name) << ": " << std::string_view(command.summary) << "\n\n";
  out.Lines(command.forms()) << "\n";
  out.Lines(command.details());
}

}  // namespace

bool IsHelpWord(const std::string& word) {
  return word == "--help" || word == "-h";
}

bool TakeHelpWord(std::vector<std::string>* args) {
  const auto found = std::find_if(args->begin(), args->end(), [args](const std::string& word) {
    return word == "--help" || (word == "-h" && &word - args->data() < 2);
  });
  if (found == args->end()) return false;
  args->erase(found);
  return true;
}

std::vector<std::string> CliVerbs(const CliCommand& command) {
  std::vector<std::string> verbs;
  for (const std::string& line : SplitText(command.forms(), '\n')) {
    const std::string verb = VerbOf(command, line);
    if (!verb.empty() && std::find(verbs.begin(), verbs.end(), verb) == verbs.end()) verbs.push_back(verb);
  }
  return verbs;
}

void PrintCliOverview(const std::vector<CliCommand>& commands, TerminalText out) {
  out << kHead;
  for (const GroupTitle& group : kGroups) {
    out << "\n" << std::string_view(group.title) << "\n";
    for (const CliCommand& command : commands) {
      if (command.group != group.group) continue;
      std::string name = command.name;
      name.resize(std::max<std::size_t>(name.size(), 9), ' ');
      out << "  " << name << "  " << std::string_view(command.summary) << "\n";
    }
  }
  out << kTail;
}

int PrintCliHelp(const CliCommand& command, const std::vector<std::string>& args, CliEnvironment& environment) {
  const std::vector<std::string> verbs = CliVerbs(command);
  TerminalText out = environment.out;
  if (args.empty() || verbs.empty()) {
    PrintCommand(command, out);
    return 0;
  }
  const std::string& verb = args.front();
  if (std::find(verbs.begin(), verbs.end(), verb) == verbs.end())
    return CliFailure(environment.err, command.name, "There is no \"" + verb + "\".", command.forms());
  out << "tonalith-cli " << std::string_view(command.name) << " " << verb << "\n\n";
  out.Lines(FormsOf(command, verb));
  const std::string examples = ExamplesOf(command, verb);
  if (!examples.empty()) out.Lines("\n" + examples);
  out << "\nAll about it: tonalith-cli " << std::string_view(command.name) << " --help\n";
  return 0;
}

}  // namespace tonalith
