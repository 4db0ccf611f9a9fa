#pragma once

#include <QObject>
#include <QTimer>
#include <memory>
#include <string>
#include <vector>

#include "bank/bank_audition.h"
#include "bank/ui/bank_part.h"
#include "ui/audition_send.h"

class QToolButton;

namespace tonalith {

class ZKBankDoc;

// Lets the instrument play patches of the bank: the one that a user goes to, by mouse or keys, and one after the other.
class BankAudition final : public QObject, public BankWindowPart {
  Q_OBJECT

 public:
  explicit BankAudition(TZKBank& window);

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  bool IsChecked(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;
  void SelectionChanged() override;
  void DocumentChanged() override;
  void SettingsChanged() override;

  bool Sweeping() const { return !sweep_.empty(); }
  // Plays the first selected patch as it was at a position of the history: what the instrument does not hold is sent to
  // be heard, where its data can be.
  Result PlayState(std::size_t position);
  // Switches for all windows whether a patch that a user goes to is played.
  QToolButton* button() const { return switch_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // Listens to the views, which are not there yet when the part is made.
  void Attach();
  AuditionChoice Choice() const;
  void PlaySelected();
  void AddSwitch();
  void ShowSwitch();
  // A failure: nothing is played; the sentence is for the log.
  Result Play(int patch);
  // Of the bank, or of it as it was.
  Result Send(ZKBankDoc& bank, int patch);
  void Sent(const DeskResult& result);
  void Over(QObject* owner, bool stopped);
  void Stop();

  void StartSweep();
  void PlayNext();
  void EndSweep(const QString& said);

  TZKBank& window_;
  QToolButton* switch_ = nullptr;  // only of banks
  QTimer wait_;                    // from the last key or click to the audition
  QTimer gap_;                     // between two patches of a sweep
  bool input_ = false;             // a key or the mouse is being dealt with
  std::vector<int> sweep_;
  std::size_t next_ = 0;
  AuditionSend sending_;
};

}  // namespace tonalith
