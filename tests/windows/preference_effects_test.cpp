// Preferences whose effect is seen in the window: set, applied, and looked at.

#include <QApplication>
#include <QPushButton>
#include <QTimer>

#include "app/control_bar.h"
#include "platform/atomic_file.h"
#include "services/paths.h"
#include "services/settings.h"
#include "studio/ui/auto_config_dialog.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class PreferenceEffects : public ProgramFixture {
 protected:
  Settings& settings() { return program_->basics()->settings(); }
  // As after Apply in the preferences.
  void Apply() { parts().options.PreferencesApplied(); }
};

TEST_F(PreferenceEffects, TheControlBarLiesWhereItShould) {
  Start();
  settings().MainApplicationControlBar(1);
  for (const int corner : {3, 0, 1, 2, 0}) {
    settings().MainToolbarCorner(corner);
    Apply();
    EXPECT_EQ(frame().toolBarArea(frame().controlBar()), corner & 2 ? Qt::BottomToolBarArea : Qt::TopToolBarArea)
        << corner;
    Settle();
    const int left = frame().controlBar()->icons()->x();
    EXPECT_EQ(left > 50, (corner & 1) != 0) << corner << ": " << left;
  }
  for (const int shown : {0, 1}) {
    settings().MainApplicationControlBar(shown);
    Apply();
    EXPECT_EQ(frame().controlBar()->isVisible(), shown != 0);
  }
}

TEST_F(PreferenceEffects, TheDesktopIsKeptWhenItShouldBe) {
  for (const int kept : {0, 1}) {
    Start();
    settings().MainAutoSaveLoadDesktop(kept);
    const std::string file = program_->basics()->paths().DefaultDesktopFile();
    Stop();
    EXPECT_EQ(FileExists(file), kept != 0);
  }
}

TEST_F(PreferenceEffects, InstrumentsAreLookedForAtTheStart) {
  int seen = 0;
  QTimer watch;
  QObject::connect(&watch, &QTimer::timeout, [&seen] {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      auto* search = qobject_cast<DrvAutoConfig*>(widget);
      if (!search || !search->isVisible()) continue;
      ++seen;
      for (auto* button : search->findChildren<QPushButton*>())
        if (button->isVisible() && button->text().contains(QStringLiteral("Cancel &All"))) return button->click();
    }
  });
  watch.start(20);
  for (const int wanted : {0, 1}) {
    Start();
    settings().MainAutoSenseOnProgramExecution(wanted);
    ASSERT_TRUE(program_->program()->SaveConfig());
    Stop();
    seen = 0;
    // The search is a dialog, so the main window need not come to the front.
    program_ = std::make_unique<CZKApp>(Line({"--fast-cables"}));
    ASSERT_TRUE(program_->Start());
    WaitFor([&] { return seen > 0; }, wanted ? 10000 : 500);
    EXPECT_EQ(seen > 0, wanted != 0);
    Stop();
  }
}

}  // namespace
}  // namespace tonalith
