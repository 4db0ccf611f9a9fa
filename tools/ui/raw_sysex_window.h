#pragma once

#include <QAbstractTableModel>
#include <QModelIndexList>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/raw_sysex_document.h"
#include "tools/sysex_words.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"

class QBoxLayout;
class QComboBox;
class QTableView;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class ListSearch;
class RowFilter;
class SearchField;
class Settings;
class TransferFiles;

// What a window with raw SysEx works with; all of it outlives the window.
struct RawSysExServices {
  const ZKStudioDoc& studio;  // knows what messages are
  Settings& settings;         // the port chosen last
  TransferFiles& files;       // sends
  std::vector<std::string> outPorts;
  // Opens what a part of the bytes holds as data; `name` is that of the file.
  std::function<void(std::span<const std::uint8_t> bytes, const std::string& name)> openData;
};

// The messages of raw SysEx bytes, a row each.
class RawSysExModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kOffset, kLength, kHolds, kBytes, kColumns };

  // Both must outlive the model.
  RawSysExModel(const RawSysExDocument& document, const ZKStudioDoc& studio, QObject* parent);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  // What is known of the studio is read again at the next row.
  void StudioChanged();
  // The piece of data that a message belongs to; null: nobody knows the message.
  const SysExName* PieceAt(int row) const;
  // What a message holds and its first bytes, for a search.
  QString TextOf(int row) const;
  const RawSysExDocument::Message& RowAt(int row) const { return document_.messages()[static_cast<std::size_t>(row)]; }

 private:
  const SysExName* PieceOf(const RawSysExDocument::Message& message) const;
  QString NameOf(const RawSysExDocument::Message& message) const;

  const RawSysExDocument& document_;
  const std::vector<SysExName> own_;     // when the document knows none
  const std::vector<SysExName>& names_;  // by offset
  mutable SysExWords words_;             // of the rows that are shown
};

// Raw SysEx: its messages can be looked at, sent, saved again and, when an instrument of the studio knows them, opened
// as data.
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

  // The selected messages, as data of the instruments that know them.
  std::string MoveOutRefusal() const override;
  MoveOffer OfferOut() const override;
  Result MoveOut(Move* move) override;

  RawSysExModel* model() { return model_; }
  QTableView* list() { return list_; }
  SearchField* Search() const override { return search_; }
  void StudioChanged() override { model_->StudioChanged(); }

 protected:
  std::string WindowName() const override { return "Raw SysEx"; }
  QString TitleText() const override;
  void DocumentChanged(const DocumentChange& change) override;

 private:
  const RawSysExDocument& bytes() const;
  void BuildHeader(QBoxLayout* column);
  void BuildTools(QBoxLayout* column);
  void BuildList(QBoxLayout* column);
  void Send();
  void Repair();
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
