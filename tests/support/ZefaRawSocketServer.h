#pragma once
// A TCP endpoint on 127.0.0.1 that breaks HTTP on purpose: it refuses connections, holds them
// open without answering, closes them after the request, or sends a reply one byte at a time.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

class ZefaRawSocketServer {
 public:
  enum class Mode {
    Refuse,             // bound but not listening: every connection is refused
    HoldOpen,           // accepts and reads, never answers; closed when the server goes away
    CloseAfterRequest,  // closes the connection once a request has arrived
    Trickle,            // sends `reply`'s head at once, then one byte per kTrickleInterval
  };
  static constexpr std::chrono::milliseconds kTrickleInterval{300};

  explicit ZefaRawSocketServer(Mode mode, std::string reply = "");
  ~ZefaRawSocketServer();
  ZefaRawSocketServer(const ZefaRawSocketServer&) = delete;
  ZefaRawSocketServer& operator=(const ZefaRawSocketServer&) = delete;

  uint16_t port() const { return port_; }
  std::string url(const std::string& path = "") const;
  // Connections accepted so far.
  size_t accepted() const { return accepted_.load(); }

 private:
  void serve();

  Mode mode_;
  std::string reply_;
  int listenFd_ = -1;
  int stopFd_ = -1;
  uint16_t port_ = 0;
  std::atomic<size_t> accepted_{0};
  std::thread thread_;
};
