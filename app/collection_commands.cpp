#include "app/collection_commands.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/command_menus.h"
#include "app/document_windows.h"
#include "app/set_commands.h"
#include "app/source_folder.h"
#include "collection/collection_document.h"
#include "collection/collection_sources.h"
#include "collection/ui/collection_window.h"
#include "document/document_registry.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

CollectionServices ServicesOfCollections(const FrameContext& frame) {
  ZKStudioDoc& studio = frame.studio;
  CollectionServices services;
  services.pages.makeSet = [&studio] { return MakeSet(studio); };
  services.pages.sets = SetServicesOf(studio);
  services.reader = [&studio]() -> CollectionAdding::Reader {
    return [recognizer = std::make_shared<Recognizer>(studio)](const std::string& path,
                                                               std::vector<CollectionItem>* items, std::string* note) {
      return ReadCollectionSource(path, *recognizer, items, note);
    };
  };
  services.askFolder = [](const std::string& at) { return AskSourceFolder("Add to Collection", at); };
  return services;
}

}  // namespace

CollectionCommands::CollectionCommands(const FrameContext& frame, DocumentWindows& windows) : windows_(windows) {
  frame.menus.Register(CommandId::FileNewCollection, {[this] { OpenNew(); }});
}

TZKDBase* CollectionCommands::OpenNew() {
  return qobject_cast<TZKDBase*>(windows_.Open(std::make_unique<ZKDBaseDoc>()));
}

void RegisterCollections(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows) {
  registry.RegisterMaker(FileKind::Collection, [] { return std::make_unique<ZKDBaseDoc>(); });
  registry.RegisterLoader(FileKind::Collection, [](const std::string& path, std::unique_ptr<Document>* document) {
    auto collection = std::make_unique<ZKDBaseDoc>();
    Result read = collection->Load(path);
    if (read.ok()) *document = std::move(collection);
    return read;
  });
  windows.RegisterWindow(FileKind::Collection, [frame](std::unique_ptr<Document> document, WindowContext& context) {
    return new TZKDBase(std::unique_ptr<ZKDBaseDoc>(static_cast<ZKDBaseDoc*>(document.release())), context,
                        ServicesOfCollections(frame));
  });
}

}  // namespace tonalith
