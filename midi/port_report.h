// What happened on the lines of the open ports, for whoever shows it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "midi/backend.h"

namespace tonalith {

class MidiPortSystem;

// Counted since the port was opened, if nothing else is said.
struct PortReport {
  MidiDirection direction = MidiDirection::Input;
  std::string name;
  std::string system;  // "alsa", "jack", "virtual"
  bool alive = true;
  std::uint64_t bytes = 0;       // that came, or that left
  std::uint64_t lost = 0;        // inputs: events that could not be taken; outputs: messages given up
  std::string lastFailure{};     // outputs: why the last of them was
  std::int64_t quietMs = -1;     // inputs: since the last byte, active sensing included; -1: none came yet
  std::uint64_t reconnects = 0;  // of the device, or of its connection, since the program began
  std::uint64_t late = 0;        // how often the MIDI system missed its time since it was started
  std::uint32_t rate = 0;        // outputs: bytes a second at most; 0: not paced
};

// Of every open port, inputs first.
std::vector<PortReport> ReportPorts(MidiPortSystem& midi);

// "3,125".
std::string GroupedNumber(std::uint64_t number);

enum class PortColumn : std::size_t { Direction, Name, System, State, Bytes, Heard, Lost, Reconnects, Late, Speed };
inline constexpr std::size_t kPortColumns = 10;
extern const std::array<const char*, kPortColumns> kPortColumnTitles;
// What stands in the columns; empty where a port has nothing of the kind.
std::array<std::string, kPortColumns> PortCells(const PortReport& report);
// "MIDI IN name: what went wrong on its line"; empty when nothing did.
std::string PortTrouble(const PortReport& report);
// A line for beside the name of the port: "12,345 bytes, heard 0.3 s ago", and what went wrong.
std::string PortSummary(const PortReport& report);
// "3,125 bytes/s (MIDI cable)"; 0: "not limited".
std::string PortSpeedText(std::uint32_t bytesPerSecond);

}  // namespace tonalith
