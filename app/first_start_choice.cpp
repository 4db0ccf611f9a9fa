#include "app/first_start_choice.h"

#include <QIcon>
#include <QKeyEvent>
#include <QListWidget>
#include <QVBoxLayout>

#include "platform/path_resolver.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr QSize kPicture(60, 40);
constexpr int kModuleRole = Qt::UserRole;
constexpr int kNameRole = Qt::UserRole + 1;

bool IsChoice(const QListWidgetItem& item) {
  return item.flags() & Qt::ItemIsEnabled;
}

}  // namespace

InstrumentChoice::InstrumentChoice(const std::vector<Entry>& installed, QWidget* parent) : QWidget(parent) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, kGap);
  search_ = new SearchField(tr("Search instruments"), this);
  search_->installEventFilter(this);
  column->addWidget(search_);
  list_ = new QListWidget(this);
  DressList(list_);
  list_->setIconSize(kPicture);
  list_->setUniformItemSizes(true);
  SetAccessibleName(list_, tr("Instruments to choose from"));
  for (const Entry& entry : installed) AddEntry(entry);
  if (list_->count() > 0) list_->setCurrentRow(0);
  column->addWidget(list_, 1);
  nothing_ = new PlainLabel(this);
  nothing_->setWordWrap(true);
  nothing_->hide();
  column->addWidget(nothing_);
  count_ = new PlainLabel(this);
  SetSecondaryText(count_);
  column->addWidget(count_);
  setFocusProxy(search_);
  connect(search_, &SearchField::WordsChanged, this, [this] { Filter(); });
  connect(search_, &SearchField::GoToList, this, [this] { list_->setFocus(); });
  connect(list_, &QListWidget::itemChanged, this, [this] { ShowCount(); });
  connect(list_, &QListWidget::itemActivated, this, [](QListWidgetItem* item) {
    if (IsChoice(*item)) item->setCheckState(item->checkState() == Qt::Checked ? Qt::Unchecked : Qt::Checked);
  });
  ShowCount();
}

void InstrumentChoice::AddEntry(const Entry& entry) {
  const std::string name = WithoutExtension(entry.moduleFile);
  const QString shown = ShownUtf8(name);
  auto* item = new QListWidgetItem(entry.inStudio ? tr("%1 (in the studio)").arg(shown) : shown, list_);
  item->setData(kModuleRole, FromUtf8(entry.moduleFile));
  item->setData(kNameRole, shown);
  item->setIcon(
      QIcon(InstrumentPicture(shown.section(' ', 0, 0), shown.section(' ', 1), kPicture, devicePixelRatioF())));
  item->setCheckState(entry.inStudio ? Qt::Checked : Qt::Unchecked);
  if (entry.inStudio)
    item->setFlags(Qt::NoItemFlags);
  else
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
}

std::vector<std::string> InstrumentChoice::Chosen() const {
  std::vector<std::string> chosen;
  for (int i = 0; i < list_->count(); ++i)
    if (const QListWidgetItem* item = list_->item(i); IsChoice(*item) && item->checkState() == Qt::Checked)
      chosen.push_back(ToUtf8(item->data(kModuleRole).toString()));
  return chosen;
}

void InstrumentChoice::Filter() {
  int hits = 0, first = -1;
  for (int i = 0; i < list_->count(); ++i) {
    const bool hit = search_->Words().Match(list_->item(i)->data(kNameRole).toString());
    list_->item(i)->setHidden(!hit);
    hits += hit ? 1 : 0;
    if (hit && first < 0) first = i;
  }
  search_->SetHits(search_->Words().IsEmpty() ? -1 : hits);
  if (first >= 0 && (!list_->currentItem() || list_->currentItem()->isHidden())) list_->setCurrentRow(first);
  nothing_->setText(tr("%1 An instrument that is missing here can be added later from a module package, or described "
                       "in a chart of your own.")
                        .arg(search_->NothingFound()));
  nothing_->setVisible(hits == 0);
}

// Return in the search checks the instrument that is found, and the next one can be typed.
void InstrumentChoice::CheckFound() {
  QListWidgetItem* item = list_->currentItem();
  if (search_->Words().IsEmpty() || !item || item->isHidden() || !IsChoice(*item)) return;
  item->setCheckState(Qt::Checked);
  search_->selectAll();
}

bool InstrumentChoice::eventFilter(QObject* watched, QEvent* event) {
  if (watched == search_ && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if ((key == Qt::Key_Return || key == Qt::Key_Enter) && !search_->Words().IsEmpty()) {
      CheckFound();
      return true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

void InstrumentChoice::ShowCount() {
  const auto chosen = Chosen().size();
  count_->setText(chosen == 0 ? tr("None chosen yet.") : tr("%1 chosen").arg(chosen));
  emit Changed();
}

}  // namespace tonalith
