#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sets/ui/link_part.h"
#include "sets/ui/set_editor.h"
#include "sets/ui/set_transfers.h"
#include "sets/ui/sync_part.h"
#include "ui/document_window.h"

class QMenu;
class QMimeData;
class QSplitter;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class SetPane;
class ToolRow;
class SetView;
class ZKGrpDoc;
enum class SetViewKind;
struct SetViewEvents;
enum class Glyph;

// What a Set's window needs from the program beside what all windows do.
struct SetServices {
  // The data of the wanted type in a file of whatever kind.  `note`: what of the file the user has to know.
  std::function<Result(const std::string& path, const DataFile& wanted, DataFilePtr* data, std::string* note)> read;
  // How far components stand behind those whose patches they play.
  std::function<SetRank(const ZKGrpDoc& set)> rank;
};

// The window of a Set: its components at the left, what the selected one holds beside them.
class TZKGrp final : public DocumentWindow {
  Q_OBJECT

 public:
  TZKGrp(std::unique_ptr<ZKGrpDoc> document, WindowContext& context, SetServices services, QWidget* parent = nullptr);
  ~TZKGrp() override;

  ZKGrpDoc& document() { return set_; }
  // The view of the components that is shown.
  SetView& view() { return *view_; }
  SetPane* pane() { return pane_; }
  DocumentHeader* header() { return header_; }
  const SetTransfers& transfers() const { return transfers_; }

  // The Set is kept by the document of another window, which saves it and takes its changes back; header and status
  // are that window's.
  void BecomePart(ZKWindow& owner);

  QString TabText() const override;
  const DataFile* InstrumentData() const override;
  bool DiffersFromInstrument() const override;
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  bool CommandChecked(CommandId command) const override;
  SearchField* Search() const override;
  InspectorContent Inspect() override;
  std::optional<MidiRoute> AuditionRoute() const override;
  void PortsChanged(int changes) override;
  void StudioChanged() override;
  void SettingsChanged() override;
  void GiveUpWork() override;
  std::string AcceptsMove(const MoveOffer& offer) const override;
  MoveResult ReceiveMove(Move&& move) override;
  // The current component.
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;
  // Takes the data of a file into a component.
  void LoadFile(int component, const std::string& path);

 protected:
  void DocumentChanged(const DocumentChange& change) override;
  std::string WindowName() const override { return "Set"; }
  std::string SaveTitle() const override { return "Save Set As ?"; }
  QString TitleText() const override;
  void closeEvent(QCloseEvent* event) override;

 private:
  SetTransfers::Host TransferHost();
  SetLinkPart::Host LinkHost();
  SetEditor::Host EditorHost();
  // A patch in the pane.
  void ShowPatch(int component, std::uint32_t slot);
  void BuildTools();
  void BuildBody();
  QToolButton* AddTool(Glyph glyph, CommandId command, const QString& text, bool primary = false);
  void ShowQuickMenu(const QPoint& at);
  void AddEntry(QMenu* menu, CommandId command, const QString& text = {});
  void SelectionChanged();
  void Refresh();
  // Where what the current component holds is kept.
  QString PlaceText() const;
  // Why a command of the Set is off now; empty: it is on.
  QString OwnRefusal(CommandId command) const;
  QString OneRefusal(CommandId command) const;
  // The Set does it, not the editor in the pane.
  bool TakesOver(CommandId command) const;
  // The selected components, else the current one.
  std::vector<int> Chosen() const;
  void RunOwn(CommandId command);
  void Activate();
  void ForChosen(const char* name, const std::function<Result(int component)>& change);
  void Load(bool link);
  void TakeOut(bool link);
  void Resolve();
  void Refuse(const Result& result);
  SetViewEvents ViewEvents();
  void ShowView(SetViewKind kind);
  bool TakesDrop(const QMimeData& mime, int component) const;
  void Drop(const QMimeData& mime, int component);
  void Drag(int component);
  MoveSource SourceOf(int component) const;
  // The component that data of the type goes to; -1: none.
  int PlaceOf(const MoveOffer& offer) const;

  ZKGrpDoc& set_;  // the window's document
  SetServices services_;
  SetTransfers transfers_;
  SetLinkPart links_;
  SetSyncPart sync_;
  DocumentHeader* header_;
  ToolRow* tools_;
  QSplitter* split_;
  SetView* view_ = nullptr;
  SetViewKind kind_{};
  SetPane* pane_;
  PlainLabel* status_;
  ZKWindow* owner_ = nullptr;  // null: it is a window of its own
  int care_ = 0;
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
  std::vector<std::pair<CommandId, QAction*>> more_;
};

}  // namespace tonalith
