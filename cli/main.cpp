#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "cli/command_line_tool.h"
#include "platform/terminal_text.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    tonalith::CliEnvironment environment{std::cin, std::cout, std::cerr, tonalith::Folders::Standard()};
    environment.canAsk = isatty(STDIN_FILENO) != 0;
    environment.showsProgress = isatty(STDERR_FILENO) != 0;
    environment.catchesSignals = true;
    return tonalith::RunCommandLine(std::vector<std::string>(argv + 1, argv + argc), environment);
  } catch (const std::exception& error) {
    tonalith::WriteErrorLine(std::string("tonalith-cli: ") + error.what());
    return 1;
  }
}
