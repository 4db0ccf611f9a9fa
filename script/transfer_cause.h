#pragma once

namespace tonalith {

// Why a transfer did not do what was asked.  `kCode`: see the result code (MidiErrorMsg).
enum class TransferCause {
  kNone,
  // Before it began.
  kBlocked,        // MIDI is switched off for everybody
  kNoData,         // there is no DataFile
  kBusy,           // the DataFile is in another transfer
  kPortMissing,    // a port it needs is not open
  kPortInUse,      // somebody else receives on its input port
  kNotChosen,      // a question before the transfer was answered with Cancel
  kNothingToSend,  // the DataFile holds no data, or none that looks like SysEx
  kInactive,       // the DataFile is switched off
  kNeverBegan,     // cancelled while it waited for its ports
  // While it ran.
  kCancelled,
  kPortLost,       // a port went away
  kPortNeverOpen,  // a port was not there when the first byte was due
  kPortRefused,    // the output port does not take data
  kNoScript,       // the type has no command sequence for this direction
  kNotTaken,       // the instrument refused what was sent
  kNoAnswer,       // the instrument did not answer to what was sent
  kSendFailed,     // the transmission ended without a result
  kNothingReceived,
  kDamaged,        // what came has wrong checksums or a status byte inside
  kIncomplete,     // some patches of a bank came, others did not
  kScriptStopped,  // a script was ended before its own end, see the result's text
  kCode,
  // After the last byte was handed over.
  kPortFailed,  // the output port gave up messages it had taken
  // Of a sequence.
  kStopped,    // the step between two transfers ended it, see its own text
  kAbandoned,  // whoever asked, or the data, is gone
};

}  // namespace tonalith
