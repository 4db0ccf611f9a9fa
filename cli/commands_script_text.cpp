#include "cli/commands_script_text.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

#include "cli/input_files.h"
#include "data/hex_text.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/lint.h"
#include "script/listing.h"

namespace tonalith {
namespace {

// A script compiles to at most 32767 bytes; nothing that is meant to be one is larger.
constexpr std::size_t kMaxScriptFile = std::size_t{4} << 20;

// The whole of FILE, or of the standard input for "-".
bool ReadScriptOperand(const std::string& operand, std::istream& in, TerminalText err, std::string& bytes) {
  const Result read = ReadInput(operand, in, &bytes, kMaxScriptFile);
  if (read.ok()) return true;
  if (read.code == kFileTooLarge) {
    err << "\"" << operand << "\" is larger than 4 MiB, which is no script.\n";
  } else {
    err << read.text << "\n";
  }
  return false;
}

int BytecodeDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char upper = AsciiUpper(c);
  return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

// Bytecode from hex text; empty when the input holds anything but pairs of digits, blanks and line ends.
std::optional<std::vector<std::uint8_t>> ParseBytecodeText(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  int high = -1;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    const int digit = BytecodeDigit(c);
    if (digit < 0) return std::nullopt;
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
      high = -1;
    }
  }
  if (high >= 0 || bytes.empty()) return std::nullopt;
  return bytes;
}

void PrintBytecode(std::span<const std::uint8_t> bytes, TerminalText out) {
  out << HexText(bytes) << "\n";
}

}  // namespace

const char* const kCompileHelp =
    "compile [--lint] [--capacity N] FILE|-   compile a script and print the bytecode in hex\n";
const char* const kListHelp = "list FILE|-   print the listing of bytecode (hex text or raw bytes)\n";

int RunCompile(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  bool lint = false;
  std::size_t capacity = kMaxScriptBytes;
  std::optional<std::string> operand;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--lint") {
      lint = true;
    } else if (args[i] == "--capacity" && i + 1 < args.size()) {
      const auto number = ParseInteger(args[++i]);
      if (!number || *number < 0 || *number > static_cast<std::int64_t>(kMaxScriptBytes)) {
        err << "The capacity is a number from 0 to " << kMaxScriptBytes << ".\n";
        return 1;
      }
      capacity = static_cast<std::size_t>(*number);
    } else if (!operand && (args[i] == "-" || args[i].empty() || args[i][0] != '-')) {
      operand = args[i];
    } else {
      err << "compile does not know \"" << args[i] << "\".\n";
      err.Lines(kCompileHelp);
      return 1;
    }
  }
  if (!operand) {
    err << "compile needs a file, or - for the standard input.\n";
    err.Lines(kCompileHelp);
    return 1;
  }
  std::string source;
  if (!ReadScriptOperand(*operand, in, err, source)) return 1;
  const CompileResult result = CompileScript(source, capacity);
  if (lint) {
    for (const LintWarning& warning : Lint(source)) err << FormatLintWarning(warning) << "\n";
  }
  if (!result.ok()) {
    err.Lines(result.report);
    if (result.report.back() != '\n') err << "\n";
    return 1;
  }
  PrintBytecode(result.code, out);
  return 0;
}

int RunList(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err) {
  if (args.size() != 1) {
    err << "list needs one file, or - for the standard input.\n";
    err.Lines(kListHelp);
    return 1;
  }
  std::string input;
  if (!ReadScriptOperand(args[0], in, err, input)) return 1;
  std::vector<std::uint8_t> code(input.begin(), input.end());
  if (auto bytes = ParseBytecodeText(input)) code = std::move(*bytes);
  const ListingResult result = ListScript(code);
  out.Lines(result.text);
  if (result.text.empty() || result.text.back() != '\n') out << "\n";
  if (result.error == ListingError::None) return 0;
  err.Lines(ListingReport(result.error)) << "\n";
  if (result.stoppedAt >= code.size()) {
    err << "The code ends without its end byte FF.\n";
  } else {
    err << Printf("No complete statement at byte %zu (%02X).", result.stoppedAt, code[result.stoppedAt]) << "\n";
  }
  return 1;
}

}  // namespace tonalith
