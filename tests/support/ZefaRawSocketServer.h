#pragma once
// A TCP endpoint on 127.0.0.1 that breaks HTTP on purpose: it refuses connections, leaves them
// unanswered, or runs a script on each connection that writes, pauses, closes or resets at will.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// One accepted connection, as a script sees it.
class ZefaRawConnection {
 public:
  explicit ZefaRawConnection(int fd, const std::atomic<bool>& stopping)
      : fd_(fd), stopping_(stopping) {}
  ~ZefaRawConnection() { close(); }
  ZefaRawConnection(const ZefaRawConnection&) = delete;
  ZefaRawConnection& operator=(const ZefaRawConnection&) = delete;
  // Reads one request: its head and a body of its Content-Length. False when the peer closed.
  bool readRequest();
  // Writes `bytes` at once, or one byte per `interval` when it is given.
  void write(const std::string& bytes, std::chrono::milliseconds interval = {});
  // Closes with a reset (RST) instead of an orderly close.
  void reset();
  void pause(std::chrono::milliseconds duration) const;
  void close();

 private:
  int fd_;
  const std::atomic<bool>& stopping_;
  std::string buffered_;  // bytes read past the last request
};

class ZefaRawSocketServer {
 public:
  enum class Mode {
    Refuse,    // bound but not listening: every connection is refused
    HoldOpen,  // listening but never accepting: connections are made and never answered
  };
  // Runs on a thread of its own for each connection; the connection is closed when it returns.
  // A script that waits should pause() in steps, so that the server can stop it.
  using Script = std::function<void(ZefaRawConnection&)>;

  explicit ZefaRawSocketServer(Mode mode);
  explicit ZefaRawSocketServer(Script script);
  ~ZefaRawSocketServer();
  ZefaRawSocketServer(const ZefaRawSocketServer&) = delete;
  ZefaRawSocketServer& operator=(const ZefaRawSocketServer&) = delete;

  std::string url(const std::string& path = "") const;

 private:
  void bind();
  const Script script_;  // outlives every connection's thread: they are joined first
  int listenFd_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::vector<std::thread> threads_;  // one per connection; the acceptor's until it is joined
  std::thread acceptor_;
};
