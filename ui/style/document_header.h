// The head of a document: the picture of its instrument, its title, what it is, and the marks of its state.
#pragma once

#include <QPixmap>
#include <QWidget>
#include <map>
#include <vector>

#include "ui/style/state_mark.h"

class QHBoxLayout;

namespace tonalith {

class PlainLabel;

class DocumentHeader : public QWidget {
  Q_OBJECT

 public:
  static constexpr QSize kPicture{64, 40};  // logical pixels

  explicit DocumentHeader(QWidget* parent = nullptr);

  // A null picture takes no place, and neither does one that would cut the title.
  void SetPicture(const QPixmap& picture);
  void SetTitle(const QString& title);
  // Type and counts: "DX7 Voice Bank · 32 patches · 3 changed since saved".
  void SetSecondary(const QString& text);
  // Behind the title; `words` replace those of the mark in tool tip and accessible name.
  void SetMark(Mark mark, bool on, const QString& words = {});
  QString Title() const;
  // For what stands at the right end.
  void AddRight(QWidget* widget);

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  void ShowPicture();

  bool hasPicture_ = false;
  PlainLabel* picture_;
  PlainLabel* title_;
  PlainLabel* secondary_;
  QHBoxLayout* marks_;
  QHBoxLayout* row_;
  std::map<Mark, MarkLabel*> labels_;
  std::vector<QWidget*> right_;  // alive as long as the header: they are its children
};

}  // namespace tonalith
