#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// What the rooms above plug into the services at start.  Each is optional: without it the operation does nothing or
// gives the answer named here.  Called on the user-interface thread unless said otherwise; not owned.

// Windows and documents of the program.
class DocumentsHost {
 public:
  virtual ~DocumentsHost() = default;
  // Opens a file by its kind, in order of extensions; hint as callers pass it through (-1: load mode).
  virtual bool OpenFile(const std::string& path, int hint) {
    (void)path, (void)hint;
    return false;
  }
  // Offers what earlier sessions left unsaved.
  virtual void OfferRecovery() {}
  virtual bool LoadWorkspace(const std::string& path) {
    (void)path;
    return false;
  }
  virtual bool SaveWorkspace(const std::string& path) {
    (void)path;
    return false;
  }
  // A data file whose transmission is over and which nobody else owns.
  virtual void ReleaseLater(DataFilePtr dataFile) { dataFile.reset(); }
  // Asks the program to end, as the user would.
  virtual void RequestQuit() {}
  // Any thread.
  virtual void OpenUrl(const std::string& url) { (void)url; }
  virtual void DataFileSent(DataFile* dataFile) { (void)dataFile; }  // after a transmission
};

// The studio: loaded drivers and instruments.
class StudioHost {
 public:
  virtual ~StudioHost() = default;
  // Loads the studio; 0 = the default studio file.
  virtual bool DrvLoadSetup(int which) {
    (void)which;
    return false;
  }
  virtual bool DrvLoadSetup(const std::string& path) {
    (void)path;
    return false;
  }
  virtual bool DrvSaveSetup() { return true; }
  // Whether the driver of this data is installed.
  virtual bool MainConfigDriver(std::uint16_t driverId) {
    (void)driverId;
    return true;
  }
  virtual void DrvCorrectIDForCollisions(DataFile* dataFile) { (void)dataFile; }
  virtual void DrvUpdateDataFile(DataFile* dataFile) { (void)dataFile; }
  virtual DataFile* GetDriver(std::uint16_t driverId) {
    (void)driverId;
    return nullptr;
  }
};

// Progress windows of transfers and the port dialogs.
class TransferWindowsHost {
 public:
  virtual ~TransferWindowsHost() = default;
  virtual bool TransmitWindowOpen() const { return false; }
  virtual void OpenTransmitWindow(int port, std::uint32_t total) { (void)port, (void)total; }
  virtual void SetTransmitStayOpen(bool stay) { (void)stay; }
  virtual void OpenPortDialog(bool input) { (void)input; }
};

// The main window's table of application variables ("SetAppVar", "GetAppVar", "GetAppVarGUID"): pairs of key and value
// in the order they were added.
class ZKAppVars {
 public:
  void SetAppVar(std::int32_t key, std::int32_t value);
  std::int32_t GetAppVar(std::int32_t key) const;  // -1 when the key is absent
  // The smallest key from 1 upward that is not in the table; it is added with the value 0.
  std::int32_t GetAppVarGUID();

 private:
  struct Entry {
    std::int32_t key;
    std::int32_t value;
  };
  std::vector<Entry> entries_;
};

}  // namespace tonalith
