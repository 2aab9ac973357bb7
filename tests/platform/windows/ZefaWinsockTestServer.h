#pragma once
// An HTTP/1.1 server on 127.0.0.1 for the Windows client's tests, on plain Winsock. Each request
// is answered as a script says: a reply (a redirect is a reply with a Location header), silence
// (the connection stays open, unanswered), a reply whose body is dripped one byte at a time, or
// a closed connection. Every request that arrives is recorded.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

struct ZefaWinsockRequest {
  std::string method, target, body;
  std::vector<std::pair<std::string, std::string>> headers;
  // The values of the header `name` (compared without regard to case), in arrival order.
  std::vector<std::string> header(const std::string& name) const;
};

struct ZefaWinsockReply {
  enum class Kind { Reply, Silence, Drip, Close };
  Kind kind = Kind::Reply;
  int status = 200;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  std::chrono::milliseconds dripInterval{0};  // Drip: the pause before each byte of the body

  static ZefaWinsockReply reply(int status, std::string body) {
    return {Kind::Reply, status, std::move(body), {}, {}};
  }
  static ZefaWinsockReply redirect(int status, std::string location) {
    return {Kind::Reply, status, "moved", {{"Location", std::move(location)}}, {}};
  }
  static ZefaWinsockReply drip(std::string body, std::chrono::milliseconds interval) {
    return {Kind::Drip, 200, std::move(body), {}, interval};
  }
  static ZefaWinsockReply of(Kind kind) { return {kind, 0, "", {}, {}}; }  // Silence or Close
};

class ZefaWinsockTestServer {
 public:
  using Script = std::function<ZefaWinsockReply(const ZefaWinsockRequest&)>;
  explicit ZefaWinsockTestServer(Script script);
  ~ZefaWinsockTestServer();
  ZefaWinsockTestServer(const ZefaWinsockTestServer&) = delete;
  ZefaWinsockTestServer& operator=(const ZefaWinsockTestServer&) = delete;

  std::string url(const std::string& path) const;
  std::vector<ZefaWinsockRequest> requests() const;

 private:
  void acceptLoop();
  void serve(uintptr_t connection);
  std::optional<ZefaWinsockRequest> readRequest(uintptr_t connection, std::string& pending);
  bool answer(uintptr_t connection, const ZefaWinsockReply& reply);

  Script script_;
  uintptr_t listener_;
  uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;                     // guarded by mutex_
  std::vector<uintptr_t> connections_;        // mutex_
  std::vector<ZefaWinsockRequest> requests_;  // mutex_
  std::vector<std::thread> servers_;          // mutex_
  std::thread acceptor_;
};
