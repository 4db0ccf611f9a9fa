#include "chart/panel_layout.h"

#include <algorithm>
#include <map>
#include <utility>

#include "chart/panel_controls.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kMargin = 8;   // around the panel and between boxes
constexpr int kGap = 16;     // more where a row says so
constexpr int kPadding = 6;  // inside a box
constexpr int kHeading = 20;
constexpr int kCellWidth = 72, kCellHeight = 86;
constexpr int kKnob = 36, kFaderWidth = 20, kSwitchHeight = 22, kValueHeight = 16, kLabelLine = 12;
constexpr int kGraphHeight = 76;
constexpr int kWidest = 1264;            // of a row of boxes
constexpr std::size_t kTextsInCell = 9;  // characters
constexpr int kMostColumns = 8, kFewestColumns = 3;
constexpr std::size_t kLabelCharacters = 12;  // of a line in a cell
constexpr int kHeadingCharacter = 8;          // width

// A control in the grid of its box.
struct Cell {
  std::size_t parameter = 0;
  PanelControl control = PanelControl::kKnob;
  int column = 0, row = 0, span = 1;
};

struct BoxLayout {
  const PanelBox* box = nullptr;
  std::vector<Cell> cells;
  int columns = 1, rows = 0;
  int labelLines = 2;
  std::vector<PanelControls::Point> points;

  int cellHeight() const { return kCellHeight + (labelLines - 2) * kLabelLine; }

  int width() const { return columns * kCellWidth + 2 * kPadding; }
  int height() const {
    return kHeading + (points.empty() ? 0 : kGraphHeight + kPadding) + rows * cellHeight() + 2 * kPadding;
  }
};

// How many lines a label takes.
int LinesOf(const std::string& label, std::size_t characters) {
  int lines = 1;
  std::size_t used = 0;
  for (const std::string& word : SplitText(label, ' ')) {
    if (used > 0 && used + 1 + word.size() > characters) {
      ++lines;
      used = 0;
    }
    used += (used ? 1 : 0) + word.size();
  }
  return lines;
}

bool IsLevel(const std::string& stage) {
  return stage.find("level") != std::string::npos || stage.find("sustain") == 0 ||
         stage.find("break point") != std::string::npos;
}

class Layout {
 public:
  Layout(const PanelPlan& plan, const ParameterTable& table, const PanelData& data)
      : plan_(plan), table_(table), controls_(table, data) {}

  PanelFiles Make(const std::string& title) {
    int top = kMargin;
    for (const auto& row : plan_.rows) {
      int most = kMostColumns;
      while (most > kFewestColumns && Width(FillAll(row, most)) > kWidest) --most;
      std::vector<BoxLayout> line;
      for (BoxLayout& box : FillAll(row, most)) {
        line.push_back(std::move(box));
        if (line.size() == 1 || Width(line) <= kWidest) continue;
        BoxLayout last = std::move(line.back());
        line.pop_back();
        top = Put(std::exchange(line, {}), top);
        line.push_back(std::move(last));
      }
      if (!line.empty()) top = Put(line, top);
    }
    PanelFiles files;
    files.width = right_ + kMargin;
    files.height = top;
    files.panel.blocks = {{MakeTag("GLBL"), {}}, {MakeTag("TEXT"), TextBlock(title)}};
    files.panel.controls = controls_.Take();
    files.lists = controls_.lists();
    return files;
  }

 private:
  static std::vector<std::uint8_t> TextBlock(const std::string& title) {
    const std::string text = Utf8ToCp1252(title);
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
  }

  std::string ShortName(const PanelBox& box, std::size_t parameter) const {
    return NameInBox(table_.parameters[parameter].name, box.title);
  }

  std::size_t Named(const PanelBox& box, const std::string& name) const {
    for (const std::size_t parameter : box.parameters)
      if (ShortName(box, parameter) == name) return parameter;
    return PanelControls::kNone;
  }

  Cell CellOf(const PanelBox& box, std::size_t parameter) const {
    Cell cell;
    cell.parameter = parameter;
    cell.control = controls_.ControlOf(parameter);
    if (cell.control == PanelControl::kKnob && box.style == PanelStyle::kFaders) cell.control = PanelControl::kFader;
    const bool text = cell.control == PanelControl::kList || cell.control == PanelControl::kToggle;
    if (text && controls_.LongestText(parameter) > kTextsInCell) cell.span = 2;
    return cell;
  }

  std::vector<BoxLayout> FillAll(const std::vector<PanelBox>& row, int mostColumns) const {
    std::vector<BoxLayout> boxes;
    for (const PanelBox& box : row)
      if (!box.parameters.empty()) boxes.push_back(Fill(box, mostColumns));
    return boxes;
  }

  static int Width(const std::vector<BoxLayout>& line) {
    int width = 0;
    for (const BoxLayout& box : line)
      width += box.width() + (&box == &line.front() ? 0 : kMargin + (box.box->gapBefore ? kGap : 0));
    return width;
  }

  BoxLayout Fill(const PanelBox& box, int mostColumns) const {
    BoxLayout layout;
    layout.box = &box;
    if (box.style == PanelStyle::kMatrix && FillMatrix(box, &layout)) return layout;
    int cells = 0, widest = 1;
    for (const std::size_t parameter : box.parameters) {
      layout.cells.push_back(CellOf(box, parameter));
      cells += layout.cells.back().span;
      widest = std::max(widest, layout.cells.back().span);
    }
    if (box.style == PanelStyle::kEnvelope) layout.points = Points(box);
    // About twice as wide as high, and the rows as even as they can be.
    int columns = 1;
    while (columns < mostColumns && columns * columns * kCellWidth < 2 * cells * kCellHeight) ++columns;
    const int rows = (cells + columns - 1) / columns;
    const int heading = (static_cast<int>(box.title.size()) * kHeadingCharacter + kCellWidth - 1) / kCellWidth;
    const int fewest = std::max({widest, heading, layout.points.empty() ? 1 : kFewestColumns});
    layout.columns = std::max(fewest, (cells + rows - 1) / rows);
    int column = 0;
    for (Cell& cell : layout.cells) {
      if (column + cell.span > layout.columns) {
        column = 0;
        ++layout.rows;
      }
      cell.column = column;
      cell.row = layout.rows;
      column += cell.span;
      layout.labelLines = std::max(layout.labelLines, LinesOf(ShortName(box, cell.parameter),
                                                              kLabelCharacters * static_cast<std::size_t>(cell.span)));
    }
    ++layout.rows;
    return layout;
  }

  // A line for each number, the words side by side; false when a name does not read so.
  bool FillMatrix(const PanelBox& box, BoxLayout* layout) const {
    std::map<std::string, int> lines;
    for (const std::size_t parameter : box.parameters) {
      const std::string name = ShortName(box, parameter);
      const std::size_t blank = name.find(' ');
      const auto word = blank == std::string::npos
                            ? box.words.end()
                            : std::find(box.words.begin(), box.words.end(), name.substr(blank + 1));
      if (word == box.words.end()) return false;
      Cell cell = CellOf(box, parameter);
      cell.row = lines.try_emplace(name.substr(0, blank), static_cast<int>(lines.size())).first->second;
      cell.column = 2 * static_cast<int>(word - box.words.begin());
      layout->cells.push_back(cell);
    }
    layout->columns = 2 * static_cast<int>(box.words.size());
    layout->rows = static_cast<int>(lines.size());
    return true;
  }

  // Rates begin points, levels belong to the one before; when all rates come first, level and rate of one number do.
  std::vector<PanelControls::Point> Points(const PanelBox& box) const {
    std::vector<PanelControls::Point> points;
    const auto firstLevel = std::find_if(box.words.begin(), box.words.end(), IsLevel);
    const bool apart = std::all_of(firstLevel, box.words.end(), IsLevel) && box.words.end() - firstLevel > 1;
    std::size_t level = 0;
    for (const std::string& stage : box.words) {
      const std::size_t parameter = Named(box, stage);
      if (parameter == PanelControls::kNone) continue;
      if (!IsLevel(stage)) {
        points.push_back({parameter, PanelControls::kNone});
        continue;
      }
      const std::size_t at = apart ? level++ : points.empty() ? 0 : points.size() - 1;
      if (at >= points.size() || points[at].level != PanelControls::kNone)
        points.push_back({PanelControls::kNone, parameter});
      else
        points[at].level = parameter;
    }
    return points;
  }

  // Puts boxes side by side; where the next row begins.
  int Put(const std::vector<BoxLayout>& line, int top) {
    int height = 0, left = kMargin;
    for (const BoxLayout& box : line) height = std::max(height, box.height());
    for (const BoxLayout& box : line) {
      if (&box != &line.front()) left += kMargin + (box.box->gapBefore ? kGap : 0);
      controls_.Frame({left, top, box.width(), height});
      controls_.Heading({left + kPadding, top + 2, box.width() - 2 * kPadding, kHeading - 4}, box.box->title);
      int inside = top + kHeading + kPadding;
      if (!box.points.empty()) {
        controls_.Graph({left + kPadding, inside, box.width() - 2 * kPadding, kGraphHeight}, box.box->title,
                        box.points);
        inside += kGraphHeight + kPadding;
      }
      for (const Cell& cell : box.cells)
        Place(*box.box, cell, left + kPadding + cell.column * kCellWidth, inside + cell.row * box.cellHeight(),
              box.labelLines);
      left += box.width();
    }
    right_ = std::max(right_, left);
    return top + height + kMargin;
  }

  void Place(const PanelBox& box, const Cell& cell, int left, int top, int labelLines) {
    const int width = cell.span * kCellWidth;
    const auto centered = [&](int size) { return left + (width - size) / 2; };
    const bool turns = cell.control == PanelControl::kKnob || cell.control == PanelControl::kFader;
    if (turns) {
      const int size = cell.control == PanelControl::kKnob ? kKnob : kFaderWidth;
      controls_.Edit({centered(size), top, size, kKnob}, cell.parameter, cell.control);
      controls_.Value({left + 4, top + kKnob + 2, width - 8, kValueHeight}, cell.parameter);
    } else {
      controls_.Edit({left + 4, top + (kKnob - kSwitchHeight) / 2, width - 8, kSwitchHeight}, cell.parameter,
                     cell.control);
    }
    controls_.Label({left + 2, top + kKnob + kValueHeight + 4, width - 4, labelLines * kLabelLine + 4},
                    ShortName(box, cell.parameter));
  }

  const PanelPlan& plan_;
  const ParameterTable& table_;
  PanelControls controls_;
  int right_ = 0;
};

}  // namespace

PanelFiles LayOutPanel(const PanelPlan& plan, const ParameterTable& table, const PanelData& data,
                       const std::string& title) {
  return Layout(plan, table, data).Make(title);
}

std::string PanelFileName(int driverId) {
  return "Panel.ID" + std::to_string(driverId) + ".pvt";
}

std::string PanelListsName(int driverId) {
  return "Panel.ID" + std::to_string(driverId) + ".ini.bin";
}

}  // namespace tonalith
