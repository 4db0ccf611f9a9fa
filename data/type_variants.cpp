#include "data/type_variants.h"

#include <string>

#include "platform/text.h"

namespace tonalith {

bool IsPolymorphic(const Synth* a, const Synth* b) {
  const std::string variant = FieldText(a->variantText);
  return !variant.empty() && AsciiEqualNoCase(FieldText(a->typeKey), FieldText(b->typeKey)) &&
         AsciiEqualNoCase(variant, FieldText(b->variantText));
}

}  // namespace tonalith
