#include "app/library_commands.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/command_menus.h"
#include "app/document_windows.h"
#include "app/source_folder.h"
#include "document/document_registry.h"
#include "library/ui/library_window.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/paths.h"
#include "services/program.h"
#include "store/library/keyword_file.h"
#include "store/library/library_document.h"
#include "store/library/library_sources.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

bool IsSinglePatch(const ZKDrvList& driver) {
  const Synth* synth = driver.synth();
  return synth && synth->isBank == 0 && synth->numVoices <= 1 && driver.dataFile;
}

// The bank whose patches are of the type.
DataFilePtr NewBankOf(const ZKStudioDoc& studio, const DataFile& driver) {
  for (const auto& instrument : studio.instruments())
    for (const auto& one : instrument->drivers) {
      const Synth* synth = one->synth();
      if (synth && synth->isBank != 0 && synth->childId == driver.synth->driverId)
        return studio.GetNewDataFile(one.get());
    }
  return nullptr;
}

LibraryServices ServicesOf(const FrameContext& frame) {
  ZKStudioDoc& studio = frame.studio;
  LibraryServices services;
  services.reader = [&studio]() -> LibraryAdding::Reader {
    return [recognizer = std::make_shared<Recognizer>(studio)](const std::string& path, std::vector<DataFilePtr>* data,
                                                               std::string* note) {
      return ReadLibrarySource(path, *recognizer, data, note);
    };
  };
  services.moduleFolder = [&studio](int driverId) {
    const ZKDrvList* driver = studio.GetDriverWithID(driverId);
    return driver ? studio.facts().ModuleFolder(driver) : std::filesystem::path();
  };
  services.keywords = [&paths = frame.program.paths()] {
    const std::string folders[] = {paths.MainGetDataPath(), paths.MainGetApplicationSupportPath(),
                                   paths.MainGetResourcePath()};
    return std::make_shared<const KeywordFile>(KeywordFile::In(folders));
  };
  services.askFolder = [](const std::string& at) { return AskSourceFolder("Add to Library", at); };
  services.ports = [&studio](const DataFile& driver) {
    const ZKDrvList* type = studio.GetDriverWithID(driver.synth->driverId);
    return type && type->instrument ? LibraryPorts{type->instrument->inPortName, type->instrument->outPortName}
                                    : LibraryPorts{};
  };
  services.newBank = [&studio](const DataFile& driver) { return NewBankOf(studio, driver); };
  return services;
}

}  // namespace

LibraryCommands::LibraryCommands(const FrameContext& frame, DocumentWindows& windows)
    : frame_(frame), windows_(windows) {
  frame_.menus.Register(CommandId::FileNewLibrary, {[this] { OnNewLibrary(); }});
}

void LibraryCommands::OnNewLibrary() {
  ChoicePrompt prompt{"New Library", "Patches of:", {}};
  std::vector<const ZKDrvList*> types;
  const ZKDrvList* selected = frame_.studio.list().selection();
  const ZKDrvList* ofInstrument = frame_.studio.GetInstrumentDrvList(selected);
  for (const auto& instrument : frame_.studio.instruments())
    for (const auto& driver : instrument->drivers) {
      if (!IsSinglePatch(*driver)) continue;
      const bool first = types.empty() || types.back()->instrument != instrument.get();
      if (driver.get() == selected || (instrument.get() == ofInstrument && first))
        prompt.chosen = static_cast<int>(types.size());
      types.push_back(driver.get());
      prompt.items.push_back(Latin1ToUtf8(instrument->DisplayKey()) + ": " + Latin1ToUtf8(driver->TypeName()));
    }
  if (types.empty()) {
    frame_.prompts().Say("New Library", "There are no instruments with single patches in the studio yet.");
    return;
  }
  prompt.button = "New Library";
  const int chosen = frame_.prompts().Choose(prompt);
  if (chosen >= 0 && static_cast<std::size_t>(chosen) < types.size()) OpenNew(*types[static_cast<std::size_t>(chosen)]);
}

TZKLib* LibraryCommands::OpenNew(const ZKDrvList& driver) {
  auto library = std::make_unique<ZKLibDoc>();
  if (const Result made = library->SetDataFile(frame_.studio.GetNewDataFile(&driver)); !made.ok()) {
    frame_.prompts().Say("New Library", "Failed to open a New Library!\n\n" + made.text);
    return nullptr;
  }
  return qobject_cast<TZKLib*>(windows_.Open(std::move(library)));
}

void RegisterLibraries(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows) {
  registry.RegisterMaker(FileKind::Library, [] { return std::make_unique<ZKLibDoc>(); });
  registry.RegisterLoader(FileKind::Library, [](const std::string& path, std::unique_ptr<Document>* document) {
    auto library = std::make_unique<ZKLibDoc>();
    Result read = library->Load(path);
    if (read.ok()) *document = std::move(library);
    return read;
  });
  windows.RegisterWindow(FileKind::Library, [frame](std::unique_ptr<Document> document, WindowContext& context) {
    return new TZKLib(std::unique_ptr<ZKLibDoc>(static_cast<ZKLibDoc*>(document.release())), context,
                      ServicesOf(frame));
  });
}

}  // namespace tonalith
