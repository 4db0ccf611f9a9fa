#pragma once

#include <functional>
#include <set>

#include "tests/fault_table/fault_rig.h"

namespace tonalith::fault_table {

// One transfer with one fault on its cable, and what came of it.
struct TableRow {
  std::string fault;  // as FaultPlan takes it
  bool send = false;
  DeskResult result;
  bool same = false;        // got: the data is the instrument's; sent: the instrument holds the data
  bool former = false;      // what was not got (and what was sent) is as it was
  int heard = 0, said = 0;  // messages of the instrument
  std::string wrong;        // empty: as it should be
};

// Runs the rows of one type.
class TypeTable {
 public:
  explicit TypeTable(const TableType& type);

  // The sound exchange that the faults are put into; a sentence when there is none.
  std::string Prepare();
  std::vector<std::string> FaultsOf(bool send) const;
  TableRow Run(const std::string& fault, bool send);
  // The same with any plan, and a sound Get behind it.  `wrong` says what must not be after any faults.
  TableRow RunSchedule(const std::string& plan, bool send);
  // "yamaha-dx7 | Voice | get | no-reply:reply=1"
  std::string LineOf(const std::string& fault, bool send) const;
  const TableType& type() const { return type_; }

 private:
  // How many messages and bytes a sound exchange takes.
  struct Measure {
    int heard = 0, said = 0;
    std::int64_t carried = 0;
  };
  TableRow RunOn(FaultRig& rig, const std::string& plan, bool send) const;
  // Whether wrong data can look right after these faults.
  bool MayDeceive(const std::string& plan) const;
  bool BreaksUnseen(const std::string& plan) const;
  DataFilePtr Data(const Bytes& body) const;
  Measure Measured(FaultRig& rig, DeskStep::Kind kind, DataFile& data, DeskResult* result) const;
  std::string WrongOf(const TableRow& row) const;
  std::string LieOf(const TableRow& row) const;

  const TableType type_;
  std::vector<std::uint8_t> patches_;  // that are transferred; empty: not patch by patch
  std::set<std::uint32_t> empty_;      // of patches_: what the instrument holds nothing in
  Bytes former_, wanted_, changed_;    // images: before a receive, of the instrument, that is sent
  Bytes held_;                         // the instrument's memory once it was sent
  Measure get_, send_;
};

Bytes BodyOf(const DataFile& data);
// Something in a voice becomes different: its name, or a byte in its middle.  False: there is no such byte.
bool ChangeVoice(DataFile* data, std::uint32_t voice);

}  // namespace tonalith::fault_table
