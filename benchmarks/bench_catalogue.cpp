// The catalogue with a million patches: a scan, and every key of a name as it is typed, beside LIKE and plain FTS5 on
// the same names.  bench_catalogue RESOURCES [PATCHES]: the resources folder has the modules of the program.

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/catalogue_scan.h"
#include "data/checksums.h"
#include "platform/clock.h"
#include "platform/jobs.h"
#include "platform/lock_file.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/paths.h"
#include "services/program.h"
#include "studio/recognize.h"
#include "studio/shipped_modules.h"

namespace {

using namespace tonalith;
namespace fs = std::filesystem;

constexpr std::size_t kVoices = 32, kVoice = 128, kHead = 6, kNameAt = 118, kName = 10;
constexpr std::size_t kBanksInFile = 64;
constexpr std::size_t kShown = 200;  // hits that a key shows

double Ms(std::chrono::steady_clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

double TimeOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return Ms(std::chrono::steady_clock::now() - begin);
}

constexpr char kWords[] =
    "PIANO E.PIANO BRASS STRINGS Pad Bass SlapBs Organ Flute Sax Lead Vox Choir Bell Marimba Clav Harp "
    "Guitar 12Str Koto Sitar Drum Snare Kick Tom HiHat Sweep Warm Dark Bright Fat Thin Soft Hard Analog "
    "Digi FM Glass Metal Wood Air Space Noise Zap Wind Rain Sea Night Dream Angel Devil Magic Quasar Xylo "
    "Vibes Oboe Horn Tuba Trumpet Violin Cello Pizz Trem Solo Ens Orch Hit Stab Pluck Sync PWM Saw Square "
    "Sine Pulse Sub Bung";

// Names as people give them: two of many words, some with a number.
class Names {
 public:
  explicit Names(unsigned seed) : random_(seed) {}

  std::string Next() {
    std::string name;
    if (random_() % 4 == 0) {
      // What somebody's own words look like.
      for (std::size_t i = 3 + random_() % 6; i > 0; --i) name += static_cast<char>('a' + random_() % 26);
    } else {
      name = words_[random_() % words_.size()];
    }
    name += random_() % 2 ? " " : "";
    name += random_() % 3 ? words_[random_() % words_.size()] : std::to_string(random_() % 100);
    name.resize(kName, ' ');
    return name;
  }
  std::uint32_t Number() { return static_cast<std::uint32_t>(random_()); }

 private:
  std::mt19937 random_;
  std::vector<std::string> words_ = SplitText(kWords, ' ');
};

// Banks of the DX7, which has the smallest patches of all and so the most of them in a file.
std::size_t WriteDumps(const fs::path& folder, std::size_t patches, std::vector<std::string>* names) {
  Names source(1);
  std::size_t bytes = 0;
  for (std::size_t bank = 0, file = 0; names->size() < patches; ++file) {
    std::ofstream out(folder / ("dump" + std::to_string(file) + ".syx"), std::ios::binary);
    for (std::size_t i = 0; i < kBanksInFile && names->size() < patches; ++i, ++bank) {
      std::vector<std::uint8_t> dump(kHead + kVoices * kVoice + 2);
      std::memcpy(dump.data(), "\xF0\x43\x00\x09\x20\x00", kHead);
      for (std::size_t at = kHead; at + 2 < dump.size(); ++at) dump[at] = source.Number() >> 25 & 0x1F;
      for (std::size_t voice = 0; voice < kVoices; ++voice) {
        names->push_back(source.Next());
        std::string ascii = names->back();
        for (char& c : ascii) c = static_cast<char>(c & 0x7F);
        std::memcpy(dump.data() + kHead + voice * kVoice + kNameAt, ascii.data(), kName);
      }
      unsigned sum = 0;
      for (std::size_t at = kHead; at + 2 < dump.size(); ++at) sum += dump[at];
      dump[dump.size() - 2] = static_cast<std::uint8_t>(-sum & 0x7F);
      dump.back() = 0xF7;
      out.write(reinterpret_cast<const char*>(dump.data()), static_cast<std::streamsize>(dump.size()));
      bytes += dump.size();
    }
  }
  return bytes;
}

// Every beginning of what is typed: names from anywhere, a word inside of a name, two words, and what nothing has.
std::vector<std::string> Keys(const std::vector<std::string>& names) {
  std::vector<std::string> typed = {"zqx",  "q", "x", "zz", "#", "piano 99", "qua dre", "yamaha", "voice bank pia",
                                    "1 2 3"};
  for (std::size_t i = 0; i < 150; ++i) {
    const std::string& name = names[i * 6151 % names.size()];
    typed.push_back(name);
    typed.push_back(name.substr(2));
  }
  std::vector<std::string> keys;
  for (const std::string& text : typed)
    for (std::size_t n = 1; n <= text.size(); ++n)
      if (text[n - 1] != ' ') keys.push_back(text.substr(0, n));
  for (std::string& key : keys)
    for (char& c : key) c = static_cast<char>(c & 0x7F);
  return keys;
}

void Tell(const char* what, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  const auto at = [&times](double part) {
    return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
  };
  std::printf("%-34s %6zu keys  p50 %8.3f ms  p90 %8.3f  p99 %8.3f  worst %8.3f\n", what, times.size(), at(0.5),
              at(0.9), at(0.99), times.back());
}

std::size_t ResidentMb() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) >> 20;
}

// The usual ways: a row for each patch, with LIKE or with FTS5 as it comes.
class Plain {
 public:
  explicit Plain(const fs::path& path, const std::vector<std::string>& names) {
    sqlite3_open(path.c_str(), &database_);
    Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-49152;");
    Run("CREATE TABLE patches(id INTEGER PRIMARY KEY, name TEXT)");
    Run("CREATE VIRTUAL TABLE texts USING fts5(name)");
    const auto fill = [&](const char* text) {
      return TimeOf([&] {
        Run("BEGIN");
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database_, text, -1, &statement, nullptr);
        for (const std::string& name : names) {
          sqlite3_bind_text(statement, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
          sqlite3_step(statement);
          sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
        Run("COMMIT");
      });
    };
    std::printf("a row a patch: written in %.0f ms", fill("INSERT INTO patches(name) VALUES(?1)"));
    std::printf(", FTS5 as it comes in %.0f ms\n", fill("INSERT INTO texts(name) VALUES(?1)"));
  }
  ~Plain() { sqlite3_close(database_); }

  void Like(const std::string& key) { Ask("SELECT name FROM patches WHERE name LIKE ?1 LIMIT 200", "%" + key + "%"); }
  void Fts(const std::string& key) {
    std::string match;
    for (std::size_t at = 0; at < key.size();) {
      const std::size_t end = std::min(key.find(' ', at), key.size());
      if (end > at) match += "\"" + key.substr(at, end - at) + "\" * ";
      at = end + 1;
    }
    Ask("SELECT name FROM texts WHERE texts MATCH ?1 LIMIT 200", match);
  }

 private:
  void Run(const char* text) { sqlite3_exec(database_, text, nullptr, nullptr, nullptr); }
  void Ask(const char* text, const std::string& value) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database_, text, -1, &statement, nullptr);
    sqlite3_bind_text(statement, 1, value.c_str(), -1, SQLITE_TRANSIENT);
    while (sqlite3_step(statement) == SQLITE_ROW) continue;
    sqlite3_finalize(statement);
  }
  sqlite3* database_ = nullptr;
};

bool Fail(const Result& result) {
  if (!result.ok()) std::fprintf(stderr, "%s\n", result.text.c_str());
  return !result.ok();
}

int Measure(const fs::path& folder, const std::string& resources, std::size_t patches) {
  Folders folders = Folders::Below((folder / "root").string());
  folders.resources = resources;
  ScriptedPrompts prompts({});
  Dispatcher dispatcher;
  Program program(folders, SystemClock(), prompts, dispatcher);
  program.ConfigBasics();
  auto studio = MakeStudio(program.paths(), prompts);
  if (Fail(LoadStudioWithShippedModules(*studio, resources))) return 1;
  const Recognizer recognizer(*studio);
  fs::create_directories(folder / "dumps");
  std::vector<std::string> names;
  const std::size_t bytes = WriteDumps(folder / "dumps", patches, &names);
  const std::string path = (folder / "Catalogue.db").string(), locks = folders.runtime;
  {
    Catalogue catalogue;
    LockFile lock;
    if (Fail(catalogue.Open(path, locks)) || Fail(LockCatalogue(&lock, locks, path))) return 1;
    CatalogueScan scan(catalogue, recognizer, ReaderOf(*studio), {});
    const std::int64_t before = ThreadComputedUs();
    const double ms = TimeOf([&] { Fail(scan.Scan((folder / "dumps").string())); });
    const double computed = static_cast<double>(ThreadComputedUs() - before) / 1000;
    std::printf("scan: %zu files, %llu patches, %.1f MB in %.0f ms (computed %.0f ms): %.1f MB/s\n", scan.counts().read,
                static_cast<unsigned long long>(scan.counts().patches), static_cast<double>(bytes) / 1e6, ms, computed,
                static_cast<double>(bytes) / 1e3 / ms);
    CatalogueScan again(catalogue, recognizer, ReaderOf(*studio), {});
    std::printf("second scan, nothing new: %.1f ms, %zu read\n",
                TimeOf([&] { Fail(again.Scan((folder / "dumps").string())); }), again.counts().read);
  }
  std::printf("database: %.1f MB\n", static_cast<double>(fs::file_size(path)) / 1e6);
  const std::vector<std::string> keys = Keys(names);
  const std::size_t before = ResidentMb();
  {
    Catalogue catalogue;
    std::size_t hits = 0;
    const auto ask = [&](const std::string& text) {
      CatalogueQuery query;
      query.text = text;
      query.limit = kShown;
      Fail(catalogue.Find(query, {}, [&hits](const CatalogueHit&) { return ++hits != 0; }));
    };
    std::printf("open and first answer: %.1f ms\n", TimeOf([&] {
                  Fail(catalogue.Open(path, locks));
                  ask("piano");
                }));
    std::vector<double> times, computed;
    for (const std::string& key : keys) {
      const std::int64_t began = ThreadComputedUs();
      times.push_back(TimeOf([&] { ask(key); }));
      computed.push_back(static_cast<double>(ThreadComputedUs() - began) / 1000);
      if (times.back() > 40 && std::getenv("TELL_SLOW"))
        std::printf("  slow: \"%s\" %.1f ms\n", key.c_str(), times.back());
    }
    Tell("catalogue, any part of a word", times);
    Tell("  computed, on a busy machine", computed);
    std::printf("memory: %zu MB, %zu MB of them since it was opened\n", ResidentMb(),
                ResidentMb() - std::min(before, ResidentMb()));
    std::size_t same = 0;
    std::printf("the same sound elsewhere: %.1f ms\n", TimeOf([&] {
                  Fail(catalogue.Same((folder / "dumps/dump3.syx").string(), 77,
                                      [&same](const CatalogueHit&) { return ++same != 0; }));
                }));
  }
  Plain plain(folder / "plain.db", names);
  std::vector<double> like, fts;
  for (std::size_t i = 0; i < keys.size(); i += 7) like.push_back(TimeOf([&] { plain.Like(keys[i]); }));
  for (const std::string& key : keys) fts.push_back(TimeOf([&] { plain.Fts(key); }));
  Tell("LIKE, any part of a name", like);
  Tell("FTS5 as it comes, begin of a word", fts);
  return 0;
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) {
    std::fprintf(stderr, "bench_catalogue RESOURCES [PATCHES]\n");
    return 1;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const fs::path folder = fs::temp_directory_path() / ("tonalith-catalogue-" + std::to_string(::getpid()));
  fs::create_directories(folder);
  const int result = Measure(folder, words[1], count > 2 ? std::strtoul(words[2], nullptr, 10) : 1'000'000);
  std::error_code none;
  fs::remove_all(folder, none);
  return result;
}
