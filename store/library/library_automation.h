#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "store/library/library_choose.h"
#include "store/library/library_document.h"
#include "store/library/library_search.h"
#include "store/library/library_view.h"

namespace tonalith {

// What scripts, remote control and the command line make a Library do.
class LibraryAutomation {
 public:
  LibraryAutomation(ZKLibDoc& library, LibraryView& view) : library_(library), view_(view) {}

  // Commands that need a window, MIDI or a question; false: they cannot be done here.
  using WindowCommand = std::function<bool(const std::string& name, const std::vector<LibraryArgument>& arguments)>;
  void SetWindowCommands(WindowCommand commands) { window_ = std::move(commands); }
  // How many ports there are.
  void SetPortCounts(int in, int out) { portsIn_ = in, portsOut_ = out; }

  // The name as the table of commands has it, from one in any ASCII case, with or without an "L" in front; empty: there
  // is no such command.
  static std::string CommandNamed(std::string_view text);
  static std::vector<std::string> CommandNames();
  // Whether the arguments of the command are texts only, whatever they look like.
  static bool TakesTexts(const std::string& command);

  // 0: done.  -3 (-2): an argument of a wrong kind; -1: no such command, or it cannot be done here.  Why is `problem`.
  int CQAutomation(std::string_view command, const std::vector<LibraryArgument>& arguments);
  // What the last query answered.
  const std::vector<LibraryArgument>& results() const { return results_; }
  const std::string& problem() const { return problem_; }
  // What the last search found.
  const LibrarySearchResult& found() const { return found_; }

 private:
  struct Row;
  using Arguments = std::vector<LibraryArgument>;
  static const std::vector<Row>& Rows();

  int Fail(int code, std::string problem);
  int Take(const Result& result);

  int Texts(const Arguments& arguments, LibraryColumn column, const char* name);
  int Slot(const Arguments& arguments, int slots, bool tags);
  int Choose(const Arguments& arguments);
  int SortBy(const Arguments& arguments);
  int Select(const Arguments& arguments, bool clear);
  int SaveAs(const Arguments& arguments);
  int Setting(const Arguments& arguments, const std::string& name);
  int Copy(bool cut);
  int Paste();
  int Query(const std::string& name);

  ZKLibDoc& library_;
  LibraryView& view_;
  WindowCommand window_;
  int portsIn_ = 256, portsOut_ = 256;
  std::vector<DataFilePtr> clipboard_;
  std::vector<LibraryArgument> results_;
  std::string problem_;
  LibrarySearchResult found_;
};

}  // namespace tonalith
