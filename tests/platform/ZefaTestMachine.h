#pragma once
// Test helpers that read the machine without the library: a shell command's output, and an
// environment variable set for the scope of a test.
#include <stdio.h>
#include <stdlib.h>

#include <optional>
#include <string>

// The standard output of `command` run by /bin/sh, final line breaks removed; none on failure.
inline std::optional<std::string> shellOutput(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return std::nullopt;
  std::string out;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
  if (pclose(pipe) != 0) return std::nullopt;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// Sets (or, with nullptr, unsets) an environment variable until the end of the scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};
