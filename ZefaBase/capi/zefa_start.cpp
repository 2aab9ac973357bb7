// Start-up of the C interface: where the bundle and the data live, which certificates to trust,
// and where log lines go; and the library's version.
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/capi/zefa_support.h"
#include "platform/ZefaPlatform.h"

namespace {

// The size of the first zefa_options layout; a caller's struct is at least this large.
constexpr size_t kFirstOptionsSize =
    offsetof(zefa_options, show_info_log) + sizeof(zefa_options::show_info_log);

std::atomic<bool> started{false};

// Puts standard output back as the log's sink when the process exits. Made after the sink was
// set, it is destroyed before the log's own state; and by then the host that gave the callback
// (a managed runtime) may be gone.
struct RestoreLogSink {
  ~RestoreLogSink() { ZefaLog::setSink({}); }
};

}  // namespace

extern "C" {

int zefa_start(const zefa_options* options) {
  if (options == nullptr || options->struct_size < kFirstOptionsSize) return 0;
  if (started.exchange(true)) return 0;
  return zefa::capi::guard(0, [&] {
    const auto optional = [](const char* value) {
      return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    };
    ZefaPlatformOptions platform;
    platform.bundleDirectory = optional(options->bundle_directory);
    platform.dataDirectory = optional(options->data_directory);
    platform.caBundle = optional(options->ca_bundle);
    if (!zefa::platform_defaults::configure(platform)) {
      started = false;
      return 0;
    }
    if (options->log_callback != nullptr) {
      const zefa_log_callback callback = options->log_callback;
      void* const userData = options->log_user_data;
      // The line crosses NUL-terminated: the sink's view of it may not be.
      ZefaLog::setSink([callback, userData](ZefaLogLevel level, std::string_view line) {
        const std::string text(line);
        callback(static_cast<int>(level), text.c_str(), userData);
      });
      static const RestoreLogSink restore;
    }
    ZefaLog::setShowLog(options->show_info_log != 0);
    return 1;
  });
}

const char* zefa_version(void) { return ZEFA_VERSION; }

}  // extern "C"
