#include "store/sets/set_listing.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "store/names/disk_midi.h"
#include "store/names/name_banks.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kRule = 89;
constexpr int kMarginLines = 3, kEmptyLines = 2;

bool BeginsCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

// Exactly that many characters.
std::string Column(std::string_view text, std::size_t width) {
  std::string column;
  std::size_t characters = 0;
  for (const char c : PlainLine(text)) {
    if (BeginsCharacter(c) && characters++ == width) break;
    column += c;
  }
  column.append(width - std::min(width, characters), ' ');
  return column;
}

std::string BufferText(const char* text, std::uint32_t size) {
  const std::string_view whole(text ? text : "", text ? size : 0);
  return std::string(whole.substr(0, whole.find('\0')));
}

std::string RowOfComponent(const ZKGrpDoc& set, int component) {
  const DataFile& data = *set.GetDataFile(component);
  return Column(FileNameOf(FileOfComponent(set, component)), 20) + " " + Column(ExportLine(GetUnitMake(data)), 15) +
         " " + Column(set.TypeName(component), 25) + Printf("%2d", data.synth->midiChannel + 1) + " " +
         Column(BufferText(data.midiInPortName, data.midiInPortNameSize), 8) + " " +
         Column(BufferText(data.midiOutPortName, data.midiOutPortNameSize), 8) + " " +
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
  const std::size_t most = linesPerPage == 0
                               ? lines.size()
                               : static_cast<std::size_t>(std::max(kEmptyLines + 1, linesPerPage - kMarginLines));
  std::vector<std::vector<std::string>> pages(1);
  for (std::string& line : lines) {
    if (pages.back().size() == most) pages.emplace_back(kEmptyLines);
    pages.back().push_back(std::move(line));
  }
  return pages;
}

Result ComponentsAsText(const ZKGrpDoc& set, const std::vector<int>& components, std::string* text) {
  ExportSource source;
  for (const int component : components)
    if (set.StateOf(component).content == EntryContent::kDefined) source.data.push_back(set.GetDataFile(component));
  if (source.data.empty()) return Result::Failure("No active data files have been selected. Cancelling.");
  return RenderExport(ExportFormat::Text, &source, text);
}

}  // namespace tonalith
