#include <algorithm>
#include <fstream>
#include <mutex>

#include "data/hex_text.h"
#include "midi/port_system.h"
#include "platform/byte_window.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"
#include "simulator/virtual_studio.h"
#include "studio/auto_configuration.h"
#include "studio/open_studio_ports.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

Bytes Hex(const std::string& text) {
  Bytes bytes;
  int digits = 0, value = 0;
  for (const char c : text) {
    if (c == ' ') continue;
    value = value * 16 + (c <= '9' ? c - '0' : c - 'A' + 10);
    if (++digits % 2 == 0) bytes.push_back(static_cast<std::uint8_t>(std::exchange(value, 0)));
  }
  return bytes;
}

DeviceInquiry Inquiry(const std::string& ini) {
  return ReadDeviceInquiry(IniFile::FromBytes(ini));
}

}  // namespace

TEST(AutoConfigModule, NumbersStayInsideTheirLimits) {
  const DeviceInquiry none = Inquiry("");
  EXPECT_FALSE(none.enabled);
  EXPECT_EQ(none.length, 15);
  EXPECT_EQ(none.chMin, 0);
  EXPECT_EQ(none.chMax, 15);
  EXPECT_EQ(none.separationMs, 30);
  EXPECT_EQ(none.repeats, 1);
  ASSERT_EQ(none.patterns.size(), 1u);
  EXPECT_EQ(none.patterns[0].family[0], kAnyByte);
  const DeviceInquiry wild = Inquiry(
      "[Device Inquiry]\nEnable=1\nIDSize=3\nChMin=-7\nChMax=99999\nSeparation=99999999\nRepeats=123456\n"
      "NumInquiry=100000\nID1=70000\n[device inquiry 200]\nselect=-4\nnthresponse=-1\nASCII1=999\n");
  EXPECT_EQ(wild.length, 17);
  EXPECT_EQ(wild.chMin, -1);
  EXPECT_EQ(wild.chMax, 127);
  EXPECT_EQ(wild.separationMs, 10000);
  EXPECT_EQ(wild.repeats, 100);
  ASSERT_EQ(wild.patterns.size(), 200u);
  EXPECT_EQ(wild.patterns[199].select, 0);
  EXPECT_EQ(wild.patterns[199].nthResponse, 1);
  EXPECT_EQ(Inquiry("[Device Inquiry]\nChMax=-1\n").chMin, -1);
  const PreDeviceInquiry before =
      ReadPreDeviceInquiry(IniFile::FromBytes("[Pre Device Inquiry]\nSize=3\n0=0xF0\n1=1\n2=247\nSleep=90000000\n"));
  EXPECT_EQ(HexText(before.message), "F0 01 F7");
  EXPECT_EQ(before.sleepMs, 10000);
  EXPECT_LE(ReadPreDeviceInquiry(IniFile::FromBytes("[Pre Device Inquiry]\nSize=2000000000\n")).message.size(), 65536u);
}

TEST(AutoConfigModule, PatternRules) {
  struct Case {
    const char* what;
    const char* ini;  // behind [Device Inquiry] Enable=1
    const char* reply;
    int pattern;
  };
  const std::string roland = "ID1=0x41\n[Device Inquiry 1]\nFamily1=0x6A\nFamily2=0\n";
  const std::string three = "IDSize=3\nID1=0\nID2=0x20\nID3=0x33\n[Device Inquiry 1]\nFamily1=1\n";
  const std::string two = "ID1=0x41\nNumInquiry=2\n[Device Inquiry 1]\nFamily1=5\n[Device Inquiry 2]\nMember1=7\n";
  const std::string version = "ID1=0x41\n[Device Inquiry 1]\nASCII1=1\nASCII2=2\n";
  const std::string least = version + "ASCIIisMinimumVersion=1\n";
  const std::string least2 = "ID1=0x41\n[Device Inquiry 1]\nASCII2=3\nASCIIisMinimumVersion=1\n";
  const std::string any = "ID1=0x41\nLength=-1\n[Device Inquiry 1]\nFamily1=0x6A\n";
  const std::string fifth = "ID1=0x41\nLength=16\n[Device Inquiry 1]\nASCII5=0x22\n";
  const std::string old = "OldMode=1\nID1=0x41\n[Device Inquiry 1]\nFamily1=9\nMember1=7\nMember2=0\nASCII1=99\n";
  const std::string digit = "[Own Inquiry]\nRequest=F0 42 4n F7\nReply=F0 42 3n 04 F7\n";
  const std::string byte = "ChMax=2\n[Own Inquiry]\nRequest=F0 40 nn F7\nReply=F0 40 10+n 6? F7\n";
  const std::string wrong = "ID1=0x41\n[Own Inquiry]\nRequest=F0 42 4x F7\nReply=F0 42 3n 04 F7\n";
  const Case cases[] = {
      {"own question", digit.c_str(), "F0 42 35 04 F7", 0},
      {"own question, another model", digit.c_str(), "F0 42 35 03 F7", -1},
      {"own question, more behind", digit.c_str(), "F0 42 35 04 00 F7", -1},
      {"own question, identity", digit.c_str(), "F0 7E 10 06 02 00 00 00 00 00 01 02 03 04 F7", -1},
      {"own question, the last device", byte.c_str(), "F0 40 12 65 F7", 0},
      {"own question, a device behind it", byte.c_str(), "F0 40 13 65 F7", -1},
      {"no message: identity", wrong.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 F7", 0},
      {"fits", roland.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 F7", 0},
      {"other family", roland.c_str(), "F0 7E 10 06 02 41 6B 00 00 00 01 02 03 04 F7", -1},
      {"other maker", roland.c_str(), "F0 7E 10 06 02 42 6A 00 00 00 01 02 03 04 F7", -1},
      {"too short", roland.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 F7", -1},
      {"too long", roland.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 05 F7", -1},
      {"a stray message of the right length", roland.c_str(), "F0 41 10 6A 12 41 6A 00 00 00 01 02 03 04 F7", -1},
      {"a request", roland.c_str(), "F0 7E 10 06 01 41 6A 00 00 00 01 02 03 04 F7", -1},
      {"no end", roland.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 05", -1},
      {"three bytes", three.c_str(), "F0 7E 10 06 02 00 20 33 01 00 02 00 01 02 03 04 F7", 0},
      {"the middle one does not count", three.c_str(), "F0 7E 10 06 02 00 55 33 01 00 02 00 01 02 03 04 F7", 0},
      {"the last one does", three.c_str(), "F0 7E 10 06 02 00 20 34 01 00 02 00 01 02 03 04 F7", -1},
      {"second pattern", two.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 02 03 04 F7", 1},
      {"exact version", version.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 02 03 04 F7", 0},
      {"another version", version.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 03 03 04 F7", -1},
      {"lowest version", least.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 02 00 00 F7", 0},
      {"higher", least.c_str(), "F0 7E 10 06 02 41 06 00 07 00 02 00 00 00 F7", 0},
      {"lower", least.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 01 7F 7F F7", -1},
      {"bytes that are not asked for count as 0", least2.c_str(), "F0 7E 10 06 02 41 06 00 07 00 7F 02 7F 7F F7", -1},
      {"any length", any.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 05 06 07 F7", 0},
      {"any length, cut off", any.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 F7", -1},
      {"any length, nothing", any.c_str(), "F0 F7", -1},
      {"byte behind the version", fifth.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 22 F7", 0},
      {"another one there", fifth.c_str(), "F0 7E 10 06 02 41 6A 00 00 00 01 02 03 04 23 F7", -1},
      {"old rules: half a pair does not count", old.c_str(), "F0 7E 10 06 02 41 06 00 07 00 01 02 03 04 F7", 0},
      {"old rules: a pair does", old.c_str(), "F0 7E 10 06 02 41 06 00 08 00 01 02 03 04 F7", -1},
  };
  for (const Case& c : cases)
    EXPECT_EQ(MatchIdentityReply(Inquiry("[Device Inquiry]\nEnable=1\n" + std::string(c.ini)), Hex(c.reply)), c.pattern)
        << c.what;
}

TEST(AutoConfigModule, WordsOfAFailure) {
  DeviceInquiryPattern a, b, any;
  a.ascii = {1, 2, kAnyByte, 4, kAnyByte};
  b.ascii = {3, 0, 0, 0, kAnyByte};
  EXPECT_EQ(AutoConfigVersionText({any}), "");
  EXPECT_EQ(AutoConfigVersionText({a}), " with OS v1.2.x.4");
  a.minimumVersion = true;
  EXPECT_EQ(AutoConfigVersionText({a, b, b}), " with OS v1.2.x.4, 3.0.0.0 or 3.0.0.0 or higher");
  AutoConfigResult result;
  result.instrumentName = "X 1";
  result.patterns = {b};
  EXPECT_EQ(
      AutoConfigResultText(result),
      "A compatible X 1 with OS v3.0.0.0 was not detected.\n\nPlease verify that it is connected and running then "
      "try again.\nAlternately, manually configure the MIDI setup using the Studio Window Settings button.\n\nCheck "
      "your unit's OS and upgrade if applicable. ");
  EXPECT_EQ(AutoConfigMissingPorts(0, 2).substr(0, 45), "There are currently no MIDI IN ports selected");
  EXPECT_EQ(AutoConfigMissingPorts(0, 0).substr(0, 57), "There are currently no MIDI IN and MIDI OUT ports selecte");
  EXPECT_EQ(AutoConfigMissingPorts(1, 1), "");
}

TEST(AutoConfigModule, HelpFilesLieInTheInstrumentFolder) {
  const fs::path folder = fs::temp_directory_path() / ("tonalith-help-" + std::to_string(::getpid()));
  fs::create_directories(folder / "Synth");
  for (const char* name : {"Synth/Help.pdf", "Synth/run.sh", "Synth/page.html"}) std::ofstream(folder / name) << "x";
  const auto help = [&](const std::string& url) {
    return AutoConfigHelpFile(IniFile::FromBytes("[Device Inquiry]\nErrorURL=" + url + "\n"), folder);
  };
  EXPECT_EQ(help("synth\\help.PDF"), (folder / "Synth/Help.pdf").string());
  EXPECT_EQ(help("Synth/page.html"), (folder / "Synth/page.html").string());
  for (const char* bad : {"Synth/run.sh", "../Synth/Help.pdf", "/etc/passwd", "Synth/none.pdf", "Synth", ""})
    EXPECT_EQ(help(bad), "") << bad;
  fs::remove_all(folder);
}

namespace {

// Searches for shipped instruments among port pairs, in virtual time.
class AutoConfigTest : public ::testing::Test {
 protected:
  AutoConfigTest() : here_(clock_), backend_(std::make_shared<VirtualBackend>(clock_)), midi_(clock_), ports_(midi_) {
    cables_ = std::make_unique<VirtualStudio>(*backend_, VirtualStudio::Options{3125});
    midi_.AddBackend(backend_);
    midi_.Start();
    services_ = std::make_unique<MidiScriptServices>(midi_.out(), midi_.in());
    engine_ = std::make_unique<TransferEngine>(*services_, prompts_, &midi_.out());
    root_ = fs::temp_directory_path() / ("tonalith-sense-" + std::to_string(::getpid()));
    fs::remove_all(root_);
    NewStudio(false);
  }
  ~AutoConfigTest() override {
    midi_.out().RemoveMonitor(monitor_);
    engine_.reset();
    midi_.Stop();
    cables_.reset();
    std::error_code error;
    fs::remove_all(root_, error);
  }

  // As after a start of the program; `load`: with the studio file of the last time.
  void NewStudio(bool load) {
    studio_ = std::make_unique<ZKStudioDoc>(
        StudioPaths{InstalledModules::Instance().folder(), root_ / "Data", root_ / "Preferences", {}}, prompts_,
        &ports_);
    if (load)
      studio_->DrvLoadSetup(0);
    else
      studio_->LoadStudio();
  }

  // `pairs` port pairs, the instrument `key` on number `at` (from 0).
  void Plug(const std::string& key, int pairs, int at, const std::string& fault = {}, int device = -1) {
    for (int i = 0; i < pairs; ++i) {
      const std::string name = "Port " + std::to_string(i + 1);
      if (i != at) {
        cables_->AttachSilent(name);
        continue;
      }
      std::string problem;
      auto instrument = SimulatedInstrument::Create(key, &problem);
      ASSERT_TRUE(instrument) << problem;
      if (!fault.empty()) instrument->SetFaults(FaultPlan::Parse(fault, &problem).value());
      if (device >= 0) instrument->SetDevice(device);
      cables_->Attach(std::move(instrument), name);
    }
    OpenPorts();
  }
  // Eight pairs in place of what was there, the instrument on the fifth.
  void PlugAnew(const std::string& key, const std::string& fault, int device = -1) {
    midi_.MidiPortInClosePorts();
    midi_.MidiPortOutClosePorts();
    cables_.reset();
    cables_ = std::make_unique<VirtualStudio>(*backend_, VirtualStudio::Options{3125});
    Plug(key, 8, 4, fault, device);
  }
  void OpenPorts() {
    PortMap all;
    all.SetOpenAll(true);
    midi_.SetMidiInPortMap(all);
    midi_.SetMidiOutPortMap(all);
    midi_.MidiPortInOpenPortsFromMap();
    midi_.MidiPortOutOpenPortsFromMap();
    midi_.out().RemoveMonitor(monitor_);
    monitor_ = midi_.out().AddMonitor([this](int port, std::span<const std::uint8_t> message) {
      const std::lock_guard lock(sentMutex_);
      sent_.push_back(midi_.out().OUTGETPORTNAME(port) + " " + HexText(message));
    });
  }
  // A peer that is a function of what it hears: the message, and how many times it heard one.
  std::shared_ptr<VirtualEndpoint> Peer(const std::string& name, std::function<std::string(const Bytes&, int)> answer) {
    auto end = backend_->CreateEndpoint(name);
    end->SetReceiver([raw = end.get(), answer, heard = Bytes(), count = 0](std::span<const std::uint8_t> bytes,
                                                                           std::int64_t) mutable {
      for (const std::uint8_t byte : bytes) {
        heard.push_back(byte);
        if (byte != 0xF7) continue;
        if (const std::string text = answer(heard, ++count); !text.empty()) raw->Send(Hex(text));
        heard.clear();
      }
    });
    return end;
  }

  AutoConfigTask Prepare(const char* name) {
    AutoConfigTask task;
    std::string title;
    instrument_ = studio_->FindInstrument(name);
    const Result ready = PrepareAutoConfig(*studio_, instrument_, &task, &title);
    EXPECT_TRUE(ready.ok()) << ready.text;
    return task;
  }
  AutoConfigResult Search(AutoConfigTask task) {
    const std::int64_t began = clock_.NowUs();
    AutoConfigSearch search({midi_.out(), midi_.in(), engine_.get()}, std::move(task), control_,
                            [this](const AutoConfigProgress& progress) { Progress(progress); });
    AutoConfigResult result = PerformAutoConfig(search);
    seconds_ = static_cast<double>(clock_.NowUs() - began) / 1e6;
    return result;
  }
  AutoConfigResult Sense(const char* name) {
    AutoConfigResult result = Search(Prepare(name));
    EXPECT_TRUE(ApplyAutoConfig(*studio_, instrument_, result).ok());
    return result;
  }
  void Progress(const AutoConfigProgress& progress) {
    EXPECT_LE(progress.position, progress.range);
    if (cancelAt_ >= 0 && progress.position >= cancelAt_) {
      control_->Cancel(AutoConfigCancel::This);
      cancelledUs_ = clock_.NowUs();
    }
  }

  VirtualClock clock_;
  ClockThread here_;
  std::shared_ptr<VirtualBackend> backend_;
  MidiPortSystem midi_;
  OpenStudioPorts ports_;
  ScriptedPrompts prompts_{{}};
  std::unique_ptr<VirtualStudio> cables_;
  std::unique_ptr<MidiScriptServices> services_;
  std::unique_ptr<TransferEngine> engine_;
  fs::path root_;
  std::unique_ptr<ZKStudioDoc> studio_;
  ZKDrvList* instrument_ = nullptr;
  std::shared_ptr<AutoConfigControl> control_ = std::make_shared<AutoConfigControl>();
  std::mutex sentMutex_;  // several requests are sent at the same time
  std::vector<std::string> sent_;
  int monitor_ = 0;
  int cancelAt_ = -1;
  std::int64_t cancelledUs_ = 0;
  double seconds_ = 0;
};

}  // namespace

// Found among eight pairs, whatever goes wrong on the cable: at the right place, or said not to be there.
TEST_F(AutoConfigTest, MisbehavingInstruments) {
  struct Case {
    const char* fault;
    bool found;
    std::size_t answers;
  };
  for (const Case& c :
       {Case{"", true, 1}, Case{"late-reply:reply=0,delay=50", true, 1}, Case{"late-reply:reply=0,delay=1000", true, 1},
        Case{"late-reply:reply=1,delay=700", true, 1}, Case{"other-model:reply=0", false, 1},
        Case{"double-reply:reply=0", true, 1}, Case{"short-reply:reply=0", false, 1},
        Case{"truncated-reply:reply=0,at=9", false, 0}, Case{"foreign-identity:reply=0", true, 2},
        Case{"foreign-first:reply=0", true, 1}, Case{"everybody-id:reply=0", true, 1},
        Case{"no-reply:reply=0", false, 0}, Case{"realtime-inside:reply=0,at=6", true, 1}}) {
    SCOPED_TRACE(c.fault);
    PlugAnew("roland-jv1080", c.fault, 3);
    const AutoConfigResult result = Sense("jv-1080");
    EXPECT_EQ(result.outcome == AutoConfigOutcome::Found, c.found);
    EXPECT_EQ(result.answers.size(), c.answers);
    EXPECT_LT(seconds_, 10);
    if (!c.found) continue;
    EXPECT_EQ(result.outPortName, "Port 5");
    EXPECT_EQ(result.inPortName, "Port 5");
    EXPECT_EQ(result.deviceId, 19);
    EXPECT_EQ(instrument_->sysExChannel, 19);
    for (const auto& driver : instrument_->drivers) {
      EXPECT_EQ(driver->synth()->sysExChannel, 19);
      EXPECT_EQ(driver->synth()->midiInPort, 4);
      EXPECT_EQ(driver->synth()->midiOutPort, 4);
    }
  }
}

// An instrument that only its own request finds: what comes late or first is never taken for the answer on another
// pair.
TEST_F(AutoConfigTest, MisbehavingAnswersToItsOwnRequest) {
  struct Case {
    const char* key;
    const char* name;
    const char* fault;
  };
  for (const Case& c :
       {Case{"kawai-k4", "k4", ""}, Case{"kawai-k4", "k4", "foreign-first:reply=0"},
        Case{"kawai-k4", "k4", "foreign-first:reply=2"}, Case{"kawai-k4", "k4", "late-reply:reply=2,delay=400"},
        Case{"roland-d50", "d-50", "double-reply:reply=0"}}) {
    SCOPED_TRACE(std::string(c.key) + " " + c.fault);
    PlugAnew(c.key, c.fault);
    const AutoConfigResult result = Sense(c.name);
    ASSERT_EQ(result.outcome, AutoConfigOutcome::Found);
    EXPECT_LT(seconds_, 10);
    EXPECT_EQ(result.outPortName, "Port 5");
    EXPECT_EQ(result.inPortName, "Port 5");
  }
}

TEST_F(AutoConfigTest, AnswersOnAnotherPort) {
  Plug("korg-m1", 4, 1, "", 6);
  cables_->AnswerOn(1, 3);
  const AutoConfigResult result = Sense("m1");
  EXPECT_EQ(result.outPortName, "Port 2");
  EXPECT_EQ(result.inPortName, "Port 4");
  EXPECT_EQ(instrument_->sysExChannel, 6);
  EXPECT_EQ(AutoConfigResultText(result),
            "AutoSense configuration successful for the Korg M1.\n\nMIDI IN Port: Port 4\nMIDI OUT Port: Port 2\nSet 0 "
            "selected.");
}

TEST_F(AutoConfigTest, WhoElseAnsweredIsListed) {
  Plug("roland-jv1080", 2, 0);
  const AutoConfigResult result = Sense("m1");
  EXPECT_EQ(result.outcome, AutoConfigOutcome::NotFound);
  EXPECT_TRUE(result.answers.empty()) << "nobody hears device IDs that only the other uses";
  AutoConfigTask task = Prepare("m1");
  task.inquiry.chMin = task.inquiry.chMax = -1;
  const AutoConfigResult all = Search(std::move(task));
  ASSERT_EQ(all.answers.size(), 1u);
  EXPECT_EQ(all.answers[0].Text(),
            "Roland (41), family 6A 00, member 00 00, version 0.0.0.0, device ID 17; heard on Port 1");
}

// Everybody is asked, the instrument says its own number: node, drivers and descriptors get that one.
TEST_F(AutoConfigTest, EverybodyIsAskedAndOneAnswersWithItsNumber) {
  Plug("korg-m1", 2, 1, "", 9);
  AutoConfigTask task = Prepare("m1");
  task.inquiry.chMin = task.inquiry.chMax = -1;
  const AutoConfigResult result = Search(std::move(task));
  ASSERT_TRUE(ApplyAutoConfig(*studio_, instrument_, result).ok());
  EXPECT_EQ(sent_.front(), "Port 1 F0 7E 7F 06 01 F7");
  EXPECT_EQ(result.deviceId, 9);
  for (const auto& driver : instrument_->drivers) EXPECT_EQ(driver->synth()->sysExChannel, 9);
}

TEST_F(AutoConfigTest, AnIdOutsideTheRangeGivesTheLowest) {
  const auto peer = Peer("Port 1", [](const Bytes&, int) { return "F0 7E 40 06 02 42 19 00 00 00 01 02 03 04 F7"; });
  OpenPorts();
  instrument_ = studio_->FindInstrument("m1");
  instrument_->SetMidiChannel(5);
  const AutoConfigResult result = Sense("m1");
  EXPECT_EQ(result.deviceId, 0x40);
  for (const auto& driver : instrument_->drivers) {
    EXPECT_EQ(driver->synth()->sysExChannel, 0);
    EXPECT_EQ(driver->synth()->midiChannel, 0);
  }
}

TEST_F(AutoConfigTest, TheNthReplyCounts) {
  const std::string reply = "F0 7E 02 06 02 42 19 00 00 00 01 02 03 04 F7";
  const auto one = Peer("Port 1", [&](const Bytes&, int) { return reply; });
  const auto two = Peer("Port 2", [](const Bytes&, int) { return std::string(); });
  const auto three = Peer("Port 3", [&](const Bytes&, int) { return reply; });
  OpenPorts();
  AutoConfigTask second = Prepare("m1");
  second.inquiry.patterns[0].nthResponse = 2;
  second.inquiry.patterns[0].select = 7;
  const AutoConfigResult result = Search(std::move(second));
  EXPECT_EQ(result.outPortName, "Port 3");
  EXPECT_EQ(result.setNumber, 7);
  AutoConfigTask fifth = Prepare("m1");
  fifth.inquiry.patterns[0].nthResponse = 5;
  sent_.clear();
  const AutoConfigResult marked = Search(std::move(fifth));
  EXPECT_EQ(marked.outcome, AutoConfigOutcome::Found) << "a mark ends the search with the sweep of its device ID";
  EXPECT_EQ(marked.outPortName, "Port 3") << "the last that fitted";
}

TEST_F(AutoConfigTest, DefaultPortsOfTheModuleAreTakenSilently) {
  Plug("korg-m1", 3, 2);
  AutoConfigTask task = Prepare("m1");
  task.inquiry.defaultInPort = "PORT 2";
  task.inquiry.defaultOutPort = "port 3";
  task.inquiry.chMin = 4;
  const AutoConfigResult result = Search(std::move(task));
  EXPECT_EQ(result.inPortName, "Port 2");
  EXPECT_EQ(result.outPortName, "Port 3");
  EXPECT_EQ(result.deviceId, 4);
  EXPECT_TRUE(sent_.empty());
  AutoConfigTask other = Prepare("m1");
  other.inquiry.defaultInPort = "Port 2";
  other.inquiry.defaultOutPort = "Port 9";
  EXPECT_EQ(Search(std::move(other)).outPortName, "Port 3") << "one that is not there: the instrument is asked";
}

TEST_F(AutoConfigTest, TheMessageBeforeGoesEverywhere) {
  Plug("korg-m1", 2, 0);
  AutoConfigTask task = Prepare("m1");
  task.before.message = {0xF0, 0x01, 0xF7};
  task.before.sleepMs = 500;
  Search(std::move(task));
  ASSERT_GE(sent_.size(), 3u);
  EXPECT_EQ(sent_[0], "Port 1 F0 01 F7");
  EXPECT_EQ(sent_[1], "Port 2 F0 01 F7");
  EXPECT_GT(seconds_, 0.5);
}

TEST_F(AutoConfigTest, CancelEndsEveryWait) {
  Plug("korg-m1", 4, -1);
  AutoConfigTask task = Prepare("m1");
  task.inquiry.separationMs = 10'000;
  cancelAt_ = 2;
  EXPECT_EQ(Search(std::move(task)).outcome, AutoConfigOutcome::Cancelled);
  EXPECT_LE(clock_.NowUs() - cancelledUs_, 60'000);
  control_ = std::make_shared<AutoConfigControl>();
  EXPECT_EQ(Search(Prepare("cz-101")).outcome, AutoConfigOutcome::Cancelled);
  EXPECT_LE(clock_.NowUs() - cancelledUs_, 1'000'000);
}

// What was found is there after the next start, under other numbers, and when the port was away meanwhile.
TEST_F(AutoConfigTest, OutlivesRestartsAndPortsThatMove) {
  Plug("korg-m1", 3, 1, "", 6);
  ASSERT_EQ(Sense("m1").outcome, AutoConfigOutcome::Found);
  EXPECT_EQ(instrument_->midiOutPort, 1);
  ASSERT_EQ(studio_->DrvSaveSetup(0), 0);
  const auto look = [&](int port, const char* when) {
    ZKDrvList* node = studio_->FindInstrument("m1");
    ASSERT_NE(node, nullptr) << when;
    for (const auto& driver : node->drivers) {
      EXPECT_EQ(driver->synth()->sysExChannel, 6) << when;
      EXPECT_EQ(driver->synth()->midiInPort, port) << when;
      EXPECT_EQ(driver->synth()->midiOutPort, port) << when;
      EXPECT_EQ(driver->outPortName, "Port 2") << when;
    }
  };
  NewStudio(true);
  studio_->UpdatePortReferences();
  look(1, "after a start");
  cables_->Unplug(0);
  midi_.MidiInPortsChanged();
  midi_.MidiOutPortsChanged();
  studio_->UpdateMidiPortsStatusChanged();
  look(0, "the port before it is gone");
  cables_->Unplug(1);
  midi_.MidiInPortsChanged();
  midi_.MidiOutPortsChanged();
  studio_->UpdateMidiPortsStatusChanged();
  cables_->PlugIn(1);
  midi_.MidiInPortsChanged();
  midi_.MidiOutPortsChanged();
  studio_->UpdateMidiPortsStatusChanged();
  look(1, "it went and came back, behind the others");
  fs::remove(root_ / "Data" / "Default.PV9");
  NewStudio(false);
  ZKDrvList* added = studio_->FindInstrument("m1");
  EXPECT_EQ(added->outPortName, "Port 2") << "the defaults of the instrument remember it too";
  EXPECT_EQ(added->sysExChannel, 6);
}

TEST_F(AutoConfigTest, APortThatGoesDuringTheSearch) {
  Plug("korg-m1", 3, 2);
  AutoConfigTask task = Prepare("m1");
  AutoConfigSearch search({midi_.out(), midi_.in(), engine_.get()}, std::move(task), control_, {});
  cables_->Unplug(0);
  midi_.MidiInPortsChanged();
  midi_.MidiOutPortsChanged();
  const AutoConfigResult result = PerformAutoConfig(search);
  EXPECT_EQ(result.outPortName, "Port 3");
  EXPECT_EQ(result.outPort, 1) << "its number has become another";
}

// By identity request and by an own one: what a transfer has is left alone and named; nothing is sent there.
TEST_F(AutoConfigTest, AnOutputThatATransferHasIsNotAsked) {
  for (const auto& [name, key] :
       std::vector<std::pair<const char*, const char*>>{{"m1", "korg-m1"}, {"Yamaha DX7", "yamaha-dx7"}}) {
    SCOPED_TRACE(key);
    PlugAnew(key, "");
    sent_.clear();
    auto lease = midi_.out().leases().Take({midi_.out().Slot(midi_.out().FindPort("Port 5"))});
    ASSERT_TRUE(lease);
    const AutoConfigResult none = Search(Prepare(name));
    EXPECT_EQ(none.outcome, AutoConfigOutcome::NotFound);
    EXPECT_EQ(none.busyPorts, std::vector<std::string>{"Port 5"});
    EXPECT_NE(AutoConfigResultText(none).find("\"Port 5\" was not asked all the time, because a transfer had it."),
              std::string::npos);
    for (const std::string& line : sent_) EXPECT_NE(line.substr(0, 7), "Port 5 ");
    lease.reset();
    EXPECT_EQ(Sense(name).outPortName, "Port 5");
  }
}

// By identity request or by its own, each among eight pairs; what sends only by hand is said not to be there.
TEST_F(AutoConfigTest, EveryShippedInstrument) {
  int found = 0;
  for (const auto& [name, key] : InstalledModules::Instance().keys()) {
    SCOPED_TRACE(key);
    std::string problem;
    if (!SimulatedInstrument::Create(key, &problem)) continue;
    PlugAnew(key, "");
    const AutoConfigResult result = Sense(name.c_str());
    const bool asks = result.requests > 0;
    EXPECT_EQ(result.outcome == AutoConfigOutcome::Found, asks) << AutoConfigResultText(result);
    EXPECT_LT(seconds_, 10);
    if (!asks) continue;
    ++found;
    EXPECT_EQ(result.outPortName, "Port 5");
    EXPECT_EQ(result.inPortName, "Port 5");
  }
  EXPECT_GE(found, 12);
}

// On the last channel, which is tried last.
TEST_F(AutoConfigTest, OwnRequestsOnTheLastChannel) {
  for (const auto& [name, key] :
       std::vector<std::pair<const char*, const char*>>{{"Yamaha DX7", "yamaha-dx7"}, {"cz-101", "casio-cz101"}}) {
    SCOPED_TRACE(key);
    PlugAnew(key, "", 15);
    EXPECT_EQ(Sense(name).outcome, AutoConfigOutcome::Found);
    EXPECT_EQ(instrument_->sysExChannel, 15);
    EXPECT_LT(seconds_, 10);
  }
}

TEST_F(AutoConfigTest, OwnRequestAnsweredOnAnotherPort) {
  Plug("yamaha-dx7", 3, 0, "late-reply:reply=1,delay=300", 2);
  cables_->AnswerOn(0, 2);
  const AutoConfigResult result = Sense("Yamaha DX7");
  EXPECT_EQ(result.outPortName, "Port 1");
  EXPECT_EQ(result.inPortName, "Port 3");
  EXPECT_EQ(instrument_->sysExChannel, 2);
}

TEST_F(AutoConfigTest, NobodyAnswersOwnRequests) {
  Plug("yamaha-dx7", 2, -1);
  EXPECT_EQ(Sense("Yamaha DX7").outcome, AutoConfigOutcome::NotFound);
  EXPECT_LT(seconds_, 60);
}

}  // namespace tonalith
