#pragma once

#include <QIcon>
#include <QTreeWidget>
#include <map>
#include <string>
#include <vector>

#include "studio/ui/studio_host.h"
#include "ui/style/search_field.h"
#include "ui/style/state_mark.h"

class QComboBox;

namespace tonalith {

// Whether the port an instrument remembers is there.
enum class PortState { None, There, Gone };
PortState StateOfPort(StudioPorts* ports, const std::string& name, bool input);
// Gone when one of the instrument's ports is gone, else None when one is not chosen, else There.
PortState StateOfInstrument(StudioPorts* ports, const ZKDrvList* instrument);
QString PortStateText(PortState state);
// What a row says beside its mark: nothing when the port is there.
QString PortStateWord(PortState state);
Mark PortStateMark(PortState state);

// The device IDs an instrument can be set to, with the kept number as data; its own is chosen.
void AddDeviceIds(QComboBox* box, const ZKDrvList& instrument);

// Instruments, under each its kinds of data, under each the open documents of it.  Narrow, as at the side of the main
// window, it shows names and states; wide also ports, device ID and channel, which are changed in place.  Instruments
// are dragged to another place.  The kinds of data of a long studio are shown when their instrument is opened.
class ZKStudioTree final : public QTreeWidget {
  Q_OBJECT

 public:
  enum Column { kName = 0, kIn, kOut, kDevice, kChannel, kColumns };

  ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent = nullptr);
  void Rebuild();
  // Brings the rows of the open documents up to date.
  void ShowDocuments();
  // Shows the instruments, kinds of data and documents that the words fit; how many.  No words show all.
  int Filter(const SearchWords& words);
  // The driver or instrument of the current row, of a document the driver; null when there is none.
  ZKDrvList* CurrentNode() const;
  // Null for a document.
  ZKDrvList* NodeOf(const QTreeWidgetItem* item) const;
  // Null when the row is no document.
  const OpenDocument* DocumentOf(const QTreeWidgetItem* item) const;
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
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void AddInstrumentRow(ZKDrvList* instrument);
  void ShowInstrumentState(QTreeWidgetItem* row, const ZKDrvList* instrument);
  int KindsIn(const QTreeWidgetItem* row) const;
  void ShowDocumentsOf(QTreeWidgetItem* row, const std::vector<std::size_t>& places);
  void ShowDocument(QTreeWidgetItem* child, std::size_t place);
  int FilterType(QTreeWidgetItem* row, bool whole);
  bool Matches(const QTreeWidgetItem* item) const;
  QIcon PictureOf(const ZKDrvList* instrument);
  // What the user made of a row that has rows below it.
  std::string RowKey(const QTreeWidgetItem* row) const;
  bool IsOpen(const QTreeWidgetItem* row, bool unknown) const;
  void KeepOpen(const QTreeWidgetItem* row, bool open);
  void FitColumns();
  void FitNames();
  int PlaceOf(const QTreeWidgetItem* item) const;

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  SearchWords filter_;
  bool wide_ = true;
  std::vector<OpenDocument> documents_;
  std::map<std::string, QIcon> pictures_;  // by module
  bool rebuilding_ = false;
};

}  // namespace tonalith
