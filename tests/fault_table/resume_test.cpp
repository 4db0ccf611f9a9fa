// Every bank of every shipped module that goes patch by patch: a Get and a send that are broken off go on where they
// stopped, also when what goes on is broken off as well.

#include <algorithm>
#include <filesystem>

#include "bank/bank_document.h"
#include "services/careful_send.h"
#include "services/transfer_rest.h"
#include "tests/fault_table/fault_table.h"

namespace tonalith::fault_table {

namespace {

using Patches = std::vector<std::uint8_t>;

// The first patches of a bank, and a document of it.
struct ResumeRig {
  explicit ResumeRig(const TableType& which)
      : rig(which.simulated), document(InstalledModules::Instance().studio().GetNewDataFile(which.driver)) {
    const int voices = document.PatchCount();
    wanted.assign(static_cast<std::size_t>(voices), 0);
    for (int i = 0; i < std::min(voices, 6); ++i) wanted[static_cast<std::size_t>(i)] = 1;
  }

  DataFile& data() { return *document.dataFile(); }
  DeskResult Get(const Patches& patches, const std::string& plan) {
    rig.SetFaults(plan);
    document.BeginReceiveRest("Get");
    const DeskResult result = rig.Run(DeskStep::Kind::kGet, data(), patches);
    document.EndReceive(result.ok);
    document.GetEnded(patches, result);
    rig.Recover();
    return result;
  }
  // Breaks off at about this part of the bytes that all of it takes.
  DeskResult Send(const Patches& patches, const std::string& plan) {
    rig.SetFaults(plan);
    const DeskResult result = rig.Run(DeskStep::Kind::kSend, data(), patches);
    document.SendEnded(patches, result);
    rig.Recover();
    return result;
  }
  // How many bytes the instrument's line carries for the patches when nothing goes wrong.
  std::int64_t Measure(DeskStep::Kind kind) {
    const std::int64_t before = rig.Carried();
    const DeskResult result = rig.Run(kind, data(), wanted);
    EXPECT_TRUE(result.ok) << result.sentence;
    return rig.Carried() - before;
  }

  // What the instrument holds in these places; its edit buffer follows what is asked for.
  Bytes Held(const TableType& type) {
    const DataFilePtr held = InstalledModules::Instance().studio().GetNewDataFile(type.driver);
    const DeskResult result = rig.Run(DeskStep::Kind::kGet, *held, wanted);
    EXPECT_TRUE(result.ok) << result.sentence;
    return BodyOf(*held);
  }

  FaultRig rig;
  ZKBankDoc document;
  Patches wanted;
};

struct ResumeTable : ::testing::TestWithParam<std::string> {
  static std::vector<TableType> Types(bool send) {
    std::vector<TableType> types;
    for (TableType& type : TableTypes())
      if (type.module == GetParam() && type.byPatch && type.panel.empty() && (type.sends || !send))
        types.push_back(std::move(type));
    return types;
  }
};

std::string Vanishes(std::int64_t at) {
  return "port-vanishes:at=" + std::to_string(std::max<std::int64_t>(at, 1));
}

TEST_P(ResumeTable, AGetGoesOn) {
  for (const TableType& type : Types(false)) {
    SCOPED_TRACE(type.Name());
    ResumeRig whole(type);
    const std::int64_t bytes = whole.Measure(DeskStep::Kind::kGet);
    const Bytes image = BodyOf(whole.data());
    ResumeRig rig(type);
    Patches left = rig.wanted;
    int breaks = 0;
    for (const int part : {2, 3}) {
      const DeskResult result = rig.Get(left, Vanishes(bytes / part));
      const Patches rest = rig.document.rest().notReceived;
      if (result.ok) break;  // what is left takes less
      ++breaks;
      if (result.patchesDone == 0) continue;
      EXPECT_EQ(CountPatches(rest), CountPatches(left) - result.patchesDone) << result.sentence;
      for (std::size_t i = 0; i < rest.size(); ++i) EXPECT_TRUE(!rest[i] || left[i]) << i;
      left = rest;
    }
    EXPECT_GT(breaks, 0);
    if (CountPatches(rig.document.rest().notReceived) > 0) {
      const std::int64_t before = rig.rig.Carried();
      const DeskResult result = rig.Get(rig.document.ToGet(), {});
      EXPECT_TRUE(result.ok) << result.sentence;
      EXPECT_LT(rig.rig.Carried() - before, bytes) << "only what was missing";
    }
    EXPECT_TRUE(rig.document.rest().none());
    EXPECT_EQ(BodyOf(rig.data()), image);
  }
}

TEST_P(ResumeTable, ASendGoesOn) {
  for (const TableType& type : Types(true)) {
    SCOPED_TRACE(type.Name());
    ResumeRig rig(type);
    ASSERT_TRUE(rig.Get(rig.wanted, {}).ok);
    bool changed = false;
    for (std::uint32_t i = 0; i < rig.wanted.size(); ++i)
      if (rig.wanted[i] && rig.document.IsPatchDefined(static_cast<int>(i)))
        changed = ChangeVoice(&rig.data(), i) || changed;
    ASSERT_TRUE(changed);
    const Bytes before = rig.rig.Memory();
    const std::int64_t bytes = rig.Measure(DeskStep::Kind::kSend);
    const Bytes after = rig.rig.Memory();
    rig.rig.RestoreMemory(before);
    Patches left = rig.wanted;
    const int meant = CountPatches(PatchesToSend(rig.data(), left));
    int sent = 0;
    for (const int part : {2, 3}) {
      const DeskResult result = rig.Send(left, Vanishes(bytes / part));
      if (result.ok) break;
      const Patches rest = rig.document.rest().notSent;
      sent += static_cast<int>(result.sent.size());
      EXPECT_EQ(sent > 0 ? CountPatches(rest) : meant, meant - sent) << result.sentence;
      for (const int patch : result.sent) EXPECT_FALSE(rig.document.DiffersFromInstrument(patch)) << patch;
      for (std::size_t i = 0; i < rest.size(); ++i)
        EXPECT_TRUE(!rest[i] || rig.document.DiffersFromInstrument(static_cast<int>(i))) << i;
      if (sent > 0) left = rest;
    }
    if (rig.document.rest().notSent.empty() && sent == 0) {
      EXPECT_TRUE(rig.Send(left, {}).ok);
    } else if (!rig.document.rest().notSent.empty()) {
      const std::int64_t carried = rig.rig.Carried();
      const DeskResult result = rig.Send(rig.document.rest().notSent, {});
      EXPECT_TRUE(result.ok) << result.sentence;
      EXPECT_LT(rig.rig.Carried() - carried, bytes) << "only what was not sent";
    }
    EXPECT_TRUE(rig.document.rest().none());
    EXPECT_EQ(rig.rig.Memory(), after);
  }
}

// What is kept, sent, compared and brought back: whichever of these is broken off, the rest is known and makes it
// whole.
TEST_P(ResumeTable, ACarefulSendGoesOn) {
  for (const TableType& type : Types(true)) {
    for (const int phase : {0, 1, 2}) {
      SCOPED_TRACE(type.Name() + " | phase " + std::to_string(phase));
      ResumeRig rig(type);
      ASSERT_TRUE(rig.Get(rig.wanted, {}).ok);
      for (std::uint32_t i = 0; i < rig.wanted.size(); ++i)
        if (rig.wanted[i] && rig.document.IsPatchDefined(static_cast<int>(i))) ChangeVoice(&rig.data(), i);
      const auto folder = InstalledModules::Instance().folder() / "resume-history";
      std::filesystem::remove_all(folder);
      InstrumentHistory history([&] { return folder.string(); });
      const Bytes memory = rig.rig.Memory(), before = rig.Held(type);
      rig.Measure(DeskStep::Kind::kSend);
      const Bytes after = rig.Held(type);
      rig.rig.RestoreMemory(memory);
      CarefulSend wishes;
      wishes.patches = rig.wanted;
      wishes.keep = wishes.verify = true;
      const auto send = [&](const std::string& plan) {
        rig.rig.Route(rig.data());
        auto report = std::make_shared<CarefulSendReport>();
        int ended = 0;
        const DeskResult result =
            rig.rig.Run(MakeCarefulSend(&rig.data(), wishes, history, report), [&](const DeskEvent& event) {
              if (event.kind == DeskEvent::Kind::kStepEnded) ++ended;
              const bool starts = event.kind == DeskEvent::Kind::kState && event.state == DeskState::kStarted;
              if (starts && ended == phase && !plan.empty()) rig.rig.SetFaults(plan);
            });
        rig.document.SendEnded(wishes.patches, result);
        rig.rig.Recover();
        return result;
      };
      const DeskResult broken = send(Vanishes(40));
      EXPECT_FALSE(broken.ok);
      SCOPED_TRACE(broken.sentence);
      EXPECT_TRUE(phase != 0 || rig.Held(type) == before) << "nothing was sent";
      EXPECT_TRUE(phase != 2 || rig.document.rest().none()) << "all of it was sent";
      if (!rig.document.rest().notSent.empty()) wishes.patches = rig.document.rest().notSent;
      const DeskResult rest = send({});
      EXPECT_TRUE(rest.ok) << rest.sentence;
      EXPECT_TRUE(rig.document.rest().none());
      EXPECT_EQ(rig.Held(type), after);
      // The newest first: together they bring back what was there.
      for (const HistoryEntry& entry : history.List()) {
        DataFilePtr kept;
        ASSERT_TRUE(history.Load(entry.number, &kept).ok());
        rig.rig.Route(*kept);
        std::shared_ptr<DataFile> owned(kept.release(), DataFileDeleter());
        EXPECT_TRUE(rig.rig.Run(MakeCarefulSend(owned, {}, history, std::make_shared<CarefulSendReport>())).ok);
      }
      EXPECT_EQ(rig.Held(type), before);
      std::filesystem::remove_all(folder);
    }
  }
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(All, ResumeTable, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace tonalith::fault_table
