#include <algorithm>
#include <mutex>

#include "data/hex_text.h"
#include "data/sysex_split.h"
#include "midi/port_system.h"
#include "platform/log.h"
#include "simulator/virtual_studio.h"
#include "studio/manual_dump_feed.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// The program around, with answers prepared.
struct DumpHost final : ManualDumpHost {
  ManualDumpMode Mode() const override { return mode; }
  std::vector<DataFile*> OpenData() override { return open; }
  void BeginChange(DataFile*) override { ++begun; }
  void EndChange(DataFile*, bool more) override { ended += !more; }
  bool Ask(const std::string& question) override {
    asked.push_back(question);
    if (whileAsking) std::exchange(whileAsking, {})();
    return answer;
  }
  void OpenNew(DataFilePtr dataFile) override { fresh.push_back(std::move(dataFile)); }
  void Tell(const std::string& sentence) override { told.push_back(sentence); }

  ManualDumpMode mode = ManualDumpMode::kAsk;
  std::vector<DataFile*> open;
  bool answer = true;
  std::function<void()> whileAsking;
  int begun = 0, ended = 0;
  std::vector<std::string> asked, told;
  std::vector<DataFilePtr> fresh;
};

// A DX7 and a D-50 on virtual cables whose panels send, in virtual time.
struct ManualDumpTest : ::testing::Test {
  struct Arrived {
    int port;
    Bytes message;
    std::int64_t timeUs;
  };

  ManualDumpTest() : here(clock), backend(std::make_shared<VirtualBackend>(clock)), midi(clock) {
    cables = std::make_unique<VirtualStudio>(*backend, VirtualStudio::Options{3125});
    std::string problem;
    for (const char* key : {"yamaha-dx7", "roland-d50"}) cables->Attach(SimulatedInstrument::Create(key, &problem));
    midi.AddBackend(backend);
    midi.Start();
    midi.MidiPortInOpenPorts();
    monitor = midi.in().AddMidiInMonitor([this](int port, std::span<const std::uint8_t> message) {
      const std::lock_guard lock(mutex);
      arrived.push_back({port, {message.begin(), message.end()}, clock.NowUs()});
    });
    for (std::size_t place = 0; place < cables->Count(); ++place) {
      const std::string name = cables->PortName(place);
      modules.studio().FindInstrument(name.substr(name.find(' ') + 1))->SetInPort(midi.in().FindPort(name), name);
    }
  }
  ~ManualDumpTest() override {
    midi.in().RemoveMidiInMonitor(monitor);
    for (const auto& instrument : modules.studio().instruments()) instrument->SetInPort(255, "");
    midi.Stop();
    cables.reset();
  }

  // What a button on the panel makes arrive.
  std::vector<Arrived> Press(std::size_t place, const char* key) {
    EXPECT_TRUE(cables->PanelSend(place, key));
    clock.SleepMs(30000);
    const std::lock_guard lock(mutex);
    return std::exchange(arrived, {});
  }
  void Feed(const std::vector<Arrived>& messages, bool inTransfer = false) {
    for (const Arrived& one : messages) dumps.Message(one.port, one.message, one.timeUs, inTransfer);
  }
  void Pause() { dumps.Tick(clock.NowUs() + ManualDumps::kPauseUs); }
  DataFilePtr New(const char* instrument, const char* type) {
    DataFilePtr data = modules.studio().GetNewDataFile(modules.studio().FindDriver(instrument, type));
    EXPECT_TRUE(data);
    return data;
  }

  InstalledModules& modules = InstalledModules::Instance();
  VirtualClock clock;
  ClockThread here;
  std::shared_ptr<VirtualBackend> backend;
  MidiPortSystem midi;
  std::unique_ptr<VirtualStudio> cables;
  DumpHost host;
  ManualDumps dumps{modules.studio(), host};
  std::mutex mutex;
  std::vector<Arrived> arrived;
  int monitor = 0;
};

constexpr std::size_t kDx7 = 0, kD50 = 1;

std::vector<Bytes> MessagesOf(std::span<const std::uint8_t> bytes) {
  std::vector<Bytes> messages;
  SysExSplitter splitter(bytes);
  for (SysExPiece piece; splitter.Next(&piece);) messages.emplace_back(piece.bytes.begin(), piece.bytes.end());
  return messages;
}

}  // namespace

TEST_F(ManualDumpTest, ADumpOfThePanelBecomesNewData) {
  const auto messages = Press(kDx7, "bank");
  ASSERT_EQ(messages.size(), 1u);
  Feed(messages);
  dumps.Tick(messages.back().timeUs + ManualDumps::kPauseUs - 1);
  EXPECT_TRUE(host.asked.empty()) << "more may come";
  Pause();
  ASSERT_EQ(host.asked.size(), 1u);
  EXPECT_NE(host.asked[0].find("Yamaha DX7 Voice Bank (checksum ok)"), std::string::npos) << host.asked[0];
  ASSERT_EQ(host.fresh.size(), 1u);
  EXPECT_EQ(Bytes(host.fresh[0]->body, host.fresh[0]->body + 4104), messages[0].message);
  EXPECT_EQ(host.fresh[0]->xtra->hasNoSysEx, 0);
  EXPECT_FALSE(dumps.Waiting());

  host.answer = false;
  Feed(Press(kDx7, "bank"));
  Pause();
  EXPECT_EQ(host.asked.size(), 2u);
  host.mode = ManualDumpMode::kTake;
  Feed(Press(kD50, "everything"));
  Pause();
  EXPECT_EQ(host.asked.size(), 2u) << "without a question";
  ASSERT_GT(host.fresh.size(), 1u);
  EXPECT_EQ(FieldText(host.fresh[1]->synth->shortName), "Roland D-50");
  host.mode = ManualDumpMode::kOff;
  Feed(Press(kDx7, "bank"));
  EXPECT_FALSE(dumps.Waiting());
}

// From the cable to the question, on the thread of the dispatcher.
TEST_F(ManualDumpTest, TheFeedBringsWhatNobodyAskedFor) {
  Dispatcher dispatcher(clock);
  PortsInUse used(clock);
  auto feed = std::make_unique<ManualDumpFeed>(midi.in(), used, clock, dispatcher, dumps);
  const auto pass = [&](std::int64_t seconds, const std::function<bool()>& done) {
    return dispatcher.RunUntil(done, clock.NowUs() + seconds * 1'000'000);
  };
  const auto never = [] { return false; };
  ASSERT_TRUE(cables->PanelSend(kDx7, "bank"));
  ASSERT_TRUE(pass(30, [&] { return !host.asked.empty(); }));
  ASSERT_EQ(host.fresh.size(), 1u);
  EXPECT_EQ(host.fresh[0]->bodySize, 4104u);
  used.Add(midi.in().FindPort(cables->PortName(kDx7)));
  ASSERT_TRUE(cables->PanelSend(kDx7, "bank"));
  pass(10, never);
  EXPECT_EQ(host.asked.size(), 1u) << "the answer to somebody else";
  used.ClearPortReceiveState(-1);
  pass(2, never);
  // A receive that has its last byte may give the port up before the feed hears of the message.
  const int receive = midi.in().AddMidiInMonitor([&](int port, auto) { used.ClearPortReceiveState(port); });
  feed.reset();
  feed = std::make_unique<ManualDumpFeed>(midi.in(), used, clock, dispatcher, dumps);
  used.Add(midi.in().FindPort(cables->PortName(kDx7)));
  ASSERT_TRUE(cables->PanelSend(kDx7, "bank"));
  pass(10, never);
  EXPECT_EQ(host.asked.size(), 1u) << "the answer to a receive that is just over";
  midi.in().RemoveMidiInMonitor(receive);
  ASSERT_TRUE(cables->PanelSend(kDx7, "bank"));
  clock.SleepMs(5000);
  feed.reset();
  pass(5, never);
  EXPECT_EQ(host.asked.size(), 1u) << "what was under way when the program ended";
}

TEST_F(ManualDumpTest, OpenDataTakesWhatItsMapKnows) {
  const DataFilePtr bank = New("DX7", "Voice Bank"), second = New("DX7", "Voice Bank"),
                    patches = New("D-50", "Patch Bank");
  host.open = {bank.get(), second.get(), patches.get()};
  const auto voices = Press(kDx7, "bank");
  Feed(voices);
  EXPECT_EQ(Bytes(bank->body, bank->body + 4104), voices.at(0).message);
  EXPECT_NE(Bytes(second->body, second->body + 4104), voices.at(0).message) << "the window in front takes it";
  EXPECT_EQ(host.begun, 1);
  Feed(voices);
  EXPECT_EQ(host.begun, 1) << "nothing new";

  const auto memory = Press(kD50, "patches");
  ASSERT_FALSE(memory.empty());
  Feed(Press(kD50, "everything"));
  Recognition found;
  Bytes dump;
  cables->With(kD50, [&](SimulatedInstrument& d50) { dump = d50.Dump(); });
  ASSERT_TRUE(modules.recognizer().Recognize(dump, &found).ok());
  EXPECT_EQ(Bytes(patches->body, patches->body + 28672),
            Bytes(found.pieces.at(0).data->body, found.pieces.at(0).data->body + 28672));
  EXPECT_EQ(patches->xtra->hasNoSysEx, 0);
  EXPECT_TRUE(std::all_of(patches->emptyMap, patches->emptyMap + 8, [](std::uint8_t b) { return b == 0; }));
  EXPECT_EQ(host.begun, 2) << "one undo step for the whole dump";
  host.answer = false;
  Pause();

  // The same on another input belongs to another instrument.
  auto elsewhere = voices;
  elsewhere[0].port = 7;
  const Bytes former(bank->body, bank->body + 4104);
  bank->body[10] ^= 1;
  Feed(elsewhere);
  EXPECT_NE(Bytes(bank->body, bank->body + 4104), former);
}

// More single patches than windows: none is left out.
TEST_F(ManualDumpTest, ManyPatchesBecomeABank) {
  const DataFilePtr single = New("K4", "Single");
  host.mode = ManualDumpMode::kTake;
  const Bytes message(single->body, single->body + single->synth->fileSize);
  Feed(std::vector<Arrived>(20, {6, message, clock.NowUs()}));
  Pause();
  ASSERT_EQ(host.fresh.size(), 1u);
  EXPECT_EQ(FieldText(host.fresh[0]->synth->typeName), "Single Bank");
  EXPECT_EQ(modules.recognizer().Patches(*host.fresh[0]).size(), 20u);
}

TEST_F(ManualDumpTest, DamageIsNeverTakenForGood) {
  const DataFilePtr bank = New("DX7", "Voice Bank"), patches = New("D-50", "Patch Bank");
  const Bytes before(bank->body, bank->body + 4104), beforePatches(patches->body, patches->body + 28672);
  host.open = {bank.get(), patches.get()};
  host.mode = ManualDumpMode::kTake;
  host.answer = false;
  auto voices = Press(kDx7, "bank");
  voices.at(0).message[100] ^= 1;
  Feed(voices);
  EXPECT_EQ(Bytes(bank->body, bank->body + 4104), before);
  auto memory = Press(kD50, "patches");
  memory.at(0).message[20] ^= 1;
  memory.resize(1);
  Feed(memory);
  EXPECT_EQ(Bytes(patches->body, patches->body + 28672), beforePatches);
  ASSERT_EQ(host.told.size(), 2u);
  EXPECT_NE(host.told[0].find("checksum"), std::string::npos);

  host.open.clear();
  Pause();
  Feed(voices);
  Pause();
  ASSERT_EQ(host.asked.size(), 1u) << "asked although it should be silent";
  EXPECT_NE(host.asked[0].find("damaged"), std::string::npos);
  EXPECT_TRUE(host.fresh.empty());
  voices[0].message.pop_back();
  Feed(voices);
  EXPECT_FALSE(dumps.Waiting()) << "a message without an end";
}

TEST_F(ManualDumpTest, TransfersAndStrangersAreLeftAlone) {
  const auto voices = Press(kDx7, "bank");
  Feed(voices, true);
  EXPECT_FALSE(dumps.Waiting());
  Feed(voices);
  EXPECT_FALSE(dumps.Waiting()) << "right behind a transfer";
  auto later = voices;
  later[0].timeUs += 2 * ManualDumps::kPauseUs;
  // Something comes while the question is open.
  host.whileAsking = [&] {
    Feed(later);
    dumps.Tick(later[0].timeUs + 2 * ManualDumps::kPauseUs);
    EXPECT_TRUE(dumps.Waiting()) << "one question at a time";
  };
  Feed(later);
  dumps.Tick(later[0].timeUs + 2 * ManualDumps::kPauseUs);
  EXPECT_EQ(host.fresh.size(), 2u);
  const std::size_t asked = host.asked.size();
  dumps.Message(0, Bytes{0xF0, 0x7D, 0x01, 0x02, 0xF7}, later[0].timeUs, false);
  dumps.Tick(later[0].timeUs + 2 * ManualDumps::kPauseUs);
  EXPECT_EQ(host.asked.size(), asked);
  EXPECT_NE(Log::Instance().Lines(LogChannel::Monitor).back().find("F0 7D 01 02 F7"), std::string::npos);
}

// Maps are made from the rules that recognise files, but put data in their places in another way: both must agree.
TEST_F(ManualDumpTest, MapsAgreeWithWhatIsRecognised) {
  std::size_t taken = 0;
  for (const auto& [name, key] : modules.keys()) {
    std::string problem;
    const auto instrument = SimulatedInstrument::Create(key, &problem);
    if (!instrument) continue;
    const Bytes dump = instrument->Dump();
    Recognition found;
    modules.recognizer().Recognize(dump, &found);
    for (const RecognizedPiece& piece : found.pieces) {
      ZKDrvList* driver = modules.studio().GetDriverWithID(piece.driverId);
      ASSERT_TRUE(driver);
      if (!driver->SysExMap()) continue;
      const DataFilePtr data = modules.studio().GetNewDataFile(driver);
      SysXBase base;
      std::size_t copied = 0;
      for (const Bytes& message : MessagesOf(std::span(dump).subspan(piece.offset, piece.length))) {
        const std::size_t index = driver->SysExMap()->Validate(*data, message, base);
        if (index != BufferDescriptor::kNoMatch) copied += driver->SysExMap()->Copy(index, data.get(), message, base);
      }
      if (copied == 0) continue;
      ++taken;
      EXPECT_EQ(HexText(BodySpan(*data)), HexText(BodySpan(*piece.data))) << name << ", " << piece.dataType;
    }
  }
  EXPECT_GT(taken, 20u);
}

TEST_F(ManualDumpTest, EveryTypeThatIsAskedForHasAMapOrNeedsNone) {
  EXPECT_EQ(modules.studio().OnDriversMissingDescriptor(), "");
}

}  // namespace tonalith
