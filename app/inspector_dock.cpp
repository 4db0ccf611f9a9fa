#include "app/inspector_dock.h"

#include <QAction>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QToolButton>
#include <QVBoxLayout>

#include "ui/inspector_pane.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/icons.h"
#include "ui/style/space.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kLeastInspector = 220;
constexpr int kMostInspector = 480;
constexpr int kUsualInspector = 288;

}  // namespace

InspectorDock::InspectorDock(QWidget* parent)
    : QDockWidget(tr("Inspector"), parent), pane_(new InspectorPane(this)), fullWidth_(kUsualInspector) {
  setObjectName(QStringLiteral("InspectorDock"));
  setFeatures(QDockWidget::NoDockWidgetFeatures);
  setTitleBarWidget(new QWidget(this));
  toggleViewAction()->setVisible(false);
  auto* page = new QWidget(this);
  auto* column = new QVBoxLayout(page);
  SetSpace(column, 0, 0);
  auto* head = new QHBoxLayout;
  head->setContentsMargins(kGap + kSmallGap, kSmallGap, kSmallGap, kSmallGap);
  auto* title = new PlainLabel(tr("Inspector"), page);
  title->setFont(HeadingFont(title->font()));
  head->addWidget(title, 1);
  auto* close = new QToolButton(page);
  close->setAutoRaise(true);
  close->setIcon(IconOf(Glyph::Close));
  close->setMinimumSize(kTarget, kTarget);
  close->setFocusPolicy(Qt::TabFocus);
  SetAccessibleName(close, tr("Hide the inspector"));
  SetToolTip(close, tr("Hide the inspector"));
  head->addWidget(close);
  column->addLayout(head);
  column->addWidget(pane_, 1);
  page->setMinimumWidth(kLeastInspector);
  page->setMaximumWidth(kMostInspector);
  setWidget(page);
  SetGround(page, Shade::Surface);
  connect(close, &QToolButton::clicked, this, &InspectorDock::CloseWanted);
  connect(pane_, &InspectorPane::StatusMessage, this, &InspectorDock::StatusMessage);
  hide();
}

void InspectorDock::SetWindow(ZKWindow* window) {
  if (pane_->inspected() != window) pane_->SetWindow(window);
}

void InspectorDock::SetFullWidth(int width) {
  fullWidth_ = qBound(kLeastInspector, width, kMostInspector);
}

void InspectorDock::showEvent(QShowEvent* event) {
  QDockWidget::showEvent(event);
  if (auto* frame = qobject_cast<QMainWindow*>(parentWidget()))
    frame->resizeDocks({this}, {fullWidth_}, Qt::Horizontal);
}

// What the user made of it.
void InspectorDock::resizeEvent(QResizeEvent* event) {
  QDockWidget::resizeEvent(event);
  if (isVisible() && width() >= kLeastInspector) fullWidth_ = width();
}

}  // namespace tonalith
