#include "platform/text.h"
#include "tests/transfer/engine_rig.h"

namespace tonalith::transfer_test {
namespace {

struct Engine : ::testing::Test, EngineRig {
  DataFilePtr MockBank(std::uint32_t patches = 8) {
    auto df = MakeData(20 * patches, patches);
    df->synth->patchByPatch = 1;
    SetScript(*df, true, kPatchReceive);
    for (std::uint32_t i = 0; i < df->emptyMapSize; ++i) df->emptyMap[i] = 0xFF;
    AllocChunk(&df->voiceNames, &df->voiceNamesSize, kVoiceNameSize * patches);
    UsePort(*df, "Mock");
    return df;
  }
  DataFilePtr MockVoice(std::uint32_t size = 20) {
    auto df = MakeData(size);
    SetScript(*df, true, kPatchReceive);
    UsePort(*df, "Mock");
    return df;
  }
};

std::vector<Bytes> AnswerPatch(const Bytes& request, int) {
  return request.size() == 7 ? std::vector<Bytes>{MockPatch(request[5], 0x11)} : std::vector<Bytes>{};
}

TEST_F(Engine, SelectedPatchesOnly) {
  Start();
  Answer(AnswerPatch);
  auto df = MockBank();
  Bytes mask{0, 1, 0, 0, 1, 0, 1, 0};
  df->transferMask = mask.data();
  df->transferMaskSize = mask.size();
  SetText(df->synth->typeKey, "MCK");
  std::memcpy(df->voiceNames + 4 * kVoiceNameSize, "Kept", 5);
  auto diary = std::make_shared<Diary>();
  const Bytes before(df->body, df->body + df->bodySize);
  const auto result = Receive(*df, diary, 1);
  df->transferMask = nullptr;
  EXPECT_TRUE(result.ok) << EndSentence(FactsOf(result));
  EXPECT_EQ(result.patchesToDo, 3);
  EXPECT_EQ(peer->HeardText(), "F0 3E 11 00 05 01 F7\nF0 3E 11 00 05 04 F7\nF0 3E 11 00 05 06 F7\n");
  EXPECT_EQ(diary->Lines(), "opened Receiving: Mock Bank\nprogress 1/3\nprogress 2/3\nprogress 3/3\nclosed 1\n");
  for (std::uint32_t i = 0; i < 8; ++i) {
    const bool selected = mask[i] != 0;
    EXPECT_EQ(MapBit(df->emptyMap, df->emptyMapSize, i), !selected) << i;
    const Bytes slot(df->body + i * 20, df->body + i * 20 + 20);
    EXPECT_EQ(slot, selected ? MockPatch(static_cast<int>(i), 0x11)
                             : Bytes(before.begin() + i * 20, before.begin() + i * 20 + 20));
  }
  EXPECT_STREQ(df->voiceNames + 1 * kVoiceNameSize, "MCK from Mock One");
  EXPECT_STREQ(df->voiceNames + 4 * kVoiceNameSize, "Kept");
  EXPECT_STREQ(df->voiceNames, "");
  EXPECT_EQ(+df->synth->fileSize, 160U);
  EXPECT_NE(+df->synth->timeStamp, 0U);
}

TEST_F(Engine, CancelInTheMiddleLeavesTheFormerData) {
  Start();
  Answer(AnswerPatch);
  for (const bool abandon : {false, true}) {
    auto df = MockBank();
    const Bytes before(df->body, df->body + df->bodySize);
    auto diary = std::make_shared<Diary>();
    TransferRequest request;
    request.dataFile = df.get();
    request.observer = diary;
    request.showWindow = 1;
    std::shared_ptr<Transfer> transfer;
    diary->onProgress = [&](int done) {
      if (done != 3) return;
      const auto running = engine->TransferOf(df.get());
      ASSERT_NE(running, nullptr);
      if (abandon) {
        engine->CancelAll();
      } else {
        running->Press(TransferState::Cancel);
      }
    };
    ASSERT_EQ(engine->MidiIODataFile(request, &transfer), 1);
    ASSERT_TRUE(transfer->Wait(60000));
    EXPECT_FALSE(transfer->Result().ok);
    EXPECT_EQ(EndSentence(FactsOf(transfer->Result())),
              "Receiving the Mock One Bank was cancelled (3 of 8 patches had come).");
    EXPECT_EQ(transfer->Result().patchesDone, 3);
    EXPECT_FALSE(transfer->Result().changed);
    EXPECT_EQ(Bytes(df->body, df->body + 160), before);
    diary->onProgress = nullptr;
  }
}

// With a window a silent instrument is waited for, until a button is pressed.
TEST_F(Engine, ButtonsEndAWholeReceive) {
  Start();
  Answer([](const Bytes&, int) {
    Bytes dump = MockPatch(0, 0x22);
    dump.resize(12);
    return std::vector<Bytes>{dump};
  });
  const struct {
    TransferState button;
    std::uint8_t optionBits;
    bool kept;
  } cases[] = {{TransferState::Cancel, 3, false},
               {TransferState::CancelAll, 0, false},
               {TransferState::Ok, 0, true},
               {TransferState::Ok, 3, false}};
  for (const auto& c : cases) {
    auto df = MockVoice();
    df->synth->optionBits = c.optionBits;
    const Bytes before(df->body, df->body + df->bodySize);
    TransferRequest request;
    request.dataFile = df.get();
    request.observer = std::make_shared<Diary>();
    request.showWindow = 1;
    std::shared_ptr<Transfer> transfer;
    ASSERT_EQ(engine->MidiIODataFile(request, &transfer), 1);
    EXPECT_FALSE(transfer->Wait(600'000));
    EXPECT_TRUE(engine->Busy(df.get()));
    EXPECT_EQ(transfer->View().bytes, "Bytes Received: 12");
    EXPECT_EQ(transfer->View().percent, 60);
    // The same instrument again is refused.
    EXPECT_EQ(engine->MidiIODataFile(request), 0);
    transfer->Press(c.button);
    ASSERT_TRUE(transfer->Wait(1000));
    EXPECT_TRUE(transfer->ReceivedSomething());
    EXPECT_EQ(transfer->Result().ok, c.kept);
    EXPECT_EQ(+df->synth->fileSize, c.kept ? 12U : 20U);
    if (!c.kept) {
      EXPECT_EQ(Bytes(df->body, df->body + df->bodySize), before);
    } else {
      EXPECT_EQ(df->bodySize, 12U);
    }
  }
  EXPECT_EQ(prompts.Log().at(0),
            "MIDI I/O | The MIDI IN port 1 (Mock)\\nis currently in use with another MIDI device.\\n"
            "Please retry when the port is free. | ok -> ok");
}

TEST_F(Engine, ErrorsRetriesAndTexts) {
  Start();
  const Bytes good = MockPatch(0, 0x33);
  Bytes little = good;
  little.erase(little.begin() + 8);
  Bytes foreign = good;
  foreign[1] = 0x43;
  const std::string heard = "F0 3E 11 00 05 00 F7\n";
  struct Case {
    const char* name;
    std::string before;  // statements in front of the script
    std::uint8_t bits;
    std::vector<Bytes> replies;  // one for each request, then silence; an empty one is silence too
    bool ok;
    int code;
    std::size_t requests;
    std::string message;  // line of the message area
  };
  const std::string behind = "\r\nwhen receiving a Mock Voice";
  const Case cases[] = {
      {"missing bytes, third time lucky", "", 3, {little, little, good}, true, 0, 3, ""},
      {"missing bytes",
       "",
       3,
       {little, little, little, good},
       false,
       -3,
       3,
       "ERROR! After 3 attempts, SysX data is continually missing bytes! Continuing..." + behind},
      {"foreign", "", 3, {foreign}, false, -7, 3, "ERROR! Incorrect SysX Company ID!" + behind},
      {"silent", "", 11, {}, false, -15, 3, ""},
      {"silent, retries", "SetRetryOnTimeout 3 ", 11, {}, false, -15, 4, ""},
      {"late", "SetRetryOnTimeout 2 ", 11, {{}, {}, good}, true, 0, 3, ""},
      {"short reply", "", 1, {little}, true, 0, 1, ""},
      {"bad command",
       "TIMEOUT 50 ",
       3,
       {},
       false,
       -15,
       3,
       "After multiple attempts, no response from instrument! Continuing..." + behind},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Answer([&c](const Bytes&, int number) {
      const auto index = static_cast<std::size_t>(number) - 1;
      return index < c.replies.size() && !c.replies[index].empty() ? std::vector<Bytes>{c.replies[index]}
                                                                   : std::vector<Bytes>{};
    });
    auto df = MockVoice();
    SetScript(*df, true, c.before + kPatchReceive);
    df->synth->optionBits = c.bits;
    const Bytes before(df->body, df->body + df->bodySize);
    auto diary = std::make_shared<Diary>();
    const auto result = Receive(*df, diary, 1);
    EXPECT_EQ(result.ok, c.ok) << EndSentence(FactsOf(result));
    EXPECT_EQ(result.code, c.code);
    EXPECT_EQ(peer->Heard().size(), c.requests);
    EXPECT_EQ(diary->Lines(), "opened Receiving: Mock Voice\n" +
                                  (c.message.empty() ? "" : "message " + c.message + "\n") + "closed " +
                                  (c.ok ? "1" : "0") + "\n");
    if (!c.ok) {
      EXPECT_EQ(Bytes(df->body, df->body + df->bodySize), before);
    } else if (c.bits == 1) {
      EXPECT_EQ(+df->synth->fileSize, 19U);
      EXPECT_EQ(df->bodySize, 20U);
    }
    peer.reset();
  }
}

TEST_F(Engine, VanishedPortsEndWithASentence) {
  Start();
  Answer([this](const Bytes& request, int number) -> std::vector<Bytes> {
    if (number == 3) mock->Unplug();
    return AnswerPatch(request, number);
  });
  auto df = MockBank();
  const auto result = Receive(*df, std::make_shared<Diary>(), 1);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.patchesDone, 2);
  EXPECT_EQ(
      EndSentence(FactsOf(result)),
      "Receiving the Mock One Bank (patch 3) ended: its MIDI port is no longer available (2 of 8 patches had come).");
  system.MidiInPortsChanged();
  system.MidiOutPortsChanged();
  EXPECT_EQ(EndSentence(FactsOf(Receive(*df))), "No MIDI IN port is open for the Mock One Bank.");
}

// Closing the owner while the engine's work is queued to its thread: nothing is written to freed data.
// Numbers move when ports come and go; the name says which port is meant.
TEST_F(Engine, NothingGoesToTheNeighbourOfAMissingPort) {
  Start();
  backend->CreateEndpoint("Neighbour", options);
  ASSERT_NE(system.MidiOutPortsChanged() & system.MidiInPortsChanged() & kPortsAdded, 0);
  Answer(AnswerPatch);
  auto df = MockVoice();
  SetScript(*df, false, "T 20 ]");
  const auto name = [&](const std::string& in, const std::string& out) {
    AllocChunk(&df->midiInPortName, &df->midiInPortNameSize, 256);
    AllocChunk(&df->midiOutPortName, &df->midiOutPortNameSize, 256);
    CopyText(df->midiInPortName, 256, in);
    CopyText(df->midiOutPortName, 256, out);
  };
  const int number = df->synth->midiOutPort;
  const struct {
    const char* in;
    const char* out;
    TransferOperation operation;
    const char* said;
  } missing[] = {
      {"Mock", "Pulled", TransferOperation::kReceive, "No MIDI OUT port is open for the Mock One."},
      {"Pulled", "Mock", TransferOperation::kReceive, "No MIDI IN port is open for the Mock One."},
      {"Mock", "Pulled", TransferOperation::kTransmit, "No MIDI OUT port is open for the Mock One."},
  };
  for (const auto& c : missing) {
    name(c.in, c.out);
    TransferRequest request;
    request.dataFile = df.get();
    request.operation = c.operation;
    std::shared_ptr<Transfer> transfer;
    EXPECT_EQ(engine->MidiIODataFile(request, &transfer), 0);
    EXPECT_EQ(transfer, nullptr);
    EXPECT_NE(prompts.Log().back().find(std::string(c.said) + "\\nIts port \"Pulled\" is not connected."),
              std::string::npos)
        << prompts.Log().back();
    EXPECT_FALSE(engine->Busy(df.get()));
    EXPECT_EQ(df->synth->midiOutPort, number) << "the number is kept";
  }
  name("mock", "MOCK");
  df->synth->midiInPort = static_cast<std::uint8_t>(system.in().FindPort("Neighbour"));
  df->synth->midiOutPort = static_cast<std::uint8_t>(system.out().FindPort("Neighbour"));
  EXPECT_EQ(engine->MissingPort(*df, TransferOperation::kReceive), "");
  EXPECT_TRUE(Receive(*df).ok);
  EXPECT_EQ(peer->Heard().size(), 1u);
}

// A timeout is the silence of the instrument, not of our own output; and it may answer faster than a script comes to
// its receive.
TEST_F(Engine, RepliesBeforeTheReceiveAndRequestsBehindADelay) {
  Start();
  Answer(AnswerPatch);
  for (const char* script :
       {"S 7 { F0 3E 11 00 05 00 F7 } T 7 SLEEP 40 A R 20 ]", "D 300000 S 7 { F0 3E 11 00 05 00 F7 } TR 7 R 20 ]",
        "D 300000 S 7 { F0 3E 11 00 05 00 F7 } T 7 A R 20 ]"}) {
    auto df = MockVoice();
    SetScript(*df, true, script);
    const auto result = Receive(*df);
    EXPECT_TRUE(result.ok) << script << ": " << EndSentence(FactsOf(result));
    EXPECT_EQ(Bytes(df->body, df->body + 20), MockPatch(0, 0x11));
  }
  // What an earlier transfer left over is not the answer to this one.
  peer.reset();
  Answer([](const Bytes&, int number) {
    std::vector<Bytes> answers{MockPatch(0, static_cast<std::uint8_t>(number))};
    if (number == 1) answers.push_back(MockPatch(0, 0x7F));
    return answers;
  });
  for (const std::uint8_t number : {std::uint8_t{1}, std::uint8_t{2}}) {
    auto df = MockVoice();
    SetScript(*df, true, "S 7 { F0 3E 11 00 05 00 F7 } T 7 A R 20 ]");
    EXPECT_TRUE(Receive(*df).ok);
    EXPECT_EQ(Bytes(df->body, df->body + 20), MockPatch(0, number));
    clock.SleepMs(100);
  }
}

TEST_F(Engine, OwnerCloses) {
  std::mutex mutex;
  std::vector<std::function<void()>> queue;
  Start([&](std::function<void()> work) {
    std::lock_guard guard(mutex);
    queue.push_back(std::move(work));
  });
  Answer(AnswerPatch);
  auto df = MockBank(4);
  auto diary = std::make_shared<Diary>();
  TransferRequest request;
  request.dataFile = df.get();
  request.observer = diary;
  std::shared_ptr<Transfer> transfer;
  ASSERT_EQ(engine->MidiIODataFile(request, &transfer), 1);
  clock.SleepMs(5000);
  EXPECT_TRUE(transfer->Running());  // everything waits in the queue
  EXPECT_EQ(df->body[5], 0);
  df.reset();
  EXPECT_TRUE(engine->locks().All().empty());
  for (std::size_t i = 0; i < queue.size(); ++i) queue[i]();
  EXPECT_FALSE(transfer->Running());
  EXPECT_NE(diary->Lines().find("progress 4/4\n"), std::string::npos);
}

// A send is one when the instrument said so to every patch; what it refuses or leaves open goes out again.
TEST_F(Engine, ASendEndsAsTheInstrumentAnswers) {
  Start();
  const std::string acked = "S 6 { F0 3E 10 22 7F F7 } SetWaitForACK 500 T 20 ]";
  const std::string asked = "TR 20 GA 6 GN R 6 GO GF 0 ]";
  // What comes to the first messages: y: taken, n: refused, -: nothing, d: another device refuses.  Then always y, but
  // behind a '*' always the last.
  const struct {
    std::string script, answers;
    bool ok;
    TransferCause cause;
    std::size_t heard;
    std::vector<int> notTaken;
  } cases[] = {
      {acked, "", true, TransferCause::kNone, 4, {}},
      {acked, "n", true, TransferCause::kNone, 5, {}},
      {acked, "y--y", true, TransferCause::kNone, 6, {}},
      {acked, "dd", true, TransferCause::kNone, 6, {}},
      {acked, "ynnny", false, TransferCause::kNotTaken, 6, {1}},
      {acked, "yy-*", false, TransferCause::kNoAnswer, 5, {2, 3}},
      {acked, "n*", false, TransferCause::kNotTaken, 12, {0, 1, 2, 3}},
      {asked, "yy-", true, TransferCause::kNone, 5, {}},
      {asked, "y-*", false, TransferCause::kNoAnswer, 4, {1, 2, 3}},
      {"T 20 MV0 = 0 MV0 - 10 RET V0 ]", "y*", false, TransferCause::kNotTaken, 12, {0, 1, 2, 3}},
      {"TR 20 GA 6 GN R 6 GO GF 0 IFL V10 MV0 = 0 RET V0 IFX ]", "-*", true, TransferCause::kNone, 4, {}},
      {"TR 20 ]", "y*", false, TransferCause::kCode, 0, {0, 1, 2, 3}},
      {"T 20 ]", "-*", true, TransferCause::kNone, 4, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script + c.answers);
    Answer([&](const Bytes&, int number) -> std::vector<Bytes> {
      const bool forever = !c.answers.empty() && c.answers.back() == '*';
      const std::size_t given = c.answers.size() - (forever ? 1 : 0);
      const auto at = static_cast<std::size_t>(number - 1);
      switch (at < given ? c.answers[at] : forever ? c.answers[given - 1] : 'y') {
        case 'n':
          return {Hex("F0 3E 10 22 7E F7")};
        case 'd':
          return {Hex("F0 3E 11 22 7F F7")};
        case 'y':
          return {Hex("F0 3E 10 22 7F F7")};
        default:
          return {};
      }
    });
    auto df = MakeData(80, 4);
    df->synth->patchByPatch = 1;
    df->synth->sysExChannelOffset = 2;
    df->synth->sysExChannelMax = 31;
    df->synth->sysExChannel = 16;
    for (std::uint32_t i = 0; i < 4; ++i) df->body[i * 20 + 19] = 0xF7;
    SetScript(*df, false, c.script);
    UsePort(*df, "Mock");
    TransferRequest request;
    request.operation = TransferOperation::kTransmit;
    request.dataFile = df.get();
    request.background = true;
    request.observer = std::make_shared<Diary>();
    std::shared_ptr<Transfer> transfer;
    ASSERT_EQ(engine->MidiIODataFile(request, &transfer), 1);
    ASSERT_TRUE(transfer->Wait(600'000));
    const TransferResult result = transfer->Result();
    system.out().MidiOutWaitIdle(+df->synth->midiOutPort);
    clock.SleepMs(2000);
    EXPECT_EQ(result.ok, c.ok) << EndSentence(FactsOf(result));
    EXPECT_EQ(static_cast<int>(result.cause), static_cast<int>(c.cause)) << EndSentence(FactsOf(result));
    EXPECT_EQ(peer->Heard().size(), c.heard);
    std::vector<int> notTaken;
    for (const PatchFault& fault : result.faults) notTaken.push_back(fault.patch);
    EXPECT_EQ(notTaken, c.notTaken);
  }
}

TEST_F(Engine, TransmitsPatchesMarksAndWholes) {
  Start();
  Answer([](const Bytes&, int) { return std::vector<Bytes>{}; });
  auto df = MockBank(6);
  // Byte 6 tells the flags: 1 first, 2 last patch.
  SetScript(*df, false, "F X 5 F V999 6 T 20 ]");
  for (std::uint32_t i = 0; i < 6; ++i) {
    const Bytes patch = MockPatch(0, static_cast<std::uint8_t>(i));
    std::copy(patch.begin(), patch.end(), df->body + i * 20);
    SetMapBit(df->emptyMap, df->emptyMapSize, i, i == 5);
  }
  Bytes mask{0, 1, 0, 1, 1, 1};
  df->transferMask = mask.data();
  df->transferMaskSize = mask.size();
  EXPECT_GE(engine->MidiIODataFile(std::make_shared<Diary>(), TransferOperation::kTransmit, df.get(), 1), 0);
  df->transferMask = nullptr;
  system.out().MidiOutWaitIdle(df->synth->midiOutPort);
  clock.SleepMs(200);
  std::string flags;
  for (const Bytes& message : peer->Heard()) flags += Text(std::span(message).subspan(5, 3)) + ";";
  EXPECT_EQ(flags, "01 01 01;03 00 03;04 02 04;");
  EXPECT_EQ(df->body[3 * 20 + 5], 3);  // as it was sent
  df->body[0] = 0x12;
  EXPECT_EQ(engine->MidiSendDataFile(df.get(), 0, 0, df->body), -1);
  df->xtra->hasNoSysEx = 1;
  EXPECT_EQ(engine->MidiSendDataFileAll(df.get()), -1);

  auto voice = MockVoice();
  EXPECT_EQ(engine->MidiSendDataFile(voice.get(), 0, 0, nullptr), 0);
  EXPECT_EQ(prompts.Log().at(0), "MIDI I/O | No Command Sequence to Transmit Data | ok -> ok");
  voice->synth->noChecksumOnFormat = 0;
  voice->synth->checksumLength = 12;
  voice->synth->checksumStart = 6;
  voice->synth->checksumOffset = 18;
  voice->body[7] = 1;
  voice->body[19] = 0xF7;
  EXPECT_EQ(engine->MidiIODataFile(nullptr, TransferOperation::kTransmit, voice.get(), 0), 1);
  system.out().MidiOutWaitIdle(voice->synth->midiOutPort);
  clock.SleepMs(200);
  EXPECT_EQ(peer->Heard().back()[18], 0x7F);
  EXPECT_EQ(voice->body[18], 0x7F);
}

TEST_F(Engine, RendersInsteadOfSending) {
  Start();
  Answer([](const Bytes&, int) { return std::vector<Bytes>{}; });
  auto df = MockVoice();
  SetScript(*df, false, "S 2 { C0 05 } T 2 D 5000 T 20 ]");
  const Bytes patch = MockPatch(0, 1);
  std::copy(patch.begin(), patch.end(), df->body);
  EXPECT_EQ(engine->MidiIODataFile(nullptr, TransferOperation::kRender, df.get(), 0), 20);
  const Event* event = df->eventList;
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(Text(EventMessage(*event)), "C0 05");
  event = event->next;
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->kind, EventKind::kDelay);
  EXPECT_EQ(event->value, 50);
  event = event->next;
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(EventMessage(*event), patch);
  EXPECT_EQ(event->time, 50U);
  EXPECT_EQ(event->next, nullptr);
  clock.SleepMs(1000);
  EXPECT_TRUE(peer->Heard().empty());
  // Recording belongs to one thread.
  Event* list = nullptr;
  services->SetFirstEvent(true, &list);
  EXPECT_EQ(engine->MidiSendDataFile(df.get(), 0, 0, nullptr), 20);
  services->SetFirstEvent(false, nullptr);
  ASSERT_NE(list, nullptr);
  FreeEventList(list);
}

TEST_F(Engine, PatchBaySwitchesAndReverts) {
  Start();
  Answer(AnswerPatch);
  auto df = MockVoice();
  df->synth->patchBayFlags = 5;
  df->synth->patchBayChannel = 3;
  df->synth->patchBayPatch = 9;
  df->synth->patchBayRevertPatch = 1;
  const std::int64_t start = clock.NowUs();
  EXPECT_TRUE(Receive(*df).ok);
  EXPECT_GT(clock.NowUs() - start, 200'000);
  system.out().MidiOutWaitIdle(df->synth->midiOutPort);
  clock.SleepMs(500);
  EXPECT_EQ(peer->HeardText(), "C3 09\nF0 3E 11 00 05 00 F7\nC3 01\n");
  df->synth->patchBayFlags = 3;
  EXPECT_TRUE(Receive(*df).ok);
  EXPECT_EQ(prompts.Log().at(0),
            "Patch Bay Manual Switch | Switching to Mock Voice.\\nPlease select Patch #9 on your patch bay and\\n"
            "Press OK when ready. | ok cancel -> ok");
}

// Two instruments on two ports do not disturb each other.
TEST_F(Engine, TwoAtATime) {
  auto second = backend->CreateEndpoint("Second", options);
  Start();
  Answer(AnswerPatch);
  Peer other(second, [](const Bytes& request, int) { return std::vector<Bytes>{MockPatch(request[5], 0x44)}; });
  auto a = MockBank();
  auto b = MockBank();
  UsePort(*b, "Second");
  std::shared_ptr<Transfer> ta;
  std::shared_ptr<Transfer> tb;
  TransferRequest request;
  request.observer = std::make_shared<Diary>();
  request.dataFile = a.get();
  ASSERT_EQ(engine->MidiIODataFile(request, &ta), 1);
  request.dataFile = b.get();
  request.observer = std::make_shared<Diary>();
  ASSERT_EQ(engine->MidiIODataFile(request, &tb), 1);
  ASSERT_TRUE(ta->Wait(60000));
  ASSERT_TRUE(tb->Wait(60000));
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(Bytes(a->body + i * 20, a->body + i * 20 + 20), MockPatch(i, 0x11));
    EXPECT_EQ(Bytes(b->body + i * 20, b->body + i * 20 + 20), MockPatch(i, 0x44));
  }
}

TEST(TransferView, Texts) {
  ReceiveWindowState state;
  state.shortName = "DX7";
  state.typeName = "Voice Bank";
  state.inPort = "A";
  state.outPort = "B";
  state.sysExChannel = 2;
  state.expected = 200;
  ReceiveWindowView view = MakeReceiveView(state);
  EXPECT_EQ(view.receiving + "|" + view.inPort + "|" + view.outPort + "|" + view.channel + "|" + view.bytes,
            "Receiving: DX7 Voice Bank|MIDI IN Port: A|MIDI OUT Port: B|SysEx Channel: 3|Waiting to Receive SysEx");
  EXPECT_EQ(view.messages, "Messages\r\n=========\r\n\r\n");
  state.received = state.sent = 7;
  state.messages = {"one"};
  state.patchesToDo = 4;
  state.patchesDone = 2;
  view = MakeReceiveView(state);
  EXPECT_EQ(view.percent, 53);
  EXPECT_EQ(view.messages, "Messages\r\n=========\r\n\r\none\r\n");
  EXPECT_EQ(view.loopCounts, "Bytes Received: 7  Bytes Sent: 7  # of Loops: 1");
  EXPECT_EQ(view.loopWarning, "Bytes received and sent are the same! There may be a MIDI loop...");
}

}  // namespace
}  // namespace tonalith::transfer_test
