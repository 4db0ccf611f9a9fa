#include "services/transfer_sentences.h"

#include <gtest/gtest.h>

#include <set>

namespace tonalith {
namespace {

using Kind = TransferFacts::Kind;
using Cause = TransferCause;

TransferFacts Facts(Kind kind, Cause cause) {
  TransferFacts facts;
  facts.kind = kind;
  facts.what = kind == Kind::kFile ? "mine.PVS" : "Yamaha DX7 Voice Bank";
  facts.cause = cause;
  facts.code = -1;
  facts.port = "UM-ONE";
  facts.detail = "The detail";
  return facts;
}

TEST(TransferSentences, OfEveryOperationAndCause) {
  const struct {
    Kind kind;
    Cause cause;
    bool begun;
    const char* sentence;
  } rows[] = {
      {Kind::kGet, Cause::kNone, false, "Yamaha DX7 Voice Bank was received."},
      {Kind::kGet, Cause::kBlocked, false, "MIDI is blocked: the Yamaha DX7 Voice Bank was not received."},
      {Kind::kGet, Cause::kNoData, false, "The transfer of the Yamaha DX7 Voice Bank was not started."},
      {Kind::kGet, Cause::kPortMissing, false, "The detail."},
      {Kind::kGet, Cause::kPortInUse, false, "The detail."},
      {Kind::kGet, Cause::kNotChosen, false, "Nothing was received."},
      {Kind::kGet, Cause::kNeverBegan, false, "Getting the Yamaha DX7 Voice Bank was cancelled before it began."},
      {Kind::kGet, Cause::kCancelled, true, "The MIDI transfer of the Yamaha DX7 Voice Bank was cancelled."},
      {Kind::kGet, Cause::kPortLost, true,
       "The MIDI connection to the Yamaha DX7 Voice Bank was lost: a MIDI port is no longer available."},
      {Kind::kGet, Cause::kPortNeverOpen, false, "No MIDI IN port is open for the Yamaha DX7 Voice Bank."},
      {Kind::kGet, Cause::kPortRefused, false,
       "The request for the Yamaha DX7 Voice Bank could not be sent: the MIDI OUT port does not take data."},
      {Kind::kGet, Cause::kNoScript, false, "No Command Sequence to Receive Data."},
      {Kind::kGet, Cause::kScriptStopped, true, "The script that receives the Yamaha DX7 Voice Bank was The detail."},
      {Kind::kGet, Cause::kNothingReceived, true, "No data was received for the Yamaha DX7 Voice Bank."},
      {Kind::kGet, Cause::kCode, true, "ERROR! MIDI Device did not respond! when receiving a Yamaha DX7 Voice Bank."},
      {Kind::kGet, Cause::kStopped, true, "The detail."},
      {Kind::kGet, Cause::kAbandoned, true, "The transfer was given up."},
      {Kind::kSend, Cause::kNone, true, "Yamaha DX7 Voice Bank was sent."},
      {Kind::kSend, Cause::kBlocked, false, "MIDI is blocked: the Yamaha DX7 Voice Bank was not sent."},
      {Kind::kSend, Cause::kNoData, false, "The transfer of the Yamaha DX7 Voice Bank was not started."},
      {Kind::kSend, Cause::kPortMissing, false, "The detail."},
      {Kind::kSend, Cause::kNotChosen, false, "Nothing was sent."},
      {Kind::kSend, Cause::kNothingToSend, false, "There is no SysEx data to transmit in the Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kInactive, false, "The Yamaha DX7 Voice Bank is switched off and was not sent."},
      {Kind::kSend, Cause::kNeverBegan, false, "Sending the Yamaha DX7 Voice Bank was cancelled before it began."},
      {Kind::kSend, Cause::kCancelled, true,
       "Sending the Yamaha DX7 Voice Bank was cancelled; the instrument may hold a part of it."},
      {Kind::kSend, Cause::kCancelled, false, "The MIDI transfer of the Yamaha DX7 Voice Bank was cancelled."},
      {Kind::kSend, Cause::kPortLost, true,
       "The MIDI connection to the Yamaha DX7 Voice Bank was lost; the instrument may hold a part of it."},
      {Kind::kSend, Cause::kPortLost, false,
       "The MIDI connection to the Yamaha DX7 Voice Bank was lost: a MIDI port is no longer available."},
      {Kind::kSend, Cause::kPortNeverOpen, false, "No MIDI OUT port is open for the Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kPortRefused, false,
       "The Yamaha DX7 Voice Bank could not be sent: the MIDI OUT port does not take data."},
      {Kind::kSend, Cause::kNoScript, false, "No Command Sequence to Transmit Data."},
      {Kind::kSend, Cause::kScriptStopped, false, "The script that sends the Yamaha DX7 Voice Bank was The detail."},
      {Kind::kSend, Cause::kScriptStopped, true,
       "The script that sends the Yamaha DX7 Voice Bank was The detail; the instrument may hold a part of it."},
      {Kind::kSend, Cause::kNotTaken, true, "The instrument did not take the Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kNoAnswer, true,
       "The instrument did not answer to the Yamaha DX7 Voice Bank that was sent."},
      {Kind::kSend, Cause::kSendFailed, true, "** TRANSMISSION ERROR **"},
      {Kind::kSend, Cause::kCode, true, "ERROR! MIDI Device did not respond! when sending a Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kPortFailed, true, "The MIDI OUT port \"UM-ONE\" did not take all of the data."},
      {Kind::kSend, Cause::kStopped, true, "The detail."},
      {Kind::kSend, Cause::kAbandoned, true, "The transfer was given up."},
      {Kind::kFile, Cause::kNone, true, "mine.PVS was sent."},
      {Kind::kFile, Cause::kCancelled, true, "Sending mine.PVS was stopped."},
      {Kind::kFile, Cause::kNeverBegan, false, "Sending mine.PVS was stopped."},
      {Kind::kFile, Cause::kInactive, false, "mine.PVS was not sent."},
      {Kind::kFile, Cause::kPortLost, true, "The detail."},
      {Kind::kFile, Cause::kAbandoned, true, "The transfer was given up."},
  };
  for (const auto& row : rows) {
    TransferFacts facts = Facts(row.kind, row.cause);
    facts.begun = row.begun;
    EXPECT_EQ(EndSentence(facts), row.sentence);
  }
  for (const Kind kind : {Kind::kGet, Kind::kSend}) {
    TransferFacts busy = Facts(kind, Cause::kBusy);
    busy.detail = "waiting";
    EXPECT_EQ(EndSentence(busy),
              "A MIDI transfer of Yamaha DX7 Voice Bank is waiting.  Please wait until it is done or cancel it.");
  }
}

TEST(TransferSentences, PatchesPartsAndNames) {
  TransferFacts facts = Facts(Kind::kGet, Cause::kCode);
  facts.what = "J\xC3\xB6rgs {entry} Bank";
  facts.code = -3;
  facts.entry = 3;
  facts.patchesToDo = 128;
  EXPECT_EQ(EndSentence(facts),
            "ERROR! After 3 attempts, SysX data is continually missing bytes! Continuing... when receiving a "
            "J\xC3\xB6rgs {entry} Bank (entry 3).");
  facts.patchesDone = 2;
  EXPECT_EQ(EndSentence(facts).substr(EndSentence(facts).find(" (entry")), " (entry 3) (2 of 128 patches had come).");
  facts.cause = Cause::kScriptStopped;
  facts.detail = "stopped after 5 s of computing";
  EXPECT_EQ(
      EndSentence(facts),
      "The script that receives the J\xC3\xB6rgs {entry} Bank (entry 3) was stopped after 5 s of computing (2 of 128 "
      "patches had come).");
  facts.cause = Cause::kNone;
  facts.patchesDone = 127;
  EXPECT_EQ(EndSentence(facts), "127 of 128 patches of J\xC3\xB6rgs {entry} Bank were received.");
  EXPECT_EQ(QueuedSentence(facts), "J\xC3\xB6rgs {entry} Bank waits until its MIDI ports are free.");
  EXPECT_EQ(StartedSentence(facts), "Receiving J\xC3\xB6rgs {entry} Bank...");

  TransferFacts file = Facts(Kind::kFile, Cause::kNone);
  file.partsSent = 2;
  file.partsInactive = 1;
  EXPECT_EQ(EndSentence(file), "mine.PVS was sent. (2 parts) Inactive parts that stayed out: 1.");
  file.partsSent = 1;
  EXPECT_EQ(EndSentence(file), "mine.PVS was sent. Inactive parts that stayed out: 1.");
  file.cause = Cause::kPortLost;
  EXPECT_EQ(EndSentence(file), "The detail. (1 parts) Inactive parts that stayed out: 1.");
  EXPECT_EQ(StartedSentence(file), "Sending mine.PVS...");
  file.messages = 4;
  EXPECT_EQ(StartedSentence(file), "Sending mine.PVS (SysEx messages: 4)...");
}

// Every result code has its own text, of one line.
TEST(TransferSentences, OfEveryResultCode) {
  std::set<std::string> seen;
  for (int code = -1; code >= -15; --code) {
    for (const Kind kind : {Kind::kGet, Kind::kSend}) {
      TransferFacts facts = Facts(kind, Cause::kCode);
      facts.code = code;
      const std::string sentence = EndSentence(facts);
      EXPECT_TRUE(seen.insert(sentence).second) << sentence;
      EXPECT_EQ(sentence.find('\n'), std::string::npos);
      EXPECT_NE(sentence.find(kind == Kind::kGet ? " when receiving a Yamaha" : " when sending a Yamaha"),
                std::string::npos)
          << sentence;
    }
  }
}

}  // namespace
}  // namespace tonalith
