// Opens any bytes as a Collection and works on its entries: nothing is read or written outside, undo brings every byte
// back, and what is written is read again as it was.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "collection/collection_add.h"
#include "collection/collection_document.h"
#include "collection/collection_listing.h"
#include "data/container.h"

namespace {

using namespace tonalith;

class AnyCollection : public ZKDBaseDoc {
 public:
  std::vector<std::uint8_t> Written() {
    std::vector<std::uint8_t> bytes;
    if (!WriteBytes({}, &bytes).ok()) __builtin_trap();
    return bytes;
  }
};

void Work(AnyCollection& collection) {
  CollectionListing(collection, 10);
  for (const EntryId entry : std::vector<EntryId>(collection.Order())) {
    collection.SetText(entry, CollectionColumn::Name, "x");
    collection.SetText(entry, CollectionColumn::Comment, "y");
    DataFilePtr data;
    CollectionAddOptions options;
    options.uniqueNames = true;
    CollectionAdder adder(collection, options);
    if (collection.TakeData(entry, &data).ok()) adder.Store(*data);
    adder.Store(collection.Item(entry));
    adder.Finish();
  }
  for (int key = 0; key <= 4; ++key) collection.DBaseSort(static_cast<CollectionSort>(key));
  std::vector<EntryId> left;
  collection.ResolveLinks(collection.Order(), &left);
  collection.RemoveNonSetDataLists();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  AnyCollection collection;
  if (!collection.Load("x.pvc", FileBytes(data, data + size), {}).ok()) {
    if (collection.GetDataFileCount() != 0) __builtin_trap();
    return 0;
  }
  // Very many entries make everything slow and show nothing new.
  if (collection.GetDataFileCount() > 32) return 0;
  const std::vector<std::uint8_t> before = collection.Written();
  Work(collection);
  while (collection.Undo().ok()) {
  }
  if (collection.Written() != before) __builtin_trap();
  AnyCollection again;
  const Result read = again.Load("x.pvc", FileBytes(before.begin(), before.end()), {});
  // What was read of a larger file may need more than a smaller one may take.
  if (read.code == kDiskNoMemory) return 0;
  if (!read.ok() || again.Written() != before) __builtin_trap();
  return 0;
}
