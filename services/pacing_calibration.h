// How fast may this instrument be sent to?
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "services/pacing_profile.h"
#include "services/pacing_search.h"
#include "services/transfer_desk.h"

namespace tonalith {

// Finds by trying how fast an instrument takes data of a type: gets what it holds, sends it with other names, gets it
// back and compares, with longer and shorter pauses.  At the end, also of one that was cancelled or failed, what the
// instrument held is sent back and compared.  All of it is one job of the desk: nobody else uses the ports meanwhile.
//
// The owner's thread.  One object, one calibration; it must live until the job has ended.
class PacingCalibration {
 public:
  struct Options {
    std::int64_t settleMs = 1000;  // between sending and asking: the instrument works on what it got
    // Folder for a file with what the instrument held, written before anything is sent to it and removed when it holds
    // that again; empty: none is.
    std::string keepIn{};
    std::function<void(const std::string& line)> tell{};  // what is being done, a line each, UTF-8
  };
  struct Report {
    bool ok = false;
    std::optional<MidiPacing> pacing;  // what was found
    int tries = 0;
    bool touched = false;   // the instrument was sent something
    bool restored = false;  // and holds what it held before
    std::string sentence;   // UTF-8
  };

  PacingCalibration(TransferDesk& desk, MidiPortSystem& midi, const PacingProfile& profile, Options options);
  PacingCalibration(const PacingCalibration&) = delete;
  PacingCalibration& operator=(const PacingCalibration&) = delete;

  // Whether data of this type can be compared with what was sent: it has names.
  static bool Suits(const DataFile& type);
  // `type` is data of the type, which only says how to get and send it.  `ended` is called from the dispatcher.
  TransferDesk::Job Begin(const DataFile& type, std::function<void(const Report&)> ended);
  const Report& report() const { return report_; }

 private:
  enum class Phase { kFormer, kSending, kSettling, kChecking, kRestoring, kRestoreSettling, kRestoreChecking, kOver };

  std::optional<DeskStep> Next(const DeskResult& result);
  std::optional<DeskStep> HaveFormer(const DeskResult& result);
  std::optional<DeskStep> Try();
  std::optional<DeskStep> Judge(bool right);
  std::optional<DeskStep> Restore();
  DeskStep Step(DeskStep::Kind kind, std::shared_ptr<DataFile> data) const;
  DeskStep Settle() const;
  bool NameAll(DataFile& data, int number) const;
  bool CameBack(const DeskResult& result);
  void End(const DeskResult& result);
  void Tell(const std::string& line) const {
    if (options_.tell) options_.tell(line);
  }

  TransferDesk& desk_;
  MidiPortSystem& midi_;
  const PacingProfile& profile_;
  Options options_;
  std::function<void(const Report&)> ended_;
  std::string what_;
  std::string instrument_;
  std::string outPort_;
  int outSlot_ = -1;
  int inSlot_ = -1;
  Phase phase_ = Phase::kFormer;
  PacingSearch search_;
  std::shared_ptr<DataFile> former_;
  std::shared_ptr<DataFile> sent_;
  std::shared_ptr<DataFile> back_;
  std::vector<bool> free_;  // bytes that the instrument makes itself: they need not come back as sent
  bool freeKnown_ = false;
  int restores_ = 0;
  std::string place_;  // of the former data
  std::string failure_;
  Report report_;
};

}  // namespace tonalith
