#include "app/move_dialog.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/plain_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kMostTitle = 119;
constexpr qsizetype kMostReasons = 4;

}  // namespace

ZKTrans::ZKTrans(std::vector<MoveCandidate> candidates, QWidget* parent)
    : QDialog(parent), candidates_(std::move(candidates)), list_(new QListWidget(this)), said_(new PlainLabel(this)) {
  SetTitle(this, tr("Move To"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  auto* head = new PlainLabel(tr("&Windows:"), this);
  head->setBuddy(list_);
  column->addWidget(head);
  DressList(list_);
  QStringList refused;
  // Those that take the data come first.
  std::stable_partition(candidates_.begin(), candidates_.end(),
                        [](const MoveCandidate& one) { return one.refusal.isEmpty(); });
  for (const MoveCandidate& candidate : candidates_) {
    const QString title = ShownLine(candidate.title.left(kMostTitle));
    auto* item = new QListWidgetItem(title, list_);
    const QString whole = candidate.refusal.isEmpty() ? title : tr("%1: %2").arg(title, candidate.refusal);
    SetToolTip(item, whole);
    item->setData(Qt::AccessibleTextRole, whole);
    if (candidate.refusal.isEmpty()) continue;
    item->setFlags(item->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
    if (refused.size() < kMostReasons) refused << whole;
  }
  if (!candidates_.empty() && candidates_.front().refusal.isEmpty()) list_->setCurrentRow(0);
  list_->setMinimumSize(fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 10);
  column->addWidget(list_, 1);
  // Why not is longer than a row.
  if (!refused.isEmpty()) {
    auto* reasons = new PlainLabel(refused.join(QLatin1Char('\n')), this);
    reasons->setWordWrap(true);
    SetSecondaryText(reasons);
    column->addWidget(reasons);
  }
  said_->setWordWrap(true);
  column->addWidget(said_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(tr("&Move"));
  SetPrimary(buttons->button(QDialogButtonBox::Ok));
  connect(buttons, &QDialogButtonBox::accepted, this, &ZKTrans::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &ZKTrans::reject);
  connect(list_, &QListWidget::itemActivated, this, &ZKTrans::accept);
  column->addWidget(buttons);
  list_->setFocus();
}

QString ZKTrans::Said() const {
  return said_->text();
}

ZKWindow* ZKTrans::Chosen() const {
  const QList<QListWidgetItem*> selected = list_->selectedItems();
  return selected.isEmpty() ? nullptr : candidates_[static_cast<std::size_t>(list_->row(selected.front()))].window;
}

void ZKTrans::accept() {
  if (list_->selectedItems().isEmpty()) return said_->setText(tr("Please select a window from the list."));
  if (!Chosen()) return said_->setText(tr("This window has been closed."));
  QDialog::accept();
}

}  // namespace tonalith
