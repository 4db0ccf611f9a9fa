#include "script/former_engine/statement_table.h"

#include <iterator>

namespace tonalith::former {
namespace {

// The short names of the rows stay in here.
namespace statement_rows {

using K = OperandKind;
using C = ConditionRole;
using T = RouteTarget;
using P = Packing;
using X = ResultRule;
using G = RouteGate;

constexpr OperandList kNoOperands;
constexpr OperandList Numbers(int n) {
  return OperandList::Numbers(n);
}
template <typename... Kinds>
constexpr OperandList Ops(Kinds... kinds) {
  return OperandList(kinds...);
}

constexpr Route Request(T target, int code, P packing, std::int32_t constant = 0, X result = X::None) {
  return {target, RouteCall::Request, static_cast<std::uint16_t>(code), packing, constant, result};
}
constexpr Route Message(T target, int number, P packing, X result = X::None, std::int32_t constant = 0,
                        G gate = G::None) {
  return {target, RouteCall::Message, static_cast<std::uint16_t>(number), packing, constant, result, gate};
}
constexpr Route Posted(T target, int number, P packing, X result = X::None, std::int32_t constant = 0,
                       G gate = G::None) {
  return {target, RouteCall::Posted, static_cast<std::uint16_t>(number), packing, constant, result, gate};
}
constexpr Route Either(T target, int number, P packing, int otherNumber, P otherPacking) {
  return {target,
          RouteCall::Message,
          static_cast<std::uint16_t>(number),
          packing,
          0,
          X::None,
          G::None,
          static_cast<std::uint16_t>(otherNumber),
          otherPacking};
}
constexpr Route EitherPosted(T target, int number, P packing, int otherNumber, P otherPacking) {
  Route route = Either(target, number, packing, otherNumber, otherPacking);
  route.call = RouteCall::Posted;
  return route;
}

constexpr StatementInfo Row(int opcode, int sub, const char* keyword, const OperandList& operands, Handler handler,
                            C condition, const Route& route) {
  return {static_cast<std::uint8_t>(opcode),
          static_cast<std::int16_t>(sub),
          keyword,
          operands,
          handler,
          condition,
          route,
          keyword};
}
constexpr StatementInfo Core(int opcode, int sub, const char* keyword, const OperandList& operands,
                             C condition = C::None) {
  return Row(opcode, sub, keyword, operands, Handler::Core, condition, {});
}
// Services may still need a route for one of their branches.
constexpr StatementInfo Serve(int opcode, int sub, const char* keyword, const OperandList& operands,
                              const Route& route = {}) {
  return Row(opcode, sub, keyword, operands, Handler::Services, C::None, route);
}
constexpr StatementInfo Forward(int opcode, int sub, const char* keyword, const OperandList& operands,
                                const Route& route) {
  return Row(opcode, sub, keyword, operands, Handler::Routed, C::None, route);
}
// A statement that the compiler knows by a word which the listing does not print.
constexpr StatementInfo Unlisted(StatementInfo row, const char* name) {
  row.name = name;
  return row;
}

// clang-format off
constexpr StatementInfo kStatements[] = {
    // Core statements.
    Core(0, -1, "T", Ops(K::Number)),
    Core(1, -1, "R", Ops(K::Number)),
    Core(2, -1, "C", Ops(K::Number)),
    Core(3, -1, "B", Ops(K::Number)),
    Core(4, -1, "L", Ops(K::Number)),
    Core(5, -1, "N", kNoOperands),
    Core(6, -1, "D", Ops(K::Number)),
    Core(7, -1, "]", kNoOperands),
    Core(8, -1, "S", Ops(K::Count, K::DataBytes)),
    Core(9, -1, "A", kNoOperands),
    Core(10, -1, "K", Ops(K::Byte, K::Byte, K::Number, K::Number, K::Offset)),
    Core(11, -1, "FA", Ops(K::Count, K::Offset, K::DataBytes)),
    Core(12, -1, "F", Ops(K::ReadVar, K::Offset)),
    Core(14, -1, "M", Ops(K::UpdateVar, K::Operator, K::AssignValue)),
    Core(15, -1, "DM", Ops(K::Number)),
    Core(16, -1, "TR", Ops(K::Number)),
    Core(17, -1, "RB", Ops(K::Number)),
    // Work buffers and editor requests.
    Core(18, 0, "GA", Numbers(1)),
    Core(18, 1, "GF", Numbers(1)),
    Core(18, 2, "GN", kNoOperands),
    Core(18, 3, "GO", kNoOperands),
    Core(18, 4, "GC", Numbers(3)),
    Core(18, 5, "GR", kNoOperands),
    Core(18, 6, "GP", Numbers(1)),
    Core(18, 7, "GM", kNoOperands),
    Core(18, 8, "GW", Numbers(2)),
    Forward(18, 9, "GT", Numbers(1), Request(T::EditorDocument, 0x27, P::Params)),
    Forward(18, 10, "GL", kNoOperands, Request(T::EditorWindow, 0x26, P::FirstConstant)),
    Forward(18, 11, "GU", Numbers(1), Request(T::EditorDocument, 0x25, P::Params)),
    Forward(18, 12, "GH", Numbers(1), Request(T::EditorDocument, 0x41, P::Params)),
    Forward(18, 13, "GS", Numbers(1), Request(T::EditorDocument, 0x42, P::Params)),
    Forward(18, 14, "GJ", Numbers(3), Request(T::EditorDocument, 0x43, P::Params)),
    Forward(18, 15, "GSB", Numbers(2), Request(T::EditorDocument, 0x49, P::ParamsThirdConstant, 1)),
    Forward(18, 16, "GHB", Numbers(2), Request(T::EditorDocument, 0x49, P::ParamsThirdConstant)),
    Forward(18, 17, "GTR", Numbers(1), Request(T::EditorDocument, 0x4A, P::Params)),
    Forward(18, 18, "LS", Numbers(1), Request(T::EditorDocument, 0x52, P::Params)),
    Forward(18, 19, "LH", Numbers(1), Request(T::EditorDocument, 0x53, P::Params)),
    Forward(18, 20, "LIMIT", Numbers(1), Request(T::EditorDocument, 0x59, P::Params)),
    Forward(18, 21, "GL2", kNoOperands, Request(T::EditorWindow, 0x26, P::FirstConstant, 1)),
    Forward(18, 22, "GD", kNoOperands, Request(T::EditorWindow, 0x26, P::FirstConstant, 2)),
    Forward(18, 23, "CCY", Numbers(1), Request(T::EditorDocument, 0x5A, P::Params)),
    Forward(18, 24, "CCN", Numbers(1), Request(T::EditorDocument, 0x5B, P::Params)),
    Forward(18, 25, "LCCY", Numbers(1), Request(T::EditorDocument, 0x5C, P::Params)),
    Forward(18, 26, "LCCN", Numbers(1), Request(T::EditorDocument, 0x5D, P::Params)),
    Forward(18, 27, "MLS", Numbers(1), Request(T::EditorDocument, 0x5E, P::Params)),
    Forward(18, 28, "MLH", Numbers(1), Request(T::EditorDocument, 0x5F, P::Params)),
    Forward(18, 29, "BANKEDIT", kNoOperands, Request(T::EditorWindow, 0x60, P::Nothing)),
    Forward(18, 30, "BANKV40", kNoOperands, Request(T::EditorDocument, 0x61, P::Nothing)),
    Forward(18, 31, "MIDIFocus", Numbers(1), Request(T::EditorDocument, 0x63, P::Params)),
    Forward(18, 32, "GETVAL", Numbers(1), Request(T::EditorDocument, 0x64, P::Params, 0, X::X)),
    Forward(18, 33, "BankSel", Numbers(1), Request(T::EditorDocument, 0x65, P::Params)),
    // Core statements.
    Core(19, -1, "FR", Ops(K::WriteVar, K::Offset)),
    Core(20, -1, "RET", Ops(K::ReadVar)),
    Serve(21, -1, "DR", Ops(K::Number, K::Offset)),
    Serve(22, -1, "DS", Ops(K::Number)),
    Core(23, -1, "IF", Ops(K::ReadVar), C::Opens),
    Core(24, -1, "IFN", Ops(K::ReadVar), C::Opens),
    Core(25, -1, "IFE", kNoOperands, C::ClosesAll),
    Core(26, -1, "FS", Ops(K::ReadVar, K::Offset)),
    Core(27, -1, "IFL", Ops(K::ReadVar), C::Opens),
    Core(28, -1, "IFG", Ops(K::ReadVar), C::Opens),
    Core(29, -1, "FG", Ops(K::WriteVar, K::Offset)),
    Core(30, -1, "RA", Ops(K::Number, K::Number)),
    Core(31, -1, "ND", kNoOperands),
    Core(32, -1, "NI", kNoOperands),
    Core(33, -1, "IFQ", Ops(K::ReadVar, K::Number), C::Opens),
    Core(34, -1, "MACRO", Ops(K::Number)),
    Core(35, -1, "FT", Ops(K::WriteVar, K::Offset)),
    Core(36, -1, "BREAK", kNoOperands),
    Core(37, -1, "KURZ", kNoOperands),
    Core(38, -1, "IFX", kNoOperands, C::Closes),
    Serve(39, -1, "RCOMM", kNoOperands),
    // Mathematics: the result goes to X.
    Core(40, 0, "ABS", Numbers(1)),
    Core(40, 1, "MIN", Numbers(2)),
    Core(40, 2, "MAX", Numbers(2)),
    Core(40, 3, "SIN", Numbers(1)),
    Core(40, 4, "COS", Numbers(1)),
    Core(40, 5, "TAN", Numbers(1)),
    Core(40, 6, "ASIN", Numbers(1)),
    Core(40, 7, "ACOS", Numbers(1)),
    Core(40, 8, "ATAN", Numbers(1)),
    Core(40, 9, "ATAN2", Numbers(2)),
    Core(40, 10, "SINH", Numbers(1)),
    Core(40, 11, "COSH", Numbers(1)),
    Core(40, 12, "TANH", Numbers(1)),
    Core(40, 13, "INT", Ops(K::UpdateVar), C::OpensSkipped),
    Core(40, 14, "FLOAT", Ops(K::UpdateVar), C::OpensSkipped),
    Core(40, 15, "POW", Numbers(2)),
    Core(40, 16, "SQRT", Numbers(1)),
    Core(40, 17, "FACT", Numbers(1)),
    Core(40, 18, "EXP", Numbers(1)),
    Core(40, 19, "LOG10", Numbers(1)),
    Core(40, 20, "LOG", Numbers(1)),
    Core(40, 21, "RANDOM", Numbers(1)),
    Core(40, 22, "EXP10", Numbers(1)),
    Core(40, 23, "BITINV", Numbers(1)),
    Forward(40, 24, "SETDIRTY", Numbers(1), Request(T::EditorDocument, 0x68, P::Third)),
    Forward(40, 25, "ZKSETCOMMCH", Numbers(1), Posted(T::EditorWindow, 0x8108, P::Words)),
    Forward(40, 26, "GetPanelVersion", kNoOperands, Message(T::EditorDocument, 0x8109, P::Nothing, X::X)),
    // Core statements.
    Core(41, -1, "TrinEff", kNoOperands),
    Core(42, -1, "IFLQ", Ops(K::ReadVar), C::Opens),
    Core(43, -1, "IFGQ", Ops(K::ReadVar), C::Opens),
    Forward(44, -1, "getParm", Ops(K::Number, K::Number), Request(T::EditorDocument, 0x4F, P::Params, 0, X::XParameter)),
    Core(45, -1, "TIMEOUT", Ops(K::Number)),
    Core(46, -1, "IFNQ", Ops(K::ReadVar, K::Number), C::Opens),
    // Control properties.
    Forward(47, 0, "SETMIN", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 1, "SETMAX", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 2, "SETNUMSTRINGS", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 3, "SETVAL", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 4, "GETVAL", Numbers(1), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 5, "SETNAME", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 6, "SETPOP", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 7, "SETNUMOFSTR", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 8, "SETPOPSTYLE", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 9, "SETMAP", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 10, "SETMAPSIZE", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 11, "DELMAPVAL", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 12, "GETMAPVAL", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle, 0, X::EndsMacro)),
    Forward(47, 13, "COPYMAP", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Forward(47, 14, "COPYSTRINGLIST", Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    Serve(47, 15, "MESSAGEBOX", Numbers(2), Message(T::EditorWindow, 0x813F, P::Words, X::X, 0, G::SecondAtLeast100)),
    Forward(47, 16, "ZKBANKCMD", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 10)),
    Forward(47, 17, "ZKEDITCMD", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 11)),
    Forward(47, 18, "FRE", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 12, X::X)),
    Forward(47, 19, "ZKBANKGETSEL", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 14, X::X)),
    Forward(47, 20, "ZKBANKSETSEL", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 15)),
    Forward(47, 21, "ZKBANKUNSEL", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 16)),
    Forward(47, 22, "ZKBANKAUDITION", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 17)),
    Forward(47, 23, "ZKBANKTAB", Numbers(2), Request(T::SetDocument, 0x76, P::CommandValueId, 18)),
    // 24 and every sub-code above it.
    Forward(47, 24, nullptr, Numbers(2), Request(T::EditorDocument, 0x58, P::SubCodeInTheMiddle)),
    // Variable file.
    Forward(48, 0, "VS", Numbers(1), Request(T::EditorDocument, 0x62, P::FirstConstantThird)),
    Forward(48, 1, "VL", Numbers(1), Request(T::EditorDocument, 0x62, P::FirstConstantThird, 1)),
    // Core statements.
    Core(49, -1, "NS", kNoOperands),
    // Variable block.
    Core(50, 0, "VR", Ops(K::WriteVar, K::Number)),
    Core(50, 1, "VW", Ops(K::Number, K::ReadVar)),
    // Three operands.
    Forward(51, 0, "FRX", Numbers(3), Request(T::SetElseEditor, 0x66, P::Params, 0, X::XRecordYAnswer)),
    Forward(51, 1, "FSX", Numbers(3), Request(T::SetElseEditor, 0x67, P::ParamsWithX, 0, X::YMinusOne)),
    Forward(51, 2, "TABLE", Numbers(3), Request(T::EditorDocument, 0x6E, P::Params, 0, X::X)),
    Forward(51, 3, "SETMAPVAL", Numbers(3), Request(T::EditorDocument, 0x70, P::Params)),
    Forward(51, 4, "GrpMOVE", Numbers(3), Request(T::SetWindow, 0x76, P::CommandPairId, 5)),
    Forward(51, 5, "GrpSIZE", Numbers(3), Request(T::SetWindow, 0x76, P::CommandPairId, 6)),
    Forward(51, 6, "FWE", Numbers(3), Request(T::SetDocument, 0x76, P::CommandPairId, 13)),
    Forward(51, 7, "KEYASSIGN", Numbers(3), Message(T::EditorDocument, 0x8122, P::WordPair)),
    Forward(51, 9, "MOVETO", Numbers(3), Message(T::EditorDocument, 0x812D, P::WordPair)),
    Forward(51, 10, "SIZETO", Numbers(3), Message(T::EditorDocument, 0x812E, P::WordPair)),
    Forward(51, 11, "SetSelect", Numbers(3), Message(T::EditorDocument, 0x813C, P::WordPair)),
    Forward(51, 12, "TestStart", Numbers(3), Message(T::EditorDocument, 0x814B, P::WordPair)),
    Core(51, 13, "MaskStor", Numbers(3)),
    Forward(51, 14, "setParm", Numbers(3), Request(T::SetDocument, 0x88, P::Params)),
    Forward(51, 15, "BundleFileOpen", Numbers(3), Message(T::EditorDocument, 0x817E, P::Record, X::X)),
    Forward(51, 16, "BundleFileSave", Numbers(3), Message(T::EditorDocument, 0x817D, P::Record, X::X)),
    Forward(51, 17, "ExecuteEx", Numbers(3), Message(T::SetDocument, 0x8180, P::RecordRegistersInside, X::X)),
    Forward(51, 18, "ParentChildStringAssign", Numbers(3), Message(T::SetDocument, 0x8185, P::PairWord)),
    Forward(51, 19, "SetParentChildString", Numbers(3), Message(T::EditorDocument, 0x819F, P::WordPair)),
    Forward(51, 20, "SetText", Numbers(3), Message(T::EditorDocument, 0x819E, P::WordPair)),
    Forward(51, 21, "SetNotDefined", Numbers(3), Either(T::EditorOrSetByDriver, 0x8182, P::SecondAndThirdWord, 0x818E, P::WordPair)),
    Forward(51, 22, "SetValEx", Numbers(3), Message(T::SetDocument, 0x8195, P::Record)),
    Forward(51, 23, "SetMinEx", Numbers(3), Message(T::SetDocument, 0x8195, P::Record, X::None, 1)),
    Forward(51, 24, "SetMaxEx", Numbers(3), Message(T::SetDocument, 0x8195, P::Record, X::None, 2)),
    Forward(51, 25, "SetCustomOffsetEx", Numbers(3), Message(T::EditorElseSet, 0x8173, P::Record)),
    Unlisted(Forward(51, 26, nullptr, Numbers(3), Message(T::EditorDocument, 0x81C2, P::WordPair)), "LM"),
    Forward(51, 27, "LMT", Numbers(3), Message(T::EditorDocument, 0x81C3, P::WordPair)),
    Forward(51, 29, "SetValForcedEx", Numbers(3), Message(T::EditorElseSet, 0x81BA, P::Record)),
    Core(51, 30, "Within", Numbers(3)),
    Forward(51, 31, "GetControlIDWithWYZ", Numbers(3), Message(T::EditorDocument, 0x81FC, P::WordPair, X::X)),
    Core(51, 32, "isZKVersion", Numbers(3)),
    Forward(51, 33, "AssignMidiChannels", Numbers(3), Message(T::EditorDocument, 0x8212, P::PairInLParam, X::None, 0, G::EditorAndSetExist)),
    // One operand.
    Forward(52, 0, "ZKSETPORTIN", Numbers(1), Message(T::EditorDocument, 0x8114, P::LParamOnly)),
    Forward(52, 1, "ZKSETPORTOUT", Numbers(1), Message(T::EditorDocument, 0x8115, P::LParamOnly)),
    Forward(52, 2, "ZKSETPATCH", Numbers(1), Message(T::EditorDocument, 0x8116, P::LParamOnly)),
    Forward(52, 3, "ZKSETMIDICH", Numbers(1), Message(T::EditorDocument, 0x8117, P::LParamOnly)),
    Forward(52, 4, "ZKTRANSMITDF", Numbers(1), Request(T::EditorDocument, 0x6C, P::Third)),
    Forward(52, 5, "ZKRECEIVEDF", Numbers(1), Request(T::EditorDocument, 0x6D, P::Third)),
    Forward(52, 6, "GETPOPSTYLE", Numbers(1), Message(T::EditorDocument, 0x8118, P::LParamOnly, X::X)),
    Forward(52, 7, "GETMIN", Numbers(1), Message(T::EditorDocument, 0x8119, P::LParamOnly, X::X)),
    Forward(52, 8, "GETMAX", Numbers(1), Message(T::EditorDocument, 0x811A, P::LParamOnly, X::X)),
    Forward(52, 9, "OPENEDITOR", Numbers(1), Request(T::EditorWindow, 0x6F, P::Third)),
    Forward(52, 10, "GETMAPSIZE", Numbers(1), Request(T::EditorDocument, 0x71, P::Third, 0, X::X)),
    Forward(52, 11, "CLRSTRINGLIST", Numbers(1), Request(T::EditorDocument, 0x72, P::Third)),
    Core(52, 12, "RBR", Numbers(1)),
    Forward(52, 13, "GrpLAYOUT", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird)),
    Forward(52, 14, "GrpSELECT", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 1)),
    Forward(52, 15, "GrpICON", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 2)),
    Forward(52, 16, "GrpSHOW", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 3)),
    Forward(52, 17, "GrpHIDE", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 4)),
    Forward(52, 18, "GrpTOFRONT", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 7)),
    Forward(52, 19, "GrpTOBACK", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 8)),
    Forward(52, 20, "GrpOPEN", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 9)),
    Forward(52, 21, "DBASESORT", Numbers(1), Message(T::EditorDocument, 0x8123, P::Words)),
    Forward(52, 22, "DBASETOEDIT", Numbers(1), Message(T::EditorDocument, 0x8125, P::Words)),
    Serve(52, 23, "SLEEP", Numbers(1)),
    Forward(52, 24, "ISVISIBLE", Numbers(1), Message(T::EditorDocument, 0x812C, P::Words, X::X)),
    Forward(52, 25, "OpenSetFromList", Numbers(1), Message(T::EditorDocument, 0x8133, P::Words)),
    Forward(52, 26, "MapFromSetList", Numbers(1), Message(T::EditorDocument, 0x8134, P::Words)),
    Serve(52, 27, "BankRespondToPatchChanges", Numbers(1)),
    Forward(52, 28, "GetStringListSize", Numbers(1), Message(T::EditorDocument, 0x8143, P::Words, X::X)),
    Forward(52, 29, "GetTableSize", Numbers(1), Message(T::EditorDocument, 0x8144, P::Words, X::X)),
    Forward(52, 30, "InvalidateCtl", Numbers(1), Message(T::EditorDocument, 0x8145, P::Words)),
    Forward(52, 31, "SetDirtyMode", Numbers(1), Message(T::EditorDocument, 0x8148, P::Words)),
    Forward(52, 32, "TestCtl", Numbers(1), Message(T::EditorWindow, 0x814D, P::Words, X::None, 0, G::EditorAwaited)),
    Core(52, 33, "TestLayer", Numbers(1)),
    Core(52, 34, "TestMasterLayer", Numbers(1)),
    Core(52, 35, "LimitInputPorts", Numbers(1)),
    Forward(52, 36, "DeleteControl", Numbers(1), Message(T::EditorDocument, 0x8152, P::WordConstant)),
    Forward(52, 37, "DeleteLayer", Numbers(1), Message(T::EditorDocument, 0x8152, P::WordConstant, X::None, 1)),
    Forward(52, 38, "SetLayerTo", Numbers(1), Message(T::EditorDocument, 0x8156, P::Words)),
    Forward(52, 39, "grpENABLE", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 21)),
    Forward(52, 40, "grpDISABLE", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 22)),
    Forward(52, 41, "grpACTIVATE", Numbers(1), Request(T::EditorDocument, 0x76, P::FirstConstantThird, 23)),
    Forward(52, 42, "popuptextcolor", Numbers(1), Message(T::EditorWindow, 0x815B, P::WordConstant)),
    Forward(52, 43, "popupbackcolor", Numbers(1), Message(T::EditorWindow, 0x815B, P::WordConstant, X::None, 1)),
    Serve(52, 44, "setDefaultMidiOutPort", Numbers(1)),
    Serve(52, 45, "setDefaultMidiInPort", Numbers(1)),
    Serve(52, 46, "setDefaultMidiChannel", Numbers(1)),
    Serve(52, 47, "setMidiThru", Numbers(1)),
    Serve(52, 48, "setMidiThruRealTime", Numbers(1)),
    Serve(52, 49, "deletePV9onExit", Numbers(1)),
    Serve(52, 50, "SetMidiInOpenAll", Numbers(1)),
    Serve(52, 51, "SetMidiOutOpenAll", Numbers(1)),
    Serve(52, 52, "SetMidiOutForceExit", Numbers(1)),
    Forward(52, 53, "SetSync", Numbers(1), Message(T::EditorDocument, 0x8167, P::Words)),
    Forward(52, 54, "GetMidiInState", Numbers(1), Message(T::EditorDocument, 0x816A, P::Words, X::X)),
    Forward(52, 55, "SyxTransmit", Numbers(1), Message(T::EditorDocument, 0x816D, P::Words)),
    Forward(52, 56, "SyxSyxElementBytes", Numbers(1), Message(T::EditorDocument, 0x8170, P::Words, X::X)),
    Forward(52, 57, "BufferLoad", Numbers(1), Message(T::EditorDocument, 0x8176, P::WordConstant, X::XMinusOne)),
    Forward(52, 58, "BufferSave", Numbers(1), Message(T::EditorDocument, 0x8176, P::WordConstant, X::XMinusOne, 1)),
    Forward(52, 59, "BufferSwap", Numbers(1), Message(T::EditorDocument, 0x8176, P::WordConstant, X::XMinusOne, 2)),
    Forward(52, 60, "BufferStored", Numbers(1), Message(T::EditorDocument, 0x8176, P::WordConstant, X::XMinusOne, 3)),
    Serve(52, 61, "ManageMidiErrors", Numbers(1)),
    Forward(52, 62, "isInCtl", Numbers(1), Message(T::EditorDocument, 0x8177, P::Words, X::X)),
    Forward(52, 63, "BufferLoadOnly", Numbers(1), Message(T::EditorDocument, 0x8176, P::WordConstant, X::None, 4)),
    Forward(52, 64, "SetSyncMode", Numbers(1), Message(T::SetDocument, 0x8192, P::Words)),
    Serve(52, 65, "SetUpdatePatchOnActivate", Numbers(1)),
    Forward(52, 66, "StringlistPopup", Numbers(1), Message(T::EditorDocument, 0x8178, P::Words)),
    Forward(52, 67, "CreateLocalFileView", Numbers(1), Message(T::SetDocument, 0x8155, P::Words)),
    Forward(52, 68, "CreateRemoteFileView", Numbers(1), Message(T::SetDocument, 0x8156, P::Words)),
    Forward(52, 69, "PatchInit", Numbers(1), Message(T::EditorElseSet, 0x817D, P::Words, X::X)),
    Serve(52, 81, "getBasicsVar", Numbers(1)),
    Forward(52, 82, "getSetVar", Numbers(1), Message(T::SetDocument, 0x815A, P::Words, X::X)),
    Forward(52, 83, "DBaseAutoDblClk", Numbers(1), Message(T::EditorDocument, 0x817F, P::Words)),
    Forward(52, 84, "DBaseStore", Numbers(1), Message(T::EditorDocument, 0x8180, P::Words)),
    Forward(52, 85, "getViewState", Numbers(1), Message(T::EditorDocument, 0x8181, P::Words, X::X)),
    Forward(52, 86, "getMinRaw", Numbers(1), Message(T::EditorDocument, 0x8186, P::WordConstant, X::X)),
    Forward(52, 87, "getMaxRaw", Numbers(1), Message(T::EditorDocument, 0x8186, P::WordConstant, X::X, 1)),
    Forward(52, 88, "getValRaw", Numbers(1), Message(T::EditorDocument, 0x8186, P::WordConstant, X::X, 2)),
    Forward(52, 89, "getVoiceSize", Numbers(1), Message(T::SetDocument, 0x815E, P::Words, X::XMinusOne, 0, G::FirstNotZero)),
    Forward(52, 90, "getFileSize", Numbers(1), Message(T::SetDocument, 0x815F, P::Words, X::XMinusOne, 0, G::FirstNotZero)),
    Forward(52, 91, "SetDefaultBank", Numbers(1), Message(T::EditorDocument, 0x818A, P::Words)),
    Forward(52, 92, "SetDefaultBankPatch", Numbers(1), Message(T::EditorDocument, 0x818B, P::Words)),
    Forward(52, 93, "GetBankNumVoices", Numbers(1), Message(T::SetDocument, 0x8165, P::Words, X::X)),
    Core(52, 94, "PutLocalVarInW", Numbers(1)),
    Core(52, 95, "PutLocalVarInX", Numbers(1)),
    Core(52, 96, "PutLocalVarInY", Numbers(1)),
    Core(52, 97, "PutLocalVarInZ", Numbers(1)),
    Serve(52, 98, "OneShot", Numbers(1)),
    Forward(52, 99, "GetSync", Numbers(1), Message(T::SetDocument, 0x8179, P::Words, X::X)),
    Forward(52, 100, "GetCtlEnable", Numbers(1), Message(T::EditorDocument, 0x8193, P::Words, X::X)),
    Forward(52, 101, "GetAppVar", Numbers(1), Message(T::MainWindow, 0x811D, P::Words, X::X)),
    Serve(52, 102, "AddRecvSize", Numbers(1)),
    Forward(52, 103, "BundleAdd", Numbers(1), Message(T::SetDocument, 0x817B, P::Words)),
    Serve(52, 104, "SetWaitForACK", Numbers(1)),
    Forward(52, 105, "CtlTransmit", Numbers(1), Message(T::EditorDocument, 0x81A6, P::Words)),
    Forward(52, 106, "ToggleViewState", Numbers(1), Message(T::MainWindow, 0x811F, P::Words)),
    Forward(52, 107, "GetLocalSync", Numbers(1), Message(T::ComponentWindow, 0x81A8, P::Nothing, X::X)),
    Forward(52, 108, "GetCustomOffset", Numbers(1), Message(T::EditorDocument, 0x81AA, P::Words, X::X)),
    Serve(52, 109, "ShowTransmitWindow", Numbers(1)),
    Serve(52, 110, "CloseMidiInPortsExcept", Numbers(1)),
    Serve(52, 111, "CloseMidiOutPortsExcept", Numbers(1)),
    Serve(52, 112, "SetRetryOnTimeout", Numbers(1)),
    Forward(52, 113, "GetControlType", Numbers(1), Message(T::EditorDocument, 0x81BB, P::Words, X::X)),
    Forward(52, 114, "SetPluginMIDIRealTime", Numbers(1), Message(T::MainWindow, 0x8124, P::Words, X::None, 0, G::HostedOnly)),
    Forward(52, 115, "SetModalLayer", Numbers(1), Message(T::EditorDocument, 0x81BC, P::Words)),
    Serve(52, 116, "SetAutoSense", Numbers(1)),
    Serve(52, 117, "MidiPortInOpenPortsFromMap", Numbers(1)),
    Serve(52, 118, "MidiPortOutOpenPortsFromMap", Numbers(1)),
    Serve(52, 119, "SetMidiInPortMap", Numbers(1)),
    Serve(52, 120, "SetMidiOutPortMap", Numbers(1)),
    Forward(52, 122, "GrpIDExists", Numbers(1), Message(T::SetDocument, 0x818D, P::Words, X::XBool)),
    Forward(52, 123, "LoadTemplate", Numbers(1), Message(T::SetDocument, 0x81C7, P::Words)),
    Core(52, 124, "StripF7", Numbers(1)),
    Forward(52, 125, "GetIDForNRPN", Numbers(1), Message(T::EditorDocument, 0x81D7, P::Words, X::X)),
    Forward(52, 126, "SetListAutoDblClk", Numbers(1), Message(T::MainWindow, 0x813D, P::Words)),
    Serve(52, 127, "PressCancel", Numbers(1)),
    Serve(52, 128, "SetRecvTimedOut", Numbers(1)),
    Forward(52, 129, "GetIDForType", Numbers(1), Message(T::SetDocument, 0x81B6, P::Words, X::X)),
    Forward(52, 130, "TableInit", Numbers(1), Message(T::EditorDocument, 0x81DE, P::Words)),
    Forward(52, 131, "TableClr", Numbers(1), Message(T::EditorDocument, 0x81DF, P::Words)),
    Forward(52, 132, "GetIndexFromSynthName", Numbers(1), Message(T::EditorDocument, 0x81E3, P::Words, X::X)),
    Core(52, 133, "SetChildID", Numbers(1)),
    Forward(52, 134, "LayerDisable", Numbers(1), Message(T::EditorDocument, 0x81E4, P::Words)),
    Forward(52, 135, "LayerEnable", Numbers(1), Message(T::EditorDocument, 0x81E5, P::Words)),
    Forward(52, 136, "CtlShowState", Numbers(1), Message(T::EditorDocument, 0x81E7, P::Words)),
    Forward(52, 137, "SetMessageBoxMacro", Numbers(1), Message(T::EditorDocument, 0x81EB, P::Words)),
    Forward(52, 138, "RndLayer", Numbers(1), Message(T::EditorDocument, 0x81EE, P::Words)),
    Forward(52, 139, "RndCtl", Numbers(1), Message(T::EditorDocument, 0x81EF, P::Words)),
    Forward(52, 140, "RndList", Numbers(1), Message(T::EditorDocument, 0x81F0, P::Words)),
    Forward(52, 141, "RndExclude", Numbers(1), Message(T::EditorDocument, 0x81F1, P::Words)),
    Forward(52, 142, "GetControlIDWithZ", Numbers(1), Message(T::EditorDocument, 0x81F2, P::Words, X::X)),
    Forward(52, 143, "GetControlIDWithW", Numbers(1), Message(T::EditorDocument, 0x81F3, P::Words, X::X)),
    Forward(52, 144, "GetControlIDWithY", Numbers(1), Message(T::EditorDocument, 0x81F4, P::Words, X::X)),
    Serve(52, 145, "SetMaxSysExSpeed", Numbers(1)),
    Core(52, 146, "GetSysExBytes", Numbers(1)),
    Serve(52, 147, "SetUSBPortSpeed", Numbers(1)),
    Serve(52, 148, "SetMIDIDelay", Numbers(1)),
    Serve(52, 149, "SetVerifyReceivingSysX", Numbers(1)),
    Serve(52, 150, "SetStayOpen", Numbers(1)),
    Forward(52, 151, "RndIsEqualVal", Numbers(1), Message(T::EditorDocument, 0x8203, P::Words, X::X)),
    Forward(52, 152, "LimitCtl", Numbers(1), Message(T::EditorDocument, 0x8214, P::Words, X::X)),
    // No operand.
    Serve(53, 0, "GetEnvironment", kNoOperands),
    Forward(53, 1, "EDITCOMPARE", kNoOperands, Posted(T::EditorWindow, 0x00CA, P::Nothing, X::None, 169)),
    Forward(53, 2, "GETDIRTY", kNoOperands, Message(T::EditorDocument, 0x810B, P::Nothing)),
    Forward(53, 3, "CMPSTART", kNoOperands, Message(T::EditorDocument, 0x810C, P::Nothing)),
    Forward(53, 4, "CMPEND", kNoOperands, Message(T::EditorDocument, 0x810D, P::Nothing)),
    Forward(53, 5, "ZKSAVE", kNoOperands, Message(T::EditorDocument, 0x810E, P::Nothing)),
    Forward(53, 6, "ZKGETPORTIN", kNoOperands, Message(T::EditorDocument, 0x810F, P::Nothing, X::X)),
    Forward(53, 7, "ZKGETPORTOUT", kNoOperands, Message(T::EditorDocument, 0x8110, P::Nothing, X::X)),
    Forward(53, 8, "ZKGETPATCH", kNoOperands, Message(T::EditorDocument, 0x8111, P::Nothing, X::X)),
    Forward(53, 9, "ZKGETMIDICH", kNoOperands, Message(T::EditorDocument, 0x8112, P::Nothing, X::X)),
    Forward(53, 10, "ZKGETCOMMCH", kNoOperands, Message(T::EditorDocument, 0x8113, P::Nothing)),
    Serve(53, 11, "SETERRORMSG", kNoOperands),
    Serve(53, 12, "CLRERRORMSG", kNoOperands),
    Forward(53, 13, "INVALIDATEVISIBLE", kNoOperands, Message(T::EditorDocument, 0x811B, P::Nothing)),
    Forward(53, 14, "INITIALIZE", kNoOperands, Message(T::EditorDocument, 0x811D, P::Nothing)),
    Core(53, 15, "GETID", kNoOperands),
    Serve(53, 16, "GETHOST", kNoOperands),
    Core(53, 17, "GPINC", kNoOperands),
    Core(53, 18, "GPDEC", kNoOperands),
    Forward(53, 19, "ISTEMPEDITOR", kNoOperands, Message(T::EditorDocument, 0x8130, P::Nothing, X::X)),
    Forward(53, 20, "L6TIMPORT", kNoOperands, Message(T::EditorDocument, 0x8138, P::Nothing)),
    Forward(53, 21, "L6TEXPORT", kNoOperands, Message(T::EditorDocument, 0x8139, P::Nothing)),
    Forward(53, 22, "GETSETSELECT", kNoOperands, Message(T::EditorDocument, 0x813D, P::Nothing, X::X)),
    Forward(53, 23, "MIDIOUTACTIVE", kNoOperands, Message(T::EditorDocument, 0x8140, P::Nothing, X::X)),
    Forward(53, 24, "TestEnd", kNoOperands, Message(T::EditorWindow, 0x814C, P::Nothing)),
    Forward(53, 25, "TestAll", kNoOperands, Message(T::EditorWindow, 0x8150, P::Nothing, X::None, 0, G::TestEventAwaited)),
    Forward(53, 26, "CancelTransmit", kNoOperands, Message(T::EditorWindow, 0x8154, P::Nothing)),
    Forward(53, 27, "GrpReceive", kNoOperands, Message(T::EditorDocument, 0x8157, P::Nothing)),
    Forward(53, 28, "isVirtual", kNoOperands, Message(T::EditorDocument, 0x8158, P::Nothing, X::X)),
    Serve(53, 29, "SetSysXAccept", kNoOperands),
    Serve(53, 30, "ClrSysXAccept", kNoOperands),
    Serve(53, 32, "getApp", kNoOperands),
    Core(53, 33, "getPlatform", kNoOperands),
    Serve(53, 34, "getOS", kNoOperands),
    Serve(53, 35, "QuitApp", kNoOperands),
    Serve(53, 36, "OpenMidiInPortDlg", kNoOperands),
    Serve(53, 37, "OpenMidiOutPortDlg", kNoOperands),
    Serve(53, 38, "CloseMidiInPorts", kNoOperands),
    Serve(53, 39, "CloseMidiOutPorts", kNoOperands),
    Serve(53, 40, "OpenMidiInPorts", kNoOperands),
    Serve(53, 41, "OpenMidiOutPorts", kNoOperands),
    Serve(53, 42, "CanSync", kNoOperands),
    Forward(53, 43, "IsSync", kNoOperands, Message(T::SetDocument, 0x814A, P::Nothing, X::X)),
    Forward(53, 44, "HXAutoSense", kNoOperands, Message(T::EditorWindow, 0x8163, P::Nothing)),
    Forward(53, 45, "SyxSize", kNoOperands, Message(T::EditorDocument, 0x816E, P::Nothing, X::X)),
    Forward(53, 46, "SyxBytes", kNoOperands, Message(T::EditorDocument, 0x816F, P::Nothing, X::X)),
    Forward(53, 47, "SyxFree", kNoOperands, Message(T::EditorDocument, 0x8172, P::Nothing)),
    Forward(53, 48, "GetFocusControlID", kNoOperands, Message(T::EditorWindow, 0x8175, P::Nothing)),
    Forward(53, 49, "isGrpDiskLoad", kNoOperands, Message(T::SetDocument, 0x8151, P::Nothing, X::X)),
    Serve(53, 50, "GetUpdatePatchOnActivate", kNoOperands),
    Serve(53, 51, "getRecvMode", kNoOperands),
    Serve(53, 52, "getRecvBankLoop", kNoOperands),
    Serve(53, 53, "getRecvTotal", kNoOperands),
    Serve(53, 54, "getRecvCurrent", kNoOperands),
    Serve(53, 55, "getRecvFirst", kNoOperands),
    Serve(53, 56, "getRecvLast", kNoOperands),
    Serve(53, 57, "getRecvNum", kNoOperands),
    Serve(53, 58, "HXOpenUpdateURL", kNoOperands),
    Forward(53, 59, "HXOpenUpdateDlg", kNoOperands, Posted(T::MainWindow, 0x8119, P::Nothing, X::None, 0, G::StandAloneOnly)),
    Forward(53, 60, "GetZKInitMode", kNoOperands, Message(T::EditorDocument, 0x818C, P::Nothing, X::X)),
    Forward(53, 61, "isShift", kNoOperands, Message(T::EditorDocument, 0x818D, P::Nothing, X::XMinusOne)),
    Forward(53, 62, "isAlt", kNoOperands, Message(T::EditorDocument, 0x818D, P::Nothing, X::XMinusOne, 1)),
    Forward(53, 63, "isCtrl", kNoOperands, Message(T::EditorDocument, 0x818D, P::Nothing, X::XMinusOne, 2)),
    Forward(53, 64, "QueryUserToSync", kNoOperands, Message(T::SetDocument, 0x8178, P::Nothing)),
    Forward(53, 65, "GetAppVarGUID", kNoOperands, Message(T::MainWindow, 0x811C, P::Nothing, X::X)),
    Forward(53, 66, "BundleInit", kNoOperands, Message(T::SetDocument, 0x817A, P::Nothing)),
    Serve(53, 67, "ClrWaitForAck", kNoOperands),
    Serve(53, 69, "DZ", kNoOperands),
    Core(53, 70, "ASSERT", kNoOperands),
    Serve(53, 71, "StopBankLoop", kNoOperands),
    Forward(53, 72, "SynchronizeStateReport", kNoOperands, Message(T::SetDocument, 0x819B, P::Nothing)),
    Forward(53, 73, "GetLButtonDown", kNoOperands, Message(T::EditorWindow, 0x81B8, P::Nothing)),
    Serve(53, 74, "GetNumOpenMidiInPorts", kNoOperands),
    Serve(53, 75, "GetNumOpenMidiOutPorts", kNoOperands),
    Serve(53, 76, "GetAutoSense", kNoOperands),
    Forward(53, 78, "UpdateParentChild", kNoOperands, Message(T::SetDocument, 0x81B4, P::Nothing)),
    Forward(53, 79, "PatchEditorBankID", kNoOperands, Message(T::EditorDocument, 0x81D8, P::Nothing, X::X)),
    Forward(53, 80, "ProgramControlW", kNoOperands, Message(T::EditorDocument, 0x81E2, P::Nothing)),
    Core(53, 81, "GetChildID", kNoOperands),
    Serve(53, 82, "PrefsAutoRcvClr", kNoOperands),
    Forward(53, 83, "GetMessageBoxResult", kNoOperands, Message(T::EditorDocument, 0x81EA, P::Nothing, X::X)),
    Forward(53, 84, "MIDISend", kNoOperands, Message(T::EditorDocument, 0x81DB, P::Nothing)),
    Forward(53, 85, "GetDebug", kNoOperands, Message(T::EditorDocument, 0x8210, P::Nothing, X::X)),
    Serve(53, 86, "SetSysXDecline", kNoOperands),
    Serve(53, 87, "ClrSysXDecline", kNoOperands),
    Serve(53, 88, "SetSysXEnd", kNoOperands),
    Serve(53, 89, "ClrSysXEnd", kNoOperands),
    Serve(53, 90, "SetWriteToQueue", kNoOperands),
    Serve(53, 91, "OutputQueue", kNoOperands),
    Serve(53, 92, "GetActivateOnMouseOver", kNoOperands),
    Forward(53, 93, "TestAllForAU", kNoOperands, Message(T::EditorWindow, 0x8150, P::Nothing, X::None, 1, G::TestEventAwaited)),
    Core(53, 94, "GetTestMode", kNoOperands),
    // Four operands.
    Forward(54, 0, "MAPFROMTABLE", Numbers(4), Request(T::EditorDocument, 0x73, P::ThirdRecord)),
    Forward(54, 1, "SETSTRINGLISTENTRY", Numbers(4), Request(T::EditorDocument, 0x74, P::ThirdRecord)),
    Forward(54, 2, "MAPFROMDBASE", Numbers(4), Message(T::EditorDocument, 0x8124, P::Record)),
    Forward(54, 3, "ImportTemplate", Numbers(4), Message(T::EditorDocument, 0x8153, P::Record)),
    Forward(54, 4, "InvalidateRect", Numbers(4), Message(T::EditorDocument, 0x8179, P::Record)),
    Forward(54, 5, "TestStartFromCtl", Numbers(4), Message(T::EditorWindow, 0x8197, P::Record)),
    Forward(54, 6, "GrpCopy", Numbers(4), Message(T::SetDocument, 0x81C0, P::Record)),
    // Two operands.
    Forward(55, 0, "GRPIDLIST", Numbers(2), Message(T::EditorDocument, 0x8127, P::Record)),
    Forward(55, 1, "TRANSPARENCY", Numbers(2), Message(T::EditorDocument, 0x812A, P::Record)),
    Unlisted(Forward(55, 2, nullptr, Numbers(2), Message(T::EditorDocument, 0x812B, P::Record)), "LT"),
    Forward(55, 3, "BANKSELID", Numbers(2), Request(T::EditorDocument, 0x76, P::CommandIdValue, 19)),
    Forward(55, 4, "GrpCMD", Numbers(2), Request(T::EditorDocument, 0x76, P::FirstAndThird)),
    Forward(55, 5, "BANKSTORE", Numbers(2), Message(T::EditorDocument, 0x8131, P::Words, X::X)),
    Forward(55, 6, "OPENURL", Numbers(2), Message(T::EditorDocument, 0x8132, P::Words)),
    Forward(55, 7, "BankAutoDblClk", Numbers(2), Message(T::EditorDocument, 0x8141, P::Words)),
    Forward(55, 8, "MESSAGEBOXEXT", Numbers(2), Message(T::EditorDocument, 0x8142, P::Words, X::X)),
    Forward(55, 9, "GetTableIndex", Numbers(2), Message(T::EditorDocument, 0x8149, P::Words, X::X)),
    Forward(55, 10, "IsInTable", Numbers(2), Message(T::EditorDocument, 0x814A, P::Words, X::X)),
    Core(55, 11, "MaskRetr", Numbers(2)),
    Forward(55, 12, "Execute", Numbers(2), Message(T::EditorDocument, 0x8155, P::RecordRegistersLast, X::X)),
    Forward(55, 13, "SetPopOffset", Numbers(2), Message(T::EditorDocument, 0x815D, P::Record)),
    Forward(55, 14, "SetStrOffset", Numbers(2), Message(T::EditorDocument, 0x815D, P::Record, X::None, 1)),
    Forward(55, 15, "SetPopID", Numbers(2), Message(T::EditorDocument, 0x815D, P::Record, X::None, 2)),
    Forward(55, 16, "maxParm", Numbers(2), Request(T::EditorDocument, 0x89, P::Params)),
    Forward(55, 17, "TransmitSyx", Numbers(2), Message(T::EditorDocument, 0x815F, P::Words)),
    Forward(55, 18, "FileExists", Numbers(2), Message(T::EditorDocument, 0x8161, P::Words, X::X)),
    Forward(55, 19, "SetDefaultFolderPath", Numbers(2), Message(T::EditorDocument, 0x8164, P::Words)),
    Forward(55, 20, "SyxLoad", Numbers(2), Message(T::EditorDocument, 0x816C, P::Words)),
    Forward(55, 21, "SyxElementData", Numbers(2), Message(T::EditorDocument, 0x8171, P::Words, X::X)),
    Forward(55, 22, "SetCustomOffset", Numbers(2), Message(T::EditorDocument, 0x8173, P::Words)),
    Forward(55, 23, "SetMIDINoteOffset", Numbers(2), Message(T::EditorDocument, 0x8174, P::Words)),
    Forward(55, 24, "SetCtlBitmapFont", Numbers(2), Message(T::EditorDocument, 0x817B, P::Words)),
    Forward(55, 25, "SetCtlStepClick", Numbers(2), Message(T::EditorDocument, 0x817C, P::Words)),
    Serve(55, 26, "setBasicsVar", Numbers(2)),
    Forward(55, 27, "setSetVar", Numbers(2), Message(T::SetDocument, 0x815B, P::Words)),
    Forward(55, 28, "PatchInit2", Numbers(2), Message(T::SetDocument, 0x815C, P::Words)),
    Forward(55, 29, "isDefined", Numbers(2), Message(T::SetDocument, 0x815D, P::Words, X::X)),
    Forward(55, 30, "SetMinRaw", Numbers(2), Message(T::EditorDocument, 0x8183, P::Words)),
    Forward(55, 31, "SetMaxRaw", Numbers(2), Message(T::EditorDocument, 0x8184, P::Words)),
    Forward(55, 32, "SetValRaw", Numbers(2), Message(T::EditorDocument, 0x8185, P::Words)),
    Forward(55, 33, "SetVoiceSize", Numbers(2), Message(T::SetDocument, 0x8160, P::Words)),
    Forward(55, 34, "SetFileSize", Numbers(2), Either(T::EditorOrSetByZero, 0x8187, P::SecondWord, 0x8161, P::Words)),
    Forward(55, 35, "SetBankNumVoices", Numbers(2), Message(T::SetDocument, 0x8166, P::Words)),
    Serve(55, 36, "HXGetVersionInfo", Numbers(2), Message(T::MainWindow, 0x811A, P::SecondWord, X::XMinusOne, 0, G::StandAloneOnly)),
    Forward(55, 37, "SetLinkID", Numbers(2), Message(T::SetDocument, 0x8167, P::Words)),
    Core(55, 38, "SetlocalVar", Numbers(2)),
    Forward(55, 39, "SetCtlEnable", Numbers(2), Message(T::EditorDocument, 0x8194, P::Words)),
    Forward(55, 40, "SetAppVar", Numbers(2), Message(T::MainWindow, 0x811E, P::Words)),
    Forward(55, 41, "HXCOLLECTIONIDMAP", Numbers(2), Message(T::MainWindow, 0x811B, P::Words, X::XMinusOne)),
    Forward(55, 42, "BundleIDMap", Numbers(2), Message(T::SetDocument, 0x817C, P::Words, X::X)),
    Forward(55, 43, "LinkTrackerEnable", Numbers(2), Message(T::SetDocument, 0x8189, P::Words)),
    Forward(55, 44, "BankTransmitElement", Numbers(2), Message(T::ComponentWindow, 0x817F, P::SecondWord)),
    Forward(55, 45, "BankReceiveElement", Numbers(2), Message(T::ComponentWindow, 0x8181, P::SecondWord)),
    Forward(55, 46, "SetSyncState", Numbers(2), Message(T::EditorDocument, 0x8167, P::Words)),
    Forward(55, 47, "ShowPopupKeys", Numbers(2), Message(T::EditorDocument, 0x81A5, P::Words)),
    Forward(55, 48, "SetMasterModeControl", Numbers(2), Message(T::SetDocument, 0x8193, P::Words)),
    Forward(55, 49, "GetValEx", Numbers(2), Message(T::SetDocument, 0x8196, P::Record, X::X)),
    Forward(55, 50, "GetMinEx", Numbers(2), Message(T::SetDocument, 0x8196, P::Record, X::X, 1)),
    Forward(55, 51, "GetMaxEx", Numbers(2), Message(T::SetDocument, 0x8196, P::Record, X::X, 2)),
    Forward(55, 52, "GetCustomOffsetEx", Numbers(2), Message(T::EditorElseSet, 0x81AA, P::Words)),
    Forward(55, 53, "SetArraySteps", Numbers(2), Message(T::EditorDocument, 0x81B4, P::Words)),
    Forward(55, 54, "PostMacro", Numbers(2), EitherPosted(T::EditorWindowOrSetWindowByDriver, 0x81B5, P::PostedRegisters, 0x819C, P::PostedRegisters)),
    Forward(55, 55, "SetStringListDisableTable", Numbers(2), Message(T::EditorDocument, 0x81B7, P::Words)),
    Forward(55, 56, "SetValForced", Numbers(2), Message(T::EditorDocument, 0x81BA, P::Words)),
    Forward(55, 57, "InvalidateCtlEx", Numbers(2), Either(T::EditorOrComponentByDriver, 0x8145, P::SecondWord, 0x8145, P::SecondWord)),
    Forward(55, 58, "ExportToCSV", Numbers(2), Message(T::EditorDocument, 0x81D6, P::Words)),
    Forward(55, 59, "BlockMIDIFlow", Numbers(2), Message(T::EditorDocument, 0x81A4, P::Words)),
    Forward(55, 60, "TableAdd", Numbers(2), Message(T::EditorDocument, 0x81DF, P::Words)),
    Forward(55, 61, "CtlToTab", Numbers(2), Message(T::EditorDocument, 0x81E1, P::Words)),
    Core(55, 62, "SetVar", Numbers(2)),
    Forward(55, 63, "SetDataOnly", Numbers(2), Message(T::EditorDocument, 0x81F5, P::Words)),
    Forward(55, 64, "MonitorMsg", Numbers(2), Message(T::EditorDocument, 0x81F6, P::Words)),
    Forward(55, 65, "SetEncircleColor", Numbers(2), Message(T::EditorDocument, 0x81F7, P::Words)),
    Forward(55, 66, "SetValRawMIDI", Numbers(2), Message(T::EditorDocument, 0x81F8, P::Words)),
    Forward(55, 67, "GetControlIDWithYZ", Numbers(2), Message(T::EditorDocument, 0x81F9, P::Words, X::X)),
    Forward(55, 68, "GetControlIDWithWZ", Numbers(2), Message(T::EditorDocument, 0x81FA, P::Words, X::X)),
    Forward(55, 69, "GetControlIDWithWY", Numbers(2), Message(T::EditorDocument, 0x81FB, P::Words, X::X)),
    Forward(55, 70, "MIDIRcvRealTime", Numbers(2), Message(T::EditorDocument, 0x81FD, P::Words)),
    Forward(55, 71, "SetDefaultW", Numbers(2), Message(T::EditorDocument, 0x81FF, P::Words)),
    Forward(55, 72, "SetDefaultY", Numbers(2), Message(T::EditorDocument, 0x8200, P::Words)),
    Forward(55, 73, "SetDefaultZ", Numbers(2), Message(T::EditorDocument, 0x8201, P::Words)),
    Serve(55, 74, "ASMHydrasynthRecv", Numbers(2)),
    Serve(55, 75, "ASMHydrasynthSend", Numbers(2)),
    Serve(55, 76, "ASMHydrasynthBurn", Numbers(2)),
    Forward(55, 77, "SetAltChildID", Numbers(2), Message(T::EditorDocument, 0x8208, P::Words)),
    Forward(55, 78, "SetAuditionMacroV0", Numbers(2), Message(T::SetDocument, 0x81C7, P::Words)),
    // Five operands.
    Forward(56, 0, "MEMCPY", Numbers(5), Message(T::EditorDocument, 0x813A, P::Record)),
    Forward(56, 1, "SetCtlColors", Numbers(5), Message(T::EditorDocument, 0x817A, P::Record)),
    Forward(56, 2, "MacroOnCommand", Numbers(5), Message(T::SetDocument, 0x8162, P::Record)),
    Forward(56, 3, "IniBankRefStringList", Numbers(5), Message(T::EditorDocument, 0x81FE, P::Record)),
    Core(56, 4, "SysXInsertBytes", Numbers(5)),
    // Seven operands.
    Forward(57, 0, "MEMCPYBNK", Numbers(7), Message(T::EditorDocument, 0x813B, P::Record, X::None, 1)),
    Forward(57, 1, "MACROEX", Numbers(7), Message(T::SetDocument, 0x8144, P::Record, X::XIfLastNotZero)),
    Forward(57, 2, "MEMCPYBNK_NOINIT", Numbers(7), Message(T::EditorDocument, 0x813B, P::Record, X::None, 1)),
    // Six operands.
    Core(58, 0, "UNUSED", Numbers(6)),
};
// clang-format on

}  // namespace statement_rows

using statement_rows::kStatements;

constexpr std::size_t kStatementCount = std::size(kStatements);
constexpr std::int16_t kNoRow = -1;
constexpr std::uint8_t kLastNamedControlProperty = 23;

// Row numbers by opcode, and by sub-code for families.
struct StatementIndex {
  std::array<std::int16_t, 256> single{};
  std::array<std::uint8_t, 256> family{};  // 0: no family, else 1 + index into `member`
  std::array<std::array<std::int16_t, 256>, 13> member{};

  constexpr StatementIndex() {
    for (auto& row : single) row = kNoRow;
    std::uint8_t families = 0;
    for (std::size_t opcode = 0; opcode <= kLastOpcode; ++opcode) {
      if (IsFamilyOpcode(static_cast<std::uint8_t>(opcode))) family[opcode] = ++families;
    }
    for (auto& rows : member) {
      for (auto& row : rows) row = kNoRow;
    }
    for (std::size_t i = 0; i < kStatementCount; ++i) {
      const StatementInfo& info = kStatements[i];
      if (info.sub < 0) {
        single[info.opcode] = static_cast<std::int16_t>(i);
      } else {
        member[family[info.opcode] - 1u][static_cast<std::size_t>(info.sub)] = static_cast<std::int16_t>(i);
      }
    }
    auto& properties = member[family[47] - 1u];
    for (std::size_t sub = kLastNamedControlProperty + 2; sub < properties.size(); ++sub) {
      properties[sub] = properties[kLastNamedControlProperty + 1];
    }
  }
};
constexpr StatementIndex kStatementIndex;

// Operands of family members without a row.
constexpr OperandList kFamilyOperands[] = {OperandList::Numbers(0), OperandList::Numbers(1), OperandList::Numbers(2),
                                           OperandList::Numbers(3), OperandList::Numbers(4), OperandList::Numbers(5),
                                           OperandList::Numbers(6), OperandList::Numbers(7)};

constexpr int UnknownMemberNumbers(std::uint8_t opcode) {
  switch (opcode) {
    case 47:
      return 2;
    case 48:
      return 1;
    case 51:
      return 3;
    case 52:
      return 1;
    case 54:
      return 4;
    case 55:
      return 2;
    case 56:
      return 5;
    case 57:
      return 7;
    case 58:
      return 6;
    default:
      return 0;
  }
}

}  // namespace

std::span<const StatementInfo> StatementTable() {
  return kStatements;
}

const StatementInfo* FindStatement(std::uint8_t opcode, int sub) {
  const std::uint8_t family = kStatementIndex.family[opcode];
  std::int16_t row = kNoRow;
  if (family == 0) {
    row = kStatementIndex.single[opcode];
  } else if (sub >= 0 && sub < 256) {
    row = kStatementIndex.member[family - 1u][static_cast<std::size_t>(sub)];
  }
  return row == kNoRow ? nullptr : &kStatements[row];
}

const OperandList& StatementOperands(std::uint8_t opcode, int sub) {
  const StatementInfo* info = FindStatement(opcode, sub);
  return info ? info->operands : kFamilyOperands[UnknownMemberNumbers(opcode)];
}

std::size_t VariableOperandBytes(const std::uint8_t* statement, std::size_t left) {
  const std::uint8_t opcode = statement[0];
  std::size_t at = 1;
  int sub = -1;
  if (IsFamilyOpcode(opcode)) {
    if (left < 2) return kBadStatement;
    sub = statement[at++];
  }
  const OperandList& operands = StatementOperands(opcode, sub);
  std::size_t dataBytes = 0;
  std::uint8_t assignOperator = 0;
  for (std::size_t i = 0; i < operands.count; ++i) {
    std::size_t size = 4;
    if (at >= left && operands.kind[i] != OperandKind::DataBytes) return kBadStatement;
    switch (operands.kind[i]) {
      case OperandKind::ReadVar:
      case OperandKind::WriteVar:
      case OperandKind::UpdateVar:
        size = (statement[at] & 0x80) ? 2 : 1;
        break;
      case OperandKind::Byte:
        size = 1;
        break;
      case OperandKind::Operator:
        size = 1;
        assignOperator = statement[at];
        break;
      case OperandKind::AssignValue:
        size = assignOperator != kCopyOperator ? 4 : (statement[at] & 0x80) ? 2 : 1;
        break;
      case OperandKind::DataBytes:
        size = dataBytes;
        break;
      case OperandKind::Count:
        if (left - at < 4) return kBadStatement;
        dataBytes = InlineByteCount(static_cast<std::uint32_t>(statement[at]) << 24 |
                                    static_cast<std::uint32_t>(statement[at + 1]) << 16 |
                                    static_cast<std::uint32_t>(statement[at + 2]) << 8 | statement[at + 3]);
        break;
      default:
        break;
    }
    if (size > left - at) return kBadStatement;
    at += size;
  }
  return at - 1;
}

}  // namespace tonalith::former
