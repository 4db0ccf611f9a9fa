#pragma once

#include <QDialog>
#include <filesystem>
#include <string>
#include <vector>

#include "studio/package_install.h"
#include "studio/ui/studio_host.h"
#include "ui/plain_text.h"

class QListWidget;
class QPushButton;
class QStackedWidget;

namespace tonalith {

class ListSearch;
class SearchField;

// The folder packages were installed from last; kept in the application's INI file.
std::string LastInstallFolder(const ZKStudioDoc& studio);
void RememberInstallFolder(const ZKStudioDoc& studio, const std::string& folder);

// The text of "what will be installed": source, size, SHA-256, module, versions, files, and which other modules would
// lose their place.
std::string InstallPreviewText(const std::string& source, const PackageData& package, const PackagePreview& preview);

enum class InstallAnswer { Install, Skip, Cancel };
// What the user decided about a package.
struct InstallChoice {
  InstallAnswer answer = InstallAnswer::Skip;
  bool empty = false;                // the package holds nothing
  std::vector<std::string> replace;  // for InstallOptions::replace
};
// Looks at a package, tells what is wrong with it (Skip), or asks whether to install what it holds, with a second
// question when another module would lose its place.  `source` is where it came from; `more` when other packages
// follow.
InstallChoice AskInstall(const PackageData& package, const std::string& source, bool more, const ZKStudioDoc& studio,
                         Prompts& prompts);

// Reads a package on a thread of its own; meanwhile windows are painted, and nothing is typed or clicked.
Result LoadPackageAside(const std::filesystem::path& package, PackageData* data);

// Unpacks a package on a thread of its own, with a progress window that can cancel it.
Result InstallWithProgress(const PackageData& package, const std::filesystem::path& instruments,
                           const InstallOptions& options, InstallReport* report, QWidget* parent);

// Lists the packages of a folder and returns the chosen ones.
class InstallFromDlg final : public QDialog {
  Q_OBJECT

 public:
  InstallFromDlg(const std::string& folder, QWidget* parent = nullptr);
  void SetFolder(const std::string& folder);
  const std::string& folder() const { return folder_; }
  std::vector<std::string> Chosen() const;  // paths

 private:
  QString SearchSummary() const;
  void ChooseFolder();
  void UpdateState();

  std::string folder_;
  PlainLabel* place_;
  QListWidget* list_;
  SearchField* search_;
  ListSearch* found_;
  QStackedWidget* places_;
  QPushButton* all_;
  QPushButton* install_;
};

}  // namespace tonalith
