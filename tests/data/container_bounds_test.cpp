// Where the container's limits are: the last length, type, depth and count that are taken, and the first that are not.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "data/container.h"
#include "platform/byte_window.h"
#include "tests/data/bank_record.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

void Put(Bytes* out, std::string_view id, std::size_t length, const Bytes& data) {
  out->insert(out->end(), id.begin(), id.end());
  out->resize(out->size() + 4);
  StoreBe32(out->data() + out->size() - 4, static_cast<std::uint32_t>(length));
  out->insert(out->end(), data.begin(), data.end());
}
Bytes Chunk(std::string_view id, const Bytes& data) {
  Bytes out;
  Put(&out, id, data.size(), data);
  return out;
}
Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
// A FORM or LIST that says it has `more` bytes than it has.
Bytes Group(const Bytes& inside, std::string_view type = "BANK", std::string_view id = "FORM", int more = 0) {
  Bytes out;
  Put(&out, id, inside.size() + 4 + static_cast<std::size_t>(more), Bytes(type.begin(), type.end()) + inside);
  return out;
}
Bytes Text(std::size_t n, char c = 'x') {
  return Bytes(n, static_cast<std::uint8_t>(c));
}
Bytes Descriptor(Synth s, std::uint32_t size = kSynthSize) {
  FlipSynth(&s, size);
  const auto* p = reinterpret_cast<const std::uint8_t*>(&s);
  return Chunk("SHDR", Bytes(p, p + size));
}
Synth TwoVoices() {
  return *BankRecord(2, 16)->synth;
}
const Bytes& Start() {
  static const Bytes start = Descriptor(TwoVoices()) + Chunk("BODY", Text(38));
  return start;
}
int Read(const Bytes& bytes, DataFilePtr* df, int mode = 0, const std::string& find = {}) {
  df->reset(AllocDataFile());
  FormReadOptions options;
  options.mode = mode;
  options.find = find;
  return ContainerReader(bytes).DiskReadForm(df->get(), options);
}

TEST(ContainerBounds, TypesOfForms) {
  DataFilePtr df;
  for (const char* type : {"BANK", "SYTH", "SYN1", "SYN9", "SYNA", "SYNB"})
    EXPECT_EQ(Read(Group(Start(), type), &df), 0);
  for (const char* type : {"SYN0", "SYN:", "SYN@", "SYNC", "SYM1", "BANJ"})
    EXPECT_EQ(Read(Group(Start(), type), &df), 10);
  const Bytes good = Group(Start());
  EXPECT_FALSE(LooksLikeDataFile(std::span(good).first(15)));
  EXPECT_TRUE(LooksLikeDataFile(std::span(good).first(16)));
  EXPECT_FALSE(LooksLikeDataFile(Group(Start(), "SYTH")) || LooksLikeDataFile(Group(Start(), "BANK", "PROP")) ||
               LooksLikeDataFile(Group(Chunk("BODY", Text(38)))));
  EXPECT_EQ(ChunkIdText(0x20417E7F), " A~?");
}

// The last chunk of a form is read when it begins inside, whatever its own length.
TEST(ContainerBounds, TheFormsOwnLengthCounts) {
  const Bytes inside = Start() + Chunk("COMM", Text(6));
  DataFilePtr df;
  for (const int more : {-14, -13, 0, 100}) {
    ASSERT_EQ(Read(Group(inside, "BANK", "FORM", more), &df), 0);
    EXPECT_EQ(df->comment != nullptr, more > -14) << more;
  }
  for (const Bytes& odd :
       {Chunk("COMM", Text(5)), Chunk("COMM", Text(5)) + Bytes{0}, Chunk("ODD ", Text(5)) + Bytes{7}}) {
    ASSERT_EQ(Read(Group(Start() + odd + Chunk("SONG", Text(2))), &df), 0);
    EXPECT_EQ(df->songsSize, 2u);
  }
  EXPECT_EQ(Read(Group({}, "BANK", "FORM", 1), &df), 0);
}

TEST(ContainerBounds, LengthsOfChunks) {
  const auto read = [](const Bytes& chunk) {
    DataFilePtr df;
    EXPECT_EQ(Read(Group(Start() + chunk), &df), 0);
    return df;
  };
  EXPECT_EQ(read(Chunk("XBNK", {1}))->refBankNumber, 0x100);
  EXPECT_EQ(read(Chunk("XBNK", {1, 2}))->refBankNumber, 0x102);
  EXPECT_EQ(read(Chunk("XBNK", {}))->isReference, 0);
  EXPECT_EQ(std::strlen(read(Chunk("XDIR", Text(254)))->refDirectory), 254u);
  EXPECT_EQ(std::strlen(read(Chunk("XDIR", Text(256)))->refDirectory), 255u);
  for (const auto& [length, size, shown] : {std::tuple(2u, 256u, 2u), {256u, 256u, 255u}, {300u, 300u, 299u}}) {
    const DataFilePtr df = read(Chunk("COMM", Text(length)));
    EXPECT_EQ(df->commentSize, size);
    EXPECT_EQ(std::strlen(df->comment), shown);
  }
  for (const auto& [length, first] : {std::pair(126u, 15u), {128u, 16u}, {130u, 16u}}) {
    const DataFilePtr df = read(Chunk("FIND", Text(length)));
    EXPECT_EQ(df->findTextSize, std::max(length, 128u));
    EXPECT_EQ(strnlen(df->findText, 16), first);
  }
  for (const auto& [length, second] : {std::pair(66u, 33u), {64u, 32u}, {62u, 31u}, {2u, 1u}, {1u, 0u}}) {
    const DataFilePtr df = read(Chunk("NAME", Text(length)));
    EXPECT_EQ(df->voiceNamesSize, 66u) << length;
    EXPECT_EQ(strnlen(df->voiceNames + 33, 33), second) << length;
  }
  EXPECT_EQ(read(Chunk("NAME", Text(200)))->voiceNamesSize, 200u);
  EXPECT_EQ(read(Chunk("CHNL", {1, 2}))->chunkModes[1], 2);
  EXPECT_EQ(read(Chunk("CHNL", {1, 2, 3, 4, 5, 6}))->chunkModes[3], 4);
  const DataFilePtr window = read(Chunk("XTRA", Bytes{0, 0, 0, 9, 7, 208, 7, 209, 7, 208, 7, 209, 1, 1, 7, 208}));
  EXPECT_EQ(window->xtra->windowX, 2000);
  EXPECT_EQ(window->xtra->windowY, 20);
  EXPECT_EQ(window->xtra->windowWidth, 2000);
  EXPECT_EQ(window->xtra->windowHeight, 400);
  EXPECT_EQ(window->xtra->windowExtra, 2000);
  EXPECT_EQ(+window->xtra->timeStamp, 9u);
}

TEST(ContainerBounds, WhatIsCompleted) {
  Synth s = TwoVoices();
  DataFilePtr df;
  for (const std::uint32_t size : {20u + 20 + 65536, 20u + 20 + 65537}) {
    s.fileSize = size;
    ASSERT_EQ(Read(Group(Descriptor(s) + Chunk("BODY", Text(20))), &df), 0);
    EXPECT_EQ(df->bodySize, size % 2 ? 20u : size);
  }
  for (const std::uint32_t size : {205u, 206u}) {
    ASSERT_EQ(Read(Group(Descriptor(TwoVoices(), size) + Chunk("BODY", Text(38))), &df, 1), 0);
    EXPECT_EQ(df->comment != nullptr, size == 206u);
  }
  ASSERT_EQ(Read(Group(Start() + Chunk("FIND", Text(4, 'B'))), &df, 0, "BB"), 0);
  EXPECT_EQ(Read(Group(Start() + Chunk("FIND", Text(4, 'B'))), &df, 0, "BBBBB"), kDiskKeywordAbsent);
}

int Depth(const ListFile& list) {
  int depth = 0;
  for (const ListMember& member : list.members) depth = std::max(depth, member.list ? 1 + Depth(*member.list) : 0);
  return depth;
}

TEST(ContainerBounds, Lists) {
  const Bytes form = Group(Start()), prop = Group(Start(), "BANK", "PROP"), junk = Chunk("JUNK", Text(5));
  const Bytes found = Group(Start() + Chunk("FIND", Text(4, 'B')));
  const struct {
    const char* what;
    Bytes inside;
    int more;
    std::size_t members;
    int skipped;
    std::size_t info;
    const char* find;
  } rows[] = {
      {"empty", {}, 0, 0, 0, 0, ""},
      {"two", form + form, 0, 2, 0, 0, ""},
      {"a length that ends before the second", form + form, -static_cast<int>(form.size()), 1, 0, 0, ""},
      {"a length that ends in the head of the second", form + form, 7 - static_cast<int>(form.size()), 1, 0, 0, ""},
      {"a length beyond the end", form + form, 1000, 2, 0, 0, ""},
      {"odd without pad before a form", junk + form, 0, 1, 0, 0, ""},
      {"odd without pad before a list", junk + Group(form, "ZSET", "LIST"), 0, 1, 0, 0, ""},
      {"odd without pad before the end", form + junk, 0, 1, 0, 0, ""},
      {"odd with pad", junk + Bytes{0} + form, 0, 1, 0, 0, ""},
      {"the first PROP is the header", prop + prop + form, 0, 2, 0, 0, ""},
      {"information", form + Chunk("INFO", {1, 2, 3, 4}), 0, 1, 0, 4, ""},
      {"odd information", form + Chunk("INFO", {1, 2, 3}) + Bytes{0} + form, 0, 2, 0, 4, ""},
      {"without descriptor", Group(Chunk("BODY", Text(2))) + form, 0, 1, 1, 0, ""},
      {"of another type", Group(Start(), "ILBM") + Group(Group(Start(), "ILBM"), "ZSET", "LIST"), 0, 1, 2, 0, ""},
      {"a keyword that one has", found + form + found, 0, 3, 0, 0, "BB"},
      {"a keyword that none has", found + found, 0, 0, 0, 0, "Z"},
  };
  for (const auto& row : rows) {
    ListFile list;
    FormReadOptions options;
    options.find = row.find;
    const Bytes file = Group(row.inside, "ZLIB", "LIST", row.more);
    ASSERT_EQ(ReadList(file, options, &list), 0) << row.what;
    EXPECT_EQ(list.members.size(), row.members) << row.what;
    EXPECT_EQ(list.skippedMembers, row.skipped) << row.what;
    EXPECT_EQ(list.info.size(), row.info) << row.what;
    EXPECT_EQ(list.type, kListLibrary);
    EXPECT_EQ(list.header != nullptr, row.inside.size() > 2 && row.inside[0] == 'P');
  }
  for (const int levels : {8, 9}) {
    Bytes nested = form;
    for (int i = 0; i < levels; ++i) nested = Group(nested, "ZSET", "LIST");
    ListFile list;
    ASSERT_EQ(ReadList(Group(nested, "ZSET", "LIST"), {}, &list), 0);
    EXPECT_EQ(Depth(list), 8);
    EXPECT_EQ(list.skippedMembers, levels - 8);
  }
  ListFile list;
  const Bytes whole = Group(form, "ZSET", "LIST");
  EXPECT_EQ(ReadList(std::span(whole).first(3), {}, &list), 3);
  EXPECT_EQ(ReadList(std::span(whole).first(11), {}, &list), 2);
  EXPECT_EQ(ReadList(std::span(whole).first(12), {}, &list), 0);
  EXPECT_TRUE(IsListFile(std::span(whole).first(4)));
  EXPECT_FALSE(IsListFile(std::span(whole).first(3)) || IsListFile(form));
  EXPECT_EQ(ReadListOrForm(Group(Chunk("BODY", Text(2))), {}, &list), 2);
  EXPECT_EQ(ReadListOrForm(form, {}, &list), 0);
  EXPECT_EQ(list.members.size(), 1u);
}

TEST(ContainerBounds, NamesOfFilesAreCutBetweenCharacters) {
  DataFilePtr df = BankRecord(2, 16);
  const std::string name = std::string(254, 'n') + "\u00FC.dat";
  for (const std::uint32_t size : {0u, 100u, 256u, 300u}) {
    FreeChunk(df->fileName, df->fileNameSize);
    if (size) AllocChunk(&df->fileName, &df->fileNameSize, size, std::string(size, 'o').c_str());
    EXPECT_EQ(KeepsFileName(*df), size >= 256);
    Bytes as, set;
    ASSERT_TRUE(DiskWriteFormAs(&as, *df, name));
    SetFileName(df.get(), name);
    ASSERT_TRUE(DiskWriteForm(&set, *df));
    EXPECT_EQ(as, set) << size;
    EXPECT_EQ(std::string(df->fileName), std::string(254, 'n'));
    EXPECT_EQ(df->fileNameSize, std::max(size, 256u));
  }
}

class DiskBounds : public FilesTest {
 protected:
  DiskAccess disk_;
};

TEST_F(DiskBounds, Libraries) {
  DataFilePtr header = BankRecord(1, 8), a = BankRecord(2, 16), b = BankRecord(2, 16);
  AddDataFileComponents(b.get(), 1);
  std::strcpy(b->findText, "Lead");
  DataFile* const members[] = {a.get(), b.get()};
  DataFile* const holes[] = {a.get(), nullptr};
  const Bytes info = {1, 2, 3};
  EXPECT_EQ(disk_.DiskLibraryWrite(root_, "l.PVL", header.get(), members, info), 1);
  EXPECT_EQ(disk_.DiskLibraryWrite(root_, "holes.PVL", header.get(), holes, info), 0);
  EXPECT_FALSE(fs::exists(Path("holes.PVL")));
  Bytes file;
  ASSERT_EQ(DiskLoadFile(Path("l.PVL"), &file), 0);
  EXPECT_EQ(LoadBe32(file.data() + 4), file.size() - 8);
  EXPECT_EQ(LoadBe32(file.data() + 8), kListLibrary);
  for (const char* find : {"", "ead", "none"}) {
    DataFilePtr first;
    std::vector<DataFilePtr> read;
    Bytes kept;
    ASSERT_EQ(disk_.DiskLibraryRead(root_, "l.PVL", &first, &read, &kept, 0, find), 1);
    EXPECT_EQ(disk_.fileId(), ChunkId("LIST"));
    // Records without keywords are found by every keyword.
    EXPECT_EQ(read.size(), std::string(find) == "none" ? 1u : 2u) << find;
    EXPECT_EQ(first->bodySize, header->bodySize);
    EXPECT_EQ(kept, (Bytes{1, 2, 3, 0}));
  }
}

TEST_F(DiskBounds, FoldersAndNames) {
  EXPECT_EQ(disk_.FullPath("a"), "a");
  disk_.DiskDirectoryFix("/x", true);
  EXPECT_EQ(disk_.FullPath("a") + disk_.FullPath("/b") + disk_.FullPath(""), "/x/a/b");
  disk_.DiskDirectoryFix("y/", true);
  EXPECT_EQ(disk_.FullPath("a"), "/x/y/a");
  disk_.DiskDirectoryFix("", false);
  EXPECT_EQ(disk_.FullPath("a"), "/x/a");
  disk_.DiskDirectoryFix("", false);
  disk_.DiskDirectoryFix("", false);
  EXPECT_EQ(disk_.FullPath("a"), "a");

  DataFilePtr df = BankRecord(2, 16);
  const std::string colon = "c:name.dat";
  for (const auto& [name, kept] : {std::pair(std::string("First.dat"), "First.dat"),
                                   {"FIRST.DAT", "First.dat"},
                                   {"second.dat", "second.dat"},
                                   {colon, "second.dat"},
                                   {"a\\b.dat", "second.dat"}}) {
    ASSERT_EQ(disk_.DiskWrite(0, root_, name, df.get()), 1);
    EXPECT_STREQ(df->fileName, kept) << name;
    DataFilePtr read(AllocDataFile());
    ASSERT_EQ(disk_.DiskRead(0, root_, name, "", read.get(), 0), 1);
    EXPECT_STREQ(read->fileName, kept) << name;
  }
  const DataFilePtr raw = CreateMidiXFile(root_, "First.dat");
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->bodySize, fs::file_size(Path("First.dat")));
  EXPECT_EQ(+raw->synth->voiceBytes, raw->bodySize);
  EXPECT_FALSE(CreateMidiXFile(root_ + "/", "none"));
  for (const auto& [bytes, maker] :
       {std::pair(Bytes{0xF0}, 0), {{0xF0, 0x7F}, 0x7F}, {{0xF0, 0x80}, 0}, {{0xF1, 0x41}, 0}}) {
    EXPECT_EQ(CreateMidiXFile(bytes)->synth->manufacturerId, maker);
  }
  for (const auto& [path, name, joined] : {std::tuple(std::string(), std::string("b"), std::string("b")),
                                           {"a/", "b", "a/b"},
                                           {"a:", "b", "a:b"},
                                           {"a\\", "b", "a\\b"},
                                           {"a", std::string(253, 'x'), "a/" + std::string(253, 'x')},
                                           {"a", std::string(254, 'x'), "a"}}) {
    std::string whole = path;
    FileAppendPath(&whole, name);
    EXPECT_EQ(whole, joined);
  }
  for (const auto& [length, size] : {std::pair(3u, 2u), {6u, 2u}, {7u, 3u}, {257u, 253u}, {258u, 1u}, {0u, 1u}}) {
    std::string whole = "a";
    FileAppendDir(&whole, std::string(length, 'x'));
    EXPECT_EQ(whole.size(), size) << length;
  }
  for (const auto& [kind, id, creator] : {std::tuple(-1, "PVHP", true),
                                          {0, "PVDA", true},
                                          {10, "PVIN", true},
                                          {11, "SYSX", false},
                                          {14, "PICT", false},
                                          {15, "PVHP", true},
                                          {16, "PVZ ", true},
                                          {17, "PVHP", true}}) {
    std::uint32_t type = 0;
    bool flag = !creator;
    GetMacFileTypeAndCreator(kind, type, flag);
    EXPECT_EQ(ChunkIdText(type), id) << kind;
    EXPECT_EQ(flag, creator) << kind;
  }
  std::uint32_t wide = 0x01020304;
  std::uint16_t narrow = 0x0102;
  FlipLong(&wide), FlipWord(&narrow);
  EXPECT_EQ(wide, 0x04030201u);
  EXPECT_EQ(narrow, 0x0201);
}

// Which files a renamed keyword is looked for in, and which entries it stands in.
TEST_F(DiskBounds, KeywordsAreRenamedWhereTheyStand) {
  Bytes entries(128);
  const auto entry = [&](std::size_t i, const char* text) {
    std::memcpy(entries.data() + 16 * i, text, std::strlen(text));
  };
  entry(0, "bass"), entry(1, "Bass2"), entry(7, "BASS"), entry(2, "ABCDEFGHIJKLMNOP");
  const Bytes find = Chunk("FIND", entries), form = Group(Start() + find);
  const Bytes nested =
      Group(Chunk("JUNK", Text(4)) + Group(Start() + find, "BANK", "PROP") + Group(Group(Start()), "ZSET", "LIST"),
            "ZLIB", "LIST");
  const Bytes odd = Group(Start() + Chunk("ODD ", Text(5)) + Bytes{0} + find);
  const std::pair<const char*, Bytes> files[] = {
      {"a.dat", form},   {"n.pvs", nested},    {"o.pvg", odd},  {"l.PVL", nested},     {"d.PVD", nested},
      {"c.PVC", nested}, {"list.dat", nested}, {"x.syx", form}, {"w.PVW", form},       {"9.pv9", form},
      {"i.INI", form},   {"5.PV5", form},      {"6.PV6", form}, {"readonly.dat", form}};
  for (const auto& [name, bytes] : files) ASSERT_EQ(DiskSaveFile(Path(name), bytes), 0);
  fs::permissions(Path("readonly.dat"), fs::perms::owner_read);
  fs::create_symlink(Path("x.syx"), Path("link.dat"));
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "", "x"), 0);
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "BASS", "Low", [](const std::string&) { return false; }), 0);
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "BASS", "bass"), 6) << "both are written alike";
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "BASS", "bass"), 0);
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "ABCDEFGHIJKLMNO", "Long"), 6);
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "bass", "Low"), 6);
  for (const auto& [name, bytes] : files) {
    Bytes now;
    ASSERT_EQ(DiskLoadFile(Path(name), &now), 0);
    Bytes wanted = bytes;
    if (std::string_view("anoldc").find(name[0]) != std::string_view::npos && std::string(name) != "list.dat") {
      const auto at = std::search(wanted.begin(), wanted.end(), entries.begin(), entries.end());
      for (const auto& [i, text] : {std::pair(0, "Low"), {2, "Long"}, {7, "Low"}}) {
        std::fill_n(at + 16 * i, 16, 0);
        std::copy_n(text, std::strlen(text), at + 16 * i);
      }
    }
    EXPECT_EQ(now, wanted) << name;
  }
}

}  // namespace
}  // namespace tonalith
