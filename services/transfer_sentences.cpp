#include "services/transfer_sentences.h"

#include <array>

#include "platform/text.h"

namespace tonalith {

namespace {

using Kind = TransferFacts::Kind;
using Cause = TransferCause;

enum class When { kAlways, kBegun };  // kBegun: only when bytes had been handed to the port

struct Row {
  Kind kind;
  Cause cause;
  When when;
  const char* text;
};

constexpr const char* kInTransfer =
    "A MIDI transfer of {what} is {detail}.  Please wait until it is done or cancel it.";

// The first row that fits.  {what}, {port}, {detail}, {done}, {todo} stand for the facts, {code} for the text of the
// result code, {entry} for the patch that failed.
constexpr Row kRows[] = {
    {Kind::kGet, Cause::kNone, When::kAlways, "{what} was received."},
    {Kind::kGet, Cause::kBlocked, When::kAlways, "MIDI is blocked: the {what} was not received."},
    {Kind::kGet, Cause::kNoData, When::kAlways, "The transfer of the {what} was not started."},
    {Kind::kGet, Cause::kBusy, When::kAlways, kInTransfer},
    {Kind::kGet, Cause::kPortMissing, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kPortInUse, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kNotChosen, When::kAlways, "Nothing was received."},
    {Kind::kGet, Cause::kNeverBegan, When::kAlways, "Getting the {what} was cancelled before it began."},
    {Kind::kGet, Cause::kCancelled, When::kAlways, "The MIDI transfer of the {what} was cancelled."},
    {Kind::kGet, Cause::kPortLost, When::kAlways,
     "The MIDI connection to the {what} was lost: a MIDI port is no longer available."},
    {Kind::kGet, Cause::kPortNeverOpen, When::kAlways, "No MIDI IN port is open for the {what}."},
    {Kind::kGet, Cause::kPortRefused, When::kAlways,
     "The request for the {what} could not be sent: the MIDI OUT port does not take data."},
    {Kind::kGet, Cause::kNoScript, When::kAlways, "No Command Sequence to Receive Data"},
    {Kind::kGet, Cause::kScriptStopped, When::kAlways, "The script that receives the {what}{entry} was {detail}."},
    {Kind::kGet, Cause::kNothingReceived, When::kAlways, "No data was received for the {what}."},
    {Kind::kGet, Cause::kCode, When::kAlways, "{code} when receiving a {what}{entry}"},
    {Kind::kGet, Cause::kStopped, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kAbandoned, When::kAlways, "The transfer was given up."},

    {Kind::kSend, Cause::kNone, When::kAlways, "{what} was sent."},
    {Kind::kSend, Cause::kBlocked, When::kAlways, "MIDI is blocked: the {what} was not sent."},
    {Kind::kSend, Cause::kNoData, When::kAlways, "The transfer of the {what} was not started."},
    {Kind::kSend, Cause::kBusy, When::kAlways, kInTransfer},
    {Kind::kSend, Cause::kPortMissing, When::kAlways, "{detail}"},
    {Kind::kSend, Cause::kNotChosen, When::kAlways, "Nothing was sent."},
    {Kind::kSend, Cause::kNothingToSend, When::kAlways, "There is no SysEx data to transmit in the {what}."},
    {Kind::kSend, Cause::kInactive, When::kAlways, "The {what} is switched off and was not sent."},
    {Kind::kSend, Cause::kNeverBegan, When::kAlways, "Sending the {what} was cancelled before it began."},
    {Kind::kSend, Cause::kCancelled, When::kBegun,
     "Sending the {what} was cancelled; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kCancelled, When::kAlways, "The MIDI transfer of the {what} was cancelled."},
    {Kind::kSend, Cause::kPortLost, When::kBegun,
     "The MIDI connection to the {what} was lost; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kPortLost, When::kAlways,
     "The MIDI connection to the {what} was lost: a MIDI port is no longer available."},
    {Kind::kSend, Cause::kPortNeverOpen, When::kAlways, "No MIDI OUT port is open for the {what}."},
    {Kind::kSend, Cause::kPortRefused, When::kAlways,
     "The {what} could not be sent: the MIDI OUT port does not take data."},
    {Kind::kSend, Cause::kNoScript, When::kAlways, "No Command Sequence to Transmit Data"},
    {Kind::kSend, Cause::kScriptStopped, When::kBegun,
     "The script that sends the {what}{entry} was {detail}; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kScriptStopped, When::kAlways, "The script that sends the {what}{entry} was {detail}."},
    {Kind::kSend, Cause::kNotTaken, When::kAlways, "The instrument did not take the {what}{entry}."},
    {Kind::kSend, Cause::kNoAnswer, When::kAlways, "The instrument did not answer to the {what}{entry} that was sent."},
    {Kind::kSend, Cause::kSendFailed, When::kAlways, "** TRANSMISSION ERROR **"},
    {Kind::kSend, Cause::kCode, When::kAlways, "{code} when sending a {what}{entry}"},
    {Kind::kSend, Cause::kPortFailed, When::kAlways, "The MIDI OUT port \"{port}\" did not take all of the data."},
    {Kind::kSend, Cause::kStopped, When::kAlways, "{detail}"},
    {Kind::kSend, Cause::kAbandoned, When::kAlways, "The transfer was given up."},

    // A file whose part failed says what its part says.
    {Kind::kFile, Cause::kNone, When::kAlways, "{what} was sent."},
    {Kind::kFile, Cause::kCancelled, When::kAlways, "Sending {what} was stopped."},
    {Kind::kFile, Cause::kNeverBegan, When::kAlways, "Sending {what} was stopped."},
    {Kind::kFile, Cause::kInactive, When::kAlways, "{what} was not sent."},
    {Kind::kFile, Cause::kAbandoned, When::kAlways, "The transfer was given up."},
};

constexpr const char* kPatchesReceived = "{done} of {todo} patches of {what} were received.";
constexpr const char* kPatchesHadCome = " ({done} of {todo} patches had come).";
constexpr const char* kEntry = " (entry {number})";
constexpr const char* kParts = " ({number} parts)";
constexpr const char* kInactiveParts = " Inactive parts that stayed out: {number}.";

std::string Filled(const char* text, const TransferFacts& facts) {
  const auto number = [](const char* around, int value) {
    return ReplaceAll(around, "{number}", std::to_string(value));
  };
  const std::array<std::pair<const char*, std::string>, 7> places{{
      {"{what}", facts.what},
      {"{port}", facts.port},
      {"{detail}", facts.detail},
      {"{done}", std::to_string(facts.patchesDone)},
      {"{todo}", std::to_string(facts.patchesToDo)},
      {"{code}", std::string(MidiErrorMsg(facts.code))},
      {"{entry}", facts.entry >= 0 ? number(kEntry, facts.entry) : std::string()},
  }};
  // In one pass: what is put in may hold braces of its own.
  std::string filled;
  for (std::string_view rest = text; !rest.empty();) {
    bool found = false;
    for (const auto& [place, value] : places) {
      if (rest.substr(0, std::string_view(place).size()) != place) continue;
      filled += value;
      rest.remove_prefix(std::string_view(place).size());
      found = true;
      break;
    }
    if (found) continue;
    filled += rest.front();
    rest.remove_prefix(1);
  }
  return filled;
}

const char* TextOf(const TransferFacts& facts) {
  for (const Row& row : kRows)
    if (row.kind == facts.kind && row.cause == facts.cause && (row.when == When::kAlways || facts.begun))
      return row.text;
  return facts.detail.empty() ? "The transfer of the {what} failed." : "{detail}";
}

}  // namespace

std::string QueuedSentence(const TransferFacts& facts) {
  return Filled("{what} waits until its MIDI ports are free.", facts);
}

std::string StartedSentence(const TransferFacts& facts) {
  if (facts.kind == Kind::kGet) return Filled("Receiving {what}...", facts);
  if (facts.messages == 0) return Filled("Sending {what}...", facts);
  return Filled("Sending {what}", facts) + " (SysEx messages: " + std::to_string(facts.messages) + ")...";
}

std::string EndSentence(const TransferFacts& facts) {
  const bool ok = facts.cause == Cause::kNone;
  const bool patches = facts.kind == Kind::kGet && facts.patchesToDo > 0;
  std::string text = OneSentence(Filled(ok && patches ? kPatchesReceived : TextOf(facts), facts));
  if (!ok && patches && facts.patchesDone > 0 && facts.patchesDone < facts.patchesToDo) {
    if (text.back() == '.') text.pop_back();
    text += Filled(kPatchesHadCome, facts);
  }
  if (facts.kind != Kind::kFile) return text;
  if (facts.partsSent > 1 || (!ok && facts.partsSent > 0))
    text += ReplaceAll(kParts, "{number}", std::to_string(facts.partsSent));
  if (facts.partsInactive > 0) text += ReplaceAll(kInactiveParts, "{number}", std::to_string(facts.partsInactive));
  return text;
}

TransferFacts FactsOf(const TransferResult& result) {
  TransferFacts facts;
  facts.kind = result.operation == TransferOperation::kReceive ? Kind::kGet : Kind::kSend;
  facts.what = Latin1ToUtf8(result.what);
  facts.cause = result.cause;
  facts.code = result.code;
  facts.entry = result.entry;
  facts.patchesDone = result.patchesDone;
  facts.patchesToDo = result.patchesToDo;
  facts.port = result.port;
  facts.detail = result.scriptStop;
  return facts;
}

std::string TransferTitle(const DataFile& dataFile) {
  return Latin1ToUtf8(TransferInstrumentName(dataFile) + " " + FieldText(dataFile.synth->typeName));
}

std::string OneSentence(std::string_view text) {
  std::string line = ReplaceAll(ReplaceAll(text, "\r\n", " "), "\n", " ");
  line = std::string(TrimmedView(line));
  if (!line.empty() && line.back() != '.' && line.back() != '!' && line.back() != '*') line += '.';
  return line;
}

}  // namespace tonalith
