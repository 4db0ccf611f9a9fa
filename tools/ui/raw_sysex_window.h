#pragma once

#include <QAbstractTableModel>
#include <memory>
#include <vector>

#include "tools/raw_sysex_document.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"

class QBoxLayout;
class QComboBox;
class QTableView;

namespace tonalith {

class Settings;
class TransferFiles;

// What a window with raw SysEx works with; all of it outlives the window.
struct RawSysExServices {
  const ZKStudioDoc& studio;  // knows what messages are
  Settings& settings;         // the port chosen last
  TransferFiles& files;       // sends
  std::vector<std::string> outPorts;
};

// The messages of raw SysEx bytes, a row each.
class RawSysExModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kOffset, kLength, kHolds, kBytes, kColumns };

  // The document must outlive the model.
  RawSysExModel(const RawSysExDocument& document, std::vector<SysExName> names, QObject* parent);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  const RawSysExDocument::Message& RowAt(int row) const { return document_.messages()[static_cast<std::size_t>(row)]; }

 private:
  QString NameOf(const RawSysExDocument::Message& message) const;

  const RawSysExDocument& document_;
  std::vector<SysExName> names_;  // by offset
};

// Raw SysEx: its messages can be looked at, sent and saved again.
class RawSysExWindow final : public DocumentWindow {
  Q_OBJECT

 public:
  RawSysExWindow(std::unique_ptr<RawSysExDocument> document, WindowContext& context, RawSysExServices services,
                 QWidget* parent = nullptr);
  ~RawSysExWindow() override;

  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;

  RawSysExModel* model() { return model_; }
  QTableView* list() { return list_; }

 protected:
  std::string WindowName() const override { return "Raw SysEx"; }
  QString TitleText() const override;

 private:
  const RawSysExDocument& bytes() const;
  void BuildTools(QBoxLayout* column);
  void BuildList(QBoxLayout* column);
  void Send();
  void SaveSelection();
  std::vector<std::uint8_t> SelectedBytes() const;

  RawSysExServices services_;
  RawSysExModel* model_;
  QTableView* list_;
  QComboBox* port_;
};

}  // namespace tonalith
