#include "cli/set_links.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "cli/session.h"
#include "cli/set_files.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/sets/link_report.h"
#include "store/sets/link_tracker.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

using Cells = std::vector<std::string>;

// Type, number and name of a patch.  `data`: what the Set holds of the type; null: nothing.
Cells PatchCells(const Synth& synth, const DataFile* data, std::uint32_t slot) {
  const auto patch = static_cast<int>(slot);
  const std::string number = synth.isBank ? MakeNumberStr(synth, patch) : "-";
  const bool held = data && !MapBit(data->emptyMap, data->emptyMapSize, slot);
  const std::string name = held ? GetPatchName(*data, patch) : std::string();
  return {Latin1ToUtf8(FieldText(synth.typeName)), Latin1ToUtf8(TrimmedView(number)), Latin1ToUtf8(TrimmedView(name))};
}

// The child of a link.
Cells ChildCells(Session& session, const ZKGrpDoc& set, const PatchLink& link) {
  const bool held = link.childComponent >= 0 && set.StateOf(link.childComponent).content == EntryContent::kDefined;
  const DataFile* child = link.childComponent >= 0 ? set.GetDataFile(link.childComponent) : nullptr;
  if (child) return PatchCells(*child->synth, held ? child : nullptr, link.child.slot);
  const ZKDrvList* driver = session.studio().GetDriverWithID(link.child.driverId);
  if (driver && driver->synth()) return PatchCells(*driver->synth(), nullptr, link.child.slot);
  return {"-", std::to_string(link.child.slot), {}};
}

PatchLinks::ModuleFolder FolderIn(Session& session) {
  return [&session](int driverId) {
    const ZKDrvList* driver = session.studio().GetDriverWithID(driverId);
    return driver ? session.studio().facts().ModuleFolder(driver) : std::filesystem::path();
  };
}

}  // namespace

PatchLinks LinksOfSet(Session& session, const ZKGrpDoc& set) {
  std::vector<std::string> problems;
  PatchLinks links(set, FolderIn(session), &problems);
  for (const std::string& problem : problems) session.environment().err << "Note: " << problem << "\n";
  return links;
}

Result ListSetLinks(Session& session, const CliArguments& arguments) {
  session.LoadStudio();
  ZKGrpDoc set;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  if (const auto report = arguments.Option("report"))
    return WriteFileAtomically(*report, LinkReport(set, LinkTracker(set, FolderIn(session))));
  TerminalBlocks out(session.environment().out);
  for (const PatchLink& link : LinksOfSet(session, set).List()) {
    const DataFile& parent = *set.GetDataFile(link.parent);
    Cells cells = PatchCells(*parent.synth, &parent, link.parentSlot);
    for (std::string& cell : ChildCells(session, set, link)) cells.push_back(std::move(cell));
    for (const std::string& cell : cells) {
      if (&cell != &cells.front()) out << "\t";
      out << cell;
    }
    out << "\n";
  }
  return Result::Success();
}

}  // namespace tonalith
