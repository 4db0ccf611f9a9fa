#include "random_programs.h"

#include "script/statement_table.h"

namespace tonalith::test {

namespace {

using S = Statement;

constexpr std::uint32_t kMacros = 6;
constexpr std::uint32_t kDeepestBlock = 3;

class ProgramMaker {
 public:
  ProgramMaker(RandomNumbers& random, ProgramKind kind, bool inMacro)
      : random_(random), whole_(kind == ProgramKind::Whole), inMacro_(inMacro) {}

  // One entry a statement.
  std::vector<Code> Make(std::uint32_t longest) {
    const std::size_t wanted = 1 + random_.Below(longest);
    while (out_.size() < wanted) AddOne(0);
    if (whole_) return std::move(out_);
    if (random_.Chance(70)) Add(S::EndBlock);
    if (random_.Chance(40)) out_.push_back({kEndOfScript});
    return std::move(out_);
  }

 private:
  void AddBlock(std::uint32_t depth) {
    for (std::uint32_t left = 1 + random_.Below(6); left > 0; --left) AddOne(depth + 1);
  }

  void AddOne(std::uint32_t depth) {
    static constexpr S kConditions[] = {S::IF, S::IFN, S::IFL, S::IFG, S::IFLQ, S::IFGQ, S::IFQ, S::IFNQ};
    const std::uint32_t what = random_.Below(1000);
    if (what < 90 && depth < kDeepestBlock && !(whole_ && (depth > 1 || inMacro_))) {
      Add(S::L);
      AddBlock(depth);
      if (whole_ || random_.Chance(96)) Add(S::EndBlock);
    } else if (what < 220 && depth <= kDeepestBlock) {
      Add(random_.Of(kConditions));
      AddBlock(depth + 1);
      if (whole_ || random_.Chance(94)) {
        Add(S::IFX);
      } else if (random_.Chance(50)) {
        Add(S::IFE);
      }
    } else if (what < 985) {
      AddSimple();
    } else if (whole_) {
      UnknownMember();
    } else {
      AddOdd(depth);
    }
  }

  // Half are assignments, most of the others what the interpreter does itself.
  void AddSimple() {
    if (random_.Chance(45)) return Add(S::M);
    if (random_.Chance(10) && !(whole_ && inMacro_)) return Add(S::MACRO);
    const auto table = StatementTable();
    const StatementInfo* row = nullptr;
    do row = &table[random_.Below(static_cast<std::uint32_t>(table.size()))];
    while (row->condition != ConditionRole::None || row->id == S::L || row->id == S::EndBlock || row->id == S::BREAK ||
           row->id == S::MACRO || (row->forwarded && random_.Chance(90)));
    Add(row->id);
  }

  void AddOdd(std::uint32_t depth) {
    switch (random_.Below(4)) {
      case 0:
        return UnknownMember();
      case 1:
        return Add(depth > 0 ? S::BREAK : S::EndBlock);
      case 2:
        return Add(random_.Chance(50) ? S::INT : S::FLOAT);
      default: {
        std::uint8_t opcode = 0;
        while (IsDefinedOpcode(opcode)) opcode = static_cast<std::uint8_t>(random_.Below(256));
        return out_.push_back({opcode});
      }
    }
  }

  // A sub-code that no row has, or one of those that share a row.
  void UnknownMember() {
    std::uint8_t family = 0;
    while (!IsFamilyOpcode(family)) family = static_cast<std::uint8_t>(random_.Below(256));
    const auto sub = static_cast<std::uint8_t>(random_.Below(256));
    const StatementInfo* row = FindStatement(family, sub);
    if (row && whole_) return;
    Code bytes{family, sub};
    Operands(row ? row->operands : StatementOperands(family, sub), bytes);
    out_.push_back(std::move(bytes));
  }

  void Add(S statement) {
    const StatementInfo& row = InfoOf(statement);
    Code bytes{row.opcode};
    if (row.IsFamily()) bytes.push_back(static_cast<std::uint8_t>(row.sub));
    counting_ = statement == S::L;
    Operands(row.operands, bytes);
    counting_ = false;
    out_.push_back(std::move(bytes));
  }

  void Operands(const OperandList& list, Code& bytes) {
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
            Variable(bytes, !whole_);  // the second byte of a wide one is executed as a statement
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

  static void Word(std::uint32_t value, Code& bytes) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }

  void Variable(Code& bytes, bool mayBeWide = true) {
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
    if (counting_ && whole_) return 1 + random_.Below(5);
    if (counting_ && random_.Chance(75)) return random_.Below(30);
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

  void Data(std::uint32_t count, Code& bytes) {
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
  bool whole_;
  bool inMacro_;
  bool counting_ = false;  // the operand is a count of passes
  std::vector<Code> out_;
};

void Damage(RandomNumbers& random, std::vector<Code>& code) {
  for (std::uint32_t left = 1 + random.Below(3); left > 0 && !code.empty(); --left) {
    Code& statement = code[random.Below(static_cast<std::uint32_t>(code.size()))];
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

RandomProgram MakeProgram(RandomNumbers& random, ProgramKind kind) {
  const auto joined = [&random, kind](std::vector<Code> statements) {
    if (kind == ProgramKind::Any && random.Chance(10)) Damage(random, statements);
    Code code;
    for (const Code& statement : statements) code.insert(code.end(), statement.begin(), statement.end());
    return code;
  };
  RandomProgram program;
  program.code = joined(ProgramMaker(random, kind, false).Make(random.Chance(80) ? 20 : 60));
  for (std::uint32_t i = 0; i < kMacros; ++i) {
    program.macros.push_back(joined(ProgramMaker(random, kind, true).Make(8)));
  }
  return program;
}

}  // namespace tonalith::test
