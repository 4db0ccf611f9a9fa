#pragma once

#include <QListWidget>
#include <vector>

#include "studio/ui/studio_host.h"
#include "ui/style/search_field.h"

namespace tonalith {

class StudioPictures;

// The studio as panels: picture, name, number of the copy, ports, channels, and whether the instrument is there.
// Several can be selected; panels are dragged to another place.
class ZKStudioList final : public QListWidget {
  Q_OBJECT

 public:
  // Pictures must outlive the list.
  ZKStudioList(ZKStudioDoc& studio, StudioWindowHost& host, const StudioPictures& pictures, QWidget* parent = nullptr);
  void Rebuild();
  // Shows the instruments that the words fit, with the names of their kinds of data; how many.
  int Filter(const SearchWords& words);
  // Without pictures the panels are lower.
  void SetCompact(bool compact);
  bool compact() const { return compact_; }
  ZKDrvList* CurrentInstrument() const;
  void SetCurrentInstrument(const ZKDrvList* instrument);
  std::vector<ZKDrvList*> SelectedInstruments() const;
  const StudioPictures& pictures() const { return pictures_; }

 signals:
  void Moved(int from, int to);

 protected:
  void dropEvent(QDropEvent* event) override;
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  ZKDrvList* InstrumentOf(const QListWidgetItem* item) const;

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  const StudioPictures& pictures_;
  SearchWords filter_;
  bool compact_ = false;
};

}  // namespace tonalith
