#include "app/recent_files_menu.h"

#include <QAction>
#include <QFileInfo>
#include <QMenu>

#include "app/command_menus.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "services/paths.h"
#include "services/program.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kMenuTitle = "&Recent Files";

void LogFailure(const Result& result) {
  if (!result.ok()) DebugLog("%s", result.text.c_str());
}

}  // namespace

RecentFilesMenu::RecentFilesMenu(const FrameContext& frame)
    : frame_(frame),
      files_(frame.program.paths().GetZKIni()),
      menu_(frame.menus.Submenu(MenuId::File, kMenuTitle)),
      end_(menu_->insertSeparator(frame.menus.ActionOf(CommandId::FileClearRecent))) {
  CommandHandler clear;
  clear.run = [this] {
    LogFailure(files_.Clear());
    Fill();
  };
  clear.refusal = [this] { return files_.paths().empty() ? tr("The list is empty.") : QString(); };
  frame_.menus.Register(CommandId::FileClearRecent, std::move(clear));
  Fill();
}

void RecentFilesMenu::Load(int entries) {
  files_.Load(entries);
  Fill();
}

void RecentFilesMenu::Used(const std::string& path) {
  LogFailure(files_.Used(path));
  Fill();
}

void RecentFilesMenu::Fill() {
  for (QAction* action : actions_) delete action;
  actions_.clear();
  menu_->setEnabled(!files_.paths().empty());
  int number = 0;
  for (const std::string& path : files_.paths()) {
    const QString name = QFileInfo(FromUtf8(path)).fileName();
    auto* action = new QAction(QStringLiteral("&%1 %2").arg(++number).arg(MenuText(name)), menu_);
    SetToolTip(action, name);
    connect(action, &QAction::triggered, this, [this, path] {
      if (open_) open_(path);
    });
    SetStatusTip(action, FromUtf8(path));
    menu_->insertAction(end_, action);
    actions_.push_back(action);
  }
}

std::string RecentFilesMenu::LastFolder() const {
  if (files_.paths().empty()) return {};
  const std::string folder = FolderOf(files_.paths().front());
  return QFileInfo(FromUtf8(folder)).isDir() ? folder : std::string();
}

}  // namespace tonalith
