#include "app/transfer_strip.h"

#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "platform/clock.h"
#include "ui/plain_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/strip_row.h"

namespace tonalith {

namespace {

// A transfer that is over before that never shows.
constexpr std::int64_t kShownAfterUs = 250'000;
constexpr std::int64_t kDoneShownUs = 2'000'000;
constexpr std::int64_t kFailedShownUs = 10'000'000;
constexpr int kLookMs = 250;
// Guesses from less are worth nothing.
constexpr std::int64_t kLeastPassedMs = 1000;
constexpr double kLeastDone = 0.03;
constexpr int kBarSteps = 1000;

QString NameOf(const DeskRequest& request, const DeskStep& step) {
  if (!request.file.empty()) return ShownUtf8(request.file);
  const DataFile* data = step.dataFile ? step.dataFile : step.owned.get();
  if (!data || !data->synth) return ShownUtf8(step.title);
  const QString whole = request.title.empty() ? ShownLatin1(data->synth->shortName) : ShownUtf8(request.title);
  return QStringLiteral("%1 · %2").arg(whole, ShownLatin1(data->synth->typeName));
}

bool Waits(const DeskJob& job) {
  return job.transfer() && !job.transfer()->View().hint.empty();
}

}  // namespace

int SecondsLeft(std::int64_t passedMs, double done) {
  if (passedMs < kLeastPassedMs || done < kLeastDone || done > 1) return -1;
  return static_cast<int>(static_cast<double>(passedMs) * (1 - done) / done / 1000 + 0.5);
}

TransferStrip::TransferStrip(Clock& clock, QWidget* parent)
    : QWidget(parent), clock_(clock), column_(new QVBoxLayout(this)) {
  SetRole(this, QAccessible::Grouping);
  SetSpace(column_, 0, 0);
  SetAccessibleName(this, tr("Transfers"));
  timer_.setInterval(kLookMs);
  connect(&timer_, &QTimer::timeout, this, &TransferStrip::Look);
}

TransferStrip::Row* TransferStrip::Find(const std::shared_ptr<DeskJob>& job) {
  for (const auto& row : rows_) {
    if (row->job == job) return row.get();
  }
  return nullptr;
}

TransferStrip::Row* TransferStrip::Find(const StripRow* widget) {
  for (const auto& row : rows_) {
    if (row->widget == widget) return row.get();
  }
  return nullptr;
}

// Messages of receives that are over give way to the next transfer.
void TransferStrip::RemoveRead() {
  std::vector<const StripRow*> kept;
  for (const auto& row : rows_) {
    if (row->job->Ended() && row->overUs == 0) kept.push_back(row->widget);
  }
  for (const StripRow* widget : kept) Remove(widget);
}

StripRow* TransferStrip::RowOf(const DataFile* dataFile) const {
  for (const auto& row : rows_) {
    if (dataFile && row->dataFile == dataFile) return row->widget;
  }
  return nullptr;
}

TransferStrip::Row& TransferStrip::RowFor(const DeskEvent& event) {
  if (Row* row = Find(event.job)) return *row;
  RemoveRead();
  Row& row = *rows_.emplace_back(std::make_unique<Row>());
  row.job = event.job;
  row.beganUs = clock_.NowUs();
  row.widget = new StripRow(this);
  row.widget->hide();
  column_->addWidget(row.widget);
  connect(row.widget, &StripRow::CancelPressed, this, [this, widget = row.widget] {
    if (const Row* pressed = Find(widget)) emit CancelWanted(std::shared_ptr<DeskJob>(pressed->job));
  });
  // Who has looked at the messages of a transfer that is over needs its row no longer.
  connect(row.widget, &StripRow::DetailsPressed, this, [this, widget = row.widget] {
    const Row* pressed = Find(widget);
    if (!pressed) return;
    const auto job = pressed->job;
    const auto transfer = pressed->transfer;
    if (job->Ended()) Remove(widget);
    emit DetailsWanted(job, transfer);
  });
  timer_.start();
  return row;
}

// ---- events ---------------------------------------------------------------------------------------------------------

void TransferStrip::Take(const DeskEvent& event) {
  if (!event.job) return;
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) {
    if (Row* row = Find(event.job)) End(*row, event.result);
    return;
  }
  Row& row = RowFor(event);
  const auto& steps = event.job->request().steps;
  if (event.step < steps.size()) {
    const DeskStep& step = steps[event.step];
    if (const DataFile* now = step.dataFile ? step.dataFile : step.owned.get()) row.dataFile = now;
    if (event.step != row.step || (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kStarted)) {
      row.beganUs = clock_.NowUs();
      row.patchesDone = row.patchesToDo = 0;
      row.bytes = row.expected = 0;
    }
    row.step = event.step;
  }
  if (event.job->transfer()) row.transfer = event.job->transfer();
  if (event.kind == DeskEvent::Kind::kProgress) {
    row.patchesDone = event.patchesDone;
    row.patchesToDo = event.patchesToDo;
    row.bytes = event.bytes;
    row.expected = event.expected;
  }
  Show(row);
}

void TransferStrip::Show(Row& row) {
  const DeskJob& job = *row.job;
  if (job.Ended() || row.step >= job.request().steps.size()) return;
  const DeskStep& step = job.request().steps[row.step];
  StripState state;
  state.glyph = step.kind == DeskStep::Kind::kGet ? Glyph::Get : Glyph::Send;
  state.what = NameOf(job.request(), step);
  const bool queued = job.state() == DeskState::kQueued;
  // Of one whole image the desk says nothing between its beginning and its end.
  if (row.transfer && row.transfer->Running()) {
    const ReceiveWindowState now = row.transfer->WindowState();
    row.bytes = job.Sends() ? now.sent : now.received;
    row.expected = now.expected;
    row.patchesDone = now.patchesDone;
    row.patchesToDo = now.patchesToDo;
  }
  const bool waits = !queued && Waits(job);
  state.phase = queued || waits ? StripState::Phase::Waiting : StripState::Phase::Running;
  double done = 0;
  if (row.patchesToDo > 1) {
    done = static_cast<double>(row.patchesDone) / row.patchesToDo;
  } else if (row.expected > 0) {
    done = static_cast<double>(std::min(row.bytes, row.expected)) / static_cast<double>(row.expected);
  }
  if (queued) {
    state.progress = tr("waits for its port");
  } else if (waits) {
    state.progress = tr("start the dump on the instrument");
  } else if (row.patchesToDo > 1) {
    state.progress = tr("patch %1 of %2").arg(std::min(row.patchesDone + 1, row.patchesToDo)).arg(row.patchesToDo);
  } else if (row.bytes > 0) {
    state.progress =
        row.expected > 0 ? tr("%1 of %2 bytes").arg(row.bytes).arg(row.expected) : tr("%1 bytes").arg(row.bytes);
  }
  state.total = kBarSteps;
  state.done = static_cast<int>(done * kBarSteps);
  const int left = SecondsLeft((clock_.NowUs() - row.beganUs) / 1000, done);
  if (left >= 0 && !queued) state.timeLeft = TimeLeftText(left);
  row.widget->SetState(state);
}

void TransferStrip::End(Row& row, const DeskResult& result) {
  StripState state = row.widget->state();
  if (!row.job->request().title.empty()) state.what = ShownUtf8(row.job->request().title);
  const bool cancelled = result.cause == TransferCause::kCancelled;
  state.phase = result.ok   ? StripState::Phase::Done
                : cancelled ? StripState::Phase::Cancelled
                            : StripState::Phase::Failed;
  state.progress = ShownUtf8(result.sentence);
  state.timeLeft.clear();
  row.widget->SetState(state);
  row.overUs = clock_.NowUs() + (result.ok || cancelled ? kDoneShownUs : kFailedShownUs);
  // What was too short to be seen at work has said its sentence elsewhere.
  if (row.widget->isHidden() && (result.ok || cancelled)) row.overUs = clock_.NowUs();
}

void TransferStrip::Forget(const std::shared_ptr<DeskJob>& job) {
  if (const Row* row = Find(job)) Remove(row->widget);
}

void TransferStrip::KeepForReading(const std::shared_ptr<Transfer>& transfer) {
  for (const auto& row : rows_) {
    if (row->transfer != transfer || !row->job->Ended()) continue;
    row->overUs = 0;
    return ShowRow(row->widget);
  }
}

void TransferStrip::ShowRow(StripRow* widget) {
  widget->show();
  emit Shown(true);
}

void TransferStrip::Remove(const StripRow* widget) {
  std::erase_if(rows_, [widget](const std::unique_ptr<Row>& row) {
    if (row->widget != widget) return false;
    row->widget->hide();
    row->widget->deleteLater();
    return true;
  });
  const bool any =
      std::any_of(rows_.begin(), rows_.end(), [](const std::unique_ptr<Row>& row) { return !row->widget->isHidden(); });
  emit Shown(any);
}

void TransferStrip::Look() {
  const std::int64_t now = clock_.NowUs();
  bool moves = false;
  std::vector<const StripRow*> over;
  for (const auto& row : rows_) {
    if (row->overUs != 0 && now >= row->overUs) over.push_back(row->widget);
    if (row->overUs == 0 && row->job->Ended()) continue;  // stays until somebody reads it
    moves = true;
    Show(*row);
    if (!row->widget->isHidden() || row->overUs != 0 || now - row->beganUs < kShownAfterUs) continue;
    ShowRow(row->widget);
  }
  for (const StripRow* widget : over) Remove(widget);
  if (!moves || rows_.empty()) timer_.stop();
}

}  // namespace tonalith
