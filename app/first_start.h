#pragma once

#include <QDialog>
#include <string>
#include <vector>

namespace tonalith {

struct FirstStartFacts {
  std::vector<std::string> inputs, outputs;  // names of the MIDI ports found
  std::string instruments, data, preferences;
  bool simulated = false;  // the instruments are simulated already
};

// The page of the first start: what was found, where things are kept, and what to do next.
class FirstStartPage final : public QDialog {
  Q_OBJECT

 public:
  explicit FirstStartPage(const FirstStartFacts& facts, QWidget* parent = nullptr);

 signals:
  void AddInstrument();
  void TrySimulated();
  void GoToStudio();

 private:
  QWidget* BuildPorts(const FirstStartFacts& facts);
  QWidget* BuildFolders(const FirstStartFacts& facts);
  QWidget* BuildSteps();
};

}  // namespace tonalith
