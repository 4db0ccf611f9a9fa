#pragma once

#include <string>
#include <utility>

namespace tonalith {

// The outcome of an operation that can fail: a code (0 = success; other values as the operation documents) and, on
// failure, one sentence a user can act on.
struct Result {
  int code = 0;
  std::string text;

  bool ok() const { return code == 0; }
  explicit operator bool() const { return ok(); }
  static Result Success() { return {}; }
  static Result Failure(std::string sentence, int failureCode = 1) { return {failureCode, std::move(sentence)}; }
};

}  // namespace tonalith
