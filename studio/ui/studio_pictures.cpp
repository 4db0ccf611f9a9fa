#include "studio/ui/studio_pictures.h"

#include <QPainter>
#include <QPainterPath>

#include "platform/ini_file.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kButtons[] = {"Add",        "Remove",    "Undo",     "Install", "InstallFolder",
                                    "InstallWeb", "AutoSense", "Settings", "Report",  "Print",
                                    "Get",        "New",       "List",     "Tree"};

// What an instrument is, from "DeviceType" of its module.
enum class DeviceKind { Mixer = 0, Keyboard = 1, Effect = 2, Sampler = 3, Drums = 4 };

DeviceKind KindOf(const ZKDrvList* instrument) {
  switch (IniFile(instrument->GetIniPath().string()).GetInt("Instrument", "DeviceType", 1)) {
    case 0:
      return DeviceKind::Mixer;
    case 2:
      return DeviceKind::Effect;
    case 3:
      return DeviceKind::Sampler;
    case 4:
      return DeviceKind::Drums;
    default:
      return DeviceKind::Keyboard;
  }
}

void DrawKeyboard(QPainter& painter, const QColor& line, const QColor& light) {
  painter.drawRoundedRect(QRectF(8, 14, 80, 36), 3, 3);
  painter.setBrush(light);
  for (int i = 0; i < 10; ++i) painter.drawRect(QRectF(12 + i * 7.2, 30, 7.2, 16));
  painter.setBrush(line);
  for (const int i : {0, 1, 3, 4, 5, 7, 8}) painter.drawRect(QRectF(12 + i * 7.2 + 5.2, 30, 4, 9));
  for (int i = 0; i < 4; ++i) painter.drawEllipse(QPointF(18 + i * 9, 22), 2, 2);
  painter.setBrush(light);
  painter.drawRect(QRectF(56, 18, 26, 8));
}

void DrawRack(QPainter& painter, const QColor& line, const QColor& light, bool faders) {
  painter.drawRoundedRect(QRectF(8, 18, 80, 28), 3, 3);
  if (faders) {
    for (int i = 0; i < 8; ++i) {
      const qreal x = 17 + i * 9;
      painter.drawLine(QPointF(x, 22), QPointF(x, 42));
      painter.fillRect(QRectF(x - 3, 26 + (i * 5) % 11, 6, 4), line);
    }
    return;
  }
  painter.setBrush(light);
  painter.drawRect(QRectF(14, 24, 34, 14));
  painter.setBrush(line);
  for (int i = 0; i < 3; ++i) painter.drawEllipse(QPointF(58 + i * 11, 31), 3.5, 3.5);
}

void DrawPads(QPainter& painter, const QColor& light) {
  painter.drawRoundedRect(QRectF(20, 8, 56, 48), 4, 4);
  painter.setBrush(light);
  for (int i = 0; i < 12; ++i) painter.drawRoundedRect(QRectF(25 + (i % 4) * 12, 13 + (i / 4) * 13, 10, 11), 2, 2);
}

QColor Between(const QColor& a, const QColor& b, qreal part) {
  return QColor::fromRgbF(static_cast<float>(a.redF() + (b.redF() - a.redF()) * part),
                          static_cast<float>(a.greenF() + (b.greenF() - a.greenF()) * part),
                          static_cast<float>(a.blueF() + (b.blueF() - a.blueF()) * part));
}

QPixmap DrawnInstrument(DeviceKind kind, qreal scale, const QPalette& palette) {
  QPixmap picture(kInstrumentPicture * scale);
  picture.setDevicePixelRatio(scale);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor base = palette.color(QPalette::Base);
  const QColor line = Between(base, palette.color(QPalette::Text), 0.65);
  const QColor light = Between(base, palette.color(QPalette::Text), 0.12);
  painter.setPen(QPen(line, 1.4));
  painter.setBrush(Between(base, palette.color(QPalette::Highlight), 0.18));
  switch (kind) {
    case DeviceKind::Mixer:
      DrawRack(painter, line, light, true);
      break;
    case DeviceKind::Effect:
    case DeviceKind::Sampler:
      DrawRack(painter, line, light, false);
      break;
    case DeviceKind::Drums:
      DrawPads(painter, light);
      break;
    case DeviceKind::Keyboard:
      DrawKeyboard(painter, line, light);
      break;
  }
  return picture;
}

// Shapes on a field of 16 x 16.
void DrawDataKind(QPainter& painter, const Synth& synth) {
  if (synth.dataKind == 3 || synth.dataKind == 4) {  // several parts
    for (int i = 0; i < 3; ++i) painter.drawRoundedRect(QRectF(2 + i * 2, 2 + i * 3.5, 8, 5), 1, 1);
  } else if (synth.numVoices > 1) {  // a bank
    painter.drawRoundedRect(QRectF(2, 2, 12, 12), 1.5, 1.5);
    for (const qreal y : {5.0, 8.0, 11.0}) painter.drawLine(QPointF(4.5, y), QPointF(11.5, y));
  } else {  // one patch
    painter.drawEllipse(QPointF(8, 8), 5.5, 5.5);
    painter.drawLine(QPointF(8, 8), QPointF(11, 4.5));
  }
}

}  // namespace

StudioPictures StudioPictures::doInitBitmap(const std::string& resources, Prompts& prompts) {
  constexpr int kMostBoxes = 3;
  int told = 0;
  const auto load = [&](const std::string& name) {
    const std::string path = resources + "/ZKBmp/ButtonBars/Studio/" + name;
    QPixmap picture(FromUtf8(path));
    if (picture.isNull() && ++told <= kMostBoxes)
      prompts.Say("Studio", "Warning! " + path + " not found!\nPlease reinstall application");
    return picture;
  };
  StudioPictures pictures;
  pictures.background_ = load("Studio_Background.png");
  pictures.overlay_ = load("Unsel_Overlay.png");
  for (const char* name : kButtons) {
    QPixmap picture = load(std::string("Button_") + name + ".png");
    if (!picture.isNull()) pictures.buttons_[name] = QIcon(picture);
  }
  return pictures;
}

QIcon StudioPictures::Button(const char* name) const {
  const auto found = buttons_.find(name);
  return found == buttons_.end() ? QIcon() : found->second;
}

QPixmap InstrumentPicture(ZKStudioDoc& studio, const ZKDrvList* instrument, qreal scale, const QPalette& palette) {
  if (const auto file = studio.facts().InstrumentBitmap(instrument)) {
    QPixmap picture(FromUtf8(file->string()));
    if (!picture.isNull()) {
      picture = picture.scaled(kInstrumentPicture * scale, Qt::KeepAspectRatio, Qt::SmoothTransformation);
      picture.setDevicePixelRatio(scale);
      return picture;
    }
  }
  return DrawnInstrument(KindOf(instrument), scale, palette);
}

QIcon DriverIcon(const ZKDrvList* driver, const QPalette& palette, int size) {
  if (!driver->synth()) return {};
  QIcon icon;
  for (const int scale : {1, 2}) {
    QPixmap picture(QSize(size, size) * scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size * scale / 16.0, size * scale / 16.0);
    painter.setPen(QPen(palette.color(QPalette::Text), 1.2));
    painter.setBrush(Between(palette.color(QPalette::Base), palette.color(QPalette::Highlight), 0.3));
    DrawDataKind(painter, *driver->synth());
    painter.end();
    picture.setDevicePixelRatio(scale);
    icon.addPixmap(picture);
  }
  return icon;
}

}  // namespace tonalith
