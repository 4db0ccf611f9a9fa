#include "chart/panel_controls.h"

#include <algorithm>
#include <optional>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint16_t kValueIds = 20000;  // the text of parameter i stands behind this number
constexpr std::uint16_t kShapeIds = 40000;
constexpr std::uint16_t kGraphIds = 60000;
constexpr std::uint8_t kBackgroundControl = 1;
constexpr int kLabelFont = 1, kTitleFont = 2;
constexpr int kLeft = 0, kCenter = 2;
constexpr std::int64_t kMostTexts = 512;  // a list of values stands for a display that no number style has
constexpr int kTwoTexts = 8;              // "Toggle Style"
constexpr int kNoteStyle = 3;
constexpr char kOutside[] = "---";  // also where a parameter is not there
constexpr int kCenterPosition = 8;  // "Center | VCenter"

TemplateTag TagOf(PanelControl control) {
  switch (control) {
    case PanelControl::kFader:
      return MakeTag("SLDR");
    case PanelControl::kList:
      return MakeTag("CSTR");
    case PanelControl::kToggle:
      return MakeTag("TOGL");
    default:
      return MakeTag("KNOB");
  }
}

// The style of a number and what is added before, when one shows the values as the display does.
struct NumberStyle {
  int style = 0;
  std::int64_t offset = 0;
};
std::optional<NumberStyle> StyleOf(const Parameter& parameter) {
  static const std::map<std::int64_t, int> kProducts = {{2, 34}, {3, 37}, {5, 50}, {10, 30}};
  std::int64_t multiplier = 0, offset = 0;
  const std::int64_t bias = parameter.place.bias;
  if (parameter.place.isFloat) return std::nullopt;
  if (parameter.display->IsPlainNumber(&multiplier, &offset)) {
    if (multiplier == 1) return NumberStyle{0, offset - bias};
    const auto product = kProducts.find(multiplier);
    if (product != kProducts.end() && offset == 0 && bias == 0) return NumberStyle{product->second, 0};
  }
  if (parameter.display->IsNotes(&offset)) return NumberStyle{kNoteStyle, offset - bias};
  return std::nullopt;
}

}  // namespace

ControlRecord& PanelControls::Add(TemplateTag tag, const PanelRect& rect, std::size_t bindings, std::uint16_t id) {
  ControlRecord& record = controls_.emplace_back(ControlRecord::Make(tag, bindings));
  record.head.id = id;
  record.head.left = static_cast<std::int16_t>(rect.left);
  record.head.top = static_cast<std::int16_t>(rect.top);
  record.head.width = static_cast<std::int16_t>(rect.width);
  record.head.height = static_cast<std::int16_t>(rect.height);
  return record;
}

void PanelControls::Text(const PanelRect& rect, const std::string& text, int font, int align) {
  ControlRecord& record = Add(MakeTag("TEXT"), rect, 0, static_cast<std::uint16_t>(kShapeIds + shapes_++));
  record.head.style = kBackgroundControl;
  record.own.Set("Text", Utf8ToCp1252(text));
  record.own.Set("Font Select", font);
  record.own.Set("Horizontal Align", align);
  record.own.Set("MultiLine", 1);
}

void PanelControls::Frame(const PanelRect& rect) {
  Text(rect, {}, kLabelFont, kLeft);
  controls_.back().head.trailer[ControlHead::kFrameStyle] = 1;
}

void PanelControls::Heading(const PanelRect& rect, const std::string& text) {
  Text(rect, text, kTitleFont, kLeft);
}

void PanelControls::Label(const PanelRect& rect, const std::string& text) {
  Text(rect, text, kLabelFont, kCenter);
}

// The text of every value; empty when there are too many.
std::vector<std::string> PanelControls::AllTexts(const Parameter& parameter) const {
  std::vector<std::string> texts;
  if (parameter.place.isFloat || parameter.range.max - parameter.range.min >= kMostTexts) return texts;
  for (std::int64_t value = parameter.range.min; value <= parameter.range.max; ++value)
    texts.push_back(Utf8ToCp1252(parameter.TextOf(value)));
  return texts;
}

PanelControl PanelControls::ControlOf(std::size_t parameter) const {
  const Parameter& p = table_.parameters[parameter];
  const std::vector<std::string> texts = p.display->Texts();
  if (texts.empty()) return PanelControl::kKnob;
  return texts.size() == 2 ? PanelControl::kToggle : PanelControl::kList;
}

std::size_t PanelControls::LongestText(std::size_t parameter) const {
  std::size_t longest = 0;
  for (const std::string& text : AllTexts(table_.parameters[parameter])) longest = std::max(longest, text.size());
  return longest;
}

std::uint32_t PanelControls::ListOf(const std::vector<std::string>& texts) {
  const auto [list, isNew] = numbers_.try_emplace(texts, static_cast<std::uint32_t>(numbers_.size()));
  if (isNew) lists_.texts[list->second] = texts;
  return list->second;
}

void PanelControls::StringList(const PanelRect& rect, std::size_t parameter, std::uint16_t id) {
  const Parameter& p = table_.parameters[parameter];
  const std::vector<std::string> texts = AllTexts(p);
  ControlRecord& record = Add(MakeTag("CSTR"), rect, 1, id);
  record.own.Set("Display Position", kCenterPosition);
  record.own.Set("Number of Strings", static_cast<std::int64_t>(texts.size()));
  record.own.Set("String Offset", -(p.range.min + p.place.bias));
  record.own.Set("Read from Ini", std::int64_t{ListOf(texts)} + 1);
  record.own.Set("Number of Chars", static_cast<std::int64_t>(LongestText(parameter)));
  if (table_.ConditionOf(p)) record.own.Set("Out of Range", kOutside);
}

void PanelControls::Edit(const PanelRect& rect, std::size_t parameter, PanelControl control) {
  const Parameter& p = table_.parameters[parameter];
  const auto id = static_cast<std::uint16_t>(parameter + 1);
  if (control == PanelControl::kList) {
    StringList(rect, parameter, id);
    controls_.back().own.Set("Drop Icon", 1);
  } else {
    Add(TagOf(control), rect, 1, id);
  }
  ControlRecord& record = controls_.back();
  if (control == PanelControl::kToggle) {
    record.own.Set("Toggle Style", kTwoTexts);
    record.own.Set("Text 1", Utf8ToCp1252(p.TextOf(p.range.min)));
    record.own.Set("Text 2", Utf8ToCp1252(p.TextOf(p.range.max)));
  }
  record.head.name = Utf8ToCp1252(p.name).substr(0, 255);
  record.bindings[0] = BindParameter(p, table_, data_);
  if (control == PanelControl::kKnob || control == PanelControl::kFader) {
    record.bindings[0].Set("Num Control update", 1);
    record.bindings[0].Set("Update Control #1", std::int64_t{kValueIds} + id);
  }
}

void PanelControls::Value(const PanelRect& rect, std::size_t parameter) {
  const Parameter& p = table_.parameters[parameter];
  const auto id = static_cast<std::uint16_t>(kValueIds + parameter + 1);
  const auto style = StyleOf(p);
  if (!style && !AllTexts(p).empty()) {
    StringList(rect, parameter, id);
  } else {
    ControlRecord& record = Add(MakeTag("NUMB"), rect, 1, id);
    record.own.Set("Display Position", kCenterPosition);
    if (style) {
      record.own.Set("Style", style->style);
      record.own.Set("Display Offset", style->offset);
      record.own.Set("Show Sign", p.TextOf(p.range.max).starts_with('+') ? 1 : 0);
      const std::string& unit = p.display->unit();
      if (!unit.empty()) record.own.Set("Append Text", Utf8ToCp1252(unit == "%" ? unit : " " + unit));
    }
    if (table_.ConditionOf(p)) record.own.Set("Out of Range", kOutside);
  }
  ControlRecord& record = controls_.back();
  record.head.name = Utf8ToCp1252(p.name).substr(0, 255);
  record.bindings[0] = BindParameter(p, table_, data_);
  record.bindings[0].Set("Num Control update", 1);
  record.bindings[0].Set("Update Control #1", static_cast<std::int64_t>(parameter) + 1);
}

void PanelControls::Graph(const PanelRect& rect, const std::string& name, const std::vector<Point>& points) {
  constexpr std::int64_t kLevel = 1, kRate = 2;  // bits of "Freedom"
  ControlRecord& record =
      Add(MakeTag("GRPH"), rect, 2 * points.size(), static_cast<std::uint16_t>(kGraphIds + graphs_++));
  record.head.name = Utf8ToCp1252(name).substr(0, 255);
  std::vector<std::int64_t> freedom, links;
  for (std::size_t i = 0; i < points.size(); ++i) {
    freedom.push_back((points[i].level != kNone ? kLevel : 0) | (points[i].rate != kNone ? kRate : 0));
    freedom.push_back(1);
    for (const std::size_t part : {points[i].rate, points[i].level}) {
      const std::size_t at = links.size();
      links.push_back(part == kNone ? -1 : static_cast<std::int64_t>(part) + 1);
      TemplateValues& binding = record.bindings[at];
      binding = part == kNone ? NoBinding() : BindParameter(table_.parameters[part], table_, data_);
      if (part == kNone) continue;
      binding.Set("Num Control update", 2);
      binding.Set("Update Control #1", static_cast<std::int64_t>(part) + 1);
      binding.Set("Update Control #2", static_cast<std::int64_t>(kValueIds + part) + 1);
    }
  }
  record.own.Set("Number of Points", static_cast<std::int64_t>(points.size()));
  record.own.Set("Points", std::move(freedom));
  record.own.Set("Control Links", 1);
  record.own.Set("Linked Controls", std::move(links));
}

}  // namespace tonalith
