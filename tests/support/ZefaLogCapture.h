#pragma once
// Collects the log lines written while it lives, instead of printing them, and restores
// standard output afterwards. Turns informational lines on or off for the test's duration.
#include <mutex>
#include <string>
#include <vector>

#include "ZefaBase/ZefaLog.h"

class ZefaLogCapture {
 public:
  explicit ZefaLogCapture(bool showInfo = true);
  ~ZefaLogCapture();
  ZefaLogCapture(const ZefaLogCapture&) = delete;
  ZefaLogCapture& operator=(const ZefaLogCapture&) = delete;

  // Every line written so far, terminator included.
  std::vector<std::string> lines() const;
  // The lines with the "[timestamp]" prefix removed, terminator removed:
  // "[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed".
  std::vector<std::string> entries() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  bool previousShowLog_;
};
