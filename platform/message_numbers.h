#pragma once

#include <cstdint>

namespace tonalith {

// Numbers of the messages that windows, documents and threads exchange.  The same number means different things to
// different receivers, so each receiver has its own enumeration.  Inside the program the typed methods are called; the
// numbers are what scripts and stored tables name.  They stand nowhere else; a test looks.

// To the sending thread of an output port.
enum class OutputPortMessage : std::uint32_t {
  None = 0,
  Quit = 283,      // wParam: exit code
  Short = 0x8063,  // lParam: packed short message
  Long = 0x8064,   // wParam: length; the bytes travel with the message
  Delay = 0x8065,  // lParam: milliseconds
  Stopped = 0x8066,
  AckOn = 0x8067,  // wParam: input port << 16 | timeout in ms; the pattern as bytes
  AckOff = 0x8068,
  CountOn = 0x8069,
  CountOff = 0x806A,
  Drain = 0x806B,  // send what was collected in queue mode
};

// To every child window of the main window.
enum class ChildWindowMessage : std::uint32_t {
  ShortMidi = 0x8001,   // wParam: input port, lParam: packed short message
  Controller = 0x8005,  // wParam: controller, lParam: value
};

// To any document or window: lParam is the address of a request record, whose first byte is one of the receiver's
// requests below.
inline constexpr std::uint16_t kRequestMessage = 0x8000;

// Requests to any window of a document.
enum class WindowRequest : std::uint8_t {
  WindowType = 0x22,  // result: the code of the window
  Move = 0x23,        // one data file, or a Set document
  TakesNoMoves = 0x6B,
  MoveList = 155,
};

// Requests to the document of the editor whose script runs.
enum class EditorRequest : std::uint8_t {
  RefreshControl = 0x25,
  ControlToFront = 0x27,
  HideControl = 0x41,
  ShowControl = 0x42,
  NoEffect = 0x43,            // "GJ"
  ShowOrHideControls = 0x49,  // of two Ids and between
  TransmitControl = 0x4A,
  GetParm = 0x4F,
  ShowLayer = 0x52,
  HideLayer = 0x53,
  ControlProperty = 0x58,  // which one: the sub-code
  LimitControl = 0x59,
  ControllerOn = 0x5A,
  ControllerOff = 0x5B,
  LayerControllersOn = 0x5C,
  LayerControllersOff = 0x5D,
  ShowMasterLayer = 0x5E,
  HideMasterLayer = 0x5F,
  BankV40 = 0x61,
  VariableFile = 0x62,  // "VS", "VL"
  MidiFocus = 0x63,
  GetValue = 0x64,
  SelectBank = 0x65,
  SetDirty = 0x68,
  TransmitDataFile = 0x6C,
  ReceiveDataFile = 0x6D,
  TableEntry = 0x6E,
  SetMapValue = 0x70,
  GetMapSize = 0x71,
  ClearStringList = 0x72,
  MapFromTable = 0x73,
  SetStringListEntry = 0x74,
  SetCommand = 0x76,  // for the Set of the editor
  MaxParm = 0x89,
};

// Requests to the window of an editor.
enum class EditorWindowRequest : std::uint8_t {
  Exchange = 0x26,  // "GL", "GL2", "GD"
  EditBank = 0x60,
  OpenEditor = 0x6F,
};

// Requests to a Set document.
enum class SetRequest : std::uint8_t {
  ReadByte = 0x66,
  WriteByte = 0x67,
  Command = 0x76,
  SetParm = 0x88,
};

// Requests to the window of a Set.
enum class SetWindowRequest : std::uint8_t {
  Command = 0x76,
};

// What the requests SetCommand and Command ask of a component of a Set (AutoLayout: of the Set).
enum class SetCommand : std::uint8_t {
  AutoLayout = 0,
  SelectAndOpen = 1,
  Select = 2,
  Show = 3,
  Hide = 4,
  Move = 5,
  Resize = 6,
  ToFront = 7,
  ToBack = 8,
  Open = 9,
  BankCommand = 10,
  EditorCommand = 11,
  ReadControl = 12,
  WriteControl = 13,
  GetBankSelection = 14,
  SetBankSelection = 15,
  ClearBankSelection = 16,
  BankAudition = 17,
  BankPage = 18,
  SelectBank = 19,
  Enable = 21,
  Disable = 22,
  Activate = 23,
};

// To the document of the editor whose script runs.
enum class EditorMessage : std::uint32_t {
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
  LayerTransparency = 0x812B,
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
  Delete = 0x8152,  // a control or a layer
  ImportTemplate = 0x8153,
  Execute = 0x8155,
  SetLayerTo = 0x8156,
  GrpReceive = 0x8157,
  IsVirtual = 0x8158,
  PopupProperty = 0x815D,  // popup offset, string offset, popup Id
  TransmitSyx = 0x815F,
  FileExists = 0x8161,
  SetDefaultFolderPath = 0x8164,
  SetSync = 0x8167,
  GetMidiInState = 0x816A,
  SyxLoad = 0x816C,
  SyxTransmit = 0x816D,
  SyxSize = 0x816E,
  SyxBytes = 0x816F,
  SyxElementBytes = 0x8170,
  SyxElementData = 0x8171,
  SyxFree = 0x8172,
  SetCustomOffset = 0x8173,  // also to a Set
  SetMidiNoteOffset = 0x8174,
  EditBuffer = 0x8176,  // load, save, swap, stored, load only
  IsInCtl = 0x8177,
  StringlistPopup = 0x8178,
  InvalidateRect = 0x8179,
  SetCtlColors = 0x817A,
  SetCtlBitmapFont = 0x817B,
  SetCtlStepClick = 0x817C,
  BundleFileSave = 0x817D,
  PatchInit = 0x817D,  // also to a Set
  BundleFileOpen = 0x817E,
  DBaseAutoDblClk = 0x817F,
  DBaseStore = 0x8180,
  GetViewState = 0x8181,
  SetNotDefined = 0x8182,
  SetMinRaw = 0x8183,
  SetMaxRaw = 0x8184,
  SetValRaw = 0x8185,
  GetRaw = 0x8186,  // minimum, maximum, value
  SetFileSize = 0x8187,
  SetDefaultBank = 0x818A,
  SetDefaultBankPatch = 0x818B,
  GetZKInitMode = 0x818C,
  IsKeyDown = 0x818D,  // Shift, Alt, Ctrl
  GetCtlEnable = 0x8193,
  SetCtlEnable = 0x8194,
  SetText = 0x819E,
  SetParentChildString = 0x819F,
  BlockMidiFlow = 0x81A4,
  ShowPopupKeys = 0x81A5,
  CtlTransmit = 0x81A6,
  GetCustomOffset = 0x81AA,  // also to a Set
  SetArraySteps = 0x81B4,
  SetStringListDisableTable = 0x81B7,
  SetValForced = 0x81BA,  // also to a Set
  GetControlType = 0x81BB,
  SetModalLayer = 0x81BC,
  MoveLayer = 0x81C2,
  MoveLayerWithTransparency = 0x81C3,
  ExportToCsv = 0x81D6,
  GetIdForNrpn = 0x81D7,
  PatchEditorBankId = 0x81D8,
  MidiSend = 0x81DB,
  TableInit = 0x81DE,
  TableAdd = 0x81DF,
  TableClr = 0x81DF,
  CtlToTag = 0x81E1,
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
  BankStringList = 0x81FE,
  SetDefaultW = 0x81FF,
  SetDefaultY = 0x8200,
  SetDefaultZ = 0x8201,
  RndIsEqualVal = 0x8203,
  SetAltChildId = 0x8208,
  GetDebug = 0x8210,
  AssignMidiChannels = 0x8212,
  LimitCtl = 0x8214,
};

// To the window of an editor.
enum class EditorWindowMessage : std::uint32_t {
  Command = 0x00CA,  // wParam: number of the menu command
  SetCommChannel = 0x8108,
  MessageBox = 0x813F,
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

// To a Set document.
enum class SetMessage : std::uint32_t {
  MacroEx = 0x8144,
  IsSync = 0x814A,
  IsGrpDiskLoad = 0x8151,
  CreateLocalFileView = 0x8155,
  CreateRemoteFileView = 0x8156,
  GetSetVar = 0x815A,
  SetSetVar = 0x815B,
  PatchInit2 = 0x815C,
  IsDefined = 0x815D,
  GetVoiceSize = 0x815E,
  GetFileSize = 0x815F,
  SetVoiceSize = 0x8160,
  SetFileSize = 0x8161,
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
  ComponentWindow = 0x818A,  // answer: the window of a component
  GrpIdExists = 0x818D,
  SetNotDefined = 0x818E,
  SetSyncMode = 0x8192,
  SetMasterModeControl = 0x8193,
  SetComponentValue = 0x8195,  // value, minimum, maximum
  GetComponentValue = 0x8196,  // value, minimum, maximum
  SynchronizeStateReport = 0x819B,
  ComponentDocument = 0x81AD,  // answer: the document of a component
  UpdateParentChild = 0x81B4,
  GetIdForType = 0x81B6,
  GrpCopy = 0x81C0,
  LoadTemplate = 0x81C7,
  SetAuditionMacroV0 = 0x81C7,
};

// To the window of a Set.
enum class SetWindowMessage : std::uint32_t {
  PostMacro = 0x819C,
};

// To the window of a component of a Set.
enum class ComponentWindowMessage : std::uint32_t {
  TransmitElement = 0x817F,
  ReceiveElement = 0x8181,
  GetLocalSync = 0x81A8,
};

// To the main window.
enum class MainWindowMessage : std::uint32_t {
  TransmitFile = 0x80FF,  // wParam: output port, lParam: address of a path
  OpenUpdateDialog = 0x8119,
  GetVersionInfo = 0x811A,
  CollectionIdMap = 0x811B,
  GetAppVarGuid = 0x811C,
  GetAppVar = 0x811D,
  SetAppVar = 0x811E,
  ToggleViewState = 0x811F,
  SetPluginMidiRealTime = 0x8124,
  SetListAutoDblClk = 0x813D,
};

}  // namespace tonalith
