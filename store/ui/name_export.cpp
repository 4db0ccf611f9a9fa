#include "store/ui/name_export.h"

#include <QCoreApplication>
#include <algorithm>
#include <utility>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "ui/clipboard.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

struct ExportCommand {
  CommandId command;
  ExportFormat format;
};
constexpr ExportCommand kExportCommands[] = {
    {CommandId::ExportReaper, ExportFormat::Reaper}, {CommandId::ExportCakewalk, ExportFormat::Cakewalk},
    {CommandId::ExportCubase, ExportFormat::Cubase}, {CommandId::ExportNameDocument, ExportFormat::NameDocument},
    {CommandId::ExportHtml, ExportFormat::Html},     {CommandId::ExportHtmlProperties, ExportFormat::HtmlProperties},
    {CommandId::ExportText, ExportFormat::Text},     {CommandId::ExportTextProperties, ExportFormat::TextProperties},
    {CommandId::ExportIni, ExportFormat::Ini},       {CommandId::ExportAcid, ExportFormat::Acid},
    {CommandId::ExportJammer, ExportFormat::Jammer}, {CommandId::ExportLogic, ExportFormat::Logic},
};

QString NamesSay(const char* text) {
  return QCoreApplication::translate("NameExport", text);
}

}  // namespace

std::optional<ExportFormat> ExportFormatOf(CommandId command) {
  const auto* found = std::find_if(std::begin(kExportCommands), std::end(kExportCommands),
                                   [command](const ExportCommand& one) { return one.command == command; });
  return found == std::end(kExportCommands) ? std::nullopt : std::optional(found->format);
}

NameExport::NameExport(DocumentWindow& window, WindowContext& context, MakeSource source,
                       std::function<void(const QString&)> say)
    : window_(window), context_(context), source_(std::move(source)), say_(std::move(say)) {}

ExportChoices NameExport::Choices() const {
  return ExportChoices(context_.SettingsFile());
}

std::string NameExport::SuggestedName() const {
  const Document& document = window_.document();
  if (!document.path().empty()) return WithoutExtension(document.FileName());
  const std::string& origin = document.OriginName();
  return FixInvalidFilenameCharacters(origin.empty() ? document.Title() : WithoutExtension(origin));
}

std::string NameExport::AskFile(const std::string& title, const std::string& what, const std::string& name,
                                const std::string& extension) const {
  const std::string& path = window_.document().path();
  FilePrompt prompt;
  prompt.title = title;
  prompt.save = true;
  const std::string last = Choices().Folder();
  prompt.folder = !last.empty() && FolderExists(last) ? last : path.empty() ? context_.DataFolder() : FolderOf(path);
  prompt.name = name;
  prompt.patterns = FilePatterns(what + "|*." + extension + "|All Files (*.*)|*.*|");
  return context_.prompts().File(prompt);
}

void NameExport::Tell(const Result& result, const QString& done) const {
  if (result.ok())
    say_(done);
  else
    context_.prompts().Say("Export", result.text);
}

std::string NameExport::Write(ExportFormat format) {
  const ExportKind& kind = KindOf(format);
  const std::string title = "Export " + std::string(kind.title) + " (" + kind.what + ")";
  const std::string path = AskFile(title, kind.title, SuggestedName() + "." + kind.extension, kind.extension);
  if (path.empty()) return {};
  ExportSource source = source_();
  const Result result = DiskMidi(format, &source, path);
  if (result.ok()) Choices().SetLast(FolderOf(path), format);
  const QString done = NamesSay("Exported as %1").arg(ShownUtf8(path));
  Tell(result, source.note.empty() ? done : done + QStringLiteral(". ") + ShownUtf8(source.note));
  return result.ok() ? path : std::string();
}

void NameExport::Copy(ExportFormat format) {
  ExportSource source = source_();
  std::string text;
  const Result result = RenderExport(format, &source, &text);
  if (!result.ok()) return Tell(result, {});
  if (!CopyText(context_.prompts(), FromUtf8(text))) return;
  const auto lines = std::count(text.begin(), text.end(), '\n');
  say_(lines == 1 ? NamesSay("1 line was copied.") : NamesSay("%1 lines were copied.").arg(lines));
}

}  // namespace tonalith
