#include "platform/windows/ZefaWindowsBundle.h"

#include <windows.h>

#include <mutex>
#include <optional>

#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWideText.h"

namespace {

std::mutex directoryMutex;
std::optional<std::string> chosenDirectory;

bool isSeparator(char c) { return c == '/' || c == '\\'; }

// The whole file at `path`; none when it cannot be opened or read.
std::optional<std::string> readFile(const std::string& path) {
  const HANDLE file =
      CreateFileW(ZefaWideText::fromUtf8(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::optional<std::string> bytes = std::string();
  char buffer[64 * 1024];
  for (;;) {
    DWORD read = 0;
    if (!ReadFile(file, buffer, sizeof buffer, &read, nullptr)) {
      bytes.reset();
      break;
    }
    if (read == 0) break;
    bytes->append(buffer, read);
  }
  CloseHandle(file);
  return bytes;
}

std::string executableDirectory() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return ".";
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    path.resize(path.size() * 2);  // truncated: a longer path
  }
  const size_t separator = path.find_last_of(L"\\/");
  if (separator == std::wstring::npos) return ".";
  return ZefaWideText::toUtf8(path.substr(0, separator));
}

}  // namespace

ZefaWindowsBundle::ZefaWindowsBundle(std::string directory) : directory_(std::move(directory)) {
  if (directory_.empty()) directory_ = ".";
  // A drive's root keeps its separator ("C:\"): "C:" alone is the drive's working directory.
  while (directory_.size() > 1 && isSeparator(directory_.back()) &&
         !(directory_.size() == 3 && directory_[1] == ':')) {
    directory_.pop_back();
  }
}

std::string ZefaWindowsBundle::defaultDirectory() {
  std::lock_guard lock(directoryMutex);
  return chosenDirectory ? *chosenDirectory : executableDirectory();
}

void ZefaWindowsBundle::setDefaultDirectory(std::string directory) {
  std::lock_guard lock(directoryMutex);
  chosenDirectory = std::move(directory);
}

std::optional<ZefaJsonObject> ZefaWindowsBundle::infoDictionary() {
  const std::optional<std::string> json = readFile(directory_ + "\\Info.json");
  if (!json) return std::nullopt;
  std::optional<ZefaJson> value = ZefaJsonText::parse(*json);
  if (!value || !value->is_object()) return std::nullopt;
  return std::move(value->get_ref<ZefaJsonObject&>());
}

ZefaBundleResource ZefaWindowsBundle::resource(const std::string& name, const std::string& type,
                                               const std::string& directory) {
  if (name.empty()) return {};
  std::string path = directory_;
  if (!directory.empty()) {
    if (!isSeparator(directory.front())) path.push_back('\\');
    path += directory;
  }
  if (!isSeparator(path.back())) path.push_back('\\');
  path += name;
  if (!type.empty()) {
    if (type.front() != '.') path.push_back('.');
    path += type;
  }
  const DWORD attributes = GetFileAttributesW(ZefaWideText::fromUtf8(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return {};
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return {.exists = true, .bytes = std::nullopt};
  return {.exists = true, .bytes = readFile(path)};
}

std::shared_ptr<ZefaBundle> zefa::platform_defaults::makeBundle() {
  return std::make_shared<ZefaWindowsBundle>(ZefaWindowsBundle::defaultDirectory());
}
