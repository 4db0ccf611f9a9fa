// Files of SysEx as windows show them.

#include <QStatusBar>
#include <QTableView>
#include <QToolButton>

#include "app/child_windows.h"
#include "app/recognised_files.h"
#include "data/container.h"
#include "data/patch_names.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "script/render_transmission.h"
#include "studio/studio_document.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/instrument_window.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

class OpeningTest : public ProgramFixture {
 protected:
  void Write(const std::string& name, const Bytes& bytes) {
    ASSERT_TRUE(WriteFileAtomically(Path(name), std::span<const std::uint8_t>(bytes)).ok());
  }
  ZKDrvList* Driver(const char* instrument, const char* type) {
    return parts().frame.studio.FindDriver(instrument, type);
  }
  // What the data of so many patches sends, each with a name of its own.
  Bytes Patches(const char* instrument, const char* type, int count) {
    Bytes all;
    for (int i = 0; i < count; ++i) {
      const DataFilePtr data = parts().frame.studio.GetNewDataFile(Driver(instrument, type));
      data->xtra->hasNoSysEx = 0;
      SetPatchName(data.get(), 0, "P" + std::to_string(i));
      ScriptedPrompts prompts{{}};
      const Bytes sent = RenderTransmission(*data, prompts).stream;
      all.insert(all.end(), sent.begin(), sent.end());
    }
    return all;
  }
  template <typename Window>
  std::vector<Window*> Windows() {
    std::vector<Window*> windows;
    for (ZKWindow* child : frame().Children())
      if (auto* window = qobject_cast<Window*>(child)) windows.push_back(window);
    return windows;
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (TZKBank* window : Windows<TZKBank>()) {
      const auto& bank = static_cast<const ZKBankDoc&>(window->document());
      for (int i = 0; i < bank.PatchCount(); ++i)
        if (bank.IsPatchDefined(i)) names.push_back(bank.GetPatchName(i).substr(0, 5));
    }
    for (std::string& name : names) name.erase(name.find_last_not_of(' ') + 1);
    return names;
  }
  std::string Status() { return frame().statusBar()->currentMessage().toStdString(); }
};

std::vector<std::string> FirstNames(int count) {
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back("P" + std::to_string(i));
  return names;
}

}  // namespace

TEST_F(OpeningTest, WhatNobodyKnowsIsShownAsItIs) {
  Start();
  // As long as the voice of an instrument in the studio, and that driver is selected.
  const ZKDrvList* voice = Driver("tx81z", "Voice");
  ASSERT_NE(voice, nullptr);
  Bytes foreign(voice->synth()->fileSize, 0x11);
  const Bytes head = {0xF0, 0x00, 0x20, 0x29, 0x01, 0x01};
  std::copy(head.begin(), head.end(), foreign.begin());
  foreign.back() = 0xF7;
  Write("foreign.syx", foreign);
  Write("foreign.mid", WriteSmfSysEx(std::vector<SmfMessage>{{foreign, 0}}));
  parts().studio.Show()->Select(voice->moduleFile);
  ASSERT_TRUE(parts().files.OpenFile(Path("foreign.syx"), 0)) << LogText();
  EXPECT_EQ(Windows<RawSysExWindow>().size(), 1u);
  EXPECT_TRUE(Windows<InstrumentWindow>().empty());
  EXPECT_TRUE(program_->PromptLog().empty()) << LogText();
  EXPECT_FALSE(parts().files.OpenFile(Path("foreign.mid"), 0));
  EXPECT_NE(LogText().find("None of the studio's instruments knows this data."), std::string::npos);
}

TEST_F(OpeningTest, WindowsCarryTheNameOfTheFileButNeverWriteIt) {
  Start({"file ", "file " + Path("kept.DAT")});
  const Bytes bytes = Patches("k4", "Single", 1);
  Write("B\xC3\xA4nke.syx", bytes);
  ASSERT_TRUE(parts().files.OpenFile(Path("B\xC3\xA4nke.syx"), 0));
  ASSERT_EQ(Windows<TZKBank>().size(), 1u);
  TZKBank* window = Windows<TZKBank>().front();
  EXPECT_EQ(window->windowTitle().toStdString(), "Kawai K4 Single: B\xC3\xA4nke.syx[*]");
  EXPECT_FALSE(window->document().IsModified());
  EXPECT_TRUE(window->document().path().empty());
  // Cancelled, then saved: the file it came from stays what it is.
  frame().RunCommand(CommandId::FileSave);
  frame().RunCommand(CommandId::FileSave);
  EXPECT_NE(LogText().find("B\xC3\xA4nke."), std::string::npos) << LogText();
  Bytes after, saved;
  ASSERT_TRUE(ReadWholeFile(Path("B\xC3\xA4nke.syx"), after).ok());
  EXPECT_EQ(after, bytes);
  ASSERT_TRUE(ReadWholeFile(Path("kept.DAT"), saved).ok());
  EXPECT_TRUE(LooksLikeDataFile(saved));
  EXPECT_EQ(window->windowTitle().toStdString(), "Kawai K4 Single: kept.DAT[*]");
}

TEST_F(OpeningTest, ManyPatchesAreBanksInTheOrderOfTheFile) {
  Start();
  Write("many.syx", Patches("k4", "Single", 200));
  ASSERT_TRUE(parts().files.OpenFile(Path("many.syx"), 0));
  EXPECT_EQ(Windows<TZKBank>().size(), 4u);
  EXPECT_TRUE(Windows<RawSysExWindow>().empty());
  EXPECT_EQ(Names(), FirstNames(200));
  int number = 0;
  for (TZKBank* window : Windows<TZKBank>()) {
    EXPECT_EQ(window->windowTitle().toStdString(),
              "Kawai K4 Single Bank: many " + std::to_string(++number) + ".syx[*]");
    EXPECT_FALSE(window->document().IsModified());
  }
  EXPECT_NE(Status().find("many.syx: 200 pieces of data in 4 windows"), std::string::npos) << Status();
}

// Voices that no bank keeps byte by byte are listed, all of them, and opened from there.
TEST_F(OpeningTest, WhatIsTooMuchForWindowsIsListed) {
  Start();
  const Bytes voices = Patches("tx81z", "Voice", 40);
  std::vector<SmfMessage> messages;
  for (const SysExPiece& piece : SplitSysEx(voices)) messages.push_back({{piece.bytes.begin(), piece.bytes.end()}, 10});
  Write("voices.syx", voices);
  Write("voices.mid", WriteSmfSysEx(messages));
  for (const char* name : {"voices.syx", "voices.mid"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(parts().files.OpenFile(Path(name), 0));
    ASSERT_EQ(Windows<RawSysExWindow>().size(), 1u);
    EXPECT_TRUE(Windows<TZKBank>().empty());
    EXPECT_NE(Status().find("40 pieces of data are listed"), std::string::npos) << Status();
    RawSysExWindow* list = Windows<RawSysExWindow>().front();
    EXPECT_NE(list->windowTitle().toStdString().find(name), std::string::npos);
    ASSERT_EQ(static_cast<std::size_t>(list->model()->rowCount()), messages.size());
    const QModelIndex holds = list->model()->index(79, RawSysExModel::kHolds);
    const std::string held = holds.data().toString().toStdString();
    EXPECT_EQ(held.rfind("Yamaha TX81Z Voice", 0), 0u) << held;
    EXPECT_NE(held.find("\"P39"), std::string::npos) << held;
    const auto opener = [&]() -> QToolButton* {
      for (auto* button : list->findChildren<QToolButton*>())
        if (button->accessibleName() == QStringLiteral("Open as Data")) return button;
      return nullptr;
    };
    ASSERT_NE(opener(), nullptr);
    opener()->click();
    EXPECT_NE(Status().find("No message is selected."), std::string::npos) << Status();
    KeepScreenshot(list, QStringLiteral("sysex_list"));
    // The last row is part of the last voice.
    emit list->list()->activated(list->model()->index(list->model()->rowCount() - 1, 0));
    EXPECT_EQ(Names(), std::vector<std::string>{"P39"});
    EXPECT_NE(Windows<TZKBank>().front()->windowTitle().toStdString().find(name), std::string::npos);
    list->list()->selectAll();
    opener()->click();
    EXPECT_NE(Status().find("These are 40 pieces of data; at most 16 are opened at a time."), std::string::npos)
        << Status();
    for (ZKWindow* child : frame().Children())
      if (qobject_cast<TZKBank*>(child) || qobject_cast<RawSysExWindow*>(child)) child->CloseVerified();
    ASSERT_TRUE(WaitFor([this] { return Windows<TZKBank>().empty() && Windows<RawSysExWindow>().empty(); }));
  }
}

}  // namespace tonalith
