#include "cli/commands_authoring.h"

#include <algorithm>

#include "chart/module_of_chart.h"
#include "cli/arguments.h"
#include "cli/module_trial.h"
#include "cli/simulator_check.h"
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

// The driver ids of the modules that the user has and that the program comes with.
std::map<int, std::string> KnownDrivers(CliEnvironment& environment, const std::string& except) {
  std::map<int, std::string> known;
  const auto add = [&](const PackageFiles& files) {
    for (const auto& [id, name] : DriverIdsOf(files))
      if (!AsciiEqualNoCase(name, except.substr(0, 31))) known.emplace(id, name);
  };
  const std::string shipped = ShippedModulesFolder(environment.folders.resources).string();
  for (const std::string& name : ListFolder(shipped, "*.pvz")) {
    PackageFiles files;
    if (ReadPackage(JoinPath(shipped, name), &files).ok()) add(files);
  }
  // A program that was never started has no folders, and looking is no reason to make them.
  if (!FileExists(RegistryFile(environment.folders))) return known;
  const std::string own = Session(environment).instruments().string();
  for (const std::string& name : ListFolder(own)) {
    if (!FolderExists(JoinPath(own, name))) continue;
    PackageFiles files;
    for (const std::string& driver : ListFolder(JoinPath(own, name), "*.PV6")) {
      PackageFile file{driver, {}};
      if (ReadWholeFile(JoinPath(JoinPath(own, name), driver), file.bytes, 16u << 20).ok())
        files.push_back(std::move(file));
    }
    add(files);
  }
  return known;
}

// The first base from `wanted` on at which no number is taken.
int FreeDriverBase(const std::map<int, std::string>& known, int wanted, int count) {
  for (int base = wanted; base + count <= 65000; ++base) {
    const auto next = known.lower_bound(base);
    if (next == known.end() || next->first >= base + count) return base;
  }
  return wanted;
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

int Check(CliEnvironment& environment, const std::string& folder, const CheckOptions& options) {
  ModuleImage image;
  std::vector<ModuleRemark> remarks;
  Result result = CheckModuleAt(folder, {}, &remarks, &image);
  if (result.ok() && !image.name.empty())
    result = CheckModuleAt(folder, KnownDrivers(environment, image.name), &remarks, &image);
  if (!result.ok()) return Failed(environment, result.text);
  std::size_t errors = 0, failed = 0;
  for (const ModuleRemark& remark : remarks) {
    errors += remark.isError;
    environment.out << remark.file << ":" << remark.line
                    << (remark.column ? ":" + std::to_string(remark.column) : std::string()) << ": "
                    << (remark.isError ? OwnText("error: ") : OwnText("warning: ")) << remark.text << "\n";
    if (!remark.hint.empty()) environment.out << "    " << remark.hint << "\n";
  }
  if (!image.name.empty()) {
    result = Try(environment, image, options, &failed);
    if (!result.ok()) return Failed(environment, result.text);
  }
  const std::string counts = CountedRemarks(errors, remarks.size() - errors);
  if (errors == 0 && failed == 0) {
    environment.out << image.name << ": " << counts << "\n";
    return 0;
  }
  const std::string trials = failed ? "; " + Counted(failed, "trial") + " failed" : "";
  return Failed(environment, folder + ": " + counts + trials + ".");
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
         "  --dump FILE                 finds out what a recorded dump tells; what is said goes before what is found\n"
         "module check CHART|FOLDER [--conversation FILE [--type NAME] [--patch N]... [--device N]] [--dump FILE]...\n"
         "                              what is wrong with a chart or a source folder, and whether it works\n"
         "module check --simulator FILE [--simulator FILE]...\n"
         "                              what is wrong with the description of a simulated instrument\n";
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

int RunModuleCheck(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"conversation", "type", "dump", "patch", "device", "simulator"});
  CheckOptions options;
  const Result result = ReadCheckOptions(arguments, &options);
  if (!result.ok()) return Failed(environment, result.text);
  const std::vector<std::string> descriptions = arguments.Options("simulator");
  const bool isFolder = arguments.words().size() == 1;
  if (!isFolder && (descriptions.empty() || !arguments.words().empty()))
    return Failed(environment, "\"check\" needs one chart or source folder, or --simulator and a file.");
  int status = 0;
  for (const std::string& file : descriptions) status = std::max(status, CheckSimulator(environment, file));
  return isFolder ? std::max(status, Check(environment, arguments.words()[0], options)) : status;
}

}  // namespace tonalith
