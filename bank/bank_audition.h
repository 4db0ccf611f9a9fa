#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKBankDoc;

// How an instrument is made to play a patch of a bank.
enum class AuditionWay {
  kNone,    // it cannot
  kChoose,  // by program change, from its own memory
  kSend,    // by sending the patch with the audition script of the bank
};

// What the user chose for banks with an audition script.
struct AuditionChoice {
  bool inSyncMacro = false;  // also a patch that the instrument holds as it is shown is sent
  bool forceMacro = false;   // every patch is sent
};

// A patch that holds nothing is only chosen; one that the instrument holds is chosen where it listens to that; any
// other is sent where the bank has a script for it, else chosen.
AuditionWay AuditionWayOf(const ZKBankDoc& document, int patch, const AuditionChoice& choice);
// Why a patch cannot be heard, a sentence for the log; success: it can.
Result AuditionRefusal(const ZKBankDoc& document, int patch, const AuditionChoice& choice);

// Data of which sending patch `patch` alone is an audition of it: the patch as the instrument's edit buffer has it, and
// the audition script of the bank in the place of its transmit script.  `newData` makes data of a driver id; null: the
// studio does not have it.
Result MakeAuditionData(ZKBankDoc& document, int patch, const std::function<DataFilePtr(int driverId)>& newData,
                        const std::filesystem::path& moduleFolder, DataFilePtr* data);

}  // namespace tonalith
