#pragma once

#include <QDialog>
#include <functional>
#include <memory>

#include "platform/jobs.h"
#include "studio/auto_config_services.h"
#include "studio/auto_configuration.h"
#include "ui/plain_text.h"

class QListWidget;
class QProgressBar;
class QPushButton;

namespace tonalith {

enum class AutoConfigMode {
  Ask,    // the user asked for it: shows the result until it is closed
  Quiet,  // in a row of instruments: goes on by itself when the instrument was found
};

// "Cancel All" ends the row of searches that was begun; a new operation begins a new row.
void BeginAutoConfigRow(const AutoConfigServices& services);
bool AutoConfigRowCancelled(const AutoConfigServices& services);

// Searches one instrument of the studio with a dialog.  True: found, and the studio has its ports and channels.
bool AutoConfigInstrument(ZKStudioDoc& studio, ZKDrvList* instrument, QWidget* studioWindow,
                          const AutoConfigServices& services, AutoConfigMode mode = AutoConfigMode::Ask);

// The dialog: what is being tried, and in the end the result in words and who answered.
class DrvAutoConfig final : public QDialog {
  Q_OBJECT

 public:
  DrvAutoConfig(ZKStudioDoc& studio, ZKDrvList* instrument, const AutoConfigServices& services, AutoConfigMode mode,
                QWidget* parent = nullptr);
  ~DrvAutoConfig() override;

  // Starts the search; false when it could not be started (the user has been told).
  bool StartSearch();
  const AutoConfigResult& outcome() const { return result_; }
  bool Searching() const { return searching_; }
  bool found() const { return found_; }
  void OnCancel();
  void OnCancelAll();

 protected:
  void reject() override;

 private:
  void Build();
  void ShowProgress(const AutoConfigProgress& progress);
  void Finished(AutoConfigResult result);
  void ShowAnswers(const std::vector<AutoConfigAnswer>& answers);
  void UpdateButtons();

  ZKStudioDoc& studio_;
  ZKDrvList* instrument_;
  AutoConfigServices services_;
  AutoConfigMode mode_;
  std::shared_ptr<AutoConfigControl> control_;
  std::shared_ptr<std::atomic<bool>> ended_;
  Receiver receiver_;
  AutoConfigResult result_;
  bool searching_ = false;
  bool found_ = false;

  PlainLabel *name_ = nullptr, *in_ = nullptr, *out_ = nullptr, *device_ = nullptr, *remaining_ = nullptr;
  PlainLabel* words_ = nullptr;
  PlainLabel* answersTitle_ = nullptr;
  QListWidget* answers_ = nullptr;
  QProgressBar* bar_ = nullptr;
  QPushButton *cancel_ = nullptr, *cancelAll_ = nullptr, *again_ = nullptr, *setPorts_ = nullptr, *close_ = nullptr,
              *help_ = nullptr;
};

}  // namespace tonalith
