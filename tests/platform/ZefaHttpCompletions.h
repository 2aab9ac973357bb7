#pragma once
// The outcomes of an HTTP client's requests in a test. They arrive on the client's thread and are
// handed to a queue that the test's thread drains.
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

#include "platform/ZefaHttpClient.h"
#include "platform/ZefaTaskQueue.h"

struct ZefaHttpCompletions {
  ZefaTaskQueue queue;
  std::vector<ZefaHttpResponse> responses;

  std::function<void(ZefaHttpResponse)> slot() {
    // Moved all the way, so that a test sees the very buffer the client filled.
    return [this](ZefaHttpResponse r) {
      queue.async([this, r = std::move(r)]() mutable { responses.push_back(std::move(r)); });
    };
  }
  bool waitFor(size_t count, double seconds = 10) {
    return queue.run([&] { return responses.size() >= count; }, seconds);
  }
  // Seconds since this object was made.
  double elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - made_).count();
  }

 private:
  const std::chrono::steady_clock::time_point made_ = std::chrono::steady_clock::now();
};
