#pragma once

#include <memory>
#include <vector>

#include "services/careful_send.h"
#include "ui/document_window.h"

namespace tonalith {

// A window whose document is one data file that goes to an instrument and comes from it.
class InstrumentWindow : public DocumentWindow {
  Q_OBJECT

 public:
  using DocumentWindow::DocumentWindow;

  // What the transfers work on.  Owned by the document.
  virtual DataFile* dataFile() const = 0;
  const DataFile* InstrumentData() const override { return dataFile(); }
  // Nothing could be sent now.
  virtual bool HoldsNothing() const { return document().IsEmpty(); }
  // To be called around everything that brings data into it: the document keeps what was there for Undo, under this
  // name.
  virtual void BeginReceive(const std::string& undoName) = 0;
  // Some of it is in place.
  virtual void PatchesArrived() = 0;
  // A Get goes on: the data as it would be if it ended now; null: it is over.  The document has its former data still.
  virtual void ShowSoFar(DataFilePtr soFar, int done, int all) = 0;
  // `all`: everything that was asked for came; `patches`: what that was, empty: all of them.
  virtual void EndReceive(bool all, const std::vector<std::uint8_t>& patches) = 0;
  // Those that are not as the instrument has them, one value a patch; empty when there are none, when all are, and
  // when patches cannot be sent by themselves.
  virtual std::vector<std::uint8_t> ChangedPatches() const { return {}; }
  // How many of these (empty: of all) were changed since they came or were sent.
  virtual int CountUnsent(const std::vector<std::uint8_t>& patches) const { return (void)patches, 0; }
  // The instrument has them now; empty: all.
  virtual void WasSent(const std::vector<std::uint8_t>& patches) { (void)patches; }
  // A transfer of these patches (one value a patch, empty: all) has ended.  Behind EndReceive, and behind WasSent.
  virtual void TransferEnded(bool get, const std::vector<std::uint8_t>& patches, const DeskResult& result) {
    (void)get, (void)patches, (void)result;
  }

  // One value a patch; empty: all of it.  Before a Get replaces what the instrument does not have the user is asked.
  void StartGet(std::vector<std::uint8_t> patches = {});
  // What the instrument holds is kept before, and what was sent compared afterwards, as the user chose for it.
  void StartTransmit(std::vector<std::uint8_t> patches = {});
  // Ends the transfer under way; what it would still bring is dropped.
  void CancelTransfer();

  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  std::optional<MidiRoute> AuditionRoute() const override;
  void PortsChanged(int changes) override;
  void StudioChanged() override;
  void GiveUpWork() override { CancelTransfer(); }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void Start(bool get, DeskRequest request);
  void Export(bool midiFile);
  void Happened(const DeskEvent& event);
  void TransferOver(const QString& sentence, const DeskResult& result);
  void NoteSent(const CarefulSendReport& report, bool ok);

  Receiver receiver_;  // events of the desk reach only a window that lives
  TransferDesk::Job job_;
  bool receiving_ = false;
  std::vector<std::uint8_t> patches_;          // that the transfer is about; empty: all
  std::shared_ptr<CarefulSendReport> report_;  // of a send
};

}  // namespace tonalith
