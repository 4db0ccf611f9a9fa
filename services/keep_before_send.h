#pragma once

#include <string>

#include "platform/result.h"

namespace tonalith {

// Whether what an instrument holds is kept before something is written over it: a choice for each instrument.
enum class KeepBeforeSend { kDoNotKeep, kAskFirst, kKeepAlways };

// In the program's INI file ("[Keep Before Send]"); what was not chosen is kDoNotKeep.  The instrument is named as
// TransferInstrumentName does, in UTF-8.
KeepBeforeSend KeepBeforeSendOf(const std::string& iniPath, const std::string& instrument);
Result SetKeepBeforeSend(const std::string& iniPath, const std::string& instrument, KeepBeforeSend keep);

// Whether windows read back what they sent to an instrument and compare ("[Verify After Send]"); at first no.
bool VerifiesAfterSend(const std::string& iniPath, const std::string& instrument);
Result SetVerifiesAfterSend(const std::string& iniPath, const std::string& instrument, bool verifies);

}  // namespace tonalith
