#include "app/open_documents.h"

#include <QPointer>
#include <QTimer>
#include <algorithm>

#include "app/child_windows.h"
#include "app/twin_windows.h"
#include "studio/studio_document.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kSoonMs = 120;
constexpr std::int64_t kWhole = 100;

// As its tab says, without the instrument and the kind of data, under which the row stands.
QString RowText(const ZKWindow& window, const ZKDrvList& driver) {
  const QString title = window.WithTwin(TabName(window));
  const QString type = ShownUtf8(driver.instrument->DisplayKey()) + ' ' + ShownLatin1(driver.TypeName());
  if (!title.startsWith(type)) return title;
  const QString rest = title.mid(type.size()).remove(QLatin1Char(':')).trimmed();
  return rest.isEmpty() ? title : rest;
}

}  // namespace

OpenStudioDocuments::OpenStudioDocuments(const FrameContext& frame) : frame_(frame), soon_(new QTimer(this)) {
  soon_->setSingleShot(true);
  soon_->setInterval(kSoonMs);
  connect(soon_, &QTimer::timeout, this, &OpenStudioDocuments::Changed);
  connect(&frame_.children, &ChildWindows::Changed, this, [this] {
    if (!soon_->isActive()) soon_->start();
  });
}

std::vector<OpenDocument> OpenStudioDocuments::List() const {
  std::vector<OpenDocument> open;
  for (ZKWindow* child : frame_.children.All()) {
    auto* window = qobject_cast<DocumentWindow*>(child);
    const DataFile* data = window ? window->InstrumentData() : nullptr;
    const ZKDrvList* driver = data ? frame_.studio.DriverOf(data) : nullptr;
    if (!driver) continue;
    const bool manyTypes = window->TypeCode() == WindowType::Set;
    OpenDocument document;
    document.driver = manyTypes ? driver->instrument : driver;
    document.title = ToUtf8(RowText(*window, *driver));
    document.unsent = window->DiffersFromInstrument();
    document.changed = window->document().IsModified();
    if (const auto found = percent_.find(data); found != percent_.end() && !manyTypes) document.percent = found->second;
    document.activate = [this, alive = QPointer<ZKWindow>(child)] {
      if (alive) frame_.children.Activate(alive);
    };
    open.push_back(std::move(document));
  }
  return open;
}

void OpenStudioDocuments::Take(const DeskEvent& event) {
  const auto& steps = event.job->request().steps;
  const DataFile* data = event.step < steps.size() ? steps[event.step].dataFile : nullptr;
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) {
    // Whose data is gone by now is not asked for any more.
    if (data)
      percent_.erase(data);
    else
      percent_.clear();
  } else if (event.kind == DeskEvent::Kind::kProgress && data) {
    const std::int64_t done = event.patchesToDo > 0 ? event.patchesDone : event.bytes;
    const std::int64_t all = event.patchesToDo > 0 ? event.patchesToDo : event.expected;
    percent_[data] = static_cast<int>(all > 0 ? std::clamp<std::int64_t>(done * kWhole / all, 0, kWhole) : 0);
  } else {
    return;
  }
  if (!soon_->isActive()) soon_->start();
}

}  // namespace tonalith
