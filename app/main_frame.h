#pragma once

#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "bank/ui/bank_window.h"
#include "midi/port_system.h"
#include "platform/jobs.h"
#include "script/transfer_engine.h"
#include "services/hosts.h"
#include "studio/recognize.h"
#include "studio/ui/studio_window.h"
#include "ui/commands.h"

class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QTimer;

namespace tonalith {

class MidiActivityDock;
class MonitorRegistry;
class Simulation;
class ZKBasics;
class ZKMidiInStatus;

// The main window: menus, child windows, transfers of their data, files by their kind.
class CMainFrame final : public QMainWindow,
                         public BankWindowHost,
                         public StudioWindowHost,
                         public DocumentsHost,
                         public StudioHost,
                         public TransferWindowsHost {
  Q_OBJECT

 public:
  // Everything given must outlive the frame; `simulation` may be null.
  CMainFrame(ZKBasics& basics, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation);
  ~CMainFrame() override;

  // ---- DocumentsHost, StudioHost, TransferWindowsHost
  bool OpenFile(const std::string& path, int hint) override;
  bool LoadWorkspace(const std::string& path) override;
  bool SaveWorkspace(const std::string& path) override;
  void RequestQuit() override;
  void OpenUrl(const std::string& url) override;
  bool DrvLoadSetup(int which) override;
  bool DrvSaveSetup() override;
  void DrvUpdateDataFile(DataFile* dataFile) override { studio_.DrvUpdateDataFile(dataFile); }
  DataFile* GetDriver(std::uint16_t driverId) override { return studio_.GetDFDriverWithID(driverId); }
  bool TransmitWindowOpen() const override;
  void OpenTransmitWindow(int port, std::uint32_t total) override;
  void SetTransmitStayOpen(bool stay) override;

  // ---- BankWindowHost
  void StartGet(TZKBank* window) override;
  void StartTransmit(TZKBank* window) override;
  void CancelTransfers(TZKBank* window) override;
  Prompts& prompts() override;
  std::string DataFolder(const ZKBankDoc& document) override;
  std::string FileExtension(const ZKBankDoc& document) override;
  void FileUsed(const std::string& path) override;

  // ---- StudioWindowHost (and prompts)
  void OpenDriver(ZKDrvList* driver, bool get) override;
  void InstallModule() override;
  void StudioEdited() override;
  StudioPorts* ports() override { return &ports_; }

  // ---- the handlers of the commands (main_frame_commands.cpp says which is whose)
  void OnNewDriverList();
  void OnNewGroup();
  void OnNewEditor();
  void OnNewLibrary();
  void OnNewDBase();
  void OnNewSysXMessage();
  void OnFileOpen();
  void OnFileClose();
  void OnDiskToInstr();
  void OnDiskDBToInstr();
  void OnMidiXToInstr();
  void OnSmfToInstr();
  void OnLoadDesktop();
  void OnSaveDesktop();
  void OnClearRecentFiles();
  void OnFileExit();
  void OnOptionsPreferences();
  void OnOptionsAudition();
  void OnOptionsEditorSkings();
  void OnOptionsSavePreferences();
  void OnUpdateKeyList();
  void OnOptionsReopenDesktop();
  void OnViewControlBar();
  void OnViewStatusBar();
  void OnViewMidiActivity();
  void OnSetList();
  void OnSetfilelist();
  void OnCancelTransmit();
  void OnMidiInPorts();
  void OnMidiOutPorts();
  void OnMidiPanic();
  void OnPlayNote1() { PlayNote(0); }
  void OnPlayNote2() { PlayNote(1); }
  void OnPlayNote3() { PlayNote(2); }
  void OnPlayNote4() { PlayNote(3); }
  void OnPlayNote5() { PlayNote(4); }
  void OnPlayNote6() { PlayNote(5); }
  void OnPlayNote7() { PlayNote(6); }
  void OnPlayNote8() { PlayNote(7); }
  void OnPlayChord();
  void OnPlaySequence();
  void OnPlayLastNote();
  void OnUtilitiesDriverCreatorWindow();
  void OnUtilitiesFileConversionWindow();
  void OnUtilitiesMidiControllerWindow();
  void OnUtilitiesSequencerWindow();
  void OnUtilitiesMidiMonitorWindow();
  void OnMidiMonitorGraphic();
  void OnUtilitiesRemote();
  void OnUtilitiesOsceditor();
  void OnWindowCascade();
  void OnWindowTile();
  void OnWindowTabbed();
  void OnWindowNext();
  void OnWindowCloseAll();
  void OnHelpFirstSteps();
  void OnHelpOpenmanual() { OpenManual(0); }
  void OnHelpOpenmanual2() { OpenManual(1); }
  void OnHelpOpenmanual3() { OpenManual(2); }
  void OnHelpOpenmanual4() { OpenManual(3); }
  void OnHelpOpenmanual5() { OpenManual(4); }
  void OnHelpOpenmanual6() { OpenManual(5); }
  void OnHelpOpenmanual7() { OpenManual(6); }
  void OnHelpOpenmanual8() { OpenManual(7); }
  void OnHelpOpenmanual9() { OpenManual(8); }
  void OnHelpOpenmanual10() { OpenManual(9); }
  void OnHelpKeys();
  void OnHelpOnline();
  void OnHelpUpdates();
  void OnAppAbout();

  // Carries a command out: the frame's own handler, or the active child window.
  void RunCommand(CommandId command);
  QAction* ActionOf(CommandId command) const;
  TZKDrvLst* ShowStudio();
  TZKBank* OpenBank(DataFilePtr dataFile, const std::string& path);
  // Brings the child window to the front.
  void Activate(ZKWindow* child);
  ZKWindow* ActiveChild() const;
  std::vector<ZKWindow*> Children() const;
  ZKMidiInStatus* receiveWindow();

  // Titles and files of the manuals; with `show` they stand in the Help menu.
  void SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show);
  void RemoveMenuActions(const std::vector<std::string>& names);
  void LoadRecentFiles(int entries);
  void UpdateAppTitleBar();
  // The program ends without questions (end of the session): changes nobody saved are kept in the folder "Recovered".
  void SetQuitting() { quitting_ = true; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  friend struct FrameCommands;
  void BuildMenus();
  QMenu* MenuOf(const CommandRow& row);
  void BuildSimulatorMenu(QMenu* menu);
  void BuildWindowList();
  void ReadPlace();
  void StorePlace();
  void PlaceChild(QMdiSubWindow* sub, ZKWindow* window);
  void StoreChildPlace(const ZKWindow* window);
  QMdiSubWindow* SubWindowOf(const ZKWindow* window) const;
  void UpdateCommands();
  void UpdateRecentFiles();
  void AddChild(ZKWindow* window);
  void PortsChanged(int changes);
  // The monitors show that ports changed, or read anew what the studio knows of messages.
  void TellMonitorsOfPorts(int changes);
  void TellMonitorsOfStudio();
  bool InstallPackageFile(const std::string& path);
  int ReplaceInstruments(const std::string& moduleFile);
  bool OpenForeign(const std::string& path);
  bool OpenRawSysEx(const std::string& path);
  bool OpenStudioFile(const std::string& path);
  bool OpenDataFile(const std::string& path);
  void ShowRecognised(const std::string& path, Recognition& recognition);
  // Says that a window is not part of this version.
  void SayNoWindow(const char* what);
  void PlayNote(int number);
  void OpenManual(std::size_t number);
  bool OnClose();
  bool OutputBusy() const;
  void StopOutputs();
  void KeepUnsaved();
  bool RefuseMissingPort(const DataFile& dataFile, bool receive);
  void Status(const QString& text);
  std::string EndSentence(const TransferResult& result, const DataFile& dataFile) const;

  friend class FrameTransferObserver;
  // Data that was handed to its port; the port needs its time to send it.
  struct Sending {
    QPointer<TZKBank> window;
    int number = 0;
    int port = 0;
    std::uint64_t failedBefore = 0;
    bool handedOver = false;
    bool cancelled = false;
    QString sentence;
  };
  std::uint64_t FailedMessages(int port) const;
  void WatchSending();
  void SendingCancelled(int port);
  void TransferEnded(const QPointer<TZKBank>& window, int number, const TransferResult& result);

  ZKBasics& basics_;
  ZKStudioDoc& studio_;
  StudioPorts& ports_;
  Simulation* simulation_;
  std::unique_ptr<MonitorRegistry> monitors_;
  Receiver receiver_;
  Jobs jobs_;
  QMdiArea* area_;
  std::map<CommandId, QAction*> actions_;
  std::vector<QMenu*> menus_;
  std::map<std::string, QMenu*> submenus_;
  std::vector<QAction*> windowList_;
  QMenu* recentMenu_ = nullptr;
  QAction* recentEnd_ = nullptr;  // the recent files stand before it
  std::vector<QAction*> recentActions_;
  QStringList recentFiles_;
  int recentLimit_ = 4;
  std::vector<std::string> manuals_;  // files
  QPointer<TZKDrvLst> studioWindow_;
  QPointer<QWidget> transmitWindow_;
  ZKMidiInStatus* receiveWindow_ = nullptr;
  MidiActivityDock* activity_ = nullptr;
  QLabel* portsLabel_ = nullptr;
  int portListener_ = 0;
  std::vector<Sending> sending_;
  QTimer* sendingTimer_;
  bool quitting_ = false;
  bool closing_ = false;
};

}  // namespace tonalith
