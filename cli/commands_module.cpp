#include "cli/commands_module.h"

#include <istream>

#include "chart/chart_reference.h"
#include "chart/module_of_chart.h"
#include "cli/arguments.h"
#include "cli/command.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "studio/recognize.h"
#include "studio/shipped_manifest.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

int ModuleFailed(TerminalText err, const std::string& text) {
  return CliFailure(err, "module", text);
}

int ModuleBuild(const std::vector<std::string>& args, TerminalText out, TerminalText err) {
  const CliArguments arguments(args, {"variant"});
  if (!arguments.state().ok()) return ModuleFailed(err, arguments.state().text);
  const std::vector<std::string>& words = arguments.words();
  if (words.size() != 3)
    return ModuleFailed(err, "\"build\" needs a chart or a source folder, and a package to write.");
  ModuleImage image;
  std::vector<std::string> mistakes;
  Result result = BuildModuleAt(words[1], &image, &mistakes, arguments.Option("variant").value_or(""));
  if (result.ok()) result = WritePackage(image.files, words[2]);
  for (std::size_t i = 1; i < mistakes.size(); ++i) ModuleFailed(err, mistakes[i - 1]);
  if (!result.ok()) return ModuleFailed(err, mistakes.empty() ? result.text : mistakes.back());
  out << image.name << ": " << image.files.size() << " files in " << words[2] << "\n";
  return 0;
}

int ModuleList(TerminalText out, TerminalText err, const std::filesystem::path& instruments) {
  ScriptedPrompts prompts({});
  ZKStudioDoc studio({instruments, {}, {}, {}}, prompts);
  studio.LoadStudio();
  for (const auto& instrument : studio.instruments()) {
    out << instrument->name << "\tversion "
        << IniFile(instrument->GetIniPath().string()).GetInt("Instrument", "Version") << "\t" << instrument->moduleFile
        << "\n";
    for (const auto& driver : instrument->drivers) {
      const Synth& s = *driver->synth();
      out << "\t" << Latin1ToUtf8(driver->TypeName()) << "\t" << s.driverId << "\t" << s.fileSize << " bytes\t"
          << s.numVoices << (s.numVoices == 1 ? OwnText(" patch") : OwnText(" patches")) << "\n";
    }
  }
  int code = 0;
  for (const std::string& line : prompts.Log()) code = ModuleFailed(err, line);
  const Recognizer recognizer(studio);
  for (const std::string& problem : recognizer.problems()) code = ModuleFailed(err, problem);
  return code;
}

}  // namespace

const char* ModuleUsage() {
  return "module build SOURCE OUT.pvz   build a module package from a chart or a source folder\n"
         "  --variant NAME              of a relative that the chart describes\n"
         "module manifest FOLDER        write the list that the packages of a folder are verified with\n"
         "module words                  every key and word of charts, with examples\n"
         "module list                   installed modules and their data types\n";
}

int RunModule(const std::vector<std::string>& args, std::istream&, TerminalText out, TerminalText err,
              const std::filesystem::path& instruments) {
  const std::string verb = args.empty() ? "" : args[0];
  if (verb == "build") return ModuleBuild(args, out, err);
  if (verb == "manifest" && args.size() == 2) {
    const Result written = WriteShippedManifest(args[1]);
    return written.ok() ? 0 : ModuleFailed(err, written.text);
  }
  if (verb == "words" && args.size() == 1) {
    for (const std::string& line : SplitText(TrimmedView(ChartReference()), '\n')) out << line << "\n";
    return 0;
  }
  if (verb == "list" && args.size() == 1) return ModuleList(out, err, instruments);
  return CliFailure(err, "module", "what to do is missing.", ModuleUsage());
}

}  // namespace tonalith
