#pragma once

#include <QWidget>

#include "studio/instrument_search.h"

class QPushButton;
class QTreeWidget;

namespace tonalith {

class PlainLabel;

// A search for instruments as it goes: a row for each with what became of it, and the buttons that stop it and try
// again.
class SearchRows final : public QWidget {
  Q_OBJECT

 public:
  // Both must outlive the widget.
  SearchRows(ZKStudioDoc& studio, const AutoConfigServices& services, QWidget* parent = nullptr);

  // Puts what is to be searched for into it, then Begin.
  InstrumentSearch& search() { return search_; }
  // Shows the rows of the search and starts it, hasty at first.
  void Begin();
  // "3 of 5 found"
  QString Summary() const;

 signals:
  // The search has begun, or is over.
  void RunningChanged(bool running);

 private:
  void Start(InstrumentSearch::Pace pace);
  void FillRows();
  void ShowRow(std::size_t row);
  void ShowState();

  InstrumentSearch search_;
  QTreeWidget* rows_;
  PlainLabel* summary_;
  QPushButton *stop_, *again_;
};

}  // namespace tonalith
