#pragma once

#include <string>

#include "chart/inquiry.h"
#include "cli/session.h"

namespace tonalith {

class ZKDrvList;

// Looks for an instrument, which answers as its chart says, over a virtual cable: what went wrong, or nothing.
// `device`: its value of the chart's device letter.
std::string PlaySearch(Session& session, const ChartInstrument& chart, const ChartInquiry& inquiry,
                       const ZKDrvList* instrument, int device);

}  // namespace tonalith
