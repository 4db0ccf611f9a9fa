#include "services/transfer_sentences.h"

#include <gtest/gtest.h>

#include "platform/text.h"

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
      {Kind::kGet, Cause::kNoData, false, "Receiving the Yamaha DX7 Voice Bank was not begun."},
      {Kind::kGet, Cause::kPortMissing, false, "The detail."},
      {Kind::kGet, Cause::kPortInUse, false, "The detail."},
      {Kind::kGet, Cause::kNotChosen, false, "Receiving the Yamaha DX7 Voice Bank was given up before it began."},
      {Kind::kGet, Cause::kNeverBegan, false, "Receiving the Yamaha DX7 Voice Bank was cancelled before it began."},
      {Kind::kGet, Cause::kCancelled, true, "Receiving the Yamaha DX7 Voice Bank was cancelled."},
      {Kind::kGet, Cause::kPortLost, true,
       "Receiving the Yamaha DX7 Voice Bank ended: its MIDI port is no longer available."},
      {Kind::kGet, Cause::kPortNeverOpen, false, "No MIDI IN port is open for the Yamaha DX7 Voice Bank."},
      {Kind::kGet, Cause::kPortRefused, false,
       "The request for the Yamaha DX7 Voice Bank could not be sent: the MIDI OUT port does not take data."},
      {Kind::kGet, Cause::kNoScript, false,
       "The Yamaha DX7 Voice Bank cannot be received: No Command Sequence to Receive Data."},
      {Kind::kGet, Cause::kScriptStopped, true, "The script that receives the Yamaha DX7 Voice Bank was The detail."},
      {Kind::kGet, Cause::kNothingReceived, true,
       "The instrument did not answer the request for the Yamaha DX7 Voice Bank."},
      {Kind::kGet, Cause::kStopped, true, "The detail."},
      {Kind::kGet, Cause::kAbandoned, true, "Receiving the Yamaha DX7 Voice Bank was given up."},
      {Kind::kSend, Cause::kNone, true, "Yamaha DX7 Voice Bank was sent."},
      {Kind::kSend, Cause::kBlocked, false, "MIDI is blocked: the Yamaha DX7 Voice Bank was not sent."},
      {Kind::kSend, Cause::kNoData, false, "Sending the Yamaha DX7 Voice Bank was not begun."},
      {Kind::kSend, Cause::kPortMissing, false, "The detail."},
      {Kind::kSend, Cause::kPortInUse, false, "The detail."},
      {Kind::kSend, Cause::kNotChosen, false, "Sending the Yamaha DX7 Voice Bank was given up before it began."},
      {Kind::kSend, Cause::kNothingToSend, false, "The Yamaha DX7 Voice Bank was not sent: it holds no SysEx data."},
      {Kind::kSend, Cause::kInactive, false, "The Yamaha DX7 Voice Bank is switched off and was not sent."},
      {Kind::kSend, Cause::kNeverBegan, false, "Sending the Yamaha DX7 Voice Bank was cancelled before it began."},
      {Kind::kSend, Cause::kCancelled, true,
       "Sending the Yamaha DX7 Voice Bank was cancelled; the instrument may hold a part of it."},
      {Kind::kSend, Cause::kCancelled, false,
       "Sending the Yamaha DX7 Voice Bank was cancelled before anything was sent."},
      {Kind::kSend, Cause::kPortLost, true,
       "Sending the Yamaha DX7 Voice Bank ended: its MIDI port is no longer available; the instrument may hold a part "
       "of "
       "it."},
      {Kind::kSend, Cause::kPortLost, false,
       "The Yamaha DX7 Voice Bank was not sent: its MIDI port is no longer available."},
      {Kind::kSend, Cause::kPortNeverOpen, false, "No MIDI OUT port is open for the Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kPortRefused, false,
       "The Yamaha DX7 Voice Bank could not be sent: the MIDI OUT port does not take data."},
      {Kind::kSend, Cause::kNoScript, false,
       "The Yamaha DX7 Voice Bank cannot be sent: No Command Sequence to Transmit Data."},
      {Kind::kSend, Cause::kScriptStopped, false, "The script that sends the Yamaha DX7 Voice Bank was The detail."},
      {Kind::kSend, Cause::kScriptStopped, true,
       "The script that sends the Yamaha DX7 Voice Bank was The detail; the instrument may hold a part of it."},
      {Kind::kSend, Cause::kNotTaken, true, "The instrument did not take the Yamaha DX7 Voice Bank."},
      {Kind::kSend, Cause::kNoAnswer, true,
       "The instrument did not answer to the Yamaha DX7 Voice Bank that was sent."},
      {Kind::kSend, Cause::kSendFailed, true, "Sending the Yamaha DX7 Voice Bank failed: ** TRANSMISSION ERROR **"},
      {Kind::kSend, Cause::kPortFailed, true,
       "Sending the Yamaha DX7 Voice Bank failed: the MIDI OUT port \"UM-ONE\" did not take all of it."},
      {Kind::kSend, Cause::kStopped, true, "The detail."},
      {Kind::kSend, Cause::kAbandoned, true, "Sending the Yamaha DX7 Voice Bank was given up."},
      {Kind::kFile, Cause::kNone, true, "mine.PVS was sent."},
      {Kind::kFile, Cause::kCancelled, true, "Sending mine.PVS was stopped."},
      {Kind::kFile, Cause::kNeverBegan, false, "Sending mine.PVS was stopped."},
      {Kind::kFile, Cause::kNotChosen, false, "Sending mine.PVS was given up before it began."},
      {Kind::kFile, Cause::kInactive, false, "mine.PVS was not sent."},
      {Kind::kFile, Cause::kPortLost, true, "The detail."},
      {Kind::kFile, Cause::kAbandoned, true, "Sending mine.PVS was given up."},
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
  facts.patch = "A-13";
  facts.patchesToDo = 128;
  EXPECT_EQ(EndSentence(facts),
            "The J\xC3\xB6rgs {entry} Bank (patch A-13) was not received: bytes are missing in what came.");
  facts.patchesDone = 2;
  EXPECT_EQ(EndSentence(facts).substr(EndSentence(facts).find(" in what")),
            " in what came (2 of 128 patches had come).");
  facts.cause = Cause::kScriptStopped;
  facts.detail = "stopped after 5 s of computing";
  EXPECT_EQ(EndSentence(facts),
            "The script that receives the J\xC3\xB6rgs {entry} Bank (patch A-13) was stopped after 5 s of computing (2 "
            "of 128 "
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

// What is said of a result code: what failed, with the patch, and only the attempts there were.
TEST(TransferSentences, OfEveryResultCode) {
  const struct {
    int code;
    bool answered;
    const char *get, *send;  // {} stands for the data
  } rows[] = {
      {-1, false, "The instrument did not answer the request for the {}.",
       "The instrument did not answer to the {} that was sent."},
      {-2, false, "The instrument did not answer the request for the {}.",
       "The instrument did not answer to the {} that was sent."},
      {-2, true, "The {} was not received: what came did not end in time.",
       "Whether the instrument took the {} is not known: its answer did not end in time."},
      {-3, true, "The {} was not received: bytes are missing in what came.",
       "Whether the instrument took the {} is not known: bytes are missing in its answer."},
      {-5, false, "The {} was not received: its command sequence holds a command that cannot be carried out.",
       "The {} was not sent: its command sequence holds a command that cannot be carried out."},
      {-6, true, "The {} was not received: what came was damaged on the way.",
       "Whether the instrument took the {} is not known: its answer was damaged on the way."},
      {-7, true, "The {} was not received: what came is something else.",
       "Whether the instrument took the {} is not known: what came is not its answer."},
      {-10, true, "The {} was not received: the instrument refused.", "The instrument did not take the {}."},
      {-12, true, "The {} was not received: what came has another size.",
       "Whether the instrument took the {} is not known: its answer has another size than it should."},
      {-99, true, "The {} was not received.", "Sending the {} failed."},
  };
  for (const auto& row : rows)
    for (const Kind kind : {Kind::kGet, Kind::kSend}) {
      TransferFacts facts = Facts(kind, Cause::kCode);
      facts.code = row.code;
      facts.answered = row.answered;
      const std::string text = kind == Kind::kGet ? row.get : row.send;
      EXPECT_EQ(EndSentence(facts), ReplaceAll(text, "{}", "Yamaha DX7 Voice Bank"));
      facts.patch = "A-13";
      EXPECT_NE(EndSentence(facts).find("Voice Bank (patch A-13)"), std::string::npos);
    }
  for (int code = 0; code > -20; --code) {
    TransferFacts facts = Facts(Kind::kGet, Cause::kCode);
    facts.code = code;
    EXPECT_EQ(EndSentence(facts).find_first_of("{}"), std::string::npos) << code;
  }
  TransferFacts facts = Facts(Kind::kGet, Cause::kNothingReceived);
  facts.answered = true;
  facts.attempts = 3;
  EXPECT_EQ(EndSentence(facts),
            "The Yamaha DX7 Voice Bank was not received: what came could not be used (3 attempts).");
}

}  // namespace
}  // namespace tonalith
