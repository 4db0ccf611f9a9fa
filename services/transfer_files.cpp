#include "services/transfer_files.h"

#include <algorithm>
#include <vector>

#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr const char* kSendTitle = "MIDI I/O";
constexpr std::uint8_t kNoPort = 255;

// What fills the wire before a message counts as part of its wait.
double WireMs(std::size_t bytes, std::uint32_t rate) {
  return rate > 0 ? static_cast<double>(bytes) * 1000.0 / rate : 0;
}

void TakeMembers(ListFile& list, std::vector<DataFilePtr>* parts) {
  for (ListMember& member : list.members) {
    if (member.list) TakeMembers(*member.list, parts);
    if (member.data) parts->push_back(std::move(member.data));
  }
}

bool EndsWith(const std::string& path, std::initializer_list<const char*> endings) {
  return std::any_of(endings.begin(), endings.end(),
                     [&](const char* ending) { return AsciiEndsWithNoCase(path, ending); });
}

}  // namespace

TransferFiles::TransferFiles(TransferDesk& desk, DiskAccess& disk, MidiOut& out, Prompts& prompts)
    : desk_(desk), disk_(disk), out_(out), prompts_(prompts) {}

bool TransferFiles::TransmitFile(const std::string& path, int port) {
  if (EndsWith(path, {".mid", ".smf"})) return SMFTransmit(path, port);
  if (EndsWith(path, {".syx"})) return MidiXTransmit(path, port);
  if (EndsWith(path, {".pvc", ".pvd", ".pvg", ".pvs"})) return DiskDBTransmit(path, port);
  return DiskTransmit(path, port);
}

// Port 0 is the one the data itself names.
bool TransferFiles::PortIsThere(int port) {
  int count = 0;
  out_.OUTNUMPORTS(&count);
  if (count > 0 && port <= count) return true;
  prompts_.Say(kSendTitle, count == 0 ? std::string("There is no MIDI OUT port to send to.")
                                      : "There is no MIDI OUT port " + std::to_string(port) + ".");
  return false;
}

// Half of a dump must not reach an instrument.
bool TransferFiles::IsWhole() {
  if (disk_.EndsEarly()) prompts_.Say(kSendTitle, "A file that is not whole is not sent.");
  return !disk_.EndsEarly();
}

// Parts that are switched off stay out.
void TransferFiles::AddPart(DataFilePtr dataFile, int port, DeskRequest* request) {
  if (dataFile->xtra && dataFile->xtra->isInactive) {
    ++request->inactive;
    return;
  }
  DeskStep step;
  step.kind = DeskStep::Kind::kSend;
  step.owned = std::shared_ptr<DataFile>(std::move(dataFile));
  step.outPort = port > 0 ? port - 1 : -1;
  request->steps.push_back(std::move(step));
}

bool TransferFiles::DiskTransmit(const std::string& path, int port) {
  DataFilePtr dataFile(AllocDataFile());
  if (!dataFile || !disk_.DiskRead(1, FolderOf(path), FileNameOf(path), {}, dataFile.get(), 1)) return false;
  if (!IsWhole() || !PortIsThere(port)) return false;
  DeskRequest request;
  request.file = FileNameOf(path);
  AddPart(std::move(dataFile), port, &request);
  return Start(std::move(request));
}

bool TransferFiles::DiskDBTransmit(const std::string& path, int port) {
  ListFile list;
  if (!disk_.DiskDataBaseRead(FolderOf(path), FileNameOf(path), &list, 1)) return false;
  std::vector<DataFilePtr> parts;
  TakeMembers(list, &parts);
  if (parts.empty()) {
    prompts_.Say(kSendTitle, path + "\n\nThere is nothing in this file that could be sent.");
    return false;
  }
  if (!IsWhole() || !PortIsThere(port)) return false;
  DeskRequest request;
  request.file = FileNameOf(path);
  for (DataFilePtr& part : parts) AddPart(std::move(part), port, &request);
  return Start(std::move(request));
}

bool TransferFiles::MidiXTransmit(const std::string& path, int port) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok() || bytes.empty()) {
    if (read.code == kFileNotRegular) prompts_.Say(kSendTitle, read.text);
    return false;
  }
  return SendMidiX(bytes, port, FileNameOf(path));
}

bool TransferFiles::SendMidiX(std::span<const std::uint8_t> bytes, int port, const std::string& name) {
  const auto last = std::find(bytes.rbegin(), bytes.rend(), std::uint8_t{0xF7});
  if (last == bytes.rend() || bytes[0] < 0x80) {
    prompts_.Say(kSendTitle, "File doesn't appear to contain valid MIDI data!");
    return false;
  }
  DataFilePtr dataFile = CreateMidiXFile(bytes.first(static_cast<std::size_t>(bytes.rend() - last)));
  if (!dataFile) return false;
  Synth& synth = *dataFile->synth;
  CopyText(synth.shortName, "MidiX");
  CopyText(synth.typeName, "Dump");
  synth.manufacturerId = 0;  // no protocol of a maker: the bytes go out as they are
  synth.midiInPort = kNoPort;
  synth.midiOutPort = static_cast<std::uint8_t>(std::max(0, out_.MainPortOut()));
  if (!PortIsThere(port)) return false;
  DeskRequest request;
  request.file = name;
  AddPart(std::move(dataFile), port, &request);
  return Start(std::move(request));
}

bool TransferFiles::SMFTransmit(const std::string& path, int port) {
  ZKSMFFile file;
  if (const Result read = file.LoadSMFFile(path); !read.ok()) {
    prompts_.Say(kSendTitle, read.code == kFileNotRegular ? read.text : "File Open Error!");
    return false;
  }
  const auto messages = file.ProcessSysXData();
  if (messages.empty()) {
    prompts_.Say(kSendTitle, path + "\n\nThis MIDI file holds no SysEx messages.");
    return false;
  }
  int count = 0;
  out_.OUTNUMPORTS(&count);
  const int number = port > 0 ? port - 1 : std::max(0, out_.MainPortOut());
  const auto open = number < count ? out_.GetMidiOutPort(number) : nullptr;
  if (!open) {
    prompts_.Say(kSendTitle, "There is no MIDI OUT port " + std::to_string(number + 1) + ".");
    return false;
  }
  DeskStep step;
  step.kind = DeskStep::Kind::kMessages;
  step.outPort = number;
  step.title = FileNameOf(path);
  // The port keeps the time: what it sent last takes a part of the wait.
  double onWire = 0;
  for (const SmfTimedMessage& message : messages) {
    const double wait = std::min(message.waitMs - onWire, 4.0e9);
    step.messages.push_back({wait >= 1 ? static_cast<std::uint32_t>(wait) : 0,
                             std::vector<std::uint8_t>(message.bytes.begin(), message.bytes.end())});
    onWire = WireMs(message.bytes.size(), open->EffectiveRate());
  }
  DeskRequest request;
  request.file = step.title;
  request.steps.push_back(std::move(step));
  return Start(std::move(request));
}

bool TransferFiles::Start(DeskRequest request) {
  const std::string file = request.file;
  const auto say = [this, file](const DeskResult& result) {
    prompts_.Say(kSendTitle, file + "\n\n" + result.sentence);
  };
  if (request.steps.empty()) {  // every part is switched off
    TransferFacts facts;
    facts.kind = TransferFacts::Kind::kFile;
    facts.what = file;
    facts.cause = TransferCause::kInactive;
    facts.partsInactive = request.inactive;
    prompts_.Say(kSendTitle, EndSentence(facts));
    return false;
  }
  request.receiver = &receiver_;
  request.observer = [this, say](const DeskEvent& event) {
    if (observer_) observer_(event);
    if (event.kind != DeskEvent::Kind::kState || event.state != DeskState::kEnded) return;
    std::erase(jobs_, event.job);
    const TransferCause cause = event.result.cause;
    if (!event.result.ok && cause != TransferCause::kCancelled && cause != TransferCause::kNeverBegan)
      say(event.result);
  };
  const TransferDesk::Job job = desk_.Submit(std::move(request));
  if (job->Ended()) {
    say(job->result());
    return false;
  }
  jobs_.push_back(job);
  return true;
}

bool TransferFiles::Sending() const {
  return !jobs_.empty();
}

void TransferFiles::Cancel() {
  const std::list<TransferDesk::Job> jobs = jobs_;
  for (auto job = jobs.rbegin(); job != jobs.rend(); ++job) desk_.Cancel(*job);
}

}  // namespace tonalith
