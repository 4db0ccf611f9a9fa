#pragma once

#include "app/autosave.h"
#include "app/collection_commands.h"
#include "app/desktop_files.h"
#include "app/document_windows.h"
#include "app/file_opening.h"
#include "app/first_steps.h"
#include "app/frame_context.h"
#include "app/frame_window_context.h"
#include "app/help_commands.h"
#include "app/history_command.h"
#include "app/library_commands.h"
#include "app/manual_dump_receiver.h"
#include "app/midi_commands.h"
#include "app/monitor_commands.h"
#include "app/move_commands.h"
#include "app/option_commands.h"
#include "app/quit_sequence.h"
#include "app/received_so_far.h"
#include "app/recent_files_menu.h"
#include "app/recognised_files.h"
#include "app/repair_command.h"
#include "app/service_hosts.h"
#include "app/set_commands.h"
#include "app/studio_commands.h"
#include "app/sysex_message.h"
#include "app/view_commands.h"
#include "app/window_transfers.h"
#include "document/document_registry.h"

namespace tonalith {

// What works in the main window besides its menus and child windows, put together in the order in which one needs the
// other.
struct FrameParts {
  explicit FrameParts(const FrameContext& context);

  FrameContext frame;
  DocumentRegistry registry;
  MidiCommands midi;
  WindowTransfers transfers;
  RecentFilesMenu recent;
  FrameWindowContext windowContext;
  HistoryCommand history;
  DocumentWindows documents;
  Autosave autosave;
  ReceivedSoFar received;
  StudioCommands studio;
  SetCommands sets;
  LibraryCommands libraries;
  CollectionCommands collections;
  FileOpening files;
  RecognisedFiles recognised;
  DesktopFiles desktops;
  MonitorCommands monitors;
  ViewCommands views;
  RepairCommand repair;
  MoveCommands moves;
  SysExMessage message;
  FirstSteps firstSteps;
  OptionCommands options;
  HelpCommands help;
  QuitSequence quit;
  ManualDumpReceiver manualDumps;
  ServiceHosts hosts;
};

}  // namespace tonalith
