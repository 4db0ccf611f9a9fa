// Names of many patches at once, and orders that move scattered patches.

#include "bank/bank_naming.h"

#include <gtest/gtest.h>

#include "bank/bank_document.h"
#include "bank/bank_moves.h"
#include "bank/grid_settings.h"
#include "tests/bank/small_bank.h"

namespace tonalith {

namespace {

DataFilePtr SeparateNames() {
  DataFilePtr data = SmallBank();
  data->synth->namesSeparate = 1;
  AllocChunk(&data->voiceNames, &data->voiceNamesSize, 4 * kVoiceNameSize);
  return data;
}

std::string NamesOf(const ZKBankDoc& document) {
  std::string names;
  for (int slot = 0; slot < document.PatchCount(); ++slot) names += document.GetPatchName(slot) + "|";
  return names;
}

}  // namespace

TEST(BankNaming, NumbersBelongToTheSlots) {
  ZKBankDoc document(SmallBank());
  BankNaming naming(document);
  EXPECT_EQ(naming.AutoName({1, 3}, "A longer base").status, "Autonamed 2 Patches");
  EXPECT_EQ(NamesOf(document), "VOICE 0|A longer02|VOICE 2|A longer04|");
  EXPECT_TRUE(naming.AutoName({}, "Pad").ok());
  EXPECT_EQ(NamesOf(document), "Pad01|Pad02|Pad03|Pad04|");
  EXPECT_TRUE(naming.RenameAndNumberAll("Pad").ok());
  EXPECT_EQ(NamesOf(document), "Pad     01|Pad     02|Pad     03|Pad     04|");
  EXPECT_EQ(naming.Find("AD     03", 2), 2) << "a whole round";
  EXPECT_EQ(naming.Find("pad", 3), 0);
  EXPECT_EQ(naming.Find("", 0), -1);
  EXPECT_FALSE(naming.ImportNames({"one"}, {0}).ok()) << "names in the SysEx";
  document.GoTo(0);
  EXPECT_EQ(NamesOf(document), "VOICE 0|VOICE 1|VOICE 2|VOICE 3|");
}

TEST(BankNaming, SeparateNamesAreCutToTheRuleAndImportedByPosition) {
  ZKBankDoc document(SeparateNames());
  BankNaming naming(document);
  ASSERT_TRUE(naming.AutoName({0}, "Sixteen letters!").ok());
  EXPECT_EQ(document.GetPatchName(0), "Sixteen 01");
  ASSERT_TRUE(naming.ImportNames({"one", "two", std::string(50, 'x')}, {1, 2, 3}).ok());
  EXPECT_EQ(NamesOf(document), "Sixteen 01|two|" + std::string(32, 'x') + "||");
  ASSERT_TRUE(document.Undo().ok());
  EXPECT_EQ(NamesOf(document), "Sixteen 01||||") << "names are undone too";
  EXPECT_EQ(FindFirstAvailablePatch(document), 1);
}

TEST(GridLayout, PagesAndArrows) {
  const GridLayout columns = LayOutGrid(128, 16, false, 410, 200, 100, 200);
  EXPECT_EQ(columns.Pages(), 2);
  EXPECT_EQ(columns.FirstOf(1), 64);
  EXPECT_EQ(columns.LastOf(1), 127);
  EXPECT_EQ(columns.Neighbour(0, GridLayout::Way::Up), 0);
  EXPECT_EQ(columns.Neighbour(5, GridLayout::Way::Right), 21);
  EXPECT_EQ(columns.Neighbour(120, GridLayout::Way::Right), 120);
  const GridLayout rows = LayOutGrid(128, 16, true, 100, 95, 100, 20);
  EXPECT_EQ(rows.Neighbour(0, GridLayout::Way::Left), 127);
  EXPECT_EQ(rows.Neighbour(127, GridLayout::Way::Right), 0);
  EXPECT_EQ(rows.Neighbour(0, GridLayout::Way::Down), 16);
  // Nothing divides by what a file says.
  const GridLayout none = LayOutGrid(0, 0, false, 0, 0, 0, 0);
  EXPECT_EQ(none.Pages(), 1);
  EXPECT_EQ(none.Neighbour(0, GridLayout::Way::Left), 0);
}

}  // namespace tonalith
