#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tonalith {

// The texts of the receive and the transmit window, computed from numbers, so that every front end shows the same.
// Instrument texts are single bytes; port names are UTF-8.

inline constexpr const char* kMessageAreaHead = "Messages\r\n=========\r\n\r\n";
inline constexpr const char* kWaitingToReceive = "Waiting to Receive SysEx";
inline constexpr const char* kTransmittingText = "Transmitting...";
inline constexpr const char* kOkButton = "Ok";
inline constexpr const char* kCancelButton = "Cancel";
inline constexpr const char* kCancelAllButton = "Cancel All";
inline constexpr const char* kFastTipsButton = "Fast Tips";
inline constexpr const char* kReceivePicture = "\\MidiRecv.png";
inline constexpr const char* kTransmitPicture = "\\MidiTrans.png";
inline constexpr const char* kLoopWarning = "Bytes received and sent are the same! There may be a MIDI loop...";

// What the receive window knows about a running transfer.
struct ReceiveWindowState {
  std::string shortName;
  std::string typeName;
  std::string inPort;
  std::string outPort;
  int sysExChannel = 0;       // 0-based
  bool zeroBased = false;     // channels are shown from 0
  std::int64_t received = 0;  // bytes of the running receive
  std::int64_t sent = 0;
  std::int64_t expected = 0;  // bytes of the running receive when it is complete
  int loops = 0;
  int patchesDone = 0;
  int patchesToDo = 0;          // 0: the whole image at once
  bool startedAtPanel = false;  // the instrument is not asked
  std::vector<std::string> messages;
};

struct ReceiveWindowView {
  std::string receiving;   // "Receiving: %s %s"
  std::string inPort;      // "MIDI IN Port: %s"
  std::string outPort;     // "MIDI OUT Port: %s"
  std::string channel;     // "SysEx Channel: %d"
  std::string bytes;       // "Bytes Received: %d" or "Waiting to Receive SysEx"
  std::string hint;        // what the user has to do, while nothing came; else empty
  int percent = 0;         // 0 to 100
  std::string messages;    // the message area, head included
  std::string loopCounts;  // empty unless there may be a MIDI loop
  std::string loopWarning;
};

ReceiveWindowView MakeReceiveView(const ReceiveWindowState& state);

struct TransmitWindowState {
  bool open = false;
  int port = -1;
  std::string portName;
  std::int64_t sent = 0;
  std::int64_t total = 0;
  bool idle = false;      // the port has nothing left to send
  bool stayOpen = false;  // a script asked for it
};

struct TransmitWindowView {
  std::string title = kTransmittingText;
  std::string port;  // name of the output port
  int percent = 0;
  bool close = false;  // the window has done its work
};

TransmitWindowView MakeTransmitView(const TransmitWindowState& state);

}  // namespace tonalith
