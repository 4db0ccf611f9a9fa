#include "services/main_window_messages.h"

#include <utility>

#include "services/hosts.h"

namespace tonalith {

namespace {

constexpr std::int64_t kNobody = -1;

}  // namespace

MainWindowMessages::MainWindowMessages(ScriptRouter& router, ZKAppVars& appVars, FileSender transmitFile)
    : appVars_(appVars), transmitFile_(std::move(transmitFile)) {
  registration_ = router.RegisterReceiver(ScriptReceiver::MainWindow, [this](const ScriptMessage& message) {
    const auto number = static_cast<MainWindowMessage>(message.number);
    // No script names a file by its address.
    return number == MainWindowMessage::TransmitFile ? 0 : SendMessage(number, message.wParam, message.lParam);
  });
}

std::int64_t MainWindowMessages::SendMessage(MainWindowMessage message, std::int64_t wParam, std::int64_t lParam) {
  const auto number = static_cast<std::int32_t>(wParam);
  switch (message) {
    case MainWindowMessage::TransmitFile:
      return lParam != 0 && TransmitFile(reinterpret_cast<const char*>(lParam), number) ? 1 : 0;
    case MainWindowMessage::GetAppVarGuid:
      return appVars_.GetAppVarGUID();
    case MainWindowMessage::GetAppVar:
      return appVars_.GetAppVar(number);
    case MainWindowMessage::SetAppVar:
      appVars_.SetAppVar(number, static_cast<std::int32_t>(lParam));
      return 1;
    case MainWindowMessage::OpenUpdateDialog:
      if (window_.openUpdateDialog) window_.openUpdateDialog();
      return 0;
    case MainWindowMessage::GetVersionInfo:
    case MainWindowMessage::CollectionIdMap:
      return kNobody;
    default:
      return 0;
  }
}

bool MainWindowMessages::TransmitFile(const std::string& path, int port) {
  return transmitFile_ && transmitFile_(path, port);
}

}  // namespace tonalith
