#include "document/history.h"

#include <utility>

namespace tonalith {

namespace {

constexpr std::size_t kLongestName = 255;

}  // namespace

void History::SetTarget(HistoryTarget* target) {
  target_ = target;
  Reset();
}

void History::Reset() {
  depth_ = 0;
  change_ = {};
  gesture_ = 0;
  gestureBefore_ = {};
  Clear();
  firstState_ = nextState_++;
  MarkSaved();
}

void History::Clear() {
  Seal();
  firstState_ = State();
  entries_.clear();
  position_ = 0;
  used_ = 0;
}

void History::Begin(std::string name, std::uint64_t gesture) {
  if (!target_ || depth_++ > 0) return;
  if (gesture == 0 || gesture != gesture_) Seal();
  change_ = {};
  name_ = name.substr(0, kLongestName);
  if (gesture_ == 0 && gesture != 0) {
    gesture_ = gesture;
    gestureName_ = name_;
    gestureBefore_ = {};
    gestureDiffers_ = false;
  }
}

void History::Remember(BufferId id, std::size_t offset, std::size_t length) {
  if (depth_ > 0) change_.Remember(*target_, id, offset, length);
}

void History::RememberWhole(BufferId id) {
  if (depth_ > 0) change_.RememberWhole(*target_, id);
}

void History::RememberEverything() {
  if (depth_ == 0) return;
  for (const BufferId id : target_->HistoryBuffers()) change_.RememberWhole(*target_, id);
}

bool History::Write(BufferId id, std::size_t offset, std::span<const std::uint8_t> bytes) {
  if (depth_ == 0) return false;
  const std::span<std::uint8_t> buffer = target_->HistoryBytes(id);
  if (offset > buffer.size() || bytes.size() > buffer.size() - offset) return false;
  change_.Remember(*target_, id, offset, bytes.size());
  std::copy(bytes.begin(), bytes.end(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  return true;
}

bool History::Resize(BufferId id, std::size_t size) {
  if (depth_ == 0) return false;
  const std::size_t now = target_->HistoryBytes(id).size();
  change_.Remember(*target_, id, size, size < now ? now - size : 0);
  return target_->ResizeHistoryBuffer(id, size);
}

bool History::End() {
  if (depth_ == 0 || --depth_ > 0) return false;
  const BeforeImage change = std::exchange(change_, {});
  if (!change.Differs(*target_)) return false;
  DropUndone();
  if (gesture_ == 0) {
    AddEntry(name_, change.Deltas(*target_), nextState_++);
  } else {
    gestureBefore_.Absorb(change);
    gestureDiffers_ = gestureBefore_.Differs(*target_);
    gestureState_ = nextState_++;
  }
  return true;
}

void History::Abandon() {
  if (depth_ == 0) return;
  depth_ = 0;
  const BeforeImage change = std::exchange(change_, {});
  ApplyDeltas(*target_, change.Deltas(*target_), true);
}

void History::EndGesture() {
  if (depth_ == 0) Seal();
}

void History::Seal() {
  if (gesture_ == 0) return;
  if (gestureDiffers_) AddEntry(gestureName_, gestureBefore_.Deltas(*target_), gestureState_);
  gesture_ = 0;
  gestureBefore_ = {};
}

void History::DropUndone() {
  while (entries_.size() > position_) {
    used_ -= entries_.back().bytes;
    entries_.pop_back();
  }
}

void History::AddEntry(std::string name, std::vector<BufferDelta> deltas, std::uint64_t state) {
  std::size_t bytes = sizeof(Entry) + name.capacity();
  for (const BufferDelta& delta : deltas) bytes += delta.MemoryBytes();
  entries_.push_back({std::move(name), std::move(deltas), state, bytes});
  ++position_;
  used_ += bytes;
  while (entries_.size() > 1 && (used_ > limits_.bytes || entries_.size() > limits_.entries)) {
    firstState_ = entries_.front().state;
    used_ -= entries_.front().bytes;
    entries_.pop_front();
    --position_;
  }
}

bool History::CanUndo() const {
  return depth_ == 0 && Position() > 0;
}

bool History::CanRedo() const {
  return depth_ == 0 && Position() < Count();
}

std::string History::UndoName() const {
  return CanUndo() ? Name(Position() - 1) : std::string();
}

std::string History::RedoName() const {
  return CanRedo() ? Name(Position()) : std::string();
}

std::size_t History::Count() const {
  return entries_.size() + (HasGesture() ? 1 : 0);
}

std::size_t History::Position() const {
  return position_ + (HasGesture() ? 1 : 0);
}

const std::string& History::Name(std::size_t entry) const {
  return entry < entries_.size() ? entries_[entry].name : gestureName_;
}

bool History::Step(bool back) {
  if (depth_ > 0) return false;
  Seal();
  if (back ? position_ == 0 : position_ == entries_.size()) return false;
  const std::size_t entry = back ? position_ - 1 : position_;
  if (!ApplyDeltas(*target_, entries_[entry].deltas, back)) return false;
  position_ = back ? position_ - 1 : position_ + 1;
  target_->HistoryApplied();
  return true;
}

bool History::Undo() {
  return Step(true);
}

bool History::Redo() {
  return Step(false);
}

bool History::GoTo(std::size_t position) {
  if (position > Count()) return false;
  while (Position() > position) {
    if (!Undo()) return false;
  }
  while (Position() < position) {
    if (!Redo()) return false;
  }
  return true;
}

bool History::BringCopy(std::size_t position, HistoryTarget& copy) {
  if (depth_ > 0) return false;
  Seal();
  if (position > entries_.size()) return false;
  for (std::size_t at = position_; at > position; --at)
    if (!ApplyDeltas(copy, entries_[at - 1].deltas, true)) return false;
  for (std::size_t at = position_; at < position; ++at)
    if (!ApplyDeltas(copy, entries_[at].deltas, false)) return false;
  return true;
}

void History::MarkSaved() {
  Seal();
  saved_ = State();
}

bool History::IsModified() const {
  return saved_ != State();
}

std::uint64_t History::State() const {
  if (HasGesture()) return gestureState_;
  return position_ == 0 ? firstState_ : entries_[position_ - 1].state;
}

}  // namespace tonalith
