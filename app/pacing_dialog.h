#pragma once

#include <QDialog>
#include <functional>
#include <memory>

#include "services/pacing_calibration.h"

class QComboBox;
class QPlainTextEdit;
class QPushButton;
class QStackedLayout;
class QTableWidget;

namespace tonalith {

class PlainLabel;
class ProgramMidi;
class ZKStudioDoc;

// How slowly instruments are sent to: what calibrations found, and finding it for a data type of the studio.  A
// calibration that runs is cancelled by closing; the dialog then stays until the instrument has its data again.
class PacingDialog final : public QDialog {
  Q_OBJECT

 public:
  // All must outlive the dialog; `folder`: where the data of the instrument is kept meanwhile.
  PacingDialog(ProgramMidi& midi, const ZKStudioDoc& studio, Prompts& prompts, const std::string& folder,
               QWidget* parent = nullptr);
  ~PacingDialog() override;

  QTableWidget* table() { return table_; }
  QComboBox* types() { return types_; }
  QPushButton* calibrateButton() { return calibrate_; }
  QPushButton* removeButton() { return remove_; }
  QPlainTextEdit* lines() { return lines_; }
  bool Running() const { return running_; }
  QString Sentence() const;

  void reject() override;

 private:
  void FillTable();
  void FillTypes();
  void Calibrate();
  void Remove();
  void Ended(const PacingCalibration::Report& report);
  void ShowRunning(bool running);

  ProgramMidi& midi_;
  const ZKStudioDoc& studio_;
  Prompts& prompts_;
  std::string folder_;
  QTableWidget* table_;
  QStackedLayout* paces_ = nullptr;
  QComboBox* types_;
  QPlainTextEdit* lines_;
  PlainLabel* sentence_;
  QPushButton* calibrate_;
  QPushButton* remove_;
  QPushButton* close_ = nullptr;
  std::unique_ptr<PacingCalibration> calibration_;
  TransferDesk::Job job_;
  bool running_ = false;
};

}  // namespace tonalith
