#pragma once

#include <span>

namespace tonalith {

// Commands of the menus.  Numbers below 1000 and from 57600 on are the ones the tool bar and saved key tables use.
enum class CommandId : int {
  None = 0,
  FileNewStudio = 300,
  FileOpen = 57601,
  FileClose = 57602,
  FileSave = 57603,
  FileSaveAs = 57604,
  FileInstallModule = 310,
  FileExit = 57665,
  EditUndo = 57643,
  EditRename = 320,
  EditSelectAll = 57642,
  ViewStatusBar = 59393,
  ViewMidiActivity = 330,
  MidiGet = 401,
  MidiTransmit = 400,
  MidiCancelTransmit = 402,
  MidiPanic = 35774,
  UtilitiesSimulator = 340,
  WindowCascade = 57650,
  WindowTile = 57651,
  WindowCloseAll = 57652,
  WindowNext = 57653,
  HelpContents = 57670,
  HelpAbout = 57664,
};

// Who carries a command out: the main frame, or the active child window.
enum class CommandOwner { Frame, Child };
enum class MenuId { File, Edit, View, Midi, Utilities, Window, Help };

struct CommandRow {
  CommandId id;  // None: a separator
  MenuId menu;
  const char* text;
  const char* shortcut;  // portable text; empty: none
  const char* help;      // shown in the status line
  CommandOwner owner = CommandOwner::Frame;
  bool checkable = false;
  const char* submenu = "";  // title of the menu inside the menu that holds this entry; empty: none
};

// Every menu entry in order; one table for the menus, the shortcuts and the tests.
std::span<const CommandRow> CommandTable();
// Titles in menu order.
std::span<const char* const> MenuTitles();

}  // namespace tonalith
