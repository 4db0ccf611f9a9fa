#include "app/document_windows.h"

#include <QFileInfo>

#include "app/child_windows.h"
#include "document/document.h"
#include "ui/document_window.h"
#include "ui/qt_text.h"

namespace tonalith {

DocumentWindow* DocumentWindows::Open(std::unique_ptr<Document> document) {
  const auto factory = factories_.find(document->Kind());
  if (factory == factories_.end()) return nullptr;
  DocumentWindow* window = factory->second(std::move(document), context_);
  frame_.children.Add(window);
  return window;
}

DocumentWindow* DocumentWindows::WindowOf(const std::string& path) const {
  if (path.empty()) return nullptr;
  const QFileInfo file(FromUtf8(path));
  return qobject_cast<DocumentWindow*>(frame_.children.FirstThat([&](ZKWindow& window) {
    return qobject_cast<DocumentWindow*>(&window) && !window.FilePath().empty() &&
           QFileInfo(FromUtf8(window.FilePath())) == file;
  }));
}

}  // namespace tonalith
