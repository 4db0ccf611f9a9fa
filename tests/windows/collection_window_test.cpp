// The window of a Collection: filled from files and windows, searched, edited in the pane, taken back, saved, opened.

#include "collection/ui/collection_window.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <filesystem>

#include "app/collection_commands.h"
#include "bank/bank_document.h"
#include "bank/ui/bank_window.h"
#include "collection/collection_document.h"
#include "collection/ui/collection_list.h"
#include "platform/text.h"
#include "sets/ui/set_views.h"
#include "tests/windows/window_test_tools.h"
#include "ui/style/empty_state.h"
#include "ui/style/search_field.h"

namespace tonalith {
namespace {

class CollectionWindow : public ProgramFixture {
 protected:
  TZKDBase* NewWindow() {
    frame().RunCommand(CommandId::FileNewCollection);
    auto* window = qobject_cast<TZKDBase*>(frame().ActiveChild());
    EXPECT_TRUE(window);
    return window;
  }
  // A bank and a Set of the DX7, as files.
  void Fill(TZKDBase* window) {
    TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
    ASSERT_TRUE(Idle(bank, 20000));
    std::filesystem::create_directories(Path("in"));
    ASSERT_TRUE(bank->document().SaveCopy(Path("in/b\u00e4nke.dat")).ok());
    for (const auto& one : program_->studio()->instruments())
      if (Latin1ToUtf8(one->DisplayKey()) == "Yamaha DX7") {
        TZKGrp* set = parts().sets.OpenNew(*one);
        ASSERT_TRUE(set);
        ASSERT_TRUE(set->document().SaveCopy(Path("in/live.pvs")).ok());
      }
    ASSERT_TRUE(DropFiles(window->findChild<EmptyState*>(), {Path("in")}));
    ASSERT_TRUE(WaitFor([window] { return !window->adding().Running(); }, 20000));
    ASSERT_EQ(window->document().GetDataFileCount(), 2u);
  }
  static QString Cell(TZKDBase* window, int row, CollectionColumn column) {
    return window->list()->model()->index(row, static_cast<int>(column)).data().toString();
  }
  static TZKBank* BankIn(TZKDBase* window) {
    return window->page() ? qobject_cast<TZKBank*>(window->page()->Inner()) : nullptr;
  }
};

TEST_F(CollectionWindow, IsFilledEditedSavedAndOpenedAgain) {
  const std::string path = Path("\u00dcbung.pvc");
  Start({"file " + path, "no"});
  TZKDBase* window = NewWindow();
  ZKDBaseDoc& collection = window->document();
  EXPECT_FALSE(window->RefusalOf(CommandId::CollectionDelete).isEmpty());
  Fill(window);
  EXPECT_EQ(collection.history().Count(), 1u);
  const std::vector<EntryId> order = collection.Order();
  EXPECT_EQ(Cell(window, 0, CollectionColumn::Name), QStringLiteral("b\u00e4nke.dat"));
  EXPECT_EQ(Cell(window, 0, CollectionColumn::Type), QStringLiteral("Yamaha DX7 Voice Bank"));
  EXPECT_EQ(Cell(window, 1, CollectionColumn::Name), QStringLiteral("Yamaha DX7 Set (live)"));

  // The bank beside the list is edited, and what is taken back there is that of the Collection.
  window->list()->Select({order[0]});
  ASSERT_TRUE(BankIn(window));
  const std::vector<std::uint8_t> before = collection.Item(order[0]).bytes;
  BankIn(window)->Select({3});
  BankIn(window)->RunCommand(CommandId::BankInit);
  EXPECT_NE(collection.Item(order[0]).bytes, before);
  const std::string third = BankIn(window)->document().GetPatchName(3);
  KeepScreenshot(window, QStringLiteral("collection-bank"));
  window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(collection.Item(order[0]).bytes, before);
  EXPECT_NE(BankIn(window)->document().GetPatchName(3), third) << "it comes back in the pane, too";

  // A whole Set in the pane.
  window->list()->Select({order[1]});
  auto* set = qobject_cast<TZKGrp*>(window->page()->Inner());
  ASSERT_TRUE(set);
  KeepScreenshot(window, QStringLiteral("collection-set"));
  set->view().SetCurSel(0);
  set->RunCommand(CommandId::SetInitialize);
  EXPECT_TRUE(set->document().IsOneOrMoreDefined());
  EXPECT_EQ(collection.Facts(order[1]).state.content, EntryContent::kDefined);
  window->RunCommand(CommandId::EditUndo);
  EXPECT_FALSE(set->document().IsOneOrMoreDefined());
  EXPECT_EQ(collection.Facts(order[1]).state.content, EntryContent::kUndefined);

  // Texts in place, search, order.
  ASSERT_TRUE(
      window->list()->model()->setData(window->list()->model()->index(0, static_cast<int>(CollectionColumn::Comment)),
                                       QStringLiteral("Gl\u00fcck auf")));
  TypeText(window->Search(), QStringLiteral("gluck"));
  EXPECT_EQ(window->list()->model()->rowCount(), 1);
  TypeText(window->Search(), QStringLiteral("nothing has this"));
  EXPECT_EQ(window->list()->model()->rowCount(), 0);
  window->Search()->clear();
  EXPECT_EQ(window->list()->model()->rowCount(), 2);
  emit window->list()->SortWanted(static_cast<int>(CollectionColumn::Name));
  emit window->list()->SortWanted(static_cast<int>(CollectionColumn::Name));
  EXPECT_EQ(Cell(window, 0, CollectionColumn::Name), QStringLiteral("Yamaha DX7 Set (live)"));
  window->list()->header()->resizeSection(0, 321);

  window->list()->Select({order[0]});
  window->list()->setFocus();
  window->RunCommand(CommandId::EditCopy);
  window->RunCommand(CommandId::EditPaste);
  EXPECT_EQ(collection.GetDataFileCount(), 3u);
  window->RunCommand(CommandId::CollectionDelete);
  EXPECT_EQ(collection.GetDataFileCount(), 2u);

  window->RunCommand(CommandId::FileSave);
  EXPECT_FALSE(collection.IsModified());
  window->RunCommand(CommandId::EditUndo);
  EXPECT_TRUE(collection.IsModified()) << "undo after save";
  window->RunCommand(CommandId::EditRedo);
  EXPECT_FALSE(collection.IsModified());
  ASSERT_TRUE(window->CloseAsked());
  ASSERT_TRUE(parts().files.OpenFile(path, 0));
  auto* again = qobject_cast<TZKDBase*>(frame().ActiveChild());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->document().GetDataFileCount(), 2u);
  EXPECT_EQ(Cell(again, 0, CollectionColumn::Name), QStringLiteral("Yamaha DX7 Set (live)"));
  EXPECT_EQ(again->list()->columnWidth(0), 328);
}

TEST_F(CollectionWindow, GivesAndTakes) {
  Start({"yes", "file " + Path("out.pdf")});
  TZKDBase* window = NewWindow();
  Fill(window);
  ZKDBaseDoc& collection = window->document();
  const std::vector<EntryId> order = collection.Order();
  // Data into another Collection, a bank, and back; a Set only where Sets go.
  auto* other = NewWindow();
  Move move;
  for (const EntryId entry : order) {
    window->list()->Select({entry});
    ASSERT_TRUE(window->MoveOut(&move).ok());
    EXPECT_TRUE(Deliver(*other, std::move(move)).taken());
  }
  EXPECT_EQ(other->document().GetDataFileCount(), 2u);
  ASSERT_TRUE(window->MoveOut(&move).ok());
  EXPECT_NE(window->AcceptsMove(OfferOf(move)), "") << "its own";
  for (ZKWindow* child : frame().Children()) {
    auto* target = qobject_cast<DocumentWindow*>(child);
    if (target && target != window && target != other) {
      EXPECT_NE(target->AcceptsMove(OfferOf(move)), "") << target->TabText().toStdString();
    }
  }
  window->list()->Select(order);
  EXPECT_NE(window->MoveOutRefusal(), "");
  // What comes under the name that is there.
  other->RunCommand(CommandId::CollectionStoreAsk);
  EXPECT_TRUE(other->CommandChecked(CommandId::CollectionStoreAsk));
  window->list()->Select({order[0]});
  ASSERT_TRUE(window->MoveOut(&move).ok());
  EXPECT_TRUE(Deliver(*other, std::move(move)).taken());
  EXPECT_EQ(other->document().GetDataFileCount(), 2u) << "overwritten";
  other->RunCommand(CommandId::CollectionPatchesOnly);
  ASSERT_TRUE(window->MoveOut(&move).ok());
  EXPECT_NE(Deliver(*other, std::move(move)).text.find("Banks can't be added"), std::string::npos);

  window->list()->setFocus();
  window->RunCommand(CommandId::FilePrint);
  EXPECT_TRUE(std::filesystem::exists(Path("out.pdf")));
  window->RunCommand(CommandId::EditCopyNames);
  EXPECT_GT(QGuiApplication::clipboard()->text().count(QLatin1Char('\n')), 30);
}

}  // namespace
}  // namespace tonalith
