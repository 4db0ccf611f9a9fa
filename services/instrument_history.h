#pragma once

#include <functional>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// What an instrument's memory held at some time, kept as a data file.
struct HistoryEntry {
  int number = 0;          // its own among all instruments
  std::string instrument;  // as its folder is named, UTF-8
  std::string type;        // data type, as its file is named, UTF-8
  std::string when;        // "2026-11-23 01:59:07", UTC
  int patches = 0;         // so many patches of a bank; 0: all of it
  std::string path;

  // "Voice Bank, 3 patches"
  std::string What() const;
};

// Dated contents of instruments, from before something was written over them: a folder for each instrument with a data
// file for each content.  Patches of a bank that were not kept are undefined there.  A file is there whole or not at
// all, whatever ends the program.  Nothing is ever removed but by Forget.  Programs of one account may use the folder
// at the same time.  Any thread, one at a time.
class InstrumentHistory {
 public:
  // `folder`, asked for at each use, gives the folder; empty: nothing can be kept.
  explicit InstrumentHistory(std::function<std::string()> folder) : folder_(std::move(folder)) {}

  // Keeps what came from the instrument; `patches`: one value a patch of a bank, empty: all of it.  Names, texts and
  // marks of the record that are not the instrument's should have been taken away (BlankForGet).
  Result Keep(const DataFile& data, const std::vector<std::uint8_t>& patches, HistoryEntry* entry);
  // The newest first; of all instruments when the name is empty.  The name counts without regard to case.
  std::vector<HistoryEntry> List(const std::string& instrument = {}) const;
  // Those of data of the same instrument and type, likewise.
  std::vector<HistoryEntry> ListOf(const DataFile& data) const;
  // Names of the instruments that something is kept of.
  std::vector<std::string> Instruments() const;
  Result Find(int number, HistoryEntry* entry) const;
  Result Load(int number, DataFilePtr* data) const;
  Result Forget(int number);

 private:
  std::function<std::string()> folder_;
};

// The folder below the application's support folder.
std::string HistoryFolder(const std::string& supportPath);

// A record of the same kind, place and ports to get data into: without names, texts, keywords and marks of the user.
// Null: memory is short.
DataFilePtr BlankForGet(const DataFile& data);

}  // namespace tonalith
