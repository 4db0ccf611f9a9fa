#include <sys/stat.h>

#include "platform/text.h"
#include "tests/cli/cli_test_tools.h"
#include "tests/platform/short_memory.h"

namespace tonalith {
namespace {

const CliHome& Home() {
  return CliHome::Instance();
}

// Every command that reads a file, with what is none.
TEST(StrangeFiles, EveryCommandSaysWhatItWasGiven) {
  const std::string out = Home().Path("strange.out");
  const std::string fifo = Home().Path("fifo.dat");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const std::string folder = Home().Path("folder.dat");
  std::filesystem::create_directories(folder);
  const std::string empty = Home().Path("empty.dat");
  WriteFileText(empty, "");
  constexpr char kCommands[] =
      "identify FILE,names FILE,df dump FILE,df roundtrip FILE OUT,rename FILE 0 X,import FILE OUT,"
      "export FILE OUT.syx,send FILE --virtual -,sysxmap dump FILE,list FILE,compile FILE,desktop dump FILE,"
      "studio summary FILE,module install FILE,csum 0 0 1 1 @FILE";
  struct Row {
    std::string file;
    const char* why;
  } const rows[] = {{fifo, "it is a pipe, not a file"},
                    {folder, "it is a folder"},
                    {"/dev/zero", "it is a device, not a file"},
                    {Home().Path("none.dat"), ""},
                    {empty, ""}};
  for (const Row& row : rows) {
    for (const std::string& line : SplitText(kCommands, ',')) {
      std::vector<std::string> command = Words(line);
      for (std::string& word : command) word = ReplaceAll(ReplaceAll(word, "OUT", out), "FILE", row.file);
      const CliOutput output = Home().Run(command);
      // A script may be empty, and so may bytes to be summed.
      const bool mayBeEmpty = command[0] == "compile" || command[0] == "list" || command[0] == "csum";
      const int status = row.file == empty && mayBeEmpty ? output.status : 1;
      EXPECT_EQ(output.status, status) << command[0] << " " << row.file;
      EXPECT_NE(output.err.find(row.why), std::string::npos) << command[0] << " " << row.file << ": " << output.err;
      EXPECT_FALSE(std::filesystem::exists(out)) << command[0];
    }
  }
}

TEST(StrangeFiles, CutFilesAreReadKeptAndNotSent) {
  const std::string file = Home().Path("cut.dat");
  std::string body;
  for (const char* name : {"Alpha", "Beta", "Gamma", "Omega"})
    for (int i = 0; i < 16; ++i)
      body += i < static_cast<int>(std::string(name).size()) ? "4" + std::to_string(i % 10) : std::string("20");
  const CliOutput made =
      Home().Run({"df", "make", "--descriptor", "isBank=1", "--descriptor", "numVoices=4", "--descriptor",
                  "voiceSize=16", "--descriptor", "nameLength=10", "--body", body, file});
  ASSERT_EQ(made.status, 0) << made.err;
  std::string cut = ReadFileText(file);
  cut.resize(cut.size() - 20);
  const auto reset = [&] { WriteFileText(file, cut); };
  const std::string note = "The file " + file + " is shorter than it says; what is there was read.";
  reset();
  for (const std::vector<std::string>& command : {std::vector<std::string>{"names", file},
                                                  {"identify", file},
                                                  {"df", "dump", file},
                                                  {"df", "roundtrip", file, Home().Path("copy.dat")},
                                                  {"import", file, Home().Path("whole.dat")}}) {
    const CliOutput output = Home().Run(command);
    EXPECT_EQ(output.status, 0) << command[0];
    EXPECT_NE(output.err.find(note), std::string::npos) << command[0] << ": " << output.err;
  }
  EXPECT_EQ(Home().Run({"names", Home().Path("whole.dat")}).err, "");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"send", file}, {"export", file, Home().Path("cut.syx")}}) {
    const CliOutput output = Home().Run(command);
    EXPECT_EQ(output.status, 1) << command[0];
    EXPECT_NE(output.err.find("A file that is not whole is not sent."), std::string::npos) << output.err;
  }
  EXPECT_FALSE(std::filesystem::exists(Home().Path("cut.syx")));
  const CliOutput renamed = Home().Run({"rename", file, "0", "NEW"});
  EXPECT_EQ(renamed.status, 0) << renamed.err;
  EXPECT_NE(renamed.err.find("kept as " + file + "~."), std::string::npos) << renamed.err;
  EXPECT_EQ(ReadFileText(file + "~"), cut);
  EXPECT_EQ(Home().Run({"rename", file, "1", "NEXT"}).err, "") << "the second save has nothing to keep";
  EXPECT_FALSE(std::filesystem::exists(file + "~2"));
  reset();
  EXPECT_NE(Home().Run({"df", "roundtrip", file, file}).err.find(file + "~2."), std::string::npos);
  EXPECT_EQ(ReadFileText(file + "~"), cut);
}

TEST(StrangeFiles, ShortMemoryEndsTheCommand) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers need the memory themselves";
  const std::string file = Home().Path("large.dat");
  const int seen = InChildWithMemory(330u << 20, [&] {
    const CliOutput output = Home().Run({"df", "make", "--descriptor", "fileSize=200000000", file});
    return output.status == 1 && output.err.find("There is not enough memory") != std::string::npos ? 0 : 1;
  });
  EXPECT_EQ(seen, 0);
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace tonalith
