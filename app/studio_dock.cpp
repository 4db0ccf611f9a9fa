#include "app/studio_dock.h"

#include <QAction>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "studio/studio_document.h"
#include "studio/ui/studio_pictures.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/icons.h"
#include "ui/style/space.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kLeastWidth = 200;
constexpr int kMostWidth = 420;
constexpr int kUsualWidth = 272;
constexpr QSize kIconPicture(36, 24);
constexpr int kIconsWidth = 36 + 4 * kSmallGap;

QToolButton* MakeTool(Glyph glyph, const QString& text, QWidget* parent) {
  auto* tool = new QToolButton(parent);
  tool->setAutoRaise(true);
  tool->setIcon(IconOf(glyph));
  tool->setMinimumSize(kTarget, kTarget);
  tool->setFocusPolicy(Qt::TabFocus);
  SetAccessibleName(tool, text);
  SetToolTip(tool, text);
  return tool;
}

}  // namespace

StudioDock::StudioDock(ZKStudioDoc& studio, QWidget* parent)
    : QDockWidget(tr("Studio"), parent), studio_(studio), pages_(new QStackedWidget(this)), fullWidth_(kUsualWidth) {
  setObjectName(QStringLiteral("StudioDock"));
  setFeatures(QDockWidget::NoDockWidgetFeatures);
  setTitleBarWidget(new QWidget(this));
  toggleViewAction()->setVisible(false);
  pages_->addWidget(BuildFull());
  pages_->addWidget(BuildIcons());
  setWidget(pages_);
  SetGround(pages_, Shade::Dock);
  ApplyWidth();
  hide();
}

QWidget* StudioDock::BuildFull() {
  auto* page = new QWidget(this);
  column_ = new QVBoxLayout(page);
  SetSpace(column_, 0, 0);
  auto* head = new QHBoxLayout;
  head->setContentsMargins(kGap + kSmallGap, kSmallGap, kSmallGap, kSmallGap);
  auto* title = new PlainLabel(tr("Studio"), page);
  title->setFont(HeadingFont(title->font()));
  head->addWidget(title, 1);
  QToolButton* small = MakeTool(Glyph::Left, tr("Show the studio as icons"), page);
  connect(small, &QToolButton::clicked, this, [this] { ShowIcons(true); });
  head->addWidget(small);
  column_->addLayout(head);
  return page;
}

QWidget* StudioDock::BuildIcons() {
  auto* page = new QWidget(this);
  auto* column = new QVBoxLayout(page);
  SetSpace(column, kSmallGap, kSmallGap);
  QToolButton* large = MakeTool(Glyph::Right, tr("Show the whole studio"), page);
  connect(large, &QToolButton::clicked, this, &StudioDock::Reveal);
  column->addWidget(large, 0, Qt::AlignHCenter);
  auto* area = new QScrollArea(page);
  area->setFrameShape(QFrame::NoFrame);
  area->setFocusPolicy(Qt::NoFocus);
  area->setWidgetResizable(true);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  auto* content = new QWidget(area);
  rail_ = new QVBoxLayout(content);
  SetSpace(rail_, 0, kSmallGap);
  rail_->setAlignment(Qt::AlignTop);
  area->setWidget(content);
  column->addWidget(area, 1);
  return page;
}

void StudioDock::Refresh() {
  if (!icons_) return;
  while (QLayoutItem* item = rail_->takeAt(0)) {
    delete item->widget();
    delete item;
  }
  for (const auto& instrument : studio_.instruments()) {
    const QString name = ShownLatin1(instrument->DisplayKey());
    QToolButton* tool = MakeTool(Glyph::Keyboard, name, rail_->parentWidget());
    const QPixmap picture = InstrumentPicture(studio_, instrument.get(), kIconPicture, devicePixelRatioF());
    if (!picture.isNull()) tool->setIcon(QIcon(picture));
    tool->setIconSize(kIconPicture);
    connect(tool, &QToolButton::clicked, this, [this, at = instrument.get()] {
      Reveal();
      emit Chosen(at);
    });
    rail_->addWidget(tool, 0, Qt::AlignHCenter);
  }
}

// ---- its window -----------------------------------------------------------------------------------------------------

void StudioDock::Hold(ZKWindow* window) {
  window_ = window;
  column_->addWidget(window, 1);
  window->show();
  ShowWhenUsed();
}

ZKWindow* StudioDock::Take() {
  ZKWindow* window = window_;
  if (!window) return nullptr;
  column_->removeWidget(window);
  window->setParent(nullptr);
  window_.clear();
  ShowWhenUsed();
  return window;
}

void StudioDock::Drop() {
  window_.clear();
  ShowWhenUsed();
}

void StudioDock::ShowWhenUsed() {
  setVisible(window_ != nullptr);
}

// ---- its width ------------------------------------------------------------------------------------------------------

void StudioDock::ShowIcons(bool icons) {
  if (icons == icons_) return;
  icons_ = icons;
  pages_->setCurrentIndex(icons ? 1 : 0);
  Refresh();
  ApplyWidth();
  emit IconsChanged();
}

void StudioDock::Reveal() {
  ShowIcons(false);
}

void StudioDock::SetFullWidth(int width) {
  fullWidth_ = qBound(kLeastWidth, width, kMostWidth);
  ApplyWidth();
}

void StudioDock::ApplyWidth() {
  const int width = icons_ ? kIconsWidth : fullWidth_;
  // No button of the full page is cut.
  const int least = std::max(kLeastWidth, pages_->widget(0)->minimumSizeHint().width());
  pages_->setMinimumWidth(icons_ ? kIconsWidth : least);
  pages_->setMaximumWidth(icons_ ? kIconsWidth : kMostWidth);
  auto* frame = qobject_cast<QMainWindow*>(parentWidget());
  if (frame && isVisible()) frame->resizeDocks({this}, {width}, Qt::Horizontal);
}

void StudioDock::showEvent(QShowEvent* event) {
  QDockWidget::showEvent(event);
  ApplyWidth();
}

// What the user made of it.
void StudioDock::resizeEvent(QResizeEvent* event) {
  QDockWidget::resizeEvent(event);
  if (!icons_ && isVisible() && width() >= kLeastWidth) fullWidth_ = width();
}

}  // namespace tonalith
