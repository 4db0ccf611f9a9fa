#include "store/library/library_listing.h"

#include <algorithm>

#include "data/patch_texts.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMarginBelow = 3, kLinesAbove = 2;

std::vector<std::string> HeadOf(const ZKLibDoc& library, const LibraryPorts& ports) {
  const DataFile& driver = *library.driver();
  const std::string& path = library.path();
  return {"LIBRARY LISTING",
          "---------------",
          "Filename: " + library.FileName(),
          "Path: " + (path.empty() ? std::string() : FolderOf(path)),
          "Make: " + Latin1ToUtf8(FieldText(driver.synth->shortName)),
          "Model: " + Latin1ToUtf8(FieldText(driver.synth->typeName)),
          "SysEx Ch: " + std::to_string(driver.synth->sysExChannel + 1),
          "Port In: " + ports.in,
          "Port Out: " + ports.out,
          "Comments: " + Latin1ToUtf8(GetPatchText(driver, PatchText::Comment, 0)),
          "",
          "Names           Comment                   Tags",
          "-----           -------                   ----"};
}

}  // namespace

std::vector<std::vector<std::string>> LibPrint(const ZKLibDoc& library, const std::vector<EntryId>& entries,
                                               const LibraryPorts& ports, std::size_t linesPerPage) {
  std::vector<std::string> lines = HeadOf(library, ports);
  for (const EntryId entry : entries) {
    const std::string& name = library.NameOf(entry);
    // Columns are counted in characters: texts of instruments have one byte for each.
    const std::string comment = EntryText(*library.Data(entry), LibraryColumn::Comment);
    const std::string text = EntryText(*library.Data(entry), TagColumn(0));
    lines.push_back(Latin1ToUtf8(
        Printf("%-15.15s %-25.25s %.25s", name.empty() ? "<unnamed>" : name.c_str(), comment.c_str(), text.c_str())));
  }
  std::vector<std::vector<std::string>> pages(1);
  const std::size_t last = std::max(linesPerPage, kMarginBelow + kLinesAbove + 1) - kMarginBelow;
  for (std::string& line : lines) {
    if (pages.back().size() >= last) pages.emplace_back(kLinesAbove);
    // A line end inside a text would begin a line of its own.
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    pages.back().push_back(std::move(line));
  }
  return pages;
}

}  // namespace tonalith
