#include "library/ui/library_adding.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "platform/path_resolver.h"
#include "store/library/library_document.h"
#include "store/library/library_sources.h"
#include "ui/plain_text.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

constexpr int kPollMs = 20;
constexpr std::size_t kMostWaiting = 64;  // files

struct ReadFile {
  std::string path;
  Result read;
  std::string note;
  std::deque<DataFilePtr> data;
};

QString CountedPatches(std::size_t count) {
  return count == 1 ? LibraryAdding::tr("1 patch") : LibraryAdding::tr("%1 patches").arg(count);
}

}  // namespace

// Between the thread that reads and the one that adds.
struct LibraryAdding::Shared {
  std::mutex mutex;
  std::deque<ReadFile> files;  // read, and not added yet
  CancelToken cancel;
  std::atomic<std::size_t> read = 0, all = 0, waiting = 0;
  std::string failed;  // what was asked for and is not there
  bool over = false;
};

LibraryAdding::LibraryAdding(ZKLibDoc& library, WindowContext& context, QObject* parent)
    : QObject(parent), library_(library), context_(context) {
  timer_.setInterval(kPollMs);
  connect(&timer_, &QTimer::timeout, this, &LibraryAdding::Poll);
}

LibraryAdding::~LibraryAdding() {
  if (shared_) shared_->cancel.Cancel();
}

void LibraryAdding::Start(const std::vector<std::string>& sources, Reader reader, LibraryAddOptions options) {
  if (Running()) return;
  shared_ = std::make_shared<Shared>();
  unusable_ = 0;
  problem_.clear();
  adder_ = std::make_unique<LibraryAdder>(library_, std::move(options));
  const auto work = [shared = shared_, sources, read = std::move(reader)] {
    std::vector<std::string> files;
    std::string failed;
    for (const std::string& source : sources)
      if (Result found = FilesOfSource(source, shared->cancel, &files); !found.ok()) failed = found.text;
    shared->all = files.size();
    for (const std::string& path : files) {
      // What is read waits in memory, so it must not run ahead.
      while (shared->waiting > kMostWaiting && SystemClock().SleepMs(kPollMs, &shared->cancel)) {
      }
      if (shared->cancel.Cancelled()) break;
      ReadFile file{path, {}, {}, {}};
      std::vector<DataFilePtr> data;
      file.read = read(path, &data, &file.note);
      for (DataFilePtr& one : data) file.data.push_back(std::move(one));
      const std::lock_guard lock(shared->mutex);
      shared->files.push_back(std::move(file));
      ++shared->read;
      ++shared->waiting;
    }
    const std::lock_guard lock(shared->mutex);
    shared->failed = failed;
    shared->over = true;
    return Result::Success();
  };
  context_.InBackground(receiver_, work, [](const Result&) {});
  timer_.start();
  emit Changed();
}

void LibraryAdding::Stop() {
  if (!Running()) return;
  shared_->cancel.Cancel();
  if (!taking_) End();
}

QString LibraryAdding::Progress() const {
  if (!Running()) return {};
  const QString added = tr("%1 added").arg(CountedPatches(adder_->AddedCount()));
  const std::size_t all = shared_->all;
  return all == 0 ? tr("Looking for files, %1").arg(added)
                  : tr("Reading %1 of %2 files, %3").arg(shared_->read.load()).arg(all).arg(added);
}

// False: nothing waits now.
bool LibraryAdding::Take() {
  DataFilePtr piece;
  std::string path;
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->files.empty()) return false;
    ReadFile& file = shared_->files.front();
    path = file.path;
    if (!file.read.ok() && problem_.empty()) problem_ = file.read.text;
    if (!file.read.ok()) ++unusable_;
    if (!file.data.empty()) {
      piece = std::move(file.data.front());
      file.data.pop_front();
    }
    if (file.data.empty()) {
      shared_->files.pop_front();
      --shared_->waiting;
    }
  }
  if (piece && !adder_->AddData(*piece, FileNameOf(path))) shared_->cancel.Cancel();
  return true;
}

void LibraryAdding::Poll() {
  if (!Running() || taking_) return;
  taking_ = true;
  const bool took = Take();
  taking_ = false;
  bool over = false;
  {
    const std::lock_guard lock(shared_->mutex);
    over = shared_->cancel.Cancelled() || (shared_->over && shared_->files.empty());
  }
  if (over) return End();
  timer_.setInterval(took ? 0 : kPollMs);
  emit Changed();
}

void LibraryAdding::End() {
  timer_.stop();
  const bool stopped = shared_->cancel.Cancelled();
  {
    const std::lock_guard lock(shared_->mutex);
    if (problem_.empty()) problem_ = shared_->failed;
  }
  shared_->cancel.Cancel();
  shared_.reset();
  adder_->Finish();
  std::size_t skipped = 0;
  std::string why;
  for (const LibraryAddOutcome& outcome : adder_->outcomes()) {
    if (outcome.added) continue;
    ++skipped;
    if (why.empty()) why = outcome.note;
  }
  QString text = tr("%1 added").arg(CountedPatches(adder_->AddedCount()));
  if (skipped > 0) text += tr(", %1 skipped (%2)").arg(skipped).arg(ShownUtf8(why));
  if (adder_->unnamed() > 0) text += tr(", %1 without a name left out").arg(adder_->unnamed());
  if (unusable_ > 0) text += tr(", %1 files hold nothing for it").arg(unusable_);
  if (stopped) text += tr("; stopped");
  if (adder_->AddedCount() == 0 && !problem_.empty()) text += QStringLiteral(". ") + ShownUtf8(problem_);
  const std::vector<EntryId> added = adder_->added();
  adder_.reset();
  emit Over(text, added);
  emit Changed();
}

}  // namespace tonalith
