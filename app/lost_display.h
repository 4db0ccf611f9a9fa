#pragma once

#include <functional>
#include <string>

namespace tonalith {

// The window system ends the process from inside, wherever it is, when its display goes away (an X server that died, a
// remote connection that broke).  While one of these lives, the process then keeps what is unsaved, says so on standard
// error and ends with status 1, without taking the program down from below.
class LostDisplay {
 public:
  // `keep` keeps what is unsaved without any window and gives a sentence about it; empty: there was nothing.
  explicit LostDisplay(std::function<std::string()> keep);
  ~LostDisplay();
  LostDisplay(const LostDisplay&) = delete;
  LostDisplay& operator=(const LostDisplay&) = delete;

 private:
  static void AtExit();

  static LostDisplay* living_;
  std::function<std::string()> keep_;
};

}  // namespace tonalith
