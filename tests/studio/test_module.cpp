#include <gtest/gtest.h>

#include "data/container.h"
#include "data/hex_text.h"
#include "studio/module.h"
#include "studio/module_lets.h"

namespace tonalith {

namespace {

ModuleSource GoodSource() {
  return {{"module.ini",
           "[Module]\nName = Test Synth\nDriverBase = 50\nTypes = one bank(7)\nmanufacturerId = 0x3E\n\n[Device "
           "Inquiry]\nEnable = 1\n"},
          {"one.descriptor",
           "typeName = One\nfileSize = 12\nheaderSize = 4\nnameLength = 4\ninitName = Hi\nmessage = F0 3E 1? "
           "01\nverify = 0 4 6 10\ninclude = common\n"},
          {"common.descriptor", "; shared\nlet size = 12\nreceive = get\ndefinition = Test Synth/editor\n"},
          {"bank.descriptor",
           "typeName = Bank $arg$\nfileSize = 24\nnumVoices = 2\nvoiceSize = 12\nmessage = F0 3E 1$arg$ "
           "02\nor\nmessage = F0 3E 1? 01\nslots = 3 1 2\n"},
          {"get.script", "; asks\nS 4 { F0 3E 10 F7 }\nTR 4\nR $size$\n]\n"}};
}

// One text of the source instead of another, and how the answer begins.
struct Mistake {
  const char *file, *from, *to, *error;
};

void ExpectMistakes(const ModuleSource& good, const std::vector<Mistake>& mistakes) {
  for (const Mistake& c : mistakes) {
    ModuleSource source = good;
    std::string& text = source[c.file];
    const std::size_t at = text.find(c.from);
    ASSERT_NE(at, std::string::npos) << c.from;
    text.replace(at, std::string(c.from).size(), c.to);
    ModuleImage image;
    const Result result = BuildModule(source, &image);
    EXPECT_FALSE(result.ok()) << c.error;
    EXPECT_EQ(result.text.substr(0, std::string(c.error).size()), c.error) << result.text;
  }
}

}  // namespace

TEST(ModuleSourceText, BecomesIniAndDrivers) {
  ModuleImage image;
  const Result result = BuildModule(GoodSource(), &image);
  ASSERT_TRUE(result.ok()) << result.text;
  ASSERT_EQ(image.files.size(), 5u) << "an INI, and a driver and a map for each type";
  EXPECT_EQ(image.files[0].path, "Test Synth.ini");
  EXPECT_EQ(image.files[2].path, "Test Synth\\bank7.PV6");
  const std::string ini(image.files[0].bytes.begin(), image.files[0].bytes.end());
  for (const char* part : {"NumDrivers=2\n", "ID1=bank7.PV6\n", "[Device Inquiry]\nEnable=1\n",
                           "[Recognize 51.1]\nmessage0=F0 3E 1? 01\nslots=3 1 2\n"})
    EXPECT_NE(ini.find(part), std::string::npos) << part << ini;
  DataFile* data = AllocDataFile();
  const DataFilePtr owner(data);
  ASSERT_EQ(ContainerReader(image.files[1].bytes).DiskReadForm(data, {}), 0);
  EXPECT_EQ(FieldText(data->synth->typeName), "One");
  EXPECT_EQ(data->synth->driverId, 50);
  EXPECT_EQ(data->synth->manufacturerId, 0x3E);
  EXPECT_EQ(data->synth->noChecksumOnFormat, 1) << "it has scripts";
  EXPECT_EQ(GetDefn(*data->synth), "Test Synth/editor");
  EXPECT_EQ(HexText({data->body, 12}), "F0 3E 10 01 48 69 20 20 00 00 0F F7");
  EXPECT_EQ(data->receiveScriptSize, 22u);
}

TEST(ModuleSourceText, ATypeMayHaveNoVoices) {
  ModuleSource source = GoodSource();
  source["one.descriptor"] += "numVoices = 0\n";
  ModuleImage image;
  ASSERT_TRUE(BuildModule(source, &image).ok());
  const DataFilePtr data(AllocDataFile());
  ASSERT_EQ(ContainerReader(image.files[1].bytes).DiskReadForm(data.get(), {}), 0);
  const Synth& s = *data->synth;
  EXPECT_TRUE(s.numVoices == 0 && s.voiceSize == 8 && s.dataKind == 30 && s.isBank == 0 && PatchMax(s) == 0);
}

TEST(ModuleSourceText, EveryErrorHasAPlace) {
  const std::vector<Mistake> cases = {
      {"module.ini", "Types = one bank(7)", "Types = one two", "module.ini:4: there is no file \"two.descriptor\""},
      {"module.ini", "Name = Test Synth", "Name = ../x", "module.ini:2: the name"},
      {"module.ini", "DriverBase = 50", "DriverBase = no", "module.ini:3: a number"},
      {"module.ini", "manufacturerId = 0x3E", "manufacturer = 1", "module.ini:5: "},
      {"module.ini", "[Device Inquiry]", "[Device", "module.ini:7: a section"},
      {"one.descriptor", "fileSize = 12", "fileSize = twelve", "one.descriptor:2: "},
      {"one.descriptor", "headerSize = 4", "headerSize = 40", "one.descriptor:1: "},
      {"one.descriptor", "message = F0 3E 1? 01", "message = F0 3E 1? 01 | least 9",
       "one.descriptor:6: \"least\", \"counted\", \"turns\" and \"sized\" need \"length any\""},
      {"one.descriptor", "message = F0 3E 1? 01", "message = F0 3E 1? 01 | length any | least 9 0",
       "one.descriptor:6: \"least\" has no good value"},
      {"one.descriptor", "message = F0 3E 1? 01", "message = F0 3E 1? 01 | length any | counted 99 0 1",
       "one.descriptor:6: \"counted\" has no good value"},
      {"one.descriptor", "message = F0 3E 1? 01", "message = F0 3G", "one.descriptor:6: \"G\" is neither"},
      {"one.descriptor", "verify = 0 4 6 10", "verify = 0 4 6 100", "one.descriptor:7: a checksum lies outside"},
      {"one.descriptor", "include = common", "include = gone",
       "one.descriptor:8: there is no file \"gone.descriptor\""},
      {"one.descriptor", "include = common", "include = one", "one.descriptor:8: the files include each other"},
      {"one.descriptor", "initName = Hi", "init = 20: 01", "one.descriptor:5: the bytes lie outside"},
      {"common.descriptor", "let size = 12", "let size = $gone$",
       "common.descriptor:2: nothing is known by the name \"gone\""},
      {"common.descriptor", "receive = get", "receive = gone", "common.descriptor:3: there is no file \"gone.script\""},
      {"bank.descriptor", "slots = 3 1 2", "slots = 3", "bank.descriptor:8: slots need"},
      {"bank.descriptor", "voiceSize = 12", "voiceSize = 13", "bank.descriptor:1: "},
      {"get.script", "TR 4", "SetFoo 4", "get.script:3: "},
      {"get.script", "R $size$", "R $no$", "get.script:4: nothing is known"},
      {"get.script", "{ F0 3E 10 F7 }", "{ F0 3E 1FF F7 }", "get.script:2: "},
  };
  ExpectMistakes(GoodSource(), cases);
}

TEST(ModuleSourceText, NamesAreReplacedAndCalculatedWith) {
  struct Case {
    const char* text;
    const char* result;  // behind '!': the mistake
  };
  const SourceLets lets{{"size", "274"}, {"tag", "4D 43 52"}, {"word", "abc"}, {"big", "2000000000"}};
  const std::vector<Case> cases = {
      {"$size$ $tag$", "274 4D 43 52"},
      {"$size - 8$", "266"},
      {"$ 2 + size*3 - 8/4 $", "822"},
      {"$#tag$ $#tag+2$", "3 5"},
      {"$septets size - 8$", "02 0A"},
      {"[$gone?$]", "[]"},
      {"$gone$", "!nothing is known by the name \"gone\""},
      {"$size", "!a '$' stands alone"},
      {"$word - 1$", "!\"word\" is no number: \"abc\""},
      {"$size / 0$", "!a division by 0"},
      {"$big * big$", "!the number becomes too large"},
      {"$size -$", "!a '$' stands alone"},
      {"$septets 1 - size$", "!-273 does not fit into two bytes of seven bits"},
      {"$#word$", "!"},
  };
  for (const Case& c : cases) {
    std::string out, error;
    const bool good = ReplaceLets(c.text, lets, &out, &error);
    EXPECT_EQ(good, c.result[0] != '!') << c.text << error;
    if (good)
      EXPECT_EQ(out, c.result) << c.text;
    else
      EXPECT_EQ(error.substr(0, std::string(c.result).size() - 1), c.result + 1) << c.text;
  }
}

namespace {

// Two types of one family, a message for each of three parts, and scripts that all modules share.
ModuleSource FamilySource() {
  return {{"module.ini",
           "[Module]\nName = Family\nDriverBase = 60\nIdentity = 3E | 13 00 | ChMax = 7\nTypes = one two(5)\n"
           "receive = get\ntransmit = put\n[Family tagged]\ncolumns = typeName | fileSize | let tag | let lead\n"
           "one = First | 14 | 31\ntwo(5) = Second $arg$ | 20 | 32 | D 100\n"},
          {"../common/tagged.descriptor",
           "headerSize = 4\nlet request = F0 3E $tag$ F7\nmessage = F0 3E $tag$ 00..01 | length $fileSize / 2$\n"
           "verify = 0 4 $fileSize/2-6$ $fileSize/2-2$\n"},
          {"../common/get.script", "$lead?$\nS $#request$ { $request$ }\nC 2\nTR $#request$\nR $size$\n$checks$\n]\n"},
          {"put.script", "$sums$\nT $size$\n]\n"},
          {"../common/put.script", "nonsense $gone$\n"}};
}

}  // namespace

TEST(ModuleSourceText, FamilyRowsAndSharedFilesMakeTheSameAsDescriptors) {
  ModuleSource spelled = FamilySource();
  spelled["module.ini"] =
      "[Module]\nName = Family\nDriverBase = 60\nTypes = one two(5)\n[Device Inquiry]\nEnable=1\nIDSize=1\nID1=0x3E\n"
      "[Device Inquiry 1]\nFamily1=0x13\nFamily2=0x00\n[Device Inquiry]\nChMax=7\n";
  spelled["one.descriptor"] =
      "typeName = First\nfileSize = 14\nheaderSize = 4\nreceive = get1\ntransmit = put1\nmessage = F0 3E 31 00 | "
      "length 7\n"
      "message = F0 3E 31 01 | length 7\nverify = 0 4 1 5\n";
  spelled["two.descriptor"] =
      "typeName = Second 5\nfileSize = 20\nheaderSize = 4\nreceive = get2\ntransmit = put2\nmessage = F0 3E 32 00 | "
      "length 10\n"
      "message = F0 3E 32 01 | length 10\nverify = 0 4 4 8\n";
  spelled["get1.script"] =
      "S 4 { F0 3E 31 F7 }\nC 2\nTR 4\nR 14\nMV9 = 0\nGP 0\nFG V2 5\nK 00 00 4 1 5\nFG V3 5\nMV3 - V2\nIF V3\nMV9 = "
      "1\nIFX\n]\n";
  spelled["get2.script"] =
      "D 100\nS 4 { F0 3E 32 F7 }\nC 2\nTR 4\nR 20\nMV9 = 0\nGP 0\nFG V2 8\nK 00 00 4 4 8\nFG V3 8\nMV3 - V2\nIF "
      "V3\nMV9 "
      "= 1\nIFX\n]\n";
  spelled["put1.script"] = "K 00 00 4 1 5\nT 14\n]\n";
  spelled["put2.script"] = "K 00 00 4 4 8\nT 20\n]\n";
  ModuleImage family, plain;
  Result result = BuildModule(FamilySource(), &family);
  ASSERT_TRUE(result.ok()) << result.text;
  result = BuildModule(spelled, &plain);
  ASSERT_TRUE(result.ok()) << result.text;
  ASSERT_EQ(family.files.size(), plain.files.size());
  for (std::size_t i = 1; i < family.files.size(); ++i) {
    EXPECT_EQ(family.files[i].path, plain.files[i].path);
    EXPECT_TRUE(family.files[i].bytes == plain.files[i].bytes) << family.files[i].path;
  }
  const std::string ini(family.files[0].bytes.begin(), family.files[0].bytes.end());
  for (const char* part : {"[Device Inquiry]\nEnable=1\nIDSize=1\nID1=0x3E\n", "Family1=0x13\nFamily2=0x00\n",
                           "ChMax=7\n", "message0=F0 3E 31 00 | length 7\nmessage1=F0 3E 31 01 | length 7\n"})
    EXPECT_NE(ini.find(part), std::string::npos) << part << ini;
  EXPECT_EQ(ini.find("Family tagged"), std::string::npos);
}

TEST(ModuleSourceText, MistakesOfFamiliesHaveAPlace) {
  const std::vector<Mistake> cases = {
      {"module.ini", "one = First", "three = First", "module.ini:10: \"three\" is none of the \"Types\""},
      {"module.ini", "two(5) = Second", "one = Second", "module.ini:11: \"one\" has a row already"},
      {"module.ini", "| 31\n", "| 31 | | x\n", "module.ini:10: the row has more cells"},
      {"module.ini", "columns", "column", "module.ini:9: the `columns` of the family come first"},
      {"module.ini", "typeName |", "typeNames |", "module.ini:10: "},
      {"module.ini", "Identity = 3E | 13 00", "Identity = 3E | 13", "module.ini:4: `Identity` reads"},
      {"../common/tagged.descriptor", "00..01", "01..00",
       "../common/tagged.descriptor:3: one range of bytes reads 00..0F"},
      {"../common/tagged.descriptor", "00..01", "..01", "../common/tagged.descriptor:3: one range"},
      {"../common/tagged.descriptor", "00..01", "00..01 00..01", "../common/tagged.descriptor:3: one range"},
      {"../common/get.script", "TR", "SetFoo", "../common/get.script:4: "},
      {"../common/get.script", "]\n", "SetFoo 1\n]\n", "../common/get.script:7: "},
  };
  ExpectMistakes(FamilySource(), cases);
}

TEST(ModuleSourceText, MistakesInStepsHaveAPlace) {
  const ModuleSource source = {
      {"module.ini", "[Module]\nName = Steps\nDriverBase = 70\nTypes = one\nmanufacturerId = 0x3E\n"},
      {"one.descriptor",
       "typeName = One\nfileSize = 20\nmessage = F0 3E 01\nget = ask F0 3E 10 patch F7 | size 8\n"
       "get = repeat 3\nget = ask F0 3E 10+turn F7 | size 4\nget = end\nput = set 3: patch\nput = data\n"}};
  ModuleImage image;
  const Result result = BuildModule(source, &image);
  ASSERT_TRUE(result.ok()) << result.text;
  const std::vector<Mistake> cases = {
      {"one.descriptor", "get = repeat 3", "get = repeat 2", "one.descriptor:7: the steps have 16 bytes of 20"},
      {"one.descriptor", "get = repeat 3", "get = repeat", "one.descriptor:5: \"repeat\" needs a number"},
      {"one.descriptor", "get = end\n", "", "one.descriptor:6: a `repeat` has no `end`"},
      {"one.descriptor", "get = repeat 3\n", "", "one.descriptor:6: there is no `repeat`"},
      {"one.descriptor", " | size 4", "", "one.descriptor:6: each step needs the number"},
      {"one.descriptor", "10+turn", "10+turns", "one.descriptor:6: \"10+turns\" is no byte"},
      {"one.descriptor", "put = data", "put = ask F0 F7", "one.descriptor:9: `put` has no step \"ask\""},
      {"one.descriptor", "put = data", "put = data | size 3", "one.descriptor:9: the step \"data\" has no option"},
      {"one.descriptor", "put = data", "put = send F0 3E F7", "one.descriptor:9: no step takes or sends"},
      {"one.descriptor", "set 3: patch", "set 19: 01 patch", "one.descriptor:8: the bytes lie outside"},
      {"one.descriptor", "set 3: patch", "set 3", "one.descriptor:8: `set` reads"},
      {"one.descriptor", "set 3: patch", "send F0 00 F7 | sum 0 1 9 1", "one.descriptor:8: `sum` reads"},
      {"one.descriptor", "set 3: patch", "area 00 00 00", "one.descriptor:8: `area` reads"},
      {"one.descriptor", "set 3: patch", "pause never", "one.descriptor:8: \"pause\" needs a number"},
      {"one.descriptor", "put = data\n", "put = data\ntransmit = x\n", "one.descriptor:10: there are steps as well"},
  };
  ExpectMistakes(source, cases);
}

}  // namespace tonalith
