#include "ui/style/command_list.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QBoxLayout>
#include <QKeyEvent>
#include <QKeySequence>
#include <QListView>
#include <QTimer>
#include <algorithm>
#include <numeric>

#include "ui/style/empty_state.h"
#include "ui/style/list_delegate.h"
#include "ui/style/plain_text.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kMostWidth = 640;
constexpr int kRowsShown = 12;

int RankOf(const CommandEntry& entry, const QString& typed, const SearchWords& words) {
  if (entry.text.startsWith(typed, Qt::CaseInsensitive)) return 0;
  return words.Match(entry.text) ? 1 : 2;
}

}  // namespace

std::vector<int> FoundEntries(const std::vector<CommandEntry>& entries, const QString& typed) {
  const QString text = typed.trimmed();
  const SearchWords words(text);
  std::vector<int> found;
  std::vector<int> ranks(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!words.Match(entries[i].text + QLatin1Char(' ') + entries[i].where)) continue;
    ranks[i] = words.IsEmpty() ? 0 : RankOf(entries[i], text, words);
    found.push_back(static_cast<int>(i));
  }
  std::stable_sort(found.begin(), found.end(), [&](int a, int b) {
    return ranks[static_cast<std::size_t>(a)] < ranks[static_cast<std::size_t>(b)];
  });
  return found;
}

class CommandListModel final : public QAbstractListModel {
 public:
  using QAbstractListModel::QAbstractListModel;

  void SetEntries(std::vector<CommandEntry> entries) {
    beginResetModel();
    entries_ = std::move(entries);
    shown_ = FoundEntries(entries_, {});
    endResetModel();
  }

  void Filter(const QString& typed) {
    beginResetModel();
    shown_ = FoundEntries(entries_, typed);
    endResetModel();
  }

  int rowCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
  }

  const CommandEntry& At(int row) const {
    return entries_[static_cast<std::size_t>(shown_[static_cast<std::size_t>(row)])];
  }

  // Among all, shown or not; null: none that can be carried out now.
  const CommandEntry* WithShortcut(const QString& shortcut) const {
    if (shortcut.isEmpty()) return nullptr;
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const CommandEntry& entry) {
      return entry.enabled && entry.shortcut == shortcut;
    });
    return found == entries_.end() ? nullptr : &*found;
  }

  Qt::ItemFlags flags(const QModelIndex& index) const override {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | (At(index.row()).enabled ? Qt::ItemIsEnabled : Qt::NoItemFlags);
  }

  QVariant data(const QModelIndex& index, int role) const override {
    if (!index.isValid()) return {};
    const CommandEntry& entry = At(index.row());
    const QString aside = entry.enabled || entry.reason.isEmpty() ? entry.where : entry.reason;
    switch (role) {
      case Qt::DisplayRole:
        return ShownLine(entry.text);
      case Qt::DecorationRole:
        return IconOf(entry.glyph == Glyph::None ? Glyph::Right : entry.glyph, Shade::Secondary);
      case kAsideRole: {
        const QString shown = ShownLine(aside);
        return entry.shortcut.isEmpty() ? shown : shown + QStringLiteral("    ") + entry.shortcut;
      }
      case Qt::AccessibleTextRole:
        return QStringList({ShownLine(entry.text), ShownLine(aside), entry.shortcut}).join(QStringLiteral(", "));
      default:
        return {};
    }
  }

 private:
  std::vector<CommandEntry> entries_;
  std::vector<int> shown_;
};

CommandList::CommandList(const QString& what, QWidget* parent)
    : QFrame(parent),
      field_(new SearchField(what, this)),
      list_(new QListView(this)),
      nothing_(new EmptyState(Glyph::Search, {}, {}, this)),
      model_(new CommandListModel(this)) {
  setWindowFlags(Qt::Popup);
  setFrameShape(QFrame::StyledPanel);
  list_->setModel(model_);
  list_->setUniformItemSizes(true);
  SetAccessibleName(list_, what);
  DressList(list_);
  auto* stack = new QVBoxLayout;
  stack->addWidget(list_);
  stack->addWidget(nothing_);
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kGap, kGap);
  column->addWidget(field_);
  column->addLayout(stack);
  field_->installEventFilter(this);
  connect(field_, &SearchField::WordsChanged, this, &CommandList::Filter);
  connect(field_, &SearchField::Left, this, &QWidget::close);
  connect(field_, &QLineEdit::returnPressed, this, &CommandList::RunCurrent);
  connect(list_, &QListView::clicked, this, &CommandList::RunCurrent);
  connect(list_, &QListView::activated, this, &CommandList::RunCurrent);
}

CommandList::~CommandList() = default;

void CommandList::SetEntries(std::vector<CommandEntry> entries) {
  model_->SetEntries(std::move(entries));
  Filter();
}

void CommandList::Popup(QWidget* window) {
  const int width = std::min(kMostWidth, window->width() - 2 * kWideGap);
  const int height = field_->sizeHint().height() + kRowsShown * RowHeight(fontMetrics()) + 4 * kGap;
  resize(width, std::min(height, window->height() - 2 * kWideGap));
  move(window->mapToGlobal(QPoint((window->width() - width) / 2, window->height() / 10)));
  field_->clear();
  Filter();
  show();
  field_->setFocus();
}

void CommandList::Filter() {
  const QString typed = field_->text();
  model_->Filter(typed);
  const int rows = model_->rowCount();
  field_->SetHits(rows);
  nothing_->SetTexts(field_->NothingFound(), {});
  list_->setVisible(rows > 0);
  nothing_->setVisible(rows == 0);
  // The first that can be carried out.
  for (int row = 0; row < rows; ++row) {
    if (!model_->At(row).enabled) continue;
    list_->setCurrentIndex(model_->index(row, 0));
    break;
  }
}

void CommandList::Move(int by) {
  const int rows = model_->rowCount();
  if (rows == 0) return;
  const int row = std::clamp(list_->currentIndex().row() + by, 0, rows - 1);
  list_->selectionModel()->setCurrentIndex(model_->index(row, 0), QItemSelectionModel::ClearAndSelect);
  list_->scrollTo(list_->currentIndex());
}

void CommandList::RunCurrent() {
  const QModelIndex index = list_->currentIndex();
  // Where one click activates, two signals ask for it.
  if (!isVisible() || !index.isValid() || !model_->At(index.row()).enabled) return;
  Run(model_->At(index.row()));
}

void CommandList::Run(const CommandEntry& entry) {
  const auto run = entry.run;
  close();
  // Behind the popup's own events: what runs may open a window or close this one.
  if (run) QTimer::singleShot(0, qApp, run);
}

bool CommandList::RunShortcut(const QKeyEvent& key) {
  QKeyEvent asked(QEvent::ShortcutOverride, key.key(), key.modifiers(), key.text());
  asked.ignore();
  QApplication::sendEvent(field_, &asked);
  if (asked.isAccepted()) return false;
  const CommandEntry* entry =
      model_->WithShortcut(QKeySequence(key.keyCombination()).toString(QKeySequence::NativeText));
  if (!entry) return false;
  Run(*entry);
  return true;
}

bool CommandList::eventFilter(QObject* watched, QEvent* event) {
  if (watched != field_ || event->type() != QEvent::KeyPress) return QFrame::eventFilter(watched, event);
  const auto& key = *static_cast<QKeyEvent*>(event);
  switch (key.key()) {
    case Qt::Key_Up:
      Move(-1);
      return true;
    case Qt::Key_Down:
      Move(1);
      return true;
    case Qt::Key_PageUp:
      Move(-kRowsShown);
      return true;
    case Qt::Key_PageDown:
      Move(kRowsShown);
      return true;
    default:
      return RunShortcut(key) || QFrame::eventFilter(watched, event);
  }
}

void CommandList::hideEvent(QHideEvent* event) {
  QFrame::hideEvent(event);
  emit Closed();
}

}  // namespace tonalith
