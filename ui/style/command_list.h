// Everything that can be done, found by typing a word of it (Ctrl+K).
#pragma once

#include <QFrame>
#include <functional>
#include <vector>

#include "ui/style/icons.h"

class QListView;

namespace tonalith {

class CommandListModel;
class EmptyState;
class PlainLabel;
class SearchField;

struct CommandEntry {
  Glyph glyph = Glyph::None;
  QString text = {};      // "Save as"
  QString where = {};     // "File", "Yamaha DX7 · Voice Bank"; searched as well
  QString shortcut = {};  // as it is shown
  std::function<void()> run = {};
  bool enabled = true;
  QString reason = {};  // why it is off, shown instead of `where`
};

// The entries that hold all words: those whose text begins with what was typed first, then those whose text holds all
// of it, then the others; else in the order given.
std::vector<int> FoundEntries(const std::vector<CommandEntry>& entries, const QString& typed);

class CommandList : public QFrame {
  Q_OBJECT

 public:
  explicit CommandList(const QString& what, QWidget* parent = nullptr);
  ~CommandList() override;

  void SetEntries(std::vector<CommandEntry> entries);
  // In the upper middle of `window`, with the focus; what had it gets it back when the list closes.
  void Popup(QWidget* window);
  SearchField* field() const { return field_; }
  QListView* list() const { return list_; }

 signals:
  // After it was hidden; an entry that was chosen runs after this.
  void Closed();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void Filter();
  void Move(int by);
  void RunCurrent();
  void Run(const CommandEntry& entry);
  // The keys of a command work here as in the window, unless the search field has its own use for them.
  bool RunShortcut(const QKeyEvent& key);

  SearchField* field_;
  QListView* list_;
  EmptyState* nothing_;
  CommandListModel* model_;
};

}  // namespace tonalith
