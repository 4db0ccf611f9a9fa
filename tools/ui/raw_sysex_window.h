#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/raw_sysex_document.h"
#include "tools/ui/raw_sysex_model.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"

class QBoxLayout;
class QComboBox;
class QTableView;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class ListSearch;
class MessageDrag;
class RowFilter;
class SearchField;
class Settings;
class TransferFiles;
class ZKStudioDoc;

// What a window with raw SysEx works with; all of it outlives the window.
struct RawSysExServices {
  const ZKStudioDoc& studio;  // knows what messages are
  Settings& settings;         // the port chosen last
  TransferFiles& files;       // sends
  std::vector<std::string> outPorts;
  // Opens what a part of the bytes holds as data; `name` is that of the file.
  std::function<void(std::span<const std::uint8_t> bytes, const std::string& name)> openData;
};

// Raw SysEx: its messages can be looked at, sent, saved again, dragged to other windows and programs and, when an
// instrument of the studio knows them, opened as data.  Bytes are changed in a viewer.
class RawSysExWindow final : public DocumentWindow {
  Q_OBJECT

 public:
  RawSysExWindow(std::unique_ptr<RawSysExDocument> document, WindowContext& context, RawSysExServices services,
                 QWidget* parent = nullptr);
  ~RawSysExWindow() override;

  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;

  // Every byte, whatever is selected, and why it cannot be sent now.
  void SendAll();
  QString SendAllRefusal() const;

  // Of the whole file, whatever is selected.
  void Repair();

  // The selected messages, as data of the instruments that know them.
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;

  RawSysExModel* model() { return model_; }
  QTableView* list() { return list_; }
  SearchField* Search() const override { return search_; }
  void StudioChanged() override;
  // Of the selected messages, in the order of the file.
  std::vector<std::uint8_t> BytesOfSelection() const;
  MessageDrag& drag() { return *drag_; }
  MovesOnOffer& moves() const { return context().moves(); }

 protected:
  std::string WindowName() const override { return "Raw SysEx"; }
  QString TitleText() const override;
  void DocumentChanged(const DocumentChange& change) override;

 private:
  const RawSysExDocument& bytes() const;
  QString Heading() const;
  void BuildHeader(QBoxLayout* column);
  void BuildTools(QBoxLayout* column);
  void BuildList(QBoxLayout* column);
  void Send();
  // The pieces of data that messages belong to, whole, whatever part of them is meant.
  std::vector<std::uint8_t> PiecesOf(std::vector<int> rows) const;
  // Rows of the model, in any order.
  void OpenRows(std::vector<int> rows);
  void SaveSelection();
  std::string NameOfFile() const;
  // Of the model, in the order of the file; those that are hidden are never selected.
  std::vector<int> SelectedRows() const;
  std::vector<std::uint8_t> SelectedBytes() const;
  // Why nothing can be sent, or saved, now; empty: it can.
  QString SendRefusal() const;
  QString SaveRefusal() const;
  QString SearchSummary() const;
  void RefreshTools();

  RawSysExServices services_;
  std::unique_ptr<MessageDrag> drag_;
  DocumentHeader* header_ = nullptr;
  RawSysExModel* model_;
  QTableView* list_;
  SearchField* search_;
  RowFilter* filter_;
  ListSearch* found_;
  QComboBox* port_;
  QToolButton *send_ = nullptr, *save_ = nullptr;
};

}  // namespace tonalith
