#pragma once

#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <vector>

#include "services/transfer_desk.h"

class QVBoxLayout;

namespace tonalith {

class Clock;
class StripRow;

// How many seconds a transfer still needs, from the time it took so far; -1: not known yet.
int SecondsLeft(std::int64_t passedMs, double done);

// The strip at the bottom of the main window: a row for each transfer that runs, waits or ended badly.  It looks at the
// time only while something runs.
class TransferStrip final : public QWidget {
  Q_OBJECT

 public:
  explicit TransferStrip(Clock& clock, QWidget* parent = nullptr);

  // Every event of every job, in order.
  void Take(const DeskEvent& event);
  // The job was given up; nobody is told of its end.
  void Forget(const std::shared_ptr<DeskJob>& job);
  // A receive left messages behind that nobody has read: its row stays until it is clicked, or the next one begins.
  void KeepForReading(const std::shared_ptr<Transfer>& transfer);

  int Rows() const { return static_cast<int>(rows_.size()); }
  StripRow* RowOf(const DataFile* dataFile) const;

 signals:
  void CancelWanted(const std::shared_ptr<DeskJob>& job);
  // The transfer is null before its first byte, and for sends.
  void DetailsWanted(const std::shared_ptr<DeskJob>& job, const std::shared_ptr<Transfer>& transfer);
  // It has rows to show now, or none any more.
  void Shown(bool rows);

 private:
  struct Row {
    std::shared_ptr<DeskJob> job;
    std::shared_ptr<Transfer> transfer;  // of its step
    StripRow* widget = nullptr;
    const DataFile* dataFile = nullptr;  // only compared
    std::int64_t beganUs = 0;            // of its step
    std::size_t step = 0;
    int patchesDone = 0;
    int patchesToDo = 0;
    std::int64_t bytes = 0;
    std::int64_t expected = 0;
    std::int64_t overUs = 0;  // when it ended well; 0: it runs, or stays until it is closed
  };
  Row& RowFor(const DeskEvent& event);
  void Show(Row& row);
  void End(Row& row, const DeskResult& result);
  void Remove(const StripRow* widget);
  void ShowRow(StripRow* widget);
  void Look();
  Row* Find(const std::shared_ptr<DeskJob>& job);
  Row* Find(const StripRow* widget);
  void RemoveRead();

  Clock& clock_;
  QVBoxLayout* column_;
  QTimer timer_;
  std::vector<std::unique_ptr<Row>> rows_;
};

}  // namespace tonalith
