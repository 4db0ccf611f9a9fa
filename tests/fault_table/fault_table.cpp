#include "tests/fault_table/fault_table.h"

#include <algorithm>
#include <set>

#include "data/patch_names.h"
#include "platform/text.h"

namespace tonalith::fault_table {

namespace {

struct Kind {
  const char* name;
  bool get, send;  // where it is tried
};

// Faults of single messages; {} becomes the number of the message.
constexpr Kind kKinds[] = {
    {"lost-byte:reply={}", true, true},        {"corrupt-byte:reply={}", true, true},
    {"late-reply:reply={}", true, true},       {"late-reply:delay=8000,reply={}", true, true},
    {"no-reply:reply={}", true, true},         {"double-reply:reply={}", true, true},
    {"truncated-reply:reply={}", true, true},  {"short-reply:reply={}", true, true},
    {"realtime-inside:reply={}", true, true},  {"foreign-first:reply={}", true, true},
    {"foreign-identity:reply={}", true, true}, {"wrong-device:reply={}", true, true},
};
// The same towards the instrument, and what it does with what it hears.
constexpr Kind kInputKinds[] = {
    {"lost-byte:direction=in,at=4,reply={}", true, true},
    {"corrupt-byte:direction=in,reply={}", false, true},
    {"truncated-reply:direction=in,at=5,reply={}", true, true},
    {"no-reply:direction=in,reply={}", true, true},
    {"busy-once:reply={}", true, true},
    {"refuse-once:reply={}", false, true},
};

const std::string kTwice = "twice:";  // in front of a fault: the data is read twice

std::set<int> Places(int count) {
  std::set<int> places;
  if (count > 0) places = {1, std::min(2, count), count};
  return places;
}

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

bool ChangeVoice(DataFile* data, std::uint32_t voice) {
  const Synth& synth = *data->synth;
  const bool anySize = (synth.optionBits & 2) == 0;
  const std::size_t middle =
      anySize ? synth.fileSize / 2
              : synth.headerSize + synth.voiceOffset + std::size_t{voice} * synth.voiceSize + synth.voiceSize / 2;
  const bool named = !synth.namesSeparate && SetPatchName(data, voice, "NEW");
  if (!named && middle < data->bodySize) data->body[middle] ^= 1;
  return named || middle < data->bodySize;
}

Bytes BodyOf(const DataFile& data) {
  return {data.body, data.body + data.synth->fileSize};
}

TypeTable::TypeTable(const TableType& type) : type_(type) {}

DataFilePtr TypeTable::Data(const Bytes& body) const {
  DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile(type_.driver);
  if (!data || body.empty()) return data;
  if (data->synth->fileSize != body.size()) {
    ResizeBody(data.get(), static_cast<std::uint32_t>((body.size() + 1) & ~std::size_t{1}));
    data->synth->fileSize = static_cast<std::uint32_t>(body.size());
  }
  std::copy(body.begin(), body.end(), data->body);
  if (data->xtra) data->xtra->hasNoSysEx = 0;
  if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  if (body == changed_)
    for (const std::uint32_t place : empty_) SetMapBit(data->emptyMap, data->emptyMapSize, place, true);
  return data;
}

TypeTable::Measure TypeTable::Measured(FaultRig& rig, DeskStep::Kind kind, DataFile& data, DeskResult* result) const {
  const Measure before{rig.Heard(), rig.Said(), rig.Carried()};
  *result = rig.Run(kind, data, patches_);
  return {rig.Heard() - before.heard, rig.Said() - before.said, rig.Carried() - before.carried};
}

std::string TypeTable::Prepare() {
  FaultRig rig(type_.simulated);
  DataFilePtr data = Data({});
  const std::uint32_t voices = data->synth->numVoices;
  if (type_.byPatch) {
    patches_.assign(voices, 0);
    for (const std::uint32_t patch : {0U, 1U, voices / 2, voices - 1})
      if (patch < voices) patches_[patch] = 1;
  }
  DeskResult result;
  if (type_.panel.empty()) {
    get_ = Measured(rig, DeskStep::Kind::kGet, *data, &result);
    if (!result.ok) return result.sentence;
  } else {
    Recognition found;
    const Bytes dump = rig.PanelDump(type_.panel);
    InstalledModules::Instance().recognizer().Recognize(dump, &found);
    const auto piece = std::find_if(found.pieces.begin(), found.pieces.end(), [&](const RecognizedPiece& one) {
      return one.driverId == type_.driver->synth()->driverId;
    });
    if (piece == found.pieces.end()) return "The instrument does not send \"" + type_.panel + "\".";
    data = std::move(piece->data);
  }
  wanted_ = BodyOf(*data);
  // Places that hold nothing in the instrument.
  for (std::uint32_t i = 0; i < patches_.size(); ++i)
    if (patches_[i] && MapBit(data->emptyMap, data->emptyMapSize, i)) empty_.insert(i);
  // What is there before a Get differs in every voice.
  former_ = wanted_;
  const Synth& synth = *data->synth;
  if ((synth.optionBits & 2) && synth.voiceSize > 0 && voices > 0)
    for (std::uint32_t i = 0; i < voices; ++i) {
      const std::size_t at = synth.headerSize + std::size_t{i} * synth.voiceSize + synth.voiceSize / 2;
      if (at < former_.size()) former_[at] ^= 2;
    }
  else
    former_[former_.size() / 2] ^= 2;
  if (!type_.sends) return {};
  for (std::uint32_t i = 0; i < voices; ++i)
    if (i == 0 || (type_.byPatch && patches_[i] && !empty_.count(i))) ChangeVoice(data.get(), i);
  const Bytes before = rig.Memory();
  send_ = Measured(rig, DeskStep::Kind::kSend, *data, &result);
  if (!result.ok) return result.sentence;
  changed_ = BodyOf(*data);
  held_ = rig.Memory();
  return held_ == before ? "The instrument did not take the data." : std::string();
}

std::vector<std::string> TypeTable::FaultsOf(bool send) const {
  const Measure& measure = send ? send_ : get_;
  std::vector<std::string> faults;
  const auto add = [&](const Kind& kind, int messages) {
    if (send ? !kind.send : !kind.get) return;
    for (const int place : Places(messages)) faults.push_back(ReplaceAll(kind.name, "{}", std::to_string(place)));
  };
  for (const Kind& kind : kKinds) add(kind, measure.said);
  for (const Kind& kind : kInputKinds) add(kind, measure.heard);
  if (!send && !type_.hasChecksum)
    for (const int place : Places(measure.said))
      faults.push_back(kTwice + "corrupt-byte:reply=" + std::to_string(place));
  if (!send) faults.push_back(kLostEvent + std::to_string(measure.carried / 2));
  for (const std::int64_t at : {std::int64_t{1}, measure.carried / 2, measure.carried - 1})
    faults.push_back("port-vanishes:at=" + std::to_string(at));
  return faults;
}

TableRow TypeTable::Run(const std::string& fault, bool send) {
  FaultRig rig(type_.simulated);
  TableRow row = RunOn(rig, fault, send);
  row.wrong = rig.hung() ? "hangs" : WrongOf(row);
  return row;
}

TableRow TypeTable::RunSchedule(const std::string& plan, bool send) {
  FaultRig rig(type_.simulated);
  const Bytes memory = rig.Memory();
  TableRow row = RunOn(rig, plan, send);
  const bool deaf = send && send_.said == 0;
  if (rig.hung())
    row.wrong = "hangs";
  else if (row.result.sentence.empty())
    row.wrong = "nothing is said";
  else if (row.result.ok && !row.same && !deaf && !MayDeceive(plan) && !(send && BreaksUnseen(plan)))
    row.wrong = send ? "\"ok\", and the instrument does not hold it" : "\"ok\", and the data is wrong";
  else if (!row.result.ok && !row.former && !MayDeceive(plan))
    row.wrong = "failed, and the former data is damaged";
  if (!row.wrong.empty() || !type_.panel.empty()) return row;
  rig.Recover();
  rig.RestoreMemory(memory);
  const TableRow again = RunOn(rig, {}, false);
  if (!again.result.ok || !again.same) row.wrong = "a Get without faults fails afterwards: " + again.result.sentence;
  return row;
}

TableRow TypeTable::RunOn(FaultRig& rig, const std::string& fault, bool send) const {
  const DataFilePtr data = Data(send ? changed_ : former_);
  const Bytes before = BodyOf(*data);
  const bool twice = fault.rfind(kTwice, 0) == 0;
  rig.ReadTwice(twice);
  rig.SetFaults(twice ? fault.substr(kTwice.size()) : fault);
  TableRow row;
  row.fault = fault;
  row.send = send;
  const Measure measure = Measured(rig, send ? DeskStep::Kind::kSend : DeskStep::Kind::kGet, *data, &row.result);
  row.heard = measure.heard;
  row.said = measure.said;
  const Bytes after = BodyOf(*data);
  if (send) {
    row.same = rig.Memory() == held_;
    row.former = after == before;
  } else if (!type_.byPatch) {
    row.same = after == wanted_;
    row.former = after == before;
  } else {
    const Synth& synth = *data->synth;
    row.same = row.former = after.size() == before.size();
    for (std::uint32_t i = 0; i < patches_.size() && row.former; ++i) {
      const std::size_t begin = synth.headerSize + std::size_t{i} * synth.voiceSize;
      const auto equal = [&](const Bytes& other) {
        return std::equal(after.begin() + static_cast<std::ptrdiff_t>(begin),
                          after.begin() + static_cast<std::ptrdiff_t>(begin + synth.voiceSize),
                          other.begin() + static_cast<std::ptrdiff_t>(begin));
      };
      const bool empty = data->emptyMap && MapBit(data->emptyMap, data->emptyMapSize, i);
      const bool came = patches_[i] && equal(wanted_);
      row.same = row.same && (empty_.count(i) ? empty : patches_[i] ? came && !empty : equal(before));
      row.former = row.former && (equal(before) || (came && !empty) || (patches_[i] && empty));
    }
  }
  return row;
}

bool TypeTable::MayDeceive(const std::string& plan) const {
  const bool anySize = (type_.driver->synth()->optionBits & 2) == 0;
  const bool cut = Contains(plan, "lost-byte") || Contains(plan, "truncated-reply") || Contains(plan, "short-reply");
  return !type_.hasChecksum && (Contains(plan, "corrupt-byte") || (anySize && cut));
}

// The instrument takes something else than what was sent, and cannot know.
bool TypeTable::BreaksUnseen(const std::string& plan) const {
  // Without a checksum, with programs of any length: settings whose place loses a byte (78 7E 03 and data) are a whole
  // program for another place (78 7E and the first byte of the data), which is stored and acknowledged with the same
  // word.  Only reading back tells.
  if (type_.module == "behringer-pro800" && Contains(plan, "direction=in") && Contains(plan, "lost-byte")) return true;
  // A tone is asked for, and then nobody says whether it came whole.
  return type_.module == "casio-cz101" && Contains(plan, "direction=in") &&
         (Contains(plan, "lost-byte") || Contains(plan, "truncated-reply"));
}

std::string TypeTable::LineOf(const std::string& fault, bool send) const {
  return type_.Name() + (send ? " | send | " : " | get | ") + fault;
}

std::string TypeTable::WrongOf(const TableRow& row) const {
  const bool carriedIn = Contains(row.fault, "direction=in");
  // Nobody hears what became of data that is sent to an instrument without a word.
  const bool deaf = row.send && send_.said == 0;
  if (const std::string lie = LieOf(row); !lie.empty()) return lie;
  const bool flipped = row.fault.rfind("corrupt-byte", 0) == 0;
  if (row.result.ok) {
    if (!row.send && !row.same) return flipped && !type_.hasChecksum ? "" : "\"ok\", and the data is wrong";
    if (row.send && !row.same)
      return deaf || (flipped && carriedIn && !type_.hasChecksum) ? "" : "\"ok\", and the instrument does not hold it";
  } else {
    if (!row.former) return "failed, and the former data is damaged";
    const bool vanished = row.fault.rfind("port-vanishes", 0) == 0;
    // A Get that met anything else once ends well.  Later than all attempts together is too late.
    const bool tooLate = Contains(row.fault, "delay=8000");
    if (!row.send && !vanished && !tooLate) return "given up";
  }
  return {};
}

// What the sentence of a row claims and is not so.
std::string TypeTable::LieOf(const TableRow& row) const {
  const std::string& text = row.result.sentence;
  const std::string lower = AsciiLower(text);
  const auto says = [&](std::string_view part) { return Contains(text, part) || Contains(lower, part); };
  const std::string instrument = TransferInstrumentName(*Data({}));
  if (!says(Latin1ToUtf8(instrument)) || !says(Latin1ToUtf8(type_.driver->TypeName())))
    return "sentence: names no data";
  if (row.result.ok) return {};
  if (!says(row.send ? "sen" : "rece") && !says(row.send ? "took" : "request") && !says("did not take"))
    return "sentence: names no operation";
  const auto fault = [&](std::string_view name) { return row.fault.rfind(name, 0) == 0; };
  const bool nothingCame = fault("no-reply") || fault("late-reply") || fault("busy-once") || fault("wrong-device") ||
                           Contains(row.fault, "direction=in") || fault("foreign");
  const bool saysNothing = says("did not answer");
  if (saysNothing && !nothingCame && !fault("port-vanishes")) return "sentence: claims that nothing came";
  if (says("attempts)") && row.heard < 2 && (row.send ? send_ : get_).heard > 0) return "sentence: claims attempts";
  if (says("hecksum") && !type_.hasChecksum) return "sentence: claims a checksum";
  if (type_.byPatch && row.result.patch < 0 && !fault("port-vanishes")) return "sentence: names no patch";
  return {};
}

}  // namespace tonalith::fault_table
