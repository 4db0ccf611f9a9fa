#pragma once

#include <QAbstractScrollArea>
#include <cstddef>
#include <functional>
#include <utility>

#include "tools/data_listing.h"

class QPainter;

namespace tonalith {

// The bytes of a listing in lines of 16 with their characters; while it is compared, the other data beside it.  Only
// what is in sight is made, however large the data is.  One byte is the current one; with Shift, or the mouse, a range
// is selected.
class ListingView final : public QAbstractScrollArea {
  Q_OBJECT

 public:
  // The listing is asked for whenever bytes are needed, so that the data may change its place between two events.
  ListingView(std::function<DataListing()> listing, QWidget* parent = nullptr);

  DataListing Listing() const { return listing_(); }
  // The bytes, their number or their mode are others.  The current byte stays, as far as it is there.
  void Renew();

  std::size_t Current() const { return current_; }
  // First and last; both the current byte when nothing else is selected.  Both 0 without bytes.
  std::pair<std::size_t, std::size_t> Selection() const;
  bool HasRange() const { return current_ != anchor_; }
  // Makes a byte the current one and brings it into sight; `extend`: the selection goes on to it.
  void Go(std::size_t position, bool extend = false);
  void Select(std::size_t first, std::size_t length);
  void SelectAll();
  // A line as text: its offset, its bytes and their characters, as many characters in every line.
  QString LineText(std::size_t line) const { return LineText(listing_(), line); }
  QString LineText(const DataListing& listing, std::size_t line) const;
  // Characters of LineText, and the one where a byte of the line begins.
  int LineLength() const;
  int ColumnOf(std::size_t byteOfLine) const;
  std::size_t TopLine() const;
  void ShowLine(std::size_t line);
  // Of a line that is in sight, on the view; empty elsewhere.
  QRect LinePlace(std::size_t line) const;
  // Of its byte, in the hex digits; none: there is no byte.
  std::optional<std::size_t> ByteUnder(const QPoint& at) const;

  QSize sizeHint() const override;

 signals:
  void CurrentChanged();
  // The current byte is to be changed: Return, F2 or a double click.
  void ChangeWanted();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  // In cells, the width of a digit: where a part of a line begins.
  struct Columns {
    int hex, characters, otherHex, otherCharacters, all;
  };
  Columns PlaceColumns(bool comparing) const;
  int PageLines() const;
  void ReadFont();
  void SetBars(const DataListing& listing);
  void BringIntoSight();
  void PaintLine(QPainter& painter, const DataListing& listing, std::size_t line, int top) const;
  void PaintMarks(QPainter& painter, const ListingLine& line, int column, int step, int top) const;
  void PaintOther(QPainter& painter, const DataListing& listing, const ListingLine& line, const Columns& columns,
                  int baseline) const;
  // From the left edge of the text to a column, and where that is now.
  int Width(int columns) const;
  int Left(int column) const;

  std::function<DataListing()> listing_;
  std::size_t size_ = 0;
  int digits_ = 5;  // of an offset
  std::size_t current_ = 0;
  std::size_t anchor_ = 0;
  double cell_ = 1;  // of a character, which need not be whole pixels wide
  int lineHeight_ = 1;
};

}  // namespace tonalith
