// The workspace: tabs and panes, free windows, the studio's dock, the strip.
#include "app/workspace.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QTest>

#include "app/free_windows.h"
#include "app/studio_dock.h"
#include "app/tab_layout.h"
#include "app/tab_pane.h"
#include "app/transfer_strip.h"
#include "bank/ui/bank_list.h"
#include "platform/atomic_file.h"
#include "services/paths.h"
#include "services/window_places.h"
#include "studio/ui/studio_window.h"
#include "ui/inspector_pane.h"
#include "ui/style/search_field.h"
#include "ui/style/section_button.h"
#include "ui/style/strip_row.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

// "[0 1|2]" side by side, "[0/1]" one above the other.
std::string TextOf(const TabLayout& layout) {
  std::string text;
  for (const std::size_t window : layout.windows) text += (text.empty() ? "" : " ") + std::to_string(window);
  for (const TabLayout& part : layout.parts) {
    if (!text.empty()) text += layout.sideBySide ? "|" : "/";
    text += TextOf(part);
  }
  return layout.parts.empty() ? text : "[" + text + "]";
}

TEST(TabLayout, PanesStandWhereTheWindowsStood) {
  const struct {
    std::vector<DesktopRect> places;
    const char* layout;
  } rows[] = {
      {{}, ""},
      {{{0, 0, 800, 600}, {0, 0, 800, 600}}, "0 1"},
      {{{0, 0, 400, 600}, {404, 0, 396, 600}, {0, 0, 400, 600}}, "[0 2|1]"},
      {{{404, 0, 396, 600}, {0, 0, 400, 600}}, "[1|0]"},
      {{{0, 0, 800, 300}, {0, 304, 400, 296}, {404, 304, 396, 296}}, "[0/[1|2]]"},
      {{{0, 0, 266, 600}, {266, 0, 266, 600}, {532, 0, 268, 600}}, "[0|1|2]"},
      {{{0, 0, 500, 400}, {100, 100, 500, 400}}, "0 1"},  // free windows that overlap
      // A pinwheel has no straight cut.
      {{{0, 0, 60, 40}, {60, 0, 40, 60}, {40, 60, 60, 40}, {0, 40, 40, 60}, {40, 40, 20, 20}}, "0 1 2 3 4"},
      {std::vector<DesktopRect>(40, {65535, 65535, 65535, 65535}),
       "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34 35 36 37 38 39"},
  };
  for (const auto& row : rows) EXPECT_EQ(TextOf(LayoutOf(row.places)), row.layout);
}

TEST(TransferStrip, GuessesTheTimeLeftOnceItKnowsEnough) {
  const struct {
    std::int64_t passedMs;
    double done;
    int left;
  } rows[] = {{500, 0.5, -1}, {5000, 0.01, -1}, {5000, 0.5, 5}, {9000, 0.9, 1}, {9000, 1.0, 0}, {9000, 1.5, -1}};
  for (const auto& row : rows) EXPECT_EQ(SecondsLeft(row.passedMs, row.done), row.left) << row.passedMs << row.done;
}

class WorkspaceTest : public ProgramFixture {
 protected:
  WindowTabBar* Bar(const ZKWindow* window) {
    for (auto* bar : frame().findChildren<WindowTabBar*>()) {
      if (bar->isVisible() && bar->IndexOf(window) >= 0) return bar;
    }
    return nullptr;
  }
  QWidget* Focus() { return QApplication::focusWidget(); }
};

TEST_F(WorkspaceTest, ATabSaysWhatItIsAndIsClosedByItsCrossOrTheMiddleButton) {
  Start({"no", "no"});
  TZKBank* first = Open("Yamaha DX7", "Voice", true);
  TZKBank* second = Open("Yamaha DX7", "Voice Bank", false);
  WindowTabBar* bar = Bar(first);
  ASSERT_EQ(bar, Bar(second));
  EXPECT_EQ(bar->tabText(bar->IndexOf(second)).indexOf(QChar(0x2026)), -1) << "the name is whole";
  EXPECT_TRUE(bar->accessibleTabName(bar->IndexOf(first)).endsWith(", changed since saved"));
  EXPECT_FALSE(bar->accessibleTabName(bar->IndexOf(second)).contains("changed"));
  second->list()->setFocus();
  first->list()->setFocus();
  EXPECT_EQ(frame().ActiveChild(), first);
  const QRect tab = bar->tabRect(bar->IndexOf(second));
  QTest::mouseClick(bar, Qt::MiddleButton, {}, tab.center());
  EXPECT_EQ(frame().Children().size(), 2U);
  EXPECT_EQ(frame().ActiveChild(), first) << "what is in front stays there";
  const QRect own = bar->tabRect(bar->IndexOf(first));
  QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(own.right() - 16, own.center().y()));
  EXPECT_EQ(frame().Children().size(), 1U) << LogText();
  EXPECT_TRUE(WaitFor([this] { return Focus() && parts().studio.window()->isAncestorOf(Focus()); }))
      << "the studio has the focus when nothing else is there";
  EXPECT_EQ(frame().ActiveChild(), parts().studio.window());
}

TEST_F(WorkspaceTest, TheNextTabHasTheFocusWhenOneCloses) {
  Start();
  TZKBank* first = Open("Yamaha DX7", "Voice Bank", true);
  first->list()->setFocus();
  TZKBank* second = Open("k4", "Single", false);
  second->list()->setFocus();
  PressShortcut(&frame(), Qt::Key_W, Qt::ControlModifier);
  EXPECT_EQ(Focus(), first->list());
  EXPECT_EQ(frame().ActiveChild(), first);
}

TEST_F(WorkspaceTest, PanesAreSplitGoWithTheirLastTabAndComeBackWithTheDesktop) {
  Start();
  TZKBank* bank = Open("k4", "Single", true);
  ASSERT_TRUE(bank->document().Save(Path("one.dat")).ok());
  EXPECT_FALSE(frame().ActionOf(CommandId::WindowSplitRight)->isEnabled()) << "it is alone";
  frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  ZKWindow* monitor = frame().ActiveChild();
  frame().RunCommand(CommandId::WindowSplitDown);
  Settle();
  ChildWindows& windows = frame().windows();
  ASSERT_NE(Bar(bank), Bar(monitor));
  EXPECT_GT(windows.PlaceOf(monitor)->top(), windows.PlaceOf(bank)->bottom());
  frame().RunCommand(CommandId::UtilitiesGraphicMonitor);
  EXPECT_EQ(Bar(frame().ActiveChild()), Bar(monitor)) << "beside what was used last";
  frame().RunCommand(CommandId::FileClose);
  KeepScreenshot(&frame(), QStringLiteral("workspace_panes"));
  ASSERT_TRUE(parts().desktops.SaveWorkspace(Path("split.PVW")));
  windows.Activate(monitor);
  frame().RunCommand(CommandId::FileClose);
  Settle();
  EXPECT_EQ(frame().findChildren<WindowTabBar*>().size(), 1);
  ASSERT_TRUE(parts().desktops.LoadWorkspace(Path("split.PVW")));
  Settle();
  const auto children = frame().Children();
  ASSERT_EQ(children.size(), 3U);
  EXPECT_NE(Bar(children[1]), Bar(children[2]));
  EXPECT_GT(windows.PlaceOf(children[2])->top(), windows.PlaceOf(children[1])->bottom());
}

TEST_F(WorkspaceTest, TilesAreNotRememberedAsTheSizeOfAKind) {
  Start();
  frame().RunCommand(CommandId::ViewFreeWindows);
  auto* area = frame().findChild<FreeWindows*>();
  for (int i = 0; i < 12; ++i) frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  const QSize own = area->currentSubWindow()->size();
  frame().RunCommand(CommandId::WindowTile);
  EXPECT_LT(area->currentSubWindow()->width(), own.width());
  for (int i = 0; i < 12; ++i) {
    frame().RunCommand(CommandId::WindowNext);
    EXPECT_TRUE(area->viewport()->rect().contains(area->currentSubWindow()->geometry().topLeft())) << i;
  }
  frame().resize(frame().width() - 40, frame().height());
  Settle();
  for (int i = 0; i < 12; ++i) frame().RunCommand(CommandId::FileClose);
  Settle();
  frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  EXPECT_EQ(area->currentSubWindow()->height(), own.height());
  WindowPlace place;
  EXPECT_FALSE(program_->program()->windowPlaces().Read(static_cast<int>(WindowType::Monitor), place));
  area->currentSubWindow()->resize(own.width() - 10, own.height() - 10);
  frame().RunCommand(CommandId::FileClose);
  ASSERT_TRUE(program_->program()->windowPlaces().Read(static_cast<int>(WindowType::Monitor), place));
  EXPECT_EQ(QSize(place.width, place.height), own - QSize(10, 10)) << "what the user made of it is";
}

TEST_F(WorkspaceTest, BothArrangementsHoldTheSameWindows) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(bank->document().Rename(0, "KEPT").ok());
  auto* dock = frame().findChild<StudioDock*>();
  EXPECT_TRUE(dock->isVisible());
  for (int round = 0; round < 2; ++round) {
    frame().RunCommand(CommandId::ViewFreeWindows);
    EXPECT_FALSE(dock->isVisible()) << "the studio is a window among the others";
    EXPECT_EQ(frame().ActiveChild(), bank);
    EXPECT_TRUE(bank->isVisible() && parts().studio.window()->isVisible());
    frame().RunCommand(CommandId::ViewFreeWindows);
    EXPECT_TRUE(dock->isVisible() && bank->isVisible() && parts().studio.window()->isVisible());
    EXPECT_EQ(frame().ActiveChild(), bank);
  }
  EXPECT_TRUE(bank->isWindowModified());
  EXPECT_EQ(frame().Children().size(), 2U);
  dock->ShowIcons(true);
  EXPECT_FALSE(parts().studio.window()->isVisible());
  KeepScreenshot(&frame(), QStringLiteral("workspace_icons"));
  parts().studio.Show();
  EXPECT_TRUE(parts().studio.window()->isVisible()) << "asked for, it is there whole";
}

TEST_F(WorkspaceTest, TheProgramIsLeftFromTheWindowOfAReceive) {
  Start({"yes", "no"}, {});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ZKMidiInStatus* window = parts().transfers.receiveWindow();
  ASSERT_TRUE(WaitFor([&] { return window->Pages() == 1; }));
  emit frame().workspace().strip().RowOf(bank->dataFile())->DetailsPressed();
  ASSERT_TRUE(MakeActive(window));
  PressKey(window, Qt::Key_Q, Qt::ControlModifier);
  EXPECT_TRUE(WaitFor([this] { return !frame().isVisible(); }, 5000)) << LogText();
}

TEST_F(WorkspaceTest, WhatIsTypedCountsAndWhatIsMeantIsInFront) {
  Start({"cancel"});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  TZKDrvLst* studio = parts().studio.Show();
  frame().workspace().windows().Activate(bank);
  PressShortcut(&frame(), Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(bank->filter()->hasFocus());
  // A name that is still open is part of what Send sends.
  bank->list()->setFocus();
  frame().RunCommand(CommandId::EditRename);
  auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
  ASSERT_NE(editor, nullptr);
  EXPECT_TRUE(editor->hasFrame()) << "a name that is being edited is seen to be";
  EXPECT_TRUE(editor->geometry().contains(bank->list()->visualRect(bank->list()->currentIndex())));
  editor->selectAll();
  TypeText(editor, "TYPED");
  const auto unsent = [this] { return parts().studio.OpenDocuments().front().unsent; };
  EXPECT_FALSE(unsent());
  frame().RunCommand(CommandId::EditSelectAll);
  EXPECT_EQ(bank->document().GetPatchName(0), "TYPED");
  EXPECT_TRUE(unsent());
  frame().RunCommand(CommandId::MidiTransmit);
  ASSERT_TRUE(Idle(bank));
  EXPECT_FALSE(unsent());
  // A question shows the window it is about.
  Open("Kawai K4", "Multi Bank", false);
  ASSERT_NE(frame().ActiveChild(), bank);
  EXPECT_FALSE(frame().close());
  EXPECT_EQ(frame().ActiveChild(), bank);
  // Pictures choose their instrument.
  StudioDock& dock = frame().workspace().dock();
  dock.ShowIcons(true);
  const ZKDrvList* last = program_->studio()->instruments().back().get();
  emit dock.Chosen(const_cast<ZKDrvList*>(last));
  EXPECT_EQ(studio->CurrentNode(), last);
  EXPECT_FALSE(dock.ShowsIcons());
}

TEST_F(WorkspaceTest, WhatWasOpenedAndHiddenIsSoAtTheNextStart) {
  const auto row = [this] { return parts().studio.Show()->tree()->currentItem(); };
  const auto sections = [this] { return frame().findChild<InspectorPane*>()->findChildren<SectionButton*>(); };
  Start({"no"});
  ZKStudioTree* tree = parts().studio.Show()->tree();
  tree->SetCurrentNode(program_->studio()->FindInstrument("Kawai K4"));
  tree->setFocus();
  PressKey(tree, Qt::Key_Right);
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  // A kind of data with a document under it stays closed when the rows are built anew.
  tree->SetCurrentNode(program_->studio()->FindDriver("Yamaha DX7", "Voice Bank"));
  ASSERT_TRUE(WaitFor([&] { return row()->isExpanded(); })) << "a document that was opened is seen";
  PressKey(tree, Qt::Key_Left);
  parts().studio.Refresh();
  EXPECT_EQ(row()->childCount(), 1);
  EXPECT_FALSE(row()->isExpanded());
  frame().workspace().windows().Activate(bank);
  frame().RunCommand(CommandId::ViewInspector);
  Settle();
  ASSERT_GE(sections().size(), 2);
  SectionButton* origin = sections().front();
  const QString title = origin->text();
  const QStringList texts = [&] {
    QStringList all;
    for (const auto* label : origin->parentWidget()->findChildren<QLabel*>())
      if (label->isVisible()) all << label->text();
    return all;
  }();
  ClickMouse(origin);
  EXPECT_FALSE(origin->IsOpen());
  parts().studio.window()->search()->setText(QStringLiteral("kawai k4"));
  KeepScreenshot(&frame(), QStringLiteral("windows/frame-sections"));
  ASSERT_TRUE(frame().close());
  Stop();

  Start();
  tree = parts().studio.Show()->tree();
  EXPECT_EQ(parts().studio.window()->search()->text(), QStringLiteral("kawai k4"));
  EXPECT_TRUE(tree->topLevelItem(0)->isHidden());
  parts().studio.window()->search()->clear();
  int open = 0;
  for (int i = 0; i < tree->topLevelItemCount(); ++i) open += tree->topLevelItem(i)->isExpanded() ? 1 : 0;
  EXPECT_EQ(open, 2) << "the one that was opened, and the one that had a document";
  tree->SetCurrentNode(program_->studio()->FindInstrument("Kawai K4"));
  EXPECT_TRUE(row()->isExpanded());
  Open("Yamaha DX7", "Voice Bank", true);
  Settle();
  ASSERT_GE(sections().size(), 2);
  EXPECT_EQ(sections().front()->text(), title);
  EXPECT_FALSE(sections().front()->IsOpen());
  EXPECT_TRUE(sections().back()->IsOpen());
  ClickMouse(sections().front());
  QStringList again;
  for (const auto* label : sections().front()->parentWidget()->findChildren<QLabel*>())
    if (label->isVisible()) again << label->text();
  EXPECT_EQ(again.size(), texts.size());
}

}  // namespace
}  // namespace tonalith
