#include "ui/style/tool_row.h"

#include <QAction>
#include <QEvent>
#include <QMenu>
#include <QPointer>
#include <QResizeEvent>
#include <QToolButton>
#include <algorithm>

#include "ui/style/plain_text.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr int kLeastSearch = 112;
constexpr int kMostSearch = 240;

}  // namespace

ToolRow::ToolRow(QWidget* parent) : QWidget(parent), more_(new QToolButton(this)), menu_(new QMenu(this)) {
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  more_->setIcon(IconOf(Glyph::More));
  more_->setAccessibleName(tr("More"));
  SetToolTip(more_, tr("More commands"));
  more_->setPopupMode(QToolButton::InstantPopup);
  more_->setFocusPolicy(Qt::TabFocus);
  more_->setMenu(menu_);
  more_->hide();
  connect(menu_, &QMenu::aboutToShow, this, &ToolRow::FillMore);
}

QToolButton* ToolRow::Insert(QToolButton* button, const QString& name, bool primary) {
  button->setToolButtonStyle(button->text().isEmpty() ? Qt::ToolButtonIconOnly : Qt::ToolButtonTextBesideIcon);
  button->setFocusPolicy(Qt::TabFocus);
  button->setPopupMode(QToolButton::InstantPopup);
  if (primary) SetPrimary(button);
  tools_.push_back({button, MenuText(name), true, true});
  button->show();
  updateGeometry();
  Arrange();
  return button;
}

QToolButton* ToolRow::Add(Glyph glyph, const QString& text, const QString& tip, bool primary) {
  auto* button = new QToolButton(this);
  button->setIcon(IconOf(glyph));
  button->setText(MenuText(text));
  const QString name = text.isEmpty() ? tip : text;
  SetAccessibleName(button, name);
  SetToolTip(button, tip);
  return Insert(button, name, primary);
}

QToolButton* ToolRow::Add(Glyph glyph, QAction* action, bool primary) {
  auto* button = new QToolButton(this);
  action->setIcon(IconOf(glyph));
  button->setDefaultAction(action);
  return Insert(button, action->text(), primary);
}

void ToolRow::Show(QToolButton* tool, bool shown) {
  for (Tool& row : tools_)
    if (row.button == tool) row.wanted = shown;
  Arrange();
}

QAction* ToolRow::AddToMore(Glyph glyph, const QString& text, std::function<void()> run) {
  auto* action = new QAction(IconOf(glyph), MenuText(text), this);
  connect(action, &QAction::triggered, this, [run = std::move(run)] {
    if (run) run();
  });
  AddToMore(action);
  return action;
}

void ToolRow::AddToMore(QAction* action) {
  extra_.push_back(action);
  Arrange();
}

void ToolRow::AddLineToMore() {
  auto* line = new QAction(this);
  line->setSeparator(true);
  extra_.push_back(line);
}

void ToolRow::SetSearch(SearchField* search) {
  search_ = search;
  search->setParent(this);
  search->show();
  updateGeometry();
  Arrange();
}

std::vector<QToolButton*> ToolRow::InRow() const {
  std::vector<QToolButton*> found;
  for (const Tool& tool : tools_)
    if (tool.wanted && tool.inRow) found.push_back(tool.button);
  return found;
}

// Of the first `tools` wanted ones, with the button for the others.
int ToolRow::WidthOf(std::size_t tools, bool more) const {
  int width = 0;
  std::size_t count = 0;
  for (const Tool& tool : tools_) {
    if (!tool.wanted) continue;
    if (count++ == tools) break;
    width += tool.button->sizeHint().width() + kGap;
  }
  if (more) width += more_->sizeHint().width() + kGap;
  return std::max(0, width - kGap);
}

void ToolRow::Arrange() {
  const int height = TargetHeight(fontMetrics());
  const auto wanted = static_cast<std::size_t>(
      std::count_if(tools_.begin(), tools_.end(), [](const Tool& tool) { return tool.wanted; }));
  const int least = search_ ? std::min(kLeastSearch, search_->sizeHint().width()) + kWideGap : 0;
  std::size_t shown = std::min<std::size_t>(wanted, kMostTools);
  const auto needsMore = [&] { return shown < wanted || !extra_.empty(); };
  while (shown > 0 && WidthOf(shown, needsMore()) + least > width()) --shown;
  int x = 0;
  std::size_t count = 0;
  const auto place = [&](QWidget* widget, int wide, int from) {
    const QRect rect(from, (this->height() - height) / 2, wide, height);
    widget->setGeometry(QStyle::visualRect(layoutDirection(), this->rect(), rect));
  };
  for (Tool& tool : tools_) {
    tool.inRow = tool.wanted && count < shown;
    tool.button->setVisible(tool.inRow);
    if (!tool.wanted) continue;
    ++count;
    if (!tool.inRow) continue;
    const int wide = std::max(kTarget, tool.button->sizeHint().width());
    place(tool.button, wide, x);
    x += wide + kGap;
  }
  more_->setVisible(needsMore());
  if (needsMore()) {
    const int wide = std::max(kTarget, more_->sizeHint().width());
    place(more_, wide, x);
    x += wide + kGap;
  }
  if (!search_) return;
  const int wide = std::clamp(width() - x - kGap, std::min(kLeastSearch, width()), kMostSearch);
  place(search_, wide, std::max(0, width() - wide));
}

// The tools that found no place stand first, as they are now.
void ToolRow::FillMore() {
  menu_->clear();
  for (const Tool& tool : tools_) {
    if (!tool.wanted || tool.inRow) continue;
    if (QAction* action = tool.button->defaultAction()) {
      menu_->addAction(action);
      continue;
    }
    const QPointer<QToolButton> button = tool.button;
    QAction* action = menu_->addAction(tool.button->icon(), tool.name);
    action->setEnabled(tool.button->isEnabled());
    action->setCheckable(tool.button->isCheckable());
    action->setChecked(tool.button->isChecked());
    if (tool.button->menu())
      action->setMenu(tool.button->menu());
    else
      connect(action, &QAction::triggered, this, [button] {
        if (button) button->click();
      });
  }
  if (!menu_->isEmpty() && !extra_.empty()) menu_->addSeparator();
  for (QAction* action : extra_) menu_->addAction(action);
}

QSize ToolRow::sizeHint() const {
  const auto count = std::min<std::size_t>(tools_.size(), kMostTools);
  const int search = search_ ? kMostSearch + kWideGap : 0;
  return {WidthOf(count, tools_.size() > kMostTools || !extra_.empty()) + search, TargetHeight(fontMetrics())};
}

QSize ToolRow::minimumSizeHint() const {
  return {(search_ ? kLeastSearch + kWideGap : 0) + more_->sizeHint().width(), TargetHeight(fontMetrics())};
}

void ToolRow::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  Arrange();
}

bool ToolRow::event(QEvent* event) {
  if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::FontChange ||
      event->type() == QEvent::LayoutDirectionChange || event->type() == QEvent::StyleChange) {
    updateGeometry();
    Arrange();
  }
  return QWidget::event(event);
}

}  // namespace tonalith
