#pragma once

#include <QImage>
#include <QPixmap>
#include <QWidget>
#include <vector>

namespace tonalith {

inline constexpr int kSeparatorCommand = -1;

// The tooltip of a command's text: all of it, or the part after its first line break.
QString TooltipOf(const QString& commandText);

// A row of picture buttons, from left to right.  Grey of the pictures is shown in the colour of the palette's text, so
// that they can be read on every palette; other colours stay.
class TZKIconBar2 final : public QWidget {
  Q_OBJECT

 public:
  explicit TZKIconBar2(QWidget* parent = nullptr);

  // A picture that is repeated behind the buttons; one that cannot be read leaves the background as it is.
  void SetBackground(const QString& file);
  void AddSeparator();
  // A missing picture gives a button with the first letter of its tooltip.
  void AddButton(int command, const QString& pictureFile, const QString& commandText);

  // Nothing for a command that has no button.
  void EnableButton(int command, bool enabled);
  void ShowButton(int command, bool visible);
  bool IsEnabled(int command) const;
  // The size of every button; 0: each as its picture needs (the font's size counts).
  void SetFixedButtonSize(int width, int height);

  int Slots() const { return static_cast<int>(slots_.size()); }
  int CommandAt(int slot) const { return slots_[static_cast<std::size_t>(slot)].command; }
  // Where a slot stands; empty for separators and invisible buttons.
  QRect RectOf(int slot) const { return slots_[static_cast<std::size_t>(slot)].place; }
  bool IsPressed(int slot) const { return slot == pressed_ && inside_; }
  bool HasPicture(int slot) const { return !slots_[static_cast<std::size_t>(slot)].picture.isNull(); }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 signals:
  // A button was pressed and released.
  void Command(int command);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool event(QEvent* event) override;

 private:
  struct Slot {
    int command = kSeparatorCommand;
    QImage picture;
    QString tooltip;
    bool enabled = true;
    bool visible = true;
    QRect place;
  };
  QSize ButtonSize() const;
  int SlotAt(const QPoint& at) const;
  void Layout();
  void DrawSlot(QPainter& painter, int index) const;
  QPixmap Picture(const Slot& slot, const QSize& size) const;

  std::vector<Slot> slots_;
  QImage background_;
  QSize fixed_;
  int width_ = 0;
  int pressed_ = -1;
  int hovered_ = -1;
  bool inside_ = false;
};

}  // namespace tonalith
