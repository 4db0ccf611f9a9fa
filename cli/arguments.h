#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// The words of a command and its options ("--name value" or "--name=value"; "--" ends the options).
class CliArguments {
 public:
  // `withValue` and `flags`: names without the dashes.
  CliArguments(const std::vector<std::string>& args, const std::vector<std::string>& withValue,
               const std::vector<std::string>& flags = {});

  const Result& state() const { return state_; }  // failed: an unknown option, or one without its value
  const std::vector<std::string>& words() const { return words_; }
  bool Has(const std::string& name) const { return Option(name).has_value(); }
  std::optional<std::string> Option(const std::string& name) const;  // the last one given
  std::vector<std::string> Options(const std::string& name) const;   // all of them, in order
  // A whole number inside its limits; `fallback` when the option was not given.
  Result Number(const std::string& name, std::int64_t low, std::int64_t high, std::int64_t fallback,
                std::int64_t* value) const;

 private:
  std::vector<std::string> words_;
  std::vector<std::pair<std::string, std::string>> options_;
  Result state_;
};

}  // namespace tonalith
