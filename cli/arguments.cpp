#include "cli/arguments.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

CliArguments::CliArguments(const std::vector<std::string>& args, const std::vector<std::string>& withValue,
                           const std::vector<std::string>& flags) {
  const auto known = [](const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  bool optionsOver = false;
  for (std::size_t i = 0; i < args.size() && state_.ok(); ++i) {
    const std::string& word = args[i];
    if (optionsOver || word.size() < 2 || word.compare(0, 2, "--") != 0) {
      words_.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsOver = true;
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(2, equals == std::string::npos ? equals : equals - 2);
    if (known(flags, name) && equals == std::string::npos) {
      options_.emplace_back(name, "");
    } else if (!known(withValue, name)) {
      state_ = Result::Failure("There is no option --" + name + " here.");
    } else if (equals != std::string::npos) {
      options_.emplace_back(name, word.substr(equals + 1));
    } else if (i + 1 < args.size()) {
      options_.emplace_back(name, args[++i]);
    } else {
      state_ = Result::Failure("The option --" + name + " needs a value.");
    }
  }
}

std::optional<std::string> CliArguments::Option(const std::string& name) const {
  for (auto it = options_.rbegin(); it != options_.rend(); ++it)
    if (it->first == name) return it->second;
  return std::nullopt;
}

std::vector<std::string> CliArguments::Options(const std::string& name) const {
  std::vector<std::string> values;
  for (const auto& option : options_)
    if (option.first == name) values.push_back(option.second);
  return values;
}

Result CliArguments::Number(const std::string& name, std::int64_t low, std::int64_t high, std::int64_t fallback,
                            std::int64_t* value) const {
  *value = fallback;
  const auto text = Option(name);
  if (!text) return Result::Success();
  const auto number = ParseInteger(*text);
  if (!number || *number < low || *number > high)
    return Result::Failure("--" + name + " takes a number from " + std::to_string(low) + " to " + std::to_string(high) +
                           ", not \"" + *text + "\".");
  *value = *number;
  return Result::Success();
}

}  // namespace tonalith
