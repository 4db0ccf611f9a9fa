#include "ui/style/inspector_rows.h"

#include <QBoxLayout>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>
#include <memory>

#include "ui/style/flow_layout.h"
#include "ui/style/icons.h"
#include "ui/style/plain_text.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

// A line across the pane, drawn in the colour of quiet lines.
class SectionLine final : public QWidget {
 public:
  explicit SectionLine(QWidget* parent) : QWidget(parent) { setFixedHeight(kWideGap); }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter(this).fillRect(0, height() / 2, width(), 1, ColourOf(Shade::Line));
  }
};

class EditedLine final : public QLineEdit {
 public:
  EditedLine(const QString& value, std::function<void(const QString&)> changed, QWidget* parent)
      : QLineEdit(value, parent), value_(value), changed_(std::move(changed)) {
    connect(this, &QLineEdit::editingFinished, this, [this] {
      if (text() == value_) return;
      value_ = text();
      // The pane may be filled anew by this, and the line go with it.
      const auto report = changed_;
      if (report) report(value_);
    });
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Escape && text() != value_) {
      setText(value_);
      return;
    }
    QLineEdit::keyPressEvent(event);
  }

  bool event(QEvent* event) override {
    if (event->type() == QEvent::ShortcutOverride && text() != value_ &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
      event->accept();
      return true;
    }
    return QLineEdit::event(event);
  }

 private:
  QString value_;
  std::function<void(const QString&)> changed_;
};

// Text that opens something; a button for keyboard and screen readers.
class LinkButton final : public QToolButton {
 public:
  LinkButton(const QString& text, QWidget* parent) : QToolButton(parent) {
    setText(MenuText(text));
    setAutoRaise(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  }

  QSize sizeHint() const override { return {fontMetrics().horizontalAdvance(text()) + 2, TargetHeight(fontMetrics())}; }
  QSize minimumSizeHint() const override { return {kTarget, TargetHeight(fontMetrics())}; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QFont shown = font();
    shown.setUnderline(underMouse() || hasFocus());
    painter.setFont(shown);
    painter.setPen(ColourOf(isEnabled() ? Shade::Accent : Shade::Faint));
    const QString line = QFontMetrics(shown).elidedText(text(), Qt::ElideRight, width());
    painter.drawText(rect(), static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading) | Qt::TextShowMnemonic, line);
  }
};

class Chip final : public QToolButton {
 public:
  Chip(const QString& text, bool removable, QWidget* parent) : QToolButton(parent) {
    setText(MenuText(text));
    if (removable) setIcon(IconOf(Glyph::Close, Shade::Secondary));
    setToolButtonStyle(removable ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonTextOnly);
    setFocusPolicy(removable ? Qt::StrongFocus : Qt::NoFocus);
    // The cross stands behind the word.
    setLayoutDirection(layoutDirection() == Qt::LeftToRight ? Qt::RightToLeft : Qt::LeftToRight);
  }
};

}  // namespace

InspectorRows::InspectorRows(QWidget* parent) : QWidget(parent), grid_(nullptr) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, 0);
  Clear();
}

void InspectorRows::Clear() {
  if (content_) {
    // One of its own lines may just be reporting.
    layout()->removeWidget(content_);
    content_->hide();
    content_->deleteLater();
  }
  content_ = new QWidget(this);
  grid_ = new QGridLayout(content_);
  SetSpace(grid_, kWideGap, kGap);
  grid_->setVerticalSpacing(kSmallGap);
  grid_->setColumnStretch(1, 1);
  grid_->setAlignment(Qt::AlignTop);
  layout()->addWidget(content_);
  content_->show();
}

void InspectorRows::AddRow(const QString& label, QWidget* value) {
  const int row = grid_->rowCount();
  if (label.isEmpty()) {
    grid_->addWidget(value, row, 0, 1, 2);
    return;
  }
  auto* name = new PlainLabel(label, content_);
  SetSecondaryText(name);
  name->setMinimumHeight(value->minimumSizeHint().height());
  name->setBuddy(value);
  grid_->addWidget(name, row, 0, Qt::AlignTop);
  grid_->addWidget(value, row, 1);
}

void InspectorRows::AddHeading(const QString& title, const QString& secondary) {
  auto* heading = new PlainLabel(title, content_);
  heading->setFont(TitleFont(font()));
  heading->setWordWrap(true);
  AddRow({}, heading);
  if (!secondary.isEmpty()) AddHint(secondary);
}

void InspectorRows::AddSection(const QString& title) {
  AddRow({}, new SectionLine(content_));
  if (title.isEmpty()) return;
  auto* heading = new PlainLabel(title, content_);
  heading->setFont(HeadingFont(font()));
  SetSecondaryText(heading);
  AddRow({}, heading);
}

void InspectorRows::AddText(const QString& label, const QString& value) {
  auto* text = new PlainLabel(value, content_);
  text->setWordWrap(true);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  SetAccessibleName(text, label.isEmpty() ? value : label + QStringLiteral(": ") + value);
  AddRow(label, text);
}

void InspectorRows::AddHint(const QString& text) {
  auto* hint = new PlainLabel(text, content_);
  hint->setWordWrap(true);
  SetSecondaryText(hint);
  AddRow({}, hint);
}

void InspectorRows::AddLink(const QString& label, const QString& text, std::function<void()> open) {
  auto* link = new LinkButton(text, content_);
  connect(link, &QToolButton::clicked, this, [open = std::move(open)] {
    if (open) open();
  });
  AddRow(label, link);
}

QLineEdit* InspectorRows::AddEditable(const QString& label, const QString& value, const QString& placeholder,
                                      std::function<void(const QString&)> changed) {
  auto* line = new EditedLine(value, std::move(changed), content_);
  line->setPlaceholderText(placeholder);
  line->setCursorPosition(0);
  SetAccessibleName(line, label);
  AddRow(label, line);
  return line;
}

void InspectorRows::AddTags(const QString& label, const QStringList& tags,
                            std::function<void(const QStringList&)> changed) {
  auto* row = new QWidget(content_);
  auto* flow = new FlowLayout(row, kSmallGap);
  for (const QString& tag : tags) {
    auto* chip = new Chip(tag, static_cast<bool>(changed), row);
    SetAccessibleName(chip, changed ? tr("Remove tag %1").arg(tag) : tag);
    if (changed)
      connect(chip, &QToolButton::clicked, this, [tags, tag, changed] {
        QStringList left = tags;
        left.removeOne(tag);
        changed(left);
      });
    flow->addWidget(chip);
  }
  if (changed) {
    auto* more = new EditedLine(
        {},
        [tags, changed](const QString& typed) {
          const QString tag = typed.simplified();
          if (!tag.isEmpty() && !tags.contains(tag)) changed(tags + QStringList{tag});
        },
        row);
    more->setPlaceholderText(tr("add..."));
    more->setAccessibleName(tr("Add a tag"));
    more->setMaximumWidth(fontMetrics().averageCharWidth() * 14);
    flow->addWidget(more);
  }
  AddRow(label, row);
}

}  // namespace tonalith
