#include "app/first_start.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/plain_text.h"

namespace tonalith {

namespace {

PlainLabel* Text(const QString& text) {
  auto* label = new PlainLabel(text);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return label;
}

QString Names(const std::vector<std::string>& ports) {
  constexpr std::size_t kMost = 4;
  QStringList names;
  for (std::size_t i = 0; i < ports.size() && i < kMost; ++i) names << ShownUtf8(ports[i]);
  if (ports.size() > kMost) names << FirstStartPage::tr("and %1 more").arg(ports.size() - kMost);
  return names.isEmpty() ? FirstStartPage::tr("none") : names.join(QStringLiteral("\n"));
}

}  // namespace

FirstStartPage::FirstStartPage(const FirstStartFacts& facts, QWidget* parent) : QDialog(parent) {
  SetTitle(this, tr("First Steps"));
  auto* column = new QVBoxLayout(this);
  auto* title = new PlainLabel(tr("Welcome to Tonalith"));
  QFont large = font();
  large.setPointSizeF(large.pointSizeF() * 1.5);
  large.setBold(true);
  title->setFont(large);
  column->addWidget(title);
  column->addWidget(Text(tr("Edit, keep and send the sounds of your MIDI instruments.")));
  column->addWidget(BuildPorts(facts));
  column->addWidget(BuildFolders(facts));
  column->addWidget(BuildSteps());
  column->addStretch(1);
  auto* row = new QHBoxLayout;
  const auto button = [&](const QString& text, void (FirstStartPage::*signal)()) {
    auto* made = new QPushButton(text);
    connect(made, &QPushButton::clicked, this, [this, signal] {
      hide();
      emit(this->*signal)();
      close();
    });
    row->addWidget(made);
    return made;
  };
  button(tr("&Add an Instrument"), &FirstStartPage::AddInstrument)->setDefault(true);
  QPushButton* simulated = button(tr("&Try It with Simulated Instruments"), &FirstStartPage::TrySimulated);
  simulated->setVisible(!facts.simulated);
  SetToolTip(simulated, tr("Starts the program again with instruments on virtual cables"));
  row->addStretch(1);
  button(tr("Go to the &Studio"), &FirstStartPage::GoToStudio);
  column->addLayout(row);
  resize(fontMetrics().averageCharWidth() * 80, sizeHint().height());
}

QWidget* FirstStartPage::BuildPorts(const FirstStartFacts& facts) {
  auto* group = new QGroupBox(tr("MIDI ports found"));
  auto* form = new QFormLayout(group);
  form->addRow(tr("In:"), Text(Names(facts.inputs)));
  form->addRow(tr("Out:"), Text(Names(facts.outputs)));
  if (facts.inputs.empty() || facts.outputs.empty())
    form->addRow(Text(tr("Connect a MIDI interface or start JACK: new ports are noticed at once.")));
  return group;
}

QWidget* FirstStartPage::BuildFolders(const FirstStartFacts& facts) {
  auto* group = new QGroupBox(tr("Folders"));
  auto* form = new QFormLayout(group);
  form->addRow(tr("Your data:"), Text(ShownUtf8(facts.data)));
  form->addRow(tr("Instruments:"), Text(ShownUtf8(facts.instruments)));
  form->addRow(tr("Settings:"), Text(ShownUtf8(facts.preferences)));
  return group;
}

QWidget* FirstStartPage::BuildSteps() {
  auto* group = new QGroupBox(tr("How it works"));
  auto* column = new QVBoxLayout(group);
  column->addWidget(Text(tr(
      "1. The studio lists your instruments. Add puts one in, AutoSense finds its ports, Settings sets them by hand.\n"
      "2. Choose a kind of data of an instrument; Get requests it and a window shows the progress.\n"
      "3. The bank window lists the patches. F2 renames one in place.\n"
      "4. Transmit brings the data back into the instrument, Save keeps it as a file.")));
  return group;
}

}  // namespace tonalith
