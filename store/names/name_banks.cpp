#include "store/names/name_banks.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "data/maker_names.h"
#include "data/patch_names.h"
#include "data/patch_select.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// Rule of bankSelectLsbDefault: all patches have the same program change.
constexpr int kProgramWithoutPatch = -4;

// Custom names of one patch.
struct CustomNames {
  std::string patch, bank;
};

CustomNames FindCustom(const CustomPatchList& custom, const PatchSelect& select) {
  CustomNames found;
  std::array<char, CustomPatchList::kText> patchName{}, bankName{};
  int msb = 0, lsb = 0, program = 0;
  for (int i = 0; i < custom.GetSize(); ++i) {
    if (!custom.Get(i, msb, lsb, program, patchName.data(), bankName.data())) break;
    if (msb != select.msb.value_or(0) || lsb != select.lsb.value_or(0)) continue;
    if (found.bank.empty()) found.bank = ExportLine(bankName.data());
    if (program == select.program && found.patch.empty()) found.patch = ExportLine(patchName.data());
  }
  return found;
}

bool IsDefined(const DataFile& dataFile, int patch) {
  if (dataFile.xtra && dataFile.xtra->hasNoSysEx) return false;
  return !MapBit(dataFile.emptyMap, dataFile.emptyMapSize, static_cast<std::uint32_t>(patch));
}

NamedPatch PatchOf(const DataFile& dataFile, int patch) {
  NamedPatch named;
  named.number = ExportLine(MakeNumberStr(*dataFile.synth, patch));
  named.name = ExportLine(GetPatchName(dataFile, patch));
  if (named.name.empty()) named.name = named.number;
  return named;
}

}  // namespace

// ---- custom names ---------------------------------------------------------------------------------------------------

void CustomPatchList::Add(int msb, int lsb, int program, const char* patchName, const char* bankName) {
  entries_.push_back({msb, lsb, program, patchName ? patchName : "", bankName ? bankName : ""});
}

bool CustomPatchList::Get(int index, int& msb, int& lsb, int& program, char* patchName, char* bankName) const {
  if (index < 0 || index >= GetSize()) return false;
  const Entry& entry = entries_[static_cast<std::size_t>(index)];
  msb = entry.msb;
  lsb = entry.lsb;
  program = entry.program;
  CopyText(patchName, kText, entry.patchName);
  CopyText(bankName, kText, entry.bankName);
  return true;
}

// ---- banks ----------------------------------------------------------------------------------------------------------

void BankSelectNames::AddDataFile(const DataFile& dataFile) {
  AddDataFileWithCustomBankNames(dataFile, {});
}

void BankSelectNames::AddDataFileWithCustomBankNames(const DataFile& dataFile, const CustomPatchList& custom) {
  if (!dataFile.synth || !dataFile.body) return;
  const Synth& synth = *dataFile.synth;
  const std::string instrument = ExportLine(GetUnitMake(dataFile));
  const std::string type = ExportLine(GetUnitModel(synth));
  const VoiceLayout layout = LayoutOf(dataFile);
  if (!synth.isBank) {
    const int place = synth.patchNumber & 0x7F;
    if (dataFile.xtra && dataFile.xtra->hasNoSysEx) return;
    NamedPatch named = PatchOf(dataFile, 0);
    named.program = place;
    return AddPatch(instrument, instrument + " " + type, -1, -1, std::move(named));
  }
  // One bank of the instrument never continues another.
  const std::size_t before = banks_.size();
  for (std::uint32_t slot = 0; slot < layout.numVoices; ++slot) {
    const int patch = static_cast<int>(slot);
    if (!IsDefined(dataFile, patch)) continue;
    const PatchSelect select = PatchSelectOf(synth, patch);
    const CustomNames names = FindCustom(custom, select);
    NamedPatch named = PatchOf(dataFile, patch);
    // Where the number does not enter the program change, sequencers still count the patches.
    named.program = synth.bankSelectLsbDefault == kProgramWithoutPatch ? patch & 0x7F : select.program;
    if (!names.patch.empty()) named.name = names.patch;
    const int msb = select.msb.value_or(-1), lsb = select.lsb.value_or(-1);
    // A program number that is there already begins a new bank, too: of data without bank selections.
    const bool goesOn = banks_.size() > before && banks_.back().msb == msb && banks_.back().lsb == lsb &&
                        named.program > banks_.back().patches.back().program;
    if (!goesOn)
      banks_.push_back(
          {UniqueName(names.bank.empty() ? instrument + " " + type : names.bank), instrument, msb, lsb, {}});
    banks_.back().patches.push_back(std::move(named));
  }
}

void BankSelectNames::AddList(const ZKDataList* list) {
  for (; list; list = list->next)
    if (list->dataFile) AddDataFile(*list->dataFile);
}

void BankSelectNames::AddSingles(const std::vector<const DataFile*>& data) {
  constexpr std::size_t kPrograms = 128;
  for (std::size_t place = 0; place < data.size(); ++place) {
    const DataFile& one = *data[place];
    NamedPatch named;
    named.number = std::to_string(place + 1);
    named.name = ExportLine(GetPatchName(one, 0));
    if (named.name.empty()) named.name = named.number;
    named.program = static_cast<int>(place % kPrograms);
    if (place == 0) {
      const std::string instrument = ExportLine(GetUnitMake(one));
      banks_.push_back({UniqueName(instrument + " " + ExportLine(GetUnitModel(*one.synth))), instrument, -1, -1, {}});
    }
    banks_.back().patches.push_back(std::move(named));
  }
}

void BankSelectNames::AddPatch(const std::string& instrument, const std::string& bankName, int msb, int lsb,
                               NamedPatch patch) {
  const auto known = std::find_if(banks_.begin(), banks_.end(), [&](const NameBank& bank) {
    return bank.name == bankName && bank.msb == msb && bank.lsb == lsb;
  });
  if (known != banks_.end()) return known->patches.push_back(std::move(patch));
  banks_.push_back({UniqueName(bankName), instrument, msb, lsb, {std::move(patch)}});
}

std::string BankSelectNames::UniqueName(const std::string& name) const {
  std::string unique = name;
  const auto isTaken = [&](const NameBank& bank) { return bank.name == unique; };
  for (int number = 2; std::any_of(banks_.begin(), banks_.end(), isTaken); ++number)
    unique = name + " " + std::to_string(number);
  return unique;
}

void BankSelectNames::Sort() {
  std::stable_sort(banks_.begin(), banks_.end(), [](const NameBank& a, const NameBank& b) {
    return std::tie(a.instrument, a.msb, a.lsb) < std::tie(b.instrument, b.msb, b.lsb);
  });
}

std::size_t BankSelectNames::PatchCount() const {
  std::size_t count = 0;
  for (const NameBank& bank : banks_) count += bank.patches.size();
  return count;
}

std::vector<std::string> BankSelectNames::Instruments() const {
  std::vector<std::string> instruments;
  for (const NameBank& bank : banks_)
    if (std::find(instruments.begin(), instruments.end(), bank.instrument) == instruments.end())
      instruments.push_back(bank.instrument);
  return instruments;
}

// ---- texts ----------------------------------------------------------------------------------------------------------

std::string ExportLine(std::string_view latin1) {
  std::string line(latin1);
  for (char& c : line) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) c = ' ';
  }
  return Latin1ToUtf8(TrimmedView(line));
}

std::string GetUnitMake(const DataFile& dataFile) {
  if (dataFile.xtra)
    if (std::string name = FieldText(dataFile.xtra->instrumentName); !name.empty()) return name;
  return FieldText(dataFile.synth->shortName);
}

std::string GetUnitModel(const Synth& synth) {
  constexpr int kFirst = 5826;
  static constexpr const char* kLabels[] = {"I-A",  "I-B",  "I-C",  "I-D",  "I-E",  "I-F",  "GM",   "g(1)",
                                            "g(2)", "g(3)", "g(4)", "g(5)", "g(6)", "g(7)", "g(8)", "g(9)",
                                            "g(d)", "U-A",  "U-B",  "U-C",  "U-D",  "U-E",  "U-F",  "U-G",
                                            "U-AA", "U-BB", "U-CC", "U-DD", "U-EE", "U-FF", "U-GG"};
  const int label = synth.driverId - kFirst;
  if (label >= 0 && label < static_cast<int>(std::size(kLabels))) return kLabels[label];
  return FieldText(synth.typeName);
}

int GetBankType(const Synth& synth) {
  if (synth.dataKind == 2) return 1;
  return synth.dataKind == 4 ? 2 : 0;
}

void GetManufacturerAndModel(const DataFile& dataFile, std::string* manufacturer, std::string* model) {
  const std::string instrument = ExportLine(GetUnitMake(dataFile));
  const std::uint8_t id[] = {dataFile.synth->manufacturerId};
  const std::string maker(MakerName(id));
  if (!maker.empty() && AsciiStartsWithNoCase(instrument, maker + " ")) {
    *manufacturer = instrument.substr(0, maker.size());
    *model = instrument.substr(maker.size() + 1);
    return;
  }
  const std::size_t blank = instrument.find(' ');
  if (blank != std::string::npos) {
    *manufacturer = instrument.substr(0, blank);
    *model = instrument.substr(blank + 1);
  } else {
    *manufacturer = maker.empty() ? instrument : maker;
    *model = instrument;
  }
}

std::string AppendExt(const std::string& name, const std::string& extension) {
  if (name.empty() || extension.empty()) return name;
  const std::size_t folder = name.find_last_of('/');
  const std::size_t dot = name.find_last_of('.');
  const bool own = dot != std::string::npos && (folder == std::string::npos || dot > folder);
  return name.substr(0, own ? dot : name.size()) + (extension.front() == '.' ? "" : ".") + extension;
}

}  // namespace tonalith
