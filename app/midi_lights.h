#pragma once

#include <QTimer>
#include <QWidget>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>

namespace tonalith {

class MidiPortSystem;
class PlainLabel;

// At the end of the status line: whether MIDI comes in or goes out just now, how many ports are open, and on which MIDI
// systems.  Told by the ports; while nothing comes and goes, nothing runs.
class MidiLights final : public QWidget {
  Q_OBJECT

 public:
  // The ports must outlive this.
  explicit MidiLights(MidiPortSystem& midi, QWidget* parent = nullptr);
  ~MidiLights() override;

  // Ports or MIDI systems came or went.
  void Refresh();
  bool IsLit(bool input) const;

 private:
  class Light;
  // Shared with the threads that send and receive.
  struct Seen {
    std::atomic<bool> said{false};
    std::mutex mutex;
    MidiLights* lights = nullptr;  // null once they are gone
  };
  void Flash(std::size_t which);

  MidiPortSystem& midi_;
  std::array<Light*, 2> lights_{};
  std::array<PlainLabel*, 2> counts_{};
  std::array<std::shared_ptr<Seen>, 2> seen_{};
  std::array<QTimer, 2> off_;
  PlainLabel* systems_;
  int inMonitor_ = 0;
  int outMonitor_ = 0;
};

}  // namespace tonalith
