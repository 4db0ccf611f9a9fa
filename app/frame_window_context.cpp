#include "app/frame_window_context.h"

#include "app/recent_files_menu.h"
#include "app/window_transfers.h"
#include "data/data_size.h"
#include "services/paths.h"
#include "services/program.h"
#include "studio/data_export.h"
#include "studio/free_bank.h"
#include "studio/gather_patches.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"
#include "studio/type_check.h"

namespace tonalith {

FrameWindowContext::FrameWindowContext(const FrameContext& frame, RecentFilesMenu& recent, WindowTransfers& transfers)
    : frame_(frame),
      recent_(recent),
      transfers_(transfers),
      sendCare_({[&paths = frame.program.paths()] { return paths.GetZKIni(); },
                 [&paths = frame.program.paths()] { return HistoryFolder(paths.MainGetApplicationSupportPath()); },
                 [&studio = frame.studio](const DataFile& data) { return CheckOfType(studio, data); }}) {}

Settings& FrameWindowContext::settings() {
  return frame_.program.settings();
}

std::string FrameWindowContext::SettingsFile() {
  return frame_.program.paths().GetZKIni();
}

void FrameWindowContext::InBackground(const Receiver& receiver, std::function<Result()> work,
                                      std::function<void(const Result&)> done) {
  frame_.program.jobs().Start(
      frame_.program.dispatcher(), receiver, [run = std::move(work)](const CancelToken&) { return run(); },
      std::move(done));
}

std::string FrameWindowContext::DataFolder() {
  return frame_.program.paths().MainGetDataPath();
}

void FrameWindowContext::FileUsed(const std::string& path) {
  recent_.Used(path);
}

Result FrameWindowContext::Export(const DataFile& data, bool midiFile, const std::string& title,
                                  std::vector<std::uint8_t>* bytes, std::string* note) {
  // Checksums are renewed in what is written, not in the document.
  const DataFilePtr copy(DupForUser(&data));
  if (!copy) return Result::Failure("There is not enough memory.");
  const Recognizer recognizer(frame_.studio);
  ScriptedPrompts nobody{{}};
  std::vector<RenderedMessage> messages;
  bool isDeclared = false;
  const Result result = MessagesForFile(recognizer, copy.get(), nobody, midiFile, &messages, &isDeclared);
  if (!result.ok()) return result;
  if (!isDeclared) *note = NotDeclaredSentence(data);
  *bytes = midiFile ? MidiFileOf(messages, title) : RawSysExFile(messages);
  return Result::Success();
}

std::filesystem::path FrameWindowContext::ModuleFolder(const DataFile& data) {
  const ZKDrvList* driver = frame_.studio.DriverOf(&data);
  return driver ? frame_.studio.facts().ModuleFolder(driver) : std::filesystem::path();
}

const DataFile* FrameWindowContext::NewData(const DataFile& data) {
  const ZKDrvList* driver = frame_.studio.DriverOf(&data);
  return driver ? driver->dataFile.get() : nullptr;
}

BankGrowth FrameWindowContext::GrowthOf(const DataFile& data) {
  const ZKDrvList* driver = frame_.studio.DriverOf(&data);
  if (!driver || !data.synth->isBank || !IsOpenLayoutOf(*driver->synth(), *data.synth)) return {};
  return tonalith::GrowthOf(Recognizer(frame_.studio), data);
}

DataFilePtr FrameWindowContext::NewDataOf(int driverId, const DataFile& like) {
  DataFilePtr data = frame_.studio.GetNewDataFile(driverId);
  if (data && data->xtra && like.xtra) data->xtra->instrumentIndex = like.xtra->instrumentIndex;
  return data;
}

Result FrameWindowContext::DataIn(std::span<const std::uint8_t> bytes, std::vector<DataFilePtr>* data) {
  const Recognizer recognizer(frame_.studio);
  FoundFile found;
  if (Result result = recognizer.Find(bytes, &found); !result.ok()) return result;
  for (const PieceGroup& group : GroupForWindows(found, found.pieces.size())) {
    DataFilePtr made = MakeGroup(recognizer, found, group);
    if (!made) return Result::Failure("There is not enough memory.");
    data->push_back(std::move(made));
  }
  return Result::Success();
}

void FrameWindowContext::ShowData(DataFilePtr data, const std::string& originName) {
  if (show_) show_(std::move(data), originName);
}

void FrameWindowContext::UpdateFromStudio(DataFile* dataFile) {
  frame_.studio.DrvUpdateDataFile(dataFile);
}

PatchPlayer& FrameWindowContext::player() {
  if (!player_)
    player_ = std::make_unique<PatchPlayer>(frame_.program.out(), frame_.program.settings(),
                                            [&paths = frame_.program.paths()] { return paths.GetZKIni(); });
  return *player_;
}

TransferDesk::Job FrameWindowContext::Transfer(DeskRequest request) {
  return transfers_.Start(std::move(request));
}

void FrameWindowContext::CancelTransfer(const TransferDesk::Job& job) {
  transfers_.desk().Cancel(job);
}

void FrameWindowContext::AbandonTransfers(const DataFile* dataFile) {
  transfers_.Abandon(dataFile);
}

}  // namespace tonalith
