#pragma once

#include <QDialog>
#include <functional>
#include <string>

#include "data/data_records.h"
#include "tools/sysex_entry.h"

class QPlainTextEdit;
class QRadioButton;
class QTimer;

namespace tonalith {

class PlainLabel;
class Prompts;

// A SysEx message that is typed as numbers becomes data.
class ZKSysXMessageDlg final : public QDialog {
  Q_OBJECT

 public:
  // `folder`: where a file may be for a moment.  The prompts must outlive the dialog.
  ZKSysXMessageDlg(Prompts& prompts, std::string folder, QWidget* parent = nullptr);

  QPlainTextEdit* text() { return text_; }
  QRadioButton* cNotation() { return cNotation_; }
  // How many bytes the text is, and what is to be known of them.
  QString Verdict() const;
  // The message, once the dialog was agreed to; null before and after.
  DataFilePtr TakeData() { return std::move(data_); }

  void accept() override;

 private:
  std::vector<std::uint8_t> Bytes() const;
  void LookLater();
  void Look();

  Prompts& prompts_;
  std::string folder_;
  QPlainTextEdit* text_;
  QRadioButton *hexadecimal_, *cNotation_;
  PlainLabel* verdict_;
  QTimer* timer_;
  DataFilePtr data_;
};

}  // namespace tonalith
