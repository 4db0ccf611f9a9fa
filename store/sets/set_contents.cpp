// What the components of a Set hold: changed as a whole, and told from what the file has.

#include <algorithm>
#include <span>

#include "document/data_file_target.h"
#include "script/transfer_engine.h"
#include "services/transfer_sentences.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

// Ports, channels and scripts are those of the studio and change with it; all else is content.
bool IsContent(DataBuffer buffer) {
  switch (buffer) {
    case DataBuffer::Synth:
    case DataBuffer::Xtra:
    case DataBuffer::MidiInPortName:
    case DataBuffer::MidiOutPortName:
    case DataBuffer::PatchBayPortName:
    case DataBuffer::TransmitScript:
    case DataBuffer::ReceiveScript:
    case DataBuffer::AuditionScript:
      return false;
    default:
      return true;
  }
}

bool SameBuffer(const DataFile& a, const DataFile& b, DataBuffer buffer) {
  const auto one = DataBufferBytes(const_cast<DataFile&>(a), buffer);
  const auto other = DataBufferBytes(const_cast<DataFile&>(b), buffer);
  return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

class Print {
 public:
  void Add(std::span<const std::uint8_t> bytes) {
    Add(bytes.size());
    for (const std::uint8_t byte : bytes) Mix(byte);
  }
  void Add(std::uint64_t value) {
    for (int i = 0; i < 8; ++i) Mix(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  std::uint64_t value() const { return value_; }

 private:
  void Mix(std::uint8_t byte) { value_ = (value_ ^ byte) * 0x100000001B3U; }
  std::uint64_t value_ = 0xCBF29CE484222325U;
};

std::uint64_t PrintOf(const DataFile& data) {
  Print print;
  for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) {
    if (IsContent(static_cast<DataBuffer>(buffer)))
      print.Add(DataBufferBytes(const_cast<DataFile&>(data), static_cast<DataBuffer>(buffer)));
  }
  if (data.xtra) print.Add((data.xtra->hasNoSysEx ? 1U : 0U) + (data.xtra->isInactive ? 2U : 0U));
  return print.value();
}

}  // namespace

bool SameContent(const DataFile& a, const DataFile& b) {
  if (!a.xtra != !b.xtra || (a.xtra && !a.xtra->hasNoSysEx != !b.xtra->hasNoSysEx)) return false;
  for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) {
    const auto which = static_cast<DataBuffer>(buffer);
    if (IsContent(which) && which != DataBuffer::Reference && !SameBuffer(a, b, which)) return false;
  }
  return true;
}

void ZKGrpDoc::ForgetPrints(const DocumentChange& change) {
  if (change.kind == DocumentChange::Kind::State) return;
  for (int i = 0; i < GetDataFileCount(); ++i)
    if (change.kind != DocumentChange::Kind::Item || change.item == i)
      components_[static_cast<std::size_t>(i)].now.reset();
}

void ZKGrpDoc::FileHoldsAll() {
  for (Component& component : components_) {
    component.inFile = PrintOf(*component.data);
    component.now = component.inFile;
  }
}

bool ZKGrpDoc::IsChanged(int component) const {
  if (!Has(component) || path().empty()) return false;
  const Component& c = components_[static_cast<std::size_t>(component)];
  if (!c.now) c.now = PrintOf(*c.data);
  return *c.now != c.inFile;
}

Result ZKGrpDoc::EditData(int component, const DataFile& data, const std::string& name) {
  if (Result may = Changeable(component); !may.ok()) return may;
  const DataFile& own = *components_[static_cast<std::size_t>(component)].data;
  if (own.isReference)
    return Result::Failure("The " + TitleOf(component) + " is linked to " + LinkPath(component) + ".");
  if (std::string other = OtherTypeSentence(own, data); !other.empty()) return Result::Failure(std::move(other));
  if (SameContent(own, data)) return Result::Success();
  DataFilePtr copy(DupForUser(&data));
  if (!copy) return Result::Failure("There is not enough memory.");
  HistoryGroup change(history(), name);
  TakeContent(component, std::move(copy));
  change.Commit();
  SetStatus(name);
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

void ZKGrpDoc::ChangeTogether(const std::string& name, const std::function<void()>& changes) {
  HistoryGroup all(history(), name);
  changes();
  all.Commit();
  Tell(DocumentChange::Kind::State);
}

Result ZKGrpDoc::Initialize(int component) {
  if (Result may = Changeable(component); !may.ok()) return may;
  DataFile& own = *components_[static_cast<std::size_t>(component)].data;
  if (own.isReference)
    return Result::Failure("The " + TitleOf(component) + " is linked to " + LinkPath(component) + ".");
  if (!own.xtra) return Result::Failure("The " + TitleOf(component) + " cannot be initialized: its record is damaged.");
  HistoryGroup change(history(), "Initialize");
  const auto item = static_cast<std::uint32_t>(component);
  history().RememberWhole(IdOf(DataBuffer::Xtra, item));
  history().RememberWhole(IdOf(DataBuffer::EmptyMap, item));
  own.xtra->isInactive = 0;
  own.xtra->hasNoSysEx = 0;
  const bool patchByPatch = own.synth->isBank != 0 && own.synth->patchByPatch != 0;
  if (own.emptyMap && !patchByPatch) std::fill_n(own.emptyMap, own.emptyMapSize, std::uint8_t{0});
  if (!change.Commit()) return Result::Success();
  SetStatus("Initialize");
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

Result ZKGrpDoc::ClearData(int component, const DataFile* fresh) {
  if (Result may = Changeable(component); !may.ok()) return may;
  const DataFile& own = *components_[static_cast<std::size_t>(component)].data;
  const bool fits = fresh && OtherTypeSentence(own, *fresh).empty();
  DataFilePtr copy(DupForUser(fits ? fresh : &own));
  if (!copy || !AddDataFileComponents(copy.get(), 0)) return Result::Failure("There is not enough memory.");
  MarkUndefined(copy.get());
  HistoryGroup change(history(), "Clear");
  TakeContent(component, std::move(copy));
  if (!change.Commit()) return Result::Success();
  RefreshLinks();
  SetStatus("Clear");
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

// ---- what instruments have and give

void ZKGrpDoc::BeginReceive(const std::vector<int>& components, const std::string& description) {
  unsent_.BeginReceive(components);
  history().Begin(description);
  for (const int component : components) {
    if (!Has(component)) continue;
    components_[static_cast<std::size_t>(component)].receiving = true;
    for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer)
      history().RememberWhole({static_cast<std::uint32_t>(component), buffer});
  }
  SetBusy(true);
}

void ZKGrpDoc::Arrived(int component, bool whole) {
  if (!Has(component)) return;
  components_[static_cast<std::size_t>(component)].receiving = false;
  unsent_.EndReceive(component);
  if (whole) unsent_.Holds(component);
  Tell(DocumentChange::Kind::Item, component);
}

bool ZKGrpDoc::EndReceive(const std::vector<int>& whole) {
  const bool changed = history().End();
  for (Component& c : components_) c.receiving = false;
  if (changed) SetStatus(UndoText());
  SetBusy(false);
  for (int i = 0; i < GetDataFileCount(); ++i) unsent_.EndReceive(i);
  for (const int component : whole) unsent_.Holds(component);
  Tell(DocumentChange::Kind::Everything);
  return changed;
}

void ZKGrpDoc::WereSent(const std::vector<int>& components) {
  for (const int component : components) unsent_.Holds(component);
  if (!components.empty()) Tell(DocumentChange::Kind::Everything);
}

void ZKGrpDoc::WereSent(int component, const std::vector<std::uint8_t>& patches,
                        const std::vector<std::uint64_t>& sounds) {
  unsent_.Holds(component, patches, sounds);
  Tell(DocumentChange::Kind::Item, component);
}

void ZKGrpDoc::InstrumentHolds(const DataFile& held) {
  for (int i = 0; i < GetDataFileCount(); ++i) {
    const DataFile& own = *components_[static_cast<std::size_t>(i)].data;
    if (!held.synth || own.synth->driverId != held.synth->driverId ||
        TransferInstrumentName(own) != TransferInstrumentName(held))
      continue;
    unsent_.Holds(i, held);
    Tell(DocumentChange::Kind::Item, i);
  }
}

void ZKGrpDoc::TakeHeldSounds(int component, const std::vector<std::uint64_t>& sounds) {
  if (!Has(component) || unsent_.HeldSounds(component) == sounds) return;
  unsent_.TakeHeldSounds(component, sounds);
  Tell(DocumentChange::Kind::Item, component);
}

}  // namespace tonalith
