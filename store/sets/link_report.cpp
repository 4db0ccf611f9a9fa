#include "store/sets/link_report.h"

#include <cstdint>
#include <vector>

#include "platform/text.h"
#include "store/sets/link_tracker.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

using Places = std::vector<LinkTracker::Place>;

std::string Names(const LinkTracker& links, const Places& places) {
  std::string text;
  for (const auto& place : places) text += (text.empty() ? "" : ", ") + EscapeXml(links.NameOf(place));
  return text;
}

// A table of a component; empty: none of its patches has any.
std::string Table(const ZKGrpDoc& set, const LinkTracker& links, int component, bool parents) {
  std::string rows;
  for (std::uint32_t slot = 0; slot < LayoutOf(*set.GetDataFile(component)).numVoices; ++slot) {
    const Places places = parents ? links.Parents(component, slot) : links.Children(component, slot);
    if (places.empty()) continue;
    rows +=
        "<tr><td>" + EscapeXml(links.NameOf({component, slot})) + "</td><td>" + Names(links, places) + "</td></tr>\n";
  }
  if (rows.empty()) return {};
  return "<h2>" + EscapeXml(set.TitleOf(component)) + "</h2>\n<table>\n<tr><th>Patch</th><th>" +
         (parents ? "Is used by" : "Uses") + "</th></tr>\n" + rows + "</table>\n";
}

// Patches that nothing plays, though it could; empty: there are none.
std::string UnusedOf(const ZKGrpDoc& set, const LinkTracker& links, int component) {
  Places unused;
  for (const std::uint32_t slot : links.Unused(component)) unused.emplace_back(component, slot);
  if (unused.empty()) return {};
  return "<h2>" + EscapeXml(set.TitleOf(component)) + ": not used</h2>\n<p>" + Names(links, unused) + "</p>\n";
}

}  // namespace

std::string LinkReport(const ZKGrpDoc& set, const LinkTracker& links) {
  const std::string title = EscapeXml(set.path().empty() ? set.GetSetName() : set.FileName());
  std::string body;
  for (const bool parents : {false, true})
    for (int i = 0; i < set.GetDataFileCount(); ++i)
      if (set.StateOf(i).content == EntryContent::kDefined) body += Table(set, links, i, parents);
  for (int i = 0; i < set.GetDataFileCount(); ++i) body += UnusedOf(set, links, i);
  if (body.empty()) body = "<p>No patch of this Set plays another one.</p>\n";
  return "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"><title>" + title + "</title></head>\n<body>\n<h1>" +
         title + "</h1>\n" + body + "</body>\n</html>\n";
}

}  // namespace tonalith
