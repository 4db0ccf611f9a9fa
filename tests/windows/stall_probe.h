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

// What one event may take of the user-interface thread in a release build on a machine of its own; debug and sanitizer
// builds, which run the same code that many times slower, get as many times more.
inline constexpr std::int64_t kLongestEventUs = 16'000;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kBuildFactor = 12;
#elif !defined(NDEBUG)
inline constexpr int kBuildFactor = 4;
#else
inline constexpr int kBuildFactor = 1;
#endif
// Where parts of the tests run beside each other they take caches and half processors from each other: up to twice the
// time was measured.
inline constexpr int kCrowdFactor = 3;

// The limit for one event here and now, in microseconds.
std::int64_t LongestEventAllowedUs();

// While it lives, what a test does inside an event (pictures, walks over the controls) is not counted to the program.
class Uncounted final {
 public:
  Uncounted();
  ~Uncounted();
  Uncounted(const Uncounted&) = delete;
  Uncounted& operator=(const Uncounted&) = delete;

 private:
  std::int64_t beganUs_;
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
