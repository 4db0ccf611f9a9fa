#include "bank/clip_mark.h"

#include <utility>

namespace tonalith {

namespace {

BankMark& TheMark() {
  static BankMark mark;
  return mark;
}

}  // namespace

const BankMark& GetClipMark() {
  return TheMark();
}

void SetClipMark(BankMark mark) {
  TheMark() = std::move(mark);
}

void ClearClipMark(const ZKBankDoc& document) {
  if (TheMark().document == &document) TheMark() = BankMark();
}

}  // namespace tonalith
