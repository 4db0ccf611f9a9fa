// Opens any bytes as a Set and works on its components: nothing is read or written outside, undo brings every byte
// back, and what is written is read again as it was.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "data/container.h"
#include "store/entry_state.h"
#include "store/sets/patch_links.h"
#include "store/sets/set_document.h"
#include "store/sets/set_transfer.h"

namespace {

using namespace tonalith;

class OpenSet : public ZKGrpDoc {
 public:
  std::vector<std::uint8_t> Written() {
    std::vector<std::uint8_t> bytes;
    if (!WriteBytes({}, &bytes).ok()) __builtin_trap();
    return bytes;
  }
};

void Work(OpenSet& set) {
  for (int i = 0; i < set.GetDataFileCount(); ++i) {
    if (EntryStateText(set.StateOf(i)).empty() || set.SysExBytes(i) > set.GetDataFile(i)->bodySize) __builtin_trap();
    set.SetActive(i, false);
    DataFilePtr data;
    if (!set.TakeData(i, &data).ok()) continue;
    if (data->body && data->bodySize > 0) data->body[0] ^= 1;
    set.PutData(i, std::move(data));
  }
  std::vector<int> left;
  set.ResolveLinks(&left);
  set.SetLink(0, "/nonexistent/x.dat");
  PlanSetGet(set, {});
  std::vector<std::string> problems;
  const PatchLinks links(
      set, [](int) { return std::filesystem::path(); }, &problems);
  PlanSetSend(set, {}, [&links](int component) { return links.Rank(component); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OpenSet set;
  if (!set.Load({}, FileBytes(data, data + size), {}).ok()) {
    if (set.GetDataFileCount() != 0) __builtin_trap();
    return 0;
  }
  // Very many components make everything slow and show nothing new.
  if (set.GetDataFileCount() > 64) return 0;
  const std::vector<std::uint8_t> before = set.Written();
  Work(set);
  while (set.Undo().ok()) {
  }
  if (set.Written() != before) __builtin_trap();
  OpenSet again;
  const Result read = again.Load({}, FileBytes(before.begin(), before.end()), {});
  // What was read of a larger file may need more than a smaller one may take.
  if (read.code == kDiskNoMemory) return 0;
  if (!read.ok() || again.Written() != before) __builtin_trap();
  return 0;
}
