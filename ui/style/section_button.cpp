#include "ui/style/section_button.h"

#include "ui/style/icons.h"
#include "ui/style/plain_text.h"
#include "ui/style/space.h"

namespace tonalith {

SectionButton::SectionButton(const QString& title, QWidget* body, QWidget* parent)
    : QToolButton(parent), title_(title), body_(body) {
  setText(MenuText(title));
  setFont(HeadingFont(font()));
  setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  setAutoRaise(true);
  setFocusPolicy(Qt::TabFocus);
  setMinimumSize(kTarget, TargetHeight(fontMetrics()));
  SetOpen(true);
  connect(this, &QToolButton::clicked, this, [this] {
    SetOpen(!open_);
    emit Toggled(open_);
  });
}

void SectionButton::SetOpen(bool open) {
  open_ = open;
  body_->setVisible(open);
  setIcon(IconOf(open ? Glyph::Down : Glyph::Right, Shade::Secondary));
  SetAccessibleName(this, open ? tr("%1, shown").arg(title_) : tr("%1, hidden").arg(title_));
  SetToolTip(this, open ? tr("Hide %1").arg(title_) : tr("Show %1").arg(title_));
}

}  // namespace tonalith
