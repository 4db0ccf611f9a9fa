#pragma once

#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "library/ui/library_adding.h"
#include "library/ui/library_export.h"
#include "library/ui/library_player.h"
#include "store/library/library_search.h"
#include "store/library/library_view.h"
#include "ui/document_window.h"

class QMenu;
class QMimeData;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class EmptyState;
class SearchField;
class ToolRow;
class ZKLibDoc;
class ZKLibListCtrl;
struct LibraryListDrag;
enum class Glyph;

// What a Library's window needs from the program beside what all windows do.
struct LibraryServices {
  // Made on this thread, used on another.
  std::function<LibraryAdding::Reader()> reader;
  // The folder with the conversions of a data type.
  std::function<std::filesystem::path(int driverId)> moduleFolder;
  // Which names give keywords.
  std::function<std::shared_ptr<const KeywordFile>()> keywords;
  // Asks for a folder, beginning at one; empty: the user has cancelled.
  std::function<std::string(const std::string& at)> askFolder;
  // The ports of the instrument that has the data type.
  std::function<LibraryPorts(const DataFile& driver)> ports;
  // New data of the bank that patches of this type belong to; null: the studio has none.
  std::function<DataFilePtr(const DataFile& driver)> newBank;
};

// The window of a Library: its patches as a table with a search field, and how many there are.
class TZKLib final : public DocumentWindow {
  Q_OBJECT

 public:
  TZKLib(std::unique_ptr<ZKLibDoc> document, WindowContext& context, LibraryServices services,
         QWidget* parent = nullptr);
  ~TZKLib() override;

  ZKLibDoc& document() { return library_; }
  ZKLibListCtrl* list() { return list_; }
  LibraryView& view() { return view_; }
  DocumentHeader* header() { return header_; }
  const LibraryAdding& adding() const { return adding_; }
  // Adds files and folders, on other threads.
  void AddFiles(const std::vector<std::string>& sources);

  QString TabText() const override;
  const DataFile* InstrumentData() const override;
  bool VerifyClose() override;
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  SearchField* Search() const override { return search_; }
  std::optional<MidiRoute> AuditionRoute() const override;
  std::string AcceptsMove(const MoveOffer& offer) const override;
  MoveResult ReceiveMove(Move&& move) override;
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void DocumentChanged(const DocumentChange& change) override;
  void Say(const QString& text) override;
  std::string WindowName() const override { return "Library"; }
  std::string SaveTitle() const override { return "Save Library As ?"; }
  QString TitleText() const override;

 private:
  void BuildTools();
  void BuildBody();
  void AddTool(Glyph glyph, CommandId command, const QString& text, bool primary = false);
  void ShowQuickMenu(const QPoint& at);
  void Refresh();
  void ShowBody();
  // They are selected, and the first of them can be seen.
  void ShowAdded(const std::vector<EntryId>& added);
  void ShowAdding();
  void FollowView();
  void WarmUp();
  std::vector<EntryId> Chosen() const;
  QString OwnRefusal(CommandId command) const;
  void RunOwn(CommandId command);
  void Take(const Result& result);
  LibraryAddOptions AddOptions(bool withKeywords);
  void AskSources(bool folder);
  void SortBy(int column);
  void RenameAll();
  void Number();
  void MoveKeywords();
  void Copy(bool cut);
  void Paste();
  void Search(const LibraryCriteria& criteria, const QString& nothing);
  void FindSimilar();
  void NewBank();
  void OpenSelected();
  LibraryListDrag ListDrag();
  void Drag();

  ZKLibDoc& library_;  // the window's document
  LibraryServices services_;
  LibraryView view_;
  LibraryAdding adding_;
  LibraryPlayer player_;
  LibraryExport exports_;
  QTimer warmUp_;  // texts for the filter are made before they are asked for
  std::size_t warm_ = 0;
  int sortedBy_ = -1;
  bool sortedDown_ = false;
  bool searching_ = false;
  QTimer listedAdded_;  // a while after what has come was listed
  Receiver searchReceiver_;
  DocumentHeader* header_;
  ToolRow* tools_;
  SearchField* search_;
  QStackedWidget* body_;
  ZKLibListCtrl* list_;
  EmptyState* empty_;
  EmptyState* none_;  // there are patches, but none is listed
  QPushButton* addFirst_ = nullptr;
  QPushButton* showAll_ = nullptr;
  PlainLabel* counters_;
  PlainLabel* status_;
  std::shared_ptr<const KeywordFile> keywords_;
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
  std::vector<std::pair<CommandId, QAction*>> more_;
};

}  // namespace tonalith
