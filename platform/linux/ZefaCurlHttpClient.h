#pragma once
// The platform's HTTP client: libcurl's multi interface driven by one worker thread that this
// object owns. Many transfers run at once over reused connections, TLS peers are verified, and
// the timeout is an idle timeout. Completions run on the worker and only hand the reply on.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/ZefaHttpClient.h"

class ZefaCurlHttpClient final : public ZefaHttpClient {
 public:
  // The error description given to requests that were still pending when the client went away.
  static constexpr const char* kCancelled = "cancelled";

  ZefaCurlHttpClient();
  // Stops the worker: requests still pending complete with kCancelled, then the thread is joined.
  ~ZefaCurlHttpClient() override;
  ZefaCurlHttpClient(const ZefaCurlHttpClient&) = delete;
  ZefaCurlHttpClient& operator=(const ZefaCurlHttpClient&) = delete;

  // Queues the request for the worker and returns at once. Any thread.
  void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) override;

  // Requests started and not yet completed (for tools and tests).
  size_t pendingCount() const;

 private:
  struct Transfer;
  void workerLoop();
  void addTransfer(std::unique_ptr<Transfer> transfer);
  void finishDone();
  void complete(std::unique_ptr<Transfer> transfer, int result);
  void* takeEasyHandle();
  void releaseEasyHandle(void* easy);

  void* multi_ = nullptr;  // the CURLM handle, used only by the worker (wakeup by any thread)
  std::optional<std::string> caBundle_;
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Transfer>> incoming_;              // guarded by mutex_
  bool stopping_ = false;                                        // mutex_
  size_t pending_ = 0;                                           // mutex_
  std::unordered_map<void*, std::unique_ptr<Transfer>> active_;  // worker only
  std::vector<void*> idleHandles_;                               // worker only
  std::thread worker_;
};
