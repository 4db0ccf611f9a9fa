#include "bank/ui/bank_inspector.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <algorithm>

#include "bank/bank_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr std::size_t kHistoryShown = 8;

QString Words(const char* text) {
  return QCoreApplication::translate("BankInspector", text);
}

InspectorRow Shown(const QString& label, const QString& value) {
  InspectorRow row;
  row.label = label;
  row.value = value;
  return row;
}

QString Joined(const std::vector<std::string>& words) {
  QStringList list;
  for (const std::string& word : words) list << ShownUtf8(word);
  return list.join(QStringLiteral(", "));
}

std::vector<std::string> Split(const QString& text) {
  std::vector<std::string> words;
  for (const QString& word : text.split(QRegularExpression(QStringLiteral("[,;\n]")), Qt::SkipEmptyParts)) {
    if (!word.trimmed().isEmpty()) words.push_back(ToUtf8(word.trimmed()));
  }
  return words;
}

InspectorSection About(ZKBankDoc& bank, int patch) {
  InspectorSection section;
  const auto text = [&](PatchText which, InspectorRow::Kind kind) {
    InspectorRow row = Shown(Words(PatchTextLabel(which)), ShownLines(FromUtf8(bank.Text(patch, which))));
    row.kind = kind;
    row.longest = static_cast<int>(kLongestPatchText);
    row.edit = [&bank, patch, which](const QString& typed) {
      return ShownUtf8(bank.SetText(patch, which, ToUtf8(typed)).text);
    };
    section.rows.push_back(std::move(row));
  };
  if (bank.NameLength() > 0) {
    InspectorRow row = Shown(Words("Name"), ShownLatin1(bank.GetPatchName(patch)));
    row.longest = static_cast<int>(bank.NameLength());
    row.edit = [&bank, patch](const QString& typed) {
      const RenameResult renamed = bank.Rename(patch, ToUtf8(typed));
      return ShownUtf8(renamed.ok() ? renamed.fit.Sentence() : renamed.text);
    };
    section.rows.push_back(std::move(row));
  }
  InspectorRow keywords = Shown(Words("Keywords"), Joined(bank.Keywords(patch)));
  keywords.kind = InspectorRow::Kind::Words;
  keywords.edit = [&bank, patch](const QString& typed) {
    return ShownUtf8(bank.SetKeywords(patch, Split(typed)).text);
  };
  section.rows.push_back(std::move(keywords));
  text(PatchText::Comment, InspectorRow::Kind::Lines);
  for (std::size_t which = static_cast<std::size_t>(PatchText::Author); which < kPatchTextKinds; ++which)
    text(static_cast<PatchText>(which), InspectorRow::Kind::Text);
  return section;
}

InspectorSection Origin(const ZKBankDoc& bank, const Document& holder) {
  InspectorSection section{Words("Where it comes from"), {}};
  section.rows.push_back(Shown(Words("Instrument"), ShownUtf8(bank.InstrumentName())));
  section.rows.push_back(Shown(Words("Type"), ShownUtf8(bank.TypeName())));
  if (const auto stamp = bank.synth().timeStamp; stamp && !bank.IsEmpty()) {
    section.rows.push_back(
        Shown(Words("Received"), QLocale().toString(QDateTime::fromSecsSinceEpoch(stamp), QLocale::ShortFormat)));
  }
  if (!holder.path().empty()) {
    section.rows.push_back(Shown(Words("File"), ShownUtf8(holder.FileName())));
    section.rows.back().tip = ShownUtf8(holder.path());
  } else {
    section.rows.push_back(Shown(Words("File"), holder.OriginName().empty()
                                                    ? Words("not saved yet")
                                                    : Words("taken out of %1").arg(ShownUtf8(holder.OriginName()))));
  }
  return section;
}

// Newest first; a step is a way back, and forth again, to the state after it.
InspectorSection Steps(Document& holder) {
  InspectorSection section{Words("History of this session"), {}};
  const History& history = holder.history();
  const std::size_t position = history.Position();
  const std::size_t from = std::min(history.Count(), std::max(position + 2, kHistoryShown));
  for (std::size_t i = from; i > 0 && section.rows.size() < kHistoryShown; --i) {
    const QString name = ShownUtf8(history.Name(i - 1));
    InspectorRow row = Shown({}, i > position ? Words("%1 (undone)").arg(name) : name);
    if (i != position) {
      row.tip = i > position ? Words("Do this again") : Words("Go back to the state after this");
      row.link = [&holder, i] { holder.GoTo(i); };
    }
    section.rows.push_back(std::move(row));
  }
  if (section.rows.empty()) section.rows.push_back(Shown({}, Words("Nothing was changed yet")));
  return section;
}

}  // namespace

InspectorContent InspectBank(ZKBankDoc& bank, int patch, Document& holder) {
  InspectorContent content;
  const bool one = bank.PatchCount() == 1;
  const QString name = patch >= 0 ? ShownLatin1(bank.GetPatchName(patch)) : QString();
  const QString whole = ShownUtf8(bank.path().empty() ? bank.Title() : bank.FileName());
  content.key = QString::number(patch);
  content.title = patch < 0 || one ? (name.isEmpty() ? whole : name)
                  : bank.IsPatchDefined(patch)
                      ? (name.isEmpty() ? Words("Patch %1").arg(ShownLatin1(bank.NumberText(patch))) : name)
                      : Words("Nothing received yet");
  content.subtitle =
      patch < 0 || one ? ShownUtf8(bank.Title()) : Words("%1 of %2").arg(ShownLatin1(bank.NumberText(patch)), whole);
  if (patch >= 0 && bank.IsPatchDefined(patch) && !bank.IsBusy()) content.sections.push_back(About(bank, patch));
  content.sections.push_back(Origin(bank, holder));
  content.sections.push_back(Steps(holder));
  return content;
}

}  // namespace tonalith
