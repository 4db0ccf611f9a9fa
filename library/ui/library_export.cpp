#include "library/ui/library_export.h"

#include <QCoreApplication>
#include <utility>

#include "platform/text.h"
#include "services/transfer_sentences.h"
#include "store/library/library_view.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/printing.h"

namespace tonalith {

namespace {

QString LibrarySays(const char* text) {
  return QCoreApplication::translate("LibraryExport", text);
}

// What goes to the clipboard.
std::optional<ExportFormat> CopiedAs(CommandId command) {
  if (command == CommandId::ExportCopyText || command == CommandId::EditCopyNames) return ExportFormat::Text;
  if (command == CommandId::ExportCopyNames) return ExportFormat::Names;
  return std::nullopt;
}

}  // namespace

LibraryExport::LibraryExport(DocumentWindow& window, WindowContext& context, const ZKLibDoc& library,
                             const LibraryView& view, PortsOf ports, std::function<void(const QString&)> say)
    : window_(window),
      context_(context),
      library_(library),
      view_(view),
      ports_(std::move(ports)),
      names_(
          window, context,
          [this] {
            ExportSource source;
            source.oneList = true;
            for (const EntryId entry : Meant()) source.data.push_back(library_.Data(entry));
            return source;
          },
          std::move(say)) {}

bool LibraryExport::Has(CommandId command) {
  return ExportFormatOf(command) || CopiedAs(command) || command == CommandId::FilePrint;
}

QString LibraryExport::Refusal(CommandId command) const {
  if (const auto format = ExportFormatOf(command); format && !KindOf(*format).forPeople)
    return LibrarySays(
        "No program change chooses the patches of a Library. Make a bank of them, and export its names.");
  return view_.Listed().empty() ? LibrarySays("No patch is listed.") : QString();
}

std::vector<EntryId> LibraryExport::Meant() const {
  return view_.SelectedCount() > 1 ? view_.Selected() : view_.Listed();
}

void LibraryExport::Run(CommandId command) {
  if (const auto format = ExportFormatOf(command)) {
    names_.Write(*format);
  } else if (const auto copied = CopiedAs(command)) {
    names_.Copy(*copied);
  } else if (command == CommandId::FilePrint) {
    PrintLibrary();
  }
}

void LibraryExport::PrintLibrary() {
  PrintJob job;
  job.title = LibrarySays("Library");
  job.ask = "Print Library to PDF...";
  job.folder = context_.DataFolder();
  job.name = names_.SuggestedName() + ".pdf";
  job.pages = [this] { return LibPrint(library_, Meant(), ports_(*library_.driver()), kLinesOfPage); };
  Print(job, context_.prompts(), &window_);
}

}  // namespace tonalith
