// The commands of a document as tools with icon and word.  At most seven are shown; the others, and those for which the
// row is too narrow, stand in the menu behind "More".  The search field at the end is never pushed out.
#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "ui/style/icons.h"

class QAction;
class QMenu;
class QToolButton;

namespace tonalith {

class SearchField;

class ToolRow : public QWidget {
  Q_OBJECT

 public:
  static constexpr int kMostTools = 7;

  explicit ToolRow(QWidget* parent = nullptr);

  // From left to right.  `text` may be empty: an icon alone, `tip` is its name then.  The caller connects clicked(),
  // or calls setMenu() for a tool that opens one.  Use setEnabled() as usual, and Show() instead of setVisible().
  QToolButton* Add(Glyph glyph, const QString& text, const QString& tip, bool primary = false);
  // A tool that carries out an action and follows its state.
  QToolButton* Add(Glyph glyph, QAction* action, bool primary = false);
  void Show(QToolButton* tool, bool shown);
  // Only in the menu behind "More".
  QAction* AddToMore(Glyph glyph, const QString& text, std::function<void()> run);
  void AddToMore(QAction* action);
  void AddLineToMore();
  // Right-aligned; the row takes it over.
  void SetSearch(SearchField* search);
  SearchField* search() const { return search_; }

  QToolButton* more() const { return more_; }
  // The tools that stand in the row now.
  std::vector<QToolButton*> InRow() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  bool event(QEvent* event) override;

 private:
  struct Tool {
    QToolButton* button;
    QString name;
    bool wanted;
    bool inRow;
  };
  QToolButton* Insert(QToolButton* button, const QString& name, bool primary);
  int WidthOf(std::size_t tools, bool more) const;
  void Arrange();
  void FillMore();

  std::vector<Tool> tools_;
  std::vector<QAction*> extra_;
  QToolButton* more_;
  QMenu* menu_;
  SearchField* search_ = nullptr;
};

}  // namespace tonalith
