#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "midi/midi_input.h"
#include "midi/midi_output.h"
#include "platform/cancel_token.h"
#include "platform/clock.h"
#include "platform/ini_file.h"
#include "platform/result.h"
#include "studio/auto_sense_retries.h"
#include "studio/own_inquiry.h"

namespace tonalith {

class TransferEngine;
class ZKDrvList;
class ZKStudioDoc;

// Finding out on which ports, and with which device ID, an instrument answers ("AutoSense").
//
// The way it goes: PrepareAutoConfig copies what the search needs of the studio (user-interface thread),
// PerformAutoConfig searches (a worker thread, on those copies alone) and ApplyAutoConfig puts what was found into the
// studio (user-interface thread).

// --- What a module says ---------------------------------------------------------------------------------------------

inline constexpr int kAnyByte = -1;

// What an identity reply has to hold; kAnyByte fits every byte.
struct DeviceInquiryPattern {
  std::array<int, 2> family{kAnyByte, kAnyByte};
  std::array<int, 2> member{kAnyByte, kAnyByte};
  std::array<int, 5> ascii{kAnyByte, kAnyByte, kAnyByte, kAnyByte, kAnyByte};  // version, and the byte behind it
  int select = 0;                                                              // number of the set that goes with it
  bool minimumVersion = false;  // the version bytes are the lowest that will do
  int nthResponse = 1;          // replies that must fit before it counts
};

// Section "Device Inquiry" of a module INI, every number inside its limits, and "Own Inquiry".
struct DeviceInquiry {
  bool enabled = false;
  bool oldMode = false;
  int idSize = 1;  // 1 or 3
  std::array<int, 3> id{};
  int length = 15;  // of a reply; -1: any
  int chMin = 0;    // device IDs tried; -1: everybody
  int chMax = 15;
  int separationMs = 30;
  int repeats = kAutoSenseRepeats;
  std::vector<DeviceInquiryPattern> patterns;  // one at least
  std::string defaultInPort;
  std::string defaultOutPort;
  OwnInquiry own;  // asked in the place of the identity request

  std::vector<std::uint8_t> Request(int device) const;
  // It is an answer to an inquiry, this instrument's or, where that is the identity request, another one's.
  bool IsAnswer(std::span<const std::uint8_t> message) const;
  // The device ID that an answer of this instrument says; `asked`: the one that was asked for, -1 for everybody.
  int DeviceOf(std::span<const std::uint8_t> message, int asked) const;
};
DeviceInquiry ReadDeviceInquiry(const IniFile& module);

// Section "Pre Device Inquiry".
struct PreDeviceInquiry {
  std::vector<std::uint8_t> message;  // to every output port; empty: none
  int sleepMs = 0;
};
PreDeviceInquiry ReadPreDeviceInquiry(const IniFile& module);

// The file that "ErrorURL" names: only an existing document or picture (pdf, htm, html, rtf, txt, png, jpg) inside the
// instrument folder; else empty.
std::string AutoConfigHelpFile(const IniFile& module, const std::filesystem::path& instrumentFolder);

// --- Identity replies -----------------------------------------------------------------------------------------------

// F0 7E device 06 02, then the maker; whatever is not there reads as kAnyByte.
struct IdentityReply {
  int deviceId = 0x7F;
  std::vector<int> maker;                                               // one byte, or 00 and two more
  std::array<int, 4> identity{kAnyByte, kAnyByte, kAnyByte, kAnyByte};  // family LSB, MSB, member LSB, MSB
  std::array<int, 5> version{kAnyByte, kAnyByte, kAnyByte, kAnyByte, kAnyByte};
};
// Nullopt when the message is no identity reply, whatever else it is.
std::optional<IdentityReply> ParseIdentityReply(std::span<const std::uint8_t> message);

// The first pattern that the message fits (from 0); -1: none, or a message that is too short, too long or no identity
// reply of this maker.  An answer to the module's own inquiry fits the first one.
int MatchIdentityReply(const DeviceInquiry& inquiry, std::span<const std::uint8_t> message);

// Somebody who answered, of whatever kind.
struct AutoConfigAnswer {
  std::string inPort;   // where it was heard
  std::string outPort;  // what was tried just then
  std::vector<std::uint8_t> message;
  bool matched = false;
  int firstDevice = 1;  // as which device ID 0 is shown

  // "Roland (41), family 6A 00, member 00 00, version 0.0.1.0, device ID 17", and the ports with `ports`.
  std::string Text(bool ports = true) const;
};

// --- The search -----------------------------------------------------------------------------------------------------

// Copies of everything a search needs.
struct AutoConfigTask {
  std::string instrumentName;  // display key
  int firstDevice = 0;         // as which device ID 0 is shown
  bool quick = false;          // gives up after one hasty pass; for rows of instruments of which few may be there
  DeviceInquiry inquiry;
  PreDeviceInquiry before;
  std::string helpFile;  // offered when nothing is found; may be empty
  // Data the request search asks for; null: there is nothing to ask for.
  DataFilePtr request;
  int channelLow = 0;  // SysEx channels it tries
  int channelHigh = 0;
};

// What of the program the search uses; all of it must outlive the search.
struct AutoConfigLine {
  MidiOut& out;
  MidiIn& in;
  TransferEngine* transfers = nullptr;  // for the request search
};

// What is being tried, as the dialog shows it.
struct AutoConfigProgress {
  std::string instrument;
  std::string inPort;
  std::string outPort;
  std::string device;  // number as the user counts; empty: everybody
  int range = 0;       // highest position
  int position = 0;
  std::int64_t remainingMs = -1;          // -1: not known
  std::vector<AutoConfigAnswer> answers;  // all so far
};

enum class AutoConfigOutcome { Found, NotFound, Cancelled, Failed };
enum class AutoConfigCancel : int { None = 0, This = 1, All = 2 };

struct AutoConfigResult {
  AutoConfigOutcome outcome = AutoConfigOutcome::NotFound;
  std::string instrumentName;
  int inPort = -1;
  int outPort = -1;
  std::string inPortName;
  std::string outPortName;
  int deviceId = -1;  // the instrument's own; -1: as the data types begin with
  int setNumber = -1;
  int requests = 0;                            // identity requests and tries of the request search
  std::vector<DeviceInquiryPattern> patterns;  // of the module, for the words of a failure
  std::vector<AutoConfigAnswer> answers;
  std::vector<std::string> busyPorts;  // outputs that were not asked, at least once, because a transfer had them
  std::string helpFile;
  std::string errorTitle, errorText;  // of Failed
};

// The two ends of a running search; shared by the searching thread and whoever shows it, so that either may go first.
struct AutoConfigControl {
  CancelToken cancel;  // set by whoever shows the search
  std::atomic<AutoConfigCancel> cancelState{AutoConfigCancel::None};
  void Cancel(AutoConfigCancel how) {
    cancelState = how;
    cancel.Cancel();
  }
};

// Called on the searching thread, at most every 30 ms; must only pass the value on.
using AutoConfigProgressSink = std::function<void(const AutoConfigProgress&)>;
// Called with a line about every message sent and heard; may be empty.
using AutoConfigTrace = std::function<void(const std::string& line)>;

// A running search: what its parts share.  Used by the searching thread only; `stop` is a second token that ends it.
class AutoConfigSearch {
 public:
  AutoConfigSearch(AutoConfigLine line, AutoConfigTask task, std::shared_ptr<AutoConfigControl> control,
                   AutoConfigProgressSink progress, AutoConfigTrace trace = {}, CancelToken stop = {});
  AutoConfigSearch(const AutoConfigSearch&) = delete;
  AutoConfigSearch& operator=(const AutoConfigSearch&) = delete;
  ~AutoConfigSearch();

  struct Port {
    int number = -1;  // when the search began; see Locate
    std::string name;
  };
  struct Heard {
    std::vector<std::uint8_t> message;
    std::string inPort;
    std::int64_t timeUs = 0;
  };

  AutoConfigLine line;
  AutoConfigTask task;
  AutoConfigProgress shown;
  AutoConfigResult result;
  std::vector<Port> inputs, outputs;

  Clock& clock() const { return line.out.clock(); }
  bool Cancelled() const { return control_->cancel.Cancelled() || stop_.Cancelled(); }
  // Ports move when others come and go: the number of the moment, -1 when the port is gone.
  int LocateInput(const std::string& name) const { return line.in.FindPort(name); }
  int LocateOutput(const std::string& name) const { return line.out.FindPort(name); }
  // A transfer has the output, which is then left alone; the result names it.
  bool Taken(const std::string& outPort);

  // Waits in slices that see the cancel; false when cancelled.
  bool Wait(std::int64_t ms);
  // Empties the receive buffer / takes what is in it.
  void ForgetHeard();
  std::vector<Heard> TakeHeard();
  std::int64_t LastHeardUs() const;
  // Sends on an output port; false when it is gone or took nothing.
  bool Send(const std::string& outPort, std::span<const std::uint8_t> message);
  void Show(bool now = false);
  void ShowDevice(int device);
  // Remembers who answered.
  void NoteAnswer(const Heard& heard, const std::string& outPort, bool matched);
  void Trace(const std::string& text) const {
    if (trace_) trace_(text);
  }

 private:
  struct Ear;

  std::shared_ptr<AutoConfigControl> control_;
  AutoConfigProgressSink progress_;
  AutoConfigTrace trace_;
  CancelToken stop_;
  std::shared_ptr<Ear> ear_;
  int monitor_ = 0;
  std::int64_t shownUs_ = 0;
};

// The whole search: the message before it, then identity requests or the instrument's own requests.
AutoConfigResult PerformAutoConfig(AutoConfigSearch& search);
// Identity requests on every output port and device ID; the result is in search.result.  True: found.
bool AutoConfigDeviceInquiry(AutoConfigSearch& search);
// The same with the older rules: family and member bytes count only as complete pairs, the version never.
bool AutoConfigDeviceInquiryOld(AutoConfigSearch& search);
// The instrument's own request on every pair of ports and SysEx channel.
bool AutoConfigRequestSearch(AutoConfigSearch& search);

// --- Before and after it --------------------------------------------------------------------------------------------

// The copies for one instrument.  Failure: title (in `title`) and text of what to tell.
Result PrepareAutoConfig(const ZKStudioDoc& studio, const ZKDrvList* instrument, AutoConfigTask* task,
                         std::string* title);
// The driver whose data the request search asks for; null: none qualifies.
const ZKDrvList* AutoConfigRequestDriver(const ZKDrvList& instrument);
// "There are currently no MIDI IN and MIDI OUT ports selected ..."; empty when there are both.
std::string AutoConfigMissingPorts(int inputs, int outputs);

// Puts what was found into the instrument, its drivers and their descriptors and saves it as the instrument's defaults.
// Nothing when the search found nothing.  The studio file and open data are the caller's matter.
Result ApplyAutoConfig(ZKStudioDoc& studio, ZKDrvList* instrument, const AutoConfigResult& result);

// What to tell the user about a search that was not cancelled.
std::string AutoConfigResultText(const AutoConfigResult& result, bool hosted = false);
// " with OS v1.2.0.0 or 1.3.0.0 or higher"; empty when no pattern asks for a version.
std::string AutoConfigVersionText(const std::vector<DeviceInquiryPattern>& patterns);

}  // namespace tonalith
