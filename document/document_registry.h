#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "document/file_kinds.h"
#include "platform/result.h"

namespace tonalith {

class Document;

// Who opens which kind of file.  Filled at start-up by whoever puts the program together; the kinds themselves are the
// table of file_kinds.h.  One object a program.
class DocumentRegistry {
 public:
  // Makes the document of a file; a null document with success is an error of the loader.
  using Loader = std::function<Result(const std::string& path, std::unique_ptr<Document>* document)>;
  // An empty document, for content that was kept elsewhere than in its file.
  using Maker = std::function<std::unique_ptr<Document>()>;
  // For kinds that are no documents of their own (a module to install, a desktop): does what the kind stands for.
  using Opener = std::function<bool(const std::string& path, int hint)>;

  void RegisterMaker(FileKind kind, Maker maker);
  void RegisterLoader(FileKind kind, Loader loader);
  void RegisterOpener(FileKind kind, Opener opener);

  // How a file is opened.  Both null: nobody opens this kind.
  struct Way {
    FileKind kind = FileKind::Data;
    const Loader* load = nullptr;
    const Opener* open = nullptr;  // goes before `load`
  };
  Way WayOf(const std::string& path, int hint = 0) const;
  bool Opens(FileKind kind) const;

  // Null for kinds without a maker.
  std::unique_ptr<Document> Make(FileKind kind) const;
  // Loads a document; fails with a sentence for kinds without a loader.
  Result Load(const std::string& path, std::unique_ptr<Document>* document, int hint = 0) const;

 private:
  std::map<FileKind, Maker> makers_;
  std::map<FileKind, Loader> loaders_;
  std::map<FileKind, Opener> openers_;
};

}  // namespace tonalith
