// What can be given by every kind of window and by files, to every kind of window that is there: it is taken and can be
// taken back, or refused with a sentence, and nothing is lost.
#include <QMimeData>
#include <QStatusBar>
#include <QTableView>
#include <QUrl>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "app/document_windows.h"
#include "app/set_commands.h"
#include "bank/bank_commands.h"
#include "bank/ui/bank_view.h"
#include "document/move.h"
#include "platform/atomic_file.h"
#include "platform/file_bytes.h"
#include "platform/text.h"
#include "sets/ui/set_list.h"
#include "sets/ui/set_views.h"
#include "sets/ui/set_window.h"
#include "store/sets/set_document.h"
#include "studio/studio_document.h"
#include "tools/raw_sysex_document.h"
#include "tools/ui/message_drag.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/document_window.h"
#include "ui/move_mime.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Giving = std::function<MoveResult(DocumentWindow&)>;

class MovesMatrix : public ProgramFixture {
 protected:
  static Bytes ImageOf(const TZKBank& window) {
    const DataFile& data = *window.dataFile();
    return {data.body, data.body + +data.synth->fileSize};
  }
  static Bytes BytesOf(DocumentWindow& window) {
    if (auto* bank = dynamic_cast<TZKBank*>(&window)) {
      Bytes all = ImageOf(*bank);
      const DataFile& data = *bank->dataFile();
      all.insert(all.end(), data.emptyMap, data.emptyMap + data.emptyMapSize);
      all.push_back(bank->document().IsEmpty() ? 1 : 0);
      return all;
    }
    if (auto* set = dynamic_cast<TZKGrp*>(&window)) {
      Bytes all;
      for (int i = 0; i < set->document().GetDataFileCount(); ++i) {
        const DataFile& data = *set->document().GetDataFile(i);
        all.insert(all.end(), data.body, data.body + data.bodySize);
        all.push_back(static_cast<std::uint8_t>(set->document().StateOf(i).content));
      }
      return all;
    }
    const auto raw = static_cast<const RawSysExDocument&>(window.document()).bytes();
    return {raw.begin(), raw.end()};
  }
  static MoveResult Give(DocumentWindow& from, DocumentWindow& to) {
    Move move;
    if (Result made = from.MoveOut(&move); !made.ok()) return MoveResult::Refused(made.text);
    return Deliver(to, std::move(move));
  }
  RawSysExWindow* Raw(const Bytes& bytes) {
    auto document = std::make_unique<RawSysExDocument>();
    document->TakeBytes({bytes.begin(), bytes.end()});
    auto* window = qobject_cast<RawSysExWindow*>(parts().documents.Open(std::move(document)));
    if (window) window->list()->selectAll();
    return window;
  }
  // A Set whose components of these types hold what the windows show.
  TZKGrp* SetWith(const std::vector<TZKBank*>& from) {
    TZKGrp* window = nullptr;
    for (const auto& one : program_->studio()->instruments())
      if (!window && Latin1ToUtf8(one->DisplayKey()) == from.front()->document().InstrumentName())
        window = parts().sets.OpenNew(*one);
    if (!window) return nullptr;
    for (const TZKBank* one : from) {
      const int component = window->document().GetIndexForID(one->dataFile()->synth->driverId);
      const Result put = window->document().PutData(component, DataFilePtr(DupForUser(one->dataFile())));
      EXPECT_TRUE(put.ok()) << put.text;
    }
    return window;
  }
  std::string File(const char* name, const Bytes& bytes) {
    EXPECT_TRUE(WriteFileAtomically(Path(name), bytes).ok());
    return Path(name);
  }
  // `expected`: part of the refusal, empty where it is taken.  Windows other than the target stay as they are.
  static void GiveAndTakeBack(const Giving& give, DocumentWindow* target, const std::string& expected,
                              const std::vector<DocumentWindow*>& windows) {
    const auto look = [&] {
      std::vector<Bytes> bytes;
      for (DocumentWindow* window : windows) bytes.push_back(BytesOf(*window));
      return bytes;
    };
    const std::vector<Bytes> before = look();
    const MoveResult result = give(*target);
    const std::vector<Bytes> after = look();
    if (!result.taken()) {
      EXPECT_FALSE(expected.empty()) << result.text;
      EXPECT_NE(result.text.find(expected), std::string::npos) << result.text;
      EXPECT_FALSE(result.text.empty());
      EXPECT_EQ(after, before);
      return;
    }
    EXPECT_EQ(expected, "");
    for (std::size_t i = 0; i < windows.size(); ++i)
      EXPECT_EQ(after[i] != before[i], windows[i] == target) << windows[i]->document().Title();
    ASSERT_TRUE(target->document().Undo().ok());
    EXPECT_EQ(look(), before);
    ASSERT_TRUE(target->document().Redo().ok());
    EXPECT_EQ(look(), after);
    ASSERT_TRUE(target->document().Undo().ok());
  }
};

TEST_F(MovesMatrix, IsTakenAndTakenBackOrRefusedWithASentence) {
  Start();
  TZKBank* from = Open("Yamaha DX7", "Voice Bank", true);
  TZKBank* voice = Open("Yamaha DX7", "Voice", true);
  TZKBank* multi = Open("Kawai K4", "Multi", true);
  TZKBank* unfilled = Open("Yamaha DX7", "Voice Bank", false);
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  TZKBank* patch = Open("Yamaha DX7", "Voice", true);
  TZKBank* other = Open("Kawai K4", "Single Bank", true);
  ASSERT_TRUE(from && voice && multi && unfilled && bank && patch && other);
  for (TZKBank* window : {from, voice, multi, bank, patch, other}) ASSERT_TRUE(Idle(window, 20000));
  // No two patches are the same in the two banks, and the two voices differ.
  bank->document().Rename(9, "NINE");
  patch->document().Rename(0, "SET");
  TZKGrp* set = SetWith({patch, bank});
  ASSERT_TRUE(set) << LogText();
  patch->document().Rename(0, "PATCH");
  voice->document().Rename(0, "VOICE");
  const Bytes unknown = {0xF0, 0x7D, 1, 2, 3, 0xF7};
  const Bytes one = ImageOf(*voice), all = ImageOf(*from);
  RawSysExWindow* known = Raw(one);
  RawSysExWindow* strange = Raw(unknown);
  ASSERT_TRUE(known && strange);

  const auto of = [](TZKBank* window, std::vector<int> patches) {
    return [window, patches](DocumentWindow& to) {
      window->Select(patches);
      return Give(*window, to);
    };
  };
  const auto dropped = [this](const std::string& path) {
    return [this, path](DocumentWindow& to) {
      auto* window = dynamic_cast<TZKBank*>(&to);
      if (!window || window->document().IsEmpty()) return MoveResult::AskDone();
      frame().windows().Activate(window);
      frame().statusBar()->clearMessage();
      const std::size_t before = window->document().history().Position();
      DropFiles(window->view()->viewport(), {path});
      if (window->document().history().Position() != before) return MoveResult::Taken();
      return MoveResult::Refused(frame().statusBar()->currentMessage().toStdString());
    };
  };
  constexpr const char* kTaken = "";
  constexpr const char* kCompany = "not from the same Company";
  constexpr const char* kNoData = "This is no data for the";
  constexpr const char* kSingle = "one patch at a time";
  constexpr const char* kNobodys = "No data of an installed instrument";
  constexpr const char* kUnfinished = "unfinished SysEx";
  constexpr const char* kNoTarget = "does not take data";
  constexpr const char* kNoMatch = "Matching SysEx was not found in the Set";
  const auto component = [&](int driverId) {
    return [set, driverId](DocumentWindow& to) {
      set->view().SetCurSel(set->document().GetIndexForID(driverId));
      return Give(*set, to);
    };
  };
  const struct {
    const char* what;
    Giving give;
    const char *toBank, *toOther, *toPatch, *toRaw, *toSet;
  } rows[] = {
      {"a patch of a bank", of(from, {4}), kTaken, kCompany, kTaken, kNoTarget, kTaken},
      {"two patches", of(from, {4, 6}), kTaken, kCompany, kSingle, kNoTarget, kNoMatch},
      {"a bank", of(from, {}), kTaken, kCompany, kNoData, kNoTarget, kTaken},
      {"a place that holds nothing", of(unfilled, {3}), "nothing", "nothing", "nothing", "nothing", "nothing"},
      {"a single patch", of(voice, {}), kTaken, kCompany, kTaken, kNoTarget, kTaken},
      {"data of another type", of(multi, {}), kCompany, "no conversion", kCompany, kNoTarget, kNoMatch},
      {"a raw message", [&](DocumentWindow& to) { return Give(*known, to); }, kTaken, kCompany, kTaken, kNoTarget,
       kTaken},
      {"an unknown message", [&](DocumentWindow& to) { return Give(*strange, to); }, "No instrument", "No instrument",
       "No instrument", "No instrument", "No instrument"},
      {"a patch of a Set", component(voice->dataFile()->synth->driverId), kTaken, kCompany, kTaken, kNoTarget, nullptr},
      {"a bank of a Set", component(from->dataFile()->synth->driverId), nullptr, kCompany, kNoData, kNoTarget, nullptr},
      {"a file of a patch", dropped(File("voice.syx", one)), kTaken, kCompany, kTaken, nullptr, nullptr},
      {"a file of a bank", dropped(File("bank.syx", all)), kTaken, kCompany, kNoData, nullptr, nullptr},
      {"an unknown file", dropped(File("unknown.syx", unknown)), kNobodys, kNobodys, kNobodys, nullptr, nullptr},
      {"a cut file", dropped(File("cut.syx", {one.begin(), one.begin() + 100})), kUnfinished, kUnfinished, kUnfinished,
       nullptr, nullptr},
      {"an empty file", dropped(File("empty.syx", {})), "no SysEx", "no SysEx", "no SysEx", nullptr, nullptr},
  };
  const std::vector<DocumentWindow*> windows = {from, voice, multi, unfilled, bank, patch, other, known, strange, set};
  for (const auto& row : rows) {
    const std::pair<DocumentWindow*, const char*> targets[] = {
        {bank, row.toBank}, {other, row.toOther}, {patch, row.toPatch}, {strange, row.toRaw}, {set, row.toSet}};
    for (const auto& [target, expected] : targets) {
      SCOPED_TRACE(std::string(row.what) + " to " + target->document().Title());
      bank->Select({9, 10});
      if (expected) GiveAndTakeBack(row.give, target, expected, windows);
    }
  }
}

// A patch that carries its place in the instrument has that of the slot it was taken from.
TEST_F(MovesMatrix, APatchKeepsItsNumber) {
  Start();
  TZKBank* bank = Open("Kawai K4", "Single Bank", true);
  ASSERT_TRUE(Idle(bank, 20000));
  for (const int slot : {0, 20, 63}) {
    bank->Select({slot});
    Move move;
    ASSERT_TRUE(bank->MoveOut(&move).ok());
    ZKBankDoc patch(std::move(std::get<DataFilePtr>(move.payload)));
    EXPECT_EQ(patch.NumberText(0), bank->document().NumberText(slot));
    EXPECT_EQ(patch.GetPatchName(0), bank->document().GetPatchName(slot));
  }
}

// Messages are dragged out of a list: to windows as data, to other programs as a file.
TEST_F(MovesMatrix, MessagesAreDraggedOutOfTheirList) {
  Start();
  TZKBank* voice = Open("Yamaha DX7", "Voice", true);
  TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
  ASSERT_TRUE(Idle(voice, 20000) && Idle(bank, 20000));
  voice->document().Rename(0, "DRAGGED");
  Bytes both = ImageOf(*voice);
  const std::size_t known = both.size();
  for (const int byte : {0xF0, 0x7D, 1, 0xF7}) both.push_back(static_cast<std::uint8_t>(byte));
  RawSysExWindow* raw = Raw(both);
  for (const bool knownToo : {true, false}) {
    raw->list()->selectAll();
    if (!knownToo)
      raw->list()->selectionModel()->select(raw->list()->model()->index(1, 0),
                                            QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    const auto mime = raw->drag().Begin();
    ASSERT_TRUE(mime);
    ASSERT_EQ(mime->urls().size(), 1);
    FileBytes file;
    ASSERT_TRUE(ReadWholeFile(mime->urls().front().toLocalFile().toStdString(), file).ok());
    EXPECT_EQ(Bytes(file.begin(), file.end()),
              knownToo ? both : Bytes(both.begin() + static_cast<long>(known), both.end()));
    EXPECT_EQ(MoveIn(mime.get()).has_value(), knownToo);
    if (knownToo) {
      const MoveResult taken = raw->moves().Take(*MoveIn(mime.get()), *bank, MoveAction::Copy, 5);
      EXPECT_TRUE(taken.taken()) << taken.text;
      EXPECT_EQ(bank->document().GetPatchName(5), "DRAGGED");
    }
    raw->drag().Finish();
    EXPECT_EQ(raw->moves().Find(MoveIn(mime.get()).value_or(0)), nullptr);
  }
  raw->list()->clearSelection();
  EXPECT_EQ(raw->drag().Begin(), nullptr);
}

}  // namespace
}  // namespace tonalith
