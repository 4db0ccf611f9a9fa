#include "tools/ui/graphic_monitor.h"

#include <QHBoxLayout>
#include <QMenu>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include "tools/monitor_lines.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/flow_layout.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

constexpr int kTimerMs = 50;
constexpr int kOutputPorts = 256;  // output ports are numbered behind the inputs
constexpr int kWhiteKeys = kMonitorOctaves * 7;

// White keys below each note of an octave; black keys sit on the border behind that many.
constexpr int kWhiteBefore[12] = {0, 1, 1, 2, 2, 3, 4, 4, 5, 5, 6, 6};
constexpr bool kBlack[12] = {false, true, false, true, false, false, true, false, true, false, true, false};

}  // namespace

KeyboardPicture::KeyboardPicture(const HeldNotes& held, QWidget* parent) : QWidget(parent), held_(held) {
  setAccessibleName(tr("Keyboard"));
}

int KeyboardPicture::KeyWidth() const {
  return std::max(LeastKeyWidth(), (width() - 1) / kWhiteKeys);
}

int KeyboardPicture::LeastKeyWidth() const {
  return std::max(10, fontMetrics().horizontalAdvance(QStringLiteral("C4")) + 2);
}

QSize KeyboardPicture::sizeHint() const {
  return {LeastKeyWidth() * kWhiteKeys + 1, fontMetrics().height() * 7};
}

QRect KeyboardPicture::KeyRect(int note) const {
  if (note < 0 || note >= kMonitorOctaves * 12) return {};
  const int width = KeyWidth();
  const int left = (note / 12 * 7 + kWhiteBefore[note % 12]) * width;
  if (!kBlack[note % 12]) return {left, 0, width, height() - 1};
  const int narrow = width * 3 / 5;
  return {left - narrow / 2, 0, narrow, height() * 3 / 5};
}

QColor KeyboardPicture::ChannelColor(int channel) {
  return ColourOfNumber(channel, 16);
}

QColor KeyboardPicture::FillOf(int note, const QColor& resting) const {
  const std::uint16_t channels = held_.Channels(note);
  for (int channel = 0; channel < 16; ++channel)
    if (channels >> channel & 1) return ChannelColor(channel);
  return resting;
}

void KeyboardPicture::paintEvent(QPaintEvent*) {
  // Keys are ivory and ebony whatever the palette is.
  const QColor white = WhiteKey(), black = BlackKey(), line = Between(white, black, 0.6);
  QPainter painter(this);
  painter.setPen(line);
  for (int note = 0; note < kMonitorOctaves * 12; ++note) {
    if (kBlack[note % 12]) continue;
    painter.setBrush(FillOf(note, white));
    painter.drawRect(KeyRect(note));
    if (note % 12 != 0) continue;
    painter.setPen(black);
    painter.drawText(KeyRect(note).adjusted(0, 0, 0, -2), Qt::AlignHCenter | Qt::AlignBottom,
                     ShownUtf8(MonitorNoteText(note)).remove(QLatin1Char(' ')));
    painter.setPen(line);
  }
  for (int note = 0; note < kMonitorOctaves * 12; ++note) {
    if (!kBlack[note % 12]) continue;
    painter.setBrush(FillOf(note, black));
    painter.drawRect(KeyRect(note));
  }
}

TZKMon::TZKMon(MonitorRegistry& registry, QWidget* parent)
    : ZKWindow(parent),
      registry_(registry),
      tap_(registry.OpenTap()),
      keyboard_(new KeyboardPicture(held_)),
      scroll_(new QScrollArea(this)),
      timer_(new QTimer(this)),
      follow_(new QAction(tr("&Auto Scroll"), this)) {
  SetTitle(this, tr("Graphic MIDI Monitor"));
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kGap, kGap);
  auto* tools = new ToolRow(this);
  QToolButton* octave = tools->Add(Glyph::Keyboard, tr("Octave"), tr("Scroll to an octave"));
  auto* menu = new QMenu(octave);
  for (int i = 0; i < kMonitorOctaves; ++i)
    menu->addAction(tr("Octave &%1").arg(i + 1), this, [this, i] { ShowOctave(i); });
  octave->setMenu(menu);
  follow_->setCheckable(true);
  follow_->setChecked(true);
  SetToolTip(follow_, tr("Scroll to the keys that are played"));
  tools->Add(Glyph::Down, follow_);
  connect(tools->Add(Glyph::Close, tr("Clear"), tr("Let all keys go")), &QToolButton::clicked, this, [this] {
    held_.Clear();
    keyboard_->update();
  });
  layout->addWidget(tools);
  auto* legend = new QWidget(this);
  auto* row = new FlowLayout(legend, kSmallGap);
  row->addWidget(new PlainLabel(tr("Channels:"), this));
  for (int channel = 0; channel < 16; ++channel) {
    auto* label = new PlainLabel(QString::number(channel + 1), this);
    QPalette colors = label->palette();
    colors.setColor(QPalette::Window, KeyboardPicture::ChannelColor(channel));
    colors.setColor(QPalette::WindowText, BlackKey());
    label->setPalette(colors);
    label->setBackgroundRole(QPalette::Window);
    label->setAutoFillBackground(true);
    label->setAlignment(Qt::AlignCenter);
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("000")));
    row->addWidget(label);
  }
  layout->addWidget(legend);
  SetRole(scroll_, QAccessible::Pane);
  SetAccessibleName(scroll_, tr("Keys that are held"));
  scroll_->setWidget(keyboard_);
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setWidgetResizable(true);
  scroll_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  keyboard_->setMinimumSize(keyboard_->sizeHint());
  const int bar = scroll_->horizontalScrollBar()->sizeHint().height();
  scroll_->setMinimumHeight(keyboard_->sizeHint().height() + bar);
  scroll_->setMaximumHeight(keyboard_->sizeHint().height() * 2 + bar);
  layout->addWidget(scroll_, 1);
  layout->addStretch();
  connect(timer_, &QTimer::timeout, this, &TZKMon::Tick);
  timer_->start(kTimerMs);
  resize(fontMetrics().averageCharWidth() * 110, sizeHint().height());
  QTimer::singleShot(0, this, &TZKMon::OnOctave4);
}

TZKMon::~TZKMon() {
  registry_.CloseTap(tap_);
}

void TZKMon::ShowOctave(int octave) {
  scroll_->horizontalScrollBar()->setValue(keyboard_->KeyRect(octave * 12).left());
}

void TZKMon::MonEvent(std::span<const std::uint8_t> message, int port) {
  if (!held_.MonEvent(message, port)) return;
  keyboard_->update();
  if (!follow_->isChecked() || message.size() < 3 || (message[0] & 0xF0) != 0x90 || message[2] == 0) return;
  const QRect key = keyboard_->KeyRect(message[1]);
  if (!key.isEmpty()) scroll_->ensureVisible(key.center().x(), 0, key.width() * 2, 0);
}

void TZKMon::MonClearNotes(int port) {
  held_.MonClearNotes(port);
  keyboard_->update();
}

void TZKMon::Tick() {
  for (const bool input : {true, false})
    for (const MonitorRecord& record : registry_.Take(tap_, input, 2000))
      MonEvent(record.bytes, input ? record.port : kOutputPorts + record.port);
}

TZKMon* ZKMon(MonitorRegistry& registry, QWidget* parent) {
  return new TZKMon(registry, parent);
}

}  // namespace tonalith
