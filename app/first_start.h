#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "app/first_start_choice.h"
#include "studio/auto_config_services.h"

class QPushButton;
class QStackedWidget;
class QTreeWidget;

namespace tonalith {

class PlainLabel;
class SearchRows;
class ZKDrvList;
class ZKStudioDoc;

struct FirstStartFacts {
  std::size_t inputs = 0, outputs = 0;  // MIDI ports found
  std::string data;                     // the folder of the user's data
  bool simulated = false;               // the instruments are simulated already
};

// The first start in three steps: which instruments do you own, where are they, get their sounds.  It may be left at
// every step; what was chosen is in the studio then.
class FirstStartPage final : public QDialog {
  Q_OBJECT

 public:
  // All of it must outlive the page.
  FirstStartPage(const FirstStartFacts& facts, ZKStudioDoc& studio, const AutoConfigServices& services,
                 QWidget* parent = nullptr);

  InstrumentChoice& choice() { return *choice_; }
  SearchRows& search() { return *search_; }
  QTreeWidget& types() { return *types_; }
  QPushButton* nextButton() { return next_; }

 signals:
  // Instruments joined the studio.
  void Added();
  void TrySimulated();
  // Receive this data; the page is closed.
  void Get(ZKDrvList* driver);

 protected:
  void done(int result) override;

 private:
  enum Step { kChoose, kSearch, kGet };
  QWidget* BuildChoice(const FirstStartFacts& facts);
  QWidget* BuildTypes(const FirstStartFacts& facts);
  void GoTo(Step step);
  void Next();
  void AddChosen();
  void FillTypes();
  void AddTypesOf(ZKDrvList* instrument, bool found);
  ZKDrvList* CurrentType() const;
  void GetCurrent();
  void ShowButtons();

  ZKStudioDoc& studio_;
  Step step_ = kChoose;
  PlainLabel *title_, *text_;
  QStackedWidget* pages_;
  InstrumentChoice* choice_;
  SearchRows* search_;
  QTreeWidget* types_;
  QPushButton *simulated_ = nullptr, *leave_ = nullptr, *next_ = nullptr;
};

}  // namespace tonalith
