// Collections: files byte for byte, damaged files, what is stored and under which name, order, links, undo.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <random>

#include "collection/collection_add.h"
#include "collection/collection_document.h"
#include "collection/collection_listing.h"
#include "collection/collection_sources.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/library/library_columns.h"
#include "tests/platform/files_fixture.h"
#include "tests/store/small_set.h"

namespace tonalith {

namespace {

// A patch with a name in its image.
DataFilePtr Named(int type, const std::string& utf8) {
  DataFilePtr data = SmallRecord(type);
  data->synth->nameOffset = 0;
  data->synth->nameLength = 8;
  SetPatchName(data.get(), 0, Utf8ToLatin1(utf8));
  return data;
}

// Its bytes, without a disk.
class OpenCollection : public ZKDBaseDoc {
 public:
  std::vector<std::uint8_t> Written() {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(WriteBytes({}, &bytes).ok());
    return bytes;
  }
  Result Take(std::span<const std::uint8_t> bytes, const std::string& path = "x.pvc") { return ReadBytes(bytes, path); }
  CollectionAddOutcome Store(const DataFile& data, const CollectionAddOptions& options = {}) {
    CollectionAdder adder(*this, options);
    const CollectionAddOutcome outcome = adder.Store(data);
    adder.Finish();
    return outcome;
  }
  void StoreSet() {
    ZKGrpDoc set;
    FillSmallSet(&set);
    CollectionItem item;
    ASSERT_TRUE(MakeItem(set, &item).ok());
    Add(std::move(item));
  }
  // A Set, banks and patches.
  void Fill() {
    StoreSet();
    Store(*SmallRecord(1));
    Store(*Named(2, "Pad"));
    Store(*SmallRecord(3));
  }
  std::string Names() const {
    std::string text;
    for (const EntryId entry : Order()) text += Facts(entry).Text(CollectionColumn::Name) + ",";
    return text;
  }
};

}  // namespace

TEST(Collection, FilesComeBackByteForByteOrAreRefused) {
  OpenCollection collection;
  collection.Fill();
  ASSERT_TRUE(collection.SetDBaseStore(2).ok());
  collection.SetColumnWidth(CollectionColumn::Name, 2041);
  collection.SetColumnWidth(CollectionColumn::Type, 9);
  const std::vector<std::uint8_t> bytes = collection.Written();
  OpenCollection again;
  ASSERT_TRUE(again.Take(bytes).ok());
  EXPECT_EQ(again.Written(), bytes);
  EXPECT_EQ(again.DBaseStore(), StoreMode::Ask);
  EXPECT_EQ(again.ColumnWidths()[0], 255);
  EXPECT_EQ(again.ColumnWidths()[1], 2);
  EXPECT_EQ(again.Names(), "Maker One Set,,Pad,,");
  // A Set and a Library are said to be that; a flat list called .pvd is a Collection.
  ZKGrpDoc set;
  FillSmallSet(&set);
  std::vector<std::uint8_t> setBytes;
  ASSERT_TRUE(set.MakePart(&setBytes).ok());
  EXPECT_NE(again.Take(setBytes, "x.pvs").text.find("is a Set"), std::string::npos);
  EXPECT_TRUE(again.Take(setBytes, "x.PVD").ok());
  EXPECT_EQ(again.GetDataFileCount(), 4u);
  // Cut or changed anywhere: what is whole, or a sentence; and what was read is written so that it reads again.
  std::mt19937 random(7);
  for (int i = 0; i < 300; ++i) {
    std::vector<std::uint8_t> damaged = bytes;
    if (i % 2) damaged.resize(random() % bytes.size());
    for (unsigned n = random() % 4; n > 0 && !damaged.empty(); --n)
      damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
    OpenCollection one, two;
    if (Result read = one.Take(damaged); !read.ok()) {
      EXPECT_NE(read.text, "");
      continue;
    }
    one.Names();
    ASSERT_TRUE(two.Take(one.Written()).ok());
    EXPECT_EQ(two.Written(), one.Written());
    EXPECT_EQ(two.GetDataFileCount(), one.GetDataFileCount());
  }
}

TEST(Collection, WhatComesInIsStoredAsTheModeSays) {
  OpenCollection collection;
  const DataFilePtr first = Named(2, "Pad"), same = Named(2, "Pad"), other = Named(0, "Pad");
  same->body[11] = 0x77;
  EXPECT_EQ(collection.Store(*first).kind, CollectionAddOutcome::Kind::Added);
  EXPECT_EQ(collection.Store(*same).kind, CollectionAddOutcome::Kind::Added);
  const EntryId twin = collection.Order()[0];
  EXPECT_GT(collection.Facts(twin).time, 0);
  EXPECT_EQ(collection.SetDBaseStore(3).text, "Invalid Parameter for DBaseStore Parameter");
  ASSERT_TRUE(collection.SetDBaseStore(1).ok());
  const std::vector<std::uint8_t> before = collection.Item(twin).bytes;
  EXPECT_EQ(collection.Store(*same).kind, CollectionAddOutcome::Kind::Overwritten);
  EXPECT_NE(collection.Item(twin).bytes, before);
  EXPECT_EQ(collection.GetDataFileCount(), 2u);
  ASSERT_TRUE(collection.Undo().ok());
  EXPECT_EQ(collection.Item(twin).bytes, before);
  // The user is asked about data of the same type only.
  ASSERT_TRUE(collection.SetDBaseStore(2).ok());
  std::string asked;
  StoreAnswer answer = StoreAnswer::Nothing;
  CollectionAddOptions options;
  options.ask = [&](const std::string& question) {
    asked = question;
    return answer;
  };
  EXPECT_EQ(collection.Store(*other, options).kind, CollectionAddOutcome::Kind::Added);
  EXPECT_EQ(asked, "");
  EXPECT_EQ(collection.Store(*same, options).kind, CollectionAddOutcome::Kind::Refused);
  EXPECT_EQ(asked,
            "A Type \xC3\xA4"
            "2 named Pad already exists in your collection.\nHow should the program proceed?\n\n"
            "Click YES to overwrite.\nClick NO add as numbered name\nClick CANCEL to not store.");
  answer = StoreAnswer::AddNumbered;
  options.uniqueNames = true;
  EXPECT_EQ(collection.Store(*same, options).name, "Pad 1");
  answer = StoreAnswer::Overwrite;
  EXPECT_EQ(collection.Store(*same, options).entry, twin);
  ASSERT_TRUE(collection.SetPatchesOnly(true).ok());
  EXPECT_EQ(collection.Store(*SmallRecord(1)).note, "Banks can't be added to this Collection");
}

TEST(Collection, NumbersStandBehindNamesWhereThereIsRoom) {
  const struct {
    const char* name;
    std::size_t length;
    std::vector<std::string> taken;
    const char* made;
  } cases[] = {
      {"Bass", 10, {}, "Bass"},
      {"Bass", 10, {"Bass"}, "Bass 1"},
      {"Bass", 10, {"Bass", "Bass 1"}, "Bass 2"},
      {"Bassdrum", 8, {"Bassdrum"}, "Bassdru1"},
      {"B", 1, {"B", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, "B"},
      {"", 0, {""}, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(NumberedName(c.name, c.length,
                           [&](const std::string& name) {
                             return std::find(c.taken.begin(), c.taken.end(), name) != c.taken.end();
                           }),
              c.made);
  const DataFilePtr data = SmallRecord(1);
  SetFileName(data.get(), "NEW");
  AutoMakeFileName(data.get());
  EXPECT_STREQ(data->fileName, "Type1");
}

// The exchanges as they were always made: what has no file name stays where it is as far as nothing smaller comes.
TEST(Collection, SortsByExchange) {
  OpenCollection collection;
  for (const char* name : {"b", "", "c", "a"}) {
    const DataFilePtr data = SmallRecord(1);
    SetFileName(data.get(), name);
    collection.Store(*data);
  }
  collection.StoreSet();
  const std::vector<EntryId> before = collection.Order();
  ASSERT_TRUE(collection.DBaseSort(CollectionSort::FileName).ok());
  EXPECT_EQ(collection.Names(), "a,,b,c,Maker One Set,");
  ASSERT_TRUE(collection.Undo().ok());
  EXPECT_EQ(collection.Order(), before);
  ASSERT_TRUE(collection.DBaseSort(CollectionSort::Type).ok());
  EXPECT_TRUE(collection.Facts(collection.Order().front()).isSet);
  ASSERT_TRUE(collection.ShiftInList(collection.Order().front(), false).ok());
  EXPECT_TRUE(collection.Facts(collection.Order()[1]).isSet);
  EXPECT_FALSE(collection.ShiftInList(collection.Order().front(), true).ok());
}

TEST(Collection, EverythingIsUndone) {
  OpenCollection collection;
  collection.Fill();
  const std::vector<std::uint8_t> before = collection.Written();
  const std::size_t position = collection.history().Position();
  std::mt19937 random(11);
  for (int i = 0; i < 400; ++i) {
    const auto& order = collection.Order();
    const EntryId any = order.empty() ? 1 : order[random() % order.size()];
    switch (random() % 8) {
      case 0:
        collection.Store(*Named(2, "n" + std::to_string(i)));
        break;
      case 1:
        collection.RemoveDataList({&any, 1});
        break;
      case 2:
        collection.SetText(any, static_cast<CollectionColumn>(random() % kCollectionColumns), "t" + std::to_string(i));
        break;
      case 3:
        collection.DBaseSort(static_cast<CollectionSort>(random() % 5));
        break;
      case 4:
        collection.ShiftInList(any, random() % 2);
        break;
      case 5:
        collection.Undo();
        break;
      case 6: {
        ZKGrpDoc set;
        ASSERT_TRUE(collection.Open(any, &set).ok());
        set.SetActive(0, random() % 2);
        collection.TakeBack(any, set, "Activate");
        break;
      }
      default:
        collection.StoreSet();
    }
  }
  while (collection.history().Position() > position) ASSERT_TRUE(collection.Undo().ok());
  EXPECT_EQ(collection.Written(), before);
  // Texts are those of the entry again.
  EXPECT_EQ(collection.Names(), "Maker One Set,,Pad,,");
}

class CollectionFiles : public FilesTest {};

TEST_F(CollectionFiles, SourcesAndLinks) {
  const std::string data = Path("bank.dat"),
                    set = Path(
                        "\xC3\x9C"
                        "bung.pvs"),
                    raw = Path("dump.SYX"), own = Path("mine.pvc");
  std::vector<std::uint8_t> bytes;
  ASSERT_TRUE(DiskWriteForm(&bytes, *SmallRecord(1)));
  ASSERT_TRUE(SaveDiskFile(data, bytes).ok());
  ZKGrpDoc small;
  FillSmallSet(&small);
  ASSERT_TRUE(small.Save(set).ok());
  ASSERT_TRUE(SaveDiskFile(raw, std::vector<std::uint8_t>{0xF0, 0x7D, 1, 0xF7}).ok());

  ZKDBaseDoc collection;
  CollectionItem link;
  EXPECT_NE(MakeLinkItem(set, &link).text.find("Only Bank and Patches can be linked"), std::string::npos);
  EXPECT_FALSE(MakeLinkItem(raw, &link).ok());
  ASSERT_TRUE(MakeLinkItem(data, &link).ok());
  EXPECT_EQ(std::string(link.bytes.begin(), link.bytes.end()).find("BODY"), std::string::npos);
  const EntryId linked = collection.Add(std::move(link));
  EXPECT_TRUE(collection.Facts(linked).state.linked);
  EXPECT_EQ(collection.Facts(linked).size, 42u);
  EXPECT_NE(collection.SetText(linked, CollectionColumn::Comment, "x").text.find("resolve"), std::string::npos);
  ASSERT_TRUE(collection.Save(own).ok());

  // Folder and all are somewhere else; the file lies beside the Collection.
  const std::string folder = Path("moved/");
  std::filesystem::create_directory(folder);
  for (const char* name : {"bank.dat", "mine.pvc"}) std::filesystem::rename(Path(name), folder + name);
  ZKDBaseDoc moved;
  ASSERT_TRUE(moved.Load(folder + "mine.pvc").ok());
  EXPECT_EQ(moved.Facts(1).linkProblem, "");
  std::vector<EntryId> left;
  std::filesystem::rename(folder + "bank.dat", folder + "away.dat");
  ASSERT_TRUE(moved.Load(folder + "mine.pvc").ok());
  EXPECT_NE(moved.Facts(1).linkProblem, "");
  ASSERT_TRUE(moved.ResolveLinks(moved.Order(), &left).ok());
  EXPECT_EQ(left.size(), 1u);
  EXPECT_TRUE(moved.Facts(1).state.linked);
  std::filesystem::rename(folder + "away.dat", folder + "bank.dat");
  ASSERT_TRUE(moved.Load(folder + "mine.pvc").ok());
  left.clear();
  ASSERT_TRUE(moved.ResolveLinks(moved.Order(), &left).ok());
  EXPECT_FALSE(moved.Facts(1).state.linked);
  DataFilePtr taken;
  ASSERT_TRUE(moved.TakeData(1, &taken).ok());
  const DataFilePtr first = SmallRecord(1);
  EXPECT_TRUE(std::equal(taken->body, taken->body + 42, first->body));
}

TEST(Collection, ShowsWhatAnEntryIs) {
  OpenCollection collection;
  const DataFilePtr data = Named(2, "Pad");
  data->synth->hasSysExChannel = 1;
  data->synth->sysExChannel = 4;
  for (int i = 0; i < 32; ++i) CopyText(data->xtra->categories[i], "A long category, number " + std::to_string(i));
  const EntryId entry = collection.Store(*data).entry;
  const CollectionFacts& facts = collection.Facts(entry);
  EXPECT_EQ(facts.Text(CollectionColumn::Channel), "5");
  EXPECT_EQ(facts.Text(CollectionColumn::Size), "12");
  const std::string& words = facts.Text(CollectionColumn::Keywords);
  EXPECT_TRUE(words.ends_with("...") && words.size() > 512 && words.size() < 560) << words;
  EXPECT_EQ(CollectionDate(0), "");
  EXPECT_EQ(CollectionDate(86400 * 365).substr(3, 5), " Jan ");
  const auto pages = CollectionListing(collection, 0);
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(pages[0].size(), 9u);
  std::string text;
  EXPECT_TRUE(EntriesAsText(collection, collection.Order(), &text).ok());
  EXPECT_FALSE(EntriesAsText(collection, {}, &text).ok());
  // A bank is called by its file.
  const EntryId bank = collection.Store(*SmallRecord(1)).entry;
  const std::string wanted =
      "\xC3\x9C"
      "bung.dat";
  ASSERT_TRUE(collection.SetText(bank, CollectionColumn::Name, wanted).ok());
  EXPECT_EQ(collection.Facts(bank).Text(CollectionColumn::Name), wanted);
  ASSERT_TRUE(collection.SetText(bank, CollectionColumn::Comment, wanted).ok());
  EXPECT_EQ(collection.Facts(bank).Text(CollectionColumn::Comment), wanted);
  EXPECT_FALSE(collection.SetText(bank, CollectionColumn::Size, "1").ok());
}

}  // namespace tonalith
