// The first job of a new user with a real pointer: tests/end_to_end/16_first_job.sh gives this test a display.
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QGuiApplication>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>

#include "app/command_menus.h"
#include "app/first_start.h"
#include "bank/ui/bank_list.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

constexpr int kMostClicks = 15;
constexpr int kPatience = 60'000;

class FirstJob : public FilesTest {
 protected:
  void SetUp() override {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) GTEST_SKIP() << "needs a display and a pointer";
    ::setenv("TONALITH_RESOURCES", TONALITH_BINARY_DIR "/share/tonalith", 1);
  }
  void TearDown() override {
    if (program_) program_->End(true);
  }

  void Start() {
    program_ = std::make_unique<CZKApp>(CommandLine::Parse({"--simulated", "--config-root", root_}));
    ASSERT_TRUE(program_->Start());
    ASSERT_TRUE(MakeActive(&frame()));
  }
  CMainFrame& frame() { return *program_->frame(); }

  void Point(const QPoint& global) {
    QProcess::execute(QStringLiteral("xdotool"),
                      {QStringLiteral("mousemove"), QString::number(global.x()), QString::number(global.y())});
    QTest::qWait(200);
  }
  void Click(const QPoint& global, int times = 1) {
    Point(global);
    clicks_ += times;
    QProcess::execute(QStringLiteral("xdotool"),
                      {QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(times),
                       QStringLiteral("--delay"), QStringLiteral("80"), QStringLiteral("1")});
    QTest::qWait(400);
  }
  void Click(QWidget* widget) {
    ASSERT_TRUE(widget && widget->isVisible());
    Click(widget->mapToGlobal(widget->rect().center()));
  }
  void Type(const char* words) {
    QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("type"), QStringLiteral("--delay"),
                                                  QStringLiteral("40"), QString::fromLatin1(words)});
    QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Return")});
    QTest::qWait(400);
  }
  static QPoint Place(const QAbstractItemView* view, const QModelIndex& index, int fromLeft) {
    const QRect rect = view->visualRect(index);
    return view->viewport()->mapToGlobal(QPoint(rect.left() + fromLeft, rect.center().y()));
  }
  // An entry of a menu, by the menus before it; those inside open under the pointer.
  void Choose(MenuId menu, QAction* submenu, QAction* entry) {
    QMenuBar* bar = frame().menuBar();
    QMenu* open = frame().menus().Menu(menu);
    Click(bar->mapToGlobal(bar->actionGeometry(open->menuAction()).center()));
    if (submenu) {
      Point(open->mapToGlobal(open->actionGeometry(submenu).center()));
      open = submenu->menu();
      ASSERT_TRUE(WaitFor([&] { return open->isVisible(); }, kPatience));
    }
    Click(open->mapToGlobal(open->actionGeometry(entry).center()));
  }
  // Presses the button of a dialog that the next click opens: its own event loop runs this.
  void PressWhenItOpens(const QString& text) {
    QTimer::singleShot(500, &frame(), [this, text] {
      for (QWidget* window : QApplication::topLevelWidgets()) {
        if (!qobject_cast<QFileDialog*>(window) || !window->isVisible()) continue;
        Keep("save");
        for (QPushButton* button : window->findChildren<QPushButton*>())
          if (button->isVisible() && button->text().remove('&') == text) return Click(button);
      }
      PressWhenItOpens(text);
    });
  }
  void Keep(const char* step) {
    const QString name = QStringLiteral(TONALITH_BINARY_DIR "/artefacts/first-job-mouse-%1-%2.png");
    QGuiApplication::primaryScreen()->grabWindow(0).save(name.arg(++pictures_, 2, 10, QLatin1Char('0')).arg(step));
  }
  TZKBank* Bank() {
    for (ZKWindow* child : frame().Children())
      if (auto* bank = qobject_cast<TZKBank*>(child)) return bank;
    return nullptr;
  }
  bool Free(TZKBank* bank) {
    return WaitFor([bank] { return !bank->document().IsBusy(); }, kPatience);
  }

  std::unique_ptr<CZKApp> program_;
  int clicks_ = 0;
  int pictures_ = 0;
};

QToolButton* ToolOf(QWidget* window, const char* word) {
  for (auto* tool : window->findChildren<QToolButton*>())
    if (tool->isVisible() && tool->text().startsWith(QLatin1String(word))) return tool;
  return nullptr;
}

TEST_F(FirstJob, InFifteenClicks) {
  Start();
  auto* steps = frame().findChild<FirstStartPage*>();
  ASSERT_TRUE(WaitFor([&] { return (steps = frame().findChild<FirstStartPage*>()) && steps->isVisible(); }, kPatience));
  ASSERT_TRUE(MakeActive(steps));
  QTest::qWait(400);  // the window manager places it, and it is painted
  QListWidget* list = steps->choice().list();
  QListWidgetItem* own = nullptr;
  for (int row = 0; row < list->count(); ++row)
    if (list->item(row)->text() == QStringLiteral("Yamaha DX7")) own = list->item(row);
  ASSERT_NE(own, nullptr);
  list->scrollToItem(own);
  Keep("first-steps");
  Click(Place(list, list->indexFromItem(own), 12));
  ASSERT_TRUE(steps->nextButton()->isEnabled()) << "the instrument is not checked";
  Click(steps->nextButton());
  const auto offers = [&](const char* text) { return steps->nextButton()->text().remove('&') == QLatin1String(text); };
  ASSERT_TRUE(WaitFor([&] { return offers("Go On"); }, kPatience));
  Keep("found");
  Click(steps->nextButton());
  ASSERT_TRUE(offers("Get"));
  const auto found = steps->types().findItems(QStringLiteral("Voice Bank"), Qt::MatchExactly | Qt::MatchRecursive);
  ASSERT_FALSE(found.isEmpty());
  Click(Place(&steps->types(), steps->types().indexFromItem(found[0]), 30));
  Keep("types");
  Click(steps->nextButton());
  ASSERT_TRUE(WaitFor([&] { return Bank(); }, kPatience));
  TZKBank* bank = Bank();
  ASSERT_TRUE(Free(bank));
  Keep("got");

  QAbstractItemView* patches = bank->list();
  const QModelIndex second = patches->model()->index(1, patches->model()->columnCount() > 1 ? 1 : 0);
  Click(Place(patches, second, patches->visualRect(second).width() / 3), 2);
  Type("FIRSTLIGHT");
  Keep("renamed");
  Click(ToolOf(bank, "Send"));
  ASSERT_TRUE(Free(bank));
  Keep("sent");
  PressWhenItOpens(QStringLiteral("Save"));
  Choose(MenuId::File, nullptr, frame().ActionOf(CommandId::FileSave));
  ASSERT_TRUE(WaitFor([&] { return !bank->FilePath().empty() && !bank->isWindowModified(); }, kPatience));
  const std::string file = bank->FilePath();
  Keep("saved");
  const QRect around = frame().frameGeometry();
  Click(QPoint(around.right() - 12, around.top() + 10));
  ASSERT_TRUE(WaitFor([&] { return !frame().isVisible(); }, kPatience)) << "the cross of the window";
  program_->End(true);

  Start();
  QMenu* recent = frame().menus().Submenu(MenuId::File, "&Recent Files");
  ASSERT_NE(recent, nullptr);
  const auto entries = recent->actions();
  ASSERT_FALSE(entries.isEmpty());
  Choose(MenuId::File, recent->menuAction(), entries.first());
  ASSERT_TRUE(WaitFor([&] { return Bank() && Bank()->FilePath() == file; }, kPatience));
  Keep("opened");
  EXPECT_EQ(Bank()->list()->model()->index(1, second.column()).data().toString().trimmed().right(10), "FIRSTLIGHT");
  EXPECT_LE(clicks_, kMostClicks);
}

}  // namespace
}  // namespace tonalith
