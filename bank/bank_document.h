#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// One bank of patches (or one single patch) with its history.  Works without a window; used on the user-interface
// thread only.  Texts are instrument bytes (Latin-1) unless said otherwise.
class ZKBankDoc {
 public:
  // What a listener is told: everything changed, or one patch.
  enum class Change { All, Patch, State };
  using Listener = std::function<void(Change change, int patch)>;

  explicit ZKBankDoc(DataFilePtr dataFile);
  ~ZKBankDoc();
  ZKBankDoc(const ZKBankDoc&) = delete;
  ZKBankDoc& operator=(const ZKBankDoc&) = delete;

  // Owned by the document; a transfer may work on it while the document is busy.
  DataFile* dataFile() const { return dataFile_.get(); }
  const Synth& synth() const { return *dataFile_->synth; }

  // Maker and model, a blank, and the data type ("Yamaha DX7 Voice Bank").
  std::string Description() const;
  int PatchCount() const;
  // The number as the instrument's panel shows it, without leading blanks.
  std::string NumberText(int patch) const;
  std::string GetPatchName(int patch) const;
  // False: the slot holds nothing yet.
  bool IsPatchDefined(int patch) const;
  // True when nothing was received or read yet.
  bool IsEmpty() const;
  // Longest name in characters; 0: this data has no names that can be changed.
  std::uint32_t NameLength() const;
  // Why the data cannot be edited; empty when it can.
  std::string ReadOnlyReason() const;

  // Writes a name into the image or the separate names.  The same name as before changes nothing.
  Result Rename(int patch, const std::string& name);

  // Keeps a snapshot of everything (bytes, names, texts, bitmaps) that Undo brings back.
  void CreateBackup(const std::string& description);
  void DeleteBackups();
  bool CanUndo() const { return !backups_.empty(); }
  std::string UndoText() const;
  bool CmEditUndo();

  // To be called around a receive into dataFile(): the snapshot is dropped again when nothing changed.
  void BeginReceive(const std::string& description = "Get from Instrument");
  // Tells the listeners; returns true when the data differs from what it was before.
  bool EndReceive();
  // Patches of a running receive are in place.
  void PatchesArrived() { Tell(Change::All); }
  bool IsBusy() const { return busy_; }
  // While busy, editing, saving and closing are refused with a sentence.
  void SetBusy(bool busy);

  bool IsModified() const { return modified_; }
  // The file the data was read from or saved to (UTF-8); empty: none yet.
  const std::string& path() const { return path_; }
  void SetPath(const std::string& path) { path_ = path; }
  // Writes the data file as a whole; the former file stays when anything fails.
  Result Save(const std::string& path);
  static Result Load(const std::string& path, DataFilePtr* dataFile);

  // Description of the last operation.
  const std::string& StatusText() const { return status_; }
  int AddListener(Listener listener);
  void RemoveListener(int id);

 private:
  struct Backup {
    DataFilePtr dataFile;
    std::string description;
    bool modified;
  };
  void Tell(Change change, int patch = -1);
  bool SameAs(const DataFile& other) const;

  DataFilePtr dataFile_;
  std::vector<Backup> backups_;
  std::vector<std::pair<int, Listener>> listeners_;
  std::string path_;
  std::string status_;
  bool modified_ = false;
  bool busy_ = false;
  int nextListener_ = 1;
};

}  // namespace tonalith
