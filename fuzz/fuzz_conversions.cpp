// Patches between a bank and an edit buffer whose descriptors claim anything: what fails changes nothing, and nothing
// reaches outside the images.  The maps are read from the same bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "store/convert.h"
#include "store/convert_map.h"
#include "store/roland_tone.h"

namespace {

using namespace tonalith;

// Ids that have conversions, and one that has none.
constexpr int kBanks[] = {313,   1581,  1583,  210,   237,   2507,  2511,  1832,  5136,  132,
                          5,     9460,  9647,  3339,  9848,  10522, 10560, 11059, 11077, 11102,
                          11124, 11133, 11190, 11225, 11296, 10950, 7000,  9483};
constexpr int kEdits[] = {0,    314,  1582,  1584,  212,   242,   1832,  2511,  131,   5,     9460, 9647,
                          3343, 9700, 10490, 11034, 11388, 11103, 11115, 11221, 11295, 10930, 7001};

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint8_t Byte() { return at_ < size_ ? data_[at_++] : std::uint8_t{0}; }
  std::uint32_t Number() {
    const std::uint32_t high = Byte();
    return high << 8 | Byte();
  }
  std::string_view Rest() const { return {reinterpret_cast<const char*>(data_ + at_), size_ - at_}; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

DataFilePtr Record(Input* input, int id) {
  DataFilePtr data(AllocDataFile());
  if (!data || !AllocChunk(&data->synth, &data->synthSize, kSynthSize)) return nullptr;
  Synth& s = *data->synth;
  s.driverId = static_cast<std::uint16_t>(id);
  s.manufacturerId = input->Byte() & 1 ? 0x43 : 0;
  s.headerSize = input->Byte();
  s.numVoices = input->Byte();
  s.voiceSize = input->Number();
  s.voiceBytes = input->Number();
  s.voiceOffset = input->Byte() & 0x0F;
  s.voiceAdjust = input->Byte() & 0x1F;
  s.voiceAdvance = input->Byte() & 3;
  s.fileSize = input->Number();
  SetStorageFormat(&s, input->Byte() % 28);
  const std::uint32_t body = input->Number() % 8192;
  if (body == 0 || !ResizeBody(data.get(), body)) return nullptr;
  for (std::uint32_t i = 0; i < data->bodySize; ++i) data->body[i] = static_cast<std::uint8_t>(i * 7 + body);
  const std::uint8_t tone[] = {
      0x01, 0x00, static_cast<std::uint8_t>(1 + (input->Byte() & 1)), 0x00, input->Byte(), 0x00, 0x00, 0x01, 0x00};
  for (std::size_t i = 0; i < sizeof tone && data->bodySize > 64; ++i) data->body[22 + i] = tone[i];
  return data;
}

class TextMaps : public ToneMaps {
 public:
  explicit TextMaps(std::string_view text) : ok_(ReadToneMap(text, &map_).ok()) {}
  bool Find(ToneKind, ToneMap* map) const override {
    *map = map_;
    return ok_;
  }

 private:
  ToneMap map_;
  bool ok_;
};

std::vector<std::uint8_t> Image(const DataFile& data) {
  return {data.body, data.body + data.bodySize};
}

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  const int bankId = kBanks[input.Byte() % std::size(kBanks)], editId = kEdits[input.Byte() % std::size(kEdits)];
  const int slot = static_cast<int>(input.Byte()) - 2;
  const DataFilePtr bank = Record(&input, bankId), edit = Record(&input, editId);
  if (!bank || !edit) return 0;
  const std::vector<std::uint8_t> bankBefore = Image(*bank), editBefore = Image(*edit);
  const bool taken = BankToEdit(bank.get(), edit.get(), slot) == 1;
  Check(Image(*bank) == bankBefore && (taken || Image(*edit) == editBefore));
  const std::vector<std::uint8_t> editNow = Image(*edit);
  const bool put = BankFromEdit(edit.get(), bank.get(), slot) == 1;
  Check(Image(*edit) == editNow && (put || Image(*bank) == bankBefore));

  const TextMaps maps(input.Rest());
  (void)BankConvertJunoX::ConvertToneToEditorFormat(BodySpan(*bank), BodySpan(*edit), edit->synth, maps);
  (void)BankConvertJunoX::ConvertJunoXEditorToToneFormat(BodySpan(*edit), BodySpan(*bank), bank->synth, maps);
  ConvertMap map;
  if (!ReadConvertMap(IniFile::FromBytes(input.Rest()), &map).ok()) return 0;
  map.Apply(ConstPatchBytes(BodySpan(*bank), *bank->synth), PatchBytes(BodySpan(*edit), *edit->synth));
  map.Reversed().Apply(ConstPatchBytes(BodySpan(*edit), *edit->synth), PatchBytes(BodySpan(*bank), *bank->synth));
  return 0;
}
