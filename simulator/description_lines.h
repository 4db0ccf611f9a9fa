#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/description.h"

namespace tonalith {

// A word that is compared with those that are known.  While it records it equals none of them and keeps them: so what
// would have been right is said by the comparisons themselves.
class ComparedWord {
 public:
  ComparedWord& operator=(std::string_view text) {
    text_ = text;
    return *this;
  }
  bool operator==(std::string_view known) const {
    if (!recording_) return text_ == known;
    known_.emplace_back(known);
    return false;
  }
  const std::string& text() const { return text_; }
  void Record(bool on) { recording_ = on; }
  std::vector<std::string> TakeKnown() { return std::exchange(known_, {}); }

 private:
  std::string text_;
  bool recording_ = false;
  mutable std::vector<std::string> known_;
};

// The lines of a description: blocks, keys, values, and what is wrong with them.  At most one mistake a line is noted,
// and nothing of a block that is not known.
class DescriptionLines {
 protected:
  explicit DescriptionLines(std::string_view text) : text_(text) {}
  virtual ~DescriptionLines() = default;

  void ReadLines();
  std::vector<DescriptionMistake> TakeMistakes() { return std::move(mistakes_); }

  // A block begins, its kind is block_; false: there is none of that kind.
  virtual bool OpenBlock(const std::string& name) = 0;
  // A line key_ = value_ of the block; false: the key is not known in it.  May be called again with recording words.
  virtual bool Entry() = 0;

  // Notes what is wrong with the line; further mistakes of it are passed over.
  void Fail(const std::string& what, const std::string& hint = {});
  int line() const { return line_; }

  // Values of a whole line.  They give true: the key was known, whatever its value.
  bool Number(int& target, int low, int high);
  bool Text(std::string& target);
  bool YesNo(bool& target);
  bool Pattern(WirePattern& target);

  ComparedWord block_, key_;
  std::string_view value_;

 private:
  void ReadLine(std::string_view line);
  void UnknownKey();
  void UnknownBlock();

  std::string_view text_, whole_;  // of the file, of the line
  const char* begin_ = nullptr;    // of the part that is wrong when something is
  int line_ = 0;
  bool isKnown_ = false;  // the block
  std::vector<DescriptionMistake> mistakes_;
};

// "FILE, line N: what is wrong." of the first mistake, and how many there are.
std::string MistakeSentence(const std::string& source, const std::vector<DescriptionMistake>& mistakes);

}  // namespace tonalith
