#include "studio/studio_data.h"

#include <algorithm>

#include "data/data_size.h"
#include "data/patch_names.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "services/settings.h"
#include "studio/module_version.h"
#include "studio/recognize_rules.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

void TakeChunk(std::uint8_t** to, std::uint32_t* toSize, const std::uint8_t* from, std::uint32_t fromSize) {
  if (*to && from && *toSize == fromSize && std::equal(from, from + fromSize, *to)) return;
  FreeChunk(*to, *toSize);
  if (from && fromSize) AllocChunk(to, toSize, fromSize, from);
}

bool SameLayout(const Synth& a, const Synth& b) {
  if (IsOpenLayoutOf(a, b)) return true;
  return a.fileSize == b.fileSize && a.headerSize == b.headerSize && a.numVoices == b.numVoices &&
         a.voiceSize == b.voiceSize && a.isBank == b.isBank;
}

bool SameBytes(const std::uint8_t* a, std::uint32_t aSize, const std::uint8_t* b, std::uint32_t bSize) {
  if (!a || !b) return (a ? aSize : 0) == (b ? bSize : 0);
  return std::equal(a, a + aSize, b, b + bSize);
}

// Those of transfers.
bool SameScripts(const DataFile& a, const DataFile& b) {
  return SameBytes(a.transmitScript, a.transmitScriptSize, b.transmitScript, b.transmitScriptSize) &&
         SameBytes(a.receiveScript, a.receiveScriptSize, b.receiveScript, b.receiveScriptSize);
}

// The module that the data was made with, beside the one that is installed.
bool IsNewer(const DataFile& data, const DataFile& source) {
  const auto made = ModuleVersionOf(data), installed = ModuleVersionOf(source);
  return made && installed && *made > *installed;
}
bool IsOlder(const DataFile& data, const DataFile& source) {
  const auto made = ModuleVersionOf(data), installed = ModuleVersionOf(source);
  return made && (*made == 0 || (installed && *made < *installed));
}

// The descriptor of the driver for data of the same layout; what tells one piece of data from another stays.
void TakeDescriptor(Synth* to, const Synth& from) {
  Synth fresh = from;
  std::copy_n(to->shortName, sizeof fresh.shortName, fresh.shortName);
  std::copy_n(to->typeName, sizeof fresh.typeName, fresh.typeName);
  std::copy_n(to->typeKey, sizeof fresh.typeKey, fresh.typeKey);
  std::copy_n(to->variantText, sizeof fresh.variantText, fresh.variantText);
  fresh.timeStamp = to->timeStamp;
  fresh.driverId = to->driverId;
  fresh.linkId = to->linkId;
  fresh.childId = to->childId;
  fresh.localId = to->localId;
  fresh.zoneId = to->zoneId;
  fresh.patchNumber = to->patchNumber;
  fresh.bankNumberOffset = to->bankNumberOffset;
  fresh.multiBankBase = to->multiBankBase;
  // Data whose type leaves the size open keeps its own.
  if (+fresh.fileSize != +to->fileSize) AdoptSize(&fresh, to->fileSize);
  *to = fresh;
}

int WithinRange(int channel, const Synth& s) {
  const int low = std::max<int>(s.sysExChannelMin, 0);
  return std::clamp(channel, low, std::max<int>(s.sysExChannelMax, low));
}

}  // namespace

void ApplyInstrumentName(const ZKDrvList* node, DataFile* dataFile) {
  if (!node || !dataFile || !dataFile->xtra) return;
  const ZKDrvList* instrument = node->instrument ? node->instrument : node;
  CopyText(dataFile->xtra->instrumentName, Utf8ToLatin1(instrument->name));
  dataFile->xtra->instrumentIndex = instrument->instance;
  if (dataFile->synth) dataFile->xtra->driverNumber = dataFile->synth->driverId;
}

DataFilePtr StudioData::GetNewDataFile(const ZKDrvList* driver, const std::string& name) const {
  if (!driver || !driver->synth()) return nullptr;
  const DataFile& source = *driver->dataFile;
  DataFilePtr data(AllocDataNew(driver->dataFile.get()));
  if (!data || !AddDataFileComponents(data.get(), 0)) return nullptr;
  if (source.body && data->body) std::copy_n(source.body, std::min(source.bodySize, data->bodySize), data->body);
  ApplyInstrumentName(driver, data.get());
  const ZKDrvList* instrument = driver->instrument ? driver->instrument : driver;
  CopyText(data->midiInPortName, data->midiInPortNameSize, instrument->inPortName);
  CopyText(data->midiOutPortName, data->midiOutPortNameSize, instrument->outPortName);
  if (!name.empty() && data->synth->numVoices == 1) SetPatchName(data.get(), 0, name);
  return data;
}

DataFilePtr StudioData::GetNewDataFile(int driverId, const std::string& name) const {
  return GetNewDataFile(list_.GetDriverWithID(driverId), name);
}

void StudioData::TakeModule(DataFile* dataFile, const ZKDrvList& driver, int update) const {
  const DataFile& source = *driver.dataFile;
  if (update < 0) update = around_.settings ? around_.settings->Value(SettingId::MainAutoUpdate) : 0;
  if (update == 0 || !SameLayout(*source.synth, *dataFile->synth) || IsNewer(*dataFile, source)) return;
  const bool isChanged = !SameScripts(*dataFile, source);
  TakeDescriptor(dataFile->synth, *source.synth);
  TakeChunk(&dataFile->transmitScript, &dataFile->transmitScriptSize, source.transmitScript, source.transmitScriptSize);
  TakeChunk(&dataFile->receiveScript, &dataFile->receiveScriptSize, source.receiveScript, source.receiveScriptSize);
  TakeChunk(&dataFile->auditionScript, &dataFile->auditionScriptSize, source.auditionScript, source.auditionScriptSize);
  // A version that is the same in spite of it, or none, would not tell of the change any more.
  if (isChanged && dataFile->xtra && !IsOlder(*dataFile, source)) SetModuleVersion(dataFile->xtra, 0);
}

void StudioData::UpdateScripts(DataFile* dataFile) const {
  if (const ZKDrvList* driver = dataFile && dataFile->synth ? list_.DriverOf(dataFile) : nullptr)
    TakeModule(dataFile, *driver, -1);
}

std::string StudioData::ScriptsSentence(const DataFile& dataFile) const {
  const ZKDrvList* driver = dataFile.synth ? list_.DriverOf(&dataFile) : nullptr;
  if (!driver || !driver->instrument) return {};
  const DataFile& source = *driver->dataFile;
  const std::string module = "the module of the " + driver->instrument->name;
  const std::string own = "; the scripts that came with the data are used.";
  if (SameScripts(dataFile, source)) {
    if (!IsOlder(dataFile, source)) return {};
    return "The data was made before " + module + " was changed; the scripts of the installed one are used.";
  }
  if (IsNewer(dataFile, source)) return "The data was made with a newer version of " + module + own;
  if (!SameLayout(*source.synth, *dataFile.synth)) return "The data has another layout than " + module + " says" + own;
  return "The data was made before " + module + " was changed" + own;
}

std::string StudioData::RefusalSentence(int driverId, std::span<const std::uint8_t> message) const {
  const ZKDrvList* driver = list_.GetDriverWithID(driverId);
  if (!driver || !driver->instrument) return {};
  for (const auto& [text, sentence] : IniFile(driver->instrument->GetIniPath().string()).Entries("Refusals")) {
    BytePattern pattern;
    std::string error;
    if (ParseBytePattern(text, &pattern, &error) && pattern.Matches(message)) return sentence;
  }
  return {};
}

void StudioData::DrvUpdateDataFile(DataFile* dataFile, int update) const {
  const ZKDrvList* driver = list_.DriverOf(dataFile);
  if (!driver) return;
  const Synth& from = *driver->synth();
  Synth& to = *dataFile->synth;
  TakeModule(dataFile, *driver, update);
  to.sysExChannel = static_cast<std::uint8_t>(WithinRange(driver->sysExChannel, from));
  to.midiChannel = driver->midiChannel & 15;
  to.midiInPort = driver->midiInPort;
  to.midiOutPort = driver->midiOutPort;
  to.patchBayFlags = driver->patchBayFlags;
  to.patchBayChannel = driver->patchBayChannel;
  to.patchBayPort = driver->patchBayPort;
  to.patchBayRevertPatch = driver->patchBayRevertPatch;
  to.patchBayPatch = driver->patchBayController;
  to.imageIndex = driver->icon;
  const auto port = [](char* text, std::uint32_t size, const std::string& name) {
    if (text) CopyText(text, size, name);
  };
  port(dataFile->midiInPortName, dataFile->midiInPortNameSize, driver->inPortName);
  port(dataFile->midiOutPortName, dataFile->midiOutPortNameSize, driver->outPortName);
  port(dataFile->patchBayPortName, dataFile->patchBayPortNameSize, driver->patchBayPortName);
}

}  // namespace tonalith
