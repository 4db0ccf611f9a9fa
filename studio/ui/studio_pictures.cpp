#include "studio/ui/studio_pictures.h"

#include <QPainter>

#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/colours.h"
#include "ui/style/icons.h"

namespace tonalith {

namespace {

constexpr const char* kButtons[] = {"Add",        "Remove",    "Undo",     "Install", "InstallFolder",
                                    "InstallWeb", "AutoSense", "Settings", "Report",  "Print",
                                    "Get",        "New",       "List",     "Tree"};

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

QPixmap InstrumentPicture(ZKStudioDoc& studio, const ZKDrvList* instrument, QSize size, qreal scale) {
  if (const auto file = studio.facts().InstrumentBitmap(instrument)) {
    QPixmap picture(FromUtf8(file->string()));
    if (!picture.isNull()) {
      picture = picture.scaled(size * scale, Qt::KeepAspectRatio, Qt::SmoothTransformation);
      picture.setDevicePixelRatio(scale);
      return picture;
    }
  }
  const QString name = ShownUtf8(instrument->name);
  return InstrumentPicture(name.section(' ', 0, 0), name.section(' ', 1), size, scale);
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
