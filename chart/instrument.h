#pragma once

#include <string>
#include <vector>

#include "chart/chart_text.h"
#include "chart/message.h"

namespace tonalith {

// What the sections of a chart say about an instrument and its data types, with messages and steps read.

// One step of getting or sending.
struct ChartStep {
  enum class Kind { kMessage, kPause, kNone, kPanel, kListen, kIgnore };
  struct Refusal {
    ChartMessage message;
    std::string sentence;
  };
  Kind kind = Kind::kMessage;
  ChartPlace at;
  ChartMessage message;
  std::string name;  // by which the message is known; empty when it stands there itself; what is ignored begins so
  bool answered = false;
  ChartMessage answer;
  std::string answerName;
  std::vector<Refusal> refused;
  int times = 1;        // with the letter of turns
  bool anyway = false;  // the answer may be missing
  int ms = 0;           // of a pause; how long the answer may take, 0: as usual
};

// A way the data looks in files: messages that follow each other.
struct ChartForm {
  ChartPlace at;
  std::vector<std::pair<std::string, ChartMessage>> messages;  // with their names
  char onlyFor = 0;                                            // `(b = 0)`: the letter ...
  int onlyValue = 0;                                           // ... and the value
};

// The device number.
struct ChartDevice {
  char letter = 0;  // 0: there is none
  int first = 0, last = 15, standard = 0;
  bool channel = false;
  ChartPlace at;
};

// The variable of a section for one data type.
struct ChartVariable {
  char letter = 0;
  int value = 0;      // in messages
  std::string shown;  // in texts
};

// A data type; a section with a variable makes several.
struct ChartType {
  const ChartSection* section = nullptr;
  std::string name;
  std::string fileName;  // of its files in the module, without ending
  ChartVariable variable;
  int driver = 0;  // driver id; 0: that of its place
  int slots = 1;
  std::string holds;  // name of the section of its patches
  ChartPlace holdsAt;
  bool patchwise = false;          // goes patch by patch
  std::vector<ChartMessage> dump;  // of a patchwise one: of one patch
  ChartMessage request;
  std::vector<ChartStep> get, put;
  bool getSaid = false, putSaid = false;  // by entries of their own
  std::vector<ChartForm> forms;
  const ChartSection* exchange = nullptr;  // [exchange NAME]: the steps as they stand

  const ChartEntry* Find(std::string_view key) const;
  bool Has(std::string_view flag) const;
};

struct ChartInstrument {
  const ChartText* text = nullptr;
  const ChartSection* head = nullptr;
  ChartDevice device;
  std::vector<ChartType> types;

  const ChartEntry* Find(std::string_view key) const;
  // Of the type, else of the instrument.
  const ChartEntry* Find(const ChartType& type, std::string_view key) const;
  // The first type of the section with this name, null without one.
  const ChartType* TypeNamed(std::string_view name) const;
  // The first type that holds patches of the section.
  const ChartType* HolderOf(const ChartType& type) const;
};

inline constexpr char kPatchLetter = 'p';
inline constexpr char kTurnLetter = 't';  // 0, 1, 2 ... in what stands there several times

// Reads the sections of the instrument and of its data types.
ChartInstrument ReadChartInstrument(const ChartText& text, ChartProblems* problems);

// The kind of checksum that an entry names, -1 without one.
int ChartSumKind(const ChartEntry* entry, ChartProblems* problems);
// `75 ms`, `3 s`; 0 and a mistake for anything else.
int ChartMilliseconds(const ChartCell& time, ChartProblems* problems);
// `{b}` replaced by the value as it is shown.
std::string ChartShown(const std::string& text, const ChartVariable& variable);
// `FIRST..LAST` of numbers, hex bytes or letters as they stand.
bool SplitChartRange(std::string_view text, std::string* first, std::string* last);
// The values of the variable of a section, in order.
std::vector<ChartVariable> ChartVariables(const ChartSection& section, ChartProblems* problems);

// The number of its first patch in messages, as `patches` says: a range, or one for each value of the section's letter.
int ChartFirstPatch(const ChartType& type);
// That range; empty when there is none.
std::string ChartPatchRange(const ChartType& type);

// Nothing of the data type can be sent, as the chart says.
bool IsChartReadonly(const ChartType& type, ChartProblems* problems);

}  // namespace tonalith
