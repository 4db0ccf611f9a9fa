#include "tools/ui/change_byte.h"

#include <cstdio>
#include <vector>

#include "data/hex_text.h"
#include "document/document.h"
#include "platform/prompts.h"

namespace tonalith {

std::string PlaceText(std::size_t position) {
  char text[48];
  std::snprintf(text, sizeof text, "%zu (0x%.4zx)", position, position);
  return text;
}

std::string AskForByte(const std::function<Document*()>& document, const std::function<DataListing()>& listing,
                       std::size_t position, Prompts& prompts) {
  TextPrompt prompt;
  prompt.title = "Change Byte";
  prompt.maxLength = 2;
  std::string typed = HexText(std::vector<std::uint8_t>{listing().ByteAt(position)});
  const std::string before = typed;
  prompt.label = "Byte at offset " + PlaceText(position) + ", two hexadecimal digits:";
  for (;;) {
    prompt.text = typed;
    if (!prompts.Text(prompt, typed)) return {};
    const auto bytes = ParseHex(typed);
    if (!bytes || bytes->size() != 1) {
      prompts.Say("View", "A byte is two hexadecimal digits, from 00 to FF.");
      continue;
    }
    const DataListing now = listing();
    const auto image = position < now.Size() ? now.ImagePosition(position) : std::nullopt;
    Document* changed = document();
    if (!changed || !image) return "The data is another now; nothing was changed.";
    if (const Result done = changed->ChangeByte(*image, bytes->front()); !done.ok()) return done.text;
    const std::string after = HexText(*bytes);
    if (after == before) return {};
    return "The byte at offset " + std::to_string(position) + " was " + before + " and is " + after +
           "; Undo takes it back.";
  }
}

}  // namespace tonalith
