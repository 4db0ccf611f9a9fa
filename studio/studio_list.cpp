#include "studio/studio_list.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

constexpr int kMaxInstances = 255;

}  // namespace

// --- Who is told -----------------------------------------------------------------------------------------------------

void StudioList::Tell() {
  untold_ = false;
  listeners_.Tell();
}

void StudioList::Changed() {
  ++generation_;
  untold_ = true;
  if (quiet_ == 0) Tell();
}

StudioList::Quiet::~Quiet() {
  if (--list_.quiet_ == 0 && list_.untold_) list_.Tell();
}

// --- Changing --------------------------------------------------------------------------------------------------------

ZKDrvList* StudioList::Append(std::unique_ptr<ZKDrvList> instrument) {
  instruments_.push_back(std::move(instrument));
  return instruments_.back().get();
}

int StudioList::RemoveEmpty() {
  return static_cast<int>(
      std::erase_if(instruments_, [](const auto& instrument) { return instrument->drivers.empty(); }));
}

int StudioList::FreeInstance(const std::string& name) const {
  for (int n = 0; n <= kMaxInstances; ++n) {
    const bool taken = std::any_of(instruments_.begin(), instruments_.end(),
                                   [&](const auto& i) { return i->name == name && i->instance == n; });
    if (!taken) return n;
  }
  return -1;
}

std::vector<ZKDrvList*> StudioList::TakeQueued() {
  return std::exchange(queued_, {});
}

bool StudioList::CloseWindowsOf(std::span<ZKDrvList* const> instruments) {
  return instruments.empty() || !around_.closeWindows || around_.closeWindows(instruments);
}

bool StudioList::CloseAllWindows() {
  std::vector<ZKDrvList*> all;
  for (const auto& instrument : instruments_) all.push_back(instrument.get());
  return CloseWindowsOf(all);
}

// Nothing may point at an instrument that leaves.
void StudioList::Forget(const ZKDrvList& instrument) {
  if (selection_ && (selection_ == &instrument || selection_->instrument == &instrument)) selection_ = nullptr;
  std::erase(queued_, &instrument);
  for (const auto& driver : instrument.drivers)
    if (driver->synth()) sysExBase_.Forget(driver->synth()->driverId);
}

std::unique_ptr<ZKDrvList> StudioList::TakeInstrument(ZKDrvList* instrument, int* index) {
  const auto place = [&] {
    return std::find_if(instruments_.begin(), instruments_.end(), [&](const auto& i) { return i.get() == instrument; });
  };
  if (place() == instruments_.end() || !CloseWindowsOf({&instrument, 1})) return nullptr;
  // The questions of the windows ran the event loop.
  const auto at = place();
  if (at == instruments_.end()) return nullptr;
  Forget(*instrument);
  if (index) *index = static_cast<int>(at - instruments_.begin());
  std::unique_ptr<ZKDrvList> taken = std::move(*at);
  instruments_.erase(at);
  Changed();
  return taken;
}

ZKDrvList* StudioList::PutBack(std::unique_ptr<ZKDrvList> instrument, int index) {
  if (!instrument || !instrument->IsInstrument()) return nullptr;
  ZKDrvList* node = instrument.get();
  const bool taken = std::any_of(instruments_.begin(), instruments_.end(),
                                 [&](const auto& i) { return i->name == node->name && i->instance == node->instance; });
  const int instance = taken ? FreeInstance(node->name) : node->instance;
  if (instance < 0) return nullptr;
  node->instance = static_cast<std::uint8_t>(instance);
  for (const auto& driver : node->drivers) driver->instance = node->instance;
  const auto at = std::clamp<std::ptrdiff_t>(index, 0, static_cast<std::ptrdiff_t>(instruments_.size()));
  instruments_.insert(instruments_.begin() + at, std::move(instrument));
  Changed();
  return node;
}

bool StudioList::MoveInstrument(int from, int to) {
  const int count = static_cast<int>(instruments_.size());
  if (from < 0 || to < 0 || from >= count || to >= count) return false;
  const auto first = instruments_.begin();
  if (from < to)
    std::rotate(first + from, first + from + 1, first + to + 1);
  else
    std::rotate(first + to, first + from, first + from + 1);
  if (from != to) Changed();
  return true;
}

bool StudioList::DeleteInstrument(ZKDrvList* instrument, bool ask) {
  if (!instrument || GetInstrumentDrvList(instrument) != instrument) return false;
  if (ask && !around_.Ask("Remove " + instrument->DisplayKey() + " from the studio?\nIts module stays installed."))
    return false;
  return TakeInstrument(instrument, nullptr) != nullptr;
}

bool StudioList::RemoveInstrumentUsingFilename(const std::string& moduleFile) {
  for (const auto& instrument : instruments_) {
    if (!AsciiEqualNoCase(instrument->moduleFile, moduleFile)) continue;
    return DeleteInstrument(instrument.get());
  }
  return false;
}

bool StudioList::DeleteAllDrivers(bool ask) {
  if (instruments_.empty()) return true;
  if (ask && !around_.Ask("Remove all instruments from the studio?\nTheir modules stay installed.")) return false;
  if (!CloseAllWindows()) return false;
  for (const auto& instrument : instruments_) Forget(*instrument);
  sysExBase_ = {};
  instruments_.clear();
  Changed();
  return true;
}

// --- Looking up ------------------------------------------------------------------------------------------------------

bool StudioList::IsInstrumentInstalled(const std::string& moduleFile) const {
  return std::any_of(instruments_.begin(), instruments_.end(),
                     [&](const auto& i) { return AsciiEqualNoCase(i->moduleFile, moduleFile); });
}

int StudioList::GetInstrumentCount(const std::string& name) const {
  return static_cast<int>(
      std::count_if(instruments_.begin(), instruments_.end(), [&](const auto& i) { return i->name == name; }));
}

ZKDrvList* StudioList::GetInstrument(int index) const {
  return index >= 0 && index < static_cast<int>(instruments_.size())
             ? instruments_[static_cast<std::size_t>(index)].get()
             : nullptr;
}

ZKDrvList* StudioList::getDrvList(const std::string& moduleFile, int instance) const {
  for (const auto& instrument : instruments_)
    if (AsciiEqualNoCase(instrument->moduleFile, moduleFile) && instrument->instance == instance)
      return instrument.get();
  return nullptr;
}

ZKDrvList* StudioList::GetInstrumentDrvList(const ZKDrvList* node) const {
  for (const auto& instrument : instruments_) {
    if (instrument.get() == node) return instrument.get();
    for (const auto& driver : instrument->drivers)
      if (driver.get() == node) return instrument.get();
  }
  return nullptr;
}

ZKDrvList* StudioList::GetDriverWithID(int id) const {
  for (const auto& instrument : instruments_)
    for (const auto& driver : instrument->drivers)
      if (driver->synth() && driver->synth()->driverId == id) return driver.get();
  return nullptr;
}

DataFile* StudioList::GetDFDriverWithID(int id) const {
  const ZKDrvList* driver = GetDriverWithID(id);
  return driver ? driver->dataFile.get() : nullptr;
}

bool StudioList::MainConfigDriver(int driverId) const {
  return driverId == 0 || GetDriverWithID(driverId) != nullptr;
}

DataFile* StudioList::GetSelDataFile() const {
  if (!GetInstrumentDrvList(selection_)) return nullptr;
  if (!selection_->IsInstrument()) return selection_->dataFile.get();
  return selection_->drivers.empty() ? nullptr : selection_->drivers.front()->dataFile.get();
}

std::string StudioList::GetDataFileDefn(int id) const {
  const ZKDrvList* driver = GetDriverWithID(id);
  return driver ? GetDefn(*driver->synth()) : std::string();
}

ZKDrvList* StudioList::DriverOf(const DataFile* dataFile) const {
  if (!dataFile || !dataFile->synth) return nullptr;
  ZKDrvList* first = nullptr;
  for (const auto& instrument : instruments_) {
    for (const auto& driver : instrument->drivers) {
      if (!driver->synth() || driver->synth()->driverId != dataFile->synth->driverId) continue;
      const DFXtra* xtra = dataFile->xtra;
      if (xtra && instrument->instance == xtra->instrumentIndex &&
          FieldText(xtra->instrumentName) == Utf8ToLatin1(instrument->name).substr(0, sizeof xtra->instrumentName - 1))
        return driver.get();
      if (!first) first = driver.get();
    }
  }
  return first;
}

ZKDrvList* StudioList::FindInstrument(std::string_view name) const {
  if (name.empty()) return nullptr;
  for (const auto& instrument : instruments_)
    if (AsciiEqualNoCase(instrument->DisplayKey(), name)) return instrument.get();
  const std::string part = AsciiLower(name);
  std::vector<ZKDrvList*> parts, words;
  for (const auto& instrument : instruments_) {
    const std::string key = instrument->DisplayKey();
    if (AsciiLower(key).find(part) != std::string::npos) parts.push_back(instrument.get());
    if (AsciiHasWordNoCase(key, name)) words.push_back(instrument.get());
  }
  const auto& meant = words.size() == 1 ? words : parts;
  return meant.size() == 1 ? meant.front() : nullptr;
}

ZKDrvList* StudioList::FindDriver(std::string_view instrumentName, std::string_view type) const {
  const ZKDrvList* instrument = FindInstrument(instrumentName);
  return instrument ? instrument->FindDriver(type) : nullptr;
}

}  // namespace tonalith
