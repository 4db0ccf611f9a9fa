#include <array>

#include "platform/atomic_file.h"
#include "studio/new_data.h"
#include "tests/studio/studio_fixture.h"

namespace tonalith {

namespace {

using Image = std::vector<std::uint8_t>;

Image Join(std::initializer_list<Image> parts) {
  Image all;
  for (const Image& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Ten bytes of SysEx that can be told apart.
Image Dump(std::uint8_t mark) {
  return {0xF0, 0x3E, mark, 'A', 'B', 'C', 'D', 'E', 'F', 0xF7};
}

Image SmfEvent(std::uint8_t count, const Image& dump) {
  Image event{0xF0, count};
  event.insert(event.end(), dump.begin() + 1, dump.end());
  return event;
}

class NewDataTest : public StudioTest {
 protected:
  NewDataTest() { studio_.LoadStudio(); }
  std::string File(const std::string& name, const Image& bytes) const {
    const std::string path = (root_ / name).string();
    EXPECT_TRUE(WriteFileAtomically(path, std::span<const std::uint8_t>(bytes)).ok());
    return path;
  }
  ZKDrvList* Patch() { return studio_.GetDriverWithID(8); }
  NewData Make(ScriptedPrompts& prompts, NewDataKind kind, ZKDrvList* driver, const std::string& path) {
    return DrvAddNewDataFile(studio_, prompts, nullptr, kind, driver, path);
  }

  ScriptedPrompts quiet_{{}};
  ZKStudioDoc studio_{paths(), quiet_, &ports_};
};

}  // namespace

TEST(NewDataFill, SpansOfTheRightSize) {
  const Image junk(7, 0x11);
  const struct {
    const char* what;
    NewDataKind kind;
    Image file;
    FillOutcome outcome;
    int mark;  // of the dump that was taken
  } cases[] = {
      {"exact", NewDataKind::SysEx, Dump(1), FillOutcome::Filled, 1},
      {"exact, not SysEx", NewDataKind::SysEx, Image(10, 1), FillOutcome::NotSysEx, 0},
      {"the last of several", NewDataKind::SysEx, Join({junk, Dump(1), Dump(2), junk}), FillOutcome::Filled, 2},
      {"overlapping", NewDataKind::SysEx, Join({Dump(1), {0xF7}}), FillOutcome::Filled, 1},
      {"none", NewDataKind::SysEx, Join({junk, junk}), FillOutcome::WrongSize, 0},
      {"short", NewDataKind::SysEx, Image(9, 0xF0), FillOutcome::WrongSize, 0},
      {"event", NewDataKind::MidiFile, Join({junk, SmfEvent(9, Dump(3)), junk}), FillOutcome::Filled, 3},
      {"the one whose count is right", NewDataKind::MidiFile, Join({SmfEvent(5, Dump(1)), SmfEvent(9, Dump(2))}),
       FillOutcome::Filled, 2},
      {"a packet that goes on", NewDataKind::MidiFile, SmfEvent(5, Dump(4)), FillOutcome::Filled, 4},
      {"a long count", NewDataKind::MidiFile, Join({{0xF0, 0x80, 0x80, 0x09}, Image{0x3E, 5, 1, 2, 3, 4, 5, 6, 0xF7}}),
       FillOutcome::Filled, 5},
      {"an endless count", NewDataKind::MidiFile, Image{0xF0, 0x80, 0x80, 0x80, 0x80, 0x80}, FillOutcome::NotMatched,
       0},
      {"cut", NewDataKind::MidiFile, Join({junk, {0xF0, 9, 1, 2}}), FillOutcome::NotMatched, 0},
      {"nothing", NewDataKind::MidiFile, {}, FillOutcome::NotMatched, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::array<std::uint8_t, 10> image{};
    EXPECT_EQ(c.kind == NewDataKind::SysEx ? FillFromSysEx(c.file, image) : FillFromMidiFile(c.file, image), c.outcome);
    EXPECT_EQ(image[2], c.mark);
    if (c.outcome == FillOutcome::Filled) {
      EXPECT_EQ(image[0], 0xF0);
    }
  }
  std::array<std::uint8_t, 4> image{1, 2, 3, 4};
  FillHeaderless(Image{9, 8, 7}, image, 2);
  EXPECT_EQ(image, (std::array<std::uint8_t, 4>{1, 2, 9, 8}));
  FillHeaderless(Image{5}, image, 2);
  EXPECT_EQ(image, (std::array<std::uint8_t, 4>{1, 2, 5, 8}));
  FillHeaderless(Image{5}, image, 99);
}

TEST_F(NewDataTest, QuestionsAndErrors) {
  const struct {
    const char* name;
    NewDataKind kind;
    Image bytes;
    const char* answer;
    NewData::State state;
    const char* text;  // of the last prompt; empty: none
  } cases[] = {
      {"good.syx", NewDataKind::SysEx, Dump(7), "ok", NewData::State::Made, ""},
      {"not.syx", NewDataKind::SysEx, Image(10, 1), "ok", NewData::State::Failed, "This is not a MIDIX SysEx file!"},
      {"long.syx", NewDataKind::SysEx, Image(12, 0x41), "yes", NewData::State::Made,
       "MIDIX SysEx is incompatible with Synth Patch.\\nThe MIDIX file is 12 bytes\\nwhile the expected SysEx is 10 "
       "bytes!\\n\\nUse only the first 10 bytes?"},
      {"long2.syx", NewDataKind::SysEx, Image(12, 0x41), "no", NewData::State::Failed, "Use only the first 10 bytes?"},
      {"short.syx", NewDataKind::SysEx, Image(4, 0x41), "yes", NewData::State::Failed, "The MIDIX file is 4 bytes"},
      {"none.mid", NewDataKind::MidiFile, Image(90, 1), "ok", NewData::State::Failed,
       "Matching data was not found in the MIDI file."},
      {"plain.bin", NewDataKind::Headerless, Image(10, 0x42), "ok", NewData::State::Made, ""},
      {"empty.syx", NewDataKind::SysEx, {}, "ok", NewData::State::Failed, "Error Loading File"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedPrompts prompts({c.answer});
    const NewData made = Make(prompts, c.kind, Patch(), File(c.name, c.bytes));
    EXPECT_EQ(made.state, c.state);
    EXPECT_EQ(made.dataFile != nullptr, c.state == NewData::State::Made);
    const auto log = prompts.Log();
    EXPECT_EQ(log.empty(), !*c.text);
    if (!log.empty()) {
      EXPECT_NE(log.back().find(c.text), std::string::npos) << log.back();
    }
  }
  ScriptedPrompts prompts({"cancel", "file " + (root_ / "gone.syx").string()});
  EXPECT_EQ(Make(prompts, NewDataKind::SysEx, Patch(), {}).state, NewData::State::Cancelled);
  EXPECT_NE(prompts.Log().back().find("Choose MIDIX File to Load..."), std::string::npos);
  EXPECT_EQ(Make(prompts, NewDataKind::SysEx, Patch(), {}).state, NewData::State::Failed);
  EXPECT_NE(prompts.Log().back().find("Error opening file!"), std::string::npos);
}

TEST_F(NewDataTest, SendingAtOnceIsAgreedOn) {
  Patch()->synth()->reserved287 = 1;
  const std::string path = File("a.syx", Dump(1));
  ScriptedPrompts refuses({"cancel"}), agrees({"ok"});
  EXPECT_EQ(Make(refuses, NewDataKind::SysEx, Patch(), path).state, NewData::State::Cancelled);
  EXPECT_NE(refuses.Log()[0].find("This new Synth Patch will automatically\\nbe sent to the instrument and will "
                                  "automatically\\noverwrite the existing data"),
            std::string::npos)
      << refuses.Log()[0];
  const NewData made = Make(agrees, NewDataKind::SysEx, Patch(), path);
  EXPECT_TRUE(made.sendNow);
  EXPECT_EQ(made.dataFile->xtra->hasNoSysEx, 0);
}

}  // namespace tonalith
