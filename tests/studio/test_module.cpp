#include <gtest/gtest.h>

#include "data/container.h"
#include "data/data_text.h"
#include "studio/module.h"

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

TEST(ModuleSourceText, EveryErrorHasAPlace) {
  struct Case {
    const char* file;
    const char* from;
    const char* to;
    const char* error;
  };
  const std::vector<Case> cases = {
      {"module.ini", "Types = one bank(7)", "Types = one two", "module.ini:4: there is no file \"two.descriptor\""},
      {"module.ini", "Name = Test Synth", "Name = ../x", "module.ini:2: the name"},
      {"module.ini", "DriverBase = 50", "DriverBase = no", "module.ini:3: a number"},
      {"module.ini", "manufacturerId = 0x3E", "manufacturer = 1", "module.ini:5: "},
      {"module.ini", "[Device Inquiry]", "[Device", "module.ini:7: a section"},
      {"one.descriptor", "fileSize = 12", "fileSize = twelve", "one.descriptor:2: "},
      {"one.descriptor", "headerSize = 4", "headerSize = 40", "one.descriptor:1: "},
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
  for (const Case& c : cases) {
    ModuleSource source = GoodSource();
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

}  // namespace tonalith
