#include "cli/commands_module_text.h"

#include "chart/chart_of_module.h"
#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "studio/package.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostFile = 16u << 20;

int TextFailed(CliEnvironment& environment, const std::string& sentence) {
  return CliFailure(environment.err, "module", sentence);
}

// The files of an installed module, as its package has them.
Result FilesOfInstalled(CliEnvironment& environment, const std::string& wanted, std::string* name,
                        PackageFiles* files) {
  Session session(environment);
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  Result result = session.FindInstrument(wanted, &instrument);
  if (!result.ok()) return result;
  *name = instrument->name;
  const auto add = [&](const std::string& path) {
    PackageFile file{FileNameOf(path), {}};
    if (ReadWholeFile(path, file.bytes, kMostFile).ok()) files->push_back(std::move(file));
  };
  add(instrument->GetIniPath().string());
  const std::string folder = session.studio().facts().ModuleFolder(instrument).string();
  for (const std::string& file : ListFolder(folder))
    if (!FolderExists(JoinPath(folder, file))) add(JoinPath(folder, file));
  return result;
}

}  // namespace

std::string ModuleTextForms() {
  return "module text NAME|FILE.pvz        the chart of an installed module or of a package\n";
}

Result FindModuleChart(CliEnvironment& environment, const std::string& module, ChartOfModule* chart) {
  std::string name = FileNameOf(module);
  PackageFiles files;
  Result result = Result::Success();
  if (module.ends_with(".pvz")) {
    name.resize(name.size() - 4);
    result = ReadPackage(module, &files);
  } else {
    result = FilesOfInstalled(environment, module, &name, &files);
  }
  if (result.ok() && !FindChartOfModule(name, files, chart)) result = Result::Failure(module + " holds no data type.");
  return result;
}

int RunModuleText(CliEnvironment& environment, const std::vector<std::string>& args) {
  if (args.size() != 1) return TextFailed(environment, "\"text\" needs the name of an installed module, or a package.");
  ChartOfModule chart;
  const Result result = FindModuleChart(environment, args[0], &chart);
  if (!result.ok()) return TextFailed(environment, result.text);
  environment.out.Lines(PlainLines(chart.text));
  if (!chart.whole)
    environment.err << "The module has no chart: this was made from its descriptors, and the rest are scripts.\n";
  return 0;
}

}  // namespace tonalith
