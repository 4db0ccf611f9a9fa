#pragma once

#include <QDialog>
#include <string>

class QSpinBox;

namespace tonalith {

// Asks for the number of the patch that a transfer works on.
class ZKPatchSelector final : public QDialog {
  Q_OBJECT

 public:
  // `question` is UTF-8; the answer lies within minimum and maximum.
  ZKPatchSelector(const std::string& question, int current, int minimum, int maximum, QWidget* parent = nullptr);
  int Selected() const;

 private:
  QSpinBox* number_;
};

}  // namespace tonalith
