#include "sets/ui/set_texts.h"

#include <QObject>
#include <string>

#include "data/patch_names.h"
#include "store/sets/set_document.h"
#include "store/sets/set_listing.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/printing.h"
#include "ui/qt_text.h"
#include "ui/window_context.h"

namespace tonalith {

void PrintSet(const ZKGrpDoc& set, WindowContext& context, QWidget* parent) {
  PrintJob job;
  const std::string name = set.path().empty() ? set.GetSetName() : set.FileName();
  job.title = ShownUtf8(name);
  job.ask = "Print Set to PDF...";
  job.folder = context.DataFolder();
  job.name = FixInvalidFilenameCharacters(name) + ".pdf";
  job.pages = [&set] { return SetListing(set, kLinesOfPage); };
  Print(job, context.prompts(), parent);
}

QString CopyComponents(const ZKGrpDoc& set, const std::vector<int>& components, WindowContext& context) {
  std::string text;
  if (const Result made = ComponentsAsText(set, components, &text); !made.ok()) {
    context.prompts().Say("Set", made.text);
    return {};
  }
  return CopyText(context.prompts(), FromUtf8(text)) ? QObject::tr("Copied as text.") : QString();
}

}  // namespace tonalith
