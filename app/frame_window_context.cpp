#include "app/frame_window_context.h"

#include "app/recent_files_menu.h"
#include "app/window_transfers.h"
#include "services/paths.h"
#include "services/program.h"
#include "studio/studio_document.h"

namespace tonalith {

std::string FrameWindowContext::DataFolder() {
  return frame_.program.paths().MainGetDataPath();
}

void FrameWindowContext::FileUsed(const std::string& path) {
  recent_.Used(path);
}

void FrameWindowContext::UpdateFromStudio(DataFile* dataFile) {
  frame_.studio.DrvUpdateDataFile(dataFile);
}

TransferDesk::Job FrameWindowContext::Transfer(DeskRequest request) {
  return transfers_.Start(std::move(request));
}

void FrameWindowContext::AbandonTransfers(const DataFile* dataFile) {
  transfers_.Abandon(dataFile);
}

}  // namespace tonalith
