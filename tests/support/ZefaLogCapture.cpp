#include "tests/support/ZefaLogCapture.h"

ZefaLogCapture::ZefaLogCapture(bool showInfo) : previousShowLog_(ZefaLog::isShowLog()) {
  ZefaLog::setShowLog(showInfo);
  ZefaLog::setSink([this](ZefaLogLevel, std::string_view line) {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  });
}

ZefaLogCapture::~ZefaLogCapture() {
  ZefaLog::setSink(nullptr);
  ZefaLog::setShowLog(previousShowLog_);
}

std::vector<std::string> ZefaLogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> ZefaLogCapture::entries() const {
  std::vector<std::string> result;
  for (std::string line : lines()) {
    const auto end = line.find("]");  // the timestamp ends at the first "]"
    line.erase(0, end == std::string::npos ? 0 : end + 1);
    if (!line.empty() && line.back() == '\n') line.pop_back();
    result.push_back(std::move(line));
  }
  return result;
}
