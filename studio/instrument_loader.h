#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tonalith {

class IniFile;
class ModuleFacts;
class StudioList;
class ZKDrvList;
struct StudioSurroundings;

inline constexpr int kMaxModuleDrivers = 500;  // "NumDrivers" of a module counts no further

// Makes nodes of the studio from modules and their driver files.  The user is told about what cannot be loaded; from
// the third module on the box offers to stay quiet for the session.
class InstrumentLoader {
 public:
  InstrumentLoader(const StudioSurroundings& around, const ModuleFacts& facts) : around_(around), facts_(facts) {}

  // An instrument with all its drivers, numbered so that it can join the list; null when it cannot be loaded.
  std::unique_ptr<ZKDrvList> LoadInstrument(const std::string& moduleFile, const StudioList& list);
  // Loads a driver file into a new node; null when it cannot be read.
  std::unique_ptr<ZKDrvList> DrvLoadDriver(const std::string& driverFile, const std::filesystem::path& folder,
                                           int setMember, int setMemberCopy);
  // A driver of a studio file's record, below its instrument.
  struct DriverOfRecord {
    std::unique_ptr<ZKDrvList> driver;
    ZKDrvList* instrument = nullptr;
    bool loaded = false;
  };
  // Reads the driver files that records of a studio file name, several at a time, and gives the nodes their data; the
  // nodes keep their settings.  Nobody is told about a failure.
  void LoadDriversOfRecords(std::vector<DriverOfRecord>* records);
  // A record holds 39 bytes of the module's file name: a longer one is the only module that begins with them.
  std::string ModuleOfRecord(const std::string& moduleFile) const;

 private:
  bool LoadDriverOfRecord(ZKDrvList* driver, const ZKDrvList& instrument);
  void ModuleProblem(const std::string& title, const std::string& text, bool last);
  std::unique_ptr<ZKDrvList> AddDriver(ZKDrvList* instrument, const IniFile& ini, const std::string& folder,
                                       int number);

  const StudioSurroundings& around_;
  const ModuleFacts& facts_;
  int failedModules_ = 0;      // this session
  bool quietModules_ = false;  // the user has seen enough of them
};

}  // namespace tonalith
