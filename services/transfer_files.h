#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <span>
#include <string>

#include "data/container.h"
#include "platform/prompts.h"
#include "services/transfer_desk.h"

namespace tonalith {

// Files straight to instruments: data files, Sets and Collections (their parts one after the other), raw SysEx and
// Standard MIDI Files (with their times).  Each file is one job of the desk.
//
// `port`: number of an open output from 1; 0 for the one the data names (raw bytes and MIDI files: the program's).
// False: nothing was begun; except for an empty or unreadable raw file the user has been told why.  What goes wrong
// later is told the same way.  Owner's thread.
class TransferFiles {
 public:
  // All references must outlive the object.
  TransferFiles(TransferDesk& desk, DiskAccess& disk, MidiOut& out, Prompts& prompts);
  TransferFiles(const TransferFiles&) = delete;
  TransferFiles& operator=(const TransferFiles&) = delete;

  // Hears the events of all files; the text of a state is a sentence for the status bar.
  void SetObserver(std::function<void(const DeskEvent&)> observer) { observer_ = std::move(observer); }

  bool DiskTransmit(const std::string& path, int port);
  bool DiskDBTransmit(const std::string& path, int port);
  bool MidiXTransmit(const std::string& path, int port);
  bool SMFTransmit(const std::string& path, int port);
  // By the last four characters of the path.
  bool TransmitFile(const std::string& path, int port);
  // Bytes that are in no file (a SysEx window); `name` is what sentences call them.
  bool SendMidiX(std::span<const std::uint8_t> bytes, int port, const std::string& name);

  bool Sending() const;  // one of its files is on its way or waits
  void Cancel();         // all of them

 private:
  bool PortIsThere(int port);
  bool IsWhole();
  static void AddPart(DataFilePtr dataFile, int port, DeskRequest* request);
  bool Start(DeskRequest request);

  TransferDesk& desk_;
  DiskAccess& disk_;
  MidiOut& out_;
  Prompts& prompts_;
  std::function<void(const DeskEvent&)> observer_;
  Receiver receiver_;
  std::list<TransferDesk::Job> jobs_;
};

}  // namespace tonalith
