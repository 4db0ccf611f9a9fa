#include <QPushButton>

#include "studio/ui/auto_config_dialog.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class AutosenseTest : public ProgramFixture {
 protected:
  static QPushButton* Button(QWidget& dialog, const QString& text) {
    for (auto* button : dialog.findChildren<QPushButton*>())
      if (button->isVisible() && button->text() == text) return button;
    return nullptr;
  }
  ZKDrvList* Instrument(const char* name) { return program_->studio()->FindInstrument(name); }
};

TEST_F(AutosenseTest, FindsAndTellsTheInstrument) {
  Start();
  ZKDrvList* instrument = Instrument("JV-1080");
  ASSERT_NE(instrument, nullptr);
  const std::string port = instrument->outPortName;
  instrument->SetInPort(0, "elsewhere");
  instrument->SetOutPort(0, "elsewhere");
  instrument->SetSysExChannel(20);
  DrvAutoConfig dialog(*program_->studio(), instrument, *parts().studio.autoConfig(), AutoConfigMode::Ask, &frame());
  ASSERT_TRUE(dialog.StartSearch());
  dialog.show();
  ASSERT_NE(Button(dialog, "&Cancel"), nullptr);
  KeepScreenshot(&dialog, "autosense-searching");
  ASSERT_TRUE(WaitFor([&] { return !dialog.Searching(); }, 60000));
  EXPECT_TRUE(dialog.found());
  EXPECT_EQ(instrument->outPortName, port);
  EXPECT_EQ(instrument->inPortName, port);
  EXPECT_EQ(instrument->sysExChannel, 16);
  KeepScreenshot(&dialog, "autosense-found");
  PressKey(Button(dialog, "C&lose"), Qt::Key_Space);
  EXPECT_FALSE(dialog.isVisible());
}

TEST_F(AutosenseTest, NotThereTriedAgainAndCancelled) {
  Start();
  ZKDrvList* instrument = Instrument("Korg M1");
  ASSERT_NE(instrument, nullptr);
  VirtualStudio& cables = program_->simulation()->studio();
  const std::size_t place = cables.Find("korg-m1");
  cables.With(place,
              [](SimulatedInstrument& one) { one.SetFaults(FaultPlan::Parse("no-reply:reply=0", nullptr).value()); });
  const std::string former = instrument->outPortName;
  DrvAutoConfig dialog(*program_->studio(), instrument, *parts().studio.autoConfig(), AutoConfigMode::Ask, &frame());
  ASSERT_TRUE(dialog.StartSearch());
  dialog.show();
  ASSERT_TRUE(WaitFor([&] { return !dialog.Searching(); }, 120000));
  EXPECT_FALSE(dialog.found());
  EXPECT_EQ(instrument->outPortName, former);
  KeepScreenshot(&dialog, "autosense-not-found");
  ASSERT_NE(Button(dialog, "&Set Ports..."), nullptr);
  ASSERT_NE(Button(dialog, "&Try Again"), nullptr);
  ClickMouse(Button(dialog, "&Try Again"));
  EXPECT_TRUE(dialog.Searching());
  BeginAutoConfigRow(*parts().studio.autoConfig());
  ClickMouse(Button(dialog, "Cancel &All"));
  EXPECT_FALSE(dialog.Searching());
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_TRUE(AutoConfigRowCancelled(*parts().studio.autoConfig()));
  BeginAutoConfigRow(*parts().studio.autoConfig());
}

}  // namespace
}  // namespace tonalith
