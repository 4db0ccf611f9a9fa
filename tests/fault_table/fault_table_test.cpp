#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "platform/text.h"
#include "tests/fault_table/fault_table.h"

// Every data type of every shipped module, each fault of a simulated cable, both ways.
//   test_fault_table --rows [PART...]     prints the rows whose line holds every PART
//   test_fault_table --wrong [PART...]    only those that are not as they should be
//   test_fault_table --note-failures      writes known_failures.txt anew
//   test_fault_table --plan PLAN [PART...]  the faults of PLAN at once
//   test_fault_table --schedules [COUNT [SEED]]  random faults; prints what must not be after any

namespace tonalith::fault_table {

namespace {

const std::string kKnownPath = TONALITH_SOURCE_DIR "/tests/fault_table/known_failures.txt";

// Rows that are known to be wrong: they have to be mended, and then leave this list.
const std::set<std::string>& KnownFailures() {
  static const std::set<std::string> known = [] {
    std::set<std::string> lines;
    std::ifstream file(kKnownPath);
    for (std::string line; std::getline(file, line);) lines.insert(line);
    return lines;
  }();
  return known;
}

bool HoldsAll(const std::string& line, const std::vector<std::string>& parts) {
  return std::all_of(parts.begin(), parts.end(),
                     [&](const std::string& part) { return line.find(part) != std::string::npos; });
}

// A type that none of the parts can mean costs nothing.
std::string EveryFaultName() {
  std::string names = "twice:0123456789:direction=in,at=,reply=,delay=" + kLostEvent;
  for (const std::string_view name : FaultPlan::Names()) names += name;
  return names;
}

using RowSink = std::function<void(const std::string& line, const TableRow& row)>;

// The rows of a type whose line holds all parts.
void RunType(const TableType& type, const std::vector<std::string>& parts, const RowSink& sink) {
  TypeTable table(type);
  bool prepared = false;
  for (const bool send : {false, true}) {
    if ((send ? !type.sends : !type.panel.empty()) || !HoldsAll(table.LineOf(EveryFaultName(), send), parts)) continue;
    if (!std::exchange(prepared, true)) {
      const std::string problem = table.Prepare();
      EXPECT_EQ(problem, "") << type.Name();
      if (!problem.empty()) return;
    }
    for (const std::string& fault : table.FaultsOf(send)) {
      const std::string line = table.LineOf(fault, send);
      if (HoldsAll(line, parts)) sink(line, table.Run(fault, send));
    }
  }
}

int PrintRows(const std::vector<std::string>& parts, bool onlyWrong) {
  int wrong = 0, count = 0;
  for (const TableType& type : TableTypes())
    RunType(type, parts, [&](const std::string& line, const TableRow& row) {
      ++count;
      wrong += !row.wrong.empty();
      if (onlyWrong && row.wrong.empty()) return;
      std::printf("%s | %s | %s | %s | %s | %s\n", line.c_str(), row.result.ok ? "ok" : "failed",
                  row.same ? "same" : "differs", row.former ? "former whole" : "former gone",
                  row.wrong.empty() ? "true" : row.wrong.c_str(), row.result.sentence.c_str());
      std::fflush(stdout);
    });
  std::printf("%d rows, %d of them wrong, %.1f s\n", count, wrong, static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
  return wrong ? 1 : 0;
}

// A row that is wrong now and then is noted with a question mark: it may be either.
int NoteFailures() {
  std::vector<std::string> lines;
  std::map<std::string, int> wrong;
  constexpr int kRuns = 3;
  for (int run = 0; run < kRuns; ++run)
    for (const TableType& type : TableTypes())
      RunType(type, {}, [&](const std::string& line, const TableRow& row) {
        if (!row.wrong.empty() && ++wrong[line] == 1) lines.push_back(line);
      });
  std::ofstream file(kKnownPath);
  for (const std::string& line : lines) file << (wrong[line] < kRuns ? "? " : "") << line << "\n";
  return file.flush() ? 0 : 1;
}

// One schedule with the types whose line holds all parts.
int RunPlan(std::vector<std::string> parts) {
  if (parts.empty()) return 1;
  const std::string plan = parts.front();
  parts.erase(parts.begin());
  int wrong = 0;
  for (const TableType& type : TableTypes())
    for (const bool send : {false, true}) {
      TypeTable table(type);
      if ((send ? !type.sends : !type.panel.empty()) || !HoldsAll(table.LineOf(plan, send), parts)) continue;
      const std::string problem = table.Prepare();
      const TableRow row = problem.empty() ? table.RunSchedule(plan, send) : TableRow();
      wrong += !row.wrong.empty();
      std::printf("%s | %s | %s\n", table.LineOf(plan, send).c_str(),
                  !problem.empty()    ? problem.c_str()
                  : row.wrong.empty() ? "true"
                                      : row.wrong.c_str(),
                  row.result.sentence.c_str());
    }
  return wrong ? 1 : 0;
}

// One to four faults anywhere in the exchange; at most one of them changes a byte (two may cancel each other out).
std::string RandomPlan(std::mt19937& random) {
  const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
  const auto names = FaultPlan::Names();
  std::string plan;
  bool changes = false;
  for (int left = 1 + below(4); left > 0; --left) {
    const std::string name(names[static_cast<std::size_t>(below(static_cast<int>(names.size())))]);
    if (name == "corrupt-byte" && std::exchange(changes, true)) continue;
    plan += (plan.empty() ? "" : ";") + name + ":reply=" + std::to_string(below(12)) +
            ",times=" + std::to_string(1 + below(4)) + ",delay=" + std::to_string(below(12'000));
    if (below(2)) plan += ",at=" + std::to_string(name == "port-vanishes" ? below(3000) : below(200));
    if (name == "corrupt-byte" && below(2)) plan += ",value=" + std::to_string(below(128));
    if (below(4) == 0) plan += ",direction=in";
  }
  return plan;
}

// Types with rows on the list of known failures wait for those, unless it prints.
// Nothing that happens on a cable makes the program take wrong data for right, hang, or leave an instrument unusable.
int RunSchedules(int count, unsigned seed, bool print) {
  std::mt19937 random(seed);
  std::vector<TypeTable> tables;
  for (const TableType& type : TableTypes()) {
    const bool known = std::any_of(KnownFailures().begin(), KnownFailures().end(), [&](const std::string& line) {
      return line.find(type.Name() + " |") != std::string::npos;
    });
    if (known && !print) continue;
    EXPECT_EQ(tables.emplace_back(type).Prepare(), "") << type.Name();
  }
  int wrong = 0;
  for (int i = 0; i < count; ++i) {
    TypeTable& table = tables[random() % tables.size()];
    const bool send = !table.type().panel.empty() || (table.type().sends && random() % 2);
    const std::string plan = RandomPlan(random);
    const TableRow row = table.RunSchedule(plan, send);
    if (row.wrong.empty()) continue;
    ++wrong;
    const std::string line = table.LineOf(plan, send) + " | " + row.wrong + " | " + row.result.sentence;
    if (print)
      std::printf("%s\n", line.c_str());
    else
      ADD_FAILURE() << line;
  }
  if (print)
    std::printf("%d schedules, %d of them wrong, %.1f s\n", count, wrong,
                static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
  return wrong ? 1 : 0;
}

TEST(RandomFaults, AcceptNothingWrongAndLeaveEverythingUsable) {
  RunSchedules(300, 9, false);
}

// A piece is asked for as often as the settings say, whoever asks: the transfer, the exchange of the maker or a script.
TEST(Attempts, AreOneBudget) {
  constexpr int kMostMessages = 12;  // of three exchanges
  int types = 0;
  for (const TableType& type : TableTypes()) {
    const std::string name = type.Name();
    if (name != "casio-cz101 | Tone" && name != "asm-hydrasynth | Patch" && name != "roland-d50 | Patch" &&
        name.find("(Handshake)") == std::string::npos)
      continue;
    ++types;
    TypeTable table(type);
    ASSERT_EQ(table.Prepare(), "") << name;
    const TableRow row = table.Run("corrupt-byte:at=20,value=70,times=1000", false);
    if (!row.result.ok) {
      EXPECT_LE(row.heard, kMostMessages * (type.byPatch ? std::max(row.result.patchesToDo, 1) : 1))
          << name << ": " << row.result.sentence;
    }
  }
  EXPECT_EQ(types, 10);
}

struct FaultTable : ::testing::TestWithParam<std::string> {};

TEST_P(FaultTable, EveryRowIsTrue) {
  int rows = 0;
  for (const TableType& type : TableTypes()) {
    if (type.module != GetParam()) continue;
    RunType(type, {}, [&](const std::string& line, const TableRow& row) {
      ++rows;
      if (KnownFailures().count("? " + line) != 0) return;
      const bool known = KnownFailures().count(line) != 0;
      if (known == row.wrong.empty())
        ADD_FAILURE() << line << ": " << (known ? "is mended; --note-failures takes it off the list" : row.wrong)
                      << "\n  " << row.result.sentence;
    });
  }
  EXPECT_GT(rows, 0);
}

INSTANTIATE_TEST_SUITE_P(All, FaultTable, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace

}  // namespace tonalith::fault_table

int main(int argc, char** argv) {
  using namespace tonalith::fault_table;
  testing::InitGoogleTest(&argc, argv);
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty()) return RUN_ALL_TESTS();
  if (words[0] == "--note-failures") return NoteFailures();
  if (words[0] == "--schedules")
    return RunSchedules(words.size() > 1 ? std::stoi(words[1]) : 10'000,
                        words.size() > 2 ? static_cast<unsigned>(std::stoul(words[2])) : 1, true);
  if (words[0] == "--plan") return RunPlan({words.begin() + 1, words.end()});
  return PrintRows({words.begin() + 1, words.end()}, words[0] != "--rows");
}
