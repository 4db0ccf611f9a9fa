#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/log.h"
#include "script/former_engine/macro_statements.h"

namespace tonalith::former {

namespace {

constexpr std::int32_t kMessageLimitFrom = 30;  // X above this on entry limits the count of "GM"

// Cursors into a buffer that is given up point nowhere afterwards.
void ForgetMemory(const std::vector<std::uint8_t>* buffer, std::initializer_list<ByteWindow*> windows) {
  if (!buffer || buffer->empty()) return;
  for (ByteWindow* window : windows) {
    if (window->base() == buffer->data()) *window = {};
  }
}

std::int32_t MessageLength(std::span<const std::uint8_t> data, std::int32_t limit) {
  if (data.empty() || data[0] != 0xF0) return 0;
  std::int32_t count = 0;
  for (const std::uint8_t byte : data) {
    ++count;
    if (byte == 0xF7 || (limit > kMessageLimitFrom && count == limit) || count == INT32_MAX) break;
  }
  return count;
}

}  // namespace

int MacroStatements::Buffers(ZKMacro& m, const std::uint8_t* at) {
  State& s = m.s_;
  const std::uint8_t sub = *at++;
  const auto release = [&m, &s] {
    ForgetMemory(m.work_.get(), {&s.receive.memory, &s.saved.memory, &s.alternate.memory});
    m.work_.reset();
    s.alternate = {};
  };
  switch (sub) {
    case 0: {  // GA
      const std::int32_t size = Number(s, at);
      if (size < 0 || size > kMaxWorkBuffer) return kMacroNoMemory;
      if (const int stop = s.session->Work(size)) return stop;
      release();
      m.work_ = std::make_shared<std::vector<std::uint8_t>>(static_cast<std::size_t>(size));
      s.alternate = {ByteWindow(*m.work_), 0, size};
      return 0;
    }
    case 1:  // GF
      release();
      return 0;
    case 2:  // GN
      s.saved = s.receive;
      s.receive = s.alternate;
      return 0;
    case 3:  // GO
      s.alternate = s.receive;
      s.receive = s.saved;
      return 0;
    case 4: {  // GC
      const std::int32_t from = Number(s, at);
      const std::int32_t to = Number(s, at);
      const std::int32_t count = Number(s, at);
      const std::int64_t source = s.saved.pos + from;
      if (count <= 0 || source < 0) return 0;
      const Cursor& target = s.hasTransmit ? s.transmit : s.receive;
      s.session->Work(std::min<std::int64_t>(count, s.saved.memory.size()));
      target.memory.Write(target.pos + to, s.saved.memory.Clamped(source, count));
      return 0;
    }
    case 5:  // GR
      s.receive = m.work_ ? Cursor{ByteWindow(*m.work_), 0, static_cast<std::int32_t>(m.work_->size())} : Cursor{};
      return 0;
    case 6: {  // GP
      const std::int32_t n = std::max(Number(s, at), 0);
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
    case 7:  // GM
      SetX(s, MessageLength(FromCursor(Current(s)), s.registers[1]));
      return s.session->Work(s.registers[1]);
    case 8: {  // GW
      const std::int32_t value = Number(s, at);
      const std::int32_t offset = Number(s, at);
      char text[16];
      auto length = static_cast<std::size_t>(std::snprintf(text, sizeof text, "%+d", value));
      text[++length] = '\xF7';
      const Cursor& data = Current(s);
      data.memory.Write(data.pos + offset, {reinterpret_cast<const std::uint8_t*>(text), length + 1});
      return 0;
    }
    default:
      break;
  }
  const StatementInfo* info = FindStatement(18, sub);
  if (!info) return 0;
  std::int32_t operands[kMaxOperands] = {};
  for (std::size_t i = 0; i < info->operands.count; ++i) operands[i] = Number(s, at);
  return Forward(s, *info, sub, operands);
}

}  // namespace tonalith::former
