#include "ui/inspector_pane.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/scrolled_page.h"
#include "ui/style/section_button.h"
#include "ui/style/space.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kLabelCharacters = 12;
constexpr int kLinesShown = 4;
constexpr int kPaneCharacters = 40;

// A way to somewhere else, that reads as one.
class LinkButton final : public QToolButton {
 public:
  LinkButton() {
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
  }
  QSize sizeHint() const override { return {fontMetrics().horizontalAdvance(text()) + 2, kTarget}; }
  QSize minimumSizeHint() const override { return {kTarget, kTarget}; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QFont shown = font();
    shown.setUnderline(underMouse() || hasFocus());
    painter.setFont(shown);
    painter.setPen(ColourOf(Shade::Accent));
    const QString line = QFontMetrics(shown).elidedText(text(), Qt::ElideRight, width());
    painter.drawText(rect(), static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading) | Qt::TextShowMnemonic, line);
  }
};

bool SameShape(const InspectorRow& a, const InspectorRow& b) {
  return a.label == b.label && a.kind == b.kind && bool(a.edit) == bool(b.edit) && bool(a.link) == bool(b.link);
}

}  // namespace

// One of the three widgets shows the value.
struct InspectorPane::Field {
  InspectorRow row;
  PlainLabel* text = nullptr;
  QLineEdit* line = nullptr;
  QPlainTextEdit* lines = nullptr;
  QToolButton* link = nullptr;

  QWidget* Editor() const { return line ? static_cast<QWidget*>(line) : lines; }
  QString Typed() const { return line ? line->text() : lines ? lines->toPlainText() : row.value; }
  void Show() {
    if (text) text->setText(row.value);
    if (line) {
      line->setText(row.value);
      line->setCursorPosition(0);  // of a long one the beginning is seen
    }
    if (lines) lines->setPlainText(row.value);
    if (link) link->setText(MenuText(row.value));
    for (QWidget* widget : {static_cast<QWidget*>(text), Editor(), static_cast<QWidget*>(link)}) {
      if (widget) SetToolTip(widget, row.tip);
    }
  }
};

InspectorPane::InspectorPane(QWidget* parent) : QWidget(parent), area_(new QScrollArea(this)) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  area_->setWidgetResizable(true);
  area_->setFrameShape(QFrame::NoFrame);
  area_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area_->setFocusPolicy(Qt::NoFocus);
  column->addWidget(area_);
  setMinimumWidth(fontMetrics().averageCharWidth() * kPaneCharacters);
  later_.setSingleShot(true);
  later_.setInterval(0);
  connect(&later_, &QTimer::timeout, this, &InspectorPane::Refresh);
  Build({});
}

InspectorPane::~InspectorPane() = default;

void InspectorPane::SetWindow(ZKWindow* window) {
  if (window == window_) return;
  Commit();
  if (window_) disconnect(window_, nullptr, this, nullptr);
  window_ = window;
  if (window) {
    connect(window, &ZKWindow::InspectChanged, this, &InspectorPane::Later);
    connect(window, &ZKWindow::TakeEdits, this, &InspectorPane::Commit);
    connect(window, &QObject::destroyed, this, [this] { Build({}); });
  }
  Later();
}

void InspectorPane::Later() {
  if (isVisible()) later_.start();
}

void InspectorPane::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  Refresh();
}

// ---- what is shown --------------------------------------------------------------------------------------------------

void InspectorPane::Refresh() {
  // The text that was typed for another thing is that thing's; taking it may change what there is to show.
  InspectorContent content = window_ ? window_->Inspect() : InspectorContent{};
  if (content.key != shown_.key) {
    Commit();
    if (window_) content = window_->Inspect();
  }
  if (FitsShown(content))
    Fill(content);
  else
    Build(std::move(content));
}

bool InspectorPane::FitsShown(const InspectorContent& content) const {
  return content.title.isEmpty() == shown_.title.isEmpty() &&
         std::ranges::equal(content.sections, shown_.sections,
                            [](const InspectorSection& a, const InspectorSection& b) {
                              return a.title == b.title && std::ranges::equal(a.rows, b.rows, SameShape);
                            });
}

// The widgets stay, and with them the focus and what is being typed.
void InspectorPane::Fill(const InspectorContent& content) {
  const bool same = content.key == shown_.key;
  title_->setText(content.title.isEmpty() ? tr("Nothing is selected") : content.title);
  subtitle_->setText(content.subtitle);
  auto field = fields_.begin();
  for (const InspectorSection& section : content.sections) {
    for (const InspectorRow& row : section.rows) {
      Field& one = **field++;
      const bool typing = same && one.Editor() && one.Editor()->hasFocus() && one.Typed() != one.row.value;
      one.row = row;
      if (!typing) one.Show();
    }
  }
  shown_ = content;
}

void InspectorPane::Build(InspectorContent content) {
  later_.stop();
  fields_.clear();
  shown_ = std::move(content);
  auto* page = new ScrolledPage;
  auto* column = new QVBoxLayout(page);
  column->setContentsMargins(kWideGap, kGap, kWideGap, kWideGap);
  column->setSpacing(kSmallGap);
  title_ = new PlainLabel(page);
  title_->setWordWrap(true);
  title_->setFont(TitleFont(font()));
  subtitle_ = new PlainLabel(page);
  subtitle_->setWordWrap(true);
  SetSecondaryText(subtitle_);
  column->addWidget(title_);
  column->addWidget(subtitle_);
  for (const InspectorSection& section : shown_.sections) {
    QVBoxLayout* rows = BuildSection(column, section.title);
    for (const InspectorRow& row : section.rows) BuildRow(rows, row);
  }
  column->addStretch(1);
  // The former widgets may be the ones whose event led here.
  if (QWidget* former = area_->takeWidget()) former->deleteLater();
  area_->setWidget(page);
  Fill(InspectorContent(shown_));
}

// Where the rows go.
QVBoxLayout* InspectorPane::BuildSection(QVBoxLayout* column, const QString& title) {
  column->addSpacing(kWideGap);
  if (title.isEmpty()) return column;
  auto* body = new QWidget(column->parentWidget());
  auto* rows = new QVBoxLayout(body);
  SetSpace(rows, 0, kSmallGap);
  auto* heading = new SectionButton(title, body, column->parentWidget());
  column->addWidget(heading, 0, Qt::AlignLeft);
  column->addWidget(body);
  heading->SetOpen(!hidden_.contains(title));
  connect(heading, &SectionButton::Toggled, this, [this, title](bool open) {
    hidden_.removeAll(title);
    if (!open) hidden_.append(title);
  });
  return rows;
}

void InspectorPane::SetHiddenSections(const QStringList& titles) {
  hidden_ = titles;
  Build(InspectorContent(shown_));
}

void InspectorPane::BuildRow(QVBoxLayout* column, const InspectorRow& row) {
  auto field = std::make_unique<Field>();
  field->row = row;
  QWidget* value = BuildValue(*field, row);
  if (row.label.isEmpty()) {
    column->addWidget(value);
  } else {
    auto* line = new QHBoxLayout;
    line->setSpacing(kGap);
    auto* label = new PlainLabel(row.label);
    SetSecondaryText(label);
    label->setFixedWidth(fontMetrics().averageCharWidth() * kLabelCharacters);
    line->addWidget(label, 0, row.kind == InspectorRow::Kind::Lines ? Qt::AlignTop : Qt::AlignVCenter);
    // Links are as wide as their texts.
    line->addWidget(value, 1, row.link ? Qt::AlignLeft | Qt::AlignVCenter : Qt::Alignment());
    column->addLayout(line);
  }
  fields_.push_back(std::move(field));
}

QWidget* InspectorPane::BuildValue(Field& field, const InspectorRow& row) {
  Field* place = &field;
  if (row.edit && row.kind == InspectorRow::Kind::Lines) {
    field.lines = new QPlainTextEdit;
    field.lines->setTabChangesFocus(true);
    field.lines->setFixedHeight(fontMetrics().lineSpacing() * kLinesShown + 2 * kGap);
  } else if (row.edit) {
    field.line = new QLineEdit;
    field.line->setPlaceholderText(row.kind == InspectorRow::Kind::Words ? tr("add, separated by commas...")
                                                                         : tr("add..."));
    if (row.longest > 0) field.line->setMaxLength(row.longest);
    connect(field.line, &QLineEdit::returnPressed, this, [this, place] { Take(*place); });
  } else if (row.link) {
    field.link = new LinkButton;
    connect(field.link, &QToolButton::clicked, this, [place] {
      const auto link = place->row.link;  // what it does may end this row
      if (link) link();
    });
  } else {
    field.text = new PlainLabel;
    field.text->setWordWrap(true);
    // As tall as the links above and below it.
    if (row.label.isEmpty()) field.text->setMinimumHeight(TargetHeight(fontMetrics()));
    field.text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return field.text;
  }
  QWidget* widget = field.link ? static_cast<QWidget*>(field.link) : field.Editor();
  if (!row.label.isEmpty()) SetAccessibleName(widget, row.label);
  if (field.Editor()) widget->installEventFilter(this);
  return widget;
}

// ---- typing ---------------------------------------------------------------------------------------------------------

InspectorPane::Field* InspectorPane::FieldOf(const QObject* widget) {
  const auto found =
      std::ranges::find_if(fields_, [widget](const auto& field) { return widget && field->Editor() == widget; });
  return found == fields_.end() ? nullptr : found->get();
}

bool InspectorPane::eventFilter(QObject* watched, QEvent* event) {
  Field* field = FieldOf(watched);
  if (!field) return false;
  if (event->type() == QEvent::FocusOut && static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason)
    Take(*field);
  if (event->type() != QEvent::KeyPress) return false;
  const auto* key = static_cast<QKeyEvent*>(event);
  if (key->key() == Qt::Key_Escape) {
    TakeBack(*field);
    return true;
  }
  const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
  if (!enter || !field->lines || !(key->modifiers() & Qt::ControlModifier)) return false;
  Take(*field);
  return true;
}

void InspectorPane::Commit() {
  for (std::size_t i = 0; i < fields_.size(); ++i) Take(*fields_[i]);
}

void InspectorPane::Take(Field& field) {
  if (taking_ || !window_ || !field.Editor() || !field.row.edit || field.Typed() == field.row.value) return;
  taking_ = true;
  const QString typed = field.Typed();
  field.row.value = typed;
  const auto edit = field.row.edit;
  if (const QString sentence = edit(typed); !sentence.isEmpty()) emit StatusMessage(sentence);
  taking_ = false;
  Later();
}

void InspectorPane::TakeBack(Field& field) {
  field.Show();
  if (field.line) field.line->selectAll();
}

}  // namespace tonalith
