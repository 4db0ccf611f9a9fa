#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/folders.h"
#include "platform/result.h"

namespace tonalith {

struct AnswerRules;
class Clock;
class DataFileObservers;
class Dispatcher;
class DiskAccess;
class DocumentsHost;
class Jobs;
class MainWindowMessages;
class MidiIn;
class MidiOut;
class MidiPortSystem;
class Paths;
class ProgramMidi;
struct ProgramShared;
class Prompts;
class Registry;
class ScriptAppState;
class ScriptChanges;
class ScriptBridge;
class ScriptRouter;
class Settings;
class SingleInstanceManager;
class StudioHost;
class TransferDesk;
class TransferEngine;
class TransferFiles;
class TransferWindowsHost;
class WindowCounters;
class WindowPlaces;
class ZKAppVars;
class ZKBasics;

// The program without windows, put together once: for the desktop program and for the command line tool, which add
// only what is theirs.  Everything the program keeps while it runs belongs to it; two of them in one process share
// nothing but the log and the clock.
//
// Made and destroyed on the user-interface thread, which must be the dispatcher's target thread.  The clock, the
// prompts and the dispatcher outlive it.  Include the header of the component you use.
class Program {
 public:
  // Touches no folder yet; ConfigBasics and LoadConfig do.
  Program(Folders folders, Clock& clock, Prompts& prompts, Dispatcher& dispatcher);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  // ---- given by whoever puts the program together
  Clock& clock() { return clock_; }
  Prompts& prompts() { return prompts_; }
  Dispatcher& dispatcher() { return dispatcher_; }

  // ---- components
  ZKBasics& basics() { return *basics_; }  // the same by the names of the described operations
  Registry& registry();
  Paths& paths();
  const Paths& paths() const;
  Settings& settings();
  SingleInstanceManager& singleInstances();
  WindowPlaces& windowPlaces();
  WindowCounters& windowCounters();
  ZKAppVars& appVars();
  ScriptAppState& scriptState();
  ScriptChanges& scriptChanges();
  DataFileObservers& dataFileObservers();
  DiskAccess& disk();
  Jobs& jobs();

  // ---- ports, scripts and transfers: made when first asked for, on the user-interface thread
  ProgramMidi& midiSide();
  MidiPortSystem& midi();
  MidiOut& out();
  MidiIn& in();
  ScriptBridge& scripts();
  TransferEngine& transfers();
  TransferDesk& desk();
  TransferFiles& files();
  ScriptRouter& router();
  MainWindowMessages& mainWindow();
  // A second one on another clock, whose ports its owner opens; it must not outlive the program.  The dispatcher keeps
  // the same clock; the owner's thread is its target and runs what is queued there while a transfer works.
  std::unique_ptr<ProgramMidi> MakeMidi(Clock& clock, Dispatcher& dispatcher);

  // ---- what the rooms above plug in; null takes it away
  void SetDocuments(DocumentsHost* documents);
  void SetStudio(StudioHost* studio);
  void SetTransferWindows(TransferWindowsHost* windows);
  // Who knows how the data of the types comes (`script/answer_rules.h`); asked on the user-interface thread.
  using AnswerSource = std::function<std::shared_ptr<const AnswerRules>(std::uint16_t driverId)>;
  void SetAnswerSource(AnswerSource source);
  DocumentsHost* documents() const;
  StudioHost* studio() const;

  // ---- start and end
  void ConfigBasics();  // folders and paths
  // The usual settings are in place when it fails; the sentence is for the user.
  Result LoadConfig();
  Result SaveConfig();
  void OpenMidiPorts();
  void CloseMidiPorts();
  // Cancels transfers, scripts and jobs; what is received so far is kept or dropped as a cancel does.
  void StopWork();
  void SetOwnerName(std::string name) { ownerName_ = std::move(name); }
  const std::string& ownerName() const { return ownerName_; }
  // Whether the driver of this data is installed; true without a studio.
  bool MainConfigDriver(std::uint16_t driverId);
  // Capacity of compiled scripts in the authoring tools, bytes; a size of 1 or more stores it.
  int MainGetSynCompileSize(int size);

 private:
  struct Parts;
  ProgramShared Shared();

  Clock& clock_;
  Prompts& prompts_;
  Dispatcher& dispatcher_;
  std::string ownerName_;
  int synCompileSize_ = 15000;
  // Stands with the facade: only that knows both.
  static std::shared_ptr<ZKBasics> MakeBasics(Program& program);

  const std::shared_ptr<ZKBasics> basics_;
  std::unique_ptr<Parts> parts_;
};

}  // namespace tonalith
