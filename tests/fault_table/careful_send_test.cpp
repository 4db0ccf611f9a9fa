// Every data type of every shipped module that can be read and written: what the instrument holds is kept, sent over,
// compared and brought back, with faults in each of these.

#include <filesystem>
#include <map>

#include "services/careful_send.h"
#include "studio/type_check.h"
#include "tests/fault_table/fault_table.h"

namespace tonalith::fault_table {

namespace {

enum class Phase { kNone, kKeep, kSend, kVerify };

// One instrument whose data is sent over, with a history of its own.
struct CarefulRig {
  explicit CarefulRig(const TableType& which)
      : type(which),
        rig(which.simulated),
        folder(InstalledModules::Instance().folder() / ("history-" + std::to_string(++count))),
        history([this] { return folder.string(); }) {
    data = InstalledModules::Instance().studio().GetNewDataFile(type.driver);
    if (type.byPatch) {
      const std::uint32_t voices = data->synth->numVoices;
      patches.assign(voices, 0);
      for (const std::uint32_t patch : {0U, 1U, voices / 2, voices - 1})
        if (patch < voices) patches[patch] = 1;
    }
    const DeskResult got = rig.Run(DeskStep::Kind::kGet, *data, patches);
    EXPECT_TRUE(got.ok) << got.sentence;
    before = rig.Memory();
    if (data->xtra) data->xtra->hasNoSysEx = 0;
    changed = Change();
  }
  ~CarefulRig() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }

  // Something in every patch that is sent becomes different.
  bool Change() {
    Synth& synth = *data->synth;
    bool any = false;
    for (std::uint32_t i = 0; i < std::max<std::uint32_t>(+synth.numVoices, 1); ++i) {
      if (type.byPatch ? !patches[i] || MapBit(data->emptyMap, data->emptyMapSize, i) : i > 0) continue;
      any = ChangeVoice(data.get(), i) || any;
    }
    return any;
  }

  // Faults while one phase runs.
  DeskResult Send(Phase phase, const std::string& plan) {
    rig.Route(*data);
    report = std::make_shared<CarefulSendReport>();
    CarefulSend wishes;
    wishes.patches = patches;
    wishes.keep = wishes.verify = true;
    wishes.check = CheckOfType(InstalledModules::Instance().studio(), *data);
    if (phase == Phase::kKeep) rig.SetFaults(plan);
    int ended = 0;
    return rig.Run(MakeCarefulSend(data.get(), wishes, history, report), [&](const DeskEvent& event) {
      if (event.kind == DeskEvent::Kind::kStepEnded) ++ended;
      const bool now = event.kind == DeskEvent::Kind::kState && event.state == DeskState::kStarted;
      if (now && ended == (phase == Phase::kSend ? 1 : 2) && (phase == Phase::kSend || phase == Phase::kVerify))
        rig.SetFaults(plan);
    });
  }
  DeskResult Restore(const std::string& plan) {
    DataFilePtr kept;
    const Result loaded = history.Load(report->kept.number, &kept);
    EXPECT_TRUE(loaded.ok()) << loaded.text;
    if (!kept) return {};
    rig.Route(*kept);
    rig.SetFaults(plan);
    std::shared_ptr<DataFile> owned(kept.release(), DataFileDeleter());
    return rig.Run(MakeCarefulSend(owned, {}, history, std::make_shared<CarefulSendReport>()));
  }

  TableType type;
  FaultRig rig;
  std::filesystem::path folder;
  InstrumentHistory history;
  DataFilePtr data;
  std::vector<std::uint8_t> patches;
  Bytes before;
  bool changed = false;
  std::shared_ptr<CarefulSendReport> report;
  static inline int count = 0;
};

struct CarefulTable : ::testing::TestWithParam<std::string> {
  static std::vector<TableType> Types() {
    std::vector<TableType> types;
    for (TableType& type : TableTypes())
      if (type.module == GetParam() && type.panel.empty() && type.sends) types.push_back(std::move(type));
    return types;
  }
};

TEST_P(CarefulTable, WhatWasThereComesBack) {
  for (const TableType& type : Types()) {
    SCOPED_TRACE(type.Name());
    CarefulRig rig(type);
    ASSERT_TRUE(rig.changed);
    const DeskResult sent = rig.Send(Phase::kNone, {});
    EXPECT_TRUE(sent.ok) << sent.sentence;
    EXPECT_TRUE(rig.report->sent && rig.report->verified);
    EXPECT_NE(rig.rig.Memory(), rig.before);
    const DeskResult back = rig.Restore({});
    EXPECT_TRUE(back.ok) << back.sentence;
    EXPECT_EQ(rig.rig.Memory(), rig.before);
  }
}

TEST_P(CarefulTable, FaultsLoseNothing) {
  for (const TableType& type : Types()) {
    SCOPED_TRACE(type.Name());
    {
      SCOPED_TRACE("while what is there is got");
      CarefulRig rig(type);
      const DeskResult sent = rig.Send(Phase::kKeep, "no-reply:times=9999");
      EXPECT_FALSE(sent.ok);
      EXPECT_TRUE(sent.sentence.starts_with("Nothing was sent")) << sent.sentence;
      EXPECT_EQ(rig.rig.Memory(), rig.before);
      EXPECT_TRUE(rig.history.List().empty());
    }
    {
      SCOPED_TRACE("while it is sent");
      CarefulRig rig(type);
      const DeskResult sent = rig.Send(Phase::kSend, "port-vanishes:at=4");
      EXPECT_FALSE(sent.ok) << sent.sentence;
      EXPECT_FALSE(rig.report->sent);
      EXPECT_EQ(rig.report->notSent.empty(), !type.byPatch);
      ASSERT_GT(rig.report->kept.number, 0) << sent.sentence;
      rig.rig.Recover();
      EXPECT_FALSE(rig.Restore("port-vanishes:at=3").ok);
      rig.rig.Recover();
      const DeskResult back = rig.Restore({});
      EXPECT_TRUE(back.ok) << back.sentence;
      EXPECT_EQ(rig.rig.Memory(), rig.before);
    }
    {
      SCOPED_TRACE("while it is read back");
      CarefulRig rig(type);
      const DeskResult sent = rig.Send(Phase::kVerify, "no-reply:times=9999");
      EXPECT_FALSE(sent.ok);
      EXPECT_TRUE(rig.report->sent && !rig.report->verified);
      EXPECT_NE(sent.sentence.find("was sent, but could not be"), std::string::npos) << sent.sentence;
    }
  }
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(All, CarefulTable, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace tonalith::fault_table
