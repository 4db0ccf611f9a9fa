#include "app/desktop_files.h"

#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QStringList>
#include <algorithm>
#include <optional>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/file_opening.h"
#include "document/desktop_plan.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/window_places.h"
#include "studio/studio_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr const char* kDesktopFilter = "ZK Desktop (*.PVW)|*.PVW|";

bool IsStudio(const DesktopWindow& window) {
  return window.type == static_cast<int>(WindowType::Studio);
}

}  // namespace

DesktopFiles::DesktopFiles(const FrameContext& frame, FileOpening& files)
    : frame_(frame), files_(files), desktops_(frame.program.paths().MainGetDataPath(), kFirstDesktopCommand) {
  frame_.menus.Register(CommandId::FileLoadDesktop, {[this] { OnLoadDesktop(); }});
  frame_.menus.Register(CommandId::FileSaveDesktop, {[this] { OnSaveDesktop(); }});
  connect(&frame_.children, &ChildWindows::BackgroundMenu, this, &DesktopFiles::ShowDesktopMenu);
}

// ---- saving ---------------------------------------------------------------------------------------------------------

void DesktopFiles::OnSaveDesktop() {
  FilePrompt prompt;
  prompt.title = "Save Desktop As ?";
  prompt.folder = frame_.program.paths().MainGetDataPath();
  prompt.name = "Desktop.PVW";
  prompt.patterns = FilePatterns(kDesktopFilter);
  prompt.save = true;
  const std::string path = frame_.prompts().File(prompt);
  if (path.empty()) return;
  if (SaveWorkspace(path)) {
    frame_.Status(tr("The desktop was saved as %1.").arg(ShownUtf8(path)));
  } else {
    frame_.prompts().Say("Desktop", "The desktop could not be saved as " + path + ".");
  }
}

bool DesktopFiles::SaveWorkspace(const std::string& path) {
  const auto bytes = WriteDesktop(SaveDeskTopWindow());
  const Result saved = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  if (!saved.ok()) DebugLog("%s", saved.text.c_str());
  return saved.ok();
}

std::vector<DesktopWindow> DesktopFiles::SaveDeskTopWindow() {
  std::vector<DesktopWindow> windows;
  for (const ZKWindow* child : frame_.children.All()) {
    DesktopWindow window;
    if (SaveEachWindow(child, &window)) windows.push_back(std::move(window));
  }
  return windows;
}

bool DesktopFiles::SaveEachWindow(const ZKWindow* child, DesktopWindow* window) {
  // A viewer comes and goes with the window whose data it shows.
  if (child->TypeCode() == WindowType::View) return false;
  std::string file = child->FilePath();
  if (child->TypeCode() == WindowType::Studio) {
    file = frame_.studio.studioFile().string();
    if (!FileExists(file)) frame_.studio.DrvSaveSetup(0);
  }
  window->type = static_cast<int>(child->TypeCode());
  if (!file.empty()) {
    const QFileInfo info(FromUtf8(file));
    window->directory = ToUtf8(info.absolutePath());
    window->name = ToUtf8(info.fileName());
    if (window->directory.empty() != window->name.empty() || !info.exists()) return false;
  }
  if (!FitsDesktop(*window)) return false;
  const std::optional<QRect> place = frame_.children.PlaceOf(child);
  if (!place) return true;
  window->x = DesktopUnits(place->x(), frame_.window.logicalDpiX());
  window->y = DesktopUnits(place->y(), frame_.window.logicalDpiY());
  window->width = DesktopUnits(place->width(), frame_.window.logicalDpiX());
  window->height = DesktopUnits(place->height(), frame_.window.logicalDpiY());
  return true;
}

// ---- loading --------------------------------------------------------------------------------------------------------

void DesktopFiles::OnLoadDesktop() {
  FilePrompt prompt;
  prompt.title = "Choose File to Open...";
  prompt.folder = frame_.program.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(kDesktopFilter);
  if (const std::string path = frame_.prompts().File(prompt); !path.empty()) files_.OpenFile(path, 0);
}

// `studio`: its window stays.
bool DesktopFiles::CloseAllBut(bool studio) {
  if (!frame_.children.VerifyCloseAll()) return false;
  frame_.children.ForEach([studio](ZKWindow& child) {
    if (!studio || child.TypeCode() != WindowType::Studio) child.CloseVerified();
  });
  return true;
}

// A desktop that names another studio file than the one that is used: what is done about it is asked before anything
// closes.  False: the desktop is not loaded.
bool DesktopFiles::AskAboutStudio(const DesktopPlan& plan, bool* useIt) {
  *useIt = false;
  const auto step = std::find_if(plan.steps.begin(), plan.steps.end(),
                                 [](const DesktopStep& one) { return one.action == DesktopAction::ShowStudio; });
  if (step == plan.steps.end()) return true;
  const std::string own = frame_.studio.studioFile().string();
  if (QFileInfo(FromUtf8(own)) == QFileInfo(FromUtf8(step->path))) return true;
  MessagePrompt prompt;
  prompt.title = "Desktop";
  prompt.text = "The desktop brings another studio:\n" + step->path + "\nYours is\n" + own +
                "\n\nUse the studio of the desktop instead of yours?";
  prompt.icon = PromptIcon::Warning;
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.labels = {"&Use It", "&Keep Mine", "Cancel"};
  const PromptAnswer answer = frame_.prompts().Message(prompt);
  *useIt = answer == PromptAnswer::Yes;
  return answer == PromptAnswer::Yes || answer == PromptAnswer::No;
}

bool DesktopFiles::LoadWorkspace(const std::string& path) {
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(path, &windows); !read.ok()) {
    frame_.prompts().Say("File Error", read.text);
    return false;
  }
  const DesktopPlan plan = PlanDesktop(windows);
  bool useItsStudio = false;
  if (!AskAboutStudio(plan, &useItsStudio)) return false;
  if (!CloseAllBut(std::any_of(windows.begin(), windows.end(), IsStudio))) return false;
  int left = 0;
  std::vector<ZKWindow*> opened;
  std::vector<DesktopRect> places;
  for (const DesktopStep& step : plan.steps) {
    const DesktopWindow& window = windows[step.window];
    if (ZKWindow* child = OpenDesktopWindow(step, window, useItsStudio)) {
      const bool placed = std::find(opened.begin(), opened.end(), child) != opened.end();
      if (!placed && window.width > 0 && window.height > 0) {
        opened.push_back(child);
        places.push_back(Pixels(window));
      }
    } else if (step.action != DesktopAction::Nothing || !step.reason.empty()) {
      ++left;  // data that was never saved is not missed
    }
    if (!step.reason.empty()) DebugLog("%s: %s", path.c_str(), step.reason.c_str());
  }
  frame_.children.Arrange(opened, places);
  QStringList told;
  if (plan.leftOut > 0) told << ShownUtf8(LeftOutSentence(plan));
  if (left > 0) told << tr("Windows of the desktop that could not be opened: %1.").arg(left);
  if (!told.isEmpty()) frame_.Status(told.join(' '));
  return true;
}

ZKWindow* DesktopFiles::OpenDesktopWindow(const DesktopStep& step, const DesktopWindow& window, bool useItsStudio) {
  switch (step.action) {
    case DesktopAction::ShowStudio:
      return OpenStudio(window, useItsStudio ? step.path : std::string());
    case DesktopAction::OpenFile:
      return files_.IsDocument(step.path) && files_.OpenFile(step.path, kOpenInDesktop) ? frame_.children.Active()
                                                                                        : nullptr;
    case DesktopAction::ShowWindow:
      return ShowWindow(static_cast<WindowType>(window.type));
    case DesktopAction::Nothing:
      break;
  }
  return nullptr;
}

ZKWindow* DesktopFiles::ShowWindow(WindowType type) {
  const auto open = openers_.find(type);
  return open == openers_.end() ? nullptr : open->second();
}

// `path`: the studio file to use instead of the one that is; empty: none.
ZKWindow* DesktopFiles::OpenStudio(const DesktopWindow& window, const std::string& path) {
  const DesktopRect pixels = Pixels(window);
  WindowPlace place{pixels.x, pixels.y, pixels.width, pixels.height};
  frame_.program.windowPlaces().MainGetLeftTop(0, window.type, place);
  ZKWindow* shown = ShowWindow(WindowType::Studio);
  if (!path.empty()) files_.OpenFile(path, kOpenInDesktop);
  return shown;
}

DesktopRect DesktopFiles::Pixels(const DesktopWindow& window) const {
  const int dpiX = frame_.window.logicalDpiX();
  const int dpiY = frame_.window.logicalDpiY();
  return {DesktopPixels(window.x, dpiX), DesktopPixels(window.y, dpiY), DesktopPixels(window.width, dpiX),
          DesktopPixels(window.height, dpiY)};
}

// ---- the menu on the background -------------------------------------------------------------------------------------

void DesktopFiles::ShowDesktopMenu(const QPoint& at) {
  QMenu menu(&frame_.window);
  desktops_.Build();
  BuildSubMenu(&menu, desktops_.root());
  if (menu.isEmpty()) menu.addAction(tr("No saved desktops"))->setEnabled(false);
  menu.addSeparator();
  menu.addAction(frame_.menus.ActionOf(CommandId::FileSaveDesktop));
  const QAction* chosen = menu.exec(at);
  if (chosen && chosen->data().isValid()) RunDesktopCommand(chosen->data().toInt());
}

void DesktopFiles::RunDesktopCommand(int number) {
  if (number < kFirstDesktopCommand || number > kLastDesktopCommand) return;
  const DiskStructure::Node* node = desktops_.FindId(number);
  if (node && !node->isFolder) files_.OpenFile(node->path, 0);
}

}  // namespace tonalith
