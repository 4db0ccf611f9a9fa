#include <QTimer>
#include <algorithm>

#include "app/main_frame.h"
#include "data/container.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/transfer_sentences.h"
#include "services/zkbasics.h"
#include "studio/recognize.h"
#include "ui/qt_text.h"

namespace tonalith {

// Brings the end of a file's transmission to the frame.
class FileSendObserver final : public TransferObserver {
 public:
  explicit FileSendObserver(CMainFrame* frame) : frame_(frame) {}
  void closed(const TransferResult& result) override {
    if (frame_) frame_->FileSent(result);
  }

 private:
  QPointer<CMainFrame> frame_;
};

namespace {

constexpr const char* kNoMidiData = "File doesn't appear to contain valid MIDI data!";
constexpr const char* kSendTitle = "MIDI I/O";

// What fills the wire before a message counts as part of its wait.
double WireMs(std::size_t bytes, std::uint32_t rate) {
  return rate > 0 ? static_cast<double>(bytes) * 1000.0 / rate : 0;
}

}  // namespace

// ---- commands -------------------------------------------------------------------------------------------------------

std::string CMainFrame::AskFileToSend(const char* title, const char* filter) {
  FilePrompt prompt;
  prompt.title = title;
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(filter);
  return prompts().File(prompt);
}

void CMainFrame::OnDiskToInstr() {
  const std::string path = AskFileToSend("Choose Data File to Send?", "ZK Data File (*.*)|*.*|");
  if (!path.empty()) DiskTransmit(path, 0);
}

void CMainFrame::OnDiskDBToInstr() {
  const std::string path =
      AskFileToSend("Choose Collection/Set to Send?",
                    "Set/Collection|*.PVS;*.PVC;*.PVD;*.PVG|ZK Collection (*.PVC)|*.PVC;*.PVD|ZK Set (*.PVS)|*.PVS;*"
                    ".PVG|ZK Data File (*.*)|*.*|");
  if (!path.empty()) DiskDBTransmit(path, 0);
}

void CMainFrame::OnMidiXToInstr() {
  const std::string path =
      AskFileToSend("Choose MIDIX File to Send?", "ZK MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  if (!path.empty()) MidiXTransmit(path, 0);
}

void CMainFrame::OnSmfToInstr() {
  const std::string path = AskFileToSend("Choose SMF File to Send?", "MIDI File (*.MID)|*.MID|All Files (*.*)|*.*|");
  if (!path.empty()) SMFTransmit(path, 0);
}

bool CMainFrame::TransmitFile(const std::string& path, int port) {
  const std::string ending = path.size() > 4 ? AsciiLower(path.substr(path.size() - 4)) : std::string();
  if (ending == ".mid" || ending == ".smf") return SMFTransmit(path, port);
  if (ending == ".syx") return MidiXTransmit(path, port);
  for (const char* list : {".pvc", ".pvd", ".pvg", ".pvs"}) {
    if (ending == list) return DiskDBTransmit(path, port);
  }
  return DiskTransmit(path, port);
}

// ---- files to instruments -------------------------------------------------------------------------------------------

// Port 0 is the one the dataFile itself names.
bool CMainFrame::UsePort(DataFile* dataFile, int port) {
  int count = 0;
  basics_.midi().out().OUTNUMPORTS(&count);
  if (count == 0 || port > count) {
    prompts().Say(kSendTitle, count == 0 ? std::string("There is no MIDI OUT port to send to.")
                                         : "There is no MIDI OUT port " + std::to_string(port) + ".");
    return false;
  }
  if (port <= 0) return true;
  dataFile->synth->midiOutPort = static_cast<std::uint8_t>(port - 1);
  if (dataFile->midiOutPortName && dataFile->midiOutPortNameSize > 0) dataFile->midiOutPortName[0] = 0;
  return true;
}

bool CMainFrame::DiskTransmit(const std::string& path, int port) {
  DataFilePtr dataFile(AllocDataFile());
  if (!dataFile || !basics_.DiskRead(1, FolderOf(path), FileNameOf(path), {}, dataFile.get(), 1)) return false;
  FileSendJob job;
  job.name = FromUtf8(FileNameOf(path));
  if (!UsePort(dataFile.get(), port)) return false;
  job.files.push_back(std::move(dataFile));
  AddSendJob(std::move(job));
  return true;
}

void CMainFrame::TakeMembers(ListFile& list, FileSendJob* job) {
  for (ListMember& member : list.members) {
    if (member.list) TakeMembers(*member.list, job);
    if (member.data) job->files.push_back(std::move(member.data));
  }
}

bool CMainFrame::DiskDBTransmit(const std::string& path, int port) {
  ListFile list;
  if (!basics_.DiskDataBaseRead(FolderOf(path), FileNameOf(path), &list, 1)) return false;
  FileSendJob job;
  job.name = FromUtf8(FileNameOf(path));
  TakeMembers(list, &job);
  if (job.files.empty()) {
    prompts().Say(kSendTitle, path + "\n\nThere is nothing in this file that could be sent.");
    return false;
  }
  for (const DataFilePtr& dataFile : job.files) {
    if (!UsePort(dataFile.get(), port)) return false;
  }
  AddSendJob(std::move(job));
  return true;
}

bool CMainFrame::MidiXTransmit(const std::string& path, int port) {
  std::vector<std::uint8_t> bytes;
  if (!ReadWholeFile(path, bytes).ok() || bytes.empty()) return false;
  return SendMidiX(bytes, port, FileNameOf(path));
}

bool CMainFrame::SendMidiX(std::span<const std::uint8_t> bytes, int port, const std::string& name) {
  const auto last = std::find(bytes.rbegin(), bytes.rend(), std::uint8_t{0xF7});
  if (last == bytes.rend() || bytes[0] < 0x80) {
    prompts().Say(kSendTitle, kNoMidiData);
    return false;
  }
  DataFilePtr dataFile = CreateMidiXFile(bytes.first(static_cast<std::size_t>(bytes.rend() - last)));
  if (!dataFile) return false;
  Synth& synth = *dataFile->synth;
  CopyText(synth.shortName, "MidiX");
  CopyText(synth.typeName, "Dump");
  synth.manufacturerId = 0;  // no protocol of a maker: the bytes go out as they are
  synth.midiOutPort = static_cast<std::uint8_t>(std::max(0, basics_.midi().out().MainPortOut()));
  if (!UsePort(dataFile.get(), port)) return false;
  FileSendJob job;
  job.name = FromUtf8(name);
  job.files.push_back(std::move(dataFile));
  AddSendJob(std::move(job));
  return true;
}

bool CMainFrame::SMFTransmit(const std::string& path, int port) {
  ZKSMFFile file;
  if (const Result loaded = file.LoadSMFFile(path); !loaded.ok()) {
    prompts().Say(kSendTitle, "File Open Error!");
    return false;
  }
  const auto messages = file.ProcessSysXData();
  if (messages.empty()) {
    prompts().Say(kSendTitle, path + "\n\nThis MIDI file holds no SysEx messages.");
    return false;
  }
  MidiOut& out = basics_.midi().out();
  int count = 0;
  out.OUTNUMPORTS(&count);
  const int number = port > 0 ? port - 1 : std::max(0, out.MainPortOut());
  const auto open = number < count ? out.GetMidiOutPort(number) : nullptr;
  if (!open) {
    prompts().Say(kSendTitle, "There is no MIDI OUT port " + std::to_string(number + 1) + ".");
    return false;
  }
  // The port keeps the time: what it sent last takes a part of the wait.
  double onWire = 0;
  SendOptions options;
  options.mayWait = false;
  for (const SmfTimedMessage& message : messages) {
    const double wait = message.waitMs - onWire;
    if (wait >= 1) out.MidiOutDelay(number, static_cast<std::uint32_t>(std::min(wait, 4.0e9)));
    if (out.SendDataPort(message.bytes, number, options) <= 0) {
      prompts().Say(kSendTitle, path + "\n\nThe MIDI OUT port did not take all of the messages.");
      return false;
    }
    onWire = WireMs(message.bytes.size(), open->EffectiveRate());
  }
  Status(tr("Sending %1 (SysEx messages: %2)...").arg(FromUtf8(FileNameOf(path))).arg(messages.size()));
  return true;
}

// ---- one after the other --------------------------------------------------------------------------------------------

void CMainFrame::AddSendJob(FileSendJob job) {
  sendJobs_.push_back(std::move(job));
  if (!fileSending_) SendNextFile();
}

void CMainFrame::SendNextFile() {
  while (!sendJobs_.empty()) {
    FileSendJob& job = sendJobs_.front();
    if (job.next == job.files.size() || job.stopped) {
      EndSendJob();
      continue;
    }
    DataFile* dataFile = job.files[job.next].get();
    if (dataFile->xtra && dataFile->xtra->isInactive) {
      ++job.inactive;
      ReleaseLater(std::move(job.files[job.next++]));
      continue;
    }
    if (StartFile(dataFile)) return;
    job.stopped = true;
  }
}

bool CMainFrame::StartFile(DataFile* dataFile) {
  if (RefuseMissingPort(*dataFile, false)) return false;
  TransferRequest request;
  request.operation = TransferOperation::kTransmit;
  request.dataFile = dataFile;
  request.observer = std::make_shared<FileSendObserver>(this);
  request.showWindow = 1;
  request.background = true;
  fileSending_ = true;
  Status(tr("Sending %1...").arg(sendJobs_.front().name));
  std::shared_ptr<Transfer> transfer;
  basics_.transfers().MidiIODataFile(request, &transfer);
  if (!transfer) fileSending_ = false;
  return transfer != nullptr;
}

// The dataFile is released, and the next file begun, only after everybody who was told of this end has returned.
void CMainFrame::FileSent(const TransferResult& result) {
  if (!fileSending_ || sendJobs_.empty()) return;
  FileSendJob& job = sendJobs_.front();
  if (result.ok) {
    ++job.sent;
  } else {
    job.stopped = true;
    job.problem = FromUtf8(EndSentence(FactsOf(result)));
  }
  ReleaseLater(std::move(job.files[job.next++]));
  QTimer::singleShot(0, this, [this] {
    fileSending_ = false;
    SendNextFile();
  });
}

void CMainFrame::EndSendJob() {
  FileSendJob job = std::move(sendJobs_.front());
  sendJobs_.pop_front();
  for (DataFilePtr& dataFile : job.files) {
    if (dataFile) ReleaseLater(std::move(dataFile));
  }
  QString text = !job.problem.isEmpty() ? job.problem
                 : job.stopped          ? tr("Sending %1 was stopped.").arg(job.name)
                                        : tr("%1 was sent.").arg(job.name);
  if (job.sent > 1 || (job.stopped && job.sent > 0)) text += tr(" (%1 parts)").arg(job.sent);
  if (job.inactive > 0) text += tr(" Inactive parts that stayed out: %1.").arg(job.inactive);
  Status(text);
  if (!job.problem.isEmpty()) prompts().Say(kSendTitle, ToUtf8(job.name + QStringLiteral("\n\n") + job.problem));
}

// Nothing more is begun; what is being sent ends by itself.
void CMainFrame::StopSendJobs() {
  for (FileSendJob& job : sendJobs_) job.stopped = true;
}

void CMainFrame::ReleaseLater(DataFilePtr dataFile) {
  QTimer::singleShot(0, this, [kept = std::shared_ptr<DataFile>(std::move(dataFile))] {});
}

// ---- raw SysEx windows ----------------------------------------------------------------------------------------------

void CMainFrame::SendRawSysEx(std::span<const std::uint8_t> bytes, int port, const std::string& what) {
  SendMidiX(bytes, port + 1, what);
}

std::vector<SysExName> CMainFrame::NameSysEx(std::span<const std::uint8_t> bytes) {
  Recognition recognition;
  std::vector<SysExName> names;
  if (!Recognizer(studio_).Recognize(bytes, &recognition).ok()) return names;
  for (const auto& piece : recognition.pieces) {
    QString text = FromLatin1(piece.instrument) + QLatin1Char(' ') + FromLatin1(piece.dataType);
    if (piece.checksum == ChecksumVerdict::kBad) text += tr(", wrong checksum");
    names.push_back({piece.offset, piece.length, text});
  }
  return names;
}

std::vector<std::string> CMainFrame::OutPortNames() const {
  return ports_.OutputPortNames();
}

int CMainFrame::RawSysExPort(int port) {
  return basics_.MainMidiXPort(port);
}

}  // namespace tonalith
