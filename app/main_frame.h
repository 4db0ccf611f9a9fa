#pragma once

#include <QMainWindow>
#include <QPointer>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "app/desktop_menu.h"
#include "app/preferences.h"
#include "app/raw_sysex_window.h"
#include "bank/ui/bank_window.h"
#include "data/container.h"
#include "midi/port_system.h"
#include "platform/jobs.h"
#include "platform/message_numbers.h"
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

class ManualDumpReceiver;
class AuditionTones;
class MidiActivityDock;
class MidiPanic;
struct ToneTarget;
class ZKControlBar;
class FirstStartPage;
class MonitorRegistry;
class Simulation;
class ZKBasics;
class ZKMidiInStatus;
struct AutoConfigServices;

// The main window: menus, child windows, transfers of their data, files by their kind.
class CMainFrame final : public QMainWindow,
                         public BankWindowHost,
                         public StudioWindowHost,
                         public RawSysExHost,
                         public DocumentsHost,
                         public StudioHost,
                         public TransferWindowsHost,
                         public PreferencesHost {
  Q_OBJECT

 public:
  // Everything given must outlive the frame; `simulation` may be null.
  CMainFrame(ZKBasics& basics, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation);
  ~CMainFrame() override;

  // ---- DocumentsHost, StudioHost, TransferWindowsHost
  bool OpenFile(const std::string& path, int hint) override;
  bool LoadWorkspace(const std::string& path) override;
  bool SaveWorkspace(const std::string& path) override;
  void ReleaseLater(DataFilePtr dataFile) override;
  void RequestQuit() override;
  void OpenUrl(const std::string& url) override;
  bool DrvLoadSetup(int which) override;
  bool DrvSaveSetup() override;
  void DrvUpdateDataFile(DataFile* dataFile) override { studio_.DrvUpdateDataFile(dataFile); }
  DataFile* GetDriver(std::uint16_t driverId) override { return studio_.GetDFDriverWithID(driverId); }
  bool TransmitWindowOpen() const override;
  void OpenTransmitWindow(int port, std::uint32_t total) override;
  void SetTransmitStayOpen(bool stay) override;
  void OpenPortDialog(bool input) override;

  // ---- PreferencesHost
  void ResetMidiInPorts() override;
  void PreferencesApplied() override;

  // Asks whether ports shall be chosen when none is; once a start.
  void AskForPorts();

  // ---- BankWindowHost
  void StartGet(TZKBank* window) override;
  void StartTransmit(TZKBank* window) override;
  void CancelTransfers(TZKBank* window) override;
  Prompts& prompts() override;
  std::string DataFolder(const ZKBankDoc& document) override;
  std::string FileExtension(const ZKBankDoc& document) override;
  void FileUsed(const std::string& path) override;

  // ---- RawSysExHost
  void SendRawSysEx(std::span<const std::uint8_t> bytes, int port, const std::string& what) override;
  std::vector<SysExName> NameSysEx(std::span<const std::uint8_t> bytes) override;
  std::vector<std::string> OutPortNames() const override;
  int RawSysExPort(int port) override;

  // ---- StudioWindowHost (and prompts)
  void OpenDriver(ZKDrvList* driver, bool get) override;
  void InstallModule();
  void StudioEdited() override;
  StudioPorts* ports() override { return &ports_; }
  const AutoConfigServices* autoConfig() override;
  Settings& settings() override;
  std::string ResourceFolder() override;
  std::string PreferencesIni() override;
  const WindowCounters* windowCounters() override;

  // Looks for these instruments one after the other, until "Cancel All".
  void SenseInstruments(std::vector<ZKDrvList*> instruments);
  // The same for the whole studio, when the preference for the program's start is on.
  void SenseInstrumentsAtStart();

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

  // ---- files straight to an instrument.  `port`: number from 1, 0 for the one the data names (raw bytes: the
  // program's). Transmissions go on after the return, one after the other.  False: nothing was begun; except for an
  // empty or unreadable raw file the user has been told why.
  bool DiskTransmit(const std::string& path, int port);
  bool DiskDBTransmit(const std::string& path, int port);
  bool MidiXTransmit(const std::string& path, int port);
  bool SMFTransmit(const std::string& path, int port);
  // By the last four characters of the path.
  bool TransmitFile(const std::string& path, int port);
  bool SendingFiles() const { return fileSending_; }

  // Application variables and other messages by number; unknown ones give 0.  A path is text that lives during the
  // call.
  std::int64_t SendMessage(MainWindowMessage message, std::uint64_t wParam, std::int64_t lParam);

  // The first child window that fits; null when none does.
  ZKWindow* FirstThat(const std::function<bool(ZKWindow&)>& fits) const;
  void ForEach(const std::function<void(ZKWindow&)>& action) const;
  // Messages to every child window.
  void DistributeToAllWindows(ChildWindowMessage message, std::uint64_t wParam, std::int64_t lParam) const;
  void DistributeCntrlToAllWindows(int controller, int value) const;
  void DistributeMIDIToAllWindows(int port, std::uint32_t shortMessage) const;
  void SetCurrentDataFile(DataFile* dataFile) { currentDataFile_ = dataFile; }
  DataFile* CurrentDataFile() const { return currentDataFile_; }

  // A command number of the menu of desktops.
  void RunDesktopCommand(int number);
  DiskStructure& desktops() { return desktops_; }
  MidiPanic* panic() { return panic_; }
  ZKControlBar* controlBar() { return controlBar_; }

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
  void BuildPanelMenu(QMenu* menu);
  void BuildWindowList();
  void ReadPlace();
  void StorePlace();
  void PlaceChild(QMdiSubWindow* sub, ZKWindow* window);
  void StoreChildPlace(const ZKWindow* window);
  QMdiSubWindow* SubWindowOf(const ZKWindow* window) const;
  void UpdateCommands();
  void UpdateRecentFiles();
  void StoreRecentFiles();
  void SetupURLs();
  void ShowChildrenAsTabs(bool tabs);
  void UpdateControlBar();
  void AddChild(ZKWindow* window);
  void PortsChanged(int changes);
  // The monitors show that ports changed, or read anew what the studio knows of messages.
  void TellMonitorsOfPorts(int changes);
  void TellMonitorsOfStudio();
  bool MayClosePorts();
  void ConnectStudio();
  // The page of the first start, also from the Help menu.
  void ShowFirstStart();
  void ShowFirstStartOnce();
  void RestartSimulated();
  bool CloseWindowsOf(std::span<ZKDrvList* const> instruments);
  bool InstallPackageFile(const std::string& path);
  bool OpenForeign(const std::string& path);
  bool ImportForeignLibrary(const std::string& path);
  // The driver that is selected in the studio; null: none.
  ZKDrvList* SelectedDriver() const;
  int ChooseDriver(const std::vector<std::string>& choices);
  bool OpenRawSysEx(const std::string& path);
  bool OpenStudioFile(const std::string& path);
  bool OpenDataFile(const std::string& path);
  void ShowRecognised(const std::string& path, Recognition& recognition);
  // Says that a window is not part of this version.
  void SayNoWindow(const std::string& what);
  void PlayNote(int number);
  ToneTarget TonesGoTo() const;
  // ---- desktops
  std::vector<DesktopWindow> SaveDeskTopWindow();
  bool SaveEachWindow(const ZKWindow* child, DesktopWindow* window);
  bool VerifyCloseAll();
  ZKWindow* OpenDesktopWindow(const DesktopWindow& window);
  void PlaceDesktopWindow(ZKWindow* child, const DesktopWindow& window);
  void ShowDesktopMenu(const QPoint& at);
  // ---- sending files
  friend class FileSendObserver;
  struct FileSendJob {
    QString name;
    std::vector<DataFilePtr> files;  // in order; null once released
    std::size_t next = 0;
    int sent = 0;
    int inactive = 0;
    bool stopped = false;
    QString problem;
  };
  std::string AskFileToSend(const char* title, const char* filter);
  bool UsePort(DataFile* dataFile, int port);
  static void TakeMembers(ListFile& list, FileSendJob* job);
  bool SendMidiX(std::span<const std::uint8_t> bytes, int port, const std::string& name);
  void AddSendJob(FileSendJob job);
  void SendNextFile();
  bool StartFile(DataFile* dataFile);
  void FileSent(const TransferResult& result);
  void EndSendJob();
  void StopSendJobs();
  void OpenManual(std::size_t number);
  bool OnClose();
  PromptAnswer AskWhileSending(const char* text, const char* second);
  bool MayBreakOff();
  bool WaitForOutput();
  bool Sends() const;
  bool OutputBusy() const;
  void StopOutputs();
  void KeepUnsaved();
  bool RefuseMissingPort(const DataFile& dataFile, bool receive);
  void Status(const QString& text);
  void WarnOfDamage(const DataFile& dataFile);

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
  QPointer<FirstStartPage> firstStart_;
  std::shared_ptr<AutoConfigServices> autoConfig_;
  QPointer<QWidget> transmitWindow_;
  ZKMidiInStatus* receiveWindow_ = nullptr;
  MidiActivityDock* activity_ = nullptr;
  ManualDumpReceiver* manualDumps_ = nullptr;
  QLabel* portsLabel_ = nullptr;
  int portListener_ = 0;
  std::vector<Sending> sending_;
  QTimer* sendingTimer_;
  std::deque<FileSendJob> sendJobs_;
  bool fileSending_ = false;  // the first job's next file is on its way
  DiskStructure desktops_;
  MidiPanic* panic_ = nullptr;
  AuditionTones* tones_ = nullptr;
  ZKControlBar* controlBar_ = nullptr;
  DataFile* currentDataFile_ = nullptr;  // not owned
  bool line6_ = false;                   // no panic in this mode
  std::string onlineUrl_;
  std::string updatesUrl_;
  bool quitting_ = false;
  bool closing_ = false;
};

}  // namespace tonalith
