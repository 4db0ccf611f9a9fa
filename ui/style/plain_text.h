// The one door for texts of windows.  Names come from data files, instruments, ports, servers and modules: whatever
// they hold is shown as it stands, never taken for markup, for a mnemonic or for a place to fill in, and a long one
// does not make its window wider than the screen.
#pragma once

#include <QLabel>
#include <QPoint>
#include <QRect>
#include <QString>
#include <string_view>

class QAction;
class QLineEdit;
class QListWidgetItem;
class QMenu;
class QProgressDialog;
class QStatusBar;
class QTableWidgetItem;
class QTreeWidgetItem;

namespace tonalith {

// ---- texts ----------------------------------------------------------------------------------------------------------

// One line: characters that cannot be seen become U+FFFD, what is too long ends in an ellipsis.
QString ShownLine(const QString& text);
// Several lines: line ends stay.
QString ShownLines(const QString& text);
// Several lines of any length, for a view that scrolls.
QString ShownText(const QString& text);
// One line of bytes: paths, ports and modules are UTF-8, texts of instruments Latin-1.
QString ShownUtf8(std::string_view bytes);
QString ShownLatin1(std::string_view bytes);
// For menus, buttons, tabs and group boxes: as ShownLine, with every '&' shown.
QString MenuText(const QString& text);
// For window titles: as ShownLine, with "[*]" shown.
QString TitleText(const QString& text);
// What Qt shows as `text` in a tool tip.
QString ToolTipText(const QString& text);

// ---- widgets --------------------------------------------------------------------------------------------------------

// A label of plain text.  A line that is longer than its place ends in an ellipsis; it does not ask for more width than
// kMostLabelCharacters, and can be made narrower.
class PlainLabel : public QLabel {
  Q_OBJECT

 public:
  explicit PlainLabel(QWidget* parent = nullptr);
  explicit PlainLabel(const QString& text, QWidget* parent = nullptr);

  void setText(const QString& text);  // of one or several lines

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  bool IsOneLine() const;
};
constexpr int kMostLabelCharacters = 100;

// `title` is the whole title; `modifiable`: the dot of unsaved changes may stand behind it.
void SetTitle(QWidget* window, const QString& title, bool modifiable = false);
// The title as the frame of the window shows it, without the dot.
QString ShownTitle(const QWidget* window);
void SetToolTip(QWidget* widget, const QString& text);
void SetToolTip(QAction* action, const QString& text);
void SetToolTip(QListWidgetItem* item, const QString& text);
void SetToolTip(QTableWidgetItem* item, const QString& text);
void SetToolTip(QTreeWidgetItem* item, int column, const QString& text);
void ShowToolTip(const QPoint& at, const QString& text, QWidget* widget, const QRect& place);
void SetStatusTip(QAction* action, const QString& text);
void ShowStatus(QStatusBar* bar, const QString& text);
void SetAccessibleName(QWidget* widget, const QString& text);
// A dialog made with an empty label.
void SetLabel(QProgressDialog& dialog, const QString& text);
// Entries of menus whose words are not the program's own.
QAction* AddEntry(QMenu* menu, const QString& text);
QMenu* AddSubmenu(QMenu* menu, const QString& text);
// What a user edits is the text itself.
void SetEdited(QLineEdit* edit, std::string_view utf8);

}  // namespace tonalith
