#pragma once

#include <QDialog>
#include <map>

#include "midi/port_system.h"

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QListWidget;
class QSpinBox;
class QVBoxLayout;

namespace tonalith {

class ListSearch;
class SearchField;

// Which ports of one direction the program opens.  OK closes all ports of the direction, keeps the choice in the
// profile and opens the chosen ports again; Cancel changes nothing.  Outputs may take more bytes a second than a MIDI
// cable carries.
class PVMidiPorts : public QDialog {
  Q_OBJECT

 public:
  PVMidiPorts(MidiPortSystem& midi, MidiDirection direction, QWidget* parent);

  QListWidget* list() { return list_; }
  SearchField* search() { return search_; }
  QCheckBox* openAll() { return openAll_; }
  // Null in the dialog for outputs and where the profile hides them.
  QSpinBox* bufferCount() { return bufferCount_; }
  QSpinBox* bufferSize() { return bufferSize_; }
  // Null in the dialog for inputs: bytes a second of the chosen output; 0 is a MIDI cable.
  QComboBox* speedPort() { return speedPort_; }
  QSpinBox* speed() { return speed_; }

  void accept() override;

 private:
  void FillList();
  void BuildSearch(QVBoxLayout* layout);
  QString SearchSummary() const;
  void AddPort(const std::string& name, const QString& note, bool selected);
  void BuildSpeeds(QVBoxLayout* layout);
  Result KeepSpeeds();
  void BuildBuffers(QVBoxLayout* layout, const PortProfileSettings& settings);
  PortMap Chosen() const;

  MidiPortSystem& midi_;
  MidiDirection direction_;
  QListWidget* list_;
  SearchField* search_;
  ListSearch* found_ = nullptr;
  QCheckBox* openAll_;
  QSpinBox* bufferCount_ = nullptr;
  QSpinBox* bufferSize_ = nullptr;
  QComboBox* speedPort_ = nullptr;
  QSpinBox* speed_ = nullptr;
  std::map<std::string, std::uint32_t> speeds_;  // that were changed, by the name of the port
};

class PVMidiIn final : public PVMidiPorts {
  Q_OBJECT

 public:
  explicit PVMidiIn(MidiPortSystem& midi, QWidget* parent = nullptr)
      : PVMidiPorts(midi, MidiDirection::Input, parent) {}
};

class PVMidiOut final : public PVMidiPorts {
  Q_OBJECT

 public:
  explicit PVMidiOut(MidiPortSystem& midi, QWidget* parent = nullptr)
      : PVMidiPorts(midi, MidiDirection::Output, parent) {}
};

// Where "do not ask again" of the question is kept, in the port profile.
inline constexpr char kAskPortsSection[] = "Midi Out Ports";
inline constexpr char kAskPortsKey[] = "DoNotAsk";

// Asks whether ports shall be chosen now because none is.  True: yes.  Never asked again when the user checks the box
// (kept in the INI file `profile`).
bool PVAskPorts(Prompts& prompts, MidiDirection direction, const std::string& profile);
inline bool PVAskPortsOut(Prompts& prompts, const std::string& profile) {
  return PVAskPorts(prompts, MidiDirection::Output, profile);
}

// Whether ports of this direction are missing although the machine has some, or none were ever chosen: with "open all"
// and no devices at all there is nothing to choose.
bool NoPortsSelected(MidiPortSystem& midi, MidiDirection direction);

}  // namespace tonalith
