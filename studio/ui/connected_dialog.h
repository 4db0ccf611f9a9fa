#pragma once

#include <QDialog>

#include "studio/auto_config_services.h"

class QPushButton;

namespace tonalith {

class SearchRows;
class PlainLabel;
class ZKStudioDoc;

// "What is connected?": searches for the instruments of the studio, and on request for everything that is installed.
// What is found of the latter joins the studio.
class ConnectedDialog final : public QDialog {
  Q_OBJECT

 public:
  // All of it must outlive the dialog.
  ConnectedDialog(ZKStudioDoc& studio, const AutoConfigServices& services, QWidget* parent = nullptr);
  // Begins with the instruments of the studio; without any with everything that is installed.
  void Begin();
  SearchRows& rows() { return *rows_; }

 protected:
  void done(int result) override;

 private:
  void SearchStudio();
  void SearchAll();
  void ShowButtons(bool running);

  ZKStudioDoc& studio_;
  PlainLabel* text_;
  SearchRows* rows_;
  QPushButton *mine_, *all_;
};

}  // namespace tonalith
