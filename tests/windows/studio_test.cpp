#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>
#include <QTimer>
#include <QTreeWidget>
#include <algorithm>
#include <filesystem>

#include "../peer/ftp_server.h"
#include "app/first_start.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/settings.h"
#include "sets/ui/set_window.h"
#include "studio/package_install.h"
#include "studio/ui/connected_dialog.h"
#include "studio/ui/install_dialogs.h"
#include "studio/ui/install_web.h"
#include "studio/ui/instrument_settings.h"
#include "studio/ui/search_rows.h"
#include "studio/ui/studio_report.h"
#include "tests/studio/package_fixture.h"
#include "ui/style/list_delegate.h"
#include "ui/style/search_field.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class StudioTest : public ProgramFixture {
 protected:
  ZKStudioDoc& studio() { return *program_->studio(); }
  TZKDrvLst* window() { return parts().studio.Show(); }
  std::string Package(const char* name) {
    return std::string(TONALITH_BINARY_DIR "/share/tonalith/modules/") + name + ".pvz";
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const auto& instrument : studio().instruments()) names.push_back(instrument->DisplayKey());
    return names;
  }
  // Makes the instrument the current one in the view that is shown.
  ZKDrvList* Choose(const char* name) {
    ZKDrvList* instrument = studio().FindInstrument(name);
    window()->tree()->SetCurrentNode(instrument);
    window()->list()->SetCurrentInstrument(instrument);
    return instrument;
  }
  // Runs as soon as a dialog of this class is open.
  template <typename Dialog>
  void WhenOpen(std::function<void(Dialog*)> act) {
    QTimer::singleShot(0, qApp, [this, act] {
      for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<Dialog*>(widget); dialog && dialog->isVisible()) return act(dialog);
      }
      WhenOpen<Dialog>(act);
    });
  }
};

TEST_F(StudioTest, BothViewsShowTheSame) {
  Start();
  for (const bool panels : {false, true}) {
    window()->ShowPanels(panels);
    ZKDrvList* k4 = Choose("k4");
    ASSERT_NE(k4, nullptr);
    EXPECT_EQ(window()->SelectedInstruments(), std::vector<ZKDrvList*>{k4});
    EXPECT_EQ(k4->selected, 1);
    EXPECT_EQ(studio().FindInstrument("Yamaha DX7")->selected, 0);
    window()->search()->setText("yamaha dx7");
    std::size_t shown = 0;
    for (int i = 0; i < static_cast<int>(Names().size()); ++i)
      shown += (panels ? window()->list()->item(i)->isHidden() : window()->tree()->topLevelItem(i)->isHidden()) ? 0 : 1;
    EXPECT_GE(shown, 1u);
    EXPECT_LT(shown, Names().size());
    window()->search()->clear();
    frame().resize(1000, 720);
    KeepScreenshot(&frame(), panels ? "studio-panels" : "studio-tree");
  }
  program_->basics()->settings().MainDrvOldDisplayStyle(3);
  EXPECT_FALSE(window()->ShowsPanels());
  program_->basics()->settings().MainDrvOldDisplayStyle(1);
  EXPECT_TRUE(window()->ShowsPanels());
  EXPECT_TRUE(window()->list()->compact());
  KeepScreenshot(window(), "studio-panels-compact");
  EXPECT_EQ(program_->basics()->settings().Value(SettingId::MainDrvDisplayMode), 1);
}

TEST_F(StudioTest, ManyInstrumentsStartClosedAndStayAsTheUserWants) {
  Start();
  window()->ShowPanels(false);
  ZKStudioTree* tree = window()->tree();
  ASSERT_GT(tree->topLevelItemCount(), 8);
  const auto open = [tree] {
    int count = 0;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) count += tree->topLevelItem(i)->isExpanded() ? 1 : 0;
    return count;
  };
  EXPECT_EQ(open(), 0);
  Choose("Yamaha DX7");
  PressKey(tree, Qt::Key_Right);
  window()->Refresh();
  EXPECT_EQ(open(), 1);
  EXPECT_TRUE(tree->currentItem()->isExpanded());
  window()->search()->setText("timbre");
  EXPECT_GT(open(), 1) << "what was found is shown";
  window()->search()->clear();
  EXPECT_EQ(open(), 1);
}

TEST_F(StudioTest, RemovedInstrumentsComeBackAndMoved) {
  Start({"no", "yes", "yes"});
  const auto before = Names();
  Choose("k4");
  PressShortcut(window()->tree(), Qt::Key_Delete, Qt::NoModifier);
  EXPECT_EQ(Names(), before) << "the question was answered with no";
  for (const bool panels : {false, true}) {
    window()->ShowPanels(panels);
    Choose("k4")->SetMidiChannel(11);
    window()->RemoveSelected();
    EXPECT_EQ(Names().size(), before.size() - 1);
    ASSERT_TRUE(window()->CommandEnabled(CommandId::EditUndo));
    frame().RunCommand(CommandId::EditUndo);
    EXPECT_EQ(Names(), before);
    EXPECT_EQ(window()->CurrentNode()->midiChannel, 11);
    EXPECT_FALSE(window()->CommandEnabled(CommandId::EditUndo));
  }
  window()->ShowPanels(false);
  Choose(before[0].c_str());
  window()->tree()->setFocus();
  PressShortcut(window()->tree(), Qt::Key_Down, Qt::AltModifier);
  EXPECT_EQ(Names()[1], before[0]);
  EXPECT_EQ(window()->CurrentNode()->DisplayKey(), before[0]);
  PressShortcut(window()->tree(), Qt::Key_Up, Qt::AltModifier);
  PressShortcut(window()->tree(), Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(Names(), before) << "the first place is the end";
}

TEST_F(StudioTest, SettingsGoToDriversAndDefaults) {
  Start();
  ZKDrvList* dx7 = Choose("Yamaha DX7");
  WhenOpen<InstrumentSettingsDlg>([](InstrumentSettingsDlg* dialog) {
    const auto boxes = dialog->findChildren<QComboBox*>();
    for (QComboBox* box : boxes) {
      if (box->count() == 16 && box->findText("16") == 15 && box->parentWidget()->isEnabled()) box->setCurrentIndex(6);
    }
    auto* bay = dialog->findChildren<QGroupBox*>()[1];
    bay->setChecked(true);
    bay->findChildren<QSpinBox*>()[0]->setValue(99);
    for (QCheckBox* box : bay->findChildren<QCheckBox*>()) box->setChecked(true);
    KeepScreenshot(dialog, "instrument-settings");
    dialog->accept();
  });
  window()->OnSettings();
  EXPECT_EQ(dx7->midiChannel, 6);
  EXPECT_EQ(dx7->drivers[0]->midiChannel, 6);
  EXPECT_EQ(dx7->patchBayController, 99);
  EXPECT_EQ(dx7->patchBayFlags, kPatchBayOn | kPatchBayManual | kPatchBayRevert);
  EXPECT_EQ(dx7->drivers[0]->synth()->patchBayFlags, dx7->patchBayFlags);
  Stop();
  Start();
  EXPECT_EQ(studio().FindInstrument("Yamaha DX7")->midiChannel, 6);
}

TEST_F(StudioTest, ChannelsAreChangedInPlace) {
  Start();
  ZKDrvList* dx7 = Choose("Yamaha DX7");
  ZKStudioTree* tree = window()->tree();
  tree->editItem(tree->currentItem(), ZKStudioTree::kChannel);
  auto* box = tree->viewport()->findChild<QComboBox*>();
  ASSERT_NE(box, nullptr);
  box->setCurrentIndex(4);
  emit box->activated(4);
  Settle();
  EXPECT_EQ(dx7->midiChannel, 4);
  EXPECT_EQ(tree->currentItem()->text(ZKStudioTree::kChannel), "5");
  EXPECT_EQ(window()->CurrentNode(), dx7);
}

TEST_F(StudioTest, APortThatIsGoneIsShownAndKept) {
  Start();
  ZKDrvList* dx7 = Choose("Yamaha DX7");
  const std::string port = dx7->inPortName;
  EXPECT_EQ(StateOfInstrument(parts().studio.ports(), dx7), PortState::There);
  program_->simulation()->SetPlugged(program_->simulation()->studio().Find("Simulated Yamaha DX7"), false);
  ASSERT_TRUE(WaitFor([&] { return StateOfInstrument(parts().studio.ports(), dx7) == PortState::Gone; }));
  KeepScreenshot(window(), "studio-port-gone");
  WhenOpen<InstrumentSettingsDlg>([](InstrumentSettingsDlg* dialog) { dialog->accept(); });
  window()->OnSettings();
  EXPECT_EQ(dx7->inPortName, port) << "the name waits for its port";
}

TEST_F(StudioTest, InstallingAsksShowsAndCanBeDeclined) {
  Start({"cancel", "ok", "ok", "ok"});
  const std::size_t count = studio().instruments().size();
  EXPECT_FALSE(parts().files.OpenFile(Package("kawai-k4"), 0));
  EXPECT_EQ(studio().instruments().size(), count);
  for (const char* part : {"Install Kawai K4", "SHA-256: ", "kawai-k4.pvz", "Kawai K4.ini", "takes the place of"})
    EXPECT_NE(LogText().find(part), std::string::npos) << part << "\n" << LogText();
  studio().FindInstrument("k4")->SetPatchBay(kPatchBayOn, 3, 0, 5, "");
  const auto before = Names();
  EXPECT_TRUE(parts().files.OpenFile(Package("kawai-k4"), 0)) << LogText();
  EXPECT_EQ(Names(), before) << "read anew in its place";
  EXPECT_EQ(studio().FindInstrument("k4")->patchBayRevertPatch, 5);
  // One that is not in the studio is added.
  ASSERT_TRUE(studio().RemoveInstrumentUsingFilename("Kawai K4.ini"));
  EXPECT_TRUE(DropFiles(&frame(), {Package("kawai-k4")}));
  EXPECT_EQ(studio().instruments().size(), count);
  EXPECT_EQ(window()->CurrentNode()->name, "Kawai K4");
  // Damaged.
  ASSERT_TRUE(WriteFileAtomically(Path("bad.pvz"), std::string_view("PVZ \1\0\0\0\3a/b", 12)).ok());
  EXPECT_FALSE(parts().files.OpenFile(Path("bad.pvz"), 0));
  EXPECT_NE(LogText().find("File Read Error"), std::string::npos) << LogText();
}

TEST_F(StudioTest, AnotherModuleLosesItsPlaceOnlyAfterAQuestionThatNamesIt) {
  Start({"ok", "cancel", "ok", "ok"});
  ASSERT_TRUE(WritePackage(BuiltModule("Evil", 900, 1, 1, "yamaha dx7"), Path("evil.pvz")).ok());
  const fs::path folder = studio().paths().instruments;
  const std::size_t count = studio().instruments().size();
  EXPECT_FALSE(parts().files.OpenFile(Path("evil.pvz"), 0));
  const auto inFolder = std::distance(fs::directory_iterator(folder / "Yamaha DX7"), fs::directory_iterator());
  const std::string files = " " + std::to_string(inFolder) + " files";
  for (const std::string& part : {std::string("Replace Another Module"), std::string("\"Yamaha DX7\""), files,
                                  std::string("version 1"), std::string(".trash")})
    EXPECT_NE(LogText().find(part), std::string::npos) << part << "\n" << LogText();
  EXPECT_EQ(studio().instruments().size(), count);
  EXPECT_TRUE(fs::exists(folder / "Yamaha DX7.ini"));
  EXPECT_TRUE(parts().files.OpenFile(Path("evil.pvz"), 0)) << LogText();
  EXPECT_EQ(studio().instruments().size(), count) << "one left, one came";
  EXPECT_NE(studio().FindInstrument("Evil"), nullptr);
  EXPECT_FALSE(fs::exists(folder / "Yamaha DX7.ini"));
  EXPECT_TRUE(fs::exists(folder / ".trash/Yamaha DX7"));
  Stop();
  Start();
  const auto names = Names();
  EXPECT_EQ(std::count(names.begin(), names.end(), "Yamaha DX7"), 0) << "the next start keeps the choice";
  EXPECT_FALSE(fs::exists(folder / "Yamaha DX7.ini"));
}

TEST_F(StudioTest, AStartRestoresDamagedFilesOfShippedModulesAndSaysSo) {
  Start();
  const fs::path ini = studio().paths().instruments / "Yamaha DX7.ini";
  std::string good;
  ASSERT_TRUE(ReadWholeFile(ini.string(), good).ok());
  Stop();
  ASSERT_TRUE(WriteFileAtomically(ini.string(), std::string_view("junk")).ok());
  Start();
  EXPECT_NE(frame().statusBar()->currentMessage().indexOf("Yamaha DX7.ini.broken"), -1)
      << frame().statusBar()->currentMessage().toStdString();
  std::string now, kept;
  ASSERT_TRUE(ReadWholeFile(ini.string(), now).ok());
  ASSERT_TRUE(ReadWholeFile(ini.string() + ".broken", kept).ok());
  EXPECT_EQ(now, good);
  EXPECT_EQ(kept, "junk");
}

TEST_F(StudioTest, DeletedModulesGoToTheTrash) {
  Start({"ok"});
  Choose("k4");
  window()->DeleteModuleOfCurrent();
  EXPECT_EQ(studio().FindInstrument("k4"), nullptr);
  const fs::path instruments = studio().paths().instruments;
  EXPECT_FALSE(fs::exists(instruments / "Kawai K4.ini"));
  EXPECT_TRUE(fs::exists(instruments / ".trash/Kawai K4"));
}

TEST_F(StudioTest, PackagesOfAFolder) {
  Start({"yes", "no"});
  fs::create_directories(Path("packages"));
  for (const char* name : {"kawai-k4", "yamaha-dx7"})
    fs::copy_file(Package(name), Path(std::string("packages/") + name + ".pvz"));
  fs::copy_file(Package("kawai-k4"), Path("packages/ZK.pvz"));
  InstallFromDlg dialog(Path("packages"));
  dialog.show();
  KeepScreenshot(&dialog, "install-from-folder");
  auto* list = dialog.findChild<QListWidget*>();
  ASSERT_EQ(list->count(), 2) << "one named ZK is left out";
  EXPECT_TRUE(dialog.Chosen().empty());
  list->item(1)->setCheckState(Qt::Checked);
  EXPECT_EQ(dialog.Chosen(), std::vector<std::string>{Path("packages/yamaha-dx7.pvz")});
  dialog.SetFolder(Path("nothing here"));
  EXPECT_EQ(list->count(), 0);
}

TEST_F(StudioTest, ModulesOfAServer) {
  FtpServerProcess ftp(FolderOf(Package("kawai-k4")));
  if (!ftp.running()) GTEST_SKIP() << "no FTP server to test with";
  Start({"ok"});
  std::vector<std::string> sources;
  InstallFromWebDlg dialog(studio(), parts().studio, [&](const fs::path& package, const std::string& source, bool) {
    sources.push_back(source);
    return window()->InstallInstrumentModule(package.string(), true, source);
  });
  dialog.show();
  EXPECT_NE(dialog.status().indexOf("No module server is set up"), -1);
  EXPECT_FALSE(dialog.findChildren<QPushButton*>()[0]->isEnabled());
  dialog.findChildren<QLineEdit*>()[0]->setText(QString::fromStdString(ftp.site()));
  dialog.Connect();
  ASSERT_TRUE(WaitFor([&] { return !dialog.Busy(); }, 10000));
  ASSERT_GE(dialog.list()->count(), 8) << dialog.status().toStdString();
  for (int i = 0; i < dialog.list()->count(); ++i) {
    if (dialog.list()->item(i)->text() == "kawai-k4.pvz") dialog.list()->item(i)->setCheckState(Qt::Checked);
  }
  KeepScreenshot(&dialog, "install-from-web");
  dialog.InstallChosen();
  ASSERT_TRUE(WaitFor([&] { return !dialog.Busy(); }, 10000));
  EXPECT_EQ(sources, std::vector<std::string>{ftp.site() + "/kawai-k4.pvz"});
  EXPECT_EQ(dialog.status(), "Done.");
  dialog.findChildren<QLineEdit*>()[1]->setText("nowhere");
  dialog.Connect();
  ASSERT_TRUE(WaitFor([&] { return !dialog.Busy(); }, 10000));
  EXPECT_NE(LogText().find("Failed to set directory"), std::string::npos) << LogText();
}

TEST_F(StudioTest, APasswordIsSentInPlainTextOnlyAfterAQuestion) {
  FtpServerProcess ftp(std::vector<std::string>{"hostile_ftp.py", "plain", Path("commands")});
  if (!ftp.running()) GTEST_SKIP() << "no python to run a server with";
  Start({"cancel", "ok"});
  InstallFromWebDlg dialog(studio(), parts().studio, [](const fs::path&, const std::string&, bool) { return true; });
  dialog.show();
  const auto fields = dialog.findChildren<QLineEdit*>();
  fields[0]->setText(QString::fromStdString(ftp.site()));
  fields[2]->setText("me");
  fields[3]->setText("secret");
  for (const bool allowed : {false, true}) {
    dialog.Connect();
    ASSERT_TRUE(WaitFor([&] { return !dialog.Busy() && (!allowed || dialog.list()->count() > 0); }, 10000));
    std::string commands;
    ASSERT_TRUE(ReadWholeFile(Path("commands"), commands).ok());
    EXPECT_EQ(commands.find("PASS secret") != std::string::npos, allowed) << commands;
    EXPECT_EQ(dialog.list()->count(), allowed ? 1 : 0);
  }
  EXPECT_NE(LogText().find("Password in Plain Text"), std::string::npos);
  EXPECT_EQ(LogText().find("secret"), std::string::npos) << "a password is in no message";
}

TEST_F(StudioTest, ReportsAndListing) {
  Start({"file " + Path("report.txt"), "file " + Path("studio.pdf")});
  window()->OnSetupInformation();
  StudioReportWindow* report = nullptr;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (auto* found = qobject_cast<StudioReportWindow*>(widget)) report = found;
  }
  ASSERT_NE(report, nullptr);
  EXPECT_TRUE(report->text().startsWith("Studio Configuration\n"));
  KeepScreenshot(report, "studio-report");
  report->Save();
  EXPECT_TRUE(FileExists(Path("report.txt")));
  PrintStudioToPdf(studio(), parts().frame.prompts());
  std::string pdf;
  ASSERT_TRUE(ReadWholeFile(Path("studio.pdf"), pdf).ok()) << LogText();
  EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
  EXPECT_GT(pdf.size(), 3000u);
}

TEST_F(StudioTest, MissingPicturesAreToldAndDoWithout) {
  ScriptedPrompts prompts({});
  const auto pictures = StudioPictures::doInitBitmap(Path("nowhere"), prompts);
  ASSERT_EQ(prompts.Log().size(), 3U) << "not a box for every picture";
  EXPECT_NE(prompts.Log()[0].find("Warning! " + Path("nowhere/ZKBmp/ButtonBars/Studio/Studio_Background.png") +
                                  " not found!\\nPlease reinstall application"),
            std::string::npos)
      << prompts.Log()[0];
  EXPECT_TRUE(pictures.Button("Add").isNull());
}

// From an empty studio to the first sounds, by keys alone: two instruments are chosen, one of them is switched off.
TEST_F(StudioTest, TheFirstStepsFindWhatIsChosenAndGetIt) {
  Start({"yes"});
  studio().DeleteAllDrivers();
  window()->Refresh();
  program_->simulation()->SetPlugged(program_->simulation()->studio().Find("Simulated Roland D-50"), false);
  frame().RunCommand(CommandId::HelpContents);
  auto* page = frame().findChild<FirstStartPage*>();
  ASSERT_NE(page, nullptr) << "it was not shown by itself: a script answers the questions";
  ASSERT_TRUE(MakeActive(page));
  EXPECT_TRUE(page->choice().Chosen().empty());
  EXPECT_FALSE(page->nextButton()->isEnabled());
  for (const char* name : {"dx7 yamaha", "D-50"}) {
    TypeText(page->choice().search(), name);
    PressKey(page->choice().search(), Qt::Key_Return);
  }
  KeepScreenshot(page, "first-steps-1");
  EXPECT_EQ(page->choice().Chosen().size(), 2U);
  ClickMouse(page->nextButton());
  EXPECT_EQ(Names().size(), 2U);
  InstrumentSearch& search = page->search().search();
  EXPECT_TRUE(search.Running());
  ASSERT_TRUE(WaitFor([&] { return search.Found() == 1; }, 60000));
  KeepScreenshot(page, "first-steps-2");
  ClickMouse(page->nextButton());
  ASSERT_TRUE(WaitFor([&] { return !search.Running(); }, 60000));
  const ZKDrvList* dx7 = studio().FindInstrument("Yamaha DX7");
  EXPECT_NE(dx7->outPortName.find("Yamaha DX7"), std::string::npos);
  ASSERT_NE(page->types().currentItem(), nullptr);
  EXPECT_EQ(page->types().currentItem()->parent()->text(0), "Yamaha DX7") << "what was found comes first";
  KeepScreenshot(page, "first-steps-3");
  PressKey(&page->types(), Qt::Key_Return);
  auto* bank = qobject_cast<TZKBank*>(frame().ActiveChild());
  ASSERT_NE(bank, nullptr);
  EXPECT_TRUE(Idle(bank, 20000));
}

TEST_F(StudioTest, WhatIsConnectedAddsWhatIsNotInTheStudio) {
  Start();
  // Everything but one instrument is unplugged, and that one is not in the studio.
  auto& simulation = *program_->simulation();
  const std::size_t k4 = simulation.studio().Find("Simulated Kawai K4");
  for (std::size_t i = 0; i < simulation.studio().Count(); ++i) simulation.SetPlugged(i, i == k4);
  studio().DeleteAllDrivers();
  frame().RunCommand(CommandId::MidiWhatIsConnected);
  auto* dialog = frame().findChild<ConnectedDialog*>();
  ASSERT_NE(dialog, nullptr);
  InstrumentSearch& search = dialog->rows().search();
  EXPECT_GT(search.rows().size(), 8U);
  ASSERT_TRUE(WaitFor([&] { return search.Found() == 1; }, 240000));
  KeepScreenshot(dialog, "what-is-connected");
  EXPECT_EQ(Names(), std::vector<std::string>{"Kawai K4"});
  search.Stop();
  ASSERT_TRUE(WaitFor([&] { return !search.Running(); }, 240000));
  EXPECT_EQ(Names(), std::vector<std::string>{"Kawai K4"});
}

TEST_F(StudioTest, SearchingTakesWordsInAnyOrderAndSaysWhenNothingFits) {
  Start();
  window()->ShowPanels(false);
  const struct {
    const char* words;
    int least, most;
  } cases[] = {{"DX7 voice", 1, 8}, {"voice dx7", 1, 8}, {"kawai", 1, 6}, {"zzz", 0, 0}, {"", -1, -1}};
  for (const auto& one : cases) {
    window()->search()->setText(one.words);
    EXPECT_GE(window()->search()->Hits(), one.least) << one.words;
    EXPECT_LE(window()->search()->Hits(), one.most) << one.words;
    EXPECT_EQ(window()->tree()->isVisible(), one.most != 0) << one.words;
  }
  window()->search()->setText("DX7 voice");
  PressKey(window()->search(), Qt::Key_Down);
  EXPECT_TRUE(window()->tree()->hasFocus());
  const ZKDrvList* driver = window()->CurrentNode();
  ASSERT_NE(driver, nullptr);
  EXPECT_FALSE(driver->IsInstrument()) << "the first find can be got at once";
  EXPECT_TRUE(window()->CommandEnabled(CommandId::MidiGet));
  TZKDrvLst* narrow = window();
  narrow->search()->clear();
  narrow->resize(200, 500);
  PressShortcut(narrow->tree(), Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(narrow->search()->hasFocus()) << "also where there is little place";
}

TEST_F(StudioTest, OpenDocumentsStandUnderTheirKindOfData) {
  Start();
  window()->ShowPanels(false);
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_NE(bank, nullptr);
  TZKDrvLst* shown = parts().studio.window();
  ZKStudioTree* tree = shown->tree();
  const ZKDrvList* driver = studio().FindDriver("Yamaha DX7", "Voice Bank");
  // Rows are made anew while the studio changes.
  const auto row = [&] {
    QTreeWidgetItemIterator it(tree);
    while (*it && tree->NodeOf(*it) != driver) ++it;
    return *it;
  };
  const auto count = [&] { return row() ? row()->childCount() : -1; };
  ASSERT_TRUE(WaitFor([&] { return count() == 1; })) << count();
  ASSERT_TRUE(bank->document().Rename(0, "CHANGED").ok());
  ASSERT_TRUE(WaitFor([&] {
    return count() == 1 &&
           row()->child(0)->data(0, Qt::AccessibleTextRole).toString().contains(MarkText(Mark::Changed));
  }));
  tree->setCurrentItem(row()->child(0));
  EXPECT_EQ(shown->CurrentNode(), driver);
  PressKey(tree, Qt::Key_Return);
  EXPECT_EQ(frame().ActiveChild(), bank);
  KeepScreenshot(&frame(), "studio-open-documents");
  bank->CloseVerified();
  ASSERT_TRUE(WaitFor([&] { return count() == 0; })) << count();

  // A Set stands behind the kinds of data of its instrument.
  const int kinds = row()->parent()->childCount();
  TZKGrp* set = parts().sets.OpenNew(*driver->instrument);
  ASSERT_NE(set, nullptr);
  const auto behind = [&] { return row()->parent()->childCount() > kinds ? row()->parent()->child(kinds) : nullptr; };
  ASSERT_TRUE(WaitFor([&] { return behind() != nullptr; }));
  EXPECT_EQ(behind()->text(0), set->ShownName());
  EXPECT_EQ(tree->NodeOf(behind()), nullptr);
  tree->setCurrentItem(behind());
  EXPECT_EQ(shown->CurrentNode(), driver->instrument) << "what commands are about";
  shown->search()->setText("new yamaha set");
  EXPECT_FALSE(behind()->isHidden());
  shown->search()->clear();
  KeepScreenshot(&frame(), "studio-open-set");
  set->CloseVerified();
  ASSERT_TRUE(WaitFor([&] { return behind() == nullptr; }));
}

}  // namespace
}  // namespace tonalith
