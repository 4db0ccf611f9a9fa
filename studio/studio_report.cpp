#include "studio/studio_report.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>
#include <ostream>

#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "services/settings.h"
#include "services/window_counters.h"
#include "studio/device_ids.h"
#include "studio/module_facts.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"
#include "studio/sysex_map.h"

namespace tonalith {

namespace {

constexpr int kListingMargin = 3;
constexpr std::size_t kListingRule = 71, kInstrumentRule = 77, kPreferencesRule = 41;

const char* OnOff(int value) {
  return value ? "On" : "Off";
}
const char* YesNo(int value) {
  return value ? "Yes" : "No";
}
const char* EnabledDisabled(int value) {
  return value ? "Enabled" : "Disabled";
}

template <std::size_t N>
std::string Choice(const char* const (&names)[N], int value) {
  return value >= 0 && value < static_cast<int>(N) ? names[value] : std::to_string(value);
}

void WriteHeading(std::ostream& out, const std::string& title, char rule = '-') {
  out << title << "\n" << std::string(title.size(), rule) << "\n\n";
}

void WritePortLines(std::ostream& out, const char* way, const char* nameKey, int port,
                    const std::vector<std::string>& names, const std::string& stored) {
  out << "  MIDI " << way << " port #: " << port << "\n";
  out << "  MIDI " << way << " port name using number: ";
  if (port < static_cast<int>(names.size()))
    out << PlainLine(names[static_cast<std::size_t>(port)]) << "\n";
  else
    out << "WARNING! No port for MIDI " << way << " port #" << port << "\n";
  out << "  " << nameKey << " name (CString): " << PlainLine(stored) << "\n";
}

void WritePatchBay(std::ostream& out, const ZKDrvList& instrument, const std::vector<std::string>& outNames) {
  const bool on = (instrument.patchBayFlags & kPatchBayOn) != 0;
  out << "  Patch Bay Support: " << EnabledDisabled(on) << "\n";
  if (!on) return;
  out << "    Patch Bay Manual: " << YesNo(instrument.patchBayFlags & kPatchBayManual) << "\n";
  out << "    Patch Bay Port #: " << int{instrument.patchBayPort} << "\n";
  if (instrument.patchBayPort < outNames.size())
    out << "    Patch Bay Port name: " << PlainLine(outNames[instrument.patchBayPort]) << "\n";
  else
    out << "    Patch Bay Port Name: WARNING! No port for MIDI OUT port #" << int{instrument.patchBayPort} << "\n";
  out << "    Patch Bay MIDI Channel: " << int{instrument.patchBayChannel} << "\n";
  out << "    Patch Bay Cntrl # (Patch change): " << int{instrument.patchBayController} << "\n";
  out << "    Patch Bay Revert to Patch: " << YesNo(instrument.patchBayFlags & kPatchBayRevert) << "\n";
  out << "    Patch Bay Revert to Patch # (Patch change): " << int{instrument.patchBayRevertPatch} << "\n";
}

void WriteInstrumentSetup(std::ostream& out, const ZKDrvList& instrument, bool patchBay,
                          const std::vector<std::string>& ins, const std::vector<std::string>& outs) {
  const Synth* s = instrument.drivers.empty() ? nullptr : instrument.drivers.front()->synth();
  out << "Instrument: " << PlainLine(instrument.name) << "\n";
  out << "  Instrument #: " << int{instrument.instance} << "\n";
  if (!s || !s->hasSysExChannel || s->sysExChannelMin == s->sysExChannelMax)
    out << "  SysEx channel: not used\n";
  else
    out << "  SysEx channel: " << int{instrument.sysExChannel} << "\n";
  out << "  MIDI channel: " << instrument.midiChannel + 1 << "\n";
  WritePortLines(out, "IN", "Port In", instrument.midiInPort, ins, instrument.inPortName);
  WritePortLines(out, "OUT", "Port Out", instrument.midiOutPort, outs, instrument.outPortName);
  if (patchBay) WritePatchBay(out, instrument, outs);
  out << "\n\n";
  for (const auto& driver : instrument.drivers)
    if (driver->synth() && driver->synth()->reserved252)
      out << "  " << PlainLine(Latin1ToUtf8(driver->TypeName())) << " Custom value: " << driver->defaultPatch << "\n";
  out << std::string(kInstrumentRule, '-') << "\n";
}

void WritePreferences(std::ostream& out, const Settings* settings) {
  const auto value = [settings](SettingId id) {
    return settings ? settings->Value(id) : ReadSetting(GetDfltConfig(), id);
  };
  static constexpr const char* kAutoDefine[] = {"Off", "On", "Auto"};
  static constexpr const char* kNewSetElements[] = {"MIDI Channel", "Auto with Smart Port",
                                                    "Auto with Default MIDI In Port"};
  out << "Preferences (Partial Listing, raw values)\n" << std::string(kPreferencesRule, '-') << "\n\n";
  out << "Editor: Update Patch on Activate: " << OnOff(value(SettingId::MainUpdatePatch)) << "\n"
      << "Editor: Randomize: " << value(SettingId::MainRandom) << "\n"
      << "Editor: Window Scaling: " << value(SettingId::MainEnlarge) << "\n"
      << "Editor: Smart Controller: " << value(SettingId::MainMasterController) << "\n"
      << "Editor: Store In: " << OnOff(value(SettingId::MainStoreIn)) << "\n"
      << "Bank: Use Parent/Child Relations: " << OnOff(value(SettingId::MainShowParentChildRelationships)) << "\n"
      << "Bank: Edit Patch using Patch Number: " << OnOff(value(SettingId::MainEditPatchUsingPatchNumber)) << "\n"
      << "Set: Synchronization: " << OnOff(value(SettingId::MainUseSynchronizedEditing)) << "\n"
      << "Studio: Auto Load Sets: " << OnOff(value(SettingId::MainAutoGroup)) << "\n"
      << "Studio: Auto Sense when adding Instruments: " << OnOff(value(SettingId::MainAutoConfigInstruments)) << "\n"
      << "Studio: Receive manual bulk dumps and create new SysEx: "
      << OnOff(value(SettingId::MainReceiveManualBulkDumps)) << "\n"
      << "Studio: Add ROM Banks to New Sets: " << OnOff(value(SettingId::MainAutoAddRomBanks)) << "\n"
      << "Studio: Auto Define: " << Choice(kAutoDefine, value(SettingId::MainAutoDefinePatchesAndBanks)) << "\n"
      << "Studio: New Set Elements: " << Choice(kNewSetElements, value(SettingId::MainAutoLoadTempElements)) << "\n"
      << "MIDI: MIDI Thru: " << OnOff(value(SettingId::MainEchoMode)) << "\n"
      << "MIDI: Delay between SysEx transmissions: " << value(SettingId::MainDelay) << "ms\n"
      << "MIDI: Delay SysEx (delay every n bytes): " << value(SettingId::MainDelayMidi) << "\n"
      << "MIDI: Slow SysEx (ms per SysEx delay): " << value(SettingId::MainMidiSlow) << "\n"
      << "Misc: Auto Reload Session: " << OnOff(value(SettingId::MainAutoSaveLoadDesktop)) << "\n";
}

std::string OrUnassigned(const std::string& name) {
  return name.empty() ? "unassigned" : PlainLine(name);
}

}  // namespace

StudioReportFacts StudioReportFacts::OfThisMachine(const std::string& programPath) {
  StudioReportFacts facts;
  facts.programPath = programPath;
  utsname system{};
  if (::uname(&system) == 0)
    std::sscanf(system.release, "%d.%d.%d", &facts.kernel[0], &facts.kernel[1], &facts.kernel[2]);
  return facts;
}

bool StudioReports::PatchBaySupport() const {
  return (around_.settings ? around_.settings->Value(SettingId::PatchBayMode)
                           : ReadSetting(GetDfltConfig(), SettingId::PatchBayMode)) != 0;
}

void StudioReports::SetupInformation(std::ostream& out, const StudioReportFacts& facts) const {
  const bool patchBay = PatchBaySupport();
  const std::vector<std::string> ins = around_.InNames(), outs = around_.OutNames();
  WriteHeading(out, "Studio Configuration", '=');
  WriteHeading(out, "Global");
  out << "Platform: Linux\n"
      << "Linux Version: " << facts.kernel[0] << "." << facts.kernel[1] << "." << facts.kernel[2] << "\n"
      << "Program Path: " << facts.programPath << "\n"
      << "Instrument Path: " << around_.paths.instruments.string() << "\n"
      << "Data Path: " << around_.paths.data.string() << "\n"
      << "Global Patch Bay Support: " << EnabledDisabled(patchBay) << "\n\n\n";
  WriteHeading(out, "MIDI IN Ports");
  for (std::size_t i = 0; i < ins.size(); ++i) out << i << ": " << PlainLine(ins[i]) << "\n";
  out << "\n\n";
  WriteHeading(out, "MIDI OUT Ports");
  for (std::size_t i = 0; i < outs.size(); ++i) out << i << ": " << PlainLine(outs[i]) << "\n";
  out << "\n\n";
  WriteHeading(out, "Installed Instruments");
  const std::vector<std::string> modules = facts_.InstalledModules();
  out << "Number of installed instrument modules: " << modules.size() << "\n";
  for (const std::string& module : modules) out << PlainLine(module) << "\n";
  out << "\n\n";
  WriteHeading(out, "Loaded Instruments");
  for (const auto& instrument : list_.instruments()) out << PlainLine(instrument->DisplayKey()) << "\n";
  out << "\n\n";
  WriteHeading(out, "Loaded Instrument Setup");
  for (const auto& instrument : list_.instruments()) WriteInstrumentSetup(out, *instrument, patchBay, ins, outs);
  WritePreferences(out, around_.settings);
  out << "Stats\n-----\n";
  for (const auto& [kind, words] : WindowCounters::kKinds)
    out << words << ": " << (facts.windows ? facts.windows->Created(kind) : 0) << "\n";
  out << "\n\n";
}

std::vector<StudioListingPage> StudioReports::DrvPrint(const std::filesystem::path& studioFile,
                                                       int linesPerPage) const {
  StudioListingPage lines{"STUDIO LISTING",
                          "--------------",
                          "Filename: " + studioFile.filename().string(),
                          "Path: " + studioFile.parent_path().string(),
                          "Make            Model                    CommCh MidiCh Port Patch Cntrl",
                          std::string(kListingRule, '-')};
  for (const auto& instrument : list_.instruments()) {
    lines.push_back(instrument->path);
    for (const auto& driver : instrument->drivers) {
      const Synth* s = driver->synth();
      if (!s) continue;
      // Columns are counted in characters: the texts of instruments have one byte for each.
      lines.push_back(Latin1ToUtf8(Printf("%-15.15s %-25.25s %5d %6d %2d%2d %5d %5d", FieldText(s->shortName).c_str(),
                                          FieldText(s->typeName).c_str(), driver->sysExChannel + 1,
                                          driver->midiChannel + 1, driver->midiInPort + 1, driver->midiOutPort + 1,
                                          driver->defaultPatch, driver->patchBayController)));
    }
  }
  const std::size_t perPage = static_cast<std::size_t>(std::max(1, linesPerPage - kListingMargin));
  std::vector<StudioListingPage> pages;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i % perPage == 0) pages.emplace_back();
    pages.back().push_back(lines[i]);
  }
  return pages;
}

std::string StudioReports::TextSummary() const {
  const bool patchBay = PatchBaySupport();
  std::string out;
  for (const auto& instrument : list_.instruments()) {
    const Synth* s = instrument->drivers.empty() ? nullptr : instrument->drivers.front()->synth();
    if (!s) continue;
    out += PlainLine(instrument->name) + "\n";
    out += "\tMIDI IN Port: " + OrUnassigned(instrument->inPortName) + "\n";
    out += "\tMIDI OUT Port: " + OrUnassigned(instrument->outPortName) + "\n";
    if (s->hasSysExChannel)
      out += "\tSysEx Channel: " + std::to_string(ShownDeviceId(s, instrument->sysExChannel)) + "\n";
    out += "\tMIDI Channel: " + std::to_string(instrument->midiChannel + 1) + "\n";
    if (patchBay && (s->patchBayFlags & kPatchBayOn)) {
      out += "\tPatch Bay Mode: enabled\n\tPatch Bay Port: " + OrUnassigned(instrument->patchBayPortName) + "\n";
      out += "\tPatch Bay MIDI Channel: " + std::to_string(instrument->patchBayChannel + 1) + "\n";
      out += "\tPatch Bay Cntrl #: " + std::to_string(instrument->patchBayController) + "\n";
      out += std::string("\tPatch Bay Manual: ") + (s->patchBayFlags & kPatchBayManual ? "On" : "Off") + "\n";
      if (s->patchBayFlags & kPatchBayRevert)
        out +=
            "\tPatch Bay Revert: On\n\tPatch Bay Revert to: " + std::to_string(instrument->patchBayRevertPatch) + "\n";
    }
    out += "\n\n";
  }
  return out;
}

std::string StudioReports::DriversMissingDescriptor(
    const std::function<int(const std::filesystem::path& map)>& entriesOf) const {
  std::string lines;
  std::vector<int> seen;
  for (const auto& instrument : list_.instruments()) {
    if (facts_.IsUnfinished(instrument.get())) continue;
    for (const auto& driver : instrument->drivers) {
      const Synth* s = driver->synth();
      if (!s || s->dumpRequestSize == 0 || s->reserved296) continue;
      const int id = s->driverId;
      if (std::find(seen.begin(), seen.end(), id) != seen.end()) continue;
      seen.push_back(id);
      const std::string name = Printf("SysXMap.ID%d.bin", id);
      const auto map = FindPath(facts_.ModuleFolder(instrument.get()).string(), name, PathTrust::Untrusted);
      if (map && entriesOf(*map) > 0) continue;
      lines += PlainLine(Printf("ID%d: %s (%s) %s -> ", id, instrument->name.c_str(),
                                Latin1ToUtf8(driver->TypeName()).c_str(), instrument->moduleFile.c_str()));
      lines += map ? name + " file exists but no entries\r\n" : "no " + name + " file.\r\n";
    }
  }
  return lines;
}

}  // namespace tonalith
