#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "collection/collection_document.h"
#include "document/history.h"

namespace tonalith {

class Prompts;

enum class StoreAnswer { Overwrite, AddNumbered, Nothing };

// What the user is asked in the mode Ask: yes, no, cancel.
StoreAnswer AskStoreQuestion(Prompts& prompts, const std::string& question);

struct CollectionAddOptions {
  // Without it what the user would be asked about is added.
  std::function<StoreAnswer(const std::string& question)> ask{};
  // No two entries get the same name; otherwise names that come in stay as they are.
  bool uniqueNames = false;
};

// What became of one entry.
struct CollectionAddOutcome {
  enum class Kind { Added, Overwritten, Refused };
  Kind kind = Kind::Refused;
  EntryId entry = 0;
  std::string name;    // UTF-8
  std::string note{};  // why it was refused
};

// Stores entries in a Collection as its mode says, all of them as one entry of its history; nothing else may change it
// meanwhile.
class CollectionAdder {
 public:
  CollectionAdder(ZKDBaseDoc& collection, CollectionAddOptions options, const std::string& name = "Add");

  const CollectionAddOutcome& Store(CollectionItem item);
  const CollectionAddOutcome& Store(const DataFile& data);
  // Without it nothing was stored.
  bool Finish();

  const std::vector<CollectionAddOutcome>& outcomes() const { return outcomes_; }
  // Added or overwritten.
  std::vector<EntryId> Entries() const;

 private:
  const CollectionAddOutcome& Refuse(const std::string& name, std::string reason);
  const CollectionAddOutcome& Took(CollectionAddOutcome::Kind kind, EntryId entry);
  const CollectionAddOutcome& Overwrite(EntryId entry, CollectionItem item);
  // The data entry of the type and name; 0: none.
  EntryId Twin(const CollectionFacts& facts) const;
  bool VerifyName(const std::string& latin1) const;
  void AutoMakeUniqueFileName(DataFile* data) const;

  ZKDBaseDoc& collection_;
  CollectionAddOptions options_;
  HistoryGroup change_;
  std::string name_;
  std::vector<CollectionAddOutcome> outcomes_;
};

// The name with a number at its end that `taken` does not know, in at most `length` characters; the name itself when
// there is none, or it is free.
std::string NumberedName(const std::string& name, std::size_t length,
                         const std::function<bool(const std::string& name)>& taken);

// What is called "New" is called by the letters and digits of its data type.
void AutoMakeFileName(DataFile* data);

}  // namespace tonalith
