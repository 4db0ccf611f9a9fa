#include "catalogue/instrument_choice.h"

#include "catalogue/catalogue.h"
#include "platform/text.h"

namespace tonalith {

Result ChooseInstruments(const Catalogue& catalogue, const std::string& name, std::set<std::int64_t>* kinds) {
  std::set<std::int64_t> words, parts;
  std::set<std::string> names;
  const std::string part = AsciiLower(name);
  kinds->clear();
  for (const auto& [id, kind] : catalogue.kinds()) {
    names.insert(kind.instrument);
    if (AsciiEqualNoCase(kind.instrument, name)) kinds->insert(id);
    if (AsciiHasWordNoCase(kind.instrument, name)) words.insert(id);
    if (AsciiLower(kind.instrument).find(part) != std::string::npos) parts.insert(id);
  }
  if (kinds->empty()) *kinds = words.empty() ? parts : words;
  if (!kinds->empty()) return Result::Success();
  std::string list;
  for (const std::string& known : names) list += (list.empty() ? "" : ", ") + known;
  return Result::Failure("There is no instrument \"" + name + "\" in the catalogue" +
                         (list.empty() ? "." : "; there is: " + list + "."));
}

}  // namespace tonalith
