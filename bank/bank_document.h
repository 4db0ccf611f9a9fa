#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bank/bank_rest.h"
#include "bank/bank_sync.h"
#include "data/bank_growth.h"
#include "data/data_records.h"
#include "data/patch_names.h"
#include "data/patch_texts.h"
#include "document/data_file_target.h"
#include "document/document.h"
#include "platform/result.h"
#include "store/bank_slots.h"
#include "store/patch_states.h"

namespace tonalith {

// How a renaming ended, and what of the text the name holds.
struct RenameResult : Result {
  NameFit fit;
};

// One bank of patches (or one single patch) with its history.  Works without a window; used on the user-interface
// thread only.  Texts are instrument bytes (Latin-1) unless said otherwise.
class ZKBankDoc : public Document {
 public:
  // Null is an empty record, to be loaded.
  explicit ZKBankDoc(DataFilePtr dataFile);
  ~ZKBankDoc() override;

  // A document of a file, and the data of a file alone.
  static Result Open(const std::string& path, std::unique_ptr<ZKBankDoc>* document);
  static Result Load(const std::string& path, DataFilePtr* dataFile);
  using Document::Load;

  // Owned by the document; stays the same object for its life.  A transfer may work on it while the document is busy.
  DataFile* dataFile() const { return dataFile_.get(); }
  const Synth& synth() const { return *dataFile_->synth; }

  std::string Title() const override;
  FileKind Kind() const override { return FileKind::Data; }
  WindowType Window() const override { return WindowType::BankEditor; }
  // True when nothing was received or read yet.
  bool IsEmpty() const override;
  // As the data type says.
  std::string FolderName() const override;
  std::string Extension() const override;
  std::string ReadOnlyReason() const override;

  // Maker and model, a blank, and the data type ("Yamaha DX7 Voice Bank").
  std::string Description() const;
  // The two of it, UTF-8.
  std::string InstrumentName() const;
  std::string TypeName() const;
  int PatchCount() const;
  // How a bank that has as many patches as there are gets more, as its module says.
  void SetGrowth(BankGrowth growth) { growth_ = std::move(growth); }
  // So many it can have: those that are there, and those behind them that it may get.
  int MostPatches() const { return std::max(PatchCount(), static_cast<int>(growth_.most)); }
  // Whether patches can be written to these slots.  Behind the last one they have to follow each other; `patches` is
  // then how many the bank gets.
  Result FindRoom(const std::vector<int>& slots, int* patches) const;
  // The number as the instrument's panel shows it, without leading blanks.
  std::string NumberText(int patch) const;
  std::string GetPatchName(int patch) const;
  // False: the slot holds nothing yet.
  bool IsPatchDefined(int patch) const;
  int DefinedPatches() const;
  // "11\tBrass 1", UTF-8, of those of the patches that hold something.
  std::vector<std::string> NameLines(const std::vector<int>& patches) const;
  // The patch was kept although it came damaged.
  bool IsDamaged(int patch) const;
  // The patch is not as the document's file has it (never without a file), or was changed since it came or was sent.
  bool DiffersFromFile(int patch) const { return states_.DiffersFromFile(patch); }
  bool DiffersFromInstrument(int patch) const;
  // The patch was asked for, and did not come.
  bool IsAwaited(int patch) const;
  int CountDifferent(bool fromInstrument) const;
  // A patch of its own is asked for and sent, without the whole bank.
  bool PatchesGoAlone() const { return synth().isBank != 0 && synth().patchByPatch != 0; }
  // Longest name in characters; 0: this data has no names that can be changed.
  std::uint32_t NameLength() const;

  // Writes a name (UTF-8), as far as the data can hold it, into the image or the separate names.  The same name as
  // before changes nothing.
  RenameResult Rename(int patch, const std::string& name);

  // The data as it was opened or came from its instrument; null: there was no memory for it.
  DataFile* original() const { return original_.get(); }
  // A command on the slots as one entry of the history; `status` says afterwards what was done.  Where `change` fails,
  // or the slots of this data cannot be worked with, nothing is changed.  `patches`: the bank gets so many first.
  Result ChangeSlots(const std::string& name, const std::string& status,
                     const std::function<Result(BankSlots& slots)>& change, int patches = 0);

  Result ChangeByte(std::size_t position, std::uint8_t value) override;
  std::string ByteRefusal() const override;

  // What is kept beside the bytes of a patch, as UTF-8.  A change is one entry of the history; the same text changes
  // nothing.  Success with a text: what of it could not be kept.
  std::string Text(int patch, PatchText which) const;
  Result SetText(int patch, PatchText which, const std::string& text);
  std::vector<std::string> Keywords(int patch) const;
  Result SetKeywords(int patch, const std::vector<std::string>& words);

  // Whatever changes in dataFile() from here to EndBackup (bytes, names, texts, bitmaps, sizes) is one entry of the
  // history.  EndBackup returns false, and there is no entry, when nothing did.
  void CreateBackup(const std::string& description);
  bool EndBackup();
  void DeleteBackups() { history().Clear(); }
  // The data as it was at a position of the history; null: there was no memory for it.
  DataFilePtr At(std::size_t position);
  // Without, no change can be taken back, and none takes memory; kept from the start.
  void KeepUndo(bool keep);
  bool CmEditUndo() { return Undo().ok(); }
  bool CmEditRedo() { return Redo().ok(); }

  // To be called around a receive into dataFile(): what it changed is one entry of the history.
  void BeginReceive(const std::string& description = "Get from Instrument");
  // The same for a Get that goes on where another one ended: of what ToGet gives.
  void BeginReceiveRest(const std::string& description);
  const std::vector<std::uint8_t>& ToGet() const { return rest_.ToGet(); }
  // Tells the listeners; returns true when the data differs from what it was before.  `all`: everything that was asked
  // for (`patches`: one value a patch; empty: all of them) came; the instrument holds it, else only what has changed
  // since BeginReceive.
  bool EndReceive(bool all = false, const std::vector<std::uint8_t>& patches = {});
  // The instrument has taken these patches: one value a patch, empty: all of them.
  void WasSent(const std::vector<std::uint8_t>& patches);
  // How a transfer of these patches (one value a patch, empty: all) ended: what is left of it is known from then on,
  // and saved with the data.  Of a Get, behind EndReceive; of a send, instead of WasSent.
  void GetEnded(const std::vector<std::uint8_t>& patches, const DeskResult& result);
  void SendEnded(const std::vector<std::uint8_t>& patches, const DeskResult& result);
  // The same when they were sent as they were at `sounds`, and may have changed since.
  std::vector<std::uint64_t> Sounds() const { return states_.Sounds(); }
  void WasSent(const std::vector<std::uint8_t>& patches, const std::vector<std::uint64_t>& sounds);
  // Keeps the instrument in step with the bank.
  BankSync& sync() { return sync_; }
  const BankSync& sync() const { return sync_; }
  // Only what is left of it.
  void NoteLeft(const std::vector<std::uint8_t>& patches, const DeskResult& result);
  const TransferRest& rest() const { return rest_.now(); }
  void SetRest(TransferRest rest);
  // The instrument holds what `held`, of the same type, has of its patches that hold something.
  void InstrumentHolds(const DataFile& held);
  // The Sounds that the instrument holds, for a document on the same data.
  const std::vector<std::uint64_t>& HeldSounds() const { return states_.HeldSounds(); }
  void TakeHeldSounds(std::vector<std::uint64_t> sounds);
  // The data came from elsewhere and no file holds it.
  using Document::MarkChanged;
  // Patches of a running receive are in place.
  void PatchesArrived() { Tell(DocumentChange::Kind::Everything); }

 protected:
  Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) override;
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override;
  void FileWritten(const std::string& path) override;
  std::string CannotRead(const std::string& path, const std::string& reason) const override;
  std::string CannotWrite(const std::string& path, const std::string& reason) const override;

 private:
  // Why nothing can be written beside this patch; empty: it can.
  std::string TextRefusal(int patch) const;

  // The data is the original; the instrument holds it but for these patches.
  void TakenOver(const std::vector<std::uint8_t>& changed);
  // The patches that differ from the instrument; empty: none.
  std::vector<std::uint8_t> ChangedPatches() const;

  // Why the descriptor lets nothing be edited; empty: it does.
  const std::string& LayoutProblem() const;

  DataFilePtr dataFile_, original_;
  BankGrowth growth_;
  mutable std::optional<Synth> judged_;  // by LayoutProblem, with judgedSize_
  mutable std::size_t judgedSize_ = 0;
  mutable std::string layoutProblem_;
  DataFileTarget target_;
  PatchStates states_;
  BankRest rest_;
  BankSync sync_{*this};
  bool keepsUndo_ = true;
  std::vector<std::uint64_t> soundsBefore_;  // of a receive
  bool receiveChanged_ = false;              // the last
};

}  // namespace tonalith
