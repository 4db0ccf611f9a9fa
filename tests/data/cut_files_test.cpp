#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "data/container.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "tests/data/form_builder.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

std::string Held(const void* buffer, std::uint32_t size) {
  std::string text(static_cast<const char*>(buffer), buffer ? size : 0);
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

// What a record holds of a chunk "ABCDEFG".
struct KindRow {
  char id[5];
  std::string (*held)(const DataFile& df);
};
#define HELD(field, size) [](const DataFile& df) { return Held(df.field, df.size); }
const KindRow kKinds[] = {
    {"BODY", HELD(body, bodySize)},
    {"NAME", HELD(voiceNames, voiceNamesSize)},
    {"COMM", HELD(comment, commentSize)},
    {"FIND", HELD(findText, findTextSize)},
    {"FILE", HELD(fileName, fileNameSize)},
    {"TRAN", HELD(transmitScript, transmitScriptSize)},
    {"RECV", HELD(receiveScript, receiveScriptSize)},
    {"AUDI", HELD(auditionScript, auditionScriptSize)},
    {"BDEF", HELD(emptyMap, emptyMapSize)},
    {"TDEF", HELD(tagMap, tagMapSize)},
    {"AUTH", HELD(authors, authorsSize)},
    {"CPRT", HELD(rightsNotices, rightsNoticesSize)},
    {"SONG", HELD(songs, songsSize)},
    {"MSCN", HELD(musicians, musiciansSize)},
    {"BAND", HELD(bands, bandsSize)},
    {"LNAM", HELD(longNames, longNamesSize)},
    {"MPIN", HELD(midiInPortName, midiInPortNameSize)},
    {"MPOT", HELD(midiOutPortName, midiOutPortNameSize)},
    {"MPBY", HELD(patchBayPortName, patchBayPortNameSize)},
    {"XFIL", [](const DataFile& df) { return FieldText(df.refFileName); }},
    {"XDIR", [](const DataFile& df) { return FieldText(df.refDirectory); }},
    {"CHNL", [](const DataFile& df) { return Held(df.chunkModes, sizeof df.chunkModes); }},
    {"junk", [](const DataFile&) { return std::string(); }},
};
#undef HELD

// Every kind, cut in its header, in its data and before its pad byte; as a file and as the last member of a list.
TEST(CutFiles, WhatIsThereOfTheLastChunkIsKept) {
  Synth synth = BankSynth();
  synth.fileSize = 2;
  synth.numVoices = 1;
  synth.headerSize = 0;
  synth.voiceSize = 2;
  const std::string data = "ABCDEFG";
  for (const KindRow& kind : kKinds) {
    SCOPED_TRACE(kind.id);
    Chunks file;
    file.Add("SHDR", OnDisk(synth));
    if (std::string(kind.id) != "BODY") file.Add("BODY", Bytes(2, 1));
    const Bytes form = file.Add(kind.id, data).Form();
    const Bytes inList = Chunks().Raw(form).Form("LIST", "ZSET");
    for (const Bytes& whole : {form, inList}) {
      ASSERT_EQ(MissingBytes(whole), 0u);
      for (const std::size_t missing : {14u, 10u, 5u, 1u}) {
        SCOPED_TRACE(missing);
        const Bytes cut(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(missing));
        std::string kept = missing > 8 ? "" : data.substr(0, std::min<std::size_t>(7, 8 - missing));
        if (std::string(kind.id) == "CHNL") kept = kept.substr(0, 4);
        if (std::string(kind.id) == "junk") kept.clear();
        EXPECT_EQ(MissingBytes(cut), missing);
        EXPECT_NE(MissingSentence("x.dat", cut), "");
        ListFile list;
        ASSERT_EQ(ReadListOrForm(cut, {}, &list), kDiskOk);
        ASSERT_EQ(list.members.size(), 1u);
        EXPECT_EQ(list.skippedMembers, 0);
        EXPECT_EQ(kind.held(*list.members[0].data), kept);
      }
    }
  }
  const Bytes whole = Chunks().Add("SHDR", OnDisk(synth)).Form();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    DataFilePtr df(AllocDataFile());
    EXPECT_EQ(ContainerReader({whole.data(), size}).DiskReadForm(df.get(), {}), size < 20 && size >= 12 ? 0 : 2)
        << size;
    EXPECT_FALSE(df->synth);
  }
}

TEST(CutFiles, NamesAndVoicesBeforeTheCutAreThose) {
  Synth synth = BankSynth();
  synth.namesSeparate = 1;
  std::string names(66, '\0');
  names.replace(0, 5, "Alpha").replace(33, 5, "Omega");
  Bytes body(34);
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<std::uint8_t>(i + 1);
  Chunks chunks;
  const Bytes whole = chunks.Add("SHDR", OnDisk(synth)).Add("NAME", names).Add("BODY", body).Form();
  struct Row {
    std::size_t missing;
    const char* second;
    bool lost[2];
  } const rows[] = {{1, "Omega", {false, true}}, {17, "Omega", {true, true}},   {34, "Omega", {true, true}},
                    {42, "Omega", {true, true}}, {42 + 31, "Om", {true, true}}, {42 + 40, "", {true, true}}};
  FormReadOptions complete;
  complete.mode = 1;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.missing);
    const Bytes cut(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(row.missing));
    DataFilePtr df(AllocDataFile());
    ASSERT_EQ(ContainerReader(cut).DiskReadForm(df.get(), complete), kDiskOk);
    ASSERT_EQ(df->bodySize, 34u);
    EXPECT_TRUE(LayoutOf(*df).editable);
    EXPECT_EQ(GetPatchName(*df, 0), "Alpha");
    EXPECT_EQ(GetPatchName(*df, 1), row.second);
    for (std::uint32_t i = 0; i < 2; ++i) EXPECT_EQ(MapBit(df->emptyMap, df->emptyMapSize, i), row.lost[i]);
    EXPECT_EQ(df->xtra->hasNoSysEx, row.missing >= 34);
    for (std::size_t i = 0; i < 34; ++i) EXPECT_EQ(df->body[i], i + row.missing < 34 ? body[i] : 0) << i;
  }
}

TEST(CutFiles, OfManyChunksOfAKindTheLastCounts) {
  Synth synth = BankSynth();
  synth.fileSize = synth.numVoices = kMaxVoices;
  synth.voiceSize = 1;
  synth.headerSize = 0;
  synth.namesSeparate = 1;
  Chunks chunks;
  chunks.Add("SHDR", OnDisk(synth)).Add("BODY", Bytes(kMaxVoices, 1), false);
  for (int i = 0; i < 50'000; ++i) chunks.Add("NAME", std::string("A")).Add("COMM", std::string("no"));
  chunks.Add("NAME", std::string(kMaxVoices, 'Z')).Add("COMM", std::string("yes"));
  FormReadOptions complete;
  complete.mode = 1;
  DataFilePtr df(AllocDataFile());
  ASSERT_EQ(ContainerReader(chunks.Form()).DiskReadForm(df.get(), complete), kDiskOk);
  EXPECT_EQ(GetPatchName(*df, kMaxVoices - 1), "Z");
  EXPECT_STREQ(df->comment, "yes");
}

// A megabyte of members, each of which asks for half a megabyte of names and texts, against an honest one.
TEST(ReadBudget, AListCostsNoMoreThanItsSizeAllows) {
  Synth greedy = BankSynth();
  greedy.fileSize = 1024;
  greedy.headerSize = 0;
  greedy.numVoices = 1024;
  greedy.voiceSize = 1;
  greedy.namesSeparate = 1;
  Synth honest = BankSynth();
  honest.fileSize = 100;
  honest.headerSize = 0;
  honest.numVoices = 1;
  honest.voiceSize = 100;
  FormReadOptions complete;
  complete.mode = 1;
  struct Row {
    Synth synth;
    Bytes body;
    int code;
  } const rows[] = {{greedy, Bytes(2), kDiskNoMemory}, {honest, Bytes(100), kDiskOk}};
  for (const Row& row : rows) {
    const Bytes form = Chunks().Add("SHDR", OnDisk(row.synth)).Add("BODY", row.body).Form();
    Chunks members;
    for (std::size_t size = 0; size < (1u << 20); size += form.size()) members.Raw(form);
    ListFile list;
    EXPECT_EQ(ReadList(members.Form("LIST", "ZSET"), complete, &list), row.code);
    EXPECT_LT(list.members.size(), row.code == kDiskOk ? 2500u : 60u);
  }
}

class CutSaves : public FilesTest {
 protected:
  Bytes Content(const std::string& name) const {
    Bytes bytes;
    ReadWholeFile(Path(name), bytes);
    return bytes;
  }
};

TEST_F(CutSaves, TheOldFileStaysBesideTheNewOne) {
  const Bytes whole = Chunks().Add("SHDR", OnDisk(BankSynth())).Add("BODY", Body()).Form();
  const Bytes cut(whole.begin(), whole.end() - 3);
  std::filesystem::create_symlink("a.dat", Path("link.dat"));
  for (const std::string name : {"a.dat", "link.dat"}) {
    for (const char* kept : {"~", "~2"}) {
      WriteFileAtomically(Path("a.dat"), cut);
      std::string beside;
      ASSERT_TRUE(SaveDiskFile(Path(name), whole, nullptr, &beside).ok());
      EXPECT_EQ(beside, Path(name + kept));
      EXPECT_EQ(Content(name + kept), cut);
      EXPECT_EQ(Content("a.dat"), whole);
      ASSERT_TRUE(SaveDiskFile(Path(name), whole, nullptr, &beside).ok());
      EXPECT_EQ(beside, "");
    }
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root_), {}), 6);
  // What cannot be written keeps nothing; what cannot be kept is not written over.
  WriteFileAtomically(Path("a.dat"), cut);
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  const rlimit small{10, former.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const Result full = SaveDiskFile(Path("a.dat"), whole);
  setrlimit(RLIMIT_FSIZE, &former);
  EXPECT_EQ(full.code, kDiskWriteError);
  EXPECT_FALSE(std::filesystem::exists(Path("a.dat~3")));
  const std::string longest = Path(std::string(255, 'n'));
  WriteFileAtomically(longest, cut);
  const Result unkept = SaveDiskFile(longest, whole);
  EXPECT_NE(unkept.text.find("would be lost; save under another name."), std::string::npos) << unkept.text;
  EXPECT_EQ(Content(std::string(255, 'n')), cut);
}

TEST_F(CutSaves, WritersStopWhereReadersDo) {
  DataFilePtr df(AllocDataFile());
  ASSERT_TRUE(AllocChunk(&df->synth, &df->synthSize, kSynthSize));
  *df->synth = BankSynth();
  ASSERT_TRUE(ResizeBody(df.get(), static_cast<std::uint32_t>(kMaxContainerSize)));
  Bytes bytes;
  EXPECT_FALSE(DiskWriteForm(&bytes, *df));
  EXPECT_LT(bytes.capacity(), 4096u);
  DiskAccess disk;
  EXPECT_EQ(disk.DiskWrite(0, root_, "big.dat", df.get()), 0);
  const std::span<const std::uint8_t> big(df->body, kMaxContainerSize + 1);  // one of the spare bytes
  const Result saved = SaveDiskFile(Path("big.syx"), big);
  EXPECT_EQ(saved.code, kDiskWriteError);
  EXPECT_NE(saved.text.find("256 MiB"), std::string::npos) << saved.text;
  EXPECT_TRUE(std::filesystem::is_empty(root_));
}

}  // namespace
}  // namespace tonalith
