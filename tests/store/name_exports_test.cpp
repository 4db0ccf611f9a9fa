// Patch names for other programs, byte for byte, and a user's instrument definitions that stay whole.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "data/patch_names.h"
#include "data/patch_select.h"
#include "data/patch_texts.h"
#include "platform/atomic_file.h"
#include "store/names/disk_midi.h"
#include "store/names/master_ins.h"
#include "store/names/name_banks.h"
#include "store/names/sequencer_names.h"

namespace tonalith {

namespace {

constexpr char kInstrument[] = "Acme \"A&B\"";

// A bank with names of its own; slot 2 holds nothing, slot 3 has no name.
DataFilePtr NamedBank(int mode, int msb, int lsb) {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& s = *driver->synth;
  std::strcpy(s.shortName, kInstrument);
  std::strcpy(s.typeName, "Tone [1]");
  s.numVoices = 4;
  s.voiceSize = s.voiceBytes = 4;
  s.fileSize = 16;
  s.isBank = s.namesSeparate = 1;
  s.numberFormat = kNumberFormatPlain;
  s.bankSelectMode = static_cast<std::uint8_t>(mode);
  s.bankSelectMsbDefault = static_cast<std::int8_t>(msb);
  s.bankSelectLsbDefault = static_cast<std::int8_t>(lsb);
  DataFilePtr data(AllocDataNew(driver.get()));
  data->xtra->hasNoSysEx = 0;
  std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  SetPatchName(data.get(), 0, "M\xFCller <1>");
  SetPatchName(data.get(), 1, "A=\tB");
  SetPatchName(data.get(), 2, "Nothing");
  SetMapBit(data->emptyMap, data->emptyMapSize, 2, true);
  SetPatchText(data.get(), PatchText::Comment, 0, "two\nlines & \xE4");
  return data;
}

std::string Written(ExportFormat format, const DataFile& data) {
  ExportSource source;
  source.data = {&data};
  std::string bytes;
  const Result result = RenderExport(format, &source, &bytes);
  EXPECT_TRUE(result.ok()) << result.text;
  return bytes;
}

std::string Chunks(const std::string& names, const std::string& definition) {
  const std::string line = "; ----------------------------------------------------------------------\n\n";
  return line + ".Patch Names\n" + names + "\n" + line + ".Note Names\n\n" + line + ".Controller Names\n\n" + line +
         ".RPN Names\n\n" + line + ".NRPN Names\n\n" + line + ".Instrument Definitions\n" + definition;
}

}  // namespace

TEST(PatchSelect, FollowsTheRulesOfTheDataType) {
  struct Case {
    int mode, msb, lsb, base, number, offset, step, perBank, patch;
    int wantMsb, wantLsb, wantBank, wantProgram;  // -1: not sent
  };
  const Case cases[] = {
      {1, 5, 7, 0, 0, 0, 0, 0, 3, 5, 7, -1, 3},          {0, 5, 7, 0, 0, 0, 0, 0, 200, -1, -1, -1, 72},
      {1, -5, -1, 0, 0, 0, 0, 0, 130, 127, -1, -1, 2},   {3, 0, 9, 0, 0, 0, 0, 64, 70, -1, 10, -1, 6},
      {1, 0, -1, 0, 0, 0, 0, 64, 70, 0, 1, -1, 6},       {1, -2, -3, 0x85, 0x0181, 0, 2, 0, 10, 5, 3, -1, 20},
      {1, 1, -4, 0, 0, 9, 0, 0, 100, 1, 0, -1, 9},       {4, 3, 0, 0, 0, 0, 0, 0, 1, -1, -1, 3, 1},
      {8, 127, 127, 0, 0, 0, 0, 0, 300, 127, 1, -1, 44},
  };
  for (const Case& one : cases) {
    Synth s{};
    s.bankSelectMode = static_cast<std::uint8_t>(one.mode);
    s.bankSelectMsbDefault = static_cast<std::int8_t>(one.msb);
    s.bankSelectLsbDefault = static_cast<std::int8_t>(one.lsb);
    s.bankSelectBase = static_cast<std::uint8_t>(one.base);
    s.multiBankBase = static_cast<std::uint16_t>(one.number);
    s.bankNumberOffset = static_cast<std::int16_t>(one.offset);
    s.bankSelectStep = static_cast<std::uint8_t>(one.step);
    s.bankSelectMax = static_cast<std::uint8_t>(one.perBank);
    const PatchSelect got = PatchSelectOf(s, one.patch);
    EXPECT_EQ(got.msb.value_or(-1), one.wantMsb) << one.mode << " " << one.patch;
    EXPECT_EQ(got.lsb.value_or(-1), one.wantLsb) << one.mode << " " << one.patch;
    EXPECT_EQ(got.bankProgram.value_or(-1), one.wantBank) << one.mode << " " << one.patch;
    EXPECT_EQ(got.program, one.wantProgram) << one.mode << " " << one.patch;
  }
}

TEST(NameExports, EveryFormatIsWrittenByteForByte) {
  const DataFilePtr data = NamedBank(1, 81, 2);
  const std::string bank = "Acme \"A&B\" Tone [1]", shown = "Acme &quot;A&amp;B&quot; Tone [1]";
  const std::string head = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>" + shown +
                           "</title>\n</head>\n<body>\n<h2>" + shown + "</h2>\n<table>\n";
  EXPECT_EQ(Written(ExportFormat::Reaper, *data), "Bank 81 2 " + bank + "\n0 Müller <1>\n1 A= B\n3 4\n");
  EXPECT_EQ(Written(ExportFormat::Cakewalk, *data),
            Chunks("\n[Acme \"A&B\" Tone (1)]\n0=Müller <1>\n1=A= B\n3=4\n",
                   "\n[Acme \"A&B\"]\nBankSelMethod=0\nPatch[10370]=Acme \"A&B\" Tone (1)\n"));
  EXPECT_EQ(Written(ExportFormat::Cubase, *data),
            "[cubase parse file]\n[parser version 0001]\n[creators first name] Tonalith\n[creators last name]\n"
            "[device manufacturer] Acme\n[device name] \"A&B\"\n[script name] Acme \"A&B\"\n"
            "[script version] version 1.00\n\n[define patchnames]\n\n[mode] Banks\n[g1] " +
                bank + "\n[p2, 0, 81, 2] Müller <1>\n[p2, 1, 81, 2] A= B\n[p2, 3, 81, 2] 4\n\n[end]\n");
  EXPECT_EQ(Written(ExportFormat::Html, *data),
            head +
                "<tr><th>Number</th><th>Name</th></tr>\n<tr><td>1</td><td>Müller &lt;1&gt;</td></tr>\n"
                "<tr><td>2</td><td>A= B</td></tr>\n<tr><td>4</td><td>4</td></tr>\n</table>\n</body>\n</html>\n");
  EXPECT_EQ(Written(ExportFormat::Text, *data), "1\tMüller <1>\n2\tA= B\n4\t4\n");
  EXPECT_EQ(Written(ExportFormat::Names, *data), "Müller <1>\nA= B\n4\n");
  EXPECT_EQ(Written(ExportFormat::Ini, *data), "[Bank]\nCount=3\n0=Müller <1>\n1=A= B\n3=4\n");
  const std::string list = "MSB\tLSB\tProgram\tName\tBank\n81\t2\t0\tMüller <1>\t" + bank + "\n81\t2\t1\tA= B\t" +
                           bank + "\n81\t2\t3\t4\t" + bank + "\n";
  for (const ExportFormat format : {ExportFormat::Acid, ExportFormat::Jammer, ExportFormat::Logic})
    EXPECT_EQ(Written(format, *data), list);
  EXPECT_TRUE(Written(ExportFormat::TextProperties, *data)
                  .starts_with("Number\tName\tComment\tKeywords\tAuthor\tCopyright\tSong\tMusician\tBand\tLong Name\n"
                               "1\tMüller <1>\ttwo lines & ä\t"));
  EXPECT_NE(Written(ExportFormat::HtmlProperties, *data).find("<td>two lines &amp; ä</td>"), std::string::npos);
  const std::string document = Written(ExportFormat::NameDocument, *data);
  EXPECT_NE(document.find("\t\t\t<PatchBank Name=\"" + shown +
                          "\">\n\t\t\t\t<MIDICommands>\n\t\t\t\t\t<ControlChange Control=\"0\" Value=\"81\" />\n"
                          "\t\t\t\t\t<ControlChange Control=\"32\" Value=\"2\" />\n\t\t\t\t</MIDICommands>\n"
                          "\t\t\t\t<UsesPatchNameList Name=\"" +
                          shown + "\" />\n"),
            std::string::npos);
  EXPECT_NE(document.find("\t\t\t<Patch Number=\"1\" Name=\"Müller &lt;1&gt;\" ProgramChange=\"0\" />\n"),
            std::string::npos);
  EXPECT_TRUE(document.ends_with("\t\t</PatchNameList>\n\n\t</MasterDeviceNames>\n</MIDINameDocument>\n\n"));
}

TEST(NameExports, BanksAreWhatOneSelectionReaches) {
  struct Case {
    int mode, msb, lsb;
    const char* method;
    const char* patch;
  };
  for (const Case& one : {Case{1, 3, 4, "0", "388"}, Case{2, 3, 4, "1", "3"}, Case{3, 3, 4, "2", "4"},
                          Case{0, 3, 4, "3", "0"}, Case{5, 3, 4, "3", "0"}}) {
    const std::string text = Written(ExportFormat::Cakewalk, *NamedBank(one.mode, one.msb, one.lsb));
    EXPECT_NE(text.find(std::string("BankSelMethod=") + one.method + "\nPatch[" + one.patch + "]="), std::string::npos)
        << one.mode;
  }
  const DataFilePtr data = NamedBank(3, -1, 0);
  data->synth->bankSelectMax = 2;  // two programs a bank; slot 2 holds nothing
  BankSelectNames names;
  names.AddDataFile(*data);
  names.AddDataFile(*data);
  ASSERT_EQ(names.banks().size(), 4u);
  EXPECT_EQ(names.banks()[1].lsb, 1);
  EXPECT_EQ(names.banks()[3].name, "Acme \"A&B\" Tone [1] 4");
  CustomPatchList custom;
  custom.Add(0, 1, 1, "Other", "Second");
  BankSelectNames other;
  other.AddDataFileWithCustomBankNames(*data, custom);
  EXPECT_EQ(other.banks()[1].name, "Second");
  EXPECT_EQ(other.banks()[1].patches[0].name, "Other");
  // Nothing received, sizes that lie, nothing at all.
  data->xtra->hasNoSysEx = 1;
  ExportSource source;
  source.data = {data.get(), nullptr};
  std::string bytes;
  EXPECT_FALSE(RenderExport(ExportFormat::Reaper, &source, &bytes).ok());
  EXPECT_FALSE(RenderExport(ExportFormat::SysEx, &source, &bytes).ok());
  data->xtra->hasNoSysEx = 0;
  data->synth->numVoices = 65535;
  for (const ExportKind& kind : ExportKinds()) {
    if (!kind.isText) continue;
    EXPECT_FALSE(Written(kind.format, *data).empty()) << kind.key;
  }
}

TEST(NameExports, AUsersDefinitionsKeepWhatIsNotOurs) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tonalith-ins-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  const std::string path = (folder / "M\u00e4ster.ins").string();
  // Windows-1252, Windows line ends, blocks of others, an older block of ours with a comment in it, no end of line.
  const std::string before =
      "; mine \xFC\r\n; -----\r\n\r\n.patch names\r\n\r\n[Other]\r\n0=X\r\n\r\n[ACME \"A&B\" Tone "
      "(1)]\r\n0=Old\r\n9=Gone\r\n"
      "; note\r\n\r\n; -----\r\n\r\n.Instrument Definitions\r\n\r\n[Acme "
      "\"A&B\"]\r\nControl=Mine\r\nBankSelMethod=1\r\n"
      "Patch[5]=Other";
  ASSERT_TRUE(WriteFileAtomically(path, std::string_view(before)).ok());
  const DataFilePtr data = NamedBank(1, 81, 2);
  ExportSource source;
  source.data = {data.get()};
  std::string backup, after, kept;
  ASSERT_TRUE(DiskMidiCakewalkV3(&source, path, &backup).ok());
  ASSERT_TRUE(ReadWholeFile(path, after).ok());
  ASSERT_TRUE(ReadWholeFile(backup, kept).ok());
  EXPECT_EQ(kept, before);
  EXPECT_EQ(after,
            "; mine \xFC\r\n; -----\r\n\r\n.patch names\r\n\r\n[Other]\r\n0=X\r\n\r\n[ACME \"A&B\" Tone (1)]\r\n"
            "0=M\xFCller <1>\r\n1=A= B\r\n3=4\r\n; note\r\n\r\n; -----\r\n\r\n.Instrument Definitions\r\n\r\n"
            "[Acme \"A&B\"]\r\nControl=Mine\r\nBankSelMethod=0\r\nPatch[5]=Other\r\n"
            "Patch[10370]=Acme \"A&B\" Tone (1)\r\n");
  // The same again changes nothing and makes no further copy.
  std::string none;
  ASSERT_TRUE(DiskMidiCakewalkV3(&source, path, &none).ok());
  EXPECT_TRUE(none.empty());
  // Other names: the first copy stays.
  SetPatchName(data.get(), 0, "New");
  ASSERT_TRUE(DiskMidiCakewalkV3(&source, path, &none).ok());
  EXPECT_TRUE(none.ends_with(".bak2")) << none;
  std::filesystem::remove_all(folder);

  MasterIns ins;
  ins.LoadBytes("a\n.X\nb\n; -----c\n[q]\nr\n[s]");
  EXPECT_EQ(ins.FindChunkStart(".x"), 1);
  EXPECT_EQ(ins.FindChunkStart("none"), -1);
  EXPECT_EQ(ins.FindChunkEnd(1), 3);
  EXPECT_EQ(ins.FindChunkEnd(4), 7);
  EXPECT_EQ(ins.FindBlockStart(0, 4, "[q]"), -1);
  EXPECT_EQ(ins.FindBlockEnd(5, 7), 6);
  EXPECT_EQ(ins.FindBlockEnd(5, 6), 6);
}

TEST(NameExports, TextsOfNames) {
  EXPECT_EQ(AppendExt("bank.syx", "txt"), "bank.txt");
  EXPECT_EQ(AppendExt("bank", ".txt"), "bank.txt");
  EXPECT_EQ(AppendExt("a.b/c", "txt"), "a.b/c.txt");
  EXPECT_EQ(AppendExt("", "txt"), "");
  EXPECT_EQ(AppendExt("a.b", ""), "a.b");
  Synth s{};
  std::strcpy(s.typeName, "Tone");
  for (const auto& [id, label] :
       {std::pair{5825, "Tone"}, {5826, "I-A"}, {5832, "GM"}, {5856, "U-GG"}, {5857, "Tone"}}) {
    s.driverId = static_cast<std::uint16_t>(id);
    EXPECT_EQ(GetUnitModel(s), label) << id;
  }
  CustomPatchList custom;
  char patch[CustomPatchList::kText], bank[CustomPatchList::kText];
  int msb = 0, lsb = 0, program = 0;
  EXPECT_FALSE(custom.Get(0, msb, lsb, program, patch, bank));
  BankSelectNames many;
  for (int i = 0; i < 300; ++i) many.AddPatch("I", "B" + std::to_string(i), i % 128, i / 128, {0, "1", "N"});
  const LogicBank logic(many);
  EXPECT_EQ(logic.modes(), 4);
  EXPECT_EQ(logic.leftOut(), 44u);
}

}  // namespace tonalith
