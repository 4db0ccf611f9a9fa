#include "ui/style/search_field.h"

#include <QAction>
#include <QKeyEvent>
#include <QLocale>
#include <QPainter>
#include <algorithm>

#include "ui/style/icons.h"
#include "ui/style/plain_text.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

// Letters that Unicode does not take apart into a letter and an accent.
QString WithoutAccents(const QString& text) {
  QString plain;
  for (const QChar c : text.normalized(QString::NormalizationForm_KD).toCaseFolded()) {
    if (c.isMark()) continue;
    switch (c.unicode()) {
      case u'\u00df':
        plain += QStringLiteral("ss");
        break;
      case u'\u00e6':
        plain += QStringLiteral("ae");
        break;
      case u'\u0153':
        plain += QStringLiteral("oe");
        break;
      case u'\u00f8':
        plain += QLatin1Char('o');
        break;
      case u'\u0142':
        plain += QLatin1Char('l');
        break;
      default:
        plain += c;
    }
  }
  return plain;
}

}  // namespace

SearchWords::SearchWords(const QString& typed)
    : words_(WithoutAccents(typed).simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts)) {}

bool SearchWords::Match(const QString& text) const {
  if (words_.isEmpty()) return true;
  const QString plain = WithoutAccents(text);
  return std::all_of(words_.begin(), words_.end(), [&](const QString& word) { return plain.contains(word); });
}

bool MatchesWords(const QString& words, const QString& text) {
  return SearchWords(words).Match(text);
}

SearchField::SearchField(const QString& what, QWidget* parent) : QLineEdit(parent) {
  setPlaceholderText(what);
  SetAccessibleName(this, what);
  addAction(IconOf(Glyph::Search, Shade::Secondary), QLineEdit::LeadingPosition);
  setClearButtonEnabled(true);
  connect(this, &QLineEdit::textChanged, this, [this](const QString& typed) {
    words_ = SearchWords(typed);
    MakeRoom();
    emit WordsChanged(typed.trimmed());
  });
}

void SearchField::Begin() {
  setFocus(Qt::ShortcutFocusReason);
  selectAll();
}

void SearchField::ServeDialog(QWidget* dialog) {
  auto* find = new QAction(dialog);
  find->setShortcut(QKeySequence::Find);
  connect(find, &QAction::triggered, this, &SearchField::Begin);
  dialog->addAction(find);
}

void SearchField::SetHits(int hits) {
  if (hits == hits_) return;
  hits_ = hits;
  MakeRoom();
  update();
}

QString SearchField::HitsText() const {
  if (hits_ < 0 || words_.IsEmpty()) return {};
  return hits_ == 0 ? tr("none") : locale().toString(hits_);
}

QString SearchField::NothingFound() const {
  return tr("Nothing found for \"%1\". Try fewer or shorter words.").arg(ShownLine(text().trimmed()));
}

// The count stands between what is typed and the cross that clears it.
void SearchField::MakeRoom() {
  const QString hits = HitsText();
  setTextMargins(0, 0, hits.isEmpty() ? 0 : fontMetrics().horizontalAdvance(hits) + kGap, 0);
}

void SearchField::paintEvent(QPaintEvent* event) {
  QLineEdit::paintEvent(event);
  const QString hits = HitsText();
  if (hits.isEmpty()) return;
  QPainter painter(this);
  painter.setFont(TabularFont(font()));
  painter.setPen(ColourOf(hits_ == 0 ? Shade::Danger : Shade::Secondary));
  const int cross = kGlyph + 2 * kGap;
  painter.drawText(rect().adjusted(cross, 0, -cross, 0), Qt::AlignVCenter | Qt::AlignRight, hits);
}

void SearchField::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Down && event->modifiers() == Qt::NoModifier) {
    emit GoToList();
    return;
  }
  if (event->key() == Qt::Key_Escape) {
    if (!text().isEmpty()) {
      clear();
      return;
    }
    emit Left();
    event->ignore();
    return;
  }
  QLineEdit::keyPressEvent(event);
}

// Escape belongs to the field while there is something to clear, whatever else has that key.
bool SearchField::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride && !text().isEmpty() &&
      static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
    event->accept();
    return true;
  }
  return QLineEdit::event(event);
}

}  // namespace tonalith
