#include "tests/transfer/engine_rig.h"

#include <new>

#include "script/protocols/protocol_line.h"

namespace tonalith::transfer_test {
namespace {

// Built-in transfers with the simulated instruments, over cables of MIDI speed.
struct SimulatedTransfer : ::testing::Test, EngineRig {
  std::size_t Plug(const std::string& key) {
    std::string problem;
    auto instrument = SimulatedInstrument::Create(key, &problem);
    EXPECT_NE(instrument, nullptr) << problem;
    instrument->SetMemoryProtect(false);
    return studio->Attach(std::move(instrument));
  }
  void Faults(std::size_t place, const std::string& text) {
    std::string problem;
    const auto plan = FaultPlan::Parse(text, &problem);
    ASSERT_TRUE(plan) << problem;
    studio->With(place, [&](SimulatedInstrument& instrument) { instrument.SetFaults(*plan); });
  }
  Bytes Memory(std::size_t place) {
    Bytes memory;
    studio->With(place, [&](SimulatedInstrument& instrument) { memory = instrument.Memory(); });
    return memory;
  }

  DataFilePtr Dx7Bank(std::size_t place) {
    auto df = MakeData(4104, 32);
    Synth& s = *df->synth;
    SetText(s.shortName, "DX7");
    s.headerSize = 6;
    s.voiceSize = s.voiceBytes = 128;
    s.manufacturerId = 0x43;
    s.dumpRequestSize = 5;
    const Bytes request = Hex("F0 43 20 09 F7");
    std::copy(request.begin(), request.end(), s.dumpRequest);
    s.dumpRequestHasChannel = s.hasSysExChannel = 1;
    s.dumpRequestChannelOffset = 2;
    s.sysExChannelOffset = 2;
    s.checksumStart = 6;
    s.checksumLength = 4096;
    s.checksumOffset = 4102;
    UsePort(*df, studio->PortName(place));
    return df;
  }
  DataFilePtr D50Memory(std::size_t place, bool handshake) {
    auto df = MakeData(34688);
    Synth& s = *df->synth;
    SetText(s.shortName, "D-50");
    s.manufacturerId = kRolandId;
    s.optionBits = 3;
    s.allowsNonSysEx = 1;
    s.dumpRequest[0] = 0x14;
    s.dumpRequest[6] = 255;
    s.rolandAddress[0] = 2;
    s.rolandSize[0] = 2;
    s.rolandHandshake = handshake;
    UsePort(*df, studio->PortName(place));
    return df;
  }
  DataFilePtr CasioTone(std::size_t place) {
    auto df = MakeData(258);
    Synth& s = *df->synth;
    SetText(s.shortName, "CZ-101");
    s.fileSize = 257;
    s.manufacturerId = 0x44;
    s.protocolLetter = 'H';
    s.dumpRequest[0] = 0xF0;
    s.dumpRequest[1] = 0x44;
    UsePort(*df, studio->PortName(place));
    return df;
  }
  DataFilePtr KorgPrograms(std::size_t place) {
    Bytes all;
    studio->With(place, [&](SimulatedInstrument& instrument) { all = instrument.DumpOf("programs"); });
    auto df = MakeData(static_cast<std::uint32_t>(all.size() + all.size() % 2));
    Synth& s = *df->synth;
    SetText(s.shortName, "M1");
    s.fileSize = static_cast<std::uint32_t>(all.size());
    s.manufacturerId = 0x42;
    s.protocolLetter = 'L';
    s.dumpRequestSize = 7;
    const Bytes request = Hex("F0 42 30 19 1C 00 F7");
    std::copy(request.begin(), request.end(), s.dumpRequest);
    s.dumpRequestHasChannel = 1;
    s.dumpRequestChannelOffset = 2;
    UsePort(*df, studio->PortName(place));
    return df;
  }
};

// Asked for when the patch bay is switched, on the thread of the transfer.
struct ShortOfMemory final : TransferPreferences {
  int PatchBayDelay() const override {
    if (isShort) throw std::bad_alloc();
    return 0;
  }
  bool isShort = true;
};

TEST_F(SimulatedTransfer, ShortMemoryEndsATransferAndTheNextOneRuns) {
  const std::size_t dx7 = Plug("yamaha-dx7");
  Start();
  ShortOfMemory memory;
  engine = std::make_unique<TransferEngine>(*services, prompts, &system.out(), &memory);
  services->SetTransferEngine(engine.get());
  auto data = Dx7Bank(dx7);
  data->synth->patchBayFlags = 1;
  data->synth->patchBayPort = data->synth->midiOutPort;
  const TransferResult ended = Receive(*data);
  EXPECT_FALSE(ended.ok);
  EXPECT_EQ(ended.code, transfer_code::kNoMemory);
  EXPECT_NE(EndSentence(FactsOf(ended)).find("emory"), std::string::npos) << EndSentence(FactsOf(ended));
  memory.isShort = false;
  EXPECT_TRUE(Receive(*data).ok);
}

TEST_F(SimulatedTransfer, WhatIsReceivedAndSentBackIsTheSame) {
  const std::size_t dx7 = Plug("yamaha-dx7");
  const std::size_t d50 = Plug("roland-d50");
  const std::size_t cz = Plug("casio-cz101");
  const std::size_t m1 = Plug("korg-m1");
  Start();
  struct Case {
    std::size_t place;
    DataFilePtr data;
  };
  std::vector<Case> cases;
  cases.push_back({dx7, Dx7Bank(dx7)});
  cases.push_back({d50, D50Memory(d50, false)});
  cases.push_back({d50, D50Memory(d50, true)});
  cases.push_back({cz, CasioTone(cz)});
  cases.push_back({m1, KorgPrograms(m1)});
  for (Case& c : cases) {
    SCOPED_TRACE(studio->PortName(c.place) + (c.data->synth->rolandHandshake ? " handshake" : ""));
    const auto received = Receive(*c.data);
    ASSERT_TRUE(received.ok) << EndSentence(FactsOf(received));
    const Bytes before = Memory(c.place);
    const Bytes first(c.data->body, c.data->body + c.data->bodySize);
    studio->With(c.place, [](SimulatedInstrument& instrument) {
      const auto entry = instrument.PanelList().at(0);
      instrument.Rename(entry.area, entry.item, "OTHER");
    });
    TransferRequest request;
    request.operation = TransferOperation::kTransmit;
    request.dataFile = c.data.get();
    request.background = true;
    std::shared_ptr<Transfer> transfer;
    ASSERT_EQ(engine->MidiIODataFile(request, &transfer), 1);
    ASSERT_TRUE(transfer->Wait(3'600'000));
    EXPECT_TRUE(transfer->Result().ok) << EndSentence(FactsOf(transfer->Result()));
    system.out().MidiOutWaitIdle(c.data->synth->midiOutPort);
    clock.SleepMs(3000);
    EXPECT_EQ(Memory(c.place), before);
    const auto again = Receive(*c.data);
    EXPECT_TRUE(again.ok) << EndSentence(FactsOf(again));
    EXPECT_EQ(Bytes(c.data->body, c.data->body + c.data->bodySize), first);
  }
  Bytes bank;
  studio->With(dx7, [&](SimulatedInstrument& instrument) { bank = instrument.DumpOf("bank"); });
  EXPECT_EQ(Bytes(cases[0].data->body, cases[0].data->body + 4104), bank);
}

// A transfer that goes wrong ends by itself, says so, and leaves the former data alone.
TEST_F(SimulatedTransfer, FaultsNeverHarmFormerData) {
  const std::size_t dx7 = Plug("yamaha-dx7");
  const std::size_t d50 = Plug("roland-d50");
  const std::size_t cz = Plug("casio-cz101");
  Start();
  const struct {
    std::size_t place;
    int kind;  // 0 DX7 bank, 1 D-50 one way, 2 D-50 handshake, 3 CZ tone
    const char* faults;
    bool ok;
  } cases[] = {
      {dx7, 0, "no-reply:times=9", false},
      {dx7, 0, "lost-byte:at=2000,times=9", false},
      {dx7, 0, "truncated-reply:at=2000,times=2", true},  // the third answer is whole
      {dx7, 0, "realtime-inside:at=2000", true},
      {dx7, 0, "late-reply:delay=1000", true},
      {d50, 1, "truncated-reply:reply=3,at=20", true},
      {d50, 1, "no-reply:reply=4,times=99", false},
      {d50, 1, "no-reply:reply=4,times=2", true},
      {d50, 1, "double-reply:reply=2", true},
      {d50, 2, "no-reply:reply=4", true},
      {d50, 2, "truncated-reply:reply=3,at=20", true},
      {d50, 2, "truncated-reply:reply=0,at=20,times=99", false},
      {d50, 2, "no-reply:reply=4,times=9", false},
      {cz, 3, "no-reply:reply=1", true},
      {cz, 3, "lost-byte:reply=0,at=20,times=99", false},
      {dx7, 0, "port-vanishes:at=2000", false},
      {d50, 1, "port-vanishes:at=2000", false},
      {cz, 3, "port-vanishes:at=100", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(studio->PortName(c.place) + " " + c.faults);
    DataFilePtr df = c.kind == 0   ? Dx7Bank(c.place)
                     : c.kind == 3 ? CasioTone(c.place)
                                   : D50Memory(c.place, c.kind == 2);
    for (std::uint32_t i = 1; i < df->bodySize; ++i) df->body[i] = 0x2A;
    const Bytes before(df->body, df->body + df->bodySize);
    Faults(c.place, c.faults);
    const std::int64_t start = clock.NowUs();
    const auto result = Receive(*df);
    EXPECT_EQ(result.ok, c.ok) << EndSentence(FactsOf(result));
    EXPECT_EQ(result.cause == TransferCause::kNone, c.ok);
    EXPECT_LT(clock.NowUs() - start, 60'000'000);
    const bool same = Bytes(df->body, df->body + df->bodySize) == before;
    EXPECT_NE(same, c.ok);
    Faults(c.place, "");
    clock.SleepMs(10'000);
  }
}

}  // namespace
}  // namespace tonalith::transfer_test
