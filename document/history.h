#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "document/delta.h"
#include "document/history_target.h"

namespace tonalith {

// Undo and redo of one document.  An entry is one command: a name and the bytes that it changed, as they were and as
// they are, so that a small change of a large image costs a few bytes.  A mark tells which state is the one in the
// file. Names are texts of at most 255 bytes.  Used on one thread.
class History {
 public:
  struct Limits {
    std::size_t bytes = std::size_t{64} << 20;  // of all entries; the newest entry is kept whatever it holds
    std::size_t entries = 1000;
  };

  History() = default;
  explicit History(Limits limits) : limits_(limits) {}
  History(const History&) = delete;
  History& operator=(const History&) = delete;

  // Whose bytes are meant; not owned, must outlive the history.  Begins anew.
  void SetTarget(HistoryTarget* target);
  HistoryTarget* target() const { return target_; }
  // The content was replaced as a whole: forgets everything; the present state is a new one and counts as the one in
  // the file.
  void Reset();
  // Forgets all entries; whether the present state is the one in the file stays known.
  void Clear();

  // --- Recording: Begin, then Write, Resize or Remember with changes by other means, then End or Abandon.

  // A Begin inside another joins it.  With a gesture (a number the caller chooses, not 0) the change joins the newest
  // entry when that has the same gesture: a dragged knob becomes one entry.
  void Begin(std::string name, std::uint64_t gesture = 0);
  bool IsOpen() const { return depth_ > 0; }
  // To be called before these bytes change.
  void Remember(BufferId id, std::size_t offset, std::size_t length);
  // The same for a buffer whose size may change, and for all buffers (whose memory is needed only until End).
  void RememberWhole(BufferId id);
  void RememberEverything();
  // Remembers and changes.  False when the bytes do not lie inside the buffer, or it cannot have the size.
  bool Write(BufferId id, std::size_t offset, std::span<const std::uint8_t> bytes);
  bool Resize(BufferId id, std::size_t size);
  // The outermost End makes the entry; true when anything differs, else there is none.
  bool End();
  // Puts the bytes back as they were at the outermost Begin and ends all of it.
  void Abandon();
  // The next change with the same gesture is an entry of its own.
  void EndGesture();

  // --- Going back and forth; refused (false) while recording and when memory is short, everything as it was.

  bool CanUndo() const;
  bool CanRedo() const;
  std::string UndoName() const;  // empty: nothing to undo
  std::string RedoName() const;
  bool Undo();
  bool Redo();
  // Entries from the oldest; the first Position() of them are done, the others undone.
  std::size_t Count() const;
  std::size_t Position() const;
  const std::string& Name(std::size_t entry) const;
  // Undoes or redoes up to a position.
  bool GoTo(std::size_t position);
  // Gives a copy of what the target holds now the bytes of that position; the target and the history stay.  False: the
  // copy is of no use.
  bool BringCopy(std::size_t position, HistoryTarget& copy);

  // --- The state in the file

  void MarkSaved();
  // The state in the file is none of those that undo and redo reach.
  void MarkUnsaved() { saved_.reset(); }
  bool IsModified() const;
  // Another number for every state that recording, undo and redo make; the same when undo comes back to it.
  std::uint64_t State() const;

  std::size_t MemoryBytes() const { return used_; }

 private:
  struct Entry {
    std::string name;
    std::vector<BufferDelta> deltas;
    std::uint64_t state;  // after the entry
    std::size_t bytes;
  };
  bool HasGesture() const { return gesture_ != 0 && gestureDiffers_; }
  void Seal();
  void AddEntry(std::string name, std::vector<BufferDelta> deltas, std::uint64_t state);
  void DropUndone();
  bool Step(bool back);

  HistoryTarget* target_ = nullptr;
  Limits limits_;
  std::deque<Entry> entries_;
  std::size_t position_ = 0;
  std::size_t used_ = 0;
  std::uint64_t firstState_ = 1;  // before the oldest entry
  std::uint64_t nextState_ = 2;
  std::optional<std::uint64_t> saved_ = 1;

  // The change being recorded.
  int depth_ = 0;
  std::string name_;
  BeforeImage change_;

  // The newest entry while it may still grow: it is sealed by whatever comes next.
  std::uint64_t gesture_ = 0;
  std::string gestureName_;
  BeforeImage gestureBefore_;
  bool gestureDiffers_ = false;
  std::uint64_t gestureState_ = 0;
};

// Records for the life of a block; without Commit everything is put back.
class HistoryGroup {
 public:
  explicit HistoryGroup(History& history, std::string name, std::uint64_t gesture = 0) : history_(history) {
    history_.Begin(std::move(name), gesture);
  }
  ~HistoryGroup() {
    if (open_) history_.Abandon();
  }
  HistoryGroup(const HistoryGroup&) = delete;
  HistoryGroup& operator=(const HistoryGroup&) = delete;
  // True when anything differs.
  bool Commit() {
    open_ = false;
    return history_.End();
  }

 private:
  History& history_;
  bool open_ = true;
};

}  // namespace tonalith
