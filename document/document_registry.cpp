#include "document/document_registry.h"

#include <utility>

#include "document/document.h"
#include "platform/path_resolver.h"

namespace tonalith {

void DocumentRegistry::RegisterMaker(FileKind kind, Maker maker) {
  makers_[kind] = std::move(maker);
}

void DocumentRegistry::RegisterLoader(FileKind kind, Loader loader) {
  loaders_[kind] = std::move(loader);
}

void DocumentRegistry::RegisterOpener(FileKind kind, Opener opener) {
  openers_[kind] = std::move(opener);
}

DocumentRegistry::Way DocumentRegistry::WayOf(const std::string& path, int hint) const {
  Way way;
  way.kind = KindOfFile(FileNameOf(path), hint);
  if (const auto loader = loaders_.find(way.kind); loader != loaders_.end()) way.load = &loader->second;
  if (const auto opener = openers_.find(way.kind); opener != openers_.end()) way.open = &opener->second;
  return way;
}

bool DocumentRegistry::Opens(FileKind kind) const {
  return loaders_.count(kind) != 0 || openers_.count(kind) != 0;
}

std::unique_ptr<Document> DocumentRegistry::Make(FileKind kind) const {
  const auto maker = makers_.find(kind);
  return maker == makers_.end() ? nullptr : maker->second();
}

Result DocumentRegistry::Load(const std::string& path, std::unique_ptr<Document>* document, int hint) const {
  const Way way = WayOf(path, hint);
  if (!way.load) return Result::Failure("The file " + path + " is no document of this program.");
  return (*way.load)(path, document);
}

}  // namespace tonalith
