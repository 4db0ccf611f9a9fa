#include "sets/ui/set_pane.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLocale>
#include <QPushButton>
#include <QStackedLayout>
#include <QVBoxLayout>

#include "bank/ui/bank_window.h"
#include "data/patch_names.h"
#include "sets/ui/set_list.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/empty_state.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

SetPane::SetPane(ZKGrpDoc& set, WindowContext& context, ZKWindow& window, SetEditor::Host host)
    : QWidget(&window),
      set_(set),
      context_(context),
      window_(window),
      host_(std::move(host)),
      title_(new PlainLabel(this)),
      state_(new PlainLabel(this)),
      pages_(new QStackedLayout) {
  none_ = new EmptyState(Glyph::Bank, tr("No component is selected"), tr("What it holds is shown here."), this);
  undefined_ = new EmptyState(Glyph::Get, tr("No SysEx stored"), {}, this);
  linked_ = new EmptyState(Glyph::Link, tr("Linked to the following stored SysEx. To modify the SysEx, load and edit."),
                           {}, this);
  stored_ = new EmptyState(Glyph::Patch, tr("No editor available for this SysEx"), {}, this);
  inactive_ = new EmptyState(Glyph::Stop, {}, {}, this);
  FillPages();
  auto* row = new QHBoxLayout;
  SetSpace(row, 0, kGap);
  title_->setFont(HeadingFont(title_->font()));
  SetSecondaryText(state_);
  row->addWidget(title_);
  row->addWidget(state_, 1);
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, kGap);
  column->setContentsMargins(kGap + kSmallGap, 0, 0, 0);
  column->addLayout(row);
  column->addLayout(pages_, 1);
  Show(-1);
}

SetPane::~SetPane() = default;

void SetPane::FillPages() {
  const auto add = [this](EmptyState* page, const QString& text, CommandId command) {
    buttons_.emplace_back(command, page->AddButton(text, [this, command] { window_.RunCommand(command); }));
  };
  add(undefined_, tr("Get"), CommandId::MidiGet);
  add(undefined_, tr("Initialize"), CommandId::SetInitialize);
  add(linked_, tr("Resolve Links"), CommandId::SetResolve);
  add(stored_, tr("Get"), CommandId::MidiGet);
  add(stored_, tr("Send"), CommandId::MidiTransmit);
  add(inactive_, tr("Activate"), CommandId::SetActivate);
  for (EmptyState* page : {none_, undefined_, linked_, stored_, inactive_}) pages_->addWidget(page);
}

SetEditor* SetPane::EditorOf(int component) const {
  const auto found = editors_.find(component);
  return found == editors_.end() ? nullptr : found->second.get();
}

SetEditor* SetPane::MakeEditor(int component) {
  auto& editor = editors_[component];
  if (!editor) {
    editor = std::make_unique<SetEditor>(set_, component, context_, window_, this, host_);
    TZKBank* bank = editor->bank();
    pages_->addWidget(bank);
    connect(bank, &ZKWindow::StateChanged, this, &SetPane::EditorChanged);
    connect(bank, &ZKWindow::StatusMessage, this, &SetPane::Say);
    connect(bank, &ZKWindow::InspectChanged, &window_, &ZKWindow::InspectChanged);
    connect(&window_, &ZKWindow::TakeEdits, bank, &ZKWindow::TakeEdits);
    editor->SetLocked(set_.IsBusy());
  }
  return editor.get();
}

// A component with patches that can be worked with has an editor.
QWidget* SetPane::PageOf(int component) {
  if (!set_.Has(component)) return none_;
  const DataFile& held = *set_.GetDataFile(component);
  const EntryState state = set_.StateOf(component);
  const QString title = ShownUtf8(set_.TitleOf(component));
  if (state.inactive) {
    inactive_->SetTexts(tr("%1 is currently INACTIVE.").arg(title), tr("It is neither got nor sent with the Set."));
    return inactive_;
  }
  if (state.linked) {
    const std::string& problem = set_.LinkProblem(component);
    linked_->SetTexts(tr("Linked to the following stored SysEx. To modify the SysEx, load and edit."),
                      ShownUtf8(problem.empty() ? set_.LinkPath(component) : problem));
    return linked_;
  }
  const bool nothing = held.xtra && held.xtra->hasNoSysEx != 0;
  const SetEditor* editor = EditorOf(component);
  const bool filling = state.busy || (editor && editor->IsBusy());
  if (nothing && !filling) {
    undefined_->SetTexts(tr("No SysEx stored"),
                         tr("Get asks the instrument for the %1. Initialize makes a new one, for an instrument that "
                            "is not connected.")
                             .arg(ShownUtf8(set_.TypeName(component))));
    return undefined_;
  }
  const bool editable = LayoutOf(held).editable && (held.synth->isBank || PatchNameLength(held) > 0);
  if (!editable) {
    stored_->SetTexts(tr("No editor available for this SysEx"),
                      tr("SysEx stored %1 bytes").arg(QLocale().toString(set_.SysExBytes(component))));
    return stored_;
  }
  return MakeEditor(component)->bank();
}

QString SetPane::Title() const {
  return set_.Has(component_) ? ShownUtf8(set_.TypeName(component_)) : QString();
}

void SetPane::Show(int component) {
  component_ = component;
  title_->setText(Title());
  state_->setText(set_.Has(component) ? ComponentState(set_, component) : QString());
  for (const auto& [command, button] : buttons_)
    EnableUnless(button, set_.Has(component) ? window_.RefusalOf(command) : tr("No component is selected."));
  QWidget* page = PageOf(component);
  if (pages_->currentWidget() != page) {
    const bool focus = pages_->currentWidget() && pages_->currentWidget()->isAncestorOf(QApplication::focusWidget());
    pages_->setCurrentWidget(page);
    setFocusProxy(EditorOf(component) && EditorOf(component)->bank() == page ? page : page->findChild<QPushButton*>());
    if (focus) setFocus();
  }
  emit EditorChanged();
}

TZKBank* SetPane::bank() const {
  SetEditor* editor = EditorOf(component_);
  return editor && pages_->currentWidget() == editor->bank() ? editor->bank() : nullptr;
}

void SetPane::Follow(int component) {
  for (const auto& [number, editor] : editors_)
    if (component < 0 || component == number) editor->Follow();
  if (bank()) EditorOf(component_)->RenewNotes();
  if (component < 0 || component == component_) Show(component_);
}

void SetPane::FollowState() {
  for (const auto& [number, editor] : editors_) editor->SetLocked(set_.IsBusy());
  Show(component_);
}

void SetPane::GiveUpWork() {
  for (const auto& [number, editor] : editors_)
    if (editor->IsBusy()) editor->bank()->CancelTransfer();
}

void SetPane::ForEachEditor(const std::function<void(SetEditor& editor)>& visit) const {
  for (const auto& [number, editor] : editors_) visit(*editor);
}

}  // namespace tonalith
