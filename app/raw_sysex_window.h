#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/prompts.h"
#include "ui/window_base.h"

class QComboBox;
class QLabel;
class QTableView;

namespace tonalith {

// What is known about a part of SysEx bytes.
struct SysExName {
  std::size_t offset = 0;
  std::size_t length = 0;
  QString text;  // instrument and data type
};

// What a window with raw SysEx asks of the program.
class RawSysExHost {
 public:
  virtual ~RawSysExHost() = default;
  // Sends bytes as they are to an output port (from 0), and says what came of it.
  virtual void SendRawSysEx(std::span<const std::uint8_t> bytes, int port, const std::string& what) = 0;
  virtual std::vector<SysExName> NameSysEx(std::span<const std::uint8_t> bytes) = 0;
  virtual std::vector<std::string> OutPortNames() const = 0;
  // The port chosen last; a value of 0 or more is kept.
  virtual int RawSysExPort(int port) = 0;
  virtual void FileUsed(const std::string& path) = 0;
  virtual Prompts& prompts() = 0;
};

// The messages of raw SysEx bytes, a row each.
class RawSysExModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kOffset, kLength, kHolds, kBytes, kColumns };

  // The bytes must outlive the model.
  RawSysExModel(std::span<const std::uint8_t> bytes, std::vector<SysExName> names, QObject* parent);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  struct Row {
    std::size_t offset = 0;
    std::size_t length = 0;
    bool complete = true;  // ends with F7
  };
  const Row& RowAt(int row) const { return rows_[static_cast<std::size_t>(row)]; }
  std::size_t otherBytes() const { return other_; }  // outside of every message

 private:
  QString NameOf(const Row& row) const;

  std::span<const std::uint8_t> bytes_;
  std::vector<SysExName> names_;  // by offset
  std::vector<Row> rows_;
  std::size_t other_ = 0;
};

// Raw SysEx: the messages of a file that no data type claims.  They can be looked at, sent and saved again.
class RawSysExWindow final : public ZKWindow {
  Q_OBJECT

 public:
  RawSysExWindow(std::vector<std::uint8_t> bytes, std::string path, RawSysExHost& host, QWidget* parent = nullptr);

  WindowType TypeCode() const override { return WindowType::BankEditor; }
  bool VerifyClose() override { return true; }  // nothing here changes
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  std::string FilePath() const override { return path_; }

  RawSysExModel* model() { return model_; }
  QTableView* list() { return list_; }

 private:
  void Send();
  void SaveAs();
  std::vector<std::uint8_t> SelectedBytes() const;

  std::vector<std::uint8_t> bytes_;
  std::string path_;
  RawSysExHost& host_;
  RawSysExModel* model_;
  QTableView* list_;
  QComboBox* port_;
};

}  // namespace tonalith
