#include "cli/commands_authoring.h"

#include <algorithm>

#include "chart/module_of_chart.h"
#include "cli/arguments.h"
#include "cli/known_drivers.h"
#include "cli/module_trial.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/module_check.h"
#include "studio/module_draft.h"
#include "studio/shipped_modules.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLargest = 16 << 20;  // bytes of a message, as a descriptor takes it

int Failed(CliEnvironment& environment, const std::string& text) {
  return CliFailure(environment.err, "module", text);
}

// Options of several words ("--name-at 6 10") become one value.
std::vector<std::string> JoinedValues(const std::vector<std::string>& args) {
  std::vector<std::string> joined;
  for (std::size_t i = 0; i < args.size(); ++i) {
    joined.push_back(args[i]);
    const std::size_t count = args[i] == "--name-at" ? 2 : args[i] == "--checksum" ? 4 : 0;
    if (count == 0 || i + 1 >= args.size() || args[i + 1].find(' ') != std::string::npos) continue;
    std::string value;
    for (std::size_t k = 0; k < count && i + 1 < args.size() && args[i + 1].compare(0, 2, "--") != 0; ++k)
      value += (k ? " " : "") + args[++i];
    joined.push_back(value);
  }
  return joined;
}

// So many whole numbers of an option, from 0 on.
Result Numbers(const CliArguments& args, const std::string& option, const std::string& what, std::size_t count,
               std::vector<std::uint32_t>* numbers) {
  numbers->clear();
  const auto text = args.Option(option);
  if (!text) return Result::Success();
  for (const std::string& word : SplitText(*text, ' ')) {
    const auto number = ParseInteger(word);
    if (!number || *number < 0 || *number > kLargest) break;
    numbers->push_back(static_cast<std::uint32_t>(*number));
  }
  if (numbers->size() == count && SplitText(*text, ' ').size() == count) return Result::Success();
  return Result::Failure("--" + option + " takes the numbers " + what + ", not \"" + *text + "\".");
}

Result ReadNewOptions(const CliArguments& args, DraftOptions* options) {
  Result result = args.state();
  options->name = args.Option("name").value_or("");
  const auto bytes = [&](const char* name, DraftBytes* into) {
    const auto text = args.Option(name);
    std::string error;
    if (result.ok() && text && !DraftBytes::Parse(*text, into, &error))
      result = Result::Failure(std::string("--") + name + ": " + error);
  };
  bytes("request", &options->request);
  bytes("header", &options->header);
  bytes("bank-request", &options->bankRequest);
  bytes("bank-header", &options->bankHeader);
  const auto number = [&](const char* name, std::int64_t low, std::int64_t high, auto* into) {
    std::int64_t value = 0;
    if (result.ok()) result = args.Number(name, low, high, *into, &value);
    *into = static_cast<std::remove_pointer_t<decltype(into)>>(value);
  };
  number("reply", 5, kLargest, &options->reply);
  number("channel-byte", 2, 255, &options->channelByte);
  number("bank", 2, 65535, &options->bank);
  number("bank-reply", 5, kLargest, &options->bankReply);
  number("patch-size", 1, kLargest, &options->patchSize);
  number("driver-base", 1, 65000, &options->driverBase);
  std::vector<std::uint32_t> numbers;
  if (result.ok()) result = Numbers(args, "name-at", "OFFSET LENGTH", 2, &numbers);
  if (numbers.size() == 2) options->nameOffset = numbers[0], options->nameLength = numbers[1];
  if (result.ok()) result = Numbers(args, "checksum", "TYPE START COUNT OFFSET", 4, &numbers);
  if (result.ok() && numbers.size() == 4) {
    if (numbers[0] > 19) return Result::Failure("--checksum: the types go from 0 to 19.");
    options->checksum = DraftChecksum{static_cast<int>(numbers[0]), numbers[1], numbers[2], numbers[3], 1};
  }
  return result;
}

// Nothing is written when one of the files is there already.
Result WriteSource(const std::string& folder, const ModuleSource& source) {
  if (FileExists(folder)) return Result::Failure("\"" + folder + "\" is a file; a folder is needed.");
  if (FolderExists(folder) && !ListFolder(folder).empty())
    return Result::Failure("The folder \"" + folder + "\" is not empty; nothing in it is overwritten.");
  Result result = MakeFolders(folder);
  for (const auto& [name, text] : source)
    if (result.ok()) result = WriteFileAtomically(JoinPath(folder, name), std::string_view(text));
  return result;
}

int New(CliEnvironment& environment, const std::string& folder, const CliArguments& args, DraftOptions options) {
  ModuleDraft draft;
  std::vector<std::uint8_t> dump;
  Result result = Result::Success();
  const auto file = args.Option("dump");
  if (file) {
    result = ReadCliFile(environment, *file, &dump);
    std::vector<DraftFinding> findings;
    if (result.ok()) {
      result = DraftOfDump(dump, options, &draft, &findings);
      if (!result.ok()) result.text = *file + ": " + result.text;
    }
    for (const DraftFinding& finding : findings)
      if (result.ok())
        environment.out << std::string_view(DraftTrustText(finding.trust)) << "\t" << finding.text << "\n";
  } else {
    result = DraftOfOptions(options, &draft);
  }
  if (result.ok() && options.driverBase == 0)
    draft.driverBase =
        FreeDriverBase(KnownDrivers(environment, options.name), draft.driverBase, static_cast<int>(draft.types.size()));
  ModuleSource source;
  if (result.ok()) result = WriteDraft(draft, &source);
  if (result.ok()) result = WriteSource(folder, source);
  if (!result.ok()) return Failed(environment, result.text);
  environment.out << draft.name << ": " << source.size() << " files in " << folder << ":";
  for (const auto& [name, text] : source) environment.out << " " << name;
  environment.out << "\n";
  if (!file) return 0;
  ModuleImage image;
  ModuleTrial trial(environment);
  result = BuildModule(source, &image);
  if (result.ok()) result = trial.Install(image);
  if (!result.ok()) return Failed(environment, result.text);
  if (trial.TryDump(FileNameOf(*file), dump, 4, environment.out)) return 0;
  return Failed(environment, "The module was written, but it does not take all of the dump yet.");
}

}  // namespace

std::string AuthoringForms() {
  return "module new FOLDER --name NAME --request HEX --reply SIZE [OPTIONS]\n"
         "                              makes the source folder of a new instrument\n"
         "  --header HEX                how the reply begins; ? is any digit, nn (here and in the request) the patch\n"
         "                              number\n"
         "  --channel-byte N            the byte of request and reply that is the device number; F0 is byte 0\n"
         "  --bank COUNT                also the bank: patch by patch when the request has nn, else as one message\n"
         "  --bank-request HEX, --bank-header HEX, --bank-reply SIZE   of a bank that comes as one message\n"
         "  --patch-size N              bytes from one patch of that message to the next\n"
         "  --name-at OFFSET LENGTH     the patch name, counted from the F0\n"
         "  --checksum TYPE START COUNT OFFSET      docs/authoring.md names the types\n"
         "  --driver-base N             the number of the first data type\n"
         "  --dump FILE                 finds out what a recorded dump tells; what is said goes before what is found\n";
}

int RunModuleNew(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(
      JoinedValues(args), {"name", "request", "reply", "header", "channel-byte", "bank", "bank-request", "bank-header",
                           "bank-reply", "patch-size", "name-at", "checksum", "driver-base", "dump"});
  DraftOptions options;
  const Result result = ReadNewOptions(arguments, &options);
  if (!result.ok()) return Failed(environment, result.text);
  if (arguments.words().size() != 1) return Failed(environment, "\"new\" needs one folder to write.");
  return New(environment, arguments.words()[0], arguments, std::move(options));
}

}  // namespace tonalith
