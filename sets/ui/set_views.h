#pragma once

#include <QAbstractItemView>
#include <functional>
#include <memory>
#include <vector>

class QMimeData;

namespace tonalith {

class ZKGrpDoc;

// What the views of a Set's components tell and ask the window.
struct SetViewEvents {
  std::function<void()> changed;  // the current component, or the selection
  std::function<void()> open;     // Return or a double click
  std::function<void(const QPoint& at)> menu;
  // Whether what is dragged can be dropped on a component.
  std::function<bool(const QMimeData& mime, int component)> takes;
  std::function<void(const QMimeData& mime, int component)> drop;
  // The component is dragged; returns when that is over.
  std::function<void(int component)> start;
};

// The components of a Set, shown one way or another; selected by their numbers.
class SetView {
 public:
  virtual ~SetView() = default;
  virtual QAbstractItemView* widget() = 0;
  virtual const QAbstractItemView* widget() const = 0;
  virtual QModelIndex IndexOf(int component) const = 0;

  // -1: none.
  int GetCurSel() const;
  void SetCurSel(int component);
  // From the first, in order.
  std::vector<int> Selected() const;
  void Select(const std::vector<int>& components, int current);
};

enum class SetViewKind { List, Panel, Tree };

// A list with columns; names alone, with those of single patches; a tree of instruments, folders and components.  The
// widget belongs to `parent`, which goes before the Set.
SetView* MakeSetView(SetViewKind kind, ZKGrpDoc& set, const SetViewEvents& events, QWidget* parent);

}  // namespace tonalith
