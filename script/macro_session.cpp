#include "script/macro_session.h"

#include <algorithm>
#include <cstdio>

#include "platform/clock.h"
#include "platform/log.h"
#include "script/interpreter.h"

namespace tonalith {

namespace {

constexpr std::int32_t kMostPassesBetweenPolls = 1024;
constexpr std::int64_t kBytesBetweenPolls = 1 << 16;
// Bytes of code that may be run through between two polls; a statement has two at least.
constexpr std::size_t kCodeBetweenPolls = 2 << 20;
// What is shorter than this is no wait: asking a port for nothing takes a moment as well.
constexpr std::int64_t kShortestWaitUs = 1000;

std::string SecondsText(std::int64_t ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld", static_cast<long long>(ms / 1000));
  std::string seconds = text;
  if (ms % 1000 != 0) {
    std::snprintf(text, sizeof text, ".%03lld", static_cast<long long>(ms % 1000));
    seconds += text;
    while (seconds.back() == '0') seconds.pop_back();
  }
  return seconds;
}

}  // namespace

std::string ScriptStopText(ScriptStop stop, std::int64_t limitMs) {
  switch (stop) {
    case ScriptStop::None:
    case ScriptStop::Cancelled:
      break;
    case ScriptStop::Computing:
      return "stopped after " + SecondsText(limitMs) + " s of computing";
    case ScriptStop::Work:
      return "stopped: more work than it may do";
    case ScriptStop::LoopDepth:
      return "stopped: loops deeper than " + std::to_string(kMaxLoopDepth);
    case ScriptStop::MacroDepth:
      return "stopped: macros deeper than " + std::to_string(kMaxMacroDepth);
    case ScriptStop::WorkBuffer:
      return "stopped: a work buffer of more than " + std::to_string(kMaxWorkBuffer >> 20) + " MiB";
    case ScriptStop::LonelyBreak:
      return "stopped: BREAK outside a loop";
  }
  return {};
}

bool ScriptTime::Exceeds(std::int64_t limitMs) {
  // A script computes in real time, whatever clock its MIDI goes by.
  const std::int64_t now = SystemClock().NowUs();
  if (!begun_) {
    begun_ = true;
    computedUs_ = ThreadComputedUs();
    lookAtUs_ = now + limitMs * 1000;
  }
  if (now < lookAtUs_) return false;
  const std::int64_t left = limitMs * 1000 - (ThreadComputedUs() - computedUs_);
  lookAtUs_ = now + left;
  return left <= 0;
}

MacroSession::MacroSession(ScriptServices& scriptServices, TransferContext& transferContext)
    : services(scriptServices),
      context(transferContext),
      limitMs(scriptServices.ScriptLimitMs()),
      passesBetweenPolls_(kMostPassesBetweenPolls) {}

MacroSession::~MacroSession() {
  if (context.staged) {
    DebugLog("A staged request of %zu bytes was not taken by any receive and is dropped", context.staged->bytes.size());
    context.staged.reset();
    context.stagedLost = true;
  }
  if (collectingPort >= 0) services.OutputQueue(collectingPort);
  if (cancelPatternPort >= 0) services.SetSysXCancel(cancelPatternPort, {}, 0);
}

int MacroSession::Poll() {
  LookSoon();
  bytesSincePoll_ = 0;
  if (stop != 0) return stop;
  const std::int64_t left = workLimit - work();
  if (Ended()) return Stop(ScriptStop::Cancelled, kMacroNoResponse);
  if (left <= 0) return Stop(ScriptStop::Work, kMacroBadCommand);
  if (time_.Exceeds(limitMs)) return Stop(ScriptStop::Computing, kMacroBadCommand);
  granted_ = untilPoll = static_cast<std::int32_t>(std::min<std::int64_t>(passesBetweenPolls_, left));
  return 0;
}

int MacroSession::Work(std::int64_t bytes) {
  if (bytes <= 0) return stop;
  bytes_ += bytes;
  bytesSincePoll_ += bytes;
  return bytesSincePoll_ < kBytesBetweenPolls ? stop : Poll();
}

void MacroSession::Show(const std::string& text) {
  constexpr int kMostShown = 500;
  if (shown_ < kMostShown) services.DisplayMessage(text, context);
  if (++shown_ == kMostShown) services.DisplayMessage("The script has more to say, which is not shown.", context);
}

void MacroSession::NoteCode(std::size_t bytes) {
  const std::size_t passes = kCodeBetweenPolls / std::max<std::size_t>(bytes, 1);
  passesBetweenPolls_ = std::clamp<std::int32_t>(static_cast<std::int32_t>(passes), 1, passesBetweenPolls_);
}

ScriptWait::~ScriptWait() {
  if (session_.services.clock().NowUs() - beganUs_ >= kShortestWaitUs) session_.time_.Restart();
  session_.LookSoon();
}

}  // namespace tonalith
