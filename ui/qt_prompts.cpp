#include "ui/qt_prompts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kChoiceCharacters = 48;

struct ButtonChoice {
  PromptButtons set;
  PromptAnswer answer;
  const char* text;
  QMessageBox::ButtonRole role;
};

constexpr ButtonChoice kButtonChoices[] = {
    {PromptButtons::Ok, PromptAnswer::Ok, "OK", QMessageBox::AcceptRole},
    {PromptButtons::OkCancel, PromptAnswer::Ok, "OK", QMessageBox::AcceptRole},
    {PromptButtons::OkCancel, PromptAnswer::Cancel, "Cancel", QMessageBox::RejectRole},
    {PromptButtons::AbortRetryIgnore, PromptAnswer::Abort, "Abort", QMessageBox::RejectRole},
    {PromptButtons::AbortRetryIgnore, PromptAnswer::Retry, "Retry", QMessageBox::AcceptRole},
    {PromptButtons::AbortRetryIgnore, PromptAnswer::Ignore, "Ignore", QMessageBox::DestructiveRole},
    {PromptButtons::YesNoCancel, PromptAnswer::Yes, "&Yes", QMessageBox::YesRole},
    {PromptButtons::YesNoCancel, PromptAnswer::No, "&No", QMessageBox::NoRole},
    {PromptButtons::YesNoCancel, PromptAnswer::Cancel, "Cancel", QMessageBox::RejectRole},
    {PromptButtons::YesNo, PromptAnswer::Yes, "&Yes", QMessageBox::YesRole},
    {PromptButtons::YesNo, PromptAnswer::No, "&No", QMessageBox::NoRole},
    {PromptButtons::RetryCancel, PromptAnswer::Retry, "&Retry", QMessageBox::AcceptRole},
    {PromptButtons::RetryCancel, PromptAnswer::Cancel, "Cancel", QMessageBox::RejectRole},
};

// A button whose text names no key takes the first letter that no button before it has.
QString WithLetter(QString caption, QString& taken) {
  qsizetype at = caption.indexOf('&') + 1;
  if (at == 0) {
    while (at < caption.size() && (!caption[at].isLetter() || taken.contains(caption[at], Qt::CaseInsensitive))) ++at;
    if (at == caption.size()) return caption;
    caption.insert(at++, '&');
  }
  if (at < caption.size()) taken += caption[at];
  return caption;
}

QMessageBox::Icon BoxIcon(PromptIcon icon) {
  switch (icon) {
    case PromptIcon::Information:
      return QMessageBox::Information;
    case PromptIcon::Question:
      return QMessageBox::Question;
    case PromptIcon::Warning:
      return QMessageBox::Warning;
    case PromptIcon::Error:
      return QMessageBox::Critical;
    case PromptIcon::None:
      break;
  }
  return QMessageBox::NoIcon;
}

// A question as a dialog shows it: words that are too long to be wrapped are broken, and its buttons stay on the
// screen.
QString QuestionText(const std::string& text) {
  constexpr int kLongestWord = 90;
  constexpr int kMostBreaks = 24;
  QString shown;
  int run = 0;
  int breaks = 0;
  for (const QChar c : ShownLines(FromUtf8(text))) {
    // Where a line of a label may end.
    const bool ends = c.isSpace() || c == '/' || c == '-';
    if (!ends && run >= kLongestWord && !c.isLowSurrogate()) {
      if (++breaks > kMostBreaks) return shown + QChar(0x2026);
      shown += '\n';
      run = 0;
    }
    shown += c;
    run = ends ? 0 : run + 1;
  }
  return shown;
}

// The dialog makes its label when it gets a text.
void Entitle(QInputDialog& dialog, const std::string& title, const std::string& label) {
  SetTitle(&dialog, FromUtf8(title));
  dialog.setLabelText(QStringLiteral(" "));
  if (auto* line = dialog.findChild<QLabel*>()) line->setTextFormat(Qt::PlainText);
  dialog.setLabelText(QuestionText(label));
}

}  // namespace

PromptAnswer QtPrompts::Message(const MessagePrompt& prompt) {
  PromptAnswer answer = RefusingAnswer(prompt.buttons);
  if (quitting_.load()) return answer;
  dispatcher_.Call([&] { answer = ShowMessage(prompt); });
  return answer;
}

std::string QtPrompts::File(const FilePrompt& prompt) {
  std::string path;
  if (!quitting_.load()) dispatcher_.Call([&] { path = ShowFile(prompt); });
  return path;
}

std::vector<std::string> QtPrompts::Files(const FilePrompt& prompt) {
  std::vector<std::string> paths;
  if (!quitting_.load()) dispatcher_.Call([&] { paths = ShowFiles(prompt); });
  return paths;
}

bool QtPrompts::Text(const TextPrompt& prompt, std::string& text) {
  bool accepted = false;
  if (!quitting_.load()) dispatcher_.Call([&] { accepted = ShowText(prompt, text); });
  return accepted;
}

int QtPrompts::Choose(const ChoicePrompt& prompt) {
  int chosen = -1;
  if (!quitting_.load()) dispatcher_.Call([&] { chosen = ShowChoice(prompt); });
  return chosen;
}

PromptAnswer QtPrompts::ShowMessage(const MessagePrompt& prompt) {
  QMessageBox box(parent_);
  SetTitle(&box, FromUtf8(prompt.title));
  box.setTextFormat(Qt::PlainText);
  box.setText(QuestionText(prompt.text));
  box.setTextInteractionFlags(Qt::TextSelectableByMouse);
  box.setIcon(BoxIcon(prompt.icon));
  std::vector<std::pair<QAbstractButton*, PromptAnswer>> buttons;
  QString letters;
  for (const auto& choice : kButtonChoices) {
    if (choice.set != prompt.buttons) continue;
    const std::size_t place = buttons.size();
    const QString caption = place < prompt.labels.size() ? WithLetter(FromUtf8(prompt.labels[place]), letters)
                                                         : QString::fromLatin1(choice.text);
    QPushButton* button = box.addButton(caption, choice.role);
    buttons.emplace_back(button, choice.answer);
    const bool refuses = choice.answer == RefusingAnswer(prompt.buttons);
    if (refuses) box.setEscapeButton(button);
    // What a warning is about is lost by agreeing: Return alone does not.
    if (buttons.size() == 1 || (refuses && prompt.icon == PromptIcon::Warning)) box.setDefaultButton(button);
  }
  QCheckBox* check = nullptr;
  if (!prompt.checkBox.empty()) {
    check = new QCheckBox(FromUtf8(prompt.checkBox));
    check->setChecked(prompt.checked && *prompt.checked);
    box.setCheckBox(check);
  }
  box.exec();
  if (check && prompt.checked) *prompt.checked = check->isChecked();
  for (const auto& [button, answer] : buttons) {
    if (button == box.clickedButton()) return answer;
  }
  return RefusingAnswer(prompt.buttons);
}

std::string QtPrompts::ShowFile(const FilePrompt& prompt) {
  QStringList filters;
  for (const auto& pattern : prompt.patterns) filters << FromUtf8(pattern);
  QString start = FromUtf8(prompt.folder);
  if (!prompt.name.empty()) start += QStringLiteral("/") + FromUtf8(prompt.name);
  const QString filter = filters.join(QStringLiteral(";;"));
  QString path;
  if (!prompt.save) {
    path = QFileDialog::getOpenFileName(parent_, TitleText(FromUtf8(prompt.title)), start, filter);
  } else {
    path = QFileDialog::getSaveFileName(parent_, TitleText(FromUtf8(prompt.title)), start, filter);
    // The ending of the suggested name belongs to the kind of file: it is added when the user typed none.
    const QString ending = QFileInfo(FromUtf8(prompt.name)).suffix();
    if (!path.isEmpty() && QFileInfo(path).suffix().isEmpty() && !ending.isEmpty())
      path += QStringLiteral(".") + ending;
  }
  return ToUtf8(path);
}

std::vector<std::string> QtPrompts::ShowFiles(const FilePrompt& prompt) {
  QStringList filters;
  for (const auto& pattern : prompt.patterns) filters << FromUtf8(pattern);
  std::vector<std::string> paths;
  for (const QString& path : QFileDialog::getOpenFileNames(parent_, TitleText(FromUtf8(prompt.title)),
                                                           FromUtf8(prompt.folder), filters.join(QStringLiteral(";;"))))
    paths.push_back(ToUtf8(path));
  return paths;
}

int QtPrompts::ShowChoice(const ChoicePrompt& prompt) {
  QStringList items;
  for (const auto& item : prompt.items) items << ShownUtf8(item);
  QInputDialog dialog(parent_);
  Entitle(dialog, prompt.title, prompt.label);
  dialog.setComboBoxItems(items);
  dialog.setComboBoxEditable(false);
  auto* box = dialog.findChild<QComboBox*>();
  if (!box) return -1;
  box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  box->setMinimumContentsLength(kChoiceCharacters);
  box->setCurrentIndex(prompt.chosen);
  if (!prompt.button.empty()) dialog.setOkButtonText(MenuText(FromUtf8(prompt.button)));
  // Entries may look alike: their place counts.
  return dialog.exec() == QDialog::Accepted ? box->currentIndex() : -1;
}

bool QtPrompts::ShowText(const TextPrompt& prompt, std::string& text) {
  QInputDialog dialog(parent_);
  Entitle(dialog, prompt.title, prompt.label);
  dialog.setTextValue(FromUtf8(prompt.text));
  if (auto* edit = dialog.findChild<QLineEdit*>()) edit->setMaxLength(prompt.maxLength);
  if (dialog.exec() != QDialog::Accepted) return false;
  text = ToUtf8(dialog.textValue());
  return true;
}

}  // namespace tonalith
