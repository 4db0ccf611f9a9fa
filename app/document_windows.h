#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "app/frame_context.h"
#include "document/file_kinds.h"

namespace tonalith {

class Document;
class DocumentWindow;
class WindowContext;

// The windows of documents: which class shows which kind, and which of them are open.
class DocumentWindows final {
 public:
  // Makes the window of a document of its kind.  Owned by the caller.
  using Factory = std::function<DocumentWindow*(std::unique_ptr<Document> document, WindowContext& context)>;

  DocumentWindows(const FrameContext& frame, WindowContext& context) : frame_(frame), context_(context) {}

  void RegisterWindow(FileKind kind, Factory factory) { factories_[kind] = std::move(factory); }
  bool Shows(FileKind kind) const { return factories_.count(kind) > 0; }

  // Shows a document.  Null, and the document is gone, when its kind has no window.
  DocumentWindow* Open(std::unique_ptr<Document> document);
  // The window that is open on a file; null: none.
  DocumentWindow* WindowOf(const std::string& path) const;

 private:
  FrameContext frame_;
  WindowContext& context_;
  std::map<FileKind, Factory> factories_;
};

}  // namespace tonalith
