#include "studio/free_bank.h"

#include <algorithm>

#include "data/data_size.h"
#include "studio/recognize.h"
#include "studio/recognize_rules.h"
#include "studio/studio_document.h"

namespace tonalith {

BankGrowth GrowthOf(const Recognizer& recognizer, const DataFile& data) {
  BankGrowth growth;
  const ZKDrvList* driver = data.synth && data.body ? recognizer.DriverOf(data.synth->driverId) : nullptr;
  if (!driver || !data.synth->isBank || !IsOpenLayoutOf(*driver->synth(), *data.synth)) return growth;
  const Synth& type = *driver->synth();
  for (const RecognizeRule& rule : recognizer.FormsOf(data.synth->driverId)) {
    if (rule.messages.size() != 1 || !rule.messages.front().most) continue;
    const MessageRule& message = rule.messages.front();
    const std::uint64_t last = type.headerSize + std::uint64_t{type.voiceSize} * (type.numVoices - 1);
    if (message.step != type.voiceSize || last + type.voiceSize > driver->dataFile->bodySize) continue;
    growth.most = type.numVoices;
    if (message.turnsAt) growth.counts.push_back({message.turnsAt, 1, false, false});
    if (message.sizedAt) growth.counts.push_back({message.sizedAt, message.step, true, message.sizedLowFirst});
    growth.patch.assign(driver->dataFile->body + last, driver->dataFile->body + last + type.voiceSize);
    return growth;
  }
  return growth;
}

}  // namespace tonalith
