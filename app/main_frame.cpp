#include "app/main_frame.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QStatusBar>
#include <QUrl>

#include "app/simulation.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/text.h"
#include "services/zkbasics.h"
#include "studio/package.h"
#include "ui/midi_activity.h"
#include "ui/qt_text.h"
#include "ui/transfer_windows.h"

namespace tonalith {

// Brings the news of one transfer to the frame and to the window that asked.
class FrameTransferObserver final : public TransferObserver {
 public:
  FrameTransferObserver(CMainFrame* frame, TZKBank* window) : frame_(frame), window_(window) {}
  void closed(const TransferResult& result) override {
    if (frame_) frame_->TransferEnded(window_, result);
  }

 private:
  QPointer<CMainFrame> frame_;
  QPointer<TZKBank> window_;
};

namespace {

constexpr const char* kRecentSection = "Recent File List";

}  // namespace

CMainFrame::CMainFrame(ZKBasics& basics, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation)
    : basics_(basics),
      studio_(studio),
      ports_(ports),
      simulation_(simulation),
      jobs_(basics.clock(), 1),
      area_(new QMdiArea(this)) {
  setObjectName(QStringLiteral("CMainFrame"));
  setCentralWidget(area_);
  setAcceptDrops(true);
  area_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  area_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  activity_ = new MidiActivityDock(basics_.midi().in(), basics_.midi().out(), this);
  addDockWidget(Qt::RightDockWidgetArea, activity_);
  activity_->hide();
  portsLabel_ = new QLabel(this);
  statusBar()->addPermanentWidget(portsLabel_);
  BuildMenus();
  connect(area_, &QMdiArea::subWindowActivated, this, [this] { UpdateCommands(); });
  studio_.SetChangeSink([this] {
    if (studioWindow_) studioWindow_->Refresh();
  });
  portListener_ = basics_.AddPortListener([this](int changes) { PortsChanged(changes); });
  UpdateAppTitleBar();
  const int width = fontMetrics().averageCharWidth();
  resize(width * 170, fontMetrics().height() * 46);
}

CMainFrame::~CMainFrame() {
  receiver_.Forget();
  basics_.RemovePortListener(portListener_);
  studio_.SetChangeSink({});
  jobs_.StopAll();
}

Prompts& CMainFrame::prompts() {
  return basics_.prompts();
}

// ---- menus and commands ---------------------------------------------------------------------------------------------

void CMainFrame::BuildMenus() {
  for (const char* title : MenuTitles()) menus_.push_back(menuBar()->addMenu(QString::fromLatin1(title)));
  for (const CommandRow& row : CommandTable()) {
    QMenu* menu = menus_[static_cast<std::size_t>(row.menu)];
    if (row.id == CommandId::None) {
      menu->addSeparator();
      continue;
    }
    if (row.id == CommandId::UtilitiesSimulator) {
      BuildSimulatorMenu(menu->addMenu(QString::fromLatin1(row.text)));
      continue;
    }
    auto* action = new QAction(QString::fromLatin1(row.text), this);
    action->setShortcut(QKeySequence(QString::fromLatin1(row.shortcut), QKeySequence::PortableText));
    action->setStatusTip(QString::fromLatin1(row.help));
    action->setCheckable(row.checkable);
    const CommandId id = row.id;
    connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
    actions_[id] = action;
    menu->addAction(action);
    if (id == CommandId::FileSaveAs) recentMenu_ = menu->addMenu(tr("&Recent Files"));
  }
  actions_[CommandId::FileExit]->setMenuRole(QAction::QuitRole);
  actions_[CommandId::ViewStatusBar]->setChecked(true);
  connect(activity_, &QDockWidget::visibilityChanged, actions_[CommandId::ViewMidiActivity], &QAction::setChecked);
  for (QMenu* menu : menus_) {
    connect(menu, &QMenu::aboutToShow, this, &CMainFrame::UpdateCommands);
  }
  UpdateRecentFiles();
  UpdateCommands();
}

void CMainFrame::BuildSimulatorMenu(QMenu* menu) {
  if (!simulation_) {
    menu->addAction(tr("Start the program with --simulated to try it without hardware"))->setEnabled(false);
    return;
  }
  for (std::size_t place = 0; place < simulation_->studio().Count(); ++place) {
    QAction* action = menu->addAction(tr("Cable of %1").arg(FromUtf8(simulation_->studio().PortName(place))));
    action->setCheckable(true);
    action->setChecked(true);
    action->setStatusTip(tr("Pull or plug this virtual cable"));
    connect(action, &QAction::toggled, this, [this, place](bool on) { simulation_->SetPlugged(place, on); });
  }
}

QAction* CMainFrame::ActionOf(CommandId command) const {
  const auto found = actions_.find(command);
  return found == actions_.end() ? nullptr : found->second;
}

void CMainFrame::UpdateCommands() {
  const ZKWindow* child = ActiveChild();
  for (const CommandRow& row : CommandTable()) {
    QAction* action = ActionOf(row.id);
    if (!action) continue;
    if (row.owner == CommandOwner::Child) action->setEnabled(child && child->CommandEnabled(row.id));
  }
  const bool any = !area_->subWindowList().isEmpty();
  for (const auto command : {CommandId::FileClose, CommandId::WindowCascade, CommandId::WindowTile,
                             CommandId::WindowNext, CommandId::WindowCloseAll}) {
    ActionOf(command)->setEnabled(any);
  }
  int outputs = 0;
  basics_.midi().out().OUTNUMPORTS(&outputs);
  ActionOf(CommandId::MidiPanic)->setEnabled(outputs > 0);
  ActionOf(CommandId::MidiCancelTransmit)->setEnabled(outputs > 0);
  portsLabel_->setText(tr("MIDI: %1 in, %2 out").arg(basics_.midi().in().InPorts()).arg(outputs));
}

void CMainFrame::RunCommand(CommandId command) {
  switch (command) {
    case CommandId::FileNewStudio:
      ShowStudio();
      break;
    case CommandId::FileOpen: {
      FilePrompt prompt;
      prompt.title = "Choose File to Open...";
      prompt.folder = basics_.paths().MainGetDataPath();
      prompt.patterns = {"Banks, patches and SysEx (*.dat *.DAT *.syx *.SYX *.mid *.MID *.smf *.pvz)",
                         "ZK Data (*.DAT *.dat)", "ZK Compressed Module (*.pvz)", "All Files (*)"};
      if (const std::string path = prompts().File(prompt); !path.empty()) OpenFile(path, 0);
      break;
    }
    case CommandId::FileClose:
      if (QMdiSubWindow* window = area_->activeSubWindow()) window->close();
      break;
    case CommandId::FileInstallModule:
      InstallModule();
      break;
    case CommandId::FileExit:
      close();
      break;
    case CommandId::ViewStatusBar:
      statusBar()->setVisible(ActionOf(command)->isChecked());
      break;
    case CommandId::ViewMidiActivity:
      activity_->setVisible(ActionOf(command)->isChecked());
      break;
    case CommandId::MidiCancelTransmit:
      ShowCancelTransmit();
      break;
    case CommandId::MidiPanic:
      MidiPanic();
      break;
    case CommandId::WindowCascade:
      area_->cascadeSubWindows();
      break;
    case CommandId::WindowTile:
      area_->tileSubWindows();
      break;
    case CommandId::WindowNext:
      area_->activateNextSubWindow();
      break;
    case CommandId::WindowCloseAll:
      area_->closeAllSubWindows();
      break;
    case CommandId::HelpContents:
      ShowFirstSteps();
      break;
    case CommandId::HelpAbout:
      ShowAbout();
      break;
    default:
      if (ZKWindow* child = ActiveChild()) child->RunCommand(command);
  }
  UpdateCommands();
}

void CMainFrame::ShowAbout() {
  prompts().Say("About Tonalith",
                "Tonalith " TONALITH_VERSION "\nEditor and librarian for MIDI instruments\n\nInstruments: " +
                    basics_.paths().MainGetInstrPath() + "\nData: " + basics_.paths().MainGetDataPath());
}

void CMainFrame::ShowFirstSteps() {
  prompts().Say(
      "First Steps",
      "1. Open the studio (File, Studio) and choose a kind of data of an instrument.\n"
      "2. Get requests it from the instrument; a window shows the progress.\n"
      "3. The bank window lists the patches. F2 renames one in place.\n"
      "4. Send brings the data back into the instrument, Save keeps it as a file.\n\n"
      "The MIDI ports and numbers of an instrument are changed in the studio: click the selected entry once more.");
}

void CMainFrame::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  if (!show) return;
  QMenu* help = menus_.back();
  help->addSeparator();
  for (const auto& [title, file] : manuals) {
    help->addAction(FromUtf8(title), this, [this, path = file] {
      if (!QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(path))))
        Status(tr("%1 could not be opened").arg(FromUtf8(path)));
    });
  }
}

void CMainFrame::RemoveMenuActions(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    for (const auto& [id, action] : actions_) {
      QString text = action->text();
      if (text.remove('&').remove(QStringLiteral("...")) == FromUtf8(name)) action->setVisible(false);
    }
  }
}

void CMainFrame::UpdateAppTitleBar() {
  setWindowTitle(simulation_ ? tr("Simulated instruments - Tonalith") : QStringLiteral("Tonalith"));
}

void CMainFrame::Status(const QString& text) {
  statusBar()->showMessage(text);
}

// ---- recent files ---------------------------------------------------------------------------------------------------

void CMainFrame::LoadRecentFiles(int entries) {
  recentLimit_ = entries;
  recentFiles_.clear();
  const IniFile ini(basics_.paths().GetZKIni());
  for (int i = 1; i <= entries; ++i) {
    const std::string file = ini.GetString(kRecentSection, "File" + std::to_string(i));
    if (!file.empty()) recentFiles_ << FromUtf8(file);
  }
  UpdateRecentFiles();
}

void CMainFrame::FileUsed(const std::string& path) {
  recentFiles_.removeAll(FromUtf8(path));
  recentFiles_.prepend(FromUtf8(path));
  while (recentFiles_.size() > recentLimit_) recentFiles_.removeLast();
  IniFile ini(basics_.paths().GetZKIni());
  for (int i = 0; i < recentFiles_.size(); ++i) {
    ini.Set(kRecentSection, "File" + std::to_string(i + 1), ToUtf8(recentFiles_[i]));
  }
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  UpdateRecentFiles();
}

void CMainFrame::UpdateRecentFiles() {
  recentMenu_->clear();
  recentMenu_->setEnabled(!recentFiles_.isEmpty());
  for (int i = 0; i < recentFiles_.size(); ++i) {
    const QString path = recentFiles_[i];
    recentMenu_
        ->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(QFileInfo(path).fileName()), this,
                    [this, path] { OpenFile(ToUtf8(path), 0); })
        ->setStatusTip(path);
  }
}

// ---- child windows --------------------------------------------------------------------------------------------------

ZKWindow* CMainFrame::ActiveChild() const {
  QMdiSubWindow* window = area_->currentSubWindow();
  return window ? qobject_cast<ZKWindow*>(window->widget()) : nullptr;
}

std::vector<ZKWindow*> CMainFrame::Children() const {
  std::vector<ZKWindow*> children;
  for (QMdiSubWindow* window : area_->subWindowList()) {
    if (auto* child = qobject_cast<ZKWindow*>(window->widget())) children.push_back(child);
  }
  return children;
}

void CMainFrame::AddChild(ZKWindow* window) {
  window->setAttribute(Qt::WA_DeleteOnClose);
  const QSize size = window->size();
  QMdiSubWindow* sub = area_->addSubWindow(window);
  const QSize frame = sub->size() - sub->contentsRect().size();
  sub->resize((size + frame).boundedTo(area_->viewport()->size()));
  sub->setAttribute(Qt::WA_DeleteOnClose);
  connect(window, &ZKWindow::StateChanged, this, &CMainFrame::UpdateCommands);
  connect(window, &ZKWindow::StatusMessage, this, &CMainFrame::Status);
  sub->show();
  window->setFocus();
  UpdateCommands();
}

TZKDrvLst* CMainFrame::ShowStudio() {
  if (!studioWindow_) {
    studioWindow_ = new TZKDrvLst(studio_, *this);
    AddChild(studioWindow_);
  }
  for (QMdiSubWindow* window : area_->subWindowList()) {
    if (window->widget() == studioWindow_) area_->setActiveSubWindow(window);
  }
  return studioWindow_;
}

TZKBank* CMainFrame::OpenBank(DataFilePtr dataFile, const std::string& path) {
  auto document = std::make_unique<ZKBankDoc>(std::move(dataFile));
  document->SetPath(path);
  auto* window = new TZKBank(std::move(document), *this);
  AddChild(window);
  return window;
}

void CMainFrame::OpenDriver(ZKDrvList* driver, bool get) {
  DataFilePtr fresh = studio_.GetNewDataFile(driver);
  if (!fresh) {
    prompts().Say("Studio", "Insufficient memory.\n");
    return;
  }
  TZKBank* window = OpenBank(std::move(fresh), {});
  if (get) StartGet(window);
}

// ---- files ----------------------------------------------------------------------------------------------------------

bool CMainFrame::OpenFile(const std::string& path, int hint) {
  (void)hint;
  const std::string name = AsciiUpper(ToUtf8(QFileInfo(FromUtf8(path)).fileName()));
  const auto has = [&name](const char* extension) { return name.find(extension) != std::string::npos; };
  bool opened = false;
  if (has(".PV9") || has(".PV5")) {
    ShowStudio();
    const QFileInfo info(FromUtf8(path));
    opened = studio_.DrvLoadSetup(0, ToUtf8(info.path()), ToUtf8(info.fileName())) == 0;
    if (opened && simulation_) simulation_->RouteInstruments(studio_, ports_);
  } else if (has(".PVZ")) {
    opened = InstallPackageFile(path);
  } else if (has(".SYX") || has(".MID") || has(".SMF")) {
    opened = OpenForeign(path);
  } else {
    for (const char* other : {".PVS", ".PVG", ".PVC", ".PVD", ".PVL", ".PVB"}) {
      if (!has(other)) continue;
      prompts().Say(
          "Tonalith",
          path + "\n\nThis version opens single banks and patches; sets, collections and libraries cannot be opened.");
      return false;
    }
    opened = OpenDataFile(path);
  }
  if (opened) FileUsed(path);
  return opened;
}

bool CMainFrame::OpenDataFile(const std::string& path) {
  DataFilePtr read;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  const Result result = ZKBankDoc::Load(path, &read);
  QApplication::restoreOverrideCursor();
  if (!result.ok()) {
    prompts().Say("File Error", result.text);
    return false;
  }
  studio_.DrvUpdateDataFile(read.get());
  OpenBank(std::move(read), path);
  return true;
}

bool CMainFrame::OpenForeign(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok()) {
    prompts().Say("File Error", read.text);
    return false;
  }
  Recognition recognition;
  const Result result = Recognizer(studio_).Recognize(bytes, &recognition);
  if (!result.ok() || recognition.pieces.empty()) {
    prompts().Say("File Error",
                  result.text.empty() ? path + "\n\nNone of the studio's instruments knows this data." : result.text);
    return false;
  }
  ShowRecognised(path, recognition);
  return true;
}

void CMainFrame::ShowRecognised(const std::string& path, Recognition& recognition) {
  constexpr std::size_t kMostWindows = 16;
  std::size_t opened = 0;
  std::size_t bad = 0;
  for (auto& piece : recognition.pieces) {
    bad += piece.checksum == ChecksumVerdict::kBad ? 1 : 0;
    if (!piece.data || opened >= kMostWindows) continue;
    studio_.DrvUpdateDataFile(piece.data.get());
    OpenBank(std::move(piece.data), {});
    ++opened;
  }
  QString text = tr("%1: %2 pieces of data").arg(QFileInfo(FromUtf8(path)).fileName()).arg(recognition.pieces.size());
  if (opened < recognition.pieces.size()) text += tr(", the first %1 were opened").arg(opened);
  if (bad) text += tr("; the checksum of %1 is wrong").arg(bad);
  Status(text);
}

bool CMainFrame::InstallPackageFile(const std::string& path) {
  InstallReport report;
  if (const Result result = InstallPackage(path, basics_.paths().MainGetInstrPath(), &report); !result.ok()) {
    prompts().Say("Studio", result.text);
    return false;
  }
  if (!report.moduleFile.empty()) {
    studio_.RemoveInstrumentUsingFilename(report.moduleFile);
    studio_.AddDrivers(report.moduleFile);
    studio_.DrvSaveSetup(0);
    if (simulation_) simulation_->RouteInstruments(studio_, ports_);
    Status(tr("%1 was installed.").arg(FromLatin1(report.name)));
  }
  ShowStudio()->Refresh();
  return true;
}

void CMainFrame::InstallModule() {
  FilePrompt prompt;
  prompt.title = "Select Instrument Modules to Install...";
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.patterns = {"ZK Compressed Module (*.pvz)", "All Files (*)"};
  const std::string path = prompts().File(prompt);
  if (!path.empty()) OpenFile(path, 0);
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) OpenFile(ToUtf8(url.toLocalFile()), 0);
  }
  event->acceptProposedAction();
}

std::string CMainFrame::DataFolder(const ZKBankDoc& document) {
  std::string folder = FieldText(document.synth().reserved206);
  folder = folder.substr(0, folder.find_first_of("/\\:"));
  if (folder.empty()) {
    const std::string definition = GetDefn(document.synth());
    folder = definition.substr(0, definition.find_first_of("/\\:"));
  }
  std::string path = basics_.paths().MainGetDataPath();
  if (!folder.empty() && folder != "." && folder != "..") path += "/" + Latin1ToUtf8(folder);
  return MakeFolders(path).ok() ? path : basics_.paths().MainGetDataPath();
}

std::string CMainFrame::FileExtension(const ZKBankDoc& document) {
  const std::string extension = FieldText(document.synth().reserved238);
  return extension.empty() ? "DAT" : Latin1ToUtf8(FixInvalidFilenameCharacters(extension));
}

// ---- studio ---------------------------------------------------------------------------------------------------------

bool CMainFrame::DrvLoadSetup(int which) {
  (void)which;
  const bool loaded = studio_.DrvLoadSetup(0) == 0;
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  ShowStudio()->Refresh();
  return loaded;
}

bool CMainFrame::DrvSaveSetup() {
  return studio_.DrvSaveSetup(0) == 0;
}

void CMainFrame::PortsChanged(int changes) {
  studio_.UpdateMidiPortsStatusChanged();
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  for (ZKWindow* child : Children()) {
    if (auto* bank = qobject_cast<TZKBank*>(child)) {
      if (!bank->document().IsBusy()) studio_.DrvUpdateDataFile(bank->document().dataFile());
    }
  }
  activity_->Rebuild();
  if (studioWindow_) studioWindow_->Refresh();
  Status((changes & kPortsRemoved) != 0 ? tr("A MIDI port went away.") : tr("A MIDI port was added."));
  UpdateCommands();
}

// ---- transfers ------------------------------------------------------------------------------------------------------

ZKMidiInStatus* CMainFrame::receiveWindow() {
  if (!receiveWindow_) receiveWindow_ = new ZKMidiInStatus(this);
  return receiveWindow_;
}

void CMainFrame::StartGet(TZKBank* window) {
  window->document().BeginReceive();
  TransferRequest request;
  request.operation = TransferOperation::kReceive;
  request.dataFile = window->document().dataFile();
  request.observer = std::make_shared<FrameTransferObserver>(this, window);
  request.showWindow = 1;
  std::shared_ptr<Transfer> transfer;
  if (basics_.transfers().MidiIODataFile(request, &transfer) == 0 || !transfer) {
    if (!transfer) window->BankTransferEnded(true, tr("Nothing was received."));
    return;
  }
  Status(tr("Receiving %1...").arg(FromLatin1(window->document().Description())));
  if (transfer->Running()) receiveWindow()->Add(transfer);
}

void CMainFrame::StartTransmit(TZKBank* window) {
  window->document().SetBusy(true);
  TransferRequest request;
  request.operation = TransferOperation::kTransmit;
  request.dataFile = window->document().dataFile();
  request.observer = std::make_shared<FrameTransferObserver>(this, window);
  request.showWindow = 1;
  request.background = true;
  std::shared_ptr<Transfer> transfer;
  basics_.transfers().MidiIODataFile(request, &transfer);
  if (!transfer) {
    window->BankTransferEnded(false, tr("Nothing was sent."));
    return;
  }
  Status(tr("Sending %1...").arg(FromLatin1(window->document().Description())));
}

void CMainFrame::CancelTransfers(TZKBank* window) {
  basics_.transfers().Abandon(window->document().dataFile());
  window->document().SetBusy(false);
}

std::string CMainFrame::EndSentence(const TransferResult& result, const DataFile& dataFile) const {
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile) + " " + FieldText(dataFile.synth->typeName));
  const bool receive = result.operation == TransferOperation::kReceive;
  if (!result.ok) {
    if (!result.text.empty()) return result.text;
    return receive ? "Nothing was received; the data is as it was." : "The data was not sent.";
  }
  if (!receive) return what + " was sent.";
  if (result.patchesToDo > 0) {
    return std::to_string(result.patchesDone) + " of " + std::to_string(result.patchesToDo) + " patches of " + what +
           " were received.";
  }
  return what + " was received.";
}

void CMainFrame::TransferEnded(const QPointer<TZKBank>& window, const TransferResult& result) {
  if (receiveWindow_) receiveWindow_->TransferClosed(result);
  if (!window) return;
  const std::string sentence = EndSentence(result, *window->document().dataFile());
  window->BankTransferEnded(result.operation == TransferOperation::kReceive, FromUtf8(sentence));
  if (simulation_) simulation_->Remember();
}

bool CMainFrame::TransmitWindowOpen() const {
  return transmitWindow_ != nullptr;
}

void CMainFrame::OpenTransmitWindow(int port, std::uint32_t total) {
  (void)port, (void)total;
  if (transmitWindow_) return;
  auto* window = new ZKMidiOutStatus(basics_.transfers(), this);
  transmitWindow_ = window;
  window->show();
}

void CMainFrame::SetTransmitStayOpen(bool stay) {
  basics_.transfers().SetTransmitStayOpen(stay);
}

void CMainFrame::ShowCancelTransmit() {
  int count = 0;
  basics_.midi().out().OUTNUMPORTS(&count);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(basics_.midi().out().OUTGETPORTNAME(i));
  ZKCancelTransmit dialog(names, this);
  if (dialog.exec() == QDialog::Accepted) basics_.transfers().StopOutput(dialog.Selected());
}

void CMainFrame::MidiPanic() {
  Status(tr("Switching off every note..."));
  MidiOut& out = basics_.midi().out();
  Clock& clock = basics_.clock();
  jobs_.Start(
      basics_.dispatcher(), receiver_,
      [&out, &clock](const CancelToken& cancel) {
        int count = 0;
        out.OUTNUMPORTS(&count);
        const auto send = [&](int port, int status, int first) {
          const std::uint8_t message[3] = {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first), 0};
          out.SendDataPort(message, port);
          return clock.SleepMs(2, &cancel);
        };
        for (int port = 0; port < count; ++port) {
          for (int channel = 0; channel < 16; ++channel) {
            if (!send(port, 0xB0 | channel, 123)) return false;
          }
        }
        for (int port = 0; port < count; ++port) {
          for (int channel = 0; channel < 16; ++channel) {
            for (int note = 0; note < 128; ++note) {
              if (!send(port, 0x90 | channel, note)) return false;
            }
          }
        }
        return true;
      },
      [this](bool) { Status(tr("Every note was switched off.")); });
}

// ---- end ------------------------------------------------------------------------------------------------------------

void CMainFrame::RequestQuit() {
  QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
}

void CMainFrame::OpenUrl(const std::string& url) {
  const QUrl address(FromUtf8(url), QUrl::StrictMode);
  if (address.scheme() != QStringLiteral("http") && address.scheme() != QStringLiteral("https")) return;
  QMetaObject::invokeMethod(
      this, [address] { QDesktopServices::openUrl(address); }, Qt::QueuedConnection);
}

bool CMainFrame::OutputBusy() const {
  MidiOut& out = basics_.midi().out();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    const auto port = out.Slot(i);
    if (port && port->isBusy()) return true;
  }
  return false;
}

bool CMainFrame::OnClose() {
  MidiOut& out = basics_.midi().out();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    if (const auto port = out.Slot(i)) port->OutputQueue();
  }
  if (OutputBusy()) basics_.clock().SleepMs(300);
  const std::vector<bool> all(static_cast<std::size_t>(out.MaxOutPorts()), true);
  if (OutputBusy()) {
    MessagePrompt prompt;
    prompt.title = "Exit";
    prompt.text =
        "The application is currently sending MIDI data.\n\nCONTINUE or STOP transmitting and quit or\nPress CANCEL to "
        "end the quit "
        "request.";
    prompt.buttons = PromptButtons::YesNoCancel;
    prompt.labels = {"Continue", "Stop", "Cancel"};
    const PromptAnswer answer = prompts().Message(prompt);
    if (answer == PromptAnswer::Cancel) return false;
    if (answer == PromptAnswer::No) basics_.transfers().StopOutput(all);
  }
  for (int poll = 0; OutputBusy(); ++poll) {
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 100);
    basics_.clock().SleepMs(100);
    if (poll != 100) continue;
    MessagePrompt prompt;
    prompt.title = "Exit";
    prompt.text =
        "The application still appears to be sending MIDI data.\n\nCONTINUE transmitting, \nEXIT immediately or\nPress "
        "CANCEL to end "
        "the quit request.";
    prompt.buttons = PromptButtons::YesNoCancel;
    prompt.labels = {"Continue", "Exit", "Cancel"};
    const PromptAnswer answer = prompts().Message(prompt);
    if (answer == PromptAnswer::Cancel) return false;
    if (answer != PromptAnswer::No) continue;
    MessagePrompt sure;
    sure.title = "Exit";
    sure.text =
        "WARNING! If your MIDI interface shows that MIDI data is still being sent,\rthis action will terminate the "
        "transmission and "
        "possibly corrupt your unit's internal data.\r\rIf data is not being sent, choosing this option should be "
        "safe.\r\rExit the "
        "application?";
    sure.buttons = PromptButtons::YesNo;
    if (prompts().Message(sure) == PromptAnswer::Yes) {
      basics_.transfers().StopOutput(all);
      break;
    }
  }
  for (ZKWindow* child : Children()) {
    if (!child->VerifyClose()) return false;
  }
  return true;
}

void CMainFrame::closeEvent(QCloseEvent* event) {
  if (!quitting_ && !OnClose()) {
    event->ignore();
    return;
  }
  quitting_ = true;
  basics_.transfers().CancelAll();
  if (studio_.DrvSaveSetup(0) != 0) Status(tr("The studio could not be saved."));
  event->accept();
  QApplication::quit();
}

}  // namespace tonalith
