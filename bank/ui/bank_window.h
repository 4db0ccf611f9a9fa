#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "bank/bank_commands.h"
#include "bank/bank_document.h"
#include "bank/ui/bank_drag.h"
#include "bank/ui/bank_part.h"
#include "ui/instrument_window.h"

class QAction;
class QMenu;
class QStackedLayout;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class EmptyState;
class SearchField;
class BankPatchView;
class ToolRow;
class ZKBankGrid;
class ZKBankListCtrl;
enum class Glyph;

// The bank editor's window.
class TZKBank final : public InstrumentWindow {
  Q_OBJECT

 public:
  TZKBank(std::unique_ptr<ZKBankDoc> document, WindowContext& context, QWidget* parent = nullptr);
  ~TZKBank() override;

  ZKBankDoc& document() { return bank_; }
  const ZKBankDoc& document() const { return bank_; }
  ZKBankListCtrl* list() { return list_; }
  ZKBankGrid* grid() { return grid_; }
  // Of the two the one that is shown.
  BankPatchView* view() const;
  BankDrag& drag() { return drag_; }
  bool ShowsGrid() const { return showsGrid_; }
  void ShowGrid(bool grid);
  SearchField* filter() { return filter_; }
  DocumentHeader* header() { return header_; }

  QString TabText() const override;
  QString ShownName() const override;
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  bool CommandChecked(CommandId command) const override;
  void SettingsChanged() override;
  InspectorContent Inspect() override;
  SearchField* Search() const override { return filter_; }

  std::string AcceptsMove(const MoveOffer& offer) const override;
  MoveResult ReceiveMove(Move&& move) override;
  // The selected patches; without a selection, or when it is one patch, the whole.
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;

  // --- For the parts of the window (bank/ui/bank_part.h)

  WindowContext& context() const { return DocumentWindow::context(); }
  const std::vector<std::unique_ptr<BankWindowPart>>& parts() const { return parts_; }
  // Goes before the window's own commands and parts.
  void AddPart(std::unique_ptr<BankWindowPart> part);
  // What an entry of the command is called now; empty: as in the command table.
  QString CommandText(CommandId command) const;
  // Why nothing can be changed now, a sentence; empty: it can.
  QString EditRefusal() const;
  // From the first, in order; without a selection none.
  std::vector<int> SelectedPatches() const;
  // These become the selection.
  void Select(const std::vector<int>& patches);
  // At a point of the screen.
  void ShowQuickMenu(const QPoint& at);
  // Commands on the bank, with what its module says of it.
  BankCommands Commands();
  // Makes new data of a type on the instrument of this one.
  std::function<DataFilePtr(int driverId)> NewDataMaker() const;
  void RenewTitle() { UpdateTitle(); }
  void RenewHeader() { RefreshHeader(); }
  // How a command ended, where the user sees it.
  void Show(const BankOutcome& outcome);
  void Say(const QString& text) override { InstrumentWindow::Say(text); }

  DataFile* dataFile() const override { return bank_.dataFile(); }
  void BeginReceive(const std::string& undoName) override;
  void PatchesArrived() override { bank_.PatchesArrived(); }
  void ShowSoFar(DataFilePtr soFar, int done, int all) override;
  // A bank of which no patch was received holds nothing to send, though its image is there.
  bool HoldsNothing() const override { return bank_.IsEmpty() || bank_.DefinedPatches() == 0; }
  void EndReceive(bool all, const std::vector<std::uint8_t>& patches) override { bank_.EndReceive(all, patches); }
  int CountUnsent(const std::vector<std::uint8_t>& patches) const override;
  std::vector<std::uint8_t> ChangedPatches() const override;
  bool DiffersFromInstrument() const override { return !bank_.IsEmpty() && bank_.CountDifferent(true) > 0; }
  void WasSent(const std::vector<std::uint8_t>& patches) override { bank_.WasSent(patches); }
  void TransferEnded(bool get, const std::vector<std::uint8_t>& patches, const DeskResult& result) override;
  // A Get or send that goes on where the last one of its kind ended.
  void GoOn(bool get);

 protected:
  void DocumentChanged(const DocumentChange& change) override;
  std::string WindowName() const override { return "Bank Editor"; }
  std::string SaveTitle() const override { return "Save Data As ?"; }

 private:
  void BuildTools();
  void BuildMore();
  void BuildList();
  void BuildView(BankPatchView* view);
  void ReadLook();
  void ReadSettings();
  QToolButton* AddTool(Glyph glyph, CommandId command, const QString& text, bool primary = false);
  void AddMore(Glyph glyph, CommandId command, const QString& text);
  void Refresh();
  void RefreshHeader();
  void RefreshTools();
  void RefreshStatus();
  QString Received() const;
  QString Counts() const;
  BankWindowPart* PartOf(CommandId command) const;
  // The patches that a command means: the selected ones, or all.
  std::vector<int> MeantPatches() const;
  std::vector<std::string> NameLines() const;
  void CopyNames();

  ZKBankDoc& bank_;  // the window's document
  DocumentHeader* header_;
  ToolRow* tools_;
  SearchField* filter_;
  QStackedLayout* pages_;
  PlainLabel* status_;
  BankDrag drag_{*this};
  ZKBankListCtrl* list_;
  ZKBankGrid* grid_ = nullptr;
  bool showsGrid_ = false;
  EmptyState* empty_;
  std::vector<std::unique_ptr<BankWindowPart>> parts_;
  QMenu* exportMenu_ = nullptr;
  QToolButton* send_ = nullptr;
  QString progress_;     // of a Get
  bool goesOn_ = false;  // the Get that begins
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
  std::vector<std::pair<CommandId, QAction*>> more_;
};

}  // namespace tonalith
