#include "ui/style/plain_text.h"

#include <QAction>
#include <QLineEdit>
#include <QListWidgetItem>
#include <QMenu>
#include <QPaintEvent>
#include <QPainter>
#include <QProgressDialog>
#include <QStatusBar>
#include <QStyle>
#include <QTableWidgetItem>
#include <QToolTip>
#include <QTreeWidgetItem>
#include <algorithm>
#include <cstdint>

#include "platform/plain_text.h"
#include "ui/style/qt_text.h"

namespace tonalith {

namespace {

constexpr int kLeastLabelCharacters = 16;

QString FromCodes(const std::u32string& codes) {
  return QString::fromUcs4(codes.data(), static_cast<qsizetype>(codes.size()));
}

// Enough for every limit, so that a text of megabytes is not taken apart.
std::u32string CodesOf(const QString& text) {
  constexpr auto kMost = static_cast<qsizetype>(kShownCharacters * kShownLines);
  return text.left(kMost).toStdU32String();
}

}  // namespace

QString ShownLine(const QString& text) {
  return FromCodes(ShownLine(CodesOf(text)));
}

QString ShownLines(const QString& text) {
  return FromCodes(ShownLines(CodesOf(text)));
}

QString ShownText(const QString& text) {
  return FromCodes(ShownLines(text.toStdU32String(), SIZE_MAX, SIZE_MAX));
}

QString ShownUtf8(std::string_view bytes) {
  return ShownLine(FromUtf8(bytes));
}

QString ShownLatin1(std::string_view bytes) {
  return ShownLine(FromLatin1(bytes));
}

QString MenuText(const QString& text) {
  return ShownLine(text).replace('&', QStringLiteral("&&"));
}

QString TitleText(const QString& text) {
  return ShownLine(text).replace(QStringLiteral("[*]"), QStringLiteral("[*][*]"));
}

QString ToolTipText(const QString& text) {
  const QString shown = ShownLines(text);
  if (!Qt::mightBeRichText(shown)) return shown;
  return QStringLiteral("<p style=\"white-space:pre-wrap\">%1</p>").arg(shown.toHtmlEscaped());
}

// ---- label ----------------------------------------------------------------------------------------------------------

PlainLabel::PlainLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
}

PlainLabel::PlainLabel(const QString& text, QWidget* parent) : PlainLabel(parent) {
  setText(text);
}

void PlainLabel::setText(const QString& text) {
  QLabel::setText(ShownLines(text));
}

bool PlainLabel::IsOneLine() const {
  return !wordWrap() && !text().isEmpty() && !text().contains('\n') && !buddy();
}

QSize PlainLabel::sizeHint() const {
  const QSize hint = QLabel::sizeHint();
  return {std::min(hint.width(), kMostLabelCharacters * fontMetrics().averageCharWidth()), hint.height()};
}

QSize PlainLabel::minimumSizeHint() const {
  const QSize hint = QLabel::minimumSizeHint();
  return {std::min(hint.width(), kLeastLabelCharacters * fontMetrics().averageCharWidth()), hint.height()};
}

void PlainLabel::paintEvent(QPaintEvent* event) {
  const QRect place = contentsRect().adjusted(margin(), margin(), -margin(), -margin());
  if (!IsOneLine() || fontMetrics().horizontalAdvance(text()) <= place.width()) return QLabel::paintEvent(event);
  QPainter painter(this);
  drawFrame(&painter);
  style()->drawItemText(&painter, place, static_cast<int>(alignment()), palette(), isEnabled(),
                        fontMetrics().elidedText(text(), Qt::ElideRight, place.width()), foregroundRole());
}

// ---- other widgets --------------------------------------------------------------------------------------------------

void SetTitle(QWidget* window, const QString& title, bool modifiable) {
  window->setWindowTitle(TitleText(title) + (modifiable ? QStringLiteral("[*]") : QString()));
}

QString ShownTitle(const QWidget* window) {
  // Every "[*]" of the title itself was doubled.
  QStringList parts = window->windowTitle().split(QStringLiteral("[*][*]"));
  for (QString& part : parts) part.remove(QStringLiteral("[*]"));
  return parts.join(QStringLiteral("[*]"));
}

void SetToolTip(QWidget* widget, const QString& text) {
  widget->setToolTip(ToolTipText(text));
}

void SetToolTip(QAction* action, const QString& text) {
  action->setToolTip(ToolTipText(text));
}

void SetToolTip(QListWidgetItem* item, const QString& text) {
  item->setToolTip(ToolTipText(text));
}

void SetToolTip(QTableWidgetItem* item, const QString& text) {
  item->setToolTip(ToolTipText(text));
}

void SetToolTip(QTreeWidgetItem* item, int column, const QString& text) {
  item->setToolTip(column, ToolTipText(text));
}

void ShowToolTip(const QPoint& at, const QString& text, QWidget* widget, const QRect& place) {
  QToolTip::showText(at, ToolTipText(text), widget, place);
}

void SetStatusTip(QAction* action, const QString& text) {
  action->setStatusTip(ShownLine(text));
}

void ShowStatus(QStatusBar* bar, const QString& text) {
  bar->showMessage(ShownLine(text));
}

void SetAccessibleName(QWidget* widget, const QString& text) {
  widget->setAccessibleName(ShownLine(text));
}

void SetLabel(QProgressDialog& dialog, const QString& text) {
  dialog.setLabel(new PlainLabel(text));
}

QAction* AddEntry(QMenu* menu, const QString& text) {
  QAction* action = menu->addAction(MenuText(text));
  SetToolTip(action, text);
  return action;
}

QMenu* AddSubmenu(QMenu* menu, const QString& text) {
  QMenu* submenu = menu->addMenu(MenuText(text));
  SetToolTip(submenu->menuAction(), text);
  return submenu;
}

void SetEdited(QLineEdit* edit, std::string_view utf8) {
  edit->setText(FromUtf8(utf8));
}

}  // namespace tonalith
