// The window of a Library: filled from files and banks, searched, edited, given to banks, everything taken back.

#include "library/ui/library_window.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <filesystem>

#include "app/library_commands.h"
#include "bank/bank_document.h"
#include "library/ui/library_list.h"
#include "platform/text.h"
#include "store/library/library_document.h"
#include "tests/windows/window_test_tools.h"
#include "ui/style/empty_state.h"
#include "ui/style/search_field.h"

namespace tonalith {
namespace {

class LibraryWindow : public ProgramFixture {
 protected:
  TZKLib* OpenLibrary(const char* instrument) {
    for (const auto& one : program_->studio()->instruments()) {
      if (Latin1ToUtf8(one->DisplayKey()).find(instrument) == std::string::npos) continue;
      for (const auto& driver : one->drivers)
        if (!driver->synth()->isBank) return parts().libraries.OpenNew(*driver);
    }
    ADD_FAILURE() << instrument;
    return nullptr;
  }
  static QString Cell(TZKLib* window, int row, LibraryColumn column) {
    return window->list()->model()->index(row, static_cast<int>(column)).data().toString();
  }
};

TEST_F(LibraryWindow, IsFilledSearchedEditedSavedAndOpenedAgain) {
  const std::string path = Path("Stra\u00dfe.pvl");
  Start({"file " + path, "no"});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 20000));
  std::filesystem::create_directories(Path("sounds"));
  ASSERT_TRUE(bank->document().SaveCopy(Path("sounds/bank.dat")).ok());
  Write("sounds/notes.txt", "no music");
  TZKLib* window = OpenLibrary("Yamaha DX7");
  ASSERT_TRUE(window);
  ZKLibDoc& library = window->document();
  EXPECT_FALSE(window->RefusalOf(CommandId::LibraryDuplicates).isEmpty());
  ASSERT_TRUE(DropFiles(window->findChild<EmptyState*>(), {Path("sounds")}));
  EXPECT_TRUE(window->adding().Running());
  EXPECT_FALSE(window->RefusalOf(CommandId::LibraryDelete).isEmpty()) << "while it is filled";
  ASSERT_TRUE(WaitFor([window] { return !window->adding().Running(); }, 20000));
  ASSERT_EQ(library.GetDataFileCount(), 32u);
  EXPECT_EQ(library.history().Count(), 1u);
  EXPECT_EQ(window->view().SelectedCount(), 32u);
  KeepScreenshot(window, QStringLiteral("library"));

  // The search field, a text typed in place, sorting by the header.
  const QString third = Cell(window, 2, LibraryColumn::Name);
  window->list()->setFocus();
  window->list()->GoTo(library.Order()[2]);
  ASSERT_TRUE(window->list()->model()->setData(
      window->list()->model()->index(2, static_cast<int>(LibraryColumn::Comment)), QStringLiteral("Gl\u00fcck auf")));
  TypeText(window->Search(), QStringLiteral("gluck"));
  ASSERT_EQ(window->list()->model()->rowCount(), 1);
  EXPECT_EQ(Cell(window, 0, LibraryColumn::Name), third);
  EXPECT_EQ(window->list()->Current(), library.Order()[2]) << "it stays current";
  window->Search()->clear();
  EXPECT_EQ(window->list()->model()->rowCount(), 32);
  emit window->list()->SortWanted(0);
  emit window->list()->SortWanted(0);
  EXPECT_GE(Cell(window, 0, LibraryColumn::Name).toUpper(), Cell(window, 31, LibraryColumn::Name).toUpper());
  window->RunCommand(CommandId::EditUndo);
  window->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(Cell(window, 2, LibraryColumn::Name), third);

  // Copies are duplicates; they are found, and go.
  window->RunCommand(CommandId::EditSelectAll);
  window->RunCommand(CommandId::EditCopy);
  window->RunCommand(CommandId::EditPaste);
  ASSERT_EQ(library.GetDataFileCount(), 64u);
  window->RunCommand(CommandId::LibraryDuplicates);
  ASSERT_TRUE(WaitFor([window] { return window->view().ShowsSome(); }, 10000));
  EXPECT_EQ(window->list()->model()->rowCount(), 32);
  window->RunCommand(CommandId::EditSelectAll);
  window->RunCommand(CommandId::LibraryDelete);
  EXPECT_EQ(library.GetDataFileCount(), 32u);
  window->RunCommand(CommandId::LibraryShowAll);
  EXPECT_EQ(window->list()->model()->rowCount(), 32);

  window->RunCommand(CommandId::FileSave);
  EXPECT_FALSE(library.IsModified());
  window->RunCommand(CommandId::EditUndo);
  EXPECT_TRUE(library.IsModified()) << "undo after save";
  window->RunCommand(CommandId::EditRedo);
  EXPECT_FALSE(library.IsModified());
  ASSERT_TRUE(window->CloseAsked());
  ASSERT_TRUE(parts().files.OpenFile(path, 0));
  auto* again = qobject_cast<TZKLib*>(frame().ActiveChild());
  ASSERT_TRUE(again);
  EXPECT_EQ(Cell(again, 2, LibraryColumn::Name), third);
}

TEST_F(LibraryWindow, CellsAreTypedOneAfterTheOther) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 20000));
  TZKLib* window = OpenLibrary("Yamaha DX7");
  ASSERT_TRUE(window);
  bank->Select({3, 5, 7});
  Move move;
  ASSERT_TRUE(bank->MoveOut(&move).ok());
  ASSERT_TRUE(Deliver(*window, std::move(move)).taken());
  ZKLibListCtrl* list = window->list();
  const auto editor = [list] { return qobject_cast<QLineEdit*>(list->indexWidget(list->currentIndex())); };
  list->GoTo(window->document().Order()[0]);
  window->RunCommand(CommandId::EditRename);
  ASSERT_TRUE(editor());
  EXPECT_EQ(editor()->maxLength(), static_cast<int>(window->document().NameLength()));
  TypeText(editor(), QStringLiteral("One"));
  PressKey(editor(), Qt::Key_Tab);
  EXPECT_EQ(Cell(window, 0, LibraryColumn::Name), QStringLiteral("One"));
  ASSERT_TRUE(editor()) << "the next column";
  TypeText(editor(), QStringLiteral("Pad"));
  PressKey(editor(), Qt::Key_Return);
  EXPECT_EQ(Cell(window, 0, LibraryColumn::Keyword1), QStringLiteral("Pad"));
  ASSERT_TRUE(editor()) << "the row below";
  EXPECT_EQ(list->currentIndex().row(), 1);
  EXPECT_EQ(list->currentIndex().column(), static_cast<int>(LibraryColumn::Keyword1));
  PressKey(editor(), Qt::Key_Escape);
  EXPECT_FALSE(editor());
  // A row that is not found any more once it was typed in leaves the keys with the list.
  TypeText(window->Search(), QStringLiteral("one"));
  ASSERT_EQ(list->model()->rowCount(), 1);
  list->GoTo(window->document().Order()[0]);
  window->RunCommand(CommandId::EditRename);
  ASSERT_TRUE(editor());
  TypeText(editor(), QStringLiteral("Two"));
  PressKey(editor(), Qt::Key_Return);
  EXPECT_EQ(list->model()->rowCount(), 0);
  EXPECT_FALSE(list->isVisible()) << "a sentence stands there";
  window->Search()->clear();
  EXPECT_TRUE(list->isVisible());
  EXPECT_EQ(Cell(window, 0, LibraryColumn::Name), QStringLiteral("Two"));
}

TEST_F(LibraryWindow, GoesOutAsFilesTextAndPaper) {
  Start({"file " + Path("out.html"), "file " + Path("out.txt"), "file " + Path("out.pdf")});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 20000));
  TZKLib* window = OpenLibrary("Yamaha DX7");
  ASSERT_TRUE(window);
  EXPECT_FALSE(window->RefusalOf(CommandId::FilePrint).isEmpty()) << "nothing is listed";
  bank->Select({3, 5, 7});
  Move move;
  ASSERT_TRUE(bank->MoveOut(&move).ok());
  ASSERT_TRUE(Deliver(*window, std::move(move)).taken());
  const std::string name = Cell(window, 1, LibraryColumn::Name).toStdString();
  window->RunCommand(CommandId::ExportHtml);
  window->RunCommand(CommandId::ExportTextProperties);
  window->RunCommand(CommandId::FilePrint);
  for (const char* file : {"out.html", "out.txt"}) EXPECT_NE(Read(file).find(name), std::string::npos) << file;
  EXPECT_EQ(Read("out.pdf").substr(0, 4), "%PDF");
  window->RunCommand(CommandId::EditCopyNames);
  EXPECT_TRUE(QGuiApplication::clipboard()->text().contains(QStringLiteral("2\t") + QString::fromStdString(name)));
  // What sequencers would send for a patch is not known.
  EXPECT_FALSE(window->RefusalOf(CommandId::ExportReaper).isEmpty());
}

TEST_F(LibraryWindow, GivesPatchesToBanksAndTakesThem) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 20000));
  TZKLib* window = OpenLibrary("Yamaha DX7");
  ASSERT_TRUE(window);
  bank->Select({3, 5, 7});
  Move move;
  ASSERT_TRUE(bank->MoveOut(&move).ok());
  ASSERT_TRUE(Deliver(*window, std::move(move)).taken());
  ASSERT_EQ(window->document().GetDataFileCount(), 3u);
  EXPECT_EQ(Cell(window, 1, LibraryColumn::Name).toStdString(),
            QString::fromLatin1(bank->document().GetPatchName(5).c_str()).trimmed().toStdString());
  // Several at once, from a slot on.
  window->RunCommand(CommandId::EditSelectAll);
  Move back;
  ASSERT_TRUE(window->MoveOut(&back).ok());
  back.destination = 10;
  ASSERT_TRUE(Deliver(*bank, std::move(back)).taken());
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(bank->document().GetPatchName(10 + i), bank->document().GetPatchName(3 + 2 * i)) << i;
  bank->RunCommand(CommandId::EditUndo);
  EXPECT_NE(bank->document().GetPatchName(10), bank->document().GetPatchName(3));
  // What does not fit is refused with a sentence.
  TZKBank* other = Open("k4", "Single Bank", false);
  Move wrong;
  ASSERT_TRUE(window->MoveOut(&wrong).ok());
  const MoveResult refused = Deliver(*other, std::move(wrong));
  EXPECT_FALSE(refused.taken());
  EXPECT_NE(refused.text, "");
  Move own;
  ASSERT_TRUE(window->MoveOut(&own).ok());
  EXPECT_FALSE(Deliver(*window, std::move(own)).taken());
  const std::size_t windows = frame().Children().size();
  window->RunCommand(CommandId::LibraryNewBank);
  EXPECT_EQ(frame().Children().size(), windows + 1);
  auto* made = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(made);
  EXPECT_EQ(made->document().GetPatchName(2), bank->document().GetPatchName(7));
}

}  // namespace
}  // namespace tonalith
