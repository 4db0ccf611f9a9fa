#include "midi/bridge_names.h"

#include <algorithm>
#include <cctype>

namespace tonalith {

namespace {

bool IsNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// "Name [20]", "Name 20:0" and "Name 20" without the number at the end.
std::string_view WithoutNumber(std::string_view name) {
  const auto blank = name.rfind(' ');
  if (blank == std::string_view::npos) return name;
  std::string_view last = name.substr(blank + 1);
  if (last.size() > 2 && last.front() == '[' && last.back() == ']') last = last.substr(1, last.size() - 2);
  const auto colon = last.find(':');
  const bool number = colon == std::string_view::npos
                          ? IsNumber(last)
                          : IsNumber(last.substr(0, colon)) && IsNumber(last.substr(colon + 1));
  return number ? name.substr(0, blank) : name;
}

// "CLIENT (playback): PORT" with any number behind CLIENT.
std::string ClientWayPort(std::string_view name) {
  for (const std::string_view way : {std::string_view(" (playback): "), std::string_view(" (capture): ")}) {
    const auto at = name.find(way);
    if (at == std::string_view::npos) continue;
    return std::string(WithoutNumber(name.substr(0, at))) + ":" + std::string(name.substr(at + way.size()));
  }
  return {};
}

}  // namespace

std::string BridgedName(std::string_view jackName) {
  const auto colon = jackName.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string_view client = jackName.substr(0, colon);
  const std::string_view port = jackName.substr(colon + 1);
  if (client == "a2j" || client == "a2jmidid" || client == "Midi-Bridge") {
    if (std::string name = ClientWayPort(port); !name.empty()) return name;
    // "CLIENT:(playback_0) PORT"
    const auto way = port.find(":(");
    const auto end = port.find(") ", way == std::string_view::npos ? 0 : way);
    if (way != std::string_view::npos && end != std::string_view::npos)
      return std::string(WithoutNumber(port.substr(0, way))) + ":" + std::string(port.substr(end + 2));
    return {};
  }
  // Aliases of the server's own sequencer driver: "alsa_pcm:CLIENT/midi_playback_1" and "CLIENT:midi/playback_1".
  if (client == "alsa_pcm") {
    const auto slash = port.find("/midi_");
    if (slash != std::string_view::npos) return std::string(port.substr(0, slash)) + ":";
  }
  return {};
}

bool IsOwnClient(std::string_view portName, std::string_view clientName) {
  if (portName.substr(0, clientName.size()) != clientName) return false;
  const std::string_view rest = portName.substr(clientName.size());
  const auto colon = rest.find(':');
  if (colon == std::string_view::npos) return false;
  return colon == 0 || (rest.front() == '-' && IsNumber(rest.substr(1, colon - 1)));
}

}  // namespace tonalith
