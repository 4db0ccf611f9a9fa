#include "studio/data_export.h"

#include <algorithm>

#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/text.h"
#include "script/render_transmission.h"
#include "script/transfer_engine.h"
#include "studio/file_form.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kWireBytesPerMs = 3;   // a MIDI cable carries 3.125
constexpr std::uint32_t kMessagePauseMs = 20;  // time an instrument has between two messages

}  // namespace

std::string DataTitle(const DataFile& dataFile) {
  return Latin1ToUtf8(TransferInstrumentName(dataFile) + " " + FieldText(dataFile.synth->typeName));
}

Result MessagesAsSent(DataFile* dataFile, Prompts& prompts, std::vector<RenderedMessage>* messages) {
  if (!dataFile || !dataFile->synth || !dataFile->body) return Result::Failure("There is no data.");
  const RenderedTransmission rendered = RenderTransmission(*dataFile, prompts);
  messages->clear();
  if (!rendered.scriptStop.empty())
    return Result::Failure("The script that sends the " + DataTitle(*dataFile) + " was " + rendered.scriptStop + ".");
  SysExSplitter splitter(rendered.stream);
  auto pause = rendered.pauses.begin();
  for (SysExPiece piece; splitter.Next(&piece);) {
    if (!piece.isTerminated) continue;
    RenderedMessage message{CleanSysEx(piece), 0};
    for (; pause != rendered.pauses.end() && pause->first <= piece.offset; ++pause)
      message.milliseconds += pause->second;
    messages->push_back(std::move(message));
  }
  if (!messages->empty()) return Result::Success();
  return Result::Failure("There is nothing to send in the " + DataTitle(*dataFile) + ".", kNothingRendered);
}

Result MessagesForFile(const Recognizer& recognizer, DataFile* dataFile, Prompts& prompts, bool withPauses,
                       std::vector<RenderedMessage>* messages, bool* isDeclared) {
  const FormMessages form = dataFile ? MessagesOfFile(recognizer, *dataFile) : FormMessages();
  *isDeclared = !form.empty();
  if (form.empty()) return MessagesAsSent(dataFile, prompts, messages);
  // The pauses are those of what is sent when that is the same, else the longest of them.  A script that does not come
  // to its end has none: the file needs it no further.
  std::vector<RenderedMessage> sent;
  if (withPauses) MessagesAsSent(dataFile, prompts, &sent);
  std::uint32_t longest = 0;
  bool isSame = sent.size() == form.size();
  for (std::size_t i = 0; i < sent.size(); ++i) {
    longest = std::max(longest, sent[i].milliseconds);
    isSame = isSame && sent[i].bytes == form[i];
  }
  messages->clear();
  for (std::size_t i = 0; i < form.size(); ++i)
    messages->push_back({form[i], isSame ? sent[i].milliseconds : i == 0 ? 0 : longest});
  return Result::Success();
}

std::string NotDeclaredSentence(const DataFile& dataFile) {
  return "The module declares no form of a file that holds the " + DataTitle(dataFile) +
         "; what is sent to the instrument is written.";
}

std::vector<std::uint8_t> RawSysExFile(std::span<const RenderedMessage> messages) {
  std::vector<std::uint8_t> bytes;
  for (const RenderedMessage& message : messages) bytes.insert(bytes.end(), message.bytes.begin(), message.bytes.end());
  return bytes;
}

std::vector<std::uint8_t> MidiFileOf(std::span<const RenderedMessage> messages, const std::string& title) {
  std::vector<SmfMessage> events;
  std::uint32_t after = 0;  // what the message before takes on the wire
  for (const RenderedMessage& message : messages) {
    events.push_back({message.bytes, std::max(after, message.milliseconds)});
    after = static_cast<std::uint32_t>(message.bytes.size()) / kWireBytesPerMs + kMessagePauseMs;
  }
  return WriteSmfSysEx(events, title);
}

}  // namespace tonalith
