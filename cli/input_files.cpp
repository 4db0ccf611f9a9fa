#include "cli/input_files.h"

#include <istream>

#include "data/container.h"

namespace tonalith {

namespace {

constexpr char kStandardInput[] = "Standard input";

template <typename Container>
Result ReadEither(const std::string& operand, std::istream& in, Container* out, std::size_t limit) {
  return operand == "-" ? ReadWholeStream(in, kStandardInput, *out, limit) : ReadWholeFile(operand, *out, limit);
}

}  // namespace

Result ReadInput(const std::string& operand, std::istream& in, std::vector<std::uint8_t>* bytes, std::size_t limit) {
  return ReadEither(operand, in, bytes, limit);
}

Result ReadInput(const std::string& operand, std::istream& in, FileBytes* bytes, std::size_t limit) {
  return ReadEither(operand, in, bytes, limit);
}

Result ReadInput(const std::string& operand, std::istream& in, std::string* text, std::size_t limit) {
  return ReadEither(operand, in, text, limit);
}

bool NoteShortFile(const std::string& operand, std::span<const std::uint8_t> bytes, TerminalText err) {
  const std::string sentence = MissingSentence(operand, bytes);
  if (!sentence.empty()) err << "tonalith-cli: " << sentence << "\n";
  return !sentence.empty();
}

}  // namespace tonalith
