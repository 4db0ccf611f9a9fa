// Transfers that somebody ends in their middle: by OK, by a quit, or by an answer to a question.
#include <QLabel>
#include <QPushButton>
#include <algorithm>

#include "data/container.h"
#include "midi/midi_output.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

class TransferEnds : public ProgramFixture {
 protected:
  // A cable of its own, whose far end notes what comes.
  int Plug(const std::string& name, std::vector<std::string> otherWriters = {}) {
    VirtualCableOptions options;
    options.bytesPerSecond = 3125;
    options.otherWriters = std::move(otherWriters);
    line_ = program_->simulation()->backend()->CreateEndpoint(name, options);
    line_->SetReceiver([this](std::span<const std::uint8_t> bytes, std::int64_t) {
      const std::lock_guard lock(mutex_);
      heard_.insert(heard_.end(), bytes.begin(), bytes.end());
    });
    MidiOut& out = program_->basics()->midi().out();
    EXPECT_TRUE(WaitFor([&] { return out.FindPort(name) >= 0; }, 5000));
    return out.FindPort(name);
  }
  Bytes Heard() {
    const std::lock_guard lock(mutex_);
    return heard_;
  }
  void TearDown() override {
    if (line_) line_->SetReceiver(nullptr);
    ProgramFixture::TearDown();
  }
  static void Click(QWidget* window, const QString& text) {
    for (auto* button : window->findChildren<QPushButton*>())
      if (button->text() == text) return ClickMouse(button);
    ADD_FAILURE() << text.toStdString();
  }

 private:
  std::shared_ptr<VirtualEndpoint> line_;
  std::mutex mutex_;
  Bytes heard_;
};

TEST_F(TransferEnds, OkKeepsWhatCameOfABank) {
  Start({"ok"}, {});
  TZKBank* bank = Open("Korg DW-8000", "Program Bank", false);
  frame().RunCommand(CommandId::MidiGet);
  const auto transfer = [&] { return program_->basics()->transfers().TransferOf(bank->dataFile()); };
  ASSERT_TRUE(WaitFor([&] { return transfer() && transfer()->WindowState().patchesDone >= 5; }, 10000));
  ASSERT_TRUE(parts().transfers.receiveWindow()->ShowPage(transfer()));
  Click(parts().transfers.receiveWindow(), kOkButton);
  ASSERT_TRUE(Idle(bank, 3000));
  const DataFile& data = *bank->dataFile();
  int came = 0;
  for (std::uint32_t i = 0; i < data.synth->numVoices; ++i) came += MapBit(data.emptyMap, data.emptyMapSize, i) ? 0 : 1;
  EXPECT_GE(came, 5);
  EXPECT_LT(came, 64);
  EXPECT_TRUE(bank->document().IsModified());
  const std::string sentence = std::to_string(came) + " of 64 patches of Korg DW-8000 Program Bank were received";
  EXPECT_TRUE(WaitFor([&] { return LogText().find(sentence) != std::string::npos; })) << LogText();
  const auto labels = bank->findChildren<QLabel*>();
  const QString counted = QString("%1 of 64 patches").arg(came);
  EXPECT_TRUE(
      std::any_of(labels.begin(), labels.end(), [&](QLabel* label) { return label->text().contains(counted); }));
  ASSERT_TRUE(bank->document().Undo().ok());
  for (int i = 0; i < 64; ++i) EXPECT_FALSE(bank->document().IsPatchDefined(i)) << i;
}

TEST_F(TransferEnds, AQuitInTheMiddleOfASend) {
  Start({"no", "yes"});
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(bank, 6000));
  ASSERT_TRUE(bank->document().Save(Path("bank.dat")).ok());
  ASSERT_TRUE(bank->document().Rename(0, "KEPT").ok());
  const DataFile& data = *bank->dataFile();
  const Bytes image(data.body, data.body + data.bodySize);
  Bytes dump(9000, 0x11);
  dump.front() = 0xF0;
  dump.back() = 0xF7;
  ASSERT_TRUE(WriteFileAtomically(Path("long.syx"), dump).ok());
  ASSERT_TRUE(parts().transfers.files().MidiXTransmit(Path("long.syx"), Plug("Line") + 1));
  ASSERT_TRUE(WaitFor([&] { return Heard().size() > 300; })) << LogText();
  EXPECT_TRUE(frame().close()) << LogText();
  const Bytes heard = Heard();
  EXPECT_LT(heard.size(), 4000U);
  EXPECT_EQ(heard.front(), 0xF0);
  EXPECT_EQ(heard.back(), 0xF7) << "the instrument is not left receiving";
  EXPECT_EQ(program_->PromptLog().size(), 2U) << LogText();
  Stop();
  std::unique_ptr<ZKBankDoc> saved;
  ASSERT_TRUE(ZKBankDoc::Open(Path("bank.dat"), &saved).ok());
  EXPECT_EQ(Bytes(saved->dataFile()->body, saved->dataFile()->body + saved->dataFile()->bodySize), image);
}

TEST_F(TransferEnds, OtherProgramsOnTheLineAreAskedAbout) {
  Start({"no", "ok", "yes"});
  const int port = Plug("Shared", {"Ardour"});
  Bytes bytes(4000, 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  ASSERT_TRUE(WriteFileAtomically(Path("long.syx"), bytes).ok());
  TransferFiles& files = parts().transfers.files();
  files.MidiXTransmit(Path("long.syx"), port + 1);
  EXPECT_NE(LogText().find("\"Ardour\" is connected to the MIDI OUT port \"Shared\" as well"), std::string::npos)
      << LogText();
  EXPECT_NE(LogText().find("Send anyway?"), std::string::npos);
  Settle();
  EXPECT_TRUE(Heard().empty()) << "No sends nothing";
  files.MidiXTransmit(Path("long.syx"), port + 1);
  EXPECT_TRUE(WaitFor([&] { return Heard() == bytes; }, 5000)) << Heard().size() << LogText();
}

}  // namespace
}  // namespace tonalith
