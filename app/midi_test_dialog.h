#pragma once

#include <QDialog>
#include <memory>

#include "services/midi_self_test.h"

class QComboBox;
class QProgressBar;
class QPushButton;
class QStackedLayout;
class QTableWidget;

namespace tonalith {

class PlainLabel;

// Sends patterns from an output to an input that the user has connected by a cable, and shows what came back.  The test
// is a job of the desk; closing the dialog cancels it.
class MidiTestDialog final : public QDialog {
  Q_OBJECT

 public:
  // Both must outlive the dialog.
  MidiTestDialog(MidiPortSystem& midi, TransferDesk& desk, QWidget* parent = nullptr);
  ~MidiTestDialog() override;

  QComboBox* output() { return output_; }
  QComboBox* input() { return input_; }
  QPushButton* startButton() { return start_; }
  QTableWidget* table() { return table_; }
  bool Running() const { return job_ && !job_->Ended(); }
  // The sentence of the last test; empty before.
  QString Sentence() const;

  void reject() override;

 private:
  void FillPorts();
  void Start();
  void Ended(const DeskResult& result);
  void ShowRunning(bool running);

  MidiPortSystem& midi_;
  TransferDesk& desk_;
  Receiver receiver_;
  QComboBox* output_;
  QComboBox* input_;
  QTableWidget* table_;
  QStackedLayout* results_ = nullptr;
  PlainLabel* sentence_;
  QProgressBar* progress_;
  QPushButton* start_;
  QPushButton* close_ = nullptr;
  // Shared with the job, which may outlive the dialog.
  std::shared_ptr<SelfTestReport> report_;
  TransferDesk::Job job_;
};

}  // namespace tonalith
