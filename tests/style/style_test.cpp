// What the widgets of the style room do, and whether their colours can be read.

#include <gtest/gtest.h>

#include <QApplication>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <algorithm>

#include "ui/style/colours.h"
#include "ui/style/command_list.h"
#include "ui/style/icon_shapes.h"
#include "ui/style/inspector_rows.h"
#include "ui/style/list_delegate.h"
#include "ui/style/look.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/strip_row.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

QString Text(const char* utf8) {
  return QString::fromUtf8(utf8);
}

}  // namespace

// Every pair of colours that meets in a window.
TEST(Style, ColoursCanBeRead) {
  constexpr double kText = 4.5, kLine = 3;
  constexpr Shade kGrounds[] = {Shade::Window, Shade::Surface, Shade::Dock, Shade::Raised, Shade::Hover};
  struct Row {
    Shade shade;
    double least;
    bool onSelection;
  };
  constexpr Row kRows[] = {
      {Shade::Text, kText, true},    {Shade::Secondary, kText, true}, {Shade::Faint, kText, false},
      {Shade::Accent, kText, true},  {Shade::Ok, kText, true},        {Shade::Busy, kText, true},
      {Shade::Warning, kText, true}, {Shade::Danger, kText, true},    {Shade::Changed, kText, true},
      {Shade::Unsent, kText, true},  {Shade::Edge, kLine, false},     {Shade::Faint, kLine, true},
  };
  for (const bool dark : {false, true}) {
    const auto expect = [dark](Shade over, Shade under, double least) {
      EXPECT_GE(Contrast(ColourOf(over, dark), ColourOf(under, dark)), least)
          << (dark ? "dark " : "light ") << static_cast<int>(over) << " on " << static_cast<int>(under);
    };
    for (const Row& row : kRows) {
      for (const Shade ground : kGrounds) expect(row.shade, ground, row.least);
      if (row.onSelection) expect(row.shade, Shade::Selection, row.least);
    }
    expect(Shade::OnAccent, Shade::Accent, kText);
    const QPalette palette = PaletteOf(dark);
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
      const std::pair<QPalette::ColorRole, QPalette::ColorRole> pairs[] = {
          {QPalette::WindowText, QPalette::Window},         {QPalette::Text, QPalette::Base},
          {QPalette::Text, QPalette::AlternateBase},        {QPalette::ButtonText, QPalette::Button},
          {QPalette::ToolTipText, QPalette::ToolTipBase},   {QPalette::PlaceholderText, QPalette::Base},
          {QPalette::HighlightedText, QPalette::Highlight}, {QPalette::Link, QPalette::Window}};
      for (const auto& pair : pairs)
        EXPECT_GE(Contrast(palette.color(group, pair.first), palette.color(group, pair.second)), kText)
            << dark << " " << group << " " << pair.first;
    }
  }
  for (int channel = 0; channel < 16; ++channel)
    EXPECT_GE(Contrast(BlackKey(), ColourOfNumber(channel, 16)), kText) << channel;
}

TEST(Style, LookSwitchesWhileTheProgramRuns) {
  SetLook(Look::Dark);
  EXPECT_TRUE(IsDark());
  EXPECT_EQ(QPushButton().palette().color(QPalette::Window), ColourOf(Shade::Window, true));
  const QIcon icon = IconOf(Glyph::Get);
  const QImage dark = icon.pixmap(QSize(16, 16)).toImage();
  SetLook(Look::Light);
  EXPECT_FALSE(IsDark());
  EXPECT_EQ(QPushButton().palette().color(QPalette::Window), ColourOf(Shade::Window, false));
  EXPECT_NE(icon.pixmap(QSize(16, 16)).toImage(), dark);
}

TEST(Style, SearchTakesWordsInAnyOrderWithoutCaseAndAccents) {
  const struct {
    const char* words;
    const char* text;
    bool fits;
  } cases[] = {
      {"", "anything", true},
      {"  ", "anything", true},
      {"DX7 voice", "Yamaha DX7 Voice", true},
      {"voice dx7", "Yamaha DX7 Voice Bank", true},
      {"dx7 multi", "Yamaha DX7 Voice", false},
      {"flote", "Flöte", true},
      {"FLÖTE", "flote", true},
      {"strasse", "Straße", true},
      {"smorre", "Smørre", true},
      {"k4", "Kawai K5", false},
  };
  for (const auto& row : cases) EXPECT_EQ(MatchesWords(Text(row.words), Text(row.text)), row.fits) << row.words;
}

TEST(Style, SearchFieldClearsFirstAndLeavesThen) {
  SearchField field(Text("Search instruments"));
  QSignalSpy words(&field, &SearchField::WordsChanged), list(&field, &SearchField::GoToList),
      left(&field, &SearchField::Left);
  field.show();
  QTest::keyClicks(&field, Text("dx"));
  EXPECT_EQ(words.size(), 2);
  EXPECT_TRUE(field.Words().Match(Text("DX7")));
  field.SetHits(0);
  EXPECT_TRUE(field.NothingFound().contains(Text("\"dx\"")));
  QTest::keyClick(&field, Qt::Key_Down);
  EXPECT_EQ(list.size(), 1);
  QTest::keyClick(&field, Qt::Key_Escape);
  EXPECT_TRUE(field.text().isEmpty());
  EXPECT_EQ(left.size(), 0);
  QTest::keyClick(&field, Qt::Key_Escape);
  EXPECT_EQ(left.size(), 1);
}

// What has no place stands behind More and works from there; the search never goes.
TEST(Style, ToolRowKeepsEverythingReachable) {
  ToolRow row;
  int pressed = 0;
  std::vector<QToolButton*> tools;
  for (int i = 0; i < 9; ++i) {
    tools.push_back(row.Add(Glyph::Get, QStringLiteral("Tool %1").arg(i), QStringLiteral("Tip")));
    QObject::connect(tools.back(), &QToolButton::clicked, [&pressed, i] { pressed = i; });
  }
  auto* search = new SearchField(Text("Filter"));
  row.SetSearch(search);
  row.show();
  for (const int width : {1600, 700, 400, 200}) {
    row.resize(width, row.sizeHint().height());
    QApplication::processEvents();
    const auto shown = row.InRow();
    EXPECT_LE(shown.size(), 7u);
    if (width == 1600) {
      EXPECT_EQ(shown.size(), 7u);
    }
    ASSERT_TRUE(search->isVisible());
    EXPECT_LE(search->geometry().right(), row.width()) << width;
    for (const QToolButton* tool : shown) {
      EXPECT_FALSE(tool->geometry().intersects(search->geometry())) << width;
      EXPECT_GE(std::min(tool->width(), tool->height()), kTarget);
    }
    QMenu* menu = row.more()->menu();
    emit menu->aboutToShow();
    EXPECT_EQ(menu->actions().size() + static_cast<qsizetype>(shown.size()), 9) << width;
    menu->actions().last()->trigger();
    EXPECT_EQ(pressed, 8);
    pressed = 0;
  }
  row.Show(tools.back(), false);
  emit row.more()->menu()->aboutToShow();
  EXPECT_NE(row.more()->menu()->actions().last()->text(), Text("Tool 8"));
}

TEST(Style, CommandListRunsWhatIsFound) {
  QWidget window;
  window.resize(800, 600);
  window.show();
  CommandList list(Text("Find a command"), &window);
  QString ran;
  const auto entry = [&ran](const char* text, const char* where, bool enabled = true) {
    return CommandEntry{Glyph::None, Text(text), Text(where), {}, [&ran, text] { ran = Text(text); }, enabled};
  };
  list.SetEntries(
      {entry("Close", "File"), entry("Send", "MIDI", false), entry("Save as", "File"), entry("Save", "File")});
  const struct {
    const char* typed;
    std::vector<Qt::Key> keys;
    const char* ran;
  } cases[] = {
      {"save", {Qt::Key_Return}, "Save as"},
      {"save", {Qt::Key_Down, Qt::Key_Return}, "Save"},
      {"save", {Qt::Key_Down, Qt::Key_Up, Qt::Key_Return}, "Save as"},
      {"file clo", {Qt::Key_Return}, "Close"},
      {"send", {Qt::Key_Return}, ""},
      {"xyz", {Qt::Key_Return}, ""},
  };
  for (const auto& row : cases) {
    ran.clear();
    list.Popup(&window);
    QTest::keyClicks(list.field(), Text(row.typed));
    for (const Qt::Key key : row.keys) QTest::keyClick(list.field(), key);
    QApplication::processEvents();
    EXPECT_EQ(ran, Text(row.ran)) << row.typed;
    EXPECT_EQ(list.isVisible(), ran.isEmpty()) << row.typed;
    list.close();
  }
}

TEST(Style, StripRowTellsCancelFromDetails) {
  StripRow row;
  QSignalSpy cancel(&row, &StripRow::CancelPressed), details(&row, &StripRow::DetailsPressed);
  StripState state;
  state.what = Text("Kawai K4 · Single Bank");
  state.progress = Text("patch 23 of 64");
  state.total = 64;
  row.SetState(state);
  row.resize(800, row.sizeHint().height());
  row.show();
  EXPECT_EQ(row.accessibleName(), Text("Kawai K4 · Single Bank, patch 23 of 64"));
  QTest::mouseClick(&row, Qt::LeftButton, {}, QPoint(30, row.height() / 2));
  QTest::keyClick(&row, Qt::Key_Return);
  auto* button = row.findChild<QPushButton*>();
  QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_EQ(details.size(), 2);
  EXPECT_EQ(cancel.size(), 1);
  state.phase = StripState::Phase::Done;
  row.SetState(state);
  EXPECT_FALSE(button->isVisible());
}

TEST(Style, InspectorReportsWhatWasChangedOnce) {
  InspectorRows rows;
  QStringList changes;
  QLineEdit* name = rows.AddEditable(Text("Name"), Text("Dawn"), {}, [&](const QString& text) {
    changes << text;
    rows.Clear();  // the pane is filled anew by what changed
  });
  rows.show();
  name->setFocus();
  QTest::keyClicks(name, Text("x"));
  QTest::keyClick(name, Qt::Key_Escape);
  EXPECT_EQ(name->text(), Text("Dawn"));
  name->end(false);
  QTest::keyClicks(name, Text(" 2"));
  QTest::keyClick(name, Qt::Key_Return);
  EXPECT_EQ(changes, QStringList{Text("Dawn 2")});
  QStringList tags;
  rows.AddTags(Text("Tags"), {Text("Pad"), Text("Warm")}, [&](const QStringList& left) { tags = left; });
  for (QToolButton* chip : rows.findChildren<QToolButton*>())
    if (chip->text() == Text("Pad")) QTest::mouseClick(chip, Qt::LeftButton);
  EXPECT_EQ(tags, QStringList{Text("Warm")});
}

TEST(Style, MarksGoThroughModelsAndHaveWords) {
  const std::vector<Mark> marks = {Mark::Changed, Mark::Unsent, Mark::Locked};
  EXPECT_EQ(MarksIn(MarksOf(marks)), marks);
  EXPECT_EQ(MarksText({Mark::Changed, Mark::Unsent}), Text("changed since saved, not sent to the instrument"));
  EXPECT_TRUE(MarksIn({}).empty());
}

// Every icon has lines, and they stay on their field.
TEST(Style, IconsStayOnTheirField) {
  for (int i = 1; i < kGlyphs; ++i) {
    const QRectF lines = ShapeOf(static_cast<Glyph>(i)).boundingRect();
    EXPECT_TRUE(QRectF(1.5, 1.5, 21, 21).contains(lines)) << i;
    EXPECT_GT(std::max(lines.width(), lines.height()), 9) << i;
  }
  EXPECT_EQ(PathOfSvg("M1 1h2 x").elementCount(), 2);
}

}  // namespace tonalith
