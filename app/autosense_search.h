#pragma once

#include <QObject>
#include <memory>
#include <vector>

#include "app/frame_context.h"

namespace tonalith {

class StudioWindowHost;
class ZKDrvList;
struct AutoConfigServices;

// Looks for instruments at the MIDI ports.
class AutoSenseSearch final : public QObject {
  Q_OBJECT

 public:
  // Both must outlive this.
  AutoSenseSearch(const FrameContext& frame, StudioWindowHost& studio);
  ~AutoSenseSearch() override;

  // What one search needs.
  const AutoConfigServices* services();
  // Looks for these instruments one after the other, until "Cancel All".
  void Search(std::vector<ZKDrvList*> instruments);
  // The same for the whole studio as soon as the window is there, when the preference for the program's start is on.
  void SearchAtStart();

 signals:
  // An instrument was found, or got other ports.
  void Changed();
  // No port of this direction is open: the user is to choose some.
  void ChoosePorts(bool input);

 private:
  void EndRowLater();

  FrameContext frame_;
  StudioWindowHost& studio_;
  std::shared_ptr<AutoConfigServices> services_;
  // Instruments that are added one after the other, without the main loop in between, are one row for "Cancel All".
  bool rowOpen_ = false;
  int searching_ = 0;
};

}  // namespace tonalith
