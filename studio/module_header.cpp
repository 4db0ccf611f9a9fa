#include "studio/module_header.h"

#include <algorithm>
#include <map>

#include "data/hex_text.h"
#include "platform/text.h"
#include "studio/coded_words.h"
#include "studio/package.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxModuleTypes = 200;
constexpr int kMaxDriverId = 65000;
constexpr std::string_view kFamily = "Family ";

std::vector<std::string> Cells(std::string_view text) {
  std::vector<std::string> cells;
  for (const std::string& part : SplitText(text, '|')) cells.emplace_back(TrimmedView(part));
  return cells;
}

class HeaderReader {
 public:
  HeaderReader(const ModuleSource& source, ModuleHeader* header, const SourceMistakes& mistakes)
      : source_(source), header_(*header), mistakes_(mistakes) {}

  Result Read() {
    std::vector<SourceLine> lines;
    Result result =
        ReadIniSource(source_, "module.ini", &lines, [this](const Result& mistake) { return Note(mistake); });
    for (const SourceLine& line : lines) {
      if (!result.ok()) return result;
      if (AsciiEqualNoCase(line.section, "Module"))
        result = Note(Line(line));
      else if (!AsciiStartsWithNoCase(line.section, kFamily))
        result = Note(PassedOn(line));
    }
    if (result.ok()) result = Needs(lines);
    if (!result.ok()) return result;
    for (const SourceLine& line : lines)
      if (result.ok() && AsciiStartsWithNoCase(line.section, kFamily)) result = Note(FamilyLine(line));
    if (header_.shortName.empty()) header_.shortName = header_.name.substr(0, 15);
    for (std::size_t i = 0; i < header_.types.size(); ++i)
      header_.types[i].driverId = header_.driverBase + static_cast<int>(i);
    return result;
  }

 private:
  Result Note(const Result& mistake) {
    noted_ = noted_ || !mistake.ok();
    return mistake.ok() ? mistake : mistakes_(mistake);
  }

  Result Needs(const std::vector<SourceLine>& lines) {
    Result result = Result::Success();
    const auto need = [&](bool missing, const char* key, const char* text) {
      if (!result.ok() || !missing) return;
      const bool there = std::any_of(lines.begin(), lines.end(), [&](const SourceLine& line) {
        return AsciiEqualNoCase(line.section, "Module") && AsciiEqualNoCase(line.key, key);
      });
      // A key that is there with a bad value was named before.
      if (!noted_ || !there) result = mistakes_(SourceFailure("module.ini", 1, text));
    };
    need(header_.name.empty(), "Name", "section [Module] needs a \"Name\"");
    need(header_.types.empty(), "Types", "section [Module] needs \"Types\"");
    need(header_.driverBase == 0, "DriverBase", "section [Module] needs a \"DriverBase\"");
    return result;
  }

  // A line of the module INI as it stands; the icon and the kind of device have to be some that exist.
  Result PassedOn(const SourceLine& line) {
    header_.lines.push_back(line);
    const CodedTable* table = AsciiEqualNoCase(line.section, "Instrument") ? FindCodedTable(line.key) : nullptr;
    if (!table) return Result::Success();
    const auto code = ParseInteger(line.value);
    if (!code) return SourceFailure(line, std::string(table->key) + " is a number: " + CodedChoices(*table));
    const std::string problem = CodedProblem(line.key, *code);
    return problem.empty() ? Result::Success() : SourceFailure(line, problem);
  }

  Result Line(const SourceLine& line) {
    if (AsciiEqualNoCase(line.key, "Name")) {
      if (line.value.empty() || line.value.size() > 64 || !IsSafePackagePath(line.value) ||
          line.value.find_first_of("\\/.") != std::string::npos)
        return SourceFailure(line, "the name needs 1 to 64 characters that can stand in a file name");
      header_.name = line.value;
      header_.nameLine = line;
    } else if (AsciiEqualNoCase(line.key, "ShortName")) {
      if (line.value.size() > 15) return SourceFailure(line, "a short name has at most 15 characters");
      header_.shortName = line.value;
    } else if (AsciiEqualNoCase(line.key, "DriverBase") || AsciiEqualNoCase(line.key, "Version")) {
      const auto number = SourceNumber(line, 1, kMaxDriverId);
      if (!number) return SourceFailure(line, "a number from 1 to " + std::to_string(kMaxDriverId) + " is expected");
      (AsciiEqualNoCase(line.key, "Version") ? header_.version : header_.driverBase) = *number;
    } else if (AsciiEqualNoCase(line.key, "Types")) {
      return Types(line);
    } else if (AsciiEqualNoCase(line.key, "Identity")) {
      return Identity(line);
    } else {
      header_.defaults.push_back(line);
    }
    return Result::Success();
  }

  Result Types(const SourceLine& line) {
    header_.typesLine = line;
    for (const std::string& word : SplitText(line.value, ' ')) {
      const std::string entry(TrimmedView(word));
      if (entry.empty()) continue;
      ModuleType type{entry, entry, {}, {}, {}, 0};
      const std::size_t open = entry.find('(');
      if (open != std::string::npos) {
        if (entry.back() != ')') return SourceFailure(line, "\"" + entry + "\" needs a closing bracket");
        type.name = entry.substr(0, open);
        type.argument = entry.substr(open + 1, entry.size() - open - 2);
      }
      const std::string plain = type.name + type.argument;
      if (type.name.empty() || plain.find_first_of("\\/:.") != std::string::npos)
        return SourceFailure(line, "\"" + entry + "\" is no name for a data type");
      if (header_.TypeId(entry)) return SourceFailure(line, "\"" + entry + "\" is there twice");
      if (header_.types.size() >= kMaxModuleTypes) return SourceFailure(line, "the module has too many data types");
      type.descriptor = type.name;
      header_.types.push_back(std::move(type));
    }
    return Result::Success();
  }

  // `MAKER | FAMILY | MEMBER | Key = value ...`: the sections of the device inquiry.
  Result Identity(const SourceLine& line) {
    static constexpr const char* kKeys[] = {"ID", "Family", "Member"};
    static constexpr const char* kInquiry = "Device Inquiry";
    static constexpr const char* kReply = "Device Inquiry 1";
    static constexpr const char* kForm = "`Identity` reads MAKER | FAMILY | MEMBER | Key = value, bytes hexadecimal";
    std::vector<SourceLine> family;  // stands behind what is said of the inquiry
    const auto put = [&](const char* section, const std::string& key, const std::string& value) {
      (section == kReply ? family : header_.lines).push_back({line.file, line.line, section, key, value, {}});
    };
    put(kInquiry, "Enable", "1");
    std::size_t place = 0;
    for (const std::string& cell : Cells(line.value)) {
      const std::size_t equals = cell.find('=');
      if (equals != std::string::npos) {
        put(kInquiry, std::string(TrimmedView(std::string_view(cell).substr(0, equals))),
            std::string(TrimmedView(std::string_view(cell).substr(equals + 1))));
        continue;
      }
      const auto bytes = ParseHex(cell);
      if (place > 2 || !bytes || bytes->empty() || bytes->size() > 3 || (place > 0 && bytes->size() != 2))
        return SourceFailure(line, kForm);
      if (place == 0) put(kInquiry, "IDSize", std::to_string(bytes->size()));
      for (std::size_t i = 0; i < bytes->size(); ++i)
        put(place ? kReply : kInquiry, kKeys[place] + std::to_string(i + 1), "0x" + HexText({&(*bytes)[i], 1}));
      ++place;
    }
    header_.lines.insert(header_.lines.end(), family.begin(), family.end());
    return place ? Result::Success() : SourceFailure(line, kForm);
  }

  // [Family DESCRIPTOR]: `columns = KEY | KEY ...`, then a row for each data type.
  Result FamilyLine(const SourceLine& line) {
    const std::string descriptor(TrimmedView(std::string_view(line.section).substr(kFamily.size())));
    if (AsciiEqualNoCase(line.key, "columns")) {
      columns_[descriptor] = Cells(line.value);
      return Result::Success();
    }
    const auto columns = columns_.find(descriptor);
    if (columns == columns_.end()) return SourceFailure(line, "the `columns` of the family come first");
    const auto type = std::find_if(header_.types.begin(), header_.types.end(),
                                   [&](const ModuleType& t) { return AsciiEqualNoCase(t.entry, line.key); });
    if (type == header_.types.end()) return SourceFailure(line, "\"" + line.key + "\" is none of the \"Types\"");
    if (!type->row.empty()) return SourceFailure(line, "\"" + line.key + "\" has a row already");
    const std::vector<std::string> cells = Cells(line.value);
    if (cells.size() > columns->second.size())
      return SourceFailure(line, "the row has more cells than the family has columns");
    type->descriptor = descriptor;
    // A cell without text says nothing.
    for (std::size_t i = 0; i < cells.size(); ++i)
      if (!cells[i].empty()) type->row.push_back({line.file, line.line, {}, columns->second[i], cells[i], {}});
    return Result::Success();
  }

  const ModuleSource& source_;
  ModuleHeader& header_;
  const SourceMistakes& mistakes_;
  std::map<std::string, std::vector<std::string>> columns_;
  bool noted_ = false;
};

}  // namespace

std::string ModuleType::FileName() const {
  std::string file = name + argument;
  std::replace(file.begin(), file.end(), ',', '-');
  return file + ".PV6";
}

std::optional<int> ModuleHeader::TypeId(const std::string& entry) const {
  for (const ModuleType& type : types)
    if (AsciiEqualNoCase(type.entry, entry)) return type.driverId;
  return std::nullopt;
}

Result ReadModuleHeader(const ModuleSource& source, ModuleHeader* header, const SourceMistakes& mistakes) {
  return HeaderReader(source, header, mistakes).Read();
}

std::optional<int> SourceNumber(const SourceLine& line, int low, int high) {
  const auto value = ParseInteger(line.value);
  if (!value || *value < low || *value > high) return std::nullopt;
  return static_cast<int>(*value);
}

}  // namespace tonalith
