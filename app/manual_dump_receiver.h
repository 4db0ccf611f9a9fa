#pragma once

#include "app/frame_context.h"
#include "studio/manual_dump_feed.h"

namespace tonalith {

class InstrumentWindow;
class StudioCommands;

// Brings what instruments send on their own to the windows.
class ManualDumpReceiver final : private ManualDumpHost {
 public:
  // Everything given must outlive the object.
  ManualDumpReceiver(const FrameContext& frame, StudioCommands& studio);
  ManualDumpReceiver(const ManualDumpReceiver&) = delete;
  ManualDumpReceiver& operator=(const ManualDumpReceiver&) = delete;

 private:
  // ---- ManualDumpHost
  ManualDumpMode Mode() const override;
  std::vector<DataFile*> OpenData() override;
  void BeginChange(DataFile* dataFile) override;
  void EndChange(DataFile* dataFile, bool more) override;
  bool Ask(const std::string& question) override;
  void OpenNew(DataFilePtr dataFile) override;
  void Tell(const std::string& sentence) override;

  InstrumentWindow* WindowOf(const DataFile* dataFile) const;

  FrameContext frame_;
  StudioCommands& studio_;
  ManualDumps dumps_;
  ManualDumpFeed feed_;
};

}  // namespace tonalith
