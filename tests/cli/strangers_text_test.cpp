// Names of types, patches, instruments and files that try to act on the terminal or to look like another line.

#include <algorithm>

#include "platform/plain_text.h"
#include "platform/text.h"
#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

void ReplaceInFile(const std::filesystem::path& file, const std::string& what, const std::string& by) {
  ASSERT_EQ(what.size(), by.size());
  const std::string text = ReadFileText(file);
  const std::string changed = ReplaceAll(text, what, by);
  if (changed != text) WriteFileText(file, changed);
}

// A configuration with a module, a studio, data files and scripts that carry one kind of names.
struct Stage {
  std::string root, folder, module, type, patch, file;
  std::string typePart;  // of the type, as a user can write it

  CliOutput Run(std::vector<std::string> words, const std::string& input = {}) const {
    words.insert(words.begin(), {"--config-root", root});
    return RunCli(words, input);
  }
  std::string Path(const std::string& extension) const { return folder + "/" + file + extension; }

  // The names are as long as those they replace in the files.
  void Make() const {
    std::filesystem::create_directories(folder);
    ASSERT_EQ(Run({"studio", "list"}).status, 0);
    ASSERT_EQ(Run({"receive", "yamaha dx7", "voice bank", Path(".syx"), "--virtual", "factory"}).status, 0);
    ASSERT_EQ(Run({"receive", "yamaha dx7", "voice bank", Path(".dat"), "--virtual", "factory"}).status, 0);
    const std::string first = Run({"names", Path(".syx")}).out;
    const std::string name = first.substr(first.find('\t', 2) + 1, 10);
    for (const char* extension : {".syx", ".dat"}) {
      ReplaceInFile(Path(extension), name, patch);
      ReplaceInFile(Path(extension), "Voice Bank", type);
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file()) continue;
      ReplaceInFile(entry.path(), "Voice Bank", type);
      if (entry.path().extension() == ".ini") ReplaceInFile(entry.path(), "Name=Yamaha DX7", "Name=" + module);
      // The studio is made again of its modules.
      if (entry.path().extension() == ".PV9") std::filesystem::remove(entry.path());
    }
    WriteFileText(Path(".script"), "S 3 { F0 " + type + " } ]");
    WriteFileText(Path(".ini"), type + "=" + patch);
    WriteFileText(Path(".talk"), "OUT " + type);
    std::filesystem::copy_file(CliHome::Instance().Path("resources/modules/kawai-k4.pvz"), Path(".pvz"));
  }
};

std::vector<std::vector<std::string>> Commands(const Stage& stage) {
  const std::string syx = stage.Path(".syx"), dat = stage.Path(".dat"), none = stage.Path(".none");
  return {{"identify", syx},
          {"identify", dat},
          {"identify", none},
          {"identify", stage.Path(".script")},
          {"names", syx},
          {"names", dat},
          {"names", syx, "--type", stage.type + "?"},
          {"monitor", "@" + syx},
          {"monitor", "@" + none},
          {"monitor", stage.type},
          {"module", "list"},
          {"module", "install", none},
          {"module", "install", syx},
          {"module", "install", stage.Path(".pvz")},
          {"module", "build", stage.folder, none},
          {"module", "check", stage.folder},
          {"module", "new", stage.folder + "/" + stage.file, "--name", stage.module, "--dump", syx},
          {"module", stage.type},
          {"studio", "list"},
          {"studio", "list", syx},
          {"studio", "summary"},
          {"studio", "report"},
          {"studio", "listing"},
          {"studio", "devices", "-"},
          {"studio", "add", stage.type},
          {"studio", "remove", stage.type},
          {"studio", "save", stage.folder + "/none/" + stage.file},
          {"studio", "autosense", stage.type},
          {"studio", stage.type},
          {"receive", stage.type, stage.type, none, "--virtual", "factory"},
          {"receive", stage.module, stage.typePart, "-", "--virtual", none},
          {"receive", stage.module, stage.typePart, stage.Path(".2"), "--virtual", syx},
          {"receive", stage.module, stage.typePart, none, "--in", stage.type},
          {"receive", stage.module, stage.typePart, none, "--conversation", stage.Path(".talk")},
          {"send", dat, "--virtual", syx},
          {"send", none},
          {"send", dat, "--type", stage.type + "?"},
          {"rename", dat, "0", "PLAIN"},
          {"rename", dat, "999", stage.patch},
          {"rename", none, "0", stage.patch},
          {"import", syx, stage.Path(".imported")},
          {"import", syx, none, "--type", stage.type + "?"},
          {"export", dat, stage.Path(".mid")},
          {"export", dat, none},
          {"desktop", "dump", syx},
          {"desktop", "dump", none},
          {"df", "dump", dat},
          {"df", "dump", syx},
          {"df", "roundtrip", none, none},
          {"df", "make", "--descriptor", stage.type + "=1", none},
          {"sysxmap", "dump", syx},
          {"sysxmap", "make", stage.Path(".ini"), none, "--id", "1"},
          {"sysxmap", "match", none, "F0F7"},
          {"sysxmap", "check"},
          {"compile", stage.Path(".script")},
          {"compile", "--lint", stage.Path(".script")},
          {"compile", none},
          {"list", none},
          {"list", syx},
          {"run", stage.Path(".script")},
          {"run", none},
          {"run", stage.type, stage.type},
          {"pack", "get", stage.type, "0", "00"},
          {"csum", stage.type, "5", "3", "8", "00"},
          {"number", "9", stage.type},
          {"name", "get", "0", "6", "1B 5B 32 4A 0A FC"},
          {"help", stage.type},
          {stage.type}};
}

std::string Unplain(const std::string& text) {
  if (!IsValidUtf8(text)) return "bytes that are no UTF-8";
  for (const char32_t code : Utf8CodePoints(text))
    if (IsHiddenCharacter(code) && code != U'\n' && code != U'\t' && code != U'\r' && code != U'\f')
      return "character " + std::to_string(static_cast<unsigned>(code));
  return {};
}

TEST(StrangersText, NoCommandPassesItOnToTheTerminal) {
  const CliHome& home = CliHome::Instance();
  ASSERT_EQ(home.problem(), "");
  const Stage evil{home.Path("evil-root"),
                   home.Path("evil"),
                   "Evil\x1B[7m\x07.",
                   "\x1B[2J\nd\xFC\r\x9B\x7F",
                   "\x1B]0;x\x07\nab\x08",
                   "e\x1B[31m\nvil\xE2\x80\xAE\xFC",
                   "[2J"};
  const Stage good{
      home.Path("good-root"), home.Path("good"), "Yamaha DX7", "A bank ...", "A PATCH ..", "good", "A bank"};
  for (const Stage* stage : {&evil, &good}) stage->Make();
  const auto evils = Commands(evil), goods = Commands(good);
  for (std::size_t i = 0; i < evils.size(); ++i) {
    const CliOutput shown = evil.Run(evils[i]), other = good.Run(goods[i]);
    const std::string what = PlainLine(evils[i].front() + (evils[i].size() > 1 ? " " + evils[i][1] : ""));
    EXPECT_EQ(Unplain(shown.out), "") << what << "\n" << shown.out;
    EXPECT_EQ(Unplain(shown.err), "") << what << "\n" << shown.err;
    // What is wrong with a source depends on its text.
    if (evils[i].front() == "compile" || evils[i].front() == "run" || what == "module new") continue;
    EXPECT_EQ(shown.status, other.status) << what << "\n" << shown.err << other.err;
    const auto lines = [](const CliOutput& output) {
      return std::count(output.out.begin(), output.out.end(), '\n') +
             std::count(output.err.begin(), output.err.end(), '\n');
    };
    EXPECT_EQ(lines(shown), lines(other)) << what << "\n" << shown.out << shown.err << other.out << other.err;
  }
}

}  // namespace
}  // namespace tonalith
