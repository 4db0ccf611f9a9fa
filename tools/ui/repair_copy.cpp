#include "tools/ui/repair_copy.h"

#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "tools/dump_knowledge.h"
#include "tools/dump_repair.h"
#include "ui/beside.h"

namespace tonalith {

namespace {

constexpr char kRepairTitle[] = "Repair a Copy";
// Lines of a message box.
constexpr std::size_t kShownFindings = 15;

std::string FoundText(const RepairReport& report) {
  std::string text = std::to_string(report.Repaired()) + " repaired, " + std::to_string(report.Quarantined()) +
                     " quarantined; " + std::to_string(report.messages) +
                     (report.messages == 1 ? " message is" : " messages are") + " in the copy.\n";
  for (std::size_t i = 0; i < report.findings.size() && i < kShownFindings; ++i) {
    const RepairFinding& finding = report.findings[i];
    text += "\nAt byte " + std::to_string(finding.offset) + ": " + finding.what +
            (finding.repaired ? " (repaired)" : " (quarantined)");
  }
  if (report.findings.size() > kShownFindings)
    text += "\nand " + std::to_string(report.findings.size() - kShownFindings) + " more.";
  if (const std::string unknown = UnknownSentence(report); !unknown.empty()) text += "\n\n" + unknown;
  return text;
}

}  // namespace

std::string RepairIntoCopy(const ZKStudioDoc& studio, std::span<const std::uint8_t> dump, const std::string& path,
                           const std::string& folder, Prompts& prompts) {
  const DumpKnowledge knowledge(studio);
  RepairReport report;
  Result result;
  RunBeside([&] { result = RepairDump(knowledge, dump, &report); });
  const std::string unknown = UnknownSentence(report);
  if (result.ok() && report.findings.empty()) return "No damage was found.  " + unknown;
  if (result.ok() && report.messages == 0)
    result = Result::Failure(FoundText(report) + "\n\nNothing of it could be kept in a copy.");
  if (!result.ok()) {
    prompts.Say(kRepairTitle, result.text);
    return {};
  }
  MessagePrompt question;
  question.title = kRepairTitle;
  question.text = FoundText(report);
  question.buttons = PromptButtons::OkCancel;
  question.labels = {"Save Copy...", "Cancel"};
  if (prompts.Message(question) != PromptAnswer::Ok) return {};
  FilePrompt prompt;
  prompt.title = "Save the Repaired Copy";
  prompt.folder = path.empty() ? folder : FolderOf(path);
  prompt.name = (path.empty() ? std::string("Dump") : WithoutExtension(FileNameOf(path))) + " repaired.syx";
  prompt.patterns = FilePatterns("SysEx File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  prompt.save = true;
  const std::string copy = prompts.File(prompt);
  if (copy.empty()) return {};
  std::string quarantine;
  if (copy == path)
    result = Result::Failure("The damaged file stays as it is: choose another name for the copy.");
  else
    result = WriteRepair(report, copy, &quarantine);
  if (!result.ok()) {
    prompts.Say(kRepairTitle, result.text);
    return {};
  }
  return "The copy is " + copy + (quarantine.empty() ? "" : "; what is not in it as it was is in " + quarantine);
}

}  // namespace tonalith
