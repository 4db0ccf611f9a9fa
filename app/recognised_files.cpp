#include "app/recognised_files.h"

#include <QCoreApplication>
#include <algorithm>
#include <map>

#include "app/child_windows.h"
#include "app/document_windows.h"
#include "app/file_opening.h"
#include "app/studio_commands.h"
#include "data/container.h"
#include "data/standard_midi_file.h"
#include "document/document_registry.h"
#include "platform/file_bytes.h"
#include "platform/file_stamp.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/short_memory.h"
#include "studio/gather_patches.h"
#include "studio/recognize.h"
#include "tools/raw_sysex_document.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

QString Text(const char* text) {
  return QCoreApplication::translate("RecognisedFiles", text);
}

const FoundType* TypeOf(const FoundFile& found, const PieceGroup& group) {
  return found.pieces[group.pieces.front()].type;
}

// The most single patches of one type.
std::size_t SingleAlike(const FoundFile& found, std::span<const PieceGroup> groups) {
  std::map<const FoundType*, std::size_t> counts;
  std::size_t most = 0;
  for (const PieceGroup& group : groups) {
    const FoundType* type = TypeOf(found, group);
    const bool single = !group.bank && type->driver && !type->driver->synth()->isBank;
    if (single) most = std::max(most, ++counts[type]);
  }
  return most;
}

}  // namespace

RecognisedFiles::RecognisedFiles(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows,
                                 FileOpening& files, StudioCommands& studio)
    : frame_(frame), windows_(windows), files_(files), studio_(studio) {
  registry.RegisterOpener(FileKind::SysEx, [this](const std::string& path, int hint) {
    return studio_.window() && hint != kOpenInDesktop ? Open(path, false) : files_.OpenDocument(path) != nullptr;
  });
  registry.RegisterOpener(FileKind::MidiFile,
                          [this](const std::string& path, int) { return studio_.window() && Open(path, true); });
}

struct RecognisedFiles::Read {
  explicit Read(const ZKStudioDoc& studio) : recognizer(studio) {}

  // Touches no window.
  void LookAt(const std::string& path, bool midiFile);

  Recognizer recognizer;
  Result result;
  bool known = false;
  FileBytes bytes;
  FoundFile found;                             // in `bytes`, or in those of the list
  std::vector<PieceGroup> groups;              // to be opened
  std::unique_ptr<RawSysExDocument> document;  // the file as a list; null: not needed

 private:
  void List(const std::string& path, bool midiFile, const FileStamp& stamp);
};

void RecognisedFiles::Read::LookAt(const std::string& path, bool midiFile) {
  FileStamp stamp;
  result = LoadDiskFile(path, &bytes, &stamp);
  if (!result.ok()) return;
  known = recognizer.Find(bytes, &found).ok();
  if (known) groups = GroupForWindows(found, kMostAlike);
  const bool fits = groups.size() <= kMostWindows && SingleAlike(found, groups) <= kMostAlike;
  if (known ? fits : midiFile) return;
  // Banks can be made of the file only here; the rest is opened from the list.
  std::erase_if(groups, [](const PieceGroup& group) { return !group.bank; });
  if (groups.size() > kMostWindows) groups.clear();
  List(path, midiFile, stamp);
}

// All messages; of a MIDI file its SysEx.
void RecognisedFiles::Read::List(const std::string& path, bool midiFile, const FileStamp& stamp) {
  document = std::make_unique<RawSysExDocument>();
  if (!midiFile) {
    result = document->Load(path, std::move(bytes), stamp);
    document->SetNames(NamesOf(found));
    return;
  }
  SmfContents contents;
  std::string error;
  ReadSmfSysEx(bytes, &contents, &error);
  FileBytes messages;
  for (const SmfSysEx& message : contents.messages)
    messages.insert(messages.end(), message.bytes.begin(), message.bytes.end());
  document->TakeBytes(std::move(messages));
  document->SetNames(NameSysEx(recognizer, document->bytes()));
  document->SetOriginName(FileNameOf(path));
}

bool RecognisedFiles::Open(const std::string& path, bool midiFile) {
  Read read(frame_.studio);
  if (!files_.ReadFile(path, [&] { read.LookAt(path, midiFile); }))
    read.result = Result::Failure(path + "\n\n" + kShortMemory);
  if (!read.result.ok()) {
    frame_.prompts().Say("File Error", read.result.text);
    return false;
  }
  if (!read.known && midiFile) {
    frame_.prompts().Say("File Error", path + "\n\nNone of the studio's instruments knows this data.");
    return false;
  }
  const bool listed = read.document != nullptr;
  if (listed && !Show(path, &read)) return false;
  if (!read.known) return true;
  const std::string name = FileNameOf(path);
  OpenGroups(read.recognizer, read.found, read.groups, name);
  Tell(read.found, name, read.groups.size(), listed);
  return true;
}

// A file that is listed already comes to the front.
bool RecognisedFiles::Show(const std::string& path, Read* read) {
  if (!read->document->path().empty())
    if (DocumentWindow* open = windows_.WindowOf(path)) {
      frame_.children.Activate(open);
      return true;
    }
  const std::string notice = read->document->LoadNotice();
  const bool shown = windows_.Open(std::move(read->document)) != nullptr;
  if (!notice.empty()) frame_.prompts().Say("File Error", notice);
  return shown;
}

void RecognisedFiles::OpenGroups(const Recognizer& recognizer, FoundFile& found, std::span<const PieceGroup> groups,
                                 const std::string& name) {
  // Windows on data of one type are told apart by a number.
  std::map<std::pair<const FoundType*, const ZKDrvList*>, int> numbers, counts;
  for (const PieceGroup& group : groups) ++counts[{TypeOf(found, group), group.bank}];
  for (const PieceGroup& group : groups) {
    const std::pair key(TypeOf(found, group), group.bank);
    const std::string own = counts[key] < 2 ? name
                                            : WithoutExtension(name) + " " + std::to_string(++numbers[key]) +
                                                  name.substr(WithoutExtension(name).size());
    DataFilePtr data = MakeGroup(recognizer, found, group);
    if (!data) {
      frame_.prompts().Say("File Error", name + "\n\nThere is not enough memory for all the data of the file.");
      return;
    }
    studio_.OpenData(std::move(data), false, own);
  }
}

void RecognisedFiles::OpenPart(std::span<const std::uint8_t> bytes, const std::string& name) {
  const Recognizer recognizer(frame_.studio);
  FoundFile found;
  if (const Result result = recognizer.Find(bytes, &found); !result.ok()) return frame_.Status(ShownUtf8(result.text));
  const std::vector<PieceGroup> groups = GroupForWindows(found, kMostAlike);
  if (groups.size() > kMostWindows) {
    frame_.Status(
        Text("These are %1 pieces of data; at most %2 are opened at a time.").arg(groups.size()).arg(kMostWindows));
    return;
  }
  OpenGroups(recognizer, found, groups, name);
  Tell(found, name, groups.size(), false);
}

void RecognisedFiles::Tell(const FoundFile& found, const std::string& name, std::size_t windows, bool listed) {
  const QString file = ShownUtf8(name);
  const std::size_t count = found.pieces.size();
  QString text = count == 1 ? Text("%1: one piece of data").arg(file)
                            : Text("%1: %2 pieces of data").arg(file, QString::number(count));
  if (listed && windows)
    text += Text(", single patches in %1 banks; all are listed, to be opened from there").arg(windows);
  else if (listed)
    text += Text(" are listed, to be opened from there");
  else if (windows < count)
    text += Text(" in %1 windows, single patches in banks").arg(windows);
  const auto bad = std::count_if(found.pieces.begin(), found.pieces.end(),
                                 [](const FoundPiece& piece) { return piece.checksum == ChecksumVerdict::kBad; });
  if (bad == 1 && count == 1) {
    text += Text("; its checksum is wrong");
  } else if (bad) {
    text += Text("; the checksum of %1 is wrong").arg(bad);
  }
  frame_.Status(text);
}

}  // namespace tonalith
