#pragma once

#include <Qt>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QDropEvent;
class QMimeData;
class QWidget;

namespace tonalith {

class OfferedMove;
class TZKBank;
struct BankOutcome;

// What dropping patches does to those they are dropped on.
enum class DropKind {
  None,
  Exchange,  // they go to where the dragged ones came from
  Copy,      // they are replaced
  Insert,    // they make room
};

// What would happen where the pointer is, as it is shown.
struct DropCue {
  DropKind kind = DropKind::None;
  int patch = -1;  // the first that is meant; Insert: before it, the number of patches: at the end
  int count = 0;   // how many are dragged
};

// Patches of a bank's window that are dragged, and what is dropped on it.
class BankDrag final {
 public:
  explicit BankDrag(TZKBank& window);
  ~BankDrag();
  BankDrag(const BankDrag&) = delete;
  BankDrag& operator=(const BankDrag&) = delete;

  bool CanStart() const;
  // Returns when the drag is over: Begin, what the toolkit drags, Finish.
  void Start(QWidget* view);
  void Begin(const std::vector<int>& patches);
  void Finish();
  // What other programs get of them.
  std::unique_ptr<QMimeData> Mime() const;
  // `patch`: under the pointer, or the number of patches behind the last; -1: none.  `behind`: it is in the lower half.
  DropCue Look(const QDropEvent& event, int patch, bool behind) const;
  // True: it was taken.
  bool Drop(const QDropEvent& event, const DropCue& cue);

 private:
  // A text file with names from the desktop; empty: it is something else.
  static std::string NameListIn(const QMimeData* data);
  bool DropNames(const std::string& path);
  // The drag that is over this window, its own or one of another bank's window; null: something else.
  static BankDrag* Source(const QMimeData* data);
  // SysEx and MIDI files from the desktop; empty: something else.
  static std::vector<std::string> DataFilesIn(const QMimeData* data);
  bool DropData(const std::vector<std::string>& paths, int patch);
  // What another kind of window, or a bank of another form, has on offer and this one would take; none: nothing.
  std::optional<std::uint64_t> OfferIn(const QMimeData* data, int patch) const;
  bool TakeOffer(std::uint64_t number, int patch);
  DropCue LookAtOthers(const QMimeData* data, int patch) const;
  bool Fits(const BankDrag& source) const;
  DropKind KindOf(const BankDrag& source, Qt::KeyboardModifiers modifiers) const;
  BankOutcome DropOn(BankDrag& source, const DropCue& cue, std::vector<int>* now);

  TZKBank& window_;
  std::vector<int> dragged_;              // while a drag of this window is under way
  std::unique_ptr<OfferedMove> offered_;  // the same for windows that are no banks of the same form
  std::string problem_;                   // why it could not be made
};

}  // namespace tonalith
