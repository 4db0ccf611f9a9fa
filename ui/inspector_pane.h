#pragma once

#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <vector>

#include "ui/inspector.h"

class QLineEdit;
class QPlainTextEdit;
class QScrollArea;
class QVBoxLayout;

namespace tonalith {

class PlainLabel;
class ZKWindow;

// Shows what a window tells of its selection, and lets it be edited in place.  What is typed is taken with Enter, when
// the focus leaves and before the window saves, undoes or closes; Escape takes it back.
class InspectorPane final : public QWidget {
  Q_OBJECT

 public:
  explicit InspectorPane(QWidget* parent = nullptr);
  ~InspectorPane() override;

  // The window whose selection is shown; null: none.  A window that goes is forgotten.
  void SetWindow(ZKWindow* window);
  ZKWindow* inspected() const { return window_; }
  // Takes what is being typed.
  void Commit();
  // Titles of the sections the user has hidden, of whatever is shown.
  const QStringList& HiddenSections() const { return hidden_; }
  void SetHiddenSections(const QStringList& titles);

 signals:
  // Why something was not taken as it was typed.
  void StatusMessage(const QString& text);

 protected:
  // A hidden pane asks its window for nothing.
  void showEvent(QShowEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Field;
  void Later();
  void Refresh();
  bool FitsShown(const InspectorContent& content) const;
  void Build(InspectorContent content);
  QVBoxLayout* BuildSection(QVBoxLayout* column, const QString& title);
  void BuildRow(QVBoxLayout* column, const InspectorRow& row);
  QWidget* BuildValue(Field& field, const InspectorRow& row);
  void Fill(const InspectorContent& content);
  void Take(Field& field);
  void TakeBack(Field& field);
  Field* FieldOf(const QObject* widget);

  QPointer<ZKWindow> window_;
  QTimer later_;
  QScrollArea* area_;
  PlainLabel* title_ = nullptr;
  PlainLabel* subtitle_ = nullptr;
  InspectorContent shown_;
  QStringList hidden_;
  std::vector<std::unique_ptr<Field>> fields_;  // of all rows in order
  bool taking_ = false;
};

}  // namespace tonalith
