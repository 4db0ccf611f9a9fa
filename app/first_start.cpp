#include "app/first_start.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "studio/studio_document.h"
#include "studio/ui/search_rows.h"
#include "studio/ui/studio_marks.h"
#include "ui/plain_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr int kDriverRole = Qt::UserRole;

PlainLabel* Explanation(QWidget* parent, const QString& text = {}) {
  auto* label = new PlainLabel(text, parent);
  label->setWordWrap(true);
  SetSecondaryText(label);
  return label;
}

QWidget* Page(QVBoxLayout** column) {
  auto* page = new QWidget;
  *column = new QVBoxLayout(page);
  SetSpace(*column, 0, kGap);
  return page;
}

}  // namespace

FirstStartPage::FirstStartPage(const FirstStartFacts& facts, ZKStudioDoc& studio, const AutoConfigServices& services,
                               QWidget* parent)
    : QDialog(parent), studio_(studio) {
  SetTitle(this, tr("First Steps"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  title_ = new PlainLabel(this);
  title_->setFont(TitleFont(font()));
  column->addWidget(title_);
  text_ = Explanation(this);
  column->addWidget(text_);
  pages_ = new QStackedWidget(this);
  pages_->addWidget(BuildChoice(facts));
  search_ = new SearchRows(studio, services, pages_);
  pages_->addWidget(search_);
  pages_->addWidget(BuildTypes(facts));
  column->addWidget(pages_, 1);
  auto* row = new QHBoxLayout;
  simulated_ = new QPushButton(tr("&Try It with Simulated Instruments"), this);
  SetToolTip(simulated_, tr("Starts the program again with instruments on virtual cables"));
  simulated_->setVisible(!facts.simulated);
  leave_ = new QPushButton(tr("N&ot Now"), this);
  next_ = new QPushButton(this);
  SetPrimary(next_);
  next_->setDefault(true);
  for (QPushButton* button : {simulated_, leave_}) button->setAutoDefault(false);
  row->addWidget(simulated_);
  row->addStretch(1);
  row->addWidget(leave_);
  row->addWidget(next_);
  column->addLayout(row);
  connect(simulated_, &QPushButton::clicked, this, [this] {
    accept();
    emit TrySimulated();
  });
  connect(leave_, &QPushButton::clicked, this, &QDialog::reject);
  connect(next_, &QPushButton::clicked, this, &FirstStartPage::Next);
  connect(choice_, &InstrumentChoice::Changed, this, &FirstStartPage::ShowButtons);
  connect(search_, &SearchRows::RunningChanged, this, [this](bool running) {
    ShowButtons();
    if (!running && step_ == kSearch) next_->setFocus();
  });
  resize(fontMetrics().averageCharWidth() * 88, fontMetrics().height() * 34);
  GoTo(kChoose);
}

QWidget* FirstStartPage::BuildChoice(const FirstStartFacts& facts) {
  QVBoxLayout* column = nullptr;
  QWidget* page = Page(&column);
  std::vector<InstrumentChoice::Entry> entries;
  for (const std::string& module : studio_.InstalledModules())
    entries.push_back({module, studio_.list().IsInstrumentInstalled(module)});
  choice_ = new InstrumentChoice(entries, page);
  column->addWidget(choice_, 1);
  column->addWidget(
      Explanation(page, facts.inputs == 0 || facts.outputs == 0
                            ? tr("No MIDI port is there yet. Connect a MIDI interface or start JACK: new ports "
                                 "are noticed at once.")
                            : tr("MIDI ports: %1 in, %2 out").arg(facts.inputs).arg(facts.outputs)));
  return page;
}

QWidget* FirstStartPage::BuildTypes(const FirstStartFacts& facts) {
  QVBoxLayout* column = nullptr;
  QWidget* page = Page(&column);
  types_ = new QTreeWidget(page);
  DressList(types_);
  types_->setHeaderHidden(true);
  SetAccessibleName(types_, tr("Instruments and their data"));
  column->addWidget(types_, 1);
  column->addWidget(Explanation(page, tr("What you save is kept in %1").arg(ShownUtf8(facts.data))));
  connect(types_, &QTreeWidget::currentItemChanged, this, [this] { ShowButtons(); });
  connect(types_, &QTreeWidget::itemActivated, this, [this] { GetCurrent(); });
  return page;
}

// ---- the steps ------------------------------------------------------------------------------------------------------

void FirstStartPage::GoTo(Step step) {
  step_ = step;
  pages_->setCurrentIndex(step);
  switch (step) {
    case kChoose:
      title_->setText(tr("Which instruments do you own?"));
      text_->setText(
          tr("Step 1 of 3. Check them in the list, or type a name and press Return. Others can be added at "
             "any time."));
      choice_->setFocus();
      break;
    case kSearch:
      title_->setText(tr("Where are they?"));
      text_->setText(
          tr("Step 2 of 3. Every MIDI port is asked for each of them. They have to be switched on, with a "
             "cable in both directions."));
      break;
    case kGet:
      title_->setText(tr("Get your sounds"));
      text_->setText(search_->search().Found() > 0
                         ? tr("Step 3 of 3. Choose what to get from an instrument first. All of it is in the studio at "
                              "the left as well.")
                         : tr("Step 3 of 3. None of them was found yet. They are in the studio at the left; \"What Is "
                              "Connected?\" in the menu MIDI searches again, Settings sets ports by hand."));
      FillTypes();
      types_->setFocus();
      break;
  }
  ShowButtons();
}

void FirstStartPage::Next() {
  if (step_ == kChoose) {
    AddChosen();
    GoTo(kSearch);
    search_->Begin();
    ShowButtons();
    if (!search_->search().Running()) next_->setFocus();
  } else if (step_ == kSearch) {
    search_->search().Stop();
    GoTo(kGet);
  } else {
    GetCurrent();
  }
}

void FirstStartPage::AddChosen() {
  const auto chosen = choice_->Chosen();
  search_->search().Clear();
  for (const std::string& module : chosen) {
    // Searched for here, in one go.
    if (studio_.AddDrivers(module, true)) search_->search().AddInstrument(studio_.instruments().back().get());
  }
  studio_.TakeQueued();
  studio_.UpdatePortReferences();
  if (!chosen.empty()) emit Added();
}

void FirstStartPage::FillTypes() {
  types_->clear();
  const auto& rows = search_->search().rows();
  for (const bool found : {true, false})
    for (const SearchedInstrument& row : rows)
      if ((row.state == SearchedInstrument::State::Found) == found && row.instrument) AddTypesOf(row.instrument, found);
  if (QTreeWidgetItem* first = types_->topLevelItem(0); first && first->childCount() > 0)
    types_->setCurrentItem(first->child(0));
}

void FirstStartPage::AddTypesOf(ZKDrvList* instrument, bool found) {
  if (!studio_.GetInstrumentDrvList(instrument)) return;
  auto* row = new QTreeWidgetItem(types_);
  const QString name = ShownUtf8(instrument->DisplayKey());
  row->setText(0, found ? name : tr("%1 (not found)").arg(name));
  row->setIcon(0, MarkIcon(found ? Mark::Found : Mark::Missing, this));
  row->setData(0, Qt::AccessibleTextRole,
               row->text(0) + QStringLiteral(", ") + MarksText({found ? Mark::Found : Mark::Missing}));
  row->setFont(0, HeadingFont(font()));
  for (const auto& driver : instrument->drivers) {
    auto* type = new QTreeWidgetItem(row);
    type->setText(0, ShownLatin1(driver->TypeName()));
    type->setData(0, kDriverRole, QVariant::fromValue(static_cast<void*>(driver.get())));
  }
  row->setExpanded(found);
}

ZKDrvList* FirstStartPage::CurrentType() const {
  const QTreeWidgetItem* item = types_->currentItem();
  auto* driver = item ? static_cast<ZKDrvList*>(item->data(0, kDriverRole).value<void*>()) : nullptr;
  return driver && studio_.GetInstrumentDrvList(driver) ? driver : nullptr;
}

void FirstStartPage::GetCurrent() {
  ZKDrvList* driver = CurrentType();
  if (!driver) return;
  accept();
  emit Get(driver);
}

void FirstStartPage::ShowButtons() {
  // The list tells of its first changes while the page is made.
  if (!next_) return;
  EnableUnless(simulated_, step_ == kChoose ? QString() : tr("Only before instruments were chosen."));
  leave_->setText(step_ == kChoose ? tr("N&ot Now") : tr("Go to the St&udio"));
  if (step_ == kChoose) {
    next_->setText(tr("&Find Them"));
    EnableUnless(next_, choice_->Chosen().empty() ? tr("No instrument is chosen yet.") : QString());
  } else if (step_ == kSearch) {
    next_->setText(search_->search().Running() ? tr("&Go On without Waiting") : tr("&Go On"));
    EnableUnless(next_, {});
  } else {
    next_->setText(tr("&Get"));
    EnableUnless(next_, CurrentType() ? QString() : tr("No kind of data is chosen."));
  }
}

void FirstStartPage::done(int result) {
  search_->search().Stop();
  QDialog::done(result);
}

}  // namespace tonalith
