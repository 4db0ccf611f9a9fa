#include "app/recognised_files.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "app/file_opening.h"
#include "app/studio_commands.h"
#include "document/document_registry.h"
#include "platform/atomic_file.h"
#include "platform/prompts.h"
#include "services/program.h"
#include "services/settings.h"
#include "studio/new_data.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"
#include "studio/ui/studio_window.h"
#include "ui/instrument_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

QString Text(const char* text) {
  return QCoreApplication::translate("RecognisedFiles", text);
}

}  // namespace

RecognisedFiles::RecognisedFiles(const FrameContext& frame, DocumentRegistry& registry, FileOpening& files,
                                 StudioCommands& studio)
    : frame_(frame), files_(files), studio_(studio) {
  registry.RegisterOpener(FileKind::SysEx, [this](const std::string& path, int hint) {
    return studio_.window() && hint != kOpenInDesktop ? Open(path, false) : files_.OpenDocument(path) != nullptr;
  });
  registry.RegisterOpener(FileKind::MidiFile,
                          [this](const std::string& path, int) { return studio_.window() && Open(path, true); });
}

bool RecognisedFiles::Open(const std::string& path, bool midiFile) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok()) {
    frame_.prompts().Say("File Error", read.text);
    return false;
  }
  Recognition recognition;
  if (Recognizer(frame_.studio).Recognize(bytes, &recognition).ok() && !recognition.pieces.empty()) {
    OpenPieces(path, recognition);
    return true;
  }
  NewData made =
      DrvAddNewDataFile(frame_.studio, frame_.prompts(), &frame_.program.settings(),
                        midiFile ? NewDataKind::MidiFile : NewDataKind::SysEx, studio_.SelectedDriver(), path,
                        [this](const std::vector<std::string>& choices) { return ChooseDriver(choices); });
  if (made.state == NewData::State::NoDriver) {
    if (!midiFile) return files_.OpenDocument(path) != nullptr;
    frame_.prompts().Say("File Error", path + "\n\nNone of the studio's instruments knows this data.");
  }
  if (made.state != NewData::State::Made) return false;
  InstrumentWindow* window = studio_.OpenData(std::move(made.dataFile));
  if (made.sendNow && window) window->StartTransmit();
  return window != nullptr;
}

int RecognisedFiles::ChooseDriver(const std::vector<std::string>& choices) {
  return frame_.prompts().Choose({"New Data", "The file fits several kinds of data:", choices});
}

void RecognisedFiles::OpenPieces(const std::string& path, Recognition& recognition) {
  constexpr std::size_t kMostWindows = 16;
  std::size_t opened = 0;
  std::size_t bad = 0;
  for (auto& piece : recognition.pieces) {
    bad += piece.checksum == ChecksumVerdict::kBad ? 1 : 0;
    if (!piece.data || opened >= kMostWindows) continue;
    studio_.OpenData(std::move(piece.data));
    ++opened;
  }
  const QString name = ShownLine(QFileInfo(FromUtf8(path)).fileName());
  const std::size_t count = recognition.pieces.size();
  QString text = count == 1 ? Text("%1: one piece of data").arg(name)
                            : Text("%1: %2 pieces of data").arg(name, QString::number(count));
  if (opened < count) text += Text(", the first %1 were opened").arg(opened);
  if (bad == 1 && count == 1) {
    text += Text("; its checksum is wrong");
  } else if (bad) {
    text += Text("; the checksum of %1 is wrong").arg(bad);
  }
  frame_.Status(text);
}

}  // namespace tonalith
