#include <gtest/gtest.h>

#include <functional>

#include "data/checksums.h"
#include "platform/text.h"
#include "studio/module_check.h"
#include "studio/module_draft.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// A patch of an invented instrument: parameters that are no letters, a name at `nameAt`.
Bytes Patch(unsigned k, std::size_t size, std::size_t nameAt, std::size_t nameLength, unsigned top) {
  static const char* const kWords[] = {"GLASS", "Warm", "Iron", "Soft", "NIGHT", "Old", "Blue", "Reed"};
  static const char* const kThings[] = {"Bell", "PAD", "Organ", "Lead", "Bass", "Choir", "Harp"};
  Bytes patch(size);
  unsigned state = k * 2654435761u + 12345;
  for (std::uint8_t& byte : patch) {
    state = state * 1103515245u + 12345;
    byte = static_cast<std::uint8_t>((state >> 16) % top);
  }
  std::string name = std::string(kWords[k % 8]) + " " + kThings[k % 7] + std::to_string(k % 10);
  name.resize(nameLength, ' ');
  for (std::size_t i = 0; i < nameLength; ++i) patch[nameAt + i] = static_cast<std::uint8_t>(name[i]);
  return patch;
}

Bytes Packed78(const Bytes& bytes) {
  Bytes packed;
  for (std::size_t i = 0; i < bytes.size(); i += 7) {
    std::uint8_t top = 0;
    for (std::size_t j = i; j < std::min(i + 7, bytes.size()); ++j)
      top = static_cast<std::uint8_t>(top | (bytes[j] >> 7) << (j - i));
    packed.push_back(top);
    for (std::size_t j = i; j < std::min(i + 7, bytes.size()); ++j) packed.push_back(bytes[j] & 0x7F);
  }
  return packed;
}

Bytes Nibbles(const Bytes& bytes) {
  Bytes packed;
  for (const std::uint8_t byte : bytes) {
    packed.push_back(byte & 15);
    packed.push_back(byte >> 4);
  }
  return packed;
}

Bytes Framed(Bytes head, const Bytes& data, int checksum) {
  const auto start = static_cast<std::int64_t>(head.size());
  head.insert(head.end(), data.begin(), data.end());
  if (checksum >= 0) {
    head.push_back(0);
    CSum(head, 0, checksum, start, static_cast<std::int64_t>(data.size()),
         start + static_cast<std::int64_t>(data.size()));
  }
  head.push_back(0xF7);
  return head;
}

}  // namespace

TEST(ModuleDraft, FindsOutWhatADumpTells) {
  struct Case {
    const char* what;
    Bytes dump;
    DraftLayout layout;
    std::uint32_t header, count, patchSize, nameOffset;
    int storage, checksum;
    const char* number;  // place, first value, store message
  };
  const auto messages = [](unsigned count, const std::function<Bytes(unsigned)>& one) {
    Bytes all;
    for (unsigned k = 0; k < count; ++k) {
      const Bytes message = one(k);
      all.insert(all.end(), message.begin(), message.end());
    }
    return all;
  };
  const auto row = [&](std::size_t size, unsigned count, std::size_t nameAt, unsigned top) {
    return messages(count, [&](unsigned k) { return Patch(k, size, nameAt, 10, top); });
  };
  const auto at = [](unsigned k) { return static_cast<std::uint8_t>(k); };
  const std::vector<Case> cases = {
      {"a bank in one message", Framed({0xF0, 0x43, 0, 9, 0x20, 0}, row(128, 32, 118, 100), 0), DraftLayout::Bank, 6,
       32, 128, 118, 0, 0, ""},
      {"a packed bank", Framed({0xF0, 0x42, 0x30, 0x19, 0x4C, 0}, Packed78(row(143, 100, 0, 256)), -1),
       DraftLayout::Bank, 6, 100, 143, 0, 2, -1, ""},
      {"a bank of nibbles", Framed({0xF0, 0x44, 0, 1, 2}, Nibbles(row(64, 16, 5, 256)), -1), DraftLayout::Bank, 5, 16,
       128, 5, 1, -1, ""},
      {"numbered messages",
       messages(20,
                [&](unsigned k) {
                  return Framed({0xF0, 0x40, 0, 0x20, at(k + 5)}, Patch(k, 90, 20, 10, 100), 4);
                }),
       DraftLayout::Messages, 5, 20, 0, 20, 0, 4, "4 5"},
      {"nibbles in numbered messages",
       messages(20,
                [&](unsigned k) {
                  return Framed({0xF0, 0x18, 4, 0, 1, at(k)}, Nibbles(Patch(k, 60, 20, 10, 256)), -1);
                }),
       DraftLayout::Messages, 4, 20, 0, 21, 1, -1, "5 0"},
      {"stored by the message behind",
       messages(16,
                [&](unsigned k) {
                  Bytes both = Framed({0xF0, 0x42, 0x30, 3, 0x40}, Patch(k, 51, 3, 10, 100), -1);
                  for (const int byte : {0xF0, 0x42, 0x30, 3, 0x11, static_cast<int>(k), 0xF7})
                    both.push_back(at(static_cast<unsigned>(byte)));
                  return both;
                }),
       DraftLayout::Messages, 5, 16, 0, 3, 0, -1, "store 5 0 7"},
  };
  for (const Case& c : cases) {
    DraftOptions options;
    options.name = "Try";
    ModuleDraft draft;
    std::vector<DraftFinding> findings;
    ASSERT_TRUE(DraftOfDump(c.dump, options, &draft, &findings).ok()) << c.what;
    const DraftType& type = draft.types.front();
    EXPECT_EQ(type.layout, c.layout) << c.what;
    EXPECT_EQ(type.headerSize, c.header) << c.what;
    EXPECT_EQ(type.count, c.count) << c.what;
    EXPECT_EQ(type.patchSize, c.patchSize) << c.what;
    EXPECT_EQ(type.nameOffset, c.nameOffset) << c.what;
    EXPECT_EQ(type.storageFormat, c.storage) << c.what;
    EXPECT_EQ(type.checksum ? type.checksum->type : -1, c.checksum) << c.what;
    std::string number;
    if (type.header.NumberPlace() >= 0) number = Printf("%d %d", type.header.NumberPlace(), type.firstNumber);
    if (type.storeSize) number = Printf("store %d %d %u", type.store.NumberPlace(), type.firstNumber, type.storeSize);
    EXPECT_EQ(number, c.number) << c.what;
  }
}

TEST(ModuleDraft, DumpsThatTellNothingAreRefused) {
  const std::vector<Bytes> dumps = {{},
                                    {0xF0},
                                    {0xF0, 0xF7},
                                    {1, 2, 3, 0xF7},
                                    {0xF0, 0x7D, 1, 2},
                                    Bytes(100000, 0xF0),
                                    Bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0}};
  for (const Bytes& dump : dumps) {
    DraftOptions options;
    options.name = "Try";
    ModuleDraft draft;
    std::vector<DraftFinding> findings;
    const Result result = DraftOfDump(dump, options, &draft, &findings);
    EXPECT_FALSE(result.ok());
    EXPECT_FALSE(result.text.empty());
  }
}

// A patch that is asked for by its number, and a bank of them.
ModuleSource SourceFolder() {
  return {
      {"module.ini",
       "[Module]\nName = Orrin Eight\nDriverBase = 61000\nVersion = 1\nTypes = patch bank\nmanufacturerId = 0x7D\n"},
      {"patch.descriptor",
       "typeName = Patch\ndataKind = 1\nfileSize = 104\nheaderSize = 6\nvoiceSize = 96\nnameOffset = 0\n"
       "nameLength = 10\ninitName = INIT\ndumpRequest = F0 7D 00 08 10 00 F7\ndumpRequestPatchOffset = 5\n"
       "patchNumberInImage = 1\npatchNumberOffset = 5\npatchMax = 63\nchecksumType = 0\nchecksumStart = 6\n"
       "checksumLength = 96\nchecksumOffset = 102\nmessage = F0 7D 0? 08 20 ??\n"
       "; the byte that is the patch number\npatchByte = 5\n"},
      {"bank.descriptor",
       "typeName = Patch Bank\ndataKind = 2\npatchType = patch\nfileSize = 6151\nheaderSize = 5\nnumVoices = 64\n"
       "voiceSize = 96\nnameOffset = 0\nnameLength = 10\ninitName = INIT\ndumpRequest = F0 7D 00 08 11 F7\n"
       "checksumType = 0\nchecksumStart = 5\nchecksumLength = 6144\nchecksumOffset = 6149\n"
       "message = F0 7D 0? 08 21 | length 6151\n"}};
}

TEST(ModuleCheck, NamesEveryMistakeAtItsPlace) {
  ModuleSource source = SourceFolder();
  const auto change = [&](const char* file, const std::string& from, const std::string& to) {
    std::string& text = source[file];
    ASSERT_NE(text.find(from), std::string::npos) << from;
    text.replace(text.find(from), from.size(), to);
  };
  change("module.ini", "Version = 1", "Version = one");
  change("bank.descriptor", "numVoices", "numVoicse");
  change("bank.descriptor", "nameLength = 10", "nameLength = ten");
  change("patch.descriptor", "patchByte = 5", "patchByte = x");
  change("patch.descriptor", "message = F0 7D", "message = F0 GG");
  std::map<std::string, std::string> seen;  // place and hint
  for (const ModuleRemark& remark : CheckModule(source, {}, nullptr))
    seen[remark.file + ":" + std::to_string(remark.line)] += remark.text + "|" + remark.hint;
  EXPECT_EQ(seen.count("module.ini:4"), 1u);
  EXPECT_NE(seen["bank.descriptor:6"].find("Did you mean \"numVoices\"?"), std::string::npos)
      << seen["bank.descriptor:6"];
  EXPECT_EQ(seen.count("bank.descriptor:9"), 1u);
  EXPECT_EQ(seen.count("patch.descriptor:18"), 1u);
  EXPECT_EQ(seen.count("patch.descriptor:20"), 1u);
  EXPECT_EQ(seen.size(), 5u);
}

TEST(ModuleCheck, SeesWhatTheBuildCannot) {
  struct Case {
    const char* from;
    const char* to;
    bool error;
    const char* text;
  };
  const std::vector<Case> cases = {
      {"nameOffset = 0", "nameOffset = 90", true, "the name ends at byte 100"},
      {"checksumLength = 96", "checksumLength = 98", true, "the checksum is summed up as well"},
      {"checksumLength = 96", "checksumLength = 9600", true, "the checksum lies outside"},
      {"08 10 00 F7", "08 10 00", true, "the request is no SysEx message"},
      {"dumpRequest = F0 7D", "dumpRequest = F0 40", false, "the request is for manufacturer 40"},
      {"dumpRequest = ", "; ", false, "it cannot be asked for"},
      {"message = F0 7D 0? 08 20 ??\n", "", true, "a message nor an address"},
      {"message = F0 7D 0? 08 20 ??\n; the byte that is the patch number\npatchByte = 5\n", "", false,
       "it is recognised in no file"},
      {"typeName = Patch", "typeName = Patch\nmap = none", false, ""},
  };
  const ModuleSource good = SourceFolder();
  for (const Case& c : cases) {
    ModuleSource source = good;
    std::string& text = source["patch.descriptor"];
    ASSERT_NE(text.find(c.from), std::string::npos) << c.from;
    text.replace(text.find(c.from), std::string(c.from).size(), c.to);
    const auto remarks = CheckModule(source, {}, nullptr);
    const auto said = std::find_if(remarks.begin(), remarks.end(), [&](const ModuleRemark& remark) {
      return remark.text.find(c.text) != std::string::npos;
    });
    if (!*c.text) {
      EXPECT_TRUE(remarks.empty()) << remarks.front().text;
      continue;
    }
    ASSERT_NE(said, remarks.end()) << c.text;
    EXPECT_EQ(said->isError, c.error) << c.text;
  }
  const auto taken = CheckModule(good, {{61000, "Other Synth"}}, nullptr);
  ASSERT_EQ(taken.size(), 1u);
  EXPECT_NE(taken.front().text.find("belongs to the Other Synth"), std::string::npos);
}

TEST(ModuleCheck, SuggestsTheNearestKey) {
  const std::map<std::string, std::string> cases = {
      {"filesize", "fileSize"},
      {"mesage", "message"},
      {"typeNmae", "typeName"},
      {"dumpRequst", "dumpRequest"},
      {"DriveBase", "DriverBase"},
      {"zzzzzzzz", ""},
      {"", ""},
  };
  for (const auto& [written, meant] : cases) EXPECT_EQ(NearestModuleKey(written), meant) << written;
}

}  // namespace tonalith
