#pragma once

#include <QWidget>
#include <string>
#include <vector>

class QListWidget;

namespace tonalith {

class PlainLabel;
class SearchField;

// Which instruments the user owns: a list to check, with pictures and a search.  Nothing is checked for the user but
// what the studio holds already, which stays.
class InstrumentChoice final : public QWidget {
  Q_OBJECT

 public:
  struct Entry {
    std::string moduleFile;
    bool inStudio = false;
  };
  explicit InstrumentChoice(const std::vector<Entry>& installed, QWidget* parent = nullptr);

  // Modules that were checked, without those in the studio, in the order of the list.
  std::vector<std::string> Chosen() const;
  SearchField* search() { return search_; }
  QListWidget* list() { return list_; }

 signals:
  void Changed();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void AddEntry(const Entry& entry);
  void Filter();
  void CheckFound();
  void ShowCount();

  SearchField* search_;
  QListWidget* list_;
  PlainLabel* nothing_;
  PlainLabel* count_;
};

}  // namespace tonalith
