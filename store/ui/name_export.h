#pragma once

#include <QString>
#include <functional>
#include <optional>
#include <string>

#include "store/names/disk_midi.h"
#include "store/names/export_choices.h"
#include "ui/commands.h"

namespace tonalith {

class DocumentWindow;
class WindowContext;

// The command of a format in the menu "Export"; empty: it is another command.
std::optional<ExportFormat> ExportFormatOf(CommandId command);

// Writes the names of a window's document to files that the user chooses, and to the clipboard.
class NameExport {
 public:
  using MakeSource = std::function<ExportSource()>;
  // `say` takes a sentence for the user.
  NameExport(DocumentWindow& window, WindowContext& context, MakeSource source,
             std::function<void(const QString&)> say);

  ExportChoices Choices() const;
  // Of the file to be written, without extension.
  std::string SuggestedName() const;
  // Empty: the user cancelled.
  std::string AskFile(const std::string& title, const std::string& what, const std::string& name,
                      const std::string& extension) const;
  // The file that was written; empty: none was.
  std::string Write(ExportFormat format);
  void Copy(ExportFormat format);
  // What came of it: a failure in a box, else `done`.
  void Tell(const Result& result, const QString& done) const;

 private:
  DocumentWindow& window_;
  WindowContext& context_;
  MakeSource source_;
  std::function<void(const QString&)> say_;
};

}  // namespace tonalith
