#include "random_programs.h"

#include <algorithm>
#include <cstring>

#include "script/former_engine/statement_table.h"

namespace tonalith::test {

using namespace former;

namespace {

constexpr std::uint32_t kMacros = 6;
constexpr std::uint32_t kDeepestBlock = 3;

const StatementInfo& Named(std::string_view keyword) {
  const auto table = StatementTable();
  return *std::find_if(table.begin(), table.end(),
                       [keyword](const StatementInfo& row) { return row.name && keyword == row.name; });
}

class ProgramMaker {
 public:
  // plain: only what computes, without MIDI, windows and settings.
  ProgramMaker(RandomNumbers& random, ProgramKind kind, bool inMacro, bool plain)
      : random_(random), tame_(kind == ProgramKind::Tame), inMacro_(inMacro), plain_(plain) {}

  Statements Make(std::uint32_t longest) {
    const std::size_t wanted = 1 + random_.Below(longest);
    while (out_.size() < wanted) Statement(0);
    if (random_.Chance(70)) Add(Named("]"));
    if (random_.Chance(40)) out_.push_back({kEndOfScript});
    return std::move(out_);
  }

 private:
  void Block(std::uint32_t depth) {
    for (std::uint32_t left = 1 + random_.Below(6); left > 0; --left) Statement(depth + 1);
  }

  void Statement(std::uint32_t depth) {
    static constexpr const char* kConditions[] = {"IF", "IFN", "IFL", "IFG", "IFLQ", "IFGQ", "IFQ", "IFNQ"};
    static constexpr const char* kData[] = {"F",  "FS",     "FG", "FR", "FT", "VR", "VW", "RET", "GPINC",
                                            "GP", "K",      "S",  "FA", "A",  "T",  "TR", "B",   "R",
                                            "GC", "SetVar", "GA", "GN", "GO", "GR", "GM"};
    static constexpr const char* kMath[] = {"ABS", "MIN",   "MAX",    "POW",      "SQRT",     "FACT",
                                            "EXP", "LOG",   "BITINV", "MaskRetr", "MaskStor", "Within",
                                            "INT", "FLOAT", "ASIN",   "ATAN2",    "RANDOM",   "SIN"};
    static constexpr const char* kPlain[] = {"F",  "FG",       "FR",       "FS",     "FT",          "VR",
                                             "VW", "RET",      "MaskRetr", "SetVar", "SetlocalVar", "PutLocalVarInY",
                                             "K",  "MaskStor", "Within",   "GPINC",  "GPDEC",       "GETID"};
    const std::uint32_t what = random_.Below(1000);
    if (what < 90 && depth < kDeepestBlock && !(tame_ && (depth > 1 || inMacro_))) return Loop(depth);
    if (what < 220) {
      Add(Named(random_.Of(kConditions)));
      if (depth < kDeepestBlock + 1) Block(depth + 1);
      if (random_.Chance(94)) return Add(Named("IFX"));
      if (random_.Chance(50)) Add(Named("IFE"));
      return;
    }
    if (what < 460) return Add(Named("M"));
    if (plain_ && what < 650) return Add(Named(random_.Of(kPlain)));
    if (what < 650) return Add(Named(random_.Of(kData)));
    if (what < 720) return Add(Named(random_.Of(kMath)));
    if (what < 775) return tame_ && inMacro_ ? Add(Named("A")) : Add(Named("MACRO"));
    if (what < 785) return Add(Named(depth > 0 || random_.Chance(10) ? "BREAK" : "A"));
    if (plain_ && what < 850 && !(tame_ && inMacro_)) return Add(Named("MACRO"));
    if (plain_ && what < 990) return Add(Named(random_.Chance(60) ? "M" : random_.Of(kPlain)));
    if (what < 990) return AnyRow();
    if (what < 995) return UnknownMember();
    if (what < 998)
      return out_.push_back({static_cast<std::uint8_t>(random_.Chance(30) ? 13 : 59 + random_.Below(196))});
    Add(Named("]"));
  }

  void Loop(std::uint32_t depth) {
    inLoopCount_ = true;
    Add(Named("L"));
    inLoopCount_ = false;
    Block(depth);
    if (random_.Chance(96)) Add(Named("]"));
  }

  void AnyRow() {
    const auto table = StatementTable();
    const StatementInfo& row = table[random_.Below(static_cast<std::uint32_t>(table.size()))];
    const std::string_view name = row.name ? row.name : "";
    if (tame_ && (name == "L" || name == "MACRO")) return;
    Add(row);
  }

  // A sub-code that no row has, or one of those that share a row.
  void UnknownMember() {
    static constexpr std::uint8_t kFamilies[] = {18, 40, 47, 48, 50, 51, 52, 53, 54, 55, 56, 57, 58};
    std::vector<std::uint8_t> bytes{random_.Of(kFamilies), static_cast<std::uint8_t>(random_.Below(256))};
    const StatementInfo* row = FindStatement(bytes[0], bytes[1]);
    if (row) {
      Operands(row->operands, bytes);
    } else {
      Operands(StatementOperands(bytes[0], bytes[1]), bytes);
    }
    out_.push_back(std::move(bytes));
  }

  void Add(const StatementInfo& row) {
    std::vector<std::uint8_t> bytes{row.opcode};
    if (row.IsFamily()) bytes.push_back(static_cast<std::uint8_t>(row.sub));
    Operands(row.operands, bytes);
    out_.push_back(std::move(bytes));
  }

  void Operands(const OperandList& list, std::vector<std::uint8_t>& bytes) {
    std::uint8_t assign = 0;
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < list.count; ++i) {
      switch (list.kind[i]) {
        case OperandKind::ReadVar:
        case OperandKind::WriteVar:
        case OperandKind::UpdateVar:
          Variable(bytes);
          break;
        case OperandKind::Byte:
          bytes.push_back(static_cast<std::uint8_t>(random_.Below(24)));
          break;
        case OperandKind::Operator:
          assign = static_cast<std::uint8_t>(random_.Chance(98) ? random_.Below(11) : random_.Below(256));
          bytes.push_back(assign);
          break;
        case OperandKind::AssignValue:
          if (assign == kCopyOperator) {
            Variable(bytes, !tame_);  // the second byte of a wide one is executed as a statement
          } else {
            Word(Number(), bytes);
          }
          break;
        case OperandKind::Count:
          count = random_.Below(random_.Chance(90) ? 16 : 120);
          if (random_.Chance(4)) {
            Word(Number() | kNumberVariableBit, bytes);
            count = 0;
          } else {
            Word(count, bytes);
          }
          break;
        case OperandKind::DataBytes:
          Data(count, bytes);
          break;
        default:
          Word(Number(), bytes);
          break;
      }
    }
  }

  static void Word(std::uint32_t value, std::vector<std::uint8_t>& bytes) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }

  void Variable(std::vector<std::uint8_t>& bytes, bool mayBeWide = true) {
    std::uint32_t index = random_.Below(4);
    bool wide = false;
    if (random_.Chance(40)) index = 4 + random_.Below(20);
    if (mayBeWide && random_.Chance(10)) {
      wide = true;
      static constexpr std::uint32_t kWide[] = {3, 60, 127, 128, 130, 200, 1003, 4100, 8195, 8200, 12290, 32767};
      index = random_.Of(kWide);
    }
    if (wide) {
      bytes.push_back(static_cast<std::uint8_t>(0x80 | (index & 0x7F)));
      bytes.push_back(static_cast<std::uint8_t>(index >> 7));
    } else {
      bytes.push_back(static_cast<std::uint8_t>(index));
    }
  }

  std::uint32_t Number() {
    if (inLoopCount_) {
      if (tame_) return random_.Below(9);
      if (random_.Chance(75)) return random_.Below(30);
    }
    const std::uint32_t what = random_.Below(100);
    if (what < 40) return random_.Below(24);
    if (what < 50) return random_.Below(200);
    if (what < 53) return kProgramDriverId;
    if (what < 58) return random_.Below(0x3FFFFFFF);
    if (what < 76) return kNumberRegisterBit | random_.Below(4);
    if (what < 94) return kNumberVariableBit | random_.Below(24);
    static constexpr std::uint32_t kOdd[] = {0x80000004, 0x8000FFFF, 0x40000FFF, 0x40001000, 0x40002FFF, 0x40003000,
                                             0x4000FFFF, 0xC0000001, 0xC0000010, 0x8ABC0002, 0x5ABC0005, 0x3FFFFFFF,
                                             0x00000100, 0x0000FFFF, 0x00010000, 0x00001000, 0x000003E7, 0x7FFFFFFF};
    return random_.Of(kOdd);
  }

  void Data(std::uint32_t count, std::vector<std::uint8_t>& bytes) {
    const std::size_t first = bytes.size();
    for (std::uint32_t i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(random_.Below(128)));
    if (count == 0) return;
    if (random_.Chance(60)) {
      bytes[first] = 0xF0;
      bytes.back() = 0xF7;
      if (count > 2) bytes[first + 1] = 0x3E;
    } else if (random_.Chance(50)) {
      bytes[first] = static_cast<std::uint8_t>(0x80 + random_.Below(128));
    }
  }

  RandomNumbers& random_;
  bool tame_;
  bool inMacro_;
  bool plain_;
  bool inLoopCount_ = false;
  Statements out_;
};

void Damage(RandomNumbers& random, Statements& code) {
  for (std::uint32_t left = 1 + random.Below(3); left > 0 && !code.empty(); --left) {
    std::vector<std::uint8_t>& statement = code[random.Below(static_cast<std::uint32_t>(code.size()))];
    if (statement.empty()) continue;
    const auto at = statement.begin() + random.Below(static_cast<std::uint32_t>(statement.size()));
    switch (random.Below(4)) {
      case 0:
        *at = static_cast<std::uint8_t>(random.Below(256));
        break;
      case 1:
        statement.erase(at);
        break;
      case 2:
        statement.insert(at, static_cast<std::uint8_t>(random.Below(64)));
        break;
      default:  // cut
        code.resize(static_cast<std::size_t>(&statement - code.data()) + 1);
        code.back().resize(random.Below(static_cast<std::uint32_t>(code.back().size())));
        break;
    }
  }
}

}  // namespace

std::uint64_t RandomNumbers::Next() {
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

std::vector<std::uint8_t> Joined(const Statements& statements) {
  std::vector<std::uint8_t> bytes;
  for (const auto& statement : statements) bytes.insert(bytes.end(), statement.begin(), statement.end());
  return bytes;
}

RandomProgram MakeProgram(RandomNumbers& random, ProgramKind kind) {
  RandomProgram program;
  const bool plain = random.Chance(40);
  program.code = ProgramMaker(random, kind, false, plain).Make(random.Chance(80) ? 25 : 80);
  for (std::uint32_t i = 0; i < kMacros; ++i) {
    program.macros.push_back(random.Chance(10)
                                 ? Statements{}
                                 : ProgramMaker(random, kind, true, plain || random.Chance(30)).Make(plain ? 7 : 12));
  }
  // Damage can make a tame program wild.
  if (kind != ProgramKind::Tame && random.Chance(15)) {
    Damage(random, program.code);
    if (random.Chance(30)) Damage(random, program.macros[random.Below(kMacros)]);
  }
  return program;
}

}  // namespace tonalith::test
