#include <algorithm>
#include <deque>
#include <functional>

#include "data/checksums.h"
#include "data/hex_text.h"
#include "script/interpreter.h"
#include "script/script_services.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Message = std::vector<std::uint8_t>;

// An instrument at the other end of two cables: answers each message with what `reply` gives.
class CableServices final : public ScriptServices {
 public:
  std::function<Message(const Message&)> reply;
  std::vector<std::string> sent;
  std::vector<int> roland;
  bool open = true;

  int PortCount(MidiDirection /*direction*/) override { return open ? 1 : 0; }
  int SendDataPort(std::span<const std::uint8_t> bytes, int, TransferContext&) override {
    const Message message(bytes.begin(), bytes.end());
    sent.push_back(HexText(message));
    const Message answer = reply ? reply(message) : Message();
    inbox_.insert(inbox_.end(), answer.begin(), answer.end());
    return static_cast<int>(bytes.size());
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t, TransferContext& context) override {
    const auto staged = std::move(context.staged);
    context.staged.reset();
    if (staged) SendDataPort(staged->bytes, port, context);
    std::size_t n = 0;
    while (n < destination.size() && !inbox_.empty()) {
      destination[n] = inbox_.front();
      inbox_.pop_front();
      if (destination[n++] == 0xF7 && context.acceptAny == AcceptAny::SysExOnly) break;
    }
    return n ? static_cast<int>(n) : kReceiveNothing;
  }
  int MacroRoland(Synth&, std::span<std::uint8_t> buffer, int address, int size, int handshake, int receive,
                  TransferContext&) override {
    roland = {address, size, handshake, receive, static_cast<int>(buffer.size())};
    return size;
  }

 private:
  std::deque<std::uint8_t> inbox_;
};

// New data whose voices all count as defined.
DataFilePtr NewData(const std::string& instrument, const std::string& type) {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();
  const ZKDrvList* driver = studio.FindDriver(instrument, type);
  DataFilePtr data = driver ? studio.GetNewDataFile(driver) : nullptr;
  if (data && data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  return data;
}

// Runs a transfer script on the image of a data type, or on one patch of it.
int RunScript(CableServices* services, DataFile* data, bool receive, int patch = -1) {
  TransferContext context;
  const std::span<const std::uint8_t> code =
      receive ? std::span<const std::uint8_t>(data->receiveScript, data->receiveScriptSize)
              : std::span<const std::uint8_t>(data->transmitScript, data->transmitScriptSize);
  const std::size_t size = data->synth->voiceSize;
  const std::span<std::uint8_t> body = BodySpan(*data);
  const MacroBuffer buffer = patch < 0 ? MacroBuffer(body, data->synth->fileSize)
                                       : MacroBuffer(body.subspan(size * static_cast<std::size_t>(patch), size));
  return MidiMacro(*services, context, *data->synth, code, buffer, data->synth->sysExChannel, std::max(patch, 0), 0);
}

Message Pattern(std::size_t size) {
  Message bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>((i * 7 + 3) & 0x0F);
  return bytes;
}

Message Framed(const std::string& head, std::size_t dataSize) {
  Message message = *ParseHex(head);
  const Message data = Pattern(dataSize);
  message.insert(message.end(), data.begin(), data.end());
  message.push_back(0);
  message.push_back(0xF7);
  return message;
}

}  // namespace

TEST(ModuleScripts, BankOfSinglePatches) {
  const DataFilePtr bank = NewData("matrix", "Patch Bank 3");
  ASSERT_TRUE(bank);
  Message patch = Framed("F0 10 06 01 05", 268);
  CSum(patch, 0, 2, 5, 134, 273);
  CableServices services;
  services.reply = [&](const Message& m) { return m.size() == 7 ? patch : Message(); };
  EXPECT_EQ(RunScript(&services, bank.get(), true, 5), 275);
  EXPECT_EQ(services.sent,
            (std::vector<std::string>{"F0 10 06 0A 03 F7", "F0 10 06 0A 03 F7", "F0 10 06 04 01 05 F7"}));
  EXPECT_TRUE(std::equal(patch.begin(), patch.end(), bank->body + 5 * 275));
  EXPECT_EQ(bank->transmitScript, nullptr) << "banks 2 to 9 cannot be written";
  // One bit wrong: nothing was received.
  patch[40] ^= 1;
  EXPECT_EQ(RunScript(&services, bank.get(), true, 5), 0);

  const DataFilePtr writable = NewData("matrix", "Patch Bank 1");
  std::copy(patch.begin(), patch.end(), writable->body + 7 * 275);
  services.sent.clear();
  EXPECT_GT(RunScript(&services, writable.get(), false, 7), 0);
  ASSERT_EQ(services.sent.size(), 3u);
  EXPECT_EQ(services.sent[1], "F0 10 06 0A 01 F7");
  EXPECT_EQ(services.sent[2].substr(0, 14), "F0 10 06 01 07");
  EXPECT_EQ(InstalledModules::Instance().recognizer().Verify(*writable), ChecksumVerdict::kOk);
}

TEST(ModuleScripts, EditBufferIsAddressedWhenSent) {
  const DataFilePtr patch = NewData("matrix", "Patch");
  patch->body[3] = 1;  // as it came from the memory
  patch->body[4] = 42;
  CableServices services;
  EXPECT_GT(RunScript(&services, patch.get(), false), 0);
  ASSERT_EQ(services.sent.size(), 1u);
  EXPECT_EQ(services.sent[0].substr(0, 14), "F0 10 06 0D 00");
}

TEST(ModuleScripts, VoiceInTwoMessages) {
  const DataFilePtr voice = NewData("tx81z", "Voice");
  ASSERT_TRUE(voice);
  voice->synth->sysExChannel = 2;
  Message answer = Framed("F0 43 02 7E 00 21 4C 4D 20 20 38 39 37 36 41 45", 23);
  CSum(answer, 0, 0, 6, 33, 39);
  Message second = Framed("F0 43 02 03 00 5D", 93);
  CSum(second, 0, 0, 6, 93, 99);
  answer.insert(answer.end(), second.begin(), second.end());
  CableServices services;
  services.reply = [&](const Message&) { return answer; };
  EXPECT_EQ(RunScript(&services, voice.get(), true), 142);
  EXPECT_EQ(services.sent, std::vector<std::string>{"F0 43 22 7E 4C 4D 20 20 38 39 37 36 41 45 F7"});
  EXPECT_TRUE(std::equal(answer.begin(), answer.end(), voice->body));
  services.sent.clear();
  services.reply = nullptr;
  EXPECT_EQ(RunScript(&services, voice.get(), false), 142);
  ASSERT_EQ(services.sent.size(), 2u);
  EXPECT_EQ(services.sent[0] + " " + services.sent[1], HexText(answer));
  answer[120] ^= 4;
  services.reply = [&](const Message&) { return answer; };
  EXPECT_EQ(RunScript(&services, voice.get(), true), 0);
}

TEST(ModuleScripts, PatchOfFiveAddressedMessages) {
  const DataFilePtr bank = NewData("jv-1080", "Patch Bank");
  ASSERT_TRUE(bank);
  bank->synth->sysExChannel = 0x11;
  std::uint8_t* patch = bank->body + 643 * 9;
  CableServices services;
  EXPECT_GT(RunScript(&services, bank.get(), false, 9), 0);
  ASSERT_EQ(services.sent.size(), 5u);
  EXPECT_EQ(services.sent[0].substr(0, 26), "F0 41 11 6A 12 11 09 00 00");
  EXPECT_EQ(services.sent[4].substr(0, 26), "F0 41 11 6A 12 11 09 16 00");
  Message answer;
  for (const std::string& message : services.sent) {
    const Message bytes = *ParseHex(message);
    EXPECT_EQ(RolandCheckSum(bytes.data() + 5, static_cast<std::int64_t>(bytes.size()) - 7), bytes[bytes.size() - 2]);
    answer.insert(answer.end(), bytes.begin(), bytes.end());
  }
  EXPECT_EQ(answer.size(), 643u);
  std::fill(patch, patch + 643, std::uint8_t{0});
  services.sent.clear();
  services.reply = [&](const Message&) { return answer; };
  EXPECT_EQ(RunScript(&services, bank.get(), true, 9), 643);
  EXPECT_EQ(services.sent, std::vector<std::string>{"F0 41 11 6A 11 11 09 00 00 00 00 18 00 4E F7"});
  EXPECT_TRUE(std::equal(answer.begin(), answer.end(), patch));
  answer[300] ^= 1;
  EXPECT_EQ(RunScript(&services, bank.get(), true, 9), 0);
}

TEST(ModuleScripts, MemoryByAddressUsesTheBuiltInExchange) {
  const DataFilePtr bank = NewData("d-50", "Patch Bank");
  ASSERT_TRUE(bank);
  CableServices services;
  EXPECT_EQ(RunScript(&services, bank.get(), true, 3), 448);
  EXPECT_EQ(services.roland, (std::vector<int>{0x8000 + 3 * 448, 448, 0, 1, 448}));
  EXPECT_EQ(RunScript(&services, bank.get(), false, 63), 448);
  EXPECT_EQ(services.roland, (std::vector<int>{0x8000 + 63 * 448, 448, 0, 0, 448}));
}

TEST(ModuleScripts, BlocksWithAChecksumPerItem) {
  for (const char* type : {"Single Bank", "Multi Bank", "Effect Bank", "Drum", "All Patches"}) {
    const DataFilePtr block = NewData("k4", type);
    ASSERT_TRUE(block) << type;
    const std::size_t size = block->synth->fileSize;
    const Message fill = Pattern(size);
    std::copy(fill.begin() + 8, fill.end() - 1, block->body + 8);
    CableServices services;
    EXPECT_EQ(RunScript(&services, block.get(), false), static_cast<int>(size)) << type;
    EXPECT_EQ(InstalledModules::Instance().recognizer().Verify(*block), ChecksumVerdict::kOk) << type;
    Message answer(block->body, block->body + size);
    answer[size - 1] = 0xF7;
    services.reply = [&](const Message&) { return answer; };
    EXPECT_EQ(RunScript(&services, block.get(), true), static_cast<int>(size)) << type;
    answer[size - 4] ^= 1;
    EXPECT_EQ(RunScript(&services, block.get(), true), 0) << type;
  }
}

TEST(ModuleScripts, VerifiedBlockExchange) {
  const DataFilePtr bank = NewData("cz-101", "Tone Bank");
  ASSERT_TRUE(bank);
  bank->synth->sysExChannel = 4;
  Message tone = Pattern(257);
  tone[256] = 0xF7;
  tone[0] = 0;
  CableServices services;
  services.reply = [&](const Message& m) {
    if (m.size() == 7) return *ParseHex("F0 44 00 00 74 30");
    return m.size() == 2 ? tone : Message();
  };
  EXPECT_EQ(RunScript(&services, bank.get(), true, 15), 257);
  EXPECT_EQ(services.sent, (std::vector<std::string>{"F0 44 00 00 74 10 2F", "74 31", "F7"}));
  EXPECT_TRUE(std::equal(tone.begin(), tone.end(), bank->body + 15 * 258));
  services.sent.clear();
  EXPECT_EQ(RunScript(&services, bank.get(), false, 15), 257);
  EXPECT_EQ(services.sent, (std::vector<std::string>{"F0 44 00 00 74 20 2F", "F8 " + HexText(tone)}));
  // Not ready, and silent.
  services.reply = [&](const Message&) { return *ParseHex("F0 44 00 00 74 3F"); };
  EXPECT_EQ(RunScript(&services, bank.get(), true, 0), 0);
  services.sent.clear();
  EXPECT_EQ(RunScript(&services, bank.get(), false, 15), 0);
  EXPECT_EQ(services.sent.size(), 1u) << "an instrument that is not ready gets no data";
  services.reply = nullptr;
  EXPECT_EQ(RunScript(&services, bank.get(), true, 0), 0);
  // Nobody there (a file is written): request and data in one message.
  services.sent.clear();
  services.open = false;
  EXPECT_EQ(RunScript(&services, bank.get(), false, 15), 257);
  EXPECT_EQ(services.sent.back(), "F0 44 00 00 74 20 2F " + HexText(tone));
}

}  // namespace tonalith
