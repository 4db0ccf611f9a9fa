#pragma once

#include <QObject>
#include <memory>

#include "app/frame_context.h"
#include "studio/manual_dumps.h"

class QTimer;

namespace tonalith {

class InstrumentWindow;
class StudioCommands;

// Brings what instruments send on their own from the input threads to the windows.
class ManualDumpReceiver final : public QObject, private ManualDumpHost {
 public:
  // Everything given must outlive the object.
  ManualDumpReceiver(const FrameContext& frame, StudioCommands& studio);
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

  void Listen();
  void TakeQueue();
  void Tick();
  InstrumentWindow* WindowOf(const DataFile* dataFile) const;

  FrameContext frame_;
  StudioCommands& studio_;
  ManualDumps dumps_;
  std::shared_ptr<Queue> queue_;
  QTimer* timer_;
  int monitor_ = 0;
};

}  // namespace tonalith
