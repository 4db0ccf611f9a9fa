#include "app/audition_tones.h"

#include <algorithm>

namespace tonalith {

AuditionTones::AuditionTones(MidiOut& out, Settings& settings, QObject* parent)
    : QObject(parent), player_(out, settings) {
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &AuditionTones::Tick);
}

void AuditionTones::Tick() {
  const std::int64_t due = player_.Tick();
  if (due >= 0)
    timer_.start(static_cast<int>(std::max<std::int64_t>(due, 1)));
  else
    timer_.stop();
}

}  // namespace tonalith
