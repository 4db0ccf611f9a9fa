#pragma once

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cstdint>

#include "platform/clock.h"

namespace tonalith {

// When events came to the kernel: a queue of the sequencer stamps what comes to the ports that ask for it, and its time
// is brought to that of the program's clock.  Without a queue, and for events without a stamp, they came just now.
class AlsaArrival {
 public:
  explicit AlsaArrival(Clock& clock) : clock_(clock) {}

  // Nobody else uses the sequencer meanwhile.
  void Start(snd_seq_t* seq) {
    offsetUs_ = 0;
    queue_ = snd_seq_alloc_named_queue(seq, "arrival");
    if (queue_ < 0) return;
    snd_seq_start_queue(seq, queue_, nullptr);
    snd_seq_drain_output(seq);
    snd_seq_queue_status_t* status = nullptr;
    if (snd_seq_queue_status_malloc(&status) < 0) return;
    if (snd_seq_get_queue_status(seq, queue_, status) >= 0)
      offsetUs_ = clock_.NowUs() - Us(*snd_seq_queue_status_get_real_time(status));
    snd_seq_queue_status_free(status);
  }

  // The next port that is made with `port` stamps what comes to it.
  void Stamp(snd_seq_port_info_t* port) const {
    if (queue_ < 0) return;
    snd_seq_port_info_set_timestamping(port, 1);
    snd_seq_port_info_set_timestamp_real(port, 1);
    snd_seq_port_info_set_timestamp_queue(port, queue_);
  }

  // One thread.
  std::int64_t TimeOf(const snd_seq_event_t& event) {
    const std::int64_t now = clock_.NowUs();
    if (queue_ < 0 || event.queue != queue_ || (event.flags & SND_SEQ_TIME_STAMP_MASK) != SND_SEQ_TIME_STAMP_REAL)
      return now;
    const std::int64_t stamped = Us(event.time.time) + offsetUs_;
    // Nothing comes from the future: the two clocks drift.
    if (stamped > now) offsetUs_ -= stamped - now;
    return stamped > now || now - stamped > kOldestUs ? now : stamped;
  }

 private:
  static constexpr std::int64_t kOldestUs = 5'000'000;
  static std::int64_t Us(const snd_seq_real_time_t& time) {
    return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
  }

  Clock& clock_;
  int queue_ = -1;
  std::int64_t offsetUs_ = 0;
};

}  // namespace tonalith
