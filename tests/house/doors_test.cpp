// Doors that everything takes: text for the terminal, text for windows.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <vector>

#include "tests/house/sources.h"

namespace tonalith::house {
namespace {

struct Door {
  const char* file;  // beginning of the paths where it may stand; empty: nowhere
  const char* what;  // regular expression
  const char* instead;
};

void ExpectOnlyDoors(const std::vector<SourceFile>& files, const std::vector<Door>& doors) {
  for (const SourceFile& file : files) {
    const std::string code = CodeOf(file.path);
    for (const Door& door : doors) {
      if (*door.file && file.path.starts_with(door.file)) continue;
      for (const std::string& found : Matches(code, {}, std::regex(door.what), file.path))
        ADD_FAILURE() << found << " : use " << door.instead;
    }
  }
}

TEST(House, TerminalHasOneDoor) {
  constexpr char kDoor[] = "TerminalText or WriteErrorLine of platform/terminal_text.h";
  ExpectOnlyDoors(SourcesOf(Rooms()),
                  {{"platform/terminal_text.cpp", "\\b(stdout|stderr)\\b", kDoor},
                   {"cli/main.cpp", "\\bstd::(cout|cerr)\\b(?!\\))", kDoor},  // TerminalText(std::cout) is fine
                   {"", "\\bstd::(clog|wcout|wcerr)\\b", kDoor},
                   {"", "\\b(std::)?(printf|puts|putchar|perror|wprintf)\\(", kDoor},
                   {"", "\\b(qDebug|qInfo|qWarning|qCritical)\\(", kDoor}});
  // The streams of a command are behind the door already.
  ExpectOnlyDoors(SourcesOf({"cli"}), {{"", "\\bstd::ostream\\b", kDoor}});
}

// What measures or waits goes by a clock that it was given; the date of files and studios is none.
TEST(House, TimeHasOneDoor) {
  constexpr char kDoor[] = "a Clock of platform/clock.h that was handed in";
  constexpr char kHere[] = "platform/clock.";
  ExpectOnlyDoors(SourcesOf(Rooms()),
                  {{kHere, "\\b(steady_clock|high_resolution_clock|clock_gettime)\\b", kDoor},
                   {"midi/backends/jack_session.cpp", "\\bCLOCK_MONOTONIC\\b", kDoor},  // of a semaphore
                   {"document/recovery.cpp", "\\bsystem_clock\\b", kDoor},              // when it was kept
                   {"", "\\b(sleep_for|sleep_until|wait_for|usleep|nanosleep|gettimeofday|msleep)\\(", kDoor},
                   {"", "\\b(QElapsedTimer|QDeadlineTimer)\\b", kDoor},
                   {"app/application.cpp", "\\bcurrentMSecsSinceEpoch\\(", kDoor}});  // when the program was started
}

std::vector<SourceFile> FilesOfWindows() {
  std::vector<SourceFile> files = SourcesOf(Rooms());
  std::erase_if(files, [](const SourceFile& file) {
    return file.path.find("/ui/") == std::string::npos && file.Room() != "ui" && file.Room() != "app";
  });
  return files;
}

TEST(House, WindowsTakeTextsThroughOneDoor) {
  constexpr char kDoor[] = "ui/plain_text.h";
  constexpr char kHere[] = "ui/style/plain_text.";
  constexpr char kPrompts[] = "ui/qt_prompts.cpp";
  const auto files = FilesOfWindows();
  EXPECT_GT(files.size(), 60u);
  std::vector<SourceFile> others = files;
  std::erase_if(others, [&](const SourceFile& file) { return file.path == kPrompts; });
  ExpectOnlyDoors(others, {{kHere, "\\bQLabel\\b", kDoor},
                           {kHere, "\\bsetTextFormat\\(", kDoor},
                           {"", "\\b(QMessageBox|QInputDialog)\\b", "Prompts"}});
  ExpectOnlyDoors(
      files, {{kHere, "\\b(setToolTip|setStatusTip|setWindowTitle|showMessage)\\(|QToolTip::showText", kDoor},
              {kHere, "\\bQProgressDialog( \\w+)?\\((?!QString\\(\\))", "SetLabel of ui/plain_text.h"},
              {"", "\\b(setWhatsThis|setInformativeText|setDetailedText|setHtml|setMarkdown|insertHtml)\\(", kDoor},
              {"", "\\bappendHtml\\(", kDoor},
              {"", "\\b(QErrorMessage|QTextEdit|QTextBrowser|QTextDocument|QStaticText|QWhatsThis)\\b", kDoor},
              {kHere, "\\baccessibleName\\(|setAccessibleName\\((?!tr\\()", kDoor},
              {"ui/style/qt_text.h", "\\b(QString::fromStdString|fromLocal8Bit|QString::fromUtf8)\\(", kDoor}});
}

TEST(House, ColoursHaveOneDoor) {
  constexpr char kDoor[] = "ColourOf of ui/style/colours.h";
  constexpr char kHere[] = "ui/style/colours.cpp";
  std::vector<SourceFile> files = FilesOfWindows();
  std::erase_if(files, [](const SourceFile& file) { return file.path == "ui/icon_bar.cpp"; });  // tints pictures
  ExpectOnlyDoors(
      files, {{kHere, "\\bQColor( \\w+)?\\(( +\\)|0[xX]|[0-9])", kDoor},
              {kHere, "\\b(fromRgb|fromRgba|fromHsv|fromHsl|qRgb|qRgba)\\(", kDoor},
              {kHere, "\\bQRgb\\b|\\b0[xX][fF]{2}[0-9A-Fa-f]{6}\\b", kDoor},
              {kHere, "\\bQt::(dark|light)?([rR]ed|[gG]reen|[bB]lue|[cC]yan|[mM]agenta|[yY]ellow|[gG]ray)\\b", kDoor},
              {kHere, "\\bsetStyleSheet\\(", "ui/style"}});
}

// What a call is an argument of: the name before the bracket around it; "" when it is none.
std::string CalledWith(const std::string& code, std::size_t at) {
  int depth = 0;
  for (std::size_t i = at; i-- > 0;) {
    const char c = code[i];
    if (c == ')' || c == '}') ++depth;
    if ((c == '(' || c == '{') && depth-- == 0) {
      std::size_t begin = i;
      while (begin > 0 && (std::isalnum(static_cast<unsigned char>(code[begin - 1])) || code[begin - 1] == '_'))
        --begin;
      return code.substr(begin, i - begin);
    }
    if (c == ';' && depth == 0) break;
    // Only as an argument of its own.
    if (depth == 0 && !std::isspace(static_cast<unsigned char>(c)) && c != ',' && i + 1 == at) return {};
  }
  return {};
}

// Bytes become a QString as they are only where it is not shown: for files, addresses, data of items and what a user
// edits or copies.
TEST(House, ShownBytesGoThroughTheDoor) {
  const std::vector<std::string> notShown = {
      // files and addresses
      "QFileInfo", "QFile", "QUrl", "fromLocalFile", "QIcon", "QPixmap", "image", "picture", "info", "file", "in",
      "address", "connectToServer", "getExistingDirectory",
      // data behind what is shown, and copies
      "setData", "setItemData", "CopyText",
      // doors
      "SetTitle", "ShownLine", "ShownLines", "ShownText", "MenuText", "TitleText", "ToolTipText", "SetToolTip",
      "SetStatusTip", "AddEntry", "AddSubmenu", "PlainLabel", "setApplicationDisplayName"};
  const std::vector<std::string> lines = {
      "return found ? FromUtf8(*found) : QString();",  // a picture
      "const QString name = FromUtf8(name_);",         // a socket
      "const QString folder = FromUtf8(studio_.facts().ModuleFolder(instrument).string());",
      "if (text.remove('&').remove(QStringLiteral(\"...\")) != FromUtf8(name)) continue;",
      "return FromUtf8(library_.Text(entry, column));",  // for typing
      "return FromLatin1(index.column() == kNumber ? document_.NumberText(patch) : document_.GetPatchName(patch));"};
  for (const SourceFile& file : FilesOfWindows()) {
    if (file.path.starts_with("ui/style/plain_text.") || file.path == "ui/style/qt_text.h" ||
        file.path == "ui/qt_prompts.cpp")
      continue;
    const std::string code = CodeOf(file.path);
    const std::regex conversion("\\bFrom(Utf8|Latin1)\\(");
    for (std::sregex_iterator at(code.begin(), code.end(), conversion), end; at != end; ++at) {
      const auto place = static_cast<std::size_t>(at->position());
      const auto line = static_cast<std::size_t>(std::count(code.begin(), code.begin() + at->position(), '\n'));
      const std::string& text = file.lines[line];
      const std::string trimmed = text.substr(std::min(text.find_first_not_of(' '), text.size()));
      const std::string user = CalledWith(code, place);
      if (std::find(notShown.begin(), notShown.end(), user) != notShown.end()) continue;
      if (std::find(lines.begin(), lines.end(), trimmed) != lines.end()) continue;
      ADD_FAILURE() << file.path << ":" << line + 1 << ": " << trimmed << " : use ShownUtf8 or ShownLatin1";
    }
  }
}

}  // namespace
}  // namespace tonalith::house
