// The Tab key follows the eye, in windows that were put together in another order too.
#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <algorithm>
#include <set>

#include "app/studio_dock.h"
#include "app/workspace.h"
#include "control_walk.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

// A pane of two lines with two fields each, made in any order.
QWidget* Pane(QWidget* parent, const QString& name) {
  auto* pane = new QWidget(parent);
  auto* grid = new QGridLayout(pane);
  for (const int place : {3, 0, 2, 1}) {
    auto* field = new QLineEdit(pane);
    field->setAccessibleName(name + QString::number(place));
    grid->addWidget(field, place / 2, place % 2);
  }
  return pane;
}

QStringList Visited(QWidget* window, int presses) {
  QStringList names;
  for (int i = 0; i < presses; ++i) {
    names << QApplication::focusWidget()->accessibleName();
    PressKey(QApplication::focusWidget(), Qt::Key_Tab);
  }
  EXPECT_EQ(FaultsOfTabOrder(*window), "");
  return names;
}

TEST(TabOrder, LinesOfAPaneAndOnePaneAfterTheOther) {
  for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
    QWidget window;
    window.setLayoutDirection(direction);
    auto* row = new QHBoxLayout(&window);
    auto* second = Pane(&window, QStringLiteral("b"));
    auto* first = Pane(&window, QStringLiteral("a"));
    row->addWidget(first);
    row->addWidget(second);
    window.show();
    ASSERT_TRUE(MakeActive(&window));
    const auto fields = first->findChildren<QLineEdit*>();
    QWidget::setTabOrder(fields[1], second->findChildren<QLineEdit*>()[1]);
    EXPECT_NE(FaultsOfTabOrder(window), "") << "the walk does not see what is wrong";
    fields[1]->setFocus();
    EXPECT_EQ(Visited(&window, 9).join(QLatin1Char(' ')).toStdString(), "a0 a1 a2 a3 b0 b1 b2 b3 a0");
    // What comes later is taken in where it stands.
    auto* late = new QLineEdit(first);
    late->setAccessibleName(QStringLiteral("late"));
    static_cast<QGridLayout*>(first->layout())->addWidget(late, 0, 2);
    Settle();
    EXPECT_EQ(Visited(&window, 4).join(QLatin1Char(' ')).toStdString(), "a1 late a2 a3");
  }
}

class FrameTabOrder : public ProgramFixture {};

TEST_F(FrameTabOrder, StudioThenDocumentThenInspector) {
  Start();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_NE(bank, nullptr);
  frame().RunCommand(CommandId::ViewInspector);
  Settle();
  frame().workspace().dock().setFocus();
  PressKey(&frame(), Qt::Key_Tab);
  // Every part once, in the order of the eye.
  std::vector<std::string> parts;
  std::set<QWidget*> seen;
  for (QWidget* at = QApplication::focusWidget(); seen.insert(at).second; at = QApplication::focusWidget()) {
    std::string part;
    for (QWidget* around = at; around && part.empty(); around = around->parentWidget()) {
      if (around == bank) part = "document";
      if (around->objectName() == QStringLiteral("InspectorDock")) part = "inspector";
      if (around == &frame().workspace().dock()) part = "studio";
    }
    if (!part.empty() && (parts.empty() || parts.back() != part)) parts.push_back(part);
    PressKey(at, Qt::Key_Tab);
  }
  if (parts.size() > 3 && parts.front() == parts.back()) parts.pop_back();
  const auto studio = std::find(parts.begin(), parts.end(), "studio");
  std::rotate(parts.begin(), studio, parts.end());
  EXPECT_EQ(parts, (std::vector<std::string>{"studio", "document", "inspector"}));
}

}  // namespace
}  // namespace tonalith
