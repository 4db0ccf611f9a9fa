#include "cli/simulator_check.h"

#include "cli/session.h"
#include "simulator/description.h"
#include "simulator/instrument.h"

namespace tonalith {

int CheckSimulator(CliEnvironment& environment, const std::string& file) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadCliFile(environment, file, &bytes); !read.ok())
    return CliFailure(environment.err, "module", read.text);
  const DescriptionResult result = ParseDescription({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, file);
  for (const DescriptionMistake& mistake : result.mistakes) {
    environment.out << file << ":" << mistake.line << ":" << mistake.column << ": " << OwnText("error: ")
                    << mistake.text << "\n";
    if (!mistake.hint.empty()) environment.out << "    " << mistake.hint << "\n";
  }
  if (!result.description) {
    if (result.mistakes.empty()) return CliFailure(environment.err, "module", result.problem);
    return CliFailure(environment.err, "module", file + ": " + CountedRemarks(result.mistakes.size(), 0) + ".");
  }
  const std::vector<std::uint8_t> dump = SimulatedInstrument(*result.description).Dump();
  const LoadResult taken = SimulatedInstrument(*result.description).LoadDump(dump);
  for (const std::string& note : taken.notes)
    environment.out << file << ":" << result.description->line << ": " << OwnText("warning: ")
                    << "what it sends as everything is not taken back: " << note << "\n";
  environment.out << result.name << ": " << CountedRemarks(0, taken.notes.size()) << "; everything is " << dump.size()
                  << (dump.size() == 1 ? OwnText(" byte") : OwnText(" bytes")) << " in " << taken.messages
                  << (taken.messages == 1 ? OwnText(" message") : OwnText(" messages")) << "\n";
  return 0;
}

}  // namespace tonalith
