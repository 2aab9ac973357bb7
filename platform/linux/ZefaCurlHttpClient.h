#pragma once
// The platform's HTTP client: libcurl's multi interface driven by one worker thread that this
// object owns. Many transfers run at once over reused connections and TLS peers are verified.
// Completions run on the worker and only hand the reply on.
//
// Every request has an idle timeout counted from start(): it fails once it has waited its
// timeout without receiving a byte, whether it is connecting, waiting for a free connection or
// reading a reply. Redirects are followed as a browser does (301/302/303 become a GET without a
// body, 307/308 repeat the request), never from https to http, at most Options::maxRedirects.
// A reply larger than Options::maxReplyBytes fails without being kept whole.
//
// Requests past the per-host connection limit wait in the client's own queue, one per origin,
// rather than in libcurl's, whose work on every socket event grows with the handles it holds.
// Easy handles are kept between requests with the options they all share.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaHttpClient.h"
#include "platform/ZefaIdleDeadlines.h"

class ZEFA_EXPORT ZefaCurlHttpClient final : public ZefaHttpClient {
 public:
  // The error description given to requests that were still pending when the client went away.
  static constexpr const char* kCancelled = "cancelled";

  struct Options {
    // Trusted certificates, replacing the system's store. Default: CURL_CA_BUNDLE or
    // SSL_CERT_FILE when set, else the system's store.
    std::optional<std::string> caBundle;
    // The largest reply body kept; a larger one fails the request.
    size_t maxReplyBytes = 16 * 1024 * 1024;
    // Connections kept open to one host at most; further requests to it wait for one.
    long maxConnectionsPerHost = 64;
    // Redirects followed for one request at most.
    int maxRedirects = 10;
  };

  ZefaCurlHttpClient();
  explicit ZefaCurlHttpClient(Options options);
  // Stops the worker: requests still pending complete with kCancelled, then the thread is joined.
  ~ZefaCurlHttpClient() override;
  ZefaCurlHttpClient(const ZefaCurlHttpClient&) = delete;
  ZefaCurlHttpClient& operator=(const ZefaCurlHttpClient&) = delete;

  // Queues the request for the worker and returns at once. Any thread.
  void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) override;

  // Requests started and not yet completed (for tools and tests).
  size_t pendingCount() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Easy;
  struct Transfer;
  // The transfers of one origin (scheme, host and port): how many hold a connection slot, and
  // the ids of those waiting for one, in the order they arrived.
  struct Origin {
    size_t running = 0;
    std::deque<uint64_t> waiting;
  };

  void workerLoop();
  void addTransfer(std::unique_ptr<Transfer> transfer);
  using Origins = std::unordered_map<std::string, Origin>;
  void runWaiting(Origins::iterator origin);
  void finish(std::unique_ptr<Transfer> transfer, int result);
  bool configure(Transfer& transfer);
  void finishDone();
  bool followRedirect(Transfer& transfer);
  std::optional<Clock::time_point> dueOf(uint64_t id) const;
  void expireIdle();
  int pollMilliseconds() const;
  void complete(std::unique_ptr<Transfer> transfer, int result);
  void recycle(std::unique_ptr<Transfer> transfer);
  void keepFinished();
  std::unique_ptr<Easy> takeEasyHandle();
  void releaseEasyHandle(std::unique_ptr<Easy> easy);

  const Options options_;
  void* multi_ = nullptr;  // the CURLM handle, used only by the worker (wakeup by any thread)
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Transfer>> incoming_;  // guarded by mutex_
  std::vector<std::unique_ptr<Transfer>> spare_;     // mutex_: finished, for start() to reuse
  std::vector<std::unique_ptr<Transfer>> finished_;  // worker: finished in this turn
  bool stopping_ = false;                            // mutex_
  std::atomic<size_t> pending_ = 0;  // raised under mutex_, lowered by the worker alone
  // The size of the last reply, up to kLargestKeptBody: start() makes room for the next one.
  std::atomic<size_t> replyRoom_ = 0;
  uint64_t nextId_ = 0;  // mutex_
  // Every transfer taken by the worker, running or waiting for a connection slot.
  std::unordered_map<uint64_t, std::unique_ptr<Transfer>> active_;  // worker only
  Origins origins_;                                                 // worker only
  ZefaIdleDeadlines deadlines_;                                     // worker only
  std::vector<std::unique_ptr<Easy>> idleHandles_;                  // worker
  std::thread worker_;
};
