#pragma once
// The platform's HTTP client on Windows: WinHTTP in asynchronous mode, its notifications funnelled
// to one worker thread that this object owns. The worker alone drives every request (sending,
// reading, redirects, idle timeouts, cancellation) and runs the completions, so a request's state
// is never shared between threads and each completion runs exactly once. TLS peers are verified
// and the user's proxy settings apply.
//
// Every request has an idle timeout counted from start(): it fails once it has waited its
// timeout without receiving a byte, whether it is connecting, waiting for a free connection or
// reading a reply. Redirects are followed as a browser does (301/302/303 become a GET without a
// body, 307/308 repeat the request), never from https to http, at most Options::maxRedirects.
// A reply larger than Options::maxReplyBytes fails without being kept whole.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaHttpClient.h"
#include "platform/ZefaIdleDeadlines.h"

class ZEFA_EXPORT ZefaWinHttpClient final : public ZefaHttpClient {
 public:
  // The error description given to requests that were still pending when the client went away.
  static constexpr const char* kCancelled = "cancelled";

  struct Options {
    // The largest reply body kept; a larger one fails the request.
    size_t maxReplyBytes = 16 * 1024 * 1024;
    // Connections kept open to one host at most; further requests to it wait for one.
    long maxConnectionsPerHost = 64;
    // Redirects followed for one request at most.
    int maxRedirects = 10;
  };

  ZefaWinHttpClient();
  explicit ZefaWinHttpClient(Options options);
  // Stops the worker: requests still pending complete with kCancelled, then the thread is joined.
  ~ZefaWinHttpClient() override;
  ZefaWinHttpClient(const ZefaWinHttpClient&) = delete;
  ZefaWinHttpClient& operator=(const ZefaWinHttpClient&) = delete;

  // Queues the request for the worker and returns at once. Any thread.
  void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) override;

  // Requests started and not yet completed (for tools and tests).
  size_t pendingCount() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Inbox;     // what other threads hand to the worker
  struct Exchange;  // one WinHTTP request handle, alive until WinHTTP says it is closed
  struct Transfer;  // one request of the caller, across its redirects
  struct Event;

  void workerLoop();
  void handle(const Event& event);
  void begin(std::unique_ptr<Transfer> transfer);
  void open(Transfer& transfer);
  void onHeaders(Transfer& transfer);
  void readMore(Transfer& transfer);
  void fail(Transfer& transfer, std::string error);
  void succeed(Transfer& transfer);
  void finish(Transfer& transfer, ZefaHttpResponse response);
  void closeExchange(Transfer& transfer);
  std::optional<Clock::time_point> dueOf(uint64_t id) const;
  void expireIdle();
  void shutDown();

  const Options options_;
  void* session_ = nullptr;      // the session HINTERNET; none when WinHTTP could not be opened
  unsigned long openError_ = 0;  // why it could not
  std::shared_ptr<Inbox> inbox_;
  std::unordered_map<uint64_t, std::unique_ptr<Transfer>> active_;      // worker only
  std::unordered_map<Exchange*, std::unique_ptr<Exchange>> exchanges_;  // worker only
  ZefaIdleDeadlines deadlines_;                                         // worker only
  std::thread worker_;
};
