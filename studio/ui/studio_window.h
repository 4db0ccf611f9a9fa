#pragma once

#include <QTreeWidget>

#include "studio/studio_document.h"
#include "ui/window_base.h"

class QLabel;
class QToolButton;

namespace tonalith {

// What the studio window asks of the program.
class StudioWindowHost {
 public:
  virtual ~StudioWindowHost() = default;
  // Opens a window on new data of this driver; with `get` its receive is started at once.
  virtual void OpenDriver(ZKDrvList* driver, bool get) = 0;
  virtual void InstallModule() = 0;
  virtual StudioPorts* ports() = 0;
};

// Instruments with their drivers; ports, device number and channel of an instrument are changed in place.
class ZKStudioTree final : public QTreeWidget {
  Q_OBJECT

 public:
  enum Column { kName = 0, kIn, kOut, kDevice, kChannel, kColumns };

  ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent = nullptr);
  void Rebuild();
  // The driver or instrument of the current row; null when there is none.
  ZKDrvList* CurrentNode() const;
  ZKDrvList* NodeOf(const QTreeWidgetItem* item) const;
  StudioWindowHost& host() { return host_; }
  ZKStudioDoc& studio() { return studio_; }

 private:
  void AddInstrumentRow(ZKDrvList* instrument);

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
};

// The studio window.
class TZKDrvLst final : public ZKWindow {
  Q_OBJECT

 public:
  TZKDrvLst(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent = nullptr);

  ZKStudioTree* tree() { return tree_; }
  // The studio or the ports changed.
  void Refresh();

  WindowType TypeCode() const override { return WindowType::Studio; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;

 private:
  void ShowMenu(const QPoint& position);
  void UpdateState();

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  ZKStudioTree* tree_;
  QLabel* hint_;
  QToolButton* get_;
  QToolButton* create_;
};

}  // namespace tonalith
