#include <cstddef>
#include <cstdint>
#include <span>

#include "studio/module_draft.h"

// A recorded dump.  The first byte chooses what the author says about it.  What is made of it has to be buildable.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  tonalith::DraftOptions options;
  options.name = "Try";
  const unsigned choice = data[0];
  std::string error;
  if (choice & 1) tonalith::DraftBytes::Parse("F0 7D 0? 10 nn F7", &options.request, &error);
  if (choice & 2) tonalith::DraftBytes::Parse("F0 7D 0? 20 nn", &options.header, &error);
  if (choice & 4) options.bank = 1u << (choice >> 5);
  if (choice & 8) options.nameOffset = choice, options.nameLength = 10;
  if (choice & 16) options.checksum = tonalith::DraftChecksum{static_cast<int>(choice >> 5), 5, choice, choice + 5, 1};
  tonalith::ModuleDraft draft;
  std::vector<tonalith::DraftFinding> findings;
  const tonalith::Result result = tonalith::DraftOfDump(std::span(data + 1, size - 1), options, &draft, &findings);
  if (!result.ok() && result.text.empty()) __builtin_trap();
  tonalith::ModuleSource source;
  if (!result.ok()) return 0;
  const tonalith::Result written = tonalith::WriteDraft(draft, &source);
  if (!written.ok() && (written.text.empty() || choice == 0)) __builtin_trap();
  return 0;
}
