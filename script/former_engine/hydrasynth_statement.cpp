#include "script/hydrasynth.h"

#include "script/former_engine/macro_statements.h"

namespace tonalith::former {

int MacroStatements::Hydrasynth(ZKMacro& m, std::uint8_t sub, std::int32_t mode, std::int32_t extra) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  if (session.Ended()) return session.Poll();
  session.LookSoon();
  const auto buffer = Remaining(s.receive);
  const int patch = s.registers[0];
  int r = 0;
  if (sub == 74) {
    r = ASMHydrasynthRecv(session.services, session.context, *s.synth, buffer, patch, mode, extra);
  } else if (sub == 75) {
    r = ASMHydrasynthSend(session.services, session.context, *s.synth, buffer, patch, mode, extra);
  } else {
    r = ASMHydrasynthBurn(session.services, session.context, *s.synth, buffer, patch, mode, extra);
  }
  constexpr std::size_t kResultEntry = 10;
  SetEntry(s, kResultEntry, r);
  if (r < 0) return r;
  Advance(s.receive, r);
  return 0;
}

}  // namespace tonalith::former
