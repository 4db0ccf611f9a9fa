#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "chart/parameter_import.h"
#include "editor/model/template_file.h"
#include "parameters/parameter_table.h"
#include "parameters/patch_conversion.h"
#include "parameters/reference_matrix.h"

using namespace tonalith;

namespace {

// A text that is taken is written again, and that is taken too and stays.
template <class Data, class Read, class Write>
void ThereAndBack(std::string_view text, const Read& read, const Write& write) {
  Data data, again;
  if (!read(text, &data).ok()) return;
  const std::string written = write(data);
  if (!read(written, &again).ok() || write(again) != written) std::abort();
}

void UseTable(std::string_view text) {
  ParameterTable table;
  if (!ReadParameterTable(text, &table).ok()) return;
  std::vector<std::uint8_t> image(200);
  Synth synth{};
  synth.voiceBytes = synth.voiceSize = 100;
  synth.numVoices = 1;
  const PatchBytes patch(image, synth);
  for (const Parameter& p : table.parameters) {
    if (p.place.Write(patch, p.range.max) && p.place.Read(patch.view()) != p.range.max) std::abort();
    (void)p.display->ValueOf(p.TextOf(p.range.min));
  }
}

}  // namespace

// The first byte says what the rest is: files of packages about the inside of data, sheets, templates, lists.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  constexpr int kKinds = 6;
  switch (data[0] % kKinds) {
    case 0:
      ThereAndBack<ParameterTable>(text, ReadParameterTable, ParameterTableText);
      UseTable(text);
      break;
    case 1:
      ThereAndBack<PatchConversion>(text, ReadPatchConversion, PatchConversionText);
      break;
    case 2:
      ThereAndBack<ReferenceMatrix>(text, ReadReferenceMatrix, ReferenceMatrixText);
      break;
    case 3: {
      ParameterImport import;
      (void)ImportParameterSheet(text, &import);
      break;
    }
    case 4: {
      TemplateFile panel;
      if (!ReadTemplate(bytes, &panel).ok()) break;
      const std::vector<std::uint8_t> written = WriteTemplate(panel);
      TemplateFile again;
      if (!ReadTemplate(written, &again).ok() || WriteTemplate(again) != written) std::abort();
      (void)panel.Macros();
      (void)panel.Text();
      break;
    }
    default: {
      const std::vector<std::uint8_t> written = WriteTemplateLists(ReadTemplateLists(bytes));
      if (WriteTemplateLists(ReadTemplateLists(written)) != written) std::abort();
    }
  }
  return 0;
}
