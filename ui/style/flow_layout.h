// Widgets one after the other, in as many lines as the width needs.
#pragma once

#include <QLayout>
#include <memory>
#include <vector>

namespace tonalith {

class FlowLayout final : public QLayout {
 public:
  explicit FlowLayout(QWidget* parent, int gap);
  ~FlowLayout() override;

  void addItem(QLayoutItem* item) override;
  int count() const override { return static_cast<int>(items_.size()); }
  QLayoutItem* itemAt(int index) const override;
  QLayoutItem* takeAt(int index) override;
  Qt::Orientations expandingDirections() const override { return {}; }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override { return Arrange(QRect(0, 0, width, 0), false); }
  QSize sizeHint() const override;
  QSize minimumSize() const override;
  void setGeometry(const QRect& rect) override;

 private:
  // The height that is needed; `apply` moves the widgets.
  int Arrange(const QRect& rect, bool apply) const;

  std::vector<std::unique_ptr<QLayoutItem>> items_;
};

}  // namespace tonalith
