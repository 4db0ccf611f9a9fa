// Cakewalk/Sonar instrument definitions: a file of our own, or our part of a user's Master.ins.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "store/names/name_banks.h"

namespace tonalith {

// An instrument definition file as an array of lines.  What is not ours stays byte for byte, line ends included.
// Texts are UTF-8 here; a file whose bytes are no UTF-8 is read and written as Windows-1252.
class MasterIns {
 public:
  // A file with the six chunks and nothing in them.
  MasterIns();

  Result LoadIns(const std::string& path);
  void LoadBytes(std::string_view bytes);
  std::string ToBytes() const;
  // Replaces the file as a whole or not at all; nothing happens when it holds these bytes already.  The file that was
  // there stays as NAME.bak (NAME.bak2 ... when that exists; nothing is overwritten), which `backup` (may be null)
  // receives.
  Result SaveIns(const std::string& path, std::string* backup = nullptr) const;

  int LineCount() const { return static_cast<int>(lines_.size()); }
  std::string LineText(int index) const { return lines_[static_cast<std::size_t>(index)].text; }

  // The first line equal to the name, without regard to case; -1.
  int FindChunkStart(const std::string& name) const;
  // The first line after `start` that begins with "; -----", or the number of lines.
  int FindChunkEnd(int start) const;
  // The first line of [from, to) equal to the name, without regard to case; -1.
  int FindBlockStart(int from, int to, const std::string& name) const;
  // The first line of [from, to) that begins with "[", or `to`.
  int FindBlockEnd(int from, int to) const;

  // "[NAME]" with nothing in it that would end the name early.
  static std::string CreateBlockName(const std::string& name);
  // Takes the numbered names ("12=...") out of a block; what else stands in it stays.  False: there is no such block.
  bool DeleteBlock(const std::string& chunk, const std::string& block);
  // Adds lines to a block, which is made when it is not there, as its chunk is.
  void AddBlock(const std::string& chunk, const std::string& block, const std::vector<std::string>& lines);
  // Sets how the instrument chooses banks and which names they have; other entries of the definition stay.
  void UpdateInstrumentDefn(const std::string& instrument, const std::vector<NameBank>& banks);
  // The names and definitions of all banks take the place of those of the same name.
  void Merge(const BankSelectNames& names);

 private:
  struct Line {
    std::string text;  // UTF-8, without its end
    std::string end;   // "\n", "\r\n"; empty: the file ends here
  };
  Line NewLine(std::string text) const { return {std::move(text), lineEnd_}; }
  void Insert(int at, const std::vector<std::string>& lines);
  int EnsureChunk(const std::string& chunk);
  // Sets KEY=VALUE in [from, to), in its line or in a new one; the number of lines added.
  int SetEntry(int from, int to, const std::string& key, const std::string& value);

  std::vector<Line> lines_;
  std::string lineEnd_ = "\n";
  bool isCp1252_ = false;
};

// A whole file of definitions with these banks.
std::string DiskMidiCakewalk(const BankSelectNames& names);

}  // namespace tonalith
