#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "parameters/parameter_table.h"
#include "platform/result.h"
#include "platform/terminal_text.h"
#include "simulator/conversation.h"
#include "studio/module.h"

namespace tonalith {

class ZKDrvList;

// The parameters of a data type, as its installed module has them; none when it does not say them.
ParameterTable InstalledParameters(Session& session, const ZKDrvList& instrument, int driverId);

// A module installed apart from the folders of the user, to be tried; what was written goes away with it.
class ModuleTrial {
 public:
  explicit ModuleTrial(CliEnvironment& environment);
  ModuleTrial(const ModuleTrial&) = delete;
  ModuleTrial& operator=(const ModuleTrial&) = delete;
  ~ModuleTrial();

  Result Install(const ModuleImage& image);
  // The same beside the modules that the program comes with.
  Result InstallBeside(const ModuleImage& image);
  Session& session() { return *session_; }

  // Recognises a dump, lists what is in it (at most `mostNames` names of each piece, and parameters that lie outside of
  // their ranges) and says what is wrong with it.
  // True when every message is known and every checksum right.
  bool TryDump(const std::string& name, std::span<const std::uint8_t> bytes, std::size_t mostNames, TerminalText out);

  struct Talk {
    std::string file;  // for sentences
    Conversation conversation;
    std::string type;  // empty: the one that says what the conversation expects
    int device = -1;   // as the instrument shows it; -1: as the data types begin
    std::vector<int> patches;
  };
  // Gets data of the conversation's other side, and sends it when the conversation goes on.  True when it went so.
  bool TryTalk(const Talk& talk, TerminalText out);

 private:
  Result InstallInto(const ModuleImage& image);
  // Parameters of the data that lie outside of their ranges.
  std::vector<std::string> OutsideOf(const DataFile& data);
  struct Attempt {
    bool right = false;
    std::size_t matched = 0;  // bytes that were sent as expected
    std::string text;
  };
  Attempt TryType(const Talk& talk, ZKDrvList* driver);

  std::filesystem::path folder_;
  CliEnvironment inside_;
  InterruptGuard guard_;  // an interrupt ends the trial, whose folder goes away all the same
  std::unique_ptr<Session> session_;
};

}  // namespace tonalith
