#include <QPointer>

#include "app/main_frame.h"
#include "services/hosts.h"
#include "services/main_window_messages.h"
#include "services/program.h"
#include "services/zkbasics.h"

namespace tonalith {

std::int64_t CMainFrame::SendMessage(MainWindowMessage message, std::uint64_t wParam, std::int64_t lParam) {
  return basics_.program().mainWindow().SendMessage(message, static_cast<std::int64_t>(wParam), lParam);
}

ZKWindow* CMainFrame::FirstThat(const std::function<bool(ZKWindow&)>& fits) const {
  for (ZKWindow* child : Children()) {
    if (fits(*child)) return child;
  }
  return nullptr;
}

void CMainFrame::ForEach(const std::function<void(ZKWindow&)>& action) const {
  // What one window does may close another.
  std::vector<QPointer<ZKWindow>> children;
  for (ZKWindow* child : Children()) children.emplace_back(child);
  for (const auto& child : children) {
    if (child) action(*child);
  }
}

void CMainFrame::DistributeToAllWindows(ChildWindowMessage message, std::uint64_t wParam, std::int64_t lParam) const {
  ForEach([&](ZKWindow& child) { child.WindowProc(static_cast<std::uint32_t>(message), wParam, lParam); });
}

void CMainFrame::DistributeCntrlToAllWindows(int controller, int value) const {
  DistributeToAllWindows(ChildWindowMessage::Controller, static_cast<std::uint64_t>(controller), value);
}

void CMainFrame::DistributeMIDIToAllWindows(int port, std::uint32_t shortMessage) const {
  DistributeToAllWindows(ChildWindowMessage::ShortMidi, static_cast<std::uint64_t>(port), shortMessage);
}

}  // namespace tonalith
