#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "app/frame_context.h"
#include "studio/ui/studio_host.h"
#include "studio/ui/studio_window.h"

namespace tonalith {

class AutoSenseSearch;
class ConnectedDialog;
class DocumentWindows;
class IniFile;
class InstrumentWindow;
class OpenStudioDocuments;
class ZKDrvList;

// The studio's window and what is done from it: new data of an instrument, modules, the studio file.
class StudioCommands final : public QObject, public StudioWindowHost {
  Q_OBJECT

 public:
  // Registers the commands and joins the studio.  All of it must outlive this.
  StudioCommands(const FrameContext& frame, DocumentWindows& windows);
  ~StudioCommands() override;

  // Opens the studio's window or brings it to the front.
  TZKDrvLst* Show();
  // Null when it is closed.
  TZKDrvLst* window() const { return window_; }
  void Refresh();
  // A window on new data of a driver; with `get` its receive is started.  Null: it could not be made.
  InstrumentWindow* OpenNewData(ZKDrvList* driver, bool get);
  // A window on data without a file of its own.  `unsaved`: it is nowhere else, closing the window has to ask.
  // `originName`: the name of the file it was taken out of.
  InstrumentWindow* OpenData(DataFilePtr dataFile, bool unsaved = false, const std::string& originName = {});
  // Ports and channels of the instrument of the data; says so when the studio does not have it.
  void ShowSettings(const DataFile& data);
  AutoSenseSearch& autoSense() { return *autoSense_; }
  // Searches for all instruments, in a window of its own.
  void ShowConnected() override;

  // Loads the default studio and shows it.
  bool DrvLoadSetup();
  bool OpenStudioFile(const std::string& path);
  bool InstallPackageFile(const std::string& path);
  // False: the user keeps a window of one of these instruments open.
  bool CloseWindowsOf(std::span<ZKDrvList* const> instruments);
  // Ports came or went.
  void PortsChanged(int changes);
  // How the studio's window was left.
  void ReadView(const IniFile& ini);
  void StoreView(IniFile* ini);

  // ---- StudioWindowHost
  void OpenDriver(ZKDrvList* driver, bool get) override { OpenNewData(driver, get); }
  void OpenDriverFromFile(ZKDrvList* driver, NewDataKind kind) override;
  void StudioEdited() override;
  StudioPorts* ports() override { return &frame_.ports; }
  Prompts& prompts() override { return frame_.prompts(); }
  Settings& settings() override;
  std::string ResourceFolder() override;
  std::string PreferencesIni() override;
  const WindowCounters* windowCounters() override;
  const AutoConfigServices* autoConfig() override;
  std::vector<OpenDocument> OpenDocuments() override;
  OpenStudioDocuments& openDocuments() { return *openDocuments_; }

 signals:
  // Instruments or their settings may be others now.
  void Edited();

 private:
  void OnNewEditor();
  void RouteSimulated(bool loaded = false);

  FrameContext frame_;
  DocumentWindows& windows_;
  QPointer<TZKDrvLst> window_;
  QPointer<ConnectedDialog> connected_;
  bool portsChanging_ = false;  // the rows are built once, when all has followed
  std::unique_ptr<AutoSenseSearch> autoSense_;
  std::unique_ptr<OpenStudioDocuments> openDocuments_;
};

}  // namespace tonalith
