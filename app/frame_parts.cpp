#include "app/frame_parts.h"

#include <QMainWindow>

#include "app/autosense_search.h"
#include "app/command_finder.h"
#include "app/command_menus.h"
#include "app/document_kinds.h"
#include "app/open_documents.h"
#include "app/simulator_menu.h"
#include "platform/ini_file.h"
#include "services/paths.h"
#include "services/program.h"

namespace tonalith {

namespace {

// The mode for the Line 6 editors: the preferences file of the program, then the user's.
bool Line6Mode(Program& program) {
  const IniFile shipped(program.paths().MainGetPreferencesIni());
  const IniFile own(program.paths().GetZKIni());
  return own.GetInt("Preferences", "Line6", shipped.GetInt("Preferences", "Line6")) != 0;
}

}  // namespace

FrameParts::FrameParts(const FrameContext& context)
    : frame(context),
      midi(frame, Line6Mode(frame.program)),
      transfers(frame),
      recent(frame),
      windowContext(frame, recent, transfers),
      history(frame, windowContext),
      documents(frame, windowContext),
      autosave(frame, registry, documents),
      received(autosave.folder(), frame.program.clock(), [this] { autosave.Keep(); }),
      studio(frame, documents),
      sets(frame, documents),
      libraries(frame, documents),
      collections(frame, documents),
      files(frame, registry, documents, recent, Line6Mode(frame.program)),
      recognised(frame, registry, documents, files, studio),
      desktops(frame, files),
      monitors(frame),
      views(frame, windowContext, files),
      repair(frame, windowContext),
      moves(frame, windowContext),
      message(frame, documents),
      firstSteps(frame, studio),
      options(frame, midi),
      help(frame),
      quit(frame, transfers, midi, autosave, received),
      manualDumps(frame, studio),
      hosts(frame, {files, autosave, desktops, studio, firstSteps, transfers, midi}) {
  transfers.SetListener([this](const DeskEvent& event) {
    received.Take(event);
    studio.openDocuments().Take(event);
  });
  windowContext.SetShowData(
      [this](DataFilePtr data, const std::string& originName) { studio.OpenData(std::move(data), true, originName); });
  windowContext.SetShowSettings([this](const DataFile& data) { studio.ShowSettings(data); });
  RegisterDocumentKinds(frame, transfers.files(), registry, documents, recognised);
  RegisterFileActions(frame, studio, desktops, registry);
  RegisterDesktopWindows(desktops, monitors, studio);
  QObject::connect(&midi.panic(), &MidiPanic::Began, &frame.window, [this] { windowContext.player().StopAll(); });
  new CommandFinder(frame, studio);  // the window owns it
  QObject::connect(&studio.autoSense(), &AutoSenseSearch::ChoosePorts, &midi, &MidiCommands::OpenPortDialog);
  if (frame.simulation) BuildSimulatorMenu(frame.menus.OpenedMenu(CommandId::UtilitiesSimulator), *frame.simulation);
}

}  // namespace tonalith
