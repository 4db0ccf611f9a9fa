#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "services/settings.h"
#include "ui/plain_text.h"

class QFormLayout;
class QLineEdit;
class QTabWidget;
class QPushButton;
class QSpinBox;

namespace tonalith {

class Program;
class SearchField;
class SearchWords;

// How a setting is edited.
enum class PreferenceControl : std::uint8_t { Check, Number, Choice, Channel, InPort, OutPort };

// A line of a page: the setting's label and range come from the settings table.
struct PreferenceRow {
  SettingId id;
  PreferenceControl control;
  const char* help;  // what it does, in a sentence
  std::vector<const char*> choices = {};
};

// A page of the preferences.  It reads the settings when it is shown and stores every one of its values when it is
// applied; it keeps nothing itself.
class ZKPropPage : public QWidget {
  Q_OBJECT

 public:
  // The services must outlive the page.
  ZKPropPage(Program& program, QString tab, std::span<const PreferenceRow> rows);

  const QString& tab() const { return tab_; }
  // Fills the controls from the settings.
  virtual void OnInitDialog();
  // Stores the controls' values, in the order of the rows.
  virtual void OnApply();
  // Fills the controls with the values of a new installation; nothing is stored.
  virtual void RestoreDefaults();
  // Shows only what has the words in its label or help; how many lines that is.
  int Filter(const SearchWords& words);
  // The focus goes to the first line that is shown.
  void FocusFirst();
  // The control of a setting; null when it is not on this page.
  QWidget* ControlOf(SettingId id) const;

 signals:
  void Changed();
  // What the control under the focus does.
  void HelpShown(const QString& help);

 protected:
  // Adds a line below the rows; `words` is what a search finds it by.
  void AddLine(const QString& label, QWidget* control, const QString& help);
  void Watch(QWidget* control, const QString& help);
  bool eventFilter(QObject* watched, QEvent* event) override;
  Program& program() { return program_; }

 private:
  struct Line {
    const PreferenceRow* row;  // null for what a page adds itself
    QWidget* label;
    QWidget* control;
    QString words;
  };
  QWidget* MakeControl(const PreferenceRow& row, const SettingInfo& info);
  void SetValue(const Line& line, int value);
  int Value(const Line& line) const;

  Program& program_;
  QString tab_;
  std::vector<Line> lines_;
  QFormLayout* form_;
};

// What the pages ask of the program.
class PreferencesHost {
 public:
  virtual ~PreferencesHost() = default;
  // Closes the MIDI inputs and opens them again.
  virtual void ResetMidiInPorts() = 0;
  // Settings were stored: windows that show them look again.
  virtual void PreferencesApplied() = 0;
  virtual bool ExtendedMode() const { return false; }
};

class ZKPropBankEdit final : public ZKPropPage {
  Q_OBJECT

 public:
  explicit ZKPropBankEdit(Program& program);
};

class ZKPropDrvList final : public ZKPropPage {
  Q_OBJECT

 public:
  ZKPropDrvList(Program& program, PreferencesHost& host);
};

class ZKPropMidi final : public ZKPropPage {
  Q_OBJECT

 public:
  explicit ZKPropMidi(Program& program);
};

// The audition notes: note, velocity and channel of each.
class ZKPropTones final : public ZKPropPage {
  Q_OBJECT

 public:
  explicit ZKPropTones(Program& program);
  void OnInitDialog() override;
  void OnApply() override;
  void RestoreDefaults() override;

 private:
  void Fill(const std::function<int(int)>& value);

  std::vector<QSpinBox*> entries_;  // eight notes, their velocities, their channels
};

class ZKPropMisc final : public ZKPropPage {
  Q_OBJECT

 public:
  ZKPropMisc(Program& program, PreferencesHost& host);
  void OnInitDialog() override;
  void OnApply() override;

 private:
  QLineEdit* AddFolder(const QString& label, const QString& help, bool readOnly);
  void ApplyFolder(QLineEdit* edit, const std::string& now, const std::function<void(const std::string&)>& store);

  QLineEdit* programFolder_;
  QLineEdit* instruments_;
  QLineEdit* data_;
};

// The sheet with all pages that exist.
class PreferencesSheet final : public QDialog {
  Q_OBJECT

 public:
  PreferencesSheet(Program& program, PreferencesHost& host, QWidget* parent);

  QTabWidget* tabs() { return tabs_; }
  const std::vector<ZKPropPage*>& pages() const { return pages_; }
  SearchField* search() { return search_; }
  QPushButton* applyButton() { return apply_; }
  // Stores the values of every page.
  void Apply();
  void accept() override;

 private:
  void AddPage(ZKPropPage* page);
  void Search();

  Program& program_;
  PreferencesHost& host_;
  SearchField* search_;
  QTabWidget* tabs_;
  PlainLabel* help_;
  QPushButton* apply_;
  QPushButton* cancel_;
  int tallest_ = 0;
  std::vector<ZKPropPage*> pages_;
};

// Shows the preferences and waits for their end.
void MainSetProperties(QWidget* parent, Program& program, PreferencesHost& owner);

}  // namespace tonalith
