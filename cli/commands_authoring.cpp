#include "cli/commands_authoring.h"

#include <algorithm>
#include <istream>
#include <span>
#include <string_view>
#include <vector>

#include "chart/chart_draft.h"
#include "chart/chart_spelling.h"
#include "chart/module_of_chart.h"
#include "chart/parameter_import.h"
#include "cli/arguments.h"
#include "cli/known_drivers.h"
#include "cli/module_trial.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/coded_words.h"
#include "studio/module_draft.h"

namespace tonalith {

namespace {

constexpr int kFirstDriver = 60000;  // of modules that users write
constexpr std::size_t kNamesShown = 4;
constexpr int kMostAsked = 10;  // for one answer

int Failed(CliEnvironment& environment, const std::string& text) {
  return CliFailure(environment.err, "module", text);
}

// What is asked for, in the order of a printed chart.
struct Question {
  const char* option;
  std::string ChartSaid::*answer;
  const char* text;
};
constexpr Question kQuestions[] = {
    {"name", &ChartSaid::name, "Name of the instrument"},
    {"maker", &ChartSaid::maker, "Maker's number (hex; nothing: it stands in the messages)"},
    {"device", &ChartSaid::device, "Letter that stands for the device number in the messages (nothing: there is none)"},
    {"request", &ChartSaid::request, "Message that asks for a patch (pp: the number of the patch)"},
    {"answer", &ChartSaid::answer,
     "Its answer (bytes of data in brackets, sum for a checksum: F0 42 3n 04 40 (26) F7)"},
    {"bank", &ChartSaid::bank, "How many patches there are (nothing: only one)"},
    {"bank-request", &ChartSaid::bankRequest, "Message that asks for all of them at once (nothing: one by one)"},
    {"bank-answer", &ChartSaid::bankAnswer, "Its answer ((26)*64: 64 times 26 bytes)"},
    {"numbers", &ChartSaid::numbers, "First and last number as the panel shows them (11..88; nothing: from 1)"},
    {"sum", &ChartSaid::sum, "Kind of checksum (negative sum, sum, exclusive or ...; nothing: none)"},
    {"name-at", &ChartSaid::nameAt, "First byte of the patch name in the data, counted from 0, and its length (0 10)"},
    {"identity", &ChartSaid::identity, "Answer to the device inquiry F0 7E 7F 06 01 F7 (nothing: it has none)"},
};

// What is wrong with the answer to a question, as far as that can be said at once; nothing when it may be right.
std::string WrongAnswer(const Question& question, const ChartSaid& said) {
  const std::string& answer = said.*question.answer;
  if (question.answer == &ChartSaid::name && answer.empty()) return "The instrument needs a name.";
  for (std::string ChartSaid::*message :
       {&ChartSaid::request, &ChartSaid::answer, &ChartSaid::bankRequest, &ChartSaid::bankAnswer, &ChartSaid::identity})
    if (question.answer == message) return NotAMessage(answer, said.device);
  if (question.answer != &ChartSaid::sum) return {};
  const bool needed = (said.answer + " " + said.bankAnswer).find("sum") != std::string::npos;
  if (answer.empty()) return needed ? "The answer has a checksum: its kind is needed, such as negative sum." : "";
  std::vector<std::string> words;
  for (const CodedWord& word : FindCodedTable("checksumType")->words) words.emplace_back(word.word);
  if (std::find(words.begin(), words.end(), answer) != words.end()) return {};
  return "There is no such kind of checksum; it may be " + NearestWords(answer, words) + ".";
}

// Asks for everything, and again where the answer cannot be right; the end of the input ends it.
void Ask(CliEnvironment& environment, ChartSaid* said) {
  for (const Question& question : kQuestions) {
    if (question.answer == &ChartSaid::bankAnswer && said->bankRequest.empty()) continue;
    if ((question.answer == &ChartSaid::bankRequest || question.answer == &ChartSaid::numbers) && said->bank.empty())
      continue;
    for (int asked = 0; asked < kMostAsked; ++asked) {
      environment.out << std::string_view(question.text) << ": ";
      environment.out.Flush();
      std::string line;
      if (!std::getline(environment.in, line)) return;
      if (!environment.canAsk) environment.out << line << "\n";
      said->*question.answer = TrimmedView(line);
      const std::string wrong = WrongAnswer(question, *said);
      if (wrong.empty()) break;
      environment.out << wrong << "\n";
    }
  }
}

// The rows of a table of parameters.
Result ReadRows(CliEnvironment& environment, const std::string& file, std::string* rows) {
  std::vector<std::uint8_t> bytes;
  Result result = ReadCliFile(environment, file, &bytes);
  ParameterImport sheet;
  if (result.ok()) result = ImportParameterSheet(std::string(bytes.begin(), bytes.end()), &sheet);
  if (!result.ok()) return Result::Failure(file + ": " + result.text);
  environment.out << file << ": " << Counted(sheet.parameters, "parameter") << "\n";
  *rows = std::move(sheet.rows);
  return result;
}

// What a dump tells, listed.
Result ReadDump(CliEnvironment& environment, const std::string& file, const ChartSaid& said,
                std::vector<std::uint8_t>* dump, ModuleDraft* draft) {
  Result result = ReadCliFile(environment, file, dump);
  DraftOptions options;
  options.name = said.name;
  // The place of the device number, when a message says it.
  const auto words = SplitText(PrintedMessage(said.request, said.device.empty() ? 0 : said.device[0]), ' ');
  for (std::size_t i = 2; i < words.size() && !said.device.empty(); ++i)
    if (words[i].size() == 2 && words[i][1] == said.device[0] && options.channelByte < 0)
      options.channelByte = static_cast<int>(i);
  std::vector<DraftFinding> findings;
  if (result.ok()) result = DraftOfDump(*dump, options, draft, &findings);
  if (!result.ok()) return Result::Failure(file + ": " + result.text);
  for (const DraftFinding& finding : findings)
    environment.out << std::string_view(DraftTrustText(finding.trust)) << "\t" << finding.text << "\n";
  return result;
}

// The chart as it is written, tried with the dump.
int Finish(CliEnvironment& environment, const std::string& path, const ChartDraft& draft, const std::string& dumpName,
           std::span<const std::uint8_t> dump) {
  ChartProblems problems(path);
  ModuleImage image;
  const Result built = BuildChart(draft.text, &problems, &image);
  for (const ChartProblem& problem : problems.all()) environment.out << problem.Text() << "\n";
  if (!built.ok()) return Failed(environment, "The chart was written, but something in it is not right yet: " + path);
  if (dumpName.empty()) return 0;
  ModuleTrial trial(environment);
  const Result result = trial.Install(image);
  if (!result.ok()) return Failed(environment, result.text);
  if (trial.TryDump(dumpName, dump, kNamesShown, environment.out)) return 0;
  return Failed(environment, "The chart was written, but it does not take all of the dump yet.");
}

int New(CliEnvironment& environment, const std::string& path, const CliArguments& args, ChartSaid said) {
  const auto file = args.Option("dump"), rows = args.Option("parameters");
  Result result = FileExists(path) || FolderExists(path)
                      ? Result::Failure("\"" + path + "\" is there already; nothing is overwritten.")
                      : Result::Success();
  std::vector<std::uint8_t> dump;
  ModuleDraft found;
  if (result.ok() && rows) result = ReadRows(environment, *rows, &said.rows);
  if (result.ok() && file) result = ReadDump(environment, *file, said, &dump, &found);
  const int count = file ? static_cast<int>(found.types.size()) : said.bank.empty() ? 1 : 2;
  if (result.ok()) said.drivers = FreeDriverBase(KnownDrivers(environment, said.name), kFirstDriver, count);
  ChartDraft draft;
  if (result.ok()) result = file ? DraftChart(said, found, &draft) : DraftChart(said, &draft);
  if (result.ok()) result = WriteFileAtomically(path, std::string_view(draft.text));
  if (!result.ok()) return Failed(environment, result.text);
  environment.out << path << ": " << said.name << ", " << Counted(draft.types, "data type") << "\n";
  for (const std::string& warning : draft.warnings) environment.out << "warning: " << warning << "\n";
  return Finish(environment, path, draft, file ? FileNameOf(*file) : std::string(), dump);
}

}  // namespace

std::string AuthoringForms() {
  return "module new FILE.chart [OPTIONS]\n"
         "                              writes the chart of a new instrument; without --name it asks for everything\n"
         "  --name NAME --maker BYTES --device LETTER      messages are taken as printed charts have them\n"
         "  --request MESSAGE --answer MESSAGE             pp is the number of the patch, (26) are 26 bytes of data\n"
         "  --bank COUNT [--bank-request MESSAGE --bank-answer MESSAGE] [--numbers FIRST..LAST]\n"
         "  --sum WORD --name-at \"PLACE LENGTH\" --identity MESSAGE\n"
         "  --parameters FILE.tsv       rows for the parameters (module table --import)\n"
         "  --dump FILE                 finds out what a recorded dump tells; what is said goes before what is found\n";
}

int RunModuleNew(CliEnvironment& environment, const std::vector<std::string>& args) {
  std::vector<std::string> names = {"dump", "parameters"};
  for (const Question& question : kQuestions) names.emplace_back(question.option);
  const CliArguments arguments(args, names);
  if (!arguments.state().ok()) return Failed(environment, arguments.state().text);
  if (arguments.words().size() != 1) return Failed(environment, "\"new\" needs one chart to write.");
  const std::string& path = arguments.words()[0];
  if (!path.ends_with(".chart")) return Failed(environment, "A chart is a file NAME.chart, not \"" + path + "\".");
  ChartSaid said;
  for (const Question& question : kQuestions) said.*question.answer = arguments.Option(question.option).value_or("");
  if (args.size() == 1) Ask(environment, &said);
  return New(environment, path, arguments, std::move(said));
}

}  // namespace tonalith
