#pragma once

#include <QWidget>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "sets/ui/set_pane.h"
#include "sets/ui/set_transfers.h"
#include "sets/ui/set_window.h"
#include "store/entry_state.h"
#include "store/sets/set_document.h"

namespace tonalith {

class ZKDBaseDoc;

// What the pages of entries need from the program.
struct CollectionPageServices {
  // A Set that knows how to read the files of links.
  std::function<std::unique_ptr<ZKGrpDoc>()> makeSet;
  SetServices sets;
};

// What one entry of a Collection holds, beside the list: a Set with its whole window, a bank or patch with its editor,
// or why there is none.  It works on a copy: what is changed there becomes an entry of the Collection's history at
// once, and what is changed in the Collection (Undo) comes back.
class CollectionPage final : public QWidget {
  Q_OBJECT

 public:
  // `window`: the Collection's.
  CollectionPage(ZKDBaseDoc& collection, EntryId entry, WindowContext& context, ZKWindow& window,
                 const CollectionPageServices& services, QWidget* parent);
  ~CollectionPage() override;

  EntryId entry() const { return entry_; }
  // A transfer runs.
  bool IsBusy() const { return set_->IsBusy(); }
  // The window inside: of a Set, or of a bank; null: there is none now.
  ZKWindow* Inner() const;
  // The page, not the window inside, does it.
  bool Has(CommandId command) const;
  QString Refusal(CommandId command) const;
  void Run(CommandId command);
  // The Collection changed.
  void Follow();
  void FollowState();
  // Ends its transfers.
  void GiveUpWork();

 signals:
  void Changed();
  void Say(const QString& text);

 private:
  void BuildSet(std::unique_ptr<ZKGrpDoc> set, WindowContext& context, ZKWindow& window,
                const CollectionPageServices& services);
  void BuildData(std::unique_ptr<ZKGrpDoc> set, WindowContext& context, ZKWindow& window);
  void PartChanged(const DocumentChange& change);
  std::vector<std::uint8_t> Packed() const;
  void Take();
  bool AskReload() const;

  ZKDBaseDoc& collection_;
  EntryId entry_;
  WindowContext& context_;
  std::vector<std::uint8_t> seen_;       // what the Collection holds, as it was last seen
  std::vector<std::uint8_t> packed_;     // the same as the copy has it, with the ports of the studio
  std::unique_ptr<ZKGrpDoc> part_;       // of a data file
  std::unique_ptr<SetTransfers> moves_;  // of a data file
  ZKGrpDoc* set_ = nullptr;              // what is worked on
  TZKGrp* whole_ = nullptr;              // of a Set
  SetPane* pane_ = nullptr;              // of a data file
  std::uint64_t state_ = 0;              // of the copy's history
  int listener_ = 0;
  bool following_ = false, busy_ = false, late_ = false;
};

}  // namespace tonalith
