#include "cli/command.h"

namespace tonalith {

int CliFailure(TerminalText err, std::string_view command, std::string_view sentence, std::string_view forms) {
  err << "tonalith-cli " << command << ": " << PlainSentence(sentence) << "\n";
  err.Lines(forms);
  return 1;
}

std::string Counted(std::size_t count, const std::string& what) {
  return (count ? std::to_string(count) : "no") + " " + what + (count == 1 ? "" : "s");
}

std::string CountedRemarks(std::size_t errors, std::size_t warnings) {
  return Counted(errors, "error") + ", " + Counted(warnings, "warning");
}

}  // namespace tonalith
