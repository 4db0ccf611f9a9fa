#include "app/set_commands.h"

#include <memory>
#include <utility>

#include "app/command_menus.h"
#include "app/document_windows.h"
#include "document/document_registry.h"
#include "platform/log.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/program.h"
#include "services/settings.h"
#include "sets/ui/set_window.h"
#include "store/sets/component_file.h"
#include "store/sets/new_set.h"
#include "store/sets/set_document.h"
#include "store/sets/set_rank.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

SetRank RankIn(const ZKStudioDoc& studio, const ZKGrpDoc& set) {
  std::vector<std::string> problems;
  SetRank rank = RankInStudio(studio, set, &problems);
  for (const std::string& problem : problems) DebugLog("%s", problem.c_str());
  return rank;
}

}  // namespace

std::unique_ptr<ZKGrpDoc> MakeSet(const ZKStudioDoc& studio) {
  auto set = std::make_unique<ZKGrpDoc>();
  set->SetLinkReader([&studio](const std::string& path, const DataFile&, std::vector<DataFilePtr>* data) {
    return ReadRecognised(studio, path, data);
  });
  return set;
}

SetServices SetServicesOf(ZKStudioDoc& studio) {
  SetServices services;
  services.read = [&studio](const std::string& path, const DataFile& wanted, DataFilePtr* data, std::string* note) {
    return ReadComponentFile(studio, path, wanted, data, note);
  };
  services.rank = [&studio](const ZKGrpDoc& set) { return RankIn(studio, set); };
  return services;
}

SetCommands::SetCommands(const FrameContext& frame, DocumentWindows& windows) : frame_(frame), windows_(windows) {
  frame_.menus.Register(CommandId::FileNewSet, {[this] { OnNewSet(); }});
}

void SetCommands::OnNewSet() {
  ChoicePrompt prompt{"New Set", "Instrument:", {}};
  const ZKDrvList* selected = frame_.studio.GetInstrumentDrvList(frame_.studio.list().selection());
  for (const auto& instrument : frame_.studio.instruments()) {
    if (instrument.get() == selected) prompt.chosen = static_cast<int>(prompt.items.size());
    prompt.items.push_back(Latin1ToUtf8(instrument->DisplayKey()));
  }
  if (prompt.items.empty()) {
    frame_.prompts().Say("New Set", "There are no instruments in the studio yet.");
    return;
  }
  prompt.button = "New Set";
  const int chosen = frame_.prompts().Choose(prompt);
  if (chosen >= 0 && static_cast<std::size_t>(chosen) < frame_.studio.instruments().size())
    OpenNew(*frame_.studio.instruments()[static_cast<std::size_t>(chosen)]);
}

TZKGrp* SetCommands::OpenNew(const ZKDrvList& instrument) {
  auto set = MakeSet(frame_.studio);
  const bool withRom = frame_.program.settings().Value(SettingId::MainAutoAddRomBanks) != 0;
  if (const Result made = MakeNewSet(frame_.studio, instrument, withRom, set.get()); !made.ok()) {
    frame_.prompts().Say("New Set", made.text);
    return nullptr;
  }
  return qobject_cast<TZKGrp*>(windows_.Open(std::move(set)));
}

void RegisterSets(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows) {
  ZKStudioDoc& studio = frame.studio;
  registry.RegisterMaker(FileKind::Set, [&studio] { return MakeSet(studio); });
  registry.RegisterLoader(FileKind::Set, [&studio](const std::string& path, std::unique_ptr<Document>* document) {
    auto set = MakeSet(studio);
    Result read = set->Load(path);
    if (read.ok()) *document = std::move(set);
    return read;
  });
  windows.RegisterWindow(FileKind::Set, [&studio](std::unique_ptr<Document> document, WindowContext& context) {
    return new TZKGrp(std::unique_ptr<ZKGrpDoc>(static_cast<ZKGrpDoc*>(document.release())), context,
                      SetServicesOf(studio));
  });
}

}  // namespace tonalith
