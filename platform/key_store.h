#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace tonalith {

// The registry-style store: string values under key paths like "SOFTWARE\\Corvane\\Tonalith\\13.0", kept in one INI
// file whose sections are the key paths.  Names without regard to case.  Any thread; several processes may share a file
// (writes are made one at a time on the newest contents).
class KeyStore {
 public:
  explicit KeyStore(std::string file) : file_(std::move(file)) {}

  std::optional<std::string> Read(std::string_view keyPath, std::string_view name) const;
  Result Write(std::string_view keyPath, std::string_view name, std::string_view value);
  // Success also when there was no such value.
  Result Remove(std::string_view keyPath, std::string_view name);
  const std::string& file() const { return file_; }

 private:
  template <typename Change>
  Result Update(Change change);

  std::string file_;
  mutable std::mutex mutex_;
};

}  // namespace tonalith
