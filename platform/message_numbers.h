#pragma once

#include <cstdint>

namespace tonalith {

// Numbers of the messages that windows, documents and threads exchange.  The same number means different things to
// different receivers, so each receiver has its own enumeration.  Inside the program the typed methods are called; the
// numbers are what scripts and stored tables name.

inline constexpr std::uint32_t kApplicationMessageBase = 0x8000;
// Codes between documents are offset by this.
inline constexpr std::uint32_t kDocumentMessageOffset = 32767;
inline constexpr std::uint32_t kCommandMessage = 0xCA;  // a menu command or button: wParam is its number
inline constexpr std::uint32_t kThreadQuitMessage = 283;

// To the sending thread of an output port.
enum class OutputPortMessage : std::uint32_t {
  Short = 0x8063,  // lParam: packed short message
  Long = 0x8064,   // wParam: length, lParam: buffer owned by the message
  Delay = 0x8065,  // lParam: milliseconds
  StopEnd = 0x8066,
  AckOn = 0x8067,  // wParam: input port << 16 | timeout in ms, lParam: pattern
  AckOff = 0x8068,
  CountStart = 0x8069,
  CountEnd = 0x806A,
  Drain = 0x806B,
  Quit = kThreadQuitMessage,
};

// To the receive thread of an input port, and to the distribution thread (Short only).
enum class InputPortMessage : std::uint32_t {
  Short = 0x8063,
  Long = 0x8064,
  Quit = kThreadQuitMessage,
};

// To every window that asked for distributed MIDI input.
enum class MidiInputWindowMessage : std::uint32_t {
  Event = 0x8006,
};

// To any window: a request record (lParam) whose first byte is the kind.
enum class WindowMessage : std::uint32_t {
  Request = 0x8000,
};
enum class WindowRequest : std::uint8_t {
  TypeCode = 0x22,
  DirectoryAndFile = 0x2C,
};

// To the receive window.
enum class ReceiveWindowMessage : std::uint32_t {
  Command = kCommandMessage,  // wParam: 1 "Ok", 2 "Cancel", 3 "Cancel All"
  Text = 0x80C7,
  Close = 0x80C8,
};

// To the window that asked for a transfer.
enum class RequesterMessage : std::uint32_t {
  Progress = 0x80D2,  // wParam: patches done
  Done = 0x80DC,
};

// To the studio window.
enum class StudioMessage : std::uint32_t {
  OpenFile = 0x80E1,       // a file of a kind the studio imports
  InstallModule = 0x8133,  // a package
};

// Command bytes of a script's request record.
enum class ScriptRequest : std::uint8_t {
  GetParm = 0x4F,
  ControlProperty = 0x58,  // family 47
  ViewState = 0x62,        // VS, VL
  ReadSetByte = 0x66,      // FRX
  WriteSetByte = 0x67,     // FSX
  SetDirty = 0x68,
  TransmitDataFile = 0x6C,
  ReceiveDataFile = 0x6D,
  Table = 0x6E,
  OpenEditor = 0x6F,
  SetMapValue = 0x70,
  GetMapSize = 0x71,
  ClearStringList = 0x72,
  MapFromTable = 0x73,
  SetStringListEntry = 0x74,
  SetCommand = 0x76,
  SetParm = 0x88,
  MaxParm = 0x89,
};

// To the document of the editor that runs a script.
enum class EditorMessage : std::uint32_t {
  MacroRequest = 0x8000,
  GetPanelVersion = 0x8109,
  GetDirty = 0x810B,
  CompareStart = 0x810C,
  CompareEnd = 0x810D,
  Save = 0x810E,
  GetPortIn = 0x810F,
  GetPortOut = 0x8110,
  GetPatch = 0x8111,
  GetMidiChannel = 0x8112,
  GetCommChannel = 0x8113,
  SetPortIn = 0x8114,
  SetPortOut = 0x8115,
  SetPatch = 0x8116,
  SetMidiChannel = 0x8117,
  GetPopStyle = 0x8118,
  GetMin = 0x8119,
  GetMax = 0x811A,
  InvalidateVisible = 0x811B,
  Initialize = 0x811D,
  KeyAssign = 0x8122,
  DBaseSort = 0x8123,
  MapFromDBase = 0x8124,
  DBaseToEdit = 0x8125,
  GrpIdList = 0x8127,
  Transparency = 0x812A,
  Lt = 0x812B,
  IsVisible = 0x812C,
  MoveTo = 0x812D,
  SizeTo = 0x812E,
  IsTempEditor = 0x8130,
  BankStore = 0x8131,
  OpenUrl = 0x8132,
  OpenSetFromList = 0x8133,
  MapFromSetList = 0x8134,
  L6tImport = 0x8138,
  L6tExport = 0x8139,
  MemCpy = 0x813A,
  MemCpyBank = 0x813B,
  SetSelect = 0x813C,
  GetSetSelect = 0x813D,
  MidiOutActive = 0x8140,
  BankAutoDblClk = 0x8141,
  MessageBoxExt = 0x8142,
  GetStringListSize = 0x8143,
  GetTableSize = 0x8144,
  InvalidateCtl = 0x8145,
  SetDirtyMode = 0x8148,
  GetTableIndex = 0x8149,
  IsInTable = 0x814A,
  TestStart = 0x814B,
  Delete = 0x8152,
  ImportTemplate = 0x8153,
  Execute = 0x8155,
  SetLayerTo = 0x8156,
  GrpReceive = 0x8157,
  IsVirtual = 0x8158,
  SetPopOffset = 0x815D,
  TransmitSyx = 0x815F,
  FileExists = 0x8161,
  SetDefaultFolderPath = 0x8164,
  SetSync = 0x8167,
  GetMidiInState = 0x816A,
  SyxLoad = 0x816C,
  SyxTransmit = 0x816D,
  SyxSize = 0x816E,
  SyxBytes = 0x816F,
  SyxSyxElementBytes = 0x8170,
  SyxElementData = 0x8171,
  SyxFree = 0x8172,
  SetCustomOffsetEx = 0x8173,
  SetMidiNoteOffset = 0x8174,
  Buffer = 0x8176,
  IsInCtl = 0x8177,
  StringlistPopup = 0x8178,
  InvalidateRect = 0x8179,
  SetCtlColors = 0x817A,
  SetCtlBitmapFont = 0x817B,
  SetCtlStepClick = 0x817C,
  BundleFileSave = 0x817D,
  BundleFileOpen = 0x817E,
  DBaseAutoDblClk = 0x817F,
  DBaseStore = 0x8180,
  GetViewState = 0x8181,
  SetNotDefined = 0x8182,
  SetMinRaw = 0x8183,
  SetMaxRaw = 0x8184,
  SetValRaw = 0x8185,
  GetRaw = 0x8186,
  SetDefaultBank = 0x818A,
  SetDefaultBankPatch = 0x818B,
  GetZKInitMode = 0x818C,
  IsKeyDown = 0x818D,
  GetCtlEnable = 0x8193,
  SetCtlEnable = 0x8194,
  SetText = 0x819E,
  SetParentChildString = 0x819F,
  BlockMidiFlow = 0x81A4,
  ShowPopupKeys = 0x81A5,
  CtlTransmit = 0x81A6,
  GetCustomOffset = 0x81AA,
  SetArraySteps = 0x81B4,
  SetStringListDisableTable = 0x81B7,
  SetValForcedEx = 0x81BA,
  GetControlType = 0x81BB,
  SetModalLayer = 0x81BC,
  Lm = 0x81C2,
  Lmt = 0x81C3,
  ExportToCsv = 0x81D6,
  GetIdForNrpn = 0x81D7,
  PatchEditorBankId = 0x81D8,
  MidiSend = 0x81DB,
  TableInit = 0x81DE,
  TableClr = 0x81DF,
  CtlToTab = 0x81E1,
  ProgramControlW = 0x81E2,
  GetIndexFromSynthName = 0x81E3,
  LayerDisable = 0x81E4,
  LayerEnable = 0x81E5,
  CtlShowState = 0x81E7,
  GetMessageBoxResult = 0x81EA,
  SetMessageBoxMacro = 0x81EB,
  RndLayer = 0x81EE,
  RndCtl = 0x81EF,
  RndList = 0x81F0,
  RndExclude = 0x81F1,
  GetControlIdWithZ = 0x81F2,
  GetControlIdWithW = 0x81F3,
  GetControlIdWithY = 0x81F4,
  SetDataOnly = 0x81F5,
  MonitorMsg = 0x81F6,
  SetEncircleColor = 0x81F7,
  SetValRawMidi = 0x81F8,
  GetControlIdWithYZ = 0x81F9,
  GetControlIdWithWZ = 0x81FA,
  GetControlIdWithWY = 0x81FB,
  GetControlIdWithWYZ = 0x81FC,
  MidiRcvRealTime = 0x81FD,
  SetDefaultW = 0x81FF,
  SetDefaultY = 0x8200,
  SetDefaultZ = 0x8201,
  RndIsEqualVal = 0x8203,
  SetAltChildId = 0x8208,
  GetDebug = 0x8210,
  AssignMidiChannels = 0x8212,
  LimitCtl = 0x8214,
};

// To a Set document.
enum class SetMessage : std::uint32_t {
  MacroRequest = 0x8000,
  MacroEx = 0x8144,
  IsSync = 0x814A,
  IsGrpDiskLoad = 0x8151,
  CreateLocalFileView = 0x8155,
  CreateRemoteFileView = 0x8156,
  GetSetVar = 0x815A,
  SetSetVar = 0x815B,
  PatchInit2 = 0x815C,
  IsDefined = 0x815D,
  SetVoiceSize = 0x8160,
  MacroOnCommand = 0x8162,
  GetBankNumVoices = 0x8165,
  SetBankNumVoices = 0x8166,
  SetLinkId = 0x8167,
  QueryUserToSync = 0x8178,
  GetSync = 0x8179,
  BundleInit = 0x817A,
  BundleAdd = 0x817B,
  BundleIdMap = 0x817C,
  ExecuteEx = 0x8180,
  ParentChildStringAssign = 0x8185,
  LinkTrackerEnable = 0x8189,
  ComponentWindow = 0x818A,
  GrpIdExists = 0x818D,
  SetSyncMode = 0x8192,
  SetMasterModeControl = 0x8193,
  SetRangeEx = 0x8195,
  GetRangeEx = 0x8196,
  SynchronizeStateReport = 0x819B,
  ComponentDocument = 0x81AD,
  UpdateParentChild = 0x81B4,
  GetIdForType = 0x81B6,
  GrpCopy = 0x81C0,
  LoadTemplate = 0x81C7,
};

// To the window of an editor.
enum class EditorWindowMessage : std::uint32_t {
  Command = 0x00CA,
  MacroRequest = 0x8000,
  SetCommChannel = 0x8108,
  TestEnd = 0x814C,
  TestCtl = 0x814D,
  TestAll = 0x8150,
  CancelTransmit = 0x8154,
  PopupColor = 0x815B,
  AutoSense = 0x8163,
  GetFocusControlId = 0x8175,
  TestStartFromCtl = 0x8197,
  PostMacro = 0x81B5,
  GetLButtonDown = 0x81B8,
};

// To the main window.
enum class MainWindowMessage : std::uint32_t {
  TransmitFile = 0x80FF,
  OpenUpdateDialog = 0x8119,
  GetVersionInfo = 0x811A,
  CollectionIdMap = 0x811B,
  GetAppVarGuid = 0x811C,
  GetAppVar = 0x811D,
  SetAppVar = 0x811E,
  ToggleViewState = 0x811F,
  SetPluginMidiRealTime = 0x8124,
  DataFileFreed = 0x812A,
  MidiPortsChanged = 0x8131,
  SetListAutoDblClk = 0x813D,
  ReleaseDataFile = 0x8142,
};

}  // namespace tonalith
