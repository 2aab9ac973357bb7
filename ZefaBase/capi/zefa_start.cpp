// Start-up of the C interface: where the bundle and the data live, which certificates to trust,
// and where log lines go; and the library's version.
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/capi/zefa_support.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaCurlHttpClient.h"
#include "platform/linux/ZefaLinuxPaths.h"

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
  // A CA bundle that cannot be read would fail every request later; refuse it now instead.
  if (options->ca_bundle != nullptr && access(options->ca_bundle, R_OK) != 0) return 0;
  if (started.exchange(true)) return 0;
  return zefa::capi::guard(0, [&] {
    if (options->bundle_directory != nullptr) {
      ZefaLinuxPaths::setBundleDirectory(options->bundle_directory);
    }
    if (options->data_directory != nullptr) {
      ZefaLinuxPaths::setDataDirectory(options->data_directory);
    }
    if (options->ca_bundle != nullptr) {
      ZefaCurlHttpClient::Options http;
      http.caBundle = options->ca_bundle;
      ZefaPlatform::current().install(std::make_shared<ZefaCurlHttpClient>(http));
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
