#include "clipped_text.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOptionComboBox>
#include <QTabBar>

namespace tonalith {

namespace {

constexpr int kPadding = 2;  // what the edge of a button can spare

int Wide(const QWidget& widget, const QString& text) {
  return widget.fontMetrics().size(Qt::TextShowMnemonic, text).width();
}

int RoomOf(const QComboBox& box) {
  QStyleOptionComboBox option;
  option.initFrom(&box);
  option.editable = box.isEditable();
  const QRect field = box.style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, &box);
  return field.width() - (box.itemIcon(box.currentIndex()).isNull() ? 0 : box.iconSize().width() + 4);
}

// What is cut off, or nothing.
QString Cut(const QWidget& widget) {
  if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
    if (label->text().isEmpty()) return {};
    const bool fits = label->wordWrap() ? label->heightForWidth(label->width()) <= label->height()
                                        : label->sizeHint().width() <= label->width();
    // What data are called can be of any length: then the whole of it is in the tip.
    return fits || label->toolTip() == label->text() ? QString() : label->text();
  }
  if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
    return button->sizeHint().width() <= button->width() + kPadding ? QString() : button->text();
  if (const auto* group = qobject_cast<const QGroupBox*>(&widget))
    return group->minimumSizeHint().width() <= group->width() ? QString() : group->title();
  if (const auto* box = qobject_cast<const QComboBox*>(&widget))
    return Wide(*box, box->currentText()) <= RoomOf(*box) ? QString() : box->currentText();
  if (const auto* spin = qobject_cast<const QSpinBox*>(&widget)) {
    const QLineEdit* line = spin->findChild<QLineEdit*>();
    return Wide(*spin, line->text()) <= line->width() - 2 ? QString() : line->text();
  }
  if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) {
    for (int i = 0; tabs->elideMode() != Qt::ElideNone && i < tabs->count(); ++i)
      if (Wide(*tabs, tabs->tabText(i)) > tabs->tabRect(i).width()) return tabs->tabText(i);
    return {};
  }
  if (const auto* header = qobject_cast<const QHeaderView*>(&widget); header && header->model()) {
    for (int i = 0; header->orientation() == Qt::Horizontal && i < header->count(); ++i) {
      const QString text = header->model()->headerData(i, Qt::Horizontal).toString();
      if (!header->isSectionHidden(i) && Wide(*header, text) > header->sectionSize(i)) return text;
    }
    return {};
  }
  if (const auto* area = qobject_cast<const QScrollArea*>(&widget);
      area && area->widget() && area->verticalScrollBarPolicy() != Qt::ScrollBarAlwaysOff)
    return area->widget()->minimumSizeHint().width() <= area->viewport()->width() ? QString() : QStringLiteral("page");
  return {};
}

}  // namespace

std::string FaultsOfTexts(const QWidget& window) {
  QStringList faults;
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisibleTo(&window)) continue;
    const QString cut = Cut(*widget);
    if (cut.isEmpty()) continue;
    faults << QStringLiteral("%1 \"%2\": %3 x %4 of %5 x %6")
                  .arg(QString::fromLatin1(widget->metaObject()->className()), cut)
                  .arg(widget->width())
                  .arg(widget->height())
                  .arg(widget->sizeHint().width())
                  .arg(widget->sizeHint().height());
  }
  faults.sort();
  return faults.join(QLatin1Char('\n')).toStdString();
}

}  // namespace tonalith
