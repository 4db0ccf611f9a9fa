#include "cli/command.h"

namespace tonalith {

int CliFailure(TerminalText err, std::string_view command, std::string_view sentence, std::string_view forms) {
  err << "tonalith-cli " << command << ": " << PlainSentence(sentence) << "\n";
  err.Lines(forms);
  return 1;
}

}  // namespace tonalith
