#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/command_line_tool.h"

namespace tonalith {

struct CliOutput {
  int status = 0;
  std::string out;
  std::string err;
};

// One command line, run in this process.
inline CliOutput RunCli(const std::vector<std::string>& arguments, const std::string& input = {},
                        CancelToken interrupt = {}) {
  std::istringstream in(input);
  std::ostringstream out, err;
  CliEnvironment environment{in, out, err, Folders::Below("/nonexistent")};
  environment.interrupt = interrupt;
  CliOutput output;
  output.status = RunCommandLine(arguments, environment);
  output.out = out.str();
  output.err = err.str();
  return output;
}

// A command line without quotes.
inline std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), {}};
}

inline std::string ReadFileText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void WriteFileText(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A folder of this test program that goes away at its end, with the packages of all shipped modules in it; commands are
// run below a configuration root of their own.
class CliHome {
 public:
  static CliHome& Instance() {
    static CliHome home;
    return home;
  }
  CliHome(const CliHome&) = delete;
  CliHome& operator=(const CliHome&) = delete;

  const std::string& problem() const { return problem_; }
  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  CliOutput Run(std::vector<std::string> arguments, const std::string& input = {}, CancelToken interrupt = {}) const {
    arguments.insert(arguments.begin(), {"--config-root", Path("root")});
    return RunCli(arguments, input, interrupt);
  }

 private:
  CliHome() : folder_(std::filesystem::temp_directory_path() / ("tonalith-cli-" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(folder_ / "resources/modules");
    std::filesystem::copy_file(TONALITH_SOURCE_DIR "/resources/EditorPV.bin", folder_ / "resources/EditorPV.bin");
    std::filesystem::copy(TONALITH_SOURCE_DIR "/instruments/common", folder_ / "resources/common");
    for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments")) {
      if (entry.path().extension() != ".chart" && !std::filesystem::exists(entry.path() / "module.ini")) continue;
      const CliOutput built = RunCli({"module", "build", entry.path().string(),
                                      Path("resources/modules/" + entry.path().stem().string() + ".pvz")});
      problem_ += built.err;
    }
    ::setenv("TONALITH_RESOURCES", Path("resources").c_str(), 1);
  }
  ~CliHome() {
    std::error_code error;
    std::filesystem::remove_all(folder_, error);
  }

  std::filesystem::path folder_;
  std::string problem_;
};

}  // namespace tonalith
