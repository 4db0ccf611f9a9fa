// Any text through the compiler, its lint and the listing of what came out.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "script/compiler.h"
#include "script/lint.h"
#include "script/listing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  const std::string_view source(reinterpret_cast<const char*>(data), size);
  const CompileResult result = CompileScript(source, 4096);
  Lint(source);
  if (result.ok() != (result.report.empty())) std::abort();
  if (!result.ok()) return 0;
  if (result.code.empty() || result.code.back() != 255) std::abort();
  // The same text as a single line, the way an editor field hands it over, gives the same bytes.
  const std::string whole(source.substr(0, source.find('\0')));
  if (whole.size() == size) {
    std::vector<std::uint8_t> bytes(4096);
    ScriptCompiler compiler({&whole, 1}, bytes);
    compiler.SynGoCompile();
  }
  ListScript(result.code);
  return 0;
}
