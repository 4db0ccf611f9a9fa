#include "stall_probe.h"

#include <ctime>

#include <QEvent>
#include <QMetaEnum>
#include <QThread>
#include <QtGlobal>
#include <utility>

namespace tonalith {

namespace {

struct Measured {
  int loop = -1;              // level of the event loop that delivers it
  std::int64_t othersUs = 0;  // of events that inner loops delivered meanwhile
};

Measured current;
Stall longest;
int uncounted = 0;

std::int64_t ThreadUs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

}  // namespace

std::int64_t LongestEventAllowedUs() {
  const bool crowd = qEnvironmentVariableIntValue("GTEST_TOTAL_SHARDS") > 1;
  return kLongestEventUs * kBuildFactor * (crowd ? kCrowdFactor : 1);
}

Uncounted::Uncounted() : beganUs_(ThreadUs()) {
  ++uncounted;
}

Uncounted::~Uncounted() {
  if (--uncounted == 0) current.othersUs += ThreadUs() - beganUs_;
}

bool ProbedApplication::notify(QObject* receiver, QEvent* event) {
  const int loop = QThread::currentThread() == thread() ? QThread::currentThread()->loopLevel() : -1;
  if (loop <= current.loop || uncounted > 0) return QApplication::notify(receiver, event);
  const auto type = event->type();
  const std::string name = receiver->metaObject()->className();
  const Measured outer = std::exchange(current, Measured{loop, 0});
  const std::int64_t began = ThreadUs();
  const bool taken = QApplication::notify(receiver, event);
  const std::int64_t wholeUs = ThreadUs() - began;
  const std::int64_t ownUs = wholeUs - current.othersUs;
  current = outer;
  current.othersUs += wholeUs;
  if (ownUs > longest.us) longest = {ownUs, name + " " + QMetaEnum::fromType<QEvent::Type>().valueToKey(type)};
  return taken;
}

Stall ProbedApplication::TakeLongest() {
  return std::exchange(longest, Stall{});
}

}  // namespace tonalith
