#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <filesystem>

#include "app/preferences.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "tools/monitor_lines.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

using Control = PreferenceControl;

const std::vector<PreferenceRow>& BankRows() {
  static const std::vector<PreferenceRow> rows = {
      {SettingId::MainBankDnDMode,
       Control::Choice,
       "What patches do that are dropped in their own bank; Ctrl always copies, Shift always inserts.",
       {"Exchange", "Copy", "Insert"}},
      {SettingId::MainBankDnDExtMode,
       Control::Choice,
       "What patches do that are dropped in another bank of the same kind; Ctrl always copies.",
       {"Copy", "Exchange"}},
      {SettingId::MainBackup, Control::Check,
       "Changes of banks can be taken back; without it what was done before is forgotten at once."},
      {SettingId::MainInvertScrollWheelInput, Control::Check,
       "The wheel goes the other way through the patches of a grid."},
  };
  return rows;
}

const std::vector<PreferenceRow>& StudioRows() {
  static const std::vector<PreferenceRow> rows = {
      {SettingId::MainAutoUpdate, Control::Check,
       "Data that is opened takes the ports, channels and scripts of its instrument in the studio."},
      {SettingId::MainDrvOldDisplayStyle,
       Control::Choice,
       "How the studio window shows its instruments.",
       {"Off", "Select instrument", "Select instrument Graphic", "Studio"}},
      {SettingId::MainAutoConfigInstruments, Control::Check,
       "Ports and device number of an instrument are looked for when it is added to the studio."},
      {SettingId::MainAutoDefinePatchesAndBanks,
       Control::Choice,
       "Numbers and names of banks are taken from the instrument's module for new data.",
       {"Off", "On", "Auto"}},
      {SettingId::MainAutoSenseOnProgramExecution, Control::Check,
       "Ports and device numbers of all instruments are looked for when the program starts."},
      {SettingId::MainReceiveManualBulkDumps,
       Control::Choice,
       "What happens to data that an instrument sends on its own.",
       {"Off", "Ask", "Without asking"}},
  };
  return rows;
}

const std::vector<PreferenceRow>& MidiRows() {
  static const std::vector<PreferenceRow> rows = {
      {SettingId::MainIncludeRealTimeEvents, Control::Check, "MIDI thru also passes clock, start, continue and stop."},
      {SettingId::MainDelay, Control::Number, "Pause after each SysEx message that was sent."},
      {SettingId::MainDelayMidi, Control::Number, "Long SysEx is sent in pieces of this many bytes; 0 sends it whole."},
      {SettingId::MainMidiSlow, Control::Number, "Pause after each piece of a long SysEx."},
      {SettingId::MainScriptSeconds, Control::Number,
       "A script that computes longer is stopped; waiting does not count."},
      {SettingId::MainExtraAttempts, Control::Number,
       "How often data that does not come, is refused or comes damaged is asked for again."},
      {SettingId::MainReadTwice, Control::Check,
       "Takes twice the time, and shows bytes that changed on the way where no checksum would."},
      {SettingId::MainPchPopupSelect, Control::Check,
       "Asks for the number before data that carries its patch number is sent or received."},
      {SettingId::MainMidiChannel, Control::Channel, "The channel of MIDI thru and of new instruments."},
      {SettingId::MainPortIn, Control::InPort, "The port of data that has none of its own."},
      {SettingId::MainPortOut, Control::OutPort, "The port of data that has none of its own."},
      {SettingId::MainMidiThruLocalOff, Control::Check,
       "Also passes what an instrument plays back to itself; switch its Local Control off."},
      {SettingId::MainEchoMode,
       Control::Choice,
       "Where channel messages that come in are sent.",
       {"Off", "To the MIDI OUT port", "To the instrument of the active window",
        "To the MIDI OUT port, on the MIDI channel", "To the instrument of the active editor",
        "To the active instrument, from the MIDI IN port only"}},
  };
  return rows;
}

const std::vector<PreferenceRow>& TonesRows() {
  static const std::vector<PreferenceRow> rows = {
      {SettingId::MainNotesToPlay, Control::Number, "How many of the notes below an audition plays."},
      {SettingId::MainPlaybackSpeed, Control::Number, "How fast the notes follow each other."},
  };
  return rows;
}

const std::vector<PreferenceRow>& MiscRows() {
  static const std::vector<PreferenceRow> rows = {
      {SettingId::MainToolbarCorner,
       Control::Choice,
       "Where the control bar lies.",
       {"Top left", "Top right", "Bottom left", "Bottom right"}},
      {SettingId::MainAutoSave, Control::Check, "Files that are open are saved from time to time."},
      {SettingId::MainAutoSaveLoadDesktop, Control::Check,
       "The windows that are open at the end are opened again at the next start."},
      {SettingId::MainApplicationControlBar, Control::Check, "The bar with pictures below the menus."},
      {SettingId::MainAutoSaveMinutes, Control::Number, "The time between two automatic saves."},
  };
  return rows;
}

}  // namespace

ZKPropBankEdit::ZKPropBankEdit(Program& program) : ZKPropPage(program, QStringLiteral("Bank"), BankRows()) {}

ZKPropDrvList::ZKPropDrvList(Program& program, PreferencesHost& host)
    : ZKPropPage(program, QStringLiteral("Studio"), StudioRows()) {
  auto* reset = new QPushButton(tr("&Reset MIDI IN Ports"), this);
  AddLine({}, reset, tr("Closes the MIDI inputs and opens them again, when an interface stopped answering."));
  connect(reset, &QPushButton::clicked, this, [this, &host] {
    MessagePrompt prompt;
    prompt.title = "MIDI IN Port Reset";
    prompt.text =
        "MIDI IN Ports should only be reset when there is no SysEx communication between Tonalith and MIDI devices\n\n"
        "Are you sure you want to reset?";
    prompt.buttons = PromptButtons::YesNo;
    prompt.icon = PromptIcon::Question;
    if (this->program().prompts().Message(prompt) == PromptAnswer::Yes) host.ResetMidiInPorts();
  });
}

ZKPropMidi::ZKPropMidi(Program& program) : ZKPropPage(program, QStringLiteral("MIDI"), MidiRows()) {}

ZKPropTones::ZKPropTones(Program& program) : ZKPropPage(program, QStringLiteral("Tones"), TonesRows()) {
  auto* table = new QWidget(this);
  auto* grid = new QGridLayout(table);
  SetSpace(grid, 0, kSmallGap);
  grid->setHorizontalSpacing(kGap);
  const QString heads[] = {tr("Note"), tr("Velocity"), tr("Channel")};
  for (int column = 0; column < 3; ++column)
    grid->addWidget(new PlainLabel(heads[column], table), 0, column == 0 ? 1 : column + 2);
  entries_.resize(3 * kToneNotes);
  for (int i = 0; i < kToneNotes; ++i) {
    grid->addWidget(new PlainLabel(QString::number(i + 1), table), i + 1, 0);
    auto* name = new PlainLabel(table);
    name->setMinimumWidth(name->fontMetrics().horizontalAdvance(QStringLiteral("G#-1 ")));
    grid->addWidget(name, i + 1, 2);
    for (int kind = 0; kind < 3; ++kind) {
      auto* box = new QSpinBox(table);
      box->setRange(kind == 2 ? 1 : 0, kind == 2 ? 16 : 127);
      box->setAccessibleName(tr("%1 of note %2").arg(heads[kind]).arg(i + 1));
      entries_[static_cast<std::size_t>(kind * kToneNotes + i)] = box;
      grid->addWidget(box, i + 1, kind == 0 ? 1 : kind + 2);
      connect(box, &QSpinBox::valueChanged, this, &ZKPropPage::Changed);
      Watch(box, tr("The notes that are played when a patch is listened to."));
      if (kind == 0)
        connect(box, &QSpinBox::valueChanged, name,
                [name](int note) { name->setText(ShownUtf8(MonitorNoteText(note)).remove(QLatin1Char(' '))); });
    }
  }
  grid->setColumnStretch(5, 1);
  AddLine({}, table, tr("Note Velocity Channel audition"));
  SetToolTip(table, {});
}

void ZKPropTones::Fill(const std::function<int(int)>& value) {
  for (int i = 0; i < 3 * kToneNotes; ++i) {
    QSpinBox* box = entries_[static_cast<std::size_t>(i)];
    box->setValue(value(i) + box->minimum());
    emit box->valueChanged(box->value());
  }
}

void ZKPropTones::OnInitDialog() {
  ZKPropPage::OnInitDialog();
  Fill([this](int i) { return program().settings().MainTonesData(i, -1); });
}

void ZKPropTones::OnApply() {
  ZKPropPage::OnApply();
  for (int i = 0; i < 3 * kToneNotes; ++i) {
    const QSpinBox* box = entries_[static_cast<std::size_t>(i)];
    program().settings().MainTonesData(i, box->value() - box->minimum());
  }
}

void ZKPropTones::RestoreDefaults() {
  ZKPropPage::RestoreDefaults();
  const Config& defaults = GetDfltConfig();
  Fill([&](int i) { return defaults.tonesData[i]; });
}

ZKPropMisc::ZKPropMisc(Program& program, PreferencesHost& host)
    : ZKPropPage(program, QStringLiteral("Miscellaneous"), MiscRows()) {
  programFolder_ =
      AddFolder(tr("&Program folder"), tr("Where the program and its resources lie; it finds them by itself."),
                !host.ExtendedMode());
  instruments_ = AddFolder(tr("&Instrument folder"), tr("Where instrument modules are installed."), false);
  data_ = AddFolder(tr("&Data folder"), tr("Where your sounds and the studio are kept."), false);
}

QLineEdit* ZKPropMisc::AddFolder(const QString& label, const QString& help, bool readOnly) {
  auto* line = new QWidget(this);
  auto* row = new QHBoxLayout(line);
  SetSpace(row, 0, kGap);
  auto* edit = new QLineEdit(line);
  edit->setReadOnly(readOnly);
  row->addWidget(edit, 1);
  auto* browse = new QPushButton(tr("Choose..."), line);
  EnableUnless(browse, readOnly ? tr("The program finds this folder by itself.") : QString());
  browse->setAccessibleName(tr("Choose the folder: %1").arg(label));
  row->addWidget(browse);
  connect(edit, &QLineEdit::textChanged, this, &ZKPropPage::Changed);
  connect(browse, &QPushButton::clicked, this, [this, edit, label] {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, QString(label).remove(QLatin1Char('&')), edit->text());
    if (!chosen.isEmpty()) edit->setText(chosen);
  });
  line->setFocusProxy(edit);
  AddLine(label + QLatin1Char(':'), line, help);
  Watch(edit, help);
  return edit;
}

void ZKPropMisc::OnInitDialog() {
  ZKPropPage::OnInitDialog();
  SetEdited(programFolder_, program().paths().MainGetProgramPath());
  SetEdited(instruments_, program().paths().MainGetInstrPath());
  SetEdited(data_, program().paths().MainGetDataPath());
}

void ZKPropMisc::ApplyFolder(QLineEdit* edit, const std::string& now,
                             const std::function<void(const std::string&)>& store) {
  const std::string wanted = ToUtf8(edit->text().trimmed());
  if (edit->isReadOnly() || wanted == now || wanted.empty()) return;
  std::error_code error;
  const std::filesystem::path folder(wanted);
  std::filesystem::create_directories(folder, error);
  const std::filesystem::path probe = folder / ".tonalith-write-test";
  std::FILE* file = error || folder.is_relative() ? nullptr : std::fopen(probe.c_str(), "wxe");
  if (!file) {
    program().prompts().Say("Preferences", "The folder\n" + wanted + "\ncannot be written to. It was not changed.");
    return;
  }
  std::fclose(file);
  std::filesystem::remove(probe, error);
  store(wanted);
  program().prompts().Say("Preferences", "The folder\n" + wanted +
                                             "\nis used after the program was started again.\nFiles in the former "
                                             "folder stay where they are.");
}

void ZKPropMisc::OnApply() {
  ZKPropPage::OnApply();
  Paths& paths = program().paths();
  ApplyFolder(programFolder_, paths.MainGetProgramPath(), [&](const std::string& to) { paths.MainSetProgramPath(to); });
  ApplyFolder(instruments_, paths.MainGetInstrPath(), [&](const std::string& to) { paths.MainSetInstrPath(to); });
  ApplyFolder(data_, paths.MainGetDataPath(), [&](const std::string& to) { paths.MainSetDataPath(to); });
}

}  // namespace tonalith
