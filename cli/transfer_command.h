#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/session.h"
#include "cli/simulated_state.h"
#include "cli/transfer_rig.h"

namespace tonalith {

// The part of the help text that receive and send share.
extern const char kTransferOptions[];

// What the options of receive and send say.
struct TransferOptions {
  std::string in, out, virtualDump, fault, press, state, conversation, type, record;
  bool isVirtual = false, isConversation = false;
  std::int64_t device = -1;  // as the instrument shows it; -1: not given
  std::int64_t channel = 0;  // from 1; 0: not given
  std::int64_t timeout = 0;
  std::vector<std::int64_t> patches;
};

// Names of the options with a value that both commands know.
const std::vector<std::string>& TransferOptionNames();
Result ReadOptions(const CliArguments& args, TransferOptions* options);

// One receive or send: the instrument, its end of the cable, and the rig.
class TransferCommand {
 public:
  TransferCommand(Session& session, const TransferOptions& options);

  TransferRig& rig() { return rig_; }

  // Plugs in what is at the other end and opens the ports.  `instrument` may be null when no module knows the data;
  // `type`: the data type, as only some simulated models know it.
  Result Prepare(ZKDrvList* instrument, bool needsInput, const ZKDrvList* type);
  Result Run(TransferOperation operation, DataFile* data, const GetOptions& get = {});
  Result Run(DeskRequest request);
  // After all transfers: what the other end has to say about them.
  Result Finish(TransferOperation operation);
  // The result of everything, from the transfers' and what the other end has to say (Finish).  A conversation that went
  // another way explains a failure better than a receive that starved, but not one that was ended here.
  Result Outcome(const Result& transfers, const Result& end) const;

 private:
  TransferRig::Watcher AtTheOtherEnd();
  Result FinishSimulated(TransferOperation operation);
  Result PlugSimulated(ZKDrvList* instrument, const ZKDrvList* type);
  int DeviceOf(const std::vector<std::uint8_t>& dump, const ZKDrvList* instrument);
  Result PlugTalk();
  Result SetChannels(ZKDrvList* instrument);
  int KeptDevice(const ZKDrvList& instrument) const;
  Result ChoosePort(MidiDirection direction, const std::string& wanted, const std::string& remembered,
                    std::string* name);
  Result OpenPorts(const ZKDrvList* instrument, bool needsInput);

  Session& session_;
  const TransferOptions& options_;
  TransferRig rig_;
  std::optional<SimulatedState> state_;  // of the simulated instrument, before the transfers
  std::size_t place_ = 0;
  bool talkBegun_ = false;  // or the panel was pressed
};

// --patch: the number of a single patch, or the patches of a bank that is got patch by patch.
Result ApplyPatches(const TransferOptions& options, DataFile* data, std::vector<std::uint8_t>* mask);
// The mask belongs to the command, not to the record.
void DropMask(DataFile* data);

}  // namespace tonalith
