#pragma once

// Sets or clears an environment variable for the life of one test.

#include <stdlib.h>

#include <optional>
#include <string>

namespace mi::test {

class ScopedEnv {
 public:
  // A null value clears the variable.
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) saved_ = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (saved_) {
      setenv(name_.c_str(), saved_->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

}  // namespace mi::test
