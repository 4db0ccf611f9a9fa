#include "script/transfer_view.h"

#include <algorithm>

#include "script/started_at_panel.h"

namespace tonalith {

namespace {

int PercentOf(std::int64_t part, std::int64_t whole) {
  if (whole <= 0 || part <= 0) return 0;
  return static_cast<int>(std::min<std::int64_t>(100, part >= whole ? 100 : part * 100 / whole));
}

}  // namespace

ReceiveWindowView MakeReceiveView(const ReceiveWindowState& state) {
  ReceiveWindowView view;
  view.receiving = "Receiving: " + state.shortName + " " + state.typeName;
  view.inPort = "MIDI IN Port: " + state.inPort;
  view.outPort = "MIDI OUT Port: " + state.outPort;
  view.channel = "SysEx Channel: " + std::to_string(state.sysExChannel + (state.zeroBased ? 0 : 1));
  view.bytes = state.received > 0 ? "Bytes Received: " + std::to_string(state.received) : kWaitingToReceive;
  if (state.startedAtPanel && state.received == 0) view.hint = kStartTheDump;
  if (state.patchesToDo > 0) {
    // The expected size covers all patches that are asked for; those that are done count whole.
    const std::int64_t patch = std::max<std::int64_t>(1, state.expected / state.patchesToDo);
    const std::int64_t running = state.patchesDone < state.patchesToDo ? std::min(state.received, patch) : 0;
    view.percent = PercentOf(state.patchesDone * patch + running, patch * state.patchesToDo);
  } else {
    view.percent = PercentOf(state.received, state.expected);
  }
  view.messages = kMessageAreaHead;
  for (const std::string& message : state.messages) view.messages += message + "\r\n";
  if (state.received > 0 && state.received == state.sent) {
    view.loopCounts = "Bytes Received: " + std::to_string(state.received) +
                      "  Bytes Sent: " + std::to_string(state.sent) +
                      "  # of Loops: " + std::to_string(std::max(1, state.loops));
    view.loopWarning = kLoopWarning;
  }
  return view;
}

TransmitWindowView MakeTransmitView(const TransmitWindowState& state) {
  TransmitWindowView view;
  view.port = state.portName;
  view.percent = PercentOf(state.sent, state.total);
  view.close = state.idle && !state.stayOpen;
  return view;
}

}  // namespace tonalith
