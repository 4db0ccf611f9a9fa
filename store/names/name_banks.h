// What the exports of patch names are made from: banks of names with the numbers that choose them over MIDI.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// A patch as a sequencer sees it.
struct NamedPatch {
  int program = 0;     // of its program change, 0 to 127
  std::string number;  // as the instrument's panel shows it
  std::string name;    // UTF-8, one line, never empty
};

// Patches that one bank selection reaches.
struct NameBank {
  std::string name;        // UTF-8, one line; no two of a collection are called the same
  std::string instrument;  // UTF-8, "Kawai K4"
  int msb = -1, lsb = -1;  // controllers 0 and 32, 0 to 127; -1: not sent
  std::vector<NamedPatch> patches;
};

// Patches that a user names beside what the data says: 0 to 127 each, two texts.
class CustomPatchList {
 public:
  void Add(int msb, int lsb, int program, const char* patchName, const char* bankName);
  // Copies the values of an entry out; false, and nothing is copied, beyond the end.  The texts take kText bytes.
  static constexpr std::size_t kText = 256;
  bool Get(int index, int& msb, int& lsb, int& program, char* patchName, char* bankName) const;
  int GetSize() const { return static_cast<int>(entries_.size()); }

 private:
  struct Entry {
    int msb, lsb, program;
    std::string patchName, bankName;
  };
  std::vector<Entry> entries_;
};

// The banks of an instrument.  Slots that hold nothing are left out; a patch without a name is called by its number.
class BankSelectNames {
 public:
  // A bank becomes as many NameBanks as it has bank selections; a single patch joins those of its type.
  void AddDataFile(const DataFile& dataFile);
  // The same; the list says other names for some of its patches, and for the banks they are in (the first entry of a
  // bank counts; an empty text changes nothing).
  void AddDataFileWithCustomBankNames(const DataFile& dataFile, const CustomPatchList& custom);
  void AddList(const ZKDataList* list);
  // Single patches of one type, numbered in their order from 1, as one bank.
  void AddSingles(const std::vector<const DataFile*>& data);
  // A bank of that name and selection is continued, else begun.
  void AddPatch(const std::string& instrument, const std::string& bankName, int msb, int lsb, NamedPatch patch);
  // By instrument, then by bank selection; banks that have the same stay in their order.
  void Sort();

  const std::vector<NameBank>& banks() const { return banks_; }
  bool empty() const { return banks_.empty(); }
  std::size_t PatchCount() const;
  // Instruments, each once, in the order of their banks.
  std::vector<std::string> Instruments() const;

 private:
  std::string UniqueName(const std::string& name) const;

  std::vector<NameBank> banks_;
};

// One line of UTF-8 without control characters, blanks at the ends removed.
std::string ExportLine(std::string_view latin1);

// Maker and model: the extension record's instrument name, else the short name of the data type.  Latin-1.
std::string GetUnitMake(const DataFile& dataFile);
// The bank label of the types 5826 to 5856, else the data type's name.  Latin-1.
std::string GetUnitModel(const Synth& synth);
// 1: banks of kind 2, 2: those of kind 4, else 0.
int GetBankType(const Synth& synth);
// "Kawai" and "K4" of the instrument name "Kawai K4"; the maker that the data's SysEx names, where the instrument's
// name does not begin with it.  UTF-8.
void GetManufacturerAndModel(const DataFile& dataFile, std::string* manufacturer, std::string* model);

// The name with this extension (with or without its dot) in the place of its own; unchanged when one of them is empty.
std::string AppendExt(const std::string& name, const std::string& extension);

}  // namespace tonalith
