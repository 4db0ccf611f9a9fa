#pragma once

#include <QDialog>
#include <vector>

#include "studio/ui/studio_host.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QSpinBox;
class QTableWidget;

namespace tonalith {

// Ports, channels, patch bay and default patches of one instrument.  OK puts them into the studio and keeps them as the
// instrument's defaults.
class InstrumentSettingsDlg final : public QDialog {
  Q_OBJECT

 public:
  InstrumentSettingsDlg(ZKStudioDoc& studio, ZKDrvList* instrument, StudioWindowHost& host, QWidget* parent = nullptr);
  void accept() override;

 private:
  QWidget* BuildPorts();
  QWidget* BuildPatchBay();
  QWidget* BuildDrivers();
  // The ports of the moment, "unassigned", and the instrument's own port also when it is not there.
  QComboBox* PortChoice(const std::string& current, bool input);
  void Apply(ZKDrvList* instrument);

  ZKStudioDoc& studio_;
  ZKDrvList* instrument_;
  StudioWindowHost& host_;
  QComboBox *in_ = nullptr, *out_ = nullptr, *device_ = nullptr, *channel_ = nullptr;
  QGroupBox* patchBay_ = nullptr;
  QComboBox *bayPort_ = nullptr, *bayChannel_ = nullptr;
  QSpinBox *bayController_ = nullptr, *bayPatch_ = nullptr;
  QCheckBox *manual_ = nullptr, *revert_ = nullptr;
  QTableWidget* patches_ = nullptr;
};

}  // namespace tonalith
