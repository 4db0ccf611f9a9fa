#pragma once

#include <QDialog>
#include <functional>
#include <optional>
#include <string>

#include "store/names/disk_midi.h"

class QComboBox;
class QPlainTextEdit;
class QPushButton;

namespace tonalith {

class PlainLabel;

// How the names of a bank look in every format that is text, before one is written.
class ExportPreview final : public QDialog {
  Q_OBJECT

 public:
  // The text in a format; and what writes it, which asks for the file.
  using Render = std::function<Result(ExportFormat format, std::string* text)>;
  using Write = std::function<void(ExportFormat format)>;

  ExportPreview(std::optional<ExportFormat> first, Render render, Write write, QWidget* parent = nullptr);
  QComboBox* formats() { return formats_; }
  QPlainTextEdit* text() { return text_; }
  // The data may be another.
  void Show();

 private:
  std::optional<ExportFormat> Chosen() const;

  Render render_;
  QComboBox* formats_;
  PlainLabel* said_;
  QPlainTextEdit* text_;
  QPushButton* write_;
};

}  // namespace tonalith
