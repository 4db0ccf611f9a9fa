#include <algorithm>

#include "platform/text.h"
#include "studio/auto_configuration.h"
#include "studio/device_ids.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kLargestRequest = 2000;  // bytes a search may ask for again and again
constexpr char kTitle[] = "AutoSense";

bool CanBeRequested(const ZKDrvList& driver) {
  const Synth* s = driver.synth();
  return s && s->fileSize > 0 && (driver.dataFile->receiveScript || s->dumpRequestSize > 0 || s->rolandSize[0] != 0);
}

// The inquiry needs an instrument whose drivers are loaded; what is missing, in the words for it.
std::string InternalError(const ZKDrvList* instrument) {
  const std::string error = "AutoConfigDeviceInquiry Internal Error! ";
  if (!instrument) return error + "dlg->DrvList == NULL";
  if (instrument->drivers.empty()) return error + "dlg->DrvList->InstrDrvList == NULL";
  for (const auto& driver : instrument->drivers) {
    if (!driver->dataFile) return error + "dlg->DrvList->InstrDrvList->DataFile == NULL";
    if (!driver->synth()) return error + "dlg->DrvList->InstrDrvList->DataFile->Info == NULL";
  }
  return {};
}

}  // namespace

const ZKDrvList* AutoConfigRequestDriver(const ZKDrvList& instrument) {
  const ZKDrvList* smallest = nullptr;
  for (const auto& driver : instrument.drivers) {
    if (!driver->synth()) continue;
    if (driver->synth()->reserved253) return driver.get();
    if (!CanBeRequested(*driver) || driver->synth()->fileSize > kLargestRequest) continue;
    if (!smallest || driver->synth()->fileSize < smallest->synth()->fileSize) smallest = driver.get();
  }
  return smallest;
}

Result PrepareAutoConfig(const ZKStudioDoc& studio, const ZKDrvList* instrument, AutoConfigTask* task,
                         std::string* title) {
  *title = kTitle;
  if (!instrument) return Result::Failure("Internal Error!\n\nNo drivers loaded. Unable to proceed with AutoSense");
  const IniFile module(instrument->GetIniPath().string());
  task->instrumentName = instrument->DisplayKey();
  task->inquiry = ReadDeviceInquiry(module);
  task->before = ReadPreDeviceInquiry(module);
  task->helpFile = AutoConfigHelpFile(module, studio.paths().instruments);
  if (const std::string error = InternalError(instrument); !error.empty() && task->inquiry.enabled) {
    *title = "Device Inquiry";
    return Result::Failure(error);
  }
  if (!instrument->drivers.empty() && instrument->drivers[0]->synth())
    task->firstDevice = ShownDeviceId(instrument->drivers[0]->synth(), 0);
  const ZKDrvList* driver = task->inquiry.enabled ? nullptr : AutoConfigRequestDriver(*instrument);
  if (!driver) return Result::Success();
  task->request = studio.GetNewDataFile(driver);
  const Synth& synth = *driver->synth();
  const bool hasChannel = synth.hasSysExChannel != 0;
  task->channelLow = hasChannel ? std::max<int>(0, synth.sysExChannelMin) : 0;
  task->channelHigh = hasChannel ? std::max<int>(task->channelLow, synth.sysExChannelMax) : 0;
  task->firstDevice = ShownDeviceId(&synth, 0);
  return Result::Success();
}

std::string AutoConfigMissingPorts(int inputs, int outputs) {
  if (inputs > 0 && outputs > 0) return {};
  const char* missing = inputs > 0 ? "MIDI OUT" : outputs > 0 ? "MIDI IN" : "MIDI IN and MIDI OUT";
  return Printf(
      "There are currently no %s ports selected for use with this program.\n\nPlease click 'OK' in order to select the "
      "ports you will use with your device...",
      missing);
}

namespace {

// The instrument's own ID where the data type allows it; else the lowest it allows, and MIDI channel 0.
void SetDeviceId(ZKDrvList& driver, int deviceId) {
  Synth* s = driver.synth();
  if (!s) return;
  const int low = std::max<int>(s->sysExChannelMin, 0), high = std::max<int>(s->sysExChannelMax, low);
  const bool inRange = deviceId >= low && deviceId <= high;
  driver.SetSysExChannel(inRange ? deviceId : low);
  if (!inRange) driver.SetMidiChannel(0);
}

}  // namespace

Result ApplyAutoConfig(ZKStudioDoc& studio, ZKDrvList* instrument, const AutoConfigResult& result) {
  if (!instrument || result.outcome != AutoConfigOutcome::Found) return Result::Success();
  instrument->SetInPort(std::max(0, result.inPort), result.inPortName);
  instrument->SetOutPort(std::max(0, result.outPort), result.outPortName);
  studio.UpdatePortNames(instrument);  // numbers of this moment, and the pace of the port
  if (result.deviceId >= 0) {
    for (const auto& driver : instrument->drivers) SetDeviceId(*driver, result.deviceId);
    // The node shows what its data types use: the ID where one of them takes it.
    const ZKDrvList* shown = nullptr;
    for (const auto& driver : instrument->drivers)
      if (driver->synth() && (!shown || driver->sysExChannel == result.deviceId)) shown = driver.get();
    if (shown) {
      instrument->sysExChannel = shown->sysExChannel;
      if (shown->synth()->midiChannelFollowsSysEx || shown->sysExChannel != result.deviceId)
        instrument->midiChannel = shown->midiChannel;
    }
  }
  return studio.WriteInstrumentDefaults(instrument);
}

// ---------------------------------------------------------------------------------------------------- words

namespace {

std::string FoundText(const AutoConfigResult& result, bool hosted) {
  std::string text = "AutoSense configuration successful for the " + result.instrumentName + ".";
  if (hosted) return text;
  text += "\n\nMIDI IN Port: " + result.inPortName + "\nMIDI OUT Port: " + result.outPortName;
  // The instrument's own requests tell nothing about its model, so there is no set to select.
  if (result.setNumber >= 0) text += Printf("\nSet %d selected.", result.setNumber);
  return text;
}

std::string NotFoundText(const AutoConfigResult& result, bool hosted) {
  const std::string& name = result.instrumentName;
  if (hosted && !result.helpFile.empty())
    return "AutoSense could not find the " + name +
           ".\n\nThe Quickstart Help Guide will now open your PDF reader. It will help you to resolve problems in your "
           "device setup or computer configuration.";
  if (hosted)
    return "AutoSense could not find the " + name +
           ".\n\nPlease check your device is on and properly connected before closing and restarting this "
           "program.\n\nIf the problem persists, consult the 'Troubleshooting Guide.Pdf', available from the 'Manuals' "
           "menu.";
  const std::string versions = AutoConfigVersionText(result.patterns);
  std::string text =
      "A compatible " + name + versions +
      " was not detected.\n\nPlease verify that it is connected and running then try again.\nAlternately, "
      "manually configure the MIDI setup using the Studio Window Settings button.";
  if (!versions.empty()) text += "\n\nCheck your unit's OS and upgrade if applicable. ";
  for (const std::string& port : result.busyPorts)
    text += "\n\nThe MIDI OUT port \"" + port + "\" was not asked all the time, because a transfer had it.";
  return text;
}

}  // namespace

std::string AutoConfigResultText(const AutoConfigResult& result, bool hosted) {
  switch (result.outcome) {
    case AutoConfigOutcome::Found:
      return FoundText(result, hosted);
    case AutoConfigOutcome::NotFound:
      return NotFoundText(result, hosted);
    case AutoConfigOutcome::Failed:
      return result.errorText;
    case AutoConfigOutcome::Cancelled:
      break;
  }
  return "The search for the " + result.instrumentName + " was cancelled.";
}

}  // namespace tonalith
