// Patch names as sequencers read them: text, UTF-8, lines ending in "\n".
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/names/name_banks.h"

namespace tonalith {

// Reaper's "reabank": "Bank MSB LSB NAME", then "PROGRAM NAME", a blank line between banks.  A controller that is not
// sent counts as 0.
class ReaBank {
 public:
  void AddNameBank(const NameBank& bank) { banks_.push_back(bank); }
  void AddDataFile(const DataFile& dataFile);
  void AddDataFileWithCustomBankNames(const DataFile& dataFile, const CustomPatchList& custom);
  std::string WriteBankNames() const;

 private:
  std::vector<NameBank> banks_;
};

// Programs whose formats were never published get a list: MSB, LSB, program, name, bank; tab separated, a head line.
std::string BankNameList(const BankSelectNames& names);

// Logic: as BankNameList, at most kBlocks banks of at most kBlockSize bytes each; patches beyond that are left out.
class LogicBank {
 public:
  static constexpr std::size_t kBlocks = 256;
  static constexpr std::size_t kBlockSize = 3120;

  explicit LogicBank(const BankSelectNames& names);
  // 1 to 4 banks keep their number, none counts as 1, more as 4.
  void SetModes();
  int modes() const { return modes_; }
  std::string Process() const;
  // Patches that did not fit.
  std::size_t leftOut() const { return leftOut_; }

 private:
  std::vector<std::string> blocks_;
  std::size_t banks_ = 0;
  std::size_t leftOut_ = 0;
  int modes_ = 1;
};

// A Cubase patch script: a group for every bank, "[p2, PROGRAM, MSB, LSB] NAME".
std::string CubasePatchScript(const BankSelectNames& names, const std::string& manufacturer, const std::string& model);

}  // namespace tonalith
