#include "data/standard_midi_file.h"
#include "platform/atomic_file.h"
#include "tests/transfer/desk_rig.h"

namespace tonalith::transfer_test {
namespace {

struct Desk : ::testing::Test, DeskRig {
  // How many messages a peer had heard when a line was written.
  static std::size_t HeardBy(const std::unique_ptr<Peer>& one) { return one->Heard().size(); }
};

TEST_F(Desk, BothDirectionsSayHowFarTheyAre) {
  Begin();
  auto df = Bank("Mock", 3);
  Get(df, "get");
  EXPECT_TRUE(desk->Busy(df.get()));
  EXPECT_TRUE(diary.empty()) << "nobody is told from inside a call";
  Finish();
  EXPECT_EQ(diary,
            "get started Receiving Mock One Bank...\nget answered\nget 1/3\nget 2/3\nget 3/3\nget step 0 ok\n"
            "get ended 3 of 3 patches of Mock One Bank were received.\n");
  EXPECT_EQ(Bytes(df->body + 40, df->body + 60), MockPatch(2, 0x11));
  diary.clear();
  DeskRequest request = DeskRequest::Of(DeskStep::Kind::kSend, df.get());
  request.steps[0].patches = {1, 0, 1};
  request.observer = Note("send");
  std::size_t heard = 0;
  onLine = [&](const std::string& line) {
    if (line == "send left") heard = HeardBy(peer);
  };
  desk->Submit(std::move(request));
  Finish();
  EXPECT_EQ(diary,
            "send started Sending Mock One Bank...\nsend 1/2\nsend 2/2\nsend handed\nsend left\nsend step 0 ok\n"
            "send ended Mock One Bank was sent.\n");
  EXPECT_EQ(heard, 3 + 2U) << "it has left the port when the other end has it";
  EXPECT_FALSE(desk->Busy(df.get()));
  EXPECT_EQ(desk->totals().Text(), "2 transfers");
}

TEST_F(Desk, PairsWorkAtTheSameTimeAndAPairOneAfterTheOther) {
  Begin();
  auto first = Dump("Mock"), second = Dump("Mock"), third = Bank("Mock", 2), elsewhere = Dump("Other", 6000);
  const std::int64_t began = clock.NowUs();
  Send(first, "1");
  const auto queued = Send(second, "2");
  const auto got = Get(third, "3");
  Send(elsewhere, "other");
  EXPECT_EQ(queued->state(), DeskState::kQueued);
  EXPECT_EQ(got->state(), DeskState::kQueued);
  EXPECT_TRUE(desk->Busy(third.get()));
  EXPECT_EQ(desk->Jobs().size(), 4U);
  std::size_t lengths = 0;
  onLine = [&](const std::string& line) {
    if (line.find("3 started") == 0)
      for (const Bytes& message : peer->Heard()) lengths += message.size();
  };
  Finish();
  EXPECT_EQ(lengths, 8000U) << "the request goes out after the last byte of what was sent before";
  std::string order;
  for (std::size_t at = 0, end; (end = diary.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = diary.substr(at, end - at);
    for (const char* word : {" queued", " started", " ended"})
      if (line.find(word) != std::string::npos) order += line.substr(0, line.find(' ')) + word[1] + " ";
  }
  EXPECT_EQ(order, "1s 2q 3q others 1e 2s othere 2e 3s 3e ") << diary;
  EXPECT_NE(diary.find("2 queued Mock One Voice waits until its MIDI ports are free.\n"), std::string::npos);
  // 4,000 bytes take 1.28 seconds on the wire; two of them on one cable, the third beside them.
  const double seconds = static_cast<double>(clock.NowUs() - began) / 1e6;
  EXPECT_GT(seconds, 2.5);
  EXPECT_LT(seconds, 4.5);
}

// Several windows may ask for the same data, or for data that cannot go anywhere.
TEST_F(Desk, RefusesAtOnceAndSaysWhy) {
  Begin();
  auto df = Bank("Mock"), lost = Bank("Mock"), empty = Bank("Mock");
  AllocChunk(&lost->midiOutPortName, &lost->midiOutPortNameSize, 8, "Nowhere");
  empty->xtra->hasNoSysEx = 1;
  auto off = Bank("Mock");
  off->xtra->isInactive = 1;
  Get(df, "df");
  auto waiting = Bank("Mock");
  Get(waiting, "waiting");
  auto otherEmpty = Bank("Other");
  otherEmpty->xtra->hasNoSysEx = 1;
  const struct {
    TransferDesk::Job job;
    TransferCause cause;
    const char* sentence;
  } cases[] = {
      {Send(df, "x"), TransferCause::kBusy,
       "A MIDI transfer of Mock One Bank is running.  Please wait until it is done or cancel it."},
      {Send(waiting, "x"), TransferCause::kBusy,
       "A MIDI transfer of Mock One Bank is waiting.  Please wait until it is done or cancel it."},
      {Get(lost, "x"), TransferCause::kPortMissing,
       "No MIDI OUT port is open for the Mock One. Its port \"Nowhere\" is not connected."},
      {Send(otherEmpty, "x"), TransferCause::kNothingToSend, "The Mock One Bank was not sent: it holds no SysEx data."},
      {desk->Get(nullptr), TransferCause::kNoData, nullptr},
      {desk->Submit({}), TransferCause::kNoData, nullptr},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(c.job->Ended());
    EXPECT_FALSE(c.job->result().ok);
    EXPECT_EQ(c.job->result().cause, c.cause);
    if (!c.sentence) continue;
    EXPECT_EQ(c.job->result().sentence, c.sentence);
  }
  Finish();
  EXPECT_EQ(diary.find("x "), std::string::npos) << diary;
  // In a queue the end comes when its turn does.
  Get(df, "df");
  Send(off, "off");
  Finish();
  EXPECT_NE(diary.find("off ended The Mock One Bank is switched off and was not sent.\n"), std::string::npos) << diary;
  EXPECT_TRUE(prompts.Log().empty());
}

// When a job is cancelled, what it says, and whether bytes still come after its end.
TEST_F(Desk, CancelIsTrueInEveryState) {
  Begin();
  const struct {
    const char* name;
    bool get;
    int atMs;  // -1: while it waits for its ports
    TransferCause cause;
    const char* sentence;
  } cases[] = {
      {"queued get", true, -1, TransferCause::kNeverBegan,
       "Receiving the Mock One Bank was cancelled before it began."},
      {"queued send", false, -1, TransferCause::kNeverBegan,
       "Sending the Mock One Voice was cancelled before it began."},
      {"get", true, 100, TransferCause::kCancelled,
       "Receiving the Mock One Bank was cancelled (6 of 30 patches had come)."},
      {"send", false, 300, TransferCause::kCancelled,
       "Sending the Mock One Voice was cancelled; the instrument may hold a part of it."},
      {"all was sent", false, 1700, TransferCause::kNone, "Mock One Voice was sent."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto before = Dump("Mock", 400);
    auto df = c.get ? Bank("Mock", 30) : Dump("Mock");
    desk->SetOptions({1000});
    if (c.atMs < 0) Send(before, "before");
    const auto job = c.get ? Get(df, "it") : Send(df, "it");
    if (c.atMs >= 0) Pass(c.atMs);
    EXPECT_FALSE(job->Ended());
    desk->Cancel(job);
    EXPECT_EQ(job->Ended(), c.atMs < 0);
    const std::int64_t cancelled = clock.NowUs();
    while (!job->Ended()) Pass(10);
    EXPECT_LT(clock.NowUs() - cancelled, 1'000'000);
    const std::uint64_t carried = mock->Carried(CableDirection::ToPeer);
    EXPECT_EQ(job->result().cause, c.cause);
    EXPECT_EQ(job->result().sentence, c.sentence);
    Finish();
    Pass(3000);
    EXPECT_TRUE(c.atMs < 0 || mock->Carried(CableDirection::ToPeer) == carried);
    desk->Cancel(job);  // nothing any more
    // The pair is free and whole again.
    auto again = Bank("Mock", 2);
    const auto after = Get(again, "after");
    EXPECT_TRUE(desk->Wait(after, 60'000));
    EXPECT_TRUE(after->result().ok) << after->result().sentence;
  }
}

TEST_F(Desk, PortsThatVanish) {
  Begin();
  auto got = Bank("Mock", 30), waits = Dump("Mock"), sent = Dump("Other");
  AllocChunk(&waits->midiOutPortName, &waits->midiOutPortNameSize, 5, "Mock");
  const auto get = Get(got, "get");
  const auto queued = Send(waits, "queued");
  const auto send = Send(sent, "send");
  Pass(300);
  mock->Unplug();
  other->Unplug();
  system.MidiInPortsChanged();
  system.MidiOutPortsChanged();
  Finish();
  EXPECT_EQ(get->result().cause, TransferCause::kPortLost);
  EXPECT_NE(get->result().sentence.find(" ended: its MIDI port"), std::string::npos) << get->result().sentence;
  EXPECT_EQ(queued->result().cause, TransferCause::kPortMissing);
  EXPECT_EQ(queued->result().sentence,
            "No MIDI OUT port is open for the Mock One. Its port \"Mock\" is not connected.");
  EXPECT_EQ(send->result().cause, TransferCause::kPortLost);
  EXPECT_EQ(
      send->result().sentence,
      "Sending the Mock One Voice ended: its MIDI port is no longer available; the instrument may hold a part of it.");
}

// Get, change, send, get again and compare: nobody comes between the steps.
TEST_F(Desk, ASequenceKeepsItsPair) {
  Begin();
  for (const bool takes : {true, false}) {
    SCOPED_TRACE(takes);
    diary.clear();
    Bytes memory = MockPatch(0, 0x11);
    Answer([&](const Bytes& message, int) -> std::vector<Bytes> {
      if (message.size() == 7) return {memory};
      if (takes) memory = message;
      return {};
    });
    auto before = Bank("Mock", 1), data = Bank("Mock", 1), after = Bank("Mock", 1), stranger = Bank("Mock", 1);
    before->synth->isBank = data->synth->isBank = after->synth->isBank = 0;
    DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, before.get());
    request.steps[0].after = [&](const DeskResult& result) {
      EXPECT_TRUE(result.ok);
      data->body[10] = static_cast<std::uint8_t>(before->body[10] + 1);
      return Result::Success();
    };
    request.steps.push_back({DeskStep::Kind::kSend, data.get()});
    request.steps.push_back({DeskStep::Kind::kGet, after.get()});
    request.steps[2].after = [&](const DeskResult&) {
      return after->body[10] == data->body[10] ? Result::Success()
                                               : Result::Failure("The instrument did not keep what was sent.");
    };
    request.observer = Note("seq");
    const auto job = desk->Submit(std::move(request));
    Get(stranger, "stranger");
    Finish();
    EXPECT_EQ(job->result().ok, takes);
    EXPECT_EQ(job->result().step, 2);
    EXPECT_EQ(job->result().sentence,
              takes ? "Mock One Voice was received." : "The instrument did not keep what was sent.");
    EXPECT_LT(diary.find("seq ended"), diary.find("stranger started")) << diary;
    EXPECT_LT(diary.find("stranger queued"), diary.find("seq step 0 ok")) << diary;
  }
}

// The window closes, its data goes, the program ends: nothing is put back, nobody is told, the pair is free again.
TEST_F(Desk, WhoAskedIsGone) {
  Begin();
  auto running = Bank("Mock", 30), waiting = Dump("Mock"), kept = Bank("Mock", 2);
  const auto first = Get(running, "first");
  const auto second = Send(waiting, "second");
  Get(kept, "kept");
  Pass(100);
  diary.clear();
  waiting.reset();
  EXPECT_TRUE(second->Ended());
  running.reset();
  EXPECT_TRUE(engine->locks().All().empty());
  Finish();
  EXPECT_FALSE(first->result().ok);
  EXPECT_EQ(diary.find("first"), std::string::npos) << diary;
  EXPECT_EQ(diary.find("second"), std::string::npos) << diary;
  EXPECT_NE(diary.find("kept ended 2 of 2 patches"), std::string::npos) << diary;

  diary.clear();
  auto receiver = std::make_unique<Receiver>();
  const auto third = desk->Get(kept.get(), Note("third"), receiver.get());
  receiver.reset();
  Finish();
  EXPECT_TRUE(third->result().ok) << "the data is there all the same";
  EXPECT_EQ(diary, "");

  auto half = Dump("Mock"), never = Dump("Mock");
  const auto sending = Send(half, "half");
  const auto queued = Send(never, "never");
  Pass(300);
  diary.clear();
  desk.reset();
  EXPECT_TRUE(sending->Ended());
  EXPECT_TRUE(queued->Ended());
  Pass(3000);
  EXPECT_EQ(diary, "");
  EXPECT_FALSE(engine->Busy(half.get()));
}

TEST_F(Desk, EverythingOnAPortStops) {
  Begin();
  auto one = Dump("Mock"), there = Dump("Other"), next = Dump("Mock"), got = Bank("Mock");
  const auto a = Send(one, "a"), b = Send(there, "b"), c = Send(next, "c"), d = Get(got, "d");
  Pass(300);
  EXPECT_TRUE(desk->Sends());
  desk->CancelSends(system.out().FindPort("Mock"));
  Finish();
  EXPECT_EQ(a->result().cause, TransferCause::kCancelled);
  EXPECT_TRUE(b->result().ok);
  EXPECT_EQ(c->result().cause, TransferCause::kNeverBegan);
  EXPECT_TRUE(d->result().ok) << d->result().sentence;
  auto again = Dump("Mock");
  const auto e = Send(again, "e"), f = Get(got, "f");
  Pass(300);
  desk->CancelAll();
  Finish();
  EXPECT_EQ(e->result().cause, TransferCause::kCancelled);
  EXPECT_EQ(f->result().cause, TransferCause::kNeverBegan);
}

// Cancels the question for the patch number.
struct NoNumber final : TransferPreferences {
  bool AskPatchNumber() const override { return true; }
  std::optional<int> SelectPatchNumber(const std::string&, int, int, int) override { return std::nullopt; }
};

// What goes wrong at the instrument, the port or the data comes out as its cause, and the pair is free afterwards.
TEST_F(Desk, EveryFailureHasItsCause) {
  Begin();
  const auto silent = [](const Bytes&, int) { return std::vector<Bytes>{}; };
  using Set = std::function<void(DataFile&)>;
  const Set handshake = [](DataFile& df) {
    df.synth->manufacturerId = kRolandId;
    df.synth->rolandHandshake = 1;
    df.synth->allowsNonSysEx = 1;
    df.synth->rolandSize[0] = 2;
  };
  const Set scripted = [](DataFile& df) { df.synth->noChecksumOnFormat = 1; };
  const Set oldPort = [](DataFile& df) {
    AllocChunk(&df.midiOutPortName, &df.midiOutPortNameSize, 4, "Old");
    df.midiOutPortName[3] = 0;
  };
  const struct {
    const char* name;
    bool get;
    Set prepare;
    std::function<void()> before, after;
    TransferCause cause;
  } cases[] = {
      {"MIDI is blocked",
       true,
       {},
       [&] { services->SetBlockMidi(true); },
       [&] { services->SetBlockMidi(false); },
       TransferCause::kBlocked},
      {"somebody else receives there",
       true,
       {},
       [&] { engine->portsInUse().Add(system.in().FindPort("Mock")); },
       [&] { engine->ClearPortReceiveState(-1); },
       TransferCause::kPortInUse},
      {"no script to receive", true, scripted, {}, {}, TransferCause::kNoScript},
      {"no script to send", false, scripted, {}, {}, TransferCause::kNoScript},
      {"no message", false, [](DataFile& df) { df.body[0] = 0; }, {}, {}, TransferCause::kSendFailed},
      {"nothing to be sent",
       false,
       [](DataFile& df) {
         SetScript(df, false, "F X 5 T 20 ]");
         df.body[0] = 0;
       },
       {},
       {},
       TransferCause::kNothingToSend},
      {"no answer", true, [](DataFile& df) { SetScript(df, true, kPatchReceive); }, {}, {}, TransferCause::kCode},
      {"no answer to a handshake", false, handshake, {}, {}, TransferCause::kNoAnswer},
      {"a port that is never ready",
       false,
       {},
       [&] {
         VirtualFaults faults;
         faults.notReady = 1000;
         mock->SetFaults(CableDirection::ToPeer, faults);
       },
       [&] { mock->SetFaults(CableDirection::ToPeer, {}); },
       TransferCause::kPortFailed},
      {"a port of another place", false, oldPort, {}, {}, TransferCause::kPortMissing},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Answer(silent);
    auto df = Dump("Mock", 400);
    if (c.prepare) c.prepare(*df);
    const Bytes before(df->body, df->body + df->bodySize);
    if (c.before) c.before();
    DeskRequest request = DeskRequest::Of(c.get ? DeskStep::Kind::kGet : DeskStep::Kind::kSend, df.get());
    request.showWindow = 0;
    const auto job = desk->Submit(std::move(request));
    EXPECT_TRUE(desk->Wait(job, 600'000));
    if (c.after) c.after();
    EXPECT_FALSE(job->result().ok);
    EXPECT_EQ(job->result().cause, c.cause) << job->result().sentence;
    EXPECT_EQ(Bytes(df->body, df->body + df->bodySize), before);
    EXPECT_FALSE(engine->Busy(df.get()));
    Pass(2000);
    Answer(AnswerOne);
    auto bank = Bank("Mock", 1);
    const auto next = Get(bank, "next");
    EXPECT_TRUE(desk->Wait(next, 60'000));
    EXPECT_TRUE(next->result().ok) << next->result().sentence;
  }
}

// Attempts, patience and another place are a request's own; the data keeps its place.
TEST_F(Desk, ARequestSaysHowAndWhereTo) {
  Begin();
  Answer([](const Bytes&, int) { return std::vector<Bytes>{}; });
  auto df = Bank("Mock", 1);
  const std::uint8_t device = df->synth->sysExChannel;
  std::int64_t took[2] = {};
  for (int attempts = 0; attempts < 2; ++attempts) {
    DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, df.get());
    request.showWindow = 0;
    request.steps[0].patience = {attempts, 900};
    request.steps[0].place.device = 4;
    const std::size_t before = peer->Heard().size();
    const std::int64_t began = clock.NowUs();
    const auto job = desk->Submit(std::move(request));
    EXPECT_TRUE(desk->Wait(job, 60'000));
    took[attempts] = (clock.NowUs() - began) / 1000;
    ASSERT_EQ(peer->Heard().size() - before, static_cast<std::size_t>(attempts + 1));
    EXPECT_EQ(peer->Heard().back()[3], 4);
    EXPECT_EQ(df->synth->sysExChannel, device);
  }
  EXPECT_GE(took[0], 900);
  EXPECT_LT(took[0], 1500);
  EXPECT_GE(took[1], 1800 + 300);
  Answer(AnswerOne);
  DeskRequest elsewhere = DeskRequest::Of(DeskStep::Kind::kGet, df.get());
  elsewhere.steps[0].inPort = system.in().FindPort("Other");
  elsewhere.steps[0].outPort = system.out().FindPort("Other");
  const auto job = desk->Submit(std::move(elsewhere));
  EXPECT_TRUE(desk->Wait(job, 60'000));
  EXPECT_TRUE(job->result().ok) << job->result().sentence;
  EXPECT_EQ(otherPeer->Heard().size(), 1U);
}

// Requests that come back are named, where they are why nothing else came.
TEST_F(Desk, ALoopIsNamed) {
  Begin();
  const char* loop =
      " What is sent to the MIDI OUT port \"Mock\" comes back on the MIDI IN port \"Mock\": MIDI thru is on somewhere, "
      "or a cable leads back.";
  const struct {
    bool loops;
    bool answers;
    bool window;
  } cases[] = {{true, false, false}, {true, false, true}, {true, true, false}, {false, false, false}};
  for (const auto& c : cases) {
    Answer([&c](const Bytes& message, int number) {
      std::vector<Bytes> replies;
      if (c.loops) replies.push_back(message);
      if (c.answers) replies.push_back(AnswerOne(message, number).front());
      return replies;
    });
    auto df = Bank("Mock", 2);
    DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, df.get());
    request.showWindow = c.window ? 1 : 0;
    const auto job = desk->Submit(std::move(request));
    Pass(2000);
    if (c.window) desk->Cancel(job);  // it would wait as long as the user does
    Finish();
    EXPECT_EQ(job->result().ok, c.answers) << job->result().sentence;
    EXPECT_EQ(job->result().sentence.find(loop) != std::string::npos, c.loops && !c.answers) << job->result().sentence;
  }
}

// A long send to a port that another program is connected to asks first, once a job; a short one does not.
TEST_F(Desk, OtherProgramsOnTheLineAreAskedAbout) {
  VirtualCableOptions shared = options;
  shared.otherWriters = {"Ardour", "seq24"};
  const auto line = backend->CreateEndpoint("Shared", shared);
  Begin();
  std::string asked;
  bool answer = false;
  desk->SetLineQuestion([&](const std::string& warning) {
    asked += warning + "\n";
    return answer;
  });
  const std::string sentence =
      "\"Ardour\" and \"seq24\" are connected to the MIDI OUT port \"Shared\" as well: what comes from there in the "
      "middle "
      "of the data spoils it.\n";
  const struct {
    std::string port;
    std::uint32_t bytes;
    bool answer, asks;
  } cases[] = {{"Shared", 4000, false, true},
               {"Shared", 4000, true, true},
               {"Shared", 3000, false, false},
               {"Mock", 4000, false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.port + std::to_string(c.bytes));
    asked.clear();
    answer = c.answer;
    auto df = Dump(c.port, c.bytes);
    const auto carried = line->Carried(CableDirection::ToPeer);
    const auto job = Send(df, "dump");
    Finish();
    EXPECT_EQ(asked, c.asks ? sentence : "");
    EXPECT_EQ(job->result().ok, c.answer || !c.asks) << job->result().sentence;
    if (!job->result().ok) {
      EXPECT_EQ(job->result().sentence, "Sending the Mock One Voice was given up before it began.");
    }
    if (c.port == "Shared") {
      EXPECT_EQ(line->Carried(CableDirection::ToPeer) - carried, job->result().ok ? c.bytes : 0U);
    }
  }
}

// Whoever ends a send in the middle of its message: an F7 goes out, and 50 ms pass before anything else does.
TEST_F(Desk, ACutSendEndsItsMessage) {
  Begin();
  Bytes heard;
  std::int64_t lastUs = 0;
  std::int64_t gapUs = 0;
  mock->SetReceiver([&](std::span<const std::uint8_t> bytes, std::int64_t) {
    if (heard.empty() || heard.back() == 0xF7) gapUs = clock.NowUs() - lastUs;
    heard.insert(heard.end(), bytes.begin(), bytes.end());
    lastUs = clock.NowUs();
  });
  using Job = TransferDesk::Job;
  const struct {
    const char* name;
    std::function<void(const Job& job)> end;
  } cases[] = {
      {"the job is cancelled", [&](const Job& job) { desk->Cancel(job); }},
      {"everything is cancelled", [&](const Job&) { desk->CancelAll(); }},
      {"what the port sends is cancelled", [&](const Job&) { desk->CancelSends(system.out().FindPort("Mock")); }},
      {"the output is stopped", [&](const Job&) { engine->StopOutput(std::vector<bool>(256, true)); }},
      {"the data is gone", [&](const Job& job) { desk->Abandon(job->request().steps[0].dataFile); }},
      {"the port is stopped",
       [&](const Job&) { system.out().GetMidiOutPort(system.out().FindPort("Mock"))->StopTransmit(); }},
      {"the program ends", [&](const Job&) { desk.reset(); }},
      {"the ports are closed", [&](const Job&) { system.MidiPortOutClosePorts(); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    heard.clear();
    if (!desk) desk = std::make_unique<TransferDesk>(*engine, system, dispatcher);
    auto df = Dump("Mock", 9000);
    const auto job = Send(df, "dump");
    Pass(700);
    ASSERT_GT(heard.size(), 1000U);
    ASSERT_LT(heard.size(), 4000U);
    c.end(job);
    const bool open = system.out().FindPort("Mock") >= 0;
    const Bytes next = Hex("F0 7D 01 F7");
    const auto out = open ? system.out().Slot(system.out().FindPort("Mock")) : nullptr;
    SendOptions atOnce;
    if (out) atOnce.lease = out->lease();  // the job has the port until it has ended
    if (open) system.out().SendDataPort(next, system.out().FindPort("Mock"), atOnce);
    Pass(1000);
    ASSERT_LT(heard.size(), 4500U);
    const std::size_t tail = open ? next.size() : 0;
    ASSERT_GT(heard.size(), tail + 1);
    EXPECT_EQ(heard[heard.size() - tail - 1], 0xF7);
    if (open) {
      EXPECT_EQ(Bytes(heard.end() - static_cast<std::ptrdiff_t>(tail), heard.end()), next);
    }
    if (open) {
      EXPECT_GE(gapUs, 50'000);
    }
    EXPECT_FALSE(job->result().ok);
  }
  mock->SetReceiver(nullptr);
}

TEST_F(Desk, ANumberThatIsNotChosenStartsNothing) {
  NoNumber asks;
  Begin();
  desk.reset();
  engine = std::make_unique<TransferEngine>(*services, prompts, &system.out(), &asks,
                                            [this](std::function<void()> call) { dispatcher.Post(std::move(call)); });
  desk = std::make_unique<TransferDesk>(*engine, system, dispatcher);
  auto df = Dump("Mock");
  df->synth->patchNumberInImage = 1;
  const auto job = Send(df, "it");
  EXPECT_TRUE(job->Ended());
  EXPECT_EQ(job->result().sentence, "Sending the Mock One Voice was given up before it began.");
  EXPECT_FALSE(desk->Busy(df.get()));
  desk.reset();
  engine.reset();
}

// --- Files ---

struct Files : Desk {
  void Begin() {
    DeskRig::Begin();
    folder = ::testing::TempDir() + "tonalith_desk_files";
    ASSERT_TRUE(MakeFolders(folder).ok());
    files = std::make_unique<TransferFiles>(*desk, disk, system.out(), filePrompts);
    files->SetObserver(Note("file"));
  }
  ~Files() override { files.reset(); }
  std::string Write(const std::string& name, std::span<const std::uint8_t> bytes) {
    std::string path = folder + "/" + name;
    EXPECT_TRUE(WriteFileAtomically(path, bytes).ok());
    return path;
  }
  std::string folder;
  DiskAccess disk;
  ScriptedPrompts filePrompts{{"ok", "ok", "ok", "ok", "ok", "ok"}};
  std::unique_ptr<TransferFiles> files;
};

TEST_F(Files, AMidiFileKeepsItsTimesAndStopsAtOnce) {
  Begin();
  const Bytes message = Hex("F0 7D 01 F7");
  const std::vector<SmfMessage> messages(3, {message, 1000});
  const auto none = Write("none.mid", WriteSmfSysEx({}));
  const auto path = Write("three.mid", WriteSmfSysEx(messages));
  EXPECT_FALSE(files->TransmitFile(none, 1));
  EXPECT_FALSE(files->TransmitFile(folder + "/missing.mid", 1));
  EXPECT_FALSE(files->TransmitFile(path, 3));
  ASSERT_EQ(filePrompts.Log().size(), 3U);
  const int port = system.out().FindPort("Mock") + 1;
  const std::int64_t began = clock.NowUs();
  ASSERT_TRUE(files->TransmitFile(path, port));
  EXPECT_TRUE(files->Sending());
  Finish();
  EXPECT_EQ(diary,
            "file started Sending three.mid (SysEx messages: 3)...\nfile 1/3\nfile 2/3\nfile 3/3\nfile handed\n"
            "file left\nfile step 0 ok\nfile ended three.mid was sent.\n");
  EXPECT_EQ(peer->Heard().size(), 3U);
  EXPECT_NEAR(static_cast<double>(clock.NowUs() - began) / 1e6, 3.0, 0.5);
  ASSERT_TRUE(files->TransmitFile(path, port));
  Pass(1500);
  files->Cancel();
  Finish();
  EXPECT_FALSE(files->Sending());
  EXPECT_NE(diary.find("file ended Sending three.mid was stopped.\n"), std::string::npos) << diary;
  EXPECT_EQ(peer->Heard().size(), 4U);
  EXPECT_EQ(filePrompts.Log().size(), 3U) << "who stops a file needs no message";
}

TEST_F(Files, PartsOfASetGoOneAfterTheOther) {
  Begin();
  ListFile list;
  for (std::uint8_t i = 1; i <= 3; ++i) {
    ListMember member;
    member.data = Dump("Other", 40);
    member.data->body[2] = i;
    member.data->xtra->isInactive = i == 2;
    list.members.push_back(std::move(member));
  }
  Bytes bytes;
  ASSERT_TRUE(WriteList(&bytes, list));
  const int port = system.out().FindPort("Mock") + 1;
  ASSERT_TRUE(files->TransmitFile(Write("mine.PVS", bytes), port));
  Finish();
  ASSERT_EQ(peer->Heard().size(), 2U);
  EXPECT_EQ(peer->Heard()[0][2], 1);
  EXPECT_EQ(peer->Heard()[1][2], 3);
  EXPECT_TRUE(otherPeer->Heard().empty()) << "the port that was asked for, not the one of the data";
  EXPECT_NE(diary.find("file ended mine.PVS was sent. (2 parts) Inactive parts that stayed out: 1.\n"),
            std::string::npos)
      << diary;
  // The instrument refuses the second part, which is a type with a script that is missing.
  list.members[2].data->synth->noChecksumOnFormat = 1;
  list.members[1].data.reset();
  bytes.clear();
  ASSERT_TRUE(WriteList(&bytes, list));
  ASSERT_TRUE(files->TransmitFile(Write("broken.PVS", bytes), port));
  Finish();
  ASSERT_EQ(filePrompts.Log().size(), 1U);
  EXPECT_NE(filePrompts.Log()[0].find("cannot be sent: No Command Sequence to Transmit Data. (1 parts)"),
            std::string::npos)
      << filePrompts.Log()[0];
}

TEST_F(Files, OneDataFile) {
  Begin();
  Bytes bytes;
  auto data = Dump("Other", 40);
  const Bytes body(data->body, data->body + data->synth->fileSize);
  ASSERT_TRUE(DiskWriteForm(&bytes, *data));
  const int port = system.out().FindPort("Mock") + 1;
  ASSERT_TRUE(files->TransmitFile(Write("one.dat", bytes), port));
  Finish();
  ASSERT_EQ(peer->Heard().size(), 1U);
  EXPECT_EQ(peer->Heard()[0], body);
  EXPECT_NE(diary.find("one.dat was sent."), std::string::npos) << diary;
  EXPECT_TRUE(filePrompts.Log().empty());
}

TEST_F(Files, RawBytes) {
  Begin();
  const int port = system.out().FindPort("Mock") + 1;
  EXPECT_FALSE(files->TransmitFile(Write("text.syx", Hex("41 42")), port));
  EXPECT_FALSE(files->TransmitFile(Write("empty.syx", {}), port));
  EXPECT_EQ(filePrompts.Log().size(), 1U) << "an empty or unreadable file ends silently";
  EXPECT_TRUE(files->TransmitFile(Write("two.syx", Hex("F0 7D 01 F7 F0 7D 02 F7 00")), port));
  Finish();
  EXPECT_EQ(peer->HeardText(), "F0 7D 01 F7\nF0 7D 02 F7\n");
}

}  // namespace
}  // namespace tonalith::transfer_test
