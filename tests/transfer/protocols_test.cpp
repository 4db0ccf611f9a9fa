#include <functional>

#include "data/checksums.h"
#include "tests/transfer/transfer_test_tools.h"

namespace tonalith::transfer_test {
namespace {

// The instrument's end of a protocol: answers come in order, everything is written down.
class ScriptedLine final : public ProtocolLine {
 public:
  // "" = nothing arrives (-19); "!" = cancelled (-1).
  explicit ScriptedLine(std::vector<std::string> replies = {}) : replies_(replies.begin(), replies.end()) {}

  int Send(std::span<const std::uint8_t> bytes) override {
    if (bytes.empty() || bytes[0] == 0) return 0;
    return SendBare(bytes);
  }
  int SendBare(std::span<const std::uint8_t> bytes) override {
    log += "OUT " + Text(bytes) + "\n";
    sent.insert(sent.end(), bytes.begin(), bytes.end());
    return sendsFail ? -1 : static_cast<int>(bytes.size());
  }
  void Stage(std::span<const std::uint8_t> bytes) override { staged_.assign(bytes.begin(), bytes.end()); }
  void StageBare(std::span<const std::uint8_t> bytes) override { Stage(bytes); }
  int Receive(std::span<std::uint8_t> into) override {
    Bytes request;
    request.swap(staged_);
    if (!request.empty()) SendBare(request);
    ++receives;
    Bytes bytes;
    if (answer) {
      bytes = answer(request);
    } else {
      if (replies_.empty()) return -19;
      const std::string reply = replies_.front();
      replies_.pop_front();
      if (reply == "!") return -1;
      bytes = Hex(reply);
    }
    if (bytes.empty()) return -19;
    const std::size_t count = std::min(bytes.size(), into.size());
    std::copy_n(bytes.begin(), count, into.begin());
    return static_cast<int>(count);
  }
  void Delay(std::uint32_t ms) override { log += "WAIT " + std::to_string(ms) + "\n"; }
  void AllPortReceiving(AcceptAny mode) override { log += "ANY " + std::to_string(static_cast<int>(mode)) + "\n"; }
  bool Cancelled() const override { return false; }
  void Report(const std::string& text) override { log += "SAY " + text + "\n"; }

  std::string log;
  Bytes sent;
  int receives = 0;
  bool sendsFail = false;
  std::function<Bytes(const Bytes& request)> answer;

 private:
  std::deque<std::string> replies_;
  Bytes staged_;
};

Synth RolandSynth(std::uint32_t size) {
  Synth s{};
  s.manufacturerId = kRolandId;
  s.fileSize = size;
  s.sysExChannel = 0x10;
  s.dumpRequest[0] = 0x14;
  s.rolandAddress[0] = 3;
  s.rolandSize[2] = 1;
  return s;
}

std::string RolandMessage(const std::string& command, const std::string& payload) {
  Bytes bytes = Hex(payload);
  int sum = 0;
  for (const std::uint8_t byte : bytes) sum += byte;
  bytes.push_back(static_cast<std::uint8_t>((128 - sum % 128) % 128));
  return "F0 41 10 14 " + command + " " + Text(bytes) + " F7";
}

struct ProtocolCase {
  const char* name;
  std::function<void(Synth&)> prepare;
  TransferOperation operation;
  std::size_t imageSize;
  std::vector<std::string> replies;
  int result;
  std::string log;
  std::string image;  // expected beginning; empty: not looked at
};

TEST(Protocols, ConversationsAreByteExact) {
  const auto receive = TransferOperation::kReceive;
  const auto send = TransferOperation::kTransmit;
  const auto generic = [](Synth& s) {
    s.manufacturerId = 0x43;
    s.optionBits = 3;
    s.sysExChannel = 2;
    s.dumpRequestSize = 5;
    const std::uint8_t request[] = {0xF0, 0x43, 0x2F, 0x09, 0xF7};
    std::copy(std::begin(request), std::end(request), s.dumpRequest);
    s.dumpRequestHasChannel = 1;
    s.dumpRequestChannelOffset = 2;
    s.patchNumberInImage = 1;
    s.patchNumber = 7;
    s.dumpRequestPatchOffset = 3;
  };
  const auto roland = [](Synth& s) { s = RolandSynth(4); };
  const auto handshake = [](Synth& s) {
    s = RolandSynth(4);
    s.rolandHandshake = 1;
  };
  const auto casio = [](Synth& s) {
    s.manufacturerId = 0x44;
    s.protocolLetter = 'H';
    s.numVoices = 1;
    s.dumpRequest[0] = 0xF0;
    s.dumpRequest[1] = 0x44;
  };
  const auto zeros = [](int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += " 00";
    return text;
  };
  const std::string rq1Of32 = "OUT " + RolandMessage("11", "03 00 00 00 00 20") + "\n";
  const std::string rq1 = "OUT " + RolandMessage("11", "03 00 00 00 00 04") + "\n";
  const std::string rqd = "OUT " + RolandMessage("41", "03 00 00 00 00 04") + "\n";
  const std::string wsd = "OUT " + RolandMessage("40", "03 00 00 00 00 04") + "\n";
  const std::string ack = "F0 41 10 14 43 F7";
  const std::string eod = "F0 41 10 14 45 F7";
  const std::string rjc = "F0 41 10 14 4F F7";
  const std::string dat = RolandMessage("42", "03 00 00 01 02 03 04");
  const std::string badSum = "F0 41 10 14 12 03 00 00 0A 0B 0C 0D 00 F7";
  const std::string tone = [] {
    std::string text;
    for (int i = 0; i < 256; ++i) text += i % 16 < 10 ? "0" + std::to_string(i % 16) + " " : "0A ";
    return text + "F7";
  }();
  const ProtocolCase cases[] = {
      {"request and reply", generic, receive, 6, {"F0 43 00 09 01 F7"}, 6, "OUT F0 43 22 07 F7\n", "F0 43 00 09 01 F7"},
      {"short", generic, receive, 6, {"F0 43 00 09 F7"}, -3, "OUT F0 43 22 07 F7\n", ""},
      {"no end", generic, receive, 6, {"F0 43 00 09 01 02"}, -6, "OUT F0 43 22 07 F7\n", ""},
      {"foreign", generic, receive, 6, {"F0 41 00 09 01 F7"}, -7, "OUT F0 43 22 07 F7\n", ""},
      {"silent", generic, receive, 6, {""}, -2, "OUT F0 43 22 07 F7\n", ""},
      {"cancelled", generic, receive, 6, {"!"}, -1, "OUT F0 43 22 07 F7\n", ""},
      {"korg mode change",
       [](Synth& s) {
         s.manufacturerId = 0x42;
         s.protocolLetter = 'L';
         s.protocolMode = 2;
         s.sysExChannel = 1;
       },
       receive,
       3,
       {"F0 42 31 19 23 F7", "F0 42 F7"},
       3,
       "OUT F0 42 31 19 4E 01 10 F7\n",
       "F0 42 F7"},
      {"program change behind",
       [](Synth& s) {
         s.protocolLetter = 'O';
         s.protocolMode = 2;
         s.patchNumber = 5;
         s.sysExChannel = 3;
       },
       send,
       3,
       {},
       1,
       "OUT F0 00 00\nWAIT 100\nOUT C3 45\n",
       ""},
      {"roland", roland, receive, 4, {RolandMessage("12", "03 00 00 0A 0B 0C 0D")}, 4, rq1, "0A 0B 0C 0D"},
      {"roland sum, once",
       roland,
       receive,
       4,
       {badSum, RolandMessage("12", "03 00 00 0A 0B 0C 0D")},
       4,
       rq1 + "WAIT 60\n" + rq1,
       "0A 0B 0C 0D"},
      {"roland sum, always",
       roland,
       receive,
       4,
       {badSum, badSum, badSum, badSum},
       -6,
       rq1 + "WAIT 60\n" + rq1 + "WAIT 60\n" + rq1,
       ""},
      {"roland short, bad sum",
       roland,
       receive,
       4,
       {"F0 41 10 14 12 03 00 00 0A 0B 00 F7"},
       -1,
       rq1 + "WAIT 60\n" + rq1,
       ""},
      {"roland in two",
       roland,
       receive,
       4,
       {RolandMessage("12", "03 00 00 0A 0B"), RolandMessage("12", "03 00 02 0C 0D")},
       4,
       rq1 + "WAIT 60\nOUT " + RolandMessage("11", "03 00 02 00 00 02") + "\n",
       "0A 0B 0C 0D"},
      // A zero was lost on the way, which the sum does not show.
      {"roland lost zero",
       [](Synth& s) { s = RolandSynth(32); },
       receive,
       32,
       {RolandMessage("12", "03 00 00 0A" + zeros(29) + " 0B"), RolandMessage("12", "03 00 00 0A" + zeros(30) + " 0B")},
       32,
       rq1Of32 + "WAIT 60\n" + rq1Of32,
       "0A" + zeros(30) + " 0B"},
      {"roland echo",
       roland,
       receive,
       4,
       {RolandMessage("11", "03 00 00 00 00 04"), RolandMessage("12", "03 00 00 0A 0B 0C 0D")},
       4,
       rq1,
       "0A 0B 0C 0D"},
      {"roland error", roland, receive, 4, {"F0 41 10 14 4E F7"}, -9, rq1, ""},
      {"roland rejects", roland, receive, 4, {rjc}, -10, rq1, ""},
      {"roland acknowledges", roland, receive, 4, {ack}, -8, rq1, ""},
      {"roland unknown", roland, receive, 4, {"F0 41 10 14 33 F7"}, -11, rq1, ""},
      {"roland ends early", roland, receive, 4, {eod}, 0, rq1, ""},
      {"roland transmit", roland, send, 4, {}, 4, "OUT " + RolandMessage("12", "03 00 00 05 00 00 00") + "\n", ""},
      {"handshake",
       handshake,
       receive,
       4,
       {RolandMessage("40", "03 00 00 00 00 04"), dat, eod},
       4,
       rqd + "OUT " + ack + "\nOUT " + ack + "\nOUT " + ack + "\n",
       "01 02 03 04"},
      {"handshake rejected", handshake, receive, 4, {rjc}, -10, rqd + "OUT " + rjc + "\n", ""},
      {"handshake error", handshake, receive, 4, {"F0 41 10 14 4E F7"}, -9, rqd + "OUT " + rjc + "\n", ""},
      {"handshake nonsense", handshake, receive, 4, {"F0 41 10 14 12 F7"}, -12, rqd + "OUT " + rjc + "\n", ""},
      {"handshake too much",
       handshake,
       receive,
       4,
       {RolandMessage("42", "03 00 00 01 02 03 04 05")},
       4,
       rqd + "OUT " + rjc + "\n",
       "01 02 03 04"},
      {"handshake sum",
       handshake,
       receive,
       4,
       {"F0 41 10 14 42 03 00 00 01 02 03 04 00 F7", dat, eod},
       4,
       rqd + "OUT F0 41 10 14 4E F7\nOUT " + ack + "\nOUT " + ack + "\n",
       "01 02 03 04"},
      // Data may come in any order, and twice; what was not asked for again is acknowledged once.
      {"handshake backwards",
       handshake,
       receive,
       4,
       {RolandMessage("42", "03 00 02 03 04"), RolandMessage("42", "03 00 00 01 02"),
        RolandMessage("42", "03 00 00 01 02"), eod},
       4,
       rqd + "OUT " + ack + "\nOUT " + ack + "\nOUT " + ack + "\n",
       "01 02 03 04"},
      {"nothing to send",
       [](Synth& s) { s.allowsNonSysEx = 1, s.manufacturerId = 0x55, s.fileSize = 0; },
       send,
       4,
       {},
       0,
       "SAY ** TRANSMISSION ERROR **\n",
       ""},
      {"handshake transmit",
       handshake,
       send,
       4,
       {ack},
       4,
       wsd + "OUT " + RolandMessage("42", "03 00 00 05 00 00 00") + "\nOUT " + eod + "\n",
       ""},
      {"handshake transmit refused", handshake, send, 4, {rjc}, -13, wsd, ""},
      {"casio tone",
       casio,
       receive,
       257,
       {"F0 44 00 00 70 30", tone},
       257,
       "ANY 1\nOUT F0 44 00 00 70 10 60\nOUT 70 31\nOUT F7\nANY 0\n",
       "00 01 02 03"},
      {"casio not ready",
       casio,
       receive,
       257,
       {"F0 44 00 00 70 31"},
       -6,
       "ANY 1\nOUT F0 44 00 00 70 10 60\nANY 0\n",
       ""},
      {"ensoniq takes over",
       [](Synth& s) {
         s.manufacturerId = 0x0F;
         for (std::uint8_t i = 0; i < 10; ++i) s.dumpRequest[10 + i] = i;
       },
       send,
       12,
       {"F0 0F 02 00 04 F7"},
       12,
       "OUT 00 01 02 03 04 05 06 07 08 09\n",
       ""},
  };
  for (const ProtocolCase& c : cases) {
    SCOPED_TRACE(c.name);
    Synth synth{};
    synth.fileSize = static_cast<std::uint32_t>(c.imageSize);
    c.prepare(synth);
    Bytes image(c.imageSize, 0);
    image[0] = synth.manufacturerId == kRolandId ? 0x05 : 0xF0;
    if (synth.manufacturerId == 0x0F) image[2] = 2, image[4] = 6;
    ScriptedLine line(c.replies);
    EXPECT_EQ(BuiltInProtocols(line).MidiIO(c.operation, ByteWindow(image), synth), c.result);
    EXPECT_EQ(line.log, c.log);
    EXPECT_EQ(Text(image).substr(0, c.image.size()), c.image);
  }
}

TEST(Protocols, RolandBulkUsesAddressesChunksAndPauses) {
  Synth synth = RolandSynth(300);
  synth.dumpRequest[16] = 2;
  Bytes memory(300);
  for (std::size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<std::uint8_t>(i * 7 % 128);
  Bytes image(300);
  ScriptedLine line;
  line.answer = [&](const Bytes& request) {
    const std::uint32_t at = RolandCalc(3, request.data() + 5) - 0xC000;
    const std::uint32_t size = RolandCalc(3, request.data() + 8);
    return Hex(
        RolandMessage("12", Text(std::span(request).subspan(5, 3)) + " " + Text(std::span(memory).subspan(at, size))));
  };
  EXPECT_EQ(BuiltInProtocols(line).MidiIO(TransferOperation::kReceive, ByteWindow(image), synth), 300);
  EXPECT_EQ(image, memory);
  EXPECT_EQ(line.log,
            "OUT F0 41 10 14 11 03 00 00 00 01 00 7C F7\nWAIT 80\n"
            "OUT F0 41 10 14 11 03 01 00 00 01 00 7B F7\nWAIT 80\n"
            "OUT F0 41 10 14 11 03 02 00 00 00 2C 4F F7\n");

  ScriptedLine out;
  synth.dumpRequest[17] = 1;
  EXPECT_EQ(BuiltInProtocols(out).MidiSendRoland(synth, ByteWindow(image)), 300);
  EXPECT_EQ(out.sent.size(), 266U + 54U);
  EXPECT_EQ(Text(std::span(out.sent).subspan(266, 8)), "F0 41 10 14 12 03 02 00");
  EXPECT_NE(out.log.find("WAIT 135\n"), std::string::npos);
  synth.fileSize = 256;
  ScriptedLine whole;
  BuiltInProtocols(whole).MidiSendRoland(synth, ByteWindow(image));
  EXPECT_EQ(whole.sent.size(), 266U);
}

// Whatever a peer keeps answering, an exchange ends, and nothing is written outside the image.
TEST(Protocols, NoPeerCanHoldAnExchangeForEver) {
  const std::string replies[] = {
      RolandMessage("12", "02 00 00 01 02 03 04"),
      RolandMessage("12", "04 00 00 01 02 03 04"),
      RolandMessage("12", "03 00 00"),
      RolandMessage("12", "03 00 00 01"),
      RolandMessage("11", "03 00 00 00 00 04"),
      RolandMessage("40", "03 00 00 00 00 04"),
      RolandMessage("41", "03 00 00 00 00 04"),
      RolandMessage("42", "03 00 00 01"),
      RolandMessage("42", "02 00 00 01 02"),
      "F0 41 10 14 43 F7",
      "F0 F7",
      "F7",
      "F0 44 00 00 70 30",
      "F0 41 10 14 12 F7",
  };
  for (const std::string& reply : replies) {
    for (const int mode : {0, 1, 2, 3}) {
      SCOPED_TRACE(reply + " " + std::to_string(mode));
      Synth synth = RolandSynth(8);
      synth.rolandHandshake = mode == 1;
      if (mode >= 2) {
        synth.manufacturerId = 0x44;
        synth.protocolLetter = 'H';
        synth.numVoices = mode == 2 ? 0 : 40;
      }
      Bytes image(8 + 64, 0x55);
      for (const auto operation : {TransferOperation::kReceive, TransferOperation::kTransmit}) {
        ScriptedLine line;
        line.answer = [&](const Bytes&) { return Hex(reply); };
        BuiltInProtocols(line).MidiIO(operation, ByteWindow(image.data(), 8), synth);
        EXPECT_LT(line.receives, 300);
      }
      EXPECT_TRUE(std::all_of(image.begin() + 8, image.end(), [](std::uint8_t b) { return b == 0x55; }));
    }
  }
}

TEST(Protocols, MacroRolandRestoresAllButTheHandshakeMode) {
  Synth synth = RolandSynth(20);
  synth.dumpRequest[5] = 4;
  synth.dumpRequest[7] = 9;
  const Synth before = synth;
  Bytes image(2, 0x11);
  ScriptedLine line({"F0 41 10 14 43 F7"});
  EXPECT_EQ(BuiltInProtocols(line).MacroRoland(synth, ByteWindow(image), 0x4082, 2, 1, false), 2);
  EXPECT_EQ(line.log,
            "OUT F0 41 10 14 40 00 01 01 02 00 00 00 02 7A F7\n"
            "OUT F0 41 10 14 42 00 01 01 02 11 11 5A F7\nOUT F0 41 10 14 45 F7\n");
  EXPECT_EQ(synth.rolandHandshake, 1);
  synth.rolandHandshake = before.rolandHandshake;
  EXPECT_EQ(std::memcmp(&synth, &before, sizeof synth), 0);
}

TEST(Protocols, CasioBanksAndSequences) {
  Synth synth{};
  synth.manufacturerId = 0x44;
  synth.protocolLetter = 'H';
  synth.numVoices = 32;
  synth.fileSize = 32 * 258;
  Bytes image(synth.fileSize);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = i % 258 == 256 ? 0xF7 : static_cast<std::uint8_t>(i / 258);
  ScriptedLine line;
  line.answer = [](const Bytes&) { return Hex("F0 44 00 00 70 30"); };
  EXPECT_EQ(BuiltInProtocols(line).MidiSendNoMsg(synth, ByteWindow(image)), 32 * 258);
  for (int i = 0; i < 32; ++i) {
    // Also the tone that begins with 00 leaves.
    const std::string data(Text(Bytes(256, static_cast<std::uint8_t>(i))) + " F7");
    EXPECT_NE(line.log.find("OUT C0 " + Text(Bytes{static_cast<std::uint8_t>(0x20 + i)}) + "\nOUT 00 00 00 00 70 20 " +
                            Text(Bytes{static_cast<std::uint8_t>(0x20 + i)}) + "\nOUT " + data + "\n"),
              std::string::npos)
        << i;
  }

  synth.numVoices = 0;
  synth.fileSize = 258 * 3;
  Bytes sequence(258 * 3, 0x01);
  int block = 0;
  ScriptedLine in;
  in.answer = [&block](const Bytes& request) {
    if (request.size() == 7) return Hex("F0 44 00 00 70 30");
    Bytes bytes(block == 1 ? 100 : 258, 0x22);
    bytes.back() = block++ == 1 ? 0xF7 : 0x32;
    return bytes;
  };
  Synth receiver = synth;
  EXPECT_EQ(BuiltInProtocols(in).MidiReceiveCasio(receiver, ByteWindow(sequence)), 358);
  EXPECT_EQ(sequence[258 + 99], 0xF7);
  Bytes small(200);
  block = 0;
  EXPECT_EQ(BuiltInProtocols(in).MidiReceiveCasio(receiver, ByteWindow(small)), -13);

  sequence[258 + 10] = 0xF7;
  ScriptedLine out;
  out.answer = [](const Bytes& request) { return request.size() == 7 ? Hex("F0 44 00 00 70 30") : Hex("70 30"); };
  sequence[257] = 0x32;
  EXPECT_EQ(BuiltInProtocols(out).MidiSendCasio(synth, ByteWindow(sequence)), 258 * 3);
  EXPECT_EQ(out.sent.size(), 7U + 258 + 11);
  ScriptedLine deaf;
  EXPECT_EQ(BuiltInProtocols(deaf).MidiSendNoMsg(synth, ByteWindow(sequence)), 0);
  EXPECT_NE(deaf.log.find("SAY ** TRANSMISSION ERROR **"), std::string::npos);
}

TEST(Protocols, EnsoniqAndYamahaSpecialities) {
  Synth synth{};
  synth.manufacturerId = 0x0F;
  synth.sysExChannel = 4;
  Bytes image = Hex("F0 0F 02 00 01 F7");
  synth.fileSize = 6;
  ScriptedLine line;
  EXPECT_EQ(BuiltInProtocols(line).MidiSendNoMsg(synth, ByteWindow(image)), 6);
  EXPECT_EQ(line.log,
            "OUT F0 0F 02 04 0E 26 59 F7 F0 0F 02 04 0F 0D 1D F7\nOUT F0 0F 02 00 01 F7\n"
            "OUT F0 0F 02 04 0E 2F 62 F7\n");

  synth.manufacturerId = 0x43;
  synth.protocolLetter = 'C';
  Bytes params(0x2E0, 0);
  params[0] = 0xF0;
  params[0xA9 + 5] = 1;
  params[0x13C + 0x52 * 5] = 0x0A;  // value of k = 0: 0x0B + 16 x 0x0A
  params[0x13D + 0x52 * 5] = 0x0B;
  ScriptedLine yamaha;
  EXPECT_EQ(BuiltInProtocols(yamaha).MidiSendNoMsg(synth, ByteWindow(params)), 1);
  EXPECT_EQ(yamaha.sent.size(), 220U + 41 * 10);
  EXPECT_NE(yamaha.log.find("OUT F0 43 14 18 7F 05 28 01 2B F7\nWAIT 9\n"), std::string::npos);
  EXPECT_EQ(Text(std::span(yamaha.sent).last(10)), "F0 43 14 18 7F 05 00 00 00 F7");

  ScriptedLine broken;
  broken.sendsFail = true;
  synth.protocolLetter = 0;
  EXPECT_EQ(BuiltInProtocols(broken).MidiSendNoMsg(synth, ByteWindow(image)), 0);
  EXPECT_NE(broken.log.find("SAY ** TRANSMISSION ERROR **"), std::string::npos);
}

}  // namespace
}  // namespace tonalith::transfer_test
