#include "services/window_places.h"

#include <optional>
#include <string>
#include <vector>

#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/text.h"
#include "services/paths.h"

namespace tonalith {

bool WindowPlaces::Read(int window, WindowPlace& place) const {
  const std::string text = GetPrivateProfileString("Windows", Printf("%d", window), {}, paths_.GetZKIni());
  const std::vector<std::string> parts = SplitText(text, ',');
  if (parts.size() != 4) return false;
  int values[4] = {};
  for (std::size_t i = 0; i < 4; ++i) {
    const std::optional<std::int64_t> number = ParseInteger(parts[i]);
    if (!number || *number < -100000 || *number > 100000) return false;
    values[i] = static_cast<int>(*number);
  }
  if (values[2] < 1 || values[3] < 1) return false;
  place = {values[0], values[1], values[2], values[3]};
  return true;
}

bool WindowPlaces::Store(int window, const WindowPlace& place) {
  const Result result = WritePrivateProfileString(
      "Windows", Printf("%d", window), Printf("%d,%d,%d,%d", place.left, place.top, place.width, place.height),
      paths_.GetZKIni());
  if (!result) DebugLog("%s", result.text.c_str());
  return result.ok();
}

}  // namespace tonalith
