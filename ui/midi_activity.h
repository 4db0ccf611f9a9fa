#pragma once

#include <QDockWidget>
#include <functional>
#include <string>
#include <vector>

#include "midi/port_system.h"

class QTimer;
class QGridLayout;

namespace tonalith {

// A small light; changes only repaint when the state changes.
class ActivityLight final : public QWidget {
  Q_OBJECT

 public:
  explicit ActivityLight(QWidget* parent = nullptr);
  void SetOn(bool on);
  bool on() const { return on_; }
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  bool on_ = false;
};

class PlainLabel;

// A light for every open MIDI port, and what happened on its line.  Looks at the ports 20 times a second while it is
// visible, else not at all.
class MidiActivityDock final : public QDockWidget {
  Q_OBJECT

 public:
  explicit MidiActivityDock(MidiPortSystem& midi, QWidget* parent = nullptr);
  // A line about all transfers, below the ports.
  void SetTransferLine(std::function<std::string()> line);
  // The open ports changed.
  void Rebuild();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void Look();
  bool ShowsOpenPorts() const;
  void ShowReports();
  void AddRow(QGridLayout* grid, const QString& name, ActivityLight* light);

  MidiPortSystem& midi_;
  QTimer* timer_;
  int looks_ = 0;
  std::function<std::string()> transferLine_;
  PlainLabel* transfers_ = nullptr;
  std::vector<PlainLabel*> summaries_;  // in the order of the rows
  std::vector<ActivityLight*> inputs_;
  std::vector<ActivityLight*> outputs_;
};

}  // namespace tonalith
