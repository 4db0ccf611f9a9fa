#pragma once

#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sets/ui/set_editor.h"
#include "ui/commands.h"

class QPushButton;
class QStackedLayout;

namespace tonalith {

class DocumentWindow;
class EmptyState;
class PlainLabel;

// What a component of a Set holds, beside the list: its editor, or why there is none and what can be done.
class SetPane final : public QWidget {
  Q_OBJECT

 public:
  SetPane(ZKGrpDoc& set, WindowContext& context, ZKWindow& window, SetEditor::Host host);
  ~SetPane() override;

  // -1: none.
  void Show(int component);
  // The editor that is shown; null: none.
  TZKBank* bank() const;
  // That of a component, shown or not; null: none was made yet.
  SetEditor* EditorOf(int component) const;
  // The component changed, or all (-1).
  void Follow(int component);
  // The Set's state (busy) changed.
  void FollowState();
  // Ends the transfers of the editors.
  void GiveUpWork();
  void ForEachEditor(const std::function<void(SetEditor& editor)>& visit) const;
  // What is shown above the pane: the component.
  QString Title() const;

 signals:
  void EditorChanged();
  void Say(const QString& text);

 private:
  QWidget* PageOf(int component);
  SetEditor* MakeEditor(int component);
  void FillPages();

  ZKGrpDoc& set_;
  WindowContext& context_;
  ZKWindow& window_;
  SetEditor::Host host_;
  PlainLabel* title_;
  PlainLabel* state_;
  QStackedLayout* pages_;
  EmptyState* none_;
  EmptyState* undefined_;
  EmptyState* linked_;
  EmptyState* stored_;
  EmptyState* inactive_;
  std::vector<std::pair<CommandId, QPushButton*>> buttons_;
  std::map<int, std::unique_ptr<SetEditor>> editors_;
  int component_ = -1;
};

}  // namespace tonalith
