// Names of every bank and patch type of the shipped modules in every export format, and the name documents against
// their DTD.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>

#include "data/patch_names.h"
#include "platform/text.h"
#include "store/names/disk_midi.h"
#include "store/names/name_banks.h"
#include "tests/instruments/installed_modules.h"
#ifdef TONALITH_HAVE_XML
#include <libxml/parser.h>
#include <libxml/valid.h>
#endif

namespace tonalith {

namespace {

// Marks that formats have to escape or that are no ASCII; what an instrument cannot hold becomes something else.
constexpr const char* kNames[] = {"A&<B>\"'", "M\xFC\xE4\xF6 \xDF", "[p2, 0]=;x", "Bank 0 0 X", "", "  blank  "};

DataFilePtr Named(const ZKDrvList& driver) {
  DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile(&driver);
  if (!data) return data;
  data->xtra->hasNoSysEx = 0;
  if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  const int patches = static_cast<int>(LayoutOf(*data).numVoices);
  for (int patch = 0; patch < patches; ++patch)
    SetPatchName(data.get(), patch, kNames[static_cast<std::size_t>(patch) % std::size(kNames)]);
  return data;
}

std::size_t CountOf(const std::string& text, const std::string& pattern) {
  const std::regex lines(pattern, std::regex::multiline);
  return static_cast<std::size_t>(std::distance(std::sregex_iterator(text.begin(), text.end(), lines), {}));
}

#ifdef TONALITH_HAVE_XML
bool IsValid(const std::string& document) {
  static const xmlDtdPtr dtd = xmlParseDTD(
      nullptr, reinterpret_cast<const xmlChar*>(TONALITH_SOURCE_DIR "/tests/instruments/name_document.dtd"));
  const xmlDocPtr parsed =
      xmlReadMemory(document.data(), static_cast<int>(document.size()), "names.midnam", nullptr, XML_PARSE_NONET);
  xmlValidCtxtPtr context = xmlNewValidCtxt();
  const bool valid = dtd && parsed && xmlValidateDtd(context, parsed, dtd) == 1;
  xmlFreeValidCtxt(context);
  xmlFreeDoc(parsed);
  return valid;
}
#endif

}  // namespace

TEST(Exports, EveryTypeInEveryFormat) {
  std::size_t types = 0;
  for (const auto& instrument : InstalledModules::Instance().studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      SCOPED_TRACE(instrument->name + " " + driver->TypeName());
      const DataFilePtr data = Named(*driver);
      ASSERT_TRUE(data);
      BankSelectNames names;
      names.AddDataFile(*data);
      const std::size_t patches = LayoutOf(*data).numVoices;
      ASSERT_EQ(names.PatchCount(), patches);
      for (const NameBank& bank : names.banks()) {
        EXPECT_TRUE(std::is_sorted(bank.patches.begin(), bank.patches.end(),
                                   [](const auto& a, const auto& b) { return a.program < b.program; }));
        for (const NamedPatch& patch : bank.patches) EXPECT_FALSE(patch.name.empty());
      }
      ExportSource source;
      source.data = {data.get()};
      for (const ExportKind& kind : ExportKinds()) {
        if (!kind.isText) continue;
        std::string text;
        ASSERT_TRUE(RenderExport(kind.format, &source, &text).ok()) << kind.key;
        EXPECT_TRUE(IsValidUtf8(text)) << kind.key;
        EXPECT_EQ(text.find('\r'), std::string::npos) << kind.key;
        EXPECT_EQ(text.back(), '\n') << kind.key;
        const std::pair<ExportFormat, const char*> counted[] = {
            {ExportFormat::Reaper, "^[0-9]+ .+$"},
            {ExportFormat::Cakewalk, "^[0-9]+=.+$"},
            {ExportFormat::Cubase, "^\\[p2, [0-9]+, "},
            {ExportFormat::NameDocument, "^\t\t\t<Patch Number="},
            {ExportFormat::Html, "^<tr><td>"},
            {ExportFormat::HtmlProperties, "^<tr><td>"},
            {ExportFormat::Names, "^.+$"},
            {ExportFormat::Acid, "\t[0-9]+\t.+\t.+$"},
        };
        for (const auto& [format, pattern] : counted)
          EXPECT_TRUE(format != kind.format || CountOf(text, pattern) == patches) << kind.key;
#ifdef TONALITH_HAVE_XML
        EXPECT_TRUE(kind.format != ExportFormat::NameDocument || IsValid(text)) << text;
#endif
      }
      ++types;
    }
  }
  EXPECT_GT(types, 150u);
}

}  // namespace tonalith
