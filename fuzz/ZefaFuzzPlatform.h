#pragma once
// The fuzzers' machine: an HTTP client that records every request and answers it at once with
// one scripted response, and a main queue that the harness drains by hand (a timer runs as soon
// as the queue is drained, without waiting). The log is silenced.
#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaLog.h"
#include "platform/ZefaPlatform.h"

class ZefaFuzzPlatform final : public ZefaHttpClient, public ZefaMainQueue {
 public:
  // The one instance, installed as the HTTP client and the main queue on first use.
  static ZefaFuzzPlatform& installed() {
    static ZefaFuzzPlatform* const platform = [] {
      auto shared = std::make_shared<ZefaFuzzPlatform>();
      ZefaPlatform::current().install(std::static_pointer_cast<ZefaHttpClient>(shared));
      ZefaPlatform::current().install(std::static_pointer_cast<ZefaMainQueue>(shared));
      ZefaLog::setSink([](ZefaLogLevel, std::string_view) {});
      return shared.get();
    }();
    return *platform;
  }

  ZefaHttpResponse response;              // the answer to every request
  std::vector<ZefaHttpRequest> requests;  // the requests started since the last clear()

  void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) override {
    requests.push_back(std::move(request));
    completion(response);
  }
  void async(std::function<void()> task) override { tasks_.push_back(std::move(task)); }
  void after(double, std::function<void()> task) override { tasks_.push_back(std::move(task)); }

  // Runs every posted task and timer, and what they post in turn, until none is left.
  size_t runOnce() override {
    size_t ran = 0;
    for (; !tasks_.empty(); ++ran) {
      std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      task();
    }
    return ran;
  }
  void drain() { runOnce(); }
  void clear() {
    requests.clear();
    tasks_.clear();
  }

 private:
  std::deque<std::function<void()>> tasks_;
};
