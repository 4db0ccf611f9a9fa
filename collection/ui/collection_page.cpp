#include "collection/ui/collection_page.h"

#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <iterator>
#include <utility>

#include "bank/ui/bank_window.h"
#include "collection/collection_document.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/style/space.h"
#include "ui/window_context.h"

namespace tonalith {

CollectionPage::CollectionPage(ZKDBaseDoc& collection, EntryId entry, WindowContext& context, ZKWindow& window,
                               const CollectionPageServices& services, QWidget* parent)
    : QWidget(parent), collection_(collection), entry_(entry), context_(context), seen_(collection.Item(entry).bytes) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins({});
  auto set = services.makeSet();
  collection.Open(entry, set.get());
  set_ = set.get();
  if (collection.Item(entry).isSet)
    BuildSet(std::move(set), context, window, services);
  else
    BuildData(std::move(set), context, window);
  packed_ = Packed();
  state_ = set_->history().State();
  listener_ = set_->AddListener([this](const DocumentChange& change) { PartChanged(change); });
}

CollectionPage::~CollectionPage() {
  following_ = true;  // what its end tells is for nobody
  set_->RemoveListener(listener_);
  GiveUpWork();
  // Both work on the document, which would go before the children of this widget.
  delete pane_;
  delete whole_;
}

void CollectionPage::BuildSet(std::unique_ptr<ZKGrpDoc> set, WindowContext& context, ZKWindow& window,
                              const CollectionPageServices& services) {
  whole_ = new TZKGrp(std::move(set), context, services.sets, this);
  whole_->BecomePart(window);
  layout()->setContentsMargins(kGap + kSmallGap, 0, 0, 0);
  layout()->addWidget(whole_);
  setFocusProxy(whole_);
  connect(whole_, &ZKWindow::StateChanged, this, &CollectionPage::Changed);
  connect(whole_, &ZKWindow::StatusMessage, this, &CollectionPage::Say);
  connect(whole_, &ZKWindow::InspectChanged, &window, &ZKWindow::InspectChanged);
  connect(&window, &ZKWindow::TakeEdits, whole_, &ZKWindow::TakeEdits);
}

void CollectionPage::BuildData(std::unique_ptr<ZKGrpDoc> set, WindowContext& context, ZKWindow& window) {
  part_ = std::move(set);
  SetTransfers::Host transfers;
  transfers.say = [this](const std::string& sentence) { emit Say(ShownUtf8(sentence)); };
  transfers.progress = [this] { emit Changed(); };
  transfers.soFar = [this](int, DataFilePtr soFar, int done, int all) {
    if (SetEditor* editor = pane_->EditorOf(0)) editor->bank()->ShowSoFar(std::move(soFar), done, all);
  };
  moves_ = std::make_unique<SetTransfers>(*part_, context, "Collection", std::move(transfers));
  SetEditor::Host editor;
  // Behind what the command in the editor says.
  editor.say = [this](const std::string& sentence) {
    QTimer::singleShot(0, this, [this, sentence] { emit Say(ShownUtf8(sentence)); });
  };
  editor.put = [this](int component, DataFilePtr made, const std::string& name) {
    return part_->EditData(component, *made, name);
  };
  editor.note = [](int, int) { return QString(); };
  if (!part_->IsEmpty()) context.UpdateFromStudio(part_->GetDataFile(0));
  pane_ = new SetPane(*part_, context, window, std::move(editor));
  layout()->addWidget(pane_);
  setFocusProxy(pane_);
  connect(pane_, &SetPane::EditorChanged, this, &CollectionPage::Changed);
  connect(pane_, &SetPane::Say, this, &CollectionPage::Say);
  pane_->Show(0);
}

ZKWindow* CollectionPage::Inner() const {
  return whole_ ? static_cast<ZKWindow*>(whole_) : pane_->bank();
}

// ---- commands -------------------------------------------------------------------------------------------------------

// Those that the editor of a data file hands on are answered here, whatever stands in the pane.
bool CollectionPage::Has(CommandId command) const {
  if (whole_) return false;
  constexpr CommandId kOfPage[] = {CommandId::MidiGet,        CommandId::MidiTransmit, CommandId::SetInitialize,
                                   CommandId::SetResolve,     CommandId::SetActivate,  CommandId::BankSendAtOnce,
                                   CommandId::BankUndoHistory};
  return std::find(std::begin(kOfPage), std::end(kOfPage), command) != std::end(kOfPage);
}

QString CollectionPage::Refusal(CommandId command) const {
  if (command == CommandId::BankSendAtOnce) return tr("A Collection sends nothing by itself; send the entry.");
  if (command == CommandId::BankUndoHistory)
    return tr("The entries of a Collection have one history; Undo takes its last change back.");
  if (set_->IsBusy()) return ShownUtf8(set_->BusyReason());
  if (set_->IsEmpty()) return tr("The entry does not read.");
  const EntryState state = set_->StateOf(0);
  if (command == CommandId::SetResolve) return state.linked ? QString() : tr("The entry is not linked to a file.");
  if (state.linked && command != CommandId::MidiTransmit)
    return tr("The data is linked to a file; resolve the link first.");
  if (command == CommandId::MidiTransmit && state.content != EntryContent::kDefined)
    return tr("The entry holds nothing that could be sent.");
  return {};
}

bool CollectionPage::AskReload() const {
  const CollectionFacts& facts = collection_.Facts(entry_);
  if (facts.state.content != EntryContent::kDefined) return true;
  MessagePrompt prompt;
  prompt.title = "Collection";
  prompt.text = facts.Text(CollectionColumn::Name) + " (" + facts.instrument +
                ") is already defined.\nAre you sure you want to reload?";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  return context_.prompts().Message(prompt) == PromptAnswer::Yes;
}

void CollectionPage::Run(CommandId command) {
  Result result;
  switch (command) {
    case CommandId::MidiGet:
      if (AskReload()) moves_->StartGet({0});
      return;
    case CommandId::MidiTransmit:
      return moves_->StartSend({0}, {});
    case CommandId::SetInitialize:
      result = set_->Initialize(0);
      break;
    case CommandId::SetActivate:
      result = set_->SetActive(0, set_->StateOf(0).inactive);
      break;
    case CommandId::SetResolve: {
      std::vector<int> left;
      result = set_->ResolveLinks(&left);
      if (result.ok() && !left.empty()) result = Result::Failure(set_->LinkProblem(0));
      break;
    }
    default:
      return;
  }
  emit Say(ShownUtf8(result.ok() ? set_->StatusText() : result.text));
}

// ---- what changes ---------------------------------------------------------------------------------------------------

void CollectionPage::PartChanged(const DocumentChange& change) {
  if (pane_ && change.kind != DocumentChange::Kind::State) pane_->Follow(0);
  if (pane_) pane_->FollowState();
  if (following_) return;
  if (const bool busy = set_->IsBusy(); busy != busy_) {
    busy_ = busy;
    following_ = true;
    collection_.SetBusy(busy, busy ? set_->BusyReason() : std::string());
    following_ = false;
    if (!busy) Take();
  }
  if (change.kind != DocumentChange::Kind::State || set_->history().State() != state_) late_ = true;
  // Several changes that are one for the user are taken at their end.
  if (!busy_ && late_ && !set_->history().IsOpen()) Take();
  emit Changed();
}

std::vector<std::uint8_t> CollectionPage::Packed() const {
  CollectionItem item{collection_.Item(entry_).isSet, {}};
  return TakeItemBack(*set_, &item).ok() ? std::move(item.bytes) : std::vector<std::uint8_t>();
}

void CollectionPage::Take() {
  late_ = false;
  state_ = set_->history().State();
  std::vector<std::uint8_t> packed = Packed();
  if (packed.empty() || packed == packed_) return;
  packed_ = packed;
  following_ = true;
  const std::string name = set_->StatusText().empty() ? "Edit" : set_->StatusText();
  const Result taken = collection_.Change(entry_, {collection_.Item(entry_).isSet, std::move(packed)}, name);
  if (taken.ok()) seen_ = collection_.Item(entry_).bytes;
  following_ = false;
  if (taken.ok()) return;
  // What the Collection has is what counts.
  seen_.clear();
  Follow();
  emit Say(ShownUtf8(taken.text));
}

void CollectionPage::Follow() {
  if (following_ || busy_ || !collection_.Has(entry_) || collection_.Item(entry_).bytes == seen_) return;
  following_ = true;
  if (collection_.Open(entry_, set_).ok()) seen_ = collection_.Item(entry_).bytes;
  packed_ = Packed();
  state_ = set_->history().State();
  following_ = false;
}

void CollectionPage::FollowState() {
  if (pane_) pane_->FollowState();
}

void CollectionPage::GiveUpWork() {
  if (whole_) whole_->GiveUpWork();
  if (moves_) moves_->Cancel();
  if (pane_) pane_->GiveUpWork();
}

}  // namespace tonalith
