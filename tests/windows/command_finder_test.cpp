#include <QAction>
#include <QListView>

#include "ui/style/command_list.h"
#include "ui/style/search_field.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class FinderTest : public ProgramFixture {
 protected:
  // Opens the list by its key and types; the text of the row that Return would carry out.
  QString Find(const QString& words) {
    if (!list_)
      PressShortcut(&frame(), Qt::Key_K, Qt::ControlModifier);
    else
      frame().RunCommand(CommandId::ViewFind);
    list_ = frame().findChild<CommandList*>();
    EXPECT_TRUE(WaitFor([this] { return list_->isVisible(); }));
    TypeText(list_->field(), words);
    return list_->list()->currentIndex().data().toString();
  }
  void Choose() {
    PressKey(list_->field(), Qt::Key_Return);
    EXPECT_FALSE(list_->isVisible());
    Settle();
  }
  CommandList* list_ = nullptr;
};

TEST_F(FinderTest, WordsOfDataCommandsInstrumentsAndDocumentsAreFoundAndCarriedOut) {
  Start();
  EXPECT_EQ(Find("bank dx7 get voice"), "Get Voice Bank");
  KeepScreenshot(list_, QStringLiteral("command-list"));
  Choose();
  ASSERT_TRUE(
      WaitFor([this] { return frame().ActiveChild() && frame().ActiveChild()->windowTitle().contains("DX7"); }));
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_TRUE(bank && Idle(bank));

  EXPECT_EQ(Find("midi monitor"), "MIDI Monitor");
  Choose();
  ASSERT_TRUE(WaitFor([&] { return frame().ActiveChild() != bank; }));
  EXPECT_EQ(Find("open window dx7"), ShownTitle(bank));
  Choose();
  ASSERT_TRUE(WaitFor([&] { return frame().ActiveChild() == bank; }));

  EXPECT_EQ(Find("studio dx7"), "Yamaha DX7");
  Choose();
  const auto* studio = parts().studio.window();
  ASSERT_TRUE(WaitFor([&] { return studio->CurrentNode() && studio->CurrentNode()->DisplayKey() == "Yamaha DX7"; }));

  Find("get");
  QAction* inspector = frame().ActionOf(CommandId::ViewInspector);
  const bool shown = inspector->isChecked();
  PressKey(list_->field(), Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(list_->field()->selectedText(), "get") << "the field's own keys";
  EXPECT_TRUE(list_->isVisible());
  PressKey(list_->field(), Qt::Key_I, Qt::ControlModifier);
  EXPECT_FALSE(list_->isVisible());
  EXPECT_TRUE(WaitFor([&] { return inspector->isChecked() != shown; })) << "the keys of commands work as ever";
}

TEST_F(FinderTest, WhatCannotBeDoneSaysWhyAndWhatIsNotThereThatItIsNot) {
  Start();
  for (ZKWindow* child : frame().Children()) child->close();
  Find("save as");
  const QModelIndex row = list_->list()->model()->index(0, 0);
  EXPECT_FALSE(row.flags() & Qt::ItemIsEnabled);
  EXPECT_TRUE(row.data(Qt::AccessibleTextRole).toString().contains("No window is open."))
      << row.data(Qt::AccessibleTextRole).toString().toStdString();
  PressKey(list_->field(), Qt::Key_Escape);
  PressKey(list_->field(), Qt::Key_Escape);
  EXPECT_FALSE(list_->isVisible());
  EXPECT_EQ(Find("no such words"), QString());
  EXPECT_EQ(list_->list()->model()->rowCount(), 0);
  PressKey(list_->field(), Qt::Key_Return);
  EXPECT_TRUE(list_->isVisible());
}

}  // namespace
}  // namespace tonalith
