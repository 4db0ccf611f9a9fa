#include "app/autosave.h"

#include <sys/wait.h>
#include <unistd.h>

#include <QStatusBar>
#include <filesystem>
#include <fstream>

#include "app/document_windows.h"
#include "document/recovery.h"
#include "services/paths.h"
#include "services/settings.h"
#include "tools/raw_sysex_document.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

class AutosaveTest : public ProgramFixture {
 protected:
  std::string Folder() const { return program_->basics()->paths().MainGetApplicationSupportPath() + "/Recovery"; }
  std::size_t Kept() const {
    std::size_t count = 0;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(Folder(), error)) count += entry.path().extension() == ".autosave";
    return count;
  }
  void Look() {
    parts().autosave.Look(Autosave::kInterval);
    parts().autosave.folder().FinishAll();
  }
  static std::string NameIn(const std::string& file) {
    std::unique_ptr<ZKBankDoc> read;
    EXPECT_TRUE(ZKBankDoc::Open(file, &read).ok()) << file;
    return read ? read->GetPatchName(0) : std::string();
  }
  // A voice in a window, saved as `file` (empty: not saved), then renamed.
  TZKBank* Voice(const std::string& file, const char* name) {
    TZKBank* bank = Open("Yamaha DX7", "Voice", true);
    const bool saved = file.empty() || bank->document().Save(Path(file)).ok();
    EXPECT_TRUE(saved);
    EXPECT_TRUE(bank->document().Rename(0, name).ok());
    return bank;
  }
  // Puts what is kept away and back around the end of the program: a program that is killed removes nothing.
  void Die(const char* moment) {
    parts().autosave.folder().FinishAll();
    const std::string folder = Folder();
    const std::string desktop = program_->basics()->paths().DefaultDesktopFile();
    const std::string aside = Path(std::string("killed-") + moment);
    fs::copy(folder, aside, fs::copy_options::recursive);
    Stop();
    fs::remove(desktop);
    for (const auto& entry : fs::directory_iterator(aside))
      fs::copy(entry.path(), folder, fs::copy_options::overwrite_existing);
  }
  std::vector<TZKBank*> Banks() {
    std::vector<TZKBank*> banks;
    for (ZKWindow* child : frame().Children()) {
      if (auto* bank = qobject_cast<TZKBank*>(child)) banks.push_back(bank);
    }
    return banks;
  }
  bool Asked(const std::string& part) const { return LogText().find(part) != std::string::npos; }
};

TEST_F(AutosaveTest, EditsAreKeptByThemselvesUntilTheyAreSafe) {
  Start({"no"});
  TZKBank* bank = Voice("one.dat", "EDITED");
  EXPECT_EQ(Kept(), 0U);
  EXPECT_TRUE(WaitFor([this] { return Kept() == 1; }, 10000)) << "within ten seconds, unasked";
  ASSERT_TRUE(bank->document().Undo().ok());
  Look();
  EXPECT_EQ(Kept(), 0U) << "the file holds it again";
  ASSERT_TRUE(bank->document().Redo().ok());
  Look();
  EXPECT_EQ(Kept(), 1U);
  bank->document().RemoveAutosave();
  bank->document().SetBusy(true);
  Look();
  EXPECT_EQ(Kept(), 0U) << "data that a transfer works on is left for later";
  bank->document().SetBusy(false);
  Look();
  EXPECT_EQ(Kept(), 1U);
  bank->CloseVerified();
  ASSERT_TRUE(WaitFor([this] { return Banks().empty(); }));
  EXPECT_TRUE(WaitFor([this] { return Kept() == 0; })) << "the user did not want it";
}

TEST_F(AutosaveTest, WhatAKilledProgramHadIsOffered) {
  Start();
  Voice("one.dat", "FIRST");
  Voice("gone.dat", "SECOND");
  Voice("", "NOFILE");
  Look();
  ASSERT_EQ(Kept(), 3U);
  Die("first");
  fs::remove(Path("gone.dat"));

  // Closing the question is Later.
  Start({"cancel"});
  EXPECT_EQ(Kept(), 3U);
  EXPECT_TRUE(Banks().empty());
  EXPECT_TRUE(Asked("Yamaha DX7 Voice")) << LogText();
  EXPECT_TRUE(Asked(Path("one.dat") + "\\n"));
  EXPECT_TRUE(Asked(Path("gone.dat") + "\\n    This file is not there any more."));
  EXPECT_TRUE(Asked("never saved to a file"));
  EXPECT_TRUE(Asked("Later keeps them until the next start."));
  // A second session on the same file is killed, too.
  ASSERT_TRUE(parts().files.OpenFile(Path("one.dat"), 0));
  ASSERT_EQ(Banks().size(), 1U);
  ASSERT_TRUE(Banks()[0]->document().Rename(0, "NEWER").ok());
  Look();
  Die("second");
  std::ofstream(Path("one.dat"), std::ios::app) << ' ';

  Start({"yes"});
  EXPECT_TRUE(Asked("was changed since")) << LogText();
  const auto banks = Banks();
  ASSERT_EQ(banks.size(), 4U);
  std::map<std::string, std::string> found;
  for (TZKBank* bank : banks) {
    EXPECT_TRUE(bank->document().IsModified());
    found[bank->document().GetPatchName(0)] = bank->document().path();
  }
  EXPECT_EQ(found, (std::map<std::string, std::string>{
                       {"FIRST", ""}, {"SECOND", Path("gone.dat")}, {"NOFILE", ""}, {"NEWER", Path("one.dat")}}))
      << "two windows never have the same file";
  EXPECT_EQ(parts().documents.WindowOf(Path("one.dat"))->document().Save().code, kDocumentFileChanged);
  EXPECT_EQ(Kept(), 4U) << "what is open again is kept by this program";
  Die("third");
  Start({"no"});
  EXPECT_EQ(Kept(), 0U);
  Stop();
  Start();
  EXPECT_EQ(LogText(), "") << "nothing is left to ask about";
}

// A Get is kept patch by patch while it runs; when it has ended, in whatever way, only its document is.
TEST_F(AutosaveTest, WhatAKilledGetHadBroughtIsOffered) {
  Start({}, {});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(WaitFor([this] { return Kept() == 1; }, 5000));
  bank->CancelTransfer();
  ASSERT_TRUE(Idle(bank));
  EXPECT_TRUE(WaitFor([this] { return Kept() == 0; })) << "the user did not want it";

  frame().RunCommand(CommandId::MidiGet);
  const auto done = [&] {
    const auto transfer = program_->basics()->transfers().TransferOf(bank->dataFile());
    return transfer ? transfer->WindowState().patchesDone : 0;
  };
  ASSERT_TRUE(WaitFor([&] { return done() >= 5 && Kept() == 1; }, 10000));
  Die("get");
  Start({"yes"});
  EXPECT_TRUE(Asked("Korg DW-8000 Program Bank (")) << LogText();
  EXPECT_TRUE(Asked(" of 64 patches received)"));
  ASSERT_EQ(Banks().size(), 1U) << LogText();
  const DataFile& data = *Banks()[0]->dataFile();
  int came = 0;
  for (std::uint32_t i = 0; i < data.synth->numVoices; ++i) came += MapBit(data.emptyMap, data.emptyMapSize, i) ? 0 : 1;
  EXPECT_GE(came, 1);
  EXPECT_LT(came, 64) << "places that did not come hold nothing";
  EXPECT_EQ(data.body[0], 0xF0);
  EXPECT_TRUE(Banks()[0]->document().IsModified());
}

TEST_F(AutosaveTest, RecoveredDataTakesThePlaceOfTheFileThatTheDesktopOpens) {
  Start();
  Voice("one.dat", "EDITED");
  Look();
  ASSERT_TRUE(parts().desktops.SaveWorkspace(program_->basics()->paths().DefaultDesktopFile()));
  const std::string desktop = program_->basics()->paths().DefaultDesktopFile();
  fs::copy_file(desktop, Path("desktop"));
  Die("now");
  fs::copy_file(Path("desktop"), desktop, fs::copy_options::overwrite_existing);
  Start({"yes"});
  EXPECT_TRUE(WaitFor([this] { return Banks().size() == 1; }));
  ASSERT_NE(parts().documents.WindowOf(Path("one.dat")), nullptr);
  EXPECT_TRUE(parts().documents.WindowOf(Path("one.dat"))->document().IsModified());
  EXPECT_EQ(Banks()[0]->document().GetPatchName(0), "EDITED");
  EXPECT_EQ(program_->PromptLog().size(), 1U) << LogText();
}

TEST_F(AutosaveTest, WhatAProgramWithoutADisplayHadIsOffered) {
  Start();
  EXPECT_EQ(program_->KeepUnsaved(), "");
  Voice({}, "UNSEEN");
  EXPECT_EQ(program_->KeepUnsaved(), "Unsaved changes are kept; the next start offers them.");
  EXPECT_EQ(Kept(), 1U);
  Die("display");
  Start({"yes"});
  ASSERT_EQ(Banks().size(), 1U) << LogText();
  EXPECT_EQ(Banks()[0]->document().GetPatchName(0), "UNSEEN");
}

TEST_F(AutosaveTest, TheEndOfTheSessionAsksNothingAndTheNextStartOffers) {
  Start();
  Voice("", "RESCUED");
  program_->EndQuietly();
  EXPECT_EQ(LogText(), "");
  Stop();
  Start({"yes"});
  ASSERT_EQ(Banks().size(), 1U) << LogText();
  EXPECT_EQ(Banks()[0]->document().GetPatchName(0), "RESCUED");
}

TEST_F(AutosaveTest, FilesAreSavedEverySoManyMinutesWhenThePreferencesSaySo) {
  Start();
  TZKBank* saved = Voice("one.dat", "ONE");
  TZKBank* elsewhere = Voice("two.dat", "TWO");
  TZKBank* unnamed = Voice("", "THREE");
  std::ofstream(Path("two.dat"), std::ios::app) << ' ';
  using std::chrono::minutes;
  const auto after = [&](int passed) {
    parts().autosave.Look(minutes(passed));
    parts().autosave.folder().FinishAll();
  };
  after(255);
  EXPECT_TRUE(saved->document().IsModified()) << "off: only the user saves";
  Settings& settings = program_->program()->settings();
  settings.MainAutoSave(1);
  settings.MainAutoSaveMinutes(7);
  after(0);
  ASSERT_FALSE(saved->document().IsModified());
  ASSERT_TRUE(saved->document().Rename(0, "AGAIN").ok());
  after(6);
  EXPECT_TRUE(saved->document().IsModified());
  after(1);
  EXPECT_FALSE(saved->document().IsModified());
  EXPECT_EQ(NameIn(Path("one.dat")), "AGAIN");
  EXPECT_TRUE(elsewhere->document().IsModified()) << "a file that somebody else changed needs the user";
  EXPECT_TRUE(unnamed->document().IsModified());
  EXPECT_TRUE(frame().statusBar()->currentMessage().contains(QStringLiteral("changed by somebody else")));
  EXPECT_EQ(Kept(), 2U);
  EXPECT_EQ(LogText(), "");
}

}  // namespace
}  // namespace tonalith
