#include "chart/field_files.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "chart/change_check.h"
#include "chart/chart_spelling.h"
#include "chart/instrument.h"
#include "chart/panel.h"
#include "chart/panel_binding.h"
#include "chart/panel_layout.h"
#include "chart/parameters.h"
#include "chart/references.h"
#include "chart/type_parameters.h"
#include "data/container.h"
#include "data/data_records.h"
#include "editor/model/template_file.h"
#include "parameters/patch_conversion.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kExactSize = 2;  // of Synth::optionBits
constexpr char kPartOf[] = "part of";

// A data type as it was built.
struct BuiltType {
  FieldTypeNames names;
  DataFilePtr data;
  ParameterTable table;                // without parameters when no section describes it
  const ChartSection* rows = nullptr;  // that describes it
  bool own = false;                    // the section is its own

  const Synth& synth() const { return *data->synth; }
  ParameterData Data() const {
    const Synth& s = synth();
    const auto body = BodySpan(*data);
    const bool plain = s.storageFormat == 0 && !body.empty() && body[0] == kSysExStart;
    std::uint32_t bytes = s.voiceBytes ? +s.voiceBytes : +s.voiceSize;
    if (!names.pieces.empty()) bytes = names.pieces.back().first + names.pieces.back().bytes;
    return {s.optionBits & kExactSize ? bytes : 0, plain, names.pieces};
  }
};

class FieldFiles {
 public:
  FieldFiles(const ChartText& chart, ModuleImage* module, ChartProblems* problems, bool draws)
      : chart_(chart), module_(*module), problems_(*problems), draws_(draws) {}

  void Add(const std::vector<FieldTypeNames>& types) {
    if (!ReadTypes(types)) return;
    for (const ChartSection& section : chart_.sections) {
      if (section.kind == "parameters") Parameters(section);
      if (section.kind == "references") References(section);
      for (const ChartEntry& entry : section.entries)
        if (entry.key.starts_with("list ")) lists_.push_back(entry);
    }
    for (const ChartSection& section : chart_.sections)
      if (section.kind == "panel") Panel(section);
    for (BuiltType& type : types_)
      if (!type.own) Inherit(&type);
    for (const BuiltType& type : types_) {
      if (!type.table.parameters.empty())
        File(ParameterTableName(type.synth().driverId), ParameterTableText(type.table));
      Conversion(type);
    }
  }

 private:
  // The drivers stand behind the INI, in the order of the types.
  bool ReadTypes(const std::vector<FieldTypeNames>& types) {
    std::size_t at = 1;
    for (const FieldTypeNames& names : types) {
      BuiltType type;
      type.names = names;
      type.data.reset(AllocDataFile());
      if (at >= module_.files.size() || !type.data ||
          ContainerReader(module_.files[at++].bytes).DiskReadForm(type.data.get(), {}) != 0 || !type.data->synth)
        return false;
      types_.push_back(std::move(type));
    }
    folder_ = module_.name;
    return !types_.empty();
  }

  void File(const std::string& name, std::vector<std::uint8_t> bytes) {
    module_.files.push_back({folder_ + "\\" + name, std::move(bytes)});
  }
  void File(const std::string& name, const std::string& text) {
    File(name, std::vector<std::uint8_t>(text.begin(), text.end()));
  }

  std::vector<BuiltType*> TypesOf(const std::string& section) {
    std::vector<BuiltType*> found;
    for (BuiltType& type : types_)
      if (type.names.section == section || type.names.name == section) found.push_back(&type);
    return found;
  }

  // The types of a section; a mistake when there are none.
  std::vector<BuiltType*> TypesFor(const ChartSection& section, const std::string& name) {
    std::vector<BuiltType*> types = TypesOf(name);
    const bool messages = std::any_of(chart_.sections.begin(), chart_.sections.end(), [&](const ChartSection& one) {
      return one.kind == "parameters" && one.name == name && IsOfNoData(one);
    });
    if (types.empty() && messages && section.kind != "parameters") {
      problems_.Add(section.nameAt, name, "these parameters are in no data: there is nothing to show or to refer from",
                    "the name of a [data NAME]");
    } else if (types.empty()) {
      std::vector<std::string> names;
      for (const BuiltType& type : types_) names.push_back(type.names.section);
      problems_.AddUnknown(section.nameAt, name, "there are no data of that name", NearestWords(name, names));
    }
    return types;
  }

  void Parameters(const ChartSection& section) {
    constexpr std::string_view kPart = " / ";
    const std::size_t slash = section.name.find(kPart);
    const bool whole = slash == std::string::npos;
    if (IsOfNoData(section)) {
      if (TypesOf(section.name.substr(0, slash)).empty()) return MessagesOnly(section);
      problems_.Add(section.nameAt, section.name,
                    "parameters without a place stand in a section whose name is that of no data");
      for (const ChartRow& row : section.rows)
        problems_.Add(row.cells.front().at, row.cells.front().text, "the data has a place for it",
                      "the number of its byte");
      return;
    }
    for (BuiltType* type : TypesFor(section, section.name.substr(0, slash))) {
      // Mistakes are the same for all types of a section.
      ChartProblems again(problems_.file());
      ParameterData data = type->Data();
      if (!whole) data.patchBytes = 0;
      ParameterTable table = ReadParameters(section, data, lists_, said_.insert(&section).second ? &problems_ : &again);
      Defaults(*type, &table);
      if (whole && checked_.insert(&section).second) CheckChanges(section, table, PanelOf(*type), &problems_);
      if (!whole) {
        const std::string part = ReplaceAll(section.name.substr(slash + kPart.size()), "\\", " ");
        File("Parameters.ID" + std::to_string(type->synth().driverId) + "." + part + ".tsv", ParameterTableText(table));
        continue;
      }
      type->table = std::move(table);
      type->rows = &section;
      type->own = true;
    }
  }

  // Of data that the instrument never sends: the messages are all there is.
  void MessagesOnly(const ChartSection& section) {
    ParameterTable table = ReadParameters(section, {}, lists_, &problems_);
    table.ofNoData = section.name;
    for (const Parameter& parameter : table.parameters) {
      const ChartCell* row = RowOfParameter(section, parameter.name);
      if (parameter.change < 0 && row)
        problems_.Add(row->at, row->text, "nothing changes \"" + parameter.name + "\", and no data has it",
                      "change = MESSAGE in front of the row or behind it");
    }
    CheckChanges(section, table, {0, DeviceLetter(), ChangeSumKind(chart_, section.name)}, &problems_);
    File(MessageParametersName(++messagesOnly_), ParameterTableText(table));
  }

  void Panel(const ChartSection& section) {
    for (BuiltType* type : TypesFor(section, section.name)) {
      ChartProblems again(problems_.file());
      ChartProblems& problems = said_.insert(&section).second ? problems_ : again;
      if (!type->own) {
        problems.Add(section.nameAt, section.name, "a panel of data that no section of parameters describes",
                     "[parameters " + section.name + "]");
        continue;
      }
      const PanelPlan plan = ReadPanel(section, &type->table, &problems, type->rows);
      if (!draws_ || problems_.any()) continue;  // its mistakes are named; drawing it takes long
      const Synth& synth = type->synth();
      const PanelFiles panel = LayOutPanel(plan, type->table, PanelOf(*type), type->names.name);
      File(PanelFileName(synth.driverId), WriteTemplate(panel.panel));
      if (!panel.lists.texts.empty()) File(PanelListsName(synth.driverId), WriteTemplateLists(panel.lists));
    }
  }

  PanelData PanelOf(const BuiltType& type) const {
    return {type.synth().headerSize, DeviceLetter(), ChangeSumKind(chart_, type.names.section), type.names.number};
  }

  // `device = n, also MIDI channel`
  char DeviceLetter() const {
    for (const ChartEntry& entry : chart_.sections.front().entries)
      if (entry.key == "device" && !entry.value.empty()) return entry.value[0];
    return 0;
  }

  // What new data has.
  static void Defaults(const BuiltType& type, ParameterTable* table) {
    const ConstPatchBytes patch(BodySpan(std::as_const(*type.data)), type.synth());
    for (Parameter& parameter : table->parameters)
      parameter.defaultValue = std::clamp(parameter.place.Read(patch), parameter.range.min, parameter.range.max);
  }

  const BuiltType* Held(const BuiltType& bank) const {
    if (bank.names.holds.empty()) return nullptr;
    for (const BuiltType& type : types_)
      if (&type != &bank && (type.names.section == bank.names.holds || type.names.name == bank.names.holds))
        return &type;
    return nullptr;
  }

  // A bank whose patches have as many bytes as the patch it holds has them laid out alike; else as another bank of that
  // patch with as many bytes has them.
  void Inherit(BuiltType* bank) const {
    const BuiltType* patch = Held(*bank);
    if (!patch || !patch->own) return;
    const auto alike = [bank](const BuiltType& other) {
      return other.own && other.Data().sevenBit == bank->Data().sevenBit &&
             other.Data().patchBytes == bank->Data().patchBytes && other.Data().pieces == bank->Data().pieces;
    };
    const BuiltType* found = alike(*patch) ? patch : nullptr;
    for (const BuiltType& other : types_)
      if (!found && &other != bank && Held(other) == patch && alike(other) &&
          other.synth().storageFormat == bank->synth().storageFormat)
        found = &other;
    if (!found) return;
    bank->table = found->table;
    if (found != patch) bank->rows = found->rows;
  }

  void Conversion(const BuiltType& bank) {
    const BuiltType* patch = Held(bank);
    if (!patch || !bank.rows || !patch->own) return;
    std::vector<std::string> missing;
    const PatchConversion conversion =
        DerivePatchConversion(bank.table, bank.synth(), patch->table, patch->synth(), &missing);
    for (const std::string& name : missing)
      if (!IsPartOf(*bank.rows, *patch) || Names(bank.table, name))
        Unpaired(name, bank.names.section, patch->names.section);
    File(PatchConversionName(bank.synth().driverId), PatchConversionText(conversion));
  }

  // The section says that the patch has more than its bank holds.
  static bool IsPartOf(const ChartSection& rows, const BuiltType& patch) {
    return std::any_of(rows.entries.begin(), rows.entries.end(), [&](const ChartEntry& entry) {
      return entry.key == kPartOf && entry.value == patch.names.section;
    });
  }

  static bool Names(const ParameterTable& table, const std::string& name) {
    return std::any_of(table.parameters.begin(), table.parameters.end(),
                       [&](const Parameter& parameter) { return parameter.name == name; });
  }

  // The row of a parameter in one of two sections; null without one.
  const ChartCell* RowOf(const std::string& name, const std::string& bank, const std::string& patch) const {
    const ChartCell* row = nullptr;
    for (const ChartSection& section : chart_.sections) {
      if (section.kind != "parameters" || (section.name != bank && section.name != patch)) continue;
      const ChartCell* found = RowOfParameter(section, name);
      if (found && (!row || found->text.size() > row->text.size())) row = found;
    }
    return row;
  }

  // A parameter that only one of two sections has, at its row.
  void Unpaired(const std::string& name, const std::string& bank, const std::string& patch) {
    const ChartCell* row = RowOf(name, bank, patch);
    if (row)
      problems_.Add(row->at, row->text, "only one of \"" + bank + "\" and \"" + patch + "\" has this parameter",
                    "the same names in both sections");
  }

  void References(const ChartSection& section) {
    const ReferenceTargets targets = [this](std::string_view name) {
      std::vector<ReferenceMatrix::Target> found;
      for (const BuiltType* type : TypesOf(std::string(name)))
        found.push_back({type->synth().driverId, std::max(1u, +type->synth().numVoices)});
      return found;
    };
    for (const BuiltType* type : TypesFor(section, section.name)) {
      ChartProblems again(problems_.file());
      const ReferenceMatrix matrix =
          ReadReferenceRows(section, type->Data(), targets, said_.insert(&section).second ? &problems_ : &again);
      File(ReferenceMatrixName(type->synth().driverId), ReferenceMatrixText(matrix));
      // A bank of such patches refers in the same way.
      for (const BuiltType& bank : types_)
        if (Held(bank) == type && bank.Data().patchBytes == type->Data().patchBytes &&
            bank.Data().pieces == type->Data().pieces)
          File(ReferenceMatrixName(bank.synth().driverId), ReferenceMatrixText(matrix));
    }
  }

  const ChartText& chart_;
  ModuleImage& module_;
  ChartProblems& problems_;
  const bool draws_;
  std::string folder_;
  std::vector<BuiltType> types_;
  std::vector<ChartEntry> lists_;
  std::set<const ChartSection*> said_, checked_;
  int messagesOnly_ = 0;  // sections of parameters in no data
};

}  // namespace

void AddFieldFiles(const ChartText& chart, const std::vector<FieldTypeNames>& types, ModuleImage* module,
                   ChartProblems* problems, bool draws) {
  FieldFiles(chart, module, problems, draws).Add(types);
}

}  // namespace tonalith
