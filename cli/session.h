#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/console_prompts.h"
#include "platform/file_bytes.h"
#include "platform/jobs.h"
#include "platform/result.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

struct ShippedOutcome;

// The program without a window: its prompts on the console, and the studio with the modules it comes with.
class Session {
 public:
  // Makes the folders; nothing is loaded yet.
  explicit Session(CliEnvironment& environment);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Installs shipped modules that are missing or older and restores files of theirs that are damaged (that, and a
  // problem, is noted on standard error).
  void InstallModules();
  // InstallModules and the studio.
  void LoadStudio();
  // The studio of what is installed already, nothing else.
  void LoadInstalledStudio();

  CliEnvironment& environment() { return environment_; }
  Program& program() { return program_; }
  Paths& paths() { return program_.paths(); }
  Settings& settings() { return program_.settings(); }
  Prompts& prompts() { return *activePrompts_; }
  // What the program told since the last call, in sentences; empty with scripted prompts.
  std::vector<std::string> TakeNotices() { return console_.TakeNotices(); }
  ZKStudioDoc& studio() { return *studio_; }  // after LoadStudio
  bool HasStudio() const { return studio_ != nullptr; }
  const Recognizer& recognizer();  // after LoadStudio
  std::filesystem::path instruments() const { return program_.paths().MainGetInstrPath(); }

  // Before a transfer, on standard error: which scripts it uses when those are not the ones that the data came with.
  void NoteScripts(const DataFile& data);

  // By display name, or a part of it that only one has; without regard to case.
  Result FindInstrument(const std::string& name, ZKDrvList** instrument);
  // A data type of the instrument by type name or key, or a part of the name that only one has.
  Result FindType(ZKDrvList* instrument, const std::string& name, ZKDrvList** driver);

 private:
  void TellShipped(const Result& result, const ShippedOutcome& outcome);

  CliEnvironment& environment_;
  ConsolePrompts console_;
  std::unique_ptr<ScriptedPrompts> scripted_;
  Prompts* activePrompts_;
  Dispatcher dispatcher_;
  Program program_;
  std::unique_ptr<ZKStudioDoc> studio_;
  std::unique_ptr<Recognizer> recognizer_;
};

// Position of the one name that `wanted` means: equal to it, or having it as a part, both without regard to case.
// Failure: `kind` ("instrument", "MIDI OUT port" ...) is named with the names to choose from.
Result ChooseByName(const std::vector<std::string>& names, const std::string& wanted, const std::string& kind,
                    std::size_t* chosen);

// Pieces of data in a file: raw SysEx, a data file or a Standard MIDI File; "-" is standard input.
Result ReadCliFile(CliEnvironment& environment, const std::string& path, std::vector<std::uint8_t>* bytes);
Result ReadCliFile(CliEnvironment& environment, const std::string& path, FileBytes* bytes);
// `isShort` (may be null): the file is shorter than it says, which was noted on standard error.
Result RecognizeFile(Session& session, const std::string& path, Recognition* found, bool* isShort = nullptr);
// The same without making the data; `bytes` has to live as long as `found`.
Result FindInFile(Session& session, const std::string& path, FileBytes* bytes, FoundFile* found);

// What MIDI carries when the data is sent (its checksums are brought up to date in `dataFile` by this).
struct RenderedMessage {
  std::vector<std::uint8_t> bytes;  // F0 to F7
  std::uint32_t milliseconds = 0;   // pause before it that the data asks for
};
Result RenderData(Session& session, DataFile* dataFile, std::vector<RenderedMessage>* messages);
Result RenderBytes(Session& session, DataFile* dataFile, std::vector<std::uint8_t>* bytes);
// What a file holds of the data: its declared form (studio/file_form.h), with the pauses that the instrument needs when
// they are wanted; not declared: what is sent.
Result RenderFile(Session& session, DataFile* dataFile, bool withPauses, std::vector<RenderedMessage>* messages,
                  bool* isDeclared);

// "Yamaha DX7 Voice Bank", UTF-8.
std::string DataTitle(const DataFile& dataFile);
// "slot, number as displayed, name", tab separated: a line of `names`.
void PrintPatch(TerminalBlocks& out, const PatchView& patch);
void PrintPatch(TerminalText out, const PatchLine& line);

}  // namespace tonalith
