#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tonalith {

class Dispatcher;
class Jobs;
class MidiIn;
class MidiOut;
class Prompts;
class TransferEngine;
class ZKDrvList;
class StudioPorts;

// What searches remember of each other.
struct AutoConfigMemory {
  bool rowCancelled = false;       // of the searches of one operation
  bool missingPortsShown = false;  // once a run of the program
};

// What a search needs of the program; everything must outlive it.
struct AutoConfigServices {
  std::shared_ptr<AutoConfigMemory> memory = std::make_shared<AutoConfigMemory>();
  MidiOut* out = nullptr;
  MidiIn* in = nullptr;
  TransferEngine* transfers = nullptr;
  Dispatcher* dispatcher = nullptr;
  Jobs* jobs = nullptr;  // runs the search; its StopAll ends one that is still running
  Prompts* prompts = nullptr;
  StudioPorts* ports = nullptr;
  // The instrument got other ports or channels: saves the studio, updates open data and windows.
  std::function<void(ZKDrvList* instrument)> edited;
  std::function<void(ZKDrvList* instrument)> setPorts;          // lets the user set the ports by hand; may be empty
  std::function<void(ZKDrvList* instrument, int set)> openSet;  // may be empty
  std::function<void(const std::string& file)> openFile;        // a help file, with the system's program; may be empty
  std::function<void()> choosePorts;                            // the port dialogs; may be empty
};

}  // namespace tonalith
