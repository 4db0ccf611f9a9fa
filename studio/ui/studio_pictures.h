#pragma once

#include <QIcon>
#include <QPalette>
#include <QPixmap>
#include <map>
#include <string>

#include "platform/prompts.h"
#include "studio/studio_document.h"

namespace tonalith {

// The pictures of the studio window: files of the resources folder, drawings for kinds of data and instruments.
class StudioPictures {
 public:
  // Reads "ZKBmp/ButtonBars/Studio" of the resources; a missing file is told ("Warning! ... not found!"), three boxes
  // at most.
  static StudioPictures doInitBitmap(const std::string& resources, Prompts& prompts);

  const QPixmap& background() const { return background_; }
  const QPixmap& unselectedOverlay() const { return overlay_; }
  QIcon Button(const char* name) const;

 private:
  QPixmap background_, overlay_;
  std::map<std::string, QIcon> buttons_;
};

// Size of an instrument's picture in device independent pixels.
inline constexpr QSize kInstrumentPicture(96, 64);

// The module's picture, or a drawing that is the instrument's own when it has none.  `size` in device independent
// pixels, `scale` is the device pixel ratio.
QPixmap InstrumentPicture(ZKStudioDoc& studio, const ZKDrvList* instrument, QSize size, qreal scale);

// A drawing for the kind of data of a driver, in the colours of the palette.
QIcon DriverIcon(const ZKDrvList* driver, const QPalette& palette, int size);

}  // namespace tonalith
