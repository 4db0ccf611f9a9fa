// The interpreter on thirteen jobs, beside Lua 5.4 on the same ones (where its library is there).  A job runs about
// 4096 passes over an image of bytes and a block of numbers.  Before anything is measured both sides do each job once
// on fresh data; answers, images and blocks must be the same afterwards.  Where Lua has a function and a quicker plain
// form for something (math.min, math.abs), its side is the plain form.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "script/compiler.h"
#include "script/interpreter.h"

#ifdef TONALITH_WITH_LUA
extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}
#endif

namespace tonalith {
namespace {

constexpr int kPasses = 4096;
constexpr std::size_t kImageBytes = 2 * kPasses;
constexpr std::size_t kBlockEntries = kPasses;  // what scripts reach with "VR"

constexpr std::uint8_t kPlain = 0;
constexpr std::uint8_t kNibblesLowFirst = 1;
constexpr std::uint8_t kSevenToEight = 2;

class BenchServices : public ScriptServices {
 public:
  bool HasMacroTable() const override { return !macro.empty(); }
  std::span<const std::uint8_t> Macro(int) const override { return macro; }
  std::vector<std::uint8_t> macro;
};

struct Job {
  const char* name;
  const char* script;
  const char* called;  // macro 0
  const char* lua;     // a function of (image, block): a table of bytes and a table of numbers, from 1
  std::uint8_t storageFormat = kPlain;
};

const Job kJobs[] = {
    {"SumOverImage", "MW = 0 MY = 0 L 4096 [ FG X Y MW + X MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 1, 4096 do w = w + image[y] end return w end"},
    {"NibbleSplit", "MW = 4096 MY = 0 L 2048 [ FG X Y MZ @ X MX & 15 F X W MZ > 4 MW + 1 F Z W MW + 1 MY + 1 ] RET W ]",
     "",
     "return function(image, block) local w = 4097 for y = 1, 2048 do local b = image[y] image[w] = b & 15 "
     "image[w + 1] = b >> 4 w = w + 2 end return w - 1 end"},
    {"AddToArray", "MY = 0 L 4096 [ FG X Y MX + 7 F X Y MY + 1 ] RET X ]", "",
     "return function(image, block) local x for y = 1, 4096 do x = image[y] + 7 image[y] = x & 255 end return x end"},
    {"Calls", "MX = 0 L 4096 [ MACRO 0 ] RET X ]", "MX + 3 RET X ]",
     "local function f(x) return x + 3 end "
     "return function(image, block) local x = 0 for i = 1, 4096 do x = f(x) end return x end"},
    {"MaskRetr", "MW = 0 MY = 0 L 4096 [ FG X Y MaskRetr X 60 MW + X MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 1, 4096 do w = w + ((image[y] & 60) >> 2) end return w end"},
    {"FrNibbles", "MW = 0 MY = 0 L 4096 [ FR X Y MW + X MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 1, 8191, 2 do "
     "w = w + (image[y] & 15 | (image[y + 1] & 15) << 4) end return w end",
     kNibblesLowFirst},
    {"FrSevenToEight", "MW = 0 MY = 0 L 4096 [ FR X Y MW + X MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 0, 4095 do local k = y % 7 local top = y // 7 * 8 + 1 "
     "w = w + (image[top + 1 + k] & 127 | (image[top] >> k & 1) << 7) end return w end",
     kSevenToEight},
    {"CallWithAbs", "MW = 0 MY = 0 L 4096 [ MX @ Y MX - 2000 MACRO 0 MW + X MY + 1 ] RET W ]", "ABS X RET X ]",
     "local function f(x) if x < 0 then return -x end return x end "
     "return function(image, block) local w = 0 for y = 0, 4095 do w = w + f(y - 2000) end return w end"},
    {"VrWithIfg", "MW = 0 MY = 0 L 4096 [ VR X Y IFG X MW + X IFX MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 1, 4096 do local x = block[y] if x > 0 then w = w + x end end "
     "return w end"},
    {"Min", "MW = 0 MY = 0 L 4096 [ FG X Y MIN X 100 MW + X MY + 1 ] RET W ]", "",
     "return function(image, block) local w = 0 for y = 1, 4096 do local x = image[y] if x > 100 then x = 100 end "
     "w = w + x end return w end"},
    // Sixteen messages of 256 bytes, each with its sum's complement as the last byte.
    {"Checksum", "MY = 0 L 16 [ MW = 0 L 255 [ FG X Y MW + X MY + 1 ] MX = 0 MX - W MX & 127 F X Y MY + 1 ] RET X ]",
     "",
     "return function(image, block) local x for first = 1, 3841, 256 do local w = 0 "
     "for y = first, first + 254 do w = w + image[y] end x = -w & 127 image[first + 255] = x end return x end"},
    // 128 numbers looked up in a list of 64, which holds a quarter of them.
    {"ListSearch",
     "MW = 0 MZ = 0 MZ - 127 L 128 [ MZ + 2 MY = 0 L 64 [ VR X Y IFQ X Z BREAK MW + Y IFX MY + 1 ] ] RET W ]", "",
     "return function(image, block) local w = 0 for z = -125, 129, 2 do for y = 1, 64 do "
     "if block[y] == z then w = w + y - 1 break end end end return w end"},
    // 410 names of ten characters, one behind the other.
    {"StringBuilding",
     "MW = 0 MY = 0 L 410 [ FA 6 W { 50 41 54 43 48 20 } MW + 6 "
     "MX @ Y MX / 100 MX + 48 F X W MW + 1 MX @ Y MX / 10 MX % 10 MX + 48 F X W MW + 1 "
     "MX @ Y MX % 10 MX + 48 F X W MW + 1 MX = 32 F X W MW + 1 MY + 1 ] RET W ]",
     "",
     "local format, concat = string.format, table.concat "
     "return function(image, block) local names = {} for y = 0, 409 do names[y + 1] = format('PATCH %03d ', y) end "
     "local text = concat(names) return #text, text end"},
};

// What a job leaves behind.
struct Outcome {
  std::int64_t answer = 0;
  std::vector<std::uint8_t> image;
  std::vector<std::int32_t> block;
  bool operator==(const Outcome&) const = default;
};

std::vector<std::uint8_t> FreshImage() {
  std::vector<std::uint8_t> image(kImageBytes);
  for (std::size_t i = 0; i < kImageBytes; ++i) image[i] = static_cast<std::uint8_t>(i % 255);
  return image;
}

// Positive and negative numbers without an order; no number twice among any 251 of them.
std::vector<std::int32_t> FreshBlock() {
  std::vector<std::int32_t> block(kBlockEntries);
  for (std::size_t i = 0; i < kBlockEntries; ++i) block[i] = static_cast<std::int32_t>(i * 97 % 251) - 125;
  return block;
}

class ScriptJob {
 public:
  explicit ScriptJob(const Job& job) : code_(CompileScript(job.script)), image_(FreshImage()), block_(FreshBlock()) {
    if (*job.called) services_.macro = CompileScript(job.called).code;
    block_.resize(kVariableBlockEntries);
    synth_.storageFormat = job.storageFormat;
  }
  bool ok() const { return code_.ok(); }
  int Run() {
    return MidiMacroA(services_, context_, synth_, code_.code, std::span<std::uint8_t>(image_), 0, 0, true, block_,
                      true);
  }
  Outcome First() {
    const int answer = Run();
    return {answer, image_, {block_.begin(), block_.begin() + kBlockEntries}};
  }

 private:
  BenchServices services_;
  TransferContext context_;
  Synth synth_{};
  CompileResult code_;
  std::vector<std::uint8_t> image_;
  std::vector<std::int32_t> block_;
};

void RunJob(benchmark::State& state, const Job& job) {
  ScriptJob script(job);
  for (auto _ : state) benchmark::DoNotOptimize(script.Run());
  state.SetItemsProcessed(state.iterations() * kPasses);
}

#ifdef TONALITH_WITH_LUA
class LuaJob {
 public:
  explicit LuaJob(const Job& job) : lua_(luaL_newstate()) {
    luaL_openlibs(lua_);
    ok_ = luaL_dostring(lua_, job.lua) == LUA_OK;
    if (!ok_) return;
    Push(FreshImage());
    Push(FreshBlock());
  }
  ~LuaJob() { lua_close(lua_); }
  LuaJob(const LuaJob&) = delete;
  LuaJob& operator=(const LuaJob&) = delete;

  bool ok() const { return ok_; }
  std::int64_t Run() {
    Call();
    const lua_Integer answer = lua_tointeger(lua_, -2);
    lua_pop(lua_, 2);
    return answer;
  }
  Outcome First() {
    Call();
    Outcome outcome{lua_tointeger(lua_, -2), Values<std::uint8_t>(kImage), Values<std::int32_t>(kBlock)};
    // Strings are values in Lua: the text of a job stands for what a script writes to the start of the image.
    if (const char* text = lua_tostring(lua_, -1)) {
      const std::string_view written(text, lua_rawlen(lua_, -1));
      std::copy_n(written.begin(), std::min(written.size(), kImageBytes), outcome.image.begin());
    }
    lua_pop(lua_, 2);
    return outcome;
  }

 private:
  static constexpr int kFunction = 1;  // places on the stack
  static constexpr int kImage = 2;
  static constexpr int kBlock = 3;

  void Call() {
    lua_pushvalue(lua_, kFunction);
    lua_pushvalue(lua_, kImage);
    lua_pushvalue(lua_, kBlock);
    lua_call(lua_, 2, 2);
  }
  template <typename Value>
  void Push(const std::vector<Value>& values) {
    lua_createtable(lua_, static_cast<int>(values.size()), 0);
    for (std::size_t i = 0; i < values.size(); ++i) {
      lua_pushinteger(lua_, values[i]);
      lua_rawseti(lua_, -2, static_cast<lua_Integer>(i) + 1);
    }
  }
  template <typename Value>
  std::vector<Value> Values(int table) {
    std::vector<Value> values(lua_rawlen(lua_, table));
    for (std::size_t i = 0; i < values.size(); ++i) {
      lua_rawgeti(lua_, table, static_cast<lua_Integer>(i) + 1);
      values[i] = static_cast<Value>(lua_tointeger(lua_, -1));
      lua_pop(lua_, 1);
    }
    return values;
  }

  lua_State* lua_;
  bool ok_ = false;
};

void RunLua(benchmark::State& state, const Job& job) {
  LuaJob lua(job);
  for (auto _ : state) benchmark::DoNotOptimize(lua.Run());
  state.SetItemsProcessed(state.iterations() * kPasses);
}
#endif

// Says what is wrong with a job.
bool SidesAgree(const Job& job) {
  ScriptJob script(job);
  bool agree = script.ok();
#ifdef TONALITH_WITH_LUA
  LuaJob lua(job);
  if (agree && lua.ok()) {
    const Outcome ours = script.First();
    const Outcome theirs = lua.First();
    agree = ours == theirs;
    if (!agree) {
      std::printf("%s: answers %lld and %lld, images %s, blocks %s\n", job.name, static_cast<long long>(ours.answer),
                  static_cast<long long>(theirs.answer), ours.image == theirs.image ? "equal" : "differ",
                  ours.block == theirs.block ? "equal" : "differ");
    }
    return agree;
  }
  agree = agree && lua.ok();
#endif
  if (!agree) std::printf("%s does not compile\n", job.name);
  return agree;
}

}  // namespace
}  // namespace tonalith

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const tonalith::Job& job : tonalith::kJobs) {
    if (!tonalith::SidesAgree(job)) return EXIT_FAILURE;
    benchmark::RegisterBenchmark((std::string("Interpreter/") + job.name).c_str(), tonalith::RunJob, job);
#ifdef TONALITH_WITH_LUA
    benchmark::RegisterBenchmark((std::string("Lua/") + job.name).c_str(), tonalith::RunLua, job);
#endif
  }
#ifndef TONALITH_WITH_LUA
  std::puts("Built without liblua5.4-dev: the interpreter alone.");
#endif
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
