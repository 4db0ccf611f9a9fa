#include "app/lost_display.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "platform/terminal_text.h"

namespace tonalith {

LostDisplay* LostDisplay::living_ = nullptr;

LostDisplay::LostDisplay(std::function<std::string()> keep) : keep_(std::move(keep)) {
  living_ = this;
  std::atexit(AtExit);
}

LostDisplay::~LostDisplay() {
  living_ = nullptr;
}

void LostDisplay::AtExit() {
  LostDisplay* display = std::exchange(living_, nullptr);
  if (!display) return;
  const std::string kept = display->keep_();
  WriteErrorLine("tonalith: The display went away." + (kept.empty() ? kept : " " + kept));
  _exit(1);
}

}  // namespace tonalith
