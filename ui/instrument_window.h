#pragma once

#include "ui/document_window.h"

namespace tonalith {

// A window whose document is one data file that goes to an instrument and comes from it.
class InstrumentWindow : public DocumentWindow {
  Q_OBJECT

 public:
  using DocumentWindow::DocumentWindow;

  // What the transfers work on.  Owned by the document.
  virtual DataFile* dataFile() const = 0;
  // To be called around everything that brings data into it: the document keeps what was there for Undo, under this
  // name.
  virtual void BeginReceive(const std::string& undoName) = 0;
  // Some of it is in place.
  virtual void PatchesArrived() = 0;
  virtual void EndReceive() = 0;

  void StartGet();
  void StartTransmit();
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
  void Start(bool get);
  void Happened(const DeskEvent& event);
  void TransferOver(const QString& sentence);

  Receiver receiver_;  // events of the desk reach only a window that lives
  TransferDesk::Job job_;
  bool receiving_ = false;
};

}  // namespace tonalith
