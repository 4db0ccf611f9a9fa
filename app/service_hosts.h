#pragma once

#include "app/frame_context.h"
#include "services/hosts.h"

namespace tonalith {

class Autosave;
class DesktopFiles;
class FileOpening;
class FirstSteps;
class MidiCommands;
class StudioCommands;
class WindowTransfers;

// What the services ask of the program's windows, handed on to the part that does it.
class ServiceHosts final : public DocumentsHost, public StudioHost, public TransferWindowsHost {
 public:
  struct Parts {
    FileOpening& files;
    Autosave& autosave;
    DesktopFiles& desktops;
    StudioCommands& studio;
    FirstSteps& firstSteps;
    WindowTransfers& transfers;
    MidiCommands& midi;
  };
  // Plugs in here, and out when it goes.
  ServiceHosts(const FrameContext& frame, const Parts& parts);
  ~ServiceHosts() override;
  ServiceHosts(const ServiceHosts&) = delete;
  ServiceHosts& operator=(const ServiceHosts&) = delete;

  // ---- DocumentsHost
  bool OpenFile(const std::string& path, int hint) override;
  void OfferRecovery() override;
  bool LoadWorkspace(const std::string& path) override;
  bool SaveWorkspace(const std::string& path) override;
  void ReleaseLater(DataFilePtr dataFile) override;
  void RequestQuit() override;
  void OpenUrl(const std::string& url) override;

  // ---- StudioHost
  bool DrvLoadSetup(int which) override;
  bool DrvSaveSetup() override;
  void DrvUpdateDataFile(DataFile* dataFile) override;
  DataFile* GetDriver(std::uint16_t driverId) override;

  // ---- TransferWindowsHost
  bool TransmitWindowOpen() const override;
  void OpenTransmitWindow(int port, std::uint32_t total) override;
  void SetTransmitStayOpen(bool stay) override;
  void OpenPortDialog(bool input) override;

 private:
  FrameContext frame_;
  Parts parts_;
};

}  // namespace tonalith
