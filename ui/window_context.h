#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "data/bank_growth.h"
#include "data/data_records.h"
#include "document/move.h"
#include "platform/jobs.h"
#include "platform/prompts.h"
#include "platform/result.h"
#include "services/transfer_desk.h"

namespace tonalith {

class PatchPlayer;
class SendCare;
class Settings;

// What a window of a document needs from the program around it.  Outlives the windows.
class WindowContext {
 public:
  virtual ~WindowContext() = default;
  virtual Prompts& prompts() = 0;
  virtual Settings& settings() = 0;
  // What is being dragged or waits for Paste in any window.
  MovesOnOffer& moves() { return moves_; }
  // The user's data folder (UTF-8).
  virtual std::string DataFolder() = 0;
  // The program's INI file (UTF-8), for what was chosen in windows.
  virtual std::string SettingsFile() = 0;
  // Does work on another thread; `done` hears on this one how it ended, while the receiver lives.
  virtual void InBackground(const Receiver& receiver, std::function<Result()> work,
                            std::function<void(const Result&)> done) = 0;
  // The file was opened or saved: the list of recent files takes it.
  virtual void FileUsed(const std::string& path) = 0;

  // The bytes of a file that holds the data for other programs: raw SysEx, or a Standard MIDI File called `title`.
  // `note`: what the user has to know about it, a sentence, or empty.
  virtual Result Export(const DataFile& data, bool midiFile, const std::string& title, std::vector<std::uint8_t>* bytes,
                        std::string* note) = 0;

  // The folder of the module that the data's instrument comes from; empty: there is none in the studio.
  virtual std::filesystem::path ModuleFolder(const DataFile& data) = 0;
  // New data of the same type, as the studio keeps it; null: there is none.
  virtual const DataFile* NewData(const DataFile& data) = 0;
  // How a bank gets more patches; nothing for all data but banks that hold as many as there are.
  virtual BankGrowth GrowthOf(const DataFile& data) = 0;
  // New data of the type with this number, on the instrument of `like` where the studio has several; null: the type is
  // not in the studio.
  virtual DataFilePtr NewDataOf(int driverId, const DataFile& like) = 0;
  // The data that bytes hold, as instruments of the studio know it: SysEx or a Standard MIDI File, a piece of data
  // each.
  virtual Result DataIn(std::span<const std::uint8_t> bytes, std::vector<DataFilePtr>* data) = 0;
  // Shows data in a window of its own.  `originName`: of what it was taken out of.
  virtual void ShowData(DataFilePtr data, const std::string& originName) = 0;

  // Lets the user change ports and channels of the instrument of the data, for all windows.
  virtual void ShowSettings(const DataFile& data) = 0;

  // Gives data the ports and channels that its instrument has in the studio now.
  virtual void UpdateFromStudio(DataFile* dataFile) = 0;
  // Starts a transfer at the desk and shows its windows and sentences.  A request that is refused has ended when this
  // returns; the user has been told why and the request's observer hears nothing.
  virtual TransferDesk::Job Transfer(DeskRequest request) = 0;
  // What is kept and compared when data goes to instruments.
  virtual SendCare& sendCare() = 0;
  // Lets instruments play patches; one for all windows.
  virtual PatchPlayer& player() = 0;
  // Takes a transfer out of its queue, or ends it as soon as instrument and port let go.
  virtual void CancelTransfer(const TransferDesk::Job& job) = 0;
  // Ends what is done with the data; the observer hears nothing more.
  virtual void AbandonTransfers(const DataFile* dataFile) = 0;

 private:
  MovesOnOffer moves_;
};

}  // namespace tonalith
