// The interpreter on four jobs, beside Lua 5.4 on the same ones (where its library is there).
// The jobs: sum over an image, split bytes into nibbles, add to an array, calls.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
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

constexpr int kImageBytes = 4096;

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
  const char* lua;     // a function of (image, array): a table of bytes and a table of numbers, from 1
  std::int32_t expected;
};

const Job kJobs[] = {
    {"SumOverImage", "MW = 0 MY = 0 L 4096 [ FG X Y MW + X MY + 1 ] RET W ]", "",
     "return function(image, array) local w = 0 for y = 1, 4096 do w = w + image[y] end return w end", 518280},
    {"NibbleSplit",
     "MV0 = 0 MW = 0 MY = 0 L 2048 [ FG X Y MZ @ X MX & 15 F X W MZ > 4 MW + 1 F Z W MW + 1 MY + 1 ] FG V0 4095 RET V0 "
     "]",
     "",
     "return function(image, array) local w = 1 for y = 1, 2048 do local b = image[y] array[w] = b & 15 "
     "array[w + 1] = b >> 4 w = w + 2 end return array[4096] end",
     0},
    {"AddToArray", "MY = 0 L 4096 [ FG X Y MX + 7 F X Y MY + 1 ] RET X ]", "",
     "return function(image, array) local x for y = 1, 4096 do x = (image[y] + 7) & 255 image[y] = x end return x end",
     0},
    {"Calls", "MX = 0 L 4096 [ MACRO 0 ] RET X ]", "MX + 3 RET X ]",
     "local function f(x) return x + 3 end "
     "return function(image, array) local x = 0 for i = 1, 4096 do x = f(x) end return x end",
     12288},
};

void RunJob(benchmark::State& state, const Job& job) {
  BenchServices services;
  TransferContext context;
  Synth synth{};
  const CompileResult code = CompileScript(job.script);
  if (*job.called) services.macro = CompileScript(job.called).code;
  if (!code.ok()) {
    state.SkipWithError("the script does not compile");
    return;
  }
  std::vector<std::uint8_t> image(2 * kImageBytes);
  for (int i = 0; i < kImageBytes; ++i) image[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i % 255);
  std::vector<std::int32_t> block(kVariableBlockEntries);
  for (auto _ : state) {
    const int result =
        MidiMacroA(services, context, synth, code.code, std::span<std::uint8_t>(image), 0, 0, true, block, true);
    if (job.expected != 0 && result != job.expected) state.SkipWithError("wrong result");
    benchmark::DoNotOptimize(result);
  }
  state.SetItemsProcessed(state.iterations() * kImageBytes);
}

#ifdef TONALITH_WITH_LUA
void RunLua(benchmark::State& state, const Job& job) {
  lua_State* lua = luaL_newstate();
  luaL_openlibs(lua);
  if (luaL_dostring(lua, job.lua) != LUA_OK) {
    state.SkipWithError(lua_tostring(lua, -1));
    lua_close(lua);
    return;
  }
  for (int table = 0; table < 2; ++table) {
    lua_createtable(lua, 2 * kImageBytes, 0);
    for (int i = 0; i < 2 * kImageBytes; ++i) {
      lua_pushinteger(lua, i < kImageBytes ? i % 255 : 0);
      lua_rawseti(lua, -2, i + 1);
    }
  }
  for (auto _ : state) {
    lua_pushvalue(lua, 1);
    lua_pushvalue(lua, 2);
    lua_pushvalue(lua, 3);
    lua_call(lua, 2, 1);
    const lua_Integer result = lua_tointeger(lua, -1);
    lua_pop(lua, 1);
    if (job.expected != 0 && result != job.expected) state.SkipWithError("wrong result");
    benchmark::DoNotOptimize(result);
  }
  state.SetItemsProcessed(state.iterations() * kImageBytes);
  lua_close(lua);
}
#endif

}  // namespace
}  // namespace tonalith

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const tonalith::Job& job : tonalith::kJobs) {
    benchmark::RegisterBenchmark((std::string("Interpreter/") + job.name).c_str(), tonalith::RunJob, job);
#ifdef TONALITH_WITH_LUA
    benchmark::RegisterBenchmark((std::string("Lua/") + job.name).c_str(), tonalith::RunLua, job);
#endif
  }
#ifndef TONALITH_WITH_LUA
  std::puts("Built without liblua5.4-dev: the interpreter alone.");
#endif
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
