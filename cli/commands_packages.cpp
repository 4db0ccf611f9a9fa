#include "cli/commands_packages.h"

#include <unistd.h>

#include "cli/arguments.h"
#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "services/settings.h"
#include "studio/module_install.h"
#include "studio/module_server.h"

namespace tonalith {

namespace {

// The modules that may lose their place, of those that would: named by INI, INI without its extension, or name.
std::vector<std::string> AllowedToReplace(const PackagePreview& preview, const std::vector<std::string>& named) {
  std::vector<std::string> allowed;
  for (const ModuleConflict& conflict : preview.conflicts) {
    const ModuleIdentity& victim = conflict.victim;
    for (const std::string& name : named) {
      if (AsciiEqualNoCase(name, victim.moduleFile) || AsciiEqualNoCase(name, WithoutExtension(victim.moduleFile)) ||
          AsciiEqualNoCase(name, victim.name))
        allowed.push_back(victim.moduleFile);
    }
  }
  return allowed;
}

// Installs one package and says on standard output what was done; `source` is where it came from.
Result InstallForCli(Session& session, const std::string& source, const PackageData& package,
                     const std::vector<std::string>& replace) {
  TerminalText out = session.environment().out;
  PackagePreview preview;
  Result result = PreviewPackage(package, session.instruments(), &preview);
  if (!result.ok()) return result;
  out << source << ": " << package.bytes.size() << " bytes, SHA-256 " << package.sha256 << "\n";
  InstallOptions options;
  options.replace = AllowedToReplace(preview, replace);
  InstallReport report;
  result = InstallInstrumentModule(session.studio(), package, true, &report, nullptr, options);
  if (!result.ok()) {
    for (const std::string& notice : session.TakeNotices())
      if (notice.find(result.text) == std::string::npos) result.text += " " + notice;
    if (result.code == kPackageConflict)
      result.text +=
          "  To let it, give --replace and the name of the module that makes room; it is moved to \".trash\".";
    return result;
  }
  out << (report.name.empty() ? source + ": the package is empty" : report.name + ": installed") << "\n";
  for (const PackagePreview::Module& module : preview.further) out << "also\t" << module.name << "\n";
  for (const std::string& replaced : report.replaced) out << "replaced\t" << replaced << "\n";
  for (const std::string& kept : report.kept) out << "kept\t" << kept << "\n";
  return result;
}

// The server of the settings, or the one that the options name.  A password never stands on the command line, where
// everybody on the machine can read it.
Result ServerOf(Session& session, const CliArguments& arguments, ModuleServer* server) {
  *server = ChosenModuleServer(session.settings(), session.paths().MainGetPreferencesIni());
  if (const auto site = arguments.Option("site")) *server = {*site, "", "", "", false};
  server->directory = arguments.Option("directory").value_or(server->directory);
  server->user = arguments.Option("user").value_or(server->user);
  server->plainPassword = arguments.Has("plain-password");
  if (const auto file = arguments.Option("password-file")) {
    std::string text;
    if (Result read = ReadWholeFile(*file, text, 4096); !read.ok()) return read;
    server->password = text.substr(0, text.find_first_of("\r\n"));
  }
  return server->Configured() ? Result::Success()
                              : Result::Failure("no module server is set up; name one with --site.");
}

Result ListServer(Session& session, ModuleServerSession& server) {
  std::vector<std::string> names;
  std::size_t leftOut = 0;
  if (Result listed = server.List(&names, &leftOut); !listed.ok()) return listed;
  for (const std::string& name : names) session.environment().out << name << "\n";
  if (leftOut > 0) session.environment().err << "tonalith-cli module: " << leftOut << " more are not shown\n";
  return Result::Success();
}

Result InstallFromServer(Session& session, ModuleServerSession& server, const ModuleServer& from,
                         const CliArguments& arguments) {
  const std::filesystem::path folder = session.instruments() / (".download-" + std::to_string(::getpid()));
  Result result = EnsureInstrumentFolder(session.instruments(), session.paths().MainGetResourcePath());
  if (result.ok()) session.LoadStudio();
  for (const std::string& name : arguments.words()) {
    if (!result.ok()) break;
    std::filesystem::path file;
    PackageData package;
    result = server.Download(name, folder, {}, &file);
    if (result.ok()) result = LoadPackage(file, &package);
    if (result.ok())
      result = InstallForCli(session, from.site + "/" + JoinPath(from.directory, name), package,
                             arguments.Options("replace"));
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return result;
}

}  // namespace

int RunModuleServer(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"site", "directory", "user", "password-file", "replace"}, {"plain-password"});
  if (!arguments.state().ok()) return CliFailure(environment.err, "module", arguments.state().text);
  Session session(environment);
  ModuleServer from;
  Result result = ServerOf(session, arguments, &from);
  if (result.ok()) {
    ModuleServerSession server(from, environment.interrupt);
    result =
        arguments.words().empty() ? ListServer(session, server) : InstallFromServer(session, server, from, arguments);
  }
  if (result.code == kServerNoTlsCode) result.text += "  --plain-password allows it.";
  return result.ok() ? 0 : CliFailure(environment.err, "module", result.text);
}

std::string PackageForms() {
  return "module install FILE.pvz ... [--replace MODULE ...]\n"
         "                              install packages into the instrument folder; --replace names another module\n"
         "                              that may lose its place to a package\n"
         "module server [NAME.pvz ...] [--site SITE] [--directory FOLDER] [--user USER] [--password-file FILE]\n"
         "              [--plain-password] [--replace MODULE ...]\n"
         "                              the packages of the module server; fetches and installs those that are named.\n"
         "                              --plain-password lets the password go over an unencrypted connection\n";
}

int RunModuleInstall(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"replace"});
  Result result = arguments.state();
  if (result.ok() && arguments.words().empty()) result = Result::Failure("\"install\" needs a package.");
  if (!result.ok()) return CliFailure(environment.err, "module", result.text);
  Session session(environment);
  result = EnsureInstrumentFolder(session.instruments(), session.paths().MainGetResourcePath());
  if (!result.ok()) return CliFailure(environment.err, "module", result.text);
  session.LoadStudio();
  for (const std::string& file : arguments.words()) {
    PackageData package;
    result = LoadPackage(AbsolutePath(file), &package);
    if (result.ok()) result = InstallForCli(session, file, package, arguments.Options("replace"));
    if (!result.ok()) return CliFailure(environment.err, "module", result.text);
  }
  return 0;
}

}  // namespace tonalith
