// Does every byte that leaves an output come back at an input that a cable connects to it?
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "midi/port_system.h"
#include "platform/cancel_token.h"
#include "services/transfer_desk.h"

namespace tonalith {

// One pattern: sent as messages one after the other, compared byte by byte with what came back.
struct SelfTestRow {
  std::string what;  // "SysEx of 4,104 bytes"
  std::size_t sent = 0;
  std::size_t back = 0;        // bytes that came, strangers' left out
  std::size_t lost = 0;        // of those sent
  std::size_t changed = 0;     // of those that came
  std::size_t extra = 0;       // that came and were not sent
  std::int64_t slowestMs = 0;  // from the time the wire needs until the last byte of a message was there
  bool refused = false;        // the output did not take it, or gave it up
  bool Right() const { return !refused && lost == 0 && changed == 0 && extra == 0; }
};

struct SelfTestReport {
  std::string out, in;
  std::vector<SelfTestRow> rows;
  std::string notBegun{};  // why, of a test that never was
  bool cancelled = false;
  bool nothingBack = false;  // there is no loop: not a byte of it came back
  bool portLost = false;
  std::uint64_t lostEvents = 0;  // that the MIDI system told of meanwhile
  bool Right() const;
  // One sentence, with its full stop.
  std::string Sentence() const;
};
// What came back later than this after its time on the wire is told as late.
inline constexpr std::int64_t kSelfTestLateMs = 100;
// "4,104 bytes sent, 4,103 back, 1 lost, 0 changed, 5 ms"
std::string SelfTestRowText(const SelfTestRow& row);

struct SelfTestRequest {
  std::shared_ptr<MidiOutPort> out;
  std::shared_ptr<MidiInPort> in;
  std::vector<std::size_t> sizes{6, 256, 257, 4104, 32768};  // of the long messages
};

// Blocks until the last pattern is back or given up; nobody else may use the ports meanwhile (TransferDesk keeps them
// for a step of the kind kTask).  `progress`: patterns that are done.
SelfTestReport RunSelfTest(MidiPortSystem& midi, const SelfTestRequest& request, const CancelToken& cancel,
                           const DeskStep::TaskProgress& progress = {});

// The test as a job for the desk.  `report` is whole when the job has ended; of a job that never began it stays as it
// was.
DeskRequest SelfTestJob(MidiPortSystem& midi, const SelfTestRequest& request, std::shared_ptr<SelfTestReport> report);

}  // namespace tonalith
