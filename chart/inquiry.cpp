#include "chart/inquiry.h"

#include <algorithm>

#include "chart/type_lines.h"

namespace tonalith {

namespace {

constexpr char kArrow[] = "->";
constexpr char kInquiryExample[] = "find = F0 42 4n F7 -> F0 42 3n 04 F7";

// Bytes alone, of which the device number may be the lower digit or the whole.
bool CanBeAsked(const ChartMessage& message, char device) {
  return message.size >= 3 && std::all_of(message.items.begin(), message.items.end(), [&](const ChartItem& item) {
           const bool low = item.byte.use == ChartUse::kNone || item.byte.use == ChartUse::kLowDigit ||
                            (item.byte.use == ChartUse::kWhole && item.byte.base >= 0);
           return item.kind == ChartItemKind::kByte && low && item.times == 1 && item.byte.part == ChartPart::kAll &&
                  (!item.byte.variable || item.byte.variable == device);
         });
}

ChartNames NamesOf(const ChartInstrument& chart) {
  ChartNames names;
  if (chart.device.letter) names.variables = std::string(1, chart.device.letter);
  return names;
}

ChartMessage Universal(const ChartEntry& identity, ChartProblems* problems) {
  ChartNames names;
  names.variables = "abcdefghijklmnopqrstuvwxyz";
  return ReadChartMessage(identity.cell, names, problems);
}

}  // namespace

bool IsOwnInquiry(const ChartEntry& find) {
  return find.value.find(kArrow) != std::string::npos;
}

std::optional<ChartInquiry> ReadChartInquiry(const ChartInstrument& chart, ChartProblems* problems) {
  ChartInquiry inquiry;
  const ChartEntry* find = chart.Find("find");
  inquiry.own = find && IsOwnInquiry(*find);
  if (!inquiry.own) {
    const ChartEntry* identity = chart.Find("identity");
    if (!identity) return std::nullopt;
    inquiry.reply = Universal(*identity, problems);
    return inquiry;
  }
  const std::size_t arrow = find->value.find(kArrow), behind = arrow + std::string_view(kArrow).size();
  const ChartCell request = SplitChartCell(find->cell.Part(0, arrow), '\0').front();
  const ChartCell reply = SplitChartCell(find->cell.Part(behind, find->value.size() - behind), '\0').front();
  const std::size_t known = problems->all().size();
  for (const auto& [cell, message] : {std::pair(&request, &inquiry.request), {&reply, &inquiry.reply}}) {
    *message = ReadChartMessage(*cell, NamesOf(chart), problems);
    if (problems->all().size() == known && !CanBeAsked(*message, chart.device.letter))
      problems->Add(cell->at, cell->text, "what asks who it is, and the answer, are bytes and the device number",
                    kInquiryExample);
  }
  if (problems->all().size() == known &&
      std::any_of(inquiry.request.items.begin(), inquiry.request.items.end(),
                  [](const ChartItem& item) { return item.byte.mask != 0xFF && item.byte.use == ChartUse::kNone; }))
    problems->Add(request.at, request.text, "a byte of the question is open", kInquiryExample);
  if (problems->all().size() != known) return std::nullopt;
  return inquiry;
}

std::string InquiryText(const ChartMessage& message) {
  std::string text;
  for (const ChartItem& item : message.items) {
    std::string byte = HexPair(item.byte.base);
    if (item.byte.use == ChartUse::kWhole) byte = item.byte.base ? byte + "+n" : "nn";
    if (item.byte.use == ChartUse::kLowDigit) byte[1] = 'n';
    if (item.byte.use == ChartUse::kNone && !(item.byte.mask & 0xF0)) byte[0] = '?';
    if (item.byte.use == ChartUse::kNone && !(item.byte.mask & 0x0F)) byte[1] = '?';
    text += (text.empty() ? "" : " ") + byte;
  }
  return text;
}

}  // namespace tonalith
