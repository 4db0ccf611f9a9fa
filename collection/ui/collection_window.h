#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collection/ui/collection_adding.h"
#include "collection/ui/collection_page.h"
#include "store/ui/name_export.h"
#include "ui/document_window.h"

class QMenu;
class QPushButton;
class QSplitter;
class QStackedLayout;
class QStackedWidget;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class EmptyState;
class SearchField;
class ToolRow;
class ZKDBaseListCtrl;
struct CollectionListDrag;
enum class Glyph;

// What a Collection's window needs from the program beside what all windows do.
struct CollectionServices {
  CollectionPageServices pages;
  // Made on this thread, used on another.
  std::function<CollectionAdding::Reader()> reader;
  // Asks for a folder, beginning at one; empty: the user has cancelled.
  std::function<std::string(const std::string& at)> askFolder;
};

// The window of a Collection: its entries at the left with a search field, what the current one holds beside them.
class TZKDBase final : public DocumentWindow {
  Q_OBJECT

 public:
  TZKDBase(std::unique_ptr<ZKDBaseDoc> document, WindowContext& context, CollectionServices services,
           QWidget* parent = nullptr);
  ~TZKDBase() override;

  ZKDBaseDoc& document() { return collection_; }
  ZKDBaseListCtrl* list() { return list_; }
  DocumentHeader* header() { return header_; }
  CollectionPage* page() const { return page_; }
  const CollectionAdding& adding() const { return adding_; }
  // Adds files and folders, on another thread.
  void AddFiles(const std::vector<std::string>& sources);

  QString TabText() const override;
  bool VerifyClose() override;
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  bool CommandChecked(CommandId command) const override;
  SearchField* Search() const override { return search_; }
  InspectorContent Inspect() override;
  std::optional<MidiRoute> AuditionRoute() const override;
  void PortsChanged(int changes) override;
  void StudioChanged() override;
  void SettingsChanged() override;
  void GiveUpWork() override;
  std::string AcceptsMove(const MoveOffer& offer) const override;
  MoveResult ReceiveMove(Move&& move) override;
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void DocumentChanged(const DocumentChange& change) override;
  void Say(const QString& text) override;
  std::string WindowName() const override { return "Collection"; }
  std::string SaveTitle() const override { return "Save Collection As ?"; }
  QString TitleText() const override;

 private:
  void BuildTools();
  void BuildBody();
  void AddTool(Glyph glyph, CommandId command, const QString& text, bool primary = false);
  void ShowQuickMenu(const QPoint& at);
  void Refresh();
  void ShowBody();
  // What the current entry holds is shown, unless a transfer runs in another.
  void ShowPage();
  void PageChanged();
  void FollowList();
  QString ShownName() const;
  std::vector<EntryId> Chosen() const;
  // The keys go to what stands beside the list.
  bool InPage() const;
  // The window inside that a command is for; null: none.
  ZKWindow* InnerFor(CommandId command) const;
  bool IsOwn(CommandId command) const;
  QString OwnRefusal(CommandId command) const;
  QString TransferRefusal(CommandId command) const;
  void RunOwn(CommandId command);
  void RunExport(CommandId command);
  void Take(const Result& result);
  CollectionAddOptions AddOptions();
  void AskSources(bool folder);
  void AddLink();
  void SortBy(int column);
  void Resolve();
  void SetStore(int mode);
  void Copy(bool cut);
  void Store(std::vector<CollectionItem> items, const std::string& name, const QString& one, const QString& many);
  ExportSource NamesOfChosen();
  static Result MoveOut(const ZKDBaseDoc& collection, const std::vector<EntryId>& entries, Move* move);
  CollectionListDrag ListDrag();
  void Drag();

  ZKDBaseDoc& collection_;  // the window's document
  CollectionServices services_;
  CollectionAdding adding_;
  NameExport names_;
  std::list<ZKGrpDoc> exported_;  // hold what an export reads
  int sortedBy_ = -1;
  bool sortedDown_ = false;
  DocumentHeader* header_;
  ToolRow* tools_;
  SearchField* search_;
  QStackedWidget* body_;
  QSplitter* split_;
  QStackedWidget* left_;
  ZKDBaseListCtrl* list_;
  EmptyState* empty_;
  EmptyState* none_;     // there are entries, but none is listed
  EmptyState* nothing_;  // no entry is current
  QStackedWidget* right_;
  CollectionPage* page_ = nullptr;
  QPushButton* addFirst_ = nullptr;
  PlainLabel* status_;
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
  std::vector<std::pair<CommandId, QAction*>> more_;
};

}  // namespace tonalith
