// What is shown of a selection, and edited in place.

#include "ui/inspector_pane.h"

#include <QDockWidget>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QToolButton>

#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "tests/windows/clipped_text.h"
#include "tests/windows/window_test_tools.h"

namespace tonalith {
namespace {

class Inspector : public ProgramFixture {
 protected:
  template <typename Widget>
  Widget* Field(const char* label) {
    Settle();
    for (auto* widget : pane_->findChildren<Widget*>()) {
      if (widget->accessibleName() == QLatin1String(label) && !widget->window()->isHidden()) return widget;
    }
    return nullptr;
  }
  void Type(const char* label, const QString& text, Qt::Key end) {
    auto* line = Field<QLineEdit>(label);
    ASSERT_NE(line, nullptr) << label;
    line->setFocus();
    line->selectAll();
    TypeText(line, text);
    PressKey(line, end);
    Settle();
  }

  InspectorPane* pane_ = nullptr;
};

TEST_F(Inspector, EditsWhatIsSelected) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  auto* dock = new QDockWidget(&frame());
  pane_ = new InspectorPane(dock);
  dock->setWidget(pane_);
  frame().addDockWidget(Qt::RightDockWidgetArea, dock);
  ASSERT_TRUE(MakeActive(&frame()));
  pane_->SetWindow(bank);
  ZKBankDoc& document = bank->document();
  bank->list()->setCurrentIndex(bank->list()->bankModel()->index(2, 1));
  ASSERT_EQ(Field<QLineEdit>("Name")->text().toStdString(), document.GetPatchName(2));

  Type("Name", "MINE", Qt::Key_Return);
  EXPECT_EQ(document.GetPatchName(2), "MINE");
  Type("Name", "OTHER", Qt::Key_Escape);
  EXPECT_EQ(document.GetPatchName(2), "MINE");
  EXPECT_EQ(Field<QLineEdit>("Name")->text(), QStringLiteral("MINE"));
  Type("Keywords", "Pad, Warm", Qt::Key_Tab);
  EXPECT_EQ(document.Keywords(2), (std::vector<std::string>{"Pad", "Warm"}));

  // What is being typed belongs to the patch it was typed for, and is there before the window is saved or closed.
  auto* comment = Field<QPlainTextEdit>("Comment");
  comment->setFocus();
  TypeText(comment, "two lines");
  bank->list()->setCurrentIndex(bank->list()->bankModel()->index(4, 1));
  Settle();
  EXPECT_EQ(document.Text(2, PatchText::Comment), "two lines");
  EXPECT_EQ(document.Text(4, PatchText::Comment), "");
  auto* song = Field<QLineEdit>("Song");
  song->setFocus();
  TypeText(song, "Tune");
  bank->RunCommand(CommandId::EditUndo);
  EXPECT_EQ(document.RedoText(), "Song");
  pane_->setFixedWidth(pane_->minimumWidth());
  EXPECT_TRUE(WaitFor([this] { return FaultsOfTexts(*pane_).empty(); })) << FaultsOfTexts(*pane_);  // the narrowest
  KeepScreenshot(pane_, QStringLiteral("inspector"));

  // The steps are ways back; what is undone is seen at once.
  bank->list()->setCurrentIndex(bank->list()->bankModel()->index(2, 1));
  Settle();
  ASSERT_TRUE(document.GoTo(document.history().Position() - 2).ok());
  EXPECT_EQ(Field<QLineEdit>("Name")->text(), QStringLiteral("MINE"));
  EXPECT_EQ(Field<QLineEdit>("Keywords")->text(), QString());

  bank->CloseVerified();
  Settle();
  EXPECT_EQ(Field<QLineEdit>("Name"), nullptr) << "a window that has gone is forgotten";
}

}  // namespace
}  // namespace tonalith
