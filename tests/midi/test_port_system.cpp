#include <gtest/gtest.h>

#include <unistd.h>
#include <atomic>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "midi/port_report.h"
#include "midi_rig.h"
#include "platform/log.h"

namespace tonalith {
namespace {

struct MidiPorts : VirtualTime {
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder =
        std::filesystem::temp_directory_path() / ("tonalith_ports_" + std::to_string(::getpid()) + "_" + info->name());
    std::filesystem::create_directories(folder);
    profile = (folder / "MidiPorts.ini").string();
  }
  void TearDown() override { std::filesystem::remove_all(folder); }
  std::string Text() const {
    std::ifstream in(profile, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  std::filesystem::path folder;
  std::string profile;
};

std::string OpenNames(MidiRig& rig, MidiDirection direction) {
  std::string all;
  int count = 0;
  if (direction == MidiDirection::Input) {
    rig.in().INNUMPORTS(&count);
    for (int i = 0; i < count; ++i) all += rig.in().INGETPORTNAME(i) + " ";
  } else {
    rig.out().OUTNUMPORTS(&count);
    for (int i = 0; i < count; ++i) all += rig.out().OUTGETPORTNAME(i) + " ";
  }
  return all;
}

TEST_F(MidiPorts, ADuplicateNameIsKeptWithAWarning) {
  int warnings = 0;
  const int sink = Log::Instance().AddSink([&](LogChannel channel, std::string_view line) {
    if (channel == LogChannel::Monitor && line.find("used more than once") != line.npos) ++warnings;
  });
  PortMap map;
  map.AddPortName("A");
  map.AddPortName("A");
  map.AddPortName("B");
  Log::Instance().RemoveSink(sink);
  EXPECT_EQ(warnings, 1);
  map.ClearPort("A");
  EXPECT_EQ(map.names(), (std::vector<std::string>{"A", "B"}));
  EXPECT_FALSE(map.GetPort("a"));
  EXPECT_EQ(map.GetPortNameForOpenPort(2), std::nullopt);
}

TEST_F(MidiPorts, TwinsAreToldApartAndBothOpen) {
  MidiRig rig(clock, {"Synth", "Synth"});
  EXPECT_EQ(OpenNames(rig, MidiDirection::Input), "Synth Synth (2) ");
  auto other = std::make_shared<VirtualBackend>(clock);
  other->CreateEndpoint("Synth");
  rig.system.AddBackend(other);
  EXPECT_EQ(rig.system.DeviceNames(MidiDirection::Output).back(), "Synth (3)");
}

// One device that two MIDI systems show is one port; a selection made on either side finds it.
TEST_F(MidiPorts, ADeviceBehindABridgeIsNotASecondOne) {
  MidiRig rig(clock, {"Juno:MIDI 1"});
  auto other = std::make_shared<VirtualBackend>(clock);
  other->CreateEndpoint("bridge to Juno", {.bridged = "Juno:MIDI 1"});
  other->CreateEndpoint("bridge to all of Juno", {.bridged = "Juno:"});
  other->CreateEndpoint("bridge to Jupiter", {.bridged = "Jupiter:MIDI 1"});
  rig.system.AddBackend(other);
  EXPECT_EQ(rig.system.DeviceNames(MidiDirection::Output),
            (std::vector<std::string>{"Juno:MIDI 1", "bridge to Jupiter"}));
  rig.system.MidiPortOutClosePorts();
  PortMap map;
  map.AddPortName("a2j:Juno [20] (playback): MIDI 1");
  rig.system.SetMidiOutPortMap(map);
  EXPECT_EQ(rig.system.MidiPortOutOpenPortsFromMap(), 1);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Output), "Juno:MIDI 1 ");
}

TEST_F(MidiPorts, TheProfileKeepsTheSelection) {
  MidiRig rig(clock, {"A", "B", "C"});
  rig.system.MidiPortInClosePorts();
  rig.system.SetInAMidiIniPath(profile);
  PortMap map;
  map.AddPortName("C");
  map.AddPortName("A");
  map.AddPortName("Gone");
  ASSERT_TRUE(rig.system.SetPortInProfile(map));
  EXPECT_EQ(rig.system.MidiPortInOpenPorts(), 2);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Input), "A C ");
  rig.in().SetMidiInBufferSize(5000);
  EXPECT_EQ(rig.system.ProfileSettings(MidiDirection::Input).sysXBufferSize, 5000);
  // Open-all is only a flag: the selection comes back when it is switched off again.
  EXPECT_EQ(rig.system.MidiPortInOpenAll(1), 0);
  rig.system.MidiPortInClosePorts();
  EXPECT_EQ(rig.system.MidiPortInOpenPorts(), 3);
  EXPECT_EQ(rig.system.MidiPortInOpenAll(0), 1);
  EXPECT_EQ(rig.system.GetPortInProfile().names(), map.names());
  PortMap shorter;
  shorter.AddPortName("B");
  ASSERT_TRUE(rig.system.SetPortInProfile(shorter));
  EXPECT_EQ(Text().find("PortName1"), std::string::npos);
  EXPECT_NE(Text().find("PortName0=B"), std::string::npos);
}

// A USB port that may be fed faster than a cable is, from now on and in the next session.
TEST_F(MidiPorts, ASpeedBelongsToItsPort) {
  for (const bool again : {false, true}) {
    MidiRig rig(clock, {"Cable", "USB = fast"});
    rig.system.MidiPortOutClosePorts();
    rig.system.SetOtAMidiIniPath(profile);
    if (!again) {
      EXPECT_FALSE(rig.system.SetPortSpeed("USB = fast", 2'000'000));
      ASSERT_TRUE(rig.system.SetPortSpeed("USB = fast", 100'000));
    }
    rig.system.MidiPortOutOpenPorts();
    EXPECT_EQ(rig.out().Slot(0)->speed(), kMidiWireRate);
    EXPECT_EQ(rig.out().Slot(1)->speed(), 100'000u);
    if (!again) continue;
    ASSERT_TRUE(rig.system.SetPortSpeed("USB = fast", 0));
    EXPECT_EQ(rig.out().Slot(1)->speed(), kMidiWireRate);
  }
}

// Active sensing is a sign of life; what was lost, given up or came back is told.
TEST_F(MidiPorts, AReportTellsWhatHappenedOnTheLine) {
  MidiRig rig(clock, {"Synth", "Other"});
  const auto report = [&](MidiDirection direction) {
    for (const PortReport& found : ReportPorts(rig.system))
      if (found.direction == direction && found.name == "Synth") return found;
    return PortReport{};
  };
  EXPECT_EQ(PortSummary(report(MidiDirection::Input)), "0 bytes, heard never");
  EXPECT_EQ(PortSummary(report(MidiDirection::Output)), "0 bytes, 3,125 bytes/s (MIDI cable)");
  rig.Reply("FE");
  rig.out().SENDDATAX(0, LongSysEx(1234));
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  clock.SleepMs(300);
  const PortReport out = report(MidiDirection::Output);
  EXPECT_EQ(out.bytes, 1234u);
  EXPECT_EQ(PortTrouble(out), "");
  EXPECT_EQ(report(MidiDirection::Input).bytes, 1u);
  EXPECT_GE(report(MidiDirection::Input).quietMs, 300);
  rig.in().GetMidiInPort(0)->OnBytes({}, clock.NowUs());
  rig.out().SENDDATAX(0, LongSysEx(9000));
  clock.SleepMs(100);
  rig.end().Unplug();
  rig.system.MidiInPortsChanged();
  rig.system.MidiOutPortsChanged();
  rig.end().Plug();
  rig.system.MidiInPortsChanged();
  rig.system.MidiOutPortsChanged();
  EXPECT_EQ(PortTrouble(report(MidiDirection::Input)), "MIDI IN Synth: reconnected 1 time");
  EXPECT_EQ(report(MidiDirection::Output).reconnects, 1u);
  EXPECT_EQ(
      PortCells({MidiDirection::Input, "A", "jack", false, 12345, 1, "", 61'500, 2, 3, 0}),
      (std::array<std::string, kPortColumns>{"IN", "A", "jack", "gone", "12,345", "61 s ago", "1", "2", "3", ""}));
}

TEST_F(MidiPorts, AnEmptySelectionOpensNothingWithoutAWord) {
  ScriptedPrompts prompts({});
  MidiRig rig(clock, {"A"});
  rig.system.SetPrompts(&prompts);
  rig.system.MidiPortInClosePorts();
  rig.system.SetMidiInPortMap(PortMap());
  EXPECT_EQ(rig.system.MidiPortInOpenPortsFromMap(true), 0);
  EXPECT_TRUE(prompts.Log().empty());
}

TEST_F(MidiPorts, APortThatIsInUseIsNamedAndLeftOut) {
  ScriptedPrompts prompts({});
  MidiRig rig(clock, {"A"});
  rig.system.SetPrompts(&prompts);
  for (const bool input : {true, false}) {
    if (input) {
      rig.system.MidiPortInClosePorts();
    } else {
      rig.system.MidiPortOutClosePorts();
    }
    rig.end().SetFaults(input ? CableDirection::ToProgram : CableDirection::ToPeer, {.busyOpens = 1});
    PortMap map;
    map.AddPortName("A");
    if (input) {
      rig.system.SetMidiInPortMap(map);
      EXPECT_EQ(rig.system.MidiPortInOpenPortsFromMap(true), 0);
      EXPECT_TRUE(rig.system.inMap().names().empty());
    } else {
      rig.system.SetMidiOutPortMap(map);
      EXPECT_EQ(rig.system.MidiPortOutOpenPortsFromMap(true), 0);
      EXPECT_TRUE(rig.system.outMap().names().empty());
    }
  }
  const auto log = prompts.Log();
  ASSERT_EQ(log.size(), 4u);
  EXPECT_EQ(
      log[0].rfind("MIDI IN Port - A Open Error | A is currently in use and could not be opened by the editor.", 0),
      0u);
  EXPECT_EQ(log[1].rfind("MIDI IN Port Error | No MIDI IN Ports currently available!", 0), 0u);
  EXPECT_EQ(log[2].rfind("MIDI OUT Port - A Open Error | Unable to open the [ A ] MIDI OUT port.", 0), 0u);
}

TEST_F(MidiPorts, UnpluggingMovesTheFollowingPortsDown) {
  MidiRig rig(clock, {"A", "B", "C"});
  const auto c = rig.in().GetMidiInPort(2);
  rig.end(1).Unplug();
  EXPECT_EQ(rig.system.MidiInPortsChanged(), kPortsRemoved);
  EXPECT_EQ(rig.system.MidiOutPortsChanged(), kPortsRemoved);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Input), "A C ");
  EXPECT_EQ(rig.in().GetMidiInPort(1), c);
  EXPECT_EQ(c->slot(), 1);
  EXPECT_EQ(rig.out().GetMidiOutPort(1)->slot(), 1);
  EXPECT_EQ(rig.system.MidiInPortsChanged(), 0);
  rig.end(1).Plug();
  EXPECT_EQ(rig.system.MidiInPortsChanged(), kPortsAdded);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Input), "A C B ");
  // Away and back between two looks: the old handle is dead although the name is there.
  rig.end(0).Unplug();
  rig.end(0).Plug();
  EXPECT_EQ(rig.system.MidiInPortsChanged(), kPortsRemoved | kPortsAdded);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Input), "C B A ");
  rig.Reply("903C40");
  EXPECT_TRUE(rig.end().Flush(100));
  EXPECT_EQ(rig.in().GetMidiInPort(2)->BytesReceived(), 3u);
}

// A transfer on a removed port ends; it does not go on with the port that took its number.
TEST_F(MidiPorts, AReceiveStaysWithItsPort) {
  MidiRig rig(clock, {"A", "B"});
  WorkerThread actor(clock, [&] {
    clock.SleepMs(100);
    rig.end(0).Unplug();
    rig.system.MidiInPortsChanged();
    rig.end(1).Send(FromHex("F001F7"));
  });
  MidiBytes buffer(3, 0);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), -1);
  EXPECT_EQ(buffer[0], 0);
  actor.Join();
}

// While somebody uses their numbers, ports keep them; then the dead ones go and the change is told again.
TEST_F(MidiPorts, HeldNumbersDoNotMove) {
  MidiRig rig(clock, {"A", "B", "C"});
  int told = 0;
  rig.system.AddPortChangeListener([&] { ++told; });
  rig.system.CreatePortMonitorThread();
  auto hold = rig.out().numbers().Take();
  rig.end(0).Unplug();
  EXPECT_EQ(rig.system.MidiOutPortsChanged(), 0);
  EXPECT_EQ(rig.out().FindPort("A"), -1);
  EXPECT_EQ(rig.out().FindPort("C"), 2);
  EXPECT_EQ(rig.out().SENDDATAX(0, FromHex("903C40")), -1);
  rig.end(0).Plug();
  clock.SleepMs(100);
  EXPECT_EQ(rig.system.MidiOutPortsChanged(), kPortsAdded);
  EXPECT_EQ(rig.out().FindPort("A"), 3);
  told = 0;
  hold.reset();
  clock.SleepMs(100);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(rig.system.MidiOutPortsChanged(), kPortsRemoved);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Output), "B C A ");
}

TEST_F(MidiPorts, ChangesAreNoticedAtOnceAndByTheCount) {
  MidiRig rig(clock, {"A"});
  std::atomic<int> changes{0};
  rig.system.AddPortChangeListener([&] {
    ++changes;
    rig.system.MidiInPortsChanged();
    rig.system.MidiOutPortsChanged();
  });
  rig.system.CreatePortMonitorThread();
  clock.SleepMs(9500);
  EXPECT_EQ(changes, 0);
  auto fresh = rig.backend->CreateEndpoint("New");
  clock.SleepMs(100);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Output), "A New ");
  EXPECT_TRUE(rig.system.outMap().Listed("New"));
  rig.backend->SetChangeNotice({});
  rig.backend->RemoveEndpoint(fresh);
  clock.SleepMs(2100);
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(OpenNames(rig, MidiDirection::Output), "A ");
}

}  // namespace
}  // namespace tonalith
