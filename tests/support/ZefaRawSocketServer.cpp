#include "tests/support/ZefaRawSocketServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

ZefaRawSocketServer::ZefaRawSocketServer(Mode mode, std::string reply)
    : mode_(mode), reply_(std::move(reply)) {
  listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listenFd_ < 0 || ::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::fputs("ZefaRawSocketServer: cannot bind\n", stderr);
    std::abort();
  }
  port_ = ntohs(address.sin_port);
  if (mode_ == Mode::Refuse) return;
  ::listen(listenFd_, 1024);
  stopFd_ = ::eventfd(0, EFD_CLOEXEC);
  thread_ = std::thread([this] { serve(); });
}

ZefaRawSocketServer::~ZefaRawSocketServer() {
  if (thread_.joinable()) {
    const uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(stopFd_, &one, sizeof one);
    thread_.join();
    ::close(stopFd_);
  }
  ::close(listenFd_);
}

std::string ZefaRawSocketServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void ZefaRawSocketServer::serve() {
  using Clock = std::chrono::steady_clock;
  struct Connection {
    int fd;
    std::string received;
    bool answered = false;
    size_t sent = 0;  // bytes of the reply written so far (Trickle)
    Clock::time_point nextByte{};
  };
  const size_t headerLength = reply_.find("\r\n\r\n") + 4;
  std::vector<Connection> connections;
  while (true) {
    std::vector<pollfd> watched{{stopFd_, POLLIN, 0}, {listenFd_, POLLIN, 0}};
    for (const auto& connection : connections) watched.push_back({connection.fd, POLLIN, 0});
    if (::poll(watched.data(), watched.size(), mode_ == Mode::Trickle ? 20 : 1000) < 0) continue;
    if (watched[0].revents != 0) break;
    if (watched[1].revents & POLLIN) {
      const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd >= 0) {
        ++accepted_;
        connections.push_back({fd, ""});
      }
    }
    for (size_t i = 2; i < watched.size(); ++i) {
      if (watched[i].revents == 0) continue;
      Connection& connection = connections[i - 2];
      char buffer[4096];
      const ssize_t n = ::read(connection.fd, buffer, sizeof buffer);
      if (n <= 0) {  // the client went away
        ::close(connection.fd);
        connection.fd = -1;
        continue;
      }
      connection.received.append(buffer, static_cast<size_t>(n));
      if (connection.answered || connection.received.find("\r\n\r\n") == std::string::npos) {
        continue;
      }
      connection.answered = true;
      if (mode_ == Mode::CloseAfterRequest) {
        ::shutdown(connection.fd, SHUT_RDWR);
        ::close(connection.fd);
        connection.fd = -1;
      } else if (mode_ == Mode::Trickle) {
        connection.sent = static_cast<size_t>(::write(connection.fd, reply_.data(), headerLength));
        connection.nextByte = Clock::now() + kTrickleInterval;
      }
    }
    for (Connection& connection : connections) {
      if (connection.fd < 0 || mode_ != Mode::Trickle || !connection.answered) continue;
      if (Clock::now() < connection.nextByte) continue;
      if (connection.sent < reply_.size() &&
          ::write(connection.fd, reply_.data() + connection.sent, 1) == 1) {
        ++connection.sent;
        connection.nextByte = Clock::now() + kTrickleInterval;
      }
      if (connection.sent >= reply_.size()) {
        ::close(connection.fd);
        connection.fd = -1;
      }
    }
    std::erase_if(connections, [](const Connection& c) { return c.fd < 0; });
  }
  for (const auto& connection : connections) ::close(connection.fd);
}
