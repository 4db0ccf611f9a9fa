#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "platform/jobs.h"
#include "services/instrument_history.h"

class QPushButton;
class QStackedWidget;
class QStandardItemModel;
class QTableView;

namespace tonalith {

class ListSearch;
class PlainLabel;
class RowFilter;
class SearchField;
class WindowContext;

// What instruments held before something was sent over it: any of it can be looked at, sent back and forgotten.
class InstrumentHistoryWindow final : public QDialog {
  Q_OBJECT

 public:
  // The context must outlive the window.
  InstrumentHistoryWindow(WindowContext& context, QWidget* parent);
  ~InstrumentHistoryWindow() override;

  QTableView* table() { return table_; }
  SearchField* search() { return search_; }
  // What was chosen, in a window of its own; back to its instrument; out of the history.
  void ShowChosen();
  void RestoreChosen();
  void ForgetChosen();

 signals:
  // For the status line.
  void Said(const QString& text);

 private:
  enum Column { kNumberColumn, kDateColumn, kInstrumentColumn, kWhatColumn, kColumns };
  void BuildTable();
  void BuildButtons();
  void Fill();
  void Refresh();
  // Null: none is.
  const HistoryEntry* Chosen() const;
  // Asks about something that cannot be taken back.
  bool Agrees(const std::string& question, const char* verb);
  void Tell(const QString& text);

  WindowContext& context_;
  std::vector<HistoryEntry> entries_;
  QStandardItemModel* rows_;
  RowFilter* filter_;
  SearchField* search_;
  QStackedWidget* places_ = nullptr;
  QTableView* table_;
  ListSearch* found_ = nullptr;
  PlainLabel* status_;
  QPushButton* show_ = nullptr;
  QPushButton* restore_ = nullptr;
  QPushButton* forget_ = nullptr;
  bool restoring_ = false;
  int listener_ = 0;
  Receiver receiver_;
};

}  // namespace tonalith
