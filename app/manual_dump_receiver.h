#pragma once

#include <QObject>
#include <memory>

#include "studio/manual_dumps.h"

class QTimer;

namespace tonalith {

class CMainFrame;
class TZKBank;
class ZKBasics;

// Brings what instruments send on their own from the input threads to the windows.
class ManualDumpReceiver final : public QObject, private ManualDumpHost {
 public:
  // The frame is the parent; everything given must outlive the object.
  ManualDumpReceiver(CMainFrame& frame, ZKBasics& basics, ZKStudioDoc& studio);
  ~ManualDumpReceiver() override;

 private:
  struct Queue;

  // ---- ManualDumpHost
  ManualDumpMode Mode() const override;
  std::vector<DataFile*> OpenData() override;
  void BeginChange(DataFile* dataFile) override;
  void EndChange(DataFile* dataFile, bool more) override;
  bool Ask(const std::string& question) override;
  void OpenNew(DataFilePtr dataFile) override;
  void Tell(const std::string& sentence) override;

  void TakeQueue();
  void Tick();
  TZKBank* WindowOf(const DataFile* dataFile) const;

  CMainFrame& frame_;
  ZKBasics& basics_;
  ManualDumps dumps_;
  std::shared_ptr<Queue> queue_;
  QTimer* timer_;
  int monitor_ = 0;
};

}  // namespace tonalith
