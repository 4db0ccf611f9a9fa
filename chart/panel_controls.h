#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "chart/panel_binding.h"
#include "editor/model/template_file.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// Makes the controls of a generated panel.

struct PanelRect {
  int left = 0, top = 0, width = 0, height = 0;
};

// How a parameter is edited.
enum class PanelControl { kKnob, kFader, kList, kToggle };

class PanelControls {
 public:
  PanelControls(const ParameterTable& table, const PanelData& data) : table_(table), data_(data) {}

  // What fits the values of a parameter.
  PanelControl ControlOf(std::size_t parameter) const;
  // The longest text that its list shows, in characters.
  std::size_t LongestText(std::size_t parameter) const;

  void Frame(const PanelRect& rect);
  void Heading(const PanelRect& rect, const std::string& text);
  void Label(const PanelRect& rect, const std::string& text);
  void Edit(const PanelRect& rect, std::size_t parameter, PanelControl control);
  // The value of a parameter as text, beside its knob or fader.
  void Value(const PanelRect& rect, std::size_t parameter);
  // An envelope: of each point the parameters of its rate and its level; kNone where there is none.
  static constexpr std::size_t kNone = ~std::size_t{0};
  struct Point {
    std::size_t rate = kNone, level = kNone;
  };
  void Graph(const PanelRect& rect, const std::string& name, const std::vector<Point>& points);

  std::vector<ControlRecord> Take() { return std::move(controls_); }
  const TemplateLists& lists() const { return lists_; }

 private:
  ControlRecord& Add(TemplateTag tag, const PanelRect& rect, std::size_t bindings, std::uint16_t id);
  void Text(const PanelRect& rect, const std::string& text, int font, int align);
  std::uint32_t ListOf(const std::vector<std::string>& texts);
  std::vector<std::string> AllTexts(const Parameter& parameter) const;
  void StringList(const PanelRect& rect, std::size_t parameter, std::uint16_t id);

  const ParameterTable& table_;
  PanelData data_;
  std::vector<ControlRecord> controls_;
  TemplateLists lists_;
  std::map<std::vector<std::string>, std::uint32_t> numbers_;  // of lists
  std::uint16_t shapes_ = 0, graphs_ = 0;
};

}  // namespace tonalith
