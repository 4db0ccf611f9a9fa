#pragma once

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

class Prompts;
class Settings;
class ZKDrvList;

// The folders the studio works with.
struct StudioPaths {
  std::filesystem::path instruments;     // modules
  std::filesystem::path data;            // studio file
  std::filesystem::path preferences;     // InstrumentDefaults.v13.ini
  std::filesystem::path applicationIni;  // "Port In Names" / "Port Out Names"; may be empty
  std::filesystem::path locks = {};      // where processes of the user take their turns; empty: nobody else is there
};

// What the studio needs of the MIDI ports.  Numbers are positions in the lists of the moment.
class StudioPorts {
 public:
  virtual ~StudioPorts() = default;
  virtual std::vector<std::string> InputPortNames() const = 0;
  virtual std::vector<std::string> OutputPortNames() const = 0;
  // Bytes per second for an output port, above 0.
  virtual void SetMaxSysExSpeed(int /*outPort*/, int /*bytesPerSecond*/) {}
};

// What the parts of the studio share of the program around them.
struct StudioSurroundings {
  StudioPaths paths;
  Prompts& prompts;
  StudioPorts* ports = nullptr;        // null: no MIDI
  const Settings* settings = nullptr;  // null: defaults
  bool hosted = false;                 // inside a host; the studio file is then not written
  // Closes all windows that use these instruments, each after its question about unsaved data.  False: the user keeps
  // one open.  May be empty.
  std::function<bool(std::span<ZKDrvList* const>)> closeWindows = nullptr;
  // Runs auto-configuration on an instrument that was just added (called only when the user wants that); may be empty.
  std::function<void(ZKDrvList*)> autoSense = nullptr;
  // Called for the data folder of each driver loaded; may be empty.
  std::function<void(const std::string& folder)> dataFolder = nullptr;

  std::vector<std::string> InNames() const;
  std::vector<std::string> OutNames() const;
  // A question with yes and no; true: yes.
  bool Ask(const std::string& question) const;
};

}  // namespace tonalith
