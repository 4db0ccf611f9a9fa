#include <utility>

#include "chart/inner_sum.h"
#include "chart/message_bytes.h"
#include "chart/type_lines.h"

namespace tonalith {

namespace {

class SumWriter {
 public:
  SumWriter(const ChartType& type, const ChartLayout& layout, ChartLines* lines, ChartProblems* problems)
      : type_(type), layout_(layout), lines_(*lines), problems_(*problems) {}

  void Write(ChartLines* verify) {
    PlacedSums sums;  // with the place of their message
    std::uint32_t at = 0;
    for (const ChartMessage& message : type_.dump) {
      for (const ChartItem& item : message.items)
        if (item.kind == ChartItemKind::kSum) sums.emplace_back(&item, at);
      at += message.size;
    }
    for (const ChartEntry& entry : type_.section->entries)
      if (const auto sum = entry.key == "inner sum" ? ReadInnerSum(entry, &problems_) : std::nullopt)
        verify->Put("verify", Num(sum->kind) + " " + sum->numbers, entry.valueAt);
    const bool plain = verify->text.empty() && sums.size() == 1 && sums[0].first->times == 1 && !type_.patchwise &&
                       type_.dump.size() == 1 && !sums[0].first->sumsAny && !layout_.leastSize;
    for (std::size_t i = 0; i < sums.size();) {
      const auto [sum, place] = sums[i];
      if ((type_.patchwise && sum->times > 1) || sum->outerTimes > 1)
        problems_.Add(sum->at, "sum", "checksums of groups within groups cannot be said");
      std::size_t end = i + 1;
      std::int64_t times = sum->times, step = sum->stride;
      if (type_.patchwise) {
        times = type_.slots;
        step = layout_.oneSize;
      } else if (times == 1) {
        end = AlikeFrom(sums, i);
        times = static_cast<std::int64_t>(end - i);
        if (times > 1) step = sums[i + 1].second + sums[i + 1].first->offset - place - sum->offset;
      }
      if (layout_.leastSize) {
        FreeSum(*sum, verify);
        ++i;
        continue;
      }
      std::string repeat = times > 1 ? " | times " + Num(times) + " | step " + Num(step) : "";
      if (sum->sumsAny) repeat += " | size " + Num(ShortestOf(*sum));
      const std::string numbers = Num(sum->sum) + " " + Num(place + sum->sumFrom) + " " + Num(ChartSumCount(*sum)) +
                                  " " + Num(place + sum->offset);
      if (plain) lines_.Put("checksum", numbers, sum->at);
      if (!plain || sum->orByte >= 0)
        verify->Put("verify", numbers + (sum->orByte < 0 ? "" : " | or " + HexPair(sum->orByte)) + repeat, sum->at);
      i = end;
    }
  }

 private:
  // A checksum in a bank that has as many patches as there are: of each of them, or over them, in the smallest bank.
  void FreeSum(const ChartItem& sum, ChartLines* verify) {
    const ChartItem* free = type_.dump.front().Free();
    ChartItem least = sum;
    std::string repeat;
    if (sum.leastTimes) {
      repeat = " | times any | step " + Num(sum.stride);
    } else if (sum.offset > free->offset && sum.sumFrom <= free->offset) {
      const std::uint32_t less = type_.dump.front().LessWith(free->leastTimes);
      least.offset -= less;
      least.sumSize -= less;
      repeat = " | size " + Num(layout_.leastSize);
      if (ChartSumCount(sum, 2) != sum.sumSize + 2)
        problems_.Add(sum.at, "sum", "this checksum over data of any size cannot be said");
    } else {
      problems_.Add(sum.at, "sum", "a checksum beside the patches of a bank that has as many as there are",
                    "{(40) sum}*1..64, {(40)}*1..64 sum");
    }
    verify->Put("verify",
                Num(least.sum) + " " + Num(least.sumFrom) + " " + Num(ChartSumCount(least)) + " " + Num(least.offset) +
                    (sum.orByte < 0 ? "" : " | or " + HexPair(sum.orByte)) + repeat,
                sum.at);
  }

  // Bytes of the message of a sum over data of any size when there is none of that.
  std::uint32_t ShortestOf(const ChartItem& sum) {
    if (sum.sumBehindAny || ChartSumCount(sum, 2) != sum.sumSize + 2)
      problems_.Add(sum.at, "sum", "this checksum over data of any size cannot be said");
    const ChartItem& last = type_.dump.front().items.back();
    return last.offset + last.size;
  }

  using PlacedSums = std::vector<std::pair<const ChartItem*, std::uint32_t>>;
  // Behind the sums that follow each other at the same distance and are alike.
  static std::size_t AlikeFrom(const PlacedSums& sums, std::size_t i) {
    const auto place = [&](std::size_t k) { return sums[k].second + sums[k].first->offset; };
    std::size_t end = i + 1;
    while (end < sums.size() && sums[end].first->sum == sums[i].first->sum && sums[end].first->times == 1 &&
           sums[end].first->sumSize == sums[i].first->sumSize &&
           place(end) - place(end - 1) == place(i + 1) - place(i) &&
           sums[end].second + sums[end].first->sumFrom - sums[end - 1].second - sums[end - 1].first->sumFrom ==
               place(end) - place(end - 1))
      ++end;
    return end;
  }

  const ChartType& type_;
  const ChartLayout& layout_;
  ChartLines& lines_;
  ChartProblems& problems_;
};

}  // namespace

void PutSums(const ChartType& type, const ChartLayout& layout, ChartLines* lines, ChartLines* verify,
             ChartProblems* problems) {
  SumWriter(type, layout, lines, problems).Write(verify);
}

}  // namespace tonalith
