#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tonalith {

// The MIDI ports that a user wants open, by name, in the order they were chosen.
class PortMap {
 public:
  // True when every port is wanted or the name is in the list (exact comparison).
  bool GetPort(const std::string& name) const;
  // Appends the name.  A name that is there already is appended too, with a warning in the monitor log.
  void AddPortName(const std::string& name);
  // Removes the first entry with this name.
  void ClearPort(const std::string& name);
  std::optional<std::string> GetPortNameForOpenPort(int index) const;

  bool Listed(const std::string& name) const;  // in the list, whatever the open-all flag says
  bool openAll() const { return openAll_; }
  void SetOpenAll(bool on) { openAll_ = on; }
  const std::vector<std::string>& names() const { return names_; }
  void Clear() { names_.clear(); }

 private:
  std::vector<std::string> names_;
  bool openAll_ = false;
};

}  // namespace tonalith
