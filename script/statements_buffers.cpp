#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/log.h"
#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::int32_t kMessageLimitFrom = 30;  // X above this on entry limits the count of "GM"

// Cursors into a buffer that is given up point nowhere afterwards.
void ForgetMemory(const std::vector<std::uint8_t>* buffer, std::initializer_list<ByteWindow*> windows) {
  if (!buffer || buffer->empty()) return;
  for (ByteWindow* window : windows) {
    if (window->base() == buffer->data()) *window = {};
  }
}

// Length of the run of complete SysEx messages at the start.
std::int32_t SysExRun(std::span<const std::uint8_t> data) {
  std::size_t end = 0;
  while (end < data.size() && data[end] == 0xF0) {
    const auto found = std::find(data.begin() + static_cast<std::ptrdiff_t>(end), data.end(), std::uint8_t{0xF7});
    if (found == data.end()) break;
    end = static_cast<std::size_t>(found - data.begin()) + 1;
  }
  return static_cast<std::int32_t>(end);
}

}  // namespace

void MacroStatements::ReleaseWork(ZKMacro& m) {
  ForgetMemory(m.work_.get(), {&m.s_.receive.memory, &m.s_.saved.memory, &m.s_.alternate.memory});
  m.work_.reset();
  m.s_.alternate = {};
}

int MacroStatements::AllocateWork(ZKMacro& m, const Op& op) {
  const std::int32_t size = op.Number(0);
  m.s_.session->workBufferRefused = size < 0 || size > kMaxWorkBuffer;
  if (m.s_.session->workBufferRefused) return kMacroNoMemory;
  if (const int stop = m.s_.session->Work(size)) return stop;
  ReleaseWork(m);
  m.work_ = std::make_shared<std::vector<std::uint8_t>>(static_cast<std::size_t>(size));
  m.s_.alternate = {ByteWindow(*m.work_), 0, size};
  return 0;
}

int MacroStatements::FreeWork(ZKMacro& m, const Op&) {
  ReleaseWork(m);
  return 0;
}

int MacroStatements::EnterWork(ZKMacro& m, const Op&) {
  m.s_.saved = m.s_.receive;
  m.s_.receive = m.s_.alternate;
  return 0;
}

int MacroStatements::LeaveWork(ZKMacro& m, const Op&) {
  m.s_.alternate = m.s_.receive;
  m.s_.receive = m.s_.saved;
  return 0;
}

int MacroStatements::RestartWork(ZKMacro& m, const Op&) {
  m.s_.receive = m.work_ ? Cursor{ByteWindow(*m.work_), 0, static_cast<std::int32_t>(m.work_->size())} : Cursor{};
  return 0;
}

int MacroStatements::CopyFromSaved(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::int32_t count = op.Number(2);
  const std::int64_t source = s.saved.pos + op.Number(0);
  if (count <= 0 || source < 0) return 0;
  const Cursor& target = s.hasTransmit ? s.transmit : s.receive;
  const std::span<const std::uint8_t> bytes = s.saved.memory.Clamped(source, count);
  if (const int stop = s.session->Work(static_cast<std::int64_t>(bytes.size()))) return stop;
  target.memory.Write(target.pos + op.Number(1), bytes);
  return 0;
}

int MacroStatements::SetCursor(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::int32_t n = std::max(op.Number(0), 0);
  if (!m.work_) {
    s.receive = {s.buffer, n, WrapToInt(std::int64_t{s.size} - n)};
    return 0;
  }
  s.receive.memory = s.alternate.memory;
  s.receive.pos = s.alternate.pos + n;
  // The space does not count down with n; it never exceeds what is there.
  const std::int64_t left = std::max<std::int64_t>(s.alternate.memory.size() - s.receive.pos, 0);
  s.receive.space = static_cast<std::int32_t>(std::min<std::int64_t>(s.alternate.space - 1, left));
  return 0;
}

int MacroStatements::StepForward(ZKMacro& m, const Op&) {
  Cursor& c = m.s_.receive;
  if (c.pos < c.memory.size()) Advance(c, 1);
  return 0;
}

int MacroStatements::StepBack(ZKMacro& m, const Op&) {
  if (m.s_.receive.pos > 0) Advance(m.s_.receive, -1);
  return 0;
}

int MacroStatements::MeasureMessage(ZKMacro& m, const Op&) {
  State& s = m.s_;
  std::span<const std::uint8_t> data = FromCursor(Current(s));
  const std::int32_t limit = s.registers[1];
  if (limit > kMessageLimitFrom) data = data.first(std::min(data.size(), static_cast<std::size_t>(limit)));
  std::int32_t count = 0;
  const auto measure = [&count](std::span<const std::uint8_t> piece) {
    const auto found = std::find(piece.begin(), piece.end(), std::uint8_t{0xF7});
    count += static_cast<std::int32_t>(found - piece.begin()) + (found == piece.end() ? 0 : 1);
    return found == piece.end();
  };
  if (!data.empty() && data[0] == 0xF0) {
    if (const int stop = s.session->WorkThrough(data, measure)) return stop;
  }
  SetX(s, count);
  return 0;
}

int MacroStatements::MeasureMessages(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::span<const std::uint8_t> bytes = Remaining(Current(s), op.Number(0));
  if (const int stop = s.session->Work(static_cast<std::int64_t>(bytes.size()))) return stop;
  SetX(s, SysExRun(bytes));
  return 0;
}

int MacroStatements::StripEnds(ZKMacro& m, const Op& op) {
  return m.s_.session->WorkThrough(Remaining(Current(m.s_), op.Number(0)), [](std::span<std::uint8_t> piece) {
    std::replace(piece.begin(), piece.end(), std::uint8_t{0xF7}, std::uint8_t{0});
    return true;
  });
}

int MacroStatements::WriteDecimal(ZKMacro& m, const Op& op) {
  char text[16];
  auto length = static_cast<std::size_t>(std::snprintf(text, sizeof text, "%+d", op.Number(0)));
  text[++length] = '\xF7';
  const Cursor& data = Current(m.s_);
  data.memory.Write(data.pos + op.Number(1), {reinterpret_cast<const std::uint8_t*>(text), length + 1});
  return 0;
}

}  // namespace tonalith
