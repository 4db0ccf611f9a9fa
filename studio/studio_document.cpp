#include "studio/studio_document.h"

#include <utility>

#include "platform/log.h"
#include "services/settings.h"

namespace tonalith {

ZKStudioDoc::ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports)
    : around_{.paths = std::move(paths), .prompts = prompts, .ports = ports},
      list_(around_),
      facts_(around_),
      loader_(around_, facts_),
      defaults_(around_),
      portReferences_(around_, list_),
      plugins_(around_, list_, facts_),
      reports_(around_, list_, facts_),
      data_(around_, list_),
      file_({around_, list_, loader_, portReferences_, reports_, [this] { return LoadStudio(); }}) {}

void ZKStudioDoc::SetChangeSink(std::function<void()> sink) {
  list_.RemoveListener(std::exchange(changeSink_, 0));
  if (sink) changeSink_ = list_.AddListener(std::move(sink));
}

int ZKStudioDoc::LoadStudio() {
  if (!list_.DeleteAllDrivers()) return -1;
  const StudioList::Quiet quiet(list_);
  int added = 0;
  for (const std::string& module : facts_.InstalledModules()) added += AddDrivers(module, true);
  list_.Changed();
  return added;
}

bool ZKStudioDoc::AddDrivers(const std::string& moduleFile, bool queue) {
  auto instrument = loader_.LoadInstrument(moduleFile, list_);
  if (!instrument) return false;
  defaults_.AssignDefaultMIDIPorts(instrument.get());
  ZKDrvList* added = list_.Append(std::move(instrument));
  defaults_.ReadInstrumentDefaults(added);
  if (queue) list_.Queue(added);
  const bool sense =
      around_.settings && around_.settings->Value(SettingId::MainAutoConfigInstruments) != 0 && around_.autoSense;
  if (!sense || queue) added->SetMaxSysExSpeed(around_.ports);
  list_.Changed();
  if (sense && !queue) around_.autoSense(added);
  return true;
}

ZKDrvList* ZKStudioDoc::PutBack(std::unique_ptr<ZKDrvList> instrument, int index) {
  const StudioList::Quiet quiet(list_);
  ZKDrvList* node = list_.PutBack(std::move(instrument), index);
  if (node) portReferences_.UpdatePortNames(node);
  return node;
}

Result ZKStudioDoc::InstrumentChanged(const ZKDrvList* node) {
  const ZKDrvList* instrument = list_.GetInstrumentDrvList(node);
  if (!instrument) return Result::Success();
  const Result written = defaults_.WriteInstrumentDefaults(instrument);
  if (!written.ok()) MonitorMsg("%s", written.text.c_str());
  list_.Changed();
  return written;
}

void ZKStudioDoc::GetMidiPortNames(std::vector<std::string>* inNames, std::vector<std::string>* outNames) const {
  *inNames = around_.InNames();
  *outNames = around_.OutNames();
}

bool ZKStudioDoc::SelDataFileHasDeviceInquiry() const {
  return facts_.HasDeviceInquiry(list_.GetInstrumentDrvList(list_.selection()));
}

}  // namespace tonalith
