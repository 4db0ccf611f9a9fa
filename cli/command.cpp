#include "cli/command.h"

#include <ostream>

namespace tonalith {

int CliFailure(CliEnvironment& environment, const std::string& command, const std::string& sentence) {
  environment.err << "tonalith-cli " << command << ": " << sentence;
  if (sentence.empty() || sentence.back() != '\n') environment.err << "\n";
  return 1;
}

}  // namespace tonalith
