#include "midi/port_report.h"

#include <algorithm>

#include "midi/port_system.h"
#include "platform/text.h"

namespace tonalith {

std::string GroupedNumber(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
  return text;
}

namespace {

constexpr std::int64_t kSecondsFromMs = 10'000;  // shorter silences are told to a tenth of a second

std::string Counted(std::uint64_t count, const char* one, const char* many) {
  return GroupedNumber(count) + " " + (count == 1 ? one : many);
}

std::string QuietText(std::int64_t ms) {
  if (ms < 0) return "never";
  if (ms < kSecondsFromMs)
    return Printf("%lld.%lld s ago", static_cast<long long>(ms / 1000), static_cast<long long>(ms % 1000 / 100));
  return GroupedNumber(static_cast<std::uint64_t>(ms / 1000)) + " s ago";
}

PortReport Begun(MidiPortSystem& midi, MidiDirection direction, const MidiPortDevice& device) {
  PortReport report;
  report.direction = direction;
  report.name = device.info.name;
  report.reconnects = midi.Reconnects(direction, device.info.name);
  if (device.backend) {
    report.system = device.backend->Name();
    report.late = device.backend->Xruns();
  }
  return report;
}

}  // namespace

std::vector<PortReport> ReportPorts(MidiPortSystem& midi) {
  std::vector<PortReport> reports;
  const std::int64_t now = midi.clock().NowUs();
  for (int slot = 0; slot < midi.in().InPorts(); ++slot) {
    const auto port = midi.in().GetMidiInPort(slot);
    if (!port) continue;
    PortReport report = Begun(midi, MidiDirection::Input, port->device());
    report.alive = port->Alive();
    report.bytes = port->BytesReceived();
    report.lost = port->LostEvents();
    report.reconnects += port->Reconnects();
    if (const std::int64_t heard = port->LastHeardUs(); heard > 0)
      report.quietMs = std::max<std::int64_t>(now - heard, 0) / 1000;
    reports.push_back(std::move(report));
  }
  for (int slot = 0; slot < midi.out().MaxOutPorts(); ++slot) {
    const auto port = midi.out().Slot(slot);
    if (!port) continue;
    PortReport report = Begun(midi, MidiDirection::Output, port->device());
    report.alive = port->Alive();
    report.bytes = port->TotalBytes();
    report.lost = port->failedMessages();
    report.lastFailure = port->lastFailure();
    report.reconnects += port->Reconnects();
    report.rate = port->EffectiveRate();
    reports.push_back(std::move(report));
  }
  return reports;
}

const std::array<const char*, kPortColumns> kPortColumnTitles = {
    "Direction", "Port", "MIDI system", "State", "Bytes", "Last heard", "Lost", "Reconnected", "System late", "Speed"};

std::array<std::string, kPortColumns> PortCells(const PortReport& report) {
  const bool input = report.direction == MidiDirection::Input;
  return {input ? "IN" : "OUT",
          report.name,
          report.system,
          report.alive ? "open" : "gone",
          GroupedNumber(report.bytes),
          input ? QuietText(report.quietMs) : std::string(),
          GroupedNumber(report.lost),
          GroupedNumber(report.reconnects),
          GroupedNumber(report.late),
          input ? std::string() : PortSpeedText(report.rate)};
}

namespace {

std::string Troubles(const PortReport& report) {
  const bool input = report.direction == MidiDirection::Input;
  std::string text;
  const auto add = [&text](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
  if (!report.alive) add("no longer there");
  if (report.lost && input) add(Counted(report.lost, "event lost", "events lost"));
  if (report.lost && !input) {
    add(Counted(report.lost, "message not sent", "messages not sent"));
    if (!report.lastFailure.empty()) text += " (" + report.lastFailure + ")";
  }
  if (report.reconnects) add("reconnected " + Counted(report.reconnects, "time", "times"));
  if (report.late) add(report.system + " late " + Counted(report.late, "time", "times"));
  return text;
}

}  // namespace

std::string PortTrouble(const PortReport& report) {
  const std::string troubles = Troubles(report);
  if (troubles.empty()) return {};
  return (report.direction == MidiDirection::Input ? "MIDI IN " : "MIDI OUT ") + report.name + ": " + troubles;
}

std::string PortSummary(const PortReport& report) {
  std::string text = Counted(report.bytes, "byte", "bytes");
  text += report.direction == MidiDirection::Input ? ", heard " + QuietText(report.quietMs)
                                                   : ", " + PortSpeedText(report.rate);
  if (const std::string troubles = Troubles(report); !troubles.empty()) text += ", " + troubles;
  return text;
}

std::string PortSpeedText(std::uint32_t bytesPerSecond) {
  if (bytesPerSecond == 0) return "not limited";
  return GroupedNumber(bytesPerSecond) + " bytes/s" + (bytesPerSecond == kMidiWireRate ? " (MIDI cable)" : "");
}

}  // namespace tonalith
