#pragma once

#include <optional>

#include "chart/instrument.h"
#include "chart/message_bytes.h"

namespace tonalith {

// How an instrument is found: what asks it who it is, and what it answers.
struct ChartInquiry {
  ChartMessage request, reply;
  bool own = false;  // of its maker's own (`find`), not the universal one (`identity`)
};

// Nothing when the chart says neither, or, with a mistake, one that cannot be asked.
std::optional<ChartInquiry> ReadChartInquiry(const ChartInstrument& chart, ChartProblems* problems);
// `find` says messages, not a data type.
bool IsOwnInquiry(const ChartEntry& find);
// A message of it as the module's own inquiry writes it.
std::string InquiryText(const ChartMessage& message);

}  // namespace tonalith
