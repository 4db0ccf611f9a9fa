#include "app/midi_lights.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPointer>
#include <QStringList>

#include "midi/port_system.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kLitMs = 150;
constexpr int kDot = 8;

}  // namespace

class MidiLights::Light final : public QWidget {
 public:
  explicit Light(QWidget* parent) : QWidget(parent) { setFixedSize(kDot + 2, kDot + 2); }
  void SetOn(bool on) {
    if (on == on_) return;
    on_ = on;
    update();
  }
  bool on() const { return on_; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ColourOf(on_ ? Shade::Ok : Shade::Faint), 1));
    painter.setBrush(on_ ? QBrush(ColourOf(Shade::Ok)) : QBrush(Qt::NoBrush));
    painter.drawEllipse(QRectF(1, 1, kDot, kDot));
  }

 private:
  bool on_ = false;
};

MidiLights::MidiLights(MidiPortSystem& midi, QWidget* parent)
    : QWidget(parent), midi_(midi), systems_(new PlainLabel(this)) {
  auto* row = new QHBoxLayout(this);
  SetSpace(row, 0, kSmallGap);
  for (std::size_t i = 0; i < lights_.size(); ++i) {
    lights_[i] = new Light(this);
    counts_[i] = new PlainLabel(this);
    seen_[i] = std::make_shared<Seen>();
    off_[i].setSingleShot(true);
    off_[i].setInterval(kLitMs);
    connect(&off_[i], &QTimer::timeout, this, [this, i] {
      lights_[i]->SetOn(false);
      seen_[i]->said.store(false);
    });
    row->addWidget(lights_[i]);
    row->addWidget(counts_[i]);
    row->addSpacing(kGap);
  }
  row->addWidget(systems_);
  row->addSpacing(kGap);
  // Once a light is on, its port has nothing to say until it goes out.
  const auto tell = [this](std::size_t which) {
    seen_[which]->lights = this;
    return [which, seen = seen_[which]](int, std::span<const std::uint8_t>) {
      if (seen->said.exchange(true)) return;
      const std::lock_guard guard(seen->mutex);
      MidiLights* lights = seen->lights;
      if (lights)
        QMetaObject::invokeMethod(
            lights, [lights, which] { lights->Flash(which); }, Qt::QueuedConnection);
    };
  };
  inMonitor_ = midi_.in().AddMidiInMonitor(tell(0));
  outMonitor_ = midi_.out().AddMonitor(tell(1));
  Refresh();
}

MidiLights::~MidiLights() {
  midi_.in().RemoveMidiInMonitor(inMonitor_);
  midi_.out().RemoveMonitor(outMonitor_);
  // A message may be on its way through the monitors still.
  for (const auto& seen : seen_) {
    const std::lock_guard guard(seen->mutex);
    seen->lights = nullptr;
  }
}

void MidiLights::Flash(std::size_t which) {
  lights_[which]->SetOn(true);
  off_[which].start();
}

bool MidiLights::IsLit(bool input) const {
  return lights_[input ? 0 : 1]->on();
}

void MidiLights::Refresh() {
  int outputs = 0;
  midi_.out().OUTNUMPORTS(&outputs);
  counts_[0]->setText(tr("In %1").arg(midi_.in().InPorts()));
  counts_[1]->setText(tr("Out %1").arg(outputs));
  QStringList systems;
  QStringList reasons;
  for (const auto& [name, state] : midi_.BackendStates()) {
    if (state.ok()) {
      systems << ShownUtf8(name);
    } else {
      reasons << tr("%1: %2").arg(ShownUtf8(name), ShownUtf8(state.text));
    }
  }
  systems_->setText(systems.isEmpty() ? tr("no MIDI system") : systems.join(QStringLiteral(", ")));
  SetToolTip(systems_, reasons.join('\n'));
  SetToolTip(this, tr("MIDI ports that are open; the lights show what comes in and goes out"));
}

}  // namespace tonalith
