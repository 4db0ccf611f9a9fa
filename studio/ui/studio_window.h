#pragma once

#include <QTreeWidget>
#include <functional>

#include "studio/studio_document.h"
#include "ui/window_base.h"

class QLabel;
class QMenu;
class QToolButton;

namespace tonalith {

// What the studio window asks of the program.
class StudioWindowHost {
 public:
  virtual ~StudioWindowHost() = default;
  // Opens a window on new data of this driver; with `get` its receive is started at once.
  virtual void OpenDriver(ZKDrvList* driver, bool get) = 0;
  virtual void InstallModule() = 0;
  // An instrument came, went or got other ports or channels.
  virtual void StudioEdited() = 0;
  virtual StudioPorts* ports() = 0;
  virtual Prompts& prompts() = 0;
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
  // Makes the row of a node the current one.
  void SetCurrentNode(const ZKDrvList* node);
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
  // Makes the last instrument of a module the current row.
  void Select(const std::string& moduleFile);
  // What can be done with the current row; `at` is a global position.
  void ShowMenu(const QPoint& at);

  WindowType TypeCode() const override { return WindowType::Studio; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;

 private:
  void BuildMenu(QMenu* menu);
  void AddSettings(QMenu* menu, ZKDrvList* instrument);
  void AddPorts(QMenu* menu, ZKDrvList* instrument, bool input);
  void AddChannels(QMenu* menu, ZKDrvList* instrument, bool device);
  void BuildAddMenu(QMenu* menu);
  void Edit(ZKDrvList* node, const std::function<void(ZKDrvList*)>& change);
  void Remove(ZKDrvList* node);
  void UpdateState();

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  ZKStudioTree* tree_;
  QLabel* hint_;
  QToolButton* get_;
  QToolButton* create_;
  QToolButton* settings_;
  QToolButton* add_;
};

}  // namespace tonalith
