#pragma once

#include <QObject>
#include <QPointer>

#include "app/first_start.h"
#include "app/frame_context.h"

namespace tonalith {

class StudioCommands;

// When the page of the first start is shown, and what its buttons do.
class FirstSteps final : public QObject {
  Q_OBJECT

 public:
  // Registers the command.  The studio's commands must outlive this.
  FirstSteps(const FrameContext& frame, StudioCommands& studio);
  ~FirstSteps() override;

  void Show();
  // Before the studio is loaded for the first time: the user is going to be asked for the instruments, so the studio
  // begins without any.
  void BeginWithoutInstruments();
  // Once, while the studio is empty, and only to a person: not while a script answers the questions.
  void ShowOnce();

 private:
  bool WasShown() const;
  void SetShown(bool shown);
  void RestartSimulated();

  FrameContext frame_;
  StudioCommands& studio_;
  QPointer<FirstStartPage> page_;
};

}  // namespace tonalith
