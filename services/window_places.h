#pragma once

namespace tonalith {

class Paths;

// Position and size of a window inside its parent, in pixels.
struct WindowPlace {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// Where windows stood when they were closed, by window number, kept in section "Windows" of the application's INI file.
class WindowPlaces {
 public:
  explicit WindowPlaces(const Paths& paths) : paths_(paths) {}  // not owned

  // False (and `place` untouched) when nothing sensible is stored.
  bool Read(int window, WindowPlace& place) const;
  bool Store(int window, const WindowPlace& place);
  // mode below 0 reads, else stores.
  bool MainGetLeftTop(int mode, int window, WindowPlace& place) {
    return mode < 0 ? Read(window, place) : Store(window, place);
  }

 private:
  const Paths& paths_;
};

}  // namespace tonalith
