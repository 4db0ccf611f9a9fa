#include "store/sets/set_listing.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "store/listing.h"
#include "store/names/disk_midi.h"
#include "store/names/name_banks.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kRule = 89;

std::string BufferText(const char* text, std::uint32_t size) {
  const std::string_view whole(text ? text : "", text ? size : 0);
  return std::string(whole.substr(0, whole.find('\0')));
}

std::string RowOfComponent(const ZKGrpDoc& set, int component) {
  const DataFile& data = *set.GetDataFile(component);
  return ListingColumn(FileNameOf(FileOfComponent(set, component)), 20) + " " +
         ListingColumn(ExportLine(GetUnitMake(data)), 15) + " " + ListingColumn(set.TypeName(component), 25) +
         Printf("%2d", data.synth->midiChannel + 1) + " " +
         ListingColumn(BufferText(data.midiInPortName, data.midiInPortNameSize), 8) + " " +
         ListingColumn(BufferText(data.midiOutPortName, data.midiOutPortNameSize), 8) + " " +
         Printf("%6ld", static_cast<long>(set.SysExBytes(component)));
}

}  // namespace

std::string FileOfComponent(const ZKGrpDoc& set, int component) {
  if (std::string link = set.LinkPath(component); !link.empty()) return link;
  const DataFile& data = *set.GetDataFile(component);
  const std::string name = BufferText(data.fileName, data.fileNameSize);
  return IsValidUtf8(name) ? name : Latin1ToUtf8(name);
}

std::vector<std::vector<std::string>> SetListing(const ZKGrpDoc& set, int linesPerPage) {
  std::vector<std::string> lines{
      "SET LISTING",
      "-------------",
      "",
      "Filename: " + PlainLine(set.FileName()),
      "Path: " + PlainLine(set.path().empty() ? std::string() : FolderOf(set.path())),
      "",
      "File Name            Instrument      Data                  CommCh  In   Port  Out    Size",
      std::string(kRule, '-')};
  for (int i = 0; i < set.GetDataFileCount(); ++i) lines.push_back(RowOfComponent(set, i));
  return ListingPages(std::move(lines), linesPerPage);
}

Result ComponentsAsText(const ZKGrpDoc& set, const std::vector<int>& components, std::string* text) {
  ExportSource source;
  for (const int component : components)
    if (set.StateOf(component).content == EntryContent::kDefined) source.data.push_back(set.GetDataFile(component));
  if (source.data.empty()) return Result::Failure("No active data files have been selected. Cancelling.");
  return RenderExport(ExportFormat::Text, &source, text);
}

}  // namespace tonalith
