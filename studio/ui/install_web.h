#pragma once

#include <QDialog>
#include <QPointer>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/jobs.h"
#include "studio/module_server.h"
#include "studio/ui/studio_host.h"
#include "ui/plain_text.h"

class QCheckBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace tonalith {

class ListSearch;
class SearchField;

// The packages of the module server: connects, lists, fetches the chosen ones and hands each to `install`, which gets
// the file and where it came from and answers false to stop.  The network runs on a thread of its own.
class InstallFromWebDlg final : public QDialog {
  Q_OBJECT

 public:
  using Install = std::function<bool(const std::filesystem::path& package, const std::string& source, bool more)>;

  InstallFromWebDlg(ZKStudioDoc& studio, StudioWindowHost& host, Install install, QWidget* parent = nullptr);
  ~InstallFromWebDlg() override;

  void Connect();
  void InstallChosen();
  bool Busy() const { return busy_; }
  QListWidget* list() { return list_; }
  SearchField* search() { return search_; }
  QString status() const;

 protected:
  void reject() override;

 private:
  QWidget* BuildServer();
  QWidget* BuildList();
  QString SearchSummary() const;
  ModuleServer Server() const;
  void ShowList(const Result& result, const std::vector<std::string>& names, std::size_t leftOut);
  void FetchNext();
  void Fetched(const Result& result, const std::filesystem::path& file);
  void MarkInstalled();
  void SetBusy(bool busy);
  void UpdateState();
  // Runs work on the thread and `done` here, unless the dialog is gone.
  void Run(std::function<void(ModuleServerSession&)> work, std::function<void()> done);

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  Install install_;
  std::filesystem::path downloads_;
  QLineEdit *site_ = nullptr, *directory_ = nullptr, *user_ = nullptr, *password_ = nullptr;
  PlainLabel* status_;
  QListWidget* list_;
  SearchField* search_;
  ListSearch* found_ = nullptr;
  QStackedWidget* places_ = nullptr;  // the list, or what to do while it is empty
  QCheckBox* installed_;
  QProgressBar* bar_;
  QPushButton *connect_ = nullptr, *start_ = nullptr, *close_ = nullptr;
  std::vector<std::string> waiting_;
  std::size_t done_ = 0;
  CancelToken cancel_;
  bool busy_ = false;
  std::unique_ptr<Jobs> jobs_;
  std::string plainAllowed_;  // server and user whose password may go in plain text
};

}  // namespace tonalith
