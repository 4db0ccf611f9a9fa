#pragma once

#include <string>
#include <vector>

#include "platform/result.h"
#include "studio/module_draft.h"

namespace tonalith {

// The first chart of a new instrument, from what its printed MIDI chart says and from a recorded dump.

// What a person says, in the order of a printed chart.  Empty: nothing.
struct ChartSaid {
  std::string name;
  std::string maker;    // bytes
  std::string device;   // letter, and what may stand behind it
  std::string request;  // messages as the printed chart has them
  std::string answer;
  std::string bank;         // how many patches there are
  std::string bankRequest;  // for all of them in one message
  std::string bankAnswer;
  std::string numbers;  // FIRST..LAST on the panel
  std::string sum;      // a word
  std::string nameAt;   // place and length in the data
  std::string identity;
  std::string rows;  // of [parameters]
  int drivers = 60000;
};

struct ChartDraft {
  std::string text;
  std::size_t types = 0;
  std::vector<std::string> warnings;
};

// A message in one of the ways charts are printed in ("0F0H", "$F0", "0xF0", "f0,42", "1111 0000", "0ppppppp") as ours
// have it.  What is no byte stays.  `device`: the letter of the device number, 0: none.
std::string PrintedMessage(const std::string& text, char device);

// Why what was said can be no message at all, as a range cannot; empty: it may be one, or nothing was said.
std::string NotAMessage(const std::string& said, const std::string& device);

// The chart of what was said.  A failure names what is missing.
Result DraftChart(const ChartSaid& said, ChartDraft* out);

// The chart of what was found in a dump, with what was said in its place.
Result DraftChart(const ChartSaid& said, const ModuleDraft& found, ChartDraft* out);

}  // namespace tonalith
