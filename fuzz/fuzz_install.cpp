// Packages over an instrument folder with two installed modules.  The bytes are the files of a package, path and
// contents in turn with \1 between them, so that names can be found without packing.  Whatever they are, nothing
// outside the instrument folder changes, a failure changes nothing, and without the user's word no module loses a file
// to another.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "platform/text.h"
#include "studio/module.h"
#include "studio/package_install.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;
using Tree = std::map<std::string, std::string>;

Tree TreeOf(const fs::path& folder) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::ifstream in(entry.path(), std::ios::binary);
    tree[entry.path().lexically_relative(folder).string()] =
        entry.is_regular_file() ? std::string(std::istreambuf_iterator<char>(in), {}) : "/";
  }
  return tree;
}

class InstalledTree {
 public:
  InstalledTree() {
    for (const char* name : {"Synth", "Bolt"}) {
      const ModuleSource source = {{"module.ini", std::string("[Module]\nName = ") + name + "\nDriverBase = " +
                                                      (name[0] == 'S' ? "7" : "9") + "\nTypes = patch\n"},
                                   {"patch.descriptor", "typeName = Patch\nfileSize = 10\nnameLength = 8\n"}};
      ModuleImage image;
      InstallReport report;
      if (!BuildModule(source, &image).ok() || !InstallPackageFiles(image.files, folder(), &report).ok())
        __builtin_trap();
    }
    std::ofstream(root_ / "outside.txt") << "outside";
    std::ofstream(folder() / "Synth/mine.txt") << "mine";
    good_ = TreeOf(root_);
  }
  ~InstalledTree() {
    std::error_code error;
    fs::remove_all(root_, error);
  }
  fs::path folder() const { return root_ / "Instruments"; }
  const fs::path& root() const { return root_; }
  const Tree& good() const { return good_; }
  void Reset() {
    fs::remove_all(root_);
    for (const auto& [path, text] : good_) {
      if (text == "/")
        fs::create_directories(root_ / path);
      else
        std::ofstream(root_ / path, std::ios::binary) << text;
    }
  }

 private:
  fs::path root_ = fs::temp_directory_path() / ("tonalith-fuzz-install-" + std::to_string(::getpid()));
  Tree good_;
};

PackageFiles FilesOf(const std::string& text) {
  PackageFiles files;
  const auto pieces = SplitText(text, '\1');
  for (std::size_t i = 0; i + 1 < pieces.size(); i += 2)
    files.push_back({pieces[i], {pieces[i + 1].begin(), pieces[i + 1].end()}});
  return files;
}

bool Brings(const PackageFiles& files, const std::string& ini) {
  for (const PackageFile& file : files)
    if (AsciiEqualNoCase(file.path, ini)) return true;
  return false;
}

}  // namespace
}  // namespace tonalith

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  static InstalledTree tree;
  if (size > 4096) return 0;
  const PackageFiles files = FilesOf({reinterpret_cast<const char*>(data), size});
  InstallReport report;
  const Result result = InstallPackageFiles(files, tree.folder(), &report);
  Tree after = TreeOf(tree.root());
  if (result.ok() != result.text.empty() || after["outside.txt"] != "outside") __builtin_trap();
  for (const auto& [path, text] : after)
    if (path != "outside.txt" && !path.starts_with("Instruments")) __builtin_trap();
  if (!result.ok() && after != tree.good()) __builtin_trap();
  for (const std::string name : {"Synth", "Bolt"}) {
    for (const auto& [path, text] : tree.good()) {
      const bool own = path.starts_with("Instruments/" + name + "/") || path == "Instruments/" + name + ".ini";
      if (own && !Brings(files, name + ".ini") && after[path] != text) __builtin_trap();
    }
  }
  if (after["Instruments/Synth/mine.txt"] != "mine" && !Brings(files, "Synth.ini")) __builtin_trap();
  if (result.code == kPackageConflict) {
    InstallOptions options;
    options.replace = {"Synth.ini", "Bolt.ini"};
    const Result agreed = InstallPackageFiles(files, tree.folder(), &report, options);
    if (agreed.code == kPackageConflict || (agreed.ok() && report.replaced.empty())) __builtin_trap();
  }
  if (TreeOf(tree.root()) != tree.good()) tree.Reset();
  return 0;
}
