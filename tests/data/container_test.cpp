#include "data/container.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <vector>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "tests/data/form_builder.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

int Read(const Bytes& bytes, DataFilePtr* df, FormReadOptions options = {}) {
  df->reset(AllocDataFile());
  ContainerReader reader(bytes);
  return reader.DiskReadForm(df->get(), options);
}

Bytes Written(const DataFile& df, WriteBuffers buffers = WriteBuffers::kSkipEmpty) {
  Bytes out;
  EXPECT_TRUE(DiskWriteForm(&out, df, buffers));
  return out;
}

TEST(Container, ResultCodes) {
  DataFilePtr df;
  Chunks good;
  good.Add("SHDR", OnDisk(BankSynth())).Add("BODY", Body());
  EXPECT_EQ(Read({}, &df), 2);
  EXPECT_EQ(Read({'R', 'I', 'F', 'F', 0, 0, 0, 0}, &df), 3);
  EXPECT_EQ(Read({'L', 'I', 'S', 'T', 0, 0, 0, 0}, &df), 4);
  EXPECT_EQ(Read(good.Form("FORM", "ILBM"), &df), 10);
  EXPECT_EQ(Read(good.Form("PROP", "SYNB"), &df), 0);
  FormReadOptions wanted;
  wanted.kind = 1;
  EXPECT_EQ(Read(good.Form(), &df, wanted), 4);
  EXPECT_EQ(Read(Chunks().Form(), &df), 0);
  EXPECT_EQ(Read(Chunks().Add("SHDR", Bytes()).Form(), &df), 2);
  Bytes cut = Chunks().Add("SHDR", OnDisk(BankSynth())).Form();
  cut.resize(cut.size() - 1);
  EXPECT_EQ(Read(cut, &df), 2);
  EXPECT_EQ(df->synth, nullptr);
}

TEST(Container, RepairsOldAndDamagedRecords) {
  Synth s = BankSynth();
  s.editorRect96[0] = 7;
  Bytes xtra(kXtraSize);
  const std::uint16_t window[] = {3000, 20, 5000, 400, 0, 2001};
  for (std::size_t i = 0; i < 6; ++i) {
    xtra[4 + 2 * i] = static_cast<std::uint8_t>(window[i] >> 8);
    xtra[5 + 2 * i] = static_cast<std::uint8_t>(window[i] & 0xFF);
  }
  Chunks file;
  file.Add("SHDR", OnDisk(s, 242)).Add("odd ", Bytes(3, 9)).Add("NAME", std::string("Piano\0\0\0Organ 12", 16));
  file.Add("BODY", Body()).Add("COMM", Bytes()).Add("FIND", std::string("ABCDEFGHIJKLMNOPQRST")).Add("XTRA", xtra);
  file.Add("COMM", std::string("Hello")).Add("XBNK", Bytes{1, 2}).Add("XFIL", std::string(300, 'f'));
  DataFilePtr df;
  ASSERT_EQ(Read(file.Form(), &df), 0);
  EXPECT_EQ(df->synth->sysExChannelMax, 15);
  EXPECT_EQ(+df->synth->voiceBytes, 16u);
  EXPECT_EQ(df->synth->editorRect96[0], 0);
  EXPECT_EQ(df->voiceNamesSize, 66u);
  EXPECT_STREQ(df->voiceNames, "Piano");
  EXPECT_STREQ(df->voiceNames + 33, "Organ 12");
  EXPECT_STREQ(df->comment, "Hello");
  EXPECT_EQ(df->commentSize, 256u);
  EXPECT_STREQ(df->findText, "ABCDEFGHIJKLMNO");
  EXPECT_EQ(df->xtra->windowX, 20);
  EXPECT_EQ(df->xtra->windowWidth, 400);
  EXPECT_EQ(df->xtra->windowHeight, 400);
  EXPECT_EQ(df->xtra->windowExtra, 40);
  EXPECT_EQ(df->refBankNumber, 0x102);
  EXPECT_EQ(std::strlen(df->refFileName), 255u);
  EXPECT_EQ(df->isReference, 1);
}

TEST(Container, KeywordSearchSkipsQuietly) {
  Chunks file;
  file.Add("SHDR", OnDisk(BankSynth())).Add("BODY", Body()).Add("FIND", std::string("Strings"));
  FormReadOptions options;
  DataFilePtr df;
  options.find = "ring";
  EXPECT_EQ(Read(file.Form(), &df, options), 0);
  options.find = "Brass";
  EXPECT_EQ(Read(file.Form(), &df, options), kDiskKeywordAbsent);
}

TEST(Container, LegacyLittleEndianFiles) {
  Bytes old(144);
  std::memcpy(old.data(), "CZ-101", 6);
  std::memcpy(old.data() + 16, "Tone", 4);
  old[44] = 34;   // image size
  old[48] = 2;    // header
  old[52] = 2;    // voices
  old[56] = 16;   // voice size
  old[120] = 99;  // highest patch
  old[140] = 1;   // separate names
  Bytes file{'M', 'R', 'O', 'F', 0, 0, 0, 0, 'K', 'N', 'A', 'B'};
  const auto add = [&file](const char* id, const Bytes& data) {
    file.insert(file.end(), id, id + 4);
    for (int shift = 0; shift < 32; shift += 8) file.push_back(static_cast<std::uint8_t>(data.size() >> shift));
    file.insert(file.end(), data.begin(), data.end());
  };
  add("RDHS", old);
  add("YDOB", Body());
  add("KNBX", {1, 2});
  file[4] = static_cast<std::uint8_t>(file.size() - 8);
  DataFilePtr df;
  ASSERT_EQ(Read(file, &df), 0);
  EXPECT_STREQ(df->synth->shortName, "CZ-101");
  EXPECT_STREQ(df->synth->typeName, "Tone");
  EXPECT_EQ(+df->synth->fileSize, 34u);
  EXPECT_EQ(+df->synth->voiceSize, 16u);
  EXPECT_EQ(df->synth->patchMax, 99);
  EXPECT_EQ(df->synth->namesSeparate, 1);
  EXPECT_EQ(df->synth->sysExChannelMax, 15);
  EXPECT_EQ(df->bodySize, 34u);
  EXPECT_EQ(df->refBankNumber, 0x102);
  FormReadOptions complete;
  complete.mode = 1;
  ASSERT_EQ(Read(file, &df, complete), 0);
  ASSERT_NE(df->xtra, nullptr);
  EXPECT_EQ(df->commentSize, kCommentSize);
}

TEST(Container, CompletingAndWhatIsNotBelieved) {
  FormReadOptions complete;
  complete.mode = 1;
  DataFilePtr df;
  Chunks plain;
  plain.Add("SHDR", OnDisk(BankSynth())).Add("BODY", Bytes(20, 1));
  ASSERT_EQ(Read(plain.Form(), &df, complete), 0);
  EXPECT_EQ(df->bodySize, 34u);
  EXPECT_EQ(df->xtra->isNewRecord, 1);
  EXPECT_EQ(df->emptyMapSize, 2u);
  EXPECT_EQ(df->authorsSize, 512u);
  Synth huge = BankSynth();
  huge.fileSize = kMaxFileSize;
  huge.numVoices = 60000;
  Chunks lie;
  lie.Add("SHDR", OnDisk(huge)).Add("BODY", Body());
  ASSERT_EQ(Read(lie.Form(), &df, complete), 0);
  EXPECT_EQ(df->bodySize, 34u);
  EXPECT_EQ(df->authorsSize, 256u);
  EXPECT_FALSE(LayoutOf(*df).editable);
  EXPECT_EQ(GetPatchName(*df, 0), "");
  EXPECT_EQ(+df->synth->fileSize, kMaxFileSize);
}

DataFilePtr FullRecord() {
  DataFilePtr df(AllocDataFile());
  AllocChunk(&df->synth, &df->synthSize, kSynthSize);
  *df->synth = BankSynth();
  df->synth->voiceBytes = 16;
  df->synth->sysExChannelMax = 15;
  df->synth->namesSeparate = 1;
  ResizeBody(df.get(), 34);
  AddDataFileComponents(df.get(), 0);
  std::strcpy(df->comment, "A comment");
  std::strcpy(df->findText, "Bass");
  std::strcpy(df->voiceNames + 33, "Second");
  std::strcpy(reinterpret_cast<char*>(df->songs) + 256, "Song two");
  df->xtra->driverNumber = 0x01020304;
  df->xtra->table[127] = 5;
  df->tagMap[0] = 2;
  df->chunkModes[2] = 3;
  df->isReference = 1;
  df->refBankNumber = 7;
  std::strcpy(df->refFileName, "odd");
  AllocChunk(&df->transmitScript, &df->transmitScriptSize, 3, "\x01\x02\xFF");
  return df;
}

TEST(Container, WriteReadWriteIsTheSame) {
  DataFilePtr sparse(AllocDataFile());
  AllocChunk(&sparse->synth, &sparse->synthSize, kSynthSize);
  *sparse->synth = BankSynth();
  sparse->synth->voiceBytes = 16;
  ResizeBody(sparse.get(), 34);
  for (const DataFile* original : {FullRecord().release(), sparse.release()}) {
    const DataFilePtr owner(const_cast<DataFile*>(original));
    const Bytes first = Written(*original);
    EXPECT_TRUE(LooksLikeDataFile(first));
    for (const int mode : {0, 1}) {
      FormReadOptions options;
      options.mode = mode;
      DataFilePtr copy;
      ASSERT_EQ(Read(first, &copy, options), 0);
      EXPECT_EQ(Written(*copy), first) << "mode " << mode;
    }
    const Bytes all = Written(*original, WriteBuffers::kAll);
    DataFilePtr copy;
    ASSERT_EQ(Read(all, &copy), 0);
    EXPECT_EQ(Written(*copy, WriteBuffers::kAll), all);
  }
}

TEST(Container, ListsNestAndSkipWhatIsBroken) {
  ListFile library;
  library.type = kListLibrary;
  library.header = FullRecord();
  std::strcpy(library.header->synth->shortName, "Header");
  library.members.push_back({FullRecord(), nullptr});
  library.members.push_back({nullptr, std::make_unique<ListFile>()});
  library.members[1].list->members.push_back({FullRecord(), nullptr});
  library.info = {1, 2, 3, 4};
  Bytes bytes;
  ASSERT_TRUE(WriteList(&bytes, library));
  ListFile again;
  ASSERT_EQ(ReadList(bytes, {}, &again), 0);
  EXPECT_STREQ(again.header->synth->shortName, "Header");
  ASSERT_EQ(again.members.size(), 2u);
  ASSERT_TRUE(again.members[1].list);
  EXPECT_STREQ(again.members[1].list->members[0].data->comment, "A comment");
  EXPECT_EQ(again.info, library.info);
  Bytes second;
  WriteList(&second, again);
  EXPECT_EQ(second, bytes);

  const Bytes form = Written(*FullRecord());
  Chunks mixed;
  mixed.Raw(form).Add("JUNK", Bytes(5, 1)).Raw(Chunks().Add("SHDR", Bytes()).Form()).Raw(form);
  ListFile partly;
  ASSERT_EQ(ReadList(mixed.Form("LIST", "ZSET"), {}, &partly), 0);
  EXPECT_EQ(partly.members.size(), 2u);
  EXPECT_EQ(partly.skippedMembers, 1);
}

// Any change to a file gives a result code or a record, never a fault, and what is read can be written.
TEST(Container, MutatedFilesAreSurvived) {
  ListFile list;
  list.header = FullRecord();
  list.members.push_back({FullRecord(), nullptr});
  list.members.push_back({FullRecord(), nullptr});
  Bytes listBytes;
  ASSERT_TRUE(WriteList(&listBytes, list));
  std::uint32_t state = 12345;
  const auto next = [&state] { return state = state * 1664525 + 1013904223; };
  for (const Bytes& seed : {Written(*FullRecord()), listBytes}) {
    for (int round = 0; round < 3000; ++round) {
      Bytes bytes = seed;
      for (std::uint32_t n = next() % 6; n > 0; --n) {
        const std::size_t at = next() % bytes.size();
        bytes[next() % 3 ? at % 400 : at] = next() % 2 ? 0xFF : static_cast<std::uint8_t>(next() >> 24);
      }
      if (next() % 3 == 0) bytes.resize(next() % bytes.size());
      FormReadOptions options;
      options.mode = round & 1;
      ListFile got;
      ReadListOrForm(bytes, options, &got);
      for (const ListMember& member : got.members) {
        if (!member.data || !member.data->synth) continue;
        for (int patch = 0; patch < 3; ++patch)
          SetPatchName(member.data.get(), patch, GetPatchName(*member.data, patch));
        Written(*member.data);
      }
    }
  }
}

class Recorder : public DiskHooks {
 public:
  bool MainConfigDriver(std::uint16_t) override { return accepts; }
  void ShowMessage(const std::string& title, const std::string& text) override { shown.push_back(title + "|" + text); }
  bool accepts = true;
  std::vector<std::string> shown;
};

class DiskAccessTest : public FilesTest {
 protected:
  std::string Message(const std::string& name, const std::string& why) const {
    return "File Error|Attempting to access the file:\n    " + root_ + "\\" + name +
           "\n\nCaused the following error:\n    " + why;
  }

  Recorder hooks_;
  DiskAccess disk_{&hooks_};
};

TEST_F(DiskAccessTest, SavesReadsAndReports) {
  DataFilePtr df = FullRecord();
  EXPECT_EQ(disk_.DiskWrite(0, root_, "a.dat", df.get()), 1);
  EXPECT_STREQ(df->fileName, "a.dat");
  EXPECT_EQ(disk_.DiskWrite(0, root_ + "/none", "b.dat", df.get()), 0);
  EXPECT_STREQ(df->fileName, "a.dat") << "a failed save changes nothing in the record";
  hooks_.shown.clear();
  DataFilePtr read(AllocDataFile());
  EXPECT_EQ(disk_.DiskRead(0, root_, "a.dat", "", read.get(), 1), 1);
  EXPECT_EQ(Written(*read), Written(*df));
  EXPECT_TRUE(hooks_.shown.empty());
  EXPECT_EQ(disk_.DiskRead(0, root_, "a.dat", "Brass", read.get(), 1), 0);
  EXPECT_TRUE(hooks_.shown.empty());

  hooks_.accepts = false;
  EXPECT_EQ(disk_.DiskRead(0, root_, "a.dat", "", read.get(), 1), 0);
  hooks_.accepts = true;
  EXPECT_EQ(disk_.DiskRead(0, root_, "none.dat", "", read.get(), 1), 0);
  ListFile list;
  list.members.push_back({FullRecord(), nullptr});
  EXPECT_EQ(disk_.DiskDataBaseWrite(root_, "b.PVS", list), 1);
  EXPECT_EQ(disk_.DiskRead(0, root_, "b.PVS", "", read.get(), 1), 0);
  DataFilePtr header;
  std::vector<DataFilePtr> members;
  Bytes info;
  EXPECT_EQ(disk_.DiskLibraryRead(root_, "a.dat", &header, &members, &info, 1), 0);
  DiskSaveFile(Path("x.PVS"), Bytes(20, 1));
  EXPECT_EQ(disk_.DiskDataBaseRead(root_, "x.PVS", &list, 1), 0);
  EXPECT_EQ(
      hooks_.shown,
      (std::vector<std::string>{
          Message("a.dat", "Invalid Data/Driver for this Editor.\n"), Message("none.dat", "File not found.\n"),
          Message("b.PVS",
                  "File looks like a Set, Library, or Collection!\nPlease choose or drop a Bank or Patch File.\n"),
          Message("a.dat", "File looks like a Bank or Patch!\nPlease choose or drop a Library file.\n"),
          Message("x.PVS", "File looks like an unknown type!\nPlease choose or drop a Set or Collection file!\n")}));
}

TEST_F(DiskAccessTest, KindOneIsASingleFileAndReasonsAreSaid) {
  DataFilePtr df = FullRecord(), read(AllocDataFile());
  ASSERT_EQ(disk_.DiskWrite(0, root_, "a.dat", df.get()), 1);
  EXPECT_EQ(disk_.DiskRead(1, root_, "a.dat", "", read.get(), 1), 1);
  EXPECT_EQ(Written(*read), Written(*df));
  EXPECT_EQ(disk_.DiskRead(2, root_, "a.dat", "", read.get(), 1), 0);
  hooks_.shown.clear();
  ASSERT_TRUE(MakeFolders(Path("folder")).ok());
  EXPECT_EQ(disk_.DiskRead(1, root_, "folder", "", read.get(), 1), 0);
  EXPECT_EQ(disk_.DiskWrite(0, root_, "folder", df.get()), 0);
  EXPECT_EQ(disk_.DiskRead(0, root_, "none.dat", "", read.get(), 1), 0);
  EXPECT_EQ(hooks_.shown,
            (std::vector<std::string>{
                Message("folder", "File read error.\n    Cannot open " + Path("folder") + ": it is a folder.\n"),
                Message("folder", "File creation error.\n    Cannot write " + Path("folder") + ": it is a folder.\n"),
                Message("none.dat", "File not found.\n")}));
}

TEST_F(DiskAccessTest, BrokenStudioIsSetAsideSilently) {
  DiskSaveFile(Path("Default.PV9"), Bytes(20, 1));
  disk_.DiskDirectoryFix(root_, true);
  int code = kDiskNotSet;
  disk_.DiskAccessClose(code, root_, "Default.PV9");
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(hooks_.shown.empty());
  EXPECT_TRUE(fs::exists(Path("Default.PV9.broken")));
  disk_.DiskDirectoryFix("", true);
  code = 55;
  disk_.DiskAccessClose(code, "d", "n");
  EXPECT_EQ(code, 17);
}

TEST_F(DiskAccessTest, KeywordsAreRenamedAndNothingElse) {
  DataFilePtr df = FullRecord();
  std::strcpy(df->findText + 16, "Lead");
  disk_.DiskWrite(0, root_, "a.dat", df.get());
  ListFile list;
  list.members.push_back({FullRecord(), nullptr});
  list.info = {9, 9};
  fs::create_directories(Path("sub"));
  disk_.DiskDataBaseWrite(Path("sub"), "b.pvl", list);
  disk_.DiskWrite(0, root_, "c.syx", df.get());
  Bytes before, after;
  DiskLoadFile(Path("a.dat"), &before);
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "BASS", "Low end of things"), 2);
  DiskLoadFile(Path("a.dat"), &after);
  ASSERT_EQ(before.size(), after.size());
  int changed = 0;
  for (std::size_t i = 0; i < before.size(); ++i) changed += before[i] != after[i];
  EXPECT_LE(changed, 16);
  DataFilePtr read;
  ASSERT_EQ(tonalith::Read(after, &read), 0);
  EXPECT_STREQ(read->findText, "Low end of thin");
  EXPECT_STREQ(read->findText + 16, "Lead");
  EXPECT_EQ(disk_.DiskStructureUpdate(root_, "BASS", "x"), 0);
}

TEST(ContainerHelpers, PathsTypesAndRawSysEx) {
  std::string path = "a";
  FileAppendPath(&path, "b");
  FileAppendPath(&path, "");
  FileAppendPath(&path, std::string(255, 'x'));
  EXPECT_EQ(path, "a/b");
  path = "c:";
  FileAppendDir(&path, "sub\\*.pvs");
  EXPECT_EQ(path, "c:sub");
  EXPECT_EQ(FileCreateExt("PVS"), "*.PVS");
  EXPECT_EQ(FileCreateExt(""), "*.*");
  EXPECT_EQ(IFFSize(3u), 4u);
  EXPECT_EQ(IFFSize("abc"), 4u);
  EXPECT_EQ(IFFSize("abcd"), 6u);
  std::uint32_t type = 0;
  bool creator = true;
  GetMacFileTypeAndCreator(13, type, creator);
  EXPECT_EQ(ChunkIdText(type), "Midi");
  EXPECT_FALSE(creator);
  GetMacFileTypeAndCreator(-4, type, creator);
  EXPECT_EQ(ChunkIdText(type), "PVHP");
  const Bytes message{0xF0, 0x43, 0x01, 0xF7, 0x90};
  const DataFilePtr df = CreateMidiXFile(message);
  ASSERT_TRUE(df);
  EXPECT_EQ(+df->synth->fileSize, 5u);
  EXPECT_EQ(df->synth->manufacturerId, 0x43);
  EXPECT_TRUE(LayoutOf(*df).editable);
  EXPECT_FALSE(CreateMidiXFile(Bytes()));
}

}  // namespace
}  // namespace tonalith
