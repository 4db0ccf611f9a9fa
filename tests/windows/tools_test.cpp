#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "app/midi_test_dialog.h"
#include "app/pacing_dialog.h"
#include "app/preferences.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "services/zkbasics.h"
#include "tools/ui/graphic_monitor.h"
#include "tools/ui/monitor_window.h"
#include "ui/midi_activity.h"
#include "ui/port_dialogs.h"
#include "ui/style/search_field.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class ToolsTest : public ProgramFixture {
 protected:
  template <typename Window>
  Window* Child() {
    for (ZKWindow* child : frame().Children())
      if (auto* found = qobject_cast<Window*>(child)) return found;
    return nullptr;
  }
  ZKBasics& basics() { return *program_->basics(); }
};

QString CellText(TZKMonText* monitor, int row, int column) {
  return monitor->model()->index(row, column).data().toString();
}

TEST_F(ToolsTest, TheMonitorShowsATransferInTheWordsOfTheInstrument) {
  Start({"file " + Path("kept.syx"), "ok"});
  frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  auto* monitor = Child<TZKMonText>();
  ASSERT_NE(monitor, nullptr);
  monitor->OnEditClear();
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank));
  const auto seen = [&](const char* words) {
    for (int row = 0; row < monitor->model()->rowCount(); ++row)
      if (CellText(monitor, row, MonitorModel::kDescription).contains(QLatin1String(words))) return true;
    return false;
  };
  ASSERT_TRUE(WaitFor([&] { return seen("Yamaha DX7 Voice Bank, checksum ok"); }));
  EXPECT_TRUE(seen("MIDI OUT: "));
  EXPECT_TRUE(seen("MIDI IN: "));
  MonitorMsg("a line of the program");
  EXPECT_TRUE(WaitFor([&] { return seen("a line of the program"); }));
  monitor->OnEditCopy();
  EXPECT_TRUE(QGuiApplication::clipboard()->text().contains(QLatin1String("1008H (>> 4104)")));
  monitor->OnMonCopyMIDIOutData();
  EXPECT_TRUE(QGuiApplication::clipboard()->text().startsWith(QLatin1String("F0 43 20 09")));
  monitor->OnFileSaveAs();
  std::vector<std::uint8_t> bytes;
  ASSERT_TRUE(ReadWholeFile(Path("kept.syx"), bytes).ok()) << testing::PrintToString(program_->PromptLog());
  EXPECT_EQ(bytes.size(), 5U + 16U) << "the request and the first bytes of the bank";
  KeepScreenshot(monitor, QStringLiteral("midi-monitor"));
  KeepScreenshot(&frame(), QStringLiteral("frame-with-monitor"));
}

TEST_F(ToolsTest, MidiActivityThatWasOpenAtTheEndShowsThePortsOfTheNextStart) {
  Start();
  frame().RunCommand(CommandId::ViewMidiActivity);
  ASSERT_TRUE(frame().close());
  Stop();
  Start();
  auto* dock = frame().findChild<MidiActivityDock*>();
  ASSERT_TRUE(dock && dock->isVisible());
  const auto says = [dock](const std::string& text) {
    const auto labels = dock->findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](QLabel* label) { return label->text().toStdString() == text; });
  };
  EXPECT_TRUE(WaitFor([&] { return says(basics().in().INGETPORTNAME(0)); }));
  EXPECT_FALSE(says("No MIDI IN port is open."));
}

TEST_F(ToolsTest, TheGraphicMonitorShowsHeldNotes) {
  Start();
  frame().RunCommand(CommandId::UtilitiesGraphicMonitor);
  auto* monitor = Child<TZKMon>();
  ASSERT_NE(monitor, nullptr);
  Settle();
  const std::uint8_t chord[][3] = {{0x90, 60, 100}, {0x90, 64, 100}, {0x95, 67, 100}, {0x93, 61, 90}};
  for (const auto& note : chord) basics().out().SendDataPort(note, 0);
  EXPECT_TRUE(WaitFor([&] { return monitor->held().Channels(67) == 0x20; }));
  const QImage image = monitor->keyboard()->grab().toImage();
  const qreal ratio = image.devicePixelRatio();
  const auto color = [&](int note) {
    return image.pixelColor((QPointF(monitor->keyboard()->KeyRect(note).center()) * ratio).toPoint()).rgb();
  };
  EXPECT_EQ(color(64), KeyboardPicture::ChannelColor(0).rgb());
  EXPECT_EQ(color(61), KeyboardPicture::ChannelColor(3).rgb());
  EXPECT_NE(color(65), KeyboardPicture::ChannelColor(0).rgb());
  KeepScreenshot(monitor, QStringLiteral("graphic-monitor"));
}

TEST_F(ToolsTest, PortsAreChosenByName) {
  Start();
  const std::string profile = basics().paths().MidiPortsProfile();
  {
    PVMidiIn dialog(basics().midi());
    EXPECT_TRUE(dialog.openAll()->isChecked());
    EXPECT_FALSE(dialog.list()->isEnabled());
    EXPECT_TRUE(dialog.list()->selectedItems().isEmpty());
    dialog.adjustSize();
    KeepScreenshot(&dialog, QStringLiteral("midi-in-ports"));
    ASSERT_GE(dialog.list()->count(), 3);
    dialog.openAll()->setChecked(false);
    dialog.list()->item(1)->setSelected(true);
    dialog.bufferCount()->setValue(12);
    dialog.accept();
    EXPECT_EQ(basics().in().InPorts(), 1);
    EXPECT_EQ(basics().in().INGETPORTNAME(0), dialog.list()->item(1)->text().toStdString());
  }
  IniFile ini(profile);
  EXPECT_EQ(ini.GetInt("Midi In Ports", "OpenAll", 1), 0);
  EXPECT_EQ(ini.GetInt("Midi In Ports", "PortCount", 0), 1);
  EXPECT_EQ(ini.GetInt("Midi In Ports", "NumSysXBuffers", 0), 12);
  // A chosen port that is not plugged in stays chosen, and Cancel changes nothing.
  ini.SetInt("Midi In Ports", "PortCount", 2);
  ini.Set("Midi In Ports", "PortName1", "Unplugged");
  ASSERT_TRUE(ini.Save().ok());
  {
    PVMidiIn dialog(basics().midi());
    EXPECT_EQ(dialog.list()->selectedItems().size(), 2);
    dialog.list()->clearSelection();
    dialog.reject();
  }
  {
    PVMidiIn dialog(basics().midi());
    dialog.accept();
  }
  EXPECT_EQ(IniFile(profile).GetString("Midi In Ports", "PortName1"), "Unplugged");
  PVMidiOut outputs(basics().midi());
  EXPECT_EQ(outputs.bufferCount(), nullptr);
  outputs.adjustSize();
  KeepScreenshot(&outputs, QStringLiteral("midi-out-ports"));
  // A speed that is chosen for one of them holds when it is opened, and is kept.
  ASSERT_GT(outputs.speedPort()->count(), 0);
  EXPECT_EQ(outputs.speed()->value(), 0);
  const std::string fast = outputs.speedPort()->currentData().toString().toStdString();
  outputs.speed()->setValue(20'000);
  outputs.accept();
  ASSERT_GE(basics().out().FindPort(fast), 0);
  EXPECT_EQ(basics().out().Slot(basics().out().FindPort(fast))->EffectiveRate(), 20'000u);
  EXPECT_EQ(IniFile(profile).GetInt("Midi Out Port Speeds", "Speed0", 0), 20'000);
  PVMidiOut again(basics().midi());
  EXPECT_EQ(again.speed()->value(), 20'000);
  again.speed()->setValue(0);
  again.openAll()->setChecked(false);
  again.accept();
  EXPECT_EQ(basics().midi().PortSpeed(fast), 0u);
  int count = 1;
  basics().out().OUTNUMPORTS(&count);
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(NoPortsSelected(basics().midi(), MidiDirection::Output));
  EXPECT_FALSE(NoPortsSelected(basics().midi(), MidiDirection::Input));
}

// The simulated instruments send nothing back: no cable.  The pace of one of them is found and forgotten again.
TEST_F(ToolsTest, CableTestAndPaceOfAnInstrument) {
  Start({"yes"});
  frame().RunCommand(CommandId::MidiTestCable);
  auto* cable = frame().findChild<MidiTestDialog*>();
  ASSERT_NE(cable, nullptr);
  cable->startButton()->click();
  ASSERT_TRUE(WaitFor([&] { return !cable->Running() && cable->table()->rowCount() > 0; }));
  EXPECT_TRUE(cable->Sentence().startsWith(QStringLiteral("Nothing came back: no cable leads from")))
      << cable->Sentence().toStdString();
  KeepScreenshot(cable, QStringLiteral("midi-test"));
  cable->reject();

  const PacingProfile profile([this] { return basics().paths().MidiPortsProfile(); });
  ASSERT_TRUE(profile.Keep({"Yamaha DX7", "Synth", {64, 20, 100}}).ok());
  frame().RunCommand(CommandId::MidiSendingPace);
  auto* pace = frame().findChild<PacingDialog*>();
  ASSERT_NE(pace, nullptr);
  ASSERT_EQ(pace->table()->rowCount(), 1);
  EXPECT_EQ(pace->table()->item(0, 2)->text(),
            QStringLiteral("pieces of 64 bytes, 20 ms behind each, 100 ms behind each message"));
  pace->types()->setCurrentIndex(pace->types()->findText(QStringLiteral("Yamaha DX7 Voice Bank")));
  ASSERT_GE(pace->types()->currentIndex(), 0);
  pace->calibrateButton()->click();
  ASSERT_TRUE(pace->Running()) << pace->Sentence().toStdString();
  pace->reject();
  ASSERT_TRUE(WaitFor([&] { return !pace->Running(); }));
  KeepScreenshot(pace, QStringLiteral("sending-pace"));
  pace->table()->selectRow(0);
  pace->removeButton()->click();
  EXPECT_EQ(pace->table()->rowCount(), 0);
  pace->reject();
}

// The sources of the rooms without comments, but for those that define, show, forward or print settings.
std::string ReadersOfSettings() {
  namespace fs = std::filesystem;
  static const std::set<std::string> kNoReaders = {"settings",          "settings_table", "preferences",
                                                   "preferences_pages", "zkbasics",       "studio_report"};
  std::string text;
  for (const char* room : {"app", "bank", "cli", "document", "midi", "script", "services", "simulator", "studio",
                           "tools", "transfer", "ui"}) {
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(TONALITH_SOURCE_DIR) / room, none)) {
      const std::string ending = entry.path().extension().string();
      if ((ending != ".cpp" && ending != ".h") || kNoReaders.count(entry.path().stem().string())) continue;
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) text += line.substr(0, line.find("//")) + "\n";
    }
  }
  // What the settings push to those who follow them.
  std::ifstream file(std::string(TONALITH_SOURCE_DIR) + "/services/settings.cpp");
  for (std::string line; std::getline(file, line);) {
    if (line.find("config_.") != std::string::npos) text += line + "\n";
  }
  return text;
}

// As a word that is no call with a value to store.
bool IsRead(const std::string& text, const std::string& name) {
  const auto letter = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    const std::string behind = text.substr(at + name.size(), 4);
    if (at > 0 && letter(text[at - 1])) continue;
    if (!behind.empty() && !letter(behind[0]) && (behind[0] != '(' || behind == "(-1)")) return true;
  }
  return false;
}

TEST_F(ToolsTest, EveryPreferenceShownIsReadByTheProgram) {
  Start();
  const std::map<std::string, std::string> fields = {
#define TONALITH_ROW(accessor, field, ...) {#accessor, #field},
      TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  };
  PreferencesSheet sheet(*program_->program(), parts().options, &frame());
  const std::string readers = ReadersOfSettings();
  // The test that sets it and looks at what changes.
  const std::map<std::string, std::string> effects = {
      {"MainBankDnDMode", "windows/bank_arrange_test.cpp"},
      {"MainBankDnDExtMode", "windows/bank_arrange_test.cpp"},
      {"MainBackup", "windows/bank_arrange_test.cpp"},
      {"MainInvertScrollWheelInput", "windows/bank_arrange_test.cpp"},
      {"MainAutoUpdate", "studio/test_studio_safety.cpp"},
      {"MainDrvOldDisplayStyle", "windows/studio_test.cpp"},
      {"MainAutoConfigInstruments", "studio/test_studio_safety.cpp"},
      {"MainAutoDefinePatchesAndBanks", "studio/test_studio_formats.cpp"},
      {"MainAutoSenseOnProgramExecution", "windows/preference_effects_test.cpp"},
      {"MainReceiveManualBulkDumps", "windows/manual_dump_test.cpp"},
      {"MainIncludeRealTimeEvents", "services/program_test.cpp"},
      {"MainPchPopupSelect", "services/program_test.cpp"},
      {"MainScriptSeconds", "services/program_test.cpp"},
      {"MainExtraAttempts", "services/program_test.cpp"},
      {"MainReadTwice", "services/program_test.cpp"},
      {"MainDelay", "services/program_test.cpp"},
      {"MainDelayMidi", "services/program_test.cpp"},
      {"MainMidiSlow", "services/program_test.cpp"},
      {"MainMidiChannel", "services/program_test.cpp"},
      {"MainPortIn", "services/program_test.cpp"},
      {"MainPortOut", "services/program_test.cpp"},
      {"MainMidiThruLocalOff", "services/program_test.cpp"},
      {"MainEchoMode", "services/program_test.cpp"},
      {"MainNotesToPlay", "windows/main_frame_test.cpp"},
      {"MainPlaybackSpeed", "windows/main_frame_test.cpp"},
      {"MainToolbarCorner", "windows/preference_effects_test.cpp"},
      {"MainAutoSave", "windows/autosave_test.cpp"},
      {"MainAutoSaveLoadDesktop", "windows/preference_effects_test.cpp"},
      {"MainApplicationControlBar", "windows/preference_effects_test.cpp"},
      {"MainAutoSaveMinutes", "windows/autosave_test.cpp"},
  };
  int shown = 0;
  for (const SettingInfo& info : SettingsTable()) {
    const auto& pages = sheet.pages();
    if (std::none_of(pages.begin(), pages.end(), [&](ZKPropPage* page) { return page->ControlOf(info.id); })) continue;
    ++shown;
    EXPECT_TRUE(IsRead(readers, info.name) || IsRead(readers, "config_." + fields.at(info.name)))
        << info.name << " is shown and has no effect";
    const auto effect = effects.find(info.name);
    ASSERT_NE(effect, effects.end()) << info.name << " is shown, and no test looks at its effect";
    std::string test;
    ASSERT_TRUE(ReadWholeFile(std::string(TONALITH_SOURCE_DIR) + "/tests/" + effect->second, test)) << effect->second;
    EXPECT_NE(test.find(info.name), std::string::npos) << info.name << " is not in " << effect->second;
  }
  EXPECT_GT(shown, 15);
}

TEST_F(ToolsTest, PreferencesAreReadStoredAndCancelled) {
  Start({"no"});
  struct Page {
    int index;
    const char* tab;
  };
  PreferencesSheet sheet(*program_->program(), parts().options, &frame());
  ASSERT_EQ(sheet.pages().size(), 5U);
  for (const Page& page :
       {Page{0, "Bank"}, Page{1, "Studio"}, Page{2, "MIDI"}, Page{3, "Tones"}, Page{4, "Miscellaneous"}}) {
    EXPECT_EQ(sheet.tabs()->tabText(page.index), QLatin1String(page.tab));
    sheet.tabs()->setCurrentIndex(page.index);
    KeepScreenshot(&sheet, QStringLiteral("preferences-%1").arg(QLatin1String(page.tab).toString().toLower()));
  }
  // The Tab key goes from the tabs into the page, not past it.
  sheet.tabs()->setCurrentIndex(0);
  sheet.show();
  ASSERT_TRUE(MakeActive(&sheet));
  sheet.tabs()->setFocus();
  PressKey(sheet.tabs(), Qt::Key_Tab);
  EXPECT_TRUE(sheet.pages()[0]->isAncestorOf(sheet.focusWidget()));
  sheet.hide();
  // Every setting of the pages that exist has its control, and comes back as it went in.
  for (const SettingInfo& info : SettingsTable()) {
    const int page = info.page == SettingPage::Bank            ? 0
                     : info.page == SettingPage::Studio        ? 1
                     : info.page == SettingPage::Midi          ? 2
                     : info.page == SettingPage::Tones         ? 3
                     : info.page == SettingPage::Miscellaneous ? 4
                                                               : -1;
    for (const ZKPropPage* other : sheet.pages()) {
      const bool shows = page >= 0 && other == sheet.pages()[static_cast<std::size_t>(page)];
      EXPECT_EQ(other->ControlOf(info.id) != nullptr, shows) << info.name;
    }
    if (page < 0) continue;
    for (const int value : {info.maximum, info.minimum}) {
      basics().settings().Access(info.id, value);
      sheet.pages()[static_cast<std::size_t>(page)]->OnInitDialog();
      sheet.pages()[static_cast<std::size_t>(page)]->OnApply();
      EXPECT_EQ(basics().settings().Access(info.id, -1), value) << info.name;
    }
  }
  basics().MainDelay(7);
  PreferencesSheet other(*program_->program(), parts().options, &frame());
  auto* delay = qobject_cast<QSpinBox*>(other.pages()[2]->ControlOf(SettingId::MainDelay));
  ASSERT_NE(delay, nullptr);
  EXPECT_FALSE(other.applyButton()->isEnabled());
  delay->setValue(250);
  EXPECT_TRUE(other.applyButton()->isEnabled());
  other.reject();
  EXPECT_EQ(basics().MainDelay(-1), 7);
  other.Apply();
  EXPECT_EQ(basics().MainDelay(-1), 250);
  other.search()->setText(QStringLiteral("device number"));
  EXPECT_TRUE(other.tabs()->isTabEnabled(1));
  EXPECT_FALSE(other.tabs()->isTabEnabled(2));
}

}  // namespace
}  // namespace tonalith
