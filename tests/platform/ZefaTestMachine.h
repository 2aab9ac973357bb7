#pragma once
// Test helpers that use the machine without the library: a temporary directory, a file's bytes,
// a shell command's output, and an environment variable set for the scope of a test.
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>

// A fresh directory under the system's temporary directory, removed with its content at the end.
class ZefaTempDirectory {
 public:
  ZefaTempDirectory() {
#ifdef _WIN32
    std::error_code error;
    for (unsigned attempt = 0; path_.empty() && attempt < 100; ++attempt) {
      const auto candidate = std::filesystem::temp_directory_path() /
                             ("zefa-test-" + std::to_string(std::random_device{}()));
      if (std::filesystem::create_directory(candidate, error)) path_ = candidate.string();
    }
#else
    std::string pattern = (std::filesystem::temp_directory_path() / "zefa-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data()) != nullptr ? pattern : "";
#endif
  }
  ~ZefaTempDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ZefaTempDirectory(const ZefaTempDirectory&) = delete;
  const std::string& path() const { return path_; }
  // Writes `content` as bytes to `relative`, creating missing parent directories.
  void write(const std::filesystem::path& relative, std::string_view content) const {
    const std::filesystem::path file = std::filesystem::path(path_) / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(content.data(), std::ssize(content));
  }

 private:
  std::string path_;
};

// The bytes of the file at `path`; "" when it cannot be read.
inline std::string zefaFileContent(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

#ifndef _WIN32
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
  ScopedEnv(const ScopedEnv&) = delete;
  ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};
#endif
