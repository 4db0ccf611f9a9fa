// The field that searches and filters, alike in every window.
#pragma once

#include <QLineEdit>
#include <QString>
#include <QStringList>

namespace tonalith {

// What a user typed, taken apart once to be held against many texts: every word must occur somewhere, in any order;
// case and accents do not count.  No words fit everything.
class SearchWords {
 public:
  SearchWords() = default;
  explicit SearchWords(const QString& typed);

  bool IsEmpty() const { return words_.isEmpty(); }
  bool Match(const QString& text) const;

 private:
  QStringList words_;
};
bool MatchesWords(const QString& words, const QString& text);

class SearchField : public QLineEdit {
  Q_OBJECT

 public:
  // `what` is the text of the empty field: "Search instruments".
  explicit SearchField(const QString& what, QWidget* parent = nullptr);

  const SearchWords& Words() const { return words_; }
  // How many were found, shown in the field; below 0: nothing is shown.
  void SetHits(int hits);
  int Hits() const { return hits_; }
  // The keyboard goes to the field, and what stands in it is replaced by what is typed.
  void Begin();
  // Ctrl+F goes to the field from everywhere in a dialog.
  void ServeDialog(QWidget* dialog);
  // What an empty list says: that nothing fits, and what to try.
  QString NothingFound() const;

 signals:
  // With every change; without the blanks around.
  void WordsChanged(const QString& words);
  // Down: the first hit should have the focus.
  void GoToList();
  // Escape in the empty field.
  void Left();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QString HitsText() const;
  void MakeRoom();

  SearchWords words_;
  int hits_ = -1;
};

}  // namespace tonalith
