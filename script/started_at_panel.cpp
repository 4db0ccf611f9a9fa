#include "script/started_at_panel.h"

#include <span>

#include "script/protocols/built_in_protocols.h"
#include "script/statement_table.h"

namespace tonalith {

namespace {

bool MaySend(const StatementInfo& statement) {
  switch (statement.id) {
    case Statement::T:
    case Statement::B:
    case Statement::TR:
    case Statement::RCOMM:
    case Statement::MACRO:
    case Statement::KURZ:
    case Statement::ASMHydrasynthRecv:
      return true;
    default:
      return statement.route.target != RouteTarget::None;
  }
}

// Nothing but receives: what could not be read may send.
bool OnlyReceives(std::span<const std::uint8_t> code) {
  bool receives = false;
  for (std::size_t at = 0; at < code.size() && IsDefinedOpcode(code[at]);) {
    const StatementInfo* statement = FindStatement(code[at], at + 1 < code.size() ? code[at + 1] : 0);
    const std::size_t operands = OperandBytes(code.data() + at, code.size() - at);
    if (!statement || operands == kBadStatement || MaySend(*statement)) return false;
    receives = receives || statement->id == Statement::R || statement->id == Statement::RA;
    at += 1 + operands;
  }
  return receives;
}

}  // namespace

bool StartedAtPanel(const DataFile& dataFile) {
  if (!dataFile.synth) return false;
  const Synth& synth = *dataFile.synth;
  if (synth.noChecksumOnFormat != 0)
    return dataFile.receiveScript && OnlyReceives({dataFile.receiveScript, dataFile.receiveScriptSize});
  return !BuiltInProtocols::Asks(synth);
}

}  // namespace tonalith
