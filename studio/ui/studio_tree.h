#pragma once

#include <QTreeWidget>
#include <map>
#include <vector>

#include "studio/ui/studio_host.h"

class QComboBox;

namespace tonalith {

// Whether the port an instrument remembers is there.
enum class PortState { None, There, Gone };
PortState StateOfPort(StudioPorts* ports, const std::string& name, bool input);
// Gone when one of the instrument's ports is gone, else None when one is not chosen, else There.
PortState StateOfInstrument(StudioPorts* ports, const ZKDrvList* instrument);
QString PortStateText(PortState state);
// A green disc, a red one with a bar for a port that is gone, a ring when none is chosen.
QPixmap PortStateMark(PortState state, const QPalette& palette, int size, qreal scale);

// The device IDs an instrument can be set to, with the kept number as data; its own is chosen.
void AddDeviceIds(QComboBox* box, const ZKDrvList& instrument);

// Instruments with their drivers; ports, device number and channel of an instrument are changed in place.  Instruments
// are dragged to another place.  Drivers of a long studio are shown when their instrument is opened.
class ZKStudioTree final : public QTreeWidget {
  Q_OBJECT

 public:
  enum Column { kName = 0, kIn, kOut, kDevice, kChannel, kColumns };

  ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent = nullptr);
  void Rebuild();
  // Shows the instruments and drivers whose name contains the text; an empty text shows all.
  void Filter(const QString& text);
  // The driver or instrument of the current row; null when there is none.
  ZKDrvList* CurrentNode() const;
  ZKDrvList* NodeOf(const QTreeWidgetItem* item) const;
  // Makes the row of a node the current one.
  void SetCurrentNode(const ZKDrvList* node);
  // Instruments of the selected rows, in studio order.
  std::vector<ZKDrvList*> SelectedInstruments() const;
  StudioWindowHost& host() { return host_; }
  ZKStudioDoc& studio() { return studio_; }

 signals:
  // The user dragged the instrument at place `from` to `to`.
  void Moved(int from, int to);

 protected:
  void dropEvent(QDropEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void AddInstrumentRow(ZKDrvList* instrument);
  void FitNames();
  int PlaceOf(const QTreeWidgetItem* item) const;

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  QString filter_;
  std::map<const ZKDrvList*, bool> open_;  // instruments whose drivers the user wants to see, or not
};

}  // namespace tonalith
