#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "studio/coded_messages.h"
#include "studio/file_messages.h"
#include "studio/recognize_rules.h"

namespace tonalith {

class IniFile;
class ZKDrvList;
class ZKStudioDoc;

// How the data of all types in a studio looks, and an index by maker and length.

// Of a data type.
inline constexpr int kMostForms = 32;

struct TypeForms {
  const ZKDrvList* driver = nullptr;
  std::vector<RecognizeRule> forms;
};

// The forms of one type; rules that could not be read are named in `problems` (may be null).
std::vector<RecognizeRule> FormsOfDriver(const ZKDrvList& driver, std::vector<std::string>* problems = nullptr);

// A message that is no data: a parameter change, a button.
struct OtherMessage {
  std::string what;  // "parameter changes of ..."
  BytePattern pattern;
  bool open = false;  // anything may follow
  bool Is(std::span<const std::uint8_t> message) const;
};

struct FormIndex {
  std::uint32_t type = 0;
  std::uint32_t form = 0;
};

class TypeTable {
 public:
  // Reads the recognition sections of every driver.  The studio must outlive the table.
  void Load(const ZKStudioDoc& studio);

  const std::vector<TypeForms>& types() const { return types_; }
  const RecognizeRule& Form(const FormIndex& index) const { return types_[index.type].forms[index.form]; }
  // Null: no driver of the studio has this id.
  const TypeForms* TypeOf(int driverId) const;
  // Forms that may begin with a message of this maker and length, in the order of the types.
  const std::vector<FormIndex>& Candidates(const FileMessage& message) const;
  // Forms that may begin with a message of this maker, whatever its length.
  const std::vector<FormIndex>& OfMaker(const FileMessage& message) const { return makers_[message.bytes[1]].all; }
  // How the messages begin that choose where data goes.
  const std::vector<BytePattern>& contexts() const { return contexts_; }
  const std::vector<OtherMessage>& others() const { return others_; }
  // With the instrument's name.
  const std::vector<std::pair<std::string, CodedMessages>>& codings() const { return codings_; }
  // Rules that could not be read, "module: section: what".
  const std::vector<std::string>& problems() const { return problems_; }

 private:
  struct MakerForms {
    std::vector<FormIndex> all;
    std::vector<FormIndex> anyLength;
    // Forms of exactly this length and those of any, in the order of `all`.
    std::unordered_map<std::uint32_t, std::vector<FormIndex>> byLength;
  };
  void LoadOthers(const ZKDrvList& instrument, const IniFile& ini);
  void AddToIndex();
  void IndexLengths(MakerForms* maker) const;

  std::vector<TypeForms> types_;
  std::array<MakerForms, 256> makers_;  // by the second byte of a message
  std::vector<BytePattern> contexts_;
  std::vector<OtherMessage> others_;
  std::vector<std::pair<std::string, CodedMessages>> codings_;
  std::vector<std::string> problems_;
};

// Forms of a data type whose module says nothing of how it looks: data of exactly its size that begins with the maker
// and with what the answer to its request begins with.  `initial` is the image of new data; when it begins as a message
// of the maker, its header is that beginning, and its messages have the same lengths.  Else the request is: an answer
// is one message that repeats it but for the byte that makes it an answer.  Empty when neither tells the model: size
// and maker alone say too little.
std::vector<RecognizeRule> FormsOfAnswer(const Synth& synth, std::span<const std::uint8_t> initial);

}  // namespace tonalith
