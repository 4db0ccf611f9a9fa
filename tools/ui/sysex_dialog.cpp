#include "tools/ui/sysex_dialog.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTextCursor>
#include <QTimer>
#include <QVBoxLayout>

#include "platform/prompts.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr char kNewTitle[] = "New SysX";
constexpr char kProgram[] = "Tonalith";
constexpr int kLookMs = 150;  // after the last key
// A longer text is looked at when it is used, not while it is typed.
constexpr int kMostLookedAt = 100'000;

}  // namespace

ZKSysXMessageDlg::ZKSysXMessageDlg(Prompts& prompts, std::string folder, QWidget* parent)
    : QDialog(parent),
      prompts_(prompts),
      folder_(std::move(folder)),
      text_(new QPlainTextEdit(this)),
      hexadecimal_(new QRadioButton(tr("&Hexadecimal"), this)),
      cNotation_(new QRadioButton(tr("&C notation (16, 0x10, 020)"), this)),
      verdict_(new PlainLabel(this)),
      timer_(new QTimer(this)) {
  SetTitle(this, tr("New SysEx Message"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  auto* head = new PlainLabel(tr("Type the bytes of the message as numbers; anything else separates them."), this);
  head->setWordWrap(true);
  column->addWidget(head);
  auto* row = new QHBoxLayout;
  for (QRadioButton* button : {hexadecimal_, cNotation_}) {
    button->setMinimumHeight(TargetHeight(fontMetrics()));
    row->addWidget(button);
    connect(button, &QRadioButton::toggled, this, &ZKSysXMessageDlg::Look);
  }
  row->addStretch(1);
  column->addLayout(row);
  hexadecimal_->setChecked(true);
  text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text_->setTabChangesFocus(true);
  text_->setAccessibleName(tr("Bytes of the message"));
  text_->setPlaceholderText(QStringLiteral("F0 7E 7F 06 01 F7"));
  text_->setMinimumSize(fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 8);
  column->addWidget(text_, 1);
  verdict_->setWordWrap(true);
  SetSecondaryText(verdict_);
  column->addWidget(verdict_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(tr("&Open"));
  SetPrimary(buttons->button(QDialogButtonBox::Ok));
  connect(buttons, &QDialogButtonBox::accepted, this, &ZKSysXMessageDlg::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &ZKSysXMessageDlg::reject);
  column->addWidget(buttons);
  timer_->setSingleShot(true);
  connect(timer_, &QTimer::timeout, this, &ZKSysXMessageDlg::Look);
  connect(text_, &QPlainTextEdit::textChanged, this, &ZKSysXMessageDlg::LookLater);
  text_->setFocus();
  Look();
}

QString ZKSysXMessageDlg::Verdict() const {
  return verdict_->text();
}

std::vector<std::uint8_t> ZKSysXMessageDlg::Bytes() const {
  return ParseSysExText(ToUtf8(text_->toPlainText()),
                        hexadecimal_->isChecked() ? SysExNumbers::Hexadecimal : SysExNumbers::CNotation);
}

// What is too much is cut off at once.
void ZKSysXMessageDlg::LookLater() {
  timer_->start(kLookMs);
  const auto most = static_cast<int>(kMostSysExText);
  if (text_->document()->characterCount() - 1 <= most) return;
  QTextCursor rest(text_->document());
  rest.setPosition(most);
  rest.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
  rest.removeSelectedText();
}

void ZKSysXMessageDlg::Look() {
  timer_->stop();
  if (text_->document()->characterCount() > kMostLookedAt)
    return verdict_->setText(tr("The text is long; its bytes are counted when it is opened."));
  const std::vector<std::uint8_t> bytes = Bytes();
  const QString count = bytes.size() == 1 ? tr("1 byte.") : tr("%1 bytes.").arg(bytes.size());
  const std::string warning = SysExWarning(bytes);
  verdict_->setText(warning.empty() ? count : count + QLatin1Char(' ') + ShownUtf8(warning));
}

void ZKSysXMessageDlg::accept() {
  if (text_->document()->isEmpty()) {
    MessagePrompt question;
    question.title = kNewTitle;
    question.text = "No SysX message!\nCancel operation?";
    question.buttons = PromptButtons::YesNo;
    question.icon = PromptIcon::Question;
    if (prompts_.Message(question) == PromptAnswer::Yes) reject();
    return;
  }
  const std::vector<std::uint8_t> bytes = Bytes();
  if (bytes.empty()) return static_cast<void>(prompts_.Say(kNewTitle, "Warning! No MIDIX file created!\nCancelling."));
  if (const Result made = MakeRawSysEx(bytes, folder_, &data_); !made.ok())
    return static_cast<void>(prompts_.Say(kProgram, made.text));
  QDialog::accept();
}

}  // namespace tonalith
