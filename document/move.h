#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "data/data_records.h"
#include "services/desktop_file.h"

namespace tonalith {

class Document;

// One way for data from one document to another: dragging, Move To, Paste and "Copy to" all make a Move and hand it to
// the window (or document) it goes to.  Used on the user-interface thread only.

// What is moved: one data file (a patch or a whole bank), several, or a whole Set document.  Owned by the sender until
// the receiver has taken it.
using MovePayload = std::variant<DataFilePtr, std::vector<DataFilePtr>, std::unique_ptr<Document>>;

// What the user wants to happen at the destination.
enum class MoveAction {
  Copy,      // takes the place of what is there
  Exchange,  // what was there goes to where the data came from
  Insert,    // what is there makes room
};

// Where the data comes from.
struct MoveSource {
  WindowType window = WindowType::FolderView;
  std::uint64_t document = 0;  // Document::Number; 0: none (a file)
  int entry = -1;              // patch or row in it, from 0; -1: the whole, or several
};

struct MoveFlags {
  bool fromSet = false;
  bool noKeywords = false;  // keywords and comment of the destination stay
  bool fromPluginClient = false;
};

struct Move {
  MovePayload payload;
  MoveSource source;
  MoveAction action = MoveAction::Copy;
  int destination = -1;  // slot or row to begin at, from 0; -1: where the receiver's selection is
  MoveFlags flags;
  std::vector<std::uint8_t> instrumentBlock;  // of a Set, as its file keeps it; empty: from no Set
};

// What is known of one data file before it is handed over; the fields are those of its descriptor.
struct MovedType {
  std::string typeKey;  // compatibility name, may be empty
  std::uint16_t driverId = kNoDriver;
  std::uint8_t manufacturerId = 0;
  bool isBank = false;
  std::uint32_t fileSize = 0;
  std::uint32_t voiceBytes = 0;
};

// What a Move would bring.  Cheap to make: a drag makes one for every place it passes.
struct MoveOffer {
  std::vector<MovedType> types;  // one for each data file, in order; empty for a Set document
  bool setDocument = false;
  MoveSource source;
  MoveAction action = MoveAction::Copy;
  int destination = -1;
  MoveFlags flags;

  bool IsBank() const { return types.size() == 1 && types.front().isBank; }
};

MovedType MovedTypeOf(const DataFile& dataFile);
MoveOffer OfferOf(const Move& move);

struct MoveResult {
  enum class Kind {
    Taken,    // the receiver owns the payload; `back` holds what an exchange gives in return
    Refused,  // nothing has changed, the sender still owns the payload; `text` says why
    AskDone,  // the user was asked and does not want it; as Refused, with nothing more to say
  };
  Kind kind = Kind::Refused;
  std::string text;  // UTF-8: the reason, or of what was taken what could not be kept; may be empty
  std::vector<DataFilePtr> back;

  bool taken() const { return kind == Kind::Taken; }
  static MoveResult Taken(std::string note = {}) { return {Kind::Taken, std::move(note), {}}; }
  static MoveResult Refused(std::string reason) { return {Kind::Refused, std::move(reason), {}}; }
  static MoveResult AskDone() { return {Kind::AskDone, {}, {}}; }
};

// Whatever can take data: a window of a document, or a document without one.
class MoveTarget {
 public:
  virtual ~MoveTarget() = default;
  // Empty: it would take this; else the reason why not, a sentence.  Asks nobody and changes nothing.
  virtual std::string AcceptsMove(const MoveOffer& offer) const = 0;
  // Takes the payload out of `move` (one command, one entry of the history), or leaves it there.  `move.source` may be
  // the receiver itself.
  virtual MoveResult ReceiveMove(Move&& move) = 0;
};

// Asks, then hands over.  A payload without content is refused here.
MoveResult Deliver(MoveTarget& target, Move&& move);

// Moves that are being dragged, or wait for Paste.  What travels is a number, which means nothing in another program or
// after the offer was withdrawn; the data itself is made when somebody takes it.
class MovesOnOffer {
 public:
  // Makes the data; none: it is not there any more.
  using Maker = std::function<std::optional<Move>()>;
  // What the receiver gave back, and that it has taken the move: for the sender to end an exchange.
  using Ended = std::function<void(MoveResult& result)>;

  // Returns the number, never 0.
  std::uint64_t Offer(MoveOffer offer, Maker make, Ended ended = {});
  void Withdraw(std::uint64_t number) { offers_.erase(number); }
  // Null: there is no such offer (any more).
  const MoveOffer* Find(std::uint64_t number) const;
  // Why `target` would not take the offer with this action at this destination; empty: it would.
  std::string Refusal(std::uint64_t number, const MoveTarget& target, MoveAction action, int destination) const;
  // Makes the move and delivers it.  The offer stays, to be taken again (Paste), until it is withdrawn.
  MoveResult Take(std::uint64_t number, MoveTarget& target, MoveAction action, int destination);

 private:
  struct Entry {
    MoveOffer offer;
    Maker make;
    Ended ended;
  };
  std::map<std::uint64_t, Entry> offers_;
  std::uint64_t last_ = 0;
};

// Takes its offer back at the end of a block: for the time of a drag.
class OfferedMove {
 public:
  OfferedMove(MovesOnOffer& moves, MoveOffer offer, MovesOnOffer::Maker make, MovesOnOffer::Ended ended = {})
      : moves_(moves), number_(moves.Offer(std::move(offer), std::move(make), std::move(ended))) {}
  ~OfferedMove() { moves_.Withdraw(number_); }
  OfferedMove(const OfferedMove&) = delete;
  OfferedMove& operator=(const OfferedMove&) = delete;
  std::uint64_t number() const { return number_; }

 private:
  MovesOnOffer& moves_;
  std::uint64_t number_;
};

}  // namespace tonalith
