#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

#include "app/frame_context.h"
#include "document/recent_files.h"

class QAction;
class QMenu;

namespace tonalith {

// The recent files as entries of the File menu.
class RecentFilesMenu final : public QObject {
  Q_OBJECT

 public:
  explicit RecentFilesMenu(const FrameContext& frame);

  void SetOpener(std::function<void(const std::string& path)> open) { open_ = std::move(open); }
  void Load(int entries);
  // Puts a file first.
  void Used(const std::string& path);
  // Where the file lies that was used last (UTF-8); empty: there is none, or its folder is gone.
  std::string LastFolder() const;

 private:
  void Fill();

  FrameContext frame_;
  RecentFiles files_;
  std::function<void(const std::string&)> open_;
  QMenu* menu_;
  QAction* end_;  // the files stand before it
  std::vector<QAction*> actions_;
};

}  // namespace tonalith
