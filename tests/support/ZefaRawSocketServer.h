#pragma once
// A TCP endpoint on 127.0.0.1 that breaks HTTP on purpose: it refuses connections, leaves them
// unanswered, or answers one byte at a time.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

class ZefaRawSocketServer {
 public:
  enum class Mode {
    Refuse,    // bound but not listening: every connection is refused
    HoldOpen,  // listening but never accepting: connections are made and never answered
    Trickle,   // one connection: `reply` up to its blank line at once, then a byte per interval
  };
  static constexpr std::chrono::milliseconds kTrickleInterval{300};

  explicit ZefaRawSocketServer(Mode mode, std::string reply = "");
  ~ZefaRawSocketServer();
  ZefaRawSocketServer(const ZefaRawSocketServer&) = delete;
  ZefaRawSocketServer& operator=(const ZefaRawSocketServer&) = delete;

  std::string url(const std::string& path = "") const;

 private:
  int listenFd_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};
