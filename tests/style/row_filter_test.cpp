// Rows that a search shows: the same as a look at every row would give, whatever happens to the model meanwhile.
#include <gtest/gtest.h>

#include <QApplication>
#include <QListWidget>
#include <QRandomGenerator>
#include <QStringListModel>
#include <QTableView>
#include <QTest>

#include "ui/style/list_search.h"
#include "ui/style/plain_text.h"
#include "ui/style/row_filter.h"
#include "ui/style/search_field.h"

namespace tonalith {
namespace {

QStringList Rows(const QAbstractItemModel& model) {
  QStringList rows;
  for (int row = 0; row < model.rowCount(); ++row) rows << model.index(row, 0).data().toString();
  return rows;
}

// Every kind of change at random places, with and without words; the view must follow each of them.
TEST(RowFilter, ShowsWhatALookAtEveryRowGives) {
  QRandomGenerator chance(7);
  QStringListModel source;
  RowFilter filter(&source);
  QTableView view;
  view.setModel(&filter);
  const QStringList names = {"Warm Pad", "Bass", "Warm Bass", "Organ", "\u00dcbung"};
  const QStringList searches = {"", "warm", "bass warm", "ubung", "nothing"};
  SearchWords words;
  for (int step = 0; step < 2000; ++step) {
    const int count = source.rowCount(), at = chance.bounded(count + 1), many = 1 + chance.bounded(4);
    switch (chance.bounded(5)) {
      case 0:
      case 1:
        source.insertRows(at, many);
        for (int row = at; row < at + many; ++row) source.setData(source.index(row), names[chance.bounded(5)]);
        break;
      case 2:
        if (count > 0) source.removeRows(std::min(at, count - 1), std::min(many, count - std::min(at, count - 1)));
        break;
      case 3:
        if (count > 200 || step % 50 == 0) source.setStringList(names);
        break;
      default:
        words = SearchWords(searches[chance.bounded(5)]);
        filter.SetWords(words);
    }
    QApplication::processEvents();
    QStringList expected;
    for (const QString& row : source.stringList())
      if (words.Match(row)) expected << row;
    ASSERT_EQ(Rows(filter), expected) << step;
    ASSERT_EQ(filter.Hidden(), source.rowCount() - expected.size());
    ASSERT_EQ(filter.ShownRows().size(), static_cast<std::size_t>(expected.size()));
    for (int row = 0; row < filter.rowCount(); ++row)
      ASSERT_EQ(filter.mapFromSource(filter.mapToSource(filter.index(row, 0))).row(), row);
  }
}

// What takes long is done in pieces, and what is found shows before the end.
TEST(RowFilter, ALongListIsSearchedInPieces) {
  QStringList many;
  for (int i = 0; i < 30'000; ++i) many << QStringLiteral("row %1").arg(i);
  QStringListModel source(many);
  RowFilter filter(&source, nullptr, [&](int row) {
    if (row % 3000 == 0) QTest::qSleep(5);
    return many[row];
  });
  filter.SetWords(SearchWords(QStringLiteral("row 7")));
  EXPECT_TRUE(filter.Searching());
  EXPECT_TRUE(QTest::qWaitFor([&] { return !filter.Searching(); }));
  EXPECT_EQ(filter.rowCount(), many.filter(QStringLiteral("7")).size());
  filter.SetWords(SearchWords(QStringLiteral("none of them")));
  filter.SetWords({});
  EXPECT_EQ(filter.rowCount(), many.size());
}

// By keys alone: words, Down, back, Escape.  The row somebody was on stays current where it is shown.
TEST(RowFilter, FieldAndListWorkTogether) {
  QWidget window;
  SearchField field(QStringLiteral("Search"), &window);
  QTableView view(&window);
  view.move(0, 40);
  QStringListModel source({"Bass", "Warm Pad", "Organ", "Warm Bass"});
  RowFilter filter(&source);
  ListSearch search(&field, &view, &filter);
  search.SetSummary([&] { return QStringLiteral("%1 of 4").arg(search.Shown()); });
  window.show();
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  view.setCurrentIndex(filter.index(3, 0));
  field.Begin();
  QTest::keyClicks(&field, QStringLiteral("warm"));
  EXPECT_EQ(field.Hits(), 2);
  EXPECT_EQ(view.currentIndex().data().toString(), QStringLiteral("Warm Bass"));
  EXPECT_EQ(search.Summary()->text(), QStringLiteral("2 of 4"));
  QTest::keyClick(&field, Qt::Key_Down);
  EXPECT_TRUE(view.hasFocus());
  field.Begin();
  QTest::keyClicks(&field, QStringLiteral("zzz"));
  EXPECT_EQ(field.Hits(), 0);
  const auto nothing = view.viewport()->findChildren<QLabel*>();
  ASSERT_EQ(nothing.size(), 1);
  EXPECT_TRUE(nothing[0]->isVisible() && nothing[0]->text().contains(QLatin1String("zzz")));
  QTest::keyClick(&field, Qt::Key_Down);
  EXPECT_TRUE(field.hasFocus()) << "there is no row to go to";
  QTest::keyClick(&field, Qt::Key_Escape);
  EXPECT_FALSE(nothing[0]->isVisible());
  EXPECT_FALSE(search.Summary()->isVisible());
  EXPECT_EQ(view.currentIndex().row(), 3) << "the row from before the search";
  QTest::keyClick(&field, Qt::Key_Escape);
  EXPECT_TRUE(view.hasFocus());
}

// A list that keeps its rows: what is checked stays checked out of sight, and is counted.
TEST(RowFilter, CheckedRowsOutOfSightAreCounted) {
  QWidget window;
  SearchField field(QStringLiteral("Search"), &window);
  QListWidget list(&window);
  for (const char* name : {"kawai-k4", "kawai-k1", "yamaha-dx7"}) {
    auto* item = new QListWidgetItem(QLatin1String(name), &list);
    item->setCheckState(Qt::Unchecked);
  }
  list.item(2)->setCheckState(Qt::Checked);
  ListSearch search(&field, &list);
  window.show();
  field.setText(QStringLiteral("kawai"));
  EXPECT_EQ(search.Shown(), 2);
  EXPECT_EQ(search.Hidden(), 1);
  EXPECT_EQ(CheckedOutOfSight(list), 1);
  QTest::keyClick(&field, Qt::Key_Return);
  EXPECT_EQ(list.currentRow(), 0);
  delete list.takeItem(0);
  search.Refresh();
  EXPECT_EQ(field.Hits(), 1);
  field.clear();
  EXPECT_EQ(CheckedOutOfSight(list), 0);
  EXPECT_EQ(search.Hidden(), 0);
}

}  // namespace
}  // namespace tonalith
