// Libraries: files byte for byte, damaged files, what is added and what not, commands and their undo, searches.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "data/container.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "store/library/key_expression.h"
#include "store/library/keyword_file.h"
#include "store/library/library_add.h"
#include "store/library/library_ask.h"
#include "store/library/library_automation.h"
#include "store/library/library_document.h"
#include "store/library/library_listing.h"
#include "store/library/library_search.h"
#include "store/library/library_sort.h"
#include "store/library/library_view.h"
#include "store/names/disk_midi.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kBytes = 20, kNameAt = 10, kNameLength = 10;

DataFilePtr NewRecord(bool bank, bool separate, std::uint32_t voices) {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& s = *driver->synth;
  std::snprintf(s.shortName, sizeof s.shortName, "Maker One");
  std::snprintf(s.typeName, sizeof s.typeName, bank ? "Bank" : "Voice");
  std::snprintf(s.typeKey, sizeof s.typeKey, "ONE");
  s.manufacturerId = 0x7D;
  s.driverId = bank ? 200 : 201;
  s.childId = bank ? 201 : 0;
  s.isBank = bank ? 1 : 0;
  s.numVoices = voices;
  s.voiceSize = s.voiceBytes = kBytes;
  s.headerSize = 4;
  s.fileSize = s.headerSize + voices * kBytes;
  s.namesSeparate = separate ? 1 : 0;
  s.nameLength = kNameLength;
  s.nameOffset = kNameAt;
  s.sysExChannelMax = 15;
  DataFilePtr data(AllocDataNew(driver.get()));
  AddDataFileComponents(data.get(), 0);
  return data;
}

DataFilePtr Patch(const std::string& name, std::uint8_t sound, bool separate = false) {
  DataFilePtr data = NewRecord(false, separate, 1);
  for (std::uint32_t i = 0; i < kNameAt; ++i) data->body[4 + i] = sound;
  SetPatchName(data.get(), 0, name);
  return data;
}

// Its bytes, without a disk.
class OpenLibrary : public ZKLibDoc {
 public:
  explicit OpenLibrary(bool separate = false) { SetDataFile(NewRecord(false, separate, 1)); }
  std::vector<std::uint8_t> Written() {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(WriteBytes({}, &bytes).ok());
    return bytes;
  }
  Result Take(std::span<const std::uint8_t> bytes) { return ReadBytes(bytes, "x.pvl"); }
  std::string Names() const {
    std::string text;
    for (const EntryId entry : Order()) text += Text(entry, LibraryColumn::Name) + ",";
    return text;
  }
  void Fill(const std::vector<std::string>& names) {
    std::uint8_t sound = 0;
    for (const std::string& name : names) Add(Patch(Utf8ToLatin1(name), sound++));
  }
};

}  // namespace

TEST(Library, FilesComeBackByteForByteOrAreRefused) {
  OpenLibrary library;
  library.Fill({"Brass",
                "Gl\xC3\xB6"
                "ckchen",
                "Pad"});
  ASSERT_TRUE(library.SetText(library.Order(), LibraryColumn::Keyword3, "Bell", "k").ok());
  ASSERT_TRUE(library.SetText(library.Order(), LibraryColumn::LongName, "a long name", "k").ok());
  ASSERT_TRUE(library.SetHidden(std::vector<EntryId>{2}, true).ok());
  const std::vector<std::uint8_t> bytes = library.Written();
  OpenLibrary again;
  ASSERT_TRUE(again.Take(bytes).ok());
  EXPECT_EQ(again.Written(), bytes);
  EXPECT_EQ(again.Names(), library.Names());
  EXPECT_EQ(again.HiddenCount(), 1u);
  EXPECT_EQ(again.Title(), "Maker One Voice Library");
  // Cut or changed anywhere: what is whole, or a sentence; and what was read is written so that it reads again.
  std::mt19937 random(7);
  for (int i = 0; i < 400; ++i) {
    std::vector<std::uint8_t> damaged = bytes;
    if (i % 2) damaged.resize(random() % bytes.size());
    for (unsigned n = random() % 4; n > 0 && !damaged.empty(); --n)
      damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
    OpenLibrary one, two;
    if (Result read = one.Take(damaged); !read.ok()) {
      EXPECT_NE(read.text, "");
      continue;
    }
    one.FilterText(1);
    ASSERT_TRUE(two.Take(one.Written()).ok());
    EXPECT_EQ(two.Written(), one.Written());
  }
}

TEST(Library, AddModesDecide) {
  const struct {
    LibraryAddMode mode;
    LibraryAnswer answer;
    const char* names;  // behind the first two
    std::size_t added;
  } cases[] = {
      {LibraryAddMode::Everything, LibraryAnswer::Skip, "Bass,Bass,bass,New,", 4},
      {LibraryAddMode::UniqueSound, LibraryAnswer::Skip, "Bass,bass,New,", 3},
      {LibraryAddMode::UniqueName, LibraryAnswer::Skip, "bass,New,", 2},
      {LibraryAddMode::AskIdentical, LibraryAnswer::Skip, "bass,New,", 2},
      {LibraryAddMode::AskName, LibraryAnswer::AddUnchanged, "Bass,Bass,bass,New,", 4},
      {LibraryAddMode::AskName, LibraryAnswer::AddUnique, "Bass     1,Bass     2,bass,New,", 4},
      {LibraryAddMode::AskName, LibraryAnswer::AddEdited, "Edited,Edited,bass,New,", 4},
      {LibraryAddMode::AskIdentical, LibraryAnswer::CancelAll, "", 0},
  };
  for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
    const auto& c = cases[i / 2];
    const bool forAll = i % 2 != 0;
    int asked = 0;
    OpenLibrary library;
    library.Fill({"Bass", "Same"});
    const std::string before = library.Names();
    LibraryAddOptions options;
    options.mode = c.mode;
    options.ask = [&](const LibraryQuestion& question) {
      EXPECT_FALSE(forAll && asked++ > 0) << "answered for all";
      EXPECT_NE(question.text.find("named \"Bass\" already exists in Maker One Voice!"), std::string::npos);
      return LibraryDecision{c.answer, "Edited", forAll};
    };
    LibraryAdder adder(library, options);
    const DataFilePtr patches[] = {Patch("Bass", 0), Patch("Bass", 9), Patch("bass", 8), Patch("          ", 7),
                                   Patch("New", 6)};
    bool goesOn = true;
    for (const DataFilePtr& patch : patches) goesOn = goesOn && adder.LibAddDataFileTest(*patch);
    EXPECT_EQ(adder.AddedCount(), c.added) << static_cast<int>(c.mode);
    EXPECT_EQ(adder.unnamed(), goesOn ? 1u : 0u);
    adder.Finish();
    EXPECT_EQ(library.Names(), before + c.names) << static_cast<int>(c.mode);
    while (library.CanUndo()) ASSERT_TRUE(library.Undo().ok());
    EXPECT_EQ(library.Names(), "");
  }
}

TEST(Library, NamesAndTextsGoOut) {
  OpenLibrary library;
  library.Fill({"Bass", "", "Pad"});
  const EntryId first[] = {library.Order().front()};
  ASSERT_TRUE(library.SetText(first, LibraryColumn::Comment, "so\u00df & low", "Change").ok());
  ASSERT_TRUE(library.SetText(first, LibraryColumn::Author, "Me", "Change").ok());
  for (const ExportKind& kind : ExportKinds()) {
    ExportSource source;
    source.oneList = true;
    for (const EntryId entry : library.Order()) source.data.push_back(library.Data(entry));
    std::string bytes;
    const Result result = RenderExport(kind.format, &source, &bytes);
    EXPECT_EQ(result.ok(), kind.forPeople) << kind.key;
    EXPECT_EQ(result.text.empty(), kind.forPeople) << kind.key;
    if (kind.forPeople) {
      EXPECT_NE(bytes.find("Bass"), std::string::npos) << kind.key;
    }
    if (kind.format == ExportFormat::Text) {
      EXPECT_EQ(bytes, "1\tBass\n2\t2\n3\tPad\n");
    }
    if (kind.format == ExportFormat::TextProperties) {
      EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), 4) << "one head\n" << bytes;
      EXPECT_NE(bytes.find("\n1\tBass\tso\u00df & low\t\tMe\t"), std::string::npos) << bytes;
    }
  }
  // On paper: a head, columns counted in characters, the next page two lines down.
  std::vector<std::string> names(70, "Same");
  library.Fill(names);
  const auto pages = LibPrint(library, library.Order(), {"Port \u00e4", "Out"}, 66);
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(pages[0].size(), 63u);
  EXPECT_EQ(pages[0][0], "LIBRARY LISTING");
  EXPECT_EQ(pages[0][7], "Port In: Port \u00e4");
  EXPECT_EQ(pages[0][13], "Bass            so\u00df & low                 Me");
  EXPECT_EQ(pages[0][14].substr(0, 15), "<unnamed>      ");
  EXPECT_EQ(pages[1][0] + pages[1][1], "");
  EXPECT_EQ(pages[1].size(), 2 + 13 + 73 - 63u);
}

TEST(Library, TheQuestionTakesEveryAnswer) {
  const struct {
    std::vector<std::string> said;
    LibraryAnswer answer;
    bool forAll;
  } cases[] = {
      {{"text Add as \"Bass 1\""}, LibraryAnswer::AddUnique, false},
      {{"text Add under another name", "text Mine"}, LibraryAnswer::AddEdited, false},
      {{"text Add under another name", "cancel"}, LibraryAnswer::Skip, false},
      {{"text Add unchanged"}, LibraryAnswer::AddUnchanged, false},
      {{"text Skip this patch"}, LibraryAnswer::Skip, false},
      {{"text Cancel, and add none of those that follow"}, LibraryAnswer::CancelAll, false},
      {{"text Add this and all like it under new names"}, LibraryAnswer::AddUnique, true},
      {{"text Add this and all like it unchanged"}, LibraryAnswer::AddUnchanged, true},
      {{"text Skip this and all like it"}, LibraryAnswer::Skip, true},
      {{"cancel"}, LibraryAnswer::CancelAll, false},
  };
  for (const auto& c : cases) {
    ScriptedPrompts prompts(c.said);
    const LibraryDecision decision = AskLibraryQuestion(prompts, {"There is one", "Bass", "Bass 1"});
    EXPECT_EQ(decision.answer, c.answer) << c.said.front();
    EXPECT_EQ(decision.forAll, c.forAll) << c.said.front();
    EXPECT_EQ(decision.name, c.answer == LibraryAnswer::AddEdited ? "Mine" : "");
  }
}

TEST(Library, BanksAreTakenApart) {
  DataFilePtr bank = NewRecord(true, false, 64);
  for (std::uint32_t i = 0; i < 64; ++i) {
    for (std::uint32_t b = 0; b < kNameAt; ++b) bank->body[4 + i * kBytes + b] = static_cast<std::uint8_t>(i);
    SetPatchName(bank.get(), static_cast<int>(i), "Patch " + std::to_string(i));
  }
  std::copy_n(bank->body + 4, kBytes, bank->body + 4 + 40 * kBytes);  // 40 is as 0
  for (std::uint32_t i = 10; i < 20; ++i) SetMapBit(bank->emptyMap, bank->emptyMapSize, i, true);
  for (const LibraryAddMode mode : {LibraryAddMode::Everything, LibraryAddMode::UniqueSound}) {
    OpenLibrary library;
    LibraryAddOptions options;
    options.mode = mode;
    LibraryAdder adder(library, options);
    EXPECT_TRUE(adder.AddData(*bank, "a very long bank name.syx"));
    adder.Finish();
    EXPECT_EQ(library.GetDataFileCount(), mode == LibraryAddMode::Everything ? 54u : 53u);
    EXPECT_EQ(library.Text(11, LibraryColumn::Name), "Patch 20");
    EXPECT_EQ(library.Text(11, LibraryColumn::Keyword7), "0020");
    EXPECT_EQ(library.Text(11, LibraryColumn::Keyword8), "a very long ban");
    EXPECT_EQ(library.history().Count(), 1u);
  }
  OpenLibrary other;
  bank->synth->manufacturerId = 1;
  LibraryAdder adder(other, {});
  adder.AddData(*bank, "x");
  ASSERT_EQ(adder.outcomes().size(), 1u);
  EXPECT_EQ(adder.outcomes()[0].note, "Bank and Patch SysEx are not from the same Company!");
}

TEST(Library, CommandsAreUndone) {
  for (const bool separate : {false, true}) {
    OpenLibrary library(separate);
    for (int i = 0; i < 6; ++i) library.Add(Patch("N" + std::to_string(i), static_cast<std::uint8_t>(i), separate));
    ASSERT_TRUE(library.SetText(std::vector<EntryId>{2, 3}, LibraryColumn::Keyword2, "Two", "k").ok());
    ASSERT_TRUE(library.SetText(std::vector<EntryId>{3}, LibraryColumn::Keyword5, "two", "k").ok());
    library.history().Clear();
    std::vector<std::vector<std::uint8_t>> states = {library.Written()};
    const std::vector<EntryId> all = library.Order(), some = {2, 3, 5};
    const std::function<Result()> commands[] = {
        [&] { return library.RenameLibrary("A long base name"); },
        [&] { return library.Number(some, 98, LibraryColumn::Keyword8); },
        [&] { return library.MergeKeywords(all); },
        [&] { return library.MoveKeywords(some, 0, 6); },
        [&] { return library.SetHidden(some, true); },
        [&] { return doLibSort(library, *LibrarySortKeyOf(0x100)); },
        [&] {
          return library.RemoveDataList(std::vector<EntryId>{1, 6});
        },
        [&] { return library.DeleteHidden(); },
        [&] { return library.ClearAll(); },
    };
    for (const auto& command : commands) {
      ASSERT_TRUE(command().ok());
      states.push_back(library.Written());
      EXPECT_NE(states.back(), states[states.size() - 2]) << states.size();
    }
    for (std::size_t i = states.size() - 1; i-- > 0;) {
      ASSERT_TRUE(library.Undo().ok());
      EXPECT_EQ(library.Written(), states[i]) << i;
    }
    for (std::size_t i = 1; i < states.size(); ++i) {
      ASSERT_TRUE(library.Redo().ok());
      EXPECT_EQ(library.Written(), states[i]) << i;
    }
    library.GoTo(3);
    EXPECT_EQ(library.Text(5, LibraryColumn::Name), separate ? "A long base name 005" : "A long 005");
    EXPECT_EQ(library.Text(4, LibraryColumn::Keyword1), "Two");
    EXPECT_EQ(library.Text(4, LibraryColumn::Keyword2), "00098");
  }
}

TEST(Library, SortsAndFilters) {
  OpenLibrary library;
  library.Fill({"b", " A", "", "c\xC3\xA9", "B"});
  SetEntryTime(const_cast<DataFile*>(library.Data(2)), 100);
  SetEntryTime(const_cast<DataFile*>(library.Data(4)), 50);
  const struct {
    const char* key;
    std::vector<EntryId> order;
  } cases[] = {
      {"name", {3, 2, 1, 5, 4}},  {"-name", {4, 1, 5, 2, 3}}, {"date", {1, 3, 5, 4, 2}},
      {"-date", {2, 4, 1, 3, 5}}, {"keys", {1, 2, 3, 4, 5}},  {"LongName", {1, 2, 3, 4, 5}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(SortedEntries(library, library.Order(), *LibrarySortKeyNamed(c.key)), c.order) << c.key;
  EXPECT_FALSE(LibrarySortKeyNamed("frob"));
  LibraryView view(library);
  view.SelectAll();
  library.SetText(std::vector<EntryId>{5}, LibraryColumn::Song, "Caf\xC3\xA9 Noir", "t");
  view.SetFilter("noir cafe");
  EXPECT_EQ(view.Listed(), (std::vector<EntryId>{5}));
  EXPECT_EQ(view.SelectedCount(), 1u);
  view.SetFilter("\xC3\x89");
  EXPECT_EQ(view.Listed(), (std::vector<EntryId>{4, 5}));
  view.SetFilter("\xE2\x82\xAC");
  EXPECT_TRUE(view.Listed().empty());
}

TEST(Library, SearchesFindWhatTheyShould) {
  EXPECT_EQ(AllowedDifferences(100, 90), 10u);
  EXPECT_EQ(AllowedDifferences(100, 100), 0u);
  EXPECT_EQ(AllowedDifferences(100, 120), 0u);
  EXPECT_EQ(AllowedDifferences(10'000'000, 0), 655u);
  OpenLibrary library;
  library.Fill({"One", "Two", "Three", "Four", "Five"});
  const auto poke = [&](EntryId entry, std::uint32_t at, std::uint8_t value) {
    const_cast<DataFile*>(library.Data(entry))->body[4 + at] = value;
  };
  for (std::uint32_t at = 0; at < kNameAt; ++at) poke(4, at, 0);  // as One, but for its name
  poke(3, 0, 1);
  for (std::uint32_t at = 1; at < kNameAt; ++at) poke(3, at, 0);  // one byte
  library.SetText(std::vector<EntryId>{1, 2}, LibraryColumn::Keyword4, "Bass", "k");
  library.SetText(std::vector<EntryId>{2}, LibraryColumn::Keyword1, "Slow Attack", "k");
  library.SetText(std::vector<EntryId>{5}, LibraryColumn::Band, "The Five", "k");
  const struct {
    std::vector<LibraryArgument> choose;
    std::vector<EntryId> found;
  } cases[] = {
      {{"Duplicates"}, {4}},
      {{"Duplicates", "IncludeNames"}, {}},
      {{"SimilarSounds", std::int64_t{95}}, {3, 4}},
      {{"SimilarSounds", std::int64_t{120}}, {4}},
      {{"Duplicates", "Invert"}, {1, 2, 3, 5}},
      {{"Duplicates", "UseFirstSelected"}, {1}},
      {{"Keys", "bass"}, {1, 2}},
      {{"Keys", "bass", "AndNot", "slow attack"}, {1}},
      {{"Keys", "Bass", "LogicAnd", "SoundsWithName", "TW"}, {2}},
      {{"Keys", "Bass", "LogicOr", "SoundsWithName", "fiv"}, {1, 2, 5}},
      {{"Tags", "five"}, {5}},
      {{"ByteEqual", std::int64_t{0}, std::int64_t{1}}, {2, 3}},
      {{"ByteEqual", std::int64_t{1}}, {1, 3, 4}},
  };
  for (const auto& c : cases) {
    LibraryView view(library);
    LibraryAutomation automation(library, view);
    ASSERT_EQ(automation.CQAutomation("lselect", {std::int64_t{4}}), 0);
    EXPECT_EQ(automation.CQAutomation("Choose", c.choose), 0) << automation.problem();
    EXPECT_EQ(automation.found().found, c.found) << std::get<std::string>(c.choose[0]) << c.choose.size();
    if (!c.found.empty()) {
      EXPECT_EQ(view.Listed(), c.found);
    }
  }
  LibraryView view(library);
  LibraryAutomation automation(library, view);
  EXPECT_NE(automation.CQAutomation("Choose", {"IncludeNames"}), 0);
  EXPECT_EQ(automation.problem(), kNoCriteria);
  EXPECT_NE(automation.CQAutomation("Choose", {"Keys", "Bass ("}), 0);
  ASSERT_EQ(automation.CQAutomation("Choose", {"Duplicates", "AppendDuplicateName"}), 0);
  EXPECT_EQ(library.Text(1, LibraryColumn::Comment), ", Dup of One");
  EXPECT_NE(DuplicateReport(library, automation.found(), 86400).find("\nFour - One : 0 different bytes\n"),
            std::string::npos);
}

TEST(Library, KeyExpressionsAreTakenFromLeftToRight) {
  const std::vector<std::string> keys = {"Bass", "Long Release"};
  const struct {
    const char* text;
    int value;  // -1: refused
  } cases[] = {
      {"", 1},
      {"bass", 1},
      {"Pad", 0},
      {"Pad Or Bass And 'long release'", 1},
      {"Bass Or Pad And Pad", 0},
      {"Bass Or (Pad And Pad)", 1},
      {"Bass XOr \"Long Release\"", 0},
      {"Bass AndNot Pad", 1},
      {"Bass Pad", -1},
      {"Bass And", -1},
      {"(Bass", -1},
      {"Bass)", -1},
      {"'Bass", -1},
      {"And", -1},
  };
  for (const auto& c : cases) {
    KeyExpression expression;
    const Result parsed = KeyExpression::Parse(c.text, &expression);
    EXPECT_EQ(parsed.ok(), c.value >= 0) << c.text;
    if (c.value >= 0) {
      EXPECT_EQ(expression.EvaluateKeys(keys), c.value == 1) << c.text;
    }
  }
  KeyExpression deep;
  EXPECT_FALSE(KeyExpression::Parse(std::string(100000, '('), &deep).ok());
}

TEST(Library, AutomationSetsWhatItSays) {
  OpenLibrary library;
  library.Fill({"One ", "one", "Two"});
  LibraryView view(library);
  LibraryAutomation automation(library, view);
  const auto run = [&](const char* command, const std::vector<LibraryArgument>& arguments) {
    return automation.CQAutomation(command, arguments);
  };
  EXPECT_EQ(run("MidiCh", {std::int64_t{0}}), 0);
  EXPECT_EQ(library.driver()->synth->midiChannel, 0);
  EXPECT_EQ(run("lMidiCh", {std::int64_t{20}}), 0);
  EXPECT_EQ(library.driver()->synth->midiChannel, 15);
  EXPECT_EQ(run("CommCh", {std::int64_t{99}}), 0);
  EXPECT_EQ(library.driver()->synth->sysExChannel, 15);
  EXPECT_EQ(run("PortIn", {std::int64_t{0}}), 0);
  EXPECT_EQ(run("PortIn", {"x"}), -3);
  EXPECT_EQ(run("Select", {"ONE"}), 0);
  EXPECT_EQ(view.SelectedCount(), 2u);
  EXPECT_EQ(run("XSelect", {std::int64_t{3}, std::int64_t{9}}), 0);
  EXPECT_EQ(run("GetSelect", {}), 0);
  EXPECT_EQ(automation.results().size(), 3u);
  EXPECT_EQ(run("Name", {"Uno", "Due"}), 0);
  EXPECT_EQ(library.Names(), "Uno,Due,Two,");
  EXPECT_EQ(run("Keyword", {std::int64_t{9}, "x"}), -3);
  EXPECT_EQ(run("Tag", {std::int64_t{6}, "long"}), 0);
  EXPECT_EQ(library.Text(3, LibraryColumn::LongName), "long");
  EXPECT_EQ(run("Cut", {}), 0);
  EXPECT_EQ(run("Sort", {}), 0) << "nothing is there";
  EXPECT_EQ(run("Paste", {}), 0);
  EXPECT_EQ(run("Sort", {"Name"}), 0);
  EXPECT_EQ(library.Names(), "Due,Two,Uno,");
  EXPECT_EQ(run("GetCount", {}), 0);
  EXPECT_EQ(std::get<std::int64_t>(automation.results().at(0)), 3);
  EXPECT_EQ(run("List", {}), -1);
  EXPECT_EQ(run("Morph", {}), -1);
}

TEST(Library, NamesGiveKeywords) {
  const KeywordFile keywords(TONALITH_SOURCE_DIR "/resources/ZKKeys.ini");
  DataFilePtr patch = Patch("WARM STRINGS 2", 1);
  keywords.ZKLibAnalyseName(patch.get(), "WARM STRINGS 2");
  EXPECT_EQ(EntryText(*patch, LibraryColumn::Keyword1), "Strings");
  EXPECT_EQ(EntryText(*patch, LibraryColumn::Keyword2), "Warm");
  EXPECT_EQ(AddKeyToDataFile(patch.get(), "strings"), 0);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(AddKeyToDataFile(patch.get(), "Key" + std::to_string(i)), i < 6 ? 1 : 0);
}

// As many as users have.
TEST(Library, TwentyThousandEntries) {
  OpenLibrary library;
  std::mt19937 random(3);
  library.ChangeTogether("Fill", [&] {
    const DataFilePtr patch = Patch("x", 1);
    for (int i = 0; i < 20000; ++i) {
      SetPatchName(patch.get(), 0, "P" + std::to_string(random()));
      library.Add(DataFilePtr(DupForUser(patch.get())));
    }
  });
  const std::vector<std::uint8_t> bytes = library.Written();
  OpenLibrary again;
  ASSERT_TRUE(again.Take(bytes).ok());
  ASSERT_TRUE(doLibSort(again, {}).ok());
  EXPECT_TRUE(std::is_sorted(again.Order().begin(), again.Order().end(),
                             [&](EntryId a, EntryId b) { return again.NameOf(a) < again.NameOf(b); }));
  LibraryView view(again);
  view.SetFilter("p12");
  EXPECT_GT(view.Listed().size(), 0u);
  ASSERT_TRUE(again.Undo().ok());
  EXPECT_EQ(again.Written(), bytes);
}

}  // namespace tonalith
