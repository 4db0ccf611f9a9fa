#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "app/frame_context.h"
#include "services/transfer_desk.h"
#include "services/transfer_files.h"
#include "ui/transfer_windows.h"

namespace tonalith {

// Transfers as the main window shows them: sentences in the status line, the strip with the receive and transmit
// windows behind it, the commands that send files and cancel what is sent.  What a transfer does is the desk's.
class WindowTransfers final : public QObject {
  Q_OBJECT

 public:
  // Registers the commands.
  explicit WindowTransfers(const FrameContext& frame);
  ~WindowTransfers() override;

  // Starts a transfer; what the desk refuses is told the user.
  TransferDesk::Job Start(DeskRequest request);
  // Hears every event behind the window it belongs to.
  void SetListener(std::function<void(const DeskEvent&)> listener) { listener_ = std::move(listener); }
  // As the desk's; the listener hears that the job has ended.
  void Abandon(const DataFile* dataFile);
  TransferDesk& desk() { return desk_; }
  TransferFiles& files() { return files_; }
  ZKMidiInStatus* receiveWindow();

  bool TransmitWindowOpen() const { return transmitWindow_ != nullptr; }
  // Behind the strip: it shows itself when it is asked for.
  void OpenTransmitWindow();
  // What is known of a transfer, in front.
  void ShowDetails(const TransferDesk::Job& job, const std::shared_ptr<Transfer>& transfer);

  // Something is on its way out, or waits for it.
  bool Sends() const;
  // Ends everything that is sent, on every port.
  void StopOutputs();

 private:
  void OnCancelTransmit();
  void StopPorts(const std::vector<bool>& ports);
  void Show(const DeskEvent& event);

  FrameContext frame_;
  TransferDesk& desk_;
  TransferFiles& files_;
  std::function<void(const DeskEvent&)> listener_;
  QPointer<ZKMidiOutStatus> transmitWindow_;
  ZKMidiInStatus* receiveWindow_ = nullptr;
};

}  // namespace tonalith
