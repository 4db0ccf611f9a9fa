#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/conversation.h"
#include "simulator/description.h"
#include "simulator/wire_codecs.h"

// Conversation files, instrument descriptions and dumps come from anywhere.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string problem;
  if (auto talk = tonalith::Conversation::Parse(text, &problem)) {
    tonalith::ConversationPlayer player(std::move(*talk));
    player.Start();
    player.OnBytes({data, size});
    player.Verdict();
  }
  if (auto result = tonalith::ParseDescription(text, "fuzz"); result.description && size < 4096) {
    tonalith::SimulatedInstrument instrument(std::move(*result.description));
    instrument.LoadDump({data, size});
    instrument.OnBytes({data, size}, 1'000'000);
    instrument.PanelList();
  }
  tonalith::ScanSysEx({data, size});
  return 0;
}
