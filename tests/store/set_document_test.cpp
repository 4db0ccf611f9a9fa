// Sets as files: what was written comes back byte for byte, damaged files load what is whole, links survive.

#include "store/sets/set_document.h"
#include "store/sets/set_listing.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include "platform/atomic_file.h"
#include "tests/platform/files_fixture.h"
#include "tests/store/small_set.h"

namespace tonalith {

namespace {

constexpr int kTypes = kSmallTypes;

DataFilePtr RecordOf(int type) {
  return SmallRecord(type);
}

void Fill(ZKGrpDoc* set) {
  FillSmallSet(set);
}

std::string Bytes(const std::string& path) {
  std::string bytes;
  ReadWholeFile(path, bytes);
  return bytes;
}

std::string States(const ZKGrpDoc& set) {
  std::string text;
  for (int i = 0; i < set.GetDataFileCount(); ++i) text += EntryStateText(set.StateOf(i)) + " ";
  return text;
}

class SetFiles : public FilesTest {
 protected:
  std::string WriteData(const std::string& name, int type, std::uint8_t first) {
    DataFilePtr data = RecordOf(type);
    data->body[0] = data->body[4] = first;
    std::vector<std::uint8_t> bytes;
    DiskWriteForm(&bytes, *data);
    WriteFileAtomically(Path(name), std::span<const std::uint8_t>(bytes));
    return Path(name);
  }
};

}  // namespace

TEST(EntryStates, AreReadFromTheRecord) {
  const struct {
    int type;
    int hasNoSysEx, map;  // map: -1 leaves it
    bool withBody;
    const char* text;
  } cases[] = {
      {0, 0, -1, true, "defined"},     {0, 1, -1, true, "undefined"},   {0, 0, -1, false, "empty"},
      {1, 0, 0, true, "defined"},      {1, 0, 0xFF, true, "empty"},     {1, 1, 0, true, "undefined"},
      {1, 0, 0x0F, true, "empty"},     {3, 0, 0xFF, true, "undefined"}, {3, 1, 0x0E, true, "defined"},
      {3, 0, 0x0F, true, "undefined"},
  };
  for (const auto& c : cases) {
    DataFilePtr data = RecordOf(c.type);
    data->xtra->hasNoSysEx = static_cast<std::uint8_t>(c.hasNoSysEx);
    if (c.map >= 0) std::fill_n(data->emptyMap, data->emptyMapSize, static_cast<std::uint8_t>(c.map));
    if (!c.withBody) FreeChunk(data->body, data->bodySize);
    EXPECT_EQ(EntryStateText(StateOfEntry(*data)), c.text) << c.type << " " << c.hasNoSysEx << " " << c.map;
    data->xtra->isInactive = data->isReference = 1;
    EXPECT_EQ(EntryStateText(StateOfEntry(*data)), std::string(c.text) + ",inactive,linked");
    MarkUndefined(data.get());
    EXPECT_EQ(StateOfEntry(*data).content, EntryContent::kUndefined);
  }
}

TEST_F(SetFiles, WhatWasWrittenComesBackByteForByte) {
  ZKGrpDoc set;
  EXPECT_EQ(set.GetSetName(), "Empty Set");
  ASSERT_TRUE(set.Save(Path("empty.pvs")).ok());
  Fill(&set);
  ASSERT_TRUE(set.SetActive(1, false).ok());
  ASSERT_TRUE(set.Save(Path("a.pvs")).ok());
  EXPECT_FALSE(set.IsModified());
  for (const char* name : {"a.pvs", "empty.pvs"}) {
    ZKGrpDoc again;
    ASSERT_TRUE(again.Load(Path(name)).ok()) << name;
    EXPECT_EQ(again.LoadNotice(), "");
    ASSERT_TRUE(again.SaveCopy(Path("b.pvs")).ok());
    EXPECT_EQ(Bytes(Path("b.pvs")), Bytes(Path(name)));
    EXPECT_EQ(again.GetDataFileCount(), name[0] == 'a' ? kTypes : 0);
  }
  ZKGrpDoc again;
  ASSERT_TRUE(again.Load(Path("a.pvs")).ok());
  EXPECT_EQ(States(again), "undefined defined,inactive defined defined ");
  EXPECT_EQ(again.TypeName(2), "Type ä2");
  EXPECT_EQ(again.SysExBytes(3), 42u);
  EXPECT_EQ(again.SysExBytes(0), 0u);
  EXPECT_EQ(again.GetIndexForID(103), 3);
  EXPECT_EQ(again.GetIndexForID(99), -1);
}

TEST_F(SetFiles, PartsThatDoNotReadStayInTheFile) {
  ZKGrpDoc set;
  Fill(&set);
  ASSERT_TRUE(set.Save(Path("a.pvs")).ok());
  std::string bytes = Bytes(Path("a.pvs"));
  // A part of a kind nobody knows in front, and the second component with another form type.
  const std::size_t first = bytes.find("FORM");
  const std::size_t second = bytes.find("FORM", first + 4);
  bytes.replace(second + 8, 4, "BLOB");
  bytes.insert(first, std::string("XYZW\0\0\0\2ab", 10));
  bytes[6] = static_cast<char>((bytes.size() - 8) >> 8);
  bytes[7] = static_cast<char>(bytes.size() - 8);
  bytes[5] = static_cast<char>((bytes.size() - 8) >> 16);
  WriteFileAtomically(Path("b.pvs"), std::string_view(bytes));
  ZKGrpDoc again;
  ASSERT_TRUE(again.Load(Path("b.pvs")).ok());
  EXPECT_EQ(again.GetDataFileCount(), kTypes - 1);
  EXPECT_NE(again.LoadNotice().find("could not be read: 1.  A save keeps 1"), std::string::npos) << again.LoadNotice();
  ASSERT_TRUE(again.SetActive(2, false).ok());
  ASSERT_TRUE(again.Undo().ok());
  ASSERT_TRUE(again.Save(Path("c.pvs")).ok());
  EXPECT_EQ(Bytes(Path("c.pvs")), bytes);
}

// Cut anywhere and changed anywhere: refused, or what is whole is there and can be saved and read again.
TEST_F(SetFiles, DamagedFilesLoadWhatIsWhole) {
  ZKGrpDoc set;
  Fill(&set);
  ASSERT_TRUE(set.Save(Path("a.pvs")).ok());
  const std::string whole = Bytes(Path("a.pvs"));
  std::mt19937 random(5);
  int loaded = 0;
  for (int round = 0; round < 600; ++round) {
    std::string bytes = whole;
    if (round % 2) bytes.resize(random() % whole.size());
    for (unsigned i = random() % 4; round % 3 != 0 && i > 0 && !bytes.empty(); --i)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    OpenSet damaged;
    const FileBytes content(bytes.begin(), bytes.end());
    const Result read = damaged.Load(Path("none.pvs"), content, {});
    if (!read.ok()) {
      EXPECT_NE(read.text, "");
      EXPECT_EQ(damaged.GetDataFileCount(), 0);
      continue;
    }
    ++loaded;
    for (int i = 0; i < damaged.GetDataFileCount(); ++i) {
      damaged.SetActive(i, false);
      DataFilePtr taken;
      damaged.TakeData(i, &taken);
    }
    while (damaged.Undo().ok()) {
    }
    const std::vector<std::uint8_t> first = damaged.Written();
    OpenSet again;
    ASSERT_TRUE(again.Load(Path("none.pvs"), FileBytes(first.begin(), first.end()), {}).ok());
    EXPECT_EQ(again.Written(), first) << round;
  }
  EXPECT_GT(loaded, 100);
  // The first components of a file that ends early.
  ZKGrpDoc cut;
  const FileBytes most(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
  ASSERT_TRUE(cut.Load(Path("cut.pvs"), most, {}).ok());
  EXPECT_GE(cut.GetDataFileCount(), 1);
  EXPECT_NE(cut.LoadNotice(), "");
}

TEST_F(SetFiles, OtherFilesAreRefused) {
  ZKGrpDoc set;
  Fill(&set);
  WriteData("x.dat", 1, 1);
  ListFile collection;
  collection.type = kListCollection;
  collection.members.push_back({nullptr, std::make_unique<ListFile>()});
  ListFile library;
  library.type = kListLibrary;
  library.header = RecordOf(0);
  for (const auto& [name, list] : {std::pair{"c.pvc", &collection}, std::pair{"l.pvl", &library}}) {
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(WriteList(&bytes, *list));
    WriteFileAtomically(Path(name), std::span<const std::uint8_t>(bytes));
  }
  WriteFileAtomically(Path("nothing"), std::string_view());
  for (const char* name : {"x.dat", "c.pvc", "l.pvl", "nothing", "missing"}) {
    const Result read = set.Load(Path(name));
    EXPECT_FALSE(read.ok()) << name;
    EXPECT_NE(read.text.find(name), std::string::npos) << read.text;
    EXPECT_EQ(set.GetDataFileCount(), kTypes);
  }
}

TEST_F(SetFiles, ChangesAreUndoneAndRedone) {
  ZKGrpDoc set;
  Fill(&set);
  ASSERT_TRUE(set.Save(Path("a.pvs")).ok());
  DataFile* const own = set.GetDataFile(0);
  DataFilePtr put = RecordOf(0);
  put->body[3] = 0x55;
  std::snprintf(put->comment, put->commentSize, "new");
  SetFileName(put.get(), "elsewhere.dat");
  EXPECT_FALSE(set.PutData(1, RecordOf(0)).ok());
  DataFilePtr nothing = RecordOf(0);
  MarkUndefined(nothing.get());
  EXPECT_FALSE(set.PutData(0, std::move(nothing)).ok());
  EXPECT_FALSE(set.IsModified());
  ASSERT_TRUE(set.PutData(0, std::move(put)).ok());
  EXPECT_EQ(set.GetDataFile(0), own);
  EXPECT_EQ(States(set), "defined defined defined defined ");
  ASSERT_TRUE(set.Undo().ok());
  EXPECT_FALSE(set.IsModified());
  ASSERT_TRUE(set.SaveCopy(Path("b.pvs")).ok());
  EXPECT_EQ(Bytes(Path("b.pvs")), Bytes(Path("a.pvs")));
  ASSERT_TRUE(set.Redo().ok());
  EXPECT_EQ(own->body[3], 0x55);
  ASSERT_TRUE(set.Save().ok());
  ASSERT_TRUE(set.Undo().ok());
  EXPECT_TRUE(set.IsModified());

  // What a transfer brings is one entry; nothing may change meanwhile.
  set.BeginReceive({0, 2});
  EXPECT_TRUE(set.StateOf(2).busy);
  EXPECT_FALSE(set.PutData(1, RecordOf(1)).ok());
  EXPECT_FALSE(set.Save().ok());
  EXPECT_FALSE(set.Undo().ok());
  set.GetDataFile(0)->xtra->hasNoSysEx = 0;
  set.GetDataFile(2)->body[1] ^= 1;
  EXPECT_TRUE(set.EndReceive());
  EXPECT_EQ(set.UndoText(), "Get Set");
  ASSERT_TRUE(set.Undo().ok());
  EXPECT_EQ(States(set), "undefined defined defined defined ");
  set.BeginReceive({1});
  EXPECT_FALSE(set.EndReceive());

  // A component that has come stands as it is while others still come.
  set.BeginReceive({1, 2});
  for (const int i : {1, 2}) set.GetDataFile(i)->body[5] ^= 1;
  EXPECT_EQ(set.unsent().Count(1), 0) << "on its way";
  set.Arrived(1, true);
  EXPECT_FALSE(set.StateOf(1).busy);
  EXPECT_EQ(set.unsent().Count(1), 0) << "it came from there";
  EXPECT_TRUE(set.StateOf(2).busy && set.IsBusy());
  EXPECT_TRUE(set.EndReceive({1, 2}));
  EXPECT_EQ(set.unsent().Count(2), 0);
}

TEST_F(SetFiles, ListingsAndTexts) {
  ZKGrpDoc set;
  Fill(&set);
  const auto pages = SetListing(set, 13);
  ASSERT_EQ(pages.size(), 2U) << "ten lines a page";
  EXPECT_EQ(pages[0][0], "SET LISTING");
  EXPECT_EQ(pages[0][3], "Filename: ");
  EXPECT_EQ(pages[0][7], std::string(89, '-'));
  EXPECT_EQ(pages[1], (std::vector<std::string>{"", "", pages[1][2], pages[1][3]}));
  EXPECT_EQ(pages[0][8].substr(21, 44), "Maker One       Type \u00e40                   1") << "columns of characters";
  EXPECT_EQ(pages[0][8].substr(pages[0][8].size() - 6), "     0") << "nothing came yet";
  EXPECT_EQ(pages[1][3].substr(pages[1][3].size() - 6), "    42");
  for (const auto& line : {pages[0][8], pages[1][3]}) EXPECT_EQ(line.size(), 90U) << line;
  ASSERT_TRUE(set.Save(Path("\u00dcber.pvs")).ok());
  EXPECT_EQ(SetListing(set, 66)[0][3], "Filename: \u00dcber.pvs");

  std::string text;
  EXPECT_EQ(ComponentsAsText(set, {0}, &text).text, "No active data files have been selected. Cancelling.");
  ASSERT_TRUE(ComponentsAsText(set, {0, 1, 3}, &text).ok());
  EXPECT_NE(text.find("Maker One Type \u00e41"), std::string::npos) << text;
  EXPECT_NE(text.find("Maker One Type \u00e43"), std::string::npos);
  EXPECT_EQ(text.find("\u00e40"), std::string::npos) << "it holds nothing";
}

// Whatever brings data in: what the instrument does not have of it is known, after Undo and Redo too.
TEST_F(SetFiles, WhatTheInstrumentDoesNotHaveIsKnown) {
  const std::string file = WriteData("other.dat", 1, 0x66);
  const auto other = [](int type) {
    DataFilePtr data = RecordOf(type);
    data->body[4] ^= 0x40;
    return data;
  };
  const auto receive = [](ZKGrpDoc& set, bool whole) {
    set.BeginReceive({1});
    set.GetDataFile(1)->body[4] ^= 0x20;
    set.EndReceive(whole ? std::vector<int>{1} : std::vector<int>());
  };
  const struct {
    const char* name;
    int component;
    std::function<void(ZKGrpDoc&)> change;
    bool unsent, unsentAfterUndo;
  } cases[] = {
      {"put", 1, [&](ZKGrpDoc& set) { set.PutData(1, other(1)); }, true, false},
      {"put what nothing was in", 0, [&](ZKGrpDoc& set) { set.PutData(0, other(0)); }, true, false},
      {"put the same", 1, [&](ZKGrpDoc& set) { set.PutData(1, RecordOf(1)); }, false, false},
      {"edit", 2, [&](ZKGrpDoc& set) { set.EditData(2, *other(2), "Paste"); }, true, false},
      {"initialize", 0, [&](ZKGrpDoc& set) { set.Initialize(0); }, true, false},
      {"clear", 1, [&](ZKGrpDoc& set) { set.ClearData(1, nullptr); }, false, false},
      {"link", 1, [&](ZKGrpDoc& set) { set.SetLink(1, file); }, true, false},
      {"deactivate", 1, [&](ZKGrpDoc& set) { set.SetActive(1, false); }, false, false},
      {"get", 1, [&](ZKGrpDoc& set) { receive(set, true); }, false, true},
      {"get that ends early", 1, [&](ZKGrpDoc& set) { receive(set, false); }, false, true},
      {"held by another window", 1,
       [&](ZKGrpDoc& set) {
         set.PutData(1, other(1));
         set.InstrumentHolds(*other(1));
       },
       false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ZKGrpDoc set;
    Fill(&set);
    for (int i = 0; i < kTypes; ++i) EXPECT_EQ(set.unsent().Count(i), 0);
    set.WereSent({1, 2, 3});
    const auto unsent = [&] { return set.unsent().Count(c.component) > 0; };
    c.change(set);
    EXPECT_EQ(unsent(), c.unsent);
    if (!set.CanUndo()) continue;
    ASSERT_TRUE(set.Undo().ok());
    EXPECT_EQ(unsent(), c.unsentAfterUndo);
    ASSERT_TRUE(set.Redo().ok());
    EXPECT_EQ(unsent(), c.unsent);
    for (int i = 0; i < kTypes; ++i) EXPECT_TRUE(i == c.component || set.unsent().Count(i) == 0) << i;
    if (!c.unsent) continue;
    set.WereSent({c.component});
    EXPECT_FALSE(unsent());
    ASSERT_TRUE(set.Undo().ok());
    EXPECT_EQ(unsent(), set.StateOf(c.component).content == EntryContent::kDefined);
  }
}

TEST_F(SetFiles, LinksSurviveMovedFoldersAndMissingFiles) {
  std::filesystem::create_directories(Path("old/sets/banks"));
  const std::string file = WriteData("old/sets/banks/one \xC3\xA4.dat", 1, 0x77);
  ZKGrpDoc set;
  Fill(&set);
  EXPECT_FALSE(set.SetLink(2, file).ok()) << "another type";
  EXPECT_FALSE(set.SetLink(1, Path("missing.dat")).ok());
  EXPECT_FALSE(set.SetLink(1, Path(std::string(250, 'd') + "/" + std::string(10, 'x'))).ok());
  EXPECT_EQ(States(set), "undefined defined defined defined ");
  const std::uint8_t before = set.GetDataFile(1)->body[0];
  ASSERT_TRUE(set.SetLink(1, file).ok());
  EXPECT_EQ(set.GetDataFile(1)->body[0], 0x77);
  EXPECT_FALSE(set.PutData(1, RecordOf(1)).ok());
  ASSERT_TRUE(set.Undo().ok());
  EXPECT_EQ(set.GetDataFile(1)->body[0], before);
  ASSERT_TRUE(set.Redo().ok());
  EXPECT_EQ(States(set), "undefined defined,linked defined defined ");
  const std::string path = Path("old/sets/my.pvs");
  ASSERT_TRUE(set.Save(path).ok());
  const std::string saved = Bytes(path);

  // Found below the Set's folder, wherever that is now; and not found.
  std::filesystem::rename(Path("old"), Path("new"));
  const std::string moved = Path("new/sets/my.pvs"), alone = Path("alone.pvs");
  std::filesystem::copy_file(moved, alone);
  for (const std::string& place : {moved, alone}) {
    const bool found = place == moved;
    ZKGrpDoc again;
    ASSERT_TRUE(again.Load(place).ok());
    EXPECT_EQ(States(again),
              found ? "undefined defined,linked defined defined " : "undefined undefined,linked defined defined ");
    EXPECT_EQ(again.LoadNotice().empty(), found) << again.LoadNotice();
    EXPECT_EQ(again.SysExBytes(1), found ? 42u : 0u);
    EXPECT_EQ(again.LinkPath(1), found ? Path("new/sets/banks/one \xC3\xA4.dat") : file);
    DataFilePtr taken;
    EXPECT_EQ(again.TakeData(1, &taken).ok(), found);
    ASSERT_TRUE(again.SaveCopy(Path("copy.pvs")).ok());
    EXPECT_EQ(Bytes(Path("copy.pvs")), saved);
    std::vector<int> left;
    ASSERT_TRUE(again.ResolveLinks(&left).ok());
    EXPECT_EQ(left.empty(), found);
    EXPECT_EQ(again.IsResolvable(), !found);
    EXPECT_EQ(again.GetDataFile(1)->isReference, found ? 0 : 1);
    ASSERT_TRUE(again.Save().ok());
    ZKGrpDoc resolved;
    ASSERT_TRUE(resolved.Load(place).ok());
    EXPECT_EQ(resolved.StateOf(1).content, found ? EntryContent::kDefined : EntryContent::kUndefined);
    if (found) {
      EXPECT_EQ(resolved.GetDataFile(1)->body[0], 0x77);
    }
  }
}

}  // namespace tonalith
