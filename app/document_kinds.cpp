#include "app/document_kinds.h"

#include "app/collection_commands.h"
#include "app/desktop_files.h"
#include "app/document_windows.h"
#include "app/library_commands.h"
#include "app/monitor_commands.h"
#include "app/recognised_files.h"
#include "app/set_commands.h"
#include "app/studio_commands.h"
#include "bank/bank_document.h"
#include "bank/ui/bank_window.h"
#include "document/document_registry.h"
#include "platform/prompts.h"
#include "services/program.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"
#include "studio/ui/studio_window.h"
#include "tools/raw_sysex_document.h"
#include "tools/ui/raw_sysex_window.h"

namespace tonalith {

namespace {

constexpr char kImportNeedsStudio[] =
    "Please open the Studio Window using the menu option 'File | New | Studio'\nbefore opening this file.";
constexpr char kNoImport[] =
    "This is a library of another program. It cannot be imported; its SysEx can, when that program saves it as a "
    "SysEx file.";

template <typename Made>
std::unique_ptr<Made> As(std::unique_ptr<Document> document) {
  return std::unique_ptr<Made>(static_cast<Made*>(document.release()));
}

Result LoadData(const std::string& path, std::unique_ptr<Document>* document) {
  std::unique_ptr<ZKBankDoc> bank;
  Result read = ZKBankDoc::Open(path, &bank);
  *document = std::move(bank);
  return read;
}

Result LoadRawSysEx(const ZKStudioDoc& studio, const std::string& path, std::unique_ptr<Document>* document) {
  auto raw = std::make_unique<RawSysExDocument>();
  const Result read = raw->Load(path);
  if (!read.ok()) return read;
  raw->SetNames(NameSysEx(Recognizer(studio), raw->bytes()));
  *document = std::move(raw);
  return read;
}

}  // namespace

void RegisterDocumentKinds(const FrameContext& frame, TransferFiles& files, DocumentRegistry& registry,
                           DocumentWindows& windows, RecognisedFiles& recognised) {
  registry.RegisterMaker(FileKind::Data, [] { return std::make_unique<ZKBankDoc>(nullptr); });
  registry.RegisterLoader(FileKind::Data, LoadData);
  windows.RegisterWindow(FileKind::Data, [](std::unique_ptr<Document> document, WindowContext& context) {
    return new TZKBank(As<ZKBankDoc>(std::move(document)), context);
  });
  RegisterSets(frame, registry, windows);
  RegisterLibraries(frame, registry, windows);
  RegisterCollections(frame, registry, windows);
  registry.RegisterMaker(FileKind::SysEx, [] { return std::make_unique<RawSysExDocument>(); });
  registry.RegisterLoader(FileKind::SysEx,
                          [&studio = frame.studio](const std::string& path, std::unique_ptr<Document>* document) {
                            return LoadRawSysEx(studio, path, document);
                          });
  windows.RegisterWindow(
      FileKind::SysEx, [frame, &files, &recognised](std::unique_ptr<Document> document, WindowContext& context) {
        const auto open = [&recognised](std::span<const std::uint8_t> bytes, const std::string& name) {
          recognised.OpenPart(bytes, name);
        };
        return new RawSysExWindow(As<RawSysExDocument>(std::move(document)), context,
                                  {frame.studio, frame.program.settings(), files, frame.ports.OutputPortNames(), open});
      });
}

void RegisterFileActions(const FrameContext& frame, StudioCommands& studio, DesktopFiles& desktops,
                         DocumentRegistry& registry) {
  registry.RegisterOpener(FileKind::Studio,
                          [&studio](const std::string& path, int) { return studio.OpenStudioFile(path); });
  registry.RegisterOpener(FileKind::Module,
                          [&studio](const std::string& path, int) { return studio.InstallPackageFile(path); });
  registry.RegisterOpener(FileKind::Desktop,
                          [&desktops](const std::string& path, int) { return desktops.LoadWorkspace(path); });
  registry.RegisterOpener(FileKind::ForeignLibrary, [frame, &studio](const std::string& path, int) {
    if (studio.window()) {
      frame.prompts().Say("File Error", path + "\n\n" + kNoImport);
    } else {
      frame.prompts().Say("Tonalith", kImportNeedsStudio);
    }
    return false;
  });
}

void RegisterDesktopWindows(DesktopFiles& desktops, MonitorCommands& monitors, StudioCommands& studio) {
  desktops.RegisterWindow(WindowType::Studio, [&studio] { return studio.Show(); });
  desktops.RegisterWindow(WindowType::Monitor, [&monitors] { return monitors.OpenTextMonitor(); });
  desktops.RegisterWindow(WindowType::GraphicMonitor, [&monitors] { return monitors.OpenGraphicMonitor(); });
}

}  // namespace tonalith
