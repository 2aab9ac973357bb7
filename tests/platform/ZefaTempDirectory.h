#pragma once
// A fresh directory under the system's temporary directory, removed with its content when the
// object goes out of scope.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

class ZefaTempDirectory {
 public:
  ZefaTempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zefa-test-XXXXXX").string();
    const char* made = mkdtemp(pattern.data());
    path_ = made != nullptr ? std::string(made) : std::string();
  }
  ~ZefaTempDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ZefaTempDirectory(const ZefaTempDirectory&) = delete;
  ZefaTempDirectory& operator=(const ZefaTempDirectory&) = delete;

  const std::string& path() const { return path_; }
  // `path`/`relative`, with missing parent directories created; `content` written as bytes.
  std::string write(const std::string& relative, std::string_view content) const {
    const std::filesystem::path file = std::filesystem::path(path_) / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    return file.string();
  }

 private:
  std::string path_;
};
