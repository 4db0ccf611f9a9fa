#pragma once

#include <string>
#include <string_view>

#include "platform/key_store.h"
#include "platform/prompts.h"

namespace tonalith {

// The program's string values in the key store, under "SOFTWARE\Corvane\<application>" and its version key.
class Registry {
 public:
  // `lockFolder` as for KeyStore; `prompts` (not owned, may be null) shows a failed write.
  Registry(std::string file, std::string lockFolder, std::string applicationName, Prompts* prompts)
      : store_(std::move(file), std::move(lockFolder)), application_(std::move(applicationName)), prompts_(prompts) {}

  // False when the value could not be written; that was then shown with the key as text.
  bool SetRegistry(std::string_view name, std::string_view value, bool noVersion = false);
  // A value of the program's version key.
  std::string mainGetKey(std::string_view name) const;
  // A value of an instrument: its version key, its own key, then the program's version key.
  std::string mainGetKey(std::string_view name, std::string_view instrument, std::string_view version) const;
  // As SetRegistry writes it.
  std::string GetRegistry(std::string_view name, bool noVersion = false) const;

  // Why the last value that could not be written was not; empty: all were.
  const std::string& problem() const { return problem_; }

  KeyStore& store() { return store_; }

 private:
  std::string KeyPath(bool noVersion) const;

  KeyStore store_;
  std::string application_;
  Prompts* prompts_;
  std::string problem_;
};

}  // namespace tonalith
