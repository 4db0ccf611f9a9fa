#include "services/transfer_sentences.h"

#include <array>

#include "platform/text.h"
#include "script/protocols/protocol_line.h"
#include "script/started_at_panel.h"

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

constexpr const char* kSilent = "The instrument did not answer the request for the {what}{entry}{tried}.";
constexpr const char* kUnanswered = "The instrument did not answer to the {what}{entry} that was sent{tried}.";

// What the result codes mean to the user; the text of a code nobody has heard of is the last.
struct CodeRow {
  int code;
  const char* get;
  const char* send;
};
constexpr CodeRow kCodes[] = {
    {transfer_code::kNoResponse, kSilent, kUnanswered},
    {transfer_code::kStillNoResponse, kSilent, kUnanswered},
    {transfer_code::kQuiet, kSilent, kUnanswered},
    {transfer_code::kTimeOut, "The {what}{entry} was not received: what came did not end in time{tried}.",
     "Whether the instrument took the {what}{entry} is not known: its answer did not end in time{tried}."},
    {transfer_code::kMissingBytes, "The {what}{entry} was not received: bytes are missing in what came{tried}.",
     "Whether the instrument took the {what}{entry} is not known: bytes are missing in its answer{tried}."},
    {transfer_code::kEndOfMacro, "The {what}{entry} was not received: its command sequence is cut off.",
     "The {what}{entry} was not sent: its command sequence is cut off."},
    {transfer_code::kBadCommand,
     "The {what}{entry} was not received: its command sequence holds a command that cannot be carried out.",
     "The {what}{entry} was not sent: its command sequence holds a command that cannot be carried out."},
    {transfer_code::kNoEnd, "The {what}{entry} was not received: what came was damaged on the way{tried}.",
     "Whether the instrument took the {what}{entry} is not known: its answer was damaged on the way{tried}."},
    {transfer_code::kWrongCompany, "The {what}{entry} was not received: what came is something else{tried}.",
     "Whether the instrument took the {what}{entry} is not known: what came is not its answer{tried}."},
    {transfer_code::kUnexpectedAck,
     "The {what}{entry} was not received: the instrument acknowledged instead of sending{tried}.",
     "Whether the instrument took the {what}{entry} is not known: it acknowledged when something else was due{tried}."},
    {transfer_code::kCommunication,
     "The {what}{entry} was not received: the instrument reported an error of the exchange{tried}.",
     "The {what}{entry} was not taken: the instrument reported an error of the exchange{tried}."},
    {transfer_code::kRejected, "The {what}{entry} was not received: the instrument refused{tried}.",
     "The instrument did not take the {what}{entry}{tried}."},
    {transfer_code::kUnknownError, "The {what}{entry} was not received: the instrument's answer is not known{tried}.",
     "Whether the instrument took the {what}{entry} is not known: its answer is not known{tried}."},
    {transfer_code::kWrongCount, "The {what}{entry} was not received: what came has another size{tried}.",
     "Whether the instrument took the {what}{entry} is not known: its answer has another size than it should{tried}."},
    {transfer_code::kTooLarge, "The {what}{entry} was not received: what came is larger than its place{tried}.",
     "Whether the instrument took the {what}{entry} is not known: its answer is larger than it should be{tried}."},
    {transfer_code::kNoMemory, "There is not enough memory to receive the {what}.",
     "There is not enough memory to send the {what}."},
    {0, "The {what}{entry} was not received{tried}.", "Sending the {what}{entry} failed{tried}."},
};

constexpr const char* kInTransfer =
    "A MIDI transfer of {what} is {detail}.  Please wait until it is done or cancel it.";

// The first row that fits.  {what}, {port}, {loop}, {detail}, {done}, {wanted} stand for the facts, {entry} for the
// patch that failed, {tried} for how often it was tried when that was not once.
constexpr Row kRows[] = {
    {Kind::kGet, Cause::kNone, When::kAlways, "{what} was received."},
    {Kind::kGet, Cause::kBlocked, When::kAlways, "MIDI is blocked: the {what} was not received."},
    {Kind::kGet, Cause::kNoData, When::kAlways, "Receiving the {what} was not begun."},
    {Kind::kGet, Cause::kBusy, When::kAlways, kInTransfer},
    {Kind::kGet, Cause::kPortMissing, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kPortInUse, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kNotChosen, When::kAlways, "Receiving the {what} was given up before it began."},
    {Kind::kGet, Cause::kNeverBegan, When::kAlways, "Receiving the {what} was cancelled before it began."},
    {Kind::kGet, Cause::kCancelled, When::kAlways, "Receiving the {what} was cancelled."},
    {Kind::kGet, Cause::kPortLost, When::kAlways,
     "Receiving the {what}{entry} ended: its MIDI port is no longer available."},
    {Kind::kGet, Cause::kPortNeverOpen, When::kAlways, "No MIDI IN port is open for the {what}."},
    {Kind::kGet, Cause::kPortRefused, When::kAlways,
     "The request for the {what} could not be sent: the MIDI OUT port does not take data."},
    {Kind::kGet, Cause::kNoScript, When::kAlways,
     "The {what} cannot be received: No Command Sequence to Receive Data."},
    {Kind::kGet, Cause::kScriptStopped, When::kAlways, "The script that receives the {what}{entry} was {detail}."},
    {Kind::kGet, Cause::kNothingReceived, When::kAlways, kSilent},
    {Kind::kGet, Cause::kNotStarted, When::kAlways,
     "No {what} came.  The dump has to be started on the instrument while it is waited for."},
    {Kind::kGet, Cause::kDamaged, When::kAlways,
     "The {what}{entry} was not received: what came was damaged on the way{tried}."},
    {Kind::kGet, Cause::kIncomplete, When::kAlways, "{done} of {wanted} patches of {what} were received."},
    {Kind::kGet, Cause::kStopped, When::kAlways, "{detail}"},
    {Kind::kGet, Cause::kAbandoned, When::kAlways, "Receiving the {what} was given up."},

    {Kind::kSend, Cause::kNone, When::kAlways, "{what} was sent."},
    {Kind::kSend, Cause::kBlocked, When::kAlways, "MIDI is blocked: the {what} was not sent."},
    {Kind::kSend, Cause::kNoData, When::kAlways, "Sending the {what} was not begun."},
    {Kind::kSend, Cause::kBusy, When::kAlways, kInTransfer},
    {Kind::kSend, Cause::kPortMissing, When::kAlways, "{detail}"},
    {Kind::kSend, Cause::kPortInUse, When::kAlways, "{detail}"},
    {Kind::kSend, Cause::kNotChosen, When::kAlways, "Sending the {what} was given up before it began."},
    {Kind::kSend, Cause::kNothingToSend, When::kAlways, "The {what} was not sent: it holds no SysEx data."},
    {Kind::kSend, Cause::kInactive, When::kAlways, "The {what} is switched off and was not sent."},
    {Kind::kSend, Cause::kNeverBegan, When::kAlways, "Sending the {what} was cancelled before it began."},
    {Kind::kSend, Cause::kCancelled, When::kBegun,
     "Sending the {what} was cancelled; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kCancelled, When::kAlways, "Sending the {what} was cancelled before anything was sent."},
    {Kind::kSend, Cause::kPortLost, When::kBegun,
     "Sending the {what} ended: its MIDI port is no longer available; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kPortLost, When::kAlways, "The {what} was not sent: its MIDI port is no longer available."},
    {Kind::kSend, Cause::kPortNeverOpen, When::kAlways, "No MIDI OUT port is open for the {what}."},
    {Kind::kSend, Cause::kPortRefused, When::kAlways,
     "The {what} could not be sent: the MIDI OUT port does not take data."},
    {Kind::kSend, Cause::kNoScript, When::kAlways, "The {what} cannot be sent: No Command Sequence to Transmit Data."},
    {Kind::kSend, Cause::kScriptStopped, When::kBegun,
     "The script that sends the {what}{entry} was {detail}; the instrument may hold a part of it."},
    {Kind::kSend, Cause::kScriptStopped, When::kAlways, "The script that sends the {what}{entry} was {detail}."},
    {Kind::kSend, Cause::kNotTaken, When::kAlways, "The instrument did not take the {what}{entry}{tried}."},
    {Kind::kSend, Cause::kNoAnswer, When::kAlways, kUnanswered},
    {Kind::kSend, Cause::kSendFailed, When::kAlways, "Sending the {what}{entry} failed: ** TRANSMISSION ERROR **"},
    {Kind::kSend, Cause::kPortFailed, When::kAlways,
     "Sending the {what} failed: the MIDI OUT port \"{port}\" did not take all of it."},
    {Kind::kSend, Cause::kStopped, When::kAlways, "{detail}"},
    {Kind::kSend, Cause::kAbandoned, When::kAlways, "Sending the {what} was given up."},

    // A file whose part failed says what its part says.
    {Kind::kFile, Cause::kNone, When::kAlways, "{what} was sent."},
    {Kind::kFile, Cause::kCancelled, When::kAlways, "Sending {what} was stopped."},
    {Kind::kFile, Cause::kNeverBegan, When::kAlways, "Sending {what} was stopped."},
    {Kind::kFile, Cause::kNotChosen, When::kAlways, "Sending {what} was given up before it began."},
    {Kind::kFile, Cause::kInactive, When::kAlways, "{what} was not sent."},
    {Kind::kFile, Cause::kAbandoned, When::kAlways, "Sending {what} was given up."},
};

constexpr const char* kPatchesReceived = "{done} of {wanted} patches of {what} were received.";
constexpr const char* kPatchesHadCome = " ({done} of {wanted} patches had come).";
constexpr const char* kEntry = " (patch {number})";
constexpr const char* kTried = " ({number} attempts)";
constexpr const char* kLoop =
    " What is sent to the MIDI OUT port \"{loop}\" comes back on the MIDI IN port \"{port}\": MIDI thru is on "
    "somewhere, "
    "or a cable leads back.";
constexpr const char* kParts = " ({number} parts)";
constexpr const char* kInactiveParts = " Inactive parts that stayed out: {number}.";

std::string Filled(const char* text, const TransferFacts& facts) {
  const auto number = [](const char* around, const std::string& value) {
    return ReplaceAll(around, "{number}", value);
  };
  const std::array<std::pair<const char*, std::string>, 8> places{{
      {"{what}", facts.what},
      {"{port}", facts.port},
      {"{loop}", facts.loopFrom},
      {"{detail}", facts.detail},
      {"{done}", std::to_string(facts.patchesDone)},
      {"{wanted}", std::to_string(facts.patchesToDo)},
      {"{entry}", facts.patch.empty() ? std::string() : number(kEntry, facts.patch)},
      {"{tried}", facts.attempts > 1 ? number(kTried, std::to_string(facts.attempts)) : std::string()},
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

const char* TextOfCode(const TransferFacts& facts) {
  const bool get = facts.kind == Kind::kGet;
  // A time-out before anything came is no cut answer.
  if (facts.code == transfer_code::kTimeOut && !facts.answered) return get ? kSilent : kUnanswered;
  for (const CodeRow& row : kCodes)
    if (row.code == facts.code || row.code == 0) return get ? row.get : row.send;
  return "";
}

const char* TextOf(const TransferFacts& facts) {
  if (facts.cause == Cause::kCode && facts.kind != Kind::kFile) return TextOfCode(facts);
  if (facts.cause == Cause::kNothingReceived && facts.answered)
    return "The {what}{entry} was not received: what came could not be used{tried}.";
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
  if (facts.kind == Kind::kGet && facts.atPanel) return Filled("Receiving {what}...  ", facts) + kStartTheDump;
  if (facts.kind == Kind::kGet) return Filled("Receiving {what}...", facts);
  if (facts.messages == 0) return Filled("Sending {what}...", facts);
  return Filled("Sending {what}", facts) + " (SysEx messages: " + std::to_string(facts.messages) + ")...";
}

std::string EndSentence(const TransferFacts& facts) {
  const bool ok = facts.cause == Cause::kNone;
  const bool patches = facts.kind == Kind::kGet && facts.patchesToDo > 0;
  const bool counted = facts.cause == Cause::kIncomplete || (ok && patches);
  std::string text = OneSentence(Filled(counted && ok ? kPatchesReceived : TextOf(facts), facts));
  if ((ok || counted) && facts.kind == Kind::kGet && !facts.missing.empty()) {
    text.pop_back();
    text += "; " + facts.missing + ".";
  }
  if (!ok && facts.kind == Kind::kSend && !facts.missing.empty()) {
    text.pop_back();
    text += Filled(" ({done} of {wanted} patches were sent; ", facts) + facts.missing + ").";
  }
  if (!ok && !counted && patches && facts.patchesDone > 0 && facts.patchesDone < facts.patchesToDo) {
    if (text.back() == '.') text.pop_back();
    text += Filled(kPatchesHadCome, facts);
  }
  if (!ok && facts.kind == Kind::kGet && !facts.loopFrom.empty()) text += Filled(kLoop, facts);
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
  facts.patch = Latin1ToUtf8(result.number);
  facts.attempts = result.attempts;
  facts.answered = result.answered;
  facts.patchesDone = result.patchesDone;
  facts.patchesToDo = result.patchesToDo;
  facts.port = result.port;
  facts.loopFrom = result.loopFrom;
  facts.detail = result.scriptStop;
  facts.missing = Latin1ToUtf8(result.missing);
  if (facts.kind == Kind::kSend && !facts.missing.empty()) facts.patch.clear();
  return facts;
}

std::string SharedLineSentence(const std::vector<std::string>& others, const std::string& port) {
  std::string names;
  for (std::size_t i = 0; i < others.size(); ++i)
    names += (i == 0 ? "" : i + 1 == others.size() ? " and " : ", ") + ("\"" + others[i] + "\"");
  const char* verb = others.size() == 1 ? " is" : " are";
  return names + verb + " connected to the MIDI OUT port \"" + port +
         "\" as well: what comes from there in the middle of the data spoils it.";
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
