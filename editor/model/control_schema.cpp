#include "editor/model/control_schema.h"

#include <algorithm>
#include <limits>

namespace tonalith {

namespace {

using enum TemplateFieldType;

constexpr std::uint32_t kNotZero = ~1u;
constexpr std::uint32_t kOne = 1u << 1;
constexpr std::uint32_t kPopupHasId = 1u << 2 | 1u << 3 | 1u << 6 | 1u << 7 | 1u << 8;

constexpr TemplateField kBinding[] = {
    {"Activate", kBuffer},
    {"Transmit", kBuffer},
    {"Use Retrieve Macro", kU8},
    {"Use Store Macro", kU8},
    {"Retrieve Macro", kBuffer},
    {"Retrieve Offset", kU32},
    {"Store Macro", kBuffer},
    {"Store Offset", kU32},
    {"A Pen", kU8, 1},
    {"B Pen", kU8, 0},
    {"C Pen", kU8, 2},
    {"D Pen", kU8, 0},
    {"Min Value", kI32, 0},
    {"Max Value", kI32, 127},
    {"Num Control update", kI16},
    {"Update Control #1", kU16},
    {"Update Control #2", kU16},
    {"Update Control #3", kU16},
    {"Update Control #4", kU16},
    {"Update Control #5", kU16},
    {"Field 16", kU32},
    {"Convert", kU8},
    {"Comm Mode", kU8},
    {"Map", kBuffer},
    {"Flag 1", kU8},
    {"Flag 2", kU8},
    {"Bit Shift", kU8},
    {"Controller #", kU8},
    {"Default", kI32},
    {"Input Ofs", kI16},
    {"Flag 3", kU8},
    {"Old Mode", kU8},
    {"Default W", kI32},
    {"Default Y", kI32},
    {"Default Z", kI32},
    {"Bitmask", kU16},
    {"Note # Editing", kU8},
    {"Note # Ofs", kI8},
    {"Input Mode", kU8},
    {"Automation Index", kU16},
    {"Simple Default", kU8},
    {"Plugin Id", kI32},
    {"Vst Category #", kU8},
    {"# in Category", kU8, 0, "Vst Category #", kNotZero},
    {"Vst Category Label", kText, 0, "Vst Category #", kNotZero},
    {"Display Index", kU8, 0, "Vst Category #", kNotZero},
    {"Vst Name", kText},
    {"NRPN LSB# (CC98)", kU8},
    {"NRPN MSB# (CC99)", kU8},
    {"Randomize Type", kU8},
    {"Get Function", kU16},
    {"Get Argument", kU16},
    {"Set Function", kU16},
    {"Set Argument", kU16},
    {"Get Function 32", kU32},
    {"Get Argument 32", kU32},
    {"Set Function 32", kU32},
    {"Set Argument 32", kU32},
    {"Kept 1", kU16},
    {"Kept 2", kU16},
    {"Kept 3", kU16},
    {"Kept 4", kU16},
    {"Kept 5", kU32},
    {"Kept 6", kU32},
    {"Kept 7", kU32},
    {"Kept 8", kU32},
    {"CC MIDI Ch", kU8},
};

constexpr TemplateField kNumeric[] = {
    {"Display Offset", kI32},
    {"Width", kU8, 3},
    {"Display Position", kU8},
    {"Style", kU8},
    {"Show Sign", kU8},
    {"Background", kU8},
    {"Make Transparent", kU8},
    {"Transparent Color", kU32, 0, "Make Transparent", kNotZero},
    {"Background Bitmap", kText, 0, "Background", kOne},
    {"Rounding", kU8},
    {"Draw Icon", kU8},
    {"Font", kU8},
    {"Tiling", kU8},
    {"Popup Style", kU8},
    {"Popup ID", kI32, 0, "Popup Style", kPopupHasId},
    {"Popup Offset", kI32, 0, "Popup Style", kPopupHasId},
    {"Image Table Map", kU8},
    {"Bitmap Font", kU8},
    {"Bitmap #", kU8, 0, "Bitmap Font", kNotZero},
    {"Click Step", kU8},
    {"Min Value Text", kText},
    {"Max Value Text", kText},
    {"Prepend Text", kText},
    {"Append Text", kText},
    {"No Frame", kU8},
    {"Zero Value Text", kText},
    {"Encircle/Low Bar", kU8},
    {"Encircle Pen", kU8},
    {"Out of Range", kText},
    {"Popup Ext", kText},
};

constexpr TemplateField kText_[] = {
    {"Text", kText},         {"Text Color", kU32}, {"Back Color", kU32}, {"Horizontal Align", kU8},
    {"Vertical Align", kU8}, {"Opaque", kU8},      {"Font Select", kU8}, {"Rounding", kU8},
    {"MultiLine", kU8},      {"Bitmap Font", kU8}, {"Bitmap #", kU8},
};

constexpr TemplateField kSlider[] = {
    {"Volume Fill", kU8}, {"Rounding", kU8},      {"Popup Style", kU8},
    {"Popup ID", kI32},   {"Popup Offset", kI32}, {"Popup Ext", kText},
};

constexpr TemplateField kKnob[] = {
    {"Custom Knob", kText},
    {"Transparency Style", kU8},
    {"Transparent Color", kU32},
    {"Popup Style", kU8},
    {"Popup ID", kI32},
    {"Popup Offset", kI32},
    {"Popup Ext", kText},
    {"Display Pattern", kU8},
    {"Border", kU8},
    {"Border Color", kU8},
    {"Cap", kU8},
    {"Cap Color", kU8},
    {"Minimum Degree Value", kI32, -135},
    {"Maximum Degree Value", kI32, 135},
    {"Embed Number", kU8},
    {"Embed Number Font", kU8},
};

constexpr TemplateField kToggle[] = {
    {"Toggle Style", kU8},
    {"Text 1", kText},
    {"Text 2", kText},
    {"Font Select", kU8},
    {"Toggle Off Bitmap", kText},
    {"Toggle On Bitmap", kText},
    {"Rounding", kU8},
    {"Transparent", kU8},
    {"Transparent Color", kU32},
    {"Invert", kU8},
    {"Invert CC Input", kU8},
};

// "Read from Ini" is the number of a string list plus 1; 0: the strings stand in the record.
constexpr TemplateField kStringList[] = {
    {"Display Position", kU8},
    {"v Display Position", kU8},
    {"Number of Chars", kI32},
    {"Number of Strings", kI32},
    {"Number of Strings Id", kI32},
    {"String Offset", kI32},
    {"Disable Table", kU8},
    {"Alt Child ID", kI32},
    {"Functions", kU8},
    {"Background", kU8},
    {"Background Bitmap", kText},
    {"Make Transparent", kU8},
    {"Transparent Color", kU32},
    {"Rounding", kU8},
    {"Tiling", kU8},
    {"Drop Icon", kU8},
    {"MultiLine", kU8},
    {"Read from Ini", kI32},
    {"Click Step", kU8},
    {"Force Popup Dlg", kU8},
    {"Display Bar", kU8},
    {"Draw Bar Pen", kU8},
    {"Draw Bar Center", kU8},
    {"Display Levels", kU8},
    {"Level Divider", kI32},
    {"Out of Range", kText},
    {"Bitmap Font", kU8},
    {"Bitmap #", kU8},
    {"Strings", kU16},
    {"String Width", kU8},
    {"String Memory", kNumbers8, 0, nullptr, 0, "Strings", 0},
};

// Freedom and Relative of a point follow each other; so do the controls that a point is linked to, rate and level.
constexpr TemplateField kGraph[] = {
    {"Number of Points", kI32},
    {"Points", kNumbers8, 0, nullptr, 0, "Number of Points", 2},
    {"Center Fill", kU8},
    {"No Fill", kU8},
    {"No Grid", kU8},
    {"Grab Style", kU8},
    {"Background", kU8},
    {"Background Bitmap", kText},
    {"Background Transparent", kU8},
    {"Background Color", kU32},
    {"Background Rounding", kU8},
    {"Tiling", kU8},
    {"Point Bitmap", kText},
    {"Make Transparent", kU8},
    {"Transparent Color", kU32},
    {"Line Thickness", kI32, 1},
    {"Rounding", kU8},
    {"Control Links", kU8},
    {"Linked Controls", kNumbers32, 0, nullptr, 0, "Number of Points", 2},
    {"Copy Controls", kU8},
};

constexpr ControlKind kKinds[] = {
    {MakeTag("NUMB"), "Numeric", 0, kNumeric},
    {MakeTag("TOGL"), "Toggle", 1, kToggle},
    {MakeTag("CSTR"), "String List", 4, kStringList},
    {MakeTag("LEVL"), "Level", 2, {}},
    {MakeTag("SLDG"), "Slider (Graphic)", 3, {}},
    {MakeTag("STRG"), "String", 5, {}},
    {MakeTag("GRPH"), "Graph", 6, kGraph},
    {MakeTag("KNOB"), "Knob", 7, kKnob},
    {MakeTag("TEXT"), "Text", 8, kText_},
    {MakeTag("BMAP"), "Bitmap", 9, {}},
    {MakeTag("SLDR"), "Slider", 10, kSlider},
    {MakeTag("TAB "), "Tab", 11, {}},
    {MakeTag("BTTN"), "Button", 12, {}},
    {MakeTag("KYBD"), "Virtual Keyboard", 13, {}},
    {MakeTag("ARRY"), "Array", 14, {}},
    {MakeTag("RANG"), "Range Slider", 15, {}},
    {MakeTag("XYSL"), "XY Slider", 16, {}},
    {MakeTag("MFLT"), "MIDI Filter", 17, {}},
    {MakeTag("TIMR"), "Timer", 18, {}},
    {MakeTag("MBMP"), "Multi Bitmap", 19, {}},
    {MakeTag("NCNT"), "Note Counter", 20, {}},
    {MakeTag("SYSX"), "SysX Filter", 21, {}},
    {MakeTag("KBDD"), "Keyboard Display", 22, {}},
    {MakeTag("SLDB"), "Slider (Bitmap)", 23, {}},
    {MakeTag("CSTM"), "Custom", 26, {}},
    {MakeTag("MTOG"), "Multi Toggle", 27, {}},
    {MakeTag("BLCK"), "Block Edit Popup", 28, {}},
    {MakeTag("HELP"), "Help Button", 29, {}},
    {MakeTag("GRID"), "Grid", 30, {}},
    {MakeTag("PRXY"), "Proxy", 31, {}},
    {MakeTag("TBMP"), "Transparent Bitmap", 24, {}},
};

constexpr std::size_t SizeOf(TemplateFieldType type) {
  switch (type) {
    case kU8:
    case kI8:
    case kNumbers8:
      return 1;
    case kU16:
    case kI16:
      return 2;
    default:
      return 4;
  }
}

std::int64_t Signed(TemplateFieldType type, std::uint32_t value) {
  if (type == kI8) return static_cast<std::int8_t>(value);
  if (type == kI16) return static_cast<std::int16_t>(value);
  return type == kI32 || type == kNumbers32 ? static_cast<std::int32_t>(value) : std::int64_t{value};
}

const std::string kNoText;
const std::vector<std::int64_t> kNoNumbers;

}  // namespace

std::span<const TemplateField> BindingFields() {
  return kBinding;
}

std::span<const ControlKind> ControlKinds() {
  return kKinds;
}

const ControlKind* FindControlKind(TemplateTag tag) {
  const auto found =
      std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& kind) { return kind.tag == tag; });
  return found == std::end(kKinds) ? nullptr : &*found;
}

std::size_t TemplateValues::IndexOf(std::string_view field) const {
  for (std::size_t i = 0; i < fields_.size(); ++i)
    if (fields_[i].name == field) return i;
  return fields_.size();
}

// The value of a field, and of all before it.
TemplateValue& TemplateValues::Have(std::size_t index) {
  for (std::size_t i = values_.size(); i <= index; ++i) values_.push_back({fields_[i].standard, {}, {}});
  stored_ = std::max(stored_, index + 1);
  return values_[index];
}

void TemplateValues::Set(std::string_view field, std::int64_t number) {
  if (const std::size_t index = IndexOf(field); index < fields_.size()) Have(index).number = number;
}

void TemplateValues::Set(std::string_view field, std::string text) {
  if (const std::size_t index = IndexOf(field); index < fields_.size()) Have(index).text = std::move(text);
}

void TemplateValues::Set(std::string_view field, std::vector<std::int64_t> numbers) {
  if (const std::size_t index = IndexOf(field); index < fields_.size()) Have(index).numbers = std::move(numbers);
}

std::int64_t TemplateValues::Number(std::string_view field) const {
  const std::size_t index = IndexOf(field);
  return index < values_.size() ? values_[index].number : index < fields_.size() ? fields_[index].standard : 0;
}

const std::string& TemplateValues::Text(std::string_view field) const {
  const std::size_t index = IndexOf(field);
  return index < values_.size() ? values_[index].text : kNoText;
}

const std::vector<std::int64_t>& TemplateValues::Numbers(std::string_view field) const {
  const std::size_t index = IndexOf(field);
  return index < values_.size() ? values_[index].numbers : kNoNumbers;
}

bool TemplateValues::Stored(std::size_t index) const {
  const TemplateField& field = fields_[index];
  if (!field.onlyWith) return true;
  const std::int64_t value = Number(field.onlyWith);
  const bool beyond = value < 0 || value >= std::numeric_limits<std::uint32_t>::digits;
  return beyond ? field.values == kNotZero : (field.values >> value & 1) != 0;
}

bool TemplateValues::ReadField(const TemplateField& field, TemplateReader* reader, TemplateValue* value) const {
  const std::size_t size = SizeOf(field.type);
  if (field.type == kText) return reader->Text(&value->text);
  if (field.type == kBuffer) {
    TemplateReader ahead = *reader;
    if (ahead.left() < size) return false;
    const std::uint32_t length = ahead.U32();
    if (length > ahead.left()) return false;
    const auto bytes = ahead.Bytes(length);
    value->text.assign(bytes.begin(), bytes.end());
    *reader = ahead;
    return true;
  }
  if (field.type == kNumbers8 || field.type == kNumbers32) {
    const std::int64_t times = field.times ? field.times : Number("String Width");
    const std::int64_t count = Number(field.count);
    if (count < 0 || count > static_cast<std::int64_t>(reader->left()) ||
        count * times * static_cast<std::int64_t>(size) > static_cast<std::int64_t>(reader->left()))
      return false;
    for (std::int64_t i = 0; i < count * times; ++i) value->numbers.push_back(Signed(field.type, reader->Number(size)));
    return true;
  }
  if (reader->left() < size) return false;
  value->number = Signed(field.type, reader->Number(size));
  return true;
}

void TemplateValues::Read(TemplateReader* reader) {
  values_.clear();
  stored_ = 0;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    TemplateValue value{fields_[i].standard, {}, {}};
    if (Stored(i)) {
      if (reader->left() == 0 || !ReadField(fields_[i], reader, &value)) break;
      stored_ = i + 1;
    }
    values_.push_back(std::move(value));
  }
  values_.resize(stored_);
  const auto rest = reader->Bytes(reader->left());
  surplus_.assign(rest.begin(), rest.end());
}

void TemplateValues::WriteField(const TemplateField& field, const TemplateValue& value, TemplateWriter* writer) const {
  const std::size_t size = SizeOf(field.type);
  if (field.type == kText) return writer->Text(value.text);
  if (field.type == kBuffer) {
    writer->U32(static_cast<std::uint32_t>(value.text.size()));
    return writer->Bytes({reinterpret_cast<const std::uint8_t*>(value.text.data()), value.text.size()});
  }
  if (field.type == kNumbers8 || field.type == kNumbers32) {
    for (const std::int64_t number : value.numbers) writer->Number(static_cast<std::uint32_t>(number), size);
    return;
  }
  writer->Number(static_cast<std::uint32_t>(value.number), size);
}

void TemplateValues::Write(TemplateWriter* writer) const {
  for (std::size_t i = 0; i < stored_; ++i)
    if (Stored(i)) WriteField(fields_[i], values_[i], writer);
  writer->Bytes(surplus_);
}

}  // namespace tonalith
