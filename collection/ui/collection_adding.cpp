#include "collection/ui/collection_adding.h"

#include <QString>
#include <utility>

#include "store/library/library_sources.h"
#include "ui/plain_text.h"
#include "ui/window_context.h"

namespace tonalith {

// Of the other thread until it has ended.
struct CollectionAdding::Work {
  CancelToken cancel;
  std::vector<CollectionItem> items;
  std::size_t unusable = 0;  // files
  std::string problem;       // the first of them
};

CollectionAdding::~CollectionAdding() {
  if (work_) work_->cancel.Cancel();
}

void CollectionAdding::Start(const std::vector<std::string>& sources, Reader reader, CollectionAddOptions options) {
  if (Running()) return;
  work_ = std::make_shared<Work>();
  const auto read = [work = work_, sources, reader = std::move(reader)] {
    std::vector<std::string> files;
    for (const std::string& source : sources)
      if (Result found = FilesOfSource(source, work->cancel, &files); !found.ok() && work->problem.empty())
        work->problem = found.text;
    for (const std::string& path : files) {
      if (work->cancel.Cancelled()) break;
      std::string note;
      const Result taken = reader(path, &work->items, &note);
      if (taken.ok() && note.empty()) continue;
      if (!taken.ok()) ++work->unusable;
      if (work->problem.empty()) work->problem = taken.ok() ? note : taken.text;
    }
    return Result::Success();
  };
  context_.InBackground(receiver_, read, [this, options = std::move(options)](const Result&) { End(options); });
  emit Changed();
}

void CollectionAdding::Stop() {
  if (work_) work_->cancel.Cancel();
}

void CollectionAdding::End(const CollectionAddOptions& options) {
  const std::shared_ptr<Work> work = std::exchange(work_, nullptr);
  CollectionAdder adder(collection_, options);
  for (CollectionItem& item : work->items) adder.Store(std::move(item));
  adder.Finish();
  const std::vector<EntryId> stored = adder.Entries();
  QString text = stored.size() == 1 ? tr("1 entry stored") : tr("%1 entries stored").arg(stored.size());
  std::string why;
  for (const CollectionAddOutcome& outcome : adder.outcomes())
    if (outcome.kind == CollectionAddOutcome::Kind::Refused && why.empty()) why = outcome.note;
  if (const std::size_t refused = adder.outcomes().size() - stored.size(); refused > 0)
    text += tr(", %1 refused (%2)").arg(refused).arg(ShownUtf8(why));
  if (work->unusable > 0) text += tr(", %1 files hold nothing for it").arg(work->unusable);
  if (work->cancel.Cancelled()) text += tr("; stopped");
  if (!work->problem.empty()) text += QStringLiteral(". ") + ShownUtf8(work->problem);
  emit Over(text, stored);
  emit Changed();
}

}  // namespace tonalith
