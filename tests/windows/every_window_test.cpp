// Every window and dialog that a command opens, with texts as long as German ones: kept as pictures, walked for
// controls that somebody cannot use, and small enough for a small screen.
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <QTimer>
#include <QTranslator>
#include <set>

#include "app/command_menus.h"
#include "clipped_text.h"
#include "studio/ui/studio_pictures.h"
#include "studio/ui/studio_window.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

constexpr QSize kSmallScreen(1024, 700);
constexpr QSize kLargeScreen(2560, 1440);

class LongTexts final : public QTranslator {
 public:
  QString translate(const char* context, const char* source, const char*, int) const override {
    if (qstrcmp(context, "QShortcut") == 0) return {};  // names of keys
    const QString text = QString::fromUtf8(source);
    QString more;
    while (more.size() * 10 < text.size() * 4) more += QStringLiteral(" l\u00e4ng");
    return text + more;
  }
  bool isEmpty() const override { return false; }
};

// Once with the texts as they are, once with long ones.
class EveryWindow : public ProgramFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    ProgramFixture::SetUp();
    if (GetParam()) QCoreApplication::installTranslator(&texts_);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
      if (QWidget* dialog = QApplication::activeModalWidget()) Look(dialog);
    });
    timer_.start(100);
  }
  void TearDown() override {
    timer_.stop();
    QCoreApplication::removeTranslator(&texts_);
    ProgramFixture::TearDown();
  }
  void Keep(const QPointer<QWidget>& kept, const QString& name) {
    Settle();
    if (!kept) return;  // its work is over
    EXPECT_EQ(FaultsOfTexts(*kept), "") << name.toStdString();
    KeepScreenshot(kept, QStringLiteral("windows/") + name + (GetParam() ? QStringLiteral("-long") : QString()));
  }
  // A dialog is closed behind it.
  void Look(const QPointer<QWidget>& window) {
    const QString kind = QString::fromLatin1(window->metaObject()->className()).section(QStringLiteral("::"), -1);
    if (seen_.insert(kind).second) {
      EXPECT_LE(window->minimumSizeHint().width(), kSmallScreen.width()) << kind.toStdString();
      EXPECT_LE(window->minimumSizeHint().height(), kSmallScreen.height()) << kind.toStdString();
      Keep(window, kind);
    }
    if (window && qobject_cast<QDialog*>(window.data())) window->close();
  }
  void LookAtAll() {
    Settle();
    std::vector<QPointer<QWidget>> windows;
    for (QWidget* window : QApplication::topLevelWidgets())
      if (window->isVisible() && qobject_cast<QDialog*>(window)) windows.emplace_back(window);
    for (ZKWindow* child : frame().Children()) windows.emplace_back(child);
    // Closing one may delete others.
    for (const auto& window : windows)
      if (window) Look(window);
  }

  LongTexts texts_;
  QTimer timer_;
  std::set<QString> seen_;
};

TEST_P(EveryWindow, FitsIsReachedAndNamed) {
  Start();
  Open("Yamaha DX7", "Voice Bank", true);
  const std::set<CommandId> leaves = {CommandId::FileExit, CommandId::FileClose, CommandId::WindowCloseAll,
                                      CommandId::FileNewEditor,
                                      // two panes side by side may want more than the small screen
                                      CommandId::WindowSplitRight};
  for (const CommandRow& row : CommandTable()) {
    const QAction* action = row.id == CommandId::None ? nullptr : frame().ActionOf(row.id);
    if (!action || !action->isEnabled() || row.checkable || *row.submenu || leaves.count(row.id)) continue;
    frame().RunCommand(row.id);
    LookAtAll();
  }
  TZKDrvLst* studio = parts().studio.Show();
  studio->tree()->SetCurrentNode(program_->studio()->instruments().front().get());
  for (const auto open : {&TZKDrvLst::OnSettings, &TZKDrvLst::OnAutoSense, &TZKDrvLst::OnSetupInformation,
                          &TZKDrvLst::OnInstallFromWeb}) {
    (studio->*open)();
    LookAtAll();
  }
  for (const QSize& size : {kSmallScreen, kLargeScreen}) {
    frame().resize(size);
    Settle();
    EXPECT_EQ(frame().size(), size);
    Keep(&frame(), QStringLiteral("frame-%1").arg(size.width()));
  }
  EXPECT_GE(seen_.size(), 12U);
}

// Of the pixels of a small picture, so that two are told apart at a glance.
class InstrumentPictures : public ProgramFixture {};

TEST_F(InstrumentPictures, NoTwoLookAlike) {
  Start();
  std::vector<QImage> pictures;
  const auto& instruments = program_->studio()->instruments();
  for (const auto& one : instruments)
    pictures.push_back(InstrumentPicture(*program_->studio(), one.get(), QSize(64, 40), 1).toImage());
  for (std::size_t a = 0; a < pictures.size(); ++a)
    for (std::size_t b = 0; b < a; ++b) {
      int differ = 0;
      for (int at = 0; at < 64 * 40; ++at)
        differ += pictures[a].pixel(at % 64, at / 64) != pictures[b].pixel(at % 64, at / 64);
      EXPECT_GT(differ, 64 * 40 / 10) << instruments[a]->name << " and " << instruments[b]->name;
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryWindow, ::testing::Bool());

}  // namespace
}  // namespace tonalith
