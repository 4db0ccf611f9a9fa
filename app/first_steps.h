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

  void Show();
  // Once, and only to a person: not while instruments are simulated or a script answers the questions.
  void ShowOnce();

 private:
  void RestartSimulated();

  FrameContext frame_;
  StudioCommands& studio_;
  QPointer<FirstStartPage> page_;
};

}  // namespace tonalith
