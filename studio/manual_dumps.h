#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

// What is done with data that nobody asked for (the setting MainReceiveManualBulkDumps).
enum class ManualDumpMode { kOff = 0, kAsk = 1, kTake = 2 };

// What the program around offers.  Texts are UTF-8.
class ManualDumpHost {
 public:
  virtual ~ManualDumpHost() = default;
  virtual ManualDumpMode Mode() const = 0;
  // Data that is open and may be changed now, the window in front first.
  virtual std::vector<DataFile*> OpenData() = 0;
  // Bytes are about to be copied into open data: its state is kept for an undo.
  virtual void BeginChange(DataFile* dataFile) = 0;
  // They were copied; `more` of a dump that BeginChange was called for before.
  virtual void EndChange(DataFile* dataFile, bool more) = 0;
  // Yes or no.  May return late: messages go on coming in meanwhile.
  virtual bool Ask(const std::string& question) = 0;
  virtual void OpenNew(DataFilePtr dataFile) = 0;
  // A sentence for the status line.
  virtual void Tell(const std::string& sentence) = 0;
};

// Takes what instruments send on their own (a button on the panel): first into open data, by the SysEx maps of the
// instruments on that input port; else as new data, when a pause says that the dump is over.  Used on the
// user-interface thread only.
class ManualDumps {
 public:
  static constexpr std::int64_t kPauseUs = 1'000'000;
  static constexpr std::size_t kMostCollected = std::size_t{64} << 20;  // of one dump; the rest is dropped
  static constexpr std::size_t kMostNew = 16;                           // windows opened for one dump

  // Both must outlive the object.
  ManualDumps(ZKStudioDoc& studio, ManualDumpHost& host) : studio_(studio), host_(host) {}
  ManualDumps(const ManualDumps&) = delete;
  ManualDumps& operator=(const ManualDumps&) = delete;

  // A SysEx that arrived.  `inTransfer`: a transfer was using the port; then, and for a pause after it, what comes is
  // no dump of somebody at the instrument.
  void Message(int port, std::span<const std::uint8_t> message, std::int64_t nowUs, bool inTransfer);
  // To be called now and then while Waiting(): deals with the dumps that are over.
  void Tick(std::int64_t nowUs);
  bool Waiting() const { return !dumps_.empty(); }

 private:
  // What came in over one port since the last pause.
  struct Dump {
    std::vector<std::uint8_t> bytes;  // of messages that no open data took
    std::size_t dropped = 0;
    std::int64_t lastUs = 0;
    std::set<const DataFile*> changed;  // open data
    std::size_t copied = 0;
    std::set<const DataFile*> damaged;  // open data that was told about a damaged message
  };
  bool TakeOpen(int port, std::span<const std::uint8_t> message, Dump* dump);
  bool TakeInto(const ZKDrvList& driver, std::size_t index, std::span<const std::uint8_t> message, DataFile* dataFile,
                Dump* dump);
  void Finish(int port, const Dump& dump);
  void Offer(int port, std::vector<RecognizedPiece> pieces, bool damaged);
  std::string Describe(const RecognizedPiece& piece);
  const Recognizer& recognizer();
  void UseInstrumentOf(int port, DataFile* dataFile) const;

  ZKStudioDoc& studio_;
  ManualDumpHost& host_;
  std::map<int, Dump> dumps_;               // by port
  std::map<int, std::int64_t> transferUs_;  // when a transfer last used a port
  std::unique_ptr<Recognizer> recognizer_;
  std::uint64_t recognizerOf_ = 0;  // state of the studio it was made from
  bool finishing_ = false;
};

}  // namespace tonalith
