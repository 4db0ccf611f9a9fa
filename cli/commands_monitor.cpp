#include "cli/commands_monitor.h"

#include <istream>

#include "cli/command.h"
#include "cli/commands_data.h"
#include "midi/sysex_assembler.h"
#include "platform/prompts.h"
#include "platform/terminal_text.h"
#include "studio/studio_document.h"
#include "tools/monitor_lines.h"
#include "tools/sysex_words.h"

namespace tonalith {

namespace {

// Prints each message of a stream as the monitor shows it.
class LinePrinter final : public SysExAssembler::Listener {
 public:
  LinePrinter(SysExWords& words, TerminalText out) : words_(words), out_(out) {}

  void Short(std::span<const std::uint8_t> message) override { out_ << MonitorText(message) << "\n"; }
  void SysExBegin() override { sysex_.clear(); }
  void SysExBytes(std::span<const std::uint8_t> bytes) override {
    sysex_.insert(sysex_.end(), bytes.begin(), bytes.end());
  }
  void SysExEnd(bool complete) override {
    out_ << MonitorText(sysex_);
    if (const std::string words = words_.Words(sysex_); !words.empty()) out_ << "\t" << words;
    out_ << "\n";
    if (!complete) unfinished_ = true;
    sysex_.clear();
  }
  void Stray(std::span<const std::uint8_t> bytes) override { CountStray(bytes.size()); }
  void CountStray(std::size_t count) { stray_ += count; }

  // What was wrong with the stream; empty when nothing was.
  std::string Problem() const {
    if (unfinished_) return "a SysEx message has no end (F7).";
    if (stray_) return std::to_string(stray_) + " bytes belong to no message.";
    return {};
  }

 private:
  SysExWords& words_;
  TerminalText out_;
  std::vector<std::uint8_t> sysex_;
  std::size_t stray_ = 0;
  bool unfinished_ = false;
};

}  // namespace

std::string MonitorForms() {
  return "monitor HEX|@FILE|-           how the MIDI monitor shows messages, a line each\n";
}

std::string MonitorDetails() {
  return "The bytes, what the message is, and behind a tab what a SysEx message is in the words of the installed\n"
         "instruments: instrument, data type, number and name of the patch, checksum.\n\n"
         "  tonalith-cli monitor \"90 3C 40\"\n"
         "  tonalith-cli monitor @rom1a.syx\n";
}

int RunMonitor(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
               const std::filesystem::path& instruments) {
  std::vector<std::uint8_t> bytes;
  std::string problem;
  std::string operand;
  for (const std::string& arg : args) operand += (operand.empty() ? "" : " ") + arg;
  if (operand.empty()) problem = "bytes are needed.";
  if (problem.empty() && ReadBytesOperand(operand, in, &bytes, &problem) && bytes.empty()) problem = "no bytes.";
  if (!problem.empty()) {
    return CliFailure(err, "monitor", problem);
  }
  ScriptedPrompts prompts{{}};
  ZKStudioDoc studio({instruments, {}, {}, {}}, prompts);
  studio.LoadStudio();
  SysExWords words(&studio);
  LinePrinter printer(words, out);
  SysExAssembler assembler;
  assembler.Feed(bytes, printer);
  if (assembler.open()) printer.SysExEnd(false);
  printer.CountStray(assembler.pending());
  problem = printer.Problem();
  if (problem.empty()) return 0;
  return CliFailure(err, "monitor", problem);
}

}  // namespace tonalith
