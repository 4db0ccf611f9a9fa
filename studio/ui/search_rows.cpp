#include "studio/ui/search_rows.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "studio/device_ids.h"
#include "studio/studio_node.h"
#include "studio/ui/studio_marks.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

enum Column { kInstrument, kState, kPlace, kColumns };
using State = SearchedInstrument::State;

QString StateWords(const SearchedInstrument& row) {
  switch (row.state) {
    case State::Waiting:
      return SearchRows::tr("waiting");
    case State::Searching:
      return SearchRows::tr("searching");
    case State::Found:
      return SearchRows::tr("found");
    case State::NotFound:
      return SearchRows::tr("not found");
    case State::Stopped:
      return SearchRows::tr("stopped");
    case State::Failed:
      return SearchRows::tr("could not be searched for");
  }
  return {};
}

std::optional<Mark> StateMark(State state) {
  if (state == State::Found) return Mark::Found;
  if (state == State::Searching) return Mark::Busy;
  if (state == State::NotFound || state == State::Failed) return Mark::Missing;
  return std::nullopt;
}

// Where it was found, or is searched for just now.
QString Place(const SearchedInstrument& row) {
  if (row.state == State::Searching) return ShownUtf8(row.outPort);
  if (row.state != State::Found) return {};
  QString place = row.inPort == row.outPort
                      ? ShownUtf8(row.outPort)
                      : SearchRows::tr("in %1, out %2").arg(ShownUtf8(row.inPort), ShownUtf8(row.outPort));
  if (const Synth* synth = row.instrument ? DeviceIdSynth(*row.instrument) : nullptr)
    place = SearchRows::tr("%1, device ID %2").arg(place).arg(ShownDeviceId(synth, row.instrument->sysExChannel));
  return place;
}

}  // namespace

SearchRows::SearchRows(ZKStudioDoc& studio, const AutoConfigServices& services, QWidget* parent)
    : QWidget(parent), search_(studio, services) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, kGap);
  rows_ = new QTreeWidget(this);
  rows_->setHeaderLabels({tr("Instrument"), tr("State"), tr("Where")});
  rows_->setColumnCount(kColumns);
  DressList(rows_);
  rows_->setRootIsDecorated(false);
  rows_->setUniformRowHeights(true);
  rows_->setAllColumnsShowFocus(true);
  rows_->header()->setSectionResizeMode(kInstrument, QHeaderView::ResizeToContents);
  rows_->header()->setSectionResizeMode(kState, QHeaderView::ResizeToContents);
  rows_->header()->setStretchLastSection(true);
  SetAccessibleName(rows_, tr("Instruments that are searched for"));
  column->addWidget(rows_, 1);
  auto* bottom = new QHBoxLayout;
  summary_ = new PlainLabel(this);
  summary_->setWordWrap(true);
  bottom->addWidget(summary_, 1);
  stop_ = new QPushButton(tr("&Stop"), this);
  again_ = new QPushButton(tr("&Try Again"), this);
  SetToolTip(again_, tr("Searches longer for what was not found, under every device ID"));
  for (QPushButton* button : {stop_, again_}) {
    button->setAutoDefault(false);
    bottom->addWidget(button);
  }
  column->addLayout(bottom);
  connect(stop_, &QPushButton::clicked, this, [this] {
    stop_->setEnabled(false);
    search_.Stop();
  });
  connect(again_, &QPushButton::clicked, this, [this] { Start(InstrumentSearch::Pace::Patient); });
  search_.changed = [this](std::size_t row) {
    ShowRow(row);
    ShowState();
  };
  search_.ended = [this] {
    ShowState();
    emit RunningChanged(false);
  };
  ShowState();
}

void SearchRows::Begin() {
  FillRows();
  Start(InstrumentSearch::Pace::Hasty);
}

void SearchRows::Start(InstrumentSearch::Pace pace) {
  const Result started = search_.Start(pace);
  if (started.ok() && search_.Running()) emit RunningChanged(true);
  ShowState();
  if (!started.ok()) summary_->setText(ShownLines(FromUtf8(started.text.substr(0, started.text.find('\n')))));
}

void SearchRows::FillRows() {
  rows_->clear();
  for (std::size_t i = 0; i < search_.rows().size(); ++i) {
    auto* item = new QTreeWidgetItem(rows_);
    item->setFont(kInstrument, HeadingFont(font()));
    ShowRow(i);
  }
  if (rows_->topLevelItemCount() > 0) rows_->setCurrentItem(rows_->topLevelItem(0));
}

void SearchRows::ShowRow(std::size_t row) {
  QTreeWidgetItem* item = rows_->topLevelItem(static_cast<int>(row));
  if (!item) return;
  const SearchedInstrument& shown = search_.rows()[row];
  const QString state = StateWords(shown), place = Place(shown);
  item->setText(kInstrument, ShownUtf8(shown.name));
  item->setText(kState, shown.state == State::Searching && shown.percent > 0
                            ? tr("%1, %2 %").arg(state).arg(shown.percent)
                            : state);
  const auto mark = StateMark(shown.state);
  item->setIcon(kState, mark ? MarkIcon(*mark, this) : QIcon());
  item->setText(kPlace, place);
  SetToolTip(item, kState, shown.text.empty() ? state : FromUtf8(shown.text));
  SetToolTip(item, kPlace, place);
  item->setData(
      kInstrument, Qt::AccessibleTextRole,
      place.isEmpty() ? item->text(kInstrument) + ", " + state : item->text(kInstrument) + ", " + state + ", " + place);
}

QString SearchRows::Summary() const {
  return tr("%1 of %2 found").arg(search_.Found()).arg(search_.rows().size());
}

void SearchRows::ShowState() {
  const bool running = search_.Running();
  const int missing = static_cast<int>(search_.rows().size()) - search_.Found();
  QString text = Summary();
  if (!running && missing > 0)
    text += tr(". Are the others switched on, and both cables plugged in? Some take SysEx only after a setting.");
  if (!search_.rows().empty()) summary_->setText(text);
  const bool stopHadFocus = stop_->hasFocus();
  stop_->setVisible(running);
  EnableUnless(stop_, running ? QString() : tr("No search is running."));
  again_->setVisible(!running && missing > 0);
  if (stopHadFocus && !running) (again_->isVisible() ? static_cast<QWidget*>(again_) : rows_)->setFocus();
}

}  // namespace tonalith
