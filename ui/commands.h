#pragma once

#include <QString>
#include <span>

namespace tonalith {

// Commands of the menus.  Numbers below 1000 and from 57600 on are the ones the tool bar and saved key tables use.
enum class CommandId : int {
  None = 0,
  FileNewStudio = 300,
  FileNewSet = 301,
  FileNewEditor = 302,
  FileNewLibrary = 303,
  FileNewCollection = 304,
  FileNewSysExMessage = 305,
  FileInstallModule = 310,
  FileLoadDesktop = 311,
  FileSaveDesktop = 312,
  FileClearRecent = 313,
  FileExportSysEx = 314,
  FileExportMidi = 315,
  FileOpen = 57601,
  FileClose = 57602,
  FileSave = 57603,
  FileSaveAs = 57604,
  FilePrint = 57607,
  FileExit = 57665,
  SendDataFile = 407,
  SendCollection = 403,
  SendSysEx = 408,
  SendMidiFile = 409,
  EditUndo = 57643,
  EditRedo = 57644,
  EditCut = 57635,
  EditCopy = 57634,
  EditPaste = 57637,
  EditRename = 320,
  EditFind = 322,
  EditGoTo = 324,
  EditMoveTo = 325,
  EditCopyNames = 321,
  EditOpen = 518,
  EditQuickMenu = 1011,
  EditSelectAll = 57642,
  OptionsPreferences = 350,
  OptionsAudition = 351,
  OptionsEditorSkins = 352,
  OptionsSavePreferences = 353,
  OptionsUpdateKeyList = 354,
  OptionsReopenDesktop = 355,
  ViewControlBar = 59392,
  ViewStatusBar = 59393,
  ViewMidiActivity = 330,
  ViewSetList = 331,
  ViewFileList = 332,
  ViewFreeWindows = 333,
  ViewInspector = 334,
  ViewStudioIcons = 335,
  ViewFind = 336,
  ViewLookSystem = 337,
  ViewLookLight = 338,
  ViewLookDark = 339,
  ViewSysEx = 341,
  MidiGet = 401,
  MidiTransmit = 400,
  MidiCancelTransmit = 402,
  MidiInPorts = 405,
  MidiOutPorts = 406,
  MidiUndoSettingsChange = 411,
  MidiTestCable = 412,
  MidiSendingPace = 413,
  MidiWhatIsConnected = 414,
  MidiSendChanged = 415,
  MidiPanic = 35774,
  PlayNote1 = 421,
  PlayNote2 = 422,
  PlayNote3 = 423,
  PlayNote4 = 424,
  PlayNote5 = 425,
  PlayNote6 = 426,
  PlayNote7 = 427,
  PlayNote8 = 428,
  PlayChord = 429,
  PlaySequence = 430,
  PlayLastNote = 431,
  BankViewList = 600,
  BankViewGrid = 601,
  BankSwap = 602,
  BankRotateUp = 603,
  BankRotateDown = 604,
  BankInvert = 605,
  BankSort = 606,
  BankDelete = 607,
  BankRestore = 608,
  BankInit = 609,
  ExportReaper = 680,
  ExportCakewalk = 681,
  ExportCubase = 682,
  ExportNameDocument = 683,
  ExportHtml = 684,
  ExportHtmlProperties = 685,
  ExportText = 686,
  ExportTextProperties = 687,
  ExportIni = 688,
  ExportAcid = 689,
  ExportJammer = 690,
  ExportLogic = 691,
  ExportMaster = 692,
  ExportAll = 693,
  ExportCopyText = 694,
  ExportCopyNames = 695,
  BankAutoName = 610,
  BankNumber = 611,
  BankFind = 612,
  BankFindAgain = 613,
  BankImportNames = 614,
  BankWriteInit = 615,
  BankWriteInitIni = 616,
  BankInitToClip = 617,
  BankOriginalOrder = 618,
  BankUndoHistory = 619,
  UtilitiesCreator = 520,
  UtilitiesFileConversion = 519,
  UtilitiesController = 514,
  UtilitiesSequencer = 546,
  UtilitiesMidiMonitor = 515,
  UtilitiesGraphicMonitor = 35772,
  UtilitiesRemote = 516,
  UtilitiesOscEditor = 517,
  UtilitiesSimulator = 340,
  WindowCascade = 57650,
  WindowTile = 57651,
  WindowCloseAll = 57652,
  WindowNext = 57653,
  WindowSplitRight = 57655,
  WindowSplitDown = 57656,
  HelpContents = 57670,
  HelpManual1 = 35800,
  HelpManual2 = 35801,
  HelpManual3 = 35802,
  HelpManual4 = 35803,
  HelpManual5 = 35804,
  HelpManual6 = 35805,
  HelpManual7 = 35806,
  HelpManual8 = 35807,
  HelpManual9 = 35808,
  HelpManual10 = 35809,
  HelpOnline = 35810,
  HelpUpdates = 35811,
  HelpShortcuts = 35812,
  HelpAbout = 57664,
};

// Who carries a command out: the main frame, or the active child window.  Menu: the entry only opens a menu that is
// filled while the program runs.
enum class CommandOwner { Frame, Child, Menu };
enum class MenuId { File, Edit, View, Bank, Midi, Utilities, Window, Help };

struct CommandRow {
  CommandId id;  // None: a separator
  MenuId menu;
  const char* text;
  const char* shortcut;  // portable text; empty: none
  const char* help;      // shown in the status line
  CommandOwner owner = CommandOwner::Frame;
  bool checkable = false;
  const char* submenu = "";         // title of the menu inside the menu that holds this entry; empty: none
  const char* secondShortcut = "";  // other keys for the same; empty: none
};

// Every menu entry in order; one table for the menus, the shortcuts and the tests.
std::span<const CommandRow> CommandTable();
// Null: not in the table.
const CommandRow* RowOf(CommandId command);
// What the tool of a command says: its help and its keys.
QString CommandTip(CommandId command);
// Titles in menu order.
std::span<const char* const> MenuTitles();

}  // namespace tonalith
