#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "app/frame_context.h"

class QMimeData;

namespace tonalith {

class DocumentRegistry;
class DocumentWindow;
class DocumentWindows;
class RecentFilesMenu;

// Opens files by their kind: File > Open, drops, the command line, recent files, desktops.
class FileOpening final {
 public:
  // Registers Open and Close.  All of it must outlive this.  `line6`: Open offers files of the Line 6 editors.
  FileOpening(const FrameContext& frame, const DocumentRegistry& registry, DocumentWindows& windows,
              RecentFilesMenu& recent, bool line6);

  // Does with a file what its kind stands for; false: it was not opened, and the user has been told why.  `hint`:
  // kOpenInDesktop for files that a desktop brings back.  While a large file is read the program goes on; what it is
  // asked to open meanwhile has to wait its turn (true).
  bool OpenFile(const std::string& path, int hint);
  // Whether the kind of this file is shown by a window of its own.
  bool IsDocument(const std::string& path) const;
  // Opens a document whose kind is known; a file that is open already comes to the front.  Null: it could not be read,
  // and the user has been told why.
  DocumentWindow* OpenDocument(const std::string& path);
  void OpenDropped(const QMimeData& data);
  // Runs `read`, which looks at a file and touches no window: beside the windows when the file is large.  False: there
  // was not enough memory.
  bool ReadFile(const std::string& path, const std::function<void()>& read);

 private:
  void OnFileOpen();
  bool OpenByKind(const std::string& path, int hint);
  void OpenWaiting();
  bool SayNotOpened(const std::string& path, int hint);

  FrameContext frame_;
  const DocumentRegistry& registry_;
  DocumentWindows& windows_;
  RecentFilesMenu& recent_;
  bool line6_;
  bool reading_ = false;
  std::deque<std::pair<std::string, int>> waiting_;
};

}  // namespace tonalith
