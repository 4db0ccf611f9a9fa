#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "studio/package_install.h"
#include "studio/ui/studio_host.h"
#include "studio/ui/studio_list.h"
#include "studio/ui/studio_pictures.h"
#include "studio/ui/studio_tree.h"
#include "ui/plain_text.h"
#include "ui/style/icons.h"
#include "ui/window_base.h"

class QAction;
class QLayout;
class QListWidget;
class QMenu;
class QSplitter;
class QStackedWidget;
class QToolButton;
class QTreeWidgetItem;

namespace tonalith {

class EmptyState;
class SearchField;
struct InstrumentChange;

// The studio window: the instruments as panels or as a tree, and everything that is done with them.
class TZKDrvLst final : public ZKWindow {
  Q_OBJECT

 public:
  TZKDrvLst(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent = nullptr);
  ~TZKDrvLst() override;

  ZKStudioTree* tree() { return tree_; }
  ZKStudioList* list() { return list_; }
  SearchField* search() { return search_; }
  // The studio or the ports changed.
  void Refresh();
  // What is open, or its state, changed.
  void ShowDocuments();
  // Makes this instrument the current one.
  void SelectInstrument(const ZKDrvList* instrument);
  // Makes the last instrument of a module the current one.
  void Select(const std::string& moduleFile);
  // The current driver or instrument of the view that is shown; null when there is none.
  ZKDrvList* CurrentNode() const;
  std::vector<ZKDrvList*> SelectedInstruments() const;
  ZKStudioDoc& studio() { return studio_; }
  StudioWindowHost& host() { return host_; }
  bool ShowsPanels() const;
  void ShowPanels(bool panels);
  // What can be done with the current row; `at` is a global position.
  void ShowMenu(const QPoint& at);

  // Asks what a package holds, installs it and brings its instrument into the studio.  With `queue` the instrument is
  // not searched for yet (SenseQueued).  False: nothing was installed.  `source` is where the package came from, when
  // that is not its path; `goOn` becomes false when the user cancelled a row of packages.
  bool InstallInstrumentModule(const std::string& package, bool queue, const std::string& source = {},
                               bool more = false, bool* goOn = nullptr);
  // From packages the user chooses, or (true) from a folder of packages.
  void OnInstallFrom(bool folder);
  void OnInstallFromDisk();
  void OnInstallFromWeb();
  // Shows what can be added: the list of installed modules.
  void OfferInstruments();
  // Searches for the instruments that were added meanwhile, when the user wants that.
  void SenseQueued();
  void OnAutoSense();
  void OnSettings();
  void OnSetupInformation();
  void OnMidiDeviceFile();
  // Puts what is missing of SysEx maps on the clipboard.
  void OnDriversMissingDescriptor();
  // One instrument of every installed module takes the place of the present ones, after a question.
  void BuildStudio();
  void RemoveSelected();
  void UndoRemove();
  void MoveCurrent(int by);
  void DeleteModuleOfCurrent();
  void OpenModuleFolder();

  WindowType TypeCode() const override { return WindowType::Studio; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId command) const override;
  SearchField* Search() const override { return search_; }
  void RunCommand(CommandId command) override;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  struct Removed {
    std::unique_ptr<ZKDrvList> instrument;
    int index = 0;
  };
  void BuildSearch();
  void BuildShortcuts();
  void BuildViews();
  void BuildButtons();
  void ConnectViews();
  QAction* AddCommand(QMenu* menu, Glyph glyph, const QString& text, const QString& tip,
                      const std::function<void()>& run);
  QToolButton* AddButton(QLayout* row, Glyph glyph, const QString& text, const QString& tip);
  bool ActivateDocument(QTreeWidgetItem* item);
  void AddInstallMenu(QAction* tool);
  void AddReportMenu(QAction* tool);
  void BuildMenu(QMenu* menu);
  void AddFromFile(QMenu* menu, ZKDrvList* driver);
  void AddSettings(QMenu* menu, ZKDrvList* instrument);
  void AddPorts(QMenu* menu, ZKDrvList* instrument, bool input);
  void AddChannels(QMenu* menu, ZKDrvList* instrument, bool device);
  void BuildAddMenu(QMenu* menu);
  void Change(ZKDrvList* node, const InstrumentChange& change);
  void FillDrivers();
  void Filter();
  void SelectionChanged();
  void Moved(int from, int to);
  void UpdateState();
  void ApplyStyle();
  ZKDrvList* CurrentInstrument() const;

  ZKStudioDoc& studio_;
  StudioWindowHost& host_;
  StudioPictures pictures_;
  SearchField* search_ = nullptr;
  QToolButton* more_ = nullptr;
  QStackedWidget* views_ = nullptr;
  QWidget* shown_ = nullptr;  // tree or panels, also while something else stands in their place
  ZKStudioTree* tree_ = nullptr;
  QSplitter* panels_ = nullptr;
  ZKStudioList* list_ = nullptr;
  QListWidget* drivers_ = nullptr;  // of the current panel
  EmptyState *empty_ = nullptr, *nothing_ = nullptr;
  PlainLabel* hint_ = nullptr;
  QToolButton *get_ = nullptr, *create_ = nullptr, *add_ = nullptr, *sense_ = nullptr;
  QAction *remove_ = nullptr, *undo_ = nullptr, *settings_ = nullptr, *connected_ = nullptr, *panelsAction_ = nullptr;
  std::vector<Removed> removed_;
  bool installing_ = false;
  int styleListener_ = 0;
};

// Creates the studio window; `parent` may be null.
TZKDrvLst* ZKDriverList(QWidget* parent, ZKStudioDoc& studio, StudioWindowHost& host);
// New data of the selected driver in a window of its own; false when no driver is selected (the user is told).
bool DrvOpenNewEditor(TZKDrvLst* parent);
// Removes every instrument after a question; false when the user kept one.
bool DrvRemoveAllDrivers(TZKDrvLst* parent);

}  // namespace tonalith
