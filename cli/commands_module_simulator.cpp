#include "cli/commands_module_simulator.h"

#include "chart/chart_of_module.h"
#include "chart/simulator_of_chart.h"
#include "cli/commands_module_text.h"
#include "platform/atomic_file.h"
#include "simulator/description.h"

namespace tonalith {

namespace {

constexpr std::size_t kLongestChart = 1u << 20;
constexpr const char* kChart = ".chart";

}  // namespace

std::string ModuleSimulatorForms() {
  return "module simulator NAME|FILE.pvz|FILE.chart OUT.sim [--variant NAME]\n"
         "                                 a simulated instrument that talks as the chart says (see --virtual)\n";
}

int RunModuleSimulator(CliEnvironment& environment, const std::vector<std::string>& args) {
  const auto failed = [&](const std::string& sentence) { return CliFailure(environment.err, "module", sentence); };
  const bool related = args.size() == 4 && args[2] == "--variant";
  if (args.size() != 2 && !related) return failed("\"simulator\" needs a module or a chart, and the file to write.");
  if (!args[1].ends_with(kDescriptionEnding)) return failed("The name of a description ends with .sim: " + args[1]);
  ChartOfModule chart;
  const Result found = args[0].ends_with(kChart) ? ReadWholeFile(args[0], chart.text, kLongestChart)
                                                 : FindModuleChart(environment, args[0], &chart);
  if (!found.ok()) return failed(found.text);
  ChartProblems problems(args[0]);
  const ChartSimulator made = SimulatorOfChart(chart.text, &problems, related ? args[3] : std::string());
  if (problems.any()) return failed(problems.First().text);
  for (const ChartSimulator::Missing& one : made.missing)
    environment.out << one.type << ": not in it: " << one.why << ".\n";
  if (made.present.empty()) return failed("Nothing of the chart can be said in a description.");
  const DescriptionResult read = ParseDescription(made.text, args[1]);
  if (!read.description) return failed(read.problem);
  const Result written = WriteFileAtomically(
      args[1], std::span(reinterpret_cast<const std::uint8_t*>(made.text.data()), made.text.size()));
  if (!written.ok()) return failed(written.text);
  environment.out << args[1] << ": " << read.description->name << ", " << made.present.size()
                  << (made.present.size() == 1 ? OwnText(" data type\n") : OwnText(" data types\n"));
  return 0;
}

}  // namespace tonalith
