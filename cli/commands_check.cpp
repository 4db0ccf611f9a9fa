#include "cli/commands_check.h"

#include <algorithm>

#include "chart/instrument.h"
#include "chart/module_of_chart.h"
#include "cli/arguments.h"
#include "cli/known_drivers.h"
#include "cli/module_play.h"
#include "cli/module_trial.h"
#include "cli/simulator_check.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "studio/module_check.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxChartFile = 1u << 20;

int Failed(CliEnvironment& environment, const std::string& text) {
  return CliFailure(environment.err, "module", text);
}

struct CheckOptions {
  std::vector<std::string> dumps;
  std::string conversation, type;
  std::int64_t device = -1;
  std::vector<int> patches;
};

Result ReadCheckOptions(const CliArguments& args, CheckOptions* options) {
  Result result = args.state();
  options->dumps = args.Options("dump");
  options->conversation = args.Option("conversation").value_or("");
  options->type = args.Option("type").value_or("");
  if (result.ok()) result = args.Number("device", 0, 127, -1, &options->device);
  for (const std::string& text : args.Options("patch")) {
    const auto number = ParseInteger(text);
    if (result.ok() && (!number || *number < 0 || *number > 65535))
      result = Result::Failure("--patch takes a number from 0, not \"" + text + "\".");
    options->patches.push_back(static_cast<int>(number.value_or(0)));
  }
  return result;
}

// The trials; how many of them failed.
Result Try(CliEnvironment& environment, const ModuleImage& image, const CheckOptions& options, std::size_t* failed) {
  if (options.conversation.empty() && options.dumps.empty()) return Result::Success();
  ModuleTrial trial(environment);
  Result result = trial.Install(image);
  if (!result.ok()) return result;
  if (!options.conversation.empty()) {
    std::vector<std::uint8_t> bytes;
    result = ReadCliFile(environment, options.conversation, &bytes);
    if (!result.ok()) return result;
    std::string problem;
    auto talk = Conversation::Parse(std::string(bytes.begin(), bytes.end()), &problem);
    if (!talk) return Result::Failure(options.conversation + ": " + problem);
    if (talk->steps.empty()) return Result::Failure(options.conversation + ": The conversation is empty.");
    *failed += !trial.TryTalk(
        {options.conversation, std::move(*talk), options.type, static_cast<int>(options.device), options.patches},
        environment.out);
  }
  for (const std::string& dump : options.dumps) {
    std::vector<std::uint8_t> bytes;
    result = ReadCliFile(environment, dump, &bytes);
    if (!result.ok()) return result;
    *failed += !trial.TryDump(dump, bytes, 1024, environment.out);
  }
  return Result::Success();
}

void Print(TerminalText out, const ModuleRemark& remark) {
  out << remark.file << ":" << remark.line << (remark.column ? ":" + std::to_string(remark.column) : std::string())
      << ": " << (remark.isError ? OwnText("error: ") : OwnText("warning: ")) << remark.text << "\n";
  if (!remark.hint.empty()) out << "    " << remark.hint << "\n";
}

// A chart's data types against an instrument made from it, and beside the other modules.
Result Play(CliEnvironment& environment, const std::string& path, const ModuleImage& image, std::size_t* errors,
            std::size_t* warnings) {
  const std::filesystem::path file = ChartOfPath(path);
  if (file.empty()) return Result::Success();
  std::string text;
  Result result = ReadWholeFile(file.string(), text, kMaxChartFile);
  if (!result.ok()) return result;
  ChartProblems problems(file.string());
  const ChartText chart = ReadChartText(text, &problems);
  const ChartInstrument instrument = ReadChartInstrument(chart, &problems);
  ModuleTrial trial(environment);
  result = trial.InstallBeside(image);
  if (!result.ok()) return result;
  ModulePlay play(trial.session(), instrument, image.name);
  play.Play();
  for (const std::string& line : play.lines()) environment.out << line << "\n";
  for (const PlayMistake& mistake : play.mistakes()) {
    (mistake.isError ? *errors : *warnings) += 1;
    Print(environment.out, {mistake.isError, file.string(), mistake.at.line, mistake.text, {}, mistake.at.column});
  }
  return result;
}

int Check(CliEnvironment& environment, const std::string& folder, const CheckOptions& options) {
  ModuleImage image;
  std::vector<ModuleRemark> remarks;
  Result result = CheckModuleAt(folder, {}, &remarks, &image);
  if (result.ok() && !image.name.empty())
    result = CheckModuleAt(folder, KnownDrivers(environment, image.name), &remarks, &image);
  if (!result.ok()) return Failed(environment, result.text);
  std::size_t errors = 0, warnings = 0, failed = 0;
  for (const ModuleRemark& remark : remarks) {
    (remark.isError ? errors : warnings) += 1;
    Print(environment.out, remark);
  }
  if (!image.name.empty()) {
    // A conversation takes the place of the instrument made from the chart.
    if (errors == 0 && options.conversation.empty()) result = Play(environment, folder, image, &errors, &warnings);
    if (result.ok()) result = Try(environment, image, options, &failed);
    if (!result.ok()) return Failed(environment, result.text);
  }
  const std::string counts = CountedRemarks(errors, warnings);
  if (errors == 0 && failed == 0) {
    environment.out << image.name << ": " << counts << "\n";
    return 0;
  }
  const std::string trials = failed ? "; " + Counted(failed, "trial") + " failed" : "";
  return Failed(environment, folder + ": " + counts + trials + ".");
}

}  // namespace

std::string ModuleCheckForms() {
  return "module check CHART|FOLDER [--conversation FILE [--type NAME] [--patch N]... [--device N]] [--dump FILE]...\n"
         "                              what is wrong with a chart or a source folder, and whether it works\n"
         "module check --simulator FILE [--simulator FILE]...\n"
         "                              what is wrong with the description of a simulated instrument\n";
}

int RunModuleCheck(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"conversation", "type", "dump", "patch", "device", "simulator"});
  CheckOptions options;
  const Result result = ReadCheckOptions(arguments, &options);
  if (!result.ok()) return Failed(environment, result.text);
  const std::vector<std::string> descriptions = arguments.Options("simulator");
  const bool isModule = arguments.words().size() == 1;
  if (!isModule && (descriptions.empty() || !arguments.words().empty()))
    return Failed(environment, "\"check\" needs one chart or source folder, or --simulator and a file.");
  int status = 0;
  for (const std::string& file : descriptions) status = std::max(status, CheckSimulator(environment, file));
  return isModule ? std::max(status, Check(environment, arguments.words()[0], options)) : status;
}

}  // namespace tonalith
