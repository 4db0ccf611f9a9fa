#include "cli/commands_table.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "chart/chart_text.h"
#include "chart/parameter_import.h"
#include "chart/parameters.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "data/container.h"
#include "parameters/parameter_table.h"
#include "platform/atomic_file.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "studio/package.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostInput = 8u << 20;

int TableFailed(TerminalText err, const std::string& sentence) {
  return CliFailure(err, "module", sentence);
}

// A table and the data type it belongs to.
using NamedTable = std::pair<std::string, ParameterTable>;

int Import(CliEnvironment& environment, const std::string& file) {
  std::string text;
  ParameterImport import;
  Result result = ReadInput(file, environment.in, &text, kMostInput);
  if (result.ok()) result = ImportParameterSheet(text, &import);
  if (!result.ok()) return TableFailed(environment.err, file + ": " + result.text);
  environment.out.Lines(PlainLines(import.rows));
  environment.err << import.parameters << " parameters";
  if (import.passedOver)
    environment.err << ", " << import.passedOver << " rows of names and reserved bytes passed over";
  if (import.asNumbers)
    environment.err << ", " << import.asNumbers << " with texts that are no display: they stand behind # as a comment";
  environment.err << "\n";
  return 0;
}

// The sections of a chart, without what its messages say.
Result TablesOfChart(const std::string& path, std::vector<NamedTable>* tables) {
  std::string text;
  Result result = ReadWholeFile(path, text, kMostInput);
  if (!result.ok()) return result;
  ChartProblems problems(path);
  const ChartText chart = ReadChartText(text, &problems);
  std::vector<ChartEntry> lists;
  for (const ChartSection& section : chart.sections) {
    for (const ChartEntry& entry : section.entries)
      if (entry.key.starts_with("list ")) lists.push_back(entry);
    if (section.kind == "parameters") tables->emplace_back(section.name, ReadParameters(section, {}, lists, &problems));
  }
  return problems.any() ? Result::Failure(problems.all().front().Text()) : Result::Success();
}

// The tables of a package, by the type names of its drivers.
Result TablesOfPackage(const std::string& path, std::vector<NamedTable>* tables) {
  PackageFiles files;
  Result result = ReadPackage(path, &files);
  if (!result.ok()) return result;
  for (const PackageFile& driver : files) {
    const DataFilePtr data(AllocDataFile());
    if (!data || ContainerReader(driver.bytes).DiskReadForm(data.get(), {}) != 0 || !data->synth) continue;
    const std::string name = ParameterTableName(data->synth->driverId);
    for (const PackageFile& file : files) {
      if (!file.path.ends_with("\\" + name)) continue;
      NamedTable table;
      table.first = Latin1ToUtf8(data->synth->typeName);
      result = ReadParameterTable(std::string(file.bytes.begin(), file.bytes.end()), &table.second);
      if (!result.ok()) return Result::Failure(path + ": " + name + ": " + result.text);
      tables->push_back(std::move(table));
    }
  }
  return result;
}

Result TablesOfInstalled(CliEnvironment& environment, const std::string& name, std::vector<NamedTable>* tables) {
  Session session(environment);
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  Result result = session.FindInstrument(name, &instrument);
  if (!result.ok()) return result;
  const std::filesystem::path folder = session.studio().facts().ModuleFolder(instrument);
  for (const auto& driver : instrument->drivers) {
    const std::string file = (folder / ParameterTableName(driver->synth()->driverId)).string();
    std::string text;
    if (!ReadWholeFile(file, text, kMostInput).ok()) continue;
    NamedTable table;
    table.first = Latin1ToUtf8(driver->TypeName());
    result = ReadParameterTable(text, &table.second);
    if (!result.ok()) return Result::Failure(file + ": " + result.text);
    tables->push_back(std::move(table));
  }
  return result;
}

}  // namespace

std::string TableForms() {
  return "module table NAME|FILE [TYPE]    parameters of an installed module, a package or a chart, tab separated\n"
         "module table --import FILE.tsv   rows of a chart out of tab separated text\n";
}

int RunModuleTable(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() == 2 && args[0] == "--import") return Import(environment, args[1]);
  if (args.empty() || args.size() > 2 || args[0].starts_with("--"))
    return CliFailure(environment.err, "module", "\"table\" needs a module, a package or a chart.", TableForms());
  std::vector<NamedTable> tables;
  const std::string ending = AsciiLower(std::filesystem::path(args[0]).extension().string());
  const Result result = ending == ".chart" ? TablesOfChart(args[0], &tables)
                        : ending == ".pvz" ? TablesOfPackage(args[0], &tables)
                                           : TablesOfInstalled(environment, args[0], &tables);
  if (!result.ok()) return TableFailed(environment.err, result.text);
  if (args.size() == 2)
    std::erase_if(tables, [&](const NamedTable& table) { return !AsciiEqualNoCase(table.first, args[1]); });
  if (tables.empty())
    return TableFailed(environment.err, args[0] + " has no table of parameters" +
                                            (args.size() == 2 ? " for \"" + args[1] + "\"." : "."));
  environment.out.Lines("data\tplace\tname\trange\tshown\tnumber\tsection\twhen\n");
  for (const auto& [name, table] : tables) environment.out.Lines(PlainLines(ParameterTableSheet(table, name)));
  return 0;
}

}  // namespace tonalith
