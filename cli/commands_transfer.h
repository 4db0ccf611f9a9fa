#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/command.h"
#include "cli/session.h"
#include "cli/transfer_command.h"
#include "services/careful_send.h"
#include "services/instrument_history.h"

namespace tonalith {

// send FILE [options]: sends every piece of data in a file to its instrument.
int RunSend(CliEnvironment& environment, const std::vector<std::string>& args);
std::string SendForms();
std::string SendDetails();

// What is done beside sending.
struct SendWishes {
  std::string slots;  // "3,5-7"; empty: all
  bool keep = false;
  bool verify = false;
  bool obeysSetting = true;           // what the user chose for the instrument counts as well
  std::vector<std::uint8_t> patches;  // one value a patch, instead of slots; empty: all
  std::string rest;                   // where a bank of which not all was sent is written to; empty: nowhere
  // Told how the send of a piece ended; of these patches, as above.  What it gives stands behind the sentence of a
  // failure; empty: that says how to go on.
  std::function<std::string(const DataFile& piece, const std::vector<std::uint8_t>& patches, const DeskResult& result)>
      ended;
};

// The help text of --keep and --verify.
extern const char kSendWishes[];
Result ReadSendWishes(const CliArguments& arguments, const TransferOptions& options, SendWishes* wishes);
// Data on its way to its instrument, and what the wishes mean for it; slots are not looked at.
Result PrepareToSend(Session& session, TransferCommand& command, const SendWishes& wishes, DataFile* data,
                     CarefulSend* careful);
// Sends pieces of one instrument one after the other; a line of output for each.  `path` names them in sentences.
Result SendPieces(Session& session, const std::string& path, const std::vector<DataFilePtr>& pieces,
                  const TransferOptions& options, const SendWishes& wishes);
// Of the user; must not outlive the session.
InstrumentHistory HistoryOf(Session& session);

}  // namespace tonalith
