#include "script/keyword_table.h"

#include "platform/text.h"

namespace tonalith {
namespace {

// Within a letter the order is that of the comparison; longer words stand before their own beginnings.
// clang-format off

constexpr ScriptKeyword kKeywordsA[] = {
    {"AssignMidiChannels", 51, 33}, {"ASMHydrasynthRecv", 55, 74}, {"ASMHydrasynthSend", 55, 75},
    {"ASMHydrasynthBurn", 55, 76}, {"ASSERT", 53, 70, 1}, {"AddRecvSize", 52, 102}, {"abs", 40, 0}, {"asin", 40, 6},
    {"acos", 40, 7}, {"atan2", 40, 9}, {"atan", 40, 8},
};
constexpr ScriptKeyword kKeywordsB[] = {
    {"BlockMIDIFlow", 55, 59}, {"BankReceiveElement", 55, 45}, {"BankTransmitElement", 55, 44},
    {"BundleIDMap", 55, 42}, {"BundleAdd", 52, 103}, {"BundleFileOpen", 51, 15}, {"BundleFileSave", 51, 16},
    {"BundleInit", 53, 66}, {"BREAK", 36, -1}, {"BANKEDIT", 18, 29}, {"BANKV40", 18, 30}, {"BITINV", 40, 23},
    {"BANKSELID", 55, 3}, {"BANKSEL", 18, 33}, {"BANKSTORE", 55, 5}, {"BankRespondToPatchChanges", 52, 27},
    {"BANKAUTODBLCLK", 55, 7}, {"BufferLoadOnly", 52, 63}, {"BufferLoad", 52, 57}, {"BufferSave", 52, 58},
    {"BufferSwap", 52, 59}, {"BufferStored", 52, 60},
};
constexpr ScriptKeyword kKeywordsC[] = {
    {"CtlShowState", 52, 136}, {"CtlToTag", 55, 61}, {"CtlTransmit", 52, 105}, {"ClrWaitForACK", 53, 67},
    {"CreateLocalFileView", 52, 67}, {"CreateRemoteFileView", 52, 68}, {"ClrSysXEnd", 53, 89},
    {"ClrSysXDecline", 53, 87}, {"ClrSysXAccept", 53, 30}, {"ClrSysXFilter", 53, 30}, {"canSync", 53, 42},
    {"CancelTransmit", 53, 26}, {"COPYMAP", 47, 13}, {"COPYSTRINGLIST", 47, 14}, {"CCY", 18, 23}, {"CCN", 18, 24},
    {"cosh", 40, 11}, {"cos", 40, 4}, {"cmpSTART", 53, 3}, {"cmpEND", 53, 4}, {"clrerrormsg", 53, 12},
    {"CLRSTRINGLIST", 52, 11}, {"CloseMidiInPortsExcept", 52, 110}, {"CloseMidiInPorts", 53, 38},
    {"CloseMidiOutPortsExcept", 52, 111}, {"CloseMidiOutPorts", 53, 39},
};
constexpr ScriptKeyword kKeywordsD[] = {
    {"DBaseStore", 52, 84}, {"DBaseAutoDblClk", 52, 83}, {"DeleteControl", 52, 36}, {"DeleteLayer", 52, 37},
    {"DELMAPVAL", 47, 11}, {"deletePV9onExit", 52, 49}, {"DBASESORT", 52, 21}, {"DBASETOEDIT", 52, 22},
    {"DEC", kDecimalMode, -1},
};
constexpr ScriptKeyword kKeywordsE[] = {
    {"ExportToCSV", 55, 58}, {"ExecuteEx", 51, 17}, {"EDITCOMPARE", 53, 1}, {"EXECUTE", 55, 12}, {"exp10", 40, 22},
    {"exp", 40, 18},
};
constexpr ScriptKeyword kKeywordsF[] = {
    {"FCFileSize", 53, 69}, {"FileExists", 55, 18}, {"float", 40, 14}, {"fact", 40, 17}, {"FRX", 51, 0},
    {"FSX", 51, 1}, {"FRE", 47, 18}, {"FWE", 51, 6},
};
constexpr ScriptKeyword kKeywordsG[] = {
    {"GetTestMode", 53, 94}, {"GetActivateOnMouseOver", 53, 92}, {"GetSysExBytes", 52, 146}, {"GrpCopy", 54, 6},
    {"GetControlIDWithWYZ", 51, 31}, {"GetControlIDWithYZ", 55, 67}, {"GetControlIDWithWZ", 55, 68},
    {"GetControlIDWithWY", 55, 69}, {"GetControlIDWithY", 52, 144}, {"GetControlIDWithW", 52, 143},
    {"GetControlIDWithZ", 52, 142}, {"GetDebug", 53, 85}, {"GetMessageBoxResult", 53, 83}, {"GetChildID", 53, 81},
    {"GetIndexFromSynthName", 52, 132}, {"GetIDForNRPN", 52, 125}, {"GetIDForType", 52, 129},
    {"GrpIDExists", 52, 122}, {"GetAutoSense", 53, 76}, {"GetControlType", 52, 113},
    {"GetNumOpenMidiInPorts", 53, 74}, {"GetNumOpenMidiOutPorts", 53, 75}, {"GetLButtonDown", 53, 73},
    {"GetValEx", 55, 49}, {"GetMinEx", 55, 50}, {"GetMaxEx", 55, 51}, {"GetCustomOffsetEx", 55, 52},
    {"GetCustomOffset", 52, 108}, {"GetAppVarGUID", 53, 65}, {"GetLocalSync", 52, 107}, {"GetAppVar", 52, 101},
    {"GetZKInitMode", 53, 60}, {"GetSync", 52, 99}, {"GetBankNumVoices", 52, 93}, {"getVoiceSize", 52, 89},
    {"getFileSize", 52, 90}, {"getMinRaw", 52, 86}, {"getMaxRaw", 52, 87}, {"getValRaw", 52, 88},
    {"getViewState", 52, 85}, {"getRecvMode", 53, 51}, {"getRecvBankLoop", 53, 52}, {"getRecvTotal", 53, 53},
    {"getRecvCurrent", 53, 54}, {"getRecvFirst", 53, 55}, {"getRecvLast", 53, 56}, {"getRecvNum", 53, 57},
    {"getSetVar", 52, 82}, {"getBasicsVar", 52, 81}, {"GrpReceive", 53, 27}, {"GetUpdatePatchOnActivate", 53, 50},
    {"GetTableIndex", 55, 9}, {"GetStringListSize", 52, 28}, {"GetTableSize", 52, 29}, {"getval", 18, 32},
    {"getdirty", 53, 2}, {"GetPanelVersion", 40, 26}, {"getenvironment", 53, 0}, {"getpopstyle", 52, 6},
    {"getmin", 52, 7}, {"getmax", 52, 8}, {"getmapsize", 52, 10}, {"getmapval", 47, 12}, {"getid", 53, 15},
    {"gethost", 53, 16}, {"GrpLAYOUT", 52, 13}, {"GrpMOVE", 51, 4}, {"GrpSIZE", 51, 5}, {"GrpSHOW", 52, 16},
    {"GrpHIDE", 52, 17}, {"GrpSELECT", 52, 14}, {"GrpICON", 52, 15}, {"GrpTOFRONT", 52, 18}, {"GrpTOBACK", 52, 19},
    {"GrpOpen", 52, 20}, {"GrpENABLE", 52, 39}, {"GrpDISABLE", 52, 40}, {"GrpACTIVATE", 52, 41}, {"grpidlist", 55, 0},
    {"grpcmd", 55, 4}, {"GPINC", 53, 17}, {"GPDEC", 53, 18}, {"GETSETSELECT", 53, 22}, {"getApp", 53, 32},
    {"getPlatform", 53, 33}, {"getOS", 53, 34}, {"getParm", 44, -1}, {"getMidiInState", 52, 54},
    {"GetFocusControlID", 53, 48},
};
constexpr ScriptKeyword kKeywordsI[] = {
    {"IniBankRefStringList", 56, 3}, {"isZKVersion", 51, 32}, {"IDCopy", 54, 6, 0}, {"isShift", 53, 61},
    {"isAlt", 53, 62}, {"isCtrl", 53, 63}, {"isDefined", 55, 29}, {"isVirtual", 53, 28}, {"isInCtl", 52, 62},
    {"isSync", 53, 43}, {"importtemplate", 54, 3}, {"isInTable", 55, 10}, {"int", 40, 13},
    {"InvalidateCtlEx", 55, 57}, {"InvalidateCtl", 52, 30}, {"InvalidateRect", 54, 4}, {"InvalidateVisible", 53, 13},
    {"INITIALIZE", 53, 14}, {"ISVISIBLE", 52, 24}, {"ISTEMPEDITOR", 53, 19}, {"isGrpDiskLoad", 53, 49},
};
constexpr ScriptKeyword kKeywordsK[] = {
    {"KURZ", 37, -1}, {"KEYASSIGN", 51, 7},
};
constexpr ScriptKeyword kKeywordsL[] = {
    {"LayerDisable", 52, 134}, {"LayerEnable", 52, 135}, {"LoadTemplate", 52, 123}, {"LMT", 51, 27}, {"LM", 51, 26},
    {"LinkTrackerEnable", 55, 43}, {"LimitInputPorts", 52, 35}, {"LimitCtl", 52, 152}, {"LIMIT", 18, 20},
    {"LCCY", 18, 25}, {"LCCN", 18, 26}, {"LS", 18, 18}, {"LH", 18, 19}, {"LT", 55, 2}, {"log10", 40, 19},
    {"log", 40, 20}, {"ln", 40, 20}, {"L6TIMPORT", 53, 20}, {"L6TEXPORT", 53, 21},
};
constexpr ScriptKeyword kKeywordsM[] = {
    {"MIDIRcvRealTime", 55, 70}, {"MonitorMsg", 55, 64}, {"MacroOnCommand", 56, 2}, {"MIDISend", 53, 84},
    {"MidiPortInOpenPortsFromMap", 52, 117}, {"MidiPortOutOpenPortsFromMap", 52, 118}, {"MaskRetr", 55, 11},
    {"MaskStor", 51, 13}, {"MessageBoxExt", 55, 8}, {"MessageBox", 47, 15}, {"MLS", 18, 27}, {"MLH", 18, 28},
    {"MACROEX", 57, 1}, {"macro", 34, -1}, {"maxParm", 55, 16}, {"min", 40, 1}, {"max", 40, 2}, {"MIDIFocus", 18, 31},
    {"zksetcommch", 40, 25}, {"ZKSAVE", 53, 5}, {"ZKGETPORTIN", 53, 6}, {"ZKGETPORTOUT", 53, 7},
    {"ZKGETPATCH", 53, 8}, {"ZKGETMIDICH", 53, 9}, {"ZKGETCOMMCH", 53, 10}, {"ZKSETPORTIN", 52, 0},
    {"ZKSETPORTOUT", 52, 1}, {"ZKSETPATCH", 52, 2}, {"ZKSETMIDICH", 52, 3}, {"ZKTRANSMITDF", 52, 4},
    {"ZKRECEIVEDF", 52, 5}, {"MAPFROMTABLE", 54, 0}, {"ZKBANKCMD", 47, 16}, {"ZKEDITCMD", 47, 17},
    {"ZKBANKGETSEL", 47, 19}, {"ZKBANKSETSEL", 47, 20}, {"ZKBANKUNSEL", 47, 21}, {"ZKBANKAUDITION", 47, 22},
    {"ZKBANKTAB", 47, 23}, {"MAPFROMDBASE", 54, 2}, {"MAPFROMSETLIST", 52, 26}, {"MEMCPYBNK_NOINIT", 57, 2},
    {"MEMCPYBNK", 57, 0}, {"MEMCPY", 56, 0}, {"MOVETO", 51, 9}, {"ManageMidiErrors", 52, 61},
    {"MIDIOUTACTIVE", 53, 23},
};
constexpr ScriptKeyword kKeywordsO[] = {
    {"OutputQueue", 53, 91}, {"OneShot", 52, 98}, {"openeditor", 52, 9}, {"OPENURL", 55, 6},
    {"OPENSETFROMLIST", 52, 25}, {"OpenMidiInPortDlg", 53, 36}, {"OpenMidiOutPortDlg", 53, 37},
    {"OpenMidiInPorts", 53, 40}, {"OpenMidiOutPorts", 53, 41},
};
constexpr ScriptKeyword kKeywordsP[] = {
    {"PrefsAutoRcvClr", 53, 82}, {"ProgramControlW", 53, 80}, {"PressCancel", 52, 127}, {"PatchEditorBankID", 53, 79},
    {"PostMacro", 55, 54}, {"ParentChildStringAssign", 51, 18}, {"PutLocalVarInW", 52, 94},
    {"PutLocalVarInX", 52, 95}, {"PutLocalVarInY", 52, 96}, {"PutLocalVarInZ", 52, 97}, {"PatchInit2", 55, 28},
    {"PatchInit", 52, 69}, {"popuptextcolor", 52, 42}, {"popupbackcolor", 52, 43}, {"pow", 40, 15},
};
constexpr ScriptKeyword kKeywordsQ[] = {
    {"QueryUserToSync", 53, 64}, {"QuitApp", 53, 35},
};
constexpr ScriptKeyword kKeywordsR[] = {
    {"RndIsEqualVal", 52, 151}, {"RndLayer", 52, 138}, {"RndCtl", 52, 139}, {"RndList", 52, 140},
    {"RndExclude", 52, 141}, {"RCOMM", 39, -1}, {"random", 40, 21}, {"rbr", 52, 12},
};
constexpr ScriptKeyword kKeywordsS[] = {
    {"SysXInsertBytes", 56, 4}, {"SetAuditionMacroV0", 55, 78}, {"SetAltChildID", 55, 77}, {"SetStayOpen", 52, 150},
    {"SetDefaultW", 55, 71}, {"SetDefaultY", 55, 72}, {"SetDefaultZ", 55, 73}, {"SetVerifyReceivingSysX", 52, 149},
    {"SetMIDIDelay", 52, 148}, {"SetUSBPortSpeed", 52, 147}, {"SetMaxSysExSpeed", 52, 145},
    {"SetEncircleColor", 55, 65}, {"SetDataOnly", 55, 63}, {"SetValOnly", 55, 63}, {"SetMessageBoxMacro", 52, 137},
    {"SetChildID", 52, 133}, {"SetVar", 55, 62}, {"SetRecvTimedOut", 52, 128}, {"SetListAutoDblClk", 52, 126},
    {"StripF7", 52, 124}, {"SetMidiInPortMap", 52, 119}, {"SetMidiOutPortMap", 52, 120}, {"SetAutoSense", 52, 116},
    {"SetModalLayer", 52, 115}, {"SetPluginMIDIRealTime", 52, 114}, {"SetRetryOnTimeout", 52, 112},
    {"SetStringListDisableTable", 55, 55}, {"SynchronizeStateReport", 53, 72}, {"ShowTransmitWindow", 52, 109},
    {"SetArraySteps", 55, 53}, {"StopBankLoop", 53, 71}, {"SetValEx", 51, 22}, {"SetMinEx", 51, 23},
    {"SetMaxEx", 51, 24}, {"SetMasterModeControl", 55, 48}, {"ShowPopupKeys", 55, 47}, {"SetNotDefined", 51, 21},
    {"SetParentChildString", 51, 19}, {"SetText", 51, 20}, {"SetWaitForACK", 52, 104}, {"SetAppVar", 55, 40},
    {"SetCtlEnable", 55, 39}, {"SetLocalVar", 55, 38}, {"SetLinkID", 55, 37}, {"SetBankNumVoices", 55, 35},
    {"SetDefaultBankPatch", 52, 92}, {"SetDefaultBank", 52, 91}, {"SetVoiceSize", 55, 33}, {"SetFileSize", 55, 34},
    {"SetMinRaw", 55, 30}, {"SetMaxRaw", 55, 31}, {"SetValRawMIDI", 55, 66}, {"SetValRaw", 55, 32},
    {"StringlistPopup", 52, 66}, {"setSetVar", 55, 27}, {"SetBasicsVar", 55, 26}, {"SetCtlBitmapFont", 55, 24},
    {"SetCtlStepClick", 55, 25}, {"SetCtlColors", 56, 1}, {"SetWriteToQueue", 53, 90}, {"SetSysXEnd", 53, 88},
    {"SetSysXDecline", 53, 86}, {"SetSysXAccept", 53, 29}, {"SetSysXFilter", 53, 29},
    {"SetUpdatePatchOnActivate", 52, 65}, {"SetLayerTo", 52, 38}, {"SetDefaultFolderPath", 55, 19},
    {"SetMidiOutForceExit", 52, 52}, {"setDefaultMidiOutPort", 52, 44}, {"setDefaultMidiInPort", 52, 45},
    {"setDefaultMidiChannel", 52, 46}, {"setMidiThruRealTime", 52, 48}, {"SetSyncState", 55, 46},
    {"SetSyncMode", 52, 64}, {"SetSync", 52, 53}, {"setMidiThru", 52, 47}, {"sinh", 40, 10}, {"sin", 40, 3},
    {"sqrt", 40, 16}, {"setmin", 47, 0}, {"setmax", 47, 1}, {"setnumstrings", 47, 2}, {"SetValForcedEx", 51, 29},
    {"SetValForced", 55, 56}, {"setval", 47, 3}, {"setname", 47, 5}, {"setpopstyle", 47, 8}, {"setnumofstr", 47, 7},
    {"SETDIRTYMODE", 52, 31}, {"setdirty", 40, 24}, {"seterrormsg", 53, 11}, {"SETSTRINGLISTENTRY", 54, 1},
    {"SETMAPSIZE", 47, 10}, {"SETMAPVAL", 51, 3}, {"setmap", 47, 9}, {"SetPopOffset", 55, 13}, {"SetPopID", 55, 15},
    {"SetStrOffset", 55, 14}, {"setpop", 47, 6}, {"setParm", 51, 14}, {"sleep", 52, 23}, {"SIZETO", 51, 10},
    {"SETSELECT", 52, 28, 3}, {"SetMidiInOpenAll", 52, 50}, {"SetMidiOutOpenAll", 52, 51}, {"SyxLoad", 55, 20},
    {"SyxTransmit", 52, 55}, {"SyxSize", 53, 45}, {"SyxBytes", 53, 46}, {"SyxFree", 53, 46},
    {"SyxElementBytes", 52, 56}, {"SyxElementData", 55, 21}, {"SetCustomOffsetEX", 51, 25},
    {"SetCustomOffset", 55, 22}, {"SetMIDINoteOffset", 55, 23},
};
constexpr ScriptKeyword kKeywordsT[] = {
    {"TableInit", 52, 130}, {"TableClr", 52, 130}, {"TableAdd", 55, 60}, {"ToggleViewState", 52, 106},
    {"TestAllForAU", 53, 93}, {"TestAll", 53, 25}, {"TestMasterLayer", 52, 34}, {"TestLayer", 52, 33},
    {"TestCtl", 52, 32}, {"TestEnd", 53, 24}, {"TestStartFromCtl", 54, 5}, {"TestStart", 51, 12}, {"Timeout", 45, -1},
    {"TrinEff", 41, -1}, {"tanh", 40, 12}, {"tan", 40, 5}, {"transparency", 55, 1}, {"TABLE", 51, 2},
    {"TransmitSyx", 55, 17},
};
constexpr ScriptKeyword kKeywordsU[] = {
    {"UpdateParentChild", 53, 78}, {"HXCOLLECTIONIDMAP", 55, 41}, {"HXGetVersionInfo", 55, 36},
    {"HXOpenUpdateDlg", 53, 59}, {"HXOpenUpdateURL", 53, 58}, {"HXAutoSense", 53, 44},
};
constexpr ScriptKeyword kKeywordsV[] = {
    {"VS", 48, 0}, {"VL", 48, 1}, {"VR", 50, 0}, {"VW", 50, 1},
};
constexpr ScriptKeyword kKeywordsW[] = {
    {"Within", 51, 30},
};
// clang-format on

}  // namespace

std::span<const ScriptKeyword> KeywordsFor(char letter) {
  switch (letter) {
    case 'A':
      return kKeywordsA;
    case 'B':
      return kKeywordsB;
    case 'C':
      return kKeywordsC;
    case 'D':
      return kKeywordsD;
    case 'E':
      return kKeywordsE;
    case 'F':
      return kKeywordsF;
    case 'G':
      return kKeywordsG;
    case 'I':
      return kKeywordsI;
    case 'K':
      return kKeywordsK;
    case 'L':
      return kKeywordsL;
    case 'M':
    case 'Z':
      return kKeywordsM;
    case 'O':
      return kKeywordsO;
    case 'P':
      return kKeywordsP;
    case 'Q':
      return kKeywordsQ;
    case 'R':
      return kKeywordsR;
    case 'S':
      return kKeywordsS;
    case 'T':
      return kKeywordsT;
    case 'U':
    case 'H':
      return kKeywordsU;
    case 'V':
      return kKeywordsV;
    case 'W':
      return kKeywordsW;
    default:
      return {};
  }
}

const ScriptKeyword* MatchKeyword(std::string_view text) {
  if (text.empty()) return nullptr;
  for (const ScriptKeyword& keyword : KeywordsFor(AsciiUpper(text[0]))) {
    if (keyword.text.size() > text.size()) continue;
    std::size_t i = 0;
    while (i < keyword.text.size() && AsciiUpper(keyword.text[i]) == AsciiUpper(text[i])) ++i;
    if (i == keyword.text.size()) return &keyword;
  }
  return nullptr;
}

}  // namespace tonalith
