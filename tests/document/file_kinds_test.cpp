#include "document/file_kinds.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>

#include "document/document_registry.h"
#include "platform/text.h"
#include "tests/document/note_document.h"

namespace tonalith {
namespace {

std::string Packaging(const std::string& name) {
  std::ifstream file(std::string(TONALITH_SOURCE_DIR) + "/packaging/com.corvane.Tonalith" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::set<std::string> Matches(const std::string& text, const std::string& pattern) {
  const std::regex expression(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) found.insert((*it)[1]);
  return found;
}

TEST(FileKinds, TheDesktopEnvironmentIsToldTheSame) {
  const std::string xml = Packaging(".xml");
  std::set<std::string> all;
  std::set<std::string> own;
  for (const FileKindRow& row : FileKinds()) {
    const std::string type(row.mimeType);
    if (!type.empty()) all.insert(type);
    if (!row.ownMimeType) continue;
    own.insert(type);
    const auto start = xml.find("<mime-type type=\"" + type + "\">");
    ASSERT_NE(start, std::string::npos) << type;
    const std::string part = xml.substr(start, xml.find("</mime-type>", start) - start);
    std::set<std::string> claimed;
    for (const FileExtension& extension : row.extensions)
      if (extension.claimed) claimed.insert("*" + AsciiLower(extension.text));
    EXPECT_EQ(Matches(part, "<glob pattern=\"([^\"]*)\""), claimed) << type;
    for (const char* offset : {"0", "8"}) {
      const auto magic = Matches(part, std::string("offset=\"") + offset + "\" value=\"([^\"]*)\"");
      const std::string_view known = *offset == '0' ? row.magic.atStart : row.magic.atEight;
      if (!magic.empty()) {
        EXPECT_EQ(magic, std::set<std::string>{std::string(known)}) << type;
      }
    }
  }
  EXPECT_EQ(Matches(xml, "<mime-type type=\"([^\"]*)\""), own);
  const auto line = Matches(Packaging(".desktop"), "MimeType=([^\\n]*)");
  ASSERT_EQ(line.size(), 1U);
  EXPECT_EQ(Matches(*line.begin(), "([^;]+);"), all);
}

TEST(FileKinds, TellsAFileByTheFirstExtensionOfTheTableInItsName) {
  const struct {
    const char* name;
    FileKind kind;
    FileKind inDesktop;
  } rows[] = {
      {"a.pvs", FileKind::Set, FileKind::Set},
      {"X.PVS.SYX", FileKind::Set, FileKind::Set},
      {"x.syx.pvg", FileKind::Set, FileKind::Set},
      {"a.PVC", FileKind::Collection, FileKind::Collection},
      {"a.Pvd", FileKind::Collection, FileKind::Collection},
      {"a.pvl", FileKind::Library, FileKind::Library},
      {"Default.PV9~", FileKind::Studio, FileKind::Studio},
      {"a.pv5", FileKind::Studio, FileKind::Studio},
      {"a.pvw", FileKind::Desktop, FileKind::Desktop},
      {"a.syx.mid", FileKind::SysEx, FileKind::SysEx},
      {"a.zkr", FileKind::Remote, FileKind::Remote},
      {"a.l6t", FileKind::ImportedElsewhere, FileKind::ImportedElsewhere},
      {"a.pvb", FileKind::ImportedElsewhere, FileKind::ImportedElsewhere},
      {"a.midi", FileKind::MidiFile, FileKind::MidiFile},
      {"a.smf", FileKind::MidiFile, FileKind::MidiFile},
      {"a.zkosc", FileKind::OscEditor, FileKind::OscEditor},
      {"a.fxb", FileKind::PluginBank, FileKind::PluginBank},
      {"a.pvz", FileKind::Module, FileKind::Module},
      {"a.lib", FileKind::ForeignLibrary, FileKind::ForeignLibrary},
      {"a.ubk", FileKind::ForeignLibrary, FileKind::Data},
      {"a.ulb", FileKind::ForeignLibrary, FileKind::ForeignLibrary},
      {"a.dat", FileKind::Data, FileKind::Data},
      {"syx", FileKind::Data, FileKind::Data},
      {"", FileKind::Data, FileKind::Data},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(KindOfFile(row.name), row.kind) << row.name;
    EXPECT_EQ(KindOfFile(row.name, kOpenInDesktop), row.inDesktop) << row.name;
  }
  EXPECT_EQ(OpenFilter(false),
            "Files of this program|*.DAT;*.PVS;*.PVG;*.PVC;*.PVD;*.PVL;*.PV9;*.PVW;*.SYX;*.MID;*.SMF;*.PVZ|ZK Data "
            "(*.DAT)|*.DAT|ZK Set (*.PVS)|*.PVS;*.PVG|ZK Compressed Module (.pvz)|*.pvz|All Files (*.*)|*.*|");
  EXPECT_EQ(OpenFilter(true), "ZK Set (*.PVS)|*.PVS;*.PVG|Line6 L6T Files (*.L6T)|*.L6T|All Files (*.*)|*.*|");
}

TEST(FileKinds, TellsAFileByItsFirstBytes) {
  const struct {
    std::string bytes;
    const char* name;
  } rows[] = {
      {{"FORM\0\0\1\0BANKSHDR", 16}, "Data"},
      {{"FORM\0\0\1\0AIFF....", 16}, ""},
      {{"LIST\0\0\1\0ZSET", 12}, "Set"},
      {{"LIST\0\0\1\0ZCOL", 12}, "Collection"},
      {{"LIST\0\0\1\0ZLIB", 12}, "Library"},
      {{"LIST\0\0\1\0Z", 9}, ""},
      {"9VRD...", "Studio"},
      {"PVDT", "Desktop"},
      {"\xF0\x43\xF7", "SysEx"},
      {"MThd", "MIDI file"},
      {"PVZ x", "Module"},
      {"", ""},
      {"PVZ", ""},
  };
  for (const auto& row : rows) {
    FileKind kind = FileKind::Remote;
    const bool known =
        KindOfContent({reinterpret_cast<const std::uint8_t*>(row.bytes.data()), row.bytes.size()}, &kind);
    EXPECT_EQ(known ? std::string(FileKindRowOf(kind).name) : "", row.name) << row.bytes;
  }
}

TEST(DocumentRegistry, FindsWhoOpensAFile) {
  DocumentRegistry registry;
  registry.RegisterLoader(FileKind::SysEx, [](const std::string& path, std::unique_ptr<Document>* document) {
    auto note = std::make_unique<NoteDocument>();
    const Result result = note->Load(path);
    if (result.ok()) *document = std::move(note);
    return result;
  });
  registry.RegisterOpener(FileKind::Module, [](const std::string&, int) { return true; });
  EXPECT_TRUE(registry.WayOf("/a/b.SyX").load);
  EXPECT_TRUE(registry.WayOf("/x.syx/b.pvz").open) << "the folder's name does not count";
  EXPECT_FALSE(registry.Opens(FileKind::Set));
  std::unique_ptr<Document> document;
  EXPECT_FALSE(registry.Load("/none/a.pvs", &document).ok());
  EXPECT_FALSE(registry.Load("/none/a.syx", &document).ok());
  EXPECT_FALSE(document);
  const TestFolder folder;
  std::ofstream(folder.At("a.syx")) << "x";
  EXPECT_TRUE(registry.Load(folder.At("a.syx"), &document).ok());
  ASSERT_TRUE(document);
  EXPECT_EQ(document->Extension(), "SYX");
}

}  // namespace
}  // namespace tonalith
