// Every data type of every shipped module that can be read and written: what is sent changes what was meant and nothing
// else; what was there is kept, what is there is compared.

#include <algorithm>
#include <filesystem>
#include <set>

#include "bank/bank_document.h"
#include "bank/transmit_marks.h"
#include "data/data_records.h"
#include "services/careful_send.h"
#include "services/transfer_rest.h"
#include "studio/type_check.h"
#include "tests/fault_table/fault_table.h"

namespace tonalith::fault_table {

namespace {

using Mask = std::vector<std::uint8_t>;
using Slots = std::vector<int>;

// Some patches of a bank, or all of data that goes as a whole.
struct TransmitRig {
  explicit TransmitRig(const TableType& which)
      : type(which),
        rig(which.simulated),
        folder(InstalledModules::Instance().folder() / "transmit-history"),
        history([this] { return folder.string(); }),
        document(InstalledModules::Instance().studio().GetNewDataFile(which.driver)) {
    std::filesystem::remove_all(folder);
    const int count = document.PatchCount();
    if (type.byPatch)
      for (const int slot : std::set<int>{0, 1, count / 2, count - 1})
        if (slot >= 0 && slot < count) slots.push_back(slot);
    wanted = MaskOf(slots);
    document.BeginReceive();
    const DeskResult got = rig.Run(DeskStep::Kind::kGet, *document.dataFile(), wanted);
    EXPECT_TRUE(got.ok) << got.sentence;
    document.EndReceive(got.ok, wanted);
    std::erase_if(slots, [this](int slot) { return !document.IsPatchDefined(slot); });
    memory = rig.Memory();
  }
  ~TransmitRig() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }

  Mask MaskOf(const Slots& which) const {
    Mask mask;
    if (type.byPatch) mask.assign(static_cast<std::size_t>(document.PatchCount()), 0);
    for (const int slot : which) mask[static_cast<std::size_t>(slot)] = 1;
    return mask;
  }
  // What the instrument has in the places of this rig.
  DataFilePtr Held() {
    DataFilePtr held = InstalledModules::Instance().studio().GetNewDataFile(type.driver);
    const DeskResult got = rig.Run(DeskStep::Kind::kGet, *held, wanted);
    EXPECT_TRUE(got.ok) << got.sentence;
    return held;
  }
  void Change() {
    document.CreateBackup("Change");
    for (const int slot : type.byPatch ? slots : Slots{0})
      EXPECT_TRUE(ChangeVoice(document.dataFile(), static_cast<std::uint32_t>(slot))) << slot;
    EXPECT_TRUE(document.EndBackup());
  }
  DeskResult Send(const Mask& mask) {
    rig.Route(*document.dataFile());
    report = std::make_shared<CarefulSendReport>();
    CarefulSend wishes;
    wishes.patches = mask;
    wishes.keep = wishes.verify = true;
    wishes.check = CheckOfType(InstalledModules::Instance().studio(), *document.dataFile());
    const DeskResult sent = rig.Run(MakeCarefulSend(document.dataFile(), wishes, history, report));
    if (sent.ok) document.WasSent(mask);
    document.NoteLeft(mask, sent);
    return sent;
  }
  void BringBack() {
    DataFilePtr kept;
    ASSERT_TRUE(history.Load(report->kept.number, &kept).ok());
    rig.Route(*kept);
    std::shared_ptr<DataFile> owned(kept.release(), DataFileDeleter());
    const DeskResult back = rig.Run(MakeCarefulSend(owned, {}, history, std::make_shared<CarefulSendReport>()));
    EXPECT_TRUE(back.ok) << back.sentence;
  }

  TableType type;
  FaultRig rig;
  std::filesystem::path folder;
  InstrumentHistory history;
  ZKBankDoc document;
  Slots slots;  // that hold something
  Mask wanted;
  Bytes memory;
  std::shared_ptr<CarefulSendReport> report;
};

Bytes PatchOf(const DataFile& data, int slot) {
  const Synth& synth = *data.synth;
  const std::size_t begin = synth.headerSize + static_cast<std::size_t>(slot) * synth.voiceSize;
  return {data.body + begin, data.body + begin + synth.voiceSize};
}

struct TransmitTable : ::testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(TransmitTable, OnlyWhatIsMeantIsSent) {
  std::set<std::string> seen;
  for (const TableType& type : TableTypes()) {
    if (type.module != GetParam() || !type.panel.empty() || !type.sends || !type.byPatch) continue;
    // Banks of one kind differ in their place only.
    if (!seen.insert(Latin1ToUtf8(FieldText(type.driver->synth()->typeKey))).second) continue;
    SCOPED_TRACE(type.Name());
    TransmitRig rig(type);
    ASSERT_FALSE(rig.slots.empty());
    const DataFilePtr before = rig.Held();
    rig.Change();
    const DataFile& mine = *rig.document.dataFile();
    const struct {
      const char* what;
      Slots slots;
    } ways[] = {{"one", {rig.slots.back()}},
                {"some", {rig.slots.front(), rig.slots.back()}},
                {"those that are not selected", Slots(rig.slots.begin() + 1, rig.slots.end())},
                {"all", rig.slots}};
    for (const auto& way : ways) {
      SCOPED_TRACE(way.what);
      const Mask mask = TransferMaskOf(rig.document, way.slots);
      if (mask.empty()) continue;
      const DeskResult sent = rig.Send(mask);
      EXPECT_TRUE(sent.ok) << sent.sentence;
      EXPECT_EQ(static_cast<int>(sent.sent.size()), CountPatches(mask));
      EXPECT_TRUE(rig.report->verified);
      const DataFilePtr held = rig.Held();
      for (const int slot : rig.slots) {
        SCOPED_TRACE(slot);
        const bool meant = mask[static_cast<std::size_t>(slot)] != 0;
        EXPECT_TRUE(PatchOf(*held, slot) == PatchOf(meant ? mine : *before, slot));
      }
      rig.BringBack();
      const DataFilePtr again = rig.Held();
      for (const int slot : rig.slots) EXPECT_TRUE(PatchOf(*again, slot) == PatchOf(*before, slot)) << slot;
    }
    for (const int slot : rig.slots) EXPECT_FALSE(rig.document.DiffersFromInstrument(slot)) << slot;
  }
}

INSTANTIATE_TEST_SUITE_P(All, TransmitTable, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace tonalith::fault_table
