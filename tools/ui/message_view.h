#pragma once

#include <QAbstractTableModel>
#include <QTableView>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "tools/data_listing.h"
#include "tools/message_lines.h"

class QTimer;

namespace tonalith {

class SysExWords;

// Bytes as MIDI messages, a row each.  Rows are found in pieces and shown as they are found.
class MessageLinesModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kOffset, kLength, kMessage, kColumns };

  // The listing is asked for whenever bytes are needed.  The words must outlive the model.
  MessageLinesModel(std::function<DataListing()> listing, SysExWords& words, QObject* parent);
  // Begins at the first byte.
  void Begin();
  // Forgets all rows.
  void Clear();
  // Rows are still being found.
  bool Finding() const;
  const MessageLines& lines() const { return lines_; }
  // "00010:  90 3C 40 Note On ...".
  std::string LineText(std::size_t line) const;
  // The words of all rows may be others.
  void WordsChanged();

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 signals:
  void Found();

 private:
  void Step();

  std::function<DataListing()> listing_;
  SysExWords& words_;
  MessageLines lines_;
  int rows_ = 0;  // that the views know of
  QTimer* timer_;
};

// The list of these rows; neighbouring ones can be selected together.
class MessageView final : public QTableView {
  Q_OBJECT

 public:
  MessageView(std::function<DataListing()> listing, SysExWords& words, QWidget* parent);
  MessageLinesModel& rows() { return *rows_; }
  // Makes the row of a byte the current one, unless it is selected already.
  void ShowByte(std::size_t position);
  // First and one behind the last row that is selected; both 0: none.
  std::pair<std::size_t, std::size_t> SelectedLines() const;

 signals:
  // The bytes of the selected rows; `length` is not 0.
  void BytesSelected(std::size_t first, std::size_t length);

 protected:
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;

 private:
  MessageLinesModel* rows_;
  bool following_ = false;  // the selection is that of the bytes
};

}  // namespace tonalith
