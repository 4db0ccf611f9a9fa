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

// $path is that of the stage's files, without their ending.
constexpr const char* kCommands =
    "identify $path.syx,identify $path.dat,identify $path.none,identify $path.script,names $path.syx,"
    "names $path.dat,names $path.syx --type $type?,monitor @$path.syx,monitor @$path.none,monitor $type,"
    "module list,module install $path.none,module install $path.syx,module install $path.pvz,"
    "module build $folder $path.none,module check $folder,"
    "module new $folder/$file --name $module --dump $path.syx,module $type,studio list,studio list $path.syx,"
    "studio summary,studio report,studio listing,studio devices -,studio add $type,studio remove $type,"
    "studio save $folder/none/$file,studio autosense $type,studio $type,"
    "receive $type $type $path.none --virtual factory,receive $module $typePart - --virtual $path.none,"
    "receive $module $typePart $path.2 --virtual $path.syx,receive $module $typePart $path.none --in $type,"
    "receive $module $typePart $path.none --conversation $path.talk,send $path.dat --virtual $path.syx,"
    "send $path.none,send $path.dat --type $type?,rename $path.dat 0 PLAIN,rename $path.dat 999 $patch,"
    "rename $path.none 0 $patch,import $path.syx $path.imported,import $path.syx $path.none --type $type?,"
    "export $path.dat $path.mid,export $path.dat $path.none,desktop dump $path.syx,desktop dump $path.none,"
    "df dump $path.dat,df dump $path.syx,df roundtrip $path.none $path.none,"
    "df make --descriptor $type=1 $path.none,sysxmap dump $path.syx,sysxmap make $path.ini $path.none --id 1,"
    "sysxmap match $path.none F0F7,sysxmap check,compile $path.script,compile --lint $path.script,"
    "compile $path.none,list $path.none,list $path.syx,run $path.script,run $path.none,run $type $type,"
    "pack get $type 0 00,csum $type 5 3 8 00,number 9 $type,name get 0 6 1B5B324A0AFC,help $type,$type";

std::vector<std::string> CommandOf(const std::string& line, const Stage& stage) {
  std::vector<std::string> words = Words(line);
  for (std::string& word : words) {
    for (const auto& [name, value] : {std::pair("$path", stage.Path("")),
                                      {"$folder", stage.folder},
                                      {"$file", stage.file},
                                      {"$module", stage.module},
                                      {"$typePart", stage.typePart},
                                      {"$type", stage.type},
                                      {"$patch", stage.patch}})
      word = ReplaceAll(word, name, value);
  }
  return words;
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
  for (const std::string& what : SplitText(kCommands, ',')) {
    const CliOutput shown = evil.Run(CommandOf(what, evil)), other = good.Run(CommandOf(what, good));
    EXPECT_EQ(Unplain(shown.out), "") << what << "\n" << shown.out;
    EXPECT_EQ(Unplain(shown.err), "") << what << "\n" << shown.err;
    // What is wrong with a source depends on its text.
    if (what.starts_with("compile") || what.starts_with("run") || what.starts_with("module new")) continue;
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
