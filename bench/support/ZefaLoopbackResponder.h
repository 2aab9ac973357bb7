#pragma once
// A minimal HTTP/1.1 responder on 127.0.0.1 for benchmarks: one epoll thread, keep-alive, and the
// same fixed reply to every request, so that the clients under measurement are the bottleneck.
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

class ZefaLoopbackResponder {
 public:
  explicit ZefaLoopbackResponder(std::string replyBody);
  ~ZefaLoopbackResponder();
  ZefaLoopbackResponder(const ZefaLoopbackResponder&) = delete;
  ZefaLoopbackResponder& operator=(const ZefaLoopbackResponder&) = delete;

  std::string url(const std::string& path) const;
  uint64_t served() const { return served_.load(std::memory_order_relaxed); }

 private:
  void serve();

  std::string reply_;
  int listenFd_ = -1;
  int epollFd_ = -1;
  int stopFd_ = -1;
  uint16_t port_ = 0;
  std::atomic<uint64_t> served_{0};
  std::thread thread_;
};
