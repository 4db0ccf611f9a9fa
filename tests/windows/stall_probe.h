#pragma once

#include <QApplication>
#include <cstdint>
#include <string>

namespace tonalith {

// What one event took of the user-interface thread: the processor's time, so that a loaded machine does not count.
struct Stall {
  std::int64_t us = 0;
  std::string what;  // receiver and event
};

// An application that measures every event it delivers.  What a dialog's own event loop does meanwhile is measured for
// itself and not counted to the event that opened the dialog.
class ProbedApplication final : public QApplication {
 public:
  using QApplication::QApplication;
  bool notify(QObject* receiver, QEvent* event) override;

  // The longest event since the last call.
  static Stall TakeLongest();
};

}  // namespace tonalith
