#pragma once

#include <string>
#include <vector>

#include "chart/instrument.h"

namespace tonalith {

inline std::string Num(std::int64_t number) {
  return std::to_string(number);
}

// The lines of one file of a module source, each with its place in the chart.
struct ChartLines {
  std::string text;
  std::vector<ChartPlace> places;

  void Put(const std::string& line, ChartPlace at) {
    text += line + "\n";
    places.push_back(at);
  }
  void Put(const std::string& key, const std::string& value, ChartPlace at) { Put(key + " = " + value, at); }
  void Append(const ChartLines& other) {
    text += other.text;
    places.insert(places.end(), other.places.begin(), other.places.end());
  }
};

// Where the voices of a data type lie in its image, as its messages say.
struct ChartLayout {
  std::uint32_t fileSize = 0;  // 0: any
  std::uint32_t leastSize =
      0;  // of a bank that has as many patches as there are, with `fileSize` for the most; 0: no other
  std::uint32_t headerSize = 0, voiceSize = 0, voiceOffset = 0, voiceBytes = 0;
  std::uint32_t oneSize = 0;  // of one transfer
  // Patches that lie in blocks: bytes of the patches of a block, and those up to the next one; 0: no blocks.
  std::uint32_t blockBytes = 0, blockGap = 0;
  int packing = 0;
  const ChartItem* data = nullptr;  // of a patch
};

ChartLayout LayoutOf(const ChartType& type, ChartProblems* problems);

// A place in the memory of an address-based instrument; `slots`: so many lie `step` apart.
struct ChartArea {
  std::string base, step;  // hexadecimal
  int slots = 0;
  ChartPlace at;

  std::string Text() const;  // as steps and forms write it
};

// What lies in the memory of an address-based instrument.
struct ChartAddress {
  std::string model;
  std::size_t addressBytes = 0;
  int pieces = 256;              // most bytes of data in a message
  std::vector<ChartArea> areas;  // none: the data type is not by address
  // Of data that is no messages: bytes of one patch, what it takes, and those of all when there is more.
  std::uint32_t bytes = 0, room = 0, allBytes = 0;

  // The byte of an address is not the same in all of it.
  bool Varies(std::size_t byte) const;
};
ChartAddress AddressOf(const ChartInstrument& chart, const ChartType& type, ChartProblems* problems);
void PutAddressFields(const ChartType& type, const ChartAddress& address, ChartLines* lines);
void PutAddressForm(const ChartType& type, const ChartAddress& address, ChartLines* lines);
// The address of a message, counted from that of the first one.
std::vector<int> OffsetOf(const ChartType& type, const ChartMessage& message, const ChartAddress& address);

// The descriptor of a data type.
ChartLines DescriptorOf(const ChartInstrument& chart, const ChartType& type, ChartProblems* problems);

// Checksums: a single one of the data stands in the descriptor, others in lines of the first form (`verify`).
void PutSums(const ChartType& type, const ChartLayout& layout, ChartLines* lines, ChartLines* verify,
             ChartProblems* problems);

// `get` and `put` lines.
void PutSteps(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
              const ChartAddress& address, ChartLines* lines, ChartProblems* problems);

// `refused PATTERN "SENTENCE"` among the options of a step of an exchange: the messages as patterns, with their
// sentences.
std::vector<std::pair<std::string, std::string>> ExchangeRefusals(const std::string& step);
// A step for one value of the section's letter: `{b}` as it is shown, `{b byte}` as it stands in messages.
std::string ExchangeStep(const std::string& step, const ChartVariable& variable);
// The step without the sentences.
std::string WithoutSentences(const std::string& step);

// Forms of the data type in files; `verify`: the checksums, which stand in the first one.
void PutForms(const ChartInstrument& chart, const ChartType& type, const ChartLayout& layout,
              const ChartAddress& address, const ChartLines& verify, ChartLines* lines, ChartProblems* problems);

// The bytes in front of what varies in size or content, as a pattern: '?' for what is open.
std::string PatternOf(const ChartMessage& message, const ChartInstrument& chart, const ChartType& type);

// One byte of a message for a data type: its value when it is known for all its messages.
struct ChartKnownByte {
  int value = 0;  // what is sent when nothing else is known
  bool open = false;
};
ChartKnownByte KnownByte(const ChartByte& byte, const ChartInstrument& chart, const ChartType& type);
std::string HexPair(int value);

// The bytes of an item that the messages of a data type have alike: bytes and counts.
std::vector<int> FixedBytes(const ChartItem& item, const ChartInstrument& chart, const ChartType& type);

}  // namespace tonalith
