#include "ui/beside.h"

#include <QApplication>
#include <QEventLoop>
#include <exception>

#include "platform/clock.h"
#include "platform/jobs.h"

namespace tonalith {

void RunBeside(const std::function<void()>& work) {
  QEventLoop loop;
  bool done = false;
  std::exception_ptr thrown;
  Jobs jobs(SystemClock(), 1);
  jobs.Start([&](const CancelToken&) {
    try {
      work();
    } catch (...) {
      thrown = std::current_exception();
    }
    done = true;
    QMetaObject::invokeMethod(
        &loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
  });
  loop.exec(QEventLoop::ExcludeUserInputEvents);
  jobs.StopAll();
  // The program ends before the thread came to it.
  if (!done) return work();
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace tonalith
