#include <algorithm>

#include "simulator/instrument.h"
#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

class TransferCommands : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(home_.problem(), ""); }
  std::string Path(const std::string& name) const { return home_.Path(name); }
  CliOutput Ok(const std::vector<std::string>& args, const std::string& input = {}) const {
    const CliOutput output = home_.Run(args, input);
    EXPECT_EQ(output.status, 0) << args[0] << " " << args[1] << ": " << output.err;
    return output;
  }
  // A command that fails with a sentence that contains `part`.
  void Fails(const std::vector<std::string>& args, const std::string& part) const {
    const CliOutput output = home_.Run(args);
    EXPECT_EQ(output.status, 1) << args[0] << " " << args[1];
    EXPECT_NE(output.err.find(part), std::string::npos) << output.err;
  }

  // The last column of what `names` prints.
  static std::vector<std::string> NamesIn(const std::string& list) {
    std::vector<std::string> names;
    std::istringstream lines(list);
    for (std::string line; std::getline(lines, line);) names.push_back(line.substr(line.rfind('\t') + 1));
    return names;
  }

  const CliHome& home_ = CliHome::Instance();
};

struct TypeCase {
  const char* key;
  const char* instrument;  // as a user may write it
  const char* type;
  const char* area;  // of the panel that has its names
  int patches;
};

// Every kind of transfer: got, written in both forms, listed, changed, sent to another instrument and got from there.
TEST_F(TransferCommands, BanksOfAllInstrumentsThereAndBack) {
  const std::vector<TypeCase> cases = {
      {"yamaha-dx7", "dx7", "voice bank", "voices", 32},
      {"yamaha-tx81z", "TX81", "Voice Bank", "voices", 32},
      {"roland-d50", "d-50", "Patch Bank", "patches", 64},
      {"roland-jv1080", "jv", "PATCH BANK", "patches", 128},
      {"korg-m1", "m1", "program bank", "programs", 100},
      {"kawai-k4", "k4", "single bank", "singles", 64},
      {"oberheim-matrix1000", "matrix", "patch bank 0", "patches", 100},
  };
  for (const TypeCase& c : cases) {
    SCOPED_TRACE(c.key);
    const std::string data = Path(std::string(c.key) + ".dat"), raw = Path(std::string(c.key) + ".syx");
    const std::string state = Path("state.syx"), back = Path("back.dat");
    Ok({"receive", c.instrument, c.type, data, "--virtual", "factory"});
    Ok({"receive", c.instrument, c.type, raw, "--virtual", "factory"});
    const std::string names = Ok({"names", data}).out;
    EXPECT_EQ(Ok({"names", raw}).out, names);
    std::string problem;
    const auto simulated = SimulatedInstrument::Create(c.key, &problem);
    ASSERT_NE(simulated, nullptr) << problem;
    const auto panel = simulated->PanelList(c.area);
    EXPECT_EQ(NamesIn(names).size(), static_cast<std::size_t>(c.patches));
    ASSERT_GE(panel.size(), NamesIn(names).size());
    for (std::size_t i = 0; i < NamesIn(names).size(); ++i) EXPECT_EQ(NamesIn(names)[i], panel[i].name);

    Ok({"rename", data, "7", "ABC"});
    // As a MIDI file it is the same bank.
    Ok({"export", data, Path("bank.mid")});
    EXPECT_EQ(Ok({"names", Path("bank.mid")}).out, Ok({"names", data}).out);
    const CliOutput sent = Ok({"send", data, "--virtual", "factory", "--state", state});
    EXPECT_NE(sent.out.find(": sent\n"), std::string::npos);
    Ok({"receive", c.instrument, c.type, back, "--virtual", state});
    const std::string changed = Ok({"names", back}).out;
    EXPECT_NE(changed, names);
    EXPECT_EQ(changed, Ok({"names", data}).out);
    EXPECT_EQ(Ok({"identify", data}).out.find("bad"), std::string::npos);
    EXPECT_EQ(Ok({"identify", back}).out.find("bad"), std::string::npos);
  }
}

TEST_F(TransferCommands, CasioToneThereAndBack) {
  const std::string bank = Path("tones.syx"), tone = Path("tone.syx"), state = Path("tone-state.syx");
  Ok({"receive", "casio", "tone bank", bank, "--virtual", "factory"});
  const std::string third = ReadFileText(bank).substr(2 * 264, 264);
  WriteFileText(tone, third);
  EXPECT_EQ(Ok({"identify", tone}).out, "0\t264\tCasio CZ-101\tTone\tnone\n");
  Ok({"send", tone, "--virtual", "factory", "--state", state});
  Ok({"receive", "casio", "tone", tone, "--virtual", state});
  EXPECT_EQ(ReadFileText(tone).size(), 264U);
  EXPECT_EQ(ReadFileText(tone).substr(7), third.substr(7));
}

TEST_F(TransferCommands, ARenamedPatchReachesTheInstrument) {
  const std::string data = Path("renamed.dat"), state = Path("renamed-state.syx");
  Ok({"receive", "dx7", "voice bank", data, "--virtual", "factory"});
  const CliOutput nearest = Ok({"rename", data, "4", "Fl\u00FCgel"});
  EXPECT_EQ(nearest.out, "4\t 5\tFlugel\n");
  EXPECT_EQ(nearest.err, "tonalith-cli rename: The name was written as \"Flugel\": the instrument has no \u00FC.\n");
  EXPECT_EQ(Ok({"rename", data, "4", "WARM PAD"}).out, "4\t 5\tWARM PAD\n");
  EXPECT_NE(Ok({"identify", data}).out.find("\tok\n"), std::string::npos);
  Ok({"send", data, "--virtual", "factory", "--state", state});
  const std::string names = Ok({"names", state}).out;
  EXPECT_NE(names.find("\n4\t 5\tWARM PAD\n"), std::string::npos) << names;
  const std::string before = ReadFileText(data);
  Fails({"rename", data, "32", "X"}, "slots 0 to 31");
  Fails({"rename", data, "4", "TOO LONG A NAME"}, "at most 10 characters");
  Fails({"rename", state, "4", "X"}, "import");
  EXPECT_EQ(ReadFileText(data), before);
}

TEST_F(TransferCommands, FilesInAndOut) {
  const std::string raw = Path("io.syx"), data = Path("io.dat"), midi = Path("io.mid"), again = Path("io2.syx");
  Ok({"receive", "k4", "single bank", raw, "--virtual", "factory"});
  EXPECT_EQ(Ok({"import", raw, data}).out, "Kawai K4 Single Bank: 64 patches in " + data + "\n");
  EXPECT_EQ(Ok({"export", data, midi}).out, "1 message in " + midi + "\n");
  Ok({"export", midi, again});
  EXPECT_EQ(ReadFileText(again), ReadFileText(raw));
  EXPECT_EQ(Ok({"names", midi}).out, Ok({"names", raw}).out);
  const std::string line = Ok({"identify", raw}).out;
  EXPECT_EQ(line, "0\t8393\tKawai K4\tSingle Bank\tok\n");
  EXPECT_EQ(Ok({"receive", "k4", "single bank", "-", "--virtual", raw}).out, ReadFileText(raw));
  Ok({"import", "-", data}, ReadFileText(raw));
}

// Whatever goes wrong, the file that was there stays.
TEST_F(TransferCommands, FailedReceivesLeaveTheFileAlone) {
  const std::string out = Path("precious.dat");
  WriteFileText(out, "precious");
  const std::vector<std::string> dx7 = {"receive", "dx7", "voice bank", out, "--virtual", "factory", "--fault"};
  const auto with = [&](std::vector<std::string> more) {
    std::vector<std::string> args = dx7;
    args.insert(args.end(), more.begin(), more.end());
    return args;
  };
  Fails(with({"port-vanishes:at=2000"}), "MIDI port is no longer available");
  Fails(with({"no-reply:times=9"}), "receive");
  Fails(with({"corrupt-byte:at=1000,value=1,times=9"}), "damaged on the way");
  Fails(with({"lost-byte:at=1000,times=9"}), "bytes are missing");
  Fails(with({"truncated-reply:at=1000,times=9"}), "bytes are missing");
  Fails(with({"no-reply:times=9", "--timeout", "250"}), "receive");
  Fails(with({"nonsense"}), "nonsense");
  Fails({"receive", "yamaha", "voice bank", out, "--virtual", "factory"}, "Yamaha DX7, ");
  Fails({"receive", "dx7", "tone", out, "--virtual", "factory"}, "Voice Bank, Voice");
  Fails({"receive", "dx7", "voice bank", out, "--virtual", Path("nothing.syx")}, "nothing.syx");
  Fails({"receive", "d-50", "patch bank", out, "--virtual", "factory", "--fault",
         "corrupt-byte:reply=0,value=1,times=9999"},
        "damaged on the way");
  CancelToken interrupt;
  interrupt.Cancel();
  const CliOutput cancelled = home_.Run({"receive", "jv", "bank", out, "--virtual", "factory"}, {}, interrupt);
  EXPECT_EQ(cancelled.status, 1);
  EXPECT_EQ(cancelled.err, "tonalith-cli receive: Receiving the Roland JV-1080 Patch Bank was cancelled.\n");
  EXPECT_EQ(ReadFileText(out), "precious");
}

TEST_F(TransferCommands, InstrumentThatRefusesMakesSendFail) {
  const std::string raw = Path("refused.syx");
  Ok({"receive", "dx7", "voice bank", raw, "--virtual", "factory"});
  Fails({"send", raw, "--virtual", "factory", "--fault", "corrupt-byte:direction=in,at=100,value=1"}, "CHECKSUM ERROR");
  Fails({"send", raw, "--virtual", "factory", "--fault", "port-vanishes:at=2000"}, "no longer available");
  Fails({"send", Path("refused.syx"), "--type", "Voice", "--virtual", "factory"}, "no data of type");
  // What its module says of the refusal.
  const char* const says[][3] = {
      {"dw-6000", "Program", "did not take the Korg DW-6000 Program (3 attempts). The program was not taken."},
      {"dw-8000", "Program", "The program was not taken."},
      {"m1", "Program Bank", "The data was not taken: is its memory protected?"},
      {"fb-01", "Configuration Bank", "It came damaged."},
  };
  for (const auto& [instrument, type, sentence] : says) {
    SCOPED_TRACE(instrument);
    Ok({"receive", instrument, type, Path("said.dat"), "--virtual", "factory"});
    Fails({"send", Path("said.dat"), "--virtual", "factory", "--fault", "refuse-once:times=99"}, sentence);
  }
}

TEST_F(TransferCommands, ConversationsAreKeptTo) {
  const std::string raw = Path("talk.syx"), talk = Path("talk.txt"), record = Path("recorded.txt");
  Ok({"receive", "dx7", "voice", raw, "--virtual", "factory", "--device", "3", "--record", talk});
  const std::string exchange = ReadFileText(talk);
  EXPECT_EQ(exchange.substr(0, 19), "OUT F0 43 23 00 F7\n");
  const std::string got = Path("got.syx");
  Ok({"receive", "dx7", "voice", got, "--device", "3", "--conversation", talk, "--record", record});
  EXPECT_EQ(ReadFileText(got), ReadFileText(raw));
  Fails({"receive", "dx7", "voice", Path("other.syx"), "--conversation", talk}, "Line 1: expected 23 at byte 3");
  EXPECT_FALSE(std::filesystem::exists(Path("other.syx")));
  WriteFileText(talk, exchange + "OUT F0 F7\n");
  Fails({"receive", "dx7", "voice", Path("other.syx"), "--device", "3", "--conversation", talk}, "never sent");
  WriteFileText(talk, "OUT F0 43 0");
  Fails({"receive", "dx7", "voice", Path("other.syx"), "--conversation", talk}, "Line 1");
}

TEST_F(TransferCommands, SelectedPatchesOnly) {
  const std::string some = Path("some.dat");
  Ok({"receive", "matrix", "patch bank 1", some, "--virtual", "factory", "--patch", "3", "--patch", "40"});
  const std::string names = Ok({"names", some}).out;
  EXPECT_EQ(std::count(names.begin(), names.end(), '\n'), 2) << names;
  EXPECT_EQ(names.substr(0, 2), "3\t");
  Fails({"receive", "matrix", "patch bank 1", some, "--virtual", "factory", "--patch", "100"}, "0 to 99");
  Fails({"receive", "dx7", "voice bank", some, "--virtual", "factory", "--patch", "1"}, "as a whole");
}

// A cable from output to input: every byte is counted, and what is wrong with it is said.
TEST_F(TransferCommands, TheMidiTestCountsEveryByte) {
  const struct {
    const char* cable;
    int status;
    const char* sentence;
  } cases[] = {
      {"whole", 0, "All 37,583 bytes came from \"Test cable\" to \"Test cable\" unchanged."},
      {"open", 1, "Nothing came back: no cable leads from \"Test cable\" to \"Test cable\"."},
      {"lost-byte", 1, "37,583 bytes from \"Test cable\" to \"Test cable\": 1 lost, 0 changed."},
      {"corrupt-byte", 1, "37,583 bytes from \"Test cable\" to \"Test cable\": 0 lost, 1 changed."},
      {"late", 0, " ms late."},
      {"lost-event", 1, "; the MIDI system lost input 1 times."},
      {"port-vanishes", 1, "A MIDI port went away during the test."},
  };
  for (const auto& test : cases) {
    const CliOutput output = home_.Run({"midi-test", "--virtual", test.cable});
    EXPECT_EQ(output.status, test.status) << test.cable << output.err;
    EXPECT_NE((output.out + output.err).find(test.sentence), std::string::npos) << test.cable << "\n"
                                                                                << output.out << output.err;
  }
  CancelToken interrupt;
  interrupt.Cancel();
  EXPECT_EQ(home_.Run({"midi-test", "--virtual", "whole"}, {}, interrupt).err,
            "tonalith-cli midi-test: The MIDI test was cancelled.\n");
}

TEST_F(TransferCommands, DemoFindsWhatItLeft) {
  const std::string root = Path("demo");
  const auto demo = [&] { return RunCli({"--config-root", root, "demo"}); };
  const CliOutput first = demo();
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_NE(first.out.find("The renamed patch came back: 5 \"TONALITH 1\"."), std::string::npos) << first.out;
  EXPECT_NE(first.out.find("was cancelled."), std::string::npos);
  EXPECT_NE(first.out.find("MIDI port is no longer available"), std::string::npos);
  const CliOutput second = demo();
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_NE(second.out.find("renamed from \"TONALITH 1\" to \"TONALITH 2\""), std::string::npos) << second.out;
}

}  // namespace
}  // namespace tonalith
