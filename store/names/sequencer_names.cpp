#include "store/names/sequencer_names.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr char kListHead[] = "MSB\tLSB\tProgram\tName\tBank\n";

// Controllers as a list for people shows them: nothing where none is sent.
std::string ControllerText(int value) {
  return value < 0 ? std::string() : std::to_string(value);
}

std::string ListLine(const NameBank& bank, const NamedPatch& patch) {
  return ControllerText(bank.msb) + "\t" + ControllerText(bank.lsb) + "\t" + std::to_string(patch.program) + "\t" +
         patch.name + "\t" + bank.name + "\n";
}

std::string NumberOfController(int value) {
  return std::to_string(std::max(value, 0));
}

}  // namespace

// ---- Reaper ---------------------------------------------------------------------------------------------------------

void ReaBank::AddDataFile(const DataFile& dataFile) {
  AddDataFileWithCustomBankNames(dataFile, {});
}

void ReaBank::AddDataFileWithCustomBankNames(const DataFile& dataFile, const CustomPatchList& custom) {
  BankSelectNames names;
  names.AddDataFileWithCustomBankNames(dataFile, custom);
  for (const NameBank& bank : names.banks()) AddNameBank(bank);
}

std::string ReaBank::WriteBankNames() const {
  std::string text;
  for (const NameBank& bank : banks_) {
    if (!text.empty()) text += "\n";
    text += "Bank " + NumberOfController(bank.msb) + " " + NumberOfController(bank.lsb) + " " + bank.name + "\n";
    for (const NamedPatch& patch : bank.patches) text += std::to_string(patch.program) + " " + patch.name + "\n";
  }
  return text;
}

// ---- lists ----------------------------------------------------------------------------------------------------------

std::string BankNameList(const BankSelectNames& names) {
  std::string text = kListHead;
  for (const NameBank& bank : names.banks())
    for (const NamedPatch& patch : bank.patches) text += ListLine(bank, patch);
  return text;
}

LogicBank::LogicBank(const BankSelectNames& names) : banks_(names.banks().size()) {
  for (const NameBank& bank : names.banks()) {
    if (blocks_.size() == kBlocks) {
      leftOut_ += bank.patches.size();
      continue;
    }
    std::string& block = blocks_.emplace_back();
    for (const NamedPatch& patch : bank.patches) {
      const std::string line = ListLine(bank, patch);
      if (block.size() + line.size() <= kBlockSize)
        block += line;
      else
        ++leftOut_;
    }
  }
  SetModes();
}

void LogicBank::SetModes() {
  constexpr int kMostModes = 4;
  modes_ = std::clamp(static_cast<int>(std::min<std::size_t>(banks_, kMostModes)), 1, kMostModes);
}

std::string LogicBank::Process() const {
  std::string text = kListHead;
  for (const std::string& block : blocks_) text += block;
  return text;
}

// ---- Cubase ---------------------------------------------------------------------------------------------------------

std::string CubasePatchScript(const BankSelectNames& names, const std::string& manufacturer, const std::string& model) {
  const std::string instrument = manufacturer == model ? model : manufacturer + " " + model;
  std::string text =
      "[cubase parse file]\n"
      "[parser version 0001]\n"
      "[creators first name] Tonalith\n"
      "[creators last name]\n"
      "[device manufacturer] " +
      manufacturer + "\n[device name] " + model + "\n[script name] " + instrument +
      "\n[script version] version 1.00\n\n"
      "[define patchnames]\n\n"
      "[mode] Banks\n";
  for (const NameBank& bank : names.banks()) {
    text += "[g1] " + bank.name + "\n";
    for (const NamedPatch& patch : bank.patches)
      text += "[p2, " + std::to_string(patch.program) + ", " + NumberOfController(bank.msb) + ", " +
              NumberOfController(bank.lsb) + "] " + patch.name + "\n";
  }
  return text + "\n[end]\n";
}

}  // namespace tonalith
