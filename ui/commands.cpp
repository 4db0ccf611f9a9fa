#include "ui/commands.h"

namespace tonalith {

namespace {

constexpr CommandOwner kFrame = CommandOwner::Frame;
constexpr CommandOwner kChild = CommandOwner::Child;

constexpr CommandRow kCommandRows[] = {
    {CommandId::FileNewStudio, MenuId::File, "&Studio", "Ctrl+Shift+D", "Show the instruments of the studio", kFrame,
     false, "&New"},
    {CommandId::None, MenuId::File, "", "", "", kFrame, false},
    {CommandId::FileOpen, MenuId::File, "&Open...", "Ctrl+O", "Open a bank, patch or SysEx file", kFrame, false},
    {CommandId::FileClose, MenuId::File, "&Close", "Ctrl+W", "Close the active window", kFrame, false},
    {CommandId::FileSave, MenuId::File, "&Save", "Ctrl+S", "Save the active data", kChild, false},
    {CommandId::FileSaveAs, MenuId::File, "Save &As...", "Ctrl+Shift+S", "Save the active data under another name",
     kChild, false},
    {CommandId::None, MenuId::File, "", "", "", kFrame, false},
    {CommandId::FileInstallModule, MenuId::File, "&Install Instrument Module...", "",
     "Add an instrument from a module package", kFrame, false},
    {CommandId::None, MenuId::File, "", "", "", kFrame, false},
    {CommandId::FileExit, MenuId::File, "E&xit", "Ctrl+Q", "Leave the program", kFrame, false},

    {CommandId::EditUndo, MenuId::Edit, "&Undo", "Ctrl+Z", "Take the last change back", kChild, false},
    {CommandId::None, MenuId::Edit, "", "", "", kFrame, false},
    {CommandId::EditRename, MenuId::Edit, "&Rename", "F2", "Change the name of the selected patch in place", kChild,
     false},
    {CommandId::EditSelectAll, MenuId::Edit, "Select &All", "Ctrl+A", "Select every row", kChild, false},

    {CommandId::ViewStatusBar, MenuId::View, "&Status Line", "", "Show or hide the line at the bottom", kFrame, true},
    {CommandId::ViewMidiActivity, MenuId::View, "&MIDI Activity", "", "Show or hide the activity of the MIDI ports",
     kFrame, true},

    {CommandId::MidiGet, MenuId::Midi, "&Get from Instrument", "Ctrl+G", "Request the active data from its instrument",
     kChild, false},
    {CommandId::MidiTransmit, MenuId::Midi, "&Transmit...", "Ctrl+T", "Send the active data to its instrument", kChild,
     false},
    {CommandId::MidiCancelTransmit, MenuId::Midi, "&Cancel Transmission...", "", "Stop sending on chosen ports", kFrame,
     false},
    {CommandId::None, MenuId::Midi, "", "", "", kFrame, false},
    {CommandId::MidiPanic, MenuId::Midi, "MIDI &Panic", "Ctrl+Shift+P", "Switch off every note on every port", kFrame,
     false},

    {CommandId::UtilitiesSimulator, MenuId::Utilities, "&Simulated Instruments", "", "Instruments on virtual cables",
     kFrame, false},

    {CommandId::WindowCascade, MenuId::Window, "&Cascade", "", "Arrange the windows one behind the other", kFrame,
     false},
    {CommandId::WindowTile, MenuId::Window, "&Tile", "", "Arrange the windows side by side", kFrame, false},
    {CommandId::WindowNext, MenuId::Window, "&Next Window", "Ctrl+F6", "Go to the next window", kFrame, false},
    {CommandId::WindowCloseAll, MenuId::Window, "Close A&ll", "", "Close every window", kFrame, false},

    {CommandId::HelpContents, MenuId::Help, "&First Steps", "F1", "How to get, keep and send sounds", kFrame, false},
    {CommandId::None, MenuId::Help, "", "", "", kFrame, false},
    {CommandId::HelpAbout, MenuId::Help, "&About Tonalith", "", "Version and folders of this program", kFrame, false},
};

constexpr const char* kMenuTitles[] = {"&File", "&Edit", "&View", "&MIDI", "&Utilities", "&Window", "&Help"};

}  // namespace

std::span<const CommandRow> CommandTable() {
  return kCommandRows;
}

std::span<const char* const> MenuTitles() {
  return kMenuTitles;
}

}  // namespace tonalith
