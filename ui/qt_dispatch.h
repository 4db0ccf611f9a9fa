#pragma once

#include <QObject>

#include "platform/jobs.h"

namespace tonalith {

// Lets the main loop of the windows run the calls that other threads post.  Qt is only the wake-up; what the calls
// carry travels in the dispatcher's own queue.  Construct on the user-interface thread; lives as long as the windows.
class QtDispatch final : public QObject {
  Q_OBJECT

 public:
  explicit QtDispatch(Dispatcher& dispatcher, QObject* parent = nullptr);
  ~QtDispatch() override;

 protected:
  bool event(QEvent* event) override;

 private:
  Dispatcher& dispatcher_;
};

}  // namespace tonalith
